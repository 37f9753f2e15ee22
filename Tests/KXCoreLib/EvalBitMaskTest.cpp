#include <KXCoreLib/EvalBitMask.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "EvalBitMaskReference.h"

extern "C" int EvalBitMaskFromC(uint64_t* result, const char* text);

// The heap as the evaluator meets it: counted, and failing while a test wants it to.
namespace {
thread_local int allocations = 0;
thread_local bool heapFails = false;
}  // namespace

__attribute__((visibility("default"))) void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    return heapFails ? nullptr : std::malloc(size);
}
__attribute__((visibility("default"))) void operator delete[](void* memory) noexcept { std::free(memory); }
__attribute__((visibility("default"))) void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
__attribute__((visibility("default"))) void* operator new[](std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}

namespace {

using KXCore::BitMaskConstant;

constexpr BitMaskConstant kNames[] = {{"read", 0x1}, {"write", 0x2}, {"execute", 0x4}, {"readattr", 0x8}, {nullptr, 0}};

constexpr std::uint64_t kUntouched = 0xDEADBEEF;

MaskOutcome Eval(const std::string& text, const BitMaskConstant* table = kNames) {
    std::uint64_t value = kUntouched;
    testing::internal::CaptureStderr();
    const int code = KXCore::EvalBitMask(&value, text.c_str(), table);
    MaskOutcome outcome{code, value, testing::internal::GetCapturedStderr()};
    if (code != 0) {
        EXPECT_EQ(value, kUntouched) << text;
        outcome.value = 0;
    }
    return outcome;
}

MaskOutcome Gives(std::uint64_t value, const std::string& messages = "") { return {0, value, messages}; }
MaskOutcome Fails(const std::string& messages = "") { return {1, 0, messages + "syntax error\n"}; }
MaskOutcome Exhausts(const std::string& messages = "") { return {2, 0, messages + "memory exhausted\n"}; }

std::string Repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i) all += text;
    return all;
}

constexpr std::uint64_t kLargest = 0x7fffffffffffffff;

}  // namespace

void PrintTo(const MaskOutcome& outcome, std::ostream* stream) {
    *stream << "code " << outcome.code << " value " << std::hex << outcome.value << std::dec << " messages \""
            << outcome.messages << '"';
}

namespace {

// ---------------------------------------------------------------------------------------------------------- numbers

TEST(EvalBitMask, ReadsDecimalOctalAndHexadecimal) {
    EXPECT_EQ(Eval("0x10 | 010 | 10"), Gives(26));
    EXPECT_EQ(Eval("0X1f"), Gives(0x1f));
    EXPECT_EQ(Eval("0xAbCdEf"), Gives(0xabcdef));
    EXPECT_EQ(Eval("017"), Gives(15));
    EXPECT_EQ(Eval("0"), Gives(0));
    EXPECT_EQ(Eval("00"), Gives(0));
    EXPECT_EQ(Eval("0017"), Gives(15));
}

TEST(EvalBitMask, LeadingZeroIsOctalOnlyWhenEveryDigitIs) {
    EXPECT_EQ(Eval("08"), Gives(8));
    EXPECT_EQ(Eval("09"), Gives(9));
    EXPECT_EQ(Eval("0128"), Gives(128));
    EXPECT_EQ(Eval("0779"), Gives(779));
    EXPECT_EQ(Eval("0777"), Gives(0777));
    EXPECT_EQ(Eval("00000000000000000000000000000000000000000000000000000009"), Gives(9));
}

TEST(EvalBitMask, HexPrefixWithoutADigitIsZeroAndAName) {
    EXPECT_EQ(Eval("0x"), Gives(0, "unknown ID: x\n"));
    constexpr BitMaskConstant x[] = {{"x", 4}, {"g", 8}, {nullptr, 0}};
    EXPECT_EQ(Eval("0x", x), Fails());
    EXPECT_EQ(Eval("0x1g", x), Fails());
    EXPECT_EQ(Eval("0xg", x), Gives(0, "unknown ID: xg\n"));
    EXPECT_EQ(Eval("00x1"), Gives(0, "unknown ID: x1\n"));
}

TEST(EvalBitMask, NumberAndNameNeedNoSeparator) {
    EXPECT_EQ(Eval("1a"), Gives(1, "unknown ID: a\n"));
    EXPECT_EQ(Eval("0x1g"), Gives(1, "unknown ID: g\n"));
    EXPECT_EQ(Eval("1read"), Fails("read is ambiguous: both read and readattr match\n"));
    EXPECT_EQ(Eval("1 2"), Fails());
}

TEST(EvalBitMask, NumberTooLargeSaturatesAtTheLargestSignedValue) {
    EXPECT_EQ(Eval("0x7fffffffffffffff"), Gives(kLargest));
    EXPECT_EQ(Eval("0x8000000000000000"), Gives(kLargest));
    EXPECT_EQ(Eval("0xFFFFFFFFFFFFFFFF"), Gives(kLargest));
    EXPECT_EQ(Eval("9223372036854775806"), Gives(kLargest - 1));
    EXPECT_EQ(Eval("9223372036854775807"), Gives(kLargest));
    EXPECT_EQ(Eval("9223372036854775808"), Gives(kLargest));
    EXPECT_EQ(Eval("18446744073709551615"), Gives(kLargest));
    EXPECT_EQ(Eval("0777777777777777777777"), Gives(kLargest));
    EXPECT_EQ(Eval("01000000000000000000000"), Gives(kLargest));
    EXPECT_EQ(Eval("1" + std::string(100000, '0')), Gives(kLargest));
    EXPECT_EQ(Eval("0x" + std::string(100000, '0') + "1"), Gives(1));
}

TEST(EvalBitMask, TopBitIsReachedByOperators) {
    EXPECT_EQ(Eval("~0x7FFFFFFFFFFFFFFF"), Gives(0x8000000000000000));
    EXPECT_EQ(Eval("-1"), Gives(0xffffffffffffffff));
    EXPECT_EQ(Eval("-0x7FFFFFFFFFFFFFFF"), Gives(0x8000000000000001));
}

// ------------------------------------------------------------------------------------------------------------ names

TEST(EvalBitMask, NameStandsForItsValue) {
    EXPECT_EQ(Eval("write"), Gives(2));
    EXPECT_EQ(Eval("readattr"), Gives(8));
}

TEST(EvalBitMask, NameMatchesWhateverTheCase) {
    EXPECT_EQ(Eval("WRITE"), Gives(2));
    EXPECT_EQ(Eval("ReadAttr"), Gives(8));
    constexpr BitMaskConstant upper[] = {{"READ_ALL", 5}, {nullptr, 0}};
    EXPECT_EQ(Eval("read_all", upper), Gives(5));
}

TEST(EvalBitMask, OnlyLettersHaveACase) {
    // Bytes that differ from one another as the two cases of a letter do, and are no letters.
    constexpr BitMaskConstant odd[] = {{"a\x7f", 1}, {"a@", 2}, {"a\x10", 3}, {nullptr, 0}};
    EXPECT_EQ(Eval("a_", odd), Fails("unknown ID: a_\n"));
    EXPECT_EQ(Eval("a0", odd), Fails("unknown ID: a0\n"));
}

TEST(EvalBitMask, NameMatchesByItsBeginning) {
    EXPECT_EQ(Eval("w"), Gives(2));
    EXPECT_EQ(Eval("e"), Gives(4));
    EXPECT_EQ(Eval("readat"), Gives(8));
}

TEST(EvalBitMask, NameLongerThanTheRowDoesNotMatch) {
    EXPECT_EQ(Eval("writes"), Fails("unknown ID: writes\n"));
    EXPECT_EQ(Eval("1 writes"), Gives(1, "unknown ID: writes\n"));
}

TEST(EvalBitMask, AmbiguousNameIsReportedAndTheFirstRowCounts) {
    EXPECT_EQ(Eval("rea"), Gives(1, "rea is ambiguous: both read and readattr match\n"));
    EXPECT_EQ(Eval("read"), Gives(1, "read is ambiguous: both read and readattr match\n"));
    EXPECT_EQ(Eval("READ"), Gives(1, "READ is ambiguous: both read and readattr match\n"));
}

TEST(EvalBitMask, EveryFurtherMatchIsReportedAgainstTheFirst) {
    constexpr BitMaskConstant rows[] = {{"ab", 1}, {"x", 2}, {"abc", 4}, {"AB", 8}, {"abd", 16}, {nullptr, 0}};
    EXPECT_EQ(Eval("ab", rows), Gives(1,
                                      "ab is ambiguous: both ab and abc match\n"
                                      "ab is ambiguous: both ab and AB match\n"
                                      "ab is ambiguous: both ab and abd match\n"));
    EXPECT_EQ(Eval("abd", rows), Gives(16));
}

TEST(EvalBitMask, UnknownNameIsReportedAndSkipped) {
    EXPECT_EQ(Eval("write bogus"), Gives(2, "unknown ID: bogus\n"));
    EXPECT_EQ(Eval("bogus write bogus2"), Gives(2, "unknown ID: bogus\nunknown ID: bogus2\n"));
    EXPECT_EQ(Eval("write | bogus"), Fails("unknown ID: bogus\n"));
    EXPECT_EQ(Eval("write bogus | execute"), Gives(6, "unknown ID: bogus\n"));
}

TEST(EvalBitMask, NameMayHoldUnderscoresAndDigits) {
    constexpr BitMaskConstant rows[] = {{"_a1_Z9", 3}, {nullptr, 0}};
    EXPECT_EQ(Eval("_a1_z9", rows), Gives(3));
    EXPECT_EQ(Eval("_", rows), Gives(3));
}

TEST(EvalBitMask, WithoutATableNoNameIsKnown) {
    EXPECT_EQ(Eval("1|2", nullptr), Gives(3));
    EXPECT_EQ(Eval("read", nullptr), Fails("unknown ID: read\n"));
    constexpr BitMaskConstant empty[] = {{nullptr, 7}};
    EXPECT_EQ(Eval("1 read", empty), Gives(1, "unknown ID: read\n"));
}

TEST(EvalBitMask, RowWithAnEmptyNameMatchesNothing) {
    constexpr BitMaskConstant rows[] = {{"", 1}, {"a", 2}, {nullptr, 0}};
    EXPECT_EQ(Eval("a", rows), Gives(2));
    EXPECT_EQ(Eval("b 4", rows), Gives(4, "unknown ID: b\n"));
}

TEST(EvalBitMask, NameMayHaveAnyLength) {
    const std::string name(100000, 'n');
    const BitMaskConstant rows[] = {{name.c_str(), 9}, {nullptr, 0}};
    EXPECT_EQ(Eval(name, rows), Gives(9));
    EXPECT_EQ(Eval(name + "n 1", rows), Gives(1, "unknown ID: " + name + "n\n"));
}

TEST(EvalBitMask, CaseDoesNotFollowTheLocale) {
    // In Turkish "i" and "I" are not two cases of one letter; in a mask they are.
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const bool isTurkish = std::setlocale(LC_ALL, "tr_TR.ISO-8859-9") || std::setlocale(LC_ALL, "tr_TR.UTF-8");
    EXPECT_EQ(Eval("WRITE"), Gives(2)) << (isTurkish ? "in Turkish" : "in the present locale");
    std::setlocale(LC_ALL, before.c_str());
}

// -------------------------------------------------------------------------------------------------------- operators

TEST(EvalBitMask, BarAndCommaUnite) {
    EXPECT_EQ(Eval("write|execute"), Gives(6));
    EXPECT_EQ(Eval("write,execute"), Gives(6));
    EXPECT_EQ(Eval("read|write"), Gives(3, "read is ambiguous: both read and readattr match\n"));
    EXPECT_EQ(Eval("read,write"), Gives(3, "read is ambiguous: both read and readattr match\n"));
}

TEST(EvalBitMask, IntersectionBindsTighterThanUnion) {
    EXPECT_EQ(Eval("1 | 2 & 4"), Gives(1));
    EXPECT_EQ(Eval("2 & 4 | 1"), Gives(1));
    EXPECT_EQ(Eval("(1|2) & 4"), Gives(0));
}

TEST(EvalBitMask, ExclusiveOrStandsBetweenIntersectionAndUnion) {
    EXPECT_EQ(Eval("6 ^ 3 & 1"), Gives(7));
    EXPECT_EQ(Eval("1 ^ 3 | 4"), Gives(6));
    EXPECT_EQ(Eval("4 | 1 ^ 3"), Gives(6));
    EXPECT_EQ(Eval("4 | 4 ^ 4"), Gives(4));
    EXPECT_EQ(Eval("4 ^ 4 | 4"), Gives(4));
}

TEST(EvalBitMask, CommaBindsLoosest) {
    EXPECT_EQ(Eval("1,2&4"), Gives(1));
    EXPECT_EQ(Eval("1|2,4^4"), Gives(3));
    EXPECT_EQ(Eval("4^4,4"), Gives(4));
    EXPECT_EQ(Eval("8 & (1, 8)"), Gives(8));
}

TEST(EvalBitMask, PrefixesBindTightestAndNest) {
    EXPECT_EQ(Eval("~1&3"), Gives(2));
    EXPECT_EQ(Eval("-1&3"), Gives(3));
    EXPECT_EQ(Eval("~readattr & 15"), Gives(7));
    EXPECT_EQ(Eval("--1"), Gives(1));
    EXPECT_EQ(Eval("~~write"), Gives(2));
    EXPECT_EQ(Eval("-~1"), Gives(2));
    EXPECT_EQ(Eval("~-1"), Gives(0));
    EXPECT_EQ(Eval("-(1|2)"), Gives(static_cast<std::uint64_t>(-3)));
    EXPECT_EQ(Eval("2 & -1"), Gives(2));
    EXPECT_EQ(Eval("~read & 7"), Gives(6, "read is ambiguous: both read and readattr match\n"));
}

TEST(EvalBitMask, ThereIsNoBinaryMinus) {
    EXPECT_EQ(Eval("execute-write"), Fails());
    EXPECT_EQ(Eval("1-1"), Fails());
    EXPECT_EQ(Eval("1~1"), Fails());
}

TEST(EvalBitMask, DoubledOperatorsAreTwoTokens) {
    EXPECT_EQ(Eval("1&&2"), Fails());
    EXPECT_EQ(Eval("1||2"), Fails());
    EXPECT_EQ(Eval("1^^2"), Fails());
}

TEST(EvalBitMask, ParenthesesNest) {
    EXPECT_EQ(Eval("((((5))))"), Gives(5));
    EXPECT_EQ(Eval("~(1|(2&~(4)))"), Gives(~std::uint64_t{3}));
}

// --------------------------------------------------------------------------------------------- bytes between tokens

TEST(EvalBitMask, SpaceTabAndLineFeedSeparate) { EXPECT_EQ(Eval(" \t\n1 \n|\t2\n"), Gives(3)); }

TEST(EvalBitMask, EveryOtherByteIsReportedAndSkipped) {
    const std::string known = " \t\n,()-&|^~_0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (int byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        if (known.find(c) != std::string::npos) continue;
        EXPECT_EQ(Eval(std::string("write ") + c), Gives(2, std::string("unexpected character: ") + c + "\n")) << byte;
    }
}

TEST(EvalBitMask, UnexpectedBytesAreReportedOneByOne) {
    EXPECT_EQ(Eval("1 + 2"), Fails("unexpected character: +\n"));
    EXPECT_EQ(Eval("!1#"), Gives(1, "unexpected character: !\nunexpected character: #\n"));
    EXPECT_EQ(Eval("1\r\n|\r\n2"), Gives(3, "unexpected character: \r\nunexpected character: \r\n"));
}

// ---------------------------------------------------------------------------------------------------- syntax errors

TEST(EvalBitMask, TextWithoutAnExpressionIsASyntaxError) {
    EXPECT_EQ(Eval(""), Fails());
    EXPECT_EQ(Eval("   "), Fails());
    EXPECT_EQ(Eval("()"), Fails());
    EXPECT_EQ(Eval("bogus"), Fails("unknown ID: bogus\n"));
    EXPECT_EQ(Eval("$"), Fails("unexpected character: $\n"));
}

TEST(EvalBitMask, IncompleteExpressionIsASyntaxError) {
    for (const char* const text : {"1|",   "|1",     "(1",   "1)",  "~", "-",  "(",    ")",    "1,,2", "(1|)",
                                   "1(2)", "(1)(2)", "(1)2", "1 ~", ",", "1,", "((1)", "(1))", "~)",   "-&1"}) {
        EXPECT_EQ(Eval(text), Fails()) << text;
    }
}

TEST(EvalBitMask, NothingIsReadAfterASyntaxError) {
    EXPECT_EQ(Eval("1 2 bogus $"), Fails());
    EXPECT_EQ(Eval(") bogus"), Fails());
    EXPECT_EQ(Eval("bogus ) bogus2"), Fails("unknown ID: bogus\n"));
    EXPECT_EQ(Eval("1 bogus 2 bogus2"), Fails("unknown ID: bogus\n"));
}

TEST(EvalBitMask, ResultMayBeNull) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(EvalBitMask(nullptr, "1|2", nullptr), 0);
    EXPECT_EQ(EvalBitMask(nullptr, "1|", nullptr), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "syntax error\n");
}

// ---------------------------------------------------------------------------------------------------- the ceiling

// A state to begin with and one for each symbol: 9999 fit, the ten thousandth is refused.

TEST(EvalBitMask, PrefixesFitUpTo9997) {
    EXPECT_EQ(Eval(std::string(9997, '-') + "1"), Gives(static_cast<std::uint64_t>(-1)));
    EXPECT_EQ(Eval(std::string(9997, '~') + "1"), Gives(~std::uint64_t{1}));
    EXPECT_EQ(Eval(std::string(9998, '-') + "1"), Exhausts());
    EXPECT_EQ(Eval(std::string(9998, '~')), Fails());
    EXPECT_EQ(Eval(std::string(9999, '~')), Exhausts());
}

TEST(EvalBitMask, OperatorsCountAmongTheStates) {
    EXPECT_EQ(Eval(std::string(9996, '(') + "1|"), Fails());
    EXPECT_EQ(Eval(std::string(9997, '(') + "1|"), Exhausts());
}

TEST(EvalBitMask, WhatIsComputedCountsAsOneOperand) {
    for (const std::string operand : {"1", "-1", "--1", "1|1", "1,1^1", "(1)", "((1))", "-(~1&(1|1))"}) {
        EXPECT_EQ(Eval(operand + "," + std::string(9995, '(') + "1"), Fails()) << operand;
        EXPECT_EQ(Eval(operand + "," + std::string(9996, '(') + "1"), Exhausts()) << operand;
    }
}

TEST(EvalBitMask, ParenthesesFitUpTo9996) {
    EXPECT_EQ(Eval(std::string(9996, '(') + "1" + std::string(9996, ')')), Gives(1));
    EXPECT_EQ(Eval(std::string(9997, '(') + "1" + std::string(9997, ')')), Exhausts());
    EXPECT_EQ(Eval(std::string(9997, '(') + "1"), Fails());
    EXPECT_EQ(Eval(std::string(9998, '(') + "1"), Exhausts());
    EXPECT_EQ(Eval(std::string(9998, '(')), Fails());
    EXPECT_EQ(Eval(std::string(9999, '(')), Exhausts());
}

TEST(EvalBitMask, PendingOperandsCountToo) {
    // "1,1|1^1&(" is 9 symbols.
    const std::string nest = Repeated("1,1|1^1&(", 1110);  // 1 + 9990
    EXPECT_EQ(Eval(nest + "1,1|1^1"), Fails());            // 9998
    EXPECT_EQ(Eval(nest + "1,1|1^1&"), Fails());           // 9999
    EXPECT_EQ(Eval(nest + "1,1|1^1&1"), Exhausts());       // 10000
}

TEST(EvalBitMask, MuchTooDeepIsRefusedAndNothingIsReadAfter) {
    for (const std::size_t depth : {10000u, 100000u}) {
        EXPECT_EQ(Eval(std::string(depth, '(') + "bogus"), Exhausts());
        EXPECT_EQ(Eval(std::string(depth, '~') + "bogus"), Exhausts());
        EXPECT_EQ(Eval(Repeated("1|(", depth)), Exhausts());
    }
    EXPECT_EQ(Eval("bogus " + std::string(9999, '-') + " bogus"), Exhausts("unknown ID: bogus\n"));
}

TEST(EvalBitMask, LengthWithoutDepthIsNoMatter) {
    EXPECT_EQ(Eval("1" + Repeated("|1", 200000)), Gives(1));
    EXPECT_EQ(Eval("1" + Repeated("|(1)", 100000)), Gives(1));
    EXPECT_EQ(Eval("1" + Repeated(",~-1&1", 100000)), Gives(1));
}

TEST(EvalBitMask, ShortTextsNeedNoHeap) {
    std::uint64_t value = 0;
    std::vector<std::string> texts = {"write|execute", "0x1F & ~execute | (readattr ^ 7)", std::string(796, '(') + "1",
                                      std::string(797, '~'), Repeated("1,1|1^1&(", 88) + "1"};
    testing::internal::CaptureStderr();
    heapFails = true;
    allocations = 0;
    for (const std::string& text : texts) {
        EXPECT_LT(text.size(), 798u);
        EXPECT_NE(EvalBitMask(&value, text.c_str(), kNames), 2);
    }
    heapFails = false;
    EXPECT_EQ(allocations, 0);
    testing::internal::GetCapturedStderr();
}

TEST(EvalBitMask, StackThatCannotGrowIsExhausted) {
    heapFails = true;
    EXPECT_EQ(Eval(std::string(797, '~') + "1"), Gives(~std::uint64_t{1})) << "798 symbols and the first state";
    EXPECT_EQ(Eval(std::string(798, '~') + "1"), Exhausts());
    EXPECT_EQ(Eval(std::string(5000, '(')), Exhausts());
    heapFails = false;
    EXPECT_EQ(Eval(std::string(798, '~') + "1"), Gives(1));
}

TEST(EvalBitMask, MemoryIsBounded) {
    testing::internal::CaptureStderr();
    const std::string text(1000000, '(');
    allocations = 0;
    EXPECT_EQ(EvalBitMask(nullptr, text.c_str(), nullptr), 2);
    EXPECT_EQ(allocations, 4);  // 1600, 3200, 6400 and 10000 states
    testing::internal::GetCapturedStderr();
}

// ------------------------------------------------------------------------------------------------------- the whole

TEST(EvalBitMask, IsCalledFromC) {
    std::uint64_t value = 0;
    EXPECT_EQ(EvalBitMaskFromC(&value, "read | write"), 0);
    EXPECT_EQ(value, 3u);
}

TEST(EvalBitMask, ThreadsEvaluateIndependently) {
    std::vector<std::thread> threads;
    for (std::uint64_t thread = 1; thread <= 4; ++thread) {
        threads.emplace_back([thread] {
            const std::string number = std::to_string(thread);
            const std::string text = std::string(2000, '(') + number + std::string(2000, ')') + "|write";
            for (int n = 0; n < 20; ++n) {
                std::uint64_t value = 0;
                EXPECT_EQ(EvalBitMask(&value, text.c_str(), kNames), 0);
                EXPECT_EQ(value, thread | 2);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(EvalBitMask, AgreesWithTheReferenceOnRandomTexts) {
    const std::vector<std::string> pieces = {
        "1", "0x1F", "017", "089", "0x", "read", "rea", "WRITE", "bogus", "(",
        ")", "(",    ")",   "|",   ",",  "^",    "&",   "-",     "~",     " ",
        "$", "\n",   "7|",  "&2",  "_",  "0",    "x",   "9",     "e",     "18446744073709551615"};
    std::mt19937 random(20260607);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (std::size_t n = random() % 14; n > 0; --n) text += pieces[random() % pieces.size()];
        ASSERT_EQ(Eval(text), ReferenceEvalBitMask(text, kNames)) << text;
    }
}

/// An expression drawn from the grammar itself, so that most of a large text is evaluated.
std::string RandomExpression(std::mt19937& random, int depth) {
    const std::string operands[] = {"1", "0x30", "write", "077", "execute"};
    switch (depth <= 0 ? 0 : random() % 5) {
        case 0:
            return operands[random() % 5];
        case 1:
            return (random() % 2 ? "~" : "-") + RandomExpression(random, depth - 1);
        case 2:
            return "(" + RandomExpression(random, depth - 1) + ")";
        default: {
            const std::string left = RandomExpression(random, depth - 1);
            return left + ",|^&"[random() % 4] + RandomExpression(random, depth - 1);
        }
    }
}

TEST(EvalBitMask, AgreesWithTheReferenceOnRandomExpressions) {
    std::mt19937 random(7);
    for (int round = 0; round < 1000; ++round) {
        const std::string text = RandomExpression(random, 12);
        const MaskOutcome expected = ReferenceEvalBitMask(text, kNames);
        ASSERT_EQ(expected.code, 0);
        ASSERT_EQ(Eval(text), expected) << text;
    }
}

}  // namespace
