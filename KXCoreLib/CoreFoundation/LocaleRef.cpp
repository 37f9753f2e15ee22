#include <KXCoreLib/CoreFoundation/LocaleRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID LocaleRef::getTypeID() { return CFLocaleGetTypeID(); }

LocaleRef LocaleRef::create(CFAllocatorRef allocator, CFLocaleIdentifier localeIdentifier) {
    return KX_CREATE(LocaleRef, CFLocaleCreate)(allocator, localeIdentifier);
}

LocaleRef LocaleRef::createCopy(CFAllocatorRef allocator, CFLocaleRef locale) {
    return KX_CREATE(LocaleRef, CFLocaleCreateCopy)(allocator, locale);
}

LocaleRef LocaleRef::copyCurrent() { return KX_CREATE(LocaleRef, CFLocaleCopyCurrent)(); }
LocaleRef LocaleRef::getSystem() { return retain(CFLocaleGetSystem()); }

ArrayRef LocaleRef::copyAvailableLocaleIdentifiers() {
    return KX_CREATE(ArrayRef, CFLocaleCopyAvailableLocaleIdentifiers)();
}

ArrayRef LocaleRef::copyISOLanguageCodes() { return KX_CREATE(ArrayRef, CFLocaleCopyISOLanguageCodes)(); }
ArrayRef LocaleRef::copyISOCountryCodes() { return KX_CREATE(ArrayRef, CFLocaleCopyISOCountryCodes)(); }
ArrayRef LocaleRef::copyISOCurrencyCodes() { return KX_CREATE(ArrayRef, CFLocaleCopyISOCurrencyCodes)(); }
ArrayRef LocaleRef::copyCommonISOCurrencyCodes() { return KX_CREATE(ArrayRef, CFLocaleCopyCommonISOCurrencyCodes)(); }
ArrayRef LocaleRef::copyPreferredLanguages() { return KX_CREATE(ArrayRef, CFLocaleCopyPreferredLanguages)(); }

StringRef LocaleRef::createCanonicalLanguageIdentifierFromString(CFAllocatorRef allocator,
                                                                 CFStringRef localeIdentifier) {
    return KX_CREATE(StringRef, CFLocaleCreateCanonicalLanguageIdentifierFromString)(allocator, localeIdentifier);
}

StringRef LocaleRef::createCanonicalLocaleIdentifierFromString(CFAllocatorRef allocator, CFStringRef localeIdentifier) {
    return KX_CREATE(StringRef, CFLocaleCreateCanonicalLocaleIdentifierFromString)(allocator, localeIdentifier);
}

StringRef LocaleRef::createCanonicalLocaleIdentifierFromScriptManagerCodes(CFAllocatorRef allocator, LangCode lcode,
                                                                           RegionCode rcode) {
    return KX_CREATE(StringRef, CFLocaleCreateCanonicalLocaleIdentifierFromScriptManagerCodes)(allocator, lcode, rcode);
}

StringRef LocaleRef::createLocaleIdentifierFromWindowsLocaleCode(CFAllocatorRef allocator, uint32_t lcid) {
    return KX_CREATE(StringRef, CFLocaleCreateLocaleIdentifierFromWindowsLocaleCode)(allocator, lcid);
}

uint32_t LocaleRef::getWindowsLocaleCodeFromLocaleIdentifier(CFLocaleIdentifier localeIdentifier) {
    return CFLocaleGetWindowsLocaleCodeFromLocaleIdentifier(localeIdentifier);
}

CFLocaleLanguageDirection LocaleRef::getLanguageCharacterDirection(CFStringRef isoLangCode) {
    return CFLocaleGetLanguageCharacterDirection(isoLangCode);
}

CFLocaleLanguageDirection LocaleRef::getLanguageLineDirection(CFStringRef isoLangCode) {
    return CFLocaleGetLanguageLineDirection(isoLangCode);
}

DictionaryRef LocaleRef::createComponentsFromLocaleIdentifier(CFAllocatorRef allocator, CFLocaleIdentifier localeID) {
    return KX_CREATE(DictionaryRef, CFLocaleCreateComponentsFromLocaleIdentifier)(allocator, localeID);
}

StringRef LocaleRef::createLocaleIdentifierFromComponents(CFAllocatorRef allocator, CFDictionaryRef dictionary) {
    return KX_CREATE(StringRef, CFLocaleCreateLocaleIdentifierFromComponents)(allocator, dictionary);
}

StringRef LocaleRef::getIdentifier() const { return StringRef::retain(CFLocaleGetIdentifier(get())); }
CFTypeRef LocaleRef::getValue(CFLocaleKey key) const { return CFLocaleGetValue(get(), key); }

StringRef LocaleRef::copyDisplayNameForPropertyValue(CFLocaleKey key, CFStringRef value) const {
    return KX_CREATE(StringRef, CFLocaleCopyDisplayNameForPropertyValue)(get(), key, value);
}

}  // namespace KXCore::CoreFoundation
