#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "RunProgram.h"

namespace {

using testing::HasSubstr;

TEST(UrlCommand, PrintsTheParts) {
    EXPECT_EQ(RunTool({"url", "parts", "https://us%20er:pw@host:81/a%20b?c=d#e"}),
              (ProgramOutcome{0,
                              "scheme: https\nuser: us er\npassword: pw\nhost: host\nport: 81\npath: /a%20b\n"
                              "query: c=d\nfragment: e\n",
                              ""}));
    EXPECT_EQ(RunTool({"url", "parts", "a"}), (ProgramOutcome{0, "path: a\n", ""}));
    EXPECT_EQ(RunTool({"url", "parts", "mailto:a@b"}), (ProgramOutcome{0, "scheme: mailto\nrest: a@b\n", ""}));
}

TEST(UrlCommand, PrintsThePartsAsJSON) {
    const ProgramOutcome outcome = RunTool({"url", "parts", "--json", "http://h/?"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("\"host\": \"h\""));
    EXPECT_THAT(outcome.out, HasSubstr("\"query\": \"\""));
    EXPECT_THAT(outcome.out, HasSubstr("\"port\": null"));
}

TEST(UrlCommand, Resolves) {
    EXPECT_EQ(RunTool({"url", "resolve", "http://h/a/b", "../c?d"}), (ProgramOutcome{0, "http://h/c?d\n", ""}));
    EXPECT_EQ(RunTool({"url", "resolve", "--json", "http://h/a", "b"}),
              (ProgramOutcome{0, "{\"url\":\"http://h/b\"}\n", ""}));
}

TEST(UrlCommand, EscapesAndBack) {
    EXPECT_EQ(RunTool({"url", "escape", "a b/\xC3\xA4"}), (ProgramOutcome{0, "a%20b/%C3%A4\n", ""}));
    EXPECT_EQ(RunTool({"url", "escape", "--also", "/", "--keep", " ", "a b/"}), (ProgramOutcome{0, "a b%2F\n", ""}));
    EXPECT_EQ(RunTool({"url", "escape", "--back", "a%20b%2F"}), (ProgramOutcome{0, "a b/\n", ""}));
    EXPECT_EQ(RunTool({"url", "escape", "--back", "--keep", "/", "a%20b%2F"}), (ProgramOutcome{0, "a b%2F\n", ""}));
}

TEST(UrlCommand, RefusesWhatIsNoURLAndNoText) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"url", "parts", "a b"},
                                               {"url", "parts", "\xFF"},
                                               {"url", "resolve", "http://h/", "%"},
                                               {"url", "resolve", "a b", "c"},
                                               {"url", "escape", "--back", "%4"},
                                               {"url", "escape", "--back", "%FF"}}) {
        const ProgramOutcome outcome = RunTool(arguments);
        EXPECT_EQ(outcome.status, 1) << arguments.back();
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, testing::StartsWith("kxtool "));
    }
    EXPECT_EQ(RunTool({"url"}).status, 2);
    EXPECT_EQ(RunTool({"url", "parts"}).status, 2);
}

}  // namespace
