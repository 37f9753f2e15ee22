#pragma once

// The commands and options as they are defined for the command line, for what is made of them: manual pages and
// completion.

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace kxtool {

struct OptionInfo {
    std::vector<std::string> names;  ///< "--since", "-o"; none for an argument by place
    std::string place;               ///< "FILE" of an argument by place
    std::string help;
    bool takesValue = false;
    bool isRequired = false;
    bool isRepeated = false;
    std::vector<std::string> choices;
};

struct CommandInfo {
    std::vector<std::string> path;  ///< "audit", "print"; empty for the tool itself
    std::string does;
    std::string footer;
    std::vector<OptionInfo> options;
    std::vector<CommandInfo> commands;

    std::string name() const;  ///< "kxtool audit print"
};

CommandInfo TreeOf(const CLI::App& tool);

/// A script that completes commands, options and their values; `shell` is bash, zsh or fish.
std::string CompletionScript(const CommandInfo& tool, const std::string& shell);

/// A manual page of the tool, or of one of its commands with all below it.
std::string ManualPage(const CommandInfo& command, const std::string& version);

}  // namespace kxtool
