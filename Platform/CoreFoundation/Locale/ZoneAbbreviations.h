#pragma once

#include <CoreFoundation/CFDictionary.h>

namespace KXPlatform {

/// The abbreviations of zones that a program finds before it sets others. Null without memory.
CFDictionaryRef createAbbreviations() noexcept;

}  // namespace KXPlatform
