#pragma once

/// Time zones: how far the wall clocks of a place are ahead of Greenwich, and when that changes.
///
/// What is known of zones is the system's database, tzdata, in the folder /usr/share/zoneinfo or the one that the
/// environment variable TZDIR names, and nothing else: the Gregorian functions of CFDate, the calendars and the
/// formatters go by the same data. After the last change that a zone's data list, their rule goes on for ever.
///
/// Zones never change and may be used from any thread. What is null or no zone has no offset; null, 0 or false is
/// returned.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef CFStringRef CFNotificationName;

/// The name of the notification that the system's zone has changed.
CF_EXPORT const CFNotificationName kCFTimeZoneSystemTimeZoneDidChangeNotification;

CF_ENUM_TYPE(CFIndex, CFTimeZoneNameStyle){
    kCFTimeZoneNameStyleStandard,             ///< "Central European Standard Time"
    kCFTimeZoneNameStyleShortStandard,        ///< "GMT+1", "PST"
    kCFTimeZoneNameStyleDaylightSaving,       ///< "Central European Summer Time"
    kCFTimeZoneNameStyleShortDaylightSaving,  ///< "GMT+2", "PDT"
    kCFTimeZoneNameStyleGeneric,              ///< "Central European Time"
    kCFTimeZoneNameStyleShortGeneric,         ///< "Germany Time", "PT"
};

CF_EXPORT CFTypeID CFTimeZoneGetTypeID(void);

// ---- The zones of this computer and of the program

/// The zone of the computer: what the environment variable TZ says (a name of the database, a path in its folder, or a
/// rule like "CET-1CEST,M3.5.0,M10.5.0/3"), else /etc/localtime and /etc/timezone; "GMT" where these say nothing that
/// can be understood. It is found at the first call and kept. That call reads the environment, so no other thread may
/// change it meanwhile.
CF_EXPORT CFTimeZoneRef CFTimeZoneCopySystem(void);
/// Forgets the zone of the computer, so that the next call of CFTimeZoneCopySystem finds it anew, and looks at TZDIR
/// again.
CF_EXPORT void CFTimeZoneResetSystem(void);
/// The zone of the program: what it set, else that of the computer.
CF_EXPORT CFTimeZoneRef CFTimeZoneCopyDefault(void);
/// Null: that of the computer again.
CF_EXPORT void CFTimeZoneSetDefault(CFTimeZoneRef tz);

/// The names of all zones in the database, sorted.
CF_EXPORT CFArrayRef CFTimeZoneCopyKnownNames(void);
/// From abbreviations ("CET") to names of zones ("Europe/Paris"). An abbreviation is in use in many zones: this is a
/// convention, which a program may replace for itself; a dictionary that holds anything but texts is ignored.
CF_EXPORT CFDictionaryRef CFTimeZoneCopyAbbreviationDictionary(void);
CF_EXPORT void CFTimeZoneSetAbbreviationDictionary(CFDictionaryRef dict);

// ---- Making

/// The zone of `data`, bytes of a file in the form of the database (TZif, RFC 9636, versions 1 to 4), by any name. Data
/// that are null: those of the database's zone `name`. Null when the data are damaged or there is no such zone.
CF_EXPORT CFTimeZoneRef CFTimeZoneCreate(CFAllocatorRef allocator, CFStringRef name, CFDataRef data);
/// A zone that is always `ti` seconds, rounded to whole minutes, ahead of Greenwich: "GMT+0530", "GMT" for 0. Null
/// beyond 18 hours.
CF_EXPORT CFTimeZoneRef CFTimeZoneCreateWithTimeIntervalFromGMT(CFAllocatorRef allocator, CFTimeInterval ti);
/// A zone of the database, or "GMT+0530", "GMT+5:30", "GMT-3". With `tryAbbrev` an abbreviation is looked up first.
/// Null when there is none. A name cannot lead out of the database's folder.
CF_EXPORT CFTimeZoneRef CFTimeZoneCreateWithName(CFAllocatorRef allocator, CFStringRef name, Boolean tryAbbrev);

// ---- Reading

/// Borrowed.
CF_EXPORT CFStringRef CFTimeZoneGetName(CFTimeZoneRef tz);
/// Borrowed: what the zone was made of, or would be.
CF_EXPORT CFDataRef CFTimeZoneGetData(CFTimeZoneRef tz);
/// Seconds east of Greenwich at a time, daylight saving included.
CF_EXPORT CFTimeInterval CFTimeZoneGetSecondsFromGMT(CFTimeZoneRef tz, CFAbsoluteTime at);
/// As the database has it at a time: "CET", "CEST", "-03"; "GMT+5:30" for a zone made of an interval.
CF_EXPORT CFStringRef CFTimeZoneCopyAbbreviation(CFTimeZoneRef tz, CFAbsoluteTime at);
/// As the database has it: Irish clocks keep standard time in summer, and daylight saving time of minus an hour in
/// winter.
CF_EXPORT Boolean CFTimeZoneIsDaylightSavingTime(CFTimeZoneRef tz, CFAbsoluteTime at);
/// The seconds by which the clocks at a time are ahead of standard time, which may be negative; 0 in standard time.
CF_EXPORT CFTimeInterval CFTimeZoneGetDaylightSavingTimeOffset(CFTimeZoneRef tz, CFAbsoluteTime at);
/// The first time after `at` at which CFTimeZoneGetDaylightSavingTimeOffset gives something else; 0 when there is none.
CF_EXPORT CFAbsoluteTime CFTimeZoneGetNextDaylightSavingTimeTransition(CFTimeZoneRef tz, CFAbsoluteTime at);
/// The name of the zone in the language of `locale`; null stands for the current one. Its text is ICU's, and differs
/// from version to version.
CF_EXPORT CFStringRef CFTimeZoneCopyLocalizedName(CFTimeZoneRef tz, CFTimeZoneNameStyle style, CFLocaleRef locale);

CF_EXTERN_C_END
