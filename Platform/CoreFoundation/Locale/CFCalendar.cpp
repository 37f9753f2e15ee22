#include "CFCalendarObject.h"

#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/String/CFStringObject.h"
#include "CoreFoundation/String/CFStringSupport.h"
#include "ZoneForICU.h"

#include <cmath>
#include <utility>

using namespace KXPlatform;

namespace {

void finalizeCalendar(Object* object) noexcept { finalizeAs<__CFCalendar>(object); }

bool equalCalendars(const Object* object1, const Object* object2) {
    const auto asCalendar = [](const Object* object) {
        return const_cast<__CFCalendar*>(static_cast<const __CFCalendar*>(object));
    };
    __CFCalendar* const one = asCalendar(object1);
    __CFCalendar* const two = asCalendar(object2);
    return one->identifier == two->identifier && CFEqual(one->locale.get(), two->locale.get()) &&
           CFEqual(one->zone.get(), two->zone.get()) &&
           CFCalendarGetFirstWeekday(one) == CFCalendarGetFirstWeekday(two) &&
           CFCalendarGetMinimumDaysInFirstWeek(one) == CFCalendarGetMinimumDaysInFirstWeek(two);
}

CFHashCode hashCalendar(const Object* object) { return CFHash(static_cast<const __CFCalendar*>(object)->identifier); }

CFStringRef describeCalendar(const Object* object) {
    const auto* const calendar = static_cast<const __CFCalendar*>(object);
    Description description;
    description.appendHeading(calendar);
    description.format("{identifier = ");
    description.append(calendar->identifier);
    description.format(", locale = ");
    description.append(calendar->locale->identifier);
    description.format(", time zone = ");
    description.append(calendar->zone->name.get());
    description.format("}");
    return description.take();
}

// Of those that have no constant of their own.
constinit const StringConstant kCoptic("coptic");
constinit const StringConstant kDangi("dangi");
constinit const StringConstant kEthiopic("ethiopic");
constinit const StringConstant kEthiopicAmeteAlem("ethiopic-amete-alem");
constinit const StringConstant kIslamicSaudi("islamic-rgsa");

}  // namespace

namespace KXPlatform {

constinit const Class kCalendarClass{TypeID::Calendar, finalizeCalendar, equalCalendars, hashCalendar,
                                     describeCalendar};

CFCalendarIdentifier knownCalendar(CFStringRef identifier) noexcept {
    if (!isOfType(identifier, TypeID::String)) return nullptr;
    for (const CFCalendarIdentifier known :
         {kCFGregorianCalendar, kCFBuddhistCalendar, kCFChineseCalendar, kCFHebrewCalendar, kCFIslamicCalendar,
          kCFIslamicCivilCalendar, kCFJapaneseCalendar, kCFRepublicOfChinaCalendar, kCFPersianCalendar,
          kCFIndianCalendar, kCFISO8601Calendar, kCFIslamicTabularCalendar, kCFIslamicUmmAlQuraCalendar,
          CFCalendarIdentifier(&kCoptic), CFCalendarIdentifier(&kDangi), CFCalendarIdentifier(&kEthiopic),
          CFCalendarIdentifier(&kEthiopicAmeteAlem), CFCalendarIdentifier(&kIslamicSaudi)}) {
        if (identifier == known || CFEqual(identifier, known)) return known;
    }
    return nullptr;
}

icu::Locale localeWithCalendar(const char* name, CFCalendarIdentifier identifier) {
    icu::Locale locale(name);
    UErrorCode status = U_ZERO_ERROR;
    locale.setKeywordValue("calendar", view(identifier).ascii, status);
    if (U_FAILURE(status)) locale.setToBogus();
    return locale;
}

std::unique_ptr<icu::Calendar> makeICUCalendar(const icu::Locale& locale, const __CFTimeZone* zone) noexcept {
    std::unique_ptr<icu::BasicTimeZone> its = makeZoneForICU(zone);
    if (!its || locale.isBogus()) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> made(icu::Calendar::createInstance(its.release(), locale, status));
    if (U_FAILURE(status)) return nullptr;
    return made;
}

UDate dateOfSecond(CFAbsoluteTime at) noexcept { return (std::floor(at) + kCFAbsoluteTimeIntervalSince1970) * 1000; }

CFAbsoluteTime timeOfDate(UDate date) noexcept { return date / 1000 - kCFAbsoluteTimeIntervalSince1970; }

}  // namespace KXPlatform

namespace {

/// Puts what the program set, where it did, into a calendar that knows what the locale says.
void applySettings(icu::Calendar& icu, const std::optional<CFIndex>& firstWeekday,
                   const std::optional<CFIndex>& minimumDays) noexcept {
    if (firstWeekday) icu.setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(*firstWeekday));
    if (minimumDays) icu.setMinimalDaysInFirstWeek(static_cast<std::uint8_t>(*minimumDays));
}

__CFCalendar* makeCalendar(CFAllocatorRef allocator, CFCalendarIdentifier known,
                           Retained<const __CFLocale>&& locale) noexcept {
    auto zone = Retained<const __CFTimeZone>::adopting(CFTimeZoneCopyDefault());
    if (!locale || !zone || !known) return nullptr;
    return guarded<__CFCalendar*>(nullptr, [&]() -> __CFCalendar* {
        std::unique_ptr<icu::Calendar> icu =
            makeICUCalendar(localeWithCalendar(icuName(locale.get(), LocalePart::Time), known), zone.get());
        if (!icu) return nullptr;
        return make<__CFCalendar>(allocator, 0, known, std::move(locale), std::move(zone), std::move(icu));
    });
}

constexpr bool isDayOfWeek(CFIndex number) noexcept { return number >= 1 && number <= 7; }

}  // namespace

CFTypeID CFCalendarGetTypeID() { return number(TypeID::Calendar); }

CFCalendarRef CFCalendarCopyCurrent() {
    auto locale = localeOrCurrent(nullptr);
    if (!locale) return nullptr;
    const auto* const identifier =
        static_cast<CFStringRef>(CFLocaleGetValue(locale.get(), kCFLocaleCalendarIdentifier));
    const CFCalendarIdentifier known = knownCalendar(identifier);
    return makeCalendar(kCFAllocatorSystemDefault, known ? known : kCFGregorianCalendar, std::move(locale));
}

CFCalendarRef CFCalendarCreateWithIdentifier(CFAllocatorRef allocator, CFCalendarIdentifier identifier) {
    return makeCalendar(allocator, knownCalendar(identifier),
                        Retained<const __CFLocale>::retaining(CFLocaleGetSystem()));
}

CFCalendarIdentifier CFCalendarGetIdentifier(CFCalendarRef calendar) {
    return KXPlatform::calendar(calendar) ? calendar->identifier : nullptr;
}

CFLocaleRef CFCalendarCopyLocale(CFCalendarRef calendar) {
    if (!KXPlatform::calendar(calendar)) return nullptr;
    return Retained<const __CFLocale>(calendar->locale).release();
}

void CFCalendarSetLocale(CFCalendarRef calendar, CFLocaleRef locale) {
    if (!KXPlatform::calendar(calendar)) return;
    guarded(false, [&] {
        Retained<const __CFLocale> used = localeOrCurrent(locale);
        if (!used) return false;
        std::unique_ptr<icu::Calendar> icu = makeICUCalendar(
            localeWithCalendar(icuName(used.get(), LocalePart::Time), calendar->identifier), calendar->zone.get());
        if (!icu) return false;
        applySettings(*icu, calendar->firstWeekday, calendar->minimumDays);
        const std::lock_guard lock(calendar->mutex);
        std::swap(calendar->locale, used);
        std::swap(calendar->icu, icu);
        return true;
    });
}

CFTimeZoneRef CFCalendarCopyTimeZone(CFCalendarRef calendar) {
    if (!KXPlatform::calendar(calendar)) return nullptr;
    return Retained<const __CFTimeZone>(calendar->zone).release();
}

void CFCalendarSetTimeZone(CFCalendarRef calendar, CFTimeZoneRef tz) {
    if (!KXPlatform::calendar(calendar) || (tz && !timeZone(tz))) return;
    auto used = tz ? Retained<const __CFTimeZone>::retaining(tz)
                   : Retained<const __CFTimeZone>::adopting(CFTimeZoneCopyDefault());
    std::unique_ptr<icu::BasicTimeZone> forICU = used ? makeZoneForICU(used.get()) : nullptr;
    if (!forICU) return;
    const std::lock_guard lock(calendar->mutex);
    std::swap(calendar->zone, used);
    calendar->icu->adoptTimeZone(forICU.release());
}

CFIndex CFCalendarGetFirstWeekday(CFCalendarRef calendar) {
    if (!KXPlatform::calendar(calendar)) return 0;
    UErrorCode status = U_ZERO_ERROR;
    const std::lock_guard lock(calendar->mutex);
    return calendar->icu->getFirstDayOfWeek(status);
}

void CFCalendarSetFirstWeekday(CFCalendarRef calendar, CFIndex wkdy) {
    if (!KXPlatform::calendar(calendar) || !isDayOfWeek(wkdy)) return;
    const std::lock_guard lock(calendar->mutex);
    calendar->firstWeekday = wkdy;
    applySettings(*calendar->icu, calendar->firstWeekday, calendar->minimumDays);
}

CFIndex CFCalendarGetMinimumDaysInFirstWeek(CFCalendarRef calendar) {
    if (!KXPlatform::calendar(calendar)) return 0;
    const std::lock_guard lock(calendar->mutex);
    return calendar->icu->getMinimalDaysInFirstWeek();
}

void CFCalendarSetMinimumDaysInFirstWeek(CFCalendarRef calendar, CFIndex mwd) {
    if (!KXPlatform::calendar(calendar) || !isDayOfWeek(mwd)) return;
    const std::lock_guard lock(calendar->mutex);
    calendar->minimumDays = mwd;
    applySettings(*calendar->icu, calendar->firstWeekday, calendar->minimumDays);
}
