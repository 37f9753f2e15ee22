#include <random>
#include <string>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::literals;

/// Longer than several of the pieces that the tool works on, and no multiple of anything.
std::string manyBytes() {
    std::mt19937 random(1);
    std::string bytes(1'000'003, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

TEST(CodecCommands, EncodeToOneLine) {
    EXPECT_EQ(RunTool({"hex", "encode"}, "\x01\xAB\xFF"s), (ProgramOutcome{0, "01abff\n", ""}));
    EXPECT_EQ(RunTool({"base64", "encode"}, "foob"), (ProgramOutcome{0, "Zm9vYg==\n", ""}));
}

TEST(CodecCommands, MakeNothingOfNothing) {
    for (const char* const codec : {"hex", "base64"}) {
        for (const char* const direction : {"encode", "decode"}) {
            EXPECT_EQ(RunTool({codec, direction}), (ProgramOutcome{0, "", ""}));
        }
    }
    EXPECT_EQ(RunTool({"hex", "decode"}, " \n"), (ProgramOutcome{0, "", ""}));
}

TEST(CodecCommands, ReadAFileOrTheStandardInput) {
    const TemporaryFolder folder;
    const std::string file = folder.write("text", "Zm9v\nYg==\n");
    EXPECT_EQ(RunTool({"base64", "decode", file}), (ProgramOutcome{0, "foob", ""}));
    EXPECT_EQ(RunTool({"base64", "decode", "-"}, "Zm9v"), (ProgramOutcome{0, "foo", ""}));
}

TEST(CodecCommands, DecodeWithWhiteSpaceBetweenGroups) {
    EXPECT_EQ(RunTool({"hex", "decode"}, " 0A ff\n"), (ProgramOutcome{0, "\x0A\xFF", ""}));
    EXPECT_EQ(RunTool({"base64", "decode"}, "Zm9v\r\nYmFy\r\n"), (ProgramOutcome{0, "foobar", ""}));
}

TEST(CodecCommands, BringBackWhatTheyEncoded) {
    const std::string bytes = manyBytes();
    for (const char* const codec : {"hex", "base64"}) {
        const ProgramOutcome encoded = RunTool({codec, "encode"}, bytes);
        ASSERT_EQ(encoded.status, 0);
        EXPECT_EQ(encoded.out.find('\n'), encoded.out.size() - 1);
        const ProgramOutcome decoded = RunTool({codec, "decode"}, encoded.out);
        EXPECT_EQ(decoded.status, 0);
        EXPECT_TRUE(decoded.out == bytes) << codec;
    }
}

TEST(CodecCommands, DecodeGroupsThatAreCutBetweenPieces) {
    const std::string bytes = manyBytes().substr(0, 300'000);
    const std::string hex = RunTool({"hex", "encode"}, bytes).out;
    const std::string base64 = RunTool({"base64", "encode"}, bytes).out;
    for (std::size_t shift = 0; shift < 4; ++shift) {
        EXPECT_TRUE(RunTool({"hex", "decode"}, std::string(shift, ' ') + hex).out == bytes) << shift;
        EXPECT_TRUE(RunTool({"base64", "decode"}, std::string(shift, ' ') + base64).out == bytes) << shift;
    }
}

TEST(CodecCommands, SayWhereTheTextIsBad) {
    EXPECT_EQ(RunTool({"hex", "decode"}, "00 0g"),
              (ProgramOutcome{1, "", "kxtool hex decode: standard input: not hexadecimal at byte 3\n"}));
    EXPECT_EQ(RunTool({"hex", "decode"}, "00 1"),
              (ProgramOutcome{1, "", "kxtool hex decode: standard input: not hexadecimal at byte 3\n"}));
    EXPECT_EQ(RunTool({"base64", "decode"}, "Zm9v Zm 9v"),
              (ProgramOutcome{1, "", "kxtool base64 decode: standard input: not Base64 at byte 5\n"}));
    EXPECT_EQ(RunTool({"base64", "decode"}, "Zg== Zg=="),
              (ProgramOutcome{1, "", "kxtool base64 decode: standard input: not Base64 at byte 5\n"}));
    const TemporaryFolder folder;
    const std::string file = folder.write("text", "!!");
    EXPECT_EQ(RunTool({"hex", "decode", file}).err, "kxtool hex decode: " + file + ": not hexadecimal at byte 0\n");
}

TEST(CodecCommands, RefuseTextAfterPaddingInALaterPiece) {
    const std::string padded = "Zg==" + std::string(200'000, '\n');
    EXPECT_EQ(RunTool({"base64", "decode"}, padded), (ProgramOutcome{0, "f", ""}));
    EXPECT_EQ(RunTool({"base64", "decode"}, padded + "Zg=="),
              (ProgramOutcome{1, "f", "kxtool base64 decode: standard input: not Base64 at byte 200004\n"}));
}

TEST(CodecCommands, ReportAMissingFile) {
    EXPECT_EQ(RunTool({"hex", "encode", "/nonexistent/file"}),
              (ProgramOutcome{1, "", "kxtool hex encode: cannot open /nonexistent/file: No such file or directory\n"}));
}

TEST(CodecCommands, WithoutADirectionAreBadUsage) {
    for (const char* const codec : {"hex", "base64"}) {
        const ProgramOutcome outcome = RunTool({codec});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_NE(outcome.err.find("Try 'kxtool "s + codec + " --help'."), std::string::npos) << outcome.err;
        EXPECT_EQ(RunTool({codec, "sideways"}).status, 2);
    }
}

TEST(CodecCommands, HelpHasAnExample) {
    for (const char* const codec : {"hex", "base64"}) {
        for (const char* const direction : {"encode", "decode"}) {
            const ProgramOutcome outcome = RunTool({codec, direction, "--help"});
            EXPECT_EQ(outcome.status, 0);
            EXPECT_NE(outcome.out.find("Example:\n  "), std::string::npos) << outcome.out;
        }
    }
}

}  // namespace
