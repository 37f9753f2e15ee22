#pragma once

// Texts from outside, shown so that they are only text: a terminal obeys some characters, and others turn around what
// stands beside them.

#include <string>
#include <string_view>

namespace kxtool {

/// `text` with control characters, those that turn the direction of writing, line separators and bytes that are no
/// UTF-8 as \n, \t or \xHH, and \ as \\.
std::string Escaped(std::string_view text);

/// The same where line ends stay and a backslash is no escape: for whole texts that are made of lines.
std::string EscapedLines(std::string_view text);

/// JSON with those characters as \uHHHH, which means the same.
std::string EscapedJson(std::string_view json);

bool IsUTF8(std::string_view text);

/// UTF-8 with U+FFFD for bytes that are none.
std::string Utf8Of(std::string_view text);

/// How many columns of a terminal the text takes, about: a character each, two for wide ones, none for marks.
std::size_t ColumnsOf(std::string_view text);

bool OutputIsTerminal();

enum class Colour { Red, Green, Yellow, Blue, Bold, Dim };

/// `text` in the colour where the output is a terminal that shows colours and NO_COLOR is not set.
std::string Coloured(std::string_view text, Colour colour);

/// How wide the terminal is; 80 when the output is none.
std::size_t TerminalWidth();

}  // namespace kxtool
