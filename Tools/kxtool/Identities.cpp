#include "Identities.h"

#include <KXCoreLib/SystemInfo.h>
#include <fmt/format.h>
#include <grp.h>
#include <membership.h>
#include <pwd.h>

#include "Errors.h"

namespace kxtool {

using KXCore::UUID;

UUID UserNamed(const std::string& name) {
    UUID uuid;
    const passwd* const user = getpwnam(name.c_str());
    if (!user || mbr_uid_to_uuid(user->pw_uid, uuid.bytes) != 0) {
        throw BadInput(fmt::format("there is no user {}", Quoted(name)));
    }
    return uuid;
}

UUID GroupNamed(const std::string& name) {
    UUID uuid;
    const group* const found = getgrnam(name.c_str());
    if (!found || mbr_gid_to_uuid(found->gr_gid, uuid.bytes) != 0) {
        throw BadInput(fmt::format("there is no group {}", Quoted(name)));
    }
    return uuid;
}

UUID UserOf(std::uint32_t uid) {
    UUID uuid;
    if (mbr_uid_to_uuid(uid, uuid.bytes) != 0) throw BadInput(fmt::format("there is no user {}", uid));
    return uuid;
}

UUID GroupOf(std::uint32_t gid) {
    UUID uuid;
    if (mbr_gid_to_uuid(gid, uuid.bytes) != 0) throw BadInput(fmt::format("there is no group {}", gid));
    return uuid;
}

UUID AccountOfSID(const std::string& text) {
    nt_sid_t sid;
    if (mbr_string_to_sid(text.c_str(), &sid) != 0) throw BadInput(fmt::format("{} is no SID", Quoted(text)));
    UUID uuid;
    if (mbr_sid_to_uuid(&sid, uuid.bytes) != 0) throw BadInput(fmt::format("nobody is known as {}", text));
    return uuid;
}

std::optional<UUID> ParseUUID(const std::string& text) {
    UUID uuid;
    if (uuid_parse(text.c_str(), uuid.bytes) != 0) return std::nullopt;
    return uuid;
}

std::string TextOf(const UUID& uuid) {
    char text[37];
    uuid_unparse_upper(uuid.bytes, text);
    return text;
}

boost::intrusive_ptr<KXCore::AccountInfo> Describe(const UUID& uuid) {
    // Nothing in the tool follows the computer's name; once is enough.
    [[maybe_unused]] static const bool named = (KXCore::SetSystemNetBiosName_internal(nullptr), true);
    return KXCore::AccountInfo::get(uuid);
}

}  // namespace kxtool
