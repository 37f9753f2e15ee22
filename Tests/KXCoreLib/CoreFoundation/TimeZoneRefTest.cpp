#include <KXCoreLib/CoreFoundation/TimeZoneRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace KXCore::CoreFoundation;

namespace {

constexpr CFAbsoluteTime kWinter = 726'692'800;  // 2024-01-11
constexpr CFAbsoluteTime kSpring = 733'539'600;  // 2024-03-31 01:00 UTC, when European clocks are turned on

TimeZoneRef berlin() { return TimeZoneRef::createWithName(kCFAllocatorDefault, CFSTR("Europe/Berlin"), false); }

}  // namespace

template <>
TimeZoneRef KXCore::CoreFoundation::sample() {
    return berlin();
}
INSTANTIATE_TYPED_TEST_SUITE_P(TimeZoneRef, TypedWrapper, TimeZoneRef);

FORWARDS(TimeZoneRef, getTypeID, CFTimeZoneGetTypeID);
FORWARDS(TimeZoneRef, copySystem, CFTimeZoneCopySystem);
FORWARDS(TimeZoneRef, resetSystem, CFTimeZoneResetSystem);
FORWARDS(TimeZoneRef, copyDefault, CFTimeZoneCopyDefault);
FORWARDS(TimeZoneRef, setDefault, CFTimeZoneSetDefault);
FORWARDS(TimeZoneRef, copyKnownNames, CFTimeZoneCopyKnownNames);
FORWARDS(TimeZoneRef, copyAbbreviationDictionary, CFTimeZoneCopyAbbreviationDictionary);
FORWARDS(TimeZoneRef, setAbbreviationDictionary, CFTimeZoneSetAbbreviationDictionary);
FORWARDS(TimeZoneRef, create, CFTimeZoneCreate);
FORWARDS(TimeZoneRef, createWithTimeIntervalFromGMT, CFTimeZoneCreateWithTimeIntervalFromGMT);
FORWARDS(TimeZoneRef, createWithName, CFTimeZoneCreateWithName);
FORWARDS(TimeZoneRef, getName, CFTimeZoneGetName);
FORWARDS(TimeZoneRef, getData, CFTimeZoneGetData);
FORWARDS(TimeZoneRef, getSecondsFromGMT, CFTimeZoneGetSecondsFromGMT);
FORWARDS(TimeZoneRef, copyAbbreviation, CFTimeZoneCopyAbbreviation);
FORWARDS(TimeZoneRef, isDaylightSavingTime, CFTimeZoneIsDaylightSavingTime);
FORWARDS(TimeZoneRef, getDaylightSavingTimeOffset, CFTimeZoneGetDaylightSavingTimeOffset);
FORWARDS(TimeZoneRef, getNextDaylightSavingTimeTransition, CFTimeZoneGetNextDaylightSavingTimeTransition);
FORWARDS(TimeZoneRef, copyLocalizedName, CFTimeZoneCopyLocalizedName);

TEST(TimeZoneRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFTimeZoneCreate",
         [](CFAllocatorRef allocator) { TimeZoneRef::create(allocator, CFSTR("A"), berlin().getData().get()); }},
        {"CFTimeZoneCreateWithTimeIntervalFromGMT",
         [](CFAllocatorRef allocator) { TimeZoneRef::createWithTimeIntervalFromGMT(allocator, 3600); }},
        {"CFTimeZoneCreateWithName",
         [](CFAllocatorRef allocator) { TimeZoneRef::createWithName(allocator, CFSTR("Europe/Berlin"), false); }},
    });
    expectFailsToCreate("CFTimeZoneCreate", [] { TimeZoneRef::create(nullptr, nullptr, nullptr); });
    expectFailsToCreate("CFTimeZoneCreateWithName",
                        [] { TimeZoneRef::createWithName(nullptr, CFSTR("../etc/passwd"), true); });
    expectFailsToCreate("CFTimeZoneCopyAbbreviation", [] { TimeZoneRef().copyAbbreviation(0); });
    expectFailsToCreate("CFTimeZoneCopyLocalizedName",
                        [] { TimeZoneRef().copyLocalizedName(kCFTimeZoneNameStyleGeneric, nullptr); });
}

TEST(TimeZoneRef, TellsTheTimeOfAPlace) {
    const TimeZoneRef zone = berlin();
    EXPECT_EQ(zone.getName().copyStdString(), "Europe/Berlin");
    EXPECT_EQ(std::memcmp(zone.getData().getBytePtr(), "TZif", 4), 0);
    EXPECT_EQ(zone.getSecondsFromGMT(kWinter), 3600);
    EXPECT_EQ(zone.copyAbbreviation(kWinter).copyStdString(), "CET");
    EXPECT_FALSE(zone.isDaylightSavingTime(kWinter));
    EXPECT_EQ(zone.getNextDaylightSavingTimeTransition(kWinter), kSpring);
    EXPECT_TRUE(zone.isDaylightSavingTime(kSpring));
    EXPECT_EQ(zone.getDaylightSavingTimeOffset(kSpring), 3600);
    EXPECT_NE(zone.copyLocalizedName(kCFTimeZoneNameStyleStandard, nullptr).copyStdString(), "");
    EXPECT_EQ(TimeZoneRef::createWithTimeIntervalFromGMT(nullptr, -7200).getName().copyStdString(), "GMT-0200");
    EXPECT_EQ(TimeZoneRef::createWithName(nullptr, CFSTR("PST"), true).getName().copyStdString(),
              "America/Los_Angeles");
    EXPECT_EQ(TimeZoneRef::create(nullptr, CFSTR("Mine"), zone.getData().get()).getName().copyStdString(), "Mine");
}

TEST(TimeZoneRef, IsTheProgramsAndTheComputers) {
    TimeZoneRef::resetSystem();
    EXPECT_EQ(TimeZoneRef::copyDefault(), TimeZoneRef::copySystem());
    const TimeZoneRef zone = berlin();
    zone.setDefault();
    EXPECT_EQ(TimeZoneRef::copyDefault(), zone);
    TimeZoneRef().setDefault();
    EXPECT_EQ(TimeZoneRef::copyDefault(), TimeZoneRef::copySystem());
    EXPECT_GT(TimeZoneRef::copyKnownNames().getCount(), 300);
}

TEST(TimeZoneRef, IsKnownByAbbreviations) {
    const DictionaryRef all = TimeZoneRef::copyAbbreviationDictionary();
    ASSERT_GT(all.getCount(), 40);
    const auto less = DictionaryRef::create(nullptr, nullptr, nullptr, 0);
    TimeZoneRef::setAbbreviationDictionary(less.get());
    EXPECT_EQ(TimeZoneRef::copyAbbreviationDictionary().getCount(), 0);
    TimeZoneRef::setAbbreviationDictionary(all.get());
}
