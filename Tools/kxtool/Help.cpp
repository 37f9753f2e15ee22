#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "CommandTree.h"
#include "Streams.h"
#include "Suggestion.h"

namespace kxtool {
namespace {

constexpr const char* kTour =
    "kxtool looks into what the endpoint agent keeps: audit records, streams, access lists, property lists.\n"
    "\n"
    "What happened?\n"
    "  kxtool audit summary agent.stream --since today        who, which devices, granted or refused, when\n"
    "  kxtool audit print agent.stream --type afailure --user alice --since -2h\n"
    "  kxtool audit report agent.stream -o report.html        a page to look through, and to send on\n"
    "  kxtool audit stream agent.stream --follow              and from now on\n"
    "\n"
    "Why was it refused?\n"
    "  kxtool acl check --file agent.plist --path /ACL --user alice --mask write --names read=1,write=2\n"
    "  kxtool account --user alice                            number, UUID, SID and name of somebody\n"
    "\n"
    "Is the stream sound?\n"
    "  kxtool stream info agent.stream                        how many items, how large\n"
    "  kxtool stream verify agent.stream                      reads every item\n"
    "  kxtool stream backup agent.stream copy.stream          while the agent goes on\n"
    "  kxtool stream recover damaged.stream saved.stream      saves what can be read\n"
    "\n"
    "What does the file say?\n"
    "  kxtool plist print agent.plist\n"
    "  kxtool plist set agent.plist /Devices/0/Name Stick\n"
    "\n"
    "Every command has --help with an example, and most have --json. kxtool help COMMAND says more.\n"
    "Completion: source <(kxtool completion bash), or zsh, or kxtool completion fish | source.\n";

/// The command that the words name.
const CLI::App& Named(const CLI::App& tool, const std::vector<std::string>& words) {
    const CLI::App* app = &tool;
    for (const std::string& word : words) {
        const CLI::App* found = nullptr;
        std::vector<std::string> names;
        for (const CLI::App* const below : app->get_subcommands([](const CLI::App*) { return true; })) {
            if (below->get_name() == word) found = below;
            if (!below->get_name().empty()) names.push_back(below->get_name());
        }
        if (!found) throw BadUsage(fmt::format("there is no command {}{}", Quoted(word), Suggestion(word, names)));
        app = found;
    }
    return *app;
}

const CommandInfo& InfoNamed(const CommandInfo& tool, const std::vector<std::string>& words) {
    const CommandInfo* info = &tool;
    for (const std::string& word : words) {
        for (const CommandInfo& below : info->commands) {
            if (below.path.back() == word) {
                info = &below;
                break;
            }
        }
    }
    return *info;
}

struct HelpOptions {
    std::vector<std::string> words;
    bool manual = false;
    std::string shell;
};

void RunHelp(const CLI::App& tool, const HelpOptions& options) {
    const CLI::App& command = Named(tool, options.words);
    if (options.manual) return Write(ManualPage(InfoNamed(TreeOf(tool), options.words), KXTOOL_VERSION));
    if (options.words.empty()) return Write(kTour);
    std::string before = "kxtool";
    for (std::size_t i = 0; i + 1 < options.words.size(); ++i) before += " " + options.words[i];
    Write(command.help(before));
}

}  // namespace

void AddHelp(CLI::App& tool) {
    const auto options = std::make_shared<HelpOptions>();
    CLI::App* const help = tool.add_subcommand("help", "A tour, or the help of a command");
    help->add_option("COMMAND", options->words, "The command's words");
    help->add_flag("--man", options->manual, "Print the manual page instead, as man(7) has it");
    help->footer("Example:\n  kxtool help audit print\n");
    help->callback([&tool, options] { RunHelp(tool, *options); });

    CLI::App* const completion =
        tool.add_subcommand("completion", "Print a script that completes commands and options");
    completion->add_option("SHELL", options->shell, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    completion->footer("Example:\n  source <(kxtool completion bash)\n");
    completion->callback([&tool, options] { Write(CompletionScript(TreeOf(tool), options->shell)); });
}

}  // namespace kxtool
