#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Hashing.h"
#include "CoreFoundation/Object/Object.h"

#include <CoreFoundation/CFDate.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <ctime>

using namespace KXPlatform;

// Calendar dates are proleptic Gregorian ones. Time zones other than Greenwich's are not provided yet, so every zone
// that can be given is null.

const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;

namespace {

constexpr double kSecondsPerDay = 86400.0;

// ---- The calendar, in days since 2001-01-01

constexpr std::int64_t floorDivide(std::int64_t a, std::int64_t b) noexcept { return a / b - (a % b < 0 ? 1 : 0); }

constexpr bool isLeap(std::int64_t year) noexcept { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

constexpr int kDaysBeforeMonth[13] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};

constexpr int daysBeforeMonth(std::int64_t year, int month) noexcept {
    return kDaysBeforeMonth[month - 1] + (month > 2 && isLeap(year) ? 1 : 0);
}

constexpr int daysInMonth(std::int64_t year, int month) noexcept {
    return daysBeforeMonth(year, month + 1) - daysBeforeMonth(year, month);
}

constexpr std::int64_t daysBeforeYear(std::int64_t year) noexcept {
    const std::int64_t years = year - 2001;
    return 365 * years + floorDivide(years, 4) - floorDivide(years, 100) + floorDivide(years, 400);
}

struct CalendarDay {
    std::int64_t year;
    int month;
    int day;
};

/// Since 2001 opens a cycle of 400 years, the irregular day is the last of every span here: a fourth century is longer
/// than 36524 days, a fourth year longer than 365, by that day alone.
constexpr CalendarDay calendarDay(std::int64_t days) noexcept {
    const std::int64_t cycles = floorDivide(days, 146097);
    std::int64_t rest = days - cycles * 146097;
    const std::int64_t centuries = std::min<std::int64_t>(rest / 36524, 3);
    rest -= centuries * 36524;
    const std::int64_t fours = rest / 1461;
    rest -= fours * 1461;
    const std::int64_t years = std::min<std::int64_t>(rest / 365, 3);
    rest -= years * 365;
    const std::int64_t year = 2001 + 400 * cycles + 100 * centuries + 4 * fours + years;
    int month = 1;
    while (month < 12 && rest >= daysBeforeMonth(year, month + 1)) ++month;
    return {year, month, static_cast<int>(rest) - daysBeforeMonth(year, month) + 1};
}

/// The day of a date whose month may lie outside its year and whose day outside its month: both roll over.
constexpr std::int64_t dayNumber(std::int64_t year, std::int64_t month, std::int64_t day) noexcept {
    const std::int64_t years = floorDivide(month - 1, 12);
    year += years;
    return daysBeforeYear(year) + daysBeforeMonth(year, static_cast<int>(month - years * 12)) + day - 1;
}
static_assert(dayNumber(2001, 1, 1) == 0 && dayNumber(1970, 1, 1) == -11323 && dayNumber(2000, 14, 1) == 31);

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

/// `at` moved by whole months; a day that the month reached does not have becomes its last.
CFAbsoluteTime addMonths(CFAbsoluteTime at, std::int64_t months) noexcept {
    if (months == 0) return at;
    const std::int64_t day = moment(at).day;
    const CalendarDay date = calendarDay(day);
    const std::int64_t total = date.year * 12 + date.month - 1 + months;
    const std::int64_t year = floorDivide(total, 12);
    const int month = static_cast<int>(total - year * 12) + 1;
    const std::int64_t reached = dayNumber(year, month, std::min(date.day, daysInMonth(year, month)));
    return at + static_cast<double>(reached - day) * kSecondsPerDay;
}

/// The most whole steps of `step` months from `from`, after `before` months, that do not pass `to`.
std::int64_t wholeSteps(CFAbsoluteTime from, std::int64_t before, std::int64_t step, CFAbsoluteTime to) noexcept {
    const CalendarDay first = calendarDay(moment(addMonths(from, before)).day);
    const CalendarDay last = calendarDay(moment(to).day);
    std::int64_t steps = ((last.year - first.year) * 12 + last.month - first.month) / step;
    if (to >= from) {
        while (steps > 0 && addMonths(from, before + steps * step) > to) --steps;
    } else {
        while (steps < 0 && addMonths(from, before + steps * step) < to) ++steps;
    }
    return steps;
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

CFAbsoluteTime CFGregorianDateGetAbsoluteTime(CFGregorianDate gdate, CFTimeZoneRef) {
    return static_cast<double>(dayNumber(gdate.year, gdate.month, gdate.day)) * kSecondsPerDay + gdate.hour * 3600.0 +
           gdate.minute * 60.0 + gdate.second;
}

CFGregorianDate CFAbsoluteTimeGetGregorianDate(CFAbsoluteTime at, CFTimeZoneRef) {
    const Moment when = moment(at);
    const CalendarDay date = calendarDay(when.day);
    const int whole = static_cast<int>(when.second);
    return {.year = static_cast<SInt32>(date.year),
            .month = static_cast<SInt8>(date.month),
            .day = static_cast<SInt8>(date.day),
            .hour = static_cast<SInt8>(whole / 3600),
            .minute = static_cast<SInt8>(whole / 60 % 60),
            .second = when.second - whole / 60 * 60};
}

CFAbsoluteTime CFAbsoluteTimeAddGregorianUnits(CFAbsoluteTime at, CFTimeZoneRef, CFGregorianUnits units) {
    const double moved = addMonths(at, std::int64_t{units.years} * 12 + units.months);
    return moved + units.days * kSecondsPerDay + units.hours * 3600.0 + units.minutes * 60.0 + units.seconds;
}

CFGregorianUnits CFAbsoluteTimeGetDifferenceAsGregorianUnits(CFAbsoluteTime at1, CFAbsoluteTime at2, CFTimeZoneRef,
                                                             CFOptionFlags unitFlags) {
    CFGregorianUnits units{};
    std::int64_t months = 0;
    if (unitFlags & kCFGregorianUnitsYears) {
        const std::int64_t years = wholeSteps(at2, 0, 12, at1);
        units.years = static_cast<SInt32>(std::clamp<std::int64_t>(years, INT32_MIN, INT32_MAX));
        months = std::int64_t{units.years} * 12;
    }
    if (unitFlags & kCFGregorianUnitsMonths) {
        const std::int64_t more = wholeSteps(at2, months, 1, at1);
        units.months = static_cast<SInt32>(std::clamp<std::int64_t>(more, INT32_MIN, INT32_MAX));
        months += units.months;
    }
    double rest = at1 - addMonths(at2, months);
    const auto take = [&](CFOptionFlags unit, double seconds, SInt32& count) {
        if (!(unitFlags & unit)) return;
        count = saturated(std::trunc(rest / seconds));
        rest -= count * seconds;
    };
    take(kCFGregorianUnitsDays, kSecondsPerDay, units.days);
    take(kCFGregorianUnitsHours, 3600, units.hours);
    take(kCFGregorianUnitsMinutes, 60, units.minutes);
    if (unitFlags & kCFGregorianUnitsSeconds) units.seconds = rest;
    return units;
}

SInt32 CFAbsoluteTimeGetDayOfWeek(CFAbsoluteTime at, CFTimeZoneRef) {
    // 2001-01-01 was a Monday.
    const std::int64_t day = moment(at).day;
    return static_cast<SInt32>(day - floorDivide(day, 7) * 7 + 1);
}

SInt32 CFAbsoluteTimeGetDayOfYear(CFAbsoluteTime at, CFTimeZoneRef) {
    const std::int64_t day = moment(at).day;
    return static_cast<SInt32>(day - daysBeforeYear(calendarDay(day).year) + 1);
}

SInt32 CFAbsoluteTimeGetWeekOfYear(CFAbsoluteTime at, CFTimeZoneRef) {
    // A week belongs to the year that its Thursday lies in (ISO 8601). The days of January that belong to the year
    // before are in its week 53, even where that year ends with week 52.
    const std::int64_t day = moment(at).day;
    const std::int64_t thursday = floorDivide(day, 7) * 7 + 3;
    const std::int64_t year = calendarDay(thursday).year;
    if (calendarDay(day).year > year) return 53;
    return static_cast<SInt32>((thursday - daysBeforeYear(year)) / 7 + 1);
}
