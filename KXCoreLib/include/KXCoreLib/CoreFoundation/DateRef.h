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
    static CFTypeID getTypeID() { return CFDateGetTypeID(); }

    static DateRef create(CFAllocatorRef allocator, CFAbsoluteTime at) {
        return created(CFDateCreate(allocator, at), "CFDateCreate");
    }

    CFAbsoluteTime getAbsoluteTime() const { return CFDateGetAbsoluteTime(get()); }
    /// Positive when this date is the later one.
    CFTimeInterval getTimeIntervalSinceDate(CFDateRef other) const {
        return CFDateGetTimeIntervalSinceDate(get(), other);
    }
    CFComparisonResult compare(CFDateRef other, void* context) const { return CFDateCompare(get(), other, context); }

    /// The current time of the system's clock.
    static CFAbsoluteTime absoluteTimeGetCurrent() { return CFAbsoluteTimeGetCurrent(); }

// The calendar functions are deprecated on macOS and have no successor of their own kind.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    static Boolean gregorianDateIsValid(CFGregorianDate date, CFOptionFlags unitFlags) {
        return CFGregorianDateIsValid(date, unitFlags);
    }
    static CFAbsoluteTime gregorianDateGetAbsoluteTime(CFGregorianDate date, CFTimeZoneRef zone) {
        return CFGregorianDateGetAbsoluteTime(date, zone);
    }
    static CFGregorianDate absoluteTimeGetGregorianDate(CFAbsoluteTime at, CFTimeZoneRef zone) {
        return CFAbsoluteTimeGetGregorianDate(at, zone);
    }
    static CFAbsoluteTime absoluteTimeAddGregorianUnits(CFAbsoluteTime at, CFTimeZoneRef zone, CFGregorianUnits units) {
        return CFAbsoluteTimeAddGregorianUnits(at, zone, units);
    }
    static CFGregorianUnits absoluteTimeGetDifferenceAsGregorianUnits(CFAbsoluteTime at1, CFAbsoluteTime at2,
                                                                      CFTimeZoneRef zone, CFOptionFlags unitFlags) {
        return CFAbsoluteTimeGetDifferenceAsGregorianUnits(at1, at2, zone, unitFlags);
    }
    static SInt32 absoluteTimeGetDayOfWeek(CFAbsoluteTime at, CFTimeZoneRef zone) {
        return CFAbsoluteTimeGetDayOfWeek(at, zone);
    }
    static SInt32 absoluteTimeGetDayOfYear(CFAbsoluteTime at, CFTimeZoneRef zone) {
        return CFAbsoluteTimeGetDayOfYear(at, zone);
    }
    static SInt32 absoluteTimeGetWeekOfYear(CFAbsoluteTime at, CFTimeZoneRef zone) {
        return CFAbsoluteTimeGetWeekOfYear(at, zone);
    }
#pragma GCC diagnostic pop
};
static_assert(isPlainRef<DateRef>);

}  // namespace KXCore::CoreFoundation
