#pragma once

#include <KXCoreLib/CoreFoundation/LocaleRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TimeZoneRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFCalendar.h>

#include <concepts>

namespace KXCore::CoreFoundation {

/// Times as years, months and days, and what is done with these. A calendar is changed through any wrapper that holds
/// it; those that nobody changes may be used from any thread.
///
/// Operations with a description of components take one int, or int* where values are returned, for each of its letters
/// (CFCalendar.h): `calendar.composeAbsoluteTime(&at, "yMd", 2024, 2, 29)`.
class KX_EXPORT CalendarRef : public TypedRef<CalendarRef, CFCalendarRef> {
  public:
    static constexpr const char* typeName = "CFCalendarRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// Of the current locale, with the program's zone.
    static CalendarRef copyCurrent();
    static CalendarRef createWithIdentifier(CFAllocatorRef allocator, CFCalendarIdentifier identifier);
    StringRef getIdentifier() const;

    LocaleRef copyLocale() const;
    /// Null stands for the current locale.
    void setLocale(CFLocaleRef locale) const;
    TimeZoneRef copyTimeZone() const;
    /// Null stands for the program's zone.
    void setTimeZone(CFTimeZoneRef tz) const;
    /// 1 for Sunday to 7.
    CFIndex getFirstWeekday() const;
    void setFirstWeekday(CFIndex wkdy) const;
    CFIndex getMinimumDaysInFirstWeek() const;
    void setMinimumDaysInFirstWeek(CFIndex mwd) const;

    CFRange getMinimumRangeOfUnit(CFCalendarUnit unit) const;
    CFRange getMaximumRangeOfUnit(CFCalendarUnit unit) const;
    CFRange getRangeOfUnit(CFCalendarUnit smallerUnit, CFCalendarUnit biggerUnit, CFAbsoluteTime at) const;
    /// From 1; kCFNotFound where the units do not nest.
    CFIndex getOrdinalityOfUnit(CFCalendarUnit smallerUnit, CFCalendarUnit biggerUnit, CFAbsoluteTime at) const;
    /// Either place may be null.
    Boolean getTimeRangeOfUnit(CFCalendarUnit unit, CFAbsoluteTime at, CFAbsoluteTime* startp,
                               CFTimeInterval* tip) const;

    template <std::same_as<int>... Amounts>
    Boolean composeAbsoluteTime(CFAbsoluteTime* at, const char* componentDesc, Amounts... amounts) const {
        return CFCalendarComposeAbsoluteTime(get(), at, componentDesc, amounts...);
    }
    template <std::same_as<int*>... Places>
    Boolean decomposeAbsoluteTime(CFAbsoluteTime at, const char* componentDesc, Places... places) const {
        return CFCalendarDecomposeAbsoluteTime(get(), at, componentDesc, places...);
    }
    template <std::same_as<int>... Amounts>
    Boolean addComponents(CFAbsoluteTime* at, CFOptionFlags options, const char* componentDesc,
                          Amounts... amounts) const {
        return CFCalendarAddComponents(get(), at, options, componentDesc, amounts...);
    }
    template <std::same_as<int*>... Places>
    Boolean getComponentDifference(CFAbsoluteTime startingAT, CFAbsoluteTime resultAT, CFOptionFlags options,
                                   const char* componentDesc, Places... places) const {
        return CFCalendarGetComponentDifference(get(), startingAT, resultAT, options, componentDesc, places...);
    }
};
static_assert(isPlainRef<CalendarRef>);

}  // namespace KXCore::CoreFoundation
