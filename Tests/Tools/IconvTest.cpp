#include <string>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::literals;

TEST(IconvCommand, ConvertsTheStandardInput) {
    EXPECT_EQ(RunTool({"iconv", "-f", "UTF-8", "-t", "UTF-16LE"}, "G\xC3\xBC\xF0\x9F\x98\x80"),
              (ProgramOutcome{0, "G\0\xFC\0\x3D\xD8\0\xDE"s, ""}));
}

TEST(IconvCommand, ConvertsAFile) {
    const TemporaryFolder folder;
    const std::string file = folder.write("text", "caf\xE9\n");
    EXPECT_EQ(RunTool({"iconv", "--from", "ISO-8859-1", "--to", "UTF-8", file}),
              (ProgramOutcome{0, "caf\xC3\xA9\n", ""}));
}

TEST(IconvCommand, ComposesFileNames) {
    EXPECT_EQ(RunTool({"iconv", "-f", "utf8-mac", "-t", "UTF-8"}, "e\xCC\x81"), (ProgramOutcome{0, "\xC3\xA9", ""}));
}

TEST(IconvCommand, LeavesOutWhatCannotBeConvertedAndCountsIt) {
    const auto convert = [](const std::string& to, const std::string& text) {
        return RunTool({"iconv", "-f", "UTF-8", "-t", to}, text);
    };
    const std::string head = "kxtool iconv: standard input: dropped ";
    EXPECT_EQ(convert("ASCII",
                      "a\xFF\xE2\x82\xAC"
                      "b"),
              (ProgramOutcome{0, "ab", head + "1 invalid byte and 1 character that ASCII lacks\n"}));
    EXPECT_EQ(convert("UTF-16LE", "\xFF\xFE\xC3\xA9"), (ProgramOutcome{0, "\xE9\0"s, head + "2 invalid bytes\n"}));
    EXPECT_EQ(convert("ISO-8859-1", "\xE2\x82\xAC\xC3\xA9\xF0\x9F\x98\x80"),
              (ProgramOutcome{0, "\xE9", head + "2 characters that ISO-8859-1 lacks\n"}));
    EXPECT_EQ(RunTool({"iconv", "-f", "UTF-16LE", "-t", "UTF-8"},
                      "a\0\0\xD8"
                      "b\0"s),
              (ProgramOutcome{0, "ab", head + "2 invalid bytes\n"}));
}

TEST(IconvCommand, StrictEndsAtTheFirstFaultAndTellsItsOffset) {
    const auto convert = [](const std::string& to, const std::string& text) {
        return RunTool({"iconv", "--strict", "-f", "UTF-8", "-t", to}, text);
    };
    const std::string head = "kxtool iconv: standard input: byte ";
    EXPECT_EQ(convert("UTF-16LE", "G\xC3\xBC"), (ProgramOutcome{0, "G\0\xFC\0"s, ""}));
    EXPECT_EQ(convert("UTF-8",
                      "ab\xFF"
                      "cd"),
              (ProgramOutcome{1, "ab", head + "2: it is no UTF-8\n"}));
    EXPECT_EQ(convert("ASCII",
                      "a\xE2\x82\xAC"
                      "b"),
              (ProgramOutcome{1, "a", head + "1: ASCII lacks the character\n"}));
    EXPECT_EQ(convert("UTF-8", "ab\xC3"), (ProgramOutcome{1, "ab", head + "2: it ends inside a character\n"}));
    const std::string much(200'001, 'x');  // the offset counts all pieces
    EXPECT_EQ(convert("UTF-8", much + "\xFF").err, head + "200001: it is no UTF-8\n");
}

TEST(IconvCommand, ListsTheEncodingsThatThereAre) {
    const ProgramOutcome outcome = RunTool({"iconv", "--list"});
    EXPECT_EQ(outcome.status, 0);
    for (const char* const name : {"char\n", "wchar_t\n", "utf8-mac\n", "UTF-8\n", "ISO-8859-15\n"}) {
        EXPECT_NE(outcome.out.find(name), std::string::npos) << name;
    }
    EXPECT_TRUE(RunTool({"iconv", "--list", "--json"}).out.starts_with("[\"char\","));
}

TEST(IconvCommand, TakesTheEncodingOfTheLocale) {
    const std::vector<std::string> command = {KXTOOL, "iconv", "-f", "char", "-t", "UTF-16LE"};
    const auto under = [&](const std::string& locale) {
        std::vector<std::string> whole = {"/usr/bin/env", "LC_ALL=" + locale};
        whole.insert(whole.end(), command.begin(), command.end());
        return RunProgram(whole, "z\xC3\xA9");
    };
    EXPECT_EQ(under("C.UTF-8"), (ProgramOutcome{0, "z\0\xE9\0"s, ""}));
    EXPECT_EQ(under("C"), (ProgramOutcome{0, "z\0"s, "kxtool iconv: standard input: dropped 2 invalid bytes\n"}));
}

TEST(IconvCommand, ConvertsInputOfAnySize) {
    std::string text, expected;
    for (int i = 0; i < 100'000; ++i) {
        text += "a\xE2\x82\xAC\xC3\xA9";
        expected += "\0a\x20\xAC\0\xE9"s;
    }
    EXPECT_TRUE((RunTool({"iconv", "-f", "UTF-8", "-t", "UTF-16BE"}, text) == ProgramOutcome{0, expected, ""}));
}

TEST(IconvCommand, ReportsATruncatedCharacterAfterWritingWhatPrecedesIt) {
    EXPECT_EQ(RunTool({"iconv", "-f", "UTF-8", "-t", "UTF-8"}, "ab\xC3"),
              (ProgramOutcome{1, "ab", "kxtool iconv: standard input: ends inside a character\n"}));
}

TEST(IconvCommand, RefusesUnknownEncodings) {
    EXPECT_EQ(RunTool({"iconv", "-f", "UTF-8", "-t", "nonsense"}),
              (ProgramOutcome{2, "",
                              "kxtool iconv: no conversion from \"UTF-8\" to \"nonsense\"\n"
                              "Try 'kxtool iconv --help'.\n"}));
}

TEST(IconvCommand, WithoutEncodingsIsBadUsage) {
    EXPECT_EQ(RunTool({"iconv"}).status, 2);
    EXPECT_EQ(RunTool({"iconv", "-f", "UTF-8"}).status, 2);
}

TEST(IconvCommand, ReportsAMissingFile) {
    EXPECT_EQ(RunTool({"iconv", "-f", "UTF-8", "-t", "UTF-8", "/nonexistent/file"}),
              (ProgramOutcome{1, "", "kxtool iconv: cannot open /nonexistent/file: No such file or directory\n"}));
}

TEST(IconvCommand, HelpHasAnExample) {
    const ProgramOutcome outcome = RunTool({"iconv", "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("Example:\n  printf "), std::string::npos) << outcome.out;
}

}  // namespace
