// Patterns that are put together: from templates, and for ISO 8601.

#include "CFDateFormatterObject.h"

#include "CoreFoundation/String/CFStringSupport.h"

#include <unicode/dtptngen.h>

#include <string>

using namespace KXPlatform;

namespace {

/// "YYYY-'W'ww-ee", "yyyy-MM-dd", "yyyy-DDD" or what of these is asked for.
std::string datePattern(CFISO8601DateFormatOptions options) {
    const bool hasWeek = (options & kCFISO8601DateFormatWithWeekOfYear) != 0;
    const bool hasMonth = (options & kCFISO8601DateFormatWithMonth) != 0;
    const char* const dash = options & kCFISO8601DateFormatWithDashSeparatorInDate ? "-" : "";
    std::string pattern;
    const auto append = [&](const char* part) { pattern += (pattern.empty() ? "" : dash) + std::string(part); };
    if (options & kCFISO8601DateFormatWithYear) append(hasWeek ? "YYYY" : "yyyy");
    if (hasMonth) append("MM");
    if (hasWeek) append("'W'ww");
    if (options & kCFISO8601DateFormatWithDay) append(hasWeek ? "ee" : hasMonth ? "dd" : "DDD");
    return pattern;
}

std::string isoPattern(CFISO8601DateFormatOptions options) {
    std::string pattern = datePattern(options);
    if (options & kCFISO8601DateFormatWithTime) {
        if (!pattern.empty()) pattern += options & kCFISO8601DateFormatWithSpaceBetweenDateAndTime ? " " : "'T'";
        pattern += options & kCFISO8601DateFormatWithColonSeparatorInTime ? "HH:mm:ss" : "HHmmss";
        if (options & kCFISO8601DateFormatWithFractionalSeconds) pattern += ".SSS";
    }
    if (options & kCFISO8601DateFormatWithTimeZone)
        pattern += options & kCFISO8601DateFormatWithColonSeparatorInTimeZone ? "XXXXX" : "XXXX";
    return pattern;
}

}  // namespace

CFDateFormatterRef CFDateFormatterCreateISO8601Formatter(CFAllocatorRef allocator,
                                                         CFISO8601DateFormatOptions formatOptions) {
    return guarded<CFDateFormatterRef>(nullptr, [=]() -> CFDateFormatterRef {
        const std::string pattern = isoPattern(formatOptions);
        if (pattern.empty()) return nullptr;
        DateSettings settings;
        settings.locale =
            Retained<const __CFLocale>::adopting(CFLocaleCreate(kCFAllocatorSystemDefault, CFSTR("en_US_POSIX")));
        settings.zone = Retained<const __CFTimeZone>::adopting(
            CFTimeZoneCreateWithTimeIntervalFromGMT(kCFAllocatorSystemDefault, 0));
        settings.pattern = Retained<const __CFString>::adopting(createASCII(kCFAllocatorSystemDefault, pattern));
        settings.calendar = kCFISO8601Calendar;
        settings.gregorianStart = -kFarthestTime;  // dates of this form are Gregorian ones at all times
        if (!settings.locale || !settings.zone || !settings.pattern) return nullptr;
        return make<__CFDateFormatter>(allocator, 0, std::move(settings));
    });
}

CFStringRef CFDateFormatterCreateDateFormatFromTemplate(CFAllocatorRef allocator, CFStringRef tmplate, CFOptionFlags,
                                                        CFLocaleRef locale) {
    // Longer ones than any can be: the letters of a field repeat four or five times.
    constexpr CFIndex kLongest = 1000;
    if (!isOfType(tmplate, TypeID::String) || CFStringGetLength(tmplate) > kLongest) return nullptr;
    return guarded<CFStringRef>(nullptr, [=]() -> CFStringRef {
        const auto used = localeOrCurrent(locale);
        if (!used) return nullptr;
        UErrorCode status = U_ZERO_ERROR;
        const std::unique_ptr<icu::DateTimePatternGenerator> generator(
            icu::DateTimePatternGenerator::createInstance(icu::Locale(icuName(used.get(), LocalePart::Time)), status));
        if (!generator || U_FAILURE(status)) return nullptr;
        const icu::UnicodeString pattern = generator->getBestPattern(unicodeString(tmplate), status);
        return U_SUCCESS(status) ? createString(allocator, pattern) : nullptr;
    });
}
