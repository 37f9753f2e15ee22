#include "Platform/CoreFoundation/TestAllocator.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unicode/unum.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

using namespace Held;
using Values::taken;

namespace {

using Formatter = Holder<CFNumberFormatterRef>;

Formatter formatter(const char* name, CFNumberFormatterStyle style) {
    return hold(CFNumberFormatterCreate(nullptr, hold(CFLocaleCreate(nullptr, Values::string(name))), style));
}

std::string format(CFNumberFormatterRef formatter, double value) {
    return taken(CFNumberFormatterCreateStringWithNumber(nullptr, formatter, Values::real(value)));
}

std::string formatInteger(CFNumberFormatterRef formatter, std::int64_t value) {
    return taken(CFNumberFormatterCreateStringWithNumber(nullptr, formatter, Values::number(value)));
}

void set(CFNumberFormatterRef formatter, CFNumberFormatterKey key, const char* value) {
    CFNumberFormatterSetProperty(formatter, key, Values::string(value));
}
void set(CFNumberFormatterRef formatter, CFNumberFormatterKey key, double value) {
    CFNumberFormatterSetProperty(formatter, key, Values::real(value));
}
void set(CFNumberFormatterRef formatter, CFNumberFormatterKey key, bool value) {
    CFNumberFormatterSetProperty(formatter, key, value ? kCFBooleanTrue : kCFBooleanFalse);
}

/// A property as text: of numbers and truth values too.
std::string property(CFNumberFormatterRef formatter, CFNumberFormatterKey key) {
    const auto value = hold(CFNumberFormatterCopyProperty(formatter, key));
    if (!value) return "(null)";
    if (CFGetTypeID(value) == CFStringGetTypeID()) return utf8(static_cast<CFStringRef>(value.get()));
    if (CFGetTypeID(value) == CFBooleanGetTypeID()) return value.get() == kCFBooleanTrue ? "true" : "false";
    double number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value.get()), kCFNumberDoubleType, &number);
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

/// What was read of a text: the number, how much of the text, and whether it is an integer.
struct Parsed {
    double value = 0;
    CFIndex length = 0;
    bool isInteger = false;
    bool operator==(const Parsed&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Parsed& parsed) {
    return out << parsed.value << " of " << parsed.length << (parsed.isInteger ? ", integer" : "");
}

Parsed parse(CFNumberFormatterRef formatter, const char* text, CFOptionFlags options = 0) {
    const auto string = Values::string(text);
    CFRange range{0, CFStringGetLength(string)};
    const auto number = hold(CFNumberFormatterCreateNumberFromString(nullptr, formatter, string, &range, options));
    if (!number) return {};
    Parsed parsed{0, range.length, !CFNumberIsFloatType(number)};
    CFNumberGetValue(number, kCFNumberDoubleType, &parsed.value);
    return parsed;
}

// ---- Formatting

TEST(CFNumberFormatter, HasTheStylesOfALocale) {
    const auto in = [](CFNumberFormatterStyle style, double value) { return format(formatter("en_US", style), value); };
    EXPECT_EQ(in(kCFNumberFormatterNoStyle, 1234.567), "1235");
    EXPECT_EQ(in(kCFNumberFormatterDecimalStyle, 1234.5678), "1,234.568");
    EXPECT_EQ(in(kCFNumberFormatterCurrencyStyle, -1234.567), "-$1,234.57");
    EXPECT_EQ(in(kCFNumberFormatterPercentStyle, 0.25), "25%");
    EXPECT_EQ(in(kCFNumberFormatterScientificStyle, 1234.5), "1.2345E3");
    EXPECT_EQ(in(kCFNumberFormatterSpellOutStyle, 42), "forty-two");
    EXPECT_EQ(in(kCFNumberFormatterOrdinalStyle, 42), "42nd");
    EXPECT_EQ(in(kCFNumberFormatterCurrencyISOCodeStyle, 1), "USD\u00A01.00");
    EXPECT_EQ(in(kCFNumberFormatterCurrencyPluralStyle, 2), "2.00 US dollars");
    EXPECT_EQ(in(kCFNumberFormatterCurrencyAccountingStyle, -2), "($2.00)");
}

TEST(CFNumberFormatter, IsOfNoStyleThatHasNoName) {
    for (const CFIndex style : {-1L, 7L, 11L, std::numeric_limits<CFIndex>::max()})
        EXPECT_EQ(CFNumberFormatterCreate(nullptr, nullptr, static_cast<CFNumberFormatterStyle>(style)), nullptr);
}

TEST(CFNumberFormatter, IsOfTheRootWithoutALocale) {
    const auto root = hold(CFNumberFormatterCreate(nullptr, nullptr, kCFNumberFormatterDecimalStyle));
    EXPECT_EQ(CFNumberFormatterGetLocale(root), CFLocaleGetSystem());
    EXPECT_EQ(CFNumberFormatterGetStyle(root), kCFNumberFormatterDecimalStyle);
    EXPECT_EQ(format(root, 1234.5), "1,234.5");
}

TEST(CFNumberFormatter, AgreesWithICUForRealLocales) {
    constexpr std::pair<CFNumberFormatterStyle, UNumberFormatStyle> styles[] = {
        {kCFNumberFormatterDecimalStyle, UNUM_DECIMAL},
        {kCFNumberFormatterCurrencyStyle, UNUM_CURRENCY},
        {kCFNumberFormatterPercentStyle, UNUM_PERCENT},
        {kCFNumberFormatterScientificStyle, UNUM_SCIENTIFIC},
        {kCFNumberFormatterSpellOutStyle, UNUM_SPELLOUT},
        {kCFNumberFormatterOrdinalStyle, UNUM_ORDINAL},
        {kCFNumberFormatterCurrencyISOCodeStyle, UNUM_CURRENCY_ISO},
        {kCFNumberFormatterCurrencyPluralStyle, UNUM_CURRENCY_PLURAL},
        {kCFNumberFormatterCurrencyAccountingStyle, UNUM_CURRENCY_ACCOUNTING}};
    for (const char* name : {"en_US", "de_DE", "fr_FR", "ja_JP", "ar_EG", "hi_IN", "th_TH", "he_IL"}) {
        for (const auto& [style, icuStyle] : styles) {
            const auto ours = formatter(name, style);
            UErrorCode status = U_ZERO_ERROR;
            UNumberFormat* const icu = unum_open(icuStyle, nullptr, 0, name, nullptr, &status);
            for (const double value : {0.0, 1.0, -1.0, 1234567.891, -0.005, 1e15, 21.0}) {
                char16_t units[512];
                const int32_t length = unum_formatDouble(icu, value, units, 512, nullptr, &status);
                EXPECT_EQ(format(ours, value), utf8(string({units, static_cast<std::size_t>(length)})))
                    << name << " " << style << " " << value;
            }
            unum_close(icu);
        }
    }
}

TEST(CFNumberFormatter, KeepsEveryDigitOfIntegers) {
    const auto plain = formatter("en_US", kCFNumberFormatterNoStyle);
    EXPECT_EQ(formatInteger(plain, std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
    EXPECT_EQ(formatInteger(plain, std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(formatInteger(plain, 9007199254740993), "9007199254740993");
    const std::string text = "<plist><integer>18446744073709551615</integer></plist>";
    const auto data =
        hold(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size())));
    const auto number =
        hold(static_cast<CFNumberRef>(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr)));
    EXPECT_EQ(taken(CFNumberFormatterCreateStringWithNumber(nullptr, plain, number)), "18446744073709551615");
}

TEST(CFNumberFormatter, WritesWhatIsNoNumberAndTheInfinities) {
    const auto decimal = formatter("en_US", kCFNumberFormatterDecimalStyle);
    EXPECT_EQ(format(decimal, std::nan("")), "NaN");
    EXPECT_EQ(format(decimal, INFINITY), "\u221E");
    EXPECT_EQ(format(decimal, -INFINITY), "-\u221E");
    set(decimal, kCFNumberFormatterNaNSymbol, "none");
    set(decimal, kCFNumberFormatterInfinitySymbol, "inf");
    EXPECT_EQ(format(decimal, std::nan("")), "none");
    EXPECT_EQ(format(decimal, -INFINITY), "-inf");
}

TEST(CFNumberFormatter, WritesValuesOfEveryType) {
    const auto decimal = formatter("en_US", kCFNumberFormatterDecimalStyle);
    const auto write = [&](CFNumberType type, auto value) {
        return taken(CFNumberFormatterCreateStringWithValue(nullptr, decimal, type, &value));
    };
    EXPECT_EQ(write(kCFNumberSInt8Type, std::int8_t{-5}), "-5");
    EXPECT_EQ(write(kCFNumberSInt16Type, std::int16_t{-1234}), "-1,234");
    EXPECT_EQ(write(kCFNumberSInt32Type, std::int32_t{12345}), "12,345");
    EXPECT_EQ(write(kCFNumberSInt64Type, std::int64_t{1234567890123}), "1,234,567,890,123");
    EXPECT_EQ(write(kCFNumberFloatType, 1.5f), "1.5");
    EXPECT_EQ(write(kCFNumberDoubleType, 1.25), "1.25");
    EXPECT_EQ(write(kCFNumberCFIndexType, CFIndex{7}), "7");
    EXPECT_EQ(write(static_cast<CFNumberType>(99), 1.25), "(null)");
}

// ---- Formats

TEST(CFNumberFormatter, TakesAFormat) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    EXPECT_EQ(utf8(CFNumberFormatterGetFormat(one)), "#,##0.###");
    CFNumberFormatterSetFormat(one, CFSTR("00000.00"));
    EXPECT_EQ(utf8(CFNumberFormatterGetFormat(one)), "00000.00");
    EXPECT_EQ(format(one, 3.14159), "00003.14");
    CFNumberFormatterSetFormat(one, CFSTR("#0.0;(#0.0)"));
    EXPECT_EQ(format(one, -2.5), "(2.5)");
    CFNumberFormatterSetFormat(one, CFSTR("0.0.0#;;"));  // is none
    EXPECT_EQ(format(one, -2.5), "(2.5)");
    set(one, kCFNumberFormatterMinFractionDigits, 3.0);
    EXPECT_EQ(utf8(CFNumberFormatterGetFormat(one)), "0.000;(0.000)");
    EXPECT_EQ(property(one, kCFNumberFormatterDefaultFormat), "#,##0.###");
}

// ICU 72 ends the process where it parses by a pattern with a "~" outside of quotes.
TEST(CFNumberFormatter, TakesATildeForWhatItIs) {
    for (const CFStringRef pattern : {CFSTR("~0"), CFSTR("'~'0"), CFSTR("0;~0")}) {
        const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
        CFNumberFormatterSetFormat(one, pattern);
        EXPECT_EQ(parse(one, format(one, 5).c_str()).value, 5);
    }
    for (const CFNumberFormatterKey key : {kCFNumberFormatterPositivePrefix, kCFNumberFormatterPositiveSuffix,
                                           kCFNumberFormatterNegativePrefix, kCFNumberFormatterNegativeSuffix}) {
        const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
        set(one, key, "~");  // is refused
        EXPECT_EQ(format(one, -5), "-5");
        EXPECT_EQ(parse(one, "5").value, 5);
    }
}

TEST(CFNumberFormatter, HasNoFormatForNumbersInWords) {
    const auto words = formatter("en_US", kCFNumberFormatterSpellOutStyle);
    EXPECT_EQ(CFNumberFormatterGetFormat(words), nullptr);
    CFNumberFormatterSetFormat(words, CFSTR("0.00"));
    EXPECT_EQ(format(words, 2), "two");
    EXPECT_EQ(property(words, kCFNumberFormatterDefaultFormat), "(null)");
    EXPECT_EQ(property(words, kCFNumberFormatterMultiplier), "(null)");
    EXPECT_EQ(property(words, kCFNumberFormatterGroupingSize), "(null)");
}

// ---- Properties

TEST(CFNumberFormatter, HasTheSymbolsOfItsLocale) {
    const auto german = formatter("de_DE", kCFNumberFormatterCurrencyStyle);
    EXPECT_EQ(property(german, kCFNumberFormatterCurrencyCode), "EUR");
    EXPECT_EQ(property(german, kCFNumberFormatterCurrencySymbol), "\u20AC");
    EXPECT_EQ(property(german, kCFNumberFormatterInternationalCurrencySymbol), "EUR");
    EXPECT_EQ(property(german, kCFNumberFormatterDecimalSeparator), ",");
    EXPECT_EQ(property(german, kCFNumberFormatterCurrencyDecimalSeparator), ",");
    EXPECT_EQ(property(german, kCFNumberFormatterGroupingSeparator), ".");
    EXPECT_EQ(property(german, kCFNumberFormatterCurrencyGroupingSeparator), ".");
    EXPECT_EQ(property(german, kCFNumberFormatterPercentSymbol), "%");
    EXPECT_EQ(property(german, kCFNumberFormatterPerMillSymbol), "\u2030");
    EXPECT_EQ(property(german, kCFNumberFormatterMinusSign), "-");
    EXPECT_EQ(property(german, kCFNumberFormatterPlusSign), "+");
    EXPECT_EQ(property(german, kCFNumberFormatterExponentSymbol), "E");
    EXPECT_EQ(property(german, kCFNumberFormatterZeroSymbol), "(null)");
    EXPECT_EQ(property(german, kCFNumberFormatterNegativePrefix), "-");
    EXPECT_EQ(property(german, kCFNumberFormatterPositiveSuffix), "\u00A0\u20AC");
}

TEST(CFNumberFormatter, WritesWithTheSymbolsItIsGiven) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    set(one, kCFNumberFormatterDecimalSeparator, "|");
    set(one, kCFNumberFormatterGroupingSeparator, "_");
    set(one, kCFNumberFormatterMinusSign, "~");
    EXPECT_EQ(format(one, -1234.5), "~1_234|5");
    set(one, kCFNumberFormatterPositivePrefix, "<");
    set(one, kCFNumberFormatterPositiveSuffix, ">");
    set(one, kCFNumberFormatterNegativePrefix, "[");
    set(one, kCFNumberFormatterNegativeSuffix, "]");
    EXPECT_EQ(format(one, 1), "<1>");
    EXPECT_EQ(format(one, -1), "[1]");
    const auto money = formatter("en_US", kCFNumberFormatterCurrencyStyle);
    set(money, kCFNumberFormatterCurrencyCode, "JPY");
    EXPECT_EQ(format(money, 5), "\u00A55");
    set(money, kCFNumberFormatterCurrencyCode, "JP");  // is no code
    EXPECT_EQ(property(money, kCFNumberFormatterCurrencyCode), "JPY");
    const auto percent = formatter("en_US", kCFNumberFormatterPercentStyle);
    set(percent, kCFNumberFormatterPercentSymbol, " pc");
    EXPECT_EQ(format(percent, 0.5), "50 pc");
    const auto scientific = formatter("en_US", kCFNumberFormatterScientificStyle);
    set(scientific, kCFNumberFormatterExponentSymbol, "x");
    EXPECT_EQ(format(scientific, 1500), "1.5x3");
}

TEST(CFNumberFormatter, WritesWithItsDigitsAndGroups) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    set(one, kCFNumberFormatterMinIntegerDigits, 6.0);
    set(one, kCFNumberFormatterMinFractionDigits, 2.0);
    EXPECT_EQ(format(one, 1.5), "000,001.50");
    set(one, kCFNumberFormatterUseGroupingSeparator, false);
    EXPECT_EQ(format(one, 1.5), "000001.50");
    EXPECT_EQ(property(one, kCFNumberFormatterUseGroupingSeparator), "false");
    const auto two = formatter("en_US", kCFNumberFormatterDecimalStyle);
    set(two, kCFNumberFormatterMaxIntegerDigits, 2.0);
    set(two, kCFNumberFormatterMaxFractionDigits, 1.0);
    EXPECT_EQ(format(two, 1234.56), "34.6");
    const auto three = formatter("en_US", kCFNumberFormatterDecimalStyle);
    set(three, kCFNumberFormatterGroupingSize, 4.0);
    set(three, kCFNumberFormatterSecondaryGroupingSize, 2.0);
    EXPECT_EQ(format(three, 1234567890), "12,34,56,7890");
    const auto four = formatter("en_US", kCFNumberFormatterDecimalStyle);
    set(four, kCFNumberFormatterUseSignificantDigits, true);
    set(four, kCFNumberFormatterMinSignificantDigits, 2.0);
    set(four, kCFNumberFormatterMaxSignificantDigits, 3.0);
    EXPECT_EQ(format(four, 123456), "123,000");
    EXPECT_EQ(format(four, 1), "1.0");
    set(four, kCFNumberFormatterAlwaysShowDecimalSeparator, true);
    EXPECT_EQ(format(four, 123), "123.");
}

TEST(CFNumberFormatter, Rounds) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    set(one, kCFNumberFormatterMaxFractionDigits, 0.0);
    const struct {
        CFNumberFormatterRoundingMode mode;
        const char* results[4];  ///< of 2.5, -2.5, 2.4 and 3.5
    } expected[] = {{kCFNumberFormatterRoundCeiling, {"3", "-2", "3", "4"}},
                    {kCFNumberFormatterRoundFloor, {"2", "-3", "2", "3"}},
                    {kCFNumberFormatterRoundDown, {"2", "-2", "2", "3"}},
                    {kCFNumberFormatterRoundUp, {"3", "-3", "3", "4"}},
                    {kCFNumberFormatterRoundHalfEven, {"2", "-2", "2", "4"}},
                    {kCFNumberFormatterRoundHalfDown, {"2", "-2", "2", "3"}},
                    {kCFNumberFormatterRoundHalfUp, {"3", "-3", "2", "4"}}};
    EXPECT_EQ(property(one, kCFNumberFormatterRoundingMode), "4");
    for (const auto& [mode, results] : expected) {
        set(one, kCFNumberFormatterRoundingMode, static_cast<double>(mode));
        EXPECT_EQ(property(one, kCFNumberFormatterRoundingMode), std::to_string(mode));
        const double values[] = {2.5, -2.5, 2.4, 3.5};
        for (int i = 0; i < 4; ++i) EXPECT_EQ(format(one, values[i]), results[i]) << mode << " " << values[i];
    }
    set(one, kCFNumberFormatterRoundingMode, 7.0);  // is none
    EXPECT_EQ(property(one, kCFNumberFormatterRoundingMode), "6");
    const auto swiss = formatter("de_CH", kCFNumberFormatterDecimalStyle);
    set(swiss, kCFNumberFormatterRoundingIncrement, 0.05);
    EXPECT_EQ(format(swiss, 1.13), "1.15");
    EXPECT_EQ(property(swiss, kCFNumberFormatterRoundingIncrement), "0.05");
}

TEST(CFNumberFormatter, PadsToItsWidth) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    EXPECT_EQ(property(one, kCFNumberFormatterFormatWidth), "0");
    set(one, kCFNumberFormatterFormatWidth, 8.0);
    set(one, kCFNumberFormatterPaddingCharacter, "*");
    const char* const expected[] = {"******-5", "-******5", "-5******", "-5******"};
    for (int position = 0; position < 4; ++position) {
        set(one, kCFNumberFormatterPaddingPosition, static_cast<double>(position));
        EXPECT_EQ(format(one, -5), expected[position]);
    }
    set(one, kCFNumberFormatterPaddingPosition, 4.0);  // is none
    EXPECT_EQ(property(one, kCFNumberFormatterPaddingPosition), "3");
}

TEST(CFNumberFormatter, Multiplies) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    EXPECT_EQ(property(one, kCFNumberFormatterMultiplier), "1");
    set(one, kCFNumberFormatterMultiplier, 10.0);
    EXPECT_EQ(format(one, 2.5), "25");
    EXPECT_EQ(parse(one, "25"), (Parsed{2.5, 2}));
    set(one, kCFNumberFormatterMultiplier, 0.5);
    EXPECT_EQ(format(one, 5), "2.5");
    EXPECT_EQ(formatInteger(one, 4), "2");
    EXPECT_EQ(parse(one, "2.5"), (Parsed{5, 3}));
    EXPECT_EQ(parse(one, "3", kCFNumberFormatterParseIntegersOnly), (Parsed{6, 1, true}));
    EXPECT_EQ(property(one, kCFNumberFormatterMultiplier), "0.5");
    set(one, kCFNumberFormatterMultiplier, 0.0);
    EXPECT_EQ(property(one, kCFNumberFormatterMultiplier), "0.5");
    EXPECT_EQ(property(formatter("en_US", kCFNumberFormatterPercentStyle), kCFNumberFormatterMultiplier), "100");
}

TEST(CFNumberFormatter, WritesAndReadsTheZeroSymbol) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    set(one, kCFNumberFormatterZeroSymbol, "nothing");
    EXPECT_EQ(format(one, 0), "nothing");
    EXPECT_EQ(format(one, -0.0), "nothing");
    EXPECT_EQ(formatInteger(one, 0), "nothing");
    EXPECT_EQ(format(one, 1), "1");
    EXPECT_EQ(parse(one, "nothing at all"), (Parsed{0, 7}));
    EXPECT_EQ(parse(one, "nothing", kCFNumberFormatterParseIntegersOnly), (Parsed{0, 7, true}));
    EXPECT_EQ(property(one, kCFNumberFormatterZeroSymbol), "nothing");
    CFNumberFormatterSetProperty(one, kCFNumberFormatterZeroSymbol, nullptr);
    EXPECT_EQ(format(one, 0), "0");
}

TEST(CFNumberFormatter, IgnoresValuesOfOtherTypesAndSizesThatCannotBeMeant) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    set(one, kCFNumberFormatterMinFractionDigits, "3");
    set(one, kCFNumberFormatterDecimalSeparator, 3.0);
    set(one, kCFNumberFormatterUseGroupingSeparator, 0.0);
    set(one, kCFNumberFormatterRoundingIncrement, -1.0);
    set(one, kCFNumberFormatterMinIntegerDigits, -1.0);
    set(one, kCFNumberFormatterMinIntegerDigits, std::nan(""));
    set(one, kCFNumberFormatterPaddingCharacter, "");
    set(one, kCFNumberFormatterDefaultFormat, "0");
    set(one, kCFNumberFormatterMinusSign, std::string(1000, 'x').c_str());
    CFNumberFormatterSetProperty(one, CFSTR("other"), CFSTR("value"));
    EXPECT_EQ(format(one, -1234.5), "-1,234.5");
    EXPECT_EQ(property(one, CFSTR("other")), "(null)");
    set(one, kCFNumberFormatterMinFractionDigits, 1e9);
    EXPECT_EQ(format(one, 1).size(), 2u + 10'000u);
}

// ---- Parsing

TEST(CFNumberFormatter, ReadsWhatItWrites) {
    for (const char* name : {"en_US", "de_DE", "fr_FR", "ja_JP", "ar_EG", "hi_IN", "th_TH", "he_IL"}) {
        for (const CFNumberFormatterStyle style : {kCFNumberFormatterDecimalStyle, kCFNumberFormatterCurrencyStyle}) {
            const auto one = formatter(name, style);
            for (const double value : {0.0, 1.0, -1.0, 1234567.0, -12.0}) {
                const auto text = hold(CFNumberFormatterCreateStringWithNumber(nullptr, one, Values::real(value)));
                CFRange range{0, CFStringGetLength(text)};
                double read = 99;
                EXPECT_TRUE(CFNumberFormatterGetValueFromString(one, text, &range, kCFNumberDoubleType, &read));
                EXPECT_EQ(read, value) << name << " " << utf8(text);
                EXPECT_EQ(range.length, CFStringGetLength(text));
            }
        }
    }
}

TEST(CFNumberFormatter, ReadsANumberAtTheBeginning) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    EXPECT_EQ(parse(one, "1,234.5 and more"), (Parsed{1234.5, 7}));
    EXPECT_EQ(parse(one, "12.9", kCFNumberFormatterParseIntegersOnly), (Parsed{12, 2, true}));
    EXPECT_EQ(parse(one, "12.9"), (Parsed{12.9, 4}));  // the option holds for one call
    EXPECT_EQ(parse(one, "none"), Parsed());
    EXPECT_EQ(parse(one, ""), Parsed());
    EXPECT_EQ(parse(formatter("de_DE", kCFNumberFormatterDecimalStyle), "1.234,5"), (Parsed{1234.5, 7}));
    EXPECT_EQ(parse(formatter("en_US", kCFNumberFormatterPercentStyle), "25%"), (Parsed{0.25, 3}));
    EXPECT_EQ(parse(formatter("en_US", kCFNumberFormatterSpellOutStyle), "forty-two"), (Parsed{42, 9}));
    EXPECT_EQ(parse(formatter("en_US", kCFNumberFormatterCurrencyStyle), "$5.00"), (Parsed{5, 5}));
    EXPECT_EQ(parse(formatter("ar_EG", kCFNumberFormatterDecimalStyle), "\u0661\u0662"), (Parsed{12, 2}));
}

TEST(CFNumberFormatter, ReadsEveryDigitOfIntegers) {
    const auto one = formatter("en_US", kCFNumberFormatterNoStyle);
    const auto read = [&](const char* text, CFOptionFlags options) {
        const auto number =
            hold(CFNumberFormatterCreateNumberFromString(nullptr, one, Values::string(text), nullptr, options));
        std::int64_t value = -1;
        return number && CFNumberGetValue(number, kCFNumberSInt64Type, &value) ? value : -1;
    };
    for (const CFOptionFlags options : {CFOptionFlags(0), CFOptionFlags(kCFNumberFormatterParseIntegersOnly)}) {
        EXPECT_EQ(read("9007199254740993", options), 9007199254740993);
        EXPECT_EQ(read("9223372036854775807", options), std::numeric_limits<std::int64_t>::max());
        EXPECT_EQ(read("-9223372036854775807", options), -std::numeric_limits<std::int64_t>::max());
    }
    EXPECT_EQ(parse(one, "99999999999999999999"), (Parsed{1e20, 20}));
    EXPECT_EQ(parse(one, "99999999999999999999", kCFNumberFormatterParseIntegersOnly), Parsed());
}

TEST(CFNumberFormatter, ReadsWithinARange) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    CFRange range{2, 3};
    double value = 0;
    EXPECT_TRUE(CFNumberFormatterGetValueFromString(one, CFSTR("a 12345"), &range, kCFNumberDoubleType, &value));
    EXPECT_EQ(value, 123);
    EXPECT_EQ(range.location, 2);
    EXPECT_EQ(range.length, 3);
    range = {0, 7};
    EXPECT_FALSE(CFNumberFormatterGetValueFromString(one, CFSTR("a 12345"), &range, kCFNumberDoubleType, &value));
    EXPECT_EQ(range.length, 7);
    const std::string text = std::string(500, ' ') + "7";
    range = {500, 1};
    EXPECT_TRUE(CFNumberFormatterGetValueFromString(one, Values::string(text), &range, kCFNumberDoubleType, &value));
    EXPECT_EQ(value, 7);
    const std::string digits = "0." + std::string(5000, '1');
    EXPECT_EQ(parse(one, digits.c_str()).length, 5002);
}

TEST(CFNumberFormatter, ReadsValuesThatTheirTypesHold) {
    const auto one = formatter("en_US", kCFNumberFormatterNoStyle);
    std::int8_t small = 1;
    std::int32_t integer = 1;
    float real = 1;
    EXPECT_TRUE(CFNumberFormatterGetValueFromString(one, CFSTR("-100"), nullptr, kCFNumberSInt8Type, &small));
    EXPECT_EQ(small, -100);
    EXPECT_FALSE(CFNumberFormatterGetValueFromString(one, CFSTR("1000"), nullptr, kCFNumberSInt8Type, &small));
    EXPECT_EQ(small, -100);
    CFRange range{0, 4};
    EXPECT_TRUE(CFNumberFormatterGetValueFromString(one, CFSTR("12.5"), &range, kCFNumberIntType, &integer));
    EXPECT_EQ(integer, 12);
    EXPECT_EQ(range.length, 2);
    EXPECT_TRUE(CFNumberFormatterGetValueFromString(one, CFSTR("0.1"), nullptr, kCFNumberFloatType, &real));
    EXPECT_EQ(real, 0.1f);
    EXPECT_FALSE(CFNumberFormatterGetValueFromString(one, CFSTR("1"), nullptr, static_cast<CFNumberType>(0), &real));
    EXPECT_FALSE(CFNumberFormatterGetValueFromString(one, CFSTR("1"), nullptr, static_cast<CFNumberType>(17), &real));
}

TEST(CFNumberFormatter, IsLenientWhenItIsToldTo) {
    const auto one = formatter("en_US", kCFNumberFormatterCurrencyStyle);
    EXPECT_EQ(property(one, kCFNumberFormatterIsLenient), "false");
    EXPECT_EQ(parse(one, "  $5"), Parsed());
    set(one, kCFNumberFormatterIsLenient, true);
    EXPECT_EQ(property(one, kCFNumberFormatterIsLenient), "true");
    EXPECT_EQ(parse(one, "  $5").value, 5);
}

// ---- Currencies

TEST(CFNumberFormatter, KnowsHowCurrenciesAreWritten) {
    const auto digits = [](const char* code) {
        int32_t count = -1;
        double increment = -1;
        const bool known = CFNumberFormatterGetDecimalInfoForCurrencyCode(Values::string(code), &count, &increment);
        EXPECT_EQ(known, increment >= 0);
        return count;
    };
    EXPECT_EQ(digits("USD"), 2);
    EXPECT_EQ(digits("EUR"), 2);
    EXPECT_EQ(digits("JPY"), 0);
    EXPECT_EQ(digits("KWD"), 3);
    EXPECT_EQ(digits("XQX"), -1);
    EXPECT_EQ(digits("EURO"), -1);
    EXPECT_EQ(digits("\u20AC"), -1);
    EXPECT_EQ(digits("\u20AC\u20AC\u20AC"), -1);
    EXPECT_EQ(digits(""), -1);
}

// ---- Threads, memory, bad arguments

TEST(CFNumberFormatter, FormatsOnManyThreadsAtOnce) {
    const auto one = formatter("de_DE", kCFNumberFormatterDecimalStyle);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 100; ++round) EXPECT_EQ(format(one, 1234.5), "1.234,5");
        });
}

TEST(CFNumberFormatter, IsNullWithoutMemory) {
    TestAllocator allocator;
    const auto german = hold(CFLocaleCreate(nullptr, CFSTR("de_DE")));
    {
        const auto one = hold(CFNumberFormatterCreate(allocator, german, kCFNumberFormatterDecimalStyle));
        EXPECT_EQ(CFGetAllocator(one), static_cast<CFAllocatorRef>(allocator));
        EXPECT_EQ(CFNumberFormatterGetLocale(one), german.get());
    }
    EXPECT_EQ(allocator.blocks(), 0);
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    const auto zero = formatter("en_US", kCFNumberFormatterDecimalStyle);
    set(zero, kCFNumberFormatterZeroSymbol, "nothing");
    const double value = 1.5;
    allocator.failAfter(0);
    EXPECT_EQ(CFNumberFormatterCreate(allocator, german, kCFNumberFormatterDecimalStyle), nullptr);
    EXPECT_EQ(CFNumberFormatterCreateStringWithNumber(allocator, one, Values::number(1)), nullptr);
    EXPECT_EQ(CFNumberFormatterCreateStringWithNumber(allocator, zero, Values::number(0)), nullptr);
    EXPECT_EQ(CFNumberFormatterCreateStringWithValue(allocator, one, kCFNumberDoubleType, &value), nullptr);
    CFRange range{0, 3};
    EXPECT_EQ(CFNumberFormatterCreateNumberFromString(allocator, one, CFSTR("1.5"), &range, 0), nullptr);
    EXPECT_EQ(range.length, 3);
}

TEST(CFNumberFormatter, SurvivesNullArgumentsAndForeignObjects) {
    const auto one = formatter("en_US", kCFNumberFormatterDecimalStyle);
    const auto nothing = static_cast<CFNumberFormatterRef>(nullptr);
    const auto foreign = reinterpret_cast<CFNumberFormatterRef>(const_cast<__CFString*>(CFSTR("x")));
    const auto number = Values::number(1);
    const auto noText = reinterpret_cast<CFStringRef>(number.get());
    const auto noNumber = reinterpret_cast<CFNumberRef>(CFSTR("1"));
    double value = 1;
    CFRange range{0, 1};
    EXPECT_EQ(CFNumberFormatterCreate(nullptr, reinterpret_cast<CFLocaleRef>(CFSTR("en")), kCFNumberFormatterNoStyle),
              nullptr);
    for (const CFNumberFormatterRef bad : {nothing, foreign}) {
        EXPECT_EQ(CFNumberFormatterGetLocale(bad), nullptr);
        EXPECT_EQ(CFNumberFormatterGetStyle(bad), kCFNumberFormatterNoStyle);
        EXPECT_EQ(CFNumberFormatterGetFormat(bad), nullptr);
        CFNumberFormatterSetFormat(bad, CFSTR("0"));
        EXPECT_EQ(CFNumberFormatterCreateStringWithNumber(nullptr, bad, number), nullptr);
        EXPECT_EQ(CFNumberFormatterCreateStringWithValue(nullptr, bad, kCFNumberDoubleType, &value), nullptr);
        EXPECT_EQ(CFNumberFormatterCreateNumberFromString(nullptr, bad, CFSTR("1"), &range, 0), nullptr);
        EXPECT_FALSE(CFNumberFormatterGetValueFromString(bad, CFSTR("1"), &range, kCFNumberDoubleType, &value));
        CFNumberFormatterSetProperty(bad, kCFNumberFormatterMinusSign, CFSTR("x"));
        EXPECT_EQ(CFNumberFormatterCopyProperty(bad, kCFNumberFormatterMinusSign), nullptr);
    }
    for (const CFStringRef bad : {CFStringRef(nullptr), noText}) {
        CFNumberFormatterSetFormat(one, bad);
        CFNumberFormatterSetProperty(one, bad, CFSTR("x"));
        CFNumberFormatterSetProperty(one, kCFNumberFormatterMinusSign, bad);
        EXPECT_EQ(CFNumberFormatterCopyProperty(one, bad), nullptr);
        EXPECT_EQ(CFNumberFormatterCreateNumberFromString(nullptr, one, bad, nullptr, 0), nullptr);
        EXPECT_FALSE(CFNumberFormatterGetValueFromString(one, bad, nullptr, kCFNumberDoubleType, &value));
        EXPECT_FALSE(CFNumberFormatterGetDecimalInfoForCurrencyCode(bad, nullptr, nullptr));
    }
    EXPECT_TRUE(CFNumberFormatterGetDecimalInfoForCurrencyCode(CFSTR("USD"), nullptr, nullptr));
    for (const CFNumberRef bad : {CFNumberRef(nullptr), noNumber})
        EXPECT_EQ(CFNumberFormatterCreateStringWithNumber(nullptr, one, bad), nullptr);
    EXPECT_EQ(CFNumberFormatterCreateStringWithValue(nullptr, one, kCFNumberDoubleType, nullptr), nullptr);
    EXPECT_FALSE(CFNumberFormatterGetValueFromString(one, CFSTR("1"), nullptr, kCFNumberDoubleType, nullptr));
    for (const CFRange bad : {CFRange{-1, 1}, CFRange{0, 2}, CFRange{1, 1}, CFRange{2, 0}, CFRange{0, -1}}) {
        range = bad;
        EXPECT_EQ(CFNumberFormatterCreateNumberFromString(nullptr, one, CFSTR("1"), &range, 0), nullptr);
    }
    EXPECT_EQ(format(one, -1), "-1");
}

}  // namespace
