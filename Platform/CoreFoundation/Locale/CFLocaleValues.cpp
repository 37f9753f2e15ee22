#include "CFLocaleObject.h"
#include "ICUText.h"
#include "LocaleIdentifier.h"

#include <CoreFoundation/CFCalendar.h>
#include <CoreFoundation/CFCharacterSet.h>
#include <CoreFoundation/CFNumber.h>

#include <unicode/localpointer.h>
#include <unicode/ucal.h>
#include <unicode/ucurr.h>
#include <unicode/uenum.h>
#include <unicode/uloc.h>
#include <unicode/ulocdata.h>
#include <unicode/unum.h>
#include <unicode/uset.h>

#include <iterator>

using namespace KXPlatform;

namespace {

/// What a locale knows under a key, with a reference for the caller; null where it knows nothing.
using Maker = CFTypeRef(const __CFLocale&) noexcept;

CFAllocatorRef allocator() noexcept { return kCFAllocatorSystemDefault; }

/// A part of the identifier; null where it has none.
template <auto part>
CFTypeRef makePart(const __CFLocale& locale) noexcept {
    IdentifierText text{};
    UErrorCode status = U_ZERO_ERROR;
    part(locale.icuName, text.data(), static_cast<int32_t>(text.size()), &status);
    return U_SUCCESS(status) && *text.data() ? createASCII(allocator(), text.data()) : nullptr;
}

/// The value of a keyword behind the "@"; false where it has none.
bool readKeyword(const char* name, const char* keyword, IdentifierText& value) noexcept {
    value[0] = '\0';
    UErrorCode status = U_ZERO_ERROR;
    uloc_getKeywordValue(name, keyword, value.data(), static_cast<int32_t>(value.size()), &status);
    return U_SUCCESS(status) && *value.data();
}

/// The letters of the language, small and capital.
CFTypeRef makeExemplarSet(const __CFLocale& locale) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalULocaleDataPointer data(ulocdata_open(locale.icuName, &status));
    const icu::LocalUSetPointer letters(
        ulocdata_getExemplarSet(data.getAlias(), nullptr, USET_ADD_CASE_MAPPINGS, ULOCDATA_ES_STANDARD, &status));
    const auto set = Retained<__CFCharacterSet>::adopting(CFCharacterSetCreateMutable(allocator()));
    if (U_FAILURE(status) || !set) return nullptr;
    const int32_t count = uset_getItemCount(letters.getAlias());
    for (int32_t i = 0; i < count; ++i) {
        UChar32 first = 0, last = 0;
        char16_t text[32];
        const int32_t length =
            uset_getItem(letters.getAlias(), i, &first, &last, text, static_cast<int32_t>(std::size(text)), &status);
        if (U_FAILURE(status)) return nullptr;
        if (length == 0) {
            CFCharacterSetAddCharactersInRange(set.get(), {first, last - first + 1});
        } else {
            // A letter that is written with several characters.
            const auto letter = Retained<const __CFString>::adopting(
                createUTF16(allocator(), {text, static_cast<std::size_t>(length)}));
            CFCharacterSetAddCharactersInString(set.get(), letter.get());
        }
    }
    return CFCharacterSetCreateCopy(allocator(), set.get());
}

CFTypeRef makeCalendarIdentifier(const __CFLocale& locale) noexcept {
    const char* const name = locale.name(LocalePart::Time);
    IdentifierText value;
    if (readKeyword(name, "calendar", value)) return createASCII(allocator(), value.data());
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUEnumerationPointer calendars(ucal_getKeywordValuesForLocale("calendar", name, true, &status));
    const char* const first = uenum_next(calendars.getAlias(), nullptr, &status);
    return U_SUCCESS(status) && first ? createASCII(allocator(), first) : nullptr;
}

CFTypeRef makeCalendar(const __CFLocale& locale) noexcept {
    // A calendar retains its locale, and is kept by this one: it gets another that is the same.
    const auto same = Retained<const __CFLocale>::adopting(makeLocale(allocator(), locale.names));
    const auto identifier =
        Retained<const __CFString>::adopting(static_cast<CFStringRef>(makeCalendarIdentifier(locale)));
    if (!same || !identifier) return nullptr;
    const CFCalendarRef made = CFCalendarCreateWithIdentifier(allocator(), identifier.get());
    CFCalendarSetLocale(made, same.get());
    return made;
}

CFTypeRef makeCollation(const __CFLocale& locale) noexcept {
    IdentifierText value;
    return readKeyword(locale.icuCollation, "collation", value) ? createASCII(allocator(), value.data()) : nullptr;
}

CFTypeRef makeCollator(const __CFLocale& locale) noexcept { return createIdentifier(allocator(), locale.icuCollation); }

UMeasurementSystem measurement(const __CFLocale& locale, UErrorCode& status) noexcept {
    return ulocdata_getMeasurementSystem(locale.name(LocalePart::Measurement), &status);
}

CFTypeRef makeUsesMetricSystem(const __CFLocale& locale) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    const UMeasurementSystem system = measurement(locale, status);
    if (U_FAILURE(status)) return nullptr;
    return system == UMS_US ? kCFBooleanFalse : kCFBooleanTrue;
}

CFTypeRef makeMeasurementSystem(const __CFLocale& locale) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    const UMeasurementSystem system = measurement(locale, status);
    if (U_FAILURE(status)) return nullptr;
    return createASCII(allocator(), system == UMS_US ? "U.S." : system == UMS_UK ? "U.K." : "Metric");
}

template <UNumberFormatStyle style, LocalePart part, UNumberFormatSymbol symbol>
CFTypeRef makeSymbol(const __CFLocale& locale) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUNumberFormatPointer format(unum_open(style, nullptr, 0, locale.name(part), nullptr, &status));
    if (U_FAILURE(status)) return nullptr;
    return createICUText(allocator(), [&](char16_t* buffer, int32_t capacity, UErrorCode* error) {
        return unum_getSymbol(format.getAlias(), symbol, buffer, capacity, error);
    });
}

CFTypeRef makeCurrencyCode(const __CFLocale& locale) noexcept {
    return createICUText(allocator(), [&](char16_t* buffer, int32_t capacity, UErrorCode* error) {
        return ucurr_forLocale(locale.name(LocalePart::Money), buffer, capacity, error);
    });
}

template <ULocaleDataDelimiterType type>
CFTypeRef makeDelimiter(const __CFLocale& locale) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalULocaleDataPointer data(ulocdata_open(locale.icuName, &status));
    if (U_FAILURE(status)) return nullptr;
    return createICUText(allocator(), [&](char16_t* buffer, int32_t capacity, UErrorCode* error) {
        return ulocdata_getDelimiter(data.getAlias(), type, buffer, capacity, error);
    });
}

struct Known {
    const CFLocaleKey& key;
    Maker* make;
};

const Known kKnown[] = {
    {kCFLocaleLanguageCode, makePart<uloc_getLanguage>},
    {kCFLocaleCountryCode, makePart<uloc_getCountry>},
    {kCFLocaleScriptCode, makePart<uloc_getScript>},
    {kCFLocaleVariantCode, makePart<uloc_getVariant>},
    {kCFLocaleExemplarCharacterSet, makeExemplarSet},
    {kCFLocaleCalendarIdentifier, makeCalendarIdentifier},
    {kCFLocaleCalendar, makeCalendar},
    {kCFLocaleCollationIdentifier, makeCollation},
    {kCFLocaleUsesMetricSystem, makeUsesMetricSystem},
    {kCFLocaleMeasurementSystem, makeMeasurementSystem},
    {kCFLocaleDecimalSeparator, makeSymbol<UNUM_DECIMAL, LocalePart::Numbers, UNUM_DECIMAL_SEPARATOR_SYMBOL>},
    {kCFLocaleGroupingSeparator, makeSymbol<UNUM_DECIMAL, LocalePart::Numbers, UNUM_GROUPING_SEPARATOR_SYMBOL>},
    {kCFLocaleCurrencySymbol, makeSymbol<UNUM_CURRENCY, LocalePart::Money, UNUM_CURRENCY_SYMBOL>},
    {kCFLocaleCurrencyCode, makeCurrencyCode},
    {kCFLocaleCollatorIdentifier, makeCollator},
    {kCFLocaleQuotationBeginDelimiterKey, makeDelimiter<ULOCDATA_QUOTATION_START>},
    {kCFLocaleQuotationEndDelimiterKey, makeDelimiter<ULOCDATA_QUOTATION_END>},
    {kCFLocaleAlternateQuotationBeginDelimiterKey, makeDelimiter<ULOCDATA_ALT_QUOTATION_START>},
    {kCFLocaleAlternateQuotationEndDelimiterKey, makeDelimiter<ULOCDATA_ALT_QUOTATION_END>},
};
static_assert(std::size(kKnown) < kKeptLocaleValues);

}  // namespace

CFTypeRef CFLocaleGetValue(CFLocaleRef locale, CFLocaleKey key) {
    if (!localeObject(locale) || !isOfType(key, TypeID::String)) return nullptr;
    if (CFEqual(key, kCFLocaleIdentifier)) return locale->identifier;
    std::size_t index = 0;
    while (index < std::size(kKnown) && !CFEqual(key, kKnown[index].key)) ++index;
    if (index == std::size(kKnown)) return nullptr;
    // Of threads that make a value at once, one keeps its own.
    std::atomic<CFTypeRef>& kept = locale->values[index];
    if (const CFTypeRef value = kept.load(std::memory_order_acquire)) return value;
    const CFTypeRef made = kKnown[index].make(*locale);
    CFTypeRef other = nullptr;
    if (!made || kept.compare_exchange_strong(other, made, std::memory_order_acq_rel)) return made;
    CFRelease(made);
    return other;
}
