#pragma once

// What the functions over strings know of a locale. Locales stand in a room above this one; their objects begin as
// below, and a function is passed one by its reference.

#include "CoreFoundation/Object/Object.h"

#include <CoreFoundation/CFOpaqueTypes.h>

namespace KXPlatform {

/// The beginning of every locale.
struct LocaleBase : Object {
    explicit constexpr LocaleBase(const Class& c) noexcept : Object(c) {}
    constexpr LocaleBase(const Class& c, ImmortalTag tag, const char* name) noexcept : Object(c, tag), icuName(name) {}

    const char* icuName = "";       ///< the identifier in ICU's form: "zh_Hant_TW"; "" for the root
    const char* icuCollation = "";  ///< the same, for putting texts in order
};

/// The locale behind a reference; null for null and for what is no locale.
inline const LocaleBase* localeBase(CFLocaleRef locale) noexcept {
    const void* const reference = locale;
    return isOfType(reference, TypeID::Locale) ? static_cast<const LocaleBase*>(object(reference)) : nullptr;
}

/// ICU's name of the rules for `locale`; the root's for null.
inline const char* icuNameOrRoot(CFLocaleRef locale) noexcept {
    const LocaleBase* const base = localeBase(locale);
    return base ? base->icuName : "";
}

/// Whether a name of ICU's is of the language `language`, which has two letters.
inline bool isOfLanguage(const char* icuName, const char* language) noexcept {
    return icuName[0] == language[0] && icuName[0] && icuName[1] == language[1] &&
           (!icuName[2] || icuName[2] == '_' || icuName[2] == '@');
}

/// Whether i and I are letters of two pairs, with a dot (i and U+0130) and without (U+0131 and I).
inline bool hasDottedCapitalI(const char* icuName) noexcept {
    return isOfLanguage(icuName, "tr") || isOfLanguage(icuName, "az");
}

}  // namespace KXPlatform
