// What files of the time-zone database say, and what is said of files that are damaged.

#include "ZoneFileBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <random>
#include <set>

using namespace Held;
using namespace ZoneFiles;

namespace {

/// Sets TZ for the C library while it lives.
class LibraryZone {
  public:
    explicit LibraryZone(const std::string& tz) : before_(std::getenv("TZ") ? std::getenv("TZ") : "") {
        had_ = std::getenv("TZ") != nullptr;
        ::setenv("TZ", tz.c_str(), 1);
        ::tzset();
    }
    ~LibraryZone() {
        had_ ? ::setenv("TZ", before_.c_str(), 1) : ::unsetenv("TZ");
        ::tzset();
    }

    static std::string stateAt(std::int64_t seconds) {
        const auto time = static_cast<std::time_t>(seconds);
        std::tm local{};
        ::localtime_r(&time, &local);
        char offset[16];
        std::snprintf(offset, sizeof offset, "%+ld ", local.tm_gmtoff);
        return offset + std::string(local.tm_zone) + (local.tm_isdst ? " dst" : "");
    }

  private:
    bool had_;
    std::string before_;
};

std::vector<std::string> knownNames() {
    const auto names = hold(CFTimeZoneCopyKnownNames());
    std::vector<std::string> texts;
    for (CFIndex i = 0; i < CFArrayGetCount(names); ++i)
        texts.push_back(utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(names, i))));
    return texts;
}

// ---- The form of files

TEST(ZoneData, HoldsFromOneChangeToTheNext) {
    for (const char version : {'\0', '2', '3', '4'}) {
        File file = twoChanges();
        file.version = version;
        const auto zone = zoneOf(file.write());
        ASSERT_TRUE(zone.get()) << version;
        EXPECT_EQ(stateAt(zone, -5'000'000'000), "+3600 AAA");
        EXPECT_EQ(stateAt(zone, 999'999'999), "+3600 AAA");
        EXPECT_EQ(stateAt(zone, 1'000'000'000), "+7200 BBB dst");
        EXPECT_EQ(stateAt(zone, 1'009'999'999), "+7200 BBB dst");
        EXPECT_EQ(stateAt(zone, 1'010'000'000), "+3600 AAA");
        EXPECT_EQ(stateAt(zone, 50'000'000'000), "+3600 AAA");
    }
}

TEST(ZoneData, IsReadInFractionsOfASecond) {
    const auto zone = zoneOf(twoChanges().write());
    EXPECT_EQ(CFTimeZoneGetSecondsFromGMT(zone, since1970(1'000'000'000) - 0.25), 3600);
    EXPECT_EQ(CFTimeZoneGetSecondsFromGMT(zone, since1970(1'000'000'000) + 0.25), 7200);
}

TEST(ZoneData, HasTimesOf64Bits) {
    File file = twoChanges();
    file.changes = {{-(std::int64_t{1} << 40), 1}, {std::int64_t{1} << 40, 0}};
    file.hasFirstBlock = false;
    const auto zone = zoneOf(file.write());
    ASSERT_TRUE(zone.get());
    EXPECT_EQ(stateAt(zone, -(std::int64_t{1} << 40) - 1), "+3600 AAA");
    EXPECT_EQ(stateAt(zone, 0), "+7200 BBB dst");
    EXPECT_EQ(stateAt(zone, std::int64_t{1} << 40), "+3600 AAA");
}

TEST(ZoneData, FollowsItsRuleAfterTheLastChange) {
    File file = twoChanges();
    file.footer = "\nAAA-1BBB,M3.5.0,M10.5.0/3\n";
    const auto zone = zoneOf(file.write());
    EXPECT_EQ(stateAt(zone, 1'009'999'999), "+7200 BBB dst");
    EXPECT_EQ(stateAt(zone, 1'010'000'000), "+3600 AAA");
    EXPECT_EQ(stateAt(zone, 1'711'846'799), "+3600 AAA");      // 2024-03-31 00:59:59 UTC
    EXPECT_EQ(stateAt(zone, 1'711'846'800), "+7200 BBB dst");  // a second later
    EXPECT_EQ(stateAt(zone, 1'729'990'800), "+3600 AAA");      // 2024-10-27 01:00:00 UTC
}

TEST(ZoneData, TakesLeapSecondsOut) {
    File file = twoChanges();
    file.leaps = {{78796800, 1}, {94694401, 2}, {1'005'000'000, 3}};
    const auto zone = zoneOf(file.write());
    ASSERT_TRUE(zone.get());
    EXPECT_EQ(stateAt(zone, 999'999'997), "+3600 AAA");
    EXPECT_EQ(stateAt(zone, 999'999'998), "+7200 BBB dst");
    EXPECT_EQ(stateAt(zone, 1'009'999'996), "+7200 BBB dst");
    EXPECT_EQ(stateAt(zone, 1'009'999'997), "+3600 AAA");
}

TEST(ZoneData, TellsSavingByTheStandardTimeAround) {
    File file = twoChanges();
    file.types.push_back({10800, true, 4});
    file.changes = {{100, 1}, {200, 2}, {300, 1}, {400, 0}};
    const auto zone = zoneOf(file.write());
    const auto savingAt = [&](std::int64_t at) { return CFTimeZoneGetDaylightSavingTimeOffset(zone, since1970(at)); };
    EXPECT_EQ(savingAt(0), 0);
    EXPECT_EQ(savingAt(150), 3600);
    EXPECT_EQ(savingAt(250), 7200);
    EXPECT_EQ(savingAt(350), 3600);
    EXPECT_EQ(savingAt(450), 0);
    const auto next = [&](std::int64_t at) {
        return CFTimeZoneGetNextDaylightSavingTimeTransition(zone, since1970(at)) + kCFAbsoluteTimeIntervalSince1970;
    };
    EXPECT_EQ(next(0), 100);
    EXPECT_EQ(next(100), 200);
    EXPECT_EQ(next(399), 400);
    EXPECT_EQ(CFTimeZoneGetNextDaylightSavingTimeTransition(zone, since1970(400)), 0);
}

TEST(ZoneData, HasOneTypeForSeveralSavings) {
    // Daylight saving time of two hours, once after standard time of one hour and once after one of zero.
    const File file{.changes = {{100, 1}, {200, 2}, {300, 1}, {400, 2}},
                    .types = {{3600, false, 0}, {7200, true, 0}, {0, false, 0}}};
    const auto zone = zoneOf(file.write());
    EXPECT_EQ(CFTimeZoneGetDaylightSavingTimeOffset(zone, since1970(150)), 3600);
    EXPECT_EQ(CFTimeZoneGetDaylightSavingTimeOffset(zone, since1970(350)), 7200);
}

// ---- Damage

TEST(ZoneData, RefusesFilesThatAreCutOff) {
    for (const char version : {'\0', '2'}) {
        File file = twoChanges();
        file.version = version;
        file.footer = "\nUTC0\n";
        const std::string whole = file.write();
        ASSERT_TRUE(zoneOf(whole).get());
        for (std::size_t size = 0; size < whole.size(); ++size) {
            EXPECT_FALSE(zoneOf(whole.substr(0, size)).get()) << size;
        }
    }
}

TEST(ZoneData, RefusesFilesThatContradictThemselves) {
    const auto refuses = [](auto change) {
        File file = twoChanges();
        change(file);
        return !zoneOf(file.write()).get();
    };
    EXPECT_TRUE(refuses([](File& file) { file.version = '1'; }));
    EXPECT_TRUE(refuses([](File& file) { file.version = '5'; }));
    EXPECT_TRUE(refuses([](File& file) { file.types.clear(); }));
    EXPECT_TRUE(refuses([](File& file) { file.abbreviations.clear(); }));
    EXPECT_TRUE(refuses([](File& file) { file.abbreviations = std::string("AAA\0BBB", 7); }));
    EXPECT_TRUE(refuses([](File& file) { file.types[1].abbreviation = 8; }));
    EXPECT_TRUE(refuses([](File& file) { file.changes[0].type = 2; }));
    EXPECT_TRUE(refuses([](File& file) { file.changes[1].time = file.changes[0].time; }));
    EXPECT_TRUE(refuses([](File& file) { std::swap(file.changes[0], file.changes[1]); }));
    EXPECT_TRUE(refuses([](File& file) { file.types[0].offset = 26 * 3600; }));
    EXPECT_TRUE(refuses([](File& file) { file.types[0].offset = -25 * 3600; }));
    EXPECT_TRUE(refuses([](File& file) { file.leaps = {{5, 1}, {5, 2}}; }));
    EXPECT_TRUE(refuses([](File& file) { file.footer = "\nwhatever\n"; }));
    EXPECT_TRUE(refuses([](File& file) { file.footer = "UTC0\n"; }));
    EXPECT_FALSE(refuses([](File& file) { file.types[0].offset = 26 * 3600 - 1; }));
}

TEST(ZoneData, RefusesCountsThatNoFileHolds) {
    const std::string whole = twoChanges().write();
    for (std::size_t at = 20; at < 44; ++at) {
        std::string damaged = whole;
        damaged[at] = '\xFF';
        EXPECT_FALSE(zoneOf(damaged).get()) << at;
    }
    std::string daylight = whole;
    daylight[whole.size() - 2 - 8 - 12 + 4] = 2;  // neither standard nor daylight saving time
    EXPECT_FALSE(zoneOf(daylight).get());
    EXPECT_FALSE(zoneOf(whole + std::string(2'000'000, '\0')).get());
}

// ---- Rules

TEST(ZoneRule, IsReadAsTheCLibraryReadsIt) {
    std::mt19937 random(5);
    for (const char* const rule :
         {"UTC0", "JST-9", "<+0530>-5:30", "<-03>3", "CET-1CEST,M3.5.0,M10.5.0/3", "AEST-10AEDT,M10.1.0,M4.1.0/3",
          "NST3:30NDT,M3.2.0/0:01,M11.1.0/0:01", "IST-1GMT0,M10.5.0,M3.5.0/1", "XXX3YYY,J60,J300", "XXX3YYY,59/3,299/1",
          "XXX-3YYY-5,J59/0:30:15,J301/23", "<-03>3<-02>,M3.5.0/-2,M10.5.0/-1", "IST-2IDT,M3.4.4/26,M10.5.0",
          "EET-2EEST,M3.5.0/3,M10.5.0/4"}) {
        SCOPED_TRACE(rule);
        const auto zone = zoneOfRule(rule);
        ASSERT_TRUE(zone.get());
        const LibraryZone library(rule);
        std::int64_t at = 0;  // the C library knows rules from 1970 on
        for (int i = 0; i < 3000; ++i) {
            at += static_cast<std::int64_t>(random() % 6'000'000);
            ASSERT_EQ(stateAt(zone, at), LibraryZone::stateAt(at)) << at;
        }
        // And on both sides of its changes.
        CFAbsoluteTime next = 0;
        for (int i = 0; i < 100; ++i) {
            next = CFTimeZoneGetNextDaylightSavingTimeTransition(zone, next);
            if (next == 0) break;
            const auto second = static_cast<std::int64_t>(next + kCFAbsoluteTimeIntervalSince1970);
            ASSERT_EQ(stateAt(zone, second), LibraryZone::stateAt(second));
            ASSERT_EQ(stateAt(zone, second - 1), LibraryZone::stateAt(second - 1));
            ASSERT_NE(stateAt(zone, second), stateAt(zone, second - 1));
        }
    }
}

TEST(ZoneRule, WithoutDatesIsThatOfTheUnitedStates) {
    const auto zone = zoneOfRule("AAA5BBB");
    EXPECT_EQ(stateAt(zone, 1'710'053'999), "-18000 AAA");  // 2024-03-10 06:59:59
    EXPECT_EQ(stateAt(zone, 1'710'054'000), "-14400 BBB dst");
    EXPECT_EQ(stateAt(zone, 1'730'613'600), "-18000 AAA");  // 2024-11-03 06:00:00
    EXPECT_EQ(stateAt(zoneOfRule("AAA5BBB3"), 1'720'000'000), "-10800 BBB dst");
}

TEST(ZoneRule, MayKeepDaylightSavingTimeAllYear) {
    const auto zone = zoneOfRule("XXX3EDT4,0/0,J365/23");
    ASSERT_TRUE(zone.get());
    for (std::int64_t at = 0; at < 2'000'000'000; at += 1'000'003) ASSERT_EQ(stateAt(zone, at), "-14400 EDT dst") << at;
    EXPECT_EQ(CFTimeZoneGetNextDaylightSavingTimeTransition(zone, 0), 0);
}

TEST(ZoneRule, MayReachIntoTheNextYear) {
    // Daylight saving time from the last Sunday of December, 100 hours later, until the first of February.
    const auto zone = zoneOfRule("AAA0BBB,M12.5.0/100,J32/0");
    EXPECT_EQ(stateAt(zone, 1'703'995'200), "+0 AAA");  // 2023-12-31 04:00, a Sunday
    EXPECT_EQ(stateAt(zone, 1'704'340'799), "+0 AAA");  // 2024-01-04 03:59:59
    EXPECT_EQ(stateAt(zone, 1'704'340'800), "+3600 BBB dst");
    EXPECT_EQ(stateAt(zone, 1'706'742'000), "+0 AAA");  // 2024-01-31 23:00 is 2024-02-01 00:00 there
}

TEST(ZoneRule, IsRefusedWhenItIsNone) {
    for (const char* const rule : {"A1",
                                   "AB1",
                                   "AAA",
                                   "AAA25",
                                   "AAA-",
                                   "AAA1:60",
                                   "AAA1BBB,",
                                   "AAA1BBB,M3.5.0",
                                   "AAA1BBB,M3.5.0,",
                                   "AAA1BBB,M13.5.0,M10.5.0",
                                   "AAA1BBB,M3.6.0,M10.5.0",
                                   "AAA1BBB,M3.5.7,M10.5.0",
                                   "AAA1BBB,J0,J5",
                                   "AAA1BBB,366,5",
                                   "AAA1BBB,J366,J5",
                                   "AAA1BBB,M3.5.0/168,M10.5.0",
                                   "AAA1BBB,M3.5.0,M10.5.0x",
                                   "<AA>1",
                                   "<AAA1",
                                   "AAA1BB",
                                   "AAA1BBB2x",
                                   "AAA0001"}) {
        EXPECT_FALSE(zoneOfRule(rule).get()) << rule;
    }
}

// ---- The whole database

TEST(ZoneDatabase, AgreesWithTheCLibrary) {
    const std::vector<std::string> names = knownNames();
    EXPECT_GT(names.size(), 300u);
    std::mt19937 random(1);
    for (const std::string& name : names) {
        const auto zone = zoneNamed(name);
        ASSERT_TRUE(zone.get()) << name;
        const LibraryZone library(name);
        std::int64_t at = -2'300'000'000;  // 1897
        for (int i = 0; i < 400; ++i) {
            at += static_cast<std::int64_t>(random() % 33'000'000);
            ASSERT_EQ(stateAt(zone, at), LibraryZone::stateAt(at)) << name << " at " << at;
        }
    }
}

/// The lines that zdump -v writes, from 1900 to 2100, compared one by one.
void expectWhatZdumpSays(const std::vector<std::string>& names) {
    std::string command = "TZ= zdump -v -c 1900,2100";
    std::map<std::string, Holder<CFTimeZoneRef>> zones;
    for (const std::string& name : names) {
        command += " " + name;
        zones.emplace(name, zoneNamed(name));
    }
    const std::unique_ptr<FILE, int (*)(FILE*)> output(::popen(command.c_str(), "r"), ::pclose);
    ASSERT_TRUE(output);
    std::set<std::string> seen;
    char line[400];
    for (int compared = 0; std::fgets(line, sizeof line, output.get());) {
        // Europe/Dublin  Sun Mar 18 02:00:00 1973 UT = Sun Mar 18 03:00:00 1973 IST isdst=0 gmtoff=3600
        char name[80], month[8], abbreviation[40];
        std::tm utc{};
        int isDaylight = 0;
        long offset = 0;
        const int fields = std::sscanf(
            line, "%79s %*s %7s %d %d:%d:%d %d UT = %*s %*s %*d %*d:%*d:%*d %*d %39s isdst=%d gmtoff=%ld", name, month,
            &utc.tm_mday, &utc.tm_hour, &utc.tm_min, &utc.tm_sec, &utc.tm_year, abbreviation, &isDaylight, &offset);
        if (fields != 10) continue;  // the ends of time
        static const std::string months = "JanFebMarAprMayJunJulAugSepOctNovDec";
        utc.tm_mon = static_cast<int>(months.find(month) / 3);
        utc.tm_year -= 1900;
        const std::int64_t at = ::timegm(&utc);
        char expected[80];
        std::snprintf(expected, sizeof expected, "%+ld %s%s", offset, abbreviation, isDaylight ? " dst" : "");
        const auto zone = zones.find(name);
        ASSERT_NE(zone, zones.end()) << line;
        ASSERT_EQ(stateAt(zone->second, at), expected) << line << ++compared;
        seen.insert(name);
    }
    EXPECT_GT(seen.size(), names.size() / 2);  // zones without any change have no line
}

TEST(ZoneDatabase, SaysWhatZdumpSays) {
    if (std::system("zdump --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no zdump";
    expectWhatZdumpSays({"Europe/Berlin", "Europe/Dublin", "Europe/London", "America/New_York", "America/Sao_Paulo",
                         "America/St_Johns", "Africa/Casablanca", "Africa/Cairo", "Asia/Tehran", "Asia/Jerusalem",
                         "Asia/Kolkata", "Australia/Lord_Howe", "Antarctica/Troll", "Pacific/Apia",
                         "America/Argentina/San_Luis", "Europe/Moscow"});
}

/// zdump takes half a minute for them all: set KX_ALL_ZONES to have them compared.
TEST(ZoneDatabase, SaysWhatZdumpSaysOfAllZones) {
    if (!std::getenv("KX_ALL_ZONES")) GTEST_SKIP() << "KX_ALL_ZONES is not set";
    expectWhatZdumpSays(knownNames());
}

}  // namespace
