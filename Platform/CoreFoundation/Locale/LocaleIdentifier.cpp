#include "LocaleIdentifier.h"

#include "CoreFoundation/String/CFStringObject.h"
#include "MacCodes.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace KXPlatform {

namespace {

/// Languages that have had another code before.
constexpr struct {
    const char* former;
    const char* identifier;
} kFormerLanguages[] = {{"in", "id"}, {"iw", "he"}, {"ji", "yi"}, {"jw", "jv"}, {"mo", "ro"}, {"no", "nb"}};

/// What a modifier of a POSIX name ("sr_RS@latin") is in an identifier.
constexpr struct {
    const char* modifier;
    const char* script;
    const char* variant;
} kModifiers[] = {
    {"latin", "Latn", ""}, {"cyrillic", "Cyrl", ""}, {"devanagari", "Deva", ""}, {"valencia", "", "VALENCIA"}};

bool isLetter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

/// Whether a name of the environment begins as an identifier does: with a language of two or three letters.
bool beginsWithLanguage(std::string_view name) noexcept {
    const auto end = std::ranges::find_if_not(name, isLetter);
    const auto length = end - name.begin();
    return (length == 2 || length == 3) && (end == name.end() || *end == '_' || *end == '-');
}

bool isSeparator(char c) noexcept { return c == '_' || c == '-'; }

void replaceFormerLanguage(IdentifierText& name) noexcept {
    for (const auto& [former, identifier] : kFormerLanguages) {
        const std::size_t length = std::strlen(former);
        const char after = name[length];
        if (std::strncmp(name.data(), former, length) == 0 && (!after || after == '_' || after == '@'))
            std::memcpy(name.data(), identifier, length);
    }
}

}  // namespace

bool readIdentifier(CFStringRef string, IdentifierText& text) noexcept {
    if (!isOfType(string, TypeID::String)) return false;
    const TextView units = view(string);
    if (static_cast<std::size_t>(units.length) >= text.size()) return false;
    for (CFIndex i = 0; i < units.length; ++i) {
        const UniChar unit = units[i];
        if (unit < 0x20 || unit > 0x7E) return false;
        text[static_cast<std::size_t>(i)] = static_cast<char>(unit);
    }
    text[static_cast<std::size_t>(units.length)] = '\0';
    return true;
}

bool canonicalName(const char* text, IdentifierText& name) noexcept {
    if (const char* const identifier = languageOfMacName(text)) text = identifier;
    UErrorCode status = U_ZERO_ERROR;
    uloc_canonicalize(text, name.data(), static_cast<int32_t>(name.size()), &status);
    if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING) return false;
    replaceFormerLanguage(name);
    return true;
}

void nameOfEnvironment(std::string_view posix, IdentifierText& name) noexcept {
    const std::size_t at = posix.find('@');
    const std::string_view modifier = at == posix.npos ? std::string_view() : posix.substr(at + 1);
    const std::string_view base = posix.substr(0, std::min(posix.find('.'), at));
    const char *script = "", *variant = "";
    for (const auto& known : kModifiers) {
        if (modifier == known.modifier) script = known.script, variant = known.variant;
    }
    // "C", "POSIX", paths and whatever else is no language.
    constexpr const char* kNone = "en_US_POSIX";
    if (!beginsWithLanguage(base) || base.size() > 64) {
        std::strcpy(name.data(), kNone);
        return;
    }
    const auto end = std::ranges::find_if(base, isSeparator);
    const std::string_view language(base.begin(), end), rest(end, base.end());
    IdentifierText joined;
    std::snprintf(joined.data(), joined.size(), "%.*s%s%s%.*s%s%s", static_cast<int>(language.size()), language.data(),
                  *script ? "_" : "", script, static_cast<int>(rest.size()), rest.data(), *variant ? "_" : "", variant);
    if (!canonicalName(joined.data(), name)) std::strcpy(name.data(), kNone);
}

CFStringRef createIdentifier(CFAllocatorRef allocator, const char* name) noexcept {
    IdentifierText text;
    std::snprintf(text.data(), text.size(), "%s", name);
    // A script has four letters; it follows the language.
    char* const first = std::strchr(text.data(), '_');
    if (first && std::all_of(first + 1, first + 1 + strnlen(first + 1, 4), isLetter) && strnlen(first + 1, 4) == 4 &&
        !isLetter(first[5]) && !(first[5] >= '0' && first[5] <= '9'))
        *first = '-';
    return createASCII(allocator, text.data());
}

}  // namespace KXPlatform
