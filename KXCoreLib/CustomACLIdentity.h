#pragma once

// How the entries of an access-control list get their identities.

#include <KXCoreLib/CustomACL.h>

#include <membership.h>

namespace KXCore {

/// Each sets the entry's uuid and returns true. What cannot be resolved is reported on the standard error stream,
/// leaves a null uuid, and returns whether `mode` is tolerant. A SID's failure is also kept in the entry's status.
bool _SetCustomACEUUIDFromNTSID(CustomACE& entry, const nt_sid_t* sid, InitMode mode);
bool _SetCustomACEUUIDFromGroupName(CustomACE& entry, const char* name, InitMode mode);
bool _SetCustomACEUUIDFromUserName(CustomACE& entry, const char* name, InitMode mode);

/// Whether the identity is one of the well-known ones, and then its number.
bool KxdKauthWellknownGuid(const UUID& uuid, std::uint32_t& number) noexcept;

inline constexpr std::uint32_t kWellknownEverybody = 12;
inline constexpr std::uint32_t kWellknownNobody = 0xFFFFFFFE;

}  // namespace KXCore
