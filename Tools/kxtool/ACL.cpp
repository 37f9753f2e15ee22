#include <KXCoreLib/CustomACL.h>
#include <KXCoreLib/PList.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ACLConvert.h"
#include "Command.h"
#include "Identities.h"
#include "Names.h"
#include "PListFile.h"
#include "PListPath.h"
#include "PropertyListText.h"
#include "Streams.h"
#include "Terminal.h"

namespace kxtool {
namespace {

using KXCore::CustomACE;
using KXCore::CustomACL;
using KXCore::UUID;

constexpr UUID kEverybody{{0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0, 0, 0, 0x0C}};
constexpr UUID kNobody{
    {0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0xFF, 0xFF, 0xFF, 0xFE}};

struct ACLOptions {
    std::string acl;
    std::optional<std::string> file;
    std::string path;
    bool json = false;
    std::string to;
    std::string names;
    bool tolerant = false;
    std::string user;
    std::string mask;
};

/// Says where already.
class Located : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// ---- Reading

/// What the library reported, without the tool's name that heads its lines.
std::string Reported(const std::string& report) {
    const std::string_view head = "kxtool: ";
    std::string text;
    for (std::size_t at = 0; at < report.size();) {
        const std::size_t end = std::min(report.find('\n', at), report.size() - 1) + 1;
        std::string_view line = std::string_view(report).substr(at, end - at);
        if (line.starts_with(head)) line.remove_prefix(head.size());
        text += line;
        at = end;
    }
    return Joined(text);
}

bool ReadFile(CustomACL& acl, const ACLOptions& options, const std::vector<BitMaskConstant>& table,
              KXCore::InitMode mode) {
    const LoadedList loaded = LoadAny(*options.file);
    bool done = false;
    UseNodeAt(loaded.list, StepsOf(options.path), loaded.name, [&](const KXCore::PListNode& node) {
        // No list at all would grant everything; where a path leads nowhere, that is not what was meant.
        CFTypeRef value = nullptr;
        node.getValue(value);
        try {
            done = CustomACL::read(acl, node, table.data(), mode);
        } catch (const KXCore::PListValueError& error) {
            throw Located(fmt::format("{}: {}", Narrow(error.getLocationInfo()), Narrow(error.getMessage())));
        }
    });
    return done;
}

CustomACL ReadACL(const ACLOptions& options, const std::vector<Name>& names, const char* command) {
    const std::vector<BitMaskConstant> table = TableOf(names);
    const KXCore::InitMode mode = options.tolerant ? KXCore::InitModeTolerant : KXCore::InitModeStrict;
    CustomACL acl;
    StandardErrorCapture capture;
    const bool done = !options.file ? CustomACL::parse(acl, options.acl.c_str(), table.data(), mode)
                                    : ReadFile(acl, options, table, mode);
    const std::string report = Reported(capture.finish());
    if (!done) throw BadInput(report);
    if (!report.empty()) fmt::print(stderr, "kxtool acl {}: warning: {}\n", command, report);
    return acl;
}

// ---- Words

std::string WordsOf(std::uint32_t mask, const std::vector<Name>& names) {
    std::uint64_t rest = 0;
    std::vector<std::string> words = NamesOf(mask, names, rest);
    if (rest != 0 || words.empty()) words.push_back(fmt::format("{:#x}", rest));
    return fmt::format("{}", fmt::join(words, " | "));
}

std::string NameOfBit(std::uint32_t bit, const std::vector<Name>& names) {
    const auto name = std::find_if(names.begin(), names.end(), [=](const Name& one) { return one.value == bit; });
    return name != names.end() ? name->name : fmt::format("{:#x}", bit);
}

std::string WordsOf(const UUID& uuid) {
    if (uuid == kEverybody) return "everybody";
    if (uuid == kNobody) return "nobody";
    if (uuid.isNull()) return "(unresolved)";
    const auto account = Describe(uuid);
    if (account->getType() == KXCore::AccountTypeUnknown) return TextOf(uuid);
    const char* const kind = account->getType() == KXCore::AccountTypeUser ? "user" : "group";
    return *account->getName() != '\0' ? fmt::format("{} {}", kind, account->getName())
                                       : fmt::format("{} {}", kind, account->getID());
}

const char* TypeOf(const CustomACE& entry) { return entry.type == KXCore::CustomACETypeDeny ? "deny" : "allow"; }

// ---- show

/// The names in a mask, and what has none.
nlohmann::ordered_json JsonOfMask(std::uint32_t mask, const std::vector<Name>& names) {
    std::uint64_t rest = 0;
    const std::vector<std::string> found = NamesOf(mask, names, rest);
    return {{"value", mask}, {"names", found}, {"unnamed", rest}};
}

nlohmann::ordered_json JsonOfEntry(const CustomACE& entry, const std::vector<Name>& names) {
    return {{"type", TypeOf(entry)},
            {"who", WordsOf(entry.uuid)},
            {"uuid", TextOf(entry.uuid)},
            {"mask", JsonOfMask(entry.mask, names)}};
}

void RunShow(const ACLOptions& options) {
    const std::vector<Name> names = ReadNames(options.names);
    const CustomACL acl = ReadACL(options, names, "show");
    if (options.json) {
        nlohmann::ordered_json entries = nlohmann::ordered_json::array();
        for (const CustomACE& entry : acl.getEntries()) entries.push_back(JsonOfEntry(entry, names));
        return Write(JsonText({{"entries", entries}}) + "\n");
    }
    if (acl.getEntries().empty()) Write("no entries: nothing is granted\n");
    std::size_t number = 0;
    for (const CustomACE& entry : acl.getEntries()) {
        Show(fmt::format("{}  {:<5}  {}: {}\n", ++number, TypeOf(entry), WordsOf(entry.uuid),
                         WordsOf(entry.mask, names)));
    }
}

// ---- check

/// Whether the entry speaks of the user, as a list of it alone shows.
bool Matches(const CustomACE& entry, const UUID& user) {
    const CustomACE probe{.type = entry.type, .mask = 1, .uuid = entry.uuid};
    if (entry.type == KXCore::CustomACETypeAllow) return CustomACL({probe}).checkAccess(user, 1);
    const CustomACE anybody{.type = KXCore::CustomACETypeAllow, .mask = 1, .uuid = kEverybody};
    return !CustomACL({probe, anybody}).checkAccess(user, 1);
}

constexpr std::size_t kNoEntry = static_cast<std::size_t>(-1);

/// For each requested bit the entry that decides it: the first that speaks of the user and holds the bit. Once allowed
/// a bit stays so, and one that is denied or left over refuses the request: the bits are decided each by itself.
std::array<std::size_t, 32> Decide(const CustomACL& acl, const UUID& user, std::uint32_t requested) {
    std::array<std::size_t, 32> deciders;
    deciders.fill(kNoEntry);
    const std::vector<CustomACE>& entries = acl.getEntries();
    for (std::size_t i = 0; i < entries.size() && requested != 0; ++i) {
        if ((entries[i].mask & requested) == 0 || !Matches(entries[i], user)) continue;
        for (std::size_t bit = 0; bit < 32; ++bit) {
            if ((entries[i].mask & requested) >> bit & 1) deciders[bit] = i;
        }
        requested &= ~entries[i].mask;
    }
    return deciders;
}

void RunCheck(const ACLOptions& options) {
    const std::vector<Name> names = ReadNames(options.names);
    const CustomACL acl = ReadACL(options, names, "check");
    const auto uuid = ParseUUID(options.user);
    const UUID user = uuid ? *uuid : UserNamed(options.user);
    const std::uint32_t requested = MaskOf32(Evaluate(options.mask, names, "acl check"), options.mask);

    const bool granted = acl.checkAccess(user, requested);
    const std::array<std::size_t, 32> deciders = Decide(acl, user, requested);
    if (options.json) {
        nlohmann::ordered_json bits = nlohmann::ordered_json::array();
        for (unsigned bit = 0; bit < 32; ++bit) {
            if ((requested >> bit & 1) == 0) continue;
            nlohmann::ordered_json one{{"bit", NameOfBit(std::uint32_t{1} << bit, names)}};
            const bool isDecided = deciders[bit] != kNoEntry;
            one["allowed"] = isDecided && acl.getEntries()[deciders[bit]].type == KXCore::CustomACETypeAllow;
            one["entry"] = isDecided ? nlohmann::ordered_json(deciders[bit] + 1) : nlohmann::ordered_json();
            bits.push_back(one);
        }
        Write(JsonText({{"granted", granted}, {"bits", bits}}) + "\n");
        if (!granted) throw AnswerIsNo();
        return;
    }
    Write(granted ? Coloured("granted", Colour::Green) + "\n" : Coloured("refused", Colour::Red) + "\n");
    for (unsigned bit = 0; bit < 32; ++bit) {
        if ((requested >> bit & 1) == 0) continue;
        const std::string name = NameOfBit(std::uint32_t{1} << bit, names);
        if (deciders[bit] == kNoEntry) {
            Show(fmt::format("  {}: allowed by no entry\n", name));
            continue;
        }
        const CustomACE& entry = acl.getEntries()[deciders[bit]];
        Show(fmt::format("  {}: {} by entry {} ({} {}: {})\n", name,
                         entry.type == KXCore::CustomACETypeDeny ? "denied" : "allowed", deciders[bit] + 1,
                         TypeOf(entry), WordsOf(entry.uuid), WordsOf(entry.mask, names)));
    }
    if (!granted) throw AnswerIsNo();
}

// ---- convert

void RunConvertACL(const ACLOptions& options) {
    KXCore::CoreFoundation::PropertyListRef list;
    std::string name = "--acl";
    if (options.file) {
        const LoadedList loaded = LoadAny(*options.file);
        list = ValueAt(loaded.list, StepsOf(options.path), loaded.name);
        name = loaded.name;
    } else {
        list = ListOfACLText(options.acl);
    }
    if (options.to == "text") {
        Show(TextOfACLList(list.get(), name) + "\n");
    } else {
        TextOfACLList(list.get(), name);  // a list that is none is refused
        Show(PropertyListBytes(list.get(), kCFPropertyListXMLFormat_v1_0));
    }
}

// ---- The command line

/// The list and where it is from.
void AddList(CLI::App& command, const std::shared_ptr<ACLOptions>& options) {
    CLI::Option_group* const list = command.add_option_group("List");
    CLI::Option* const text = list->add_option("--acl", options->acl, "The list as a text: ID:TYPE:MASK/...");
    list->add_option("--file", options->file,
                     "A property list that is one, or holds one at --path ('-': standard input)");
    list->require_option(1);
    command.add_option("--path", options->path, "Where the list is in the file, by keys and indexes: /Policy/ACL")
        ->excludes(text);
}

void AddListOptions(CLI::App& command, const std::shared_ptr<ACLOptions>& options) {
    AddList(command, options);
    command.add_flag("--json", options->json, "Print the result as JSON");
    command.add_option("--names", options->names, kNamesHelp);
    command.add_flag("--tolerant", options->tolerant, "Keep entries whose user, group or SID is not known");
}

}  // namespace

void AddACL(CLI::App& tool) {
    const auto options = std::make_shared<ACLOptions>();
    CLI::App* const acl = tool.add_subcommand("acl", "Read access-control lists, ask and convert them");
    acl->require_subcommand(1);

    CLI::App* const check = acl->add_subcommand("check", "Tell whether a user is granted a mask, and why");
    MarkAsQuestion(check);
    AddListOptions(*check, options);
    check->add_option("--user", options->user, "Who asks: a name or a UUID")->required();
    check->add_option("--mask", options->mask, "What is asked for: an expression")->required();
    check->footer(
        "Prints \"granted\" (exit status 0) or \"refused\" (1), and for each bit the entry that\n"
        "decided it. Exit status 2 is bad usage, 3 that it could not be asked.\n\n"
        "Example:\n"
        "  kxtool acl check --acl \"root:deny:write/%root:allow:read|write\" --user root \\\n"
        "    --mask read --names read=1,write=2\n");
    check->callback([options] { RunCheck(*options); });

    CLI::App* const show = acl->add_subcommand("show", "Print the entries with their users and groups");
    AddListOptions(*show, options);
    show->footer("Example:\n  kxtool acl show --acl \"root:deny:2/%root:allow:3\" --names read=1,write=2\n");
    show->callback([options] { RunShow(*options); });

    CLI::App* const convert = acl->add_subcommand("convert", "Write a list in its other form");
    AddList(*convert, options);
    convert->add_option("--to", options->to, "text or plist")->required()->check(CLI::IsMember({"text", "plist"}));
    convert->footer(
        "Nobody is looked up: names stay names, and masks stay as they are written, decimal integers as integers.\n\n"
        "Example:\n"
        "  kxtool acl convert --file agent.plist --path /ACL --to text\n");
    convert->callback([options] { RunConvertACL(*options); });
}

}  // namespace kxtool
