#pragma once

#include <KXCoreLib/CoreFoundation/DateRef.h>
#include <KXCoreLib/CoreFoundation/LocaleRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFDateFormatter.h>

namespace KXCore::CoreFoundation {

/// Dates as texts for people, and back. A formatter is changed through any wrapper that holds it; one that nobody
/// changes may be used by any number of threads at once.
class KX_EXPORT DateFormatterRef : public TypedRef<DateFormatterRef, CFDateFormatterRef> {
  public:
    static constexpr const char* typeName = "CFDateFormatterRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// Null stands for the current locale.
    static DateFormatterRef create(CFAllocatorRef allocator, CFLocaleRef locale, CFDateFormatterStyle dateStyle,
                                   CFDateFormatterStyle timeStyle);
    /// For machines: the same texts everywhere and always.
    static DateFormatterRef createISO8601Formatter(CFAllocatorRef allocator, CFISO8601DateFormatOptions formatOptions);
    /// The pattern by which a locale writes the fields of a template.
    static StringRef createDateFormatFromTemplate(CFAllocatorRef allocator, CFStringRef tmplate, CFOptionFlags options,
                                                  CFLocaleRef locale);

    LocaleRef getLocale() const;
    CFDateFormatterStyle getDateStyle() const;
    CFDateFormatterStyle getTimeStyle() const;
    /// The pattern.
    StringRef getFormat() const;
    void setFormat(CFStringRef formatString) const;
    /// A property without a value is a failure.
    TypeRef copyProperty(CFDateFormatterKey key) const;
    /// A value of a wrong type is ignored; null resets.
    void setProperty(CFStringRef key, CFTypeRef value) const;

    static StringRef createStringWithDate(CFAllocatorRef allocator, CFDateFormatterRef formatter, CFDateRef date);
    static StringRef createStringWithAbsoluteTime(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                  CFAbsoluteTime at);
    /// Of a text that does not fit the pattern no date can be created. What was read of it comes back in `rangep`.
    static DateRef createDateFromString(CFAllocatorRef allocator, CFDateFormatterRef formatter, CFStringRef string,
                                        CFRange* rangep);
    /// False for a text that does not fit the pattern.
    Boolean getAbsoluteTimeFromString(CFStringRef string, CFRange* rangep, CFAbsoluteTime* atp) const;
};
static_assert(isPlainRef<DateFormatterRef>);

}  // namespace KXCore::CoreFoundation
