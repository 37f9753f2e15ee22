#include "CalendarDays.h"
#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Hashing.h"
#include "CoreFoundation/Object/Object.h"

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFTimeZone.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <ctime>

using namespace KXPlatform;

// Calendar dates are proleptic Gregorian ones. Years, months and days are counted on the wall clock of a zone, smaller
// units as they pass; without a zone the wall clock is Greenwich's.

const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;

namespace {

constexpr double kSecondsPerDay = 86400.0;

// ---- Moments

struct Moment {
    std::int64_t day;
    double second;  ///< of the day: [0, 86400)
};

/// Times outside the years that a date can hold count as the nearest that it can, NaN as 0.
Moment moment(CFAbsoluteTime at) noexcept {
    static constexpr double kEarliest = static_cast<double>(dayNumber(INT32_MIN, 1, 1)) * kSecondsPerDay;
    static constexpr double kLatest = static_cast<double>(dayNumber(INT32_MAX, 12, 31)) * kSecondsPerDay;
    if (std::isnan(at)) at = 0;
    at = std::clamp(at, kEarliest, kLatest);
    double day = std::floor(at / kSecondsPerDay);
    double second = at - day * kSecondsPerDay;
    // The quotient is rounded: it may have come out a day too high or, just below midnight, too low.
    if (second < 0) {
        day -= 1;
        second += kSecondsPerDay;
    }
    if (second >= kSecondsPerDay) {
        day += 1;
        second = 0;
    }
    return {static_cast<std::int64_t>(day), second};
}

/// What the wall clock of `tz` shows at a time, and the time at which it shows something; both as if in Greenwich.
double wallTime(CFAbsoluteTime at, CFTimeZoneRef tz) noexcept {
    return tz ? at + CFTimeZoneGetSecondsFromGMT(tz, at) : at;
}
CFAbsoluteTime timeOfWall(double wall, CFTimeZoneRef tz) noexcept {
    if (!tz) return wall;
    return wall - offsetOfWallTime(wall, [tz](double at) { return CFTimeZoneGetSecondsFromGMT(tz, at); });
}

/// `at` moved by whole months and then days; a day that the month reached does not have becomes its last.
CFAbsoluteTime addDays(CFAbsoluteTime at, CFTimeZoneRef tz, std::int64_t months, std::int64_t days) noexcept {
    if (months == 0 && days == 0) return at;
    const double wall = wallTime(at, tz);
    const std::int64_t day = moment(wall).day;
    const CalendarDay date = calendarDay(day);
    const std::int64_t total = date.year * 12 + date.month - 1 + months;
    const std::int64_t year = floorDivide(total, 12);
    const int month = static_cast<int>(total - year * 12) + 1;
    const std::int64_t reached = dayNumber(year, month, std::min(date.day, daysInMonth(year, month))) + days;
    return timeOfWall(wall + static_cast<double>(reached - day) * kSecondsPerDay, tz);
}

/// Of `steps`, which `move` takes from where a span starts, as many as do not pass `to`, on the way from `from`.
template <class Move>
std::int64_t withoutPassing(std::int64_t steps, CFAbsoluteTime from, CFAbsoluteTime to, Move move) noexcept {
    if (to >= from) {
        while (steps > 0 && move(steps) > to) --steps;
    } else {
        while (steps < 0 && move(steps) < to) ++steps;
    }
    return steps;
}

/// The most whole steps of `step` months from `from`, after `before` months, that do not pass `to`.
std::int64_t wholeSteps(CFAbsoluteTime from, CFTimeZoneRef tz, std::int64_t before, std::int64_t step,
                        CFAbsoluteTime to) noexcept {
    const CalendarDay first = calendarDay(moment(wallTime(addDays(from, tz, before, 0), tz)).day);
    const CalendarDay last = calendarDay(moment(wallTime(to, tz)).day);
    const std::int64_t steps = ((last.year - first.year) * 12 + last.month - first.month) / step;
    return withoutPassing(steps, from, to,
                          [&](std::int64_t taken) { return addDays(from, tz, before + taken * step, 0); });
}

/// The most whole days from `from`, after `months`, that do not pass `to`.
std::int64_t wholeDays(CFAbsoluteTime from, CFTimeZoneRef tz, std::int64_t months, CFAbsoluteTime to) noexcept {
    const std::int64_t first = moment(wallTime(addDays(from, tz, months, 0), tz)).day;
    const std::int64_t days = moment(wallTime(to, tz)).day - first;
    return withoutPassing(days, from, to, [&](std::int64_t taken) { return addDays(from, tz, months, taken); });
}

SInt32 saturated(double value) noexcept {
    if (std::isnan(value)) return 0;
    return static_cast<SInt32>(std::clamp(value, double{INT32_MIN}, double{INT32_MAX}));
}

}  // namespace

// ---- The class

struct __CFDate : Object {
    __CFDate(const Class& c, CFAbsoluteTime at) noexcept : Object(c), time(at) {}

    const CFAbsoluteTime time;
};

namespace {

bool equalDates(const Object* object1, const Object* object2) {
    return static_cast<const __CFDate*>(object1)->time == static_cast<const __CFDate*>(object2)->time;
}

CFHashCode hashDate(const Object* object) {
    const double time = static_cast<const __CFDate*>(object)->time;
    // Both zeros are the same time.
    const std::uint64_t bits = time == 0 ? 0 : std::bit_cast<std::uint64_t>(time);
    Hasher hasher;
    hasher.add(bits);
    return hasher.result(sizeof bits);
}

CFStringRef describeDate(const Object* object) {
    const __CFDate* const date = static_cast<const __CFDate*>(object);
    const CFGregorianDate g = CFAbsoluteTimeGetGregorianDate(date->time, nullptr);
    Description description;
    description.appendHeading(date);
    description.format("{time = %04d-%02d-%02d %02d:%02d:%02d +0000}", g.year, g.month, g.day, g.hour, g.minute,
                       static_cast<int>(g.second));
    return description.take();
}

constexpr Class kDateClass{TypeID::Date, nullptr, equalDates, hashDate, describeDate, true};

bool isDate(CFDateRef date) noexcept { return date && date->cls == &kDateClass; }

}  // namespace

// ---- Exported: dates

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) - kCFAbsoluteTimeIntervalSince1970 + 1e-9 * static_cast<double>(now.tv_nsec);
}

CFTypeID CFDateGetTypeID() { return number(TypeID::Date); }

CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at) {
    return make<__CFDate>(allocator, 0, kDateClass, at);
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate) { return isDate(theDate) ? theDate->time : 0; }

CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate) {
    return CFDateGetAbsoluteTime(theDate) - CFDateGetAbsoluteTime(otherDate);
}

CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void*) {
    const CFAbsoluteTime time = CFDateGetAbsoluteTime(theDate);
    const CFAbsoluteTime other = CFDateGetAbsoluteTime(otherDate);
    return time < other ? kCFCompareLessThan : time > other ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

// ---- Exported: the calendar

Boolean CFGregorianDateIsValid(CFGregorianDate gdate, CFOptionFlags unitFlags) {
    const auto asks = [unitFlags](CFOptionFlags unit) { return (unitFlags & unit) != 0; };
    if (asks(kCFGregorianUnitsYears) && gdate.year <= 0) return false;
    if (asks(kCFGregorianUnitsMonths) && (gdate.month < 1 || gdate.month > 12)) return false;
    if (asks(kCFGregorianUnitsDays)) {
        // How long a month is shows only with its year.
        const bool isMonthKnown = asks(kCFGregorianUnitsYears) && asks(kCFGregorianUnitsMonths);
        const int longest = isMonthKnown ? daysInMonth(gdate.year, gdate.month) : 31;
        if (gdate.day < 1 || gdate.day > longest) return false;
    }
    if (asks(kCFGregorianUnitsHours) && (gdate.hour < 0 || gdate.hour > 23)) return false;
    if (asks(kCFGregorianUnitsMinutes) && (gdate.minute < 0 || gdate.minute > 59)) return false;
    return !asks(kCFGregorianUnitsSeconds) || (gdate.second >= 0 && gdate.second < 60);
}

CFAbsoluteTime CFGregorianDateGetAbsoluteTime(CFGregorianDate gdate, CFTimeZoneRef tz) {
    return timeOfWall(static_cast<double>(dayNumber(gdate.year, gdate.month, gdate.day)) * kSecondsPerDay +
                          gdate.hour * 3600.0 + gdate.minute * 60.0 + gdate.second,
                      tz);
}

CFGregorianDate CFAbsoluteTimeGetGregorianDate(CFAbsoluteTime at, CFTimeZoneRef tz) {
    const Moment when = moment(wallTime(at, tz));
    const CalendarDay date = calendarDay(when.day);
    const int whole = static_cast<int>(when.second);
    return {.year = static_cast<SInt32>(date.year),
            .month = static_cast<SInt8>(date.month),
            .day = static_cast<SInt8>(date.day),
            .hour = static_cast<SInt8>(whole / 3600),
            .minute = static_cast<SInt8>(whole / 60 % 60),
            .second = when.second - whole / 60 * 60};
}

CFAbsoluteTime CFAbsoluteTimeAddGregorianUnits(CFAbsoluteTime at, CFTimeZoneRef tz, CFGregorianUnits units) {
    const double moved = addDays(at, tz, std::int64_t{units.years} * 12 + units.months, units.days);
    return moved + units.hours * 3600.0 + units.minutes * 60.0 + units.seconds;
}

CFGregorianUnits CFAbsoluteTimeGetDifferenceAsGregorianUnits(CFAbsoluteTime at1, CFAbsoluteTime at2, CFTimeZoneRef tz,
                                                             CFOptionFlags unitFlags) {
    CFGregorianUnits units{};
    std::int64_t months = 0;
    const auto clamped = [](std::int64_t count) {
        return static_cast<SInt32>(std::clamp<std::int64_t>(count, INT32_MIN, INT32_MAX));
    };
    if (unitFlags & kCFGregorianUnitsYears) {
        units.years = clamped(wholeSteps(at2, tz, 0, 12, at1));
        months = std::int64_t{units.years} * 12;
    }
    if (unitFlags & kCFGregorianUnitsMonths) {
        units.months = clamped(wholeSteps(at2, tz, months, 1, at1));
        months += units.months;
    }
    if (unitFlags & kCFGregorianUnitsDays) units.days = clamped(wholeDays(at2, tz, months, at1));
    double rest = at1 - addDays(at2, tz, months, units.days);
    const auto take = [&](CFOptionFlags unit, double seconds, SInt32& count) {
        if (!(unitFlags & unit)) return;
        count = saturated(std::trunc(rest / seconds));
        rest -= count * seconds;
    };
    take(kCFGregorianUnitsHours, 3600, units.hours);
    take(kCFGregorianUnitsMinutes, 60, units.minutes);
    if (unitFlags & kCFGregorianUnitsSeconds) units.seconds = rest;
    return units;
}

SInt32 CFAbsoluteTimeGetDayOfWeek(CFAbsoluteTime at, CFTimeZoneRef tz) {
    // 2001-01-01 was a Monday.
    return static_cast<SInt32>(floorModulo(moment(wallTime(at, tz)).day, 7) + 1);
}

SInt32 CFAbsoluteTimeGetDayOfYear(CFAbsoluteTime at, CFTimeZoneRef tz) {
    const std::int64_t day = moment(wallTime(at, tz)).day;
    return static_cast<SInt32>(day - daysBeforeYear(calendarDay(day).year) + 1);
}

SInt32 CFAbsoluteTimeGetWeekOfYear(CFAbsoluteTime at, CFTimeZoneRef tz) {
    // A week belongs to the year that its Thursday lies in (ISO 8601). The days of January that belong to the year
    // before are in its week 53, even where that year ends with week 52.
    const std::int64_t day = moment(wallTime(at, tz)).day;
    const std::int64_t thursday = floorDivide(day, 7) * 7 + 3;
    const std::int64_t year = calendarDay(thursday).year;
    if (calendarDay(day).year > year) return 53;
    return static_cast<SInt32>((thursday - daysBeforeYear(year)) / 7 + 1);
}
