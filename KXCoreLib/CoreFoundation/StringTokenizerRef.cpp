#include <KXCoreLib/CoreFoundation/StringTokenizerRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID StringTokenizerRef::getTypeID() { return CFStringTokenizerGetTypeID(); }

StringRef StringTokenizerRef::copyBestStringLanguage(CFStringRef string, CFRange range) {
    return KX_CREATE(StringRef, CFStringTokenizerCopyBestStringLanguage)(string, range);
}

StringTokenizerRef StringTokenizerRef::create(CFAllocatorRef allocator, CFStringRef string, CFRange range,
                                              CFOptionFlags options, CFLocaleRef locale) {
    return KX_CREATE(StringTokenizerRef, CFStringTokenizerCreate)(allocator, string, range, options, locale);
}

void StringTokenizerRef::setString(CFStringRef string, CFRange range) const {
    CFStringTokenizerSetString(get(), string, range);
}

CFStringTokenizerTokenType StringTokenizerRef::goToTokenAtIndex(CFIndex index) const {
    return CFStringTokenizerGoToTokenAtIndex(get(), index);
}

CFStringTokenizerTokenType StringTokenizerRef::advanceToNextToken() const {
    return CFStringTokenizerAdvanceToNextToken(get());
}

CFRange StringTokenizerRef::getCurrentTokenRange() const { return CFStringTokenizerGetCurrentTokenRange(get()); }

TypeRef StringTokenizerRef::copyCurrentTokenAttribute(CFOptionFlags attribute) const {
    return KX_CREATE(TypeRef, CFStringTokenizerCopyCurrentTokenAttribute)(get(), attribute);
}

CFIndex StringTokenizerRef::getCurrentSubTokens(CFRange* ranges, CFIndex maxRangeLength,
                                                CFMutableArrayRef derivedSubTokens) const {
    return CFStringTokenizerGetCurrentSubTokens(get(), ranges, maxRangeLength, derivedSubTokens);
}

}  // namespace KXCore::CoreFoundation
