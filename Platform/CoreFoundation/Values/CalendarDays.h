#pragma once

// The proleptic Gregorian calendar in days since 2001-01-01, and wall clocks.

#include <algorithm>
#include <cstdint>

namespace KXPlatform {

constexpr std::int64_t floorDivide(std::int64_t a, std::int64_t b) noexcept { return a / b - (a % b < 0 ? 1 : 0); }
constexpr std::int64_t floorModulo(std::int64_t a, std::int64_t b) noexcept { return a - floorDivide(a, b) * b; }

constexpr bool isLeap(std::int64_t year) noexcept { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

inline constexpr int kDaysBeforeMonth[13] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};

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
static_assert(dayNumber(2001, 1, 1) == 0 && dayNumber(2000, 14, 1) == 31);

inline constexpr std::int64_t kDayOf1970 = dayNumber(1970, 1, 1);
static_assert(kDayOf1970 == -11323);

/// 0 for Sunday to 6; 2001-01-01 was a Monday.
constexpr int weekdayOf(std::int64_t day) noexcept { return static_cast<int>(floorModulo(day + 1, 7)); }

/// How far a wall clock that shows `wall` (its seconds counted as if it were in Greenwich) is ahead of Greenwich, where
/// `offsetAt` returns that for a time. Of a wall time that occurs twice it is the earlier occurrence; one that is
/// skipped counts on from before the change.
template <class Seconds, class OffsetAt>
auto offsetOfWallTime(Seconds wall, OffsetAt&& offsetAt) {
    // No two changes of a zone lie within two days of each other, and no zone is more than a day off. (Were there such,
    // the result would still be an offset that holds nearby.)
    constexpr Seconds kDay = 86400;
    const auto before = offsetAt(wall - kDay);
    const auto after = offsetAt(wall + kDay);
    if (before == after || offsetAt(wall - before) == before) return before;
    return offsetAt(wall - after) == after ? after : before;
}

}  // namespace KXPlatform
