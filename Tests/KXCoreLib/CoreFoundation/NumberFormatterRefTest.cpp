#include <KXCoreLib/CoreFoundation/NumberFormatterRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
NumberFormatterRef KXCore::CoreFoundation::sample() {
    const LocaleRef german = LocaleRef::create(nullptr, CFSTR("de_DE"));
    return NumberFormatterRef::create(kCFAllocatorDefault, german.get(), kCFNumberFormatterDecimalStyle);
}
INSTANTIATE_TYPED_TEST_SUITE_P(NumberFormatterRef, TypedWrapper, NumberFormatterRef);

FORWARDS(NumberFormatterRef, getTypeID, CFNumberFormatterGetTypeID);
FORWARDS(NumberFormatterRef, create, CFNumberFormatterCreate);
FORWARDS(NumberFormatterRef, createStringWithNumber, CFNumberFormatterCreateStringWithNumber);
FORWARDS(NumberFormatterRef, createStringWithValue, CFNumberFormatterCreateStringWithValue);
FORWARDS(NumberFormatterRef, createNumberFromString, CFNumberFormatterCreateNumberFromString);
FORWARDS(NumberFormatterRef, getDecimalInfoForCurrencyCode, CFNumberFormatterGetDecimalInfoForCurrencyCode);
FORWARDS(NumberFormatterRef, getLocale, CFNumberFormatterGetLocale);
FORWARDS(NumberFormatterRef, getStyle, CFNumberFormatterGetStyle);
FORWARDS(NumberFormatterRef, getFormat, CFNumberFormatterGetFormat);
FORWARDS(NumberFormatterRef, setFormat, CFNumberFormatterSetFormat);
FORWARDS(NumberFormatterRef, getValueFromString, CFNumberFormatterGetValueFromString);
FORWARDS(NumberFormatterRef, setProperty, CFNumberFormatterSetProperty);
FORWARDS(NumberFormatterRef, copyProperty, CFNumberFormatterCopyProperty);

TEST(NumberFormatterRef, ReportsWhatItFailsToCreate) {
    static const NumberFormatterRef formatter = sample<NumberFormatterRef>();
    static const double value = 1.5;
    expectFailuresWithoutMemory({
        {"CFNumberFormatterCreate",
         [](CFAllocatorRef a) { NumberFormatterRef::create(a, nullptr, kCFNumberFormatterDecimalStyle); }},
        {"CFNumberFormatterCreateStringWithNumber",
         [](CFAllocatorRef a) { NumberFormatterRef::createStringWithNumber(a, formatter.get(), number(5).get()); }},
        {"CFNumberFormatterCreateStringWithValue",
         [](CFAllocatorRef a) {
             NumberFormatterRef::createStringWithValue(a, formatter.get(), kCFNumberDoubleType, &value);
         }},
        {"CFNumberFormatterCreateNumberFromString",
         [](CFAllocatorRef a) {
             NumberFormatterRef::createNumberFromString(a, formatter.get(), CFSTR("1,5"), nullptr, 0);
         }},
    });
    expectFailsToCreate("CFNumberFormatterCreateNumberFromString", [] {
        NumberFormatterRef::createNumberFromString(nullptr, formatter.get(), CFSTR("none"), nullptr, 0);
    });
    expectFailsToCreate("CFNumberFormatterCopyProperty", [] { formatter.copyProperty(CFSTR("none")); });
}

TEST(NumberFormatterRef, WritesAndReadsNumbers) {
    const NumberFormatterRef formatter = sample<NumberFormatterRef>();
    EXPECT_EQ(formatter.getLocale().getIdentifier().copyStdString(), "de_DE");
    EXPECT_EQ(formatter.getStyle(), kCFNumberFormatterDecimalStyle);
    const auto written = NumberFormatterRef::createStringWithNumber(nullptr, formatter.get(), number(12345).get());
    EXPECT_EQ(written.copyStdString(), "12.345");
    const double value = 0.5;
    const auto real = NumberFormatterRef::createStringWithValue(nullptr, formatter.get(), kCFNumberDoubleType, &value);
    EXPECT_EQ(real.copyStdString(), "0,5");
    CFRange range{0, 5};
    const auto read = NumberFormatterRef::createNumberFromString(nullptr, formatter.get(), CFSTR("1.234"), &range, 0);
    EXPECT_EQ(intValue(read.get()), 1234);
    int integer = 0;
    EXPECT_TRUE(formatter.getValueFromString(CFSTR("12"), nullptr, kCFNumberIntType, &integer));
    EXPECT_EQ(integer, 12);
}

TEST(NumberFormatterRef, HasAFormatAndProperties) {
    const NumberFormatterRef formatter = sample<NumberFormatterRef>();
    formatter.setFormat(CFSTR("0.00"));
    EXPECT_EQ(formatter.getFormat().copyStdString(), "0.00");
    formatter.setProperty(kCFNumberFormatterMinFractionDigits, number(1).get());
    EXPECT_EQ(intValue(formatter.copyProperty(kCFNumberFormatterMinFractionDigits).get()), 1);
    int32_t digits = 0;
    EXPECT_TRUE(NumberFormatterRef::getDecimalInfoForCurrencyCode(CFSTR("KWD"), &digits, nullptr));
    EXPECT_EQ(digits, 3);
}
