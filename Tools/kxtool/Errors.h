#pragma once

// How the work of a command ends, and what it says on the standard error: for every source that needs no more of the
// command line than that.

#include <exception>
#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

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

}  // namespace kxtool
