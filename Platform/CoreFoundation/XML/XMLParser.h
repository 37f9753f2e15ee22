#pragma once

// The parser as an object, for its public functions and for the reader that drives it.

#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFXMLParser.h>

#include <cstddef>

struct __CFURL;
struct __CFData;

namespace KXPlatform {
class XMLReader;
extern const Class kXMLParserClass;
}  // namespace KXPlatform

struct __CFXMLParser : KXPlatform::Object {
    __CFXMLParser(CFDataRef d, CFURLRef s, CFOptionFlags o, CFIndex v, const CFXMLParserCallBacks& c,
                  const CFXMLParserContext& x) noexcept;
    ~__CFXMLParser();

    bool has(CFOptionFlags option) const noexcept { return (options & option) != 0; }

    const KXPlatform::Retained<const __CFData> data;
    const KXPlatform::Retained<const __CFURL> source;
    const CFOptionFlags options;
    const CFIndex versionOfNodes;
    const CFXMLParserCallBacks callBacks;
    CFXMLParserContext context;  ///< its info retained

    KXPlatform::XMLReader* reader = nullptr;  ///< while it parses
    void* document = nullptr;
    CFXMLParserStatusCode status = kCFXMLStatusParseNotBegun;
    bool wasAborted = false;
    KXPlatform::Retained<const __CFString> description;  ///< of what is wrong
    CFIndex location = 0;                                ///< where parsing ended
    CFIndex line = 0;
};
