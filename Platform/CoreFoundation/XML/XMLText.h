#pragma once

// Strings of this platform and UTF-8, for the sources that read and write documents.

#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFString.h>

#include <string>
#include <string_view>

namespace KXPlatform {

using XMLString = Retained<const __CFString>;

/// Throws std::bad_alloc.
XMLString stringOf(std::string_view utf8);

/// Throws std::bad_alloc. Halves of surrogate pairs become U+FFFD; null is no text.
void appendUTF8(std::string& text, CFStringRef string);

/// Adds text that stands between tags, or in the value of an attribute, as markup that is read back as just that text.
void appendEscaped(std::string& markup, std::string_view text, bool isAttribute);

/// Whether there is nothing but the white space of XML.
bool isWhitespace(std::string_view text) noexcept;

}  // namespace KXPlatform
