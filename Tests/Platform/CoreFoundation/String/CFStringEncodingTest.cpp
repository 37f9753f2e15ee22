#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/TestAllocator.h"

#include <CoreFoundation/CFStringEncodingExt.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace {

using Held::hold;
using Held::string;
using Held::text;

using Bytes = std::vector<UInt8>;

constexpr bool kHostIsLittle = std::endian::native == std::endian::little;

Held::Holder<CFStringRef> decode(const Bytes& bytes, CFStringEncoding encoding, bool isExternal = false) {
    return hold(
        CFStringCreateWithBytes(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()), encoding, isExternal));
}

struct Encoded {
    CFIndex units;
    Bytes bytes;

    bool operator==(const Encoded&) const = default;
};

/// What CFStringGetBytes gives for the whole text into `capacity` bytes.
Encoded encode(CFStringRef s, CFStringEncoding encoding, UInt8 lossByte = 0, bool isExternal = false,
               CFIndex capacity = 1000) {
    constexpr std::size_t kGuard = 16;
    Bytes bytes(static_cast<std::size_t>(capacity) + kGuard, 0xEE);
    CFIndex used = -1;
    const CFIndex units = CFStringGetBytes(s, CFRangeMake(0, CFStringGetLength(s)), encoding, lossByte, isExternal,
                                           bytes.data(), capacity, &used);
    EXPECT_LE(used, capacity);
    for (auto i = static_cast<std::size_t>(capacity); i < bytes.size(); ++i) EXPECT_EQ(bytes[i], 0xEE);
    bytes.resize(static_cast<std::size_t>(used));
    return {units, bytes};
}

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

Bytes inHostOrder(const Bytes& bigEndian, std::size_t width) {
    Bytes bytes = bigEndian;
    if (kHostIsLittle) {
        for (auto at = bytes.begin(); at != bytes.end(); at += static_cast<std::ptrdiff_t>(width))
            std::reverse(at, at + static_cast<std::ptrdiff_t>(width));
    }
    return bytes;
}

constexpr UInt32 kEveryDay[] = {kCFStringEncodingUTF8,    kCFStringEncodingUTF16,        kCFStringEncodingUTF16BE,
                                kCFStringEncodingUTF16LE, kCFStringEncodingUTF32,        kCFStringEncodingUTF32BE,
                                kCFStringEncodingUTF32LE, kCFStringEncodingNonLossyASCII};

}  // namespace

// ---- Of ASCII and Latin 1

TEST(CFStringEncoding, ASCIITakesHighBytesAsTheSameCodePoints) {
    EXPECT_EQ(text(decode({'a', 0x80, 0xE9, 0xFF}, kCFStringEncodingASCII)), u"a\u0080\u00E9\u00FF");
}

TEST(CFStringEncoding, ASCIIWritesNothingFrom80Up) {
    EXPECT_EQ(encode(string(u"a\u0080"), kCFStringEncodingASCII), (Encoded{1, {'a'}}));
}

TEST(CFStringEncoding, Latin1IsTheFirst256CodePoints) {
    Bytes all(256);
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<UInt8>(i);
    const auto s = decode(all, kCFStringEncodingISOLatin1);
    for (CFIndex i = 0; i < 256; ++i) EXPECT_EQ(CFStringGetCharacterAtIndex(s, i), i);
    EXPECT_EQ(encode(s, kCFStringEncodingISOLatin1), (Encoded{256, all}));
    EXPECT_EQ(encode(string(u"\u0100"), kCFStringEncodingISOLatin1).units, 0);
}

// ---- UTF-8

TEST(CFStringEncoding, UTF8ReadsTheFirstAndLastCharacterOfEachLength) {
    const std::u16string_view units = u"\u0001\u007F\u0080\u07FF\u0800\uD7FF\uE000\uFFFF\U00010000\U0010FFFF";
    const std::string_view bytes =
        "\x01\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
    EXPECT_EQ(text(decode(bytesOf(bytes), kCFStringEncodingUTF8)), units);
    EXPECT_EQ(encode(string(units), kCFStringEncodingUTF8),
              (Encoded{static_cast<CFIndex>(units.size()), bytesOf(bytes)}));
}

TEST(CFStringEncoding, RefusesWhatIsNotUTF8) {
    for (const char* const bad :
         {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x41", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xE1\x80",
          "\xE1\x80\x41", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x80\x80\x80", "\xF0\x8F\xBF\xBF", "\xF0\x90\x80",
          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF"}) {
        for (const std::size_t before : {0u, 1u, 7u, 8u, 20u}) {
            const std::string bytes = std::string(before, 'a') + bad;
            EXPECT_EQ(decode(bytesOf(bytes), kCFStringEncodingUTF8).get(), nullptr) << bytes;
            EXPECT_EQ(decode(bytesOf(bytes + "tail of ASCII"), kCFStringEncodingUTF8).get(), nullptr) << bytes;
        }
    }
}

TEST(CFStringEncoding, UTF8DropsOneLeadingMark) {
    for (const bool isExternal : {false, true}) {
        EXPECT_EQ(text(decode(bytesOf("\xEF\xBB\xBF"
                                      "a"),
                              kCFStringEncodingUTF8, isExternal)),
                  u"a");
        EXPECT_EQ(text(decode(bytesOf("\xEF\xBB\xBF\xEF\xBB\xBF"
                                      "a"),
                              kCFStringEncodingUTF8, isExternal)),
                  u"\uFEFFa");
        EXPECT_EQ(text(decode(bytesOf("a\xEF\xBB\xBF"), kCFStringEncodingUTF8, isExternal)), u"a\uFEFF");
    }
}

TEST(CFStringEncoding, UTF8WritesNoMark) {
    EXPECT_EQ(encode(CFSTR("a"), kCFStringEncodingUTF8, 0, true), (Encoded{1, {'a'}}));
}

TEST(CFStringEncoding, UTF8LacksLoneSurrogates) {
    const UniChar units[] = {'a', 0xD800, 'b', 0xDC00, 0xD83D};
    const auto s = hold(CFStringCreateWithCharacters(nullptr, units, 5));
    EXPECT_EQ(encode(s, kCFStringEncodingUTF8), (Encoded{1, {'a'}}));
    EXPECT_EQ(encode(s, kCFStringEncodingUTF8, '?'), (Encoded{1, {'a'}})) << "no byte stands for half a pair";
}

TEST(CFStringEncoding, UTF8OfLongMixedTextComesBack) {
    std::u16string units;
    for (char32_t character = 1; character < 0x3000; character += 7) {
        units.append(static_cast<std::size_t>(character % 19), u'x');
        units.push_back(static_cast<char16_t>(character));
    }
    const auto s = string(units);
    CFIndex size = 0;
    EXPECT_EQ(
        CFStringGetBytes(s, CFRangeMake(0, CFStringGetLength(s)), kCFStringEncodingUTF8, 0, false, nullptr, 0, &size),
        CFStringGetLength(s));
    const Encoded encoded = encode(s, kCFStringEncodingUTF8, 0, false, size);
    EXPECT_EQ(encoded.units, CFStringGetLength(s));
    EXPECT_TRUE(CFEqual(decode(encoded.bytes, kCFStringEncodingUTF8), s));
}

// ---- UTF-16 and UTF-32

TEST(CFStringEncoding, UTF16OfFixedOrderIsReadAndWrittenInIt) {
    const auto s = string(u"\u0161\U0001F600");
    const Bytes big = {0x01, 0x61, 0xD8, 0x3D, 0xDE, 0x00};
    const Bytes little = {0x61, 0x01, 0x3D, 0xD8, 0x00, 0xDE};
    EXPECT_EQ(encode(s, kCFStringEncodingUTF16BE, 0, true), (Encoded{3, big}));
    EXPECT_EQ(encode(s, kCFStringEncodingUTF16LE, 0, true), (Encoded{3, little}));
    EXPECT_TRUE(CFEqual(decode(big, kCFStringEncodingUTF16BE), s));
    EXPECT_TRUE(CFEqual(decode(little, kCFStringEncodingUTF16LE), s));
}

TEST(CFStringEncoding, UTF32OfFixedOrderIsReadAndWrittenInIt) {
    const auto s = string(u"\u0161\U0001F600");
    const Bytes big = {0, 0, 0x01, 0x61, 0, 0x01, 0xF6, 0x00};
    const Bytes little = {0x61, 0x01, 0, 0, 0x00, 0xF6, 0x01, 0};
    EXPECT_EQ(encode(s, kCFStringEncodingUTF32BE, 0, true), (Encoded{3, big}));
    EXPECT_EQ(encode(s, kCFStringEncodingUTF32LE, 0, true), (Encoded{3, little}));
    EXPECT_TRUE(CFEqual(decode(big, kCFStringEncodingUTF32BE), s));
    EXPECT_TRUE(CFEqual(decode(little, kCFStringEncodingUTF32LE), s));
}

TEST(CFStringEncoding, UnmarkedUTF16IsInHostOrderAndKeepsItsMark) {
    EXPECT_EQ(text(decode(inHostOrder({0xFE, 0xFF, 0, 'a'}, 2), kCFStringEncodingUTF16)), u"\uFEFFa");
    EXPECT_EQ(text(decode(inHostOrder({0xFF, 0xFE, 'a', 0}, 2), kCFStringEncodingUTF16)), u"\uFFFE\u6100");
    EXPECT_EQ(encode(CFSTR("a"), kCFStringEncodingUTF16), (Encoded{1, inHostOrder({0, 'a'}, 2)}));
    EXPECT_EQ(encode(CFSTR("a"), kCFStringEncodingUTF32), (Encoded{1, inHostOrder({0, 0, 0, 'a'}, 4)}));
}

TEST(CFStringEncoding, UTF32IsReadAlikeWhetherMarkedExternalOrNot) {
    for (const bool isExternal : {false, true}) {
        const auto read = [isExternal](const Bytes& bytes) {
            return text(decode(bytes, kCFStringEncodingUTF32, isExternal));
        };
        EXPECT_EQ(read({0, 0, 0x01, 0x61}), u"\u0161") << "without a mark it is big-endian";
        EXPECT_EQ(read({0, 0, 0xFE, 0xFF, 0, 0, 0x01, 0x61}), u"\u0161");
        EXPECT_EQ(read({0xFF, 0xFE, 0, 0, 0x61, 0x01, 0, 0}), u"\u0161");
        EXPECT_EQ(read({0xFF, 0xFE, 0, 0}), u"");
        EXPECT_EQ(read({0xFF, 0xFE, 0, 0, 0xFF, 0xFE, 0, 0}), u"\uFEFF") << "one mark only";
        EXPECT_EQ(decode({0x61, 0x01, 0, 0}, kCFStringEncodingUTF32, isExternal).get(), nullptr) << "above 10FFFF";
    }
}

TEST(CFStringEncoding, AnExternalMarkTellsTheOrder) {
    EXPECT_EQ(text(decode({0xFE, 0xFF, 0x01, 0x61}, kCFStringEncodingUTF16, true)), u"\u0161");
    EXPECT_EQ(text(decode({0xFF, 0xFE, 0x61, 0x01}, kCFStringEncodingUTF16, true)), u"\u0161");
    EXPECT_EQ(text(decode({0, 0, 0xFE, 0xFF, 0, 0, 0x01, 0x61}, kCFStringEncodingUTF32, true)), u"\u0161");
    EXPECT_EQ(text(decode({0xFF, 0xFE, 0, 0, 0x61, 0x01, 0, 0}, kCFStringEncodingUTF32, true)), u"\u0161");
}

TEST(CFStringEncoding, ExternalTextWithoutAMarkIsBigEndian) {
    EXPECT_EQ(text(decode({0x01, 0x61}, kCFStringEncodingUTF16, true)), u"\u0161");
    EXPECT_EQ(text(decode({0, 'a'}, kCFStringEncodingUTF16, true)), u"a");
    EXPECT_EQ(text(decode({0, 0, 0x01, 0x61}, kCFStringEncodingUTF32, true)), u"\u0161");
    const UInt8 bytes[] = {0, 'h', 0, 'i'};
    const auto data = hold(CFDataCreate(nullptr, bytes, sizeof bytes));
    EXPECT_TRUE(
        CFEqual(hold(CFStringCreateFromExternalRepresentation(nullptr, data, kCFStringEncodingUTF16)), CFSTR("hi")));
}

TEST(CFStringEncoding, ExternalTextBeginsWithAMarkInHostOrder) {
    EXPECT_EQ(encode(CFSTR("a"), kCFStringEncodingUTF16, 0, true), (Encoded{1, inHostOrder({0xFE, 0xFF, 0, 'a'}, 2)}));
    EXPECT_EQ(encode(CFSTR("a"), kCFStringEncodingUTF32, 0, true),
              (Encoded{1, inHostOrder({0, 0, 0xFE, 0xFF, 0, 0, 0, 'a'}, 4)}));
}

TEST(CFStringEncoding, ExternalTextIsMarkedEvenWhenEmpty) {
    EXPECT_EQ(encode(CFSTR(""), kCFStringEncodingUTF16, 0, true), (Encoded{0, inHostOrder({0xFE, 0xFF}, 2)}));
    EXPECT_EQ(encode(CFSTR(""), kCFStringEncodingUTF32, 0, true), (Encoded{0, inHostOrder({0, 0, 0xFE, 0xFF}, 4)}));
}

TEST(CFStringEncoding, UTF16LosesHalfAUnitAtItsEnd) {
    for (const bool isExternal : {false, true}) {
        EXPECT_EQ(text(decode({'a', 0, 'b', 0, 'c'}, kCFStringEncodingUTF16LE, isExternal)), u"ab");
        EXPECT_EQ(text(decode({0x01, 0x61, 0x01}, kCFStringEncodingUTF16BE, isExternal)), u"\u0161");
        EXPECT_EQ(text(decode({'a'}, kCFStringEncodingUTF16, isExternal)), u"");
    }
    EXPECT_EQ(text(decode({0xFE, 0xFF, 0x01}, kCFStringEncodingUTF16, true)), u"");
}

TEST(CFStringEncoding, UTF32RefusesAPartOfAUnit) {
    for (const std::size_t size : {1u, 2u, 3u, 5u, 6u, 7u})
        EXPECT_EQ(decode(Bytes(size, 0), kCFStringEncodingUTF32LE).get(), nullptr);
}

TEST(CFStringEncoding, UTF16KeepsLoneSurrogates) {
    const Bytes bytes = {0xDC, 0x00, 0, 'a', 0xD8, 0x00};
    const auto s = decode(bytes, kCFStringEncodingUTF16BE);
    EXPECT_EQ(CFStringGetLength(s), 3);
    EXPECT_EQ(encode(s, kCFStringEncodingUTF16BE), (Encoded{3, bytes}));
}

TEST(CFStringEncoding, UTF32RefusesSurrogatesAndWhatLiesAbove10FFFF) {
    EXPECT_EQ(decode({0, 0, 0xD8, 0}, kCFStringEncodingUTF32BE).get(), nullptr);
    EXPECT_EQ(decode({0, 0x11, 0, 0}, kCFStringEncodingUTF32BE).get(), nullptr);
    EXPECT_EQ(decode({0xFF, 0xFF, 0xFF, 0xFF}, kCFStringEncodingUTF32BE).get(), nullptr);
    const UniChar lone = 0xD800;
    const auto s = hold(CFStringCreateWithCharacters(nullptr, &lone, 1));
    EXPECT_EQ(encode(s, kCFStringEncodingUTF32BE).units, 0);
    EXPECT_EQ(encode(s, kCFStringEncodingUTF32BE, '?'), (Encoded{1, {0, 0, 0, '?'}}));
}

TEST(CFStringEncoding, WideEncodingsOfASCIIGiveEightBitStrings) {
    EXPECT_STREQ(CFStringGetCStringPtr(decode({0, 'a', 0, 'b'}, kCFStringEncodingUTF16BE), kCFStringEncodingASCII),
                 "ab");
    EXPECT_STREQ(CFStringGetCStringPtr(decode({'a', 0, 0, 0}, kCFStringEncodingUTF32LE), kCFStringEncodingASCII), "a");
}

TEST(CFStringEncoding, ReadsWideTextAtAnyAddress) {
    const Bytes bytes = {0xEE, 0x01, 0x61, 0x01, 0x62};
    const auto s = hold(CFStringCreateWithBytes(nullptr, bytes.data() + 1, 4, kCFStringEncodingUTF16BE, false));
    EXPECT_EQ(text(s), u"\u0161\u0162");
}

// ---- Escapes

TEST(CFStringEncoding, NonLossyASCIIEscapesWhatIsNotASCII) {
    const auto s = string(u"a\\\u00E9\u65E5\U0001F600");
    const Bytes escaped = bytesOf("a\\\\\\351\\u65e5\\ud83d\\ude00");
    EXPECT_EQ(encode(s, kCFStringEncodingNonLossyASCII), (Encoded{5 + 1, escaped}));
    EXPECT_TRUE(CFEqual(decode(escaped, kCFStringEncodingNonLossyASCII), s));
}

TEST(CFStringEncoding, NonLossyASCIIRefusesBrokenEscapes) {
    for (const char* const bad : {"\\", "\\u", "\\u12", "\\u12g4", "\\9", "\\12", "\\x41", "\x80"})
        EXPECT_EQ(decode(bytesOf(bad), kCFStringEncodingNonLossyASCII).get(), nullptr) << bad;
}

// ---- One byte a character, by table

TEST(CFStringEncoding, OneByteEncodingsFollowTheirTables) {
    struct Row {
        CFStringEncoding encoding;
        UInt8 byte;
        char16_t unit;
    };
    constexpr Row kRows[] = {
        {kCFStringEncodingMacRoman, 0x8E, u'\u00E9'},        {kCFStringEncodingMacRoman, 0xDB, u'\u20AC'},
        {kCFStringEncodingMacRoman, 0xF0, u'\uF8FF'},        {kCFStringEncodingWindowsLatin1, 0x80, u'\u20AC'},
        {kCFStringEncodingNextStepLatin, 0x81, u'\u00C0'},   {kCFStringEncodingNextStepLatin, 0xFB, u'\u00DF'},
        {kCFStringEncodingISOLatin2, 0xA1, u'\u0104'},       {kCFStringEncodingISOLatinCyrillic, 0xB0, u'\u0410'},
        {kCFStringEncodingISOLatinGreek, 0xC1, u'\u0391'},   {kCFStringEncodingISOLatin9, 0xA4, u'\u20AC'},
        {kCFStringEncodingDOSLatinUS, 0x81, u'\u00FC'},      {kCFStringEncodingDOSRussian, 0x80, u'\u0410'},
        {kCFStringEncodingWindowsCyrillic, 0xC0, u'\u0410'}, {kCFStringEncodingWindowsGreek, 0xC1, u'\u0391'},
        {kCFStringEncodingKOI8_R, 0xE1, u'\u0410'},          {kCFStringEncodingKOI8_U, 0xA4, u'\u0454'},
        {kCFStringEncodingMacCyrillic, 0x80, u'\u0410'},     {kCFStringEncodingEBCDIC_CP037, 0xC1, u'A'},
        {kCFStringEncodingWindowsHebrew, 0xE0, u'\u05D0'},   {kCFStringEncodingISOLatinThai, 0xA1, u'\u0E01'},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(text(decode({row.byte}, row.encoding)), std::u16string(1, row.unit)) << row.encoding;
        EXPECT_EQ(encode(string(std::u16string(1, row.unit)), row.encoding), (Encoded{1, {row.byte}})) << row.encoding;
    }
}

TEST(CFStringEncoding, OneByteEncodingsRefuseBytesWithoutACharacter) {
    EXPECT_EQ(decode({0xFE}, kCFStringEncodingNextStepLatin).get(), nullptr);
    EXPECT_EQ(decode({'a', 0xD2}, kCFStringEncodingWindowsGreek).get(), nullptr);
}

TEST(CFStringEncoding, WindowsLatin1LacksItsFiveHoles) {
    for (const UInt8 byte : std::initializer_list<UInt8>{0x81, 0x8D, 0x8F, 0x90, 0x9D}) {
        EXPECT_EQ(decode({'a', byte}, kCFStringEncodingWindowsLatin1).get(), nullptr);
        const auto s = string(std::u16string(1, static_cast<char16_t>(byte)));
        EXPECT_EQ(encode(s, kCFStringEncodingWindowsLatin1), (Encoded{0, {}}));
        EXPECT_EQ(encode(s, kCFStringEncodingWindowsLatin1, '?'), (Encoded{1, {'?'}}));
        EXPECT_EQ(encode(s, kCFStringEncodingISOLatin1), (Encoded{1, {byte}}));
    }
    EXPECT_EQ(text(decode({0x80, 0x9F}, kCFStringEncodingWindowsLatin1)), u"\u20AC\u0178");
}

TEST(CFStringEncoding, APairThatAnEightBitEncodingLacksCostsTwoLossBytes) {
    const auto s = string(u"a\U0001F600z");
    for (const CFStringEncoding encoding :
         {kCFStringEncodingISOLatin1, kCFStringEncodingASCII, kCFStringEncodingWindowsLatin1, kCFStringEncodingMacRoman,
          kCFStringEncodingNextStepLatin})
        EXPECT_EQ(encode(s, encoding, '?'), (Encoded{4, bytesOf("a??z")})) << encoding;
}

TEST(CFStringEncoding, Latin1AndWindowsLatin1ComposeABaseAndItsMarks) {
    for (const CFStringEncoding encoding : {kCFStringEncodingISOLatin1, kCFStringEncodingWindowsLatin1}) {
        EXPECT_EQ(encode(string(u"e\u0301x"), encoding), (Encoded{3, bytesOf("\xE9x")}));
        EXPECT_EQ(encode(string(u"e\u0301"), encoding, '?'), (Encoded{2, bytesOf("\xE9")}));
        EXPECT_EQ(encode(string(u"c\u0327A\u030A"), encoding), (Encoded{4, bytesOf("\xE7\xC5")}));
        EXPECT_EQ(encode(string(u"q\u0301x"), encoding, '?'), (Encoded{3, bytesOf("q?x")})) << "no such letter";
        EXPECT_EQ(encode(string(u"q\u0301x"), encoding), (Encoded{1, bytesOf("q")}));
        EXPECT_EQ(encode(string(u"e\u0301\u0323x"), encoding, '?'), (Encoded{4, bytesOf("\xE9?x")}));
        EXPECT_EQ(encode(string(u"u\u0308\u0304"), encoding, '?'), (Encoded{3, bytesOf("\xFC?")}));
        EXPECT_EQ(encode(string(u"\u0301e"), encoding, '?'), (Encoded{2, bytesOf("?e")})) << "a mark without a base";
        EXPECT_EQ(encode(string(u"e\u0301e\u0301"), encoding, 0, false, 1), (Encoded{2, bytesOf("\xE9")}));
    }
    EXPECT_EQ(encode(string(u"s\u030C"), kCFStringEncodingWindowsLatin1), (Encoded{2, bytesOf("\x9A")}));
    EXPECT_EQ(encode(string(u"e\u0301"), kCFStringEncodingASCII, '?'), (Encoded{2, bytesOf("e?")}));
}

TEST(CFStringEncoding, OneByteEncodingsLackTheRest) {
    EXPECT_EQ(encode(string(u"a\u65E5"), kCFStringEncodingMacRoman), (Encoded{1, {'a'}}));
    EXPECT_EQ(encode(string(u"a\u65E5z"), kCFStringEncodingMacRoman, '?'), (Encoded{3, bytesOf("a?z")}));
    EXPECT_EQ(encode(string(u"\uFFFF"), kCFStringEncodingMacRoman).units, 0);
}

// ---- By converter

TEST(CFStringEncoding, ConvertedEncodingsComeBack) {
    struct Row {
        CFStringEncoding encoding;
        std::u16string_view units;
        std::string_view bytes;
    };
    constexpr Row kRows[] = {
        {kCFStringEncodingShiftJIS, u"\u65E5\u672Ca",
         "\x93\xFA\x96\x7B"
         "a"},
        {kCFStringEncodingEUC_JP, u"\u65E5\u672Ca",
         "\xC6\xFC\xCB\xDC"
         "a"},
        {kCFStringEncodingISO_2022_JP, u"a\u65E5\u672C", "a\x1B$BF|K\\\x1B(B"},
        {kCFStringEncodingGB_18030_2000, u"\u4E2D\U0001F600", "\xD6\xD0\x94\x39\xFC\x36"},
        {kCFStringEncodingGBK_95, u"\u4E2D", "\xD6\xD0"},
        {kCFStringEncodingBig5, u"\u4E2D", "\xA4\xA4"},
        {kCFStringEncodingEUC_KR, u"\uD55C", "\xC7\xD1"},
        {kCFStringEncodingUTF7, u"a\u00E9", "a+AOk-"},
        {kCFStringEncodingUTF7_IMAP, u"a\u00E9", "a&AOk-"},
    };
    for (const Row& row : kRows) {
        const auto s = string(row.units);
        EXPECT_EQ(text(decode(bytesOf(row.bytes), row.encoding)), row.units) << row.encoding;
        EXPECT_EQ(encode(s, row.encoding), (Encoded{CFStringGetLength(s), bytesOf(row.bytes)})) << row.encoding;
        EXPECT_EQ(encode(s, row.encoding, 0, false, static_cast<CFIndex>(row.bytes.size())).units, CFStringGetLength(s))
            << row.encoding;
    }
}

TEST(CFStringEncoding, HZComesBack) {
    const auto s = string(u"a~\u4E2Dz");
    const Encoded encoded = encode(s, kCFStringEncodingHZ_GB_2312);
    EXPECT_EQ(encoded.units, 4);
    EXPECT_TRUE(CFEqual(decode(encoded.bytes, kCFStringEncodingHZ_GB_2312), s));
}

TEST(CFStringEncoding, ConvertedEncodingsRefuseHalfACharacter) {
    EXPECT_EQ(decode({0x93}, kCFStringEncodingShiftJIS).get(), nullptr);
    EXPECT_EQ(decode({'a', 0xC6}, kCFStringEncodingEUC_JP).get(), nullptr);
}

TEST(CFStringEncoding, ConvertedEncodingsPutTheLossByteForWhatTheyLack) {
    EXPECT_EQ(encode(string(u"\u65E5\U0001F600a"), kCFStringEncodingShiftJIS, '?'),
              (Encoded{4, bytesOf("\x93\xFA?a")}));
    EXPECT_EQ(encode(string(u"\u65E5\U0001F600a"), kCFStringEncodingShiftJIS), (Encoded{1, bytesOf("\x93\xFA")}));
}

TEST(CFStringEncoding, ALossByteBetweenShiftedCharactersLeavesThemReadable) {
    const Encoded encoded = encode(string(u"\u65E5\U0001F600\u672C"), kCFStringEncodingISO_2022_JP, '?');
    EXPECT_EQ(encoded.units, 4);
    EXPECT_EQ(text(decode(encoded.bytes, kCFStringEncodingISO_2022_JP)), u"\u65E5?\u672C");
}

TEST(CFStringEncoding, TextsLongerThanAConvertersChunkComeBack) {
    const auto s = string(std::u16string(5000, u'\u65E5'));
    const Encoded encoded = encode(s, kCFStringEncodingEUC_JP, 0, false, 10000);
    EXPECT_EQ(encoded.bytes.size(), 10000u);
    EXPECT_TRUE(CFEqual(decode(encoded.bytes, kCFStringEncodingEUC_JP), s));
}

// ---- Partial results

TEST(CFStringEncoding, StopsBeforeACharacterThatDoesNotFit) {
    const auto s = string(u"a\u00E9\U0001F600b");
    EXPECT_EQ(encode(s, kCFStringEncodingUTF8, 0, false, 1).units, 1);
    EXPECT_EQ(encode(s, kCFStringEncodingUTF8, 0, false, 2), (Encoded{1, {'a'}}));
    EXPECT_EQ(encode(s, kCFStringEncodingUTF8, 0, false, 3).units, 2);
    EXPECT_EQ(encode(s, kCFStringEncodingUTF8, 0, false, 6).units, 2);
    EXPECT_EQ(encode(s, kCFStringEncodingUTF8, 0, false, 7).units, 4);
    EXPECT_EQ(encode(s, kCFStringEncodingUTF16BE, 0, false, 7).units, 2);
    EXPECT_EQ(encode(s, kCFStringEncodingUTF16BE, 0, false, 8).units, 4);
    EXPECT_EQ(encode(s, kCFStringEncodingUTF32BE, 0, false, 11).units, 2);
    EXPECT_EQ(encode(s, kCFStringEncodingISOLatin1, '?', false, 2).units, 2);
    EXPECT_EQ(encode(s, kCFStringEncodingISOLatin1, '?', false, 3).units, 3) << "half of the pair is lost first";
    EXPECT_EQ(encode(s, kCFStringEncodingISOLatin1, '?', false, 4).units, 4);
}

TEST(CFStringEncoding, StopsBeforeAMarkThatDoesNotFit) {
    EXPECT_EQ(encode(CFSTR("a"), kCFStringEncodingUTF16, 0, true, 1), (Encoded{0, {}}));
    EXPECT_EQ(encode(CFSTR("a"), kCFStringEncodingUTF16, 0, true, 3).units, 0);
    EXPECT_EQ(encode(CFSTR("a"), kCFStringEncodingUTF32, 0, true, 3), (Encoded{0, {}}));
}

TEST(CFStringEncoding, APartialResultOfAShiftedEncodingIsClosedWithinItsRoom) {
    const auto s = string(u"\u65E5\u672C\u65E5\u672C");
    const std::u16string whole = text(s);
    for (CFIndex capacity = 1; capacity < 20; ++capacity) {
        const Encoded encoded = encode(s, kCFStringEncodingISO_2022_JP, 0, false, capacity);
        EXPECT_EQ(text(decode(encoded.bytes, kCFStringEncodingISO_2022_JP)),
                  whole.substr(0, static_cast<std::size_t>(encoded.units)));
    }
    EXPECT_EQ(encode(s, kCFStringEncodingISO_2022_JP, 0, false, 14).units, 4);
}

TEST(CFStringEncoding, PiecesOfPartialResultsJoinToTheWhole) {
    const auto s = string(u"plain \u00E9\u65E5\U0001F600 tail \u0161");
    for (CFIndex capacity = 4; capacity < 12; ++capacity) {
        Bytes joined;
        CFIndex at = 0;
        while (at < CFStringGetLength(s)) {
            UInt8 buffer[16];
            CFIndex used = 0;
            const CFIndex units = CFStringGetBytes(s, CFRangeMake(at, CFStringGetLength(s) - at), kCFStringEncodingUTF8,
                                                   0, false, buffer, capacity, &used);
            ASSERT_GT(units, 0);
            joined.insert(joined.end(), buffer, buffer + used);
            at += units;
        }
        EXPECT_TRUE(CFEqual(decode(joined, kCFStringEncodingUTF8), s));
    }
}

TEST(CFStringEncoding, WideEncodingsTakeNothingIntoABufferWithoutRoom) {
    UInt8 buffer[1] = {0xEE};
    for (const CFStringEncoding encoding :
         {kCFStringEncodingUTF16, kCFStringEncodingUTF16LE, kCFStringEncodingUTF32, kCFStringEncodingUTF32BE}) {
        for (const bool isExternal : {false, true}) {
            CFIndex used = -1;
            EXPECT_EQ(
                CFStringGetBytes(string(u"a\u00E9"), CFRangeMake(0, 2), encoding, 0, isExternal, buffer, 0, &used), 0);
            EXPECT_EQ(used, 0);
            EXPECT_EQ(CFStringGetBytes(CFSTR("ab"), CFRangeMake(0, 2), encoding, 0, isExternal, buffer, 0, &used), 0);
            EXPECT_EQ(used, 0);
        }
    }
    EXPECT_EQ(buffer[0], 0xEE);
}

TEST(CFStringEncoding, CountsWithoutABufferOrWithoutRoom) {
    const auto s = string(u"a\u00E9");
    UInt8 buffer[1] = {0xEE};
    CFIndex used = 0;
    EXPECT_EQ(CFStringGetBytes(s, CFRangeMake(0, 2), kCFStringEncodingUTF8, 0, false, nullptr, 100, &used), 2);
    EXPECT_EQ(used, 3);
    EXPECT_EQ(CFStringGetBytes(s, CFRangeMake(0, 2), kCFStringEncodingUTF8, 0, false, buffer, 0, &used), 2);
    EXPECT_EQ(used, 3);
    EXPECT_EQ(buffer[0], 0xEE);
    EXPECT_EQ(CFStringGetBytes(s, CFRangeMake(1, 1), kCFStringEncodingUTF16, 0, true, nullptr, 0, &used), 1);
    EXPECT_EQ(used, 4);
    EXPECT_EQ(CFStringGetBytes(s, CFRangeMake(0, 2), kCFStringEncodingUTF8, 0, false, nullptr, 0, nullptr), 2);
}

TEST(CFStringEncoding, ARangeThatCutsASurrogatePairLacksACharacter) {
    const auto s = string(u"\U0001F600");
    CFIndex used = -1;
    EXPECT_EQ(CFStringGetBytes(s, CFRangeMake(0, 1), kCFStringEncodingUTF8, 0, false, nullptr, 0, &used), 0);
    EXPECT_EQ(used, 0);
    EXPECT_EQ(CFStringGetBytes(s, CFRangeMake(1, 1), kCFStringEncodingISOLatin1, '?', false, nullptr, 0, &used), 1);
    EXPECT_EQ(used, 1);
}

TEST(CFStringEncoding, UnknownEncodingsConvertNothing) {
    CFIndex used = -1;
    EXPECT_EQ(CFStringGetBytes(CFSTR("a"), CFRangeMake(0, 1), 0x7777, '?', false, nullptr, 0, &used), 0);
    EXPECT_EQ(used, 0);
    EXPECT_EQ(CFStringCreateExternalRepresentation(nullptr, CFSTR("a"), 0x7777, '?'), nullptr);
}

// ---- External representations

TEST(CFStringEncoding, AnExternalRepresentationComesBack) {
    const auto s = string(u"a\u00E9\U0001F600\\");
    for (const UInt32 encoding : kEveryDay) {
        const auto data = hold(CFStringCreateExternalRepresentation(nullptr, s, encoding, 0));
        ASSERT_NE(data.get(), nullptr) << encoding;
        EXPECT_TRUE(CFEqual(hold(CFStringCreateFromExternalRepresentation(nullptr, data, encoding)), s)) << encoding;
    }
}

TEST(CFStringEncoding, AnExternalRepresentationOfNothingIsItsMark) {
    EXPECT_EQ(
        CFDataGetLength(hold(CFStringCreateExternalRepresentation(nullptr, CFSTR(""), kCFStringEncodingUTF16, 0))), 2);
    EXPECT_EQ(
        CFDataGetLength(hold(CFStringCreateExternalRepresentation(nullptr, CFSTR(""), kCFStringEncodingUTF32, 0))), 4);
    EXPECT_EQ(CFDataGetLength(hold(CFStringCreateExternalRepresentation(nullptr, CFSTR(""), kCFStringEncodingUTF8, 0))),
              0);
}

TEST(CFStringEncoding, AnExternalRepresentationIsWholeOrNone) {
    const auto s = string(u"a\u65E5");
    EXPECT_EQ(CFStringCreateExternalRepresentation(nullptr, s, kCFStringEncodingASCII, 0), nullptr);
    const auto lossy = hold(CFStringCreateExternalRepresentation(nullptr, s, kCFStringEncodingASCII, '?'));
    ASSERT_EQ(CFDataGetLength(lossy), 2);
    EXPECT_EQ(CFDataGetBytePtr(lossy)[1], '?');
    EXPECT_EQ(CFStringCreateExternalRepresentation(nullptr, nullptr, kCFStringEncodingASCII, '?'), nullptr);
    EXPECT_EQ(CFStringCreateFromExternalRepresentation(nullptr, nullptr, kCFStringEncodingASCII), nullptr);
}

TEST(CFStringEncoding, AnExternalRepresentationLeaksNothingWhenMemoryEnds) {
    const auto s = string(u"a\u65E5");
    TestAllocator allocator;
    for (long count = 0;; ++count) {
        allocator.failAfter(count);
        const auto data = hold(CFStringCreateExternalRepresentation(allocator, s, kCFStringEncodingUTF8, 0));
        if (data) break;
        EXPECT_EQ(allocator.blocks(), 0);
        ASSERT_LT(count, 10);
    }
}

// ---- What suits a text

TEST(CFStringEncoding, TheSmallestEncodingHoldsTheTextInTheFewestBytes) {
    EXPECT_EQ(CFStringGetSmallestEncoding(CFSTR("abc")), UInt32{kCFStringEncodingASCII});
    EXPECT_EQ(CFStringGetSmallestEncoding(string(u"\u00E9")), UInt32{kCFStringEncodingISOLatin1});
    EXPECT_EQ(CFStringGetSmallestEncoding(string(u"abc\u65E5")), UInt32{kCFStringEncodingUTF8});
    EXPECT_EQ(CFStringGetSmallestEncoding(string(u"\u65E5\u672C")), UInt32{kCFStringEncodingUTF16});
    const UniChar lone[] = {'a', 'b', 'c', 'd', 0xD800};
    EXPECT_EQ(CFStringGetSmallestEncoding(hold(CFStringCreateWithCharacters(nullptr, lone, 5))),
              UInt32{kCFStringEncodingUTF16});
}

TEST(CFStringEncoding, TheFastestEncodingIsTheOneTheTextIsKeptIn) {
    EXPECT_EQ(CFStringGetFastestEncoding(CFSTR("abc")), UInt32{kCFStringEncodingASCII});
    EXPECT_EQ(CFStringGetFastestEncoding(string(u"\u00E9")), UInt32{kCFStringEncodingUTF16});
}

TEST(CFStringEncoding, TheMaximumSizeIsWhatTheWorstTextTakes) {
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingASCII), 10);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF8), 30);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF16), 20);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF32), 40);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingNonLossyASCII), 60);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(0, kCFStringEncodingUTF8), 0);
}

TEST(CFStringEncoding, AMaximumSizeThatNoIndexHoldsIsNotFound) {
    constexpr CFIndex kHuge = std::numeric_limits<CFIndex>::max();
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kHuge, kCFStringEncodingUTF8), kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kHuge, kCFStringEncodingASCII), kHuge);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(-1, kCFStringEncodingUTF8), kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(1, 0x7777), kCFNotFound);
}

TEST(CFStringEncoding, KnowsWhichEncodingsAreAvailable) {
    for (const UInt32 encoding : kEveryDay) EXPECT_TRUE(CFStringIsEncodingAvailable(encoding));
    EXPECT_TRUE(CFStringIsEncodingAvailable(kCFStringEncodingShiftJIS));
    EXPECT_FALSE(CFStringIsEncodingAvailable(0x7777));
    EXPECT_FALSE(CFStringIsEncodingAvailable(0xFFFFFFFF));
}
