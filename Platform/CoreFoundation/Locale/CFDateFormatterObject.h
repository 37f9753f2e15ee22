#pragma once

// How a date formatter lies in memory, for the sources of this room.

#include "CFCalendarObject.h"
#include "CoreFoundation/String/CFStringObject.h"

#include <CoreFoundation/CFDateFormatter.h>

#include <unicode/datefmt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/smpdtfmt.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace KXPlatform {

extern const Class kDateFormatterClass;

/// The texts for a field of dates, by the key of the property.
struct DateSymbols {
    enum class Field { Era, LongEra, Month, Weekday, Quarter, AM, PM };
    const CFDateFormatterKey* key;
    Field field;
    icu::DateFormatSymbols::DtContextType context = icu::DateFormatSymbols::FORMAT;
    icu::DateFormatSymbols::DtWidthType width = icu::DateFormatSymbols::WIDE;
};

/// The symbols that a key stands for; null for another key.
const DateSymbols* symbolsOf(CFStringRef key) noexcept;
std::vector<icu::UnicodeString> readSymbols(const icu::DateFormatSymbols& all, const DateSymbols& which);

/// What a formatter has been told.
struct DateSettings {
    Retained<const __CFLocale> locale;
    CFDateFormatterStyle dateStyle = kCFDateFormatterNoStyle;
    CFDateFormatterStyle timeStyle = kCFDateFormatterNoStyle;
    Retained<const __CFString> pattern;  ///< null: that of the styles
    Retained<const __CFTimeZone> zone;
    CFCalendarIdentifier calendar = nullptr;  ///< null: that of the locale
    std::optional<CFIndex> firstWeekday;
    std::optional<CFIndex> minimumDays;
    bool isLenient = false;
    bool isRelative = false;
    std::optional<CFAbsoluteTime> twoDigitStart;
    std::optional<CFAbsoluteTime> defaultDate;
    std::optional<CFAbsoluteTime> gregorianStart;
    std::map<const DateSymbols*, std::vector<icu::UnicodeString>> symbols;
};

/// ICU's formatter made as the settings say. It is not changed once it is made, but for the calendar.
struct DateEngine {
    std::unique_ptr<icu::DateFormat> format;
    const icu::SimpleDateFormat* simple = nullptr;  ///< the same; null for one of relative dates
    std::unique_ptr<icu::Calendar> calendar;        ///< to print with, by one thread at a time
    std::optional<UDate> defaultDate;
};

/// Null where ICU fails or memory is short. May throw std::bad_alloc.
std::unique_ptr<DateEngine> makeEngine(const DateSettings& settings);

/// The pattern of the styles alone.
icu::UnicodeString patternOfStyles(const DateSettings& settings);

}  // namespace KXPlatform

struct __CFDateFormatter : KXPlatform::Object {
    explicit __CFDateFormatter(KXPlatform::DateSettings&& given) noexcept
        : Object(KXPlatform::kDateFormatterClass), settings(std::move(given)) {}
    ~__CFDateFormatter() { delete engine.load(std::memory_order_relaxed); }

    /// ICU's formatter, made when it is first asked for. Null without memory.
    KXPlatform::DateEngine* made() noexcept;
    /// To be called after each change of the settings.
    void forgetEngine() noexcept { delete engine.exchange(nullptr, std::memory_order_relaxed); }

    KXPlatform::DateSettings settings;
    std::mutex mutex;  ///< of making the engine, and of its calendar
    std::atomic<KXPlatform::DateEngine*> engine{nullptr};
    KXPlatform::Retained<const __CFString> format;  ///< what CFDateFormatterGetFormat has lent
};

namespace KXPlatform {

inline __CFDateFormatter* dateFormatter(CFDateFormatterRef formatter) noexcept {
    return formatter && formatter->cls == &kDateFormatterClass ? formatter : nullptr;
}

inline icu::UnicodeString unicodeString(CFStringRef string) {
    const TextView text = view(string);
    return text.isWide() ? icu::UnicodeString(asUTF16(text.wide), static_cast<std::int32_t>(text.length))
                         : icu::UnicodeString(text.ascii, static_cast<std::int32_t>(text.length), US_INV);
}

inline CFStringRef createString(CFAllocatorRef allocator, const icu::UnicodeString& text) noexcept {
    if (text.isBogus()) return nullptr;
    return createUTF16(allocator, {text.getBuffer(), static_cast<std::size_t>(text.length())});
}

}  // namespace KXPlatform
