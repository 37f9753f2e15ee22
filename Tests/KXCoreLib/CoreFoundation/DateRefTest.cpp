#include <KXCoreLib/CoreFoundation/DateRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
DateRef KXCore::CoreFoundation::sample() {
    return DateRef::create(kCFAllocatorDefault, 1000.25);
}
INSTANTIATE_TYPED_TEST_SUITE_P(DateRef, TypedWrapper, DateRef);

FORWARDS(DateRef, absoluteTimeGetCurrent, CFAbsoluteTimeGetCurrent);
FORWARDS(DateRef, getTypeID, CFDateGetTypeID);
FORWARDS(DateRef, create, CFDateCreate);
FORWARDS(DateRef, getAbsoluteTime, CFDateGetAbsoluteTime);
FORWARDS(DateRef, getTimeIntervalSinceDate, CFDateGetTimeIntervalSinceDate);
FORWARDS(DateRef, compare, CFDateCompare);
FORWARDS(DateRef, gregorianDateIsValid, CFGregorianDateIsValid);
FORWARDS(DateRef, gregorianDateGetAbsoluteTime, CFGregorianDateGetAbsoluteTime);
FORWARDS(DateRef, absoluteTimeGetGregorianDate, CFAbsoluteTimeGetGregorianDate);
FORWARDS(DateRef, absoluteTimeAddGregorianUnits, CFAbsoluteTimeAddGregorianUnits);
FORWARDS(DateRef, absoluteTimeGetDifferenceAsGregorianUnits, CFAbsoluteTimeGetDifferenceAsGregorianUnits);
FORWARDS(DateRef, absoluteTimeGetDayOfWeek, CFAbsoluteTimeGetDayOfWeek);
FORWARDS(DateRef, absoluteTimeGetDayOfYear, CFAbsoluteTimeGetDayOfYear);
FORWARDS(DateRef, absoluteTimeGetWeekOfYear, CFAbsoluteTimeGetWeekOfYear);

TEST(DateRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFDateCreate", [](CFAllocatorRef a) { DateRef::create(a, 0); }},
    });
}

TEST(DateRef, TellsItsTime) {
    const DateRef early = DateRef::create(kCFAllocatorDefault, 100.5);
    const DateRef late = DateRef::create(kCFAllocatorDefault, 200.0);
    EXPECT_EQ(early.getAbsoluteTime(), 100.5);
    EXPECT_EQ(late.getTimeIntervalSinceDate(early.get()), 99.5);
    EXPECT_EQ(early.compare(late.get(), nullptr), kCFCompareLessThan);
    EXPECT_GT(DateRef::absoluteTimeGetCurrent(), 700000000.0) << "the clock stands before 2023";
}

TEST(DateRef, CountsTheCalendar) {
    // 2001-01-01 was a Monday.
    const CFGregorianDate date{2001, 1, 31, 12, 30, 0};
    EXPECT_TRUE(DateRef::gregorianDateIsValid(date, kCFGregorianAllUnits));
    EXPECT_FALSE(DateRef::gregorianDateIsValid({2001, 2, 31, 0, 0, 0}, kCFGregorianAllUnits));
    const CFAbsoluteTime at = DateRef::gregorianDateGetAbsoluteTime(date, nullptr);
    EXPECT_EQ(at, 30 * 86400.0 + 12.5 * 3600);
    const CFGregorianDate back = DateRef::absoluteTimeGetGregorianDate(at, nullptr);
    EXPECT_EQ(back.day, 31);
    EXPECT_EQ(back.hour, 12);
    EXPECT_EQ(back.minute, 30);
    const CFAbsoluteTime later = DateRef::absoluteTimeAddGregorianUnits(at, nullptr, {0, 0, 2, 0, 0, 0});
    EXPECT_EQ(later, at + 2 * 86400);
    EXPECT_EQ(DateRef::absoluteTimeGetDifferenceAsGregorianUnits(later, at, nullptr, kCFGregorianUnitsDays).days, 2);
    EXPECT_EQ(DateRef::absoluteTimeGetDayOfWeek(0, nullptr), 1);
    EXPECT_EQ(DateRef::absoluteTimeGetDayOfYear(at, nullptr), 31);
    EXPECT_EQ(DateRef::absoluteTimeGetWeekOfYear(0, nullptr), 1);
}
