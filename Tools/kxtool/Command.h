#pragma once

// What the commands of kxtool have in common.
//
// A command is one source, NAME.cpp, with one function `void kxtool::AddNAME(CLI::App& tool)` that adds a subcommand to
// the tool: its options, an example (footer "Example:\n  kxtool ..."), and a callback that does the work. It is listed
// in CMakeLists.txt, and nowhere else.
//
// A command prints its result on the standard output, and nothing else there. It ends in one of these ways:
//   it returns               exit status 0;
//   it throws AnswerIsNo     exit status 1, for a question whose answer was printed and is no, or nothing;
//   it throws BadInput       one line on the standard error, "kxtool mask: ...", exit status 1, or 3 for a question;
//   it throws OutputFailed   the same;
//   it throws BadUsage       the same and how to get help, exit status 2, as for options that CLI11 refuses.
// Any other exception counts as bad input: what() is the line.

#include <CLI/CLI.hpp>

#include "Errors.h"

namespace kxtool {

/// Adds all commands, in the order of the help.
void AddCommands(CLI::App& tool);

}  // namespace kxtool
