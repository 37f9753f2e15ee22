#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

namespace {

TEST(CFDictionary, FindsWhatWasAddedAndNotWhatWasRemoved) {
    const CFMutableDictionaryRef dictionary =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (int i = 0; i < 1000; ++i) {
        const CFNumberRef number = CFNumberCreate(nullptr, kCFNumberIntType, &i);
        CFDictionarySetValue(dictionary, number, number);
        CFRelease(number);
    }
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1000);
    for (int i = 0; i < 1000; ++i) {
        const CFNumberRef number = CFNumberCreate(nullptr, kCFNumberIntType, &i);
        EXPECT_TRUE(CFEqual(CFDictionaryGetValue(dictionary, number), number));
        if (i % 2) CFDictionaryRemoveValue(dictionary, number);
        EXPECT_EQ(CFDictionaryContainsKey(dictionary, number), i % 2 == 0);
        CFRelease(number);
    }
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 500);
    CFRelease(dictionary);
}

}  // namespace
