#include <KXCoreLib/CoreFoundation/NumberFormatterRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID NumberFormatterRef::getTypeID() { return CFNumberFormatterGetTypeID(); }

NumberFormatterRef NumberFormatterRef::create(CFAllocatorRef allocator, CFLocaleRef locale,
                                              CFNumberFormatterStyle style) {
    return KX_CREATE(NumberFormatterRef, CFNumberFormatterCreate)(allocator, locale, style);
}

StringRef NumberFormatterRef::createStringWithNumber(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                     CFNumberRef number) {
    return KX_CREATE(StringRef, CFNumberFormatterCreateStringWithNumber)(allocator, formatter, number);
}

StringRef NumberFormatterRef::createStringWithValue(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                    CFNumberType numberType, const void* valuePtr) {
    return KX_CREATE(StringRef, CFNumberFormatterCreateStringWithValue)(allocator, formatter, numberType, valuePtr);
}

NumberRef NumberFormatterRef::createNumberFromString(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                     CFStringRef string, CFRange* rangep, CFOptionFlags options) {
    return KX_CREATE(NumberRef, CFNumberFormatterCreateNumberFromString)(allocator, formatter, string, rangep, options);
}

Boolean NumberFormatterRef::getDecimalInfoForCurrencyCode(CFStringRef currencyCode, int32_t* defaultFractionDigits,
                                                          double* roundingIncrement) {
    return CFNumberFormatterGetDecimalInfoForCurrencyCode(currencyCode, defaultFractionDigits, roundingIncrement);
}

LocaleRef NumberFormatterRef::getLocale() const { return LocaleRef::retain(CFNumberFormatterGetLocale(get())); }
CFNumberFormatterStyle NumberFormatterRef::getStyle() const { return CFNumberFormatterGetStyle(get()); }
StringRef NumberFormatterRef::getFormat() const { return StringRef::retain(CFNumberFormatterGetFormat(get())); }
void NumberFormatterRef::setFormat(CFStringRef formatString) const { CFNumberFormatterSetFormat(get(), formatString); }

Boolean NumberFormatterRef::getValueFromString(CFStringRef string, CFRange* rangep, CFNumberType numberType,
                                               void* valuePtr) const {
    return CFNumberFormatterGetValueFromString(get(), string, rangep, numberType, valuePtr);
}

void NumberFormatterRef::setProperty(CFNumberFormatterKey key, CFTypeRef value) const {
    CFNumberFormatterSetProperty(get(), key, value);
}

TypeRef NumberFormatterRef::copyProperty(CFNumberFormatterKey key) const {
    return KX_CREATE(TypeRef, CFNumberFormatterCopyProperty)(get(), key);
}

}  // namespace KXCore::CoreFoundation
