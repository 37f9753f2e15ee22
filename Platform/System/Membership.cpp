#include "DomainAccounts.h"

#include <membership.h>

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

namespace {

/// The first 12 bytes of the UUIDs of users and of groups; the numeric id follows, big-endian.
constexpr std::uint8_t kUserPrefix[12] = {0xFF, 0xFF, 0xEE, 0xEE, 0xDD, 0xDD, 0xCC, 0xCC, 0xBB, 0xBB, 0xAA, 0xAA};
constexpr std::uint8_t kGroupPrefix[12] = {0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF};

// Two UUIDs of the group form are no group's: they mean everybody and nobody. macOS keeps those group numbers free for
// them. Here the numbers belong to ordinary groups (Debian's 12 is "man"), whose UUIDs begin with a prefix of their
// own.
constexpr std::uint8_t kShadowedGroupPrefix[12] = {0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF,
                                                   0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEE};
constexpr id_t kEverybody = 12;
constexpr id_t kNobody = 0xFFFFFFFE;

constexpr bool isShadowed(id_t group) noexcept { return group == kEverybody || group == kNobody; }

/// Samba's authority for Unix accounts, and its subauthorities for users and groups.
constexpr std::uint8_t kUnixAuthority = 22;
constexpr std::uint32_t kUnixUsers = 1;
constexpr std::uint32_t kUnixGroups = 2;

struct Account {
    id_t id;
    int type;  // ID_TYPE_UID or ID_TYPE_GID
};

bool hasPrefix(const uuid_t uu, const std::uint8_t (&prefix)[12]) noexcept {
    return std::memcmp(uu, prefix, sizeof prefix) == 0;
}

id_t numberIn(const uuid_t uu) noexcept {
    id_t number = 0;
    for (int i = 12; i < 16; ++i) number = number << 8 | uu[i];
    return number;
}

bool isEverybodyOrNobody(const uuid_t uu) noexcept { return hasPrefix(uu, kGroupPrefix) && isShadowed(numberIn(uu)); }

void writeUUID(const Account& account, uuid_t uu) noexcept {
    const std::uint8_t(&prefix)[12] = account.type == ID_TYPE_UID ? kUserPrefix
                                      : isShadowed(account.id)    ? kShadowedGroupPrefix
                                                                  : kGroupPrefix;
    std::memcpy(uu, prefix, sizeof prefix);
    for (int i = 0; i < 4; ++i) uu[12 + i] = static_cast<std::uint8_t>(account.id >> (24 - 8 * i));
}

/// Reads what writeUUID writes, and nothing else.
bool readUUID(const uuid_t uu, Account& account) noexcept {
    account.id = numberIn(uu);
    account.type = hasPrefix(uu, kUserPrefix) ? ID_TYPE_UID : ID_TYPE_GID;
    return account.type == ID_TYPE_UID || hasPrefix(uu, isShadowed(account.id) ? kShadowedGroupPrefix : kGroupPrefix);
}

nt_sid_t unixSID(const Account& account) noexcept {
    nt_sid_t sid{};
    sid.sid_kind = 1;
    sid.sid_authority[5] = kUnixAuthority;
    sid.sid_authcount = 2;
    sid.sid_authorities[0] = account.type == ID_TYPE_UID ? kUnixUsers : kUnixGroups;
    sid.sid_authorities[1] = account.id;
    return sid;
}

bool readUnixSID(const nt_sid_t& sid, Account& account) noexcept {
    constexpr std::uint8_t authority[6] = {0, 0, 0, 0, 0, kUnixAuthority};
    if (sid.sid_kind != 1 || sid.sid_authcount != 2 || std::memcmp(sid.sid_authority, authority, 6) != 0) return false;
    if (sid.sid_authorities[0] != kUnixUsers && sid.sid_authorities[0] != kUnixGroups) return false;
    account = {sid.sid_authorities[1], sid.sid_authorities[0] == kUnixUsers ? ID_TYPE_UID : ID_TYPE_GID};
    return true;
}

/// Name and primary group of a user.
int lookUpUser(uid_t uid, std::string& name, gid_t& group) {
    std::vector<char> buffer(1024);
    while (true) {
        passwd entry;
        passwd* found = nullptr;
        const int error = getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found);
        if (error == ERANGE && buffer.size() < (std::size_t{1} << 26)) {
            buffer.resize(buffer.size() * 2);
        } else if (error != EINTR) {
            // Some name services say "no such user" by an error.
            if (!found) return error == 0 || error == ESRCH ? ENOENT : error;
            name = found->pw_name;
            group = found->pw_gid;
            return 0;
        }
    }
}

/// Whether the user is in the group, through other groups included.
int lookUpMembership(const std::string& name, gid_t primary, gid_t group, int& isMember) {
    std::vector<gid_t> groups(64);
    while (true) {
        const int room = static_cast<int>(groups.size());
        int count = room;
        if (getgrouplist(name.c_str(), primary, groups.data(), &count) >= 0) {
            isMember = std::find(groups.begin(), groups.begin() + count, group) != groups.begin() + count;
            return 0;
        }
        // It says how much room it wants; where that is not more, room was not what it lacked.
        if (count <= room) return ENOMEM;
        groups.resize(std::max(groups.size() * 2, static_cast<std::size_t>(count)));
    }
}

/// Runs what may run out of memory for a caller that knows no exceptions.
template <class Function>
int withoutExceptions(Function function) noexcept {
    try {
        return function();
    } catch (const std::exception&) {
        return ENOMEM;
    }
}

int sidOf(const Account& account, nt_sid_t& sid) {
    std::string text;
    const int error = account.type == ID_TYPE_UID ? KXPlatform::domainSIDOfUser(account.id, text)
                                                  : KXPlatform::domainSIDOfGroup(account.id, text);
    if (error == 0) return mbr_string_to_sid(text.c_str(), &sid);
    // A domain that does not answer now is no reason to give its account a local identity.
    if (error != ENOENT) return error;
    sid = unixSID(account);
    return 0;
}

int checkMembership(const Account& member, const Account& of, int& isMember) {
    std::string name;
    gid_t primary = 0;
    if (const int error = lookUpUser(member.id, name, primary)) return error;
    if (of.type == ID_TYPE_GID) return lookUpMembership(name, primary, of.id, isMember);
    isMember = member.id == of.id;
    return 0;
}

}  // namespace

int mbr_uid_to_uuid(uid_t uid, uuid_t uu) {
    if (!uu) return EINVAL;
    writeUUID({uid, ID_TYPE_UID}, uu);
    return 0;
}

int mbr_gid_to_uuid(gid_t gid, uuid_t uu) {
    if (!uu) return EINVAL;
    writeUUID({gid, ID_TYPE_GID}, uu);
    return 0;
}

int mbr_uuid_to_id(const uuid_t uu, id_t* uid_or_gid, int* id_type) {
    if (!uu || !uid_or_gid || !id_type) return EINVAL;
    Account account;
    if (!readUUID(uu, account)) return ENOENT;
    *uid_or_gid = account.id;
    *id_type = account.type;
    return 0;
}

int mbr_sid_to_uuid(const nt_sid_t* sid, uuid_t uu) {
    if (!sid || !uu) return EINVAL;
    Account account;
    if (!readUnixSID(*sid, account)) {
        char text[MBR_MAX_SID_STRING_SIZE];
        if (const int error = mbr_sid_to_string(sid, text)) return error;
        if (const int error = KXPlatform::domainAccountOfSID(text, account.id, account.type)) return error;
    }
    writeUUID(account, uu);
    return 0;
}

int mbr_uuid_to_sid(const uuid_t uu, nt_sid_t* sid) {
    if (!uu || !sid) return EINVAL;
    Account account;
    if (!readUUID(uu, account)) return ENOENT;
    return withoutExceptions([&] { return sidOf(account, *sid); });
}

int mbr_check_membership(const uuid_t user, const uuid_t group, int* ismember) {
    if (!user || !group || !ismember) return EINVAL;
    Account member;
    Account of;
    if (!readUUID(user, member) || member.type != ID_TYPE_UID) return ENOENT;
    if (isEverybodyOrNobody(group)) {
        *ismember = numberIn(group) == kEverybody;
        return 0;
    }
    if (!readUUID(group, of)) return ENOENT;
    return withoutExceptions([&] { return checkMembership(member, of, *ismember); });
}
