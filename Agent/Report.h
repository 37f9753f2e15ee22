#pragma once

#include <string>

namespace agent {

/// Writes one line to the standard error stream, "kxagent: TEXT", whole.
void report(const std::string& text);

/// `text`, which somebody else chose, on one line: control characters and, if given, others become "\xNN".
std::string onOneLine(const char* text, const char* others = "");

}  // namespace agent
