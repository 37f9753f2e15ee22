#include "CFStringFolding.h"
#include "CFStringSupport.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>

using namespace KXPlatform;

// A null locale stands for the root, whose rules are those of Unicode without the exceptions of any one language.

namespace {

using CaseMapping = int32_t(char16_t*, int32_t, const char16_t*, int32_t, const char*, UErrorCode*);

int32_t mapToTitle(char16_t* to, int32_t capacity, const char16_t* from, int32_t length, const char* locale,
                   UErrorCode* status) {
    return u_strToTitle(to, capacity, from, length, nullptr, locale, status);
}

/// `text` under `mapping`; unchanged where ICU fails. May throw std::bad_alloc.
std::u16string mapped(std::u16string_view text, CaseMapping* mapping, const char* locale) {
    // A character maps to at most three units for each of its own.
    std::u16string result(text.size() * 3, u'\0');
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = mapping(result.data(), static_cast<int32_t>(result.size()), text.data(),
                                   static_cast<int32_t>(text.size()), locale, &status);
    if (U_FAILURE(status)) return std::u16string(text);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

std::u16string unitsOf(TextView text) {
    std::u16string units(static_cast<std::size_t>(text.length), u'\0');
    text.copyTo(asUnits(units.data()));
    return units;
}

bool fitsMapping(TextView text) noexcept { return text.length <= INT32_MAX / 4; }

bool isChangeable(CFMutableStringRef string) noexcept {
    return string && string->isMutable() && string->length > 0 && fitsMapping(view(string));
}

/// Replaces the whole text by what `work` makes of its units. Where memory runs out, the text stays as it is.
template <class Work>
void rewrite(CFMutableStringRef string, Work work) noexcept {
    guarded(false, [&] { return replaceAllUnits(string, work(unitsOf(view(string)))); });
}

/// The bytes of an ASCII text, which a mutable string keeps in a buffer of its own.
std::span<char> asciiBytes(CFMutableStringRef string) noexcept {
    return {const_cast<char*>(string->text.ascii), static_cast<std::size_t>(string->length)};
}

/// Whether a word goes on behind a character. Cased letters make words; what is case-ignorable (an apostrophe, a
/// combining mark) lies within a word or between words, whichever it stands in; all else ends a word, a full stop and
/// digits too: "a.b" becomes "A.B", "2nd-hand" becomes "2Nd-Hand", "don't" becomes "Don't".
bool isInWordAfter(UChar32 c, bool wasInWord) noexcept {
    if (c == '.') return false;
    if (u_hasBinaryProperty(c, UCHAR_CASE_IGNORABLE)) return wasInWord;
    return u_hasBinaryProperty(c, UCHAR_CASED) != 0;
}

void capitalizeASCII(std::span<char> text) noexcept {
    bool inWord = false;
    for (char& c : text) {
        c = inWord ? asciiLower(c) : asciiUpper(c);
        inWord = isInWordAfter(static_cast<unsigned char>(c), inWord);
    }
}

/// The one letter of Dutch that is written with two.
bool beginsWithIJ(std::u16string_view word) noexcept {
    return word.size() > 1 && (word[0] == u'i' || word[0] == u'I') && (word[1] == u'j' || word[1] == u'J');
}

/// Appends a word whose first character is to be a capital. The rest is mapped with the first character before it:
/// a small letter's form depends on its neighbours (the two sigmas of Greek).
void appendCapitalized(std::u16string_view word, std::u16string& result, const char* locale) {
    std::size_t first = 0;
    U16_FWD_1(word, first, word.size());
    if (isOfLanguage(locale, "nl") && beginsWithIJ(word)) first = 2;
    const std::u16string_view initial = word.substr(0, first);
    const std::u16string lower = mapped(word, u_strToLower, locale);
    result += mapped(initial, mapToTitle, locale);
    result.append(lower, std::min(mapped(initial, u_strToLower, locale).size(), lower.size()));
}

std::u16string capitalized(std::u16string_view text, const char* locale) {
    std::u16string result;
    result.reserve(text.size());
    std::size_t start = 0;  // of what has not been appended
    bool inWord = false, hasWord = false;
    const auto flush = [&](std::size_t end) {
        const std::u16string_view piece = text.substr(start, end - start);
        if (hasWord)
            appendCapitalized(piece, result, locale);
        else
            result += piece;
        start = end;
    };
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t before = at;
        UChar32 c;
        U16_NEXT(text, at, text.size(), c);
        const bool inWordAfter = isInWordAfter(c, inWord);
        if (inWordAfter && !inWord) {
            flush(before);
            hasWord = true;
        }
        inWord = inWordAfter;
    }
    flush(text.size());
    return result;
}

const UNormalizer2* normalizer(CFStringNormalizationForm form) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    switch (form) {
        case kCFStringNormalizationFormD:
            return unorm2_getNFDInstance(&status);
        case kCFStringNormalizationFormKD:
            return unorm2_getNFKDInstance(&status);
        case kCFStringNormalizationFormC:
            return unorm2_getNFCInstance(&status);
        case kCFStringNormalizationFormKC:
            return unorm2_getNFKCInstance(&status);
    }
    return nullptr;
}

std::u16string normalized(const UNormalizer2* form, std::u16string text);

/// Compatibility composition. A half-width voicing mark becomes an ordinary one, but does not join the letter before
/// it.
std::u16string compatiblyComposed(const UNormalizer2* form, std::u16string text) {
    const auto isVoicing = [](char16_t unit) { return isHalfwidthVoicing(unit); };
    if (std::ranges::none_of(text, isVoicing)) return normalized(form, std::move(text));
    std::u16string result;
    for (auto start = text.cbegin(); start != text.cend();) {
        const auto end = std::find_if(start + 1, text.cend(), isVoicing);
        result += normalized(form, {start, end});
        start = end;
    }
    return result;
}

std::u16string normalized(const UNormalizer2* form, std::u16string text) {
    orderLongMarkRuns(text);
    const auto length = static_cast<int32_t>(text.size());
    UErrorCode status = U_ZERO_ERROR;
    if (unorm2_isNormalized(form, text.data(), length, &status)) return text;
    status = U_ZERO_ERROR;
    std::u16string result(text.size() * 2 + 16, u'\0');
    int32_t needed =
        unorm2_normalize(form, text.data(), length, result.data(), static_cast<int32_t>(result.size()), &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        status = U_ZERO_ERROR;
        result.resize(static_cast<std::size_t>(needed));
        needed = unorm2_normalize(form, text.data(), length, result.data(), needed, &status);
    }
    if (U_FAILURE(status)) return text;
    result.resize(static_cast<std::size_t>(needed));
    return result;
}

}  // namespace

void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale) {
    if (!isChangeable(theString)) return;
    const char* const name = icuNameOrRoot(locale);
    if (theString->isWide() || hasDottedCapitalI(name))
        return rewrite(theString, [name](auto text) { return mapped(text, u_strToLower, name); });
    for (char& c : asciiBytes(theString)) c = asciiLower(c);
}

void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale) {
    if (!isChangeable(theString)) return;
    const char* const name = icuNameOrRoot(locale);
    if (theString->isWide() || hasDottedCapitalI(name))
        return rewrite(theString, [name](auto text) { return mapped(text, u_strToUpper, name); });
    for (char& c : asciiBytes(theString)) c = asciiUpper(c);
}

void CFStringCapitalize(CFMutableStringRef theString, CFLocaleRef locale) {
    if (!isChangeable(theString)) return;
    const char* const name = icuNameOrRoot(locale);
    if (theString->isWide() || hasDottedCapitalI(name) || isOfLanguage(name, "nl"))
        return rewrite(theString, [name](auto text) { return capitalized(text, name); });
    capitalizeASCII(asciiBytes(theString));
}

void CFStringNormalize(CFMutableStringRef theString, CFStringNormalizationForm theForm) {
    // ASCII is its own normal form in all four.
    if (!isChangeable(theString) || !theString->isWide()) return;
    const UNormalizer2* const form = normalizer(theForm);
    const auto apply = theForm == kCFStringNormalizationFormKC ? compatiblyComposed : normalized;
    if (form) rewrite(theString, [form, apply](auto text) { return apply(form, std::move(text)); });
}

void CFStringFold(CFMutableStringRef theString, CFStringCompareFlags theFlags, CFLocaleRef theLocale) {
    if (!isChangeable(theString)) return;
    Folding folding = Folding::of(theFlags, theLocale);
    folding.canonical = false;  // folding does not normalize
    if (!folding.any()) return;
    if (theString->isWide() || !folding.keepsASCII()) {
        return rewrite(theString, [&folding](const std::u16string& text) {
            return folded({nullptr, asUnits(text.data()), static_cast<CFIndex>(text.size())}, folding);
        });
    }
    if (folding.caseless)
        for (char& c : asciiBytes(theString)) c = asciiLower(c);
}
