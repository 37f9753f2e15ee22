#include <KXCoreLib/CoreFoundation/DateFormatterRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID DateFormatterRef::getTypeID() { return CFDateFormatterGetTypeID(); }

DateFormatterRef DateFormatterRef::create(CFAllocatorRef allocator, CFLocaleRef locale, CFDateFormatterStyle dateStyle,
                                          CFDateFormatterStyle timeStyle) {
    return KX_CREATE(DateFormatterRef, CFDateFormatterCreate)(allocator, locale, dateStyle, timeStyle);
}

DateFormatterRef DateFormatterRef::createISO8601Formatter(CFAllocatorRef allocator,
                                                          CFISO8601DateFormatOptions formatOptions) {
    return KX_CREATE(DateFormatterRef, CFDateFormatterCreateISO8601Formatter)(allocator, formatOptions);
}

StringRef DateFormatterRef::createDateFormatFromTemplate(CFAllocatorRef allocator, CFStringRef tmplate,
                                                         CFOptionFlags options, CFLocaleRef locale) {
    return KX_CREATE(StringRef, CFDateFormatterCreateDateFormatFromTemplate)(allocator, tmplate, options, locale);
}

LocaleRef DateFormatterRef::getLocale() const { return LocaleRef::retain(CFDateFormatterGetLocale(get())); }
CFDateFormatterStyle DateFormatterRef::getDateStyle() const { return CFDateFormatterGetDateStyle(get()); }
CFDateFormatterStyle DateFormatterRef::getTimeStyle() const { return CFDateFormatterGetTimeStyle(get()); }
StringRef DateFormatterRef::getFormat() const { return StringRef::retain(CFDateFormatterGetFormat(get())); }
void DateFormatterRef::setFormat(CFStringRef formatString) const { CFDateFormatterSetFormat(get(), formatString); }

TypeRef DateFormatterRef::copyProperty(CFDateFormatterKey key) const {
    return KX_CREATE(TypeRef, CFDateFormatterCopyProperty)(get(), key);
}

void DateFormatterRef::setProperty(CFStringRef key, CFTypeRef value) const {
    CFDateFormatterSetProperty(get(), key, value);
}

StringRef DateFormatterRef::createStringWithDate(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                 CFDateRef date) {
    return KX_CREATE(StringRef, CFDateFormatterCreateStringWithDate)(allocator, formatter, date);
}

StringRef DateFormatterRef::createStringWithAbsoluteTime(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                         CFAbsoluteTime at) {
    return KX_CREATE(StringRef, CFDateFormatterCreateStringWithAbsoluteTime)(allocator, formatter, at);
}

DateRef DateFormatterRef::createDateFromString(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                               CFStringRef string, CFRange* rangep) {
    return KX_CREATE(DateRef, CFDateFormatterCreateDateFromString)(allocator, formatter, string, rangep);
}

Boolean DateFormatterRef::getAbsoluteTimeFromString(CFStringRef string, CFRange* rangep, CFAbsoluteTime* atp) const {
    return CFDateFormatterGetAbsoluteTimeFromString(get(), string, rangep, atp);
}

}  // namespace KXCore::CoreFoundation
