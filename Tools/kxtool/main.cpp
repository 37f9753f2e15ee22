#include <KXCoreLib/CoreFoundation/CFException.h>
#include <fmt/format.h>

#include <exception>
#include <set>
#include <string>

#include "Command.h"
#include "Streams.h"
#include "Terminal.h"

namespace kxtool {
namespace {

/// The tool while it runs, for the name that heads its messages.
const CLI::App* runningTool = nullptr;

std::set<const CLI::App*>& Questions() {
    static std::set<const CLI::App*> questions;
    return questions;
}

/// The command that was named, or the tool itself.
const CLI::App* CommandOf(const CLI::App& tool) {
    const CLI::App* app = &tool;
    while (!app->get_subcommands().empty()) app = app->get_subcommands().front();
    return app;
}

/// "kxtool", or "kxtool mask" when a command was named.
std::string NameOf(const CLI::App& tool) {
    std::string name = tool.get_name();
    for (const CLI::App* app = &tool; !app->get_subcommands().empty();) {
        app = app->get_subcommands().front();
        name += " " + app->get_name();
    }
    return name;
}

/// `text` as one line that only says something, whatever names from outside are in it.
std::string OneLine(const std::string& text) {
    std::string line;
    for (const char c : EscapedLines(text)) line += c == '\n' ? std::string("\\n") : std::string(1, c);
    return line;
}

int Fail(const CLI::App& tool, ExitStatus status, const char* what) {
    const std::string name = NameOf(tool);
    if (status == kFailedOnInput && Questions().contains(CommandOf(tool))) status = kCouldNotAsk;
    fmt::print(stderr, "{}: {}\n", name, OneLine(what));
    if (status == kFailedOnUsage) fmt::print(stderr, "Try '{} --help'.\n", name);
    return status;
}

int Run(int argc, char** argv) {
    CLI::App tool("Looks into the core library of the endpoint agent from the command line.", "kxtool");
    runningTool = &tool;
    tool.require_subcommand(0, 1);  // none is told below, in better words
    tool.set_version_flag("--version", std::string("kxtool " KXTOOL_VERSION), "Print the version and exit");
    tool.footer(
        "Exit status: 0 done, 1 bad input, 2 bad usage.\n"
        "Commands that ask something: 0 yes or found, 1 no or nothing found, 2 bad usage, 3 could not ask.");
    AddCommands(tool);
    try {
        ExitStatus status = kDone;
        try {
            tool.parse(argc, argv);
        } catch (const AnswerIsNo&) {
            status = kFailedOnInput;
        }
        if (tool.get_subcommands().empty()) throw BadUsage("which command?");
        Flush();
        return status;
    } catch (const CLI::ParseError& error) {
        // Asking for help or the version ends parsing too, but is no failure.
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            tool.exit(error);
            return kDone;
        }
        return Fail(tool, kFailedOnUsage, error.what());
    } catch (const BadUsage& error) {
        return Fail(tool, kFailedOnUsage, error.what());
    } catch (const std::exception& error) {
        return Fail(tool, kFailedOnInput, error.what());
    } catch (const KXCore::CoreFoundation::CFException& error) {
        return Fail(tool, kFailedOnInput, error.what());
    }
}

}  // namespace

void Warn(const std::string& text) {
    fmt::print(stderr, "{}: {}\n", runningTool ? NameOf(*runningTool) : "kxtool", OneLine(text));
}

void MarkAsQuestion(const CLI::App* command) { Questions().insert(command); }

std::string Quoted(const std::string& text) {
    constexpr std::size_t kShown = 80;
    std::string quoted = "\"";
    for (const char c : text.substr(0, kShown)) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            quoted += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        } else {
            quoted += c;
        }
    }
    return quoted + (text.size() > kShown ? "...\"" : "\"");
}

std::string Counted(long long count, const std::string& noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace kxtool

int main(int argc, char** argv) {
    try {
        return kxtool::Run(argc, argv);
    } catch (const std::exception& error) {  // not even the command line could be set up
        std::fprintf(stderr, "kxtool: %s\n", error.what());
        return kxtool::kFailedOnInput;
    }
}
