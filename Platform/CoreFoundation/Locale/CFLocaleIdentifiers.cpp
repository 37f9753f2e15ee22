#include "CoreFoundation/Object/Retained.h"
#include "CoreFoundation/String/CFStringObject.h"
#include "LocaleIdentifier.h"
#include "MacCodes.h"

#include <CoreFoundation/CFLocale.h>

#include <unicode/localpointer.h>
#include <unicode/uenum.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

using namespace KXPlatform;

namespace {

using Part = int32_t(const char*, char*, int32_t, UErrorCode*);

/// One part of an identifier in ICU's form; "" where it has none.
IdentifierText partOf(const IdentifierText& name, Part* part) noexcept {
    IdentifierText text{};
    UErrorCode status = U_ZERO_ERROR;
    part(name.data(), text.data(), static_cast<int32_t>(text.size()), &status);
    if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING) text[0] = '\0';
    return text;
}

bool readCanonical(CFStringRef identifier, IdentifierText& name) noexcept {
    IdentifierText text;
    return readIdentifier(identifier, text) && canonicalName(text.data(), name);
}

/// Appends to a text, or makes it empty for good where it grows too long.
class Joined {
  public:
    void append(const char* part) noexcept {
        const std::size_t size = std::strlen(part);
        if (isTooLong_ || size >= text_.size() - length_) {
            isTooLong_ = true;
            return;
        }
        std::memcpy(text_.data() + length_, part, size + 1);
        length_ += size;
    }
    void append(const char* separator, const char* part) noexcept {
        if (!*part) return;
        append(separator);
        append(part);
    }
    const char* text() const noexcept { return isTooLong_ ? nullptr : text_.data(); }
    bool isEmpty() const noexcept { return length_ == 0; }

  private:
    IdentifierText text_{};
    std::size_t length_ = 0;
    bool isTooLong_ = false;
};

CFLocaleLanguageDirection direction(ULayoutType layout) noexcept {
    switch (layout) {
        case ULOC_LAYOUT_LTR:
            return kCFLocaleLanguageDirectionLeftToRight;
        case ULOC_LAYOUT_RTL:
            return kCFLocaleLanguageDirectionRightToLeft;
        case ULOC_LAYOUT_TTB:
            return kCFLocaleLanguageDirectionTopToBottom;
        case ULOC_LAYOUT_BTT:
            return kCFLocaleLanguageDirectionBottomToTop;
        default:
            return kCFLocaleLanguageDirectionUnknown;
    }
}

CFLocaleLanguageDirection directionOf(CFStringRef language, ULayoutType (*ask)(const char*, UErrorCode*)) noexcept {
    IdentifierText name;
    // ICU takes a language that it does not know for one of the root, which runs from left to right.
    if (!readCanonical(language, name) || !*uloc_getISO3Language(name.data())) return kCFLocaleLanguageDirectionUnknown;
    UErrorCode status = U_ZERO_ERROR;
    const ULayoutType layout = ask(name.data(), &status);
    return U_SUCCESS(status) ? direction(layout) : kCFLocaleLanguageDirectionUnknown;
}

/// Keeps a part of an identifier under its key. False without memory.
bool put(CFMutableDictionaryRef components, CFStringRef key, const char* text) noexcept {
    if (!*text) return true;
    const auto value = Retained<const __CFString>::adopting(createASCII(kCFAllocatorSystemDefault, text));
    if (!key || !value) return false;
    const CFIndex before = CFDictionaryGetCount(components);
    CFDictionarySetValue(components, key, value.get());
    return CFDictionaryGetCount(components) == before + 1;
}

/// Keeps what stands behind the "@". False without memory.
bool putKeywords(CFMutableDictionaryRef components, const IdentifierText& name) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUEnumerationPointer keywords(uloc_openKeywords(name.data(), &status));
    if (status == U_MEMORY_ALLOCATION_ERROR) return false;
    if (U_FAILURE(status) || keywords.isNull()) return true;  // it has none
    while (const char* const keyword = uenum_next(keywords.getAlias(), nullptr, &status)) {
        IdentifierText value{};
        uloc_getKeywordValue(name.data(), keyword, value.data(), static_cast<int32_t>(value.size()), &status);
        const auto key = Retained<const __CFString>::adopting(createASCII(kCFAllocatorSystemDefault, keyword));
        if (U_FAILURE(status) || !put(components, key.get(), value.data())) return false;
    }
    return U_SUCCESS(status);
}

bool isWordCharacter(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// Reads a component: letters and digits, and for values and variants the signs that join them. False for what is no
/// text, or has no place in an identifier.
bool readComponent(CFTypeRef value, IdentifierText& text) noexcept {
    if (!readIdentifier(static_cast<CFStringRef>(value), text)) return false;
    const std::string_view all(text.data());
    return std::ranges::all_of(all, [](char c) { return isWordCharacter(c) || c == '-' || c == '_' || c == '/'; });
}

/// Reads the component under `key`: "" where there is none. False for what has no place in an identifier.
bool readComponent(CFDictionaryRef components, CFStringRef key, IdentifierText& text) noexcept {
    text[0] = '\0';
    const CFTypeRef value = CFDictionaryGetValue(components, key);
    return !value || readComponent(value, text);
}

/// Appends "@currency=EUR;numbers=latn": all entries whose keys are no parts of the identifier proper.
bool appendKeywords(CFDictionaryRef components, Joined& joined) noexcept {
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(components));
    const std::unique_ptr<const void*[]> entries(new (std::nothrow) const void*[2 * count]);
    if (!entries) return false;
    CFDictionaryGetKeysAndValues(components, entries.get(), entries.get() + count);
    const char* separator = "@";
    for (std::size_t i = 0; i < count; ++i) {
        IdentifierText key, value;
        if (!readIdentifier(static_cast<CFStringRef>(entries[i]), key)) return false;
        if (std::strncmp(key.data(), "kCFLocale", 9) == 0) continue;
        if (!*key.data() || !std::ranges::all_of(std::string_view(key.data()), isWordCharacter) ||
            !readComponent(entries[count + i], value) || !*value.data())
            return false;
        joined.append(separator);
        joined.append(key.data());
        joined.append("=");
        joined.append(value.data());
        separator = ";";
    }
    return true;
}

}  // namespace

// ---- Canonical forms

CFLocaleIdentifier CFLocaleCreateCanonicalLocaleIdentifierFromString(CFAllocatorRef allocator,
                                                                     CFStringRef localeIdentifier) {
    IdentifierText name;
    return readCanonical(localeIdentifier, name) ? createIdentifier(allocator, name.data()) : nullptr;
}

CFLocaleIdentifier CFLocaleCreateCanonicalLanguageIdentifierFromString(CFAllocatorRef allocator,
                                                                       CFStringRef localeIdentifier) {
    IdentifierText name;
    if (!readCanonical(localeIdentifier, name)) return nullptr;
    const IdentifierText language = partOf(name, uloc_getLanguage), script = partOf(name, uloc_getScript),
                         country = partOf(name, uloc_getCountry);
    // The two ways of writing Chinese, which used to be told by the region.
    if (!std::strcmp(language.data(), "zh") && !*script.data()) {
        if (!std::strcmp(country.data(), "CN")) return createASCII(allocator, "zh-Hans");
        if (!std::strcmp(country.data(), "TW")) return createASCII(allocator, "zh-Hant");
    }
    Joined joined;
    joined.append(language.data());
    joined.append("-", script.data());
    joined.append("-", country.data());
    return joined.text() ? createASCII(allocator, joined.text()) : nullptr;
}

CFLocaleIdentifier CFLocaleCreateCanonicalLocaleIdentifierFromScriptManagerCodes(CFAllocatorRef allocator,
                                                                                 LangCode lcode, RegionCode rcode) {
    const char* const language = languageOfMacCode(lcode);
    const char* const region = regionOfMacCode(rcode);
    if (!language) return region ? createIdentifier(allocator, region) : nullptr;
    const char* const country = region ? std::strchr(region, '_') : nullptr;
    // Most regions speak the language; a few languages tell their region themselves.
    const std::size_t spoken = country ? static_cast<std::size_t>(country - region) : 0;
    if (!country || std::strstr(language, "_BE") || std::strstr(language, "_MD"))
        return createIdentifier(allocator, language);
    if (std::strlen(language) == spoken && !std::strncmp(language, region, spoken))
        return createIdentifier(allocator, region);
    Joined joined;
    joined.append(language);
    joined.append(country);
    return createIdentifier(allocator, joined.text());
}

// ---- Windows

CFLocaleIdentifier CFLocaleCreateLocaleIdentifierFromWindowsLocaleCode(CFAllocatorRef allocator, uint32_t lcid) {
    IdentifierText name{};
    UErrorCode status = U_ZERO_ERROR;
    uloc_getLocaleForLCID(lcid, name.data(), static_cast<int32_t>(name.size()), &status);
    const bool isFound = U_SUCCESS(status) && status != U_STRING_NOT_TERMINATED_WARNING && *name.data();
    // ICU has the root under 0.
    if (!isFound || !std::strcmp(name.data(), "root")) return nullptr;
    return createIdentifier(allocator, name.data());
}

uint32_t CFLocaleGetWindowsLocaleCodeFromLocaleIdentifier(CFLocaleIdentifier localeIdentifier) {
    IdentifierText name;
    return readCanonical(localeIdentifier, name) ? uloc_getLCID(name.data()) : 0;
}

// ---- Directions

CFLocaleLanguageDirection CFLocaleGetLanguageCharacterDirection(CFStringRef isoLangCode) {
    return directionOf(isoLangCode, [](const char* name, UErrorCode* status) {
        // Of languages without data of their own ("az_Arab") the script says it.
        return uloc_isRightToLeft(name) ? ULOC_LAYOUT_RTL : uloc_getCharacterOrientation(name, status);
    });
}

CFLocaleLanguageDirection CFLocaleGetLanguageLineDirection(CFStringRef isoLangCode) {
    return directionOf(isoLangCode, uloc_getLineOrientation);
}

// ---- Parts

CFDictionaryRef CFLocaleCreateComponentsFromLocaleIdentifier(CFAllocatorRef allocator, CFLocaleIdentifier localeID) {
    IdentifierText name;
    if (!readCanonical(localeID, name)) return nullptr;
    const auto components = Retained<__CFDictionary>::adopting(CFDictionaryCreateMutable(
        kCFAllocatorSystemDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    if (!components || !put(components.get(), kCFLocaleLanguageCode, partOf(name, uloc_getLanguage).data()) ||
        !put(components.get(), kCFLocaleScriptCode, partOf(name, uloc_getScript).data()) ||
        !put(components.get(), kCFLocaleCountryCode, partOf(name, uloc_getCountry).data()) ||
        !put(components.get(), kCFLocaleVariantCode, partOf(name, uloc_getVariant).data()) ||
        !putKeywords(components.get(), name))
        return nullptr;
    return CFDictionaryCreateCopy(allocator, components.get());
}

CFLocaleIdentifier CFLocaleCreateLocaleIdentifierFromComponents(CFAllocatorRef allocator, CFDictionaryRef dictionary) {
    if (!isOfType(dictionary, TypeID::Dictionary)) return nullptr;
    IdentifierText language, script, country, variant;
    if (!readComponent(dictionary, kCFLocaleLanguageCode, language) ||
        !readComponent(dictionary, kCFLocaleScriptCode, script) ||
        !readComponent(dictionary, kCFLocaleCountryCode, country) ||
        !readComponent(dictionary, kCFLocaleVariantCode, variant))
        return nullptr;
    Joined joined;
    joined.append(language.data());
    joined.append("_", script.data());
    joined.append("_", country.data());
    // Without a country its place stays empty: "de__POSIX".
    joined.append(*country.data() ? "_" : "__", variant.data());
    if (!appendKeywords(dictionary, joined) || !joined.text()) return nullptr;
    // Puts the keywords in order.
    IdentifierText name;
    UErrorCode status = U_ZERO_ERROR;
    uloc_getName(joined.text(), name.data(), static_cast<int32_t>(name.size()), &status);
    if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING) return nullptr;
    return createASCII(allocator, name.data());
}
