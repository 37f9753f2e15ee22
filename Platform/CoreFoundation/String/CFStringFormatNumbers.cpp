#include "CFStringFormatNumbers.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <string>

#include <locale.h>

namespace KXPlatform {

namespace {

/// A number in its parts: what stands before the digits, zeros to be put between, the digits.
struct Number {
    std::string_view prefix;
    std::size_t zeros = 0;
    std::string_view digits;
};

void writeField(FormatOutput& output, const FormatSpecifier& specifier, Number number, bool zeroFill) {
    const std::size_t length = number.prefix.size() + number.zeros + number.digits.size();
    const auto width = static_cast<std::size_t>(std::max(specifier.width, 0));
    const std::size_t filling = width > length ? width - length : 0;
    if (filling > 0 && !specifier.left) {
        if (zeroFill)
            number.zeros += filling;
        else
            output.pad(' ', filling);
    }
    output.append(number.prefix);
    output.pad('0', number.zeros);
    output.append(number.digits);
    if (specifier.left) output.pad(' ', filling);
}

/// `value` as the length modifier lets it through.
std::int64_t narrowed(std::int64_t value, FormatLength length) noexcept {
    switch (length) {
        case FormatLength::Char:
            return static_cast<signed char>(value);
        case FormatLength::Short:
            return static_cast<short>(value);
        case FormatLength::None:
            return static_cast<int>(value);
        default:
            return value;
    }
}

std::uint64_t narrowedUnsigned(std::int64_t value, FormatLength length) noexcept {
    switch (length) {
        case FormatLength::Char:
            return static_cast<unsigned char>(value);
        case FormatLength::Short:
            return static_cast<unsigned short>(value);
        case FormatLength::None:
            return static_cast<unsigned int>(value);
        default:
            return static_cast<std::uint64_t>(value);
    }
}

std::string_view signOf(const FormatSpecifier& specifier, bool negative) noexcept {
    return negative ? "-" : specifier.plus ? "+" : specifier.space ? " " : "";
}

void makeUpper(char* begin, char* end) noexcept {
    for (char* c = begin; c < end; ++c)
        if (*c >= 'a' && *c <= 'z') *c = static_cast<char>(*c - ('a' - 'A'));
}

bool isUpper(char conversion) noexcept { return conversion >= 'A' && conversion <= 'Z'; }

/// The digits of a finite or infinite number that is not negative, or of a NaN.
void writeFloating(FormatOutput& output, const FormatSpecifier& specifier, bool negative, bool finite, char* begin,
                   char* end, std::string_view radixPrefix) {
    if (isUpper(specifier.conversion)) makeUpper(begin, end);
    const std::string prefix = std::string(signOf(specifier, negative)).append(radixPrefix);
    writeField(output, specifier, {prefix, 0, {begin, static_cast<std::size_t>(end - begin)}},
               specifier.zero && finite);
}

/// Makes the "C" locale the calling thread's for a while: printf would write another locale's decimal point.
class CLocale {
  public:
    CLocale() noexcept : previous_(neutral() ? uselocale(neutral()) : nullptr) {}
    ~CLocale() {
        if (previous_) uselocale(previous_);
    }
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;

  private:
    static locale_t neutral() noexcept {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }
    locale_t previous_;
};

/// What std::to_chars does not do, printf does: the "#" flag, hexadecimal, long double. `value` is not negative.
void writePrinted(FormatOutput& output, const FormatSpecifier& specifier, bool negative, long double value) {
    // Without an "L" the hexadecimal form is that of a double.
    const bool isLong = specifier.length == FormatLength::LongDouble;
    char form[8];
    char* at = form;
    *at++ = '%';
    if (specifier.alternative) *at++ = '#';
    *at++ = '.';
    *at++ = '*';
    if (isLong) *at++ = 'L';
    *at++ = specifier.conversion;
    *at = '\0';
    const auto print = [&](char* buffer, std::size_t size) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        return isLong ? std::snprintf(buffer, size, form, specifier.precision, value)
                      : std::snprintf(buffer, size, form, specifier.precision, static_cast<double>(value));
#pragma GCC diagnostic pop
    };
    const CLocale neutral;
    char buffer[256];
    std::string larger;
    char* begin = buffer;
    int length = print(buffer, sizeof buffer);
    if (length < 0) return;
    if (static_cast<std::size_t>(length) >= sizeof buffer) {
        larger.resize(static_cast<std::size_t>(length) + 1);
        begin = larger.data();
        length = print(begin, larger.size());
    }
    char* const end = begin + length;
    const bool finite = *begin >= '0' && *begin <= '9';  // or "inf", or "nan"
    std::string_view radixPrefix;
    if (length > 2 && begin[0] == '0' && (begin[1] == 'x' || begin[1] == 'X')) {
        radixPrefix = begin[1] == 'x' ? "0x" : "0X";
        begin += 2;
    }
    writeFloating(output, specifier, negative, finite, begin, end, radixPrefix);
}

/// The text of the fewest of `digits` and more digits that reads back as `value`, in the form of %g.
template <class Real>
void writePlain(FormatOutput& output, Real value, int digits, int most) {
    char buffer[64];
    char* const end = buffer + sizeof buffer;
    for (;; ++digits) {
        const auto written = std::to_chars(buffer, end, value, std::chars_format::general, digits);
        const char* start = buffer;
        Real back{};
        std::from_chars(start, written.ptr, back);
        if (digits < most && std::isfinite(value) && back != value) continue;
        return output.append(std::string_view(start, static_cast<std::size_t>(written.ptr - start)));
    }
}

}  // namespace

void writeInteger(FormatOutput& output, const FormatSpecifier& specifier, std::int64_t value) {
    const char conversion = specifier.conversion;
    const bool isSigned = conversion == 'd' || conversion == 'D' || conversion == 'i';
    const bool isHex = conversion == 'x' || conversion == 'X';
    const bool isOctal = conversion == 'o' || conversion == 'O';
    std::uint64_t magnitude = narrowedUnsigned(value, specifier.length);
    bool negative = false;
    if (isSigned) {
        const std::int64_t number = narrowed(value, specifier.length);
        negative = number < 0;
        magnitude =
            negative ? std::uint64_t{0} - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
    }
    char buffer[24];
    char* end = std::to_chars(buffer, buffer + sizeof buffer, magnitude, isHex ? 16 : isOctal ? 8 : 10).ptr;
    // A zero to a precision of no digits is nothing.
    if (magnitude == 0 && specifier.precision == 0) end = buffer;
    if (conversion == 'X') makeUpper(buffer, end);

    Number number;
    number.digits = {buffer, static_cast<std::size_t>(end - buffer)};
    if (isSigned) number.prefix = signOf(specifier, negative);
    if (isHex && specifier.alternative && magnitude != 0) number.prefix = conversion == 'x' ? "0x" : "0X";
    const auto precision = static_cast<std::size_t>(std::max(specifier.precision, 0));
    if (precision > number.digits.size()) number.zeros = precision - number.digits.size();
    if (isOctal && specifier.alternative && number.zeros == 0 && !number.digits.starts_with('0')) number.zeros = 1;
    // A precision says how many digits there are; the flag does not add to them.
    writeField(output, specifier, number, specifier.zero && specifier.precision < 0);
}

void writePointer(FormatOutput& output, const FormatSpecifier& specifier, const void* value) {
    char buffer[24];
    char* const end = std::to_chars(buffer, buffer + sizeof buffer, reinterpret_cast<std::uintptr_t>(value), 16).ptr;
    writeField(output, specifier, {"0x", 0, {buffer, static_cast<std::size_t>(end - buffer)}}, specifier.zero);
}

void writeDouble(FormatOutput& output, const FormatSpecifier& specifier, double value) {
    const bool negative = std::signbit(value) && !std::isnan(value);
    const double magnitude = std::isnan(value) ? std::fabs(value) : negative ? -value : value;
    std::chars_format form{};
    switch (specifier.conversion) {
        case 'f':
        case 'F':
            form = std::chars_format::fixed;
            break;
        case 'e':
        case 'E':
            form = std::chars_format::scientific;
            break;
        case 'g':
        case 'G':
            form = std::chars_format::general;
            break;
        default:
            return writePrinted(output, specifier, negative, magnitude);
    }
    if (specifier.alternative) return writePrinted(output, specifier, negative, magnitude);
    const int precision = specifier.precision < 0 ? 6 : specifier.precision;
    // 309 digits stand before the point at most.
    constexpr std::size_t kBesides = 330;
    char buffer[kBesides + 64];
    std::string larger;
    char* begin = buffer;
    std::size_t size = sizeof buffer;
    if (static_cast<std::size_t>(precision) > size - kBesides) {
        larger.resize(static_cast<std::size_t>(precision) + kBesides);
        begin = larger.data();
        size = larger.size();
    }
    char* const end = std::to_chars(begin, begin + size, magnitude, form, precision).ptr;
    writeFloating(output, specifier, negative, std::isfinite(value), begin, end, {});
}

void writeLongDouble(FormatOutput& output, const FormatSpecifier& specifier, long double value) {
    const bool negative = std::signbit(value) && !std::isnan(value);
    writePrinted(output, specifier, negative, std::isnan(value) ? std::fabs(value) : negative ? -value : value);
}

void writePlainDouble(FormatOutput& output, double value) { writePlain(output, value, 16, 17); }

void writePlainFloat(FormatOutput& output, float value) { writePlain(output, value, 7, 9); }

}  // namespace KXPlatform
