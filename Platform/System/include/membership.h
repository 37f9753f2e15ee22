#pragma once

/// Identities of users and groups: UUIDs, numeric ids and SIDs turned into each other, and the question who is in which
/// group. All functions return 0 or an error number: ENOENT where an identity is not known, EINVAL for a null pointer
/// or a malformed SID, else what the name service says. Any thread; those that ask the name service may block.
///
/// A user id n has the UUID FFFFEEEE-DDDD-CCCC-BBBB-AAAA and n as 8 hexadecimal digits, a group id n has
/// ABCDEFAB-CDEF-ABCD-EFAB-CDEF and n as 8 hexadecimal digits. Two UUIDs of that form are no group's but mean everybody
/// (...-CDEF0000000C), which every user belongs to, and nobody (...-CDEFFFFFFFFE); the groups with these numbers, 12
/// and 4294967294, have ABCDEFAB-CDEF-ABCD-EFAB-CDEE and the number. An account of a domain has the SID that SSSD
/// knows; any other follows Samba's rule for Unix accounts: S-1-22-1-uid, S-1-22-2-gid.

#include <ntsid.h>
#include <sys/types.h>
#include <uuid/uuid.h>

#define ID_TYPE_UID 0
#define ID_TYPE_GID 1

/** Room for the text of any SID, its NUL included. */
#define MBR_MAX_SID_STRING_SIZE 200

#ifdef __cplusplus
extern "C" {
#endif

/** Whether such an account exists is not asked. */
__attribute__((visibility("default"))) int mbr_uid_to_uuid(uid_t uid, uuid_t uu);
__attribute__((visibility("default"))) int mbr_gid_to_uuid(gid_t gid, uuid_t uu);
__attribute__((visibility("default"))) int mbr_sid_to_uuid(const nt_sid_t* sid, uuid_t uu);
__attribute__((visibility("default"))) int mbr_uuid_to_id(const uuid_t uu, id_t* uid_or_gid, int* id_type);
__attribute__((visibility("default"))) int mbr_uuid_to_sid(const uuid_t uu, nt_sid_t* sid);

/** Writes the text ("S-1-5-21-...") to `string`, which has room for MBR_MAX_SID_STRING_SIZE characters. */
__attribute__((visibility("default"))) int mbr_sid_to_string(const nt_sid_t* sid, char* string);
/** The whole of `string` must be a SID. */
__attribute__((visibility("default"))) int mbr_string_to_sid(const char* string, nt_sid_t* sid);

/** Sets `*ismember` to whether the user is in the group, directly or through groups within it as the name service
    resolves them. Where `group` is a user, the result is whether the two are the same. */
__attribute__((visibility("default"))) int mbr_check_membership(const uuid_t user, const uuid_t group, int* ismember);

#ifdef __cplusplus
}
#endif
