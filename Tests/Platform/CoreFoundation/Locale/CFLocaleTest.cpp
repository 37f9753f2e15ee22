#include "Platform/CoreFoundation/Locale/Environment.h"
#include "Platform/CoreFoundation/TestAllocator.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using namespace Held;
using Values::description;
using Values::taken;

namespace {

Holder<CFLocaleRef> locale(const char* identifier) { return hold(CFLocaleCreate(nullptr, Values::string(identifier))); }

std::string identifier(CFLocaleRef locale) { return locale ? utf8(CFLocaleGetIdentifier(locale)) : "(null)"; }

std::string made(const char* identifier) { return ::identifier(locale(identifier)); }

TEST(CFLocale, HasTheCanonicalFormOfItsIdentifier) {
    EXPECT_EQ(made("en_US"), "en_US");
    EXPECT_EQ(made("en-US"), "en_US");
    EXPECT_EQ(made("EN_us"), "en_US");
    EXPECT_EQ(made("de_DE.UTF-8"), "de_DE");
    EXPECT_EQ(made("zh_Hant_TW"), "zh-Hant_TW");
    EXPECT_EQ(made("zh-hant-tw"), "zh-Hant_TW");
    EXPECT_EQ(made("sr-Latn"), "sr-Latn");
    EXPECT_EQ(made("es-419"), "es_419");
    EXPECT_EQ(made("th_US"), "th_US");
    EXPECT_EQ(made("en_US@calendar=japanese"), "en_US@calendar=japanese");
    EXPECT_EQ(made("ca_ES_VALENCIA"), "ca_ES_VALENCIA");
    EXPECT_EQ(made("iw_IL"), "he_IL");
    EXPECT_EQ(made("French"), "fr");
    EXPECT_EQ(made("Traditional Chinese"), "zh-Hant");
    EXPECT_EQ(made(""), "");
}

TEST(CFLocale, IsNotMadeOfWhatCannotBeAnIdentifier) {
    EXPECT_EQ(made("\xC3\xA4"), "(null)");
    EXPECT_EQ(made("en\n"), "(null)");
    EXPECT_EQ(made(std::string(156, 'a').c_str()), std::string(156, 'a'));
    EXPECT_EQ(made(std::string(157, 'a').c_str()), "(null)");
    EXPECT_EQ(made(std::string(100'000, 'a').c_str()), "(null)");
}

TEST(CFLocale, OfTheSystemIsTheRootAndIsNeverFreed) {
    const CFLocaleRef root = CFLocaleGetSystem();
    EXPECT_EQ(identifier(root), "");
    EXPECT_EQ(CFLocaleGetSystem(), root);
    CFRelease(root);
    CFRelease(root);
    EXPECT_EQ(CFGetTypeID(root), CFLocaleGetTypeID());
    EXPECT_TRUE(CFEqual(root, locale("")));
}

TEST(CFLocale, IsEqualToOneOfTheSameIdentifier) {
    const auto one = locale("en_US"), same = locale("en-us"), other = locale("en_GB");
    EXPECT_TRUE(CFEqual(one, same));
    EXPECT_EQ(CFHash(one), CFHash(same));
    EXPECT_FALSE(CFEqual(one, other));
}

TEST(CFLocale, IsItsOwnCopyInTheSameMemory) {
    TestAllocator allocator;
    const auto one = locale("en_US"), copy = hold(CFLocaleCreateCopy(nullptr, one));
    EXPECT_EQ(one.get(), copy.get());
    const auto elsewhere = hold(CFLocaleCreateCopy(allocator, one));
    EXPECT_NE(one.get(), elsewhere.get());
    EXPECT_TRUE(CFEqual(one, elsewhere));
    EXPECT_EQ(identifier(hold(CFLocaleCreateCopy(nullptr, CFLocaleGetSystem()))), "");
}

TEST(CFLocale, DescribesItself) {
    const auto one = locale("de_DE");
    EXPECT_EQ(description(one), Values::heading("CFLocale", one) + "{identifier = 'de_DE'}");
}

TEST(CFLocale, IsNullWithoutMemory) {
    TestAllocator allocator;
    for (long allowed = 0;; ++allowed) {
        allocator.failAfter(allowed);
        const auto made = hold(CFLocaleCreate(allocator, CFSTR("de_DE")));
        if (!made) continue;
        EXPECT_EQ(allowed, 2);
        break;
    }
    EXPECT_EQ(allocator.blocks(), 0);
}

// ---- The locale of the user

std::string current() { return identifier(hold(CFLocaleCopyCurrent())); }

TEST(CurrentLocale, IsWhatTheEnvironmentSays) {
    Environment environment;
    const auto with = [&](const char* value) {
        environment.set("LC_ALL", value);
        return current();
    };
    EXPECT_EQ(with("de_DE.UTF-8"), "de_DE");
    EXPECT_EQ(with("fr_FR"), "fr_FR");
    EXPECT_EQ(with("de_DE@euro"), "de_DE");
    EXPECT_EQ(with("sr_RS.UTF-8@latin"), "sr-Latn_RS");
    EXPECT_EQ(with("ca_ES@valencia"), "ca_ES_VALENCIA");
    EXPECT_EQ(with("no_NO"), "nb_NO");
    EXPECT_EQ(with("ja"), "ja");
    EXPECT_EQ(with("C"), "en_US_POSIX");
    EXPECT_EQ(with("C.UTF-8"), "en_US_POSIX");
    EXPECT_EQ(with("POSIX"), "en_US_POSIX");
    EXPECT_EQ(with("/usr/share/locale/de"), "en_US_POSIX");
    EXPECT_EQ(with("\xC3\xA4\xC3\xA4"), "en_US_POSIX");
    EXPECT_EQ(with(("de_" + std::string(1000, 'D')).c_str()), "en_US_POSIX");
}

TEST(CurrentLocale, PrefersLCAllToMessagesAndMessagesToLang) {
    Environment environment;
    EXPECT_EQ(current(), "en_US_POSIX");
    environment.set("LANG", "th_TH");
    EXPECT_EQ(current(), "th_TH");
    environment.set("LC_MESSAGES", "he_IL");
    EXPECT_EQ(current(), "he_IL");
    environment.set("LC_ALL", "hi_IN");
    EXPECT_EQ(current(), "hi_IN");
    environment.set("LC_ALL", "");  // says nothing
    EXPECT_EQ(current(), "he_IL");
}

TEST(CurrentLocale, IsOneObjectWhileTheEnvironmentStays) {
    Environment environment;
    environment.set("LANG", "de_DE");
    const auto one = hold(CFLocaleCopyCurrent()), same = hold(CFLocaleCopyCurrent());
    EXPECT_EQ(one.get(), same.get());
    EXPECT_TRUE(CFEqual(one, locale("de_DE")));
    environment.set("LC_NUMERIC", "en_US");
    const auto mixed = hold(CFLocaleCopyCurrent());
    EXPECT_EQ(identifier(mixed), "de_DE");
    EXPECT_FALSE(CFEqual(mixed, one));
    EXPECT_TRUE(CFEqual(mixed, hold(CFLocaleCreateCopy(TestAllocator(), mixed))));
}

TEST(CurrentLocale, IsTakenByManyThreadsAtOnce) {
    Environment environment;
    environment.set("LC_ALL", "de_DE");
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int round = 0; round < 200; ++round) EXPECT_EQ(current(), "de_DE");
        });
}

// ---- Bad arguments

TEST(CFLocale, SurvivesNullArgumentsAndForeignObjects) {
    const auto foreign = reinterpret_cast<CFLocaleRef>(CFSTR("en_US"));
    const auto number = Values::number(1);
    const auto noText = reinterpret_cast<CFStringRef>(number.get());
    for (const CFStringRef bad : {CFStringRef(nullptr), noText}) {
        EXPECT_EQ(CFLocaleCreate(nullptr, bad), nullptr);
    }
    for (const CFLocaleRef bad : {CFLocaleRef(nullptr), foreign}) {
        EXPECT_EQ(CFLocaleCreateCopy(nullptr, bad), nullptr);
        EXPECT_EQ(CFLocaleGetIdentifier(bad), nullptr);
    }
}

}  // namespace
