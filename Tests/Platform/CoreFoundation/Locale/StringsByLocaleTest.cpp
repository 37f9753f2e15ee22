// The functions over strings that take a locale.

#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <string>
#include <string_view>
#include <thread>
#include <vector>

using namespace Held;

namespace {

constexpr const char* kRealLocales[] = {"en_US", "de_DE", "fr_FR", "ja_JP", "ar_EG", "hi_IN",
                                        "th_TH", "he_IL", "tr_TR", "sv_SE", "nl_NL", "lt_LT"};

Holder<CFLocaleRef> locale(const char* identifier) { return hold(CFLocaleCreate(nullptr, Values::string(identifier))); }

using Change = void(CFMutableStringRef, CFLocaleRef);

std::string changed(Change* change, std::u16string_view given, CFLocaleRef locale) {
    const auto text = mutableString(given);
    change(text, locale);
    return utf8(text);
}

std::string lower(std::u16string_view text, const char* name) { return changed(CFStringLowercase, text, locale(name)); }
std::string upper(std::u16string_view text, const char* name) { return changed(CFStringUppercase, text, locale(name)); }
std::string capital(std::u16string_view text, const char* name) {
    return changed(CFStringCapitalize, text, locale(name));
}

TEST(StringsByLocale, HaveTheCaseOfTheLanguage) {
    EXPECT_EQ(upper(u"title", "tr_TR"), "T\u0130TLE");
    EXPECT_EQ(upper(u"title", "az"), "T\u0130TLE");
    EXPECT_EQ(upper(u"title", "en_US"), "TITLE");
    EXPECT_EQ(upper(u"title \u00E4", "tr_TR"), "T\u0130TLE \u00C4");
    EXPECT_EQ(upper(u"title", "trv"), "TITLE");  // another language that begins so
    EXPECT_EQ(lower(u"TITLE", "tr_TR"), "t\u0131tle");
    EXPECT_EQ(lower(u"TITLE", "de_DE"), "title");
    EXPECT_EQ(lower(u"\u0130", "tr_TR"), "i");
    EXPECT_EQ(lower(u"\u00CC", "lt_LT"), "i\u0307\u0300");
    EXPECT_EQ(upper(u"\u03AC", "el_GR"), "\u0391");
    EXPECT_EQ(upper(u"\u03AC", "en_US"), "\u0386");
    EXPECT_EQ(capital(u"ijsselmeer ijs", "nl_NL"), "IJsselmeer IJs");
    EXPECT_EQ(capital(u"ijsselmeer", "en_US"), "Ijsselmeer");
    EXPECT_EQ(capital(u"istanbul", "tr_TR"), "\u0130stanbul");
    EXPECT_EQ(changed(CFStringUppercase, u"title", nullptr), "TITLE");
}

TEST(StringsByLocale, HaveTheCaseThatICUGivesThem) {
    const std::u16string text = u"The quick \u0130\u0131\u00DF \u03AC\u03C2 \u00CC dz i\u0307 FLYGANDE B\u00C4CKASINER";
    for (const char* name : kRealLocales) {
        char16_t expected[256];
        UErrorCode status = U_ZERO_ERROR;
        int32_t length = u_strToUpper(expected, 256, text.data(), static_cast<int32_t>(text.size()), name, &status);
        EXPECT_EQ(upper(text, name), utf8(string({expected, static_cast<std::size_t>(length)}))) << name;
        length = u_strToLower(expected, 256, text.data(), static_cast<int32_t>(text.size()), name, &status);
        EXPECT_EQ(lower(text, name), utf8(string({expected, static_cast<std::size_t>(length)}))) << name;
    }
}

TEST(StringsByLocale, AreFoldedAsTheLanguageHasIt) {
    const auto fold = [](std::u16string_view given, CFStringCompareFlags flags, const char* name) {
        const auto text = mutableString(given);
        CFStringFold(text, flags, locale(name));
        return utf8(text);
    };
    EXPECT_EQ(fold(u"TITLE", kCFCompareCaseInsensitive, "tr"), "t\u0131tle");
    EXPECT_EQ(fold(u"TITLE", kCFCompareCaseInsensitive, "en"), "title");
    EXPECT_EQ(fold(u"\u0130I\u00C9", kCFCompareCaseInsensitive, "tr"), "i\u0131\u00E9");
    EXPECT_EQ(fold(u"TITLE", kCFCompareWidthInsensitive, "tr"), "TITLE");
}

CFComparisonResult compare(std::u16string_view a, std::u16string_view b, CFStringCompareFlags flags, const char* name) {
    const auto one = string(a), other = string(b);
    return CFStringCompareWithOptionsAndLocale(one, other, {0, CFStringGetLength(one)}, flags, locale(name));
}

TEST(StringsByLocale, AreAlikeAsTheLanguageHasIt) {
    for (const CFStringCompareFlags also : {CFStringCompareFlags(0), CFStringCompareFlags(kCFCompareNonliteral)}) {
        const CFStringCompareFlags flags = kCFCompareCaseInsensitive | also;
        EXPECT_EQ(compare(u"TITLE", u"title", flags, "en"), kCFCompareEqualTo);
        EXPECT_NE(compare(u"TITLE", u"title", flags, "tr"), kCFCompareEqualTo);
        EXPECT_EQ(compare(u"TITLE", u"t\u0131tle", flags, "tr"), kCFCompareEqualTo);
        EXPECT_EQ(compare(u"T\u0130TLE", u"title", flags, "tr"), kCFCompareEqualTo);
        EXPECT_NE(compare(u"TITLE", u"t\u0131tle", flags, "en"), kCFCompareEqualTo);
    }
}

TEST(StringsByLocale, AreInTheOrderOfTheLanguage) {
    EXPECT_EQ(compare(u"\u00E4", u"z", kCFCompareLocalized, "de_DE"), kCFCompareLessThan);
    EXPECT_EQ(compare(u"\u00E4", u"z", kCFCompareLocalized, "sv_SE"), kCFCompareGreaterThan);
    EXPECT_EQ(compare(u"\u00E4", u"z", 0, "de_DE"), kCFCompareGreaterThan);  // by units
    EXPECT_EQ(compare(u"chata", u"dom", kCFCompareLocalized, "sk_SK"), kCFCompareGreaterThan);
    EXPECT_EQ(compare(u"a10", u"a9", kCFCompareLocalized, "en_US"), kCFCompareLessThan);
    EXPECT_EQ(compare(u"a10", u"a9", kCFCompareLocalized | kCFCompareNumerically, "en_US"), kCFCompareGreaterThan);
}

TEST(StringsByLocale, AreInTheOrderThatICUGivesThem) {
    const std::vector<std::u16string> words{u"zebra",  u"\u00E4rger", u"Arger",  u"\u00F6l", u"o\u0308l",
                                            u"\u3042", u"\u30A2",     u"\u05D0", u"\u0627",  u"\u0E01",
                                            u"\u0915", u"a-b",        u"ab",     u""};
    for (const char* name : kRealLocales) {
        UErrorCode status = U_ZERO_ERROR;
        UCollator* const collator = ucol_open(name, &status);
        ucol_setAttribute(collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
        for (const auto& a : words)
            for (const auto& b : words)
                EXPECT_EQ(static_cast<int>(compare(a, b, kCFCompareLocalized, name)),
                          static_cast<int>(ucol_strcoll(collator, a.data(), static_cast<int32_t>(a.size()), b.data(),
                                                        static_cast<int32_t>(b.size()))));
        ucol_close(collator);
    }
}

TEST(StringsByLocale, AreOrderedByMoreLocalesThanAreKept) {
    const auto identifiers = hold(CFLocaleCopyAvailableLocaleIdentifiers());
    const CFIndex count = std::min<CFIndex>(CFArrayGetCount(identifiers), 60);
    for (int round = 0; round < 2; ++round) {
        for (CFIndex i = 0; i < count; ++i) {
            const auto name = static_cast<CFStringRef>(CFArrayGetValueAtIndex(identifiers, i));
            const auto one = hold(CFLocaleCreate(nullptr, name));
            EXPECT_EQ(CFStringCompareWithOptionsAndLocale(CFSTR("a"), CFSTR("b"), {0, 1}, kCFCompareLocalized, one),
                      kCFCompareLessThan);
        }
    }
}

TEST(StringsByLocale, AreComparedByManyThreadsAtOnce) {
    std::vector<std::jthread> threads;
    for (const char* name : {"de_DE", "sv_SE", "de_DE", "fr_FR"})
        threads.emplace_back([name] {
            for (int i = 0; i < 50; ++i) EXPECT_EQ(compare(u"a", u"b", kCFCompareLocalized, name), kCFCompareLessThan);
        });
}

TEST(StringsByLocale, AreFoundAsTheLanguageHasIt) {
    const auto find = [](std::u16string_view text, std::u16string_view sought, const char* name) {
        CFRange found{kCFNotFound, 0};
        const auto all = string(text);
        CFStringFindWithOptionsAndLocale(all, string(sought), {0, CFStringGetLength(all)}, kCFCompareCaseInsensitive,
                                         locale(name), &found);
        return found.location;
    };
    EXPECT_EQ(find(u"the TITLE", u"title", "en"), 4);
    EXPECT_EQ(find(u"the TITLE", u"title", "tr"), kCFNotFound);
    EXPECT_EQ(find(u"the TITLE", u"t\u0131tle", "tr"), 4);
    EXPECT_EQ(find(u"the T\u0130TLE \u00E4", u"title", "tr"), 4);
    EXPECT_EQ(find(u"TITLE", u"TLE", "tr"), 2);
}

TEST(StringsByLocale, TakeWhatIsNoLocaleForNone) {
    const auto foreign = reinterpret_cast<CFLocaleRef>(CFSTR("tr_TR"));
    EXPECT_EQ(changed(CFStringUppercase, u"title", foreign), "TITLE");
    EXPECT_EQ(CFStringCompareWithOptionsAndLocale(CFSTR("I"), CFSTR("i"), {0, 1}, kCFCompareCaseInsensitive, foreign),
              kCFCompareEqualTo);
}

}  // namespace
