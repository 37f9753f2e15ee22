#include "CustomACLIdentity.h"

#include <err.h>
#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace KXCore {
namespace {

/// Calls a look-up of the name service (getpwnam_r, getgrnam_r) with as much room as it needs, and answers the numeric
/// id that `idOf` takes from its entry. False, with errno set to why (0: there is none), when there is no entry.
template <class Entry, class ID>
bool lookUp(int (*function)(const char*, Entry*, char*, std::size_t, Entry**), const char* name, ID Entry::*idOf,
            ID& id) {
    constexpr std::size_t largest = std::size_t{1} << 26;
    std::vector<char> buffer(1024);
    Entry entry;
    Entry* found = nullptr;
    int error;
    while ((error = function(name, &entry, buffer.data(), buffer.size(), &found)) == ERANGE &&
           buffer.size() < largest) {
        buffer.resize(buffer.size() * 2);
    }
    if (!found) {
        errno = error;
        return false;
    }
    id = found->*idOf;
    return true;
}

bool giveUp(CustomACE& entry, InitMode mode) noexcept {
    entry.uuid = {};
    return mode == InitModeTolerant;
}

}  // namespace

bool _SetCustomACEUUIDFromUserName(CustomACE& entry, const char* name, InitMode mode) {
    uid_t uid;
    if (!lookUp(getpwnam_r, name, &passwd::pw_uid, uid)) {
        warn("user %s unknown", name);
        return giveUp(entry, mode);
    }
    if (const int error = mbr_uid_to_uuid(uid, entry.uuid.bytes)) {
        errno = error;
        warnx("mbr_uid_to_uuid (%s)", name);
        return giveUp(entry, mode);
    }
    return true;
}

bool _SetCustomACEUUIDFromGroupName(CustomACE& entry, const char* name, InitMode mode) {
    gid_t gid;
    if (!lookUp(getgrnam_r, name, &group::gr_gid, gid)) {
        warn("group %s unknown", name);
        return giveUp(entry, mode);
    }
    if (const int error = mbr_gid_to_uuid(gid, entry.uuid.bytes)) {
        errno = error;
        warnx("mbr_gid_to_uuid (%s)", name);
        return giveUp(entry, mode);
    }
    return true;
}

bool _SetCustomACEUUIDFromNTSID(CustomACE& entry, const nt_sid_t* sid, InitMode mode) {
    entry.status = mbr_sid_to_uuid(sid, entry.uuid.bytes);
    if (entry.status == 0) return true;
    // Room for the longest text there is: 16 numbers of 32 bits after an authority of 48.
    char text[256];
    if (mbr_sid_to_string(sid, text) != 0) text[0] = '\0';
    errno = entry.status;
    warn("mbr_sid_to_uuid (%s)", text);
    return giveUp(entry, mode);
}

bool KxdKauthWellknownGuid(const UUID& uuid, std::uint32_t& number) noexcept {
    constexpr unsigned char prefix[12] = {0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF};
    if (std::memcmp(uuid.bytes, prefix, sizeof prefix) != 0) return false;
    number = 0;
    for (int i = 12; i < 16; ++i) number = number << 8 | uuid.bytes[i];
    return true;
}

}  // namespace KXCore
