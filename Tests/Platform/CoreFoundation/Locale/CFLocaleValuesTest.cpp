#include "Platform/CoreFoundation/Locale/Environment.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unicode/ucurr.h>
#include <unicode/uloc.h>
#include <unicode/ulocdata.h>
#include <unicode/unum.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

using namespace Held;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using Values::taken;

namespace {

constexpr const char* kRealLocales[] = {"en_US", "de_DE", "fr_FR", "ja_JP", "ar_EG", "hi_IN", "th_TH", "he_IL"};

Holder<CFLocaleRef> locale(const char* identifier) { return hold(CFLocaleCreate(nullptr, Values::string(identifier))); }

/// A text that a locale knows; "(null)" where it knows none.
std::string text(CFLocaleRef locale, CFLocaleKey key) {
    const CFTypeRef value = CFLocaleGetValue(locale, key);
    return value && CFGetTypeID(value) == CFStringGetTypeID() ? utf8(static_cast<CFStringRef>(value)) : "(null)";
}

std::string text(const char* identifier, CFLocaleKey key) { return text(locale(identifier), key); }

TEST(LocaleValues, OfThePartsAreThoseOfTheIdentifier) {
    const auto chinese = locale("zh-Hant_TW");
    EXPECT_EQ(text(chinese, kCFLocaleIdentifier), "zh-Hant_TW");
    EXPECT_EQ(text(chinese, kCFLocaleLanguageCode), "zh");
    EXPECT_EQ(text(chinese, kCFLocaleScriptCode), "Hant");
    EXPECT_EQ(text(chinese, kCFLocaleCountryCode), "TW");
    EXPECT_EQ(text(chinese, kCFLocaleVariantCode), "(null)");
    EXPECT_EQ(text("en_US_POSIX", kCFLocaleVariantCode), "POSIX");
    EXPECT_EQ(text("de", kCFLocaleCountryCode), "(null)");
    EXPECT_EQ(text("de", kCFLocaleScriptCode), "(null)");
}

TEST(LocaleValues, AreThoseOfTheRegion) {
    EXPECT_EQ(text("en_US", kCFLocaleDecimalSeparator), ".");
    EXPECT_EQ(text("en_US", kCFLocaleGroupingSeparator), ",");
    EXPECT_EQ(text("en_US", kCFLocaleCurrencySymbol), "$");
    EXPECT_EQ(text("en_US", kCFLocaleCurrencyCode), "USD");
    EXPECT_EQ(text("en_US", kCFLocaleMeasurementSystem), "U.S.");
    EXPECT_EQ(CFLocaleGetValue(locale("en_US"), kCFLocaleUsesMetricSystem), kCFBooleanFalse);
    EXPECT_EQ(text("en_GB", kCFLocaleMeasurementSystem), "U.K.");
    EXPECT_EQ(CFLocaleGetValue(locale("en_GB"), kCFLocaleUsesMetricSystem), kCFBooleanTrue);
    EXPECT_EQ(text("de_DE", kCFLocaleDecimalSeparator), ",");
    EXPECT_EQ(text("de_DE", kCFLocaleGroupingSeparator), ".");
    EXPECT_EQ(text("de_DE", kCFLocaleCurrencySymbol), "\u20AC");
    EXPECT_EQ(text("de_DE", kCFLocaleMeasurementSystem), "Metric");
    EXPECT_EQ(text("ja_JP", kCFLocaleCurrencyCode), "JPY");
    EXPECT_EQ(text("en_US@currency=EUR", kCFLocaleCurrencyCode), "EUR");
    EXPECT_EQ(text("en_US@currency=EUR", kCFLocaleCurrencySymbol), "\u20AC");
    EXPECT_EQ(text("en", kCFLocaleCurrencyCode), "(null)");
}

TEST(LocaleValues, AreThoseOfTheLanguage) {
    EXPECT_EQ(text("de_DE", kCFLocaleQuotationBeginDelimiterKey), "\u201E");
    EXPECT_EQ(text("de_DE", kCFLocaleQuotationEndDelimiterKey), "\u201C");
    EXPECT_EQ(text("de_DE", kCFLocaleAlternateQuotationBeginDelimiterKey), "\u201A");
    EXPECT_EQ(text("de_DE", kCFLocaleAlternateQuotationEndDelimiterKey), "\u2018");
    EXPECT_EQ(text("ja_JP", kCFLocaleQuotationBeginDelimiterKey), "\u300C");
    EXPECT_EQ(text("de_DE", kCFLocaleCollatorIdentifier), "de_DE");
    EXPECT_EQ(text("de_DE", kCFLocaleCollationIdentifier), "(null)");
    EXPECT_EQ(text("de_DE@collation=phonebook", kCFLocaleCollationIdentifier), "phonebook");
}

TEST(LocaleValues, NameTheCalendar) {
    EXPECT_EQ(text("en_US", kCFLocaleCalendarIdentifier), utf8(kCFGregorianCalendar));
    EXPECT_EQ(text("th_TH", kCFLocaleCalendarIdentifier), utf8(kCFBuddhistCalendar));
    EXPECT_EQ(text("fa_IR", kCFLocaleCalendarIdentifier), utf8(kCFPersianCalendar));
    EXPECT_EQ(text("ar_SA", kCFLocaleCalendarIdentifier), utf8(kCFIslamicUmmAlQuraCalendar));
    EXPECT_EQ(text("en_US@calendar=japanese", kCFLocaleCalendarIdentifier), utf8(kCFJapaneseCalendar));
    EXPECT_EQ(text("", kCFLocaleCalendarIdentifier), utf8(kCFGregorianCalendar));
}

TEST(LocaleValues, HoldTheLettersOfTheLanguage) {
    const auto german = locale("de_DE"), russian = locale("ru");
    const auto set = static_cast<CFCharacterSetRef>(CFLocaleGetValue(german, kCFLocaleExemplarCharacterSet));
    ASSERT_EQ(CFGetTypeID(set), CFCharacterSetGetTypeID());
    for (const UniChar letter : {u'a', u'\u00E4', u'\u00DF', u'Z', u'\u00C4'})
        EXPECT_TRUE(CFCharacterSetIsCharacterMember(set, letter)) << letter;
    EXPECT_FALSE(CFCharacterSetIsCharacterMember(set, u'\u0436'));
    const auto cyrillic = static_cast<CFCharacterSetRef>(CFLocaleGetValue(russian, kCFLocaleExemplarCharacterSet));
    EXPECT_TRUE(CFCharacterSetIsCharacterMember(cyrillic, u'\u0436'));
    EXPECT_FALSE(CFCharacterSetIsCharacterMember(cyrillic, u'a'));
}

/// What ICU itself says of a symbol.
std::string icuSymbol(const char* identifier, UNumberFormatStyle style, UNumberFormatSymbol symbol) {
    UErrorCode status = U_ZERO_ERROR;
    UNumberFormat* const format = unum_open(style, nullptr, 0, identifier, nullptr, &status);
    char16_t units[32];
    const int32_t length = unum_getSymbol(format, symbol, units, 32, &status);
    unum_close(format);
    return utf8(string(std::u16string_view(units, static_cast<std::size_t>(length))));
}

TEST(LocaleValues, AgreeWithICUForRealLocales) {
    for (const char* name : kRealLocales) {
        SCOPED_TRACE(name);
        const auto one = locale(name);
        EXPECT_EQ(text(one, kCFLocaleDecimalSeparator), icuSymbol(name, UNUM_DECIMAL, UNUM_DECIMAL_SEPARATOR_SYMBOL));
        EXPECT_EQ(text(one, kCFLocaleGroupingSeparator), icuSymbol(name, UNUM_DECIMAL, UNUM_GROUPING_SEPARATOR_SYMBOL));
        EXPECT_EQ(text(one, kCFLocaleCurrencySymbol), icuSymbol(name, UNUM_CURRENCY, UNUM_CURRENCY_SYMBOL));
        EXPECT_EQ(text(one, kCFLocaleCurrencyCode), icuSymbol(name, UNUM_CURRENCY, UNUM_INTL_CURRENCY_SYMBOL));
    }
}

TEST(LocaleValues, StayTheSameObjects) {
    const auto one = locale("fr_FR");
    for (const CFLocaleKey key : {kCFLocaleLanguageCode, kCFLocaleCurrencySymbol, kCFLocaleExemplarCharacterSet})
        EXPECT_EQ(CFLocaleGetValue(one, key), CFLocaleGetValue(one, key));
    EXPECT_EQ(CFLocaleGetValue(one, CFSTR("some other key")), nullptr);
    EXPECT_EQ(text(one, hold(CFStringCreateMutableCopy(nullptr, 0, kCFLocaleLanguageCode))), "fr");
}

TEST(LocaleValues, AreTakenByManyThreadsAtOnce) {
    const auto one = locale("he_IL");
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (const CFLocaleKey key : {kCFLocaleDecimalSeparator, kCFLocaleCurrencyCode, kCFLocaleCountryCode})
                EXPECT_NE(text(one, key), "(null)");
        });
}

TEST(LocaleValues, OfTheCurrentLocaleFollowTheirOwnVariables) {
    Environment environment;
    environment.set("LANG", "en_US.UTF-8");
    environment.set("LC_NUMERIC", "de_DE.UTF-8");
    environment.set("LC_MONETARY", "fr_CH.UTF-8");
    environment.set("LC_MEASUREMENT", "de_DE.UTF-8");
    environment.set("LC_TIME", "th_TH.UTF-8");
    environment.set("LC_COLLATE", "sv_SE.UTF-8");
    const auto current = hold(CFLocaleCopyCurrent());
    EXPECT_EQ(text(current, kCFLocaleIdentifier), "en_US");
    EXPECT_EQ(text(current, kCFLocaleDecimalSeparator), ",");
    EXPECT_EQ(text(current, kCFLocaleCurrencyCode), "CHF");
    EXPECT_EQ(CFLocaleGetValue(current, kCFLocaleUsesMetricSystem), kCFBooleanTrue);
    EXPECT_EQ(text(current, kCFLocaleCalendarIdentifier), "buddhist");
    EXPECT_EQ(text(current, kCFLocaleCollatorIdentifier), "sv_SE");
    EXPECT_EQ(text(current, kCFLocaleQuotationBeginDelimiterKey), "\u201C");
}

// ---- Names for people

std::string name(const char* display, CFLocaleKey key, const char* value) {
    return taken(CFLocaleCopyDisplayNameForPropertyValue(locale(display), key, Values::string(value)));
}

TEST(LocaleDisplayNames, AreInTheLanguageOfTheDisplayLocale) {
    EXPECT_EQ(name("en_US", kCFLocaleLanguageCode, "de"), "German");
    EXPECT_EQ(name("de_DE", kCFLocaleLanguageCode, "de"), "Deutsch");
    EXPECT_EQ(name("fr_FR", kCFLocaleLanguageCode, "de"), "allemand");
    EXPECT_EQ(name("de_DE", kCFLocaleCountryCode, "JP"), "Japan");
    EXPECT_EQ(name("ja_JP", kCFLocaleCountryCode, "JP"), "\u65E5\u672C");
    EXPECT_EQ(name("en_US", kCFLocaleScriptCode, "Cyrl"), "Cyrillic");
    EXPECT_EQ(name("en_US", kCFLocaleVariantCode, "POSIX"), "Computer");
    EXPECT_EQ(name("en_US", kCFLocaleIdentifier, "zh-Hant_TW"), "Chinese (Traditional, Taiwan)");
    EXPECT_EQ(name("de_DE", kCFLocaleIdentifier, "en_US"), "Englisch (Vereinigte Staaten)");
    EXPECT_EQ(name("en_US", kCFLocaleCalendarIdentifier, "buddhist"), "Buddhist Calendar");
    EXPECT_EQ(name("de_DE", kCFLocaleCollationIdentifier, "phonebook"), "Telefonbuch-Sortierung");
    EXPECT_EQ(name("en_US", kCFLocaleCurrencyCode, "EUR"), "Euro");
    EXPECT_EQ(name("de_DE", kCFLocaleCurrencyCode, "USD"), "US-Dollar");
    EXPECT_EQ(name("en_US", kCFLocaleCurrencySymbol, "EUR"), "\u20AC");
}

TEST(LocaleDisplayNames, AreNullForWhatHasNone) {
    EXPECT_EQ(name("en_US", kCFLocaleLanguageCode, "xx"), "(null)");
    EXPECT_EQ(name("en_US", kCFLocaleCountryCode, "XQ"), "(null)");
    EXPECT_EQ(name("en_US", kCFLocaleCountryCode, "US@x=y"), "(null)");
    EXPECT_EQ(name("en_US", kCFLocaleCurrencyCode, "XQX"), "(null)");
    EXPECT_EQ(name("en_US", kCFLocaleCurrencyCode, "EURO"), "(null)");
    EXPECT_EQ(name("en_US", kCFLocaleLanguageCode, ""), "(null)");
    EXPECT_EQ(name("en_US", kCFLocaleUsesMetricSystem, "true"), "(null)");
    EXPECT_EQ(name("en_US", CFSTR("other"), "de"), "(null)");
    EXPECT_EQ(name("en_US", kCFLocaleLanguageCode, std::string(156, 'a').c_str()), "(null)");
}

// ---- Lists

std::vector<std::string> list(CFArrayRef array) {
    const auto held = hold(array);
    std::vector<std::string> texts;
    for (CFIndex i = 0; i < CFArrayGetCount(held); ++i)
        texts.push_back(utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(held, i))));
    return texts;
}

TEST(LocaleLists, HoldWhatIsKnown) {
    const auto identifiers = list(CFLocaleCopyAvailableLocaleIdentifiers());
    EXPECT_EQ(identifiers.size(), static_cast<std::size_t>(uloc_countAvailable()));
    for (const char* name : kRealLocales) EXPECT_THAT(identifiers, Contains(name));
    EXPECT_THAT(identifiers, Contains("zh_Hant_TW"));
    EXPECT_THAT(list(CFLocaleCopyISOLanguageCodes()), testing::IsSupersetOf({"en", "de", "ja", "haw"}));
    EXPECT_THAT(list(CFLocaleCopyISOCountryCodes()), testing::IsSupersetOf({"US", "DE", "JP"}));
    const auto all = list(CFLocaleCopyISOCurrencyCodes()), common = list(CFLocaleCopyCommonISOCurrencyCodes());
    EXPECT_THAT(all, testing::IsSupersetOf({"EUR", "USD", "DEM"}));
    EXPECT_THAT(common, testing::IsSupersetOf({"EUR", "USD"}));
    EXPECT_THAT(common, Not(Contains("DEM")));
    EXPECT_TRUE(std::ranges::is_sorted(all));
    EXPECT_TRUE(std::ranges::is_sorted(common));
}

TEST(LocaleLists, PutTheLanguagesOfTheUserFirst) {
    Environment environment;
    EXPECT_THAT(list(CFLocaleCopyPreferredLanguages()), ElementsAre("en-US"));
    environment.set("LANG", "de_DE.UTF-8");
    EXPECT_THAT(list(CFLocaleCopyPreferredLanguages()), ElementsAre("de-DE"));
    environment.set("LANGUAGE", "fr_CH:zh_TW::sr@latin:de_DE:/nonsense");
    EXPECT_THAT(list(CFLocaleCopyPreferredLanguages()), ElementsAre("fr-CH", "zh-TW", "sr-Latn", "de-DE"));
    // As with gettext, LANGUAGE does not count in the locale "C".
    environment.set("LC_ALL", "C");
    EXPECT_THAT(list(CFLocaleCopyPreferredLanguages()), ElementsAre("en-US"));
}

TEST(LocaleValues, SurviveNullArgumentsAndForeignObjects) {
    const auto one = locale("en_US");
    const auto foreign = reinterpret_cast<CFLocaleRef>(CFSTR("en_US"));
    const auto number = Values::number(1);
    const auto noText = reinterpret_cast<CFStringRef>(number.get());
    for (const CFLocaleRef bad : {CFLocaleRef(nullptr), foreign}) {
        EXPECT_EQ(CFLocaleGetValue(bad, kCFLocaleIdentifier), nullptr);
        EXPECT_EQ(CFLocaleCopyDisplayNameForPropertyValue(bad, kCFLocaleLanguageCode, CFSTR("de")), nullptr);
    }
    for (const CFStringRef bad : {CFStringRef(nullptr), noText}) {
        EXPECT_EQ(CFLocaleGetValue(one, bad), nullptr);
        EXPECT_EQ(CFLocaleCopyDisplayNameForPropertyValue(one, bad, CFSTR("de")), nullptr);
        EXPECT_EQ(CFLocaleCopyDisplayNameForPropertyValue(one, kCFLocaleLanguageCode, bad), nullptr);
    }
}

}  // namespace
