#include "CoreFoundation/String/CFStringSupport.h"
#include "ICUText.h"
#include "NumberFormatterObject.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <string_view>

using namespace KXPlatform;

// Each key and its constant, whose text is its name.
#define KX_KEY(name)                                             \
    static constinit const StringConstant name##Constant(#name); \
    const CFNumberFormatterKey name = &name##Constant;

KX_KEY(kCFNumberFormatterCurrencyCode)
KX_KEY(kCFNumberFormatterDecimalSeparator)
KX_KEY(kCFNumberFormatterCurrencyDecimalSeparator)
KX_KEY(kCFNumberFormatterAlwaysShowDecimalSeparator)
KX_KEY(kCFNumberFormatterGroupingSeparator)
KX_KEY(kCFNumberFormatterUseGroupingSeparator)
KX_KEY(kCFNumberFormatterPercentSymbol)
KX_KEY(kCFNumberFormatterZeroSymbol)
KX_KEY(kCFNumberFormatterNaNSymbol)
KX_KEY(kCFNumberFormatterInfinitySymbol)
KX_KEY(kCFNumberFormatterMinusSign)
KX_KEY(kCFNumberFormatterPlusSign)
KX_KEY(kCFNumberFormatterCurrencySymbol)
KX_KEY(kCFNumberFormatterExponentSymbol)
KX_KEY(kCFNumberFormatterMinIntegerDigits)
KX_KEY(kCFNumberFormatterMaxIntegerDigits)
KX_KEY(kCFNumberFormatterMinFractionDigits)
KX_KEY(kCFNumberFormatterMaxFractionDigits)
KX_KEY(kCFNumberFormatterGroupingSize)
KX_KEY(kCFNumberFormatterSecondaryGroupingSize)
KX_KEY(kCFNumberFormatterRoundingMode)
KX_KEY(kCFNumberFormatterRoundingIncrement)
KX_KEY(kCFNumberFormatterFormatWidth)
KX_KEY(kCFNumberFormatterPaddingPosition)
KX_KEY(kCFNumberFormatterPaddingCharacter)
KX_KEY(kCFNumberFormatterDefaultFormat)
KX_KEY(kCFNumberFormatterMultiplier)
KX_KEY(kCFNumberFormatterPositivePrefix)
KX_KEY(kCFNumberFormatterPositiveSuffix)
KX_KEY(kCFNumberFormatterNegativePrefix)
KX_KEY(kCFNumberFormatterNegativeSuffix)
KX_KEY(kCFNumberFormatterPerMillSymbol)
KX_KEY(kCFNumberFormatterInternationalCurrencySymbol)
KX_KEY(kCFNumberFormatterCurrencyGroupingSeparator)
KX_KEY(kCFNumberFormatterIsLenient)
KX_KEY(kCFNumberFormatterUseSignificantDigits)
KX_KEY(kCFNumberFormatterMinSignificantDigits)
KX_KEY(kCFNumberFormatterMaxSignificantDigits)

namespace {

/// How ICU keeps a property.
enum class Kind { Symbol, Text, Flag, Count, Mode };

struct Property {
    const CFNumberFormatterKey& key;
    Kind kind;
    int code;            ///< UNumberFormatSymbol, UNumberFormatTextAttribute or UNumberFormatAttribute
    std::int32_t limit;  ///< of counts and modes: the largest value
};

constexpr std::int32_t kNoLimit = INT32_MAX;
/// What ICU would write out in zeros or padding characters is kept to a size that can be meant.
constexpr std::int32_t kWritten = 10'000;

const Property kProperties[] = {
    {kCFNumberFormatterCurrencyCode, Kind::Text, UNUM_CURRENCY_CODE, 0},
    {kCFNumberFormatterDecimalSeparator, Kind::Symbol, UNUM_DECIMAL_SEPARATOR_SYMBOL, 0},
    {kCFNumberFormatterCurrencyDecimalSeparator, Kind::Symbol, UNUM_MONETARY_SEPARATOR_SYMBOL, 0},
    {kCFNumberFormatterAlwaysShowDecimalSeparator, Kind::Flag, UNUM_DECIMAL_ALWAYS_SHOWN, 0},
    {kCFNumberFormatterGroupingSeparator, Kind::Symbol, UNUM_GROUPING_SEPARATOR_SYMBOL, 0},
    {kCFNumberFormatterUseGroupingSeparator, Kind::Flag, UNUM_GROUPING_USED, 0},
    {kCFNumberFormatterPercentSymbol, Kind::Symbol, UNUM_PERCENT_SYMBOL, 0},
    {kCFNumberFormatterNaNSymbol, Kind::Symbol, UNUM_NAN_SYMBOL, 0},
    {kCFNumberFormatterInfinitySymbol, Kind::Symbol, UNUM_INFINITY_SYMBOL, 0},
    {kCFNumberFormatterMinusSign, Kind::Symbol, UNUM_MINUS_SIGN_SYMBOL, 0},
    {kCFNumberFormatterPlusSign, Kind::Symbol, UNUM_PLUS_SIGN_SYMBOL, 0},
    {kCFNumberFormatterCurrencySymbol, Kind::Symbol, UNUM_CURRENCY_SYMBOL, 0},
    {kCFNumberFormatterExponentSymbol, Kind::Symbol, UNUM_EXPONENTIAL_SYMBOL, 0},
    {kCFNumberFormatterMinIntegerDigits, Kind::Count, UNUM_MIN_INTEGER_DIGITS, kWritten},
    {kCFNumberFormatterMaxIntegerDigits, Kind::Count, UNUM_MAX_INTEGER_DIGITS, kNoLimit},
    {kCFNumberFormatterMinFractionDigits, Kind::Count, UNUM_MIN_FRACTION_DIGITS, kWritten},
    {kCFNumberFormatterMaxFractionDigits, Kind::Count, UNUM_MAX_FRACTION_DIGITS, kNoLimit},
    {kCFNumberFormatterGroupingSize, Kind::Count, UNUM_GROUPING_SIZE, kWritten},
    {kCFNumberFormatterSecondaryGroupingSize, Kind::Count, UNUM_SECONDARY_GROUPING_SIZE, kWritten},
    {kCFNumberFormatterRoundingMode, Kind::Mode, UNUM_ROUNDING_MODE, kCFNumberFormatterRoundHalfUp},
    {kCFNumberFormatterFormatWidth, Kind::Count, UNUM_FORMAT_WIDTH, kWritten},
    {kCFNumberFormatterPaddingPosition, Kind::Mode, UNUM_PADDING_POSITION, kCFNumberFormatterPadAfterSuffix},
    {kCFNumberFormatterPaddingCharacter, Kind::Text, UNUM_PADDING_CHARACTER, 0},
    {kCFNumberFormatterPositivePrefix, Kind::Text, UNUM_POSITIVE_PREFIX, 0},
    {kCFNumberFormatterPositiveSuffix, Kind::Text, UNUM_POSITIVE_SUFFIX, 0},
    {kCFNumberFormatterNegativePrefix, Kind::Text, UNUM_NEGATIVE_PREFIX, 0},
    {kCFNumberFormatterNegativeSuffix, Kind::Text, UNUM_NEGATIVE_SUFFIX, 0},
    {kCFNumberFormatterPerMillSymbol, Kind::Symbol, UNUM_PERMILL_SYMBOL, 0},
    {kCFNumberFormatterInternationalCurrencySymbol, Kind::Symbol, UNUM_INTL_CURRENCY_SYMBOL, 0},
    {kCFNumberFormatterCurrencyGroupingSeparator, Kind::Symbol, UNUM_MONETARY_GROUPING_SEPARATOR_SYMBOL, 0},
    {kCFNumberFormatterIsLenient, Kind::Flag, UNUM_LENIENT_PARSE, 0},
    {kCFNumberFormatterUseSignificantDigits, Kind::Flag, UNUM_SIGNIFICANT_DIGITS_USED, 0},
    {kCFNumberFormatterMinSignificantDigits, Kind::Count, UNUM_MIN_SIGNIFICANT_DIGITS, kWritten},
    {kCFNumberFormatterMaxSignificantDigits, Kind::Count, UNUM_MAX_SIGNIFICANT_DIGITS, kNoLimit},
};

const Property* find(CFNumberFormatterKey key) noexcept {
    for (const Property& property : kProperties)
        if (CFEqual(key, property.key)) return &property;
    return nullptr;
}

// ---- Setting

std::optional<double> readNumber(CFTypeRef value) noexcept {
    if (!isOfType(value, TypeID::Number)) return std::nullopt;
    double number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberFloat64Type, &number);
    if (!std::isfinite(number)) return std::nullopt;
    return number;
}

/// Passes the units of a text on; nothing where it is none or too long to be meant.
template <class Use>
void withUnits(CFTypeRef value, Use use) noexcept {
    constexpr CFIndex kLongest = 256;
    if (!isOfType(value, TypeID::String)) return;
    const TextView text = view(static_cast<CFStringRef>(value));
    if (text.length > kLongest) return;
    char16_t units[kLongest + 1] = {};
    text.copyTo(asUnits(units));
    use(units, static_cast<std::int32_t>(text.length));
}

void set(UNumberFormat* icu, const Property& property, CFTypeRef value) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    switch (property.kind) {
        case Kind::Symbol:
            withUnits(value, [&](const char16_t* units, std::int32_t length) {
                unum_setSymbol(icu, static_cast<UNumberFormatSymbol>(property.code), units, length, &status);
            });
            break;
        case Kind::Text:
            withUnits(value, [&](const char16_t* units, std::int32_t length) {
                // ICU takes the first three units for the code, whatever there is, and pads with one character.
                if (property.code == UNUM_CURRENCY_CODE && length != 3) return;
                if (property.code == UNUM_PADDING_CHARACTER && length == 0) return;
                // In a prefix or suffix ICU ends the process over it (applyPattern); there are no quotes to put it in.
                if (std::u16string_view(units, static_cast<std::size_t>(length)).find(u'~') !=
                    std::u16string_view::npos)
                    return;
                unum_setTextAttribute(icu, static_cast<UNumberFormatTextAttribute>(property.code), units, length,
                                      &status);
            });
            break;
        case Kind::Flag:
            if (isOfType(value, TypeID::Boolean))
                unum_setAttribute(icu, static_cast<UNumberFormatAttribute>(property.code), value == kCFBooleanTrue);
            break;
        case Kind::Count:
        case Kind::Mode: {
            const std::optional<double> number = readNumber(value);
            if (!number || *number < 0 || (property.kind == Kind::Mode && *number > property.limit)) return;
            const double least = std::min(*number, static_cast<double>(property.limit));
            unum_setAttribute(icu, static_cast<UNumberFormatAttribute>(property.code),
                              static_cast<std::int32_t>(least));
            break;
        }
    }
}

void setMultiplier(__CFNumberFormatter& formatter, double multiplier) noexcept {
    if (multiplier == 0) return;
    // ICU's own is an integer.
    const bool isInteger = multiplier == std::trunc(multiplier) && std::abs(multiplier) <= INT32_MAX;
    unum_setAttribute(formatter.icu.getAlias(), UNUM_MULTIPLIER, isInteger ? static_cast<std::int32_t>(multiplier) : 1);
    formatter.factor = isInteger ? 1 : multiplier;
}

// ---- Reading

CFTypeRef createInteger(std::int32_t value) noexcept {
    return CFNumberCreate(kCFAllocatorSystemDefault, kCFNumberSInt32Type, &value);
}

CFTypeRef createReal(double value) noexcept {
    return CFNumberCreate(kCFAllocatorSystemDefault, kCFNumberFloat64Type, &value);
}

CFTypeRef copy(const UNumberFormat* icu, const Property& property) noexcept {
    switch (property.kind) {
        case Kind::Symbol:
            return createICUText(
                kCFAllocatorSystemDefault, [&](char16_t* buffer, std::int32_t size, UErrorCode* status) {
                    return unum_getSymbol(icu, static_cast<UNumberFormatSymbol>(property.code), buffer, size, status);
                });
        case Kind::Text:
            return createICUText(
                kCFAllocatorSystemDefault, [&](char16_t* buffer, std::int32_t size, UErrorCode* status) {
                    return unum_getTextAttribute(icu, static_cast<UNumberFormatTextAttribute>(property.code), buffer,
                                                 size, status);
                });
        case Kind::Flag:
            return unum_getAttribute(icu, static_cast<UNumberFormatAttribute>(property.code)) > 0 ? kCFBooleanTrue
                                                                                                  : kCFBooleanFalse;
        case Kind::Count:
        case Kind::Mode: {
            const std::int32_t value = unum_getAttribute(icu, static_cast<UNumberFormatAttribute>(property.code));
            // Of a width, -1 is none.
            if (property.code == UNUM_FORMAT_WIDTH && value < 0) return createInteger(0);
            return value < 0 || (property.kind == Kind::Mode && value > property.limit) ? nullptr
                                                                                        : createInteger(value);
        }
    }
    return nullptr;
}

CFTypeRef copyDefaultFormat(const __CFNumberFormatter& formatter) noexcept {
    if (!formatter.hasPattern()) return nullptr;
    const icu::LocalUNumberFormatPointer fresh = openNumberFormat(*formatter.locale, formatter.style);
    if (!fresh.isValid()) return nullptr;
    return createICUText(kCFAllocatorSystemDefault, [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
        return unum_toPattern(fresh.getAlias(), false, buffer, capacity, status);
    });
}

}  // namespace

void CFNumberFormatterSetProperty(CFNumberFormatterRef formatter, CFNumberFormatterKey key, CFTypeRef value) {
    if (!numberFormatter(formatter) || !isOfType(key, TypeID::String)) return;
    UNumberFormat* const icu = formatter->icu.getAlias();
    if (CFEqual(key, kCFNumberFormatterZeroSymbol)) {
        const bool isText = isOfType(value, TypeID::String);
        if (isText || !value)
            formatter->zeroSymbol = Retained<const __CFString>::adopting(
                isText ? CFStringCreateCopy(kCFAllocatorSystemDefault, static_cast<CFStringRef>(value)) : nullptr);
        return;
    }
    // Setting a property writes the pattern anew.
    formatter->format = {};
    if (CFEqual(key, kCFNumberFormatterRoundingIncrement)) {
        const std::optional<double> number = readNumber(value);
        if (number && *number >= 0) unum_setDoubleAttribute(icu, UNUM_ROUNDING_INCREMENT, *number);
    } else if (CFEqual(key, kCFNumberFormatterMultiplier)) {
        if (const std::optional<double> number = readNumber(value)) setMultiplier(*formatter, *number);
    } else if (const Property* const property = find(key)) {
        set(icu, *property, value);
    }
}

CFTypeRef CFNumberFormatterCopyProperty(CFNumberFormatterRef formatter, CFNumberFormatterKey key) {
    if (!numberFormatter(formatter) || !isOfType(key, TypeID::String)) return nullptr;
    const UNumberFormat* const icu = formatter->icu.getAlias();
    if (CFEqual(key, kCFNumberFormatterZeroSymbol))
        return formatter->zeroSymbol ? CFRetain(formatter->zeroSymbol.get()) : nullptr;
    if (CFEqual(key, kCFNumberFormatterDefaultFormat)) return copyDefaultFormat(*formatter);
    if (CFEqual(key, kCFNumberFormatterRoundingIncrement)) {
        const double increment = unum_getDoubleAttribute(icu, UNUM_ROUNDING_INCREMENT);
        return increment < 0 ? nullptr : createReal(increment);
    }
    if (CFEqual(key, kCFNumberFormatterMultiplier)) {
        if (formatter->factor != 1) return createReal(formatter->factor);
        const std::int32_t multiplier = unum_getAttribute(icu, UNUM_MULTIPLIER);
        return formatter->hasPattern() ? createInteger(multiplier) : nullptr;
    }
    const Property* const property = find(key);
    return property ? copy(icu, *property) : nullptr;
}
