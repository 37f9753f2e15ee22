// Manual pages, in the language of man(7).

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

#include "CommandTree.h"

namespace kxtool {
namespace {

/// Text in which nothing is a request, and a dash is a dash.
std::string Roff(std::string_view text) {
    std::string out;
    bool atLineStart = true;
    for (const char c : text) {
        if (atLineStart && (c == '.' || c == '\'')) out += "\\&";
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else {
            out += c;
        }
        atLineStart = c == '\n';
    }
    return out;
}

std::string Synopsis(const CommandInfo& command) {
    std::string text = fmt::format("\\fB{}\\fR", Roff(command.name()));
    if (!command.commands.empty()) return text + " \\fICOMMAND\\fR ...";
    const bool hasOptions = std::any_of(command.options.begin(), command.options.end(),
                                        [](const OptionInfo& option) { return !option.names.empty(); });
    if (hasOptions) text += " [\\fIoptions\\fR]";
    for (const OptionInfo& option : command.options) {
        if (option.place.empty()) continue;
        const std::string place = fmt::format("\\fI{}\\fR{}", Roff(option.place), option.isRepeated ? "..." : "");
        text += option.isRequired ? " " + place : " [" + place + "]";
    }
    return text;
}

std::string OptionText(const OptionInfo& option) {
    std::string names;
    for (const std::string& name : option.names) {
        names += fmt::format("{}\\fB{}\\fR", names.empty() ? "" : ", ", Roff(name));
    }
    if (option.names.empty()) names = fmt::format("\\fI{}\\fR", Roff(option.place));
    if (!option.choices.empty()) {
        names += " " + Roff(fmt::format("{}", fmt::join(option.choices, "|")));
    } else if (option.takesValue && !option.names.empty()) {
        names += " \\fIvalue\\fR";
    }
    return fmt::format(".TP\n{}\n{}.\n", names, Roff(option.help));
}

/// What a command's help says below its options: sentences, and an example, which stays as it is.
std::string FooterText(const std::string& footer) {
    const std::size_t example = footer.find("Example:\n");
    std::string text;
    if (example != 0 && !footer.empty()) text += ".PP\n" + Roff(footer.substr(0, example)) + "\n";
    if (example != std::string::npos) {
        text += ".PP\nExample:\n.PP\n.nf\n" + Roff(footer.substr(example + 9)) + "\n.fi\n";
    }
    // An empty line would end the paragraph twice.
    for (std::size_t at; (at = text.find("\n\n")) != std::string::npos;) text.erase(at, 1);
    return text;
}

void AppendCommand(std::string& page, const CommandInfo& command) {
    page += fmt::format(".SS {}\n{}.\n.PP\n{}\n", Roff(command.name()), Roff(command.does), Synopsis(command));
    for (const OptionInfo& option : command.options) page += OptionText(option);
    page += FooterText(command.footer);
    for (const CommandInfo& below : command.commands) AppendCommand(page, below);
}

}  // namespace

std::string ManualPage(const CommandInfo& command, const std::string& version) {
    std::string title = command.name();
    std::replace(title.begin(), title.end(), ' ', '-');
    std::string upper = title;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    std::string page = fmt::format(".TH {} 1 \"\" \"kxtool {}\"\n.SH NAME\n{} \\- {}\n.SH SYNOPSIS\n{}\n", Roff(upper),
                                   version, Roff(title), Roff(command.does), Synopsis(command));
    if (command.path.empty()) {
        page += ".SH COMMANDS\n";
        for (const CommandInfo& below : command.commands) {
            page += fmt::format(".TP\n\\fB{}\\fR\n{}; see \\fBkxtool\\-{}\\fR(1).\n", Roff(below.name()),
                                Roff(below.does), Roff(below.path.back()));
        }
        page += ".SH OPTIONS\n";
        for (const OptionInfo& option : command.options) page += OptionText(option);
        return page + ".SH EXIT STATUS\n" + Roff(command.footer) + "\n";
    }
    if (!command.options.empty()) page += ".SH OPTIONS\n";
    for (const OptionInfo& option : command.options) page += OptionText(option);
    page += FooterText(command.footer);
    if (!command.commands.empty()) page += ".SH COMMANDS\n";
    for (const CommandInfo& below : command.commands) AppendCommand(page, below);
    return page + ".SH SEE ALSO\n\\fBkxtool\\fR(1)\n";
}

}  // namespace kxtool
