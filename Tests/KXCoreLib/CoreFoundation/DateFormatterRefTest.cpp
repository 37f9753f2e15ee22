#include <KXCoreLib/CoreFoundation/DateFormatterRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

namespace {

constexpr CFAbsoluteTime kLeapDay = 730'909'845;  // 2024-02-29 14:30:45 UTC

DateFormatterRef internetDateTime() {
    return DateFormatterRef::createISO8601Formatter(nullptr, kCFISO8601DateFormatWithInternetDateTime);
}

}  // namespace

template <>
DateFormatterRef KXCore::CoreFoundation::sample() {
    return internetDateTime();
}
INSTANTIATE_TYPED_TEST_SUITE_P(DateFormatterRef, TypedWrapper, DateFormatterRef);

FORWARDS(DateFormatterRef, getTypeID, CFDateFormatterGetTypeID);
FORWARDS(DateFormatterRef, create, CFDateFormatterCreate);
FORWARDS(DateFormatterRef, createISO8601Formatter, CFDateFormatterCreateISO8601Formatter);
FORWARDS(DateFormatterRef, createDateFormatFromTemplate, CFDateFormatterCreateDateFormatFromTemplate);
FORWARDS(DateFormatterRef, getLocale, CFDateFormatterGetLocale);
FORWARDS(DateFormatterRef, getDateStyle, CFDateFormatterGetDateStyle);
FORWARDS(DateFormatterRef, getTimeStyle, CFDateFormatterGetTimeStyle);
FORWARDS(DateFormatterRef, getFormat, CFDateFormatterGetFormat);
FORWARDS(DateFormatterRef, setFormat, CFDateFormatterSetFormat);
FORWARDS(DateFormatterRef, copyProperty, CFDateFormatterCopyProperty);
FORWARDS(DateFormatterRef, setProperty, CFDateFormatterSetProperty);
FORWARDS(DateFormatterRef, createStringWithDate, CFDateFormatterCreateStringWithDate);
FORWARDS(DateFormatterRef, createStringWithAbsoluteTime, CFDateFormatterCreateStringWithAbsoluteTime);
FORWARDS(DateFormatterRef, createDateFromString, CFDateFormatterCreateDateFromString);
FORWARDS(DateFormatterRef, getAbsoluteTimeFromString, CFDateFormatterGetAbsoluteTimeFromString);

TEST(DateFormatterRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFDateFormatterCreate",
         [](CFAllocatorRef a) {
             DateFormatterRef::create(a, nullptr, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle);
         }},
        {"CFDateFormatterCreateISO8601Formatter",
         [](CFAllocatorRef a) { DateFormatterRef::createISO8601Formatter(a, kCFISO8601DateFormatWithFullDate); }},
        {"CFDateFormatterCreateDateFormatFromTemplate",
         [](CFAllocatorRef a) { DateFormatterRef::createDateFormatFromTemplate(a, CFSTR("yMd"), 0, nullptr); }},
        {"CFDateFormatterCreateStringWithAbsoluteTime",
         [](CFAllocatorRef a) { DateFormatterRef::createStringWithAbsoluteTime(a, internetDateTime().get(), 0); }},
        {"CFDateFormatterCreateStringWithDate",
         [](CFAllocatorRef a) {
             DateFormatterRef::createStringWithDate(a, internetDateTime().get(), DateRef::create(nullptr, 0).get());
         }},
        {"CFDateFormatterCreateDateFromString",
         [](CFAllocatorRef a) {
             DateFormatterRef::createDateFromString(a, internetDateTime().get(), CFSTR("2024-02-29T14:30:45Z"),
                                                    nullptr);
         }},
    });
    expectFailsToCreate("CFDateFormatterCreateDateFromString", [] {
        DateFormatterRef::createDateFromString(nullptr, internetDateTime().get(), CFSTR("no date"), nullptr);
    });
    expectFailsToCreate("CFDateFormatterCopyProperty", [] { internetDateTime().copyProperty(CFSTR("no key")); });
}

TEST(DateFormatterRef, KnowsWhatItWasMadeOf) {
    const DateFormatterRef formatter = DateFormatterRef::create(
        nullptr, LocaleRef::create(nullptr, CFSTR("de_DE")).get(), kCFDateFormatterShortStyle, kCFDateFormatterNoStyle);
    EXPECT_EQ(formatter.getLocale().getIdentifier().copyStdString(), "de_DE");
    EXPECT_EQ(formatter.getDateStyle(), kCFDateFormatterShortStyle);
    EXPECT_EQ(formatter.getTimeStyle(), kCFDateFormatterNoStyle);
    EXPECT_EQ(formatter.getFormat().copyStdString(), "dd.MM.yy");
    formatter.setFormat(CFSTR("yyyy"));
    EXPECT_EQ(formatter.getFormat().copyStdString(), "yyyy");
    EXPECT_EQ(formatter.copyProperty(kCFDateFormatterIsLenient).get(), kCFBooleanFalse);
    formatter.setProperty(kCFDateFormatterIsLenient, kCFBooleanTrue);
    EXPECT_EQ(formatter.copyProperty(kCFDateFormatterIsLenient).get(), kCFBooleanTrue);
}

TEST(DateFormatterRef, PrintsAndReads) {
    const DateFormatterRef formatter = internetDateTime();
    const DateRef date = DateRef::create(nullptr, kLeapDay);
    EXPECT_EQ(DateFormatterRef::createStringWithDate(nullptr, formatter.get(), date.get()).copyStdString(),
              "2024-02-29T14:30:45Z");
    EXPECT_EQ(DateFormatterRef::createStringWithAbsoluteTime(nullptr, formatter.get(), kLeapDay + 1).copyStdString(),
              "2024-02-29T14:30:46Z");
    CFRange range{3, 30};
    EXPECT_EQ(DateFormatterRef::createDateFromString(nullptr, formatter.get(),
                                                     CFSTR("at 2024-02-29T14:30:45Z, or later"), &range)
                  .getAbsoluteTime(),
              kLeapDay);
    EXPECT_TRUE(isRange(range, 3, 20));
    CFAbsoluteTime at = 0;
    EXPECT_TRUE(formatter.getAbsoluteTimeFromString(CFSTR("2024-02-29T14:30:46Z"), nullptr, &at));
    EXPECT_EQ(at, kLeapDay + 1);
    EXPECT_EQ(DateFormatterRef::createDateFormatFromTemplate(nullptr, CFSTR("yMMMd"), 0,
                                                             LocaleRef::create(nullptr, CFSTR("de_DE")).get())
                  .copyStdString(),
              "d. MMM y");
}
