#pragma once

// Texts of URLs made from others: percent escapes, and a relative text resolved against its base. What returns a
// string, or appends to one, throws std::bad_alloc.

#include "URLParts.h"

#include <optional>
#include <string>
#include <string_view>

namespace KXPlatform {

/// Appends `bytes`, each escaped but for those of this use.
void appendEscaped(std::string& text, std::string_view bytes, URLCharacter use);

/// How long that makes them, and the same written to memory that has room for it; returns its end. These throw nothing.
std::size_t sizeEscaped(std::string_view bytes, URLCharacter use) noexcept;
char* writeEscaped(char* out, std::string_view bytes, URLCharacter use) noexcept;

/// Writes the bytes of a text in which every percent sign begins an escape, which are no more than it has characters;
/// returns their end.
char* writeUnescaped(char* out, std::string_view text) noexcept;

/// The bytes of a text in which every percent sign begins an escape.
std::string unescaped(std::string_view text);

/// How a relative text is resolved.
enum class Resolution {
    Standard,  ///< RFC 3986, 5.2
    Lenient,   ///< the same; a scheme that is the base's may stand before a relative text
    Older,     ///< RFC 1808: "/../a" stays as it is, a query alone replaces the last component
};

struct ParsedURL {
    std::string_view text;
    const URLParts& parts;
};

/// `url` resolved against `base`.
std::string resolveURL(ParsedURL url, ParsedURL base, Resolution resolution);

/// Whether `url` is a text that is resolved: it has no scheme, or by the lenient way the base's.
bool isRelative(ParsedURL url, ParsedURL base, Resolution resolution) noexcept;

/// Whether two texts are equal but for the case of ASCII letters.
bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept;

}  // namespace KXPlatform
