#pragma once

#include <KXCoreLib/CoreFoundation/ArrayRef.h>
#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFTimeZone.h>

namespace KXCore::CoreFoundation {

/// How far the wall clocks of a place are ahead of Greenwich, and when that changes. Zones never change and may be used
/// from any thread.
class KX_EXPORT TimeZoneRef : public TypedRef<TimeZoneRef, CFTimeZoneRef> {
  public:
    static constexpr const char* typeName = "CFTimeZoneRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// The computer's zone, found once and kept until resetSystem().
    static TimeZoneRef copySystem();
    static void resetSystem();
    /// What the program has set, else the computer's.
    static TimeZoneRef copyDefault();
    /// Makes this the program's zone; an empty one: the computer's again.
    void setDefault() const;
    /// Texts.
    static ArrayRef copyKnownNames();
    /// From abbreviations to names of zones.
    static DictionaryRef copyAbbreviationDictionary();
    static void setAbbreviationDictionary(CFDictionaryRef dict);

    /// Of the bytes of a zone's file; null data: of the zone that the system knows by this name. Damaged data are
    /// refused.
    static TimeZoneRef create(CFAllocatorRef allocator, CFStringRef name, CFDataRef data);
    /// Seconds east of Greenwich, 18 hours at most.
    static TimeZoneRef createWithTimeIntervalFromGMT(CFAllocatorRef allocator, CFTimeInterval ti);
    static TimeZoneRef createWithName(CFAllocatorRef allocator, CFStringRef name, Boolean tryAbbrev);

    StringRef getName() const;
    DataRef getData() const;
    /// East of Greenwich, daylight saving included.
    CFTimeInterval getSecondsFromGMT(CFAbsoluteTime at) const;
    StringRef copyAbbreviation(CFAbsoluteTime at) const;
    Boolean isDaylightSavingTime(CFAbsoluteTime at) const;
    /// In seconds; negative where clocks are turned back in winter.
    CFTimeInterval getDaylightSavingTimeOffset(CFAbsoluteTime at) const;
    /// 0 where there is none after `at`.
    CFAbsoluteTime getNextDaylightSavingTimeTransition(CFAbsoluteTime at) const;
    /// Null stands for the current locale.
    StringRef copyLocalizedName(CFTimeZoneNameStyle style, CFLocaleRef locale) const;
};
static_assert(isPlainRef<TimeZoneRef>);

}  // namespace KXCore::CoreFoundation
