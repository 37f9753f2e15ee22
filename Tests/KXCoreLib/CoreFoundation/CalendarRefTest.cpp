#include <KXCoreLib/CoreFoundation/CalendarRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <concepts>

using namespace KXCore::CoreFoundation;

namespace {

CalendarRef gregorian() {
    CalendarRef made = CalendarRef::createWithIdentifier(kCFAllocatorDefault, kCFGregorianCalendar);
    made.setTimeZone(TimeZoneRef::createWithName(nullptr, CFSTR("UTC"), false).get());
    return made;
}

constexpr CFAbsoluteTime kLeapDay = 730'857'600;  // 2024-02-29 00:00 UTC

}  // namespace

template <>
CalendarRef KXCore::CoreFoundation::sample() {
    return gregorian();
}
INSTANTIATE_TYPED_TEST_SUITE_P(CalendarRef, TypedWrapper, CalendarRef);

FORWARDS(CalendarRef, getTypeID, CFCalendarGetTypeID);
FORWARDS(CalendarRef, copyCurrent, CFCalendarCopyCurrent);
FORWARDS(CalendarRef, createWithIdentifier, CFCalendarCreateWithIdentifier);
FORWARDS(CalendarRef, getIdentifier, CFCalendarGetIdentifier);
FORWARDS(CalendarRef, copyLocale, CFCalendarCopyLocale);
FORWARDS(CalendarRef, setLocale, CFCalendarSetLocale);
FORWARDS(CalendarRef, copyTimeZone, CFCalendarCopyTimeZone);
FORWARDS(CalendarRef, setTimeZone, CFCalendarSetTimeZone);
FORWARDS(CalendarRef, getFirstWeekday, CFCalendarGetFirstWeekday);
FORWARDS(CalendarRef, setFirstWeekday, CFCalendarSetFirstWeekday);
FORWARDS(CalendarRef, getMinimumDaysInFirstWeek, CFCalendarGetMinimumDaysInFirstWeek);
FORWARDS(CalendarRef, setMinimumDaysInFirstWeek, CFCalendarSetMinimumDaysInFirstWeek);
FORWARDS(CalendarRef, getMinimumRangeOfUnit, CFCalendarGetMinimumRangeOfUnit);
FORWARDS(CalendarRef, getMaximumRangeOfUnit, CFCalendarGetMaximumRangeOfUnit);
FORWARDS(CalendarRef, getRangeOfUnit, CFCalendarGetRangeOfUnit);
FORWARDS(CalendarRef, getOrdinalityOfUnit, CFCalendarGetOrdinalityOfUnit);
FORWARDS(CalendarRef, getTimeRangeOfUnit, CFCalendarGetTimeRangeOfUnit);
OFFERS(
    CFCalendarComposeAbsoluteTime, requires(const CalendarRef& calendar, CFAbsoluteTime* at) {
        { calendar.composeAbsoluteTime(at, "yM", 2024, 1) } -> std::same_as<Boolean>;
    });
OFFERS(
    CFCalendarDecomposeAbsoluteTime, requires(const CalendarRef& calendar, CFAbsoluteTime at, int* place) {
        { calendar.decomposeAbsoluteTime(at, "yM", place, place) } -> std::same_as<Boolean>;
    });
OFFERS(
    CFCalendarAddComponents, requires(const CalendarRef& calendar, CFAbsoluteTime* at) {
        { calendar.addComponents(at, CFOptionFlags(), "yM", 2024, 1) } -> std::same_as<Boolean>;
    });
OFFERS(
    CFCalendarGetComponentDifference, requires(const CalendarRef& calendar, CFAbsoluteTime at, int* place) {
        { calendar.getComponentDifference(at, at, CFOptionFlags(), "yM", place, place) } -> std::same_as<Boolean>;
    });

// An amount of another type would be read as something else.
template <class Amount>
concept IsAmount = requires(const CalendarRef& calendar, CFAbsoluteTime* at, Amount amount) {
    calendar.composeAbsoluteTime(at, "y", amount);
};
static_assert(IsAmount<int> && !IsAmount<long> && !IsAmount<double> && !IsAmount<int*>);

TEST(CalendarRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({{"CFCalendarCreateWithIdentifier", [](CFAllocatorRef allocator) {
                                      CalendarRef::createWithIdentifier(allocator, kCFGregorianCalendar);
                                  }}});
    expectFailsToCreate("CFCalendarCreateWithIdentifier",
                        [] { CalendarRef::createWithIdentifier(nullptr, CFSTR("martian")); });
    expectFailsToCreate("CFCalendarCopyLocale", [] { CalendarRef().copyLocale(); });
    expectFailsToCreate("CFCalendarCopyTimeZone", [] { CalendarRef().copyTimeZone(); });
}

TEST(CalendarRef, GoesByWhatItIsGiven) {
    const CalendarRef calendar = gregorian();
    EXPECT_EQ(calendar.getIdentifier().copyStdString(), "gregorian");
    EXPECT_EQ(calendar.copyTimeZone().getName().copyStdString(), "UTC");
    calendar.setLocale(LocaleRef::create(nullptr, CFSTR("de_DE")).get());
    EXPECT_EQ(calendar.copyLocale().getIdentifier().copyStdString(), "de_DE");
    EXPECT_EQ(calendar.getFirstWeekday(), 2);
    EXPECT_EQ(calendar.getMinimumDaysInFirstWeek(), 4);
    calendar.setFirstWeekday(5);
    calendar.setMinimumDaysInFirstWeek(6);
    EXPECT_EQ(calendar.getFirstWeekday(), 5);
    EXPECT_EQ(calendar.getMinimumDaysInFirstWeek(), 6);
    EXPECT_TRUE(CalendarRef::copyCurrent());
}

TEST(CalendarRef, KnowsItsUnits) {
    const CalendarRef calendar = gregorian();
    EXPECT_TRUE(isRange(calendar.getMinimumRangeOfUnit(kCFCalendarUnitDay), 1, 28));
    EXPECT_TRUE(isRange(calendar.getMaximumRangeOfUnit(kCFCalendarUnitDay), 1, 31));
    EXPECT_TRUE(isRange(calendar.getRangeOfUnit(kCFCalendarUnitDay, kCFCalendarUnitMonth, kLeapDay), 1, 29));
    EXPECT_EQ(calendar.getOrdinalityOfUnit(kCFCalendarUnitDay, kCFCalendarUnitYear, kLeapDay), 60);
    CFAbsoluteTime start = 0;
    CFTimeInterval length = 0;
    EXPECT_TRUE(calendar.getTimeRangeOfUnit(kCFCalendarUnitDay, kLeapDay + 5, &start, &length));
    EXPECT_EQ(start, kLeapDay);
    EXPECT_EQ(length, 86400);
}

TEST(CalendarRef, CountsInComponents) {
    const CalendarRef calendar = gregorian();
    CFAbsoluteTime at = 0;
    ASSERT_TRUE(calendar.composeAbsoluteTime(&at, "yMd", 2024, 2, 29));
    EXPECT_EQ(at, kLeapDay);
    int year = 0, day = 0;
    EXPECT_TRUE(calendar.decomposeAbsoluteTime(at, "yd", &year, &day));
    EXPECT_EQ(year, 2024);
    EXPECT_EQ(day, 29);
    EXPECT_TRUE(calendar.addComponents(&at, 0, "d", 1));
    EXPECT_EQ(at, kLeapDay + 86400);
    EXPECT_TRUE(calendar.getComponentDifference(kLeapDay, at, 0, "d", &day));
    EXPECT_EQ(day, 1);
}
