#pragma once

// From the bytes of a textual property list to checked text.

#include "PropertyList.h"

namespace KXPlatform {

/// UTF-16 text being decoded.
using WideScratch = SmallVector<UniChar, 256>;

/// The document as UTF-8 (not checked yet), without a byte-order mark: `bytes` themselves, or what `storage` then
/// holds. Knows UTF-16 and UTF-32 by their mark or by the first '<', and 8-bit encodings by the name in an XML
/// declaration. Throws a read fault for an encoding that is unknown or cannot be the document's.
std::string_view decodeDocument(PropertyListBytes bytes, std::string& storage);

/// Appends `utf8` as UTF-16. Null when all of it was well-formed; otherwise the place of the first fault.
const char* appendUTF8(std::string_view utf8, WideScratch& out);

/// Appends a code point that is no surrogate and not above 0x10FFFF.
void appendCodePoint(char32_t point, WideScratch& out);
void appendCodePoint(char32_t point, std::string& out);

/// The line that `at` is on, from 1. CR, LF and CRLF end lines.
std::size_t lineAt(std::string_view document, const char* at) noexcept;

/// Throws a read fault: "<reason> on line N".
[[noreturn]] void throwReadFaultAt(std::string_view document, const char* at, std::string_view reason);

/// A piece of the document for a message: printable, cut after a few characters.
std::string quoted(std::string_view text);

}  // namespace KXPlatform
