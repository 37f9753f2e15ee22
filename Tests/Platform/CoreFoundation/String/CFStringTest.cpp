#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/TestAllocator.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

extern "C" CFStringRef literalFromC(void);
extern "C" Boolean inlineFunctionsWorkInC(void);
extern "C" Boolean macrosWorkInC(void);

namespace {

using Held::hold;
using Held::string;
using Held::text;

constexpr UniChar kLoneHigh = 0xD800;

auto fromUTF8(const char* cString) { return hold(CFStringCreateWithCString(nullptr, cString, kCFStringEncodingUTF8)); }

}  // namespace

// ---- How text is kept

TEST(CFString, KeepsASCIITextInEightBits) {
    const auto s = fromUTF8("hello");
    EXPECT_EQ(CFStringGetLength(s), 5);
    EXPECT_STREQ(CFStringGetCStringPtr(s, kCFStringEncodingUTF8), "hello");
    EXPECT_EQ(CFStringGetCharactersPtr(s), nullptr);
}

TEST(CFString, AnswersThePointerToASCIIForEveryEncodingThatHoldsASCII) {
    const auto s = fromUTF8("hello");
    for (const CFStringEncoding encoding :
         {CFStringEncoding{kCFStringEncodingUTF8}, CFStringEncoding{kCFStringEncodingASCII},
          CFStringEncoding{kCFStringEncodingMacRoman}, CFStringEncoding{kCFStringEncodingISOLatin1},
          CFStringEncoding{kCFStringEncodingWindowsLatin1}, CFStringEncoding{kCFStringEncodingNextStepLatin},
          CFStringEncoding{kCFStringEncodingShiftJIS}, CFStringEncoding{kCFStringEncodingEUC_JP}})
        EXPECT_STREQ(CFStringGetCStringPtr(s, encoding), "hello") << encoding;
    for (const CFStringEncoding encoding :
         {CFStringEncoding{kCFStringEncodingUTF16}, CFStringEncoding{kCFStringEncodingUTF32LE},
          CFStringEncoding{kCFStringEncodingEBCDIC_CP037}, CFStringEncoding{0x7777}})
        EXPECT_EQ(CFStringGetCStringPtr(s, encoding), nullptr) << encoding;
}

TEST(CFString, KeepsOtherTextInUTF16) {
    const auto s = fromUTF8("h\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(CFStringGetLength(s), 4);
    EXPECT_EQ(CFStringGetCStringPtr(s, kCFStringEncodingUTF8), nullptr);
    ASSERT_NE(CFStringGetCharactersPtr(s), nullptr);
    EXPECT_EQ(text(s), u"h\u00E9\U0001F600");
}

TEST(CFString, NarrowsUTF16UnitsThatAreASCII) {
    const auto s = string(u"hello");
    EXPECT_STREQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), "hello");
}

TEST(CFString, AnEmptyTextIsASCII) {
    const auto s = string(u"");
    EXPECT_EQ(CFStringGetLength(s), 0);
    EXPECT_STREQ(CFStringGetCStringPtr(s, kCFStringEncodingUTF8), "");
    EXPECT_EQ(CFStringGetCharactersPtr(s), nullptr);
}

TEST(CFString, KeepsNULInsideAText) {
    const auto s = string(std::u16string_view(u"a\0b", 3));
    EXPECT_EQ(CFStringGetLength(s), 3);
    EXPECT_EQ(CFStringGetCharacterAtIndex(s, 1), 0);
    EXPECT_EQ(CFStringGetCharacterAtIndex(s, 2), 'b');
}

TEST(CFString, TakesOneAllocationForAShortText) {
    TestAllocator allocator;
    const auto s = hold(CFStringCreateWithCString(allocator, "short", kCFStringEncodingUTF8));
    EXPECT_EQ(allocator.requests(), 1);
    const auto wide = hold(CFStringCreateWithCString(allocator, "\xC3\xA9", kCFStringEncodingUTF8));
    EXPECT_EQ(allocator.requests(), 2);
}

// ---- Bad arguments

TEST(CFString, NullBytesMakeNoString) {
    EXPECT_EQ(CFStringCreateWithCString(nullptr, nullptr, kCFStringEncodingUTF8), nullptr);
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, nullptr, 3, kCFStringEncodingUTF8, false), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(nullptr, nullptr, 3), nullptr);
    EXPECT_EQ(CFStringCreateWithPascalString(nullptr, nullptr, kCFStringEncodingUTF8), nullptr);
    EXPECT_EQ(CFStringCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateWithSubstring(nullptr, nullptr, CFRangeMake(0, 0)), nullptr);
    EXPECT_EQ(CFStringCreateWithFileSystemRepresentation(nullptr, nullptr), nullptr);
}

TEST(CFString, NoBytesAtANullPointerMakeAnEmptyText) {
    const auto s = hold(CFStringCreateWithBytes(nullptr, nullptr, 0, kCFStringEncodingUTF8, false));
    ASSERT_NE(s.get(), nullptr);
    EXPECT_EQ(CFStringGetLength(s), 0);
    EXPECT_EQ(CFStringGetLength(hold(CFStringCreateWithCharacters(nullptr, nullptr, 0))), 0);
}

TEST(CFString, NegativeLengthsMakeNoString) {
    const UInt8 byte = 'a';
    const UniChar unit = 'a';
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, &byte, -1, kCFStringEncodingUTF8, false), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(nullptr, &unit, -1), nullptr);
    EXPECT_EQ(CFStringCreateWithBytesNoCopy(nullptr, &byte, -1, kCFStringEncodingUTF8, false, kCFAllocatorNull),
              nullptr);
    EXPECT_EQ(CFStringCreateWithCharactersNoCopy(nullptr, &unit, -1, kCFAllocatorNull), nullptr);
}

TEST(CFString, UnknownEncodingsMakeNoString) {
    EXPECT_EQ(CFStringCreateWithCString(nullptr, "a", 0x7777), nullptr);
    EXPECT_EQ(CFStringCreateWithCString(nullptr, "a", 0xFFFFFFFF), nullptr);
}

TEST(CFString, CStringsAreOfEightBitEncodings) {
    EXPECT_EQ(CFStringCreateWithCString(nullptr, "ab", kCFStringEncodingUTF16), nullptr);
    EXPECT_EQ(CFStringCreateWithCString(nullptr, "abcd", kCFStringEncodingUTF32), nullptr);
    char buffer[16] = "x";
    EXPECT_FALSE(CFStringGetCString(CFSTR("ab"), buffer, sizeof buffer, kCFStringEncodingUTF16));
    EXPECT_STREQ(buffer, "");
}

TEST(CFString, ReadingNullGivesNothing) {
    UniChar unit = 'x';
    char buffer[4] = "x";
    EXPECT_EQ(CFStringGetLength(nullptr), 0);
    EXPECT_EQ(CFStringGetCharacterAtIndex(nullptr, 0), 0);
    CFStringGetCharacters(nullptr, CFRangeMake(0, 1), &unit);
    EXPECT_EQ(unit, 'x');
    EXPECT_EQ(CFStringGetCStringPtr(nullptr, kCFStringEncodingUTF8), nullptr);
    EXPECT_EQ(CFStringGetCharactersPtr(nullptr), nullptr);
    EXPECT_EQ(CFStringGetPascalStringPtr(nullptr, kCFStringEncodingUTF8), nullptr);
    EXPECT_FALSE(CFStringGetCString(nullptr, buffer, sizeof buffer, kCFStringEncodingUTF8));
    EXPECT_EQ(CFStringGetBytes(nullptr, CFRangeMake(0, 0), kCFStringEncodingUTF8, 0, false, nullptr, 0, nullptr), 0);
}

TEST(CFString, RangesOutsideTheTextReadNothing) {
    constexpr CFIndex kHuge = std::numeric_limits<CFIndex>::max();
    const CFStringRef s = CFSTR("abc");
    UniChar units[4] = {'x', 'x', 'x', 'x'};
    for (const CFRange range : {CFRangeMake(0, 4), CFRangeMake(-1, 2), CFRangeMake(2, 2), CFRangeMake(4, 0),
                                CFRangeMake(0, -1), CFRangeMake(kHuge, kHuge), CFRangeMake(1, kHuge)}) {
        CFStringGetCharacters(s, range, units);
        EXPECT_EQ(units[0], 'x');
        EXPECT_EQ(CFStringCreateWithSubstring(nullptr, s, range), nullptr);
        CFIndex used = -1;
        EXPECT_EQ(CFStringGetBytes(s, range, kCFStringEncodingUTF8, 0, false, nullptr, 0, &used), 0);
        EXPECT_EQ(used, 0);
    }
    EXPECT_EQ(CFStringGetCharacterAtIndex(s, -1), 0);
    EXPECT_EQ(CFStringGetCharacterAtIndex(s, 3), 0);
}

TEST(CFString, AnAllocatorThatGivesNoMemoryGivesNoString) {
    TestAllocator allocator;
    allocator.failAfter(0);
    const UniChar unit = 0xE9;
    EXPECT_EQ(CFStringCreateWithCString(allocator, "a", kCFStringEncodingUTF8), nullptr);
    EXPECT_EQ(CFStringCreateWithCString(allocator, "\xC3\xA9", kCFStringEncodingUTF8), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(allocator, &unit, 1), nullptr);
    EXPECT_EQ(CFStringCreateCopy(allocator, string(u"abc")), nullptr);
    EXPECT_EQ(CFStringCreateWithSubstring(allocator, CFSTR("abc"), CFRangeMake(0, 1)), nullptr);
    EXPECT_EQ(CFStringCreateMutable(allocator, 0), nullptr);
    EXPECT_EQ(CFStringCreateMutableCopy(allocator, 0, CFSTR("abc")), nullptr);
    EXPECT_EQ(CFStringCreateWithCharactersNoCopy(allocator, &unit, 1, kCFAllocatorNull), nullptr);
}

// ---- Copies and parts

TEST(CFString, ACopyOfAnImmutableStringIsTheStringItself) {
    const auto s = fromUTF8("abc");
    const auto copy = hold(CFStringCreateCopy(nullptr, s));
    EXPECT_EQ(copy.get(), s.get());
    EXPECT_EQ(CFGetRetainCount(s), 2);
}

TEST(CFString, ACopyInOtherMemoryIsAnotherString) {
    TestAllocator allocator;
    const auto s = fromUTF8("abc");
    const auto copy = hold(CFStringCreateCopy(allocator, s));
    EXPECT_NE(copy.get(), s.get());
    EXPECT_TRUE(CFEqual(copy, s));
    EXPECT_EQ(CFGetAllocator(copy), static_cast<CFAllocatorRef>(allocator));
}

TEST(CFString, ACopyOfAMutableStringDoesNotChange) {
    const auto s = Held::mutableString(u"abc");
    const auto copy = hold(CFStringCreateCopy(nullptr, s));
    CFStringAppend(s, CFSTR("d"));
    EXPECT_EQ(text(copy), u"abc");
}

TEST(CFString, APartOfWideTextThatIsASCIIIsKeptInEightBits) {
    const auto part = hold(CFStringCreateWithSubstring(nullptr, string(u"\u00E9abc"), CFRangeMake(1, 3)));
    EXPECT_STREQ(CFStringGetCStringPtr(part, kCFStringEncodingASCII), "abc");
}

TEST(CFString, AnEmptyPartStandsAnywhereUpToTheEnd) {
    const auto part = hold(CFStringCreateWithSubstring(nullptr, CFSTR("abc"), CFRangeMake(3, 0)));
    ASSERT_NE(part.get(), nullptr);
    EXPECT_EQ(CFStringGetLength(part), 0);
}

TEST(CFString, APartMayHoldHalfASurrogatePair) {
    const auto part = hold(CFStringCreateWithSubstring(nullptr, string(u"\U0001F600"), CFRangeMake(0, 1)));
    EXPECT_EQ(CFStringGetLength(part), 1);
    EXPECT_EQ(CFStringGetCharacterAtIndex(part, 0), 0xD83D);
}

// ---- Without copying

TEST(CFString, UsesACStringWithoutCopyingIt) {
    static const char bytes[] = "static";
    const auto s = hold(CFStringCreateWithCStringNoCopy(nullptr, bytes, kCFStringEncodingASCII, kCFAllocatorNull));
    EXPECT_EQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), bytes);
}

TEST(CFString, GivesNoPointerToBytesThatNoNULFollows) {
    static const UInt8 bytes[] = {'a', 'b', 'c'};
    const auto s = hold(
        CFStringCreateWithBytesNoCopy(nullptr, bytes, sizeof bytes, kCFStringEncodingASCII, false, kCFAllocatorNull));
    EXPECT_EQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), nullptr);
    EXPECT_EQ(CFStringGetCharactersPtr(s), nullptr);
    EXPECT_EQ(text(s), u"abc");
}

TEST(CFString, UsesCharactersWithoutCopyingThem) {
    static const UniChar units[] = {'a', 0xE9};
    const auto s = hold(CFStringCreateWithCharactersNoCopy(nullptr, units, 2, kCFAllocatorNull));
    EXPECT_EQ(CFStringGetCharactersPtr(s), units);
    EXPECT_EQ(text(s), u"a\u00E9");
}

TEST(CFString, CharactersUsedWithoutCopyingEqualTheSameTextInEightBits) {
    static const UniChar units[] = {'a', 'b'};
    const auto s = hold(CFStringCreateWithCharactersNoCopy(nullptr, units, 2, kCFAllocatorNull));
    EXPECT_TRUE(CFEqual(s, CFSTR("ab")));
    EXPECT_EQ(CFHash(s), CFHash(CFSTR("ab")));
}

TEST(CFString, FreesBytesThatItUsedWhenItEnds) {
    TestAllocator allocator;
    auto* const bytes = static_cast<char*>(CFAllocatorAllocate(allocator, 4, 0));
    std::memcpy(bytes, "abc", 4);
    auto s = hold(CFStringCreateWithCStringNoCopy(nullptr, bytes, kCFStringEncodingUTF8, allocator));
    EXPECT_EQ(allocator.blocks(), 1);
    s.reset();
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFString, FreesBytesThatItHadToConvertAtOnce) {
    TestAllocator allocator;
    auto* const bytes = static_cast<char*>(CFAllocatorAllocate(allocator, 4, 0));
    std::memcpy(bytes, "\xC3\xA9", 3);
    const auto s = hold(CFStringCreateWithCStringNoCopy(nullptr, bytes, kCFStringEncodingUTF8, allocator));
    EXPECT_EQ(allocator.blocks(), 0);
    EXPECT_EQ(text(s), u"\u00E9");
}

TEST(CFString, LeavesBytesThatMakeNoStringToTheirOwner) {
    TestAllocator allocator;
    auto* const bytes = static_cast<char*>(CFAllocatorAllocate(allocator, 4, 0));
    std::memcpy(bytes, "\xFF", 2);
    EXPECT_EQ(CFStringCreateWithCStringNoCopy(nullptr, bytes, kCFStringEncodingUTF8, allocator), nullptr);
    EXPECT_EQ(allocator.blocks(), 1);
    CFAllocatorDeallocate(allocator, bytes);
}

TEST(CFString, FreesAPascalStringFromItsLengthByteOn) {
    TestAllocator allocator;
    for (const char* const content : {"\x03"
                                      "abc",
                                      "\x02\xC3\xA9"}) {
        auto* const bytes = static_cast<unsigned char*>(CFAllocatorAllocate(allocator, 4, 0));
        std::memcpy(bytes, content, std::strlen(content));
        auto s = hold(CFStringCreateWithPascalStringNoCopy(nullptr, bytes, kCFStringEncodingUTF8, allocator));
        ASSERT_NE(s.get(), nullptr);
        s.reset();
        EXPECT_EQ(allocator.blocks(), 0);
    }
}

// ---- Pascal and C strings

TEST(CFString, ReadsAndWritesPascalStrings) {
    const unsigned char pascal[] = {3, 'a', 'b', 'c'};
    const auto s = hold(CFStringCreateWithPascalString(nullptr, pascal, kCFStringEncodingMacRoman));
    EXPECT_EQ(text(s), u"abc");
    unsigned char buffer[8];
    ASSERT_TRUE(CFStringGetPascalString(s, buffer, sizeof buffer, kCFStringEncodingMacRoman));
    EXPECT_EQ(std::memcmp(buffer, pascal, sizeof pascal), 0);
    EXPECT_FALSE(CFStringGetPascalString(s, buffer, 3, kCFStringEncodingMacRoman));
    EXPECT_EQ(buffer[0], 0);
}

TEST(CFString, APascalStringHoldsAtMost255Bytes) {
    unsigned char buffer[300];
    const auto longest = string(std::u16string(255, u'a'));
    EXPECT_TRUE(CFStringGetPascalString(longest, buffer, sizeof buffer, kCFStringEncodingASCII));
    EXPECT_EQ(buffer[0], 255);
    EXPECT_FALSE(
        CFStringGetPascalString(string(std::u16string(256, u'a')), buffer, sizeof buffer, kCFStringEncodingASCII));
}

TEST(CFString, PointsAtThePascalStringThatItWasMadeOver) {
    static const unsigned char pascal[] = {2, 'a', 'b'};
    const auto s =
        hold(CFStringCreateWithPascalStringNoCopy(nullptr, pascal, kCFStringEncodingASCII, kCFAllocatorNull));
    EXPECT_EQ(CFStringGetPascalStringPtr(s, kCFStringEncodingMacRoman), pascal);
    EXPECT_EQ(CFStringGetPascalStringPtr(CFSTR("ab"), kCFStringEncodingMacRoman), nullptr);
}

TEST(CFString, WritesACStringIntoABufferThatJustFits) {
    char buffer[6];
    ASSERT_TRUE(CFStringGetCString(CFSTR("hello"), buffer, 6, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "hello");
}

TEST(CFString, LeavesAnEmptyTextInABufferTooShort) {
    char buffer[6] = "xxxxx";
    EXPECT_FALSE(CFStringGetCString(CFSTR("hello"), buffer, 5, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "");
}

TEST(CFString, LeavesABufferOfNoSizeAlone) {
    char buffer[2] = "x";
    EXPECT_FALSE(CFStringGetCString(CFSTR(""), buffer, 0, kCFStringEncodingUTF8));
    EXPECT_FALSE(CFStringGetCString(CFSTR(""), buffer, -1, kCFStringEncodingUTF8));
    EXPECT_FALSE(CFStringGetCString(CFSTR(""), nullptr, 8, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "x");
}

TEST(CFString, ACStringIsNeverLossy) {
    char buffer[8];
    EXPECT_FALSE(CFStringGetCString(string(u"a\u00E9"), buffer, sizeof buffer, kCFStringEncodingASCII));
    EXPECT_STREQ(buffer, "");
    EXPECT_FALSE(CFStringGetCString(hold(CFStringCreateWithCharacters(nullptr, &kLoneHigh, 1)), buffer, sizeof buffer,
                                    kCFStringEncodingUTF8));
}

// ---- Equality and hash

TEST(CFString, EqualsByTextAndHashesAlikeHoweverItIsKept) {
    for (const std::size_t length : {0u, 1u, 7u, 8u, 9u, 255u, 256u, 257u, 1000u}) {
        const std::u16string units(length, u'k');
        const auto narrow = string(units);
        const auto wide = Held::mutableString(u"\u00E9" + units);
        CFStringDelete(wide, CFRangeMake(0, 1));
        EXPECT_TRUE(CFEqual(narrow, wide)) << length;
        EXPECT_TRUE(CFEqual(wide, narrow)) << length;
        EXPECT_EQ(CFHash(narrow), CFHash(wide)) << length;
    }
}

TEST(CFString, DiffersByLengthAndByAnyUnit) {
    EXPECT_FALSE(CFEqual(CFSTR("abc"), CFSTR("ab")));
    EXPECT_FALSE(CFEqual(CFSTR("abc"), CFSTR("abd")));
    EXPECT_FALSE(CFEqual(string(u"\u00E9"), string(u"e\u0301")));
    EXPECT_FALSE(CFEqual(string(u"\u00E9"), string(u"\u01E9")));
    EXPECT_NE(CFHash(CFSTR("abc")), CFHash(CFSTR("abd")));
    EXPECT_NE(CFHash(CFSTR("")), CFHash(string(std::u16string(1, u'\0'))));
    EXPECT_NE(CFHash(string(std::u16string(8, u'\0'))), CFHash(string(std::u16string(9, u'\0'))));
}

TEST(CFString, IsNotEqualToAnObjectOfAnotherType) { EXPECT_FALSE(CFEqual(CFSTR("<null>"), kCFNull)); }

// ---- Constants

TEST(CFString, ALiteralGivesOneObjectWhereverItStands) {
    const CFStringRef here = CFSTR("one text, many places");
    EXPECT_EQ(here, CFSTR("one text, many places"));
    EXPECT_EQ(here, literalFromC());
    EXPECT_TRUE(inlineFunctionsWorkInC());
    EXPECT_TRUE(macrosWorkInC());
}

TEST(CFString, ALiteralIsUTF8) { EXPECT_EQ(text(CFSTR("h\xC3\xA9")), u"h\u00E9"); }

TEST(CFString, ALiteralThatIsNotUTF8KeepsItsBytes) { EXPECT_EQ(text(CFSTR("h\xE9")), u"h\u00E9"); }

TEST(CFString, ALiteralIsNeverFreed) {
    const CFStringRef literal = CFSTR("for ever");
    for (int i = 0; i < 10; ++i) CFRelease(literal);
    EXPECT_EQ(text(literal), u"for ever");
    EXPECT_EQ(CFRetain(literal), literal);
}

TEST(CFString, ThreadsThatMeetOverOneLiteralGetOneObject) {
    std::vector<CFStringRef> seen(8);
    std::vector<std::thread> threads;
    for (CFStringRef& slot : seen)
        threads.emplace_back([&slot] { slot = __CFStringMakeConstantString("met by threads"); });
    for (std::thread& thread : threads) thread.join();
    for (const CFStringRef one : seen) EXPECT_EQ(one, seen[0]);
}

// ---- The inline buffer

TEST(CFString, TheInlineBufferReadsEveryKindOfString) {
    static const UInt8 bytes[] = {'a', 'b', 'c', 'd'};
    std::u16string longText;
    for (char16_t unit = 0; unit < 500; ++unit) longText.push_back(static_cast<char16_t>(unit + 1));
    const auto wide = string(longText);
    const auto unterminated =
        hold(CFStringCreateWithBytesNoCopy(nullptr, bytes, 4, kCFStringEncodingASCII, false, kCFAllocatorNull));
    for (const CFStringRef s : {static_cast<CFStringRef>(wide), static_cast<CFStringRef>(unterminated), CFSTR("abc")}) {
        CFStringInlineBuffer buffer;
        const CFIndex length = CFStringGetLength(s) - 2;
        CFStringInitInlineBuffer(s, &buffer, CFRangeMake(1, length));
        for (CFIndex i = 0; i < length; ++i)
            EXPECT_EQ(CFStringGetCharacterFromInlineBuffer(&buffer, i), CFStringGetCharacterAtIndex(s, i + 1));
        EXPECT_EQ(CFStringGetCharacterFromInlineBuffer(&buffer, 0), CFStringGetCharacterAtIndex(s, 1));
        EXPECT_EQ(CFStringGetCharacterFromInlineBuffer(&buffer, -1), 0);
        EXPECT_EQ(CFStringGetCharacterFromInlineBuffer(&buffer, length), 0);
    }
}

// ---- File names

TEST(CFString, WritesFileNamesDecomposed) {
    char name[32];
    ASSERT_TRUE(CFStringGetFileSystemRepresentation(string(u"caf\u00E9"), name, sizeof name));
    EXPECT_STREQ(name, "cafe\xCC\x81");
    ASSERT_TRUE(CFStringGetFileSystemRepresentation(string(u"\uAC01"), name, sizeof name));
    EXPECT_STREQ(name, "\xE1\x84\x80\xE1\x85\xA1\xE1\x86\xA8");
}

TEST(CFString, LeavesCompatibilityIdeographsAndSymbolsInFileNamesComposed) {
    char name[32];
    ASSERT_TRUE(CFStringGetFileSystemRepresentation(string(u"\u2126\uF900"), name, sizeof name));
    EXPECT_STREQ(name, "\xE2\x84\xA6\xEF\xA4\x80");
}

TEST(CFString, AFileNameNeverTakesMoreThanItsMaximumSize) {
    for (const std::u16string_view units : {u"abc", u"caf\u00E9", u"\uAC01\uAC01", u"\U0001D160", u"\u1F82\u0390"}) {
        const auto s = string(units);
        const CFIndex maximum = CFStringGetMaximumSizeOfFileSystemRepresentation(s);
        std::vector<char> name(static_cast<std::size_t>(maximum));
        EXPECT_TRUE(CFStringGetFileSystemRepresentation(s, name.data(), maximum));
    }
}

TEST(CFString, RefusesFileNamesThatDoNotFitOrHoldNUL) {
    char name[4] = "xxx";
    EXPECT_FALSE(CFStringGetFileSystemRepresentation(CFSTR("abcd"), name, 4));
    EXPECT_STREQ(name, "");
    EXPECT_TRUE(CFStringGetFileSystemRepresentation(CFSTR("abc"), name, 4));
    EXPECT_FALSE(CFStringGetFileSystemRepresentation(string(std::u16string_view(u"a\0b", 3)), name, 4));
    EXPECT_FALSE(CFStringGetFileSystemRepresentation(nullptr, name, 4));
    EXPECT_FALSE(CFStringGetFileSystemRepresentation(CFSTR("a"), nullptr, 4));
}

TEST(CFString, ReadsFileNamesAsTheyStand) {
    const auto s = hold(CFStringCreateWithFileSystemRepresentation(nullptr, "cafe\xCC\x81"));
    EXPECT_EQ(text(s), u"cafe\u0301");
    EXPECT_EQ(CFStringCreateWithFileSystemRepresentation(nullptr, "\xFF"), nullptr);
}

// ---- Description

TEST(CFString, DescribesItselfWithItsContents) {
    const auto description = hold(CFCopyDescription(CFSTR("abc")));
    const std::string described = Held::utf8(description);
    EXPECT_EQ(described.rfind("<CFString 0x", 0), 0u) << described;
    EXPECT_NE(described.find("]>{contents = \"abc\"}"), std::string::npos) << described;
}

TEST(CFString, DescribesOtherTextUnescaped) {
    const auto description = hold(CFCopyDescription(string(u"\u00E9")));
    EXPECT_NE(Held::utf8(description).find("{contents = \"\xC3\xA9\"}"), std::string::npos);
}

TEST(CFString, SurvivesNullArgumentsWhenMade) {
    using namespace NullArguments;
    attack([](bool noText, Length length, Encoding encoding, bool isExternal) {
        const UInt8 bytes[] = {'a', 'b', 0, 0};
        const UniChar units[] = {'a', 0xE4};
        take(CFStringCreateWithBytes(nullptr, orNull(noText, bytes), length.value, encoding.value, isExternal));
        take(CFStringCreateWithBytesNoCopy(nullptr, orNull(noText, bytes), length.value, encoding.value, isExternal,
                                           kCFAllocatorNull));
        const bool isRight = length.value == 0 || (length.value > 0 && !noText);
        EXPECT_EQ(hold(CFStringCreateWithCharacters(nullptr, orNull(noText, units), length.value)).get() != nullptr,
                  isRight);
        EXPECT_EQ(
            hold(CFStringCreateWithCharactersNoCopy(nullptr, orNull(noText, units), length.value, kCFAllocatorNull))
                    .get() != nullptr,
            isRight);
        take(CFStringCreateWithCString(nullptr, noText ? nullptr : "ab", encoding.value));
        take(CFStringCreateWithCStringNoCopy(nullptr, noText ? nullptr : "ab", encoding.value, kCFAllocatorNull));
        const unsigned char pascal[] = {2, 'a', 'b'};
        take(CFStringCreateWithPascalString(nullptr, orNull(noText, pascal), encoding.value));
        take(CFStringCreateWithPascalStringNoCopy(nullptr, orNull(noText, pascal), encoding.value, kCFAllocatorNull));
        const auto document = fourBytes();
        take(CFStringCreateFromExternalRepresentation(nullptr, orNull(noText, document.get()), encoding.value));
        take(CFStringCreateExternalRepresentation(nullptr, noText ? nullptr : CFSTR("ab"), encoding.value, 0));
        CFStringGetNameOfEncoding(encoding.value);
        CFStringConvertEncodingToNSStringEncoding(encoding.value);
        CFStringConvertEncodingToWindowsCodepage(encoding.value);
        CFStringConvertEncodingToIANACharSetName(encoding.value);
        CFStringGetMostCompatibleMacStringEncoding(encoding.value);
    });
    attack([](bool noText, CFIndex maximum, CFIndex capacity) {
        take(CFStringCreateMutable(nullptr, maximum));
        const auto whole = fourUnits(noText);
        take(CFStringCreateMutableCopy(nullptr, maximum, orNull(noText, whole.get())));
        UniChar units[4] = {'a', 'b', 'c', 'd'};
        const auto external = hold(CFStringCreateMutableWithExternalCharactersNoCopy(
            nullptr, orNull(noText, units), maximum > 4 ? -1 : maximum, capacity > 4 ? 4 : capacity, kCFAllocatorNull));
        if (external) {
            CFStringSetExternalCharactersNoCopy(external, orNull(noText, units), maximum > 4 ? -1 : maximum,
                                                capacity > 4 ? 4 : capacity);
            CFStringSetExternalCharactersNoCopy(external, nullptr, maximum, capacity);
        }
        CFStringSetExternalCharactersNoCopy(nullptr, units, 4, 4);
        CFStringSetExternalCharactersNoCopy(whole, orNull(noText, units), maximum, capacity);
    });
    EXPECT_EQ(CFStringCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateStringWithValidatedFormat(nullptr, nullptr, nullptr, CFSTR("%@"), nullptr), nullptr);
    EXPECT_EQ(CFStringCreateStringWithValidatedFormat(nullptr, nullptr, CFSTR("%@"), nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateWithFileSystemRepresentation(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateByCombiningStrings(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateArrayBySeparatingStrings(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateArrayBySeparatingStrings(nullptr, nullptr, CFSTR(",")), nullptr);
    take(CFStringCreateByCombiningStrings(nullptr, fourInArray(), nullptr));
    take(CFStringCreateArrayBySeparatingStrings(nullptr, CFSTR("a"), nullptr));
    EXPECT_EQ(__CFStringMakeConstantString(nullptr), nullptr);
    CFStringConvertIANACharSetNameToEncoding(nullptr);
    CFStringConvertWindowsCodepageToEncoding(~0U);
    CFStringConvertNSStringEncodingToEncoding(~0UL);
}

TEST(CFString, SurvivesNullArgumentsWhenRead) {
    using namespace NullArguments;
    attack([](bool noString, bool isWide, CFRange range, Encoding encoding, bool noPlace, CFIndex capacity) {
        const auto whole = fourUnits(isWide);
        const CFStringRef given = orNull(noString, whole.get());
        UInt8 buffer[32];
        CFIndex used = 0;
        if (capacity > 32) capacity = 32;
        CFStringGetBytes(given, range, encoding.value, '?', true, orNull(noPlace, buffer), capacity,
                         orNull(noPlace, &used));
        EXPECT_LE(used, 32);
        if (noString || !fits(range)) {
            EXPECT_EQ(used, 0);
        }
    });
    attack([](bool noString, bool isWide, Encoding encoding, bool noPlace, CFIndex capacity) {
        const auto whole = fourUnits(isWide);
        const CFStringRef given = orNull(noString, whole.get());
        char bytes[32];
        unsigned char pascal[32];
        CFIndex room = capacity > 32 ? 32 : capacity;
        CFStringGetCString(given, orNull(noPlace, bytes), room, encoding.value);
        CFStringGetPascalString(given, orNull(noPlace, pascal), room, encoding.value);
        CFStringGetFileSystemRepresentation(given, orNull(noPlace, bytes), room);
        CFStringGetCStringPtr(given, encoding.value);
        CFStringGetPascalStringPtr(given, encoding.value);
        CFStringGetMaximumSizeForEncoding(capacity, encoding.value);
        CFStringGetCharacterAtIndex(given, capacity);
        CFStringGetRangeOfComposedCharactersAtIndex(given, capacity);
    });
    attack([](bool noString, bool isWide, CFRange range, bool noPlace) {
        const auto whole = fourUnits(isWide);
        const CFStringRef given = orNull(noString, whole.get());
        UniChar units[4];
        CFIndex begin, end, contents;
        CFStringGetCharacters(given, range, orNull(noPlace, units));
        CFStringGetLineBounds(given, range, orNull(noPlace, &begin), orNull(noPlace, &end), orNull(noPlace, &contents));
        CFStringGetParagraphBounds(given, range, orNull(noPlace, &begin), orNull(noPlace, &end),
                                   orNull(noPlace, &contents));
        UTF32Char character;
        CFStringGetHyphenationLocationBeforeIndex(given, range.location, range, 0, nullptr,
                                                  orNull(noPlace, &character));
        EXPECT_EQ(hold(CFStringCreateWithSubstring(nullptr, given, range)).get() != nullptr, !noString && fits(range));
        CFStringInlineBuffer buffer;
        CFStringInitInlineBuffer(given, &buffer, range);
        for (const CFIndex index : kIndexes) {
            const UniChar unit = CFStringGetCharacterFromInlineBuffer(&buffer, index);
            EXPECT_EQ(unit != 0, !noString && fits(range) && index >= 0 && index < range.length);
        }
    });
    EXPECT_EQ(CFStringGetLength(nullptr), 0);
    EXPECT_EQ(CFStringGetCharactersPtr(nullptr), nullptr);
    EXPECT_EQ(CFStringGetIntValue(nullptr), 0);
    EXPECT_EQ(CFStringGetDoubleValue(nullptr), 0);
    CFStringGetSmallestEncoding(nullptr);
    CFStringGetFastestEncoding(nullptr);
    CFStringGetMaximumSizeOfFileSystemRepresentation(nullptr);
    CFStringIsHyphenationAvailableForLocale(nullptr);
    EXPECT_FALSE(CFStringGetSurrogatePairForLongCharacter(0xFFFF, nullptr));
    EXPECT_TRUE(CFStringGetSurrogatePairForLongCharacter(0x10000, nullptr));
}
