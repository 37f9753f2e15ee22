#pragma once

// Keys of the store as text. A key in this code is its UTF-8 text.

#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFString.h>

#include <optional>
#include <string>
#include <string_view>

namespace KXPlatform {

/// Bytes of a key.
inline constexpr std::size_t kLongestKey = 255;

/// The text of a key; nothing when `key` is no string or holds half of a surrogate pair.
std::optional<std::string> keyText(CFTypeRef key);

/// A key as a string; null when the text is not UTF-8 (or memory is out).
Retained<const __CFString> keyString(std::string_view key);

}  // namespace KXPlatform
