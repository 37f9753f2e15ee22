#include "CoreFoundation/String/CFStringSupport.h"
#include "CoreFoundation/Values/CFNumberObject.h"
#include "ICUText.h"
#include "NumberFormatterObject.h"

#include <unicode/ucurr.h>
#include <unicode/uformattable.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <optional>

using namespace KXPlatform;

constinit const Class KXPlatform::kNumberFormatterClass{TypeID::NumberFormatter, finalizeAs<__CFNumberFormatter>,
                                                        nullptr, nullptr, nullptr};

namespace {

std::optional<UNumberFormatStyle> icuStyle(CFNumberFormatterStyle style) noexcept {
    switch (style) {
        case kCFNumberFormatterNoStyle:
            return UNUM_PATTERN_DECIMAL;
        case kCFNumberFormatterDecimalStyle:
            return UNUM_DECIMAL;
        case kCFNumberFormatterCurrencyStyle:
            return UNUM_CURRENCY;
        case kCFNumberFormatterPercentStyle:
            return UNUM_PERCENT;
        case kCFNumberFormatterScientificStyle:
            return UNUM_SCIENTIFIC;
        case kCFNumberFormatterSpellOutStyle:
            return UNUM_SPELLOUT;
        case kCFNumberFormatterOrdinalStyle:
            return UNUM_ORDINAL;
        case kCFNumberFormatterCurrencyISOCodeStyle:
            return UNUM_CURRENCY_ISO;
        case kCFNumberFormatterCurrencyPluralStyle:
            return UNUM_CURRENCY_PLURAL;
        case kCFNumberFormatterCurrencyAccountingStyle:
            return UNUM_CURRENCY_ACCOUNTING;
    }
    return std::nullopt;
}

bool isOfMoney(CFNumberFormatterStyle style) noexcept {
    return style == kCFNumberFormatterCurrencyStyle || style >= kCFNumberFormatterCurrencyISOCodeStyle;
}

// ---- Formatting

CFStringRef formatInteger(CFAllocatorRef allocator, const __CFNumberFormatter& formatter, std::int64_t value) noexcept {
    if (value == 0 && formatter.zeroSymbol) return CFStringCreateCopy(allocator, formatter.zeroSymbol.get());
    return createICUText(allocator, [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
        return unum_formatInt64(formatter.icu.getAlias(), value, buffer, capacity, nullptr, status);
    });
}

CFStringRef formatReal(CFAllocatorRef allocator, const __CFNumberFormatter& formatter, double value) noexcept {
    if (value == 0 && formatter.zeroSymbol) return CFStringCreateCopy(allocator, formatter.zeroSymbol.get());
    const double multiplied = value * formatter.factor;
    return createICUText(allocator, [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
        return unum_formatDouble(formatter.icu.getAlias(), multiplied, buffer, capacity, nullptr, status);
    });
}

/// Of a number that no signed integer holds, digit by digit.
CFStringRef formatLarge(CFAllocatorRef allocator, const __CFNumberFormatter& formatter, std::uint64_t value) noexcept {
    char digits[24];
    const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), value);
    const auto length = static_cast<std::int32_t>(end - digits);
    return createICUText(allocator, [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
        return unum_formatDecimal(formatter.icu.getAlias(), digits, length, buffer, capacity, nullptr, status);
    });
}

// ---- Parsing

/// The units of a string where ICU can read them.
class ParsedText {
  public:
    explicit ParsedText(TextView text) noexcept : length_(static_cast<std::int32_t>(text.length)) {
        if (text.isWide()) {
            units_ = asUTF16(text.wide);
        } else if (static_cast<std::size_t>(text.length) <= std::size(usual_)) {
            text.copyTo(asUnits(usual_));
            units_ = usual_;
        } else {
            more_.reset(new (std::nothrow) char16_t[static_cast<std::size_t>(text.length)]);
            if (more_) text.copyTo(asUnits(more_.get()));
            units_ = more_.get();
        }
    }

    /// Null without memory.
    const char16_t* units() const noexcept { return units_; }
    std::int32_t length() const noexcept { return length_; }

  private:
    std::int32_t length_;
    const char16_t* units_;
    std::unique_ptr<char16_t[]> more_;
    char16_t usual_[256];
};

/// A number that was read: one of the two, and how many units it took.
struct Parsed {
    bool isInteger;
    std::int64_t integer;
    double real;
    std::int32_t length;
};

/// From here on not every integer is a double.
constexpr double kFirstRounded = 0x1p53;

/// The integer that the text begins with, with every digit; nothing where 64 bits do not hold it. ICU's simpler
/// functions pin or round such a number and do not say so.
std::optional<std::int64_t> parseExactly(const UNumberFormat* icu, const ParsedText& text) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUFormattablePointer read(ufmt_open(&status));
    std::int32_t length = 0;
    unum_parseToUFormattable(icu, read.getAlias(), text.units(), text.length(), &length, &status);
    if (U_FAILURE(status)) return std::nullopt;
    const UFormattableType type = ufmt_getType(read.getAlias(), &status);
    if (type != UFMT_INT64 && type != UFMT_LONG) return std::nullopt;
    const std::int64_t value = ufmt_getInt64(read.getAlias(), &status);
    return U_SUCCESS(status) ? std::optional(value) : std::nullopt;
}

/// A real number, or an integer where that is more exact.
std::optional<Parsed> parseNumber(const __CFNumberFormatter& formatter, const ParsedText& text) noexcept {
    const UNumberFormat* const icu = formatter.icu.getAlias();
    UErrorCode status = U_ZERO_ERROR;
    Parsed parsed{false, 0, 0, 0};
    parsed.real = unum_parseDouble(icu, text.units(), text.length(), &parsed.length, &status) / formatter.factor;
    if (U_FAILURE(status) || parsed.length == 0) return std::nullopt;
    if (formatter.factor == 1 && std::abs(parsed.real) >= kFirstRounded) {
        if (const auto exact = parseExactly(icu, text)) {
            parsed.integer = *exact;
            parsed.isInteger = true;
        }
    }
    return parsed;
}

std::optional<Parsed> parseInteger(const __CFNumberFormatter& formatter, const ParsedText& text) noexcept {
    UNumberFormat* const icu = formatter.icu.getAlias();
    unum_setAttribute(icu, UNUM_PARSE_INT_ONLY, 1);
    std::optional<Parsed> parsed = parseNumber(formatter, text);
    unum_setAttribute(icu, UNUM_PARSE_INT_ONLY, 0);
    if (!parsed || parsed->isInteger) return parsed;
    if (!(std::abs(parsed->real) < 0x1p63)) return std::nullopt;
    parsed->isInteger = true;
    parsed->integer = static_cast<std::int64_t>(parsed->real);
    return parsed;
}

/// The number at the beginning of a range, which becomes what was read.
std::optional<Parsed> parse(CFNumberFormatterRef formatter, CFStringRef string, CFRange* range,
                            bool integersOnly) noexcept {
    if (!numberFormatter(formatter) || !isOfType(string, TypeID::String)) return std::nullopt;
    const CFRange within = range ? *range : CFRange{0, string->length};
    if (!isWithin(within, string->length) || !fitsICU(within.length)) return std::nullopt;
    const TextView part = view(string).part(within.location, within.length);
    std::optional<Parsed> parsed;
    const TextView zero = view(formatter->zeroSymbol.get());
    CFIndex same = 0;
    while (same < zero.length && same < part.length && part[same] == zero[same]) ++same;
    if (zero.length > 0 && same == zero.length) {
        parsed = Parsed{integersOnly, 0, 0, static_cast<std::int32_t>(same)};
    } else {
        const ParsedText text(part);
        if (!text.units()) return std::nullopt;
        parsed = integersOnly ? parseInteger(*formatter, text) : parseNumber(*formatter, text);
    }
    if (parsed && range) *range = {within.location, parsed->length};
    return parsed;
}

CFNumberRef createNumber(CFAllocatorRef allocator, const Parsed& parsed) noexcept {
    return parsed.isInteger ? CFNumberCreate(allocator, kCFNumberSInt64Type, &parsed.integer)
                            : CFNumberCreate(allocator, kCFNumberFloat64Type, &parsed.real);
}

bool isRealType(CFNumberType type) noexcept {
    switch (type) {
        case kCFNumberFloat32Type:
        case kCFNumberFloat64Type:
        case kCFNumberFloatType:
        case kCFNumberDoubleType:
        case kCFNumberCGFloatType:
            return true;
        default:
            return false;
    }
}

}  // namespace

icu::LocalUNumberFormatPointer KXPlatform::openNumberFormat(const __CFLocale& locale,
                                                            CFNumberFormatterStyle style) noexcept {
    const std::optional<UNumberFormatStyle> kind = icuStyle(style);
    if (!kind) return icu::LocalUNumberFormatPointer();
    const char* const name = locale.name(isOfMoney(style) ? LocalePart::Money : LocalePart::Numbers);
    constexpr char16_t kPlain[] = u"#";
    const bool isPlain = *kind == UNUM_PATTERN_DECIMAL;
    UErrorCode status = U_ZERO_ERROR;
    icu::LocalUNumberFormatPointer opened(
        unum_open(*kind, isPlain ? kPlain : nullptr, isPlain ? 1 : 0, name, nullptr, &status));
    if (U_FAILURE(status)) return icu::LocalUNumberFormatPointer();
    return opened;
}

bool KXPlatform::applyPattern(UNumberFormat* icu, const char16_t* units, std::int32_t length) noexcept {
    // ICU has a meaning for "~" that its parser does not know: it ends the process (seen in version 72). The sign
    // itself is what the caller means, and that is written in quotes.
    const std::unique_ptr<char16_t[]> quoted(new (std::nothrow) char16_t[3 * static_cast<std::size_t>(length) + 1]);
    if (!quoted) return false;
    std::int32_t size = 0;
    bool isQuoted = false;
    for (std::int32_t i = 0; i < length; ++i) {
        const bool isTilde = units[i] == u'~' && !isQuoted;
        if (units[i] == u'\'') isQuoted = !isQuoted;
        if (isTilde) quoted[static_cast<std::size_t>(size++)] = u'\'';
        quoted[static_cast<std::size_t>(size++)] = units[i];
        if (isTilde) quoted[static_cast<std::size_t>(size++)] = u'\'';
    }
    UErrorCode status = U_ZERO_ERROR;
    unum_applyPattern(icu, false, quoted.get(), size, nullptr, &status);
    return U_SUCCESS(status);
}

CFTypeID CFNumberFormatterGetTypeID() { return number(TypeID::NumberFormatter); }

CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                             CFNumberFormatterStyle style) {
    const __CFLocale* const used = localeObject(locale ? locale : CFLocaleGetSystem());
    if (!used) return nullptr;
    icu::LocalUNumberFormatPointer opened = openNumberFormat(*used, style);
    return opened.isValid() ? make<__CFNumberFormatter>(allocator, 0, std::move(opened), used, style) : nullptr;
}

CFLocaleRef CFNumberFormatterGetLocale(CFNumberFormatterRef formatter) {
    return numberFormatter(formatter) ? formatter->locale.get() : nullptr;
}

CFNumberFormatterStyle CFNumberFormatterGetStyle(CFNumberFormatterRef formatter) {
    return numberFormatter(formatter) ? formatter->style : kCFNumberFormatterNoStyle;
}

CFStringRef CFNumberFormatterGetFormat(CFNumberFormatterRef formatter) {
    if (!numberFormatter(formatter) || !formatter->hasPattern()) return nullptr;
    if (!formatter->format) {
        formatter->format = Retained<const __CFString>::adopting(
            createICUText(kCFAllocatorSystemDefault, [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
                return unum_toPattern(formatter->icu.getAlias(), false, buffer, capacity, status);
            }));
    }
    return formatter->format.get();
}

void CFNumberFormatterSetFormat(CFNumberFormatterRef formatter, CFStringRef formatString) {
    if (!numberFormatter(formatter) || !formatter->hasPattern() || !isOfType(formatString, TypeID::String)) return;
    if (!fitsICU(formatString->length)) return;
    const ParsedText pattern(view(formatString));
    if (!pattern.units() || !applyPattern(formatter->icu.getAlias(), pattern.units(), pattern.length())) return;
    formatter->format = {};
    formatter->factor = 1;
}

CFStringRef CFNumberFormatterCreateStringWithNumber(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                    CFNumberRef number) {
    if (!numberFormatter(formatter) || !isOfType(number, TypeID::Number)) return nullptr;
    std::int64_t integer = 0;
    if (formatter->factor == 1 && !CFNumberIsFloatType(number) &&
        CFNumberGetValue(number, kCFNumberSInt64Type, &integer))
        return formatInteger(allocator, *formatter, integer);
    if (formatter->factor == 1 && number->isBeyondSInt64())
        return formatLarge(allocator, *formatter, number->unsignedValue());
    double real = 0;
    CFNumberGetValue(number, kCFNumberFloat64Type, &real);
    return formatReal(allocator, *formatter, real);
}

CFStringRef CFNumberFormatterCreateStringWithValue(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                   CFNumberType numberType, const void* valuePtr) {
    if (!numberFormatter(formatter) || !valuePtr) return nullptr;
    const auto number =
        Retained<const __CFNumber>::adopting(CFNumberCreate(kCFAllocatorSystemDefault, numberType, valuePtr));
    return number ? CFNumberFormatterCreateStringWithNumber(allocator, formatter, number.get()) : nullptr;
}

CFNumberRef CFNumberFormatterCreateNumberFromString(CFAllocatorRef allocator, CFNumberFormatterRef formatter,
                                                    CFStringRef string, CFRange* rangep, CFOptionFlags options) {
    CFRange range = rangep ? *rangep : CFRange{0, isOfType(string, TypeID::String) ? string->length : 0};
    const auto parsed = parse(formatter, string, &range, (options & kCFNumberFormatterParseIntegersOnly) != 0);
    const CFNumberRef made = parsed ? createNumber(allocator, *parsed) : nullptr;
    if (made && rangep) *rangep = range;
    return made;
}

Boolean CFNumberFormatterGetValueFromString(CFNumberFormatterRef formatter, CFStringRef string, CFRange* rangep,
                                            CFNumberType numberType, void* valuePtr) {
    if (!valuePtr || numberType < kCFNumberSInt8Type || numberType > kCFNumberMaxType) return false;
    CFRange range = rangep ? *rangep : CFRange{0, isOfType(string, TypeID::String) ? string->length : 0};
    const bool isReal = isRealType(numberType);
    const auto parsed = parse(formatter, string, &range, !isReal);
    if (!parsed) return false;
    const auto number = Retained<const __CFNumber>::adopting(createNumber(kCFAllocatorSystemDefault, *parsed));
    if (!number) return false;
    // What an integer type does not hold goes nowhere; a real number is the nearest of its type.
    std::int64_t value = 0;
    if (isReal) {
        CFNumberGetValue(number.get(), numberType, valuePtr);
    } else if (CFNumberGetValue(number.get(), numberType, &value)) {
        CFNumberGetValue(number.get(), numberType, valuePtr);
    } else {
        return false;
    }
    if (rangep) *rangep = range;
    return true;
}

Boolean CFNumberFormatterGetDecimalInfoForCurrencyCode(CFStringRef currencyCode, int32_t* defaultFractionDigits,
                                                       double* roundingIncrement) {
    if (!isOfType(currencyCode, TypeID::String) || currencyCode->length != 3) return false;
    char16_t code[4] = {};
    view(currencyCode).copyTo(asUnits(code));
    constexpr UDate kEver = std::numeric_limits<UDate>::max();
    UErrorCode status = U_ZERO_ERROR;
    if (!isASCII(asUnits(code), 3) || !ucurr_isAvailable(code, -kEver, kEver, &status)) return false;
    const std::int32_t digits = ucurr_getDefaultFractionDigits(code, &status);
    const double increment = ucurr_getRoundingIncrement(code, &status);
    if (U_FAILURE(status)) return false;
    if (defaultFractionDigits) *defaultFractionDigits = digits;
    if (roundingIncrement) *roundingIncrement = increment;
    return true;
}
