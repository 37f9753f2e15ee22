#include "Platform/CoreFoundation/Locale/ZoneFileBuilder.h"
#include "Platform/CoreFoundation/NullArguments.h"
#include "TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <map>
#include <optional>
#include <thread>

using namespace Held;
using namespace Values;
using namespace ZoneFiles;

namespace {

constexpr std::int64_t kSummer2024 = 1'720'000'000;
constexpr std::int64_t kWinter2024 = 1'705'000'000;

std::string nameOf(CFTimeZoneRef zone) { return zone ? utf8(CFTimeZoneGetName(zone)) : "(null)"; }

std::string named(const char* name, bool tryAbbreviation = false) {
    return nameOf(hold(CFTimeZoneCreateWithName(nullptr, string(name), tryAbbreviation)));
}

std::string ahead(CFTimeInterval seconds) {
    return nameOf(hold(CFTimeZoneCreateWithTimeIntervalFromGMT(nullptr, seconds)));
}

/// Environment variables of a test; the platform looks at them anew at its beginning and its end.
class Environment {
  public:
    explicit Environment(std::initializer_list<std::pair<const char*, const char*>> values) {
        for (const auto& [name, value] : values) {
            const char* const now = std::getenv(name);
            before_[name] = now ? std::optional<std::string>(now) : std::nullopt;
            set(name, value);
        }
        CFTimeZoneResetSystem();
    }
    ~Environment() {
        for (const auto& [name, value] : before_) set(name, value ? value->c_str() : nullptr);
        CFTimeZoneResetSystem();
    }

  private:
    static void set(const std::string& name, const char* value) {
        value ? ::setenv(name.c_str(), value, 1) : ::unsetenv(name.c_str());
    }
    std::map<std::string, std::optional<std::string>> before_;
};

std::string systemName() { return nameOf(hold(CFTimeZoneCopySystem())); }

// ---- Making

TEST(CFTimeZone, IsMadeByNameOfTheDatabase) {
    const auto berlin = zoneNamed("Europe/Berlin");
    ASSERT_TRUE(berlin.get());
    EXPECT_EQ(CFGetTypeID(berlin), CFTimeZoneGetTypeID());
    EXPECT_EQ(nameOf(berlin), "Europe/Berlin");
    EXPECT_EQ(stateAt(berlin, kSummer2024), "+7200 CEST dst");
    EXPECT_EQ(stateAt(berlin, kWinter2024), "+3600 CET");
    EXPECT_EQ(stateAt(berlin, 253'400'000'000), "+3600 CET");  // in 9999, by the rule
    EXPECT_EQ(stateAt(berlin, 253'390'000'000), "+7200 CEST dst");
    EXPECT_EQ(named("Etc/GMT+5"), "Etc/GMT+5");
    EXPECT_EQ(named("America/Argentina/Ushuaia"), "America/Argentina/Ushuaia");
    EXPECT_EQ(named("Nowhere/Berlin"), "(null)");
    EXPECT_EQ(named(""), "(null)");
    EXPECT_EQ(named("CEST"), "(null)");
}

TEST(CFTimeZone, CannotLeaveTheFolderOfTheDatabase) {
    for (const char* const name : {"../zoneinfo/Europe/Berlin", "Europe/../Europe/Berlin", "/usr/share/zoneinfo/UTC",
                                   "./UTC", "Europe//Berlin", "Europe/", "Europe", "UTC ", "UTC\n", "Europe/./Berlin",
                                   "..", ".", "/", "/etc/localtime", "\xC3\x84rger", "tzdata.zi", "zone.tab"}) {
        EXPECT_EQ(named(name), "(null)") << name;
        EXPECT_EQ(nameOf(hold(CFTimeZoneCreate(nullptr, string(name), nullptr))), "(null)") << name;
    }
    const UniChar withNull[] = {'U', 'T', 'C', 0, 'x'};
    EXPECT_EQ(CFTimeZoneCreateWithName(nullptr, hold(CFStringCreateWithCharacters(nullptr, withNull, 5)), false),
              nullptr);
    EXPECT_EQ(named(std::string(5000, 'A').c_str()), "(null)");
}

TEST(CFTimeZone, IsMadeOfAnInterval) {
    EXPECT_EQ(ahead(0), "GMT");
    EXPECT_EQ(ahead(5.5 * 3600), "GMT+0530");
    EXPECT_EQ(ahead(-3600), "GMT-0100");
    EXPECT_EQ(ahead(18 * 3600), "GMT+1800");
    EXPECT_EQ(ahead(-18 * 3600), "GMT-1800");
    EXPECT_EQ(ahead(18 * 3600 + 60), "(null)");
    EXPECT_EQ(ahead(-19 * 3600), "(null)");
    EXPECT_EQ(ahead(89), "GMT+0001");  // rounded to whole minutes
    EXPECT_EQ(ahead(std::nan("")), "(null)");
    EXPECT_EQ(ahead(std::numeric_limits<double>::infinity()), "(null)");
    const auto india = hold(CFTimeZoneCreateWithTimeIntervalFromGMT(nullptr, 19800));
    EXPECT_EQ(stateAt(india, kSummer2024), "+19800 GMT+5:30");
    EXPECT_EQ(stateAt(india, -50'000'000'000), "+19800 GMT+5:30");
    EXPECT_EQ(CFTimeZoneGetNextDaylightSavingTimeTransition(india, 0), 0);
    const auto azores = hold(CFTimeZoneCreateWithTimeIntervalFromGMT(nullptr, -3600));
    EXPECT_EQ(stateAt(azores, 0), "-3600 GMT-1");
}

TEST(CFTimeZone, IsMadeOfANameThatTellsAnInterval) {
    EXPECT_EQ(named("GMT+0530"), "GMT+0530");
    EXPECT_EQ(named("GMT+5:30"), "GMT+0530");
    EXPECT_EQ(named("GMT-03:00"), "GMT-0300");
    EXPECT_EQ(named("GMT+14"), "GMT+1400");
    EXPECT_EQ(named("GMT-7"), "GMT-0700");
    for (const char* const name : {"GMT+", "GMT+19", "GMT+5:3", "GMT+5:60", "GMT+055", "GMT+05300", "GMT5", "GMT+a",
                                   "GMT+5:", "GMT+:30", "GMT+5:30:00", "gmt+5"})
        EXPECT_EQ(named(name), "(null)") << name;
}

TEST(CFTimeZone, IsMadeOfData) {
    const auto berlin = zoneNamed("Europe/Berlin");
    const auto own = hold(CFTimeZoneCreate(nullptr, CFSTR("Mine \u00E4"), CFTimeZoneGetData(berlin)));
    EXPECT_EQ(nameOf(own), "Mine \xC3\xA4");
    EXPECT_EQ(stateAt(own, kSummer2024), "+7200 CEST dst");
    EXPECT_FALSE(CFEqual(own, berlin));
    EXPECT_TRUE(CFEqual(CFTimeZoneGetData(own), CFTimeZoneGetData(berlin)));
    const auto again = hold(CFTimeZoneCreate(nullptr, CFSTR("Europe/Berlin"), nullptr));
    EXPECT_TRUE(CFEqual(again, berlin));
    EXPECT_EQ(CFHash(again), CFHash(berlin));
    EXPECT_EQ(zoneOf("no zone").get(), nullptr);
    EXPECT_EQ(zoneOf("").get(), nullptr);
    EXPECT_EQ(CFTimeZoneCreate(nullptr, CFSTR(""), CFTimeZoneGetData(berlin)), nullptr);
    EXPECT_EQ(CFTimeZoneCreate(nullptr, nullptr, CFTimeZoneGetData(berlin)), nullptr);
}

TEST(CFTimeZone, KeepsDataThatMakeItAgain) {
    for (const char* const name : {"GMT", "GMT+0530", "Asia/Tokyo"}) {
        const auto zone = zoneNamed(name);
        const auto again = hold(CFTimeZoneCreate(nullptr, string(name), CFTimeZoneGetData(zone)));
        ASSERT_TRUE(again.get()) << name;
        EXPECT_TRUE(CFEqual(zone, again));
        EXPECT_EQ(stateAt(zone, kSummer2024), stateAt(again, kSummer2024));
    }
}

TEST(CFTimeZone, TakesItsOwnCopyOfAMutableName) {
    const auto name = mutableString(u"Mine");
    const auto zone = hold(CFTimeZoneCreate(nullptr, name, CFTimeZoneGetData(zoneNamed("UTC"))));
    CFStringAppend(name, CFSTR("!"));
    EXPECT_EQ(nameOf(zone), "Mine");
}

TEST(CFTimeZone, DescribesItself) {
    const auto zone = zoneNamed("UTC");
    EXPECT_EQ(description(zone), heading("CFTimeZone", zone) + "{name = UTC}");
}

// ---- Abbreviations

TEST(CFTimeZone, IsFoundByAbbreviation) {
    EXPECT_EQ(named("CEST", true), "Europe/Paris");
    EXPECT_EQ(named("PST", true), "America/Los_Angeles");
    EXPECT_EQ(named("Europe/Berlin", true), "Europe/Berlin");
    EXPECT_EQ(named("XYZ", true), "(null)");
    const auto all = hold(CFTimeZoneCopyAbbreviationDictionary());
    EXPECT_GT(CFDictionaryGetCount(all), 40);
    const auto names = hold(CFTimeZoneCopyKnownNames());
    CFDictionaryApplyFunction(
        all,
        [](const void*, const void* zone, void* known) {
            const auto list = static_cast<CFArrayRef>(known);
            EXPECT_TRUE(CFArrayContainsValue(list, CFRangeMake(0, CFArrayGetCount(list)), zone))
                << utf8(static_cast<CFStringRef>(zone));
        },
        const_cast<void*>(static_cast<const void*>(names.get())));
}

TEST(CFTimeZone, TakesOtherAbbreviations) {
    const auto before = hold(CFTimeZoneCopyAbbreviationDictionary());
    const void* key = CFSTR("XYZ");
    const void* value = CFSTR("Asia/Tokyo");
    CFTimeZoneSetAbbreviationDictionary(hold(CFDictionaryCreate(
        nullptr, &key, &value, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks)));
    EXPECT_EQ(named("XYZ", true), "Asia/Tokyo");
    EXPECT_EQ(named("CEST", true), "(null)");
    const void* number = kCFBooleanTrue;
    CFTimeZoneSetAbbreviationDictionary(hold(CFDictionaryCreate(
        nullptr, &key, &number, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks)));
    CFTimeZoneSetAbbreviationDictionary(nullptr);
    EXPECT_EQ(named("XYZ", true), "Asia/Tokyo");
    CFTimeZoneSetAbbreviationDictionary(before);
    EXPECT_EQ(named("CEST", true), "Europe/Paris");
}

// ---- The system's zone and the program's

TEST(CFTimeZone, OfTheSystemIsThatOfTheEnvironment) {
    const std::map<const char*, const char*> zones{{"Asia/Tokyo", "Asia/Tokyo"},
                                                   {":Asia/Tokyo", "Asia/Tokyo"},
                                                   {"/usr/share/zoneinfo/Europe/Rome", "Europe/Rome"},
                                                   {"", "UTC"},
                                                   {"../../../etc/passwd", "GMT"},
                                                   {"/etc/passwd", "GMT"},
                                                   {"Nowhere", "GMT"},
                                                   {"AAA-1:30BBB,M3.5.0,M10.5.0", "AAA-1:30BBB,M3.5.0,M10.5.0"}};
    for (const auto& [tz, name] : zones) {
        const Environment environment{{"TZ", tz}, {"TZDIR", nullptr}};
        EXPECT_EQ(systemName(), name) << tz;
        EXPECT_EQ(nameOf(hold(CFTimeZoneCopyDefault())), name);
    }
    const Environment environment{{"TZ", "AAA-1:30BBB,M3.5.0,M10.5.0"}};
    EXPECT_EQ(stateAt(hold(CFTimeZoneCopySystem()), kSummer2024), "+9000 BBB dst");
}

TEST(CFTimeZone, OfTheSystemIsKeptUntilItIsReset) {
    const Environment environment{{"TZ", "Asia/Tokyo"}};
    EXPECT_EQ(systemName(), "Asia/Tokyo");
    ::setenv("TZ", "Europe/Rome", 1);
    EXPECT_EQ(systemName(), "Asia/Tokyo");
    CFTimeZoneResetSystem();
    EXPECT_EQ(systemName(), "Europe/Rome");
}

TEST(CFTimeZone, OfTheSystemIsThatOfTheComputerWithoutAnEnvironment) {
    const Environment environment{{"TZ", nullptr}, {"TZDIR", nullptr}};
    const auto zone = hold(CFTimeZoneCopySystem());
    ASSERT_TRUE(zone.get());
    const auto time = static_cast<std::time_t>(kSummer2024);
    std::tm local{};
    ::tzset();
    ::localtime_r(&time, &local);
    EXPECT_EQ(CFTimeZoneGetSecondsFromGMT(zone, since1970(kSummer2024)), local.tm_gmtoff);
    {
        const Environment named{{"TZ", ":/etc/localtime"}};
        EXPECT_EQ(systemName(), nameOf(zone));
    }
}

TEST(CFTimeZone, ComesFromTheFolderThatTheEnvironmentNames) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.path() / "Test");
    std::ofstream(folder.path() / "Test" / "Zone") << twoChanges().write();
    std::ofstream(folder.path() / "Test" / "Damaged") << twoChanges().write().substr(0, 60);
    std::ofstream(folder.path() / "notes.txt") << "no zone";
    const Environment environment{{"TZ", "Test/Zone"}, {"TZDIR", folder.path().c_str()}};
    EXPECT_EQ(systemName(), "Test/Zone");
    EXPECT_EQ(named("Test/Zone"), "Test/Zone");
    EXPECT_EQ(named("Test/Damaged"), "(null)");
    EXPECT_EQ(named("notes.txt"), "(null)");
    EXPECT_EQ(named("Europe/Berlin"), "(null)");
    const auto names = hold(CFTimeZoneCopyKnownNames());
    ASSERT_EQ(CFArrayGetCount(names), 2);
    EXPECT_EQ(utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(names, 1))), "Test/Zone");
}

TEST(CFTimeZone, OfTheProgramIsWhatItSet) {
    const Environment environment{{"TZ", "Asia/Tokyo"}};
    CFTimeZoneSetDefault(zoneNamed("Europe/Rome"));
    EXPECT_EQ(nameOf(hold(CFTimeZoneCopyDefault())), "Europe/Rome");
    EXPECT_EQ(systemName(), "Asia/Tokyo");
    CFTimeZoneSetDefault(reinterpret_cast<CFTimeZoneRef>(CFSTR("no zone")));
    EXPECT_EQ(nameOf(hold(CFTimeZoneCopyDefault())), "Europe/Rome");
    CFTimeZoneSetDefault(nullptr);
    EXPECT_EQ(nameOf(hold(CFTimeZoneCopyDefault())), "Asia/Tokyo");
}

TEST(CFTimeZone, KnowsTheNamesOfTheDatabase) {
    const auto names = hold(CFTimeZoneCopyKnownNames());
    std::vector<std::string> texts;
    for (CFIndex i = 0; i < CFArrayGetCount(names); ++i)
        texts.push_back(utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(names, i))));
    EXPECT_TRUE(std::is_sorted(texts.begin(), texts.end()));
    for (const char* const name : {"Europe/Berlin", "UTC", "America/Argentina/Ushuaia"})
        EXPECT_THAT(texts, testing::Contains(name));
    for (const std::string& name : texts) {
        EXPECT_FALSE(name.starts_with("posix/") || name.starts_with("right/") || name == "posixrules") << name;
        EXPECT_NE(named(name.c_str()), "(null)") << name;
    }
}

// ---- Reading

TEST(CFTimeZone, FindsTheNextChangeOfDaylightSavingTime) {
    const auto berlin = zoneNamed("Europe/Berlin");
    const auto next = [&](std::int64_t from) {
        return CFTimeZoneGetNextDaylightSavingTimeTransition(berlin, since1970(from)) +
               kCFAbsoluteTimeIntervalSince1970;
    };
    EXPECT_EQ(next(kWinter2024), 1'711'846'800);  // 2024-03-31 01:00 UTC
    EXPECT_EQ(next(1'711'846'799), 1'711'846'800);
    EXPECT_EQ(next(1'711'846'800), 1'729'990'800);  // 2024-10-27 01:00 UTC
    EXPECT_EQ(CFTimeZoneGetNextDaylightSavingTimeTransition(zoneNamed("Asia/Tokyo"), since1970(kWinter2024)), 0);
    EXPECT_EQ(CFTimeZoneGetNextDaylightSavingTimeTransition(zoneNamed("UTC"), 0), 0);
}

TEST(CFTimeZone, KnowsDaylightSavingTimeThatTurnsClocksBack) {
    const auto dublin = zoneNamed("Europe/Dublin");
    EXPECT_EQ(stateAt(dublin, kWinter2024), "+0 GMT dst");
    EXPECT_EQ(CFTimeZoneGetDaylightSavingTimeOffset(dublin, since1970(kWinter2024)), -3600);
    EXPECT_EQ(stateAt(dublin, kSummer2024), "+3600 IST");
    EXPECT_EQ(CFTimeZoneGetDaylightSavingTimeOffset(dublin, since1970(kSummer2024)), 0);
    const auto howe = zoneNamed("Australia/Lord_Howe");
    EXPECT_EQ(CFTimeZoneGetDaylightSavingTimeOffset(howe, since1970(kWinter2024)), 1800);
}

TEST(CFTimeZone, FindsNoChangeWhereNoneOfTheRulesChangesTheSaving) {
    // The fuzzer's: changes for ever, and the saving is the same after each.
    const auto zone = zoneOfRule("AAA0BBB0,M3.1.0,M11.1.0");
    ASSERT_TRUE(zone);
    const CFTimeInterval saving = CFTimeZoneGetDaylightSavingTimeOffset(zone, 0);
    const CFAbsoluteTime next = CFTimeZoneGetNextDaylightSavingTimeTransition(zone, 0);
    EXPECT_TRUE(next == 0 || CFTimeZoneGetDaylightSavingTimeOffset(zone, next) != saving) << next;
}

TEST(CFTimeZone, HoldsAtTheEndsOfTime) {
    const auto berlin = zoneNamed("Europe/Berlin");
    for (const double at : {1e17, 1e300, std::numeric_limits<double>::infinity(), std::nan("")}) {
        const double seconds = CFTimeZoneGetSecondsFromGMT(berlin, at);
        EXPECT_TRUE(seconds == 3600 || seconds == 7200);
        EXPECT_EQ(CFTimeZoneIsDaylightSavingTime(berlin, at), seconds == 7200);
        const CFAbsoluteTime next = CFTimeZoneGetNextDaylightSavingTimeTransition(berlin, at);
        EXPECT_TRUE(next == 0 || next > at || std::isnan(at)) << at;
        NullArguments::take(CFTimeZoneCopyAbbreviation(berlin, at));
    }
    EXPECT_EQ(taken(CFTimeZoneCopyAbbreviation(berlin, -1e300)), "LMT");
    EXPECT_LT(CFTimeZoneGetNextDaylightSavingTimeTransition(berlin, -1e300), since1970(0));
}

TEST(CFTimeZone, HasNamesInTheLanguagesOfLocales) {
    const auto english = hold(CFLocaleCreate(nullptr, CFSTR("en_US")));
    const auto german = hold(CFLocaleCreate(nullptr, CFSTR("de_DE")));
    const auto in = [](const char* zone, CFTimeZoneNameStyle style, CFLocaleRef locale) {
        return taken(CFTimeZoneCopyLocalizedName(zoneNamed(zone), style, locale));
    };
    const char* const la = "America/Los_Angeles";
    EXPECT_EQ(in(la, kCFTimeZoneNameStyleStandard, english), "Pacific Standard Time");
    EXPECT_EQ(in(la, kCFTimeZoneNameStyleShortStandard, english), "PST");
    EXPECT_EQ(in(la, kCFTimeZoneNameStyleDaylightSaving, english), "Pacific Daylight Time");
    EXPECT_EQ(in(la, kCFTimeZoneNameStyleShortDaylightSaving, english), "PDT");
    EXPECT_EQ(in(la, kCFTimeZoneNameStyleGeneric, english), "Pacific Time");
    EXPECT_EQ(in(la, kCFTimeZoneNameStyleShortGeneric, english), "PT");
    EXPECT_EQ(in("Europe/Berlin", kCFTimeZoneNameStyleDaylightSaving, german), "Mitteleurop\xC3\xA4ische Sommerzeit");
    EXPECT_EQ(in("Asia/Tokyo", kCFTimeZoneNameStyleStandard, german), "Japanische Normalzeit");
    EXPECT_EQ(in("Europe/Dublin", kCFTimeZoneNameStyleDaylightSaving, english), "Irish Standard Time");
    EXPECT_EQ(in("Europe/Dublin", kCFTimeZoneNameStyleStandard, english), "Greenwich Mean Time");
    EXPECT_NE(in(la, kCFTimeZoneNameStyleStandard, nullptr), "(null)");
    EXPECT_EQ(in(la, static_cast<CFTimeZoneNameStyle>(6), english), "(null)");
    EXPECT_EQ(in(la, static_cast<CFTimeZoneNameStyle>(-1), english), "(null)");
    EXPECT_EQ(CFTimeZoneCopyLocalizedName(zoneOf(twoChanges().write()), kCFTimeZoneNameStyleStandard,
                                          reinterpret_cast<CFLocaleRef>(CFSTR("no locale"))),
              nullptr);
}

// ---- Failures

TEST(CFTimeZone, IsNullWithoutMemory) {
    TestAllocator allocator;
    const auto berlin = zoneNamed("Europe/Berlin");
    const auto attempt = [&](auto make) {
        for (long allowed = 0;; ++allowed) {
            allocator.failAfter(allowed);
            const auto made = hold(make());
            if (made.get()) break;
            EXPECT_EQ(allocator.blocks(), 0);
        }
        EXPECT_EQ(allocator.blocks(), 0);
    };
    attempt([&] { return CFTimeZoneCreateWithName(allocator, CFSTR("Europe/Berlin"), true); });
    attempt([&] { return CFTimeZoneCreate(allocator, CFSTR("A"), CFTimeZoneGetData(berlin)); });
    attempt([&] { return CFTimeZoneCreateWithTimeIntervalFromGMT(allocator, 3600); });
}

TEST(CFTimeZone, TakesNullArguments) {
    EXPECT_EQ(CFTimeZoneCreate(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFTimeZoneCreateWithName(nullptr, nullptr, true), nullptr);
    EXPECT_EQ(CFTimeZoneCreateWithName(nullptr, reinterpret_cast<CFStringRef>(kCFBooleanTrue), true), nullptr);
    EXPECT_EQ(CFTimeZoneCreate(nullptr, CFSTR("A"), reinterpret_cast<CFDataRef>(CFSTR("no data"))), nullptr);
    NullArguments::take(CFTimeZoneCreateWithTimeIntervalFromGMT(nullptr, 0));
    NullArguments::take(CFTimeZoneCopySystem());
    NullArguments::take(CFTimeZoneCopyDefault());
    NullArguments::take(CFTimeZoneCopyKnownNames());
    NullArguments::take(CFTimeZoneCopyAbbreviationDictionary());
    CFTimeZoneResetSystem();
    CFTimeZoneSetDefault(nullptr);
    CFTimeZoneSetAbbreviationDictionary(nullptr);
    EXPECT_NE(CFTimeZoneGetTypeID(), 0u);
    for (const CFTimeZoneRef none : {CFTimeZoneRef(), reinterpret_cast<CFTimeZoneRef>(CFSTR("no zone"))}) {
        EXPECT_EQ(CFTimeZoneGetName(none), nullptr);
        EXPECT_EQ(CFTimeZoneGetData(none), nullptr);
        EXPECT_EQ(CFTimeZoneGetSecondsFromGMT(none, 0), 0);
        EXPECT_EQ(CFTimeZoneCopyAbbreviation(none, 0), nullptr);
        EXPECT_FALSE(CFTimeZoneIsDaylightSavingTime(none, 0));
        EXPECT_EQ(CFTimeZoneGetDaylightSavingTimeOffset(none, 0), 0);
        EXPECT_EQ(CFTimeZoneGetNextDaylightSavingTimeTransition(none, 0), 0);
        EXPECT_EQ(CFTimeZoneCopyLocalizedName(none, kCFTimeZoneNameStyleStandard, nullptr), nullptr);
    }
}

TEST(CFTimeZone, IsReadAndFoundByManyThreads) {
    const Environment environment{{"TZ", "Asia/Tokyo"}, {"TZDIR", nullptr}};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            const auto berlin = zoneNamed("Europe/Berlin");
            for (int round = 0; round < 50; ++round) {
                const auto system = hold(CFTimeZoneCopySystem());
                EXPECT_EQ(nameOf(system), "Asia/Tokyo");
                if (i == 0) CFTimeZoneSetDefault(round % 2 ? berlin.get() : nullptr);
                const auto chosen = hold(CFTimeZoneCopyDefault());
                EXPECT_EQ(stateAt(berlin, kSummer2024), "+7200 CEST dst");
                EXPECT_EQ(named("PST", true), "America/Los_Angeles");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    CFTimeZoneSetDefault(nullptr);
}

}  // namespace
