#pragma once

/// Calendars: times as years, months and days, and what is done with these.
///
/// A calendar is a reckoning of time (kCFGregorianCalendar and its kin in CFLocale.h, or another one of CLDR's), a time
/// zone by whose wall clock days begin, and a locale whose customs say with which day weeks begin and which week is a
/// year's first. Calendars change; one belongs to one thread while it does, and any number of threads may ask one that
/// nobody changes.
///
/// The functions with a description of components take one value for each of its letters, an int (or where values are
/// returned, an int*):
///
///     G era     y year       Y year of the week   Q quarter       M month     w week of the year   W week of the month
///     d day     E weekday    F which of the month's such weekdays             H, h hour   m minute   s second
///
/// Months, days and weekdays (Sunday) count from 1. A calendar that is null or none, a letter that is none of these,
/// times that are no number or that no calendar reaches (five million years) and a lack of memory give null, 0,
/// {kCFNotFound, kCFNotFound} or false.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFTimeZone.h>

CF_EXTERN_C_BEGIN

typedef struct __CFCalendar* CFCalendarRef;

typedef CFOptionFlags CFCalendarUnit;
CF_ANONYMOUS_ENUM(CFCalendarUnit){
    kCFCalendarUnitEra = 1UL << 1,         kCFCalendarUnitYear = 1UL << 2,
    kCFCalendarUnitMonth = 1UL << 3,       kCFCalendarUnitDay = 1UL << 4,
    kCFCalendarUnitHour = 1UL << 5,        kCFCalendarUnitMinute = 1UL << 6,
    kCFCalendarUnitSecond = 1UL << 7,
    kCFCalendarUnitWeek = 1UL << 8,  ///< the week of the year
    kCFCalendarUnitWeekday = 1UL << 9,     kCFCalendarUnitWeekdayOrdinal = 1UL << 10,
    kCFCalendarUnitQuarter = 1UL << 11,    kCFCalendarUnitWeekOfMonth = 1UL << 12,
    kCFCalendarUnitWeekOfYear = 1UL << 13, kCFCalendarUnitYearForWeekOfYear = 1UL << 14,
};

/// Of CFCalendarAddComponents: a unit that overflows starts anew and leaves the larger ones alone.
CF_ANONYMOUS_ENUM(CFOptionFlags){
    kCFCalendarComponentsWrap = 1UL << 0,
};

CF_EXPORT CFTypeID CFCalendarGetTypeID(void);

/// The calendar of the current locale, with the program's zone.
CF_EXPORT CFCalendarRef CFCalendarCopyCurrent(void);
/// A calendar with the program's zone and the customs of no locale. Null for an identifier of no calendar.
CF_EXPORT CFCalendarRef CFCalendarCreateWithIdentifier(CFAllocatorRef allocator, CFCalendarIdentifier identifier);
/// Borrowed.
CF_EXPORT CFCalendarIdentifier CFCalendarGetIdentifier(CFCalendarRef calendar);

// ---- What a calendar goes by

CF_EXPORT CFLocaleRef CFCalendarCopyLocale(CFCalendarRef calendar);
/// What was set for weeks stays; null stands for the current locale.
CF_EXPORT void CFCalendarSetLocale(CFCalendarRef calendar, CFLocaleRef locale);
CF_EXPORT CFTimeZoneRef CFCalendarCopyTimeZone(CFCalendarRef calendar);
/// Null stands for the program's zone.
CF_EXPORT void CFCalendarSetTimeZone(CFCalendarRef calendar, CFTimeZoneRef tz);
/// The day that weeks begin with: 1 for Sunday to 7. Other numbers are ignored.
CF_EXPORT CFIndex CFCalendarGetFirstWeekday(CFCalendarRef calendar);
CF_EXPORT void CFCalendarSetFirstWeekday(CFCalendarRef calendar, CFIndex wkdy);
/// How many days of a week must lie in a year, or month, for it to be the first: 1 to 7. Other numbers are ignored.
CF_EXPORT CFIndex CFCalendarGetMinimumDaysInFirstWeek(CFCalendarRef calendar);
CF_EXPORT void CFCalendarSetMinimumDaysInFirstWeek(CFCalendarRef calendar, CFIndex mwd);

// ---- Units

/// The values that a unit has wherever it is shortest (days: 1 to 28), and in all cases (days: 1 to 31).
CF_EXPORT CFRange CFCalendarGetMinimumRangeOfUnit(CFCalendarRef calendar, CFCalendarUnit unit);
CF_EXPORT CFRange CFCalendarGetMaximumRangeOfUnit(CFCalendarRef calendar, CFCalendarUnit unit);
/// The values that the smaller unit has in that bigger one which a time lies in: of days in a February, 1 to 28 or 29.
CF_EXPORT CFRange CFCalendarGetRangeOfUnit(CFCalendarRef calendar, CFCalendarUnit smallerUnit,
                                           CFCalendarUnit biggerUnit, CFAbsoluteTime at);
/// Which of the smaller units in that bigger one a time lies in, from 1: 00:45 lies in the first hour of a day. Days
/// before the first week of a month are in its week 0. kCFNotFound where the units do not nest.
CF_EXPORT CFIndex CFCalendarGetOrdinalityOfUnit(CFCalendarRef calendar, CFCalendarUnit smallerUnit,
                                                CFCalendarUnit biggerUnit, CFAbsoluteTime at);
/// Writes the start and the seconds of that unit which a time lies in; either place may be null. A weekday is a day.
CF_EXPORT Boolean CFCalendarGetTimeRangeOfUnit(CFCalendarRef calendar, CFCalendarUnit unit, CFAbsoluteTime at,
                                               CFAbsoluteTime* startp, CFTimeInterval* tip);

// ---- Components

/// The time of components. What is not given is the first there is: year 1, month 1, day 1, midnight. A day counts
/// before a weekday. False, and nothing written, for values that a unit does not have (month 13, 30 February).
CF_EXPORT Boolean CFCalendarComposeAbsoluteTime(CFCalendarRef calendar, CFAbsoluteTime* at, const char* componentDesc,
                                                ...);
CF_EXPORT Boolean CFCalendarDecomposeAbsoluteTime(CFCalendarRef calendar, CFAbsoluteTime at, const char* componentDesc,
                                                  ...);
/// Moves a time by components, one after the other; a day that the month reached does not have becomes its last.
CF_EXPORT Boolean CFCalendarAddComponents(CFCalendarRef calendar, CFAbsoluteTime* at, CFOptionFlags options,
                                          const char* componentDesc, ...);
/// The way from one time to another: as many of the first component as fit, then of the second, and so on. Added in the
/// same order, they lead as near as these components can.
CF_EXPORT Boolean CFCalendarGetComponentDifference(CFCalendarRef calendar, CFAbsoluteTime startingAT,
                                                   CFAbsoluteTime resultAT, CFOptionFlags options,
                                                   const char* componentDesc, ...);

CF_EXTERN_C_END
