#include <unistd.h>

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

TEST(Tool, HelpIsATourAndTheHelpOfACommand) {
    const ProgramOutcome tour = RunTool({"help"});
    EXPECT_EQ(tour.status, 0);
    EXPECT_NE(tour.out.find("kxtool audit summary"), std::string::npos);
    EXPECT_EQ(RunTool({"help", "audit", "print"}).out, RunTool({"audit", "print", "--help"}).out);
    EXPECT_EQ(
        RunTool({"help", "adit"}),
        (ProgramOutcome{
            2, "", "kxtool help: there is no command \"adit\"; did you mean \"audit\"?\nTry 'kxtool help --help'.\n"}));
}

TEST(Tool, ManualPagesHoldEveryOption) {
    const ProgramOutcome page = RunTool({"help", "--man", "audit"});
    EXPECT_EQ(page.status, 0);
    EXPECT_TRUE(page.out.starts_with(".TH KXTOOL\\-AUDIT 1 "));
    for (const char* const option : {"\\fB\\-\\-not\\-type\\fR", "\\fB\\-\\-checkpoint\\fR", "\\fB\\-\\-top\\fR"}) {
        EXPECT_NE(page.out.find(option), std::string::npos) << option;
    }
    EXPECT_TRUE(RunTool({"help", "--man"}).out.starts_with(".TH KXTOOL 1 "));
    if (access("/usr/bin/man", X_OK) == 0) {
        const ProgramOutcome warnings = RunProgram(
            {"/bin/sh", "-c", "'" KXTOOL "' help --man audit | MANROFFOPT=-ww man --warnings -l - >/dev/null"});
        EXPECT_EQ(warnings.err, "");
    }
}

/// What bash offers for the last word.
std::string CompletedByBash(const std::string& words) {
    return RunProgram({"/bin/bash", "-c",
                       "source <('" KXTOOL "' completion bash) && COMP_WORDS=(" + words +
                           ") && COMP_CWORD=$((${#COMP_WORDS[@]}-1)) && _kxtool && echo \"${COMPREPLY[*]}\""})
        .out;
}

TEST(Tool, BashCompletesCommandsOptionsAndValues) {
    if (access("/bin/bash", X_OK) != 0) GTEST_SKIP() << "no bash here";
    EXPECT_EQ(CompletedByBash("kxtool au"), "audit\n");
    EXPECT_EQ(CompletedByBash("kxtool audit p"), "print\n");
    EXPECT_EQ(CompletedByBash("kxtool audit print --not-d"), "--not-device\n");
    EXPECT_EQ(CompletedByBash("kxtool audit print records --format j"), "json\n");
    EXPECT_EQ(CompletedByBash("kxtool completion ''"), "bash zsh fish\n");
}

TEST(Tool, CompletionIsGoodInTheOtherShells) {
    EXPECT_EQ(RunTool({"completion", "tcsh"}).status, 2);
    if (access("/usr/bin/zsh", X_OK) == 0) {
        EXPECT_EQ(RunProgram({"/usr/bin/zsh", "-n"}, RunTool({"completion", "zsh"}).out), (ProgramOutcome{0, "", ""}));
    }
    if (access("/usr/bin/fish", X_OK) == 0) {
        const ProgramOutcome fish = RunProgram(
            {"/usr/bin/env", "HOME=/tmp", "/usr/bin/fish", "-c",
             "'" KXTOOL
             "' completion fish | source; complete -C'kxtool audit pri'; complete -C'kxtool audit print --format js'"});
        EXPECT_EQ(fish.out.substr(0, 6), "print\t") << fish.err;
        EXPECT_NE(fish.out.find("json"), std::string::npos) << fish.out;
    }
}

}  // namespace
