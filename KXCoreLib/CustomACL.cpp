#include <KXCoreLib/CustomACL.h>

#include "CustomACLIdentity.h"
#include "Log.h"

#include <KXCoreLib/PList.h>

#include <err.h>
#include <uuid/uuid.h>

#include <cstring>
#include <limits>
#include <string>
#include <string_view>

namespace KXCore {
namespace {

constexpr const char* kSource = "KXCoreLib/CustomACL";

bool IsRedundantACEPred(const CustomACE& entry) noexcept { return entry.uuid.isNull(); }

bool parseUUID(const char* text, UUID& uuid) noexcept {
    // uuid_parse may write before it fails.
    UUID parsed;
    if (uuid_parse(text, parsed.bytes) != 0) return false;
    uuid = parsed;
    return true;
}

/// The identity in the first field of an entry's text.
bool resolve(CustomACE& entry, const char* id, InitMode mode) {
    nt_sid_t sid;
    if (parseUUID(id, entry.uuid)) return true;
    if (mbr_string_to_sid(id, &sid) == 0) return _SetCustomACEUUIDFromNTSID(entry, &sid, mode);
    if (*id == '%') return _SetCustomACEUUIDFromGroupName(entry, id + 1, mode);
    return _SetCustomACEUUIDFromUserName(entry, id, mode);
}

bool parseType(std::string_view text, std::uint32_t& type) noexcept {
    if (text == "allow") {
        type = CustomACETypeAllow;
    } else if (text == "deny") {
        type = CustomACETypeDeny;
    } else {
        return false;
    }
    return true;
}

bool parseMask(const char* text, const BitMaskConstant* table, std::uint32_t& mask) noexcept {
    std::uint64_t value = 0;
    if (EvalBitMask(&value, text, table) != 0) return false;
    mask = static_cast<std::uint32_t>(value);
    return true;
}

/// Ends the text at the first `separator` and returns what follows it; null when there is none.
char* cut(char* text, char separator) noexcept {
    char* const at = std::strchr(text, separator);
    if (!at) return nullptr;
    *at = '\0';
    return at + 1;
}

/// What is wrong with an entry: nothing, something that was told already, or its form.
enum class Fault { None, Reported, Syntax };

/// Reads the text of one entry, which is cut into its fields.
Fault parseEntry(CustomACE& entry, char* id, const BitMaskConstant* table, InitMode mode) {
    char* const type = cut(id, ':');
    char* const mask = type ? cut(type, ':') : nullptr;
    if (!mask || *id == '\0') return Fault::Syntax;
    if (!resolve(entry, id, mode)) return Fault::Reported;
    if (*type == '\0') {
        entry.type = CustomACETypeAllow;
    } else if (!parseType(type, entry.type)) {
        warnx("unrecognized ACE type %s", type);
        return Fault::Reported;
    }
    return parseMask(mask, table, entry.mask) ? Fault::None : Fault::Reported;
}

// ---- The property-list form

bool hasValue(const PListNode& node) { return static_cast<bool>(node.value()); }

std::string textAt(const PListNode& node) {
    std::string text;
    node.getValue(text, ItemKind::Required);
    return text;
}

/// Whether `text`, the UTF-8 form of the string at `node`, is the whole of it to those who read up to a NUL. A property
/// list may hold a NUL, or half of a surrogate pair, at which the UTF-8 form ends; what stands before either must not
/// be taken for the whole.
bool isWhole(const std::string& text, const PListNode& node) {
    if (text.find('\0') != std::string::npos) return false;
    CFStringRef string = nullptr;
    node.getValue(string, ItemKind::Required);
    const CFIndex length = CFStringGetLength(string);
    return CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false, nullptr, 0, nullptr) ==
           length;
}

/// A user's or a group's name. One that the name service would take for another becomes the empty name, which nobody
/// has.
std::string nameAt(const PListNode& node) {
    std::string name = textAt(node);
    if (!isWhole(name, node)) name.clear();
    return name;
}

std::uint32_t typeAt(const PListNode& node) {
    std::string text;
    std::uint32_t type;
    if (!node.getValue(text, ItemKind::Optional) || !isWhole(text, node) || !parseType(text, type)) {
        throw PListValueError(node, L"bad type of ACL entry");
    }
    return type;
}

bool readMask(const PListNode& node, const BitMaskConstant* table, std::uint32_t& mask) {
    CFNumberRef number = nullptr;
    if (node.getValue(number, ItemKind::Optional)) {
        long long value = 0;
        const bool isExact = CFNumberGetValue(number, kCFNumberLongLongType, &value);
        mask = static_cast<std::uint32_t>(value);
        if (isExact || !CFNumberIsFloatType(number)) return true;
        // A real may lose its fraction, but one outside 64 bits has no bits to keep, and neither has one that is none.
        double real = 0;
        CFNumberGetValue(number, kCFNumberDoubleType, &real);
        return real > -0x1p63 && real < 0x1p63;
    }
    std::string text;
    return table && node.getValue(text, ItemKind::Optional) && isWhole(text, node) &&
           parseMask(text.c_str(), table, mask);
}

std::uint32_t maskAt(const PListNode& node, const BitMaskConstant* table) {
    std::uint32_t mask;
    if (!readMask(node, table, mask)) throw PListValueError(node, L"bad access mask in ACL entry");
    return mask;
}

/// By the first key that is there.
bool resolve(CustomACE& entry, const PListNode& node, InitMode mode) {
    if (const PListNode& uuid = node / "UUID"; hasValue(uuid)) {
        // The sense of this check is inverted, and stays so: lists that name their users by UUID are refused, and what
        // is accepted gets no identity.
        UUID ignored;
        const std::string text = textAt(uuid);
        if (isWhole(text, uuid) && parseUUID(text.c_str(), ignored))
            throw PListValueError(uuid, L"bad UUID in ACL entry");
        return true;
    }
    if (const PListNode& user = node / "UserName"; hasValue(user)) {
        return _SetCustomACEUUIDFromUserName(entry, nameAt(user).c_str(), mode);
    }
    if (const PListNode& group = node / "GroupName"; hasValue(group)) {
        return _SetCustomACEUUIDFromGroupName(entry, nameAt(group).c_str(), mode);
    }
    if (const PListNode& place = node / "SID"; hasValue(place)) {
        nt_sid_t sid;
        const std::string text = textAt(place);
        if (!isWhole(text, place) || mbr_string_to_sid(text.c_str(), &sid) != 0) {
            throw PListValueError(place, L"bad SID in ACL entry");
        }
        return _SetCustomACEUUIDFromNTSID(entry, &sid, mode);
    }
    throw PListValueError(node, L"bad ACL entry: id missing");
}

// ---- The decision

/// Whether the entry speaks of the user.
bool matches(const CustomACE& entry, const UUID& user) {
    std::uint32_t wellknown;
    if (KxdKauthWellknownGuid(entry.uuid, wellknown)) {
        if (wellknown == kWellknownNobody) return false;
        if (wellknown == kWellknownEverybody) return true;
    }
    if (entry.uuid == user) return true;
    int member = 0;
    if (mbr_check_membership(user.bytes, entry.uuid.bytes, &member) == 0) return member != 0;
    // In doubt, nothing is granted.
    switch (entry.type) {
        case CustomACETypeDeny:
            return true;
        case CustomACETypeAllow:
            return false;
        default:
            FatalExit(kSource, 592);
    }
}

}  // namespace

CustomACL::CustomACL(const char* text, const BitMaskConstant* table, InitMode mode) {
    if (!parse(*this, text, table, mode)) FatalExit(kSource, 41);
}

CustomACL::CustomACL(const PListNode& node, const BitMaskConstant* table, InitMode mode) {
    if (!read(*this, node, table, mode)) FatalExit(kSource, 53);
}

bool CustomACL::parse(CustomACL& acl, const char* text, const BitMaskConstant* table, InitMode mode) {
    acl.unrestricted_ = true;
    acl.entries_.clear();
    if (!text) return true;
    acl.unrestricted_ = false;

    std::string copy(text);
    for (char *piece = copy.data(), *next; piece; piece = next) {
        next = cut(piece, '/');
        if (*piece == '\0') continue;
        const auto offset = static_cast<std::size_t>(piece - copy.data());
        CustomACE entry;
        switch (parseEntry(entry, piece, table, mode)) {
            case Fault::None:
                acl.entries_.push_back(entry);
                break;
            case Fault::Reported:
                return false;
            case Fault::Syntax:
                // The position counts down from 1, and stays so.
                warnx("syntax error in ACL string, position %zu: %.20s\n", std::size_t{1} - offset, text + offset);
                return false;
        }
    }
    return true;
}

bool CustomACL::read(CustomACL& acl, const PListNode& node, const BitMaskConstant* table, InitMode mode) {
    acl.unrestricted_ = true;
    acl.entries_.clear();
    acl.unresolved_ = 0;
    if (!hasValue(node)) return true;
    acl.unrestricted_ = false;

    std::string text;
    if (node.getValue(text, ItemKind::Optional)) {
        if (!isWhole(text, node)) throw PListValueError(node, L"bad ACL");
        return parse(acl, text.c_str(), table, mode);
    }

    PListArrayIter elements;
    if (!node.getArrayIter(elements, ItemKind::Optional)) throw PListValueError(node, L"bad ACL");
    while (true) {
        const PListNode& element = elements.next();
        if (element.index() == -1) return true;
        CFDictionaryRef dictionary = nullptr;
        if (!element.getValue(dictionary, ItemKind::Optional)) throw PListValueError(element, L"bad ACE");
        CustomACE entry;
        entry.type = typeAt(element / "Type");
        if (!resolve(entry, element, mode)) return false;
        entry.mask = maskAt(element / "AccessMask", table);
        if (entry.status != 0) ++acl.unresolved_;
        acl.entries_.push_back(entry);
    }
}

bool CustomACL::checkAccess(const UUID& user, std::uint32_t requested) const {
    if (unrestricted_) return true;
    if (entries_.size() >= std::numeric_limits<std::uint32_t>::max()) FatalExit(kSource, 543);
    std::uint32_t remaining = requested;
    for (const CustomACE& entry : entries_) {
        if (!matches(entry, user)) continue;
        switch (entry.type) {
            case CustomACETypeDeny:
                if ((entry.mask & remaining) != 0) return false;
                break;
            case CustomACETypeAllow:
                remaining &= ~entry.mask;
                break;
            default:
                FatalExit(kSource, 614);
        }
    }
    return remaining == 0;
}

void CustomACL::cleanup() { std::erase_if(entries_, IsRedundantACEPred); }

}  // namespace KXCore
