#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/NullArguments.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

using Held::hold;
using Held::mutableString;
using Held::string;
using Held::utf8;

namespace {

/// The text that `format`, in UTF-8, makes of the arguments.
std::string formatted(const char* format, ...) {
    const auto text = hold(CFStringCreateWithCString(nullptr, format, kCFStringEncodingUTF8));
    va_list arguments;
    va_start(arguments, format);
    const auto made = hold(CFStringCreateWithFormatAndArguments(nullptr, nullptr, text, arguments));
    va_end(arguments);
    return made ? utf8(made) : "null";
}

/// What printf makes of the same.
template <class... Arguments>
std::string printed(const char* format, Arguments... arguments) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    std::string text(static_cast<std::size_t>(std::snprintf(nullptr, 0, format, arguments...)) + 1, '\0');
    std::snprintf(text.data(), text.size(), format, arguments...);
#pragma GCC diagnostic pop
    text.pop_back();
    return text;
}

std::string validated(CFStringRef valid, CFStringRef format, CFErrorRef* error, ...) {
    va_list arguments;
    va_start(arguments, error);
    const auto made =
        hold(CFStringCreateStringWithValidatedFormatAndArguments(nullptr, nullptr, valid, format, arguments, error));
    va_end(arguments);
    return made ? utf8(made) : "null";
}

auto number(int value) { return hold(CFNumberCreate(nullptr, kCFNumberIntType, &value)); }
auto number(long long value) { return hold(CFNumberCreate(nullptr, kCFNumberLongLongType, &value)); }
auto number(double value) { return hold(CFNumberCreate(nullptr, kCFNumberDoubleType, &value)); }
auto number(float value) { return hold(CFNumberCreate(nullptr, kCFNumberFloatType, &value)); }

const UniChar kUnits[] = {'u', 0xE9, 0xD83D, 0xDE00, 0};

}  // namespace

// ---- Text without specifiers

TEST(CFStringFormat, CopiesOrdinaryText) {
    EXPECT_EQ(formatted(""), "");
    EXPECT_EQ(formatted("hello"), "hello");
    EXPECT_EQ(formatted("h\xC3\xA9llo \xF0\x9F\x98\x80"), "h\xC3\xA9llo \xF0\x9F\x98\x80");
    EXPECT_EQ(formatted("100%%"), "100%");
    EXPECT_EQ(formatted("%%%%d"), "%%d");
    EXPECT_EQ(formatted("%5%|%-5%|"), "%|%|");
    EXPECT_EQ(formatted("%5%|%-5%"), "%|%");
}

TEST(CFStringFormat, KeepsASCIIResultsInEightBits) {
    const auto ascii = hold(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%d"), 1));
    EXPECT_NE(CFStringGetCStringPtr(ascii, kCFStringEncodingASCII), nullptr);
    const auto wide = hold(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%C"), 0xE9));
    EXPECT_NE(CFStringGetCharactersPtr(wide), nullptr);
}

TEST(CFStringFormat, IsNullWithoutAFormat) {
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, nullptr), nullptr);
    const auto made = mutableString(u"a");
    CFStringAppendFormat(made, nullptr, nullptr);
    CFStringAppendFormat(nullptr, nullptr, CFSTR("x"));
    EXPECT_EQ(utf8(made), "a");
}

// ---- Integers, beside printf

TEST(CFStringFormat, WritesIntegersAsPrintfDoes) {
    const char* const flags[] = {"", "-", "+", " ", "#", "0", "+0", "-0", "#0", "-#", "+ ", "- "};
    const char* const fields[] = {"", "1", "8", "20", ".", ".0", ".1", ".5", "8.3", "3.8", "20.10"};
    const int values[] = {0, 1, -1, 7, 8, 42, -42, 255, INT_MAX, INT_MIN};
    for (const char conversion : {'d', 'i', 'u', 'x', 'X', 'o'}) {
        // For printf these flags mean nothing, for a compiler's check they are mistakes.
        for (const char* flag : flags) {
            for (const char* field : fields) {
                const std::string format = std::string("%") + flag + field + conversion;
                for (const int value : values)
                    EXPECT_EQ(formatted(format.c_str(), value), printed(format.c_str(), value))
                        << format << ' ' << value;
                const std::string longFormat = std::string("%") + flag + field + "ll" + conversion;
                for (const long long value : {0LL, 1LL, -1LL, LLONG_MAX, LLONG_MIN})
                    EXPECT_EQ(formatted(longFormat.c_str(), value), printed(longFormat.c_str(), value)) << longFormat;
            }
        }
    }
}

TEST(CFStringFormat, KnowsEveryLengthOfIntegers) {
    EXPECT_EQ(formatted("%hhd %hhu", 300, -1), "44 255");
    EXPECT_EQ(formatted("%hd %hu", 70000, -1), "4464 65535");
    EXPECT_EQ(formatted("%ld %lu", LONG_MIN, ULONG_MAX), "-9223372036854775808 18446744073709551615");
    EXPECT_EQ(formatted("%lld %qd %llx", LLONG_MAX, LLONG_MAX, -1LL),
              "9223372036854775807 9223372036854775807 ffffffffffffffff");
    EXPECT_EQ(formatted("%zu %zd", SIZE_MAX, ptrdiff_t{-5}), "18446744073709551615 -5");
    EXPECT_EQ(formatted("%td %jd", ptrdiff_t{-7}, intmax_t{INTMAX_MIN}), "-7 -9223372036854775808");
    EXPECT_EQ(formatted("%d %u", -1, -1), "-1 4294967295");
    EXPECT_EQ(formatted("%Ld", 5LL), "5");
}

TEST(CFStringFormat, TakesTheCapitalsOfIntegersAsTheSmallLetters) {
    EXPECT_EQ(formatted("%D %U %O", -5, 5u, 8), "-5 5 10");
    EXPECT_EQ(formatted("%lD", LONG_MAX), "9223372036854775807");
}

TEST(CFStringFormat, GroupsNothingInTheRoot) {
    EXPECT_EQ(formatted("%'d|%'.2f", 1234567, 1234567.0), "1234567|1234567.00");
}

// ---- Reals

TEST(CFStringFormat, WritesRealsAsPrintfDoes) {
    const char* const flags[] = {"", "-", "+", " ", "#", "0", "+0", "-+", "#0", "+#"};
    const char* const fields[] = {"", "1", "12", "40", ".", ".0", ".1", ".3", ".17", "12.3", "40.20", ".60"};
    const double values[] = {0.0,
                             -0.0,
                             1.0,
                             -1.5,
                             0.1,
                             0.5,
                             1.5,
                             2.5,
                             1e6,
                             123456.0,
                             1234567.0,
                             1e-4,
                             1e-5,
                             1e15,
                             1e100,
                             5e-324,
                             1.7976931348623157e308,
                             3.14159265358979,
                             INFINITY,
                             -INFINITY};
    for (const char conversion : {'f', 'F', 'e', 'E', 'g', 'G', 'a', 'A'}) {
        for (const char* flag : flags) {
            for (const char* field : fields) {
                const std::string format = std::string("%") + flag + field + conversion;
                for (const double value : values)
                    EXPECT_EQ(formatted(format.c_str(), value), printed(format.c_str(), value))
                        << format << ' ' << value;
            }
        }
    }
}

TEST(CFStringFormat, WritesNaNWithoutASign) {
    EXPECT_EQ(formatted("%f %F %e %05g", NAN, NAN, -NAN, NAN), "nan NAN nan   nan");
    EXPECT_EQ(formatted("%Lf", static_cast<long double>(NAN)), "nan");
}

TEST(CFStringFormat, WritesLongDoubles) {
    EXPECT_EQ(formatted("%Lf %d", 1.25L, 7), "1.250000 7");
    EXPECT_EQ(formatted("%+.3Le", -1234.5L), printed("%+.3Le", -1234.5L));
    EXPECT_EQ(formatted("%Lg", std::numeric_limits<long double>::max()),
              printed("%Lg", std::numeric_limits<long double>::max()));
    EXPECT_EQ(formatted("%Lf", std::numeric_limits<long double>::max()),
              printed("%Lf", std::numeric_limits<long double>::max()));
}

TEST(CFStringFormat, WritesManyDigits) {
    EXPECT_EQ(formatted("%.1000f", 0.1), printed("%.1000f", 0.1));
    EXPECT_EQ(formatted("%.300e", 1.0 / 3), printed("%.300e", 1.0 / 3));
    EXPECT_EQ(formatted("%#.500g", 1.0 / 3), printed("%#.500g", 1.0 / 3));
}

TEST(CFStringFormat, WritesAPointWhateverTheLocaleOfTheProcess) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "C.UTF-8"})
        if (std::setlocale(LC_ALL, name)) break;
    EXPECT_EQ(formatted("%.2f %#.2f %a %.1Lf", 1.5, 1.5, 1.5, 2.5L), "1.50 1.50 0x1.8p+0 2.5");
    std::setlocale(LC_ALL, before.c_str());
}

// ---- Pointers, and what must not be done

TEST(CFStringFormat, WritesPointers) {
    EXPECT_EQ(formatted("%p", reinterpret_cast<void*>(std::uintptr_t{0xBEEF})), "0xbeef");
    EXPECT_EQ(formatted("%p", static_cast<void*>(nullptr)), "0x0");
    EXPECT_EQ(formatted("%10p|%-10p|", reinterpret_cast<void*>(std::uintptr_t{0x1F}),
                        reinterpret_cast<void*>(std::uintptr_t{0x1F})),
              "      0x1f|0x1f      |");
}

TEST(CFStringFormat, NeverWritesThroughN) {
    int untouched = 42;
    EXPECT_EQ(formatted("ab%n%d", &untouched, 7), "ab7");
    EXPECT_EQ(untouched, 42);
}

// ---- Text

TEST(CFStringFormat, WritesCStrings) {
    EXPECT_EQ(formatted("%s-%s", "abc", ""), "abc-");
    EXPECT_EQ(formatted("%5s|%-5s|%2s", "abc", "abc", "abc"), "  abc|abc  |abc");
    EXPECT_EQ(formatted("%.2s|%.0s|%.9s|%5.1s", "abc", "abc", "abc", "abc"), "ab||abc|    a");
    EXPECT_EQ(formatted("%s", "h\xC3\xA9 \xF0\x9F\x98\x80"), "h\xC3\xA9 \xF0\x9F\x98\x80");
    EXPECT_EQ(formatted("%4s|", "\xC3\xA9"), "   \xC3\xA9|");
}

TEST(CFStringFormat, ReadsNoMoreOfACStringThanThePrecision) {
    const char unended[3] = {'a', 'b', 'c'};
    EXPECT_EQ(formatted("%.3s", unended), "abc");
    EXPECT_EQ(formatted("%.*s", 2, unended), "ab");
}

TEST(CFStringFormat, DropsACharacterThatThePrecisionCutsInPieces) {
    EXPECT_EQ(formatted("%.2s|", "a\xC3\xA9"), "a|");
    EXPECT_EQ(formatted("%.4s|", "a\xF0\x9F\x98\x80"), "a|");
}

TEST(CFStringFormat, TakesBytesThatAreNoTextOneByOne) {
    EXPECT_EQ(formatted("%s",
                        "a\xFF"
                        "bcde"),
              "a\xC3\xBF"
              "bcde");
}

TEST(CFStringFormat, WritesUnitStrings) {
    EXPECT_EQ(formatted("%S", kUnits), "u\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(formatted("%.2S|%6.1S", kUnits, kUnits), "u\xC3\xA9|     u");
    const UniChar unended[2] = {'x', 'y'};
    EXPECT_EQ(formatted("%.2S", unended), "xy");
}

TEST(CFStringFormat, WritesWideStrings) {
    EXPECT_EQ(formatted("%ls", L"w\u00E9\U0001F600"), "w\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(formatted("%.1ls|%3ls", L"wx", L"w"), "w|  w");
}

TEST(CFStringFormat, WritesCharacters) {
    EXPECT_EQ(formatted("%c%c|%3c|%-3c|", 'a', 'b', 'c', 'd'), "ab|  c|d  |");
    EXPECT_EQ(formatted("%c", 0x141), "A");
    EXPECT_EQ(formatted("%c", 0xE9), "\xC3\xA9");
    EXPECT_EQ(formatted("%C%C", 0xE9, 'x'), "\xC3\xA9x");
    EXPECT_EQ(formatted("%C", 0x10041), "A");
    EXPECT_EQ(formatted("%lc%lc", 0x1F600, 'x'), "\xF0\x9F\x98\x80x");
    EXPECT_EQ(formatted("%lc", 0x7FFFFFFF), "\xEF\xBF\xBD");
}

TEST(CFStringFormat, KeepsNULsThatCharactersMake) {
    const auto made = hold(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("a%cb%C"), 0, 0));
    EXPECT_EQ(Held::text(made), std::u16string(u"a\0b\0", 4));
}

TEST(CFStringFormat, JoinsTheHalvesOfAPair) { EXPECT_EQ(formatted("%C%C", 0xD83D, 0xDE00), "\xF0\x9F\x98\x80"); }

TEST(CFStringFormat, SaysNullForNull) {
    EXPECT_EQ(formatted("%@ %s %S %ls", nullptr, nullptr, nullptr, nullptr), "(null) (null) (null) (null)");
    EXPECT_EQ(formatted("%8s|%-8S|", nullptr, nullptr), "  (null)|(null)  |");
    EXPECT_EQ(formatted("%.2s", nullptr), "(null)");
}

// ---- Objects

TEST(CFStringFormat, WritesStringsPlainly) {
    EXPECT_EQ(formatted("<%@>", CFSTR("abc")), "<abc>");
    EXPECT_EQ(formatted("<%@>", string(u"\u00E9\U0001F600").get()), "<\xC3\xA9\xF0\x9F\x98\x80>");
    EXPECT_EQ(formatted("%6@|%-6@|%.2@|%6.1@", CFSTR("abc"), CFSTR("abc"), CFSTR("abc"), CFSTR("abc")),
              "   abc|abc   |ab|     a");
}

TEST(CFStringFormat, WritesNumbersPlainly) {
    EXPECT_EQ(formatted("%@ %@ %@", number(42).get(), number(-7LL).get(), number(LLONG_MIN).get()),
              "42 -7 -9223372036854775808");
    EXPECT_EQ(formatted("%@ %@ %@", number(3.5).get(), number(0.1).get(), number(3.0).get()), "3.5 0.1 3");
    EXPECT_EQ(formatted("%@ %@", number(0.1 + 0.2).get(), number(1e17).get()), "0.30000000000000004 1e+17");
    EXPECT_EQ(formatted("%@ %@", number(3.14f).get(), number(0.1f).get()), "3.14 0.1");
    EXPECT_EQ(formatted("%@ %@ %@", kCFNumberNaN, kCFNumberPositiveInfinity, kCFNumberNegativeInfinity),
              "nan inf -inf");
}

TEST(CFStringFormat, IgnoresAWidthOnNumbers) {
    EXPECT_EQ(formatted("%10@|%-10@|%.1@", number(42).get(), number(3.5).get(), number(12345).get()), "42|3.5|12345");
}

TEST(CFStringFormat, WritesBooleans) { EXPECT_EQ(formatted("%@ %@", kCFBooleanTrue, kCFBooleanFalse), "true false"); }

TEST(CFStringFormat, WritesTheDescriptionOfOtherObjects) {
    const void* values[] = {CFSTR("x")};
    const auto array = hold(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
    const auto description = hold(CFCopyDescription(array));
    EXPECT_EQ(formatted("[%@]", array.get()), "[" + utf8(description) + "]");
    EXPECT_EQ(formatted("%50000@|", array.get()), utf8(description) + "|");
}

// ---- Positions and stars

TEST(CFStringFormat, TakesArgumentsByPosition) {
    EXPECT_EQ(formatted("%2$@ %1$d", 5, CFSTR("five")), "five 5");
    EXPECT_EQ(formatted("%1$d %1$d %1$x", 255), "255 255 ff");
    EXPECT_EQ(formatted("%3$s%1$s%2$s", "a", "b", "c"), "cab");
    EXPECT_EQ(formatted("%2$.1f %1$s", "s", 2.5), "2.5 s");
    EXPECT_EQ(formatted("%1$05d|%1$-5d|", 42), "00042|42   |");
}

TEST(CFStringFormat, SkipsPositionsThatNothingAsksFor) {
    EXPECT_EQ(formatted("%3$@", CFSTR("a"), CFSTR("b"), CFSTR("c")), "c");
    EXPECT_EQ(formatted("%2$d", 1, 2), "2");
}

TEST(CFStringFormat, TakesWidthAndPrecisionFromArguments) {
    EXPECT_EQ(formatted("%*d|%-*d|%*d|", 5, 42, 5, 42, -5, 42), "   42|42   |42   |");
    EXPECT_EQ(formatted("%.*f|%.*f|%.*d", 2, 1.0, -1, 1.0, 4, 7), "1.00|1.000000|0007");
    EXPECT_EQ(formatted("%*.*f", 8, 3, 3.14159), "   3.142");
    EXPECT_EQ(formatted("%2$*1$d|%3$.*1$f", 3, 7, 1.0), "  7|1.000");
    EXPECT_EQ(formatted("%1$*1$d", 4), "   4");
}

TEST(CFStringFormat, ReadsEachArgumentAsOneKindOnly) {
    EXPECT_EQ(formatted("%1$s %1$d %1$f", "text"), "text %1$d %1$f");
    EXPECT_EQ(formatted("%1$*1$s|", 5), "%1$*1$s|");
    EXPECT_EQ(formatted("%1$d %1$ld", 7L), "7 7");
    EXPECT_NE(formatted("%1$@ %1$p", CFSTR("x")).find("x 0x"), std::string::npos);
}

TEST(CFStringFormat, TakesManyArguments) {
    EXPECT_EQ(formatted("%d%d%d%d%d%d%d%d%d%d%d%d %f%f%f%f%f%f%f%f%f%f %Lf %s", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12,
                        1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0, 10.0, 2.5L, "end"),
              "123456789101112 1.0000002.0000003.0000004.0000005.0000006.0000007.0000008.0000009.00000010.000000 "
              "2.500000 end");
}

// ---- What is no specifier

TEST(CFStringFormat, LeavesWhatIsNoSpecifierAsItStands) {
    EXPECT_EQ(formatted("%"), "%");
    EXPECT_EQ(formatted("50% ready"), "50% ready");
    EXPECT_EQ(formatted("%y %v %!", 1), "%y %v %!");
    EXPECT_EQ(formatted("%5"), "%5");
    EXPECT_EQ(formatted("%5.3"), "%5.3");
    EXPECT_EQ(formatted("%l"), "%l");
    EXPECT_EQ(formatted("%-+ #0"), "%-+ #0");
    EXPECT_EQ(formatted("%1$"), "%1$");
    EXPECT_EQ(formatted("%*"), "%*");
    EXPECT_EQ(formatted("%\xC3\xA9"), "%\xC3\xA9");
    EXPECT_EQ(formatted("%0$d"), "%0$d");
}

TEST(CFStringFormat, TakesNoArgumentForWhatIsNoSpecifier) {
    EXPECT_EQ(formatted("%y %d", 7), "%y 7");
    EXPECT_EQ(formatted("%*y %d", 7), "%*y 7");
    EXPECT_EQ(formatted("%5%d", 7), "%d");
    EXPECT_EQ(formatted("%3$*2$.*9$%"), "%");
}

TEST(CFStringFormat, RefusesPositionsBeyondReason) {
    EXPECT_EQ(formatted("%256$d %2000000000$@ %99999999999999999999$s"),
              "%256$d %2000000000$@ %99999999999999999999$s");
}

TEST(CFStringFormat, HoldsFieldsAtAWidthThatMemoryHas) {
    EXPECT_EQ(formatted("%2000000000d", 1).size(), 65535u);
    EXPECT_EQ(formatted("%.2000000000d", 1).size(), 65535u);
    EXPECT_EQ(formatted("%*d", INT_MAX, 1).size(), 65535u);
    EXPECT_EQ(formatted("%*d", INT_MIN, 1).size(), 65535u);
    EXPECT_EQ(formatted("%.99999999999999999999f", 1.0).size(), 65537u);
}

TEST(CFStringFormat, ReadsFormatsInEitherStorage) {
    EXPECT_EQ(formatted("\xC3\xA9 %05d %@ %.1f %% %y \xC3\xA9", 42, CFSTR("x"), 0.5),
              "\xC3\xA9 00042 x 0.5 % %y \xC3\xA9");
}

TEST(CFStringFormat, MakesLongTexts) {
    const std::string text(100'000, 'x');
    EXPECT_EQ(formatted("<%s>", text.c_str()), "<" + text + ">");
    std::string many, wanted;
    for (int i = 0; i < 5000; ++i) {
        many += "%1$d,";
        wanted += "7,";
    }
    EXPECT_EQ(formatted(many.c_str(), 7), wanted);
}

// ---- Appending

TEST(CFStringFormat, AppendsWhatItMakes) {
    const auto made = mutableString(u"a");
    CFStringAppendFormat(made, nullptr, CFSTR("-%d-%@"), 7, CFSTR("b"));
    EXPECT_EQ(utf8(made), "a-7-b");
    CFStringAppendFormat(made, nullptr, CFSTR("%C"), 0xE9);
    EXPECT_EQ(utf8(made), "a-7-b\xC3\xA9");
}

TEST(CFStringFormat, TakesTheStringItAppendsToAsAnArgumentAndAsTheFormat) {
    const auto made = mutableString(u"%d");
    CFStringAppendFormat(made, nullptr, CFSTR("<%@>"), made.get());
    EXPECT_EQ(utf8(made), "%d<%d>");
    CFStringAppendFormat(made, nullptr, made, 1, 2);
    EXPECT_EQ(utf8(made), "%d<%d>1<2>");
}

TEST(CFStringFormat, AppendsNothingToAStringThatIsFull) {
    const auto limited = hold(CFStringCreateMutable(nullptr, 3));
    CFStringAppendFormat(limited, nullptr, CFSTR("%d"), 12);
    EXPECT_EQ(utf8(limited), "12");
    CFStringAppendFormat(limited, nullptr, CFSTR("%d"), 34);
    EXPECT_EQ(utf8(limited), "12");
}

// ---- Validated formats

TEST(CFStringFormatValidated, TakesFormatsThatFit) {
    CFErrorRef error = nullptr;
    EXPECT_EQ(validated(CFSTR("%@ %d"), CFSTR("%@: %d"), &error, CFSTR("a"), 7), "a: 7");
    EXPECT_EQ(validated(CFSTR("%@ %d"), CFSTR("%2$d %1$@"), &error, CFSTR("a"), 7), "7 a");
    EXPECT_EQ(validated(CFSTR("%@ %d"), CFSTR("only %2$x"), &error, CFSTR("a"), 255), "only ff");
    EXPECT_EQ(validated(CFSTR("%Lf %d"), CFSTR("%2$d"), &error, 1.0L, 7), "7");
    EXPECT_EQ(validated(CFSTR("%@ %d"), CFSTR("100%%"), &error, CFSTR("a"), 7), "100%");
    EXPECT_NE(validated(CFSTR("%@"), CFSTR("%p"), &error, CFSTR("a")).find("0x"), std::string::npos);
    EXPECT_EQ(error, nullptr);
}

TEST(CFStringFormatValidated, RefusesFormatsThatDoNotFit) {
    for (const CFStringRef format : {CFSTR("%d"), CFSTR("%s"), CFSTR("%@ %ld"), CFSTR("%@ %d %d"), CFSTR("%3$@"),
                                     CFSTR("%@ %f"), CFSTR("%*@"), CFSTR("%@ %"), CFSTR("%@ %y"), CFSTR("%@ %n")}) {
        CFErrorRef error = nullptr;
        EXPECT_EQ(validated(CFSTR("%@ %d"), format, &error, CFSTR("a"), 7), "null") << utf8(format);
        ASSERT_NE(error, nullptr) << utf8(format);
        EXPECT_TRUE(CFEqual(CFErrorGetDomain(error), kCFErrorDomainCocoa));
        EXPECT_EQ(CFErrorGetCode(error), 2048);
        CFRelease(error);
        EXPECT_EQ(validated(CFSTR("%@ %d"), format, nullptr, CFSTR("a"), 7), "null");
    }
}

TEST(CFStringFormatValidated, RefusesToDoWithoutEitherText) {
    CFErrorRef error = nullptr;
    EXPECT_EQ(validated(nullptr, CFSTR("x"), &error), "null");
    ASSERT_NE(error, nullptr);
    CFRelease(error);
    EXPECT_EQ(validated(CFSTR("x"), nullptr, nullptr), "null");
}

TEST(CFStringFormatValidated, IsThereWithArgumentsOfItsOwn) {
    CFErrorRef error = nullptr;
    const auto made = hold(
        CFStringCreateStringWithValidatedFormat(nullptr, nullptr, CFSTR("%s %d"), CFSTR("%2$d %1$s"), &error, "x", 5));
    EXPECT_EQ(utf8(made), "5 x");
    EXPECT_EQ(error, nullptr);
}

TEST(CFStringFormat, SurvivesNullArguments) {
    using namespace NullArguments;
    const auto formatted = [](CFStringRef format, ...) {
        va_list arguments;
        va_start(arguments, format);
        const auto made = hold(CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, arguments));
        va_end(arguments);
        return utf8(made);
    };
    const void* const none = nullptr;
    EXPECT_EQ(formatted(CFSTR("%@ %s %S %p"), none, none, none, none), "(null) (null) (null) 0x0");
    EXPECT_EQ(formatted(CFSTR("%")), "%");
    EXPECT_EQ(formatted(CFSTR("%5")), "%5");
    const auto others = [](CFStringRef format, CFStringRef valid, ...) {
        va_list arguments;
        va_start(arguments, valid);
        EXPECT_EQ(CFStringCreateWithFormatAndArguments(nullptr, nullptr, nullptr, arguments), nullptr);
        EXPECT_EQ(
            CFStringCreateStringWithValidatedFormatAndArguments(nullptr, nullptr, valid, format, arguments, nullptr),
            nullptr);
        CFStringAppendFormatAndArguments(nullptr, nullptr, CFSTR("x"), arguments);
        const auto whole = fourUnits(false);
        CFStringAppendFormatAndArguments(whole, nullptr, nullptr, arguments);
        EXPECT_TRUE(CFEqual(whole, CFSTR("abcd")));
        va_end(arguments);
    };
    others(nullptr, CFSTR("%@"));
    others(CFSTR("%@"), nullptr);
    others(nullptr, nullptr);
}
