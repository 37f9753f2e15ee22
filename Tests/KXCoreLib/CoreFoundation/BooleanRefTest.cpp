#include <KXCoreLib/CoreFoundation/BooleanRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
BooleanRef KXCore::CoreFoundation::sample() {
    return BooleanRef::retain(kCFBooleanTrue);
}
INSTANTIATE_TYPED_TEST_SUITE_P(BooleanRef, TypedWrapper, BooleanRef);

FORWARDS(BooleanRef, getTypeID, CFBooleanGetTypeID);
FORWARDS(BooleanRef, getValue, CFBooleanGetValue);

TEST(BooleanRef, TellsItsTruth) {
    EXPECT_TRUE(BooleanRef::retain(kCFBooleanTrue).getValue());
    EXPECT_FALSE(BooleanRef::retain(kCFBooleanFalse).getValue());
}
