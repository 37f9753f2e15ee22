#pragma once

// The SIDs of a domain's accounts, as SSSD knows them on a computer that is joined to one.

#include <sys/types.h>
#include <string>

namespace KXPlatform {

/// Each returns 0; ENOENT where the account is none of a domain's, or there is no SSSD; or another error number when
/// SSSD is there and does not answer, which may pass. They block for a second at most. Any thread.
int domainSIDOfUser(uid_t uid, std::string& sid);
int domainSIDOfGroup(gid_t gid, std::string& sid);
/// `idType` becomes ID_TYPE_UID or ID_TYPE_GID.
int domainAccountOfSID(const char* sid, id_t& id, int& idType);

}  // namespace KXPlatform
