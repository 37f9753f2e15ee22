// Any bytes are a document or are refused; a document's tree is written as one that is read as the same tree.

#include "Platform/CoreFoundation/Held.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <cstdlib>

namespace {

using Held::hold;
using Held::Holder;

Holder<CFDataRef> written(CFXMLTreeRef tree) { return hold(CFXMLTreeCreateXMLData(nullptr, tree)); }

void check(CFDataRef document, CFOptionFlags options) {
    CFDictionaryRef errors = nullptr;
    const auto tree = hold(CFXMLTreeCreateFromDataWithError(nullptr, document, nullptr, options, 1, &errors));
    if (!tree) {
        if (!errors) std::abort();
        CFRelease(errors);
        return;
    }
    const auto once = written(tree);
    if (!once || options != kCFXMLParserNoOptions) return;  // not all that is named can be written in any encoding
    const auto again = hold(CFXMLTreeCreateFromData(nullptr, once, nullptr, options, 1));
    if (!again || !CFEqual(written(again), once)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto document = hold(CFDataCreate(nullptr, bytes, static_cast<CFIndex>(size)));
    check(document, kCFXMLParserNoOptions);
    check(document, kCFXMLParserAllOptions);
    return 0;
}
