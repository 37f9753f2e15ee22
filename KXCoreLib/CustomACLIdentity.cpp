#include "CustomACLIdentity.h"

#include "NameLookUp.h"

#include <err.h>
#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <cstring>

namespace KXCore {
namespace {

bool giveUp(CustomACE& entry, InitMode mode) noexcept {
    entry.uuid = {};
    return mode == InitModeTolerant;
}

}  // namespace

bool _SetCustomACEUUIDFromUserName(CustomACE& entry, const char* name, InitMode mode) {
    uid_t uid = 0;
    int why;
    if (!LookUpName(
            getpwnam_r, name, [&](const passwd& found) { uid = found.pw_uid; }, why)) {
        errno = why;
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
    gid_t gid = 0;
    int why;
    if (!LookUpName(
            getgrnam_r, name, [&](const group& found) { gid = found.gr_gid; }, why)) {
        errno = why;
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
