#include <KXCoreLib/CoreFoundation/CalendarRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID CalendarRef::getTypeID() { return CFCalendarGetTypeID(); }

CalendarRef CalendarRef::copyCurrent() { return KX_CREATE(CalendarRef, CFCalendarCopyCurrent)(); }

CalendarRef CalendarRef::createWithIdentifier(CFAllocatorRef allocator, CFCalendarIdentifier identifier) {
    return KX_CREATE(CalendarRef, CFCalendarCreateWithIdentifier)(allocator, identifier);
}

StringRef CalendarRef::getIdentifier() const { return StringRef::retain(CFCalendarGetIdentifier(get())); }

LocaleRef CalendarRef::copyLocale() const { return KX_CREATE(LocaleRef, CFCalendarCopyLocale)(get()); }
void CalendarRef::setLocale(CFLocaleRef locale) const { CFCalendarSetLocale(get(), locale); }
TimeZoneRef CalendarRef::copyTimeZone() const { return KX_CREATE(TimeZoneRef, CFCalendarCopyTimeZone)(get()); }
void CalendarRef::setTimeZone(CFTimeZoneRef tz) const { CFCalendarSetTimeZone(get(), tz); }
CFIndex CalendarRef::getFirstWeekday() const { return CFCalendarGetFirstWeekday(get()); }
void CalendarRef::setFirstWeekday(CFIndex wkdy) const { CFCalendarSetFirstWeekday(get(), wkdy); }
CFIndex CalendarRef::getMinimumDaysInFirstWeek() const { return CFCalendarGetMinimumDaysInFirstWeek(get()); }
void CalendarRef::setMinimumDaysInFirstWeek(CFIndex mwd) const { CFCalendarSetMinimumDaysInFirstWeek(get(), mwd); }

CFRange CalendarRef::getMinimumRangeOfUnit(CFCalendarUnit unit) const {
    return CFCalendarGetMinimumRangeOfUnit(get(), unit);
}

CFRange CalendarRef::getMaximumRangeOfUnit(CFCalendarUnit unit) const {
    return CFCalendarGetMaximumRangeOfUnit(get(), unit);
}

CFRange CalendarRef::getRangeOfUnit(CFCalendarUnit smallerUnit, CFCalendarUnit biggerUnit, CFAbsoluteTime at) const {
    return CFCalendarGetRangeOfUnit(get(), smallerUnit, biggerUnit, at);
}

CFIndex CalendarRef::getOrdinalityOfUnit(CFCalendarUnit smallerUnit, CFCalendarUnit biggerUnit,
                                         CFAbsoluteTime at) const {
    return CFCalendarGetOrdinalityOfUnit(get(), smallerUnit, biggerUnit, at);
}

Boolean CalendarRef::getTimeRangeOfUnit(CFCalendarUnit unit, CFAbsoluteTime at, CFAbsoluteTime* startp,
                                        CFTimeInterval* tip) const {
    return CFCalendarGetTimeRangeOfUnit(get(), unit, at, startp, tip);
}

}  // namespace KXCore::CoreFoundation
