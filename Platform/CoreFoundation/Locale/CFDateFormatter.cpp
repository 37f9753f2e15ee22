#include "CFDateFormatterObject.h"

#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/String/CFStringSupport.h"
#include "ZoneForICU.h"

#include <algorithm>
#include <cmath>
#include <iterator>

using namespace KXPlatform;

namespace {

void finalizeFormatter(Object* object) noexcept { finalizeAs<__CFDateFormatter>(object); }

CFStringRef describeFormatter(const Object* object) {
    auto* const formatter = const_cast<__CFDateFormatter*>(static_cast<const __CFDateFormatter*>(object));
    Description description;
    description.appendHeading(formatter);
    description.format("{locale = ");
    description.append(formatter->settings.locale->identifier);
    description.format(", format = ");
    description.append(CFDateFormatterGetFormat(formatter));
    description.format(", time zone = ");
    description.append(formatter->settings.zone->name.get());
    description.format("}");
    return description.take();
}

}  // namespace

namespace KXPlatform {
constinit const Class kDateFormatterClass{TypeID::DateFormatter, finalizeFormatter, nullptr, nullptr,
                                          describeFormatter};
}

DateEngine* __CFDateFormatter::made() noexcept {
    if (DateEngine* const there = engine.load(std::memory_order_acquire)) return there;
    return guarded<DateEngine*>(nullptr, [&]() -> DateEngine* {
        const std::lock_guard lock(mutex);
        if (DateEngine* const there = engine.load(std::memory_order_relaxed)) return there;
        engine.store(makeEngine(settings).release(), std::memory_order_release);
        return engine.load(std::memory_order_relaxed);
    });
}

namespace {

constexpr bool isStyle(CFDateFormatterStyle style) noexcept {
    return style >= kCFDateFormatterNoStyle && style <= kCFDateFormatterFullStyle;
}

/// A time in whole milliseconds. A time far from 2001 is not exact to the millisecond, and 0.3 seconds are not 0.299.
UDate dateOf(CFAbsoluteTime at) noexcept {
    const double second = std::floor(at);
    const double milliseconds = std::min(std::floor((at - second) * 1000 + 0.001), 999.0);
    return dateOfSecond(second) + milliseconds;
}

bool print(const DateEngine& engine, icu::Calendar& calendar, UDate date, icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    calendar.setTime(date, status);
    if (engine.simple) {
        engine.simple->format(calendar, text, nullptr, status);
    } else {
        icu::FieldPosition nowhere;
        engine.format->format(calendar, text, nowhere);
    }
    return U_SUCCESS(status) && !text.isBogus();
}

/// Midnight of 2000-01-01 on the wall clock of a zone.
UDate usualDate(const icu::Calendar& calendar) noexcept {
    constexpr UDate kMidnight = 946'684'800'000;
    std::int32_t raw = 0, saving = 0;
    UErrorCode status = U_ZERO_ERROR;
    calendar.getTimeZone().getOffset(kMidnight, true, raw, saving, status);
    return kMidnight - raw - saving;
}

/// Sets `calendar` to a date field by field, so that what is then read in a text comes to stand in place of one or the
/// other. A weekday alone, beside a day, does not: as in a calendar that was cleared, it needs a week to count.
void setFields(icu::Calendar& calendar, UDate date, UErrorCode& status) {
    constexpr UCalendarDateFields kFields[] = {UCAL_ERA,         UCAL_YEAR,   UCAL_MONTH,  UCAL_DATE,
                                               UCAL_HOUR_OF_DAY, UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND};
    constexpr std::size_t kCount = std::size(kFields);
    std::int32_t values[kCount];
    calendar.setTime(date, status);
    for (std::size_t i = 0; i < kCount; ++i) values[i] = calendar.get(kFields[i], status);
    const std::int32_t isLeapMonth = calendar.get(UCAL_IS_LEAP_MONTH, status);
    calendar.clear();
    for (std::size_t i = 0; i < kCount; ++i) calendar.set(kFields[i], values[i]);
    if (isLeapMonth) calendar.set(UCAL_IS_LEAP_MONTH, isLeapMonth);
}

/// A zone that was read in a text is one of ICU's. Where the database has it, the database's counts.
void useDatabase(icu::Calendar& calendar) {
    const icu::TimeZone& read = calendar.getTimeZone();
    if (zoneBehind(read)) return;
    icu::UnicodeString name;
    read.getID(name);
    const auto text = Retained<const __CFString>::adopting(createString(kCFAllocatorSystemDefault, name));
    const auto zone = Retained<const __CFTimeZone>::adopting(
        text ? CFTimeZoneCreateWithName(kCFAllocatorSystemDefault, text.get(), false) : nullptr);
    if (!zone) return;
    if (std::unique_ptr<icu::BasicTimeZone> ours = makeZoneForICU(zone.get())) calendar.adoptTimeZone(ours.release());
}

/// Reads a date at the start of `text`; how much of it was read comes back in `length`.
bool parse(const DateEngine& engine, const icu::UnicodeString& text, std::int32_t& length, CFAbsoluteTime& at) {
    const std::unique_ptr<icu::Calendar> calendar(engine.format->getCalendar()->clone());
    if (!calendar) return false;
    UErrorCode status = U_ZERO_ERROR;
    setFields(*calendar, engine.defaultDate ? *engine.defaultDate : usualDate(*calendar), status);
    icu::ParsePosition position(0);
    engine.format->parse(text, *calendar, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() == 0) return false;
    useDatabase(*calendar);
    const UDate date = calendar->getTime(status);
    if (U_FAILURE(status) || !isReached(timeOfDate(date))) return false;
    length = position.getIndex();
    at = timeOfDate(date);
    return true;
}

}  // namespace

// ---- Exported

CFTypeID CFDateFormatterGetTypeID() { return number(TypeID::DateFormatter); }

CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale, CFDateFormatterStyle dateStyle,
                                         CFDateFormatterStyle timeStyle) {
    if (!isStyle(dateStyle) || !isStyle(timeStyle)) return nullptr;
    DateSettings settings;
    settings.locale = localeOrCurrent(locale);
    settings.zone = Retained<const __CFTimeZone>::adopting(CFTimeZoneCopyDefault());
    settings.dateStyle = dateStyle;
    settings.timeStyle = timeStyle;
    if (!settings.locale || !settings.zone) return nullptr;
    return make<__CFDateFormatter>(allocator, 0, std::move(settings));
}

CFLocaleRef CFDateFormatterGetLocale(CFDateFormatterRef formatter) {
    return dateFormatter(formatter) ? formatter->settings.locale.get() : nullptr;
}

CFDateFormatterStyle CFDateFormatterGetDateStyle(CFDateFormatterRef formatter) {
    return dateFormatter(formatter) ? formatter->settings.dateStyle : kCFDateFormatterNoStyle;
}

CFDateFormatterStyle CFDateFormatterGetTimeStyle(CFDateFormatterRef formatter) {
    return dateFormatter(formatter) ? formatter->settings.timeStyle : kCFDateFormatterNoStyle;
}

CFStringRef CFDateFormatterGetFormat(CFDateFormatterRef formatter) {
    if (!dateFormatter(formatter)) return nullptr;
    if (formatter->settings.pattern) return formatter->settings.pattern.get();
    return guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        const std::lock_guard lock(formatter->mutex);
        if (!formatter->format) {
            const icu::UnicodeString pattern = patternOfStyles(formatter->settings);
            formatter->format = Retained<const __CFString>::adopting(createString(kCFAllocatorSystemDefault, pattern));
        }
        return formatter->format.get();
    });
}

void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef formatString) {
    if (!dateFormatter(formatter) || !isOfType(formatString, TypeID::String)) return;
    if (!fitsICU(CFStringGetLength(formatString))) return;
    auto copy = Retained<const __CFString>::adopting(CFStringCreateCopy(kCFAllocatorSystemDefault, formatString));
    if (!copy) return;
    formatter->settings.pattern = std::move(copy);
    formatter->forgetEngine();
}

CFStringRef CFDateFormatterCreateStringWithDate(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                CFDateRef date) {
    if (!isOfType(date, TypeID::Date)) return nullptr;
    return CFDateFormatterCreateStringWithAbsoluteTime(allocator, formatter, CFDateGetAbsoluteTime(date));
}

CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                        CFAbsoluteTime at) {
    DateEngine* const engine = dateFormatter(formatter) && isReached(at) ? formatter->made() : nullptr;
    if (!engine) return nullptr;
    return guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        icu::UnicodeString text;
        const UDate date = dateOf(at);
        if (const std::unique_lock lock(formatter->mutex, std::try_to_lock); lock.owns_lock()) {
            if (!print(*engine, *engine->calendar, date, text)) return nullptr;
        } else {
            // Another thread is printing: this one does so with a calendar of its own.
            const std::unique_ptr<icu::Calendar> own(engine->format->getCalendar()->clone());
            if (!own) return nullptr;
            own->setLenient(true);
            if (!print(*engine, *own, date, text)) return nullptr;
        }
        return createString(allocator, text);
    });
}

CFDateRef CFDateFormatterCreateDateFromString(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                              CFStringRef string, CFRange* rangep) {
    CFAbsoluteTime at = 0;
    CFRange range = rangep ? *rangep : CFRange{0, isOfType(string, TypeID::String) ? CFStringGetLength(string) : 0};
    if (!CFDateFormatterGetAbsoluteTimeFromString(formatter, string, &range, &at)) return nullptr;
    const CFDateRef date = CFDateCreate(allocator, at);
    if (date && rangep) *rangep = range;
    return date;
}

Boolean CFDateFormatterGetAbsoluteTimeFromString(CFDateFormatterRef formatter, CFStringRef string, CFRange* rangep,
                                                 CFAbsoluteTime* atp) {
    if (!dateFormatter(formatter) || !isOfType(string, TypeID::String)) return false;
    const CFIndex length = CFStringGetLength(string);
    const CFRange range = rangep ? *rangep : CFRange{0, length};
    if (range.location < 0 || range.length < 0 || range.location > length || range.length > length - range.location ||
        !fitsICU(range.length)) {
        return false;
    }
    DateEngine* const engine = formatter->made();
    if (!engine) return false;
    return guarded<Boolean>(false, [&]() -> Boolean {
        const TextView part = view(string).part(range.location, range.length);
        icu::UnicodeString text;
        if (part.isWide())
            text.setTo(asUTF16(part.wide), static_cast<std::int32_t>(part.length));
        else
            text = icu::UnicodeString(part.ascii, static_cast<std::int32_t>(part.length), US_INV);
        std::int32_t read = 0;
        CFAbsoluteTime at = 0;
        if (!parse(*engine, text, read, at)) return false;
        if (rangep) *rangep = {range.location, read};
        if (atp) *atp = at;
        return true;
    });
}
