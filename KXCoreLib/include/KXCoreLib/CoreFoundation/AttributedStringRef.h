#pragma once

#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFAttributedString.h>

namespace KXCore::CoreFoundation {

class MutableAttributedStringRef;

/// Text with attributes in runs. An effective range is that of the run at a place; the longest one goes over its
/// neighbours, within the range that is asked about.
class KX_EXPORT AttributedStringRef : public TypedRef<AttributedStringRef, CFAttributedStringRef> {
  public:
    static constexpr const char* typeName = "CFAttributedStringRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// Null attributes are none.
    static AttributedStringRef create(CFAllocatorRef allocator, CFStringRef string, CFDictionaryRef attributes);
    static AttributedStringRef createWithSubstring(CFAllocatorRef allocator, CFAttributedStringRef string,
                                                   CFRange range);
    static AttributedStringRef createCopy(CFAllocatorRef allocator, CFAttributedStringRef string);
    /// `maxLength` 0: no limit but memory.
    static MutableAttributedStringRef createMutable(CFAllocatorRef allocator, CFIndex maxLength);
    static MutableAttributedStringRef createMutableCopy(CFAllocatorRef allocator, CFIndex maxLength,
                                                        CFAttributedStringRef string);

    StringRef getString() const;
    CFIndex getLength() const;
    /// Empty beyond the text. The ranges may be null.
    DictionaryRef getAttributes(CFIndex location, CFRange* effectiveRange) const;
    DictionaryRef getAttributesAndLongestEffectiveRange(CFIndex location, CFRange inRange,
                                                        CFRange* longestEffectiveRange) const;
    /// Borrowed; null where the attribute is not set.
    CFTypeRef getAttribute(CFIndex location, CFStringRef attributeName, CFRange* effectiveRange) const;
    CFTypeRef getAttributeAndLongestEffectiveRange(CFIndex location, CFStringRef attributeName, CFRange inRange,
                                                   CFRange* longestEffectiveRange) const;
};
static_assert(isPlainRef<AttributedStringRef>);

/// What changes an attributed string. A range that is not within the text changes nothing.
class KX_EXPORT MutableAttributedStringRef
    : public HeldRef<MutableAttributedStringRef, CFMutableAttributedStringRef, AttributedStringRef> {
  public:
    /// New characters have the attributes of the first one replaced, else of the one before, else of the one behind.
    void replaceString(CFRange range, CFStringRef replacement);
    /// Empty: as on macOS, where it is announced and not available.
    MutableStringRef getMutableString();
    void setAttributes(CFRange range, CFDictionaryRef replacement, Boolean clearOtherAttributes);
    void setAttribute(CFRange range, CFStringRef attributeName, CFTypeRef value);
    void removeAttribute(CFRange range, CFStringRef attributeName);
    void replaceAttributedString(CFRange range, CFAttributedStringRef replacement);
    void beginEditing();
    void endEditing();
};
static_assert(isPlainRef<MutableAttributedStringRef>);

}  // namespace KXCore::CoreFoundation
