#pragma once

// Text of a property list that is not plain ASCII, on its way to a string.

#include "Support/SmallVector.h"
#include "Support/UnicodeText.h"

#include <CoreFoundation/CFBase.h>

#include <string_view>

namespace KXPlatform {

using WideText = SmallVector<UniChar, 256>;

/// Appends `utf8` as UTF-16. Null when all of it was well-formed; otherwise the place of the first fault.
inline const char* appendUTF8(std::string_view utf8, WideText& out) {
    const auto* const begin = reinterpret_cast<const unsigned char*>(utf8.data());
    Input in{begin, begin + utf8.size()};
    UniChar* const place = out.room(utf8.size());
    Output units{reinterpret_cast<unsigned char*>(place), reinterpret_cast<unsigned char*>(place + utf8.size())};
    const Stop stop = convertText<UTF8Text, UTF16LEText>(in, units);
    out.extend(static_cast<std::size_t>(reinterpret_cast<UniChar*>(units.at) - place));
    return stop == Stop::UsedUp ? nullptr : reinterpret_cast<const char*>(in.at);
}

/// Appends a character (isCharacter).
inline void appendCharacter(char32_t c, WideText& out) {
    unsigned char* const place = reinterpret_cast<unsigned char*>(out.room(2));
    out.extend(UTF16LEText::encode(c, place) / sizeof(UniChar));
}

/// Whether no unit is half of a surrogate pair.
inline bool isWellFormed(const WideText& text) noexcept {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size() * sizeof(UniChar);
    char32_t c;
    for (std::size_t at = 0; at < size;) {
        const int length = UTF16LEText::decode(bytes + at, size - at, c);
        if (length <= 0) return false;
        at += static_cast<std::size_t>(length);
    }
    return true;
}

}  // namespace KXPlatform
