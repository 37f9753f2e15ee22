#pragma once

#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFStringTokenizer.h>

namespace KXCore::CoreFoundation {

/// Text in words, sentences, paragraphs or parts of lines, one after the other. Belongs to one thread at a time.
class KX_EXPORT StringTokenizerRef : public TypedRef<StringTokenizerRef, CFStringTokenizerRef> {
  public:
    static constexpr const char* typeName = "CFStringTokenizerRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// The language that the range is probably written in. Not known is a failure.
    static StringRef copyBestStringLanguage(CFStringRef string, CFRange range);
    /// At the beginning of the range of a copy of the string. A null locale is the root.
    static StringTokenizerRef create(CFAllocatorRef allocator, CFStringRef string, CFRange range, CFOptionFlags options,
                                     CFLocaleRef locale);

    void setString(CFStringRef string, CFRange range) const;
    /// kCFStringTokenizerTokenNone where the place is in no token.
    CFStringTokenizerTokenType goToTokenAtIndex(CFIndex index) const;
    /// kCFStringTokenizerTokenNone behind the last token.
    CFStringTokenizerTokenType advanceToNextToken() const;
    /// {kCFNotFound, 0} without a current token.
    CFRange getCurrentTokenRange() const;
    /// Not known is a failure.
    TypeRef copyCurrentTokenAttribute(CFOptionFlags attribute) const;
    /// The number of parts; each pointer may be null.
    CFIndex getCurrentSubTokens(CFRange* ranges, CFIndex maxRangeLength, CFMutableArrayRef derivedSubTokens) const;
};
static_assert(isPlainRef<StringTokenizerRef>);

}  // namespace KXCore::CoreFoundation
