#pragma once

// Users and groups as people name them, and as the library knows them.

#include <KXCoreLib/AccountInfo.h>
#include <KXCoreLib/UUID.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kxtool {

/// The identity of the user or group of this name. Throws BadInput when there is none.
KXCore::UUID UserNamed(const std::string& name);
KXCore::UUID GroupNamed(const std::string& name);

/// The identity of the user or group of this number, whether anybody has it or not.
KXCore::UUID UserOf(std::uint32_t uid);
KXCore::UUID GroupOf(std::uint32_t gid);

/// The identity of the user or group of this Windows security identifier. Throws BadInput when there is none.
KXCore::UUID AccountOfSID(const std::string& sid);

/// The identity that the text spells, if it spells one.
std::optional<KXCore::UUID> ParseUUID(const std::string& text);
std::string TextOf(const KXCore::UUID& uuid);

/// What is known of an account, with this computer's name as the library has it now.
boost::intrusive_ptr<KXCore::AccountInfo> Describe(const KXCore::UUID& uuid);

}  // namespace kxtool
