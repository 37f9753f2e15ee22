#include <KXCoreLib/CoreFoundation/TimeZoneRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID TimeZoneRef::getTypeID() { return CFTimeZoneGetTypeID(); }

TimeZoneRef TimeZoneRef::copySystem() { return KX_CREATE(TimeZoneRef, CFTimeZoneCopySystem)(); }
void TimeZoneRef::resetSystem() { CFTimeZoneResetSystem(); }
TimeZoneRef TimeZoneRef::copyDefault() { return KX_CREATE(TimeZoneRef, CFTimeZoneCopyDefault)(); }
void TimeZoneRef::setDefault() const { CFTimeZoneSetDefault(get()); }
ArrayRef TimeZoneRef::copyKnownNames() { return KX_CREATE(ArrayRef, CFTimeZoneCopyKnownNames)(); }

DictionaryRef TimeZoneRef::copyAbbreviationDictionary() {
    return KX_CREATE(DictionaryRef, CFTimeZoneCopyAbbreviationDictionary)();
}

void TimeZoneRef::setAbbreviationDictionary(CFDictionaryRef dict) { CFTimeZoneSetAbbreviationDictionary(dict); }

TimeZoneRef TimeZoneRef::create(CFAllocatorRef allocator, CFStringRef name, CFDataRef data) {
    return KX_CREATE(TimeZoneRef, CFTimeZoneCreate)(allocator, name, data);
}

TimeZoneRef TimeZoneRef::createWithTimeIntervalFromGMT(CFAllocatorRef allocator, CFTimeInterval ti) {
    return KX_CREATE(TimeZoneRef, CFTimeZoneCreateWithTimeIntervalFromGMT)(allocator, ti);
}

TimeZoneRef TimeZoneRef::createWithName(CFAllocatorRef allocator, CFStringRef name, Boolean tryAbbrev) {
    return KX_CREATE(TimeZoneRef, CFTimeZoneCreateWithName)(allocator, name, tryAbbrev);
}

StringRef TimeZoneRef::getName() const { return StringRef::retain(CFTimeZoneGetName(get())); }
DataRef TimeZoneRef::getData() const { return DataRef::retain(CFTimeZoneGetData(get())); }
CFTimeInterval TimeZoneRef::getSecondsFromGMT(CFAbsoluteTime at) const {
    return CFTimeZoneGetSecondsFromGMT(get(), at);
}

StringRef TimeZoneRef::copyAbbreviation(CFAbsoluteTime at) const {
    return KX_CREATE(StringRef, CFTimeZoneCopyAbbreviation)(get(), at);
}

Boolean TimeZoneRef::isDaylightSavingTime(CFAbsoluteTime at) const { return CFTimeZoneIsDaylightSavingTime(get(), at); }

CFTimeInterval TimeZoneRef::getDaylightSavingTimeOffset(CFAbsoluteTime at) const {
    return CFTimeZoneGetDaylightSavingTimeOffset(get(), at);
}

CFAbsoluteTime TimeZoneRef::getNextDaylightSavingTimeTransition(CFAbsoluteTime at) const {
    return CFTimeZoneGetNextDaylightSavingTimeTransition(get(), at);
}

StringRef TimeZoneRef::copyLocalizedName(CFTimeZoneNameStyle style, CFLocaleRef locale) const {
    return KX_CREATE(StringRef, CFTimeZoneCopyLocalizedName)(get(), style, locale);
}

}  // namespace KXCore::CoreFoundation
