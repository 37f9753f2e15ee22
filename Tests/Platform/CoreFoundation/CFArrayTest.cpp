#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

namespace {

TEST(CFArray, KeepsItsValuesInOrder) {
    const void* values[] = {CFSTR("a"), CFSTR("b"), kCFBooleanTrue};
    const CFArrayRef array = CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks);
    ASSERT_EQ(CFArrayGetCount(array), 3);
    for (CFIndex i = 0; i < 3; ++i) EXPECT_EQ(CFArrayGetValueAtIndex(array, i), values[i]);
    CFRelease(array);
}

}  // namespace
