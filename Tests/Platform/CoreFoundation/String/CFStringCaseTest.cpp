#include "Platform/CoreFoundation/Held.h"

#include <gtest/gtest.h>

#include <string>

using Held::hold;
using Held::mutableString;
using Held::string;
using Held::text;

namespace {

template <class Change>
std::u16string changed(std::u16string_view in, Change change) {
    const auto made = mutableString(in);
    change(made.get());
    return text(made);
}

std::u16string lower(std::u16string_view in) {
    return changed(in, [](CFMutableStringRef s) { CFStringLowercase(s, nullptr); });
}
std::u16string upper(std::u16string_view in) {
    return changed(in, [](CFMutableStringRef s) { CFStringUppercase(s, nullptr); });
}
std::u16string capitalized(std::u16string_view in) {
    return changed(in, [](CFMutableStringRef s) { CFStringCapitalize(s, nullptr); });
}
std::u16string normalized(std::u16string_view in, CFStringNormalizationForm form) {
    return changed(in, [form](CFMutableStringRef s) { CFStringNormalize(s, form); });
}
std::u16string fold(std::u16string_view in, CFStringCompareFlags flags) {
    return changed(in, [flags](CFMutableStringRef s) { CFStringFold(s, flags, nullptr); });
}

const std::u16string kLoneHigh(1, char16_t{0xD800});

}  // namespace

// ---- Case

TEST(CFStringCase, MapsASCII) {
    EXPECT_EQ(lower(u"Hello, WORLD [42]"), u"hello, world [42]");
    EXPECT_EQ(upper(u"Hello, world {42}"), u"HELLO, WORLD {42}");
    EXPECT_EQ(lower(u"@AZ[`az{"), u"@az[`az{");
    EXPECT_EQ(upper(u"@AZ[`az{"), u"@AZ[`AZ{");
}

TEST(CFStringCase, MapsBeyondASCII) {
    EXPECT_EQ(lower(u"\u00C9\u0416\U00010400"), u"\u00E9\u0436\U00010428");
    EXPECT_EQ(upper(u"\u00E9\u0436\U00010428"), u"\u00C9\u0416\U00010400");
}

TEST(CFStringCase, MayChangeTheLength) {
    EXPECT_EQ(upper(u"stra\u00DFe"), u"STRASSE");
    EXPECT_EQ(upper(u"\uFB03"), u"FFI");
    EXPECT_EQ(lower(u"\u0130"), u"i\u0307");
    EXPECT_EQ(upper(std::u16string(1000, u'\u0390')).size(), 3000u);
}

TEST(CFStringCase, KnowsTheFinalSigma) {
    EXPECT_EQ(lower(u"\u039F\u03A3"), u"\u03BF\u03C2");
    EXPECT_EQ(lower(u"\u03A3\u039F\u03A3 \u03A3"), u"\u03C3\u03BF\u03C2 \u03C3");
    EXPECT_EQ(upper(u"\u03C2"), u"\u03A3");
}

TEST(CFStringCase, FollowsNoLanguageInTheRoot) {
    EXPECT_EQ(lower(u"I\u00E9"), u"i\u00E9");
    EXPECT_EQ(upper(u"i\u00E9"), u"I\u00C9");
}

TEST(CFStringCase, LeavesLoneSurrogatesAndNULs) {
    EXPECT_EQ(lower(kLoneHigh + u"\u00C9"), kLoneHigh + u"\u00E9");
    EXPECT_EQ(upper(u"\u00E9" + kLoneHigh), u"\u00C9" + kLoneHigh);
    EXPECT_EQ(upper(std::u16string(u"a\0b", 3)), std::u16string(u"A\0B", 3));
    EXPECT_EQ(capitalized(kLoneHigh + u"\u00E9"), kLoneHigh + u"\u00C9");
}

TEST(CFStringCase, CapitalizesTheFirstLetterOfEachWord) {
    EXPECT_EQ(capitalized(u"hello WORLD"), u"Hello World");
    EXPECT_EQ(capitalized(u"aaa-bbb_ccc/ddd"), u"Aaa-Bbb_Ccc/Ddd");
    EXPECT_EQ(capitalized(u"\u00E9T\u00C9 \u0436\u0416"), u"\u00C9t\u00E9 \u0416\u0436");
    EXPECT_EQ(capitalized(u""), u"");
    EXPECT_EQ(capitalized(u"  42  "), u"  42  ");
}

TEST(CFStringCase, TakesDigitsAsTheEndOfAWord) {
    EXPECT_EQ(capitalized(u"2nd chance"), u"2Nd Chance");
    EXPECT_EQ(capitalized(u"2nd \u00E9"), u"2Nd \u00C9");
}

TEST(CFStringCase, TakesAFullStopAsTheEndOfAWord) {
    EXPECT_EQ(capitalized(u"a.b.c"), u"A.B.C");
    EXPECT_EQ(capitalized(u"\u00E9.\u00E9 e.g. X"), u"\u00C9.\u00C9 E.G. X");
    EXPECT_EQ(capitalized(u"a:b"), u"A:b") << "a colon does not";
}

TEST(CFStringCase, TakesApostrophesIntoAWord) {
    EXPECT_EQ(capitalized(u"don't o'NEIL"), u"Don't O'neil");
    EXPECT_EQ(capitalized(u"don\u2019t"), u"Don\u2019t");
    EXPECT_EQ(capitalized(u"e\u0301cole"), u"E\u0301cole");
    EXPECT_EQ(capitalized(u"'tis"), u"'Tis");
}

TEST(CFStringCase, CapitalizesWithTitleForms) {
    EXPECT_EQ(capitalized(u"\u01C6"), u"\u01C5");
    EXPECT_EQ(capitalized(u"\u00DFa"), u"Ssa");
    EXPECT_EQ(capitalized(u"\u03A3\u039F\u03A3"), u"\u03A3\u03BF\u03C2");
    EXPECT_EQ(capitalized(u"\u039F\u03A3"), u"\u039F\u03C2");
    EXPECT_EQ(capitalized(u"\u0130\u0130"), u"\u0130i\u0307");
    EXPECT_EQ(capitalized(u"\U00010428\U00010400"), u"\U00010400\U00010428");
}

TEST(CFStringCase, CapitalizesTheSameInEitherStorage) {
    for (char16_t c = 1; c < 0x80; ++c) {
        const std::u16string in = {u'a', c, u'B', c, c, u'z'};
        std::u16string wide = capitalized(in + u" \u0416");
        wide.resize(in.size());
        EXPECT_EQ(capitalized(in), wide) << int{c};
    }
}

TEST(CFStringCase, ChangesNothingThatIsNotMutable) {
    CFStringLowercase(nullptr, nullptr);
    CFStringUppercase(nullptr, nullptr);
    CFStringCapitalize(nullptr, nullptr);
    CFStringNormalize(nullptr, kCFStringNormalizationFormC);
    CFStringFold(nullptr, kCFCompareCaseInsensitive, nullptr);
    const auto constant = string(u"Abc");
    const auto disguised = const_cast<CFMutableStringRef>(constant.get());
    CFStringLowercase(disguised, nullptr);
    CFStringUppercase(disguised, nullptr);
    CFStringFold(disguised, kCFCompareCaseInsensitive, nullptr);
    EXPECT_EQ(text(constant), u"Abc");
}

TEST(CFStringCase, StaysWithinTheMaximumLength) {
    const auto limited = hold(CFStringCreateMutable(nullptr, 2));
    CFStringAppend(limited, string(u"a\u00DF"));
    CFStringUppercase(limited, nullptr);
    EXPECT_EQ(text(limited), u"a\u00DF");
}

// ---- Normal forms

TEST(CFStringNormalize, KnowsTheFourForms) {
    const std::u16string in = u"\u00E9\uFB01e\u0301\uAC01";
    EXPECT_EQ(normalized(in, kCFStringNormalizationFormD), u"e\u0301\uFB01e\u0301\u1100\u1161\u11A8");
    EXPECT_EQ(normalized(in, kCFStringNormalizationFormKD), u"e\u0301fie\u0301\u1100\u1161\u11A8");
    EXPECT_EQ(normalized(in, kCFStringNormalizationFormC), u"\u00E9\uFB01\u00E9\uAC01");
    EXPECT_EQ(normalized(in, kCFStringNormalizationFormKC), u"\u00E9fi\u00E9\uAC01");
}

TEST(CFStringNormalize, JoinsNoHalfwidthVoicingMark) {
    EXPECT_EQ(normalized(u"\uFF76\uFF9E", kCFStringNormalizationFormKC), u"\u30AB\u3099");
    EXPECT_EQ(normalized(u"x\uFF8A\uFF9F\uFF9Fe\u0301", kCFStringNormalizationFormKC), u"x\u30CF\u309A\u309A\u00E9");
    EXPECT_EQ(normalized(u"\uFF9E", kCFStringNormalizationFormKC), u"\u3099");
    EXPECT_EQ(normalized(u"\u30AB\u3099", kCFStringNormalizationFormKC), u"\u30AC");
    EXPECT_EQ(normalized(u"\uFF76\uFF9E", kCFStringNormalizationFormKD), u"\u30AB\u3099");
}

TEST(CFStringNormalize, OrdersMarks) {
    EXPECT_EQ(normalized(u"a\u0307\u0323", kCFStringNormalizationFormD), u"a\u0323\u0307");
    EXPECT_EQ(normalized(u"q\u0307\u0323", kCFStringNormalizationFormC), u"q\u0323\u0307");
}

TEST(CFStringNormalize, GrowsAsMuchAsTheFormNeeds) {
    EXPECT_EQ(normalized(std::u16string(100, u'\uFDFA'), kCFStringNormalizationFormKD).size(), 1800u);
}

TEST(CFStringNormalize, OrdersVeryManyMarks) {
    constexpr std::size_t kCount = 100'000;
    std::u16string in = u"xa", wanted = u"xa";
    for (std::size_t i = 0; i < kCount; ++i) in += u"\u0307\u0323\U0001D165";
    in += u"b\u0307\u0323";
    for (std::size_t i = 0; i < kCount; ++i) wanted += u"\U0001D165";
    wanted += std::u16string(kCount, u'\u0323') + std::u16string(kCount, u'\u0307') + u"b\u0323\u0307";
    EXPECT_TRUE(normalized(in, kCFStringNormalizationFormD) == wanted);
}

TEST(CFStringNormalize, LeavesWhatIsNormalAndWhatIsNoForm) {
    EXPECT_EQ(normalized(u"abc", kCFStringNormalizationFormKD), u"abc");
    EXPECT_EQ(normalized(u"\u00E9", static_cast<CFStringNormalizationForm>(99)), u"\u00E9");
    EXPECT_EQ(normalized(kLoneHigh + u"\u00E9", kCFStringNormalizationFormD), kLoneHigh + u"e\u0301");
}

// ---- Folding

TEST(CFStringFold, FoldsCase) {
    EXPECT_EQ(fold(u"Hello", kCFCompareCaseInsensitive), u"hello");
    EXPECT_EQ(fold(u"STRA\u00DFE \u03A3", kCFCompareCaseInsensitive), u"strasse \u03C3");
}

TEST(CFStringFold, FoldsDiacritics) {
    EXPECT_EQ(fold(u"\u00C9t\u00E9 e\u0301 \u01ED", kCFCompareDiacriticInsensitive), u"Ete e o");
    EXPECT_EQ(fold(u"\u00F8 \uAC01", kCFCompareDiacriticInsensitive), u"\u00F8 \uAC01");
}

TEST(CFStringFold, FoldsDiacriticsOfLatinGreekAndCyrillicOnly) {
    const auto folded = [](const std::u16string& text) { return fold(text, kCFCompareDiacriticInsensitive); };
    EXPECT_EQ(folded(u"\u1F80 \u0439 \u1EA5 \u01D7"), u"\u03B1 \u0438 a U");
    EXPECT_EQ(folded(u"\u037E \u0387 \u1FFD"), u"; \u00B7 \u00B4") << "what is the same character";
    EXPECT_EQ(folded(u"x\u0301\u0323y a\u20D7"), u"xy a");
    EXPECT_EQ(folded(u"\u050F\u0301 \u0510\u0301"), u"\u050F \u0510\u0301") << "the last letter concerned";
    for (const char16_t* const kept : {u"\u0301", u" \u0301", u"1\u0301", u"\u304C", u"\u304B\u3099", u"\u05E9\u05C1",
                                       u"\uFB1D", u"\u0626", u"\u0958", u"\u212B", u"\u00A8", u"\u00F8"})
        EXPECT_EQ(folded(kept), kept);
}

TEST(CFStringFold, FoldsTextsThatBecomeFourTimesAsLongInBetween) {
    EXPECT_EQ(fold(std::u16string(100, u'\u1F82'), kCFCompareDiacriticInsensitive), std::u16string(100, u'\u03B1'));
}

TEST(CFStringFold, FoldsWidth) {
    EXPECT_EQ(fold(u"\uFF21\uFF11\u3000\uFF76\uFF9E\uFFE6", kCFCompareWidthInsensitive), u"A1 \u30AB\u3099\u20A9");
}

TEST(CFStringFold, FoldsAllTogether) {
    EXPECT_EQ(fold(u"\uFF25\u0301\u0130",
                   kCFCompareCaseInsensitive | kCFCompareDiacriticInsensitive | kCFCompareWidthInsensitive),
              u"ei");
}

TEST(CFStringFold, DoesNotNormalize) {
    EXPECT_EQ(fold(u"e\u0301 \u00E9 \u212B", kCFCompareNonliteral), u"e\u0301 \u00E9 \u212B");
    EXPECT_EQ(fold(u"e\u0301 \u00E9", kCFCompareCaseInsensitive | kCFCompareNonliteral), u"e\u0301 \u00E9");
    EXPECT_EQ(fold(u"ABC", 0), u"ABC");
}

TEST(CFStringFold, LeavesLoneSurrogates) {
    EXPECT_EQ(fold(kLoneHigh + u"\u00C9",
                   kCFCompareCaseInsensitive | kCFCompareDiacriticInsensitive | kCFCompareWidthInsensitive),
              kLoneHigh + u"e");
}
