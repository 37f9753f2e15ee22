#include "Platform/CoreFoundation/Held.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

using Held::string;

namespace {

SInt32 integer(std::u16string_view in) { return CFStringGetIntValue(string(in)); }
double real(std::u16string_view in) { return CFStringGetDoubleValue(string(in)); }

constexpr SInt32 kMost = std::numeric_limits<SInt32>::max();
constexpr SInt32 kLeast = std::numeric_limits<SInt32>::min();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

}  // namespace

// ---- Integers

TEST(CFStringNumbers, ReadsIntegers) {
    EXPECT_EQ(integer(u"0"), 0);
    EXPECT_EQ(integer(u"42"), 42);
    EXPECT_EQ(integer(u"-42"), -42);
    EXPECT_EQ(integer(u"+42"), 42);
    EXPECT_EQ(integer(u"007"), 7);
}

TEST(CFStringNumbers, StopsAnIntegerAtWhatDoesNotFit) {
    EXPECT_EQ(integer(u"12abc"), 12);
    EXPECT_EQ(integer(u"3.9"), 3);
    EXPECT_EQ(integer(u"1,234"), 1);
    EXPECT_EQ(integer(u"1 2"), 1);
    EXPECT_EQ(integer(u"1\u00E9"), 1);
    EXPECT_EQ(integer(u"0x1F"), 0);
}

TEST(CFStringNumbers, ReadsNoIntegerAsZero) {
    for (const std::u16string_view in : {u"", u"abc", u"-", u"+", u"--5", u"+-5", u"inf", u"nan", u".5", u"\u00E95"})
        EXPECT_EQ(integer(in), 0) << Held::utf8(string(in));
    EXPECT_EQ(integer(u"\uFF11\uFF12"), 0);
    EXPECT_EQ(integer(u"\u0661"), 0);
    EXPECT_EQ(CFStringGetIntValue(nullptr), 0);
}

TEST(CFStringNumbers, SkipsSpaceBeforeAnIntegerAndItsDigits) {
    EXPECT_EQ(integer(u" \t\n\r\v\f42"), 42);
    EXPECT_EQ(integer(u"\u00A0\u200342"), 42);
    EXPECT_EQ(integer(u"- 1"), -1);
    EXPECT_EQ(integer(u"  -  12 "), -12);
}

TEST(CFStringNumbers, SaturatesIntegers) {
    EXPECT_EQ(integer(u"2147483647"), kMost);
    EXPECT_EQ(integer(u"2147483648"), kMost);
    EXPECT_EQ(integer(u"-2147483648"), kLeast);
    EXPECT_EQ(integer(u"-2147483649"), kLeast);
    EXPECT_EQ(integer(std::u16string(1000, u'9')), kMost);
    EXPECT_EQ(integer(u"-" + std::u16string(1000, u'9')), kLeast);
    EXPECT_EQ(integer(std::u16string(1000, u'0') + u"7"), 7);
}

// ---- Reals

TEST(CFStringNumbers, ReadsReals) {
    EXPECT_EQ(real(u"3.25"), 3.25);
    EXPECT_EQ(real(u"-3.25"), -3.25);
    EXPECT_EQ(real(u"+.5"), 0.5);
    EXPECT_EQ(real(u"5."), 5.0);
    EXPECT_EQ(real(u"0.1"), 0.1);
    EXPECT_EQ(real(u"1e3"), 1000.0);
    EXPECT_EQ(real(u"1E+3"), 1000.0);
    EXPECT_EQ(real(u"25e-2"), 0.25);
    EXPECT_EQ(real(u"1.e2"), 100.0);
    EXPECT_TRUE(std::signbit(real(u"-0")));
}

TEST(CFStringNumbers, StopsARealAtWhatDoesNotFit) {
    EXPECT_EQ(real(u"1.5abc"), 1.5);
    EXPECT_EQ(real(u"1e"), 1.0);
    EXPECT_EQ(real(u"1e+"), 1.0);
    EXPECT_EQ(real(u"1e5.5"), 1e5);
    EXPECT_EQ(real(u"1.2.3"), 1.2);
    EXPECT_EQ(real(u"1,5"), 1.0);
    EXPECT_EQ(real(u"0x10"), 0.0);
    EXPECT_EQ(real(u"2\u00E9"), 2.0);
}

TEST(CFStringNumbers, ReadsNoRealAsZero) {
    for (const std::u16string_view in :
         {u"", u"abc", u"-", u".", u"-.", u"e5", u".e5", u"--5", u"inf", u"INFINITY", u"nan", u"-inf"})
        EXPECT_EQ(real(in), 0.0) << Held::utf8(string(in));
    EXPECT_EQ(real(u"\uFF11"), 0.0);
    EXPECT_EQ(CFStringGetDoubleValue(nullptr), 0.0);
}

TEST(CFStringNumbers, SkipsSpaceBeforeARealButNotBehindItsSign) {
    EXPECT_EQ(real(u" \t\u00A03.5"), 3.5);
    EXPECT_EQ(real(u"- 1"), 0.0);
}

TEST(CFStringNumbers, ReadsTheNearestReal) {
    EXPECT_EQ(real(u"0.30000000000000004"), 0.1 + 0.2);
    EXPECT_EQ(real(u"9007199254740993"), 9007199254740992.0);
    EXPECT_EQ(real(u"1.7976931348623157e308"), std::numeric_limits<double>::max());
    EXPECT_EQ(real(u"5e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(real(std::u16string(400, u'1') + u"e-400"), real(u"0.11111111111111111"));
}

TEST(CFStringNumbers, GoesToInfinityOrZeroBeyondTheRange) {
    EXPECT_EQ(real(u"1e999"), kInfinity);
    EXPECT_EQ(real(u"-1e999"), -kInfinity);
    EXPECT_EQ(real(u"1e-999"), 0.0);
    EXPECT_EQ(real(std::u16string(400, u'9')), kInfinity);
    EXPECT_EQ(real(u"1e99999999999999999999999"), kInfinity);
    EXPECT_EQ(real(u"1e-99999999999999999999999"), 0.0);
    EXPECT_EQ(real(u"0." + std::u16string(400, u'0') + u"1"), 0.0);
    EXPECT_EQ(real(u"0e999999"), 0.0);
    EXPECT_EQ(real(u"0." + std::u16string(400, u'0') + u"1e401"), 1.0);
}
