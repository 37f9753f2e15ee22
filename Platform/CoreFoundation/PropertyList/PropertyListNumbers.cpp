#include "PropertyListNumbers.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace KXPlatform {
namespace {

/// Seconds to either side of 2001 that have a text: about 950 million years.
constexpr double kFarthestTime = 3e16;

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

constexpr std::int64_t kDaysFrom0000To2001 = 730851 - 60;  // from 0000-03-01 to 2001-01-01

/// Days from 2001-01-01 to a day of the Gregorian calendar, which is carried on before its beginning. Years are
/// counted from March, so that the leap day is their last.
std::int64_t daysSince2001(std::int64_t year, std::int64_t month, std::int64_t day) noexcept {
    month -= 1;
    year += month / 12;
    month %= 12;
    if (month < 0) {
        month += 12;
        year -= 1;
    }
    const std::int64_t fromMarch = (month + 10) % 12;
    if (month < 2) year -= 1;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * fromMarch + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - kDaysFrom0000To2001;
}
static_assert(146097 == 400 * 365 + 97);

struct Day {
    std::int64_t year;
    int month;
    int day;
};

Day dayFromDaysSince2001(std::int64_t days) noexcept {
    days += kDaysFrom0000To2001;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t fromMarch = (5 * dayOfYear + 2) / 153;
    const int month = static_cast<int>(fromMarch < 10 ? fromMarch + 3 : fromMarch - 9);
    return {.year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0),
            .month = month,
            .day = static_cast<int>(dayOfYear - (153 * fromMarch + 2) / 5 + 1)};
}

bool equalsIgnoringCase(std::string_view text, std::string_view lower) noexcept {
    if (text.size() != lower.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] - 'A' + 'a') : text[i];
        if (c != lower[i]) return false;
    }
    return true;
}

char* writeTwoDigits(char* out, std::int64_t value) noexcept {
    out[0] = static_cast<char>('0' + value / 10);
    out[1] = static_cast<char>('0' + value % 10);
    return out + 2;
}

}  // namespace

std::optional<PropertyListInteger> parseInteger(std::string_view text) noexcept {
    bool negative = false;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    if (negative && magnitude > std::uint64_t{1} << 63) return std::nullopt;
    return PropertyListInteger{.magnitude = magnitude, .negative = negative};
}

std::optional<double> parseReal(std::string_view text) noexcept {
    bool negative = false;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    double value = 0;
    if (equalsIgnoringCase(text, "nan")) {
        value = std::numeric_limits<double>::quiet_NaN();
    } else if (equalsIgnoringCase(text, "inf") || equalsIgnoringCase(text, "infinity")) {
        value = std::numeric_limits<double>::infinity();
    } else {
        // What from_chars would also take and a document may not hold: a second sign, and other words for NaN.
        if (text.empty() || (!isDigit(text[0]) && text[0] != '.')) return std::nullopt;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (end != text.data() + text.size() || error == std::errc::invalid_argument) return std::nullopt;
        // from_chars leaves the value alone when it is too large or too small; strtod tells which it is.
        if (error == std::errc::result_out_of_range) value = std::strtod(std::string(text).c_str(), nullptr);
    }
    return negative ? -value : value;
}

std::optional<CFAbsoluteTime> parseDate(std::string_view text) noexcept {
    const char* p = text.data();
    const char* const end = p + text.size();
    bool negative = false;
    if (p != end && *p == '-') {
        negative = true;
        ++p;
    }
    std::int64_t year = 0;
    const char* const yearStart = p;
    while (p != end && isDigit(*p) && p - yearStart < 10) year = year * 10 + (*p++ - '0');
    if (p - yearStart < 4) return std::nullopt;
    if (negative) year = -year;

    constexpr std::string_view marks = "--T::";
    std::int64_t fields[5];
    for (std::size_t i = 0; i < marks.size(); ++i) {
        if (end - p < 3 || p[0] != marks[i] || !isDigit(p[1]) || !isDigit(p[2])) return std::nullopt;
        fields[i] = (p[1] - '0') * 10 + (p[2] - '0');
        p += 3;
    }
    if (end - p != 1 || *p != 'Z') return std::nullopt;
    const std::int64_t seconds =
        ((daysSince2001(year, fields[0], fields[1]) * 24 + fields[2]) * 60 + fields[3]) * 60 + fields[4];
    const CFAbsoluteTime time = static_cast<CFAbsoluteTime>(seconds);
    if (std::fabs(time) > kFarthestTime) return std::nullopt;
    return time;
}

std::size_t formatReal(double value, char* out) noexcept {
    const auto text = [out](std::string_view s) { return s.copy(out, s.size()); };
    if (std::isnan(value)) return text("nan");
    if (std::isinf(value)) return text(value > 0 ? "+infinity" : "-infinity");
    if (value == 0) return text("0.0");
    const auto written = std::to_chars(out, out + kNumberTextSize, value, std::chars_format::general, 17);
    return static_cast<std::size_t>(written.ptr - out);
}

std::size_t formatDate(CFAbsoluteTime time, char* out) noexcept {
    const double whole = std::floor(time);
    if (!(std::fabs(whole) <= kFarthestTime)) return 0;
    const std::int64_t seconds = static_cast<std::int64_t>(whole);
    std::int64_t days = seconds / 86400;
    std::int64_t rest = seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        days -= 1;
    }
    const Day day = dayFromDaysSince2001(days);
    std::int64_t year = day.year;
    char* p = out;
    if (year < 0) {
        *p++ = '-';
        year = -year;
    }
    for (std::int64_t bound = 1000; bound > year && bound > 1; bound /= 10) *p++ = '0';
    p = std::to_chars(p, out + kNumberTextSize, year).ptr;
    *p++ = '-';
    p = writeTwoDigits(p, day.month);
    *p++ = '-';
    p = writeTwoDigits(p, day.day);
    *p++ = 'T';
    p = writeTwoDigits(p, rest / 3600);
    *p++ = ':';
    p = writeTwoDigits(p, rest / 60 % 60);
    *p++ = ':';
    p = writeTwoDigits(p, rest % 60);
    *p++ = 'Z';
    return static_cast<std::size_t>(p - out);
}

}  // namespace KXPlatform
