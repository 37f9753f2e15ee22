#pragma once

/// Numbers as people write them: formatted in a locale, and parsed.
///
/// A formatter is made for a locale and a style, and refined by a format in the syntax of UTS #35 ("#,##0.00") and by
/// properties. It is a mutable object: one thread at a time, but any number of threads may format with one that nobody
/// changes or parses with.
///
/// What is null or no formatter, a format that is none, a property that the style does not have or whose value is of
/// another type, and a lack of memory give null or false, or change nothing.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFNumber.h>

CF_EXTERN_C_BEGIN

typedef struct __CFNumberFormatter* CFNumberFormatterRef;
typedef CFStringRef CFNumberFormatterKey;

CF_ENUM_TYPE(CFIndex, CFNumberFormatterStyle){
    kCFNumberFormatterNoStyle = 0,                   ///< 1235
    kCFNumberFormatterDecimalStyle = 1,              ///< 1,234.568
    kCFNumberFormatterCurrencyStyle = 2,             ///< $1,234.57
    kCFNumberFormatterPercentStyle = 3,              ///< 123,457%
    kCFNumberFormatterScientificStyle = 4,           ///< 1.234568E3
    kCFNumberFormatterSpellOutStyle = 5,             ///< one thousand two hundred thirty-four point five seven
    kCFNumberFormatterOrdinalStyle = 6,              ///< 1,235th
    kCFNumberFormatterCurrencyISOCodeStyle = 8,      ///< USD 1,234.57
    kCFNumberFormatterCurrencyPluralStyle = 9,       ///< 1,234.57 US dollars
    kCFNumberFormatterCurrencyAccountingStyle = 10,  ///< $1,234.57, and ($1,234.57) where negative
};

typedef CFOptionFlags CFNumberFormatterOptionFlags;
CF_ANONYMOUS_ENUM(CFNumberFormatterOptionFlags){
    kCFNumberFormatterParseIntegersOnly = 1,
};

CF_ENUM_TYPE(CFIndex, CFNumberFormatterRoundingMode){
    kCFNumberFormatterRoundCeiling = 0, kCFNumberFormatterRoundFloor = 1,    kCFNumberFormatterRoundDown = 2,
    kCFNumberFormatterRoundUp = 3,      kCFNumberFormatterRoundHalfEven = 4, kCFNumberFormatterRoundHalfDown = 5,
    kCFNumberFormatterRoundHalfUp = 6,
};

CF_ENUM_TYPE(CFIndex, CFNumberFormatterPadPosition){
    kCFNumberFormatterPadBeforePrefix = 0,
    kCFNumberFormatterPadAfterPrefix = 1,
    kCFNumberFormatterPadBeforeSuffix = 2,
    kCFNumberFormatterPadAfterSuffix = 3,
};

/// The properties. Their values are strings where nothing else is said.
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterCurrencyCode;  ///< of ISO 4217
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterDecimalSeparator;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterCurrencyDecimalSeparator;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterAlwaysShowDecimalSeparator;  ///< CFBoolean
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterGroupingSeparator;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterUseGroupingSeparator;  ///< CFBoolean
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterPercentSymbol;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterZeroSymbol;  ///< the whole text of 0; null is none
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterNaNSymbol;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterInfinitySymbol;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMinusSign;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterPlusSign;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterCurrencySymbol;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterExponentSymbol;
/// Counts of digits, sizes of groups and the width, which is filled up with the padding character: CFNumber. No least
/// number of digits and no width is above 10,000.
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMinIntegerDigits;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMaxIntegerDigits;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMinFractionDigits;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMaxFractionDigits;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterGroupingSize;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterSecondaryGroupingSize;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterRoundingMode;       ///< CFNumber, CFNumberFormatterRoundingMode
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterRoundingIncrement;  ///< CFNumber; 0 is none
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterFormatWidth;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterPaddingPosition;  ///< CFNumber, CFNumberFormatterPadPosition
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterPaddingCharacter;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterDefaultFormat;  ///< of locale and style; cannot be set
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMultiplier;     ///< CFNumber; not 0
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterPositivePrefix;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterPositiveSuffix;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterNegativePrefix;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterNegativeSuffix;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterPerMillSymbol;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterInternationalCurrencySymbol;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterCurrencyGroupingSeparator;
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterIsLenient;             ///< CFBoolean
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterUseSignificantDigits;  ///< CFBoolean
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMinSignificantDigits;  ///< CFNumber
CF_EXPORT const CFNumberFormatterKey kCFNumberFormatterMaxSignificantDigits;  ///< CFNumber

CF_EXPORT CFTypeID CFNumberFormatterGetTypeID(void);

/// A null locale is the root, CFLocaleGetSystem; pass CFLocaleCopyCurrent for the user's. Null for a style of no name.
CF_EXPORT CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                                       CFNumberFormatterStyle style);

/// Of the formatter's making; the locale is borrowed.
CF_EXPORT CFLocaleRef CFNumberFormatterGetLocale(CFNumberFormatterRef formatter);
CF_EXPORT CFNumberFormatterStyle CFNumberFormatterGetStyle(CFNumberFormatterRef formatter);
/// The format as it is now, borrowed until the formatter changes. Null for a style that is no pattern: spelled out and
/// ordinal numbers.
CF_EXPORT CFStringRef CFNumberFormatterGetFormat(CFNumberFormatterRef formatter);
/// Sets a pattern, which takes the place of the properties that it says something about.
CF_EXPORT void CFNumberFormatterSetFormat(CFNumberFormatterRef formatter, CFStringRef formatString);

/// The number as text. `valuePtr` points at a value of `numberType`.
CF_EXPORT CFStringRef CFNumberFormatterCreateStringWithNumber(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                              CFNumberRef number);
CF_EXPORT CFStringRef CFNumberFormatterCreateStringWithValue(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                             CFNumberType numberType, const void* valuePtr);

/// The number at the beginning of `*rangep`, or of the whole text for a null `rangep`; `*rangep` becomes what was
/// read. A double, or a 64-bit integer with kCFNumberFormatterParseIntegersOnly and where a double would lose digits.
/// Null, and the range untouched, when there is none, or when the range is not within the text.
CF_EXPORT CFNumberRef CFNumberFormatterCreateNumberFromString(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                              CFStringRef string, CFRange* rangep,
                                                              CFOptionFlags options);
/// The same as a value of `numberType`; of integers only for the integer types. False, and nothing written, when there
/// is none or the type does not hold it.
CF_EXPORT Boolean CFNumberFormatterGetValueFromString(CFNumberFormatterRef formatter, CFStringRef string,
                                                      CFRange* rangep, CFNumberType numberType, void* valuePtr);

CF_EXPORT void CFNumberFormatterSetProperty(CFNumberFormatterRef formatter, CFNumberFormatterKey key, CFTypeRef value);
/// Null where the style has no such property.
CF_EXPORT CFTypeRef CFNumberFormatterCopyProperty(CFNumberFormatterRef formatter, CFNumberFormatterKey key);

/// How a currency is written: the digits of its fraction, and what amounts are rounded to (0: to no more than those
/// digits). Either pointer may be null. False for a code that stands for no currency.
CF_EXPORT Boolean CFNumberFormatterGetDecimalInfoForCurrencyCode(CFStringRef currencyCode,
                                                                 int32_t* defaultFractionDigits,
                                                                 double* roundingIncrement);

CF_EXTERN_C_END
