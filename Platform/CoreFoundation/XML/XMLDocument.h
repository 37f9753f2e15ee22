#pragma once

// The bytes of an XML document as UTF-8.

#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFXMLParser.h>

#include <string_view>

struct __CFData;

namespace KXPlatform {

struct XMLDocument {
    std::string_view text;                              ///< a byte order mark included
    CFStringEncoding encoding = kCFStringEncodingUTF8;  ///< of the document as it came
    CFXMLParserStatusCode fault = kCFXMLStatusParseSuccessful;
    Retained<const __CFData> holder;  ///< of the text
};

/// Reads the encoding off the byte order mark, the first bytes or the XML declaration, and converts what is in another
/// one. The fault says why there is no text.
XMLDocument openXMLDocument(CFDataRef data) noexcept;

}  // namespace KXPlatform
