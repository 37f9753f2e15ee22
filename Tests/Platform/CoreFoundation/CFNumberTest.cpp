#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

CFNumberRef makeInt(std::int64_t value) { return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value); }
CFNumberRef makeReal(double value) { return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value); }

TEST(CFNumber, IsEqualAndHashesAlikeAcrossItsTypes) {
    const CFNumberRef whole = makeInt(1000);
    const CFNumberRef real = makeReal(1000.0);
    EXPECT_TRUE(CFEqual(whole, real));
    EXPECT_EQ(CFHash(whole), CFHash(real));
    CFRelease(real);
    CFRelease(whole);
}

}  // namespace
