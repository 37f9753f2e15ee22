#include <nlohmann/json.hpp>
#include <string>

#include "RunProgram.h"

namespace {

ProgramOutcome printed(const std::string& text) { return {0, text + "\n", ""}; }

ProgramOutcome Date(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "date");
    return RunTool(arguments);
}

TEST(DateCommand, PrintsISO8601InAZone) {
    EXPECT_EQ(Date({"2024-02-29T14:30:45Z", "--zone", "UTC"}), printed("2024-02-29T14:30:45Z"));
    EXPECT_EQ(Date({"2024-02-29T14:30:45Z", "--zone", "Asia/Tokyo"}), printed("2024-02-29T23:30:45+09:00"));
    EXPECT_EQ(Date({"@1709217045", "--zone", "Europe/Berlin"}), printed("2024-02-29T15:30:45+01:00"));
    EXPECT_EQ(Date({"2024-07-01", "--zone", "Europe/Berlin"}), printed("2024-07-01T00:00:00+02:00"));
    EXPECT_EQ(Date({"2024-07-01 12:00:00", "--zone", "CEST"}), printed("2024-07-01T12:00:00+02:00"));
    EXPECT_EQ(Date({"2024-07-01T12:00:00+05:30", "--zone", "GMT+5:30"}), printed("2024-07-01T12:00:00+05:30"));
}

TEST(DateCommand, PrintsByPatternTemplateAndStyle) {
    const std::string day = "2024-02-29T14:30:45Z";
    EXPECT_EQ(Date({day, "--zone", "UTC", "--pattern", "EEEE, d. MMMM y", "--locale", "de_DE"}),
              printed("Donnerstag, 29. Februar 2024"));
    EXPECT_EQ(Date({day, "--zone", "UTC", "--template", "yMMMMd", "--locale", "ja_JP"}), printed("2024年2月29日"));
    EXPECT_EQ(Date({day, "--zone", "UTC", "--style", "short", "--locale", "de_DE"}), printed("29.02.24, 14:30"));
    EXPECT_EQ(Date({day, "--zone", "UTC", "--pattern", "y-MM-dd", "--locale", "en_US", "--calendar", "buddhist"}),
              printed("2567-02-29"));
}

TEST(DateCommand, ReadsByAPattern) {
    EXPECT_EQ(Date({"3. März 2024", "--read", "d. MMMM y", "--locale", "de_DE", "--zone", "UTC"}),
              printed("2024-03-03T00:00:00Z"));
    EXPECT_EQ(Date({"2023-02-30", "--read", "y-MM-dd", "--lenient", "--zone", "UTC"}), printed("2023-03-02T00:00:00Z"));
}

TEST(DateCommand, PrintsJSON) {
    const ProgramOutcome outcome =
        Date({"2024-07-01T12:00:00Z", "--zone", "Europe/Berlin", "--locale", "en_US", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto line = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(line["text"], "2024-07-01T14:00:00+02:00");
    EXPECT_EQ(line["unix"], 1719835200);
    EXPECT_EQ(line["locale"], "en_US");
    EXPECT_EQ(line["zone"], "Europe/Berlin");
    EXPECT_EQ(line["abbreviation"], "CEST");
    EXPECT_EQ(line["secondsFromGMT"], 7200);
    EXPECT_EQ(line["daylightSaving"], 3600);
    EXPECT_EQ(line["nextTransition"], "2024-10-27T02:00:00+01:00");
    const auto never = nlohmann::json::parse(Date({"@0", "--zone", "UTC", "--json"}).out);
    EXPECT_TRUE(never["nextTransition"].is_null());
}

TEST(DateCommand, PrintsNow) {
    const ProgramOutcome outcome = Date({"--zone", "UTC"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.size(), std::string("2024-02-29T14:30:45Z\n").size());
}

TEST(DateCommand, RefusesWhatIsNoDateZoneLocaleOrCalendar) {
    EXPECT_EQ(Date({"yesterday"}),
              (ProgramOutcome{1, "",
                              "kxtool date: \"yesterday\" is no date like 2024-02-29, 2024-02-29T14:30:45Z or "
                              "@1709217045\n"}));
    EXPECT_EQ(Date({"2023-02-29"}).status, 1);
    EXPECT_EQ(Date({"2024-02-29T14:30:45Z and more"}).status, 1);
    EXPECT_EQ(Date({"@12x"}).status, 1);
    EXPECT_EQ(Date({"29.2.", "--read", "y"}),
              (ProgramOutcome{1, "", "kxtool date: \"29.2.\" is no date of the form \"y\"\n"}));
    EXPECT_EQ(Date({"--zone", "../etc/passwd"}),
              (ProgramOutcome{1, "", "kxtool date: there is no time zone \"../etc/passwd\"\n"}));
    EXPECT_EQ(Date({"--calendar", "martian"}),
              (ProgramOutcome{1, "", "kxtool date: there is no calendar \"martian\"\n"}));
    EXPECT_EQ(Date({"--pattern", "n"}),
              (ProgramOutcome{1, "", "kxtool date: the date cannot be printed by this pattern\n"}));
    EXPECT_EQ(Date({"--pattern", "y", "--style", "long"}).status, 2);
    EXPECT_EQ(Date({"--style", "short-ish"}).status, 2);
}

}  // namespace
