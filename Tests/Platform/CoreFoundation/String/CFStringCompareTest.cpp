#include "Platform/CoreFoundation/Held.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

using Held::mutableString;
using Held::string;

namespace {

CFComparisonResult compare(std::u16string_view a, std::u16string_view b, CFStringCompareFlags flags = 0) {
    const CFComparisonResult result = CFStringCompare(string(a), string(b), flags);
    // Whatever the flags, the order turns round with its arguments.
    EXPECT_EQ(CFStringCompare(string(b), string(a), flags), -result);
    return result;
}

/// A string kept in UTF-16 though it is ASCII: it once held other text.
Held::Holder<CFMutableStringRef> wideASCII(std::u16string_view ascii) {
    auto made = mutableString(std::u16string(ascii) + u'\u00E9');
    CFStringDelete(made, CFRangeMake(static_cast<CFIndex>(ascii.size()), 1));
    EXPECT_NE(CFStringGetCharactersPtr(made), nullptr);
    return made;
}

constexpr CFComparisonResult kLess = kCFCompareLessThan;
constexpr CFComparisonResult kEqual = kCFCompareEqualTo;
constexpr CFComparisonResult kGreater = kCFCompareGreaterThan;

}  // namespace

// ---- Literally

TEST(CFStringCompare, OrdersByUnit) {
    EXPECT_EQ(compare(u"a", u"b"), kLess);
    EXPECT_EQ(compare(u"a", u"B"), kGreater);
    EXPECT_EQ(compare(u"abc", u"abc"), kEqual);
    EXPECT_EQ(compare(u"z", u"\u00E9"), kLess);
    EXPECT_EQ(compare(u"\u00E9", u"\u00E8"), kGreater);
}

TEST(CFStringCompare, PutsAPrefixFirst) {
    EXPECT_EQ(compare(u"abc", u"abcd"), kLess);
    EXPECT_EQ(compare(u"", u"a"), kLess);
    EXPECT_EQ(compare(u"", u""), kEqual);
    EXPECT_EQ(compare(u"\u00E9", u"\u00E9\u00E9"), kLess);
}

TEST(CFStringCompare, OrdersSurrogatesAsUnitsNotAsCodePoints) {
    EXPECT_EQ(compare(u"\U0001F600", u"\uFFFD"), kLess);
    EXPECT_EQ(compare(u"\U0001F600", u"\U0001F601"), kLess);
}

TEST(CFStringCompare, TellsLoneSurrogatesApart) {
    const std::u16string high(1, char16_t{0xD800}), low(1, char16_t{0xDC00});
    EXPECT_EQ(compare(high, low), kLess);
    EXPECT_EQ(compare(high, high), kEqual);
    EXPECT_EQ(compare(high + high, high), kGreater);
    EXPECT_EQ(compare(high, low, kCFCompareNonliteral | kCFCompareCaseInsensitive), kLess);
}

TEST(CFStringCompare, FindsADifferenceAtAnyPlace) {
    for (std::size_t length = 1; length <= 40; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            std::u16string a(length, u'\u00E9'), b = a;
            b[at] = u'\u00EA';
            EXPECT_EQ(compare(a, b), kLess) << length << ' ' << at;
            EXPECT_EQ(compare(a, a), kEqual);
        }
    }
}

TEST(CFStringCompare, SeesNoDifferenceInHowTextIsKept) {
    EXPECT_EQ(CFStringCompare(string(u"hello"), wideASCII(u"hello"), 0), kEqual);
    EXPECT_EQ(CFStringCompare(wideASCII(u"hello"), string(u"hellp"), 0), kLess);
    EXPECT_EQ(CFStringCompare(wideASCII(u"hello"), string(u"hell"), 0), kGreater);
    EXPECT_EQ(CFStringCompare(wideASCII(u"HELLO"), string(u"hello"), kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(CFStringCompare(wideASCII(u"a10"), string(u"a9"), kCFCompareNumerically), kGreater);
}

TEST(CFStringCompare, KeepsPrecomposedAndDecomposedApart) {
    EXPECT_NE(compare(u"\u00E9", u"e\u0301"), kEqual);
    EXPECT_NE(compare(u"\u00E9", u"e\u0301", kCFCompareCaseInsensitive), kEqual);
}

TEST(CFStringCompare, ComparesTextWithNULs) {
    using namespace std::literals;
    EXPECT_EQ(compare(u"a\0b"sv, u"a\0c"sv), kLess);
    EXPECT_EQ(compare(u"a\0b"sv, u"a\0B"sv, kCFCompareCaseInsensitive), kEqual);
}

// ---- Nulls and ranges

TEST(CFStringCompare, PutsNoStringBeforeEveryString) {
    EXPECT_EQ(CFStringCompare(nullptr, nullptr, 0), kEqual);
    EXPECT_EQ(CFStringCompare(nullptr, CFSTR(""), 0), kLess);
    EXPECT_EQ(CFStringCompare(CFSTR(""), nullptr, 0), kGreater);
    EXPECT_EQ(CFStringCompareWithOptions(nullptr, CFSTR("a"), CFRangeMake(0, 1), 0), kLess);
}

TEST(CFStringCompare, ComparesARangeOfTheFirstWithAllOfTheSecond) {
    EXPECT_EQ(CFStringCompareWithOptions(CFSTR("xabcx"), CFSTR("abc"), CFRangeMake(1, 3), 0), kEqual);
    EXPECT_EQ(CFStringCompareWithOptions(CFSTR("xabcx"), CFSTR("abcx"), CFRangeMake(1, 3), 0), kLess);
    EXPECT_EQ(CFStringCompareWithOptions(string(u"x\u00E9A"), CFSTR("a"), CFRangeMake(2, 1), kCFCompareCaseInsensitive),
              kEqual);
    EXPECT_EQ(CFStringCompareWithOptionsAndLocale(CFSTR("abc"), CFSTR("b"), CFRangeMake(1, 1), 0, nullptr), kEqual);
}

TEST(CFStringCompare, TakesWhatOfARangeLiesWithinTheString) {
    const CFIndex most = INT64_MAX;
    EXPECT_EQ(CFStringCompareWithOptions(CFSTR("abc"), CFSTR("bc"), CFRangeMake(1, 100), 0), kEqual);
    EXPECT_EQ(CFStringCompareWithOptions(CFSTR("abc"), CFSTR("bc"), CFRangeMake(1, most), 0), kEqual);
    EXPECT_EQ(CFStringCompareWithOptions(CFSTR("abc"), CFSTR("a"), CFRangeMake(-1, 2), 0), kEqual);
    for (const CFRange outside : {CFRangeMake(3, 5), CFRangeMake(most, most), CFRangeMake(-5, 2), CFRangeMake(0, -1),
                                  CFRangeMake(INT64_MIN, 1), CFRangeMake(INT64_MIN, INT64_MIN)})
        EXPECT_EQ(CFStringCompareWithOptions(CFSTR("abc"), CFSTR(""), outside, 0), kEqual)
            << outside.location << ' ' << outside.length;
}

// ---- Case

TEST(CFStringCompare, IgnoresCaseOfASCII) {
    EXPECT_EQ(compare(u"Hello", u"hELLO", kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"Hello", u"help", kCFCompareCaseInsensitive), kLess);
    EXPECT_EQ(compare(u"[", u"a", kCFCompareCaseInsensitive), kLess);
    EXPECT_EQ(compare(u"@", u"`", kCFCompareCaseInsensitive), kLess);
}

TEST(CFStringCompare, IgnoresTheCaseOfLettersOnlyAtAnyPlace) {
    for (std::size_t at = 0; at < 20; ++at) {
        for (char16_t a = 1; a < 0x80; ++a) {
            for (const char16_t b : {char16_t(a ^ 0x20), char16_t((a + 1) & 0x7F)}) {
                std::u16string left(20, u'x'), right(20, u'X');
                left[at] = a;
                right[at] = b;
                const auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? c + 32 : int{c}; };
                const int difference = lower(a) - lower(b);
                EXPECT_EQ(CFStringCompare(string(left), string(right), kCFCompareCaseInsensitive),
                          difference < 0   ? kLess
                          : difference > 0 ? kGreater
                                           : kEqual)
                    << int{a} << ' ' << int{b};
            }
        }
    }
}

TEST(CFStringCompare, OrdersLettersAsSmallOnesWhenCaseIsIgnored) {
    EXPECT_EQ(compare(u"_", u"A", kCFCompareCaseInsensitive), kLess);
    EXPECT_EQ(compare(u"\u00E9_", u"\u00E9A", kCFCompareCaseInsensitive), kLess);
}

TEST(CFStringCompare, IgnoresCaseBeyondASCII) {
    EXPECT_EQ(compare(u"\u00C9t\u00E9", u"\u00E9T\u00C9", kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"\u0414\u041E\u041C", u"\u0434\u043E\u043C", kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"\U00010400", u"\U00010428", kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"\u212A", u"k", kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"\u03A3", u"\u03C2", kCFCompareCaseInsensitive), kEqual);
}

TEST(CFStringCompare, FoldsCaseInFull) {
    EXPECT_EQ(compare(u"stra\u00DFe", u"STRASSE", kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"\uFB01", u"FI", kCFCompareCaseInsensitive), kEqual);
}

// ---- Canonical equivalence

TEST(CFStringCompare, TakesEquivalentTextsForEqualWhenNonliteral) {
    EXPECT_EQ(compare(u"\u00E9", u"e\u0301", kCFCompareNonliteral), kEqual);
    EXPECT_EQ(compare(u"\uAC01", u"\u1100\u1161\u11A8", kCFCompareNonliteral), kEqual);
    EXPECT_EQ(compare(u"a\u0323\u0307", u"a\u0307\u0323", kCFCompareNonliteral), kEqual);
    EXPECT_EQ(compare(u"\u212B", u"\u00C5", kCFCompareNonliteral), kEqual);
    EXPECT_EQ(compare(u"\U0001D15E", u"\U0001D157\U0001D165", kCFCompareNonliteral), kEqual);
    EXPECT_EQ(compare(u"\u00E9", u"e", kCFCompareNonliteral), kGreater);
    EXPECT_EQ(compare(u"\uFB01", u"fi", kCFCompareNonliteral), kGreater);
}

TEST(CFStringCompare, IgnoresCaseOfEquivalentTexts) {
    const CFStringCompareFlags flags = kCFCompareNonliteral | kCFCompareCaseInsensitive;
    EXPECT_EQ(compare(u"\u00C9", u"e\u0301", flags), kEqual);
    EXPECT_EQ(compare(u"\u0390", u"\u0399\u0308\u0301", flags), kEqual);
}

// ---- Diacritics and width

TEST(CFStringCompare, IgnoresDiacritics) {
    EXPECT_EQ(compare(u"r\u00E9sum\u00E9", u"resume", kCFCompareDiacriticInsensitive), kEqual);
    EXPECT_EQ(compare(u"e\u0301\u0323", u"\u00EA", kCFCompareDiacriticInsensitive), kEqual);
    EXPECT_EQ(compare(u"\u01ED", u"o", kCFCompareDiacriticInsensitive), kEqual);
    EXPECT_EQ(compare(u"\u00E9", u"E", kCFCompareDiacriticInsensitive), kGreater);
    EXPECT_EQ(compare(u"\u00E9", u"E", kCFCompareDiacriticInsensitive | kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"\u0130", u"i", kCFCompareDiacriticInsensitive | kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"\u0301", u"", kCFCompareDiacriticInsensitive), kGreater) << "a mark alone stays";
    EXPECT_EQ(compare(u"\u304C", u"\u304B", kCFCompareDiacriticInsensitive), kGreater) << "kana keep theirs";
    EXPECT_EQ(compare(u"e\u0301", u"e", kCFCompareDiacriticInsensitive | kCFCompareNonliteral), kEqual);
    EXPECT_EQ(compare(u"\u304C", u"\u304B", kCFCompareDiacriticInsensitive | kCFCompareNonliteral), kGreater);
}

TEST(CFStringCompare, OrdersFoldedTextByCodePointAndOtherByUnit) {
    const std::u16string lead(1, char16_t{0xD83D}), trail(1, char16_t{0xDE00});
    for (const CFStringCompareFlags flags : {1u, 16u, 128u, 256u}) {
        EXPECT_EQ(compare(u"\u00E9\uFFFD", u"\u00E9\U0001F600", flags), kLess) << flags;
        EXPECT_EQ(compare(u"\U0001F601", u"\U0001F600", flags), kGreater) << flags;
        EXPECT_EQ(compare(u"\U0001F600", u"\U00010400", flags), kGreater) << flags;
        EXPECT_EQ(compare(lead + u"\uFFFD", u"\U0001F600", flags), kLess) << flags << ": half a pair is below a pair";
        EXPECT_EQ(compare(lead + u"\uFFFD", u"\uFFFDx", flags), kLess) << flags;
        EXPECT_EQ(compare(lead, u"\U0001F600", flags), kLess) << flags;
        EXPECT_EQ(compare(trail, u"\uE000", flags), kLess) << flags;
    }
    EXPECT_EQ(compare(u"\u00E9\uFFFD", u"\u00E9\U0001F600"), kGreater);
    EXPECT_EQ(compare(u"\u00E9\uFFFD", u"\u00E9\U0001F600", kCFCompareNumerically), kGreater);
}

TEST(CFStringCompare, TakesLettersThatOnlyLookMarkedAsTheyAre) {
    EXPECT_EQ(compare(u"\u00F8", u"o", kCFCompareDiacriticInsensitive), kGreater);
    EXPECT_EQ(compare(u"\u0142", u"l", kCFCompareDiacriticInsensitive), kGreater);
    EXPECT_EQ(compare(u"\u0915\u0941", u"\u0915", kCFCompareDiacriticInsensitive), kGreater);
}

TEST(CFStringCompare, IgnoresWidth) {
    EXPECT_EQ(compare(u"\uFF21\uFF42\uFF11", u"Ab1", kCFCompareWidthInsensitive), kEqual);
    EXPECT_EQ(compare(u"\uFF76", u"\u30AB", kCFCompareWidthInsensitive), kEqual);
    EXPECT_EQ(compare(u"\uFF76\uFF9E", u"\u30AB\u3099", kCFCompareWidthInsensitive), kEqual);
    EXPECT_EQ(compare(u"\uFF76\uFF9E", u"\u30AC", kCFCompareWidthInsensitive), kLess);
    EXPECT_EQ(compare(u"\uFF8A\uFF9F", u"\u30D1", kCFCompareWidthInsensitive | kCFCompareNonliteral), kEqual);
    EXPECT_EQ(compare(u"\u3000", u" ", kCFCompareWidthInsensitive), kEqual);
    EXPECT_EQ(compare(u"\uFF21", u"a", kCFCompareWidthInsensitive), kLess);
    EXPECT_EQ(compare(u"\uFF21", u"a", kCFCompareWidthInsensitive | kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"\uFF21", u"A"), kGreater);
}

// ---- Numbers

TEST(CFStringCompare, OrdersNumbersByValue) {
    EXPECT_EQ(compare(u"version 2", u"version 10", kCFCompareNumerically), kLess);
    EXPECT_EQ(compare(u"foo2.txt", u"foo7.txt", kCFCompareNumerically), kLess);
    EXPECT_EQ(compare(u"foo7.txt", u"foo25.txt", kCFCompareNumerically), kLess);
    EXPECT_EQ(compare(u"1.9.3", u"1.10", kCFCompareNumerically), kLess);
    EXPECT_EQ(compare(u"version 2", u"version 10"), kGreater);
}

TEST(CFStringCompare, IgnoresLeadingZerosOfNumbers) {
    EXPECT_EQ(compare(u"a007", u"a7", kCFCompareNumerically), kEqual);
    EXPECT_EQ(compare(u"a007b", u"a7c", kCFCompareNumerically), kLess);
    EXPECT_EQ(compare(u"000", u"0", kCFCompareNumerically), kEqual);
    EXPECT_EQ(compare(u"a007", u"a7", kCFCompareNumerically | kCFCompareForcedOrdering), kLess);
}

TEST(CFStringCompare, OrdersNumbersOfAnyLength) {
    const std::u16string nines(1000, u'9'), one = u"1" + std::u16string(1000, u'0');
    EXPECT_EQ(compare(nines, one, kCFCompareNumerically), kLess);
    EXPECT_EQ(compare(nines + u"8", nines + u"9", kCFCompareNumerically), kLess);
}

TEST(CFStringCompare, ComparesANumberWithTextAsText) {
    EXPECT_EQ(compare(u"1", u"a", kCFCompareNumerically), kLess);
    EXPECT_EQ(compare(u"1", u"", kCFCompareNumerically), kGreater);
    EXPECT_EQ(compare(u"1a", u"1", kCFCompareNumerically), kGreater);
    EXPECT_EQ(compare(u"A10", u"a9", kCFCompareNumerically | kCFCompareCaseInsensitive), kGreater);
    EXPECT_EQ(compare(u"\uFF11\uFF10", u"9", kCFCompareNumerically | kCFCompareWidthInsensitive), kGreater);
}

// ---- Forced order

TEST(CFStringCompare, ForcesAnOrderOnTextsThatAreOnlyAlike) {
    const CFStringCompareFlags flags = kCFCompareForcedOrdering | kCFCompareCaseInsensitive;
    EXPECT_EQ(compare(u"aaa", u"AAA", flags), kGreater);
    EXPECT_EQ(compare(u"aaa", u"aaa", flags), kEqual);
    EXPECT_EQ(compare(u"aaa", u"AAB", flags), kLess);
    EXPECT_NE(compare(u"\u00E9", u"e\u0301", kCFCompareForcedOrdering | kCFCompareNonliteral), kEqual);
}

// ---- In the order of a language

TEST(CFStringCompare, OrdersLettersBeforeTheirCaseWhenLocalized) {
    EXPECT_EQ(compare(u"a", u"B", kCFCompareLocalized), kLess);
    EXPECT_EQ(compare(u"A", u"b", kCFCompareLocalized), kLess);
    EXPECT_EQ(compare(u"a", u"A", kCFCompareLocalized), kLess);
    EXPECT_EQ(compare(u"\u00E9", u"f", kCFCompareLocalized), kLess);
    EXPECT_EQ(compare(u"cot\u00E9", u"cote", kCFCompareLocalized), kGreater);
    EXPECT_EQ(compare(u"\u00E9", u"e\u0301", kCFCompareLocalized), kEqual);
}

TEST(CFStringCompare, CombinesLocalizedWithTheOtherFlags) {
    EXPECT_EQ(compare(u"a", u"A", kCFCompareLocalized | kCFCompareCaseInsensitive), kEqual);
    EXPECT_EQ(compare(u"e", u"\u00E9", kCFCompareLocalized | kCFCompareDiacriticInsensitive), kEqual);
    EXPECT_EQ(compare(u"\uFF21", u"A", kCFCompareLocalized | kCFCompareWidthInsensitive), kEqual);
    EXPECT_EQ(compare(u"a2", u"a10", kCFCompareLocalized | kCFCompareNumerically), kLess);
    EXPECT_EQ(compare(u"a2", u"a10", kCFCompareLocalized), kGreater);
    EXPECT_NE(compare(u"a", u"A", kCFCompareLocalized | kCFCompareCaseInsensitive | kCFCompareForcedOrdering), kEqual);
}

// ---- All flags together

TEST(CFStringCompare, AgreesWithItselfUnderEveryCombinationOfFlags) {
    const std::u16string lone(1, char16_t{0xDBFF});
    const std::u16string samples[] = {
        u"",  u"a",        u"A",      u"\u00E9",       u"e\u0301", u"E",      u"\uFF21", u"10",
        u"9", u"a\u0300b", u"\u0301", u"\u00DF",       u"ss",      u"\uAC00", u"\u1100", u"\U0001F600",
        lone, lone + u"a", u"\u30AC", u"\uFF76\uFF9E", u"\u0130"};
    constexpr CFStringCompareFlags kMeaningful[] = {
        kCFCompareCaseInsensitive,      kCFCompareNonliteral,       kCFCompareLocalized,     kCFCompareNumerically,
        kCFCompareDiacriticInsensitive, kCFCompareWidthInsensitive, kCFCompareForcedOrdering};
    for (unsigned combination = 0; combination < 1u << std::size(kMeaningful); ++combination) {
        CFStringCompareFlags flags = 0;
        for (std::size_t bit = 0; bit < std::size(kMeaningful); ++bit)
            if ((combination >> bit & 1) != 0) flags |= kMeaningful[bit];
        for (std::size_t a = 0; a < std::size(samples); ++a) {
            for (std::size_t b = a; b < std::size(samples); ++b) {
                const CFComparisonResult result = compare(samples[a], samples[b], flags);
                const bool forced = (flags & kCFCompareForcedOrdering) != 0;
                EXPECT_TRUE(a == b ? result == kEqual : !forced || result != kEqual) << flags;
            }
        }
    }
}

TEST(CFStringCompare, ComparesLongTexts) {
    std::u16string a(1'000'000, u'\u0416'), b(1'000'000, u'\u0436');
    EXPECT_EQ(compare(a, b, kCFCompareCaseInsensitive | kCFCompareNonliteral), kEqual);
    b.back() = u'z';
    EXPECT_EQ(compare(a, b, kCFCompareCaseInsensitive), kGreater);
}

TEST(CFStringCompare, ComparesABaseWithVeryManyMarks) {
    std::u16string a = u"e", b = u"e";
    for (int i = 0; i < 20'000; ++i) {
        a += u"\u0301\u0323";
        b += u"\u0323\u0301";
    }
    EXPECT_EQ(compare(a, u"e", kCFCompareDiacriticInsensitive), kEqual);
    EXPECT_EQ(compare(a, b, kCFCompareNonliteral), kEqual);
}
