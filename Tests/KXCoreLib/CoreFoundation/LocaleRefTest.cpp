#include <KXCoreLib/CoreFoundation/LocaleRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <string>

using namespace KXCore::CoreFoundation;

template <>
LocaleRef KXCore::CoreFoundation::sample() {
    return LocaleRef::create(kCFAllocatorDefault, CFSTR("de_DE"));
}
INSTANTIATE_TYPED_TEST_SUITE_P(LocaleRef, TypedWrapper, LocaleRef);

FORWARDS(LocaleRef, getTypeID, CFLocaleGetTypeID);
FORWARDS(LocaleRef, create, CFLocaleCreate);
FORWARDS(LocaleRef, createCopy, CFLocaleCreateCopy);
FORWARDS(LocaleRef, copyCurrent, CFLocaleCopyCurrent);
FORWARDS(LocaleRef, getSystem, CFLocaleGetSystem);
FORWARDS(LocaleRef, copyAvailableLocaleIdentifiers, CFLocaleCopyAvailableLocaleIdentifiers);
FORWARDS(LocaleRef, copyISOLanguageCodes, CFLocaleCopyISOLanguageCodes);
FORWARDS(LocaleRef, copyISOCountryCodes, CFLocaleCopyISOCountryCodes);
FORWARDS(LocaleRef, copyISOCurrencyCodes, CFLocaleCopyISOCurrencyCodes);
FORWARDS(LocaleRef, copyCommonISOCurrencyCodes, CFLocaleCopyCommonISOCurrencyCodes);
FORWARDS(LocaleRef, copyPreferredLanguages, CFLocaleCopyPreferredLanguages);
FORWARDS(LocaleRef, createCanonicalLanguageIdentifierFromString, CFLocaleCreateCanonicalLanguageIdentifierFromString);
FORWARDS(LocaleRef, createCanonicalLocaleIdentifierFromString, CFLocaleCreateCanonicalLocaleIdentifierFromString);
FORWARDS(LocaleRef, createCanonicalLocaleIdentifierFromScriptManagerCodes,
         CFLocaleCreateCanonicalLocaleIdentifierFromScriptManagerCodes);
FORWARDS(LocaleRef, createLocaleIdentifierFromWindowsLocaleCode, CFLocaleCreateLocaleIdentifierFromWindowsLocaleCode);
FORWARDS(LocaleRef, getWindowsLocaleCodeFromLocaleIdentifier, CFLocaleGetWindowsLocaleCodeFromLocaleIdentifier);
FORWARDS(LocaleRef, getLanguageCharacterDirection, CFLocaleGetLanguageCharacterDirection);
FORWARDS(LocaleRef, getLanguageLineDirection, CFLocaleGetLanguageLineDirection);
FORWARDS(LocaleRef, createComponentsFromLocaleIdentifier, CFLocaleCreateComponentsFromLocaleIdentifier);
FORWARDS(LocaleRef, createLocaleIdentifierFromComponents, CFLocaleCreateLocaleIdentifierFromComponents);
FORWARDS(LocaleRef, getIdentifier, CFLocaleGetIdentifier);
FORWARDS(LocaleRef, getValue, CFLocaleGetValue);
FORWARDS(LocaleRef, copyDisplayNameForPropertyValue, CFLocaleCopyDisplayNameForPropertyValue);

namespace {

bool contains(const ArrayRef& array, CFStringRef text) {
    return array.containsValue(CFRangeMake(0, array.getCount()), text);
}

}  // namespace

TEST(LocaleRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFLocaleCreate", [](CFAllocatorRef a) { LocaleRef::create(a, CFSTR("en")); }},
        {"CFLocaleCreateCopy", [](CFAllocatorRef a) { LocaleRef::createCopy(a, LocaleRef::getSystem().get()); }},
        {"CFLocaleCreateCanonicalLanguageIdentifierFromString",
         [](CFAllocatorRef a) { LocaleRef::createCanonicalLanguageIdentifierFromString(a, CFSTR("en")); }},
        {"CFLocaleCreateCanonicalLocaleIdentifierFromString",
         [](CFAllocatorRef a) { LocaleRef::createCanonicalLocaleIdentifierFromString(a, CFSTR("en")); }},
        {"CFLocaleCreateCanonicalLocaleIdentifierFromScriptManagerCodes",
         [](CFAllocatorRef a) { LocaleRef::createCanonicalLocaleIdentifierFromScriptManagerCodes(a, 0, 0); }},
        {"CFLocaleCreateLocaleIdentifierFromWindowsLocaleCode",
         [](CFAllocatorRef a) { LocaleRef::createLocaleIdentifierFromWindowsLocaleCode(a, 0x0409); }},
        {"CFLocaleCreateComponentsFromLocaleIdentifier",
         [](CFAllocatorRef a) { LocaleRef::createComponentsFromLocaleIdentifier(a, CFSTR("en_US")); }},
    });
    expectFailsToCreate("CFLocaleCreate", [] { LocaleRef::create(nullptr, nullptr); });
    expectFailsToCreate("CFLocaleCreateLocaleIdentifierFromComponents",
                        [] { LocaleRef::createLocaleIdentifierFromComponents(nullptr, nullptr); });
    expectFailsToCreate("CFLocaleCopyDisplayNameForPropertyValue", [] {
        LocaleRef::getSystem().copyDisplayNameForPropertyValue(kCFLocaleUsesMetricSystem, CFSTR("de"));
    });
}

TEST(LocaleRef, IsMadeOfAnIdentifier) {
    const LocaleRef locale = LocaleRef::create(nullptr, CFSTR("de-de"));
    EXPECT_EQ(locale.getIdentifier().copyStdString(), "de_DE");
    EXPECT_EQ(LocaleRef::createCopy(nullptr, locale.get()), locale);
    EXPECT_EQ(LocaleRef::getSystem().getIdentifier().copyStdString(), "");
    EXPECT_NE(LocaleRef::copyCurrent().getIdentifier().copyStdString(), "");
}

TEST(LocaleRef, TellsWhatItKnows) {
    const LocaleRef locale = sample<LocaleRef>();
    EXPECT_TRUE(CFEqual(locale.getValue(kCFLocaleCurrencyCode), CFSTR("EUR")));
    EXPECT_EQ(locale.getValue(kCFLocaleVariantCode), nullptr);
    EXPECT_EQ(locale.copyDisplayNameForPropertyValue(kCFLocaleLanguageCode, CFSTR("fr")).copyStdString(),
              "Franz\u00F6sisch");
}

TEST(LocaleRef, ListsWhatIsKnown) {
    EXPECT_TRUE(contains(LocaleRef::copyAvailableLocaleIdentifiers(), CFSTR("zh_Hant_TW")));
    EXPECT_TRUE(contains(LocaleRef::copyISOLanguageCodes(), CFSTR("haw")));
    EXPECT_TRUE(contains(LocaleRef::copyISOCountryCodes(), CFSTR("JP")));
    EXPECT_TRUE(contains(LocaleRef::copyISOCurrencyCodes(), CFSTR("DEM")));
    EXPECT_FALSE(contains(LocaleRef::copyCommonISOCurrencyCodes(), CFSTR("DEM")));
    EXPECT_GE(LocaleRef::copyPreferredLanguages().getCount(), 1);
}

TEST(LocaleRef, ConvertsIdentifiers) {
    const auto languageOf = LocaleRef::createCanonicalLanguageIdentifierFromString;
    EXPECT_EQ(languageOf(nullptr, CFSTR("zh_TW")).copyStdString(), "zh-Hant");
    EXPECT_EQ(LocaleRef::createCanonicalLocaleIdentifierFromString(nullptr, CFSTR("zh-tw")).copyStdString(), "zh_TW");
    const auto ofCodes = LocaleRef::createCanonicalLocaleIdentifierFromScriptManagerCodes;
    EXPECT_EQ(ofCodes(nullptr, 2, 3).copyStdString(), "de_DE");
    EXPECT_EQ(LocaleRef::createLocaleIdentifierFromWindowsLocaleCode(nullptr, 0x0411).copyStdString(), "ja_JP");
    EXPECT_EQ(LocaleRef::getWindowsLocaleCodeFromLocaleIdentifier(CFSTR("ja_JP")), 0x0411u);
    EXPECT_EQ(LocaleRef::getLanguageCharacterDirection(CFSTR("he")), kCFLocaleLanguageDirectionRightToLeft);
    EXPECT_EQ(LocaleRef::getLanguageLineDirection(CFSTR("he")), kCFLocaleLanguageDirectionTopToBottom);
    const DictionaryRef parts = LocaleRef::createComponentsFromLocaleIdentifier(nullptr, CFSTR("en_US"));
    EXPECT_EQ(parts.getCount(), 2);
    EXPECT_EQ(LocaleRef::createLocaleIdentifierFromComponents(nullptr, parts.get()).copyStdString(), "en_US");
}
