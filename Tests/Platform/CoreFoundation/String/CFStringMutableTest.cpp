#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/TestAllocator.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

using Held::hold;
using Held::mutableString;
using Held::string;
using Held::text;

constexpr CFIndex kHuge = std::numeric_limits<CFIndex>::max();

const UniChar kLetters[] = {'a', 0xE9, 'b'};

}  // namespace

// ---- How text is kept

TEST(CFStringMutable, AnEmptyStringGivesNoPointer) {
    const auto s = hold(CFStringCreateMutable(nullptr, 0));
    EXPECT_EQ(CFStringGetLength(s), 0);
    EXPECT_EQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), nullptr);
    EXPECT_EQ(CFStringGetCharactersPtr(s), nullptr);
    CFStringAppend(s, CFSTR("a"));
    CFStringDelete(s, CFRangeMake(0, 1));
    EXPECT_EQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), nullptr);
}

TEST(CFStringMutable, ASCIIIsKeptInEightBitsAndTerminated) {
    const auto s = hold(CFStringCreateMutable(nullptr, 0));
    for (int i = 0; i < 100; ++i) {
        CFStringAppendCString(s, "xy", kCFStringEncodingUTF8);
        ASSERT_STREQ(CFStringGetCStringPtr(s, kCFStringEncodingUTF8), std::string(Held::utf8(s)).c_str());
        ASSERT_EQ(std::strlen(CFStringGetCStringPtr(s, kCFStringEncodingUTF8)),
                  static_cast<std::size_t>(CFStringGetLength(s)));
    }
    CFStringDelete(s, CFRangeMake(3, 150));
    EXPECT_EQ(std::strlen(CFStringGetCStringPtr(s, kCFStringEncodingUTF8)), 50u);
}

TEST(CFStringMutable, UTF16UnitsThatAreASCIILeaveItInEightBits) {
    const auto s = mutableString(u"ab");
    const UniChar units[] = {'c', 'd'};
    CFStringAppendCharacters(s, units, 2);
    EXPECT_STREQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), "abcd");
}

TEST(CFStringMutable, StaysInUTF16OnceItHeldOtherText) {
    const auto s = mutableString(u"ab");
    CFStringAppend(s, string(u"\u00E9"));
    EXPECT_EQ(text(s), u"ab\u00E9");
    CFStringDelete(s, CFRangeMake(2, 1));
    EXPECT_EQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), nullptr);
    ASSERT_NE(CFStringGetCharactersPtr(s), nullptr);
    CFStringAppend(s, CFSTR("cd"));
    EXPECT_EQ(text(s), u"abcd");
    EXPECT_EQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), nullptr);
}

// ---- Changing

TEST(CFStringMutable, AppendsEveryKindOfText) {
    const unsigned char pascal[] = {2, 'p', 0xE9};
    const auto s = hold(CFStringCreateMutable(nullptr, 0));
    CFStringAppend(s, CFSTR("s"));
    CFStringAppendCharacters(s, kLetters, 3);
    CFStringAppendCString(s, "\xF0\x9F\x98\x80", kCFStringEncodingUTF8);
    CFStringAppendPascalString(s, pascal, kCFStringEncodingISOLatin1);
    EXPECT_EQ(text(s), u"sa\u00E9b\U0001F600p\u00E9");
}

TEST(CFStringMutable, InsertsReplacesAndDeletes) {
    for (const bool wide : {false, true}) {
        const auto s = mutableString(wide ? u"\u00E9" : u"");
        if (wide) CFStringDelete(s, CFRangeMake(0, 1));
        CFStringAppend(s, CFSTR("hello world"));
        CFStringInsert(s, 5, CFSTR(","));
        EXPECT_EQ(text(s), u"hello, world");
        CFStringReplace(s, CFRangeMake(7, 5), CFSTR("everybody"));
        EXPECT_EQ(text(s), u"hello, everybody");
        CFStringReplace(s, CFRangeMake(0, 5), CFSTR("hi"));
        EXPECT_EQ(text(s), u"hi, everybody");
        CFStringDelete(s, CFRangeMake(2, 11));
        EXPECT_EQ(text(s), u"hi");
        CFStringReplaceAll(s, CFSTR("all new"));
        EXPECT_EQ(text(s), u"all new");
        CFStringInsert(s, 7, string(u"\u00E9"));
        CFStringInsert(s, 0, string(u"\u65E5"));
        EXPECT_EQ(text(s), u"\u65E5all new\u00E9");
        CFStringReplaceAll(s, CFSTR(""));
        EXPECT_EQ(CFStringGetLength(s), 0);
    }
}

TEST(CFStringMutable, TakesItsOwnTextIntoItself) {
    for (const std::u16string_view units : {u"abc", u"\u00E9bc"}) {
        const auto s = mutableString(units);
        const std::u16string own(units);
        CFStringAppend(s, s);
        EXPECT_EQ(text(s), own + own);
        CFStringInsert(s, 1, s);
        EXPECT_EQ(text(s), own.substr(0, 1) + own + own + own.substr(1) + own);
        CFStringReplaceAll(s, s);
        EXPECT_EQ(CFStringGetLength(s), 12);
        if (const UniChar* const inside = CFStringGetCharactersPtr(s)) CFStringAppendCharacters(s, inside + 1, 2);
        if (const char* const inside = CFStringGetCStringPtr(s, kCFStringEncodingASCII))
            CFStringAppendCString(s, inside + 10, kCFStringEncodingASCII);
        EXPECT_EQ(CFStringGetLength(s), 14);
    }
}

TEST(CFStringMutable, IgnoresWhatIsOutOfRange) {
    const auto s = mutableString(u"abc");
    for (const CFRange range : {CFRangeMake(0, 4), CFRangeMake(-1, 1), CFRangeMake(4, 0), CFRangeMake(1, kHuge),
                                CFRangeMake(kHuge, 1), CFRangeMake(1, -1)}) {
        CFStringDelete(s, range);
        CFStringReplace(s, range, CFSTR("x"));
    }
    CFStringInsert(s, 4, CFSTR("x"));
    CFStringInsert(s, -1, CFSTR("x"));
    CFStringAppendCharacters(s, kLetters, -1);
    EXPECT_EQ(text(s), u"abc");
}

TEST(CFStringMutable, IgnoresNullAndWhatCannotBeConverted) {
    const auto s = mutableString(u"abc");
    CFStringAppend(s, nullptr);
    CFStringAppendCharacters(s, nullptr, 3);
    CFStringAppendCString(s, nullptr, kCFStringEncodingUTF8);
    CFStringAppendCString(s, "\xFF", kCFStringEncodingUTF8);
    CFStringAppendCString(s, "x", 0x7777);
    CFStringAppendPascalString(s, nullptr, kCFStringEncodingUTF8);
    CFStringInsert(s, 0, nullptr);
    CFStringReplace(s, CFRangeMake(0, 1), nullptr);
    CFStringReplaceAll(s, nullptr);
    EXPECT_EQ(text(s), u"abc");
    CFStringAppend(nullptr, CFSTR("x"));
    CFStringAppendCharacters(nullptr, kLetters, 3);
    CFStringAppendCString(nullptr, "x", kCFStringEncodingUTF8);
    CFStringDelete(nullptr, CFRangeMake(0, 0));
    CFStringReplaceAll(nullptr, CFSTR("x"));
    CFStringPad(nullptr, CFSTR("x"), 3, 0);
    CFStringTrim(nullptr, CFSTR("x"));
    CFStringTrimWhitespace(nullptr);
}

TEST(CFStringMutable, LeavesAnImmutableStringAsItIs) {
    const auto s = string(u"abc");
    const CFMutableStringRef claimed = const_cast<CFMutableStringRef>(s.get());
    CFStringAppend(claimed, CFSTR("x"));
    CFStringAppendCString(claimed, "x", kCFStringEncodingASCII);
    CFStringDelete(claimed, CFRangeMake(0, 1));
    CFStringPad(claimed, CFSTR("x"), 10, 0);
    CFStringPad(claimed, nullptr, 1, 0);
    CFStringTrim(claimed, CFSTR("a"));
    EXPECT_EQ(text(s), u"abc");
}

// ---- Limits

TEST(CFStringMutable, NeverHoldsMoreThanItsLimit) {
    const auto s = hold(CFStringCreateMutable(nullptr, 5));
    CFStringAppend(s, CFSTR("abc"));
    CFStringAppend(s, CFSTR("def"));
    EXPECT_EQ(text(s), u"abc");
    CFStringAppend(s, CFSTR("de"));
    EXPECT_EQ(text(s), u"abcde");
    CFStringInsert(s, 0, CFSTR("x"));
    CFStringReplace(s, CFRangeMake(0, 1), CFSTR("xy"));
    CFStringPad(s, CFSTR("x"), 6, 0);
    EXPECT_EQ(text(s), u"abcde");
    CFStringReplace(s, CFRangeMake(0, 2), CFSTR("xy"));
    EXPECT_EQ(text(s), u"xycde");
}

TEST(CFStringMutable, ACopyThatItsLimitDoesNotAllowIsNotMade) {
    EXPECT_EQ(CFStringCreateMutableCopy(nullptr, 2, CFSTR("abc")), nullptr);
    const auto s = hold(CFStringCreateMutableCopy(nullptr, 3, CFSTR("abc")));
    EXPECT_EQ(text(s), u"abc");
    EXPECT_EQ(CFStringCreateMutableCopy(nullptr, 0, nullptr), nullptr);
}

TEST(CFStringMutable, ANegativeLimitMakesNoString) { EXPECT_EQ(CFStringCreateMutable(nullptr, -1), nullptr); }

TEST(CFStringMutable, ALengthThatNoMemoryHoldsChangesNothing) {
    TestAllocator allocator;
    const auto s = hold(CFStringCreateMutableCopy(allocator, 0, CFSTR("abc")));
    CFStringPad(s, CFSTR("x"), kHuge, 0);
    CFStringPad(s, string(u"\u00E9"), kHuge / 2, 0);
    CFStringPad(s, CFSTR("x"), kHuge - 4096, 0);
    EXPECT_EQ(text(s), u"abc");
    EXPECT_STREQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), "abc");
}

TEST(CFStringMutable, StaysAsItWasWhenMemoryEnds) {
    TestAllocator allocator;
    const auto s = hold(CFStringCreateMutable(allocator, 0));
    CFStringAppend(s, CFSTR("abc"));
    allocator.failAfter(0);
    CFStringAppend(s, string(std::u16string(100, u'x')));
    CFStringAppend(s, string(u"\u00E9"));
    CFStringPad(s, CFSTR("x"), 100, 0);
    EXPECT_EQ(text(s), u"abc");
    EXPECT_STREQ(CFStringGetCStringPtr(s, kCFStringEncodingASCII), "abc");
}

TEST(CFStringMutable, GivesBackAllItsMemory) {
    TestAllocator allocator;
    auto s = hold(CFStringCreateMutable(allocator, 0));
    for (int i = 0; i < 50; ++i) CFStringAppend(s, CFSTR("abcdef"));
    CFStringAppend(s, string(u"\u00E9"));
    EXPECT_GT(allocator.blocks(), 0);
    s.reset();
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFStringMutable, AppendingAsksForMemorySeldom) {
    TestAllocator allocator;
    const auto s = hold(CFStringCreateMutable(allocator, 0));
    for (int i = 0; i < 10000; ++i) CFStringAppendCString(s, "x", kCFStringEncodingASCII);
    EXPECT_EQ(CFStringGetLength(s), 10000);
    EXPECT_LT(allocator.requests(), 30);
}

// ---- External characters

TEST(CFStringMutable, WorksInTheBufferItWasHanded) {
    UniChar buffer[8] = {'a', 'b', 'c'};
    const auto s = hold(CFStringCreateMutableWithExternalCharactersNoCopy(nullptr, buffer, 3, 8, kCFAllocatorNull));
    EXPECT_EQ(CFStringGetCharactersPtr(s), buffer);
    CFStringAppend(s, CFSTR("de"));
    CFStringDelete(s, CFRangeMake(0, 1));
    EXPECT_EQ(CFStringGetCharactersPtr(s), buffer);
    EXPECT_EQ(text(s), u"bcde");
    EXPECT_EQ(buffer[0], 'b');
}

TEST(CFStringMutable, ABufferThatItsOwnerKeepsDoesNotGrow) {
    UniChar buffer[4] = {'a', 'b', 'c'};
    const auto s = hold(CFStringCreateMutableWithExternalCharactersNoCopy(nullptr, buffer, 3, 4, kCFAllocatorNull));
    CFStringAppend(s, CFSTR("de"));
    EXPECT_EQ(text(s), u"abc");
    CFStringAppend(s, CFSTR("d"));
    EXPECT_EQ(text(s), u"abcd");
}

TEST(CFStringMutable, ABufferThatItOwnsGrowsAndIsFreed) {
    TestAllocator allocator;
    auto* const buffer = static_cast<UniChar*>(CFAllocatorAllocate(allocator, 4 * sizeof(UniChar), 0));
    buffer[0] = 'a';
    auto s = hold(CFStringCreateMutableWithExternalCharactersNoCopy(nullptr, buffer, 1, 4, allocator));
    CFStringAppend(s, CFSTR("bcdefghij"));
    EXPECT_EQ(text(s), u"abcdefghij");
    EXPECT_EQ(allocator.blocks(), 1);
    s.reset();
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFStringMutable, SeesTheNewBufferItIsTold) {
    UniChar first[2] = {'a', 'b'};
    UniChar second[3] = {'x', 'y', 'z'};
    const auto s = hold(CFStringCreateMutableWithExternalCharactersNoCopy(nullptr, first, 2, 2, kCFAllocatorNull));
    CFStringSetExternalCharactersNoCopy(s, second, 3, 3);
    EXPECT_EQ(text(s), u"xyz");
    CFStringSetExternalCharactersNoCopy(s, second, 4, 3);
    CFStringSetExternalCharactersNoCopy(s, second, -1, 3);
    CFStringSetExternalCharactersNoCopy(s, nullptr, 0, 3);
    EXPECT_EQ(text(s), u"xyz");
    CFStringSetExternalCharactersNoCopy(s, nullptr, 0, 0);
    EXPECT_EQ(CFStringGetLength(s), 0);
}

TEST(CFStringMutable, OnlyAStringOverExternalCharactersTakesAnotherBuffer) {
    UniChar buffer[1] = {'x'};
    const auto s = mutableString(u"abc");
    CFStringSetExternalCharactersNoCopy(s, buffer, 1, 1);
    EXPECT_EQ(text(s), u"abc");
}

TEST(CFStringMutable, RefusesBuffersThatCannotBe) {
    UniChar buffer[1] = {'x'};
    EXPECT_EQ(CFStringCreateMutableWithExternalCharactersNoCopy(nullptr, buffer, 2, 1, kCFAllocatorNull), nullptr);
    EXPECT_EQ(CFStringCreateMutableWithExternalCharactersNoCopy(nullptr, buffer, -1, 1, kCFAllocatorNull), nullptr);
    EXPECT_EQ(CFStringCreateMutableWithExternalCharactersNoCopy(nullptr, nullptr, 0, 1, kCFAllocatorNull), nullptr);
}

// ---- Padding and trimming

TEST(CFStringMutable, PadsFromAnyPlaceInThePad) {
    const auto s = mutableString(u"ab");
    CFStringPad(s, CFSTR("123"), 9, 1);
    EXPECT_EQ(text(s), u"ab2312312");
    CFStringPad(s, string(u"\u00E9"), 10, 0);
    EXPECT_EQ(text(s), u"ab2312312\u00E9");
}

TEST(CFStringMutable, PadsWithItself) {
    const auto s = mutableString(u"ab");
    CFStringPad(s, s, 7, 1);
    EXPECT_EQ(text(s), u"abbabab");
}

TEST(CFStringMutable, PaddingToLessCutsTheEnd) {
    const auto s = mutableString(u"abcdef");
    CFStringPad(s, nullptr, 2, 0);
    EXPECT_EQ(text(s), u"ab");
    CFStringPad(s, nullptr, 2, 0);
    EXPECT_EQ(text(s), u"ab");
    CFStringPad(s, CFSTR("x"), 0, 0);
    EXPECT_EQ(CFStringGetLength(s), 0);
}

TEST(CFStringMutable, PaddingWithNothingOrFromOutsideChangesNothing) {
    const auto s = mutableString(u"ab");
    CFStringPad(s, nullptr, 5, 0);
    CFStringPad(s, CFSTR(""), 5, 0);
    CFStringPad(s, CFSTR("x"), 5, 1);
    CFStringPad(s, CFSTR("x"), 5, -1);
    CFStringPad(s, CFSTR("x"), -1, 0);
    EXPECT_EQ(text(s), u"ab");
}

TEST(CFStringMutable, TrimsATextFromBothEndsAsOftenAsItStands) {
    const auto s = mutableString(u"ababxababyab");
    CFStringTrim(s, CFSTR("ab"));
    EXPECT_EQ(text(s), u"xababy");
    CFStringTrim(s, CFSTR(""));
    CFStringTrim(s, nullptr);
    CFStringTrim(s, CFSTR("xababyz"));
    EXPECT_EQ(text(s), u"xababy");
    CFStringTrim(s, CFSTR("xababy"));
    EXPECT_EQ(CFStringGetLength(s), 0);
}

TEST(CFStringMutable, TrimmingNeverCountsTheSameUnitsTwice) {
    const auto s = mutableString(u"aaa");
    CFStringTrim(s, CFSTR("aa"));
    EXPECT_EQ(text(s), u"a");
    CFStringReplaceAll(s, CFSTR("aaaa"));
    CFStringTrim(s, s);
    EXPECT_EQ(CFStringGetLength(s), 0);
}

TEST(CFStringMutable, TrimsWhiteSpaceAndLineEnds) {
    const auto s = mutableString(u" \t\r\n\u00A0\u2003\u3000a b\u2028\u0085 ");
    CFStringTrimWhitespace(s);
    EXPECT_EQ(text(s), u"a b");
    const auto blank = mutableString(u" \n ");
    CFStringTrimWhitespace(blank);
    EXPECT_EQ(CFStringGetLength(blank), 0);
    CFStringTrimWhitespace(blank);
    EXPECT_EQ(CFStringGetLength(blank), 0);
}

TEST(CFStringMutable, SurvivesNullArguments) {
    using namespace NullArguments;
    attack([](bool noString, bool noOther, bool isWide, CFRange range, Flags flags) {
        const CFStringRef other = noOther ? nullptr : CFSTR("b");
        const auto untouched = fourUnits(isWide);
        auto whole = fourUnits(isWide);
        const CFMutableStringRef given = orNull(noString, whole.get());
        CFStringReplace(given, range, other);
        if (noString || !fits(range)) {
            EXPECT_TRUE(CFEqual(whole, untouched));
        }
        CFStringDelete(given, range);
        CFStringInsert(given, range.location, other);
        CFStringFindAndReplace(given, other, other, range, flags.value);
        CFStringFindAndReplace(given, other, nullptr, range, flags.value);
        CFRange part = range;
        CFStringTransform(given, &part, noOther ? nullptr : kCFStringTransformToUnicodeName, isWide);
        CFStringFold(given, flags.value, nullptr);
    });
    attack([](bool noString, bool noOther, bool isWide, CFIndex length, CFIndex index) {
        auto whole = fourUnits(isWide);
        const CFMutableStringRef given = orNull(noString, whole.get());
        const UniChar units[] = {'u', 'v'};
        CFStringPad(given, noOther ? nullptr : CFSTR("xy"), length, index);
        CFStringAppendCharacters(given, orNull(noOther, units), length > 2 ? -1 : length);
    });
    attack([](bool noString, bool noOther, bool isWide, Encoding encoding) {
        auto whole = fourUnits(isWide);
        const CFMutableStringRef given = orNull(noString, whole.get());
        const CFStringRef other = noOther ? nullptr : CFSTR("b");
        const unsigned char pascal[] = {1, 'p'};
        CFStringAppend(given, other);
        CFStringAppendCString(given, noOther ? nullptr : "c", encoding.value);
        CFStringAppendPascalString(given, orNull(noOther, pascal), encoding.value);
        CFStringAppendFormat(given, nullptr, other);
        CFStringTrim(given, other);
        CFStringTrimWhitespace(given);
        CFStringLowercase(given, nullptr);
        CFStringUppercase(given, nullptr);
        CFStringCapitalize(given, nullptr);
        for (const CFIndex form : kIndexes) CFStringNormalize(given, static_cast<CFStringNormalizationForm>(form));
        CFStringTransform(given, nullptr, nullptr, false);
        CFStringReplaceAll(given, other);
        EXPECT_EQ(CFEqual(whole, CFSTR("b")), !noString && !noOther);
    });
}
