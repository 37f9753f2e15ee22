#include "CFStringSupport.h"

#include <unicode/uchar.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string>

using namespace KXPlatform;

// Numbers are read by the rules of no locale: ASCII digits, a full stop, an "e". Reading stops at the first character
// that does not fit; a text that does not begin with a number is 0.

namespace {

bool isDigit(UniChar unit) noexcept { return unit >= '0' && unit <= '9'; }

bool isSpace(UniChar unit) noexcept {
    return unit < 0x80 ? unit == ' ' || (unit >= 9 && unit <= 13) : u_isUWhiteSpace(unit) != 0;
}

CFIndex skipSpace(TextView text, CFIndex at) noexcept {
    while (at < text.length && isSpace(text[at])) ++at;
    return at;
}

/// The number at the beginning of a text, as std::from_chars reads it.
struct Decimal {
    bool negative = false;
    std::string text;            ///< digits, perhaps a point and an exponent; empty where there is no number
    std::int64_t magnitude = 0;  ///< the power of ten of the first digit that is not 0, within +-kLimit

    static constexpr std::int64_t kLimit = std::int64_t{1} << 60;
};

/// The exponent at `at` (an "e", perhaps a sign, at least one digit); 0 where there is none.
std::int64_t readExponent(TextView text, CFIndex at) noexcept {
    if (at >= text.length || (text[at] != 'e' && text[at] != 'E')) return 0;
    ++at;
    const bool negative = at < text.length && text[at] == '-';
    if (at < text.length && (text[at] == '-' || text[at] == '+')) ++at;
    std::int64_t value = 0;
    for (; at < text.length && isDigit(text[at]); ++at)
        value = std::min<std::int64_t>(value * 10 + (text[at] - '0'), Decimal::kLimit / 16);
    return negative ? -value : value;
}

Decimal readDecimal(TextView text) {
    Decimal number;
    CFIndex at = skipSpace(text, 0);
    if (at < text.length && (text[at] == '-' || text[at] == '+')) number.negative = text[at++] == '-';

    std::int64_t integerDigits = 0, leadingZeros = 0;
    bool hasDigits = false, hasPoint = false, significant = false;
    for (; at < text.length; ++at) {
        const UniChar unit = text[at];
        if (unit == '.' && !hasPoint) {
            hasPoint = true;
        } else if (isDigit(unit)) {
            hasDigits = true;
            if (!hasPoint) ++integerDigits;
            significant = significant || unit != '0';
            if (!significant) ++leadingZeros;
        } else {
            break;
        }
        number.text.push_back(static_cast<char>(unit));
    }
    if (!hasDigits) return {};
    const std::int64_t exponent = readExponent(text, at);
    if (exponent != 0) number.text += 'e' + std::to_string(exponent);
    number.magnitude = integerDigits - leadingZeros - 1 + exponent;
    return number;
}

double valueOf(const Decimal& number) noexcept {
    double value = 0;
    const char* const end = number.text.data() + number.text.size();
    const auto [stop, error] = std::from_chars(number.text.data(), end, value);
    if (error == std::errc::result_out_of_range)
        value = number.magnitude > 0 ? std::numeric_limits<double>::infinity() : 0;
    return number.negative ? -value : value;
}

}  // namespace

SInt32 CFStringGetIntValue(CFStringRef str) {
    const TextView text = view(str);
    CFIndex at = skipSpace(text, 0);
    bool negative = false;
    if (at < text.length && (text[at] == '-' || text[at] == '+')) {
        negative = text[at] == '-';
        at = skipSpace(text, at + 1);
    }
    constexpr std::int64_t kMaximum = std::numeric_limits<SInt32>::max();
    std::int64_t value = 0;
    for (; at < text.length && isDigit(text[at]) && value <= kMaximum; ++at) value = value * 10 + (text[at] - '0');
    return static_cast<SInt32>(negative ? -std::min(value, kMaximum + 1) : std::min(value, kMaximum));
}

double CFStringGetDoubleValue(CFStringRef str) {
    return guarded(0.0, [&] { return valueOf(readDecimal(view(str))); });
}
