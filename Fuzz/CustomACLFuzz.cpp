// Access-control lists of every shape, as texts and as property lists. Entries are independent of each other: a list
// holds what its pieces say one by one, and one that is refused holds those before the first that is wrong. What is
// granted is granted bit by bit.

#include <KXCoreLib/CustomACL.h>
#include <KXCoreLib/PList.h>

#include "PropertyLists.h"

#include <grp.h>
#include <pwd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// Two users and a group, whatever the computer has.
extern "C" {

__attribute__((visibility("default"))) int getpwnam_r(const char* name, passwd* entry, char*, size_t, passwd** found) {
    static char user[] = "alice";
    *found = nullptr;
    if (std::strcmp(name, "alice") != 0 && std::strcmp(name, "b\\c") != 0) return 0;
    *entry = {};
    entry->pw_name = user;
    entry->pw_uid = name[0] == 'a' ? 70001 : 70002;
    *found = entry;
    return 0;
}

__attribute__((visibility("default"))) int getgrnam_r(const char* name, group* entry, char*, size_t, group** found) {
    static char staff[] = "staff";
    *found = nullptr;
    if (std::strcmp(name, staff) != 0) return 0;
    *entry = {};
    entry->gr_name = staff;
    entry->gr_gid = 70200;
    *found = entry;
    return 0;
}

__attribute__((visibility("default"))) int getpwuid_r(uid_t, passwd*, char*, size_t, passwd** found) {
    *found = nullptr;
    return 0;
}
}

using namespace KXCore;

namespace {

constexpr BitMaskConstant kNames[] = {{"read", 1}, {"write", 2}, {"execute", 4}, {nullptr, 0}};
constexpr UUID kAlice{{0xFF, 0xFF, 0xEE, 0xEE, 0xDD, 0xDD, 0xCC, 0xCC, 0xBB, 0xBB, 0xAA, 0xAA, 0, 1, 0x11, 0x71}};

void check(bool holds) {
    if (!holds) std::abort();
}

bool same(const CustomACE& a, const CustomACE& b) {
    return a.type == b.type && a.status == b.status && a.mask == b.mask && a.uuid == b.uuid;
}

bool startsWith(const std::vector<CustomACE>& entries, const std::vector<CustomACE>& first) {
    if (entries.size() < first.size()) return false;
    for (std::size_t i = 0; i < first.size(); ++i) {
        if (!same(entries[i], first[i])) return false;
    }
    return true;
}

void checkDecisions(const CustomACL& acl) {
    if (acl.getEntries().size() > 64) return;
    for (const CustomACE& entry : acl.getEntries()) {
        check(entry.type == CustomACETypeAllow || entry.type == CustomACETypeDeny);
    }
    const std::uint32_t requested = 0x80000017;
    bool all = true;
    for (std::uint32_t bit = 1; bit != 0; bit <<= 1) {
        if (requested & bit) all = acl.checkAccess(kAlice, bit) && all;
    }
    check(acl.checkAccess(kAlice, requested) == all);
    check(acl.checkAccess(kAlice, 0));

    CustomACL cleaned = acl;
    cleaned.cleanup();
    std::vector<CustomACE> kept;
    for (const CustomACE& entry : acl.getEntries()) {
        if (!entry.uuid.isNull()) kept.push_back(entry);
    }
    check(cleaned.getEntries().size() == kept.size() && startsWith(cleaned.getEntries(), kept));
}

std::vector<std::string> piecesOf(const std::string& text) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find('/', at), text.size());
        if (end > at) pieces.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return pieces;
}

void checkText(const std::string& text, InitMode mode) {
    CustomACL acl;
    const bool accepted = CustomACL::parse(acl, text.c_str(), kNames, mode);
    check(!acl.isUnrestricted() && acl.getUnresolvedCount() == 0);

    std::vector<CustomACE> expected;
    bool good = true;
    for (const std::string& piece : piecesOf(text)) {
        CustomACL one;
        good = CustomACL::parse(one, piece.c_str(), kNames, mode);
        check(one.getEntries().size() == (good ? 1 : 0));
        if (!good) break;
        expected.push_back(one.getEntries()[0]);
    }
    check(accepted == good);
    check(acl.getEntries().size() == expected.size() && startsWith(acl.getEntries(), expected));
    checkDecisions(acl);
}

/// Takes choices off the front of the input.
class Choices {
  public:
    Choices(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool empty() const { return size_ == 0; }
    unsigned next() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }
    std::string text() {
        const std::size_t length = std::min<std::size_t>(next() % 48, size_);
        const std::string text(reinterpret_cast<const char*>(data_), length);
        data_ += length;
        size_ -= length;
        return text;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
};

plist::PropertyListRef valueOf(Choices& choices, const std::vector<const char*>& usual) {
    const unsigned choice = choices.next();
    if (choice < 160) return plist::text(usual[choice % usual.size()]);
    switch (choice % 8) {
        case 0:
            return plist::number(choices.next() * 0x01010101ll * (choice & 8 ? -1 : 16));
        case 1:
            return plist::real(choices.next() * 1e30);
        case 2:
            return plist::boolean(true);
        case 3:
            return plist::list({});
        case 4:
            return plist::date(choices.next());
        case 5:
            return plist::data("x");
        default: {
            const std::string bytes = choices.text();
            // Any units at all, the half of a pair and NUL among them.
            return plist::PropertyListRef::adopt(
                CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                        static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF16LE, false));
        }
    }
}

plist::PropertyListRef elementOf(Choices& choices) {
    const unsigned keys = choices.next();
    if (keys == 0xFF) return plist::text("alice:allow:1");
    std::vector<std::pair<std::string, plist::PropertyListRef>> entries;
    const auto add = [&](bool wanted, const char* key, const std::vector<const char*>& usual) {
        if (!wanted) return;
        if (plist::PropertyListRef value = valueOf(choices, usual)) entries.emplace_back(key, std::move(value));
    };
    add((keys & 7) != 7, "Type", {"allow", "deny"});
    add((keys >> 3 & 7) == 1, "UUID", {"x", "12345678-1234-1234-1234-123456789012"});
    add((keys >> 3 & 7) >= 4, "UserName", {"alice", "b\\c", "mallory", ""});
    add((keys >> 3 & 7) == 2, "GroupName", {"staff", "%staff"});
    add((keys >> 3 & 7) == 3, "SID", {"S-1-22-1-70001", "S-1-5-21-1-2-3-4", "S-1"});
    add(keys >> 6 != 3, "AccessMask", {"read", "read|write", "~0", "read|", ""});
    return plist::dict(entries);
}

void checkList(Choices choices, InitMode mode, const BitMaskConstant* names) {
    std::vector<plist::PropertyListRef> elements;
    while (!choices.empty()) elements.push_back(elementOf(choices));
    // Each element alone, then all together.
    std::vector<CustomACE> expected;
    const auto read = [&](CustomACL& acl, const plist::PropertyListRef& list) {
        const PListNavigator navigator({list, L"list"});
        try {
            return CustomACL::read(acl, navigator.root(), names, mode);
        } catch (const PListError&) {
            return false;
        }
    };
    bool good = true;
    std::uint32_t unresolved = 0;
    for (const plist::PropertyListRef& element : elements) {
        CustomACL one;
        good = read(one, plist::list({element}));
        check(one.getEntries().size() == (good ? 1 : 0));
        if (!good) break;
        expected.push_back(one.getEntries()[0]);
        unresolved += one.getUnresolvedCount();
    }
    CustomACL acl;
    check(read(acl, plist::list(elements)) == good);
    check(!acl.isUnrestricted() && acl.getUnresolvedCount() == unresolved);
    check(acl.getEntries().size() == expected.size() && startsWith(acl.getEntries(), expected));
    checkDecisions(acl);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    // The reports are not what is looked at here.
    static std::FILE* const nowhere = std::fopen("/dev/null", "w");
    std::FILE* const saved = stderr;
    stderr = nowhere;
    const InitMode mode = data[0] & 1 ? InitModeTolerant : InitModeStrict;
    if (data[0] & 2) {
        checkList(Choices(data + 1, size - 1), mode, data[0] & 4 ? kNames : nullptr);
    } else {
        checkText(std::string(reinterpret_cast<const char*>(data) + 1, size - 1).c_str(), mode);
    }
    stderr = saved;
    return 0;
}
