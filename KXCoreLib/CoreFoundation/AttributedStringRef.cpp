#include <KXCoreLib/CoreFoundation/AttributedStringRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID AttributedStringRef::getTypeID() { return CFAttributedStringGetTypeID(); }

AttributedStringRef AttributedStringRef::create(CFAllocatorRef allocator, CFStringRef string,
                                                CFDictionaryRef attributes) {
    return KX_CREATE(AttributedStringRef, CFAttributedStringCreate)(allocator, string, attributes);
}

AttributedStringRef AttributedStringRef::createWithSubstring(CFAllocatorRef allocator, CFAttributedStringRef string,
                                                             CFRange range) {
    return KX_CREATE(AttributedStringRef, CFAttributedStringCreateWithSubstring)(allocator, string, range);
}

AttributedStringRef AttributedStringRef::createCopy(CFAllocatorRef allocator, CFAttributedStringRef string) {
    return KX_CREATE(AttributedStringRef, CFAttributedStringCreateCopy)(allocator, string);
}

MutableAttributedStringRef AttributedStringRef::createMutable(CFAllocatorRef allocator, CFIndex maxLength) {
    return KX_CREATE(MutableAttributedStringRef, CFAttributedStringCreateMutable)(allocator, maxLength);
}

MutableAttributedStringRef AttributedStringRef::createMutableCopy(CFAllocatorRef allocator, CFIndex maxLength,
                                                                  CFAttributedStringRef string) {
    return KX_CREATE(MutableAttributedStringRef, CFAttributedStringCreateMutableCopy)(allocator, maxLength, string);
}

StringRef AttributedStringRef::getString() const { return StringRef::retain(CFAttributedStringGetString(get())); }
CFIndex AttributedStringRef::getLength() const { return CFAttributedStringGetLength(get()); }

DictionaryRef AttributedStringRef::getAttributes(CFIndex location, CFRange* effectiveRange) const {
    return DictionaryRef::retain(CFAttributedStringGetAttributes(get(), location, effectiveRange));
}

DictionaryRef AttributedStringRef::getAttributesAndLongestEffectiveRange(CFIndex location, CFRange inRange,
                                                                         CFRange* longestEffectiveRange) const {
    return DictionaryRef::retain(
        CFAttributedStringGetAttributesAndLongestEffectiveRange(get(), location, inRange, longestEffectiveRange));
}

CFTypeRef AttributedStringRef::getAttribute(CFIndex location, CFStringRef attributeName,
                                            CFRange* effectiveRange) const {
    return CFAttributedStringGetAttribute(get(), location, attributeName, effectiveRange);
}

CFTypeRef AttributedStringRef::getAttributeAndLongestEffectiveRange(CFIndex location, CFStringRef attributeName,
                                                                    CFRange inRange,
                                                                    CFRange* longestEffectiveRange) const {
    return CFAttributedStringGetAttributeAndLongestEffectiveRange(get(), location, attributeName, inRange,
                                                                  longestEffectiveRange);
}

void MutableAttributedStringRef::replaceString(CFRange range, CFStringRef replacement) {
    CFAttributedStringReplaceString(get(), range, replacement);
}

MutableStringRef MutableAttributedStringRef::getMutableString() {
    return MutableStringRef::retain(CFAttributedStringGetMutableString(get()));
}

void MutableAttributedStringRef::setAttributes(CFRange range, CFDictionaryRef replacement,
                                               Boolean clearOtherAttributes) {
    CFAttributedStringSetAttributes(get(), range, replacement, clearOtherAttributes);
}

void MutableAttributedStringRef::setAttribute(CFRange range, CFStringRef attributeName, CFTypeRef value) {
    CFAttributedStringSetAttribute(get(), range, attributeName, value);
}

void MutableAttributedStringRef::removeAttribute(CFRange range, CFStringRef attributeName) {
    CFAttributedStringRemoveAttribute(get(), range, attributeName);
}

void MutableAttributedStringRef::replaceAttributedString(CFRange range, CFAttributedStringRef replacement) {
    CFAttributedStringReplaceAttributedString(get(), range, replacement);
}

void MutableAttributedStringRef::beginEditing() { CFAttributedStringBeginEditing(get()); }
void MutableAttributedStringRef::endEditing() { CFAttributedStringEndEditing(get()); }

}  // namespace KXCore::CoreFoundation
