#include "Sanitizers.h"

#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unicode/uversion.h>

#include <cmath>
#include <limits>
#include <random>
#include <thread>

using namespace Held;
using namespace Values;

namespace {

constexpr CFAbsoluteTime kLeapDay = 730'909'845;    // 2024-02-29 14:30:45 UTC
constexpr CFAbsoluteTime kSummerDay = 741'535'200;  // 2024-07-01 14:00 UTC

Holder<CFTimeZoneRef> zone(const char* name) { return hold(CFTimeZoneCreateWithName(nullptr, string(name), false)); }

/// A formatter of a locale, in UTC.
Holder<CFDateFormatterRef> formatter(const char* locale, CFDateFormatterStyle dateStyle,
                                     CFDateFormatterStyle timeStyle) {
    auto made =
        hold(CFDateFormatterCreate(nullptr, hold(CFLocaleCreate(nullptr, string(locale))), dateStyle, timeStyle));
    if (made.get()) CFDateFormatterSetProperty(made, kCFDateFormatterTimeZone, zone("UTC"));
    return made;
}

Holder<CFDateFormatterRef> patterned(const char* pattern, const char* locale = "en_US_POSIX",
                                     const char* zoneName = "UTC") {
    auto made = formatter(locale, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle);
    CFDateFormatterSetFormat(made, string(pattern));
    CFDateFormatterSetProperty(made, kCFDateFormatterTimeZone, zone(zoneName));
    return made;
}

std::string printed(CFDateFormatterRef formatter, CFAbsoluteTime at) {
    return taken(CFDateFormatterCreateStringWithAbsoluteTime(nullptr, formatter, at));
}

CFAbsoluteTime parsed(CFDateFormatterRef formatter, std::string_view text) {
    CFAbsoluteTime at = std::nan("");
    return CFDateFormatterGetAbsoluteTimeFromString(formatter, string(text), nullptr, &at) ? at : std::nan("");
}

/// What was parsed, printed in UTC.
std::string read(CFDateFormatterRef formatter, std::string_view text) {
    const CFAbsoluteTime at = parsed(formatter, text);
    return std::isnan(at) ? "(none)" : printed(patterned("yyyy-MM-dd HH:mm:ss"), at);
}

bool areICUsTextsKnown() { return U_ICU_VERSION_MAJOR_NUM == 72; }

// ---- Styles

TEST(CFDateFormatter, PrintsInTheStylesOfALocale) {
    if (!areICUsTextsKnown()) GTEST_SKIP() << "texts differ between versions of ICU";
    const auto in = [](const char* locale, CFDateFormatterStyle date, CFDateFormatterStyle time) {
        return printed(formatter(locale, date, time), kLeapDay);
    };
    EXPECT_EQ(in("en_US", kCFDateFormatterShortStyle, kCFDateFormatterNoStyle), "2/29/24");
    EXPECT_EQ(in("en_US", kCFDateFormatterMediumStyle, kCFDateFormatterNoStyle), "Feb 29, 2024");
    EXPECT_EQ(in("en_US", kCFDateFormatterLongStyle, kCFDateFormatterNoStyle), "February 29, 2024");
    EXPECT_EQ(in("en_US", kCFDateFormatterFullStyle, kCFDateFormatterNoStyle), "Thursday, February 29, 2024");
    EXPECT_EQ(in("en_US", kCFDateFormatterNoStyle, kCFDateFormatterShortStyle), "2:30\u202FPM");
    EXPECT_EQ(in("de_DE", kCFDateFormatterShortStyle, kCFDateFormatterShortStyle), "29.02.24, 14:30");
    EXPECT_EQ(in("de_DE", kCFDateFormatterFullStyle, kCFDateFormatterNoStyle), "Donnerstag, 29. Februar 2024");
    EXPECT_EQ(in("fr_FR", kCFDateFormatterLongStyle, kCFDateFormatterNoStyle), "29 f\u00E9vrier 2024");
    EXPECT_EQ(in("ja_JP", kCFDateFormatterLongStyle, kCFDateFormatterNoStyle), "2024\u5E742\u670829\u65E5");
    EXPECT_EQ(in("th_TH", kCFDateFormatterMediumStyle, kCFDateFormatterNoStyle), "29 \u0E01.\u0E1E. 2567");
    EXPECT_EQ(in("en_US", kCFDateFormatterNoStyle, kCFDateFormatterNoStyle), "");
}

TEST(CFDateFormatter, ReadsBackWhatItPrints) {
    for (const char* const locale :
         {"en_US", "de_DE", "fr_FR", "ja_JP", "ar_EG", "hi_IN", "th_TH", "he_IL", "fa_IR", "zh_TW"}) {
        for (const CFDateFormatterStyle style : {kCFDateFormatterShortStyle, kCFDateFormatterMediumStyle,
                                                 kCFDateFormatterLongStyle, kCFDateFormatterFullStyle}) {
            const auto made = formatter(locale, style, kCFDateFormatterMediumStyle);
            const std::string text = printed(made, kLeapDay);
            EXPECT_EQ(parsed(made, text), kLeapDay) << locale << " " << style << " " << text;
        }
    }
}

TEST(CFDateFormatter, KnowsWhatItWasMadeOf) {
    const auto made = formatter("de_DE", kCFDateFormatterShortStyle, kCFDateFormatterFullStyle);
    EXPECT_EQ(CFGetTypeID(made), CFDateFormatterGetTypeID());
    EXPECT_EQ(utf8(CFLocaleGetIdentifier(CFDateFormatterGetLocale(made))), "de_DE");
    EXPECT_EQ(CFDateFormatterGetDateStyle(made), kCFDateFormatterShortStyle);
    EXPECT_EQ(CFDateFormatterGetTimeStyle(made), kCFDateFormatterFullStyle);
    const auto date = formatter("de_DE", kCFDateFormatterShortStyle, kCFDateFormatterNoStyle);
    EXPECT_EQ(utf8(CFDateFormatterGetFormat(date)), "dd.MM.yy");
    CFDateFormatterSetFormat(date, CFSTR("yyyy"));
    EXPECT_EQ(utf8(CFDateFormatterGetFormat(date)), "yyyy");
    EXPECT_EQ(taken(static_cast<CFStringRef>(CFDateFormatterCopyProperty(date, kCFDateFormatterDefaultFormat))),
              "dd.MM.yy");
    EXPECT_EQ(description(date), heading("CFDateFormatter", date) + "{locale = de_DE, format = yyyy, time zone = UTC}");
    for (const CFIndex style : {CFIndex{-1}, CFIndex{5}, NullArguments::kMost}) {
        EXPECT_EQ(
            CFDateFormatterCreate(nullptr, nullptr, static_cast<CFDateFormatterStyle>(style), kCFDateFormatterNoStyle),
            nullptr);
    }
}

// ---- Patterns

TEST(CFDateFormatter, PrintsByAPattern) {
    EXPECT_EQ(printed(patterned("yyyy-MM-dd'T'HH:mm:ss.SSSXXX"), kLeapDay + 0.25), "2024-02-29T14:30:45.250Z");
    EXPECT_EQ(printed(patterned("G y Q M w d D E e H h k K m s"), kLeapDay),
              "AD 2024 1 2 9 29 60 Thu 5 14 2 14 2 30 45");
    EXPECT_EQ(printed(patterned("'quoted' ''yy''"), kLeapDay), "quoted '24'");
    EXPECT_EQ(printed(patterned("\xC3\xA4 yyyy"), kLeapDay), "\xC3\xA4 2024");
    EXPECT_EQ(printed(patterned(""), kLeapDay), "");
    EXPECT_EQ(printed(patterned("yyyy n"), kLeapDay), "(null)");  // n stands for nothing
    EXPECT_EQ(taken(CFDateFormatterCreateStringWithDate(nullptr, patterned("yyyy"), hold(CFDateCreate(nullptr, 0)))),
              "2001");
}

TEST(CFDateFormatter, PrintsMillisecondsAsTheyAre) {
    const auto made = patterned("s.SSS");
    EXPECT_EQ(printed(made, 0.3), "0.300");
    EXPECT_EQ(printed(made, kLeapDay + 0.3), "45.300");
    EXPECT_EQ(printed(made, 0.9996), "0.999");
    EXPECT_EQ(printed(made, -0.001), "59.999");
}

TEST(CFDateFormatter, PrintsByTheWallClockOfItsZone) {
    const char* const pattern = "yyyy-MM-dd HH:mm xx VV";
    EXPECT_EQ(printed(patterned(pattern, "en_US", "Europe/Berlin"), kSummerDay),
              "2024-07-01 16:00 +0200 Europe/Berlin");
    EXPECT_EQ(printed(patterned(pattern, "en_US", "Europe/Berlin"), kLeapDay), "2024-02-29 15:30 +0100 Europe/Berlin");
    EXPECT_EQ(printed(patterned(pattern, "en_US", "Asia/Tokyo"), kLeapDay), "2024-02-29 23:30 +0900 Asia/Tokyo");
    EXPECT_EQ(printed(patterned("zzzz", "en_US", "America/New_York"), kSummerDay), "Eastern Daylight Time");
    EXPECT_EQ(printed(patterned("zzzz", "en_US", "America/New_York"), kLeapDay), "Eastern Standard Time");
    EXPECT_EQ(printed(patterned("zzzz", "en_US", "Europe/Dublin"), kLeapDay), "Greenwich Mean Time");
    EXPECT_EQ(printed(patterned("zzzz", "en_US", "Europe/Dublin"), kSummerDay), "Irish Standard Time");
}

TEST(CFDateFormatter, AgreesWithTheGregorianFunctionsInAllZones) {
    const auto names = hold(CFTimeZoneCopyKnownNames());
    const auto made = patterned("yyyy-MM-dd HH:mm:ss");
    std::mt19937_64 random(8);
    for (CFIndex i = 0; i < CFArrayGetCount(names); ++i) {
        const auto tz =
            hold(CFTimeZoneCreateWithName(nullptr, static_cast<CFStringRef>(CFArrayGetValueAtIndex(names, i)), false));
        CFDateFormatterSetProperty(made, kCFDateFormatterTimeZone, tz);
        for (int round = 0; round < 10; ++round) {
            const double at = static_cast<double>(random() % 6'000'000'000) - 3e9;
            const CFGregorianDate date = CFAbsoluteTimeGetGregorianDate(at, tz);
            char expected[80];
            std::snprintf(expected, sizeof expected, "%04d-%02d-%02d %02d:%02d:%02d", date.year, date.month, date.day,
                          date.hour, date.minute, static_cast<int>(date.second));
            ASSERT_EQ(printed(made, at), expected) << utf8(CFTimeZoneGetName(tz));
        }
    }
}

TEST(CFDateFormatter, MakesPatternsOfTemplates) {
    const auto pattern = [](const char* fields, const char* locale) {
        return taken(CFDateFormatterCreateDateFormatFromTemplate(nullptr, string(fields), 0,
                                                                 hold(CFLocaleCreate(nullptr, string(locale)))));
    };
    EXPECT_EQ(pattern("yMMMd", "en_US"), "MMM d, y");
    EXPECT_EQ(pattern("yMMMd", "de_DE"), "d. MMM y");
    EXPECT_EQ(pattern("dMMMMy", "ja_JP"), "y\u5E74M\u6708d\u65E5");
    EXPECT_EQ(pattern("jm", "de_DE"), "HH:mm");
    EXPECT_THAT(pattern("jm", "en_US"), testing::AllOf(testing::StartsWith("h:mm"), testing::EndsWith("a")));
    EXPECT_NE(taken(CFDateFormatterCreateDateFormatFromTemplate(nullptr, CFSTR("yMd"), 0, nullptr)), "(null)");
    EXPECT_EQ(pattern(std::string(2000, 'y').c_str(), "en_US"), "(null)");
}

// ---- ISO 8601

TEST(CFDateFormatter, PrintsTheFormsOfISO8601) {
    const auto iso = [](CFISO8601DateFormatOptions options, CFAbsoluteTime at = kLeapDay) {
        return printed(hold(CFDateFormatterCreateISO8601Formatter(nullptr, options)), at);
    };
    EXPECT_EQ(iso(kCFISO8601DateFormatWithInternetDateTime), "2024-02-29T14:30:45Z");
    EXPECT_EQ(iso(kCFISO8601DateFormatWithInternetDateTime | kCFISO8601DateFormatWithFractionalSeconds, kLeapDay + 0.5),
              "2024-02-29T14:30:45.500Z");
    EXPECT_EQ(iso(kCFISO8601DateFormatWithInternetDateTime | kCFISO8601DateFormatWithSpaceBetweenDateAndTime),
              "2024-02-29 14:30:45Z");
    EXPECT_EQ(iso(kCFISO8601DateFormatWithFullDate), "2024-02-29");
    EXPECT_EQ(iso(kCFISO8601DateFormatWithFullTime), "14:30:45Z");
    EXPECT_EQ(iso(kCFISO8601DateFormatWithYear | kCFISO8601DateFormatWithMonth | kCFISO8601DateFormatWithDay),
              "20240229");
    EXPECT_EQ(
        iso(kCFISO8601DateFormatWithYear | kCFISO8601DateFormatWithDay | kCFISO8601DateFormatWithDashSeparatorInDate),
        "2024-060");
    EXPECT_EQ(iso(kCFISO8601DateFormatWithYear | kCFISO8601DateFormatWithWeekOfYear | kCFISO8601DateFormatWithDay |
                  kCFISO8601DateFormatWithDashSeparatorInDate),
              "2024-W09-04");
    EXPECT_EQ(iso(kCFISO8601DateFormatWithTime), "143045");
    EXPECT_EQ(iso(kCFISO8601DateFormatWithFullDate, -20'000'000'000), "1367-03-24");  // no Julian day
    EXPECT_EQ(CFDateFormatterCreateISO8601Formatter(nullptr, 0), nullptr);
    EXPECT_EQ(CFDateFormatterCreateISO8601Formatter(nullptr, kCFISO8601DateFormatWithColonSeparatorInTime), nullptr);
    const auto berlin = hold(CFDateFormatterCreateISO8601Formatter(nullptr, kCFISO8601DateFormatWithInternetDateTime));
    CFDateFormatterSetProperty(berlin, kCFDateFormatterTimeZone, zone("Europe/Berlin"));
    EXPECT_EQ(printed(berlin, kLeapDay), "2024-02-29T15:30:45+01:00");
    const auto plain = hold(CFDateFormatterCreateISO8601Formatter(
        nullptr, kCFISO8601DateFormatWithTime | kCFISO8601DateFormatWithTimeZone));
    CFDateFormatterSetProperty(plain, kCFDateFormatterTimeZone, zone("Asia/Kolkata"));
    EXPECT_EQ(printed(plain, kLeapDay), "200045+0530");
}

TEST(CFDateFormatter, ReadsTheFormsOfISO8601) {
    const auto made = hold(CFDateFormatterCreateISO8601Formatter(nullptr, kCFISO8601DateFormatWithInternetDateTime));
    EXPECT_EQ(parsed(made, "2024-02-29T14:30:45Z"), kLeapDay);
    EXPECT_EQ(parsed(made, "2024-02-29T20:00:45+05:30"), kLeapDay);
    EXPECT_EQ(read(made, "2023-02-29T14:30:45Z"), "(none)");
    EXPECT_EQ(read(made, "2024-02-29 14:30:45Z"), "(none)");
    EXPECT_EQ(read(made, "2024-02-29T25:30:45Z"), "(none)");
    EXPECT_EQ(read(made, "2024-02-29"), "(none)");
}

// ---- Parsing

TEST(CFDateFormatter, ReadsByAPattern) {
    EXPECT_EQ(read(patterned("yyyy-MM-dd HH:mm:ss"), "2024-02-29 14:30:45"), "2024-02-29 14:30:45");
    EXPECT_EQ(read(patterned("d. MMMM yyyy", "de_DE"), "3. M\xC3\xA4rz 2024"), "2024-03-03 00:00:00");
    EXPECT_EQ(read(patterned("yyyy-MM-dd HH:mm", "en_US", "Europe/Berlin"), "2024-07-01 12:00"), "2024-07-01 10:00:00");
    EXPECT_EQ(read(patterned("yyyy-MM-dd"), "no date"), "(none)");
    EXPECT_EQ(read(patterned("yyyy-MM-dd"), ""), "(none)");
    EXPECT_EQ(read(patterned(""), "2024"), "(none)");
    EXPECT_EQ(parsed(patterned("s.SSS"), "1.250") - parsed(patterned("s"), "1"), 0.25);
}

TEST(CFDateFormatter, TakesTheDatabasesZoneForOneThatItReads) {
    const auto made = patterned("yyyy-MM-dd HH:mm VV");
    EXPECT_EQ(read(made, "2024-07-01 12:00 Europe/Berlin"), "2024-07-01 10:00:00");
    EXPECT_EQ(read(made, "2024-01-01 12:00 America/New_York"), "2024-01-01 17:00:00");
    // The clocks of Kazakhstan became one on 2024-03-01, which ICU's data of the year 2022 do not know.
    EXPECT_EQ(read(made, "2024-07-01 12:00 Asia/Almaty"), "2024-07-01 07:00:00");
    EXPECT_EQ(read(patterned("HH:mm z", "en_US"), "12:00 GMT+3"), "2000-01-01 09:00:00");
    EXPECT_EQ(read(patterned("yyyy-MM-dd HH:mm z", "en_US"), "2024-07-01 12:00 PST"), "2024-07-01 20:00:00");
}

TEST(CFDateFormatter, FillsWhatATextLeavesOut) {
    EXPECT_EQ(read(patterned("HH:mm"), "12:34"), "2000-01-01 12:34:00");
    EXPECT_EQ(read(patterned("MM-dd"), "03-04"), "2000-03-04 00:00:00");
    EXPECT_EQ(read(patterned("HH:mm", "en_US", "Asia/Tokyo"), "00:00"), "1999-12-31 15:00:00");
    const auto made = patterned("HH:mm");
    CFDateFormatterSetProperty(made, kCFDateFormatterDefaultDate, hold(CFDateCreate(nullptr, kLeapDay)));
    EXPECT_EQ(read(made, "12:34"), "2024-02-29 12:34:45");
    const auto date = hold(static_cast<CFDateRef>(CFDateFormatterCopyProperty(made, kCFDateFormatterDefaultDate)));
    EXPECT_EQ(CFDateGetAbsoluteTime(date), kLeapDay);
}

TEST(CFDateFormatter, ReadsARangeAndTellsHowMuch) {
    const auto made = patterned("yyyy-MM-dd");
    const auto text = string("on 2024-02-29, a day");
    CFRange range{3, 17};
    CFAbsoluteTime at = 0;
    ASSERT_TRUE(CFDateFormatterGetAbsoluteTimeFromString(made, text, &range, &at));
    EXPECT_EQ(range.location, 3);
    EXPECT_EQ(range.length, 10);
    range = {3, 10};
    const auto date = hold(CFDateFormatterCreateDateFromString(nullptr, made, text, &range));
    EXPECT_EQ(CFDateGetAbsoluteTime(date), at);
    range = {3, 7};
    EXPECT_FALSE(CFDateFormatterGetAbsoluteTimeFromString(made, text, &range, &at));
    EXPECT_EQ(range.length, 7);
    EXPECT_TRUE(CFDateFormatterGetAbsoluteTimeFromString(made, string("2024-02-29, a day"), nullptr, nullptr));
    NullArguments::attack(+[](CFRange tried) {
        const auto any = patterned("yyyy");
        CFRange used = tried;
        CFAbsoluteTime time = 0;
        const bool isRead = CFDateFormatterGetAbsoluteTimeFromString(any, CFSTR("1111"), &used, &time);
        EXPECT_EQ(isRead, NullArguments::fits(tried) && tried.length > 0);
    });
}

TEST(CFDateFormatter, IsStrictUnlessItIsLenient) {
    const auto made = patterned("yyyy-MM-dd HH:mm", "en_US_POSIX", "Europe/Berlin");
    EXPECT_EQ(read(made, "2023-02-29 12:00"), "(none)");
    EXPECT_EQ(read(made, "2023-13-01 12:00"), "(none)");
    EXPECT_EQ(read(made, "2023-01-01 24:00"), "(none)");
    EXPECT_EQ(read(made, "2024-03-31 02:30"), "(none)");  // there is no such time in Berlin
    CFDateFormatterSetProperty(made, kCFDateFormatterIsLenient, kCFBooleanTrue);
    EXPECT_EQ(read(made, "2023-02-29 12:00"), "2023-03-01 11:00:00");
    EXPECT_EQ(read(made, "2023-13-01 12:00"), "2024-01-01 11:00:00");
    EXPECT_EQ(read(made, "2024-03-31 02:30"), "2024-03-31 01:30:00");
    CFDateFormatterSetProperty(made, kCFDateFormatterIsLenient, kCFBooleanFalse);
    EXPECT_EQ(read(made, "2023-02-29 12:00"), "(none)");
}

// ---- Properties

TEST(CFDateFormatter, TakesACalendar) {
    const auto made = patterned("y-MM-dd");
    CFDateFormatterSetProperty(made, kCFDateFormatterCalendarName, kCFBuddhistCalendar);
    EXPECT_EQ(printed(made, kLeapDay), "2567-02-29");
    EXPECT_EQ(parsed(made, "2567-02-29"), kLeapDay - 52'245);
    EXPECT_EQ(taken(static_cast<CFStringRef>(CFDateFormatterCopyProperty(made, kCFDateFormatterCalendarName))),
              "buddhist");
    CFDateFormatterSetProperty(made, kCFDateFormatterCalendarName, CFSTR("martian"));
    EXPECT_EQ(printed(made, kLeapDay), "2567-02-29");
    CFDateFormatterSetProperty(made, kCFDateFormatterCalendarName, nullptr);
    EXPECT_EQ(printed(made, kLeapDay), "2024-02-29");

    const auto calendar = hold(CFCalendarCreateWithIdentifier(nullptr, kCFISO8601Calendar));
    CFCalendarSetMinimumDaysInFirstWeek(calendar, 7);
    CFDateFormatterSetFormat(made, CFSTR("YYYY-ww"));
    CFDateFormatterSetProperty(made, kCFDateFormatterCalendar, calendar);
    EXPECT_EQ(printed(made, 0), "2001-01");
    EXPECT_EQ(printed(made, 31'536'000), "2001-53");
    const auto copy = hold(
        static_cast<CFCalendarRef>(const_cast<void*>(CFDateFormatterCopyProperty(made, kCFDateFormatterCalendar))));
    EXPECT_TRUE(CFEqual(CFCalendarGetIdentifier(copy), kCFISO8601Calendar));
    EXPECT_EQ(CFCalendarGetMinimumDaysInFirstWeek(copy), 7);
    EXPECT_TRUE(CFEqual(hold(CFCalendarCopyTimeZone(copy)), zone("UTC")));
}

TEST(CFDateFormatter, TakesTheStartOfTwoDigitYears) {
    const auto made = patterned("yy-MM-dd");
    CFDateFormatterSetProperty(made, kCFDateFormatterTwoDigitStartDate,
                               hold(CFDateCreate(nullptr, -1e9)));  // 1969-04-24
    EXPECT_EQ(read(made, "70-01-01"), "1970-01-01 00:00:00");
    EXPECT_EQ(read(made, "69-01-01"), "2069-01-01 00:00:00");
    EXPECT_EQ(CFDateGetAbsoluteTime(
                  hold(static_cast<CFDateRef>(CFDateFormatterCopyProperty(made, kCFDateFormatterTwoDigitStartDate)))),
              -1e9);
}

TEST(CFDateFormatter, TakesTheStartOfTheGregorianCalendar) {
    const auto made = patterned("yyyy-MM-dd");
    EXPECT_EQ(printed(made, -15'000'000'000), "1525-08-23");  // a Julian day
    CFDateFormatterSetProperty(made, kCFDateFormatterGregorianStartDate, hold(CFDateCreate(nullptr, -1e13)));
    EXPECT_EQ(printed(made, -15'000'000'000), "1525-09-02");
    EXPECT_EQ(CFDateGetAbsoluteTime(
                  hold(static_cast<CFDateRef>(CFDateFormatterCopyProperty(made, kCFDateFormatterGregorianStartDate)))),
              -1e13);
}

TEST(CFDateFormatter, TakesSymbols) {
    struct Case {
        CFDateFormatterKey key;
        const char* pattern;
        CFIndex count;
        CFIndex index;  ///< of the one that the leap day shows
    };
    const Case cases[] = {
        {kCFDateFormatterEraSymbols, "G", 2, 1},
        {kCFDateFormatterLongEraSymbols, "GGGG", 2, 1},
        {kCFDateFormatterMonthSymbols, "MMMM", 12, 1},
        {kCFDateFormatterShortMonthSymbols, "MMM", 12, 1},
        {kCFDateFormatterVeryShortMonthSymbols, "MMMMM", 12, 1},
        {kCFDateFormatterStandaloneMonthSymbols, "LLLL", 12, 1},
        {kCFDateFormatterShortStandaloneMonthSymbols, "LLL", 12, 1},
        {kCFDateFormatterVeryShortStandaloneMonthSymbols, "LLLLL", 12, 1},
        {kCFDateFormatterWeekdaySymbols, "EEEE", 7, 4},
        {kCFDateFormatterShortWeekdaySymbols, "EEE", 7, 4},
        {kCFDateFormatterVeryShortWeekdaySymbols, "EEEEE", 7, 4},
        {kCFDateFormatterStandaloneWeekdaySymbols, "cccc", 7, 4},
        {kCFDateFormatterShortStandaloneWeekdaySymbols, "ccc", 7, 4},
        {kCFDateFormatterVeryShortStandaloneWeekdaySymbols, "ccccc", 7, 4},
        {kCFDateFormatterQuarterSymbols, "QQQQ", 4, 0},
        {kCFDateFormatterShortQuarterSymbols, "QQQ", 4, 0},
        {kCFDateFormatterStandaloneQuarterSymbols, "qqqq", 4, 0},
        {kCFDateFormatterShortStandaloneQuarterSymbols, "qqq", 4, 0},
    };
    for (const auto& [key, pattern, count, index] : cases) {
        SCOPED_TRACE(utf8(key));
        const auto made = patterned(pattern, "fr_FR");
        const auto before = hold(static_cast<CFArrayRef>(CFDateFormatterCopyProperty(made, key)));
        ASSERT_TRUE(before.get());
        ASSERT_EQ(CFArrayGetCount(before), count);
        const std::string shown = printed(made, kLeapDay);
        EXPECT_EQ(shown, utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(before, index))));

        const auto others = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
        for (CFIndex i = 0; i < count; ++i) CFArrayAppendValue(others, string("other" + std::to_string(i)));
        CFDateFormatterSetProperty(made, key, others);
        EXPECT_EQ(printed(made, kLeapDay), "other" + std::to_string(index));
        EXPECT_TRUE(CFEqual(hold(CFDateFormatterCopyProperty(made, key)), others));

        CFDateFormatterSetProperty(made, key, CFSTR("no array"));
        CFArrayAppendValue(others, kCFBooleanTrue);
        CFDateFormatterSetProperty(made, key, others);
        EXPECT_EQ(printed(made, kLeapDay), "other" + std::to_string(index));
        CFDateFormatterSetProperty(made, key, nullptr);
        EXPECT_EQ(printed(made, kLeapDay), shown);
    }
}

TEST(CFDateFormatter, TakesSymbolsOfTheHalvesOfADay) {
    const auto made = patterned("h a");
    CFDateFormatterSetProperty(made, kCFDateFormatterPMSymbol, CFSTR("after noon"));
    EXPECT_EQ(printed(made, kLeapDay), "2 after noon");
    EXPECT_EQ(printed(made, 0), "12 AM");
    CFDateFormatterSetProperty(made, kCFDateFormatterAMSymbol, CFSTR("before noon"));
    EXPECT_EQ(printed(made, 0), "12 before noon");
    EXPECT_EQ(taken(static_cast<CFStringRef>(CFDateFormatterCopyProperty(made, kCFDateFormatterAMSymbol))),
              "before noon");
    EXPECT_EQ(taken(static_cast<CFStringRef>(CFDateFormatterCopyProperty(made, kCFDateFormatterPMSymbol))),
              "after noon");
    EXPECT_EQ(read(made, "3 after noon"), "2000-01-01 15:00:00");
}

TEST(CFDateFormatter, NamesDaysRelativeToNow) {
    const auto made = formatter("en_US", kCFDateFormatterLongStyle, kCFDateFormatterNoStyle);
    CFDateFormatterSetProperty(made, kCFDateFormatterDoesRelativeDateFormattingKey, kCFBooleanTrue);
    EXPECT_EQ(CFDateFormatterCopyProperty(made, kCFDateFormatterDoesRelativeDateFormattingKey), kCFBooleanTrue);
    // Days are counted from now, which may become another one meanwhile.
    const double day = 86400;
    std::string shown;
    for (int tries = 0; tries < 3 && shown.find("oday") == std::string::npos; ++tries) {
        const CFAbsoluteTime noon = std::floor(CFAbsoluteTimeGetCurrent() / day) * day + day / 2;
        shown = printed(made, noon - day) + ", " + printed(made, noon) + ", " + printed(made, noon + day);
    }
    EXPECT_THAT(shown, testing::MatchesRegex("[Yy]esterday, [Tt]oday, [Tt]omorrow"));
    EXPECT_EQ(printed(made, kLeapDay), "February 29, 2024");
}

TEST(CFDateFormatter, IgnoresPropertiesOfWrongTypes) {
    const auto made = patterned("yyyy-MM-dd HH:mm");
    for (const CFStringRef key :
         {kCFDateFormatterIsLenient, kCFDateFormatterTimeZone, kCFDateFormatterCalendarName, kCFDateFormatterCalendar,
          kCFDateFormatterTwoDigitStartDate, kCFDateFormatterDefaultDate, kCFDateFormatterGregorianStartDate,
          kCFDateFormatterDoesRelativeDateFormattingKey, kCFDateFormatterDefaultFormat, CFSTR("no key")}) {
        CFDateFormatterSetProperty(made, key, hold(CFArrayCreate(nullptr, nullptr, 0, nullptr)));
        EXPECT_EQ(printed(made, kLeapDay), "2024-02-29 14:30") << utf8(key);
        CFDateFormatterSetProperty(made, key, hold(CFDateCreate(nullptr, std::nan(""))));
        EXPECT_EQ(printed(made, kLeapDay), "2024-02-29 14:30") << utf8(key);
    }
    EXPECT_EQ(CFDateFormatterCopyProperty(made, CFSTR("no key")), nullptr);
    EXPECT_EQ(CFDateFormatterCopyProperty(made, kCFDateFormatterDefaultDate), nullptr);
    EXPECT_EQ(hold(CFDateFormatterCopyProperty(made, kCFDateFormatterIsLenient)), kCFBooleanFalse);
    const auto its = hold(CFDateFormatterCopyProperty(made, kCFDateFormatterTimeZone));
    EXPECT_TRUE(CFEqual(its, zone("UTC")));
}

// ---- Failures

TEST(CFDateFormatter, RefusesTimesThatNoCalendarReaches) {
    const auto made = patterned("yyyy");
    for (const double at : {std::nan(""), std::numeric_limits<double>::infinity(), -1e300, 1e15})
        EXPECT_EQ(printed(made, at), "(null)");
    EXPECT_EQ(printed(made, 1.7e14), "5389086");
}

TEST(CFDateFormatter, IsNullWithoutMemory) {
    TestAllocator allocator;
    allocator.failAfter(0);
    EXPECT_EQ(CFDateFormatterCreate(allocator, nullptr, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle), nullptr);
    EXPECT_EQ(CFDateFormatterCreateISO8601Formatter(allocator, kCFISO8601DateFormatWithFullDate), nullptr);
    EXPECT_EQ(CFDateFormatterCreateDateFormatFromTemplate(allocator, CFSTR("yMd"), 0, nullptr), nullptr);
    const auto made = patterned("yyyy-MM-dd");
    EXPECT_EQ(CFDateFormatterCreateStringWithAbsoluteTime(allocator, made, 0), nullptr);
    EXPECT_EQ(CFDateFormatterCreateStringWithDate(allocator, made, hold(CFDateCreate(nullptr, 0))), nullptr);
    CFRange range{0, 11};
    EXPECT_EQ(CFDateFormatterCreateDateFromString(allocator, made, CFSTR("2024-02-29!"), &range), nullptr);
    EXPECT_EQ(range.length, 11);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFDateFormatter, TakesNullArguments) {
    NullArguments::take(
        CFDateFormatterCreate(nullptr, nullptr, kCFDateFormatterShortStyle, kCFDateFormatterShortStyle));
    EXPECT_EQ(CFDateFormatterCreate(nullptr, reinterpret_cast<CFLocaleRef>(CFSTR("no locale")),
                                    kCFDateFormatterShortStyle, kCFDateFormatterShortStyle),
              nullptr);
    NullArguments::take(CFDateFormatterCreateISO8601Formatter(nullptr, ~0UL));
    EXPECT_EQ(CFDateFormatterCreateDateFormatFromTemplate(nullptr, nullptr, 0, nullptr), nullptr);
    EXPECT_NE(CFDateFormatterGetTypeID(), 0u);
    const auto made = patterned("yyyy");
    CFAbsoluteTime at = 5;
    CFRange range{0, 4};
    for (const CFDateFormatterRef none :
         {CFDateFormatterRef(), reinterpret_cast<CFDateFormatterRef>(const_cast<__CFString*>(CFSTR("none")))}) {
        EXPECT_EQ(CFDateFormatterGetLocale(none), nullptr);
        EXPECT_EQ(CFDateFormatterGetDateStyle(none), kCFDateFormatterNoStyle);
        EXPECT_EQ(CFDateFormatterGetTimeStyle(none), kCFDateFormatterNoStyle);
        EXPECT_EQ(CFDateFormatterGetFormat(none), nullptr);
        CFDateFormatterSetFormat(none, CFSTR("y"));
        EXPECT_EQ(CFDateFormatterCreateStringWithDate(nullptr, none, hold(CFDateCreate(nullptr, 0))), nullptr);
        EXPECT_EQ(CFDateFormatterCreateStringWithAbsoluteTime(nullptr, none, 0), nullptr);
        EXPECT_EQ(CFDateFormatterCreateDateFromString(nullptr, none, CFSTR("2024"), &range), nullptr);
        EXPECT_FALSE(CFDateFormatterGetAbsoluteTimeFromString(none, CFSTR("2024"), &range, &at));
        CFDateFormatterSetProperty(none, kCFDateFormatterIsLenient, kCFBooleanTrue);
        EXPECT_EQ(CFDateFormatterCopyProperty(none, kCFDateFormatterIsLenient), nullptr);
    }
    CFDateFormatterSetFormat(made, nullptr);
    CFDateFormatterSetProperty(made, nullptr, kCFBooleanTrue);
    EXPECT_EQ(CFDateFormatterCopyProperty(made, nullptr), nullptr);
    EXPECT_EQ(CFDateFormatterCreateStringWithDate(nullptr, made, nullptr), nullptr);
    EXPECT_EQ(CFDateFormatterCreateStringWithDate(nullptr, made, reinterpret_cast<CFDateRef>(CFSTR("no date"))),
              nullptr);
    EXPECT_EQ(CFDateFormatterCreateDateFromString(nullptr, made, nullptr, nullptr), nullptr);
    EXPECT_FALSE(CFDateFormatterGetAbsoluteTimeFromString(made, nullptr, nullptr, nullptr));
    EXPECT_EQ(at, 5);
    EXPECT_EQ(utf8(CFDateFormatterGetFormat(made)), "yyyy");
}

TEST(CFDateFormatter, PrintsAndReadsInManyThreads) {
    if (Sanitizers::kThread) GTEST_SKIP() << "ICU takes turns with itself in ways that ThreadSanitizer does not see";
    const auto made = patterned("yyyy-MM-dd HH:mm:ss EEEE zzzz", "de_DE", "Europe/Berlin");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 100; ++round) {
                const CFAbsoluteTime at = i * 1e8 + round * 86'401.0;
                const std::string text = printed(made, at);
                EXPECT_EQ(parsed(made, text), at) << text;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
