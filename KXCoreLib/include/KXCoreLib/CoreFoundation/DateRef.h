#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFDate.h>

namespace KXCore::CoreFoundation {

/// A point in time, in seconds since 2001-01-01 00:00:00 UTC.
///
/// The last group are the functions of times and calendar dates that are no objects; a null time zone means UTC there.
class KX_EXPORT DateRef : public TypedRef<DateRef, CFDateRef> {
  public:
    static constexpr const char* typeName = "CFDateRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    static DateRef create(CFAllocatorRef allocator, CFAbsoluteTime at);

    CFAbsoluteTime getAbsoluteTime() const;
    /// Positive when this date is the later one.
    CFTimeInterval getTimeIntervalSinceDate(CFDateRef other) const;
    CFComparisonResult compare(CFDateRef other, void* context) const;

    /// The current time of the system's clock.
    static CFAbsoluteTime absoluteTimeGetCurrent();

// The calendar functions are deprecated on macOS and have no successor of their own kind.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    static Boolean gregorianDateIsValid(CFGregorianDate date, CFOptionFlags unitFlags);
    static CFAbsoluteTime gregorianDateGetAbsoluteTime(CFGregorianDate date, CFTimeZoneRef zone);
    static CFGregorianDate absoluteTimeGetGregorianDate(CFAbsoluteTime at, CFTimeZoneRef zone);
    static CFAbsoluteTime absoluteTimeAddGregorianUnits(CFAbsoluteTime at, CFTimeZoneRef zone, CFGregorianUnits units);
    static CFGregorianUnits absoluteTimeGetDifferenceAsGregorianUnits(CFAbsoluteTime at1, CFAbsoluteTime at2,
                                                                      CFTimeZoneRef zone, CFOptionFlags unitFlags);
    static SInt32 absoluteTimeGetDayOfWeek(CFAbsoluteTime at, CFTimeZoneRef zone);
    static SInt32 absoluteTimeGetDayOfYear(CFAbsoluteTime at, CFTimeZoneRef zone);
    static SInt32 absoluteTimeGetWeekOfYear(CFAbsoluteTime at, CFTimeZoneRef zone);
#pragma GCC diagnostic pop
};
static_assert(isPlainRef<DateRef>);

}  // namespace KXCore::CoreFoundation
