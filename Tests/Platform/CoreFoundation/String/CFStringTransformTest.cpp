#include "Platform/CoreFoundation/Held.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

using Held::hold;
using Held::mutableString;
using Held::string;
using Held::text;

namespace {

/// The text after the transform; "failed" where it was refused and the text is as before.
std::u16string transformed(std::u16string_view in, CFStringRef transform, bool reverse = false) {
    const auto made = mutableString(in);
    if (CFStringTransform(made, nullptr, transform, reverse)) return text(made);
    EXPECT_EQ(text(made), in);
    return u"failed";
}

}  // namespace

TEST(CFStringTransform, StripsMarks) {
    EXPECT_EQ(transformed(u"\u00C9t\u00E9 e\u0301", kCFStringTransformStripCombiningMarks), u"Ete e");
    EXPECT_EQ(transformed(u"\u00C9t\u00E9 e\u0301", kCFStringTransformStripDiacritics), u"Ete e");
}

TEST(CFStringTransform, CannotBringBackWhatWasStripped) {
    EXPECT_EQ(transformed(u"e", kCFStringTransformStripCombiningMarks, true), u"failed");
    EXPECT_EQ(transformed(u"e", kCFStringTransformStripDiacritics, true), u"failed");
}

TEST(CFStringTransform, TransliteratesToLatin) {
    EXPECT_EQ(transformed(u"\u043C\u0438\u0440", kCFStringTransformToLatin), u"mir");
    EXPECT_EQ(transformed(u"\u03B1\u03B2\u03B3", kCFStringTransformToLatin), u"abg");
}

TEST(CFStringTransform, TransliteratesBothWays) {
    const struct {
        CFStringRef transform;
        std::u16string from, to;
    } rows[] = {
        {kCFStringTransformFullwidthHalfwidth, u"\uFF21\uFF22", u"AB"},
        {kCFStringTransformLatinKatakana, u"katakana", u"\u30AB\u30BF\u30AB\u30CA"},
        {kCFStringTransformLatinHiragana, u"hiragana", u"\u3072\u3089\u304C\u306A"},
        {kCFStringTransformHiraganaKatakana, u"\u3072\u3089\u304C\u306A", u"\u30D2\u30E9\u30AC\u30CA"},
        {kCFStringTransformLatinHangul, u"hangug", u"\uD55C\uAD6D"},
        {kCFStringTransformLatinCyrillic, u"mir", u"\u043C\u0438\u0440"},
        {kCFStringTransformLatinGreek, u"bg", u"\u03B2\u03B3"},
        {kCFStringTransformLatinHebrew, u"\u1E96", u"\u05D7"},
        {kCFStringTransformToXMLHex, u"a<\u00E9\U0001F600", u"a<&#xE9;&#x1F600;"},
        {kCFStringTransformToUnicodeName, u"a\u00E9", u"a\\N{LATIN SMALL LETTER E WITH ACUTE}"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(transformed(row.from, row.transform), row.to) << Held::utf8(row.transform);
        EXPECT_EQ(transformed(row.to, row.transform, true), row.from) << Held::utf8(row.transform);
    }
}

TEST(CFStringTransform, KnowsEveryConstant) {
    for (const CFStringRef transform :
         {kCFStringTransformStripCombiningMarks, kCFStringTransformToLatin, kCFStringTransformFullwidthHalfwidth,
          kCFStringTransformLatinKatakana, kCFStringTransformLatinHiragana, kCFStringTransformHiraganaKatakana,
          kCFStringTransformMandarinLatin, kCFStringTransformLatinHangul, kCFStringTransformLatinArabic,
          kCFStringTransformLatinHebrew, kCFStringTransformLatinThai, kCFStringTransformLatinCyrillic,
          kCFStringTransformLatinGreek, kCFStringTransformToXMLHex, kCFStringTransformToUnicodeName,
          kCFStringTransformStripDiacritics})
        EXPECT_NE(transformed(u"abc", transform), u"failed") << Held::utf8(transform);
}

TEST(CFStringTransform, ReadsIdeographsAsMandarin) {
    EXPECT_EQ(transformed(u"\u4F60\u597D", kCFStringTransformMandarinLatin), u"n\u01D0 h\u01CEo");
    EXPECT_EQ(transformed(u"n\u01D0", kCFStringTransformMandarinLatin, true), u"failed");
}

TEST(CFStringTransform, WritesNamesAsEscapesAndLeavesOtherBracesAlone) {
    EXPECT_EQ(transformed(u"{\u2708} \u03A8\n", kCFStringTransformToUnicodeName),
              u"{\\N{AIRPLANE}} \\N{GREEK CAPITAL LETTER PSI}\\N{<control-000A>}");
    EXPECT_EQ(transformed(u"{x} \\N{AIRPLANE} {AIRPLANE}", kCFStringTransformToUnicodeName, true),
              u"{x} \u2708 {AIRPLANE}");
}

TEST(CFStringTransform, TakesAnyIdentifierOfICU) {
    EXPECT_EQ(transformed(u"abc", CFSTR("Any-Upper")), u"ABC");
    EXPECT_EQ(transformed(u"abc", CFSTR("[b] Any-Upper")), u"aBc");
    EXPECT_EQ(transformed(u"a\u00DF", CFSTR("Latin-ASCII; Upper")), u"ASS");
}

TEST(CFStringTransform, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(transformed(u"abc", CFSTR("No-Such")), u"failed");
    EXPECT_EQ(transformed(u"abc", CFSTR("")), u"failed");
    EXPECT_EQ(transformed(u"abc", CFSTR("[unclosed Any-Upper")), u"failed");
    EXPECT_EQ(transformed(u"abc", nullptr), u"failed");
    EXPECT_FALSE(CFStringTransform(nullptr, nullptr, kCFStringTransformToLatin, false));
    const auto constant = string(u"\u00E9");
    EXPECT_FALSE(CFStringTransform(const_cast<CFMutableStringRef>(constant.get()), nullptr,
                                   kCFStringTransformStripDiacritics, false));
}

TEST(CFStringTransform, ChangesTheRangeOnlyAndTellsItsNewLength) {
    const auto made = mutableString(u"\u00E9\u00E9\u00E9\u00E9");
    CFRange range{1, 2};
    EXPECT_TRUE(CFStringTransform(made, &range, kCFStringTransformToXMLHex, false));
    EXPECT_EQ(text(made), u"\u00E9&#xE9;&#xE9;\u00E9");
    EXPECT_EQ(range.location, 1);
    EXPECT_EQ(range.length, 12);
    EXPECT_TRUE(CFStringTransform(made, &range, kCFStringTransformToXMLHex, true));
    EXPECT_EQ(text(made), u"\u00E9\u00E9\u00E9\u00E9");
    EXPECT_EQ(range.length, 2);
}

TEST(CFStringTransform, RefusesARangeOutsideTheString) {
    const auto made = mutableString(u"\u00E9");
    for (const CFRange outside :
         {CFRange{0, 2}, CFRange{2, 0}, CFRange{-1, 1}, CFRange{0, -1}, CFRange{1, INT64_MAX}}) {
        CFRange range = outside;
        EXPECT_FALSE(CFStringTransform(made, &range, kCFStringTransformStripDiacritics, false));
        EXPECT_EQ(range.location, outside.location);
        EXPECT_EQ(range.length, outside.length);
    }
    EXPECT_EQ(text(made), u"\u00E9");
}

TEST(CFStringTransform, TakesEmptyTextsAndRanges) {
    EXPECT_EQ(transformed(u"", kCFStringTransformToLatin), u"");
    const auto made = mutableString(u"\u00E9");
    CFRange range{1, 0};
    EXPECT_TRUE(CFStringTransform(made, &range, kCFStringTransformToXMLHex, false));
    EXPECT_EQ(range.length, 0);
    EXPECT_EQ(text(made), u"\u00E9");
}

TEST(CFStringTransform, GrowsAsMuchAsTheTransformNeeds) {
    const std::u16string in(2000, u'\uFDFA');
    EXPECT_EQ(transformed(in, kCFStringTransformToXMLHex).size(), 2000u * 8);
    EXPECT_EQ(transformed(transformed(in, kCFStringTransformToUnicodeName), kCFStringTransformToUnicodeName, true), in);
}

TEST(CFStringTransform, StaysWithinTheMaximumLength) {
    const auto limited = hold(CFStringCreateMutable(nullptr, 4));
    CFStringAppend(limited, string(u"\u00E9"));
    EXPECT_FALSE(CFStringTransform(limited, nullptr, kCFStringTransformToXMLHex, false));
    EXPECT_EQ(text(limited), u"\u00E9");
}

TEST(CFStringTransform, LeavesLoneSurrogates) {
    const std::u16string lone(1, char16_t{0xD800});
    EXPECT_EQ(transformed(lone + u"\u00E9", kCFStringTransformStripDiacritics), lone + u"e");
}

TEST(CFStringTransform, RunsOnSeveralThreadsAtOnce) {
    const auto work = [] {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(transformed(u"\u043C\u0438\u0440", kCFStringTransformToLatin), u"mir");
            EXPECT_EQ(transformed(u"\u00E9", kCFStringTransformStripDiacritics), u"e");
        }
    };
    std::thread other(work), third(work);
    work();
    other.join();
    third.join();
}
