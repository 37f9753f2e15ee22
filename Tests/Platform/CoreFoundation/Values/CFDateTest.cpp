#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <random>

using namespace Held;
using namespace Values;

namespace {

constexpr double kDay = 86400.0;

CFAbsoluteTime at(SInt32 year, int month, int day, int hour = 0, int minute = 0, double second = 0) {
    return CFGregorianDateGetAbsoluteTime({year, static_cast<SInt8>(month), static_cast<SInt8>(day),
                                           static_cast<SInt8>(hour), static_cast<SInt8>(minute), second},
                                          nullptr);
}

std::string text(CFAbsoluteTime time) {
    const CFGregorianDate g = CFAbsoluteTimeGetGregorianDate(time, nullptr);
    char buffer[80];
    std::snprintf(buffer, sizeof buffer, "%d-%02d-%02d %02d:%02d:%g", g.year, g.month, g.day, g.hour, g.minute,
                  g.second);
    return buffer;
}

// ---- Dates

TEST(CFDate, HoldsATime) {
    const auto date = hold(CFDateCreate(nullptr, 12.5));
    EXPECT_EQ(CFGetTypeID(date), CFDateGetTypeID());
    EXPECT_EQ(CFDateGetAbsoluteTime(date), 12.5);
    EXPECT_EQ(CFDateGetAbsoluteTime(nullptr), 0);
    EXPECT_EQ(CFDateGetTimeIntervalSinceDate(date, hold(CFDateCreate(nullptr, 10))), 2.5);
}

TEST(CFDate, IsOrderedByTime) {
    const auto early = hold(CFDateCreate(nullptr, -5)), late = hold(CFDateCreate(nullptr, 5));
    EXPECT_EQ(CFDateCompare(early, late, nullptr), kCFCompareLessThan);
    EXPECT_EQ(CFDateCompare(late, early, nullptr), kCFCompareGreaterThan);
    EXPECT_EQ(CFDateCompare(late, late, nullptr), kCFCompareEqualTo);
}

TEST(CFDate, IsEqualByTime) {
    const auto date = hold(CFDateCreate(nullptr, 7.25)), same = hold(CFDateCreate(nullptr, 7.25));
    EXPECT_TRUE(CFEqual(date, same));
    EXPECT_EQ(CFHash(date), CFHash(same));
    EXPECT_FALSE(CFEqual(date, hold(CFDateCreate(nullptr, 7.5))));
    const auto zero = hold(CFDateCreate(nullptr, 0.0)), negativeZero = hold(CFDateCreate(nullptr, -0.0));
    EXPECT_TRUE(CFEqual(zero, negativeZero));
    EXPECT_EQ(CFHash(zero), CFHash(negativeZero));
}

TEST(CFDate, DescribesItselfInGreenwichTime) {
    const auto date = hold(CFDateCreate(nullptr, at(2012, 5, 15, 18, 10, 26)));
    EXPECT_EQ(description(date), heading("CFDate", date) + "{time = 2012-05-15 18:10:26 +0000}");
}

TEST(CFDate, IsNullWithoutMemory) {
    TestAllocator allocator;
    allocator.failAfter(0);
    EXPECT_EQ(CFDateCreate(allocator, 1), nullptr);
}

TEST(CFAbsoluteTime, RunsWithTheSystemClock) {
    const double before = static_cast<double>(std::time(nullptr)) - kCFAbsoluteTimeIntervalSince1970;
    const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
    const double after = static_cast<double>(std::time(nullptr)) + 1 - kCFAbsoluteTimeIntervalSince1970;
    EXPECT_GE(now, before - 1);
    EXPECT_LE(now, after + 1);
}

TEST(CFAbsoluteTime, HasItsEpochs) {
    EXPECT_EQ(at(1970, 1, 1), -kCFAbsoluteTimeIntervalSince1970);
    EXPECT_EQ(at(1904, 1, 1), -kCFAbsoluteTimeIntervalSince1904);
}

// ---- Gregorian dates

TEST(CFGregorianDate, IsReadFromATime) {
    EXPECT_EQ(text(0), "2001-01-01 00:00:0");
    EXPECT_EQ(text(-0.5), "2000-12-31 23:59:59.5");
    EXPECT_EQ(text(at(2000, 2, 29, 12, 30, 15.25)), "2000-02-29 12:30:15.25");
    EXPECT_EQ(text(at(1900, 3, 1) - 1), "1900-02-28 23:59:59");
    EXPECT_EQ(text(at(2400, 12, 31, 23, 59, 59)), "2400-12-31 23:59:59");
    EXPECT_EQ(text(at(1, 1, 1)), "1-01-01 00:00:0");
    EXPECT_EQ(text(at(1, 1, 1) - 1), "0-12-31 23:59:59");
    EXPECT_EQ(text(at(-400, 2, 29)), "-400-02-29 00:00:0");
}

TEST(CFGregorianDate, GoesRoundAllDaysOfSomeCenturies) {
    int year = 1590, month = 1, day = 1,
        weekday = static_cast<int>(CFAbsoluteTimeGetDayOfWeek(at(1590, 1, 1), nullptr));
    static constexpr int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int dayOfYear = 1;
    for (CFAbsoluteTime time = at(1590, 1, 1); year < 2410; time += kDay) {
        const CFGregorianDate g = CFAbsoluteTimeGetGregorianDate(time + 3600, nullptr);
        ASSERT_TRUE(g.year == year && g.month == month && g.day == day && g.hour == 1)
            << year << "-" << month << "-" << day;
        ASSERT_EQ(at(year, month, day), time);
        ASSERT_EQ(CFAbsoluteTimeGetDayOfWeek(time, nullptr), weekday);
        ASSERT_EQ(CFAbsoluteTimeGetDayOfYear(time, nullptr), dayOfYear);
        const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
        weekday = weekday % 7 + 1;
        ++dayOfYear;
        if (++day > kLengths[month - 1] + (month == 2 && leap)) {
            day = 1;
            if (++month > 12) {
                month = 1;
                ++year;
                dayOfYear = 1;
            }
        }
    }
}

TEST(CFGregorianDate, RollsOverUnitsOutOfRange) {
    EXPECT_EQ(text(at(2001, 13, 1)), "2002-01-01 00:00:0");
    EXPECT_EQ(text(at(2001, 0, 1)), "2000-12-01 00:00:0");
    EXPECT_EQ(text(at(2001, -11, 1)), "2000-01-01 00:00:0");
    EXPECT_EQ(text(at(2001, 1, 32)), "2001-02-01 00:00:0");
    EXPECT_EQ(text(at(2001, 2, 29)), "2001-03-01 00:00:0");
    EXPECT_EQ(text(at(2001, 1, 0)), "2000-12-31 00:00:0");
    EXPECT_EQ(text(at(2001, 1, 1, 25, 61, 61)), "2001-01-02 02:02:1");
}

TEST(CFGregorianDate, IsTheNearestThatItCanHold) {
    EXPECT_EQ(CFAbsoluteTimeGetGregorianDate(1e300, nullptr).year, INT32_MAX);
    EXPECT_EQ(CFAbsoluteTimeGetGregorianDate(-1e300, nullptr).year, INT32_MIN);
    EXPECT_EQ(CFAbsoluteTimeGetGregorianDate(std::numeric_limits<double>::infinity(), nullptr).year, INT32_MAX);
    EXPECT_EQ(text(std::nan("")), "2001-01-01 00:00:0");
    EXPECT_EQ(text(-1e-20), "2001-01-01 00:00:0");
    EXPECT_EQ(text(std::nextafter(kDay, 0)).substr(0, 10), "2001-01-01");
}

TEST(CFGregorianDate, IsValidByTheUnitsAskedFor) {
    const CFGregorianDate good{2000, 2, 29, 23, 59, 59.9};
    EXPECT_TRUE(CFGregorianDateIsValid(good, kCFGregorianAllUnits));
    const auto valid = [&](auto change, CFOptionFlags flags) {
        CFGregorianDate date = good;
        change(date);
        return CFGregorianDateIsValid(date, flags) != 0;
    };
    EXPECT_FALSE(valid([](auto& d) { d.year = 2001; }, kCFGregorianAllUnits));
    EXPECT_FALSE(valid([](auto& d) { d.year = 1900; }, kCFGregorianAllUnits));
    EXPECT_FALSE(valid([](auto& d) { d.year = 0; }, kCFGregorianUnitsYears));
    EXPECT_FALSE(valid([](auto& d) { d.month = 0; }, kCFGregorianUnitsMonths));
    EXPECT_FALSE(valid([](auto& d) { d.month = 13; }, kCFGregorianUnitsMonths));
    EXPECT_FALSE(valid([](auto& d) { d.day = 0; }, kCFGregorianUnitsDays));
    EXPECT_FALSE(valid([](auto& d) { d.day = 32; }, kCFGregorianUnitsDays));
    EXPECT_TRUE(valid([](auto& d) { d.day = 31; }, kCFGregorianUnitsDays));
    EXPECT_TRUE(valid([](auto& d) { d.day = 31; }, kCFGregorianUnitsDays | kCFGregorianUnitsMonths));
    EXPECT_FALSE(valid([](auto& d) { d.day = 32; }, kCFGregorianUnitsDays | kCFGregorianUnitsMonths));
    EXPECT_TRUE(valid([](auto& d) { d.day = 31; }, kCFGregorianUnitsDays | kCFGregorianUnitsYears));
    EXPECT_FALSE(valid([](auto& d) { d.day = 30; }, kCFGregorianAllUnits));
    EXPECT_FALSE(valid([](auto& d) { d.hour = 24; }, kCFGregorianUnitsHours));
    EXPECT_FALSE(valid([](auto& d) { d.hour = -1; }, kCFGregorianUnitsHours));
    EXPECT_FALSE(valid([](auto& d) { d.minute = 60; }, kCFGregorianUnitsMinutes));
    EXPECT_FALSE(valid([](auto& d) { d.second = 60; }, kCFGregorianUnitsSeconds));
    EXPECT_FALSE(valid([](auto& d) { d.second = std::nan(""); }, kCFGregorianUnitsSeconds));
    EXPECT_TRUE(valid([](auto& d) { d.month = 99, d.second = 99; }, kCFGregorianUnitsYears | kCFGregorianUnitsHours));
    EXPECT_TRUE(valid([](auto& d) { d = {}; }, 0));
}

// ---- Units

/// Years, months, days, hours, minutes and seconds, in this order.
std::string added(CFAbsoluteTime time, CFGregorianUnits units) {
    return text(CFAbsoluteTimeAddGregorianUnits(time, nullptr, units));
}

TEST(CFGregorianUnits, AreAddedByTheCalendar) {
    EXPECT_EQ(added(at(2001, 1, 31), {0, 1, 0, 0, 0, 0}), "2001-02-28 00:00:0");
    EXPECT_EQ(added(at(2000, 1, 31), {0, 1, 0, 0, 0, 0}), "2000-02-29 00:00:0");
    EXPECT_EQ(added(at(2000, 2, 29), {1, 0, 0, 0, 0, 0}), "2001-02-28 00:00:0");
    EXPECT_EQ(added(at(2000, 2, 29), {4, 0, 0, 0, 0, 0}), "2004-02-29 00:00:0");
    EXPECT_EQ(added(at(2001, 3, 31), {0, -1, 0, 0, 0, 0}), "2001-02-28 00:00:0");
    EXPECT_EQ(added(at(2001, 1, 15), {0, -13, 0, 0, 0, 0}), "1999-12-15 00:00:0");
    EXPECT_EQ(added(at(2001, 12, 31, 23, 59, 59.5), {1, 2, 1, 1, 1, 0.75}), "2003-03-02 01:01:0.25");
    EXPECT_EQ(CFAbsoluteTimeAddGregorianUnits(12.125, nullptr, {}), 12.125);
}

CFGregorianUnits difference(CFAbsoluteTime a, CFAbsoluteTime b, CFOptionFlags flags) {
    return CFAbsoluteTimeGetDifferenceAsGregorianUnits(a, b, nullptr, flags);
}

TEST(CFGregorianUnits, TellADifferenceFromTheLargestUnitDown) {
    const CFGregorianUnits units =
        difference(at(2003, 3, 2, 1, 1, 0.25), at(2001, 12, 31, 23, 59, 59.5), kCFGregorianAllUnits);
    EXPECT_EQ(units.years, 1);
    EXPECT_EQ(units.months, 2);
    EXPECT_EQ(units.days, 1);
    EXPECT_EQ(units.hours, 1);
    EXPECT_EQ(units.minutes, 1);
    EXPECT_EQ(units.seconds, 0.75);
}

TEST(CFGregorianUnits, TellADifferenceInTheUnitsAskedForOnly) {
    const CFAbsoluteTime a = at(2002, 1, 1), b = at(2001, 1, 1);
    EXPECT_EQ(difference(a, b, kCFGregorianUnitsDays).days, 365);
    EXPECT_EQ(difference(a, b, kCFGregorianUnitsMonths).months, 12);
    EXPECT_EQ(difference(a, b, kCFGregorianUnitsSeconds).seconds, 365 * kDay);
    EXPECT_EQ(difference(a, b, kCFGregorianUnitsHours).hours, 365 * 24);
    const CFGregorianUnits mixed = difference(a + 61, b, kCFGregorianUnitsYears | kCFGregorianUnitsSeconds);
    EXPECT_EQ(mixed.years, 1);
    EXPECT_EQ(mixed.seconds, 61);
    EXPECT_EQ(mixed.minutes, 0);
    EXPECT_EQ(difference(b - 1, a, kCFGregorianUnitsYears).years, -1);
    EXPECT_EQ(difference(b + 1, a, kCFGregorianUnitsYears).years, 0);
    EXPECT_EQ(difference(a, b, 0).days, 0);
}

TEST(CFGregorianUnits, LeadBackToTheTimeTheyWereTakenFrom) {
    std::mt19937 random(8);
    for (int i = 0; i < 5000; ++i) {
        const CFAbsoluteTime a =
            static_cast<double>(static_cast<std::int32_t>(random())) * 4 + (random() % 2 ? 0.5 : 0.0);
        const CFAbsoluteTime b = static_cast<double>(static_cast<std::int32_t>(random())) * 4;
        const CFGregorianUnits units = difference(a, b, kCFGregorianAllUnits);
        ASSERT_EQ(CFAbsoluteTimeAddGregorianUnits(b, nullptr, units), a) << i;
        ASSERT_LT(std::abs(units.months), 12);
        ASSERT_LT(std::abs(units.hours), 24);
        ASSERT_LT(std::abs(units.seconds), 60);
    }
}

TEST(CFGregorianUnits, TellExtremeDifferencesAsNearAsTheyCan) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double a : {infinity, -infinity, std::nan(""), 1e300, 0.0})
        for (const double b : {infinity, -infinity, std::nan(""), -1e300, 0.0}) difference(a, b, kCFGregorianAllUnits);
    EXPECT_EQ(difference(1e300, 0, kCFGregorianUnitsHours).hours, INT32_MAX);
    EXPECT_EQ(difference(-1e300, 0, kCFGregorianUnitsMinutes).minutes, INT32_MIN);
}

// ---- Weeks

TEST(CFAbsoluteTime, TellsTheWeekByISO8601ButForTheFirstDaysOfJanuary) {
    const auto week = [](CFAbsoluteTime time) { return CFAbsoluteTimeGetWeekOfYear(time, nullptr); };
    EXPECT_EQ(week(at(2001, 1, 1)), 1);   // a Monday
    EXPECT_EQ(week(at(2005, 1, 1)), 53);  // a Saturday: the week of the year before
    EXPECT_EQ(week(at(2005, 1, 3)), 1);
    EXPECT_EQ(week(at(2006, 1, 1)), 53);  // a Sunday: 52 by ISO 8601
    EXPECT_EQ(week(at(2011, 1, 2)), 53);
    EXPECT_EQ(week(at(2011, 1, 3)), 1);
    EXPECT_EQ(week(at(2010, 12, 31)), 52);
    EXPECT_EQ(week(at(2008, 12, 29)), 1);  // a Monday: the week of the year after
    EXPECT_EQ(week(at(2009, 12, 31)), 53);
    EXPECT_EQ(week(at(2010, 1, 4)), 1);
    EXPECT_EQ(week(at(2024, 12, 31)), 1);
    EXPECT_EQ(week(at(1970, 1, 1)), 1);
    EXPECT_EQ(CFAbsoluteTimeGetDayOfWeek(at(2024, 2, 29), nullptr), 4);
    EXPECT_EQ(CFAbsoluteTimeGetDayOfWeek(at(2001, 1, 7), nullptr), 7);
    EXPECT_EQ(CFAbsoluteTimeGetDayOfYear(at(2000, 12, 31), nullptr), 366);
}

TEST(CFAbsoluteTime, TellsTheWeekAsTheSystemDoes) {
    for (CFAbsoluteTime time = at(1970, 1, 1); time < at(2040, 1, 1); time += kDay) {
        const std::time_t seconds = static_cast<std::time_t>(time + kCFAbsoluteTimeIntervalSince1970);
        std::tm fields{};
        gmtime_r(&seconds, &fields);
        char week[8];
        std::strftime(week, sizeof week, "%V", &fields);
        const bool isOfYearBefore = fields.tm_mon == 0 && std::atoi(week) > 50;
        ASSERT_EQ(CFAbsoluteTimeGetWeekOfYear(time, nullptr), isOfYearBefore ? 53 : std::atoi(week));
    }
}

// ---- Wall clocks of zones

Holder<CFTimeZoneRef> zone(const char* name) { return hold(CFTimeZoneCreateWithName(nullptr, string(name), false)); }

CFAbsoluteTime wall(CFTimeZoneRef tz, SInt32 year, int month, int day, int hour = 0, int minute = 0) {
    return CFGregorianDateGetAbsoluteTime({year, static_cast<SInt8>(month), static_cast<SInt8>(day),
                                           static_cast<SInt8>(hour), static_cast<SInt8>(minute), 0},
                                          tz);
}

TEST(CFGregorianDate, IsReadOffTheWallClockOfAZone) {
    const auto berlin = zone("Europe/Berlin"), tokyo = zone("Asia/Tokyo");
    EXPECT_EQ(text(wall(berlin, 2024, 7, 1, 12)), "2024-07-01 10:00:0");
    EXPECT_EQ(text(wall(berlin, 2024, 1, 1)), "2023-12-31 23:00:0");
    const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(at(2024, 2, 29, 20, 30, 1.5), tokyo);
    EXPECT_EQ(date.day, 1);
    EXPECT_EQ(date.month, 3);
    EXPECT_EQ(date.hour, 5);
    EXPECT_EQ(date.second, 1.5);
}

TEST(CFGregorianDate, CountsOnFromASkippedTimeAndTakesTheFirstOfARepeatedOne) {
    const auto berlin = zone("Europe/Berlin");
    EXPECT_EQ(text(wall(berlin, 2024, 3, 31, 2, 30)), "2024-03-31 01:30:0");
    EXPECT_EQ(text(wall(berlin, 2024, 10, 27, 2, 30)), "2024-10-27 00:30:0");
    EXPECT_EQ(text(wall(berlin, 2024, 10, 27, 3)), "2024-10-27 02:00:0");
    EXPECT_EQ(text(wall(zone("America/New_York"), 2024, 11, 3, 1, 30)), "2024-11-03 05:30:0");
    EXPECT_EQ(text(wall(zone("Pacific/Apia"), 2011, 12, 30, 12)), "2011-12-30 22:00:0");  // a day that was left out
}

TEST(CFGregorianDate, ComesBackFromEveryHourOfAZone) {
    for (const char* const name : {"Europe/Berlin", "America/St_Johns", "Australia/Lord_Howe", "Pacific/Apia"}) {
        const auto tz = zone(name);
        const auto end = at(2013, 1, 1);
        int repeated = 0;
        for (CFAbsoluteTime time = at(2011, 1, 1); time < end; time += 1800) {
            const CFAbsoluteTime again = CFGregorianDateGetAbsoluteTime(CFAbsoluteTimeGetGregorianDate(time, tz), tz);
            if (again != time) {
                // The later occurrence of a wall time gives the earlier.
                EXPECT_LT(again, time);
                EXPECT_LE(time - again, 3600);
                ++repeated;
            }
        }
        EXPECT_LE(repeated, 4) << name;
        EXPECT_GE(repeated, 1) << name;
    }
}

TEST(CFGregorianDate, AgreesWithTheCLibraryInZones) {
    const char* const name = "America/Sao_Paulo";
    const char* const before = std::getenv("TZ");
    const std::string kept = before ? before : "";
    ::setenv("TZ", name, 1);
    ::tzset();
    std::mt19937_64 random(3);
    for (int i = 0; i < 2000; ++i) {
        const std::time_t time = static_cast<std::time_t>(random() % 4'000'000'000);
        std::tm local{};
        ::localtime_r(&time, &local);
        const auto tz = zone(name);
        const CFAbsoluteTime absolute = static_cast<double>(time) - kCFAbsoluteTimeIntervalSince1970;
        const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(absolute, tz);
        ASSERT_EQ(date.year, local.tm_year + 1900);
        ASSERT_EQ(date.month, local.tm_mon + 1);
        ASSERT_EQ(date.day, local.tm_mday);
        ASSERT_EQ(date.hour, local.tm_hour);
        ASSERT_EQ(date.minute, local.tm_min);
        ASSERT_EQ(CFAbsoluteTimeGetDayOfWeek(absolute, tz), local.tm_wday == 0 ? 7 : local.tm_wday);
        ASSERT_EQ(CFAbsoluteTimeGetDayOfYear(absolute, tz), local.tm_yday + 1);
        char week[4];
        std::strftime(week, sizeof week, "%V", &local);
        if (local.tm_yday > 6) {
            ASSERT_EQ(CFAbsoluteTimeGetWeekOfYear(absolute, tz), std::atoi(week));
        }
    }
    before ? ::setenv("TZ", kept.c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
}

TEST(CFGregorianUnits, OfDaysKeepTheWallClock) {
    const auto berlin = zone("Europe/Berlin");
    const CFAbsoluteTime before = wall(berlin, 2024, 3, 30, 12);
    const CFAbsoluteTime after = CFAbsoluteTimeAddGregorianUnits(before, berlin, {0, 0, 1, 0, 0, 0});
    EXPECT_EQ(after, wall(berlin, 2024, 3, 31, 12));
    EXPECT_EQ(after - before, 23 * 3600);
    EXPECT_EQ(CFAbsoluteTimeAddGregorianUnits(before, berlin, {0, 0, 0, 24, 0, 0}), wall(berlin, 2024, 3, 31, 13));
    EXPECT_EQ(CFAbsoluteTimeAddGregorianUnits(before, berlin, {0, 7, -3, 0, 5, 0}), wall(berlin, 2024, 10, 27, 12, 5));
    const CFGregorianUnits day =
        CFAbsoluteTimeGetDifferenceAsGregorianUnits(after, before, berlin, kCFGregorianAllUnits);
    EXPECT_EQ(day.days, 1);
    EXPECT_EQ(day.hours, 0);
    const CFGregorianUnits back =
        CFAbsoluteTimeGetDifferenceAsGregorianUnits(before, after, berlin, kCFGregorianAllUnits);
    EXPECT_EQ(back.days, -1);
    EXPECT_EQ(back.hours, 0);
}

TEST(CFGregorianUnits, OfADifferenceLeadBackInZones) {
    std::mt19937_64 random(4);
    for (const char* const name : {"Europe/Berlin", "America/Sao_Paulo", "Pacific/Apia"}) {
        const auto tz = zone(name);
        for (int i = 0; i < 2000; ++i) {
            const double one = static_cast<double>(random() % 2'000'000'000) - 1e9;
            const double two = static_cast<double>(random() % 2'000'000'000) - 1e9;
            const CFGregorianUnits units =
                CFAbsoluteTimeGetDifferenceAsGregorianUnits(one, two, tz, kCFGregorianAllUnits);
            ASSERT_EQ(CFAbsoluteTimeAddGregorianUnits(two, tz, units), one) << name << " " << two << " to " << one;
            const int sign = one >= two ? 1 : -1;
            ASSERT_GE(units.years * sign, 0);
            ASSERT_GE(units.months * sign, 0);
            ASSERT_LT(units.months * sign, 12);
            ASSERT_GE(units.days * sign, 0);
            ASSERT_LE(units.days * sign, 31);
            ASSERT_GE(units.hours * sign, 0);
            ASSERT_LE(units.hours * sign, 25);
        }
    }
}

}  // namespace

TEST(CFGregorianDate, TakesAMomentTooShortToTellForMidnight) {
    EXPECT_EQ(text(-std::numeric_limits<double>::denorm_min()), "2001-01-01 00:00:0");
    EXPECT_EQ(text(-1e-20), "2001-01-01 00:00:0");
}

TEST(CFDate, SurvivesNullArguments) {
    using namespace NullArguments;
    const auto date = hold(CFDateCreate(nullptr, 0));
    CFDateGetAbsoluteTime(nullptr);
    CFDateGetTimeIntervalSinceDate(nullptr, date);
    CFDateGetTimeIntervalSinceDate(date, nullptr);
    CFDateCompare(nullptr, date, nullptr);
    CFDateCompare(date, nullptr, nullptr);
    CFDateCompare(nullptr, nullptr, nullptr);
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr SInt32 kLeast32 = std::numeric_limits<SInt32>::min(), kMost32 = std::numeric_limits<SInt32>::max();
    for (const double at : {0.0, -0.0, 1e18, -1e18, 1e300, -1e300, kInfinity, -kInfinity,
                            std::numeric_limits<double>::quiet_NaN(), 5e-324}) {
        CFAbsoluteTimeGetGregorianDate(at, nullptr);
        CFAbsoluteTimeGetDayOfWeek(at, nullptr);
        CFAbsoluteTimeGetDayOfYear(at, nullptr);
        CFAbsoluteTimeGetWeekOfYear(at, nullptr);
        take(CFCopyDescription(hold(CFDateCreate(nullptr, at))));
        CFHash(hold(CFDateCreate(nullptr, at)));
        for (const double other : {0.0, 1e300, -kInfinity})
            CFAbsoluteTimeGetDifferenceAsGregorianUnits(at, other, nullptr, ~0UL);
        for (const SInt32 units : {kLeast32, -1, 0, kMost32})
            CFAbsoluteTimeAddGregorianUnits(at, nullptr, {units, units, units, units, units, at});
        for (const SInt8 part : {SInt8{-128}, SInt8{0}, SInt8{127}}) {
            for (const SInt32 year : {kLeast32, 0, kMost32}) {
                CFGregorianDateIsValid({year, part, part, part, part, at}, ~0UL);
                CFGregorianDateGetAbsoluteTime({year, part, part, part, part, at}, nullptr);
            }
        }
    }
}
