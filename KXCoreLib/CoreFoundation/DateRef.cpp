#include <KXCoreLib/CoreFoundation/DateRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID DateRef::getTypeID() { return CFDateGetTypeID(); }

DateRef DateRef::create(CFAllocatorRef allocator, CFAbsoluteTime at) {
    return KX_CREATE(DateRef, CFDateCreate)(allocator, at);
}

CFAbsoluteTime DateRef::getAbsoluteTime() const { return CFDateGetAbsoluteTime(get()); }

CFTimeInterval DateRef::getTimeIntervalSinceDate(CFDateRef other) const {
    return CFDateGetTimeIntervalSinceDate(get(), other);
}

CFComparisonResult DateRef::compare(CFDateRef other, void* context) const {
    return CFDateCompare(get(), other, context);
}

CFAbsoluteTime DateRef::absoluteTimeGetCurrent() { return CFAbsoluteTimeGetCurrent(); }

// The calendar functions are deprecated on macOS and have no successor of their own kind.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

Boolean DateRef::gregorianDateIsValid(CFGregorianDate date, CFOptionFlags unitFlags) {
    return CFGregorianDateIsValid(date, unitFlags);
}

CFAbsoluteTime DateRef::gregorianDateGetAbsoluteTime(CFGregorianDate date, CFTimeZoneRef zone) {
    return CFGregorianDateGetAbsoluteTime(date, zone);
}

CFGregorianDate DateRef::absoluteTimeGetGregorianDate(CFAbsoluteTime at, CFTimeZoneRef zone) {
    return CFAbsoluteTimeGetGregorianDate(at, zone);
}

CFAbsoluteTime DateRef::absoluteTimeAddGregorianUnits(CFAbsoluteTime at, CFTimeZoneRef zone, CFGregorianUnits units) {
    return CFAbsoluteTimeAddGregorianUnits(at, zone, units);
}

CFGregorianUnits DateRef::absoluteTimeGetDifferenceAsGregorianUnits(CFAbsoluteTime at1, CFAbsoluteTime at2,
                                                                    CFTimeZoneRef zone, CFOptionFlags unitFlags) {
    return CFAbsoluteTimeGetDifferenceAsGregorianUnits(at1, at2, zone, unitFlags);
}

SInt32 DateRef::absoluteTimeGetDayOfWeek(CFAbsoluteTime at, CFTimeZoneRef zone) {
    return CFAbsoluteTimeGetDayOfWeek(at, zone);
}

SInt32 DateRef::absoluteTimeGetDayOfYear(CFAbsoluteTime at, CFTimeZoneRef zone) {
    return CFAbsoluteTimeGetDayOfYear(at, zone);
}

SInt32 DateRef::absoluteTimeGetWeekOfYear(CFAbsoluteTime at, CFTimeZoneRef zone) {
    return CFAbsoluteTimeGetWeekOfYear(at, zone);
}

}  // namespace KXCore::CoreFoundation
