#pragma once

// Where the parts of a URL lie in its text, by the grammar of RFC 3986 (with the brackets of RFC 2732 in queries and
// fragments). A text that does not follow it is refused: every part of what is accepted holds the characters that it
// may, and every percent sign begins an escape.

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace KXPlatform {

/// A stretch of a text. One that is absent differs from one that is empty: "a?" has an empty query, "a" none.
struct URLPart {
    static constexpr std::uint32_t kAbsent = UINT32_MAX;

    std::uint32_t begin = kAbsent;
    std::uint32_t end = kAbsent;

    explicit operator bool() const noexcept { return begin != kAbsent; }
    std::uint32_t size() const noexcept { return end - begin; }
    std::string_view of(std::string_view text) const noexcept {
        return begin == kAbsent ? std::string_view() : text.substr(begin, end - begin);
    }
    bool operator==(const URLPart&) const = default;
};

struct URLParts {
    URLPart scheme;
    URLPart authority;  ///< with the four that follow
    URLPart user;
    URLPart password;
    URLPart host;  ///< in its brackets where it is an IP literal
    URLPart port;  ///< digits, or none
    URLPart path;  ///< always there; with its parameters
    URLPart query;
    URLPart fragment;

    /// "mailto:a@b": the rest is the scheme's own business.
    bool isOpaque = false;
};

/// Null for a text that is no URL or longer than 4 gigabytes. An empty text is an empty path.
std::optional<URLParts> parseURL(std::string_view text) noexcept;

/// What a character may be a part of.
enum URLCharacter : std::uint8_t {
    InScheme = 1,
    InUser = 2,  ///< and passwords
    InName = 4,  ///< of a host
    InPath = 8,
    InQuery = 16,     ///< and fragments
    InFilePath = 32,  ///< stands in a file's path as it is; ";" is escaped there, which older readers take for a mark
    Hex = 64,
    Legal = 128,  ///< stands in a URL as it is, wherever that may be: all but "#", "%" and brackets
};

/// By byte; 0 for what a URL cannot hold.
extern const std::array<std::uint8_t, 256> kURLCharacters;

inline bool isURLCharacter(char c, URLCharacter use) noexcept {
    return (kURLCharacters[static_cast<unsigned char>(c)] & use) != 0;
}

}  // namespace KXPlatform
