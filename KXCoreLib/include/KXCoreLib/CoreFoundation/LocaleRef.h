#pragma once

#include <KXCoreLib/CoreFoundation/ArrayRef.h>
#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFLocale.h>

namespace KXCore::CoreFoundation {

/// What a language and a region are used to. Never changes; any thread.
class KX_EXPORT LocaleRef : public TypedRef<LocaleRef, CFLocaleRef> {
  public:
    static constexpr const char* typeName = "CFLocaleRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// Of the identifier's canonical form, whether there are data for it or not.
    static LocaleRef create(CFAllocatorRef allocator, CFLocaleIdentifier localeIdentifier);
    static LocaleRef createCopy(CFAllocatorRef allocator, CFLocaleRef locale);
    /// The locale of the user.
    static LocaleRef copyCurrent();
    /// The root, whose identifier is "".
    static LocaleRef getSystem();

    /// The identifiers that there are data for.
    static ArrayRef copyAvailableLocaleIdentifiers();
    static ArrayRef copyISOLanguageCodes();
    static ArrayRef copyISOCountryCodes();
    /// All that ever were.
    static ArrayRef copyISOCurrencyCodes();
    static ArrayRef copyCommonISOCurrencyCodes();
    /// Best first.
    static ArrayRef copyPreferredLanguages();

    /// "EN-us", "French": canonical as a language ("en-US", "fr") or a locale ("en_US", "fr").
    static StringRef createCanonicalLanguageIdentifierFromString(CFAllocatorRef allocator,
                                                                 CFStringRef localeIdentifier);
    static StringRef createCanonicalLocaleIdentifierFromString(CFAllocatorRef allocator, CFStringRef localeIdentifier);
    /// -1 for a language or region that is not known.
    static StringRef createCanonicalLocaleIdentifierFromScriptManagerCodes(CFAllocatorRef allocator, LangCode lcode,
                                                                           RegionCode rcode);
    static StringRef createLocaleIdentifierFromWindowsLocaleCode(CFAllocatorRef allocator, uint32_t lcid);
    /// 0 where Windows has no number.
    static uint32_t getWindowsLocaleCodeFromLocaleIdentifier(CFLocaleIdentifier localeIdentifier);
    static CFLocaleLanguageDirection getLanguageCharacterDirection(CFStringRef isoLangCode);
    static CFLocaleLanguageDirection getLanguageLineDirection(CFStringRef isoLangCode);
    /// The parts of an identifier under the keys of locales, its keywords under their names.
    static DictionaryRef createComponentsFromLocaleIdentifier(CFAllocatorRef allocator, CFLocaleIdentifier localeID);
    static StringRef createLocaleIdentifierFromComponents(CFAllocatorRef allocator, CFDictionaryRef dictionary);

    StringRef getIdentifier() const;
    /// Borrowed; null where the locale knows nothing under the key.
    CFTypeRef getValue(CFLocaleKey key) const;
    /// What a code is called in the language of this locale.
    StringRef copyDisplayNameForPropertyValue(CFLocaleKey key, CFStringRef value) const;
};
static_assert(isPlainRef<LocaleRef>);

}  // namespace KXCore::CoreFoundation
