#include <KXCoreLib/CoreFoundation/NumberRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
NumberRef KXCore::CoreFoundation::sample() {
    const double value = 1234.5678;
    return NumberRef::create(kCFAllocatorDefault, kCFNumberDoubleType, &value);
}
INSTANTIATE_TYPED_TEST_SUITE_P(NumberRef, TypedWrapper, NumberRef);

FORWARDS(NumberRef, getTypeID, CFNumberGetTypeID);
FORWARDS(NumberRef, create, CFNumberCreate);
FORWARDS(NumberRef, getType, CFNumberGetType);
FORWARDS(NumberRef, getByteSize, CFNumberGetByteSize);
FORWARDS(NumberRef, isFloatType, CFNumberIsFloatType);
FORWARDS(NumberRef, getValue, CFNumberGetValue);
FORWARDS(NumberRef, compare, CFNumberCompare);

TEST(NumberRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFNumberCreate",
         [](CFAllocatorRef a) {
             const double value = 0.123;
             NumberRef::create(a, kCFNumberDoubleType, &value);
         }},
    });
}

TEST(NumberRef, TellsItsValueAndType) {
    const double value = 2.5;
    const NumberRef real = NumberRef::create(kCFAllocatorDefault, kCFNumberDoubleType, &value);
    EXPECT_TRUE(real.isFloatType());
    EXPECT_EQ(real.getByteSize(), 8);
    double got = 0;
    EXPECT_TRUE(real.getValue(kCFNumberDoubleType, &got));
    EXPECT_EQ(got, 2.5);
    int lossy = 0;
    EXPECT_FALSE(real.getValue(kCFNumberIntType, &lossy));
    EXPECT_FALSE(number(3).isFloatType());
    EXPECT_EQ(number(3).getType(), kCFNumberSInt32Type);
    EXPECT_EQ(real.compare(number(3).get(), nullptr), kCFCompareLessThan);
    EXPECT_EQ(number(3).compare(real.get(), nullptr), kCFCompareGreaterThan);
}
