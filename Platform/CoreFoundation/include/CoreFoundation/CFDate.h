#pragma once

/// Points in time, in seconds since 2001-01-01 00:00:00 UTC, and their form in the Gregorian calendar.
///
/// Dates are immutable objects; the other functions work on plain values. Any thread may call them. The calendar is
/// carried back before its introduction, with a year 0, and read off the wall clock of a time zone (CFTimeZone.h); no
/// zone stands for UTC. A wall time that occurs twice, as clocks are turned back, is the earlier of the two; one that
/// is skipped counts on from before the change. Times whose year a date cannot hold count as the nearest that it can,
/// NaN as 0.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;
typedef const struct __CFDate* CFDateRef;
typedef const struct __CFTimeZone* CFTimeZoneRef;

/// A date: month and day from 1, hour 0 to 23, minute 0 to 59, second with its fraction from 0 to less than 60.
typedef struct CFGregorianDate {
    SInt32 year;
    SInt8 month;
    SInt8 day;
    SInt8 hour;
    SInt8 minute;
    double second;
} CFGregorianDate;

/// A span of time, each unit of which may be negative.
typedef struct CFGregorianUnits {
    SInt32 years;
    SInt32 months;
    SInt32 days;
    SInt32 hours;
    SInt32 minutes;
    double seconds;
} CFGregorianUnits;

typedef CFOptionFlags CFGregorianUnitFlags;

CF_ANONYMOUS_ENUM(CFGregorianUnitFlags){
    kCFGregorianUnitsYears = 1,      kCFGregorianUnitsMonths = 2,   kCFGregorianUnitsDays = 4,
    kCFGregorianUnitsHours = 8,      kCFGregorianUnitsMinutes = 16, kCFGregorianUnitsSeconds = 32,
    kCFGregorianAllUnits = 16777215,
};

/// The seconds from the start of 1970, and of 1904, to that of 2001.
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1904;

CF_EXPORT CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

// ---- Date objects

CF_EXPORT CFTypeID CFDateGetTypeID(void);
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate);
CF_EXPORT CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate);
CF_EXPORT CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void* context);

// ---- The calendar

/// Whether those fields that `unitFlags` names hold what they may; the year from 1, days to 31 if a unit is missing.
CF_EXPORT Boolean CFGregorianDateIsValid(CFGregorianDate gdate, CFOptionFlags unitFlags);
/// The time of a date. Fields out of range roll over: month 13 is January of the next year, day 0 the last of the month
/// before.
CF_EXPORT CFAbsoluteTime CFGregorianDateGetAbsoluteTime(CFGregorianDate gdate, CFTimeZoneRef tz);
CF_EXPORT CFGregorianDate CFAbsoluteTimeGetGregorianDate(CFAbsoluteTime at, CFTimeZoneRef tz);
/// Moves a time by years, months and days of the calendar, where a day that the month reached does not have becomes its
/// last and the wall clock shows the same time afterwards; then by the other units as they pass.
CF_EXPORT CFAbsoluteTime CFAbsoluteTimeAddGregorianUnits(CFAbsoluteTime at, CFTimeZoneRef tz, CFGregorianUnits units);
/// `at1` less `at2` in those units that `unitFlags` names, from the largest down, as many of each as do not pass `at1`:
/// added to `at2` they lead as near to `at1` as these units can.
CF_EXPORT CFGregorianUnits CFAbsoluteTimeGetDifferenceAsGregorianUnits(CFAbsoluteTime at1, CFAbsoluteTime at2,
                                                                       CFTimeZoneRef tz, CFOptionFlags unitFlags);
/// 1 for Monday to 7 for Sunday.
CF_EXPORT SInt32 CFAbsoluteTimeGetDayOfWeek(CFAbsoluteTime at, CFTimeZoneRef tz);
/// 1 to 366.
CF_EXPORT SInt32 CFAbsoluteTimeGetDayOfYear(CFAbsoluteTime at, CFTimeZoneRef tz);
/// 1 to 53, by ISO 8601 (a week belongs to the year of its Thursday), but January days of the year before are in 53.
CF_EXPORT SInt32 CFAbsoluteTimeGetWeekOfYear(CFAbsoluteTime at, CFTimeZoneRef tz);

CF_EXTERN_C_END
