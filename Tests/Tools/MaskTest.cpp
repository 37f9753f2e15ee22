#include <string>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

constexpr const char* kNames = "read=1,write=2,execute=4,readattr=8";

TEST(MaskCommand, PrintsHexDecimalAndNames) {
    EXPECT_EQ(RunTool({"mask", "write|execute", "--names", kNames}), (ProgramOutcome{0,
                                                                                     "hex      0x6\n"
                                                                                     "decimal  6\n"
                                                                                     "names    write | execute\n",
                                                                                     ""}));
}

TEST(MaskCommand, ReadsNamesFromAFileALineEach) {
    const TemporaryFolder folder;
    const std::string file = folder.write("names", "# access bits\nread = 0x1\n\n  write=2\r\nall=3\n");
    EXPECT_EQ(RunTool({"mask", "all", "--names", file}), (ProgramOutcome{0,
                                                                         "hex      0x3\n"
                                                                         "decimal  3\n"
                                                                         "names    read | write\n",
                                                                         ""}));
}

TEST(MaskCommand, ReadsNamesFromTheStandardInput) {
    EXPECT_EQ(RunTool({"mask", "b", "--names", "-"}, "a=1\nb=2"),
              (ProgramOutcome{0, "hex      0x2\ndecimal  2\nnames    b\n", ""}));
}

TEST(MaskCommand, ShowsBitsWithoutANameInHex) {
    EXPECT_EQ(RunTool({"mask", "0xF2", "--names", kNames}),
              (ProgramOutcome{0, "hex      0xf2\ndecimal  242\nnames    write | 0xf0\n", ""}));
}

TEST(MaskCommand, KeepsAll64Bits) {
    EXPECT_EQ(RunTool({"mask", "-1", "--names", "top=0x8000000000000000"}),
              (ProgramOutcome{0,
                              "hex      0xffffffffffffffff\n"
                              "decimal  18446744073709551615\n"
                              "names    top | 0x7fffffffffffffff\n",
                              ""}));
}

TEST(MaskCommand, LeavesTheNamesOfZeroEmpty) {
    EXPECT_EQ(RunTool({"mask", "0"}), (ProgramOutcome{0, "hex      0x0\ndecimal  0\nnames    \n", ""}));
}

TEST(MaskCommand, TakesAnExpressionThatLooksLikeAnOptionAfterTwoDashes) {
    EXPECT_EQ(RunTool({"mask", "--names", kNames, "--", "-read & 15"}).out,
              "hex      0xf\ndecimal  15\nnames    read | write | execute | readattr\n");
}

TEST(MaskCommand, PrintsJson) {
    EXPECT_EQ(RunTool({"mask", "write|0x40", "--names", kNames, "--json"}),
              (ProgramOutcome{0,
                              R"({"hex":"0x42","decimal":66,"names":["write"],"unnamed":"0x40"})"
                              "\n",
                              ""}));
}

TEST(MaskCommand, ReportsASyntaxErrorInOneLine) {
    EXPECT_EQ(RunTool({"mask", "write | bogus", "--names", kNames}),
              (ProgramOutcome{1, "", "kxtool mask: \"write | bogus\": unknown ID: bogus; syntax error\n"}));
}

TEST(MaskCommand, WarnsOfWhatTheExpressionGetsWrong) {
    EXPECT_EQ(RunTool({"mask", "rea $", "--names", kNames}),
              (ProgramOutcome{0, "hex      0x1\ndecimal  1\nnames    read\n",
                              "kxtool mask: warning: rea is ambiguous: both read and readattr match; "
                              "unexpected character: $\n"}));
}

TEST(MaskCommand, ReportsNestingThatIsTooDeep) {
    const ProgramOutcome outcome = RunTool({"mask", std::string(20000, '(')});
    EXPECT_EQ(outcome, (ProgramOutcome{1, "", "kxtool mask: \"" + std::string(80, '(') + "...\": memory exhausted\n"}));
}

TEST(MaskCommand, ReportsABadName) {
    EXPECT_EQ(RunTool({"mask", "1", "--names", "read=1,write"}),
              (ProgramOutcome{1, "", "kxtool mask: --names:2: expected NAME=VALUE, found \"write\"\n"}));
    for (const char* const bad : {"=1", "a=", "a=x", "a=-1", "a=0x", "1a=1", "a b=1", "a=18446744073709551616"}) {
        EXPECT_EQ(RunTool({"mask", "1", "--names", bad}).status, 1) << bad;
    }
}

TEST(MaskCommand, ReportsAMissingFileOfNames) {
    EXPECT_EQ(RunTool({"mask", "1", "--names", "/nonexistent/names"}),
              (ProgramOutcome{1, "", "kxtool mask: cannot open /nonexistent/names: No such file or directory\n"}));
}

TEST(MaskCommand, WithoutAnExpressionIsBadUsage) {
    EXPECT_EQ(RunTool({"mask"}), (ProgramOutcome{2, "", "kxtool mask: EXPR is required\nTry 'kxtool mask --help'.\n"}));
}

TEST(MaskCommand, HelpHasAnExample) {
    const ProgramOutcome outcome = RunTool({"mask", "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("Example:\n  kxtool mask \"read | ~write & 7\" --names read=1,write=2,execute=4\n"),
              std::string::npos)
        << outcome.out;
}

}  // namespace
