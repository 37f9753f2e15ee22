#pragma once

// Identifiers of locales: from texts of any form to ICU's, and from ICU's to this platform's.

#include <CoreFoundation/CFString.h>

#include <unicode/uloc.h>

#include <array>
#include <string_view>

namespace KXPlatform {

/// The text of an identifier, NUL-terminated.
using IdentifierText = std::array<char, ULOC_FULLNAME_CAPACITY>;

/// The ASCII text of `string`. False when it is null or no string, too long, or holds anything but printable ASCII.
bool readIdentifier(CFStringRef string, IdentifierText& text) noexcept;

/// Writes an identifier that was written in any way ("EN-us", "de_DE.UTF-8", "French") in ICU's form: "en_US". False
/// when it is too long.
bool canonicalName(const char* text, IdentifierText& name) noexcept;

/// Writes what the environment says ("sr_RS.UTF-8@latin", "C") in ICU's form: "sr_Latn_RS", "en_US_POSIX".
void nameOfEnvironment(std::string_view posix, IdentifierText& name) noexcept;

/// A name of ICU's in the form of this platform, where a hyphen stands before a script: "zh-Hant_TW".
CFStringRef createIdentifier(CFAllocatorRef allocator, const char* name) noexcept;

}  // namespace KXPlatform
