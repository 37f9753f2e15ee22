#include <string>

#include "RunProgram.h"

namespace {

TEST(Tool, WithoutACommandIsBadUsage) {
    EXPECT_EQ(RunTool({}), (ProgramOutcome{2, "", "kxtool: which command?\nTry 'kxtool --help'.\n"}));
}

TEST(Tool, UnknownCommandIsBadUsage) {
    const ProgramOutcome outcome = RunTool({"nonsense"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.err.starts_with("kxtool: ")) << outcome.err;
    EXPECT_NE(outcome.err.find("nonsense"), std::string::npos) << outcome.err;
}

TEST(Tool, UnknownOptionOfACommandIsBadUsageAndNamesTheCommand) {
    const ProgramOutcome outcome = RunTool({"mask", "1", "--nonsense"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "kxtool mask: The following argument was not expected: --nonsense\nTry 'kxtool mask --help'.\n");
}

TEST(Tool, HelpListsTheCommandsOnTheStandardOutput) {
    const ProgramOutcome outcome = RunTool({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_NE(outcome.out.find("\n  mask "), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("Exit status: 0 done, 1 bad input, 2 bad usage."), std::string::npos) << outcome.out;
}

TEST(Tool, VersionIsOneLine) {
    const ProgramOutcome outcome = RunTool({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out.starts_with("kxtool ") && outcome.out.find('\n') == outcome.out.size() - 1) << outcome.out;
}

TEST(Tool, OutputThatCannotBeWrittenIsReported) {
    const ProgramOutcome outcome = RunProgram({"/bin/sh", "-c", "exec '" KXTOOL "' mask 1 >/dev/full"});
    EXPECT_EQ(outcome, (ProgramOutcome{1, "", "kxtool mask: cannot write the output: No space left on device\n"}));
}

}  // namespace
