#pragma once

// How a locale lies in memory, and the name that ICU knows it by, for the sources of this room.

#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Retained.h"
#include "CoreFoundation/String/CFStringLocale.h"

#include <CoreFoundation/CFLocale.h>

#include <array>
#include <atomic>
#include <cstddef>

namespace KXPlatform {
extern const Class kLocaleClass;

/// What the user may choose a locale of its own for. Locales other than the current one are the same in all parts.
enum class LocalePart { Language, Numbers, Money, Time, Collation, Measurement };
inline constexpr std::size_t kLocaleParts = 6;

/// ICU's identifiers for the parts of a locale.
using LocaleNames = std::array<const char*, kLocaleParts>;

/// How many values of keys a locale keeps once they have been asked for.
inline constexpr std::size_t kKeptLocaleValues = 20;
}  // namespace KXPlatform

struct __CFLocale : KXPlatform::LocaleBase {
    explicit __CFLocale() noexcept : LocaleBase(KXPlatform::kLocaleClass) { names.fill(""); }
    /// The root.
    constexpr __CFLocale(ImmortalTag tag, CFStringRef text) noexcept
        : LocaleBase(KXPlatform::kLocaleClass, tag, ""), names{"", "", "", "", "", ""}, identifier(text) {}

    const char* name(KXPlatform::LocalePart part) const noexcept { return names[static_cast<std::size_t>(part)]; }

    KXPlatform::LocaleNames names;  ///< texts behind the object
    CFStringRef identifier = nullptr;
    mutable std::array<std::atomic<CFTypeRef>, KXPlatform::kKeptLocaleValues> values{};  ///< by key, as asked for
};

namespace KXPlatform {

inline const __CFLocale* localeObject(CFLocaleRef locale) noexcept {
    return locale && locale->cls == &kLocaleClass ? locale : nullptr;
}

/// ICU's identifier for a part of `locale`, in ICU's form: "de_DE", "zh_Hant_TW", "" for the root and for what is no
/// locale. Lives as long as the locale.
inline const char* icuName(CFLocaleRef locale, LocalePart part = LocalePart::Language) noexcept {
    const __CFLocale* const object = localeObject(locale);
    return object ? object->name(part) : "";
}

/// `locale`; the current locale for null. Null for what is no locale, and without memory.
Retained<const __CFLocale> localeOrCurrent(CFLocaleRef locale) noexcept;

/// A locale that ICU knows by `names`. Null without memory.
__CFLocale* makeLocale(CFAllocatorRef allocator, const LocaleNames& names) noexcept;

}  // namespace KXPlatform
