#pragma once

// How a number formatter lies in memory: ICU's formatter, and what ICU has no place for.

#include "CFLocaleObject.h"
#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFNumberFormatter.h>

#include <unicode/localpointer.h>
#include <unicode/unum.h>

#include <cstdint>
#include <utility>

namespace KXPlatform {
extern const Class kNumberFormatterClass;

/// ICU's formatter for a style in `locale`; null when there is no such style, or no memory.
icu::LocalUNumberFormatPointer openNumberFormat(const __CFLocale& locale, CFNumberFormatterStyle style) noexcept;
/// Sets a pattern. False, and nothing changed, where it is none or memory is short.
bool applyPattern(UNumberFormat* icu, const char16_t* units, std::int32_t length) noexcept;
}  // namespace KXPlatform

struct __CFNumberFormatter : KXPlatform::Object {
    __CFNumberFormatter(icu::LocalUNumberFormatPointer&& opened, const __CFLocale* given,
                        CFNumberFormatterStyle s) noexcept
        : Object(KXPlatform::kNumberFormatterClass),
          icu(std::move(opened)),
          locale(KXPlatform::Retained<const __CFLocale>::retaining(given)),
          style(s) {}

    /// Whether the style is a pattern, not a set of rules (spelled out, ordinal).
    bool hasPattern() const noexcept {
        return style != kCFNumberFormatterSpellOutStyle && style != kCFNumberFormatterOrdinalStyle;
    }

    icu::LocalUNumberFormatPointer icu;
    KXPlatform::Retained<const __CFLocale> locale;
    KXPlatform::Retained<const __CFString> zeroSymbol;
    KXPlatform::Retained<const __CFString> format;  ///< the pattern as last asked for; null once it has changed
    double factor = 1;                              ///< a multiplier that ICU, which takes integers, cannot have
    CFNumberFormatterStyle style;
};

namespace KXPlatform {

inline __CFNumberFormatter* numberFormatter(CFNumberFormatterRef formatter) noexcept {
    return formatter && formatter->cls == &kNumberFormatterClass ? formatter : nullptr;
}

}  // namespace KXPlatform
