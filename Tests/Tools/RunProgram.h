#pragma once

// Runs a program as a person would and gives back all it said: for tests that compare with what is expected, byte for
// byte.

#include <gtest/gtest.h>

#include <string>
#include <vector>

struct ProgramOutcome {
    int status = 0;  // what it exited with; 128 and the signal's number if a signal ended it
    std::string out;
    std::string err;

    bool operator==(const ProgramOutcome&) const = default;
};

void PrintTo(const ProgramOutcome& outcome, std::ostream* stream);

/// Runs `arguments`, the first being the program's path, with `input` as its standard input, and waits for its end.
/// Input and output may be of any size. A program that cannot be started exits with 127.
ProgramOutcome RunProgram(const std::vector<std::string>& arguments, const std::string& input = "");

#ifdef KXTOOL
/// Runs kxtool with these arguments.
inline ProgramOutcome RunTool(std::vector<std::string> arguments, const std::string& input = "") {
    arguments.insert(arguments.begin(), KXTOOL);
    return RunProgram(arguments, input);
}
#endif
