// Identifiers of locales made of any bytes: what is canonical stays so, the parts of an identifier make one again, and
// whatever a locale is asked for comes back.

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdlib>

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void take(CFTypeRef object) {
    if (object) CFRelease(object);
}

/// A canonical identifier is its own canonical form.
void requireCanonical(CFStringRef text) {
    const CFStringRef canonical = CFLocaleCreateCanonicalLocaleIdentifierFromString(nullptr, text);
    if (!canonical) return;
    const CFStringRef again = CFLocaleCreateCanonicalLocaleIdentifierFromString(nullptr, canonical);
    require(again != nullptr);
    CFRelease(again);
    CFRelease(canonical);
}

void askAll(CFLocaleRef locale, CFStringRef text) {
    const CFLocaleKey keys[] = {kCFLocaleIdentifier,           kCFLocaleLanguageCode,     kCFLocaleCountryCode,
                                kCFLocaleScriptCode,           kCFLocaleVariantCode,      kCFLocaleCalendarIdentifier,
                                kCFLocaleCollationIdentifier,  kCFLocaleUsesMetricSystem, kCFLocaleDecimalSeparator,
                                kCFLocaleExemplarCharacterSet, kCFLocaleCurrencySymbol,   kCFLocaleCurrencyCode};
    for (const CFLocaleKey key : keys) {
        const CFTypeRef value = CFLocaleGetValue(locale, key);
        require(value == CFLocaleGetValue(locale, key));
        take(CFLocaleCopyDisplayNameForPropertyValue(locale, key, text));
        take(CFLocaleCopyDisplayNameForPropertyValue(CFLocaleGetSystem(), key, text));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const CFStringRef text =
        CFStringCreateWithBytes(nullptr, data, static_cast<CFIndex>(size), kCFStringEncodingISOLatin1, false);
    requireCanonical(text);
    take(CFLocaleCreateCanonicalLanguageIdentifierFromString(nullptr, text));
    CFLocaleGetLanguageCharacterDirection(text);
    CFLocaleGetLanguageLineDirection(text);
    CFLocaleGetWindowsLocaleCodeFromLocaleIdentifier(text);
    if (const CFDictionaryRef parts = CFLocaleCreateComponentsFromLocaleIdentifier(nullptr, text)) {
        take(CFLocaleCreateLocaleIdentifierFromComponents(nullptr, parts));
        CFRelease(parts);
    }
    if (const CFLocaleRef locale = CFLocaleCreate(nullptr, text)) {
        const CFLocaleRef same = CFLocaleCreate(nullptr, CFLocaleGetIdentifier(locale));
        require(same != nullptr);
        askAll(locale, text);
        CFRelease(same);
        CFRelease(locale);
    }
    CFRelease(text);
    return 0;
}
