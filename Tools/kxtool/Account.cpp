#include <fmt/format.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "Command.h"
#include "Identities.h"
#include "PropertyListText.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::AccountInfo;

struct AccountOptions {
    std::string uuid;
    std::optional<std::string> user;
    std::optional<std::string> group;
    std::optional<std::uint32_t> uid;
    std::optional<std::uint32_t> gid;
    std::optional<std::string> sid;
    std::optional<std::string> byUUID;
    bool json = false;
};

KXCore::UUID Asked(const AccountOptions& options) {
    if (options.user) return UserNamed(*options.user);
    if (options.group) return GroupNamed(*options.group);
    if (options.uid) return UserOf(*options.uid);
    if (options.gid) return GroupOf(*options.gid);
    if (options.sid) return AccountOfSID(*options.sid);
    const std::string& text = options.byUUID ? *options.byUUID : options.uuid;
    if (const auto uuid = ParseUUID(text)) return *uuid;
    if (!options.byUUID && (text.starts_with("S-") || text.starts_with("s-"))) return AccountOfSID(text);
    throw BadInput(fmt::format("{} is no UUID", Quoted(text)));
}

void RunAccount(const AccountOptions& options) {
    const KXCore::UUID uuid = Asked(options);
    const auto account = Describe(uuid);
    if (account->getType() == KXCore::AccountTypeUnknown) {
        throw BadInput(fmt::format("nobody is known as {}", TextOf(uuid)));
    }
    const bool isUser = account->getType() == KXCore::AccountTypeUser;
    const std::string sid = account->getSID();
    const std::string name = account->getName();
    if (options.json) {
        const auto orNull = [](const std::string& text) {
            return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
        };
        const nlohmann::ordered_json result{{"type", isUser ? "user" : "group"},
                                            {"id", account->getID()},
                                            {"uuid", TextOf(uuid)},
                                            {"sid", orNull(sid)},
                                            {"name", orNull(name)},
                                            {"complete", account->allFieldsValid()}};
        Write(JsonText(result) + "\n");
        return;
    }
    const auto orUnknown = [](const std::string& text) { return text.empty() ? "(unknown)" : text; };
    Show(fmt::format("type  {}\nid    {}\nuuid  {}\nsid   {}\nname  {}\n", isUser ? "user" : "group", account->getID(),
                     TextOf(uuid), orUnknown(sid), orUnknown(name)));
}

}  // namespace

void AddAccount(CLI::App& tool) {
    const auto options = std::make_shared<AccountOptions>();
    CLI::App* const command = tool.add_subcommand("account", "Tell what is known of a user or a group");
    CLI::Option_group* const who = command->add_option_group("Who");
    who->add_option("ID", options->uuid, "The user or group of this UUID or SID");
    who->add_option("--user", options->user, "The user of this name");
    who->add_option("--group", options->group, "The group of this name");
    who->add_option("--uid", options->uid, "The user of this number");
    who->add_option("--gid", options->gid, "The group of this number");
    who->add_option("--sid", options->sid, "The user or group of this Windows security identifier");
    who->add_option("--uuid", options->byUUID, "The user or group of this UUID");
    who->require_option(1);
    command->add_flag("--json", options->json, "Print the result as JSON");
    command->footer(
        "What cannot be found out is (unknown), in JSON null. A name without a domain of its own\n"
        "is headed by the computer's.\n\n"
        "Example:\n"
        "  kxtool account --user root\n");
    command->callback([options] { RunAccount(*options); });
}

}  // namespace kxtool
