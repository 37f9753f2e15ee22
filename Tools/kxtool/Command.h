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
#include <exception>
#include <stdexcept>
#include <string>

namespace kxtool {

enum ExitStatus : int { kDone = 0, kFailedOnInput = 1, kFailedOnUsage = 2, kCouldNotAsk = 3 };

/// What was given to work on cannot be worked on. The text says what and where, without a newline.
class BadInput : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What was printed could not be written. No command goes on after it.
class OutputFailed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The answer was printed, and it is no.
class AnswerIsNo : public std::exception {};

/// The command line asks for something that does not exist or contradicts itself. Thrown from a command's callback.
class BadUsage : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// `text` in double quotes, with control characters escaped and long texts cut: for use in messages.
std::string Quoted(const std::string& text);

/// "1 item", "2 items": `count` with the noun's plural where it is due.
std::string Counted(long long count, const std::string& noun);

/// Says on the standard error, after the command's name, what does not end it.
void Warn(const std::string& text);

/// The command asks something: status 1 is a no, and what keeps it from asking is status 3.
void MarkAsQuestion(const CLI::App* command);

/// Adds all commands, in the order of the help.
void AddCommands(CLI::App& tool);

}  // namespace kxtool
