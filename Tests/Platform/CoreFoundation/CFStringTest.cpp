#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <string>

TEST(CFString, KeepsASCIITextInEightBits) {
    const CFStringRef string = CFStringCreateWithCString(nullptr, "hello", kCFStringEncodingUTF8);
    EXPECT_EQ(CFStringGetLength(string), 5);
    EXPECT_STREQ(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), "hello");
    EXPECT_STREQ(CFStringGetCStringPtr(string, kCFStringEncodingMacRoman), "hello");
    EXPECT_EQ(CFStringGetCharactersPtr(string), nullptr);
    CFRelease(string);
}

TEST(CFString, KeepsOtherTextInUTF16) {
    const CFStringRef string = CFStringCreateWithCString(nullptr, "h\xC3\xA9\xF0\x9F\x98\x80", kCFStringEncodingUTF8);
    EXPECT_EQ(CFStringGetLength(string), 4);
    EXPECT_EQ(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), nullptr);
    const UniChar* const units = CFStringGetCharactersPtr(string);
    ASSERT_NE(units, nullptr);
    EXPECT_EQ(std::u16string(units, units + 4), u"h\u00E9\U0001F600");
    char text[16];
    EXPECT_TRUE(CFStringGetCString(string, text, sizeof text, kCFStringEncodingUTF8));
    EXPECT_STREQ(text, "h\xC3\xA9\xF0\x9F\x98\x80");
    CFRelease(string);
}

TEST(CFString, EqualsAndHashesByTextAlone) {
    const CFStringRef constant = CFSTR("text");
    const CFMutableStringRef string = CFStringCreateMutable(nullptr, 0);
    const UniChar eAcute = 0xE9;
    CFStringAppendCharacters(string, &eAcute, 1);
    CFStringAppendCString(string, "text", kCFStringEncodingASCII);
    EXPECT_FALSE(CFEqual(string, constant));
    CFStringDelete(string, CFRangeMake(0, 1));
    EXPECT_TRUE(CFEqual(string, constant));
    EXPECT_TRUE(CFEqual(constant, string));
    EXPECT_EQ(CFHash(string), CFHash(constant));
    CFRelease(string);
}
