#pragma once

// How a calendar lies in memory, and ICU's calendars that go by our zones, for the sources of this room.

#include "CFLocaleObject.h"
#include "CFTimeZoneObject.h"

#include <CoreFoundation/CFCalendar.h>

#include <unicode/calendar.h>

#include <memory>
#include <mutex>
#include <optional>

namespace KXPlatform {

extern const Class kCalendarClass;

/// The constant for the identifier of a calendar that ICU has; null for any other text.
CFCalendarIdentifier knownCalendar(CFStringRef identifier) noexcept;

/// ICU's name of a locale with the calendar of `identifier`, one that is known.
icu::Locale localeWithCalendar(const char* name, CFCalendarIdentifier identifier);

/// ICU's calendar for a locale made so. Null where ICU has none, or no memory.
std::unique_ptr<icu::Calendar> makeICUCalendar(const icu::Locale& locale, const __CFTimeZone* zone) noexcept;

/// Five million years and more, which ICU's calendars reach.
constexpr CFAbsoluteTime kFarthestTime = 1.8e14;
constexpr bool isReached(CFAbsoluteTime at) noexcept { return at >= -kFarthestTime && at <= kFarthestTime; }

/// The whole second that a time lies in, as ICU counts it. What it lacks of the time is no business of calendars.
UDate dateOfSecond(CFAbsoluteTime at) noexcept;
/// The time of a date of ICU's.
CFAbsoluteTime timeOfDate(UDate date) noexcept;

}  // namespace KXPlatform

struct __CFCalendar : KXPlatform::Object {
    __CFCalendar(CFCalendarIdentifier known, KXPlatform::Retained<const __CFLocale>&& itsLocale,
                 KXPlatform::Retained<const __CFTimeZone>&& itsZone, std::unique_ptr<icu::Calendar>&& itsICU) noexcept
        : Object(KXPlatform::kCalendarClass),
          identifier(known),
          locale(std::move(itsLocale)),
          zone(std::move(itsZone)),
          icu(std::move(itsICU)) {}

    const CFCalendarIdentifier identifier;
    KXPlatform::Retained<const __CFLocale> locale;
    KXPlatform::Retained<const __CFTimeZone> zone;
    // What a program has set; else the locale says it.
    std::optional<CFIndex> firstWeekday;
    std::optional<CFIndex> minimumDays;
    std::mutex mutex;  ///< of what follows: to ask ICU's calendar something is to change it
    std::unique_ptr<icu::Calendar> icu;
};

namespace KXPlatform {

inline __CFCalendar* calendar(CFCalendarRef calendar) noexcept {
    return calendar && calendar->cls == &kCalendarClass ? calendar : nullptr;
}

/// The use of a calendar's ICU calendar by one thread, set to a time.
class CalendarInUse {
  public:
    CalendarInUse(__CFCalendar* calendar, CFAbsoluteTime at) noexcept : lock_(calendar->mutex), icu_(*calendar->icu) {
        moveTo(at);
    }

    icu::Calendar* operator->() noexcept { return &icu_; }

    void moveTo(CFAbsoluteTime at) noexcept { icu_.setTime(dateOfSecond(at), status_); }
    int get(UCalendarDateFields field) noexcept { return icu_.get(field, status_); }
    void add(UCalendarDateFields field, std::int32_t amount) noexcept { icu_.add(field, amount, status_); }
    CFAbsoluteTime time() noexcept { return timeOfDate(icu_.getTime(status_)); }
    UErrorCode& status() noexcept { return status_; }
    bool hasFailed() const noexcept { return U_FAILURE(status_); }

  private:
    const std::lock_guard<std::mutex> lock_;
    icu::Calendar& icu_;
    UErrorCode status_ = U_ZERO_ERROR;
};

/// A unit from a time on, in seconds.
struct TimeRange {
    CFAbsoluteTime start;
    CFTimeInterval length;
};

/// Moves `calendar` to the start of that unit which its time lies in. False for what is no unit.
bool moveToStart(CalendarInUse& calendar, CFCalendarUnit unit) noexcept;

}  // namespace KXPlatform
