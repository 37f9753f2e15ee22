#pragma once

#include <KXCoreLib/CoreFoundation/LocaleRef.h>
#include <KXCoreLib/CoreFoundation/NumberRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFNumberFormatter.h>

namespace KXCore::CoreFoundation {

/// Numbers as people of a locale write them. Belongs to one thread at a time while it changes or parses; any number
/// may format with it otherwise.
class KX_EXPORT NumberFormatterRef : public TypedRef<NumberFormatterRef, CFNumberFormatterRef> {
  public:
    static constexpr const char* typeName = "CFNumberFormatterRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// A null locale is the root.
    static NumberFormatterRef create(CFAllocatorRef allocator, CFLocaleRef locale, CFNumberFormatterStyle style);

    static StringRef createStringWithNumber(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                            CFNumberRef number);
    /// Of a value of the type.
    static StringRef createStringWithValue(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                           CFNumberType numberType, const void* valuePtr);
    /// The number that the range (null: the string) begins with; the range becomes what was read. None is a failure.
    static NumberRef createNumberFromString(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                            CFStringRef string, CFRange* rangep, CFOptionFlags options);
    /// The digits of a currency's fraction, and what amounts are rounded to. False for a code of none.
    static Boolean getDecimalInfoForCurrencyCode(CFStringRef currencyCode, int32_t* defaultFractionDigits,
                                                 double* roundingIncrement);

    LocaleRef getLocale() const;
    CFNumberFormatterStyle getStyle() const;
    /// The pattern of UTS #35; empty for a style without one.
    StringRef getFormat() const;
    /// No effect with what is no pattern.
    void setFormat(CFStringRef formatString) const;
    /// False where there is no number, or the type does not hold it.
    Boolean getValueFromString(CFStringRef string, CFRange* rangep, CFNumberType numberType, void* valuePtr) const;
    /// No effect with a value of another type than the property's.
    void setProperty(CFNumberFormatterKey key, CFTypeRef value) const;
    /// A property without a value is a failure.
    TypeRef copyProperty(CFNumberFormatterKey key) const;
};
static_assert(isPlainRef<NumberFormatterRef>);

}  // namespace KXCore::CoreFoundation
