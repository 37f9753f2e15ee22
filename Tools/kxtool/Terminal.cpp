#include "Terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wchar.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace kxtool {
namespace {

unsigned char ByteAt(std::string_view text, std::size_t i) { return static_cast<unsigned char>(text[i]); }

/// One character of UTF-8 at the beginning of a text.
struct Character {
    std::size_t length = 0;  ///< 0: the text begins with none
    char32_t point = 0;
};

Character CharacterAt(std::string_view text) {
    const unsigned char first = ByteAt(text, 0);
    if (first < 0x80) return {1, first};
    const std::size_t length = first >= 0xC2 && first < 0xE0   ? 2
                               : first >= 0xE0 && first < 0xF0 ? 3
                               : first >= 0xF0 && first < 0xF5 ? 4
                                                               : 0;
    if (length == 0 || text.size() < length) return {};
    char32_t point = first & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((ByteAt(text, i) & 0xC0) != 0x80) return {};
        point = point << 6 | (ByteAt(text, i) & 0x3F);
    }
    const bool isOverlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
    if (isOverlong || (point >= 0xD800 && point < 0xE000) || point > 0x10FFFF) return {};
    return {length, point};
}

/// Whether a terminal or a reader of lines would take the character for more than a character.
bool IsUnsafe(char32_t point) {
    if (point < 0x20 || (point >= 0x7F && point < 0xA0)) return true;
    const bool isSeparator = point == 0x2028 || point == 0x2029;
    const bool turns = point == 0x061C || point == 0x200E || point == 0x200F || (point >= 0x202A && point <= 0x202E) ||
                       (point >= 0x2066 && point <= 0x2069);
    return isSeparator || turns || point == 0xFEFF;
}

bool IsPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F && c != '\\'; });
}

void AppendHex(std::string& out, std::string_view bytes) {
    for (const char c : bytes) out += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
}

/// Calls `take` with each character, or each byte that begins none, of `text`.
template <class Take>
void ForEachCharacter(std::string_view text, Take take) {
    for (std::size_t i = 0; i < text.size();) {
        const Character character = CharacterAt(text.substr(i));
        const std::string_view bytes = text.substr(i, std::max<std::size_t>(character.length, 1));
        take(character, bytes);
        i += bytes.size();
    }
}

bool ShowsColours() {
    static const bool shows = [] {
        const char* const none = std::getenv("NO_COLOR");
        const char* const terminal = std::getenv("TERM");
        return OutputIsTerminal() && (!none || *none == '\0') && terminal && std::string_view(terminal) != "dumb";
    }();
    return shows;
}

}  // namespace

std::string Escaped(std::string_view text) {
    if (IsPlain(text)) return std::string(text);
    std::string out;
    ForEachCharacter(text, [&](const Character& character, std::string_view bytes) {
        if (bytes == "\n" || bytes == "\t" || bytes == "\\") {
            out += bytes == "\n" ? "\\n" : bytes == "\t" ? "\\t" : "\\\\";
        } else if (character.length == 0 || IsUnsafe(character.point)) {
            AppendHex(out, bytes);
        } else {
            out += bytes;
        }
    });
    return out;
}

std::string EscapedLines(std::string_view text) {
    std::string out;
    ForEachCharacter(text, [&](const Character& character, std::string_view bytes) {
        const bool isFine = bytes == "\n" || bytes == "\t" || (character.length != 0 && !IsUnsafe(character.point));
        if (isFine) {
            out += bytes;
        } else {
            AppendHex(out, bytes);
        }
    });
    return out;
}

std::string EscapedJson(std::string_view json) {
    std::string out;
    ForEachCharacter(json, [&](const Character& character, std::string_view bytes) {
        if (bytes == "\n" || character.length == 0 || !IsUnsafe(character.point)) {
            out += bytes;
        } else {
            out += fmt::format("\\u{:04x}", static_cast<unsigned>(character.point));
        }
    });
    return out;
}

bool IsUTF8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const Character character = CharacterAt(text.substr(i));
        if (character.length == 0) return false;
        i += character.length;
    }
    return true;
}

std::string Utf8Of(std::string_view text) {
    if (IsUTF8(text)) return std::string(text);
    std::string out;
    ForEachCharacter(text, [&](const Character& character, std::string_view bytes) {
        out += character.length == 0 ? std::string_view("\uFFFD") : bytes;
    });
    return out;
}

std::size_t ColumnsOf(std::string_view text) {
    std::size_t columns = 0;
    ForEachCharacter(text, [&](const Character& character, std::string_view) {
        const int width = character.length == 0 ? 1 : wcwidth(static_cast<wchar_t>(character.point));
        columns += static_cast<std::size_t>(std::max(width, 0));
    });
    return columns;
}

bool OutputIsTerminal() {
    static const bool is = isatty(STDOUT_FILENO) != 0;
    return is;
}

std::string Coloured(std::string_view text, Colour colour) {
    if (!ShowsColours()) return std::string(text);
    const int code = colour == Colour::Red      ? 31
                     : colour == Colour::Green  ? 32
                     : colour == Colour::Yellow ? 33
                     : colour == Colour::Blue   ? 34
                     : colour == Colour::Bold   ? 1
                                                : 2;
    return fmt::format("\x1B[{}m{}\x1B[0m", code, text);
}

std::size_t TerminalWidth() {
    winsize size{};
    if (OutputIsTerminal() && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return 80;
}

}  // namespace kxtool
