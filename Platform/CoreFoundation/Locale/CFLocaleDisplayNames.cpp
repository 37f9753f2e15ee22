#include "CFLocaleObject.h"
#include "ICUText.h"
#include "LocaleIdentifier.h"

#include <unicode/ucurr.h>
#include <unicode/uloc.h>

#include <cstdio>
#include <cstring>

using namespace KXPlatform;

namespace {

using NameOf = int32_t(const char* locale, const char* display, UChar* to, int32_t capacity, UErrorCode* status);

/// The name of what the identifier `name` says; null where the display locale has none.
CFStringRef createName(NameOf* nameOf, const char* name, const char* display) noexcept {
    return withICUText<CFStringRef>(
        [&](char16_t* buffer, int32_t capacity, UErrorCode* status) {
            return nameOf(name, display, buffer, capacity, status);
        },
        // ICU gives the code itself where it knows no name of it.
        [](std::u16string_view text, UErrorCode status) {
            return status == U_USING_DEFAULT_WARNING || text.empty() ? nullptr : createUTF16(nullptr, text);
        });
}

int32_t calendarName(const char* name, const char* display, UChar* to, int32_t capacity, UErrorCode* status) {
    return uloc_getDisplayKeywordValue(name, "calendar", display, to, capacity, status);
}

int32_t collationName(const char* name, const char* display, UChar* to, int32_t capacity, UErrorCode* status) {
    return uloc_getDisplayKeywordValue(name, "collation", display, to, capacity, status);
}

/// How a value becomes an identifier that ICU has a name for.
struct Named {
    const CFLocaleKey& key;
    const char* before;  ///< what the value is put behind
    NameOf* nameOf;
};

const Named kNamed[] = {
    {kCFLocaleIdentifier, "", uloc_getDisplayName},
    {kCFLocaleLanguageCode, "", uloc_getDisplayLanguage},
    {kCFLocaleCountryCode, "und_", uloc_getDisplayCountry},
    {kCFLocaleScriptCode, "und_", uloc_getDisplayScript},
    {kCFLocaleVariantCode, "und__", uloc_getDisplayVariant},
    {kCFLocaleCalendarIdentifier, "und@calendar=", calendarName},
    {kCFLocaleCollationIdentifier, "und@collation=", collationName},
};

/// The name of a currency, or its sign, by its code.
CFStringRef createCurrencyName(const char* code, const char* display, UCurrNameStyle style) noexcept {
    if (std::strlen(code) != 3) return nullptr;
    const UChar units[] = {static_cast<UChar>(code[0]), static_cast<UChar>(code[1]), static_cast<UChar>(code[2]), 0};
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    const UChar* const name = ucurr_getName(units, display, style, nullptr, &length, &status);
    if (U_FAILURE(status) || status == U_USING_DEFAULT_WARNING || !name) return nullptr;
    return createUTF16(nullptr, {name, static_cast<std::size_t>(length)});
}

}  // namespace

CFStringRef CFLocaleCopyDisplayNameForPropertyValue(CFLocaleRef displayLocale, CFLocaleKey key, CFStringRef value) {
    IdentifierText text, name;
    if (!localeObject(displayLocale) || !isOfType(key, TypeID::String) || !readIdentifier(value, text) || !*text.data())
        return nullptr;
    const char* const display = displayLocale->icuName;
    if (CFEqual(key, kCFLocaleCurrencyCode)) return createCurrencyName(text.data(), display, UCURR_LONG_NAME);
    if (CFEqual(key, kCFLocaleCurrencySymbol)) return createCurrencyName(text.data(), display, UCURR_SYMBOL_NAME);
    for (const Named& named : kNamed) {
        if (!CFEqual(key, named.key)) continue;
        const bool isIdentifier = named.nameOf == uloc_getDisplayName;
        if (!isIdentifier && std::strpbrk(text.data(), "@=;_ ")) return nullptr;
        char joined[2 * ULOC_FULLNAME_CAPACITY];
        std::snprintf(joined, sizeof joined, "%s%s", named.before, text.data());
        return canonicalName(joined, name) ? createName(named.nameOf, name.data(), display) : nullptr;
    }
    return nullptr;
}
