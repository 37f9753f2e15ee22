#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/NullArguments.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using Held::hold;
using Held::mutableString;
using Held::string;
using Held::text;

namespace {

using Range = std::pair<CFIndex, CFIndex>;
const Range kNone{kCFNotFound, 0};

Range findIn(std::u16string_view in, std::u16string_view what, CFStringCompareFlags flags = 0) {
    const CFRange range = CFStringFind(string(in), string(what), flags);
    return {range.location, range.length};
}

std::vector<Range> findAll(std::u16string_view in, std::u16string_view what, CFRange range,
                           CFStringCompareFlags flags = 0) {
    const auto found = hold(CFStringCreateArrayWithFindResults(nullptr, string(in), string(what), range, flags));
    std::vector<Range> ranges;
    for (CFIndex i = 0; found && i < CFArrayGetCount(found); ++i) {
        const auto* const one = static_cast<const CFRange*>(CFArrayGetValueAtIndex(found, i));
        ranges.emplace_back(one->location, one->length);
    }
    return ranges;
}

std::pair<std::u16string, CFIndex> replace(std::u16string_view in, std::u16string_view what,
                                           std::u16string_view replacement, CFStringCompareFlags flags = 0,
                                           CFRange range = {0, INT64_MAX}) {
    const auto made = mutableString(in);
    const CFIndex count = CFStringFindAndReplace(made, string(what), string(replacement), range, flags);
    return {text(made), count};
}

using Replaced = std::pair<std::u16string, CFIndex>;

constexpr CFRange kAll{0, INT64_MAX};

}  // namespace

// ---- Literally

TEST(CFStringFind, FindsTheFirstMatch) {
    EXPECT_EQ(findIn(u"banana", u"ana"), Range(1, 3));
    EXPECT_EQ(findIn(u"banana", u"banana"), Range(0, 6));
    EXPECT_EQ(findIn(u"banana", u"x"), kNone);
    EXPECT_EQ(findIn(u"banana", u"bananas"), kNone);
    EXPECT_EQ(findIn(u"\u00E9t\u00E9", u"t\u00E9"), Range(1, 2));
    EXPECT_EQ(findIn(u"\u00E9t\u00E9", u"t"), Range(1, 1));
    EXPECT_EQ(findIn(u"ete", u"\u00E9"), kNone);
}

TEST(CFStringFind, FindsTheLastMatchBackwards) {
    EXPECT_EQ(findIn(u"banana", u"ana", kCFCompareBackwards), Range(3, 3));
    EXPECT_EQ(findIn(u"banana", u"b", kCFCompareBackwards), Range(0, 1));
    EXPECT_EQ(findIn(u"\u00E9t\u00E9", u"\u00E9", kCFCompareBackwards), Range(2, 1));
    EXPECT_EQ(findIn(u"banana", u"x", kCFCompareBackwards), kNone);
}

TEST(CFStringFind, NeverFindsAnEmptyText) {
    for (const CFStringCompareFlags flags :
         {CFStringCompareFlags{0}, CFStringCompareFlags{kCFCompareBackwards}, CFStringCompareFlags{kCFCompareAnchored},
          CFStringCompareFlags{kCFCompareCaseInsensitive | kCFCompareNonliteral}}) {
        EXPECT_EQ(findIn(u"abc", u"", flags), kNone);
        EXPECT_EQ(findIn(u"\u00E9", u"", flags), kNone);
        EXPECT_EQ(findIn(u"", u"", flags), kNone);
    }
    EXPECT_FALSE(CFStringHasPrefix(CFSTR("a"), CFSTR("")));
    EXPECT_FALSE(CFStringHasSuffix(CFSTR("a"), CFSTR("")));
}

TEST(CFStringFind, FindsUnitsOneByOne) {
    EXPECT_EQ(findIn(u"e\u0301", u"e"), Range(0, 1));
    EXPECT_EQ(findIn(u"x\u0301", u"\u0301"), Range(1, 1));
    EXPECT_EQ(findIn(u"\U0001F600", std::u16string(1, char16_t{0xDE00})), Range(1, 1));
}

TEST(CFStringFind, LooksOnlyAtTheAnchor) {
    EXPECT_EQ(findIn(u"abcabc", u"abc", kCFCompareAnchored), Range(0, 3));
    EXPECT_EQ(findIn(u"xabc", u"abc", kCFCompareAnchored), kNone);
    EXPECT_EQ(findIn(u"abcabc", u"abc", kCFCompareAnchored | kCFCompareBackwards), Range(3, 3));
    EXPECT_EQ(findIn(u"abcx", u"abc", kCFCompareAnchored | kCFCompareBackwards), kNone);
    EXPECT_EQ(findIn(u"\u00E9abc", u"\u00C9A", kCFCompareAnchored | kCFCompareCaseInsensitive), Range(0, 2));
    EXPECT_EQ(findIn(u"x\u00E9abc", u"\u00C9A", kCFCompareAnchored | kCFCompareCaseInsensitive), kNone);
}

TEST(CFStringFind, StaysWithinTheRange) {
    CFRange result{};
    EXPECT_TRUE(CFStringFindWithOptions(CFSTR("banana"), CFSTR("an"), CFRangeMake(2, 4), 0, &result));
    EXPECT_EQ(Range(result.location, result.length), Range(3, 2));
    EXPECT_FALSE(CFStringFindWithOptions(CFSTR("banana"), CFSTR("ana"), CFRangeMake(2, 3), 0, &result));
    EXPECT_TRUE(CFStringFindWithOptions(CFSTR("banana"), CFSTR("an"), CFRangeMake(0, 4),
                                        kCFCompareBackwards | kCFCompareCaseInsensitive, &result));
    EXPECT_EQ(Range(result.location, result.length), Range(1, 2));
    EXPECT_TRUE(CFStringFindWithOptions(string(u"\u00E9\u00C9x"), string(u"\u00E9"), CFRangeMake(1, 2),
                                        kCFCompareCaseInsensitive, &result));
    EXPECT_EQ(Range(result.location, result.length), Range(1, 1));
}

TEST(CFStringFind, LeavesTheResultAloneWhenNothingIsFound) {
    CFRange result{7, 8};
    EXPECT_FALSE(CFStringFindWithOptions(CFSTR("abc"), CFSTR("x"), CFRangeMake(0, 3), 0, &result));
    EXPECT_EQ(Range(result.location, result.length), Range(7, 8));
    EXPECT_TRUE(CFStringFindWithOptions(CFSTR("abc"), CFSTR("b"), CFRangeMake(0, 3), 0, nullptr));
}

TEST(CFStringFind, TakesWhatOfARangeLiesWithinTheString) {
    CFRange result{};
    EXPECT_TRUE(CFStringFindWithOptions(CFSTR("abc"), CFSTR("c"), CFRangeMake(1, INT64_MAX), 0, &result));
    EXPECT_EQ(result.location, 2);
    for (const CFRange outside : {CFRangeMake(3, 5), CFRangeMake(INT64_MAX, INT64_MAX), CFRangeMake(-9, 3),
                                  CFRangeMake(INT64_MIN, INT64_MAX), CFRangeMake(0, INT64_MIN)})
        EXPECT_FALSE(CFStringFindWithOptions(CFSTR("abc"), CFSTR("c"), outside, 0, &result));
}

TEST(CFStringFind, FindsNothingWithoutAString) {
    EXPECT_EQ(CFStringFind(nullptr, CFSTR("a"), 0).location, kCFNotFound);
    EXPECT_EQ(CFStringFind(CFSTR("a"), nullptr, 0).location, kCFNotFound);
    EXPECT_FALSE(CFStringFindWithOptionsAndLocale(nullptr, nullptr, kAll, 0, nullptr, nullptr));
    EXPECT_FALSE(CFStringHasPrefix(nullptr, CFSTR("a")));
    EXPECT_FALSE(CFStringHasSuffix(CFSTR("a"), nullptr));
    EXPECT_EQ(CFStringCreateArrayWithFindResults(nullptr, nullptr, CFSTR("a"), kAll, 0), nullptr);
    EXPECT_EQ(CFStringCreateArrayWithFindResults(nullptr, CFSTR("a"), nullptr, kAll, 0), nullptr);
    const auto made = mutableString(u"a");
    EXPECT_EQ(CFStringFindAndReplace(nullptr, CFSTR("a"), CFSTR("b"), kAll, 0), 0);
    EXPECT_EQ(CFStringFindAndReplace(made, nullptr, CFSTR("b"), kAll, 0), 0);
    EXPECT_EQ(CFStringFindAndReplace(made, CFSTR("a"), nullptr, kAll, 0), 0);
    EXPECT_EQ(text(made), u"a");
}

TEST(CFStringFind, FindsEveryPlaceOfEveryLength) {
    std::u16string in;
    for (int i = 0; i < 30; ++i) in += static_cast<char16_t>(0x400 + i);
    for (std::size_t at = 0; at < in.size(); ++at)
        for (std::size_t length = 1; at + length <= in.size(); ++length)
            for (const CFStringCompareFlags flags : {0u, 4u, 16u, 20u, 1u})
                EXPECT_EQ(findIn(in, in.substr(at, length), flags), Range(at, length)) << flags;
}

TEST(CFStringFind, FindsInTextsThatRepeatThemselves) {
    const std::u16string in = std::u16string(200'000, u'a') + u"b";
    const std::u16string what = std::u16string(50'000, u'a') + u"b";
    EXPECT_EQ(findIn(in, what), Range(150'000, 50'001));
    std::u16string almost;
    for (int i = 0; i < 20'000; ++i) almost += u"abab";
    EXPECT_EQ(findIn(almost + u"abac", u"abac"), Range(80'000, 4));
    EXPECT_EQ(findIn(almost + u"ABAC", u"abac", kCFCompareCaseInsensitive), Range(80'000, 4));
    EXPECT_EQ(findIn(almost, u"abac"), kNone);
}

/// Takes no time to speak of, where trying every place unit by unit would take minutes.
TEST(CFStringFind, FindsQuicklyHoweverTheTextRepeats) {
    for (const char16_t last : {u'b', u'\u0416'}) {
        const std::u16string in = std::u16string(1'000'000, u'a') + u'\u00E9';
        const std::u16string what = std::u16string(400'000, u'a') + last;
        for (const CFStringCompareFlags flags : {0u, 1u, 4u, 5u, 16u, 20u}) {
            EXPECT_EQ(findIn(in, what, flags), kNone) << flags;
            EXPECT_EQ(findIn(std::u16string(in.size(), u'a'), what, flags), kNone) << flags;
        }
    }
}

TEST(CFStringFind, FindsTheSamePlacesInTextsThatRepeatThemselves) {
    std::u16string in;
    for (int i = 0; i < 400; ++i) in += std::u16string(static_cast<std::size_t>(20 + i * 7 % 60), u'a') + u'b';
    for (std::size_t length = 60; length < 400; length += 13) {
        for (const bool isWide : {false, true}) {
            const std::u16string where = isWide ? in + u'\u0416' : in;
            const std::u16string what = where.substr(where.size() / 2, length);
            const std::u16string rare = what + u"bb";
            EXPECT_EQ(findIn(where, what), Range(where.find(what), length));
            EXPECT_EQ(findIn(where, what, kCFCompareBackwards), Range(where.rfind(what), length));
            EXPECT_EQ(findIn(where, what, kCFCompareCaseInsensitive), Range(where.find(what), length));
            EXPECT_EQ(findIn(where, rare), kNone);
            EXPECT_EQ(findIn(where + rare + where, rare), Range((where + rare).find(rare), length + 2));
            EXPECT_EQ(findIn(where + rare + where, rare, kCFCompareBackwards),
                      Range((where + rare + where).rfind(rare), length + 2));
            EXPECT_EQ(findIn(where + rare + where, rare, kCFCompareBackwards | kCFCompareCaseInsensitive),
                      Range((where + rare + where).rfind(rare), length + 2));
        }
    }
}

// ---- By likeness

TEST(CFStringFind, IgnoresCase) {
    EXPECT_EQ(findIn(u"Hello World", u"WORLD", kCFCompareCaseInsensitive), Range(6, 5));
    EXPECT_EQ(findIn(u"aAaA", u"a", kCFCompareCaseInsensitive | kCFCompareBackwards), Range(3, 1));
    EXPECT_EQ(findIn(u"\u0414\u041E\u041C", u"\u043E", kCFCompareCaseInsensitive), Range(1, 1));
    EXPECT_EQ(findIn(u"hello", u"\u212A", kCFCompareCaseInsensitive), kNone);
    EXPECT_EQ(findIn(u"hello", u"\u00C9", kCFCompareCaseInsensitive), kNone);
    EXPECT_EQ(findIn(u"xXfXx", u"XF", kCFCompareCaseInsensitive), Range(1, 2));
    EXPECT_EQ(findIn(u"[{", u"{", kCFCompareCaseInsensitive), Range(1, 1));
    EXPECT_EQ(findIn(u"kilo", u"\u212A", kCFCompareCaseInsensitive), Range(0, 1));
    EXPECT_EQ(findIn(u"x\U00010400", u"\U00010428", kCFCompareCaseInsensitive), Range(1, 2));
}

TEST(CFStringFind, MatchesTextOfAnotherLength) {
    EXPECT_EQ(findIn(u"die Stra\u00DFe", u"STRASSE", kCFCompareCaseInsensitive), Range(4, 6));
    EXPECT_EQ(findIn(u"DIE STRASSE", u"stra\u00DFe", kCFCompareCaseInsensitive), Range(4, 7));
    EXPECT_EQ(findIn(u"caf\u00E9s", u"e\u0301s", kCFCompareNonliteral), Range(3, 2));
    EXPECT_EQ(findIn(u"cafe\u0301s", u"\u00E9s", kCFCompareNonliteral), Range(3, 3));
    EXPECT_EQ(findIn(u"\u1100\u1161\u11A8x", u"\uAC01", kCFCompareNonliteral), Range(0, 3));
}

TEST(CFStringFind, NeverMatchesAPartOfACharacter) {
    EXPECT_EQ(findIn(u"\u00DF", u"s", kCFCompareCaseInsensitive), kNone);
    EXPECT_EQ(findIn(u"\uFB01", u"f", kCFCompareCaseInsensitive), kNone);
    EXPECT_EQ(findIn(u"a\u00DFs", u"s", kCFCompareCaseInsensitive), Range(2, 1));
    EXPECT_EQ(findIn(u"s\u00DFs", u"ss", kCFCompareCaseInsensitive), Range(1, 1));
}

TEST(CFStringFind, EndsANonliteralMatchWithAWholeComposedCharacter) {
    EXPECT_EQ(findIn(u"e\u0301", u"e", kCFCompareNonliteral), kNone);
    EXPECT_EQ(findIn(u"e\u0301", u"E", kCFCompareNonliteral | kCFCompareCaseInsensitive), kNone);
    EXPECT_EQ(findIn(u"e\u0301e", u"e", kCFCompareNonliteral), Range(2, 1));
    EXPECT_EQ(findIn(u"ee\u0301", u"e", kCFCompareNonliteral | kCFCompareBackwards), Range(0, 1));
    EXPECT_EQ(findIn(u"\u1100\u1161\u11A8", u"\uAC00", kCFCompareNonliteral), kNone);
    EXPECT_EQ(findIn(u"e\u0301", u"e", kCFCompareNonliteral | kCFCompareAnchored), kNone);
}

TEST(CFStringFind, ComparesCharactersUnlessNonliteral) {
    for (const CFStringCompareFlags flags : {1u, 256u, 257u}) {
        EXPECT_EQ(findIn(u"xe\u0301", u"e", flags), Range(1, 1)) << flags;
        EXPECT_EQ(findIn(u"xe\u0301", u"\u0301", flags), Range(2, 1)) << flags << ": a mark after its base";
        EXPECT_EQ(findIn(u"\u304B\u3099", u"\u304B", flags), Range(0, 1)) << flags;
        EXPECT_EQ(findIn(u"e\u0301e", u"e", flags | kCFCompareBackwards), Range(2, 1)) << flags;
        EXPECT_EQ(findIn(u"e\u0301", u"e", flags | kCFCompareAnchored), Range(0, 1)) << flags;
    }
    EXPECT_EQ(findIn(u"e\u0301", u"E", kCFCompareCaseInsensitive), Range(0, 1));
    EXPECT_EQ(findIn(u"\u304B\u3099", u"\u304B", kCFCompareDiacriticInsensitive), Range(0, 1));
    EXPECT_EQ(findIn(u"\u304B\u3099", u"\u3099", kCFCompareDiacriticInsensitive), Range(1, 1));
}

TEST(CFStringFind, IgnoresDiacriticsAndTakesThemIntoTheMatch) {
    EXPECT_EQ(findIn(u"un re\u0301sume\u0301 x", u"resume", kCFCompareDiacriticInsensitive), Range(3, 8));
    EXPECT_EQ(findIn(u"un r\u00E9sum\u00E9", u"RESUME", kCFCompareDiacriticInsensitive | kCFCompareCaseInsensitive),
              Range(3, 6));
    EXPECT_EQ(findIn(u"resume", u"r\u00E9sum\u00E9", kCFCompareDiacriticInsensitive), Range(0, 6));
    EXPECT_EQ(findIn(u"e\u0301", u"\u0301", kCFCompareDiacriticInsensitive), kNone);
    EXPECT_EQ(findIn(u"\u0301e", u"e", kCFCompareDiacriticInsensitive), Range(1, 1));
}

TEST(CFStringFind, IgnoresWidth) {
    EXPECT_EQ(findIn(u"x\uFF21\uFF22", u"AB", kCFCompareWidthInsensitive), Range(1, 2));
    EXPECT_EQ(findIn(u"xAB", u"\uFF22", kCFCompareWidthInsensitive), Range(2, 1));
    EXPECT_EQ(findIn(u"x\uFF25\u0301", u"e", kCFCompareWidthInsensitive | kCFCompareDiacriticInsensitive | 1),
              Range(1, 2));
    EXPECT_EQ(findIn(u"\uFF76\uFF9E\uFF77", u"\u30AC", kCFCompareWidthInsensitive), kNone);
    EXPECT_EQ(findIn(u"\uFF76\uFF9E\uFF77", u"\u30AB\u3099", kCFCompareWidthInsensitive), Range(0, 2));
    EXPECT_EQ(findIn(u"\uFF76\uFF9E\uFF77", u"\u30AC", kCFCompareWidthInsensitive | kCFCompareNonliteral), Range(0, 2));
}

TEST(CFStringFind, SurvivesLoneSurrogates) {
    const std::u16string high(1, char16_t{0xD83D}), low(1, char16_t{0xDE00});
    for (const CFStringCompareFlags flags : {1u, 16u, 128u, 256u, 401u}) {
        EXPECT_EQ(findIn(u"\u00E9" + high, high, flags), Range(1, 1));
        EXPECT_EQ(findIn(low + u"\u00E9", low, flags), Range(0, 1));
        const bool isNonliteral = (flags & kCFCompareNonliteral) != 0;
        EXPECT_EQ(findIn(u"\u00E9\U0001F600", high, flags), isNonliteral ? kNone : Range(1, 1)) << flags;
        EXPECT_EQ(findIn(u"\u00E9\U0001F600", low, flags), isNonliteral ? kNone : Range(2, 1)) << flags;
    }
}

TEST(CFStringFind, FindsInLongTexts) {
    std::u16string in(500'000, u'\u0430');
    in += u"\u0431";
    EXPECT_EQ(findIn(in, u"\u0431"), Range(500'000, 1));
    EXPECT_EQ(findIn(in, u"\u0411", kCFCompareCaseInsensitive | kCFCompareNonliteral), Range(500'000, 1));
}

// ---- Prefix and suffix

TEST(CFStringFind, TellsPrefixAndSuffix) {
    EXPECT_TRUE(CFStringHasPrefix(CFSTR("abc"), CFSTR("ab")));
    EXPECT_TRUE(CFStringHasPrefix(CFSTR("abc"), CFSTR("abc")));
    EXPECT_FALSE(CFStringHasPrefix(CFSTR("abc"), CFSTR("AB")));
    EXPECT_FALSE(CFStringHasPrefix(CFSTR("abc"), CFSTR("abcd")));
    EXPECT_TRUE(CFStringHasSuffix(CFSTR("abc"), CFSTR("bc")));
    EXPECT_FALSE(CFStringHasSuffix(CFSTR("abc"), CFSTR("b")));
    EXPECT_TRUE(CFStringHasPrefix(string(u"\u00E9a"), string(u"\u00E9")));
    EXPECT_TRUE(CFStringHasSuffix(string(u"a\u00E9"), string(u"\u00E9")));
    EXPECT_FALSE(CFStringHasPrefix(CFSTR(""), CFSTR("a")));
}

// ---- A character of a set

TEST(CFStringFind, FindsNoCharacterOfNoSet) {
    CFRange result{3, 4};
    EXPECT_FALSE(CFStringFindCharacterFromSet(CFSTR("abc"), nullptr, CFRangeMake(0, 3), 0, &result));
    EXPECT_EQ(result.location, 3);
}

// ---- All matches

TEST(CFStringFindResults, ListsMatchesThatDoNotOverlap) {
    EXPECT_EQ(findAll(u"aaaaa", u"aa", kAll), (std::vector<Range>{{0, 2}, {2, 2}}));
    EXPECT_EQ(findAll(u"a-b-c", u"-", kAll), (std::vector<Range>{{1, 1}, {3, 1}}));
    EXPECT_EQ(findAll(u"a-b-c", u"-", CFRangeMake(2, 3)), (std::vector<Range>{{3, 1}}));
    EXPECT_EQ(findAll(u"\u00E9-e\u0301", u"\u00E9", kAll, kCFCompareNonliteral), (std::vector<Range>{{0, 1}, {2, 2}}));
}

TEST(CFStringFindResults, ListsBackwardsFromTheEnd) {
    EXPECT_EQ(findAll(u"aaaaa", u"aa", kAll, kCFCompareBackwards), (std::vector<Range>{{3, 2}, {1, 2}}));
}

TEST(CFStringFindResults, ListsAnchoredMatchesInARow) {
    EXPECT_EQ(findAll(u"AAXAA", u"A", kAll, kCFCompareAnchored), (std::vector<Range>{{0, 1}, {1, 1}}));
    EXPECT_EQ(findAll(u"AAXAA", u"A", kAll, kCFCompareAnchored | kCFCompareBackwards),
              (std::vector<Range>{{4, 1}, {3, 1}}));
}

TEST(CFStringFindResults, IsNullWhenNothingIsFound) {
    EXPECT_EQ(CFStringCreateArrayWithFindResults(nullptr, CFSTR("abc"), CFSTR("x"), kAll, 0), nullptr);
    EXPECT_EQ(CFStringCreateArrayWithFindResults(nullptr, CFSTR("abc"), CFSTR(""), kAll, 0), nullptr);
    EXPECT_EQ(CFStringCreateArrayWithFindResults(nullptr, CFSTR("abc"), CFSTR("a"), CFRangeMake(2, 9), 0), nullptr);
}

TEST(CFStringFindResults, LetsAnArrayOutliveTheOneItWasCopiedFrom) {
    auto first = hold(CFStringCreateArrayWithFindResults(nullptr, CFSTR("banana"), CFSTR("an"), kAll, 0));
    auto mutableCopy = hold(CFArrayCreateMutableCopy(nullptr, 0, first));
    CFArrayRemoveValueAtIndex(mutableCopy, 0);
    first.reset();
    ASSERT_EQ(CFArrayGetCount(mutableCopy), 1);
    EXPECT_EQ(static_cast<const CFRange*>(CFArrayGetValueAtIndex(mutableCopy, 0))->location, 3);
}

TEST(CFStringFindResults, ComparesRangesByValueAndDescribesThem) {
    const auto a = hold(CFStringCreateArrayWithFindResults(nullptr, CFSTR("xax"), CFSTR("a"), kAll, 0));
    const auto b = hold(CFStringCreateArrayWithFindResults(nullptr, CFSTR("bab"), CFSTR("a"), kAll, 0));
    const CFRange wanted{1, 1};
    EXPECT_TRUE(CFArrayContainsValue(a, CFRangeMake(0, 1), &wanted));
    EXPECT_TRUE(CFEqual(a, b));
    const auto description = hold(CFCopyDescription(a));
    EXPECT_NE(Held::utf8(description).find("{1, 1}"), std::string::npos) << Held::utf8(description);
}

// ---- Replacing

TEST(CFStringFindAndReplace, ReplacesAllAndCounts) {
    EXPECT_EQ(replace(u"a-b-c", u"-", u"+"), Replaced(u"a+b+c", 2));
    EXPECT_EQ(replace(u"a-b-c", u"-", u""), Replaced(u"abc", 2));
    EXPECT_EQ(replace(u"a-b-c", u"-", u"\u2014\u2014"), Replaced(u"a\u2014\u2014b\u2014\u2014c", 2));
    EXPECT_EQ(replace(u"abc", u"x", u"y"), Replaced(u"abc", 0));
    EXPECT_EQ(replace(u"abc", u"", u"y"), Replaced(u"abc", 0));
    EXPECT_EQ(replace(u"aaa", u"a", u"aa"), Replaced(u"aaaaaa", 3));
}

TEST(CFStringFindAndReplace, StartsFromTheEndBackwards) {
    EXPECT_EQ(replace(u"AAAAA", u"AA", u"B"), Replaced(u"BBA", 2));
    EXPECT_EQ(replace(u"AAAAA", u"AA", u"B", kCFCompareBackwards), Replaced(u"ABB", 2));
}

TEST(CFStringFindAndReplace, ReplacesARowAtTheAnchor) {
    EXPECT_EQ(replace(u"AAXAA", u"A", u"B", kCFCompareAnchored), Replaced(u"BBXAA", 2));
    EXPECT_EQ(replace(u"AAXAA", u"A", u"B", kCFCompareAnchored | kCFCompareBackwards), Replaced(u"AAXBB", 2));
}

TEST(CFStringFindAndReplace, ReplacesWithinTheRangeOnly) {
    EXPECT_EQ(replace(u"aaaa", u"a", u"b", 0, CFRangeMake(1, 2)), Replaced(u"abba", 2));
    EXPECT_EQ(replace(u"aaaa", u"a", u"b", 0, CFRangeMake(9, 2)), Replaced(u"aaaa", 0));
}

TEST(CFStringFindAndReplace, ReplacesByLikeness) {
    EXPECT_EQ(replace(u"Ab aB \u00E9", u"AB", u"-", kCFCompareCaseInsensitive), Replaced(u"- - \u00E9", 2));
    EXPECT_EQ(replace(u"e\u0301e", u"e", u"x", kCFCompareNonliteral), Replaced(u"e\u0301x", 1));
}

TEST(CFStringFindAndReplace, TakesTheStringItselfForAnyOfItsTexts) {
    const auto made = mutableString(u"aba");
    EXPECT_EQ(CFStringFindAndReplace(made, CFSTR("a"), made, kAll, 0), 2);
    EXPECT_EQ(text(made), u"abababa");
    EXPECT_EQ(CFStringFindAndReplace(made, made, CFSTR("x"), kAll, 0), 1);
    EXPECT_EQ(text(made), u"x");
}

TEST(CFStringFindAndReplace, LeavesAStringAloneThatMayNotGrowSoFar) {
    const auto limited = hold(CFStringCreateMutable(nullptr, 4));
    CFStringAppend(limited, CFSTR("aaa"));
    EXPECT_EQ(CFStringFindAndReplace(limited, CFSTR("a"), CFSTR("bb"), kAll, 0), 0);
    EXPECT_EQ(text(limited), u"aaa");
}

TEST(CFStringFind, FindsBehindPlacesThatBeginLikeIt) {
    EXPECT_EQ(findIn(u"Ax ay Ay aB", u"ab", kCFCompareCaseInsensitive), Range(9, 2));
    EXPECT_EQ(findIn(u"Ax Ay", u"ab", kCFCompareCaseInsensitive), kNone);
    EXPECT_EQ(findIn(u"ax ay ab", u"ab"), Range(6, 2));
}

TEST(CFStringFind, SurvivesNullArguments) {
    using namespace NullArguments;
    attack([](bool noString, bool noOther, bool isWide, CFRange range, Flags flags) {
        const auto whole = fourUnits(isWide);
        const CFStringRef given = orNull(noString, whole.get());
        const CFStringRef other = noOther ? nullptr : CFSTR("b");
        CFStringCompareWithOptionsAndLocale(given, other, range, flags.value, nullptr);
        CFStringCompareWithOptions(given, other, range, flags.value);
        CFRange found{-7, -7};
        if (CFStringFindWithOptions(given, other, range, flags.value, &found)) {
            EXPECT_TRUE(!noString && !noOther);
            EXPECT_EQ(found.location, 1);
        }
        CFStringFindWithOptionsAndLocale(given, other, range, flags.value, nullptr, nullptr);
        take(CFStringCreateArrayWithFindResults(nullptr, given, other, range, flags.value));
        CFStringFindCharacterFromSet(given, nullptr, range, flags.value, nullptr);
    });
    attack([](bool noString, bool noOther, Flags flags) {
        const CFStringRef given = noString ? nullptr : CFSTR("ab");
        const CFStringRef other = noOther ? nullptr : CFSTR("b");
        CFStringCompare(given, other, flags.value);
        EXPECT_EQ(CFStringFind(given, other, flags.value).location == kCFNotFound,
                  noString || noOther || (flags.value != ~0UL && (flags.value & kCFCompareAnchored) != 0));
        EXPECT_FALSE(CFStringHasPrefix(given, other));
        EXPECT_EQ(CFStringHasSuffix(given, other), !noString && !noOther);
    });
}
