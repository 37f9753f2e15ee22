#include "Policy.h"

#include <utility>

namespace agent {

using namespace KXCore;

namespace {

constexpr UUID kEverybody{{0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0, 0, 0, 0x0C}};
constexpr std::uint32_t kProbed = 1;

CustomACL probeOf(const CustomACE& ace) {
    CustomACE same = ace;
    same.mask = kProbed;
    if (ace.type == CustomACETypeAllow) return CustomACL({same});
    return CustomACL({same, {.type = CustomACETypeAllow, .mask = kProbed, .uuid = kEverybody}});
}

/// "read and write"
std::string namesOf(std::uint32_t access) {
    std::string names;
    for (const BitMaskConstant* name = kAccessNames; name->name; ++name) {
        if ((access & name->value) == 0) continue;
        if (!names.empty()) names += " and ";
        names += name->name;
    }
    return names;
}

}  // namespace

Policy::Policy(CustomACL acl, std::vector<std::string> texts) : acl_(std::move(acl)) {
    for (std::size_t i = 0; i < acl_.getEntries().size(); ++i) {
        const CustomACE& ace = acl_.getEntries()[i];
        if (ace.uuid.isNull()) continue;  // a name that is not known here: it can match nobody
        entries_.push_back({i + 1, i < texts.size() ? std::move(texts[i]) : "", ace, probeOf(ace)});
    }
    acl_.cleanup();
}

Policy Policy::unrestricted() {
    Policy policy;
    CustomACL::parse(policy.acl_, nullptr, nullptr, InitModeStrict);
    return policy;
}

Decision Policy::decide(const UUID& user, std::uint32_t access) const {
    if (acl_.isUnrestricted()) return {true, "granted, the policy is unrestricted"};
    const bool granted = acl_.checkAccess(user, access);
    return {granted, reasonOf(user, access, granted)};
}

bool Policy::matches(const Entry& entry, const UUID& user) {
    return entry.probe.checkAccess(user, kProbed) == (entry.ace.type == CustomACETypeAllow);
}

/// Goes through the entries as the list itself does, to find the one at which it was decided.
std::string Policy::reasonOf(const UUID& user, std::uint32_t access, bool granted) const {
    std::uint32_t remaining = access;
    for (const Entry& entry : entries_) {
        if ((entry.ace.mask & remaining) == 0 || !matches(entry, user)) continue;
        const std::string by = " by entry " + std::to_string(entry.number) + " (" + entry.text + ")";
        if (entry.ace.type == CustomACETypeDeny) {
            if (!granted) return "refused" + by;
            break;  // somebody's groups changed since the list was asked
        }
        remaining &= ~entry.ace.mask;
        if (remaining == 0 && granted) return "granted" + by;
    }
    return granted ? "granted by the list" : "refused, no entry matched " + namesOf(remaining);
}

}  // namespace agent
