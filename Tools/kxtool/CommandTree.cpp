#include "CommandTree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <utility>

namespace kxtool {
namespace {

/// "{line,long,json}" at the end of what an option's type is said to be: its values.
std::vector<std::string> ChoicesIn(const std::string& type) {
    const std::size_t begin = type.find('{');
    const std::size_t end = type.rfind('}');
    std::vector<std::string> choices;
    if (begin == std::string::npos || end == std::string::npos || end < begin) return choices;
    std::string choice;
    for (const char c : type.substr(begin + 1, end - begin - 1)) {
        if (c != ',') {
            choice += c;
        } else {
            choices.push_back(std::exchange(choice, {}));
        }
    }
    choices.push_back(choice);
    return choices;
}

OptionInfo InfoOf(const CLI::Option& option) {
    OptionInfo info;
    for (const std::string& name : option.get_lnames()) info.names.push_back("--" + name);
    for (const std::string& name : option.get_snames()) info.names.push_back("-" + name);
    if (info.names.empty()) info.place = option.get_name(true);
    info.help = option.get_description();
    info.takesValue = option.get_items_expected_max() != 0;
    info.isRequired = option.get_required();
    info.isRepeated = option.get_items_expected_max() > 1;
    info.choices = ChoicesIn(option.get_type_name());
    return info;
}

void AddOptions(const CLI::App& app, std::vector<OptionInfo>& options) {
    for (const CLI::Option* const option : app.get_options()) options.push_back(InfoOf(*option));
    for (const CLI::App* const group :
         app.get_subcommands([](const CLI::App* one) { return one->get_name().empty(); })) {
        AddOptions(*group, options);
    }
}

CommandInfo InfoOf(const CLI::App& app, std::vector<std::string> path) {
    CommandInfo info;
    info.path = path;
    info.does = app.get_description();
    info.footer = app.get_footer();
    AddOptions(app, info.options);
    for (const CLI::App* const below :
         app.get_subcommands([](const CLI::App* one) { return !one->get_name().empty(); })) {
        std::vector<std::string> longer = path;
        longer.push_back(below->get_name());
        info.commands.push_back(InfoOf(*below, std::move(longer)));
    }
    return info;
}

}  // namespace

std::string CommandInfo::name() const {
    return path.empty() ? "kxtool" : fmt::format("kxtool {}", fmt::join(path, " "));
}

CommandInfo TreeOf(const CLI::App& tool) { return InfoOf(tool, {}); }

}  // namespace kxtool
