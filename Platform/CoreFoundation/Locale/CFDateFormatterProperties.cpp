#include "CFDateFormatterObject.h"

#include "CoreFoundation/String/CFStringSupport.h"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFNumber.h>

#include <unicode/dtfmtsym.h>
#include <unicode/gregocal.h>

using namespace KXPlatform;

#define KX_KEY(name)                                         \
    static constinit const StringConstant name##Text(#name); \
    const CFDateFormatterKey name = &name##Text;

KX_KEY(kCFDateFormatterIsLenient)
KX_KEY(kCFDateFormatterTimeZone)
KX_KEY(kCFDateFormatterCalendarName)
KX_KEY(kCFDateFormatterDefaultFormat)
KX_KEY(kCFDateFormatterTwoDigitStartDate)
KX_KEY(kCFDateFormatterDefaultDate)
KX_KEY(kCFDateFormatterCalendar)
KX_KEY(kCFDateFormatterGregorianStartDate)
KX_KEY(kCFDateFormatterDoesRelativeDateFormattingKey)
KX_KEY(kCFDateFormatterAMSymbol)
KX_KEY(kCFDateFormatterPMSymbol)
KX_KEY(kCFDateFormatterEraSymbols)
KX_KEY(kCFDateFormatterLongEraSymbols)
KX_KEY(kCFDateFormatterMonthSymbols)
KX_KEY(kCFDateFormatterShortMonthSymbols)
KX_KEY(kCFDateFormatterVeryShortMonthSymbols)
KX_KEY(kCFDateFormatterStandaloneMonthSymbols)
KX_KEY(kCFDateFormatterShortStandaloneMonthSymbols)
KX_KEY(kCFDateFormatterVeryShortStandaloneMonthSymbols)
KX_KEY(kCFDateFormatterWeekdaySymbols)
KX_KEY(kCFDateFormatterShortWeekdaySymbols)
KX_KEY(kCFDateFormatterVeryShortWeekdaySymbols)
KX_KEY(kCFDateFormatterStandaloneWeekdaySymbols)
KX_KEY(kCFDateFormatterShortStandaloneWeekdaySymbols)
KX_KEY(kCFDateFormatterVeryShortStandaloneWeekdaySymbols)
KX_KEY(kCFDateFormatterQuarterSymbols)
KX_KEY(kCFDateFormatterShortQuarterSymbols)
KX_KEY(kCFDateFormatterStandaloneQuarterSymbols)
KX_KEY(kCFDateFormatterShortStandaloneQuarterSymbols)

namespace {

constexpr CFIndex kMostSymbols = 1000;

CFCalendarIdentifier calendarNameOf(const DateSettings& settings) noexcept {
    if (settings.calendar) return settings.calendar;
    const CFCalendarIdentifier known =
        knownCalendar(static_cast<CFStringRef>(CFLocaleGetValue(settings.locale.get(), kCFLocaleCalendarIdentifier)));
    return known ? known : kCFGregorianCalendar;
}

CFCalendarRef copyCalendar(const DateSettings& settings) noexcept {
    const CFCalendarRef made = CFCalendarCreateWithIdentifier(kCFAllocatorSystemDefault, calendarNameOf(settings));
    if (!made) return nullptr;
    CFCalendarSetLocale(made, settings.locale.get());
    CFCalendarSetTimeZone(made, settings.zone.get());
    if (settings.firstWeekday) CFCalendarSetFirstWeekday(made, *settings.firstWeekday);
    if (settings.minimumDays) CFCalendarSetMinimumDaysInFirstWeek(made, *settings.minimumDays);
    return made;
}

CFTypeRef copySymbols(const DateEngine& engine, const DateSymbols& which) {
    if (!engine.simple) return nullptr;
    const std::vector<icu::UnicodeString> texts = readSymbols(*engine.simple->getDateFormatSymbols(), which);
    if (texts.empty()) return nullptr;
    if (which.field == DateSymbols::Field::AM || which.field == DateSymbols::Field::PM)
        return createString(kCFAllocatorSystemDefault, texts.front());
    const auto list =
        Retained<__CFArray>::adopting(CFArrayCreateMutable(kCFAllocatorSystemDefault, 0, &kCFTypeArrayCallBacks));
    if (!list) return nullptr;
    for (const icu::UnicodeString& text : texts) {
        const auto string = Retained<const __CFString>::adopting(createString(kCFAllocatorSystemDefault, text));
        if (!string) return nullptr;
        CFArrayAppendValue(list.get(), string.get());
    }
    if (CFArrayGetCount(list.get()) != static_cast<CFIndex>(texts.size())) return nullptr;
    return CFArrayCreateCopy(kCFAllocatorSystemDefault, list.get());
}

CFTypeRef copyDate(std::optional<CFAbsoluteTime> at) noexcept {
    return at ? CFDateCreate(kCFAllocatorSystemDefault, *at) : nullptr;
}

CFTypeRef copyTwoDigitStart(const DateEngine& engine) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    if (!engine.simple) return nullptr;
    const UDate date = engine.simple->get2DigitYearStart(status);
    return U_SUCCESS(status) ? copyDate(timeOfDate(date)) : nullptr;
}

CFTypeRef copyGregorianStart(const DateEngine& engine) noexcept {
    const auto* const gregorian = dynamic_cast<const icu::GregorianCalendar*>(engine.calendar.get());
    return gregorian ? copyDate(timeOfDate(gregorian->getGregorianChange())) : nullptr;
}

CFTypeRef copyBoolean(bool value) noexcept { return CFRetain(value ? kCFBooleanTrue : kCFBooleanFalse); }

CFTypeRef copyProperty(__CFDateFormatter* formatter, CFDateFormatterKey key) {
    const DateSettings& settings = formatter->settings;
    const auto is = [key](CFDateFormatterKey other) { return CFEqual(key, other) != 0; };
    if (is(kCFDateFormatterIsLenient)) return copyBoolean(settings.isLenient);
    if (is(kCFDateFormatterDoesRelativeDateFormattingKey)) return copyBoolean(settings.isRelative);
    if (is(kCFDateFormatterTimeZone)) return CFRetain(settings.zone.get());
    if (is(kCFDateFormatterCalendarName)) return CFRetain(calendarNameOf(settings));
    if (is(kCFDateFormatterCalendar)) return copyCalendar(settings);
    if (is(kCFDateFormatterDefaultDate)) return copyDate(settings.defaultDate);
    if (is(kCFDateFormatterDefaultFormat)) return createString(kCFAllocatorSystemDefault, patternOfStyles(settings));
    const DateSymbols* const symbols = symbolsOf(key);
    const bool needsEngine = symbols || is(kCFDateFormatterTwoDigitStartDate) || is(kCFDateFormatterGregorianStartDate);
    const DateEngine* const engine = needsEngine ? formatter->made() : nullptr;
    if (!engine) return nullptr;
    if (symbols) return copySymbols(*engine, *symbols);
    return is(kCFDateFormatterTwoDigitStartDate) ? copyTwoDigitStart(*engine) : copyGregorianStart(*engine);
}

/// The texts of a symbol property. False for a value of another type.
bool takeTexts(const DateSymbols& which, CFTypeRef value, std::vector<icu::UnicodeString>& texts) {
    if (which.field == DateSymbols::Field::AM || which.field == DateSymbols::Field::PM) {
        if (!isOfType(value, TypeID::String) || CFStringGetLength(static_cast<CFStringRef>(value)) > kMostSymbols)
            return false;
        texts.push_back(unicodeString(static_cast<CFStringRef>(value)));
        return true;
    }
    if (!isOfType(value, TypeID::Array)) return false;
    const auto list = static_cast<CFArrayRef>(value);
    const CFIndex count = CFArrayGetCount(list);
    if (count == 0 || count > kMostSymbols) return false;
    for (CFIndex i = 0; i < count; ++i) {
        const void* const text = CFArrayGetValueAtIndex(list, i);
        if (!isOfType(text, TypeID::String) || CFStringGetLength(static_cast<CFStringRef>(text)) > kMostSymbols)
            return false;
        texts.push_back(unicodeString(static_cast<CFStringRef>(text)));
    }
    return true;
}

bool takeDate(CFTypeRef value, std::optional<CFAbsoluteTime>& date) noexcept {
    if (!value) {
        date.reset();
        return true;
    }
    const CFAbsoluteTime at = isOfType(value, TypeID::Date) ? CFDateGetAbsoluteTime(static_cast<CFDateRef>(value)) : 0;
    if (!isOfType(value, TypeID::Date) || !isReached(at)) return false;
    date = at;
    return true;
}

bool takeBoolean(CFTypeRef value, bool& flag) noexcept {
    if (value && !isOfType(value, TypeID::Boolean)) return false;
    flag = value == kCFBooleanTrue;
    return true;
}

bool takeZone(CFTypeRef value, DateSettings& settings) noexcept {
    if (value && !isOfType(value, TypeID::TimeZone)) return false;
    auto zone = value ? Retained<const __CFTimeZone>::retaining(static_cast<CFTimeZoneRef>(value))
                      : Retained<const __CFTimeZone>::adopting(CFTimeZoneCopyDefault());
    if (!zone) return false;
    settings.zone = std::move(zone);
    return true;
}

bool takeCalendar(CFTypeRef value, DateSettings& settings) noexcept {
    if (value && !isOfType(value, TypeID::Calendar)) return false;
    const auto* const calendar = static_cast<const __CFCalendar*>(value);
    settings.calendar = calendar ? calendar->identifier : nullptr;
    settings.firstWeekday = calendar ? calendar->firstWeekday : std::nullopt;
    settings.minimumDays = calendar ? calendar->minimumDays : std::nullopt;
    return true;
}

bool takeCalendarName(CFTypeRef value, DateSettings& settings) noexcept {
    const CFCalendarIdentifier known = value ? knownCalendar(static_cast<CFStringRef>(value)) : nullptr;
    if (value && !known) return false;
    settings.calendar = known;
    return true;
}

/// False where the value does not fit the key, or nothing can be told it.
bool takeProperty(DateSettings& settings, CFStringRef key, CFTypeRef value) {
    const auto is = [key](CFDateFormatterKey other) { return CFEqual(key, other) != 0; };
    if (is(kCFDateFormatterIsLenient)) return takeBoolean(value, settings.isLenient);
    if (is(kCFDateFormatterDoesRelativeDateFormattingKey)) return takeBoolean(value, settings.isRelative);
    if (is(kCFDateFormatterTimeZone)) return takeZone(value, settings);
    if (is(kCFDateFormatterCalendarName)) return takeCalendarName(value, settings);
    if (is(kCFDateFormatterCalendar)) return takeCalendar(value, settings);
    if (is(kCFDateFormatterDefaultDate)) return takeDate(value, settings.defaultDate);
    if (is(kCFDateFormatterTwoDigitStartDate)) return takeDate(value, settings.twoDigitStart);
    if (is(kCFDateFormatterGregorianStartDate)) return takeDate(value, settings.gregorianStart);
    const DateSymbols* const symbols = symbolsOf(key);
    if (!symbols) return false;
    if (!value) {
        settings.symbols.erase(symbols);
        return true;
    }
    std::vector<icu::UnicodeString> texts;
    if (!takeTexts(*symbols, value, texts)) return false;
    settings.symbols[symbols] = std::move(texts);
    return true;
}

}  // namespace

CFTypeRef CFDateFormatterCopyProperty(CFDateFormatterRef formatter, CFDateFormatterKey key) {
    if (!dateFormatter(formatter) || !isOfType(key, TypeID::String)) return nullptr;
    return guarded<CFTypeRef>(nullptr, [&] { return copyProperty(formatter, key); });
}

void CFDateFormatterSetProperty(CFDateFormatterRef formatter, CFStringRef key, CFTypeRef value) {
    if (!dateFormatter(formatter) || !isOfType(key, TypeID::String)) return;
    guarded(false, [&] {
        DateSettings changed = formatter->settings;
        if (!takeProperty(changed, key, value)) return false;
        formatter->settings = std::move(changed);
        formatter->format = Retained<const __CFString>();
        formatter->forgetEngine();
        return true;
    });
}
