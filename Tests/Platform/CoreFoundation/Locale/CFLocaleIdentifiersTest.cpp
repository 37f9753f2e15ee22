#include "Platform/CoreFoundation/TestAllocator.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unicode/uloc.h>

#include <functional>
#include <map>
#include <string>

using namespace Held;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Values::taken;

namespace {

std::string localeFrom(const char* text) {
    return taken(CFLocaleCreateCanonicalLocaleIdentifierFromString(nullptr, Values::string(text)));
}

std::string languageFrom(const char* text) {
    return taken(CFLocaleCreateCanonicalLanguageIdentifierFromString(nullptr, Values::string(text)));
}

TEST(LocaleIdentifiers, AreMadeCanonicalAsLocales) {
    EXPECT_EQ(localeFrom("English"), "en");
    EXPECT_EQ(localeFrom("Simplified Chinese"), "zh-Hans");
    EXPECT_EQ(localeFrom("en-us"), "en_US");
    EXPECT_EQ(localeFrom("zh_hant_HK"), "zh-Hant_HK");
    EXPECT_EQ(localeFrom("en_US@numbers=arab;calendar=japanese"), "en_US@calendar=japanese;numbers=arab");
    EXPECT_EQ(localeFrom("en-u-ca-japanese"), "en@calendar=japanese");
    EXPECT_EQ(localeFrom("klingon"), "klingon");
    EXPECT_EQ(localeFrom("\xE6\x97\xA5"), "(null)");
}

TEST(LocaleIdentifiers, AreMadeCanonicalAsLanguages) {
    EXPECT_EQ(languageFrom("French"), "fr");
    EXPECT_EQ(languageFrom("Traditional Chinese"), "zh-Hant");
    EXPECT_EQ(languageFrom("zh_TW"), "zh-Hant");
    EXPECT_EQ(languageFrom("zh_CN"), "zh-Hans");
    EXPECT_EQ(languageFrom("zh_Hant_HK"), "zh-Hant-HK");
    EXPECT_EQ(languageFrom("en_US"), "en-US");
    EXPECT_EQ(languageFrom("iw"), "he");
    EXPECT_EQ(languageFrom("de_DE@collation=phonebook"), "de-DE");
    EXPECT_EQ(languageFrom("\xE6\x97\xA5"), "(null)");
}

TEST(LocaleIdentifiers, AreFoundByTheNumbersOfMacScripts) {
    const auto of = [](LangCode language, RegionCode region) {
        return taken(CFLocaleCreateCanonicalLocaleIdentifierFromScriptManagerCodes(nullptr, language, region));
    };
    EXPECT_EQ(of(0, 0), "en_US");
    EXPECT_EQ(of(2, 3), "de_DE");
    EXPECT_EQ(of(1, 98), "fr_BE");
    EXPECT_EQ(of(1, 0), "fr_US");
    EXPECT_EQ(of(33, 52), "zh-Hans_CN");
    EXPECT_EQ(of(11, -1), "ja");
    EXPECT_EQ(of(-1, 14), "ja_JP");
    EXPECT_EQ(of(34, 6), "nl_BE");
    EXPECT_EQ(of(12, 16), "ar");
    EXPECT_EQ(of(19, -1), "zh-Hant");
    EXPECT_EQ(of(127, 0x7FFF), "(null)");
    EXPECT_EQ(of(-1, -1), "(null)");
}

TEST(LocaleIdentifiers, OfAllMacNumbersAreWellFormed) {
    for (int language = -2; language <= 200; ++language) {
        for (int region = -2; region <= 150; ++region) {
            const std::string made = taken(CFLocaleCreateCanonicalLocaleIdentifierFromScriptManagerCodes(
                nullptr, static_cast<LangCode>(language), static_cast<RegionCode>(region)));
            if (made == "(null)") continue;
            ASSERT_EQ(localeFrom(made.c_str()), made) << language << " " << region;
        }
    }
}

TEST(LocaleIdentifiers, AreFoundByTheNumbersOfWindows) {
    const auto of = [](std::uint32_t code) {
        return taken(CFLocaleCreateLocaleIdentifierFromWindowsLocaleCode(nullptr, code));
    };
    EXPECT_EQ(of(0x0409), "en_US");
    EXPECT_EQ(of(0x0407), "de_DE");
    EXPECT_EQ(of(0x0411), "ja_JP");
    EXPECT_EQ(of(0x0401), "ar_SA");
    EXPECT_EQ(of(0), "(null)");
    EXPECT_EQ(of(0xFFFFFFFF), "(null)");
    const auto codeOf = [](const char* name) {
        return CFLocaleGetWindowsLocaleCodeFromLocaleIdentifier(Values::string(name));
    };
    for (const char* name : {"en_US", "de_DE", "fr_FR", "ja_JP", "ar_EG", "hi_IN", "th_TH", "he_IL"}) {
        EXPECT_EQ(codeOf(name), uloc_getLCID(name));
        EXPECT_EQ(of(codeOf(name)), name);
    }
    EXPECT_EQ(codeOf("en-us"), 0x0409u);
    EXPECT_EQ(codeOf("xx_XX"), 0u);
}

TEST(LocaleIdentifiers, SayWhereTextRuns) {
    const auto character = [](const char* language) {
        return CFLocaleGetLanguageCharacterDirection(Values::string(language));
    };
    const auto line = [](const char* language) { return CFLocaleGetLanguageLineDirection(Values::string(language)); };
    for (const char* language : {"en", "de", "ja", "hi", "th", "fr_FR", "zh-Hant"}) {
        EXPECT_EQ(character(language), kCFLocaleLanguageDirectionLeftToRight) << language;
        EXPECT_EQ(line(language), kCFLocaleLanguageDirectionTopToBottom) << language;
    }
    for (const char* language : {"ar", "he", "iw", "fa", "ur", "yi", "az_Arab"})
        EXPECT_EQ(character(language), kCFLocaleLanguageDirectionRightToLeft) << language;
    for (const char* language : {"", "xx", "12", "\xC3\xA4"}) {
        EXPECT_EQ(character(language), kCFLocaleLanguageDirectionUnknown) << language;
        EXPECT_EQ(line(language), kCFLocaleLanguageDirectionUnknown) << language;
    }
}

// ---- Components

using Components = std::map<std::string, std::string>;

Components components(const char* identifier) {
    Components all;
    const auto made = hold(CFLocaleCreateComponentsFromLocaleIdentifier(nullptr, Values::string(identifier)));
    const auto add = [](const void* key, const void* value, void* context) {
        (*static_cast<Components*>(context))[utf8(static_cast<CFStringRef>(key))] =
            utf8(static_cast<CFStringRef>(value));
    };
    if (made) CFDictionaryApplyFunction(made, add, &all);
    return all;
}

std::string joined(const Components& components) {
    const auto dictionary =
        hold(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const auto& [key, value] : components)
        CFDictionarySetValue(dictionary, Values::string(key), Values::string(value));
    return taken(CFLocaleCreateLocaleIdentifierFromComponents(nullptr, dictionary));
}

TEST(LocaleComponents, AreTheParts) {
    EXPECT_THAT(components("en_US@calendar=japanese"),
                ElementsAre(Pair("calendar", "japanese"), Pair("kCFLocaleCountryCodeKey", "US"),
                            Pair("kCFLocaleLanguageCodeKey", "en")));
    EXPECT_THAT(components("zh-Hant_TW"),
                ElementsAre(Pair("kCFLocaleCountryCodeKey", "TW"), Pair("kCFLocaleLanguageCodeKey", "zh"),
                            Pair("kCFLocaleScriptCodeKey", "Hant")));
    EXPECT_THAT(components("en_US_POSIX@currency=EUR;numbers=arab"),
                ElementsAre(Pair("currency", "EUR"), Pair("kCFLocaleCountryCodeKey", "US"),
                            Pair("kCFLocaleLanguageCodeKey", "en"), Pair("kCFLocaleVariantCodeKey", "POSIX"),
                            Pair("numbers", "arab")));
    EXPECT_THAT(components(""), IsEmpty());
}

TEST(LocaleComponents, AreJoinedAgain) {
    EXPECT_EQ(joined({{"kCFLocaleLanguageCodeKey", "en"}, {"kCFLocaleCountryCodeKey", "US"}, {"calendar", "japanese"}}),
              "en_US@calendar=japanese");
    for (const char* identifier : {"en", "en_US", "zh_Hant_TW", "en_US_POSIX", "de__POSIX", "_US", "",
                                   "th_TH@calendar=gregorian;collation=standard;currency=THB"})
        EXPECT_EQ(joined(components(identifier)), identifier);
}

TEST(LocaleComponents, ThatCannotStandInAnIdentifierAreRefused) {
    EXPECT_EQ(joined({{"kCFLocaleLanguageCodeKey", "en@x=y"}}), "(null)");
    EXPECT_EQ(joined({{"kCFLocaleLanguageCodeKey", "\xC3\xA4"}}), "(null)");
    EXPECT_EQ(joined({{"kCFLocaleLanguageCodeKey", std::string(200, 'a')}}), "(null)");
    EXPECT_EQ(joined({{"kCFLocaleLanguageCodeKey", std::string(100, 'a')},
                      {"kCFLocaleVariantCodeKey", std::string(100, 'a')}}),
              "(null)");
    EXPECT_EQ(joined({{"currency", ""}}), "(null)");
    EXPECT_EQ(joined({{"", "EUR"}}), "(null)");
    EXPECT_EQ(joined({{"a;b", "EUR"}}), "(null)");
    EXPECT_EQ(joined({{"currency", "EUR;numbers=arab"}}), "(null)");
    const void *key = kCFLocaleLanguageCode, *value = kCFBooleanTrue;
    const auto foreign = hold(
        CFDictionaryCreate(nullptr, &key, &value, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(CFLocaleCreateLocaleIdentifierFromComponents(nullptr, foreign), nullptr);
}

// ---- Bad arguments

TEST(LocaleIdentifiers, AreNullWithoutMemory) {
    const auto parts = hold(CFLocaleCreateComponentsFromLocaleIdentifier(nullptr, CFSTR("en_US@calendar=japanese")));
    const std::function<CFTypeRef(CFAllocatorRef)> creations[] = {
        [](CFAllocatorRef a) { return CFLocaleCreateCanonicalLanguageIdentifierFromString(a, CFSTR("en")); },
        [](CFAllocatorRef a) { return CFLocaleCreateCanonicalLanguageIdentifierFromString(a, CFSTR("zh_TW")); },
        [](CFAllocatorRef a) { return CFLocaleCreateCanonicalLocaleIdentifierFromString(a, CFSTR("en")); },
        [](CFAllocatorRef a) { return CFLocaleCreateCanonicalLocaleIdentifierFromScriptManagerCodes(a, 0, 0); },
        [](CFAllocatorRef a) { return CFLocaleCreateLocaleIdentifierFromWindowsLocaleCode(a, 0x0409); },
        [](CFAllocatorRef a) { return CFLocaleCreateComponentsFromLocaleIdentifier(a, CFSTR("en_US")); },
        [&](CFAllocatorRef a) { return CFLocaleCreateLocaleIdentifierFromComponents(a, parts); }};
    for (const auto& create : creations) {
        TestAllocator allocator;
        EXPECT_NE(hold(create(allocator)).get(), nullptr);
        allocator.failAfter(0);
        EXPECT_EQ(create(allocator), nullptr);
        EXPECT_EQ(allocator.blocks(), 0);
    }
}

TEST(LocaleIdentifiers, SurviveNullArgumentsAndForeignObjects) {
    const auto number = Values::number(1);
    for (const CFTypeRef bad : {CFTypeRef(nullptr), CFTypeRef(number)}) {
        const auto text = static_cast<CFStringRef>(bad);
        EXPECT_EQ(CFLocaleCreateCanonicalLanguageIdentifierFromString(nullptr, text), nullptr);
        EXPECT_EQ(CFLocaleCreateCanonicalLocaleIdentifierFromString(nullptr, text), nullptr);
        EXPECT_EQ(CFLocaleGetWindowsLocaleCodeFromLocaleIdentifier(text), 0u);
        EXPECT_EQ(CFLocaleGetLanguageCharacterDirection(text), kCFLocaleLanguageDirectionUnknown);
        EXPECT_EQ(CFLocaleGetLanguageLineDirection(text), kCFLocaleLanguageDirectionUnknown);
        EXPECT_EQ(CFLocaleCreateComponentsFromLocaleIdentifier(nullptr, text), nullptr);
        EXPECT_EQ(CFLocaleCreateLocaleIdentifierFromComponents(nullptr, static_cast<CFDictionaryRef>(bad)), nullptr);
    }
    EXPECT_EQ(taken(CFLocaleCreateCanonicalLocaleIdentifierFromScriptManagerCodes(nullptr, 0, 0)), "en_US");
    EXPECT_EQ(taken(CFLocaleCreateLocaleIdentifierFromWindowsLocaleCode(nullptr, 0x0409)), "en_US");
}

}  // namespace
