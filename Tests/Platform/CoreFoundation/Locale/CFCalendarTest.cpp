#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <thread>

using namespace Held;
using namespace Values;

namespace {

constexpr CFAbsoluteTime kNaN = std::numeric_limits<double>::quiet_NaN();

Holder<CFTimeZoneRef> zone(const char* name) { return hold(CFTimeZoneCreateWithName(nullptr, string(name), false)); }

Holder<CFCalendarRef> calendar(CFStringRef identifier = kCFGregorianCalendar, const char* zoneName = "UTC") {
    auto made = hold(CFCalendarCreateWithIdentifier(nullptr, identifier));
    if (made.get()) CFCalendarSetTimeZone(made, zone(zoneName));
    return made;
}

CFAbsoluteTime at(CFCalendarRef calendar, int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    CFAbsoluteTime time = kNaN;
    CFCalendarComposeAbsoluteTime(calendar, &time, "yMdHms", year, month, day, hour, minute, second);
    return time;
}

std::string text(CFCalendarRef calendar, CFAbsoluteTime time) {
    std::array<int, 6> v{};
    if (!CFCalendarDecomposeAbsoluteTime(calendar, time, "yMdHms", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]))
        return "(none)";
    char buffer[80];
    std::snprintf(buffer, sizeof buffer, "%d-%02d-%02d %02d:%02d:%02d", v[0], v[1], v[2], v[3], v[4], v[5]);
    return buffer;
}

int part(CFCalendarRef calendar, CFAbsoluteTime time, const char* letter) {
    int value = -1;
    EXPECT_TRUE(CFCalendarDecomposeAbsoluteTime(calendar, time, letter, &value));
    return value;
}

std::string range(CFRange range) { return std::to_string(range.location) + "+" + std::to_string(range.length); }

// ---- Making

TEST(CFCalendar, IsMadeForEveryReckoning) {
    for (const CFStringRef identifier :
         {kCFGregorianCalendar, kCFBuddhistCalendar, kCFChineseCalendar, kCFHebrewCalendar, kCFIslamicCalendar,
          kCFIslamicCivilCalendar, kCFJapaneseCalendar, kCFRepublicOfChinaCalendar, kCFPersianCalendar,
          kCFIndianCalendar, kCFISO8601Calendar, kCFIslamicTabularCalendar, kCFIslamicUmmAlQuraCalendar,
          CFSTR("coptic"), CFSTR("ethiopic"), CFSTR("ethiopic-amete-alem"), CFSTR("dangi"), CFSTR("islamic-rgsa")}) {
        const auto made = calendar(identifier);
        ASSERT_TRUE(made.get()) << utf8(identifier);
        EXPECT_EQ(CFGetTypeID(made), CFCalendarGetTypeID());
        EXPECT_TRUE(CFEqual(CFCalendarGetIdentifier(made), identifier));
        // A time comes back from its components, whatever they are called.
        std::array<int, 4> v{};
        const CFAbsoluteTime time = 700'000'000;
        ASSERT_TRUE(CFCalendarDecomposeAbsoluteTime(made, time, "GyMd", &v[0], &v[1], &v[2], &v[3]));
        CFAbsoluteTime again = 0;
        if (!CFEqual(identifier, kCFChineseCalendar) && !CFEqual(identifier, CFSTR("dangi"))) {
            ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &again, "GyMd", v[0], v[1], v[2], v[3]));
            EXPECT_EQ(again, std::floor(time / 86400) * 86400) << utf8(identifier);
        }
    }
    EXPECT_EQ(CFCalendarCreateWithIdentifier(nullptr, CFSTR("martian")), nullptr);
    EXPECT_EQ(CFCalendarCreateWithIdentifier(nullptr, CFSTR("")), nullptr);
}

TEST(CFCalendar, CountsTheYearsOfItsReckoning) {
    const CFAbsoluteTime day = at(calendar(), 2024, 7, 1, 12);
    EXPECT_EQ(text(calendar(kCFBuddhistCalendar), day), "2567-07-01 12:00:00");
    EXPECT_EQ(text(calendar(kCFRepublicOfChinaCalendar), day), "113-07-01 12:00:00");
    EXPECT_EQ(text(calendar(kCFJapaneseCalendar), day), "6-07-01 12:00:00");
    EXPECT_EQ(text(calendar(kCFHebrewCalendar), day), "5784-10-25 12:00:00");
    EXPECT_EQ(text(calendar(kCFPersianCalendar), day), "1403-04-11 12:00:00");
    EXPECT_EQ(text(calendar(kCFIndianCalendar), day), "1946-04-10 12:00:00");
    EXPECT_EQ(text(calendar(kCFIslamicCivilCalendar), day), "1445-12-24 12:00:00");
}

TEST(CFCalendar, OfTheCurrentLocaleIsMade) {
    const auto current = hold(CFCalendarCopyCurrent());
    ASSERT_TRUE(current.get());
    EXPECT_NE(CFCalendarGetIdentifier(current), nullptr);
    EXPECT_TRUE(CFEqual(hold(CFCalendarCopyTimeZone(current)), hold(CFTimeZoneCopyDefault())));
    EXPECT_TRUE(hold(CFCalendarCopyLocale(current)).get());
}

TEST(CFCalendar, IsAValueOfALocale) {
    const auto thai = hold(CFLocaleCreate(nullptr, CFSTR("th_TH")));
    const auto its = static_cast<CFCalendarRef>(const_cast<void*>(CFLocaleGetValue(thai, kCFLocaleCalendar)));
    ASSERT_TRUE(its);
    EXPECT_TRUE(CFEqual(CFCalendarGetIdentifier(its), kCFBuddhistCalendar));
    EXPECT_TRUE(CFEqual(hold(CFCalendarCopyLocale(its)), thai));
    EXPECT_EQ(CFLocaleGetValue(thai, kCFLocaleCalendar), its);
    EXPECT_EQ(CFGetRetainCount(thai), 1);
}

TEST(CFCalendar, IsEqualByWhatItGoesBy) {
    const auto one = calendar(), two = calendar();
    EXPECT_TRUE(CFEqual(one, two));
    EXPECT_EQ(CFHash(one), CFHash(two));
    CFCalendarSetFirstWeekday(two, 4);
    EXPECT_FALSE(CFEqual(one, two));
    EXPECT_FALSE(CFEqual(one, calendar(kCFISO8601Calendar)));
    EXPECT_FALSE(CFEqual(one, calendar(kCFGregorianCalendar, "Europe/Berlin")));
    EXPECT_THAT(description(one), testing::HasSubstr("{identifier = gregorian, locale = , time zone = UTC}"));
}

// ---- What it goes by

TEST(CFCalendar, FollowsTheCustomsOfItsLocale) {
    const auto made = calendar();
    CFCalendarSetLocale(made, hold(CFLocaleCreate(nullptr, CFSTR("de_DE"))));
    EXPECT_EQ(utf8(CFLocaleGetIdentifier(hold(CFCalendarCopyLocale(made)))), "de_DE");
    EXPECT_EQ(CFCalendarGetFirstWeekday(made), 2);
    EXPECT_EQ(CFCalendarGetMinimumDaysInFirstWeek(made), 4);
    EXPECT_EQ(part(made, at(made, 2021, 1, 3), "w"), 53);
    CFCalendarSetLocale(made, hold(CFLocaleCreate(nullptr, CFSTR("en_US"))));
    EXPECT_EQ(CFCalendarGetFirstWeekday(made), 1);
    EXPECT_EQ(CFCalendarGetMinimumDaysInFirstWeek(made), 1);
    EXPECT_EQ(part(made, at(made, 2021, 1, 3), "w"), 2);
    CFCalendarSetLocale(made, hold(CFLocaleCreate(nullptr, CFSTR("ar_EG"))));
    EXPECT_EQ(CFCalendarGetFirstWeekday(made), 7);
}

TEST(CFCalendar, KeepsWhatWasSetForWeeks) {
    const auto made = calendar();
    CFCalendarSetFirstWeekday(made, 3);
    CFCalendarSetMinimumDaysInFirstWeek(made, 5);
    CFCalendarSetLocale(made, hold(CFLocaleCreate(nullptr, CFSTR("de_DE"))));
    EXPECT_EQ(CFCalendarGetFirstWeekday(made), 3);
    EXPECT_EQ(CFCalendarGetMinimumDaysInFirstWeek(made), 5);
    for (const CFIndex number : {CFIndex{0}, CFIndex{8}, CFIndex{-1}, NullArguments::kLeast, NullArguments::kMost}) {
        CFCalendarSetFirstWeekday(made, number);
        CFCalendarSetMinimumDaysInFirstWeek(made, number);
    }
    EXPECT_EQ(CFCalendarGetFirstWeekday(made), 3);
    EXPECT_EQ(CFCalendarGetMinimumDaysInFirstWeek(made), 5);
}

TEST(CFCalendar, FollowsTheWallClockOfItsZone) {
    const auto berlin = calendar(kCFGregorianCalendar, "Europe/Berlin");
    const auto utc = calendar();
    EXPECT_EQ(text(utc, at(berlin, 2024, 7, 1, 12)), "2024-07-01 10:00:00");
    EXPECT_EQ(text(berlin, at(utc, 2024, 1, 1, 23, 30)), "2024-01-02 00:30:00");
    EXPECT_EQ(text(berlin, at(utc, 2200, 7, 1, 12)), "2200-07-01 14:00:00");  // by the rule of the zone
    CFCalendarSetTimeZone(berlin, zone("Asia/Tokyo"));
    EXPECT_EQ(utf8(CFTimeZoneGetName(hold(CFCalendarCopyTimeZone(berlin)))), "Asia/Tokyo");
    EXPECT_EQ(text(berlin, at(utc, 2024, 1, 1, 23, 30)), "2024-01-02 08:30:00");
    CFCalendarSetTimeZone(berlin, nullptr);
    EXPECT_TRUE(CFEqual(hold(CFCalendarCopyTimeZone(berlin)), hold(CFTimeZoneCopyDefault())));
}

TEST(CFCalendar, AgreesWithTheGregorianFunctions) {
    std::mt19937_64 random(2);
    for (const char* const name : {"Europe/Berlin", "America/Sao_Paulo", "Asia/Tehran", "Pacific/Apia",
                                   "Australia/Lord_Howe", "Europe/Dublin", "GMT+0530"}) {
        const auto made = calendar(kCFGregorianCalendar, name);
        const auto tz = zone(name);
        for (int i = 0; i < 500; ++i) {
            const double time = static_cast<double>(random() % 6'000'000'000) - 3e9;
            const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(time, tz);
            char expected[80];
            std::snprintf(expected, sizeof expected, "%d-%02d-%02d %02d:%02d:%02d", date.year, date.month, date.day,
                          date.hour, date.minute, static_cast<int>(date.second));
            ASSERT_EQ(text(made, time), expected) << name;
            ASSERT_EQ(at(made, date.year, date.month, date.day, date.hour, date.minute, static_cast<int>(date.second)),
                      CFGregorianDateGetAbsoluteTime(date, tz))
                << name << " " << expected;
        }
    }
}

// ---- Components

TEST(CFCalendar, ComposesATime) {
    const auto made = calendar();
    CFAbsoluteTime time = 0;
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "yMdHms", 1965, 1, 6, 14, 10, 0));
    EXPECT_EQ(time, -1'135'590'600);
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "smhdMy", 1, 2, 3, 4, 5, 2006));
    EXPECT_EQ(text(made, time), "2006-05-04 03:02:01");
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "y", 2001));
    EXPECT_EQ(time, 0);
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "H", 5));
    EXPECT_EQ(text(made, time), "1-01-01 05:00:00");
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "yQ", 2024, 3));
    EXPECT_EQ(text(made, time), "2024-07-01 00:00:00");
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, ""));
    EXPECT_EQ(text(made, time), "1-01-01 00:00:00");
}

TEST(CFCalendar, ComposesATimeOfWeeks) {
    const auto made = calendar(kCFISO8601Calendar);
    CFAbsoluteTime time = 0;
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "YwE", 2024, 1, 2));
    EXPECT_EQ(text(made, time), "2024-01-01 00:00:00");
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "YwE", 2020, 53, 1));
    EXPECT_EQ(text(made, time), "2021-01-03 00:00:00");
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "yMEF", 2024, 11, 5, 4));  // the fourth Thursday
    EXPECT_EQ(text(made, time), "2024-11-28 00:00:00");
    // A day counts before a weekday.
    ASSERT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "yMdE", 2024, 11, 7, 1));
    EXPECT_EQ(text(made, time), "2024-11-07 00:00:00");
}

TEST(CFCalendar, RefusesValuesThatAUnitDoesNotHave) {
    const auto made = calendar();
    CFAbsoluteTime time = 77;
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "yM", 2024, 13));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "yM", 2024, 0));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "yMd", 2023, 2, 29));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "yMd", 2024, 4, 31));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "yMd", 2024, 4, 0));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "yH", 2024, 24));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "ym", 2024, -1));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "ys", 2024, 60));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "yQ", 2024, 5));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "y", std::numeric_limits<int>::max()));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, "y", std::numeric_limits<int>::min()));
    EXPECT_EQ(time, 77);
    EXPECT_TRUE(CFCalendarComposeAbsoluteTime(made, &time, "yMd", 2024, 2, 29));
}

TEST(CFCalendar, DecomposesATime) {
    const auto made = calendar(kCFISO8601Calendar);
    const CFAbsoluteTime time = at(made, 2024, 11, 28, 14, 10, 5) + 0.75;
    std::array<int, 13> v{};
    ASSERT_TRUE(CFCalendarDecomposeAbsoluteTime(made, time, "GyYQMwWdEFhms", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5],
                                                &v[6], &v[7], &v[8], &v[9], &v[10], &v[11], &v[12]));
    EXPECT_THAT(v, testing::ElementsAre(1, 2024, 2024, 4, 11, 48, 4, 28, 5, 4, 14, 10, 5));
    EXPECT_TRUE(CFCalendarDecomposeAbsoluteTime(made, time, "yM", nullptr, &v[0]));
    EXPECT_EQ(v[0], 11);
    EXPECT_EQ(text(made, at(made, 2001, 1, 1) - 0.25), "2000-12-31 23:59:59");
}

TEST(CFCalendar, KnowsNoOtherLetters) {
    const auto made = calendar();
    CFAbsoluteTime time = 5;
    int value = 7;
    for (const char* const description : {"x", "yx", "y ", "yyyy-", "D", "%", "\xC3\xA4"}) {
        EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, description, 1, 1, 1, 1, 1)) << description;
        EXPECT_FALSE(CFCalendarDecomposeAbsoluteTime(made, 0, description, &value, &value, &value, &value, &value));
        EXPECT_FALSE(CFCalendarAddComponents(made, &time, 0, description, 1, 1, 1, 1, 1));
        EXPECT_FALSE(
            CFCalendarGetComponentDifference(made, 0, 1, 0, description, &value, &value, &value, &value, &value));
    }
    EXPECT_EQ(time, 5);
    EXPECT_EQ(value, 7);
}

TEST(CFCalendar, AddsComponents) {
    const auto made = calendar();
    const auto added = [&](CFAbsoluteTime from, const char* description, auto... amounts) {
        CFAbsoluteTime time = from;
        EXPECT_TRUE(CFCalendarAddComponents(made, &time, 0, description, amounts...));
        return text(made, time);
    };
    EXPECT_EQ(added(at(made, 2024, 1, 31), "M", 1), "2024-02-29 00:00:00");
    EXPECT_EQ(added(at(made, 2024, 1, 31), "Md", 1, 3), "2024-03-03 00:00:00");
    EXPECT_EQ(added(at(made, 2024, 2, 29), "y", 1), "2025-02-28 00:00:00");
    EXPECT_EQ(added(at(made, 2024, 12, 31, 23, 59, 59), "s", 1), "2025-01-01 00:00:00");
    EXPECT_EQ(added(at(made, 2024, 1, 1), "yMdHms", -1, -1, -1, -1, -1, -1), "2022-11-29 22:58:59");
    EXPECT_EQ(added(at(made, 2024, 1, 31), "Q", 1), "2024-04-30 00:00:00");
    EXPECT_EQ(added(at(made, 2024, 1, 31), "w", 2), "2024-02-14 00:00:00");
    EXPECT_EQ(added(at(made, 2024, 1, 31), "s", 2'000'000'000), "2087-06-17 03:33:20");
    CFAbsoluteTime fraction = 0.375;
    EXPECT_TRUE(CFCalendarAddComponents(made, &fraction, 0, "d", 1));
    EXPECT_EQ(fraction, 86400.375);
}

TEST(CFCalendar, AddsDaysByTheWallClockAndHoursAsTheyPass) {
    const auto berlin = calendar(kCFGregorianCalendar, "Europe/Berlin");
    CFAbsoluteTime time = at(berlin, 2024, 3, 30, 12);
    EXPECT_TRUE(CFCalendarAddComponents(berlin, &time, 0, "d", 1));
    EXPECT_EQ(text(berlin, time), "2024-03-31 12:00:00");
    EXPECT_TRUE(CFCalendarAddComponents(berlin, &time, 0, "H", -24));
    EXPECT_EQ(text(berlin, time), "2024-03-30 11:00:00");
    time = at(berlin, 2024, 3, 30, 2, 30);
    EXPECT_TRUE(CFCalendarAddComponents(berlin, &time, 0, "d", 1));
    EXPECT_EQ(text(berlin, time), "2024-03-31 03:30:00");
}

TEST(CFCalendar, CountsOnFromASkippedTimeAndTakesTheFirstOfARepeatedOne) {
    const auto berlin = calendar(kCFGregorianCalendar, "Europe/Berlin");
    EXPECT_EQ(text(calendar(), at(berlin, 2024, 3, 31, 2, 30)), "2024-03-31 01:30:00");
    EXPECT_EQ(text(calendar(), at(berlin, 2024, 10, 27, 2, 30)), "2024-10-27 00:30:00");
}

TEST(CFCalendar, WrapsWithoutCarrying) {
    const auto made = calendar();
    const auto wrapped = [&](CFAbsoluteTime from, const char* description, auto... amounts) {
        CFAbsoluteTime time = from;
        EXPECT_TRUE(CFCalendarAddComponents(made, &time, kCFCalendarComponentsWrap, description, amounts...));
        return text(made, time);
    };
    EXPECT_EQ(wrapped(at(made, 2024, 12, 15), "M", 1), "2024-01-15 00:00:00");
    EXPECT_EQ(wrapped(at(made, 2024, 2, 29), "d", 1), "2024-02-01 00:00:00");
    EXPECT_EQ(wrapped(at(made, 2024, 2, 29, 23), "H", 2), "2024-02-29 01:00:00");
}

TEST(CFCalendar, DoesNotLeaveWhatItReaches) {
    const auto made = calendar();
    const int most = std::numeric_limits<int>::max();
    for (const char* const description : {"y", "Y", "M", "Q", "yy"}) {
        CFAbsoluteTime time = 3;
        EXPECT_FALSE(CFCalendarAddComponents(made, &time, 0, description, most, most)) << description;
        EXPECT_EQ(time, 3);
    }
    for (const double time : {kNaN, std::numeric_limits<double>::infinity(), -1e300, 1e16}) {
        CFAbsoluteTime moved = time;
        int value = 7;
        EXPECT_FALSE(CFCalendarAddComponents(made, &moved, 0, "d", 1));
        EXPECT_FALSE(CFCalendarDecomposeAbsoluteTime(made, time, "y", &value));
        EXPECT_FALSE(CFCalendarGetComponentDifference(made, time, 0, 0, "d", &value));
        EXPECT_FALSE(CFCalendarGetComponentDifference(made, 0, time, 0, "d", &value));
        EXPECT_FALSE(CFCalendarGetTimeRangeOfUnit(made, kCFCalendarUnitDay, time, nullptr, nullptr));
        EXPECT_EQ(CFCalendarGetOrdinalityOfUnit(made, kCFCalendarUnitDay, kCFCalendarUnitYear, time), kCFNotFound);
        EXPECT_EQ(CFCalendarGetRangeOfUnit(made, kCFCalendarUnitDay, kCFCalendarUnitYear, time).length, kCFNotFound);
        EXPECT_EQ(value, 7);
    }
    int seconds = 7;
    EXPECT_FALSE(CFCalendarGetComponentDifference(made, 0, 1e10, 0, "s", &seconds));
}

TEST(CFCalendar, TellsTheWayFromOneTimeToAnother) {
    const auto made = calendar();
    std::array<int, 6> v{};
    ASSERT_TRUE(CFCalendarGetComponentDifference(made, at(made, 2020, 1, 31), at(made, 2024, 3, 1, 5, 6, 7), 0,
                                                 "yMdHms", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]));
    EXPECT_THAT(v, testing::ElementsAre(4, 1, 1, 5, 6, 7));
    ASSERT_TRUE(CFCalendarGetComponentDifference(made, at(made, 2024, 3, 1), at(made, 2024, 1, 30, 23), 0, "MdH", &v[0],
                                                 &v[1], &v[2]));
    EXPECT_EQ(v[0], -1);
    EXPECT_EQ(v[1], -1);
    EXPECT_EQ(v[2], -25 + 24);
    ASSERT_TRUE(CFCalendarGetComponentDifference(made, 0.75, 86400.5, 0, "d", &v[0]));
    EXPECT_EQ(v[0], 0);
    ASSERT_TRUE(CFCalendarGetComponentDifference(made, 86400.5, 0.75, 0, "d", &v[0]));
    EXPECT_EQ(v[0], 0);
    ASSERT_TRUE(CFCalendarGetComponentDifference(made, 0, 86400 * 400.0, 0, "Q", &v[0]));
    EXPECT_EQ(v[0], 4);
}

TEST(CFCalendar, LeadsBackByTheDifference) {
    std::mt19937_64 random(6);
    for (const CFStringRef identifier : {kCFGregorianCalendar, kCFHebrewCalendar, kCFIslamicCivilCalendar}) {
        const auto made = calendar(identifier, "America/New_York");
        for (int i = 0; i < 60; ++i) {
            const double one = static_cast<double>(random() % 2'000'000'000),
                         two = static_cast<double>(random() % 2'000'000'000);
            std::array<int, 6> v{};
            ASSERT_TRUE(CFCalendarGetComponentDifference(made, one, two, 0, "yMdHms", &v[0], &v[1], &v[2], &v[3], &v[4],
                                                         &v[5]));
            CFAbsoluteTime time = one;
            ASSERT_TRUE(CFCalendarAddComponents(made, &time, 0, "yMdHms", v[0], v[1], v[2], v[3], v[4], v[5]));
            ASSERT_EQ(time, two) << utf8(identifier) << " from " << one;
        }
    }
}

// ---- Units

TEST(CFCalendar, KnowsTheLimitsOfUnits) {
    const auto made = calendar();
    EXPECT_EQ(range(CFCalendarGetMinimumRangeOfUnit(made, kCFCalendarUnitDay)), "1+28");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitDay)), "1+31");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitMonth)), "1+12");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(calendar(kCFHebrewCalendar), kCFCalendarUnitMonth)), "1+13");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitHour)), "0+24");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitMinute)), "0+60");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitSecond)), "0+60");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitWeekday)), "1+7");
    EXPECT_EQ(range(CFCalendarGetMinimumRangeOfUnit(made, kCFCalendarUnitWeek)), "1+52");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitWeekOfYear)), "1+53");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitQuarter)), "1+4");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitEra)), "0+2");
    EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitWeekdayOrdinal)), "1+5");
    EXPECT_EQ(CFCalendarGetMaximumRangeOfUnit(made, kCFCalendarUnitYear).location, 1);
    for (const CFCalendarUnit unit : {0UL, 1UL, 6UL, 1UL << 20, ~0UL}) {
        EXPECT_EQ(range(CFCalendarGetMaximumRangeOfUnit(made, unit)), "-1+-1");
        EXPECT_EQ(range(CFCalendarGetMinimumRangeOfUnit(made, unit)), "-1+-1");
    }
}

TEST(CFCalendar, KnowsTheRangeOfAUnitInALargerOne) {
    const auto made = calendar(kCFISO8601Calendar);
    const auto rangeIn = [&](CFCalendarUnit smaller, CFCalendarUnit bigger, int year, int month, int day) {
        return range(CFCalendarGetRangeOfUnit(made, smaller, bigger, at(made, year, month, day, 12)));
    };
    EXPECT_EQ(rangeIn(kCFCalendarUnitDay, kCFCalendarUnitMonth, 2024, 2, 10), "1+29");
    EXPECT_EQ(rangeIn(kCFCalendarUnitDay, kCFCalendarUnitMonth, 2023, 2, 10), "1+28");
    EXPECT_EQ(rangeIn(kCFCalendarUnitDay, kCFCalendarUnitYear, 2024, 2, 10), "1+366");
    EXPECT_EQ(rangeIn(kCFCalendarUnitDay, kCFCalendarUnitYear, 2023, 2, 10), "1+365");
    EXPECT_EQ(rangeIn(kCFCalendarUnitDay, kCFCalendarUnitQuarter, 2023, 2, 10), "1+90");
    EXPECT_EQ(rangeIn(kCFCalendarUnitDay, kCFCalendarUnitWeek, 2023, 2, 10), "1+7");
    EXPECT_EQ(rangeIn(kCFCalendarUnitMonth, kCFCalendarUnitYear, 2023, 2, 10), "1+12");
    EXPECT_EQ(rangeIn(kCFCalendarUnitMonth, kCFCalendarUnitQuarter, 2023, 5, 10), "4+3");
    EXPECT_EQ(rangeIn(kCFCalendarUnitHour, kCFCalendarUnitDay, 2023, 5, 10), "0+24");
    EXPECT_EQ(rangeIn(kCFCalendarUnitMinute, kCFCalendarUnitHour, 2023, 5, 10), "0+60");
    EXPECT_EQ(rangeIn(kCFCalendarUnitWeekday, kCFCalendarUnitWeek, 2023, 5, 10), "1+7");
    EXPECT_EQ(rangeIn(kCFCalendarUnitWeekOfYear, kCFCalendarUnitYear, 2020, 5, 10), "1+53");
    EXPECT_EQ(rangeIn(kCFCalendarUnitWeekOfYear, kCFCalendarUnitYear, 2023, 5, 10), "1+52");
    EXPECT_EQ(rangeIn(kCFCalendarUnitWeekOfYear, kCFCalendarUnitMonth, 2023, 5, 10), "18+5");
    EXPECT_EQ(rangeIn(kCFCalendarUnitWeekOfMonth, kCFCalendarUnitMonth, 2023, 5, 10), "1+5");
    EXPECT_EQ(rangeIn(kCFCalendarUnitWeekdayOrdinal, kCFCalendarUnitMonth, 2023, 5, 10), "1+5");
    EXPECT_EQ(rangeIn(kCFCalendarUnitQuarter, kCFCalendarUnitYear, 2023, 5, 10), "1+4");
    EXPECT_EQ(rangeIn(kCFCalendarUnitYear, kCFCalendarUnitDay, 2023, 5, 10), "-1+-1");
    EXPECT_EQ(rangeIn(kCFCalendarUnitDay, kCFCalendarUnitDay, 2023, 5, 10), "-1+-1");
    EXPECT_EQ(rangeIn(kCFCalendarUnitDay, 0, 2023, 5, 10), "-1+-1");
}

TEST(CFCalendar, KnowsWhichUnitOfALargerOneItIs) {
    const auto made = calendar(kCFISO8601Calendar);
    const CFAbsoluteTime time = at(made, 2024, 11, 28, 0, 45, 30) + 0.5;
    const auto which = [&](CFCalendarUnit smaller, CFCalendarUnit bigger) {
        return CFCalendarGetOrdinalityOfUnit(made, smaller, bigger, time);
    };
    EXPECT_EQ(which(kCFCalendarUnitHour, kCFCalendarUnitDay), 1);
    EXPECT_EQ(which(kCFCalendarUnitMinute, kCFCalendarUnitHour), 46);
    EXPECT_EQ(which(kCFCalendarUnitSecond, kCFCalendarUnitMinute), 31);
    EXPECT_EQ(which(kCFCalendarUnitSecond, kCFCalendarUnitDay), 45 * 60 + 31);
    EXPECT_EQ(which(kCFCalendarUnitDay, kCFCalendarUnitMonth), 28);
    EXPECT_EQ(which(kCFCalendarUnitDay, kCFCalendarUnitYear), 333);
    EXPECT_EQ(which(kCFCalendarUnitDay, kCFCalendarUnitQuarter), 59);
    EXPECT_EQ(which(kCFCalendarUnitDay, kCFCalendarUnitWeek), 4);
    EXPECT_EQ(which(kCFCalendarUnitWeekday, kCFCalendarUnitWeek), 4);
    EXPECT_EQ(which(kCFCalendarUnitWeekday, kCFCalendarUnitMonth), 4);
    EXPECT_EQ(which(kCFCalendarUnitMonth, kCFCalendarUnitYear), 11);
    EXPECT_EQ(which(kCFCalendarUnitMonth, kCFCalendarUnitQuarter), 2);
    EXPECT_EQ(which(kCFCalendarUnitQuarter, kCFCalendarUnitYear), 4);
    EXPECT_EQ(which(kCFCalendarUnitWeekOfMonth, kCFCalendarUnitMonth), 4);
    EXPECT_EQ(which(kCFCalendarUnitWeekOfYear, kCFCalendarUnitYear), 48);
    EXPECT_EQ(which(kCFCalendarUnitYear, kCFCalendarUnitEra), 2024);
    EXPECT_EQ(which(kCFCalendarUnitYear, kCFCalendarUnitMonth), kCFNotFound);
    EXPECT_EQ(which(3, kCFCalendarUnitMonth), kCFNotFound);
    // 1 November 2024 is a Friday: its week is the last of October, the month's first begins on Monday.
    EXPECT_EQ(
        CFCalendarGetOrdinalityOfUnit(made, kCFCalendarUnitWeekOfMonth, kCFCalendarUnitMonth, at(made, 2024, 11, 1)),
        0);
}

TEST(CFCalendar, KnowsWhereUnitsBeginAndEnd) {
    const auto made = calendar(kCFISO8601Calendar, "Europe/Berlin");
    const auto bounds = [&](CFCalendarUnit unit, CFAbsoluteTime time) {
        CFAbsoluteTime start = 0;
        CFTimeInterval length = 0;
        EXPECT_TRUE(CFCalendarGetTimeRangeOfUnit(made, unit, time, &start, &length));
        return text(made, start) + " to " + text(made, start + length);
    };
    const CFAbsoluteTime time = at(made, 2024, 3, 31, 14, 10, 5) + 0.5;
    EXPECT_EQ(bounds(kCFCalendarUnitSecond, time), "2024-03-31 14:10:05 to 2024-03-31 14:10:06");
    EXPECT_EQ(bounds(kCFCalendarUnitMinute, time), "2024-03-31 14:10:00 to 2024-03-31 14:11:00");
    EXPECT_EQ(bounds(kCFCalendarUnitHour, time), "2024-03-31 14:00:00 to 2024-03-31 15:00:00");
    EXPECT_EQ(bounds(kCFCalendarUnitDay, time), "2024-03-31 00:00:00 to 2024-04-01 00:00:00");
    EXPECT_EQ(bounds(kCFCalendarUnitWeekday, time), "2024-03-31 00:00:00 to 2024-04-01 00:00:00");
    EXPECT_EQ(bounds(kCFCalendarUnitWeek, time), "2024-03-25 00:00:00 to 2024-04-01 00:00:00");
    EXPECT_EQ(bounds(kCFCalendarUnitMonth, time), "2024-03-01 00:00:00 to 2024-04-01 00:00:00");
    EXPECT_EQ(bounds(kCFCalendarUnitQuarter, time), "2024-01-01 00:00:00 to 2024-04-01 00:00:00");
    EXPECT_EQ(bounds(kCFCalendarUnitYear, time), "2024-01-01 00:00:00 to 2025-01-01 00:00:00");
    EXPECT_EQ(bounds(kCFCalendarUnitYearForWeekOfYear, at(made, 2020, 5, 5)),
              "2019-12-30 00:00:00 to 2021-01-04 00:00:00");
    CFTimeInterval length = 0;
    EXPECT_TRUE(CFCalendarGetTimeRangeOfUnit(made, kCFCalendarUnitDay, time, nullptr, &length));
    EXPECT_EQ(length, 23 * 3600);
    EXPECT_FALSE(CFCalendarGetTimeRangeOfUnit(made, 5, time, nullptr, &length));
    // The days of Havana begin an hour late, at one o'clock, or twice, as clocks are changed at midnight.
    CFCalendarSetTimeZone(made, zone("America/Havana"));
    EXPECT_EQ(bounds(kCFCalendarUnitDay, at(made, 2024, 3, 10, 5)), "2024-03-10 01:00:00 to 2024-03-11 00:00:00");
    EXPECT_TRUE(CFCalendarGetTimeRangeOfUnit(made, kCFCalendarUnitDay, at(made, 2024, 11, 3, 5), nullptr, &length));
    EXPECT_EQ(length, 25 * 3600);
}

TEST(CFCalendar, KnowsWhereErasBeginAndEnd) {
    const auto japanese = calendar(kCFJapaneseCalendar, "Asia/Tokyo");
    const auto gregorian = calendar(kCFGregorianCalendar, "Asia/Tokyo");
    CFAbsoluteTime start = 0;
    CFTimeInterval length = 0;
    ASSERT_TRUE(CFCalendarGetTimeRangeOfUnit(japanese, kCFCalendarUnitEra, at(gregorian, 2000, 1, 1), &start, &length));
    EXPECT_EQ(text(gregorian, start), "1989-01-08 00:00:00");
    EXPECT_EQ(text(gregorian, start + length), "2019-05-01 00:00:00");
    ASSERT_TRUE(CFCalendarGetTimeRangeOfUnit(gregorian, kCFCalendarUnitEra, 0, &start, nullptr));
    EXPECT_EQ(text(gregorian, start), "1-01-01 00:00:00");
}

// ---- Failures

TEST(CFCalendar, IsNullWithoutMemory) {
    TestAllocator allocator;
    allocator.failAfter(0);
    EXPECT_EQ(CFCalendarCreateWithIdentifier(allocator, kCFGregorianCalendar), nullptr);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFCalendar, TakesNullArguments) {
    EXPECT_EQ(CFCalendarCreateWithIdentifier(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFCalendarCreateWithIdentifier(nullptr, reinterpret_cast<CFStringRef>(kCFBooleanTrue)), nullptr);
    NullArguments::take(CFCalendarCopyCurrent());
    EXPECT_NE(CFCalendarGetTypeID(), 0u);
    CFAbsoluteTime time = 5;
    int value = 7;
    for (const CFCalendarRef none :
         {CFCalendarRef(), reinterpret_cast<CFCalendarRef>(const_cast<__CFString*>(CFSTR("no calendar")))}) {
        EXPECT_EQ(CFCalendarGetIdentifier(none), nullptr);
        EXPECT_EQ(CFCalendarCopyLocale(none), nullptr);
        CFCalendarSetLocale(none, CFLocaleGetSystem());
        EXPECT_EQ(CFCalendarCopyTimeZone(none), nullptr);
        CFCalendarSetTimeZone(none, nullptr);
        EXPECT_EQ(CFCalendarGetFirstWeekday(none), 0);
        CFCalendarSetFirstWeekday(none, 1);
        EXPECT_EQ(CFCalendarGetMinimumDaysInFirstWeek(none), 0);
        CFCalendarSetMinimumDaysInFirstWeek(none, 1);
        EXPECT_EQ(CFCalendarGetMinimumRangeOfUnit(none, kCFCalendarUnitDay).location, kCFNotFound);
        EXPECT_EQ(CFCalendarGetMaximumRangeOfUnit(none, kCFCalendarUnitDay).location, kCFNotFound);
        EXPECT_EQ(CFCalendarGetRangeOfUnit(none, kCFCalendarUnitDay, kCFCalendarUnitYear, 0).location, kCFNotFound);
        EXPECT_EQ(CFCalendarGetOrdinalityOfUnit(none, kCFCalendarUnitDay, kCFCalendarUnitYear, 0), kCFNotFound);
        EXPECT_FALSE(CFCalendarGetTimeRangeOfUnit(none, kCFCalendarUnitDay, 0, &time, &time));
        EXPECT_FALSE(CFCalendarComposeAbsoluteTime(none, &time, "y", 2000));
        EXPECT_FALSE(CFCalendarDecomposeAbsoluteTime(none, 0, "y", &value));
        EXPECT_FALSE(CFCalendarAddComponents(none, &time, 0, "y", 1));
        EXPECT_FALSE(CFCalendarGetComponentDifference(none, 0, 5, 0, "s", &value));
    }
    const auto made = calendar();
    CFCalendarSetTimeZone(made, reinterpret_cast<CFTimeZoneRef>(CFSTR("no zone")));
    CFCalendarSetLocale(made, reinterpret_cast<CFLocaleRef>(CFSTR("no locale")));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, nullptr, "y", 2000));
    EXPECT_FALSE(CFCalendarComposeAbsoluteTime(made, &time, nullptr));
    EXPECT_FALSE(CFCalendarDecomposeAbsoluteTime(made, 0, nullptr));
    EXPECT_FALSE(CFCalendarAddComponents(made, nullptr, 0, "y", 1));
    EXPECT_FALSE(CFCalendarAddComponents(made, &time, 0, nullptr));
    EXPECT_FALSE(CFCalendarGetComponentDifference(made, 0, 5, 0, nullptr));
    EXPECT_TRUE(CFCalendarGetComponentDifference(made, 0, 5, 0, "s", nullptr));
    EXPECT_EQ(time, 5);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(utf8(CFTimeZoneGetName(hold(CFCalendarCopyTimeZone(made)))), "UTC");
}

TEST(CFCalendar, IsAskedByManyThreads) {
    const auto made = calendar(kCFGregorianCalendar, "Europe/Berlin");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int day = 1; day <= 28; ++day) {
                const CFAbsoluteTime time = at(made, 2000 + i, 2, day, 12);
                EXPECT_EQ(part(made, time, "d"), day);
                EXPECT_EQ(part(made, time, "y"), 2000 + i);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
