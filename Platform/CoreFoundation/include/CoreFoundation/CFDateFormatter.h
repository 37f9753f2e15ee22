#pragma once

/// Dates as texts for people, and back.
///
/// A formatter has a locale, a zone and a calendar, and a pattern in the letters of Unicode (UTS #35, "yyyy-MM-dd
/// HH:mm"), its own or that of a style of its locale. The texts come from ICU's data and differ from version to
/// version: programs read them as little as they would read handwriting. For what other programs read there is
/// CFDateFormatterCreateISO8601Formatter, or a pattern of numbers and the locale "en_US_POSIX".
///
/// A formatter that nobody changes prints and parses in any number of threads at once. Functions whose names contain
/// Set need it for themselves.
///
/// What is null or of a wrong type, times that are no number or that no calendar reaches, and a lack of memory give
/// null, 0 or false.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFCalendar.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef struct __CFDateFormatter* CFDateFormatterRef;
typedef CFStringRef CFDateFormatterKey;

CF_ENUM_TYPE(CFIndex, CFDateFormatterStyle){
    kCFDateFormatterNoStyle = 0,      ///< nothing of it
    kCFDateFormatterShortStyle = 1,   ///< "2/29/24", "3:30 PM"
    kCFDateFormatterMediumStyle = 2,  ///< "Feb 29, 2024", "3:30:32 PM"
    kCFDateFormatterLongStyle = 3,    ///< "February 29, 2024", with the zone
    kCFDateFormatterFullStyle = 4,    ///< "Thursday, February 29, 2024", with the zone's name
};

/// The parts of an ISO 8601 date and time and what stands between them.
typedef CFOptionFlags CFISO8601DateFormatOptions;
CF_ANONYMOUS_ENUM(CFISO8601DateFormatOptions){
    kCFISO8601DateFormatWithYear = 1UL << 0,
    kCFISO8601DateFormatWithMonth = 1UL << 1,
    kCFISO8601DateFormatWithWeekOfYear = 1UL << 2,  ///< "W09", and the year of the week
    kCFISO8601DateFormatWithDay = 1UL << 4,  ///< of the month; without the month that of the week, or of the year
    kCFISO8601DateFormatWithTime = 1UL << 5,
    kCFISO8601DateFormatWithTimeZone = 1UL << 6,
    kCFISO8601DateFormatWithSpaceBetweenDateAndTime = 1UL << 7,  ///< instead of "T"
    kCFISO8601DateFormatWithDashSeparatorInDate = 1UL << 8,
    kCFISO8601DateFormatWithColonSeparatorInTime = 1UL << 9,
    kCFISO8601DateFormatWithColonSeparatorInTimeZone = 1UL << 10,
    kCFISO8601DateFormatWithFractionalSeconds = 1UL << 11,  ///< three digits
    kCFISO8601DateFormatWithFullDate = 275UL,
    kCFISO8601DateFormatWithFullTime = 1632UL,
    kCFISO8601DateFormatWithInternetDateTime = 1907UL,  ///< "2024-02-29T14:30:00Z", that of RFC 3339
};

/// What a formatter can be asked for and, all but the default format, told. Null resets to what the locale says.
CF_EXPORT const CFDateFormatterKey kCFDateFormatterIsLenient;           ///< CFBoolean; false at first
CF_EXPORT const CFDateFormatterKey kCFDateFormatterTimeZone;            ///< CFTimeZone
CF_EXPORT const CFDateFormatterKey kCFDateFormatterCalendarName;        ///< CFString: its identifier
CF_EXPORT const CFDateFormatterKey kCFDateFormatterDefaultFormat;       ///< CFString: the pattern of its styles
CF_EXPORT const CFDateFormatterKey kCFDateFormatterTwoDigitStartDate;   ///< CFDate: two digits are a year from then on
CF_EXPORT const CFDateFormatterKey kCFDateFormatterDefaultDate;         ///< CFDate: what a parsed text leaves out
CF_EXPORT const CFDateFormatterKey kCFDateFormatterCalendar;            ///< CFCalendar; its zone does not count
CF_EXPORT const CFDateFormatterKey kCFDateFormatterGregorianStartDate;  ///< CFDate: the first day that is no Julian one
CF_EXPORT const CFDateFormatterKey kCFDateFormatterDoesRelativeDateFormattingKey;  ///< CFBoolean: "yesterday"
/// CFString
CF_EXPORT const CFDateFormatterKey kCFDateFormatterAMSymbol;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterPMSymbol;
/// CFArray of CFString, weekdays from Sunday. Standalone: as a word that no day stands beside.
CF_EXPORT const CFDateFormatterKey kCFDateFormatterEraSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterLongEraSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterMonthSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterShortMonthSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterVeryShortMonthSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterStandaloneMonthSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterShortStandaloneMonthSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterVeryShortStandaloneMonthSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterWeekdaySymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterShortWeekdaySymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterVeryShortWeekdaySymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterStandaloneWeekdaySymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterShortStandaloneWeekdaySymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterVeryShortStandaloneWeekdaySymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterQuarterSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterShortQuarterSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterStandaloneQuarterSymbols;
CF_EXPORT const CFDateFormatterKey kCFDateFormatterShortStandaloneQuarterSymbols;

CF_EXPORT CFTypeID CFDateFormatterGetTypeID(void);

// ---- Making

/// A formatter with the pattern that a locale (null: the current one) has for the two styles, and the program's zone.
CF_EXPORT CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                                   CFDateFormatterStyle dateStyle, CFDateFormatterStyle timeStyle);
/// A formatter for machines: the same texts everywhere and always, in GMT until it is told another zone. Null without
/// any part of a date or time.
CF_EXPORT CFDateFormatterRef CFDateFormatterCreateISO8601Formatter(CFAllocatorRef allocator,
                                                                   CFISO8601DateFormatOptions formatOptions);
/// The pattern by which a locale writes the fields of `tmplate` ("yMMMd", "jm"), in its own order and with its own
/// signs; the letter j stands for the hours that the locale prefers. `options` is 0.
CF_EXPORT CFStringRef CFDateFormatterCreateDateFormatFromTemplate(CFAllocatorRef allocator, CFStringRef tmplate,
                                                                  CFOptionFlags options, CFLocaleRef locale);

// ---- Reading

/// Borrowed.
CF_EXPORT CFLocaleRef CFDateFormatterGetLocale(CFDateFormatterRef formatter);
CF_EXPORT CFDateFormatterStyle CFDateFormatterGetDateStyle(CFDateFormatterRef formatter);
CF_EXPORT CFDateFormatterStyle CFDateFormatterGetTimeStyle(CFDateFormatterRef formatter);
/// The pattern, borrowed until it changes.
CF_EXPORT CFStringRef CFDateFormatterGetFormat(CFDateFormatterRef formatter);
/// Null for what is no key, and for a property without a value.
CF_EXPORT CFTypeRef CFDateFormatterCopyProperty(CFDateFormatterRef formatter, CFDateFormatterKey key);

// ---- Changing

CF_EXPORT void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef formatString);
/// A value of a wrong type is ignored.
CF_EXPORT void CFDateFormatterSetProperty(CFDateFormatterRef formatter, CFStringRef key, CFTypeRef value);

// ---- Printing and parsing

/// Null also for a pattern with a letter that stands for nothing.
CF_EXPORT CFStringRef CFDateFormatterCreateStringWithDate(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                          CFDateRef date);
CF_EXPORT CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef allocator,
                                                                  CFDateFormatterRef formatter, CFAbsoluteTime at);
/// The date that `string`, or the part of it in `rangep`, begins with; what was read of it is put in `rangep`. Text
/// behind the date does not matter. What the pattern does not ask for is taken from the default date, or is midnight of
/// 2000-01-01. Null when the text does not fit; unless the formatter is lenient, also for dates and times that do not
/// exist.
CF_EXPORT CFDateRef CFDateFormatterCreateDateFromString(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                        CFStringRef string, CFRange* rangep);
CF_EXPORT Boolean CFDateFormatterGetAbsoluteTimeFromString(CFDateFormatterRef formatter, CFStringRef string,
                                                           CFRange* rangep, CFAbsoluteTime* atp);

CF_EXTERN_C_END
