#include "CFLocaleObject.h"
#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/String/CFStringSupport.h"
#include "ICUText.h"
#include "LanguageDetector.h"

#include <CoreFoundation/CFStringTokenizer.h>

#include <unicode/localpointer.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <utility>

using namespace KXPlatform;

namespace {

CFStringRef describeTokenizer(const Object* object);

constexpr CFOptionFlags kUnits = 0xFFFF;

/// A part of the tokenizer's text, in units from its beginning.
struct Part {
    std::int32_t start;
    std::int32_t end;
    bool isEmpty() const noexcept { return start == end; }
};

}  // namespace

struct __CFStringTokenizer : Object {
    __CFStringTokenizer(icu::LocalUBreakIteratorPointer&& b, CFOptionFlags u) noexcept;

    /// The units that are gone over; false where they cannot be.
    bool setText(CFStringRef given, CFRange range) noexcept;
    /// The token that follows `from`, or that holds it.
    Part next(std::int32_t from) noexcept;
    Part at(std::int32_t index) noexcept;
    CFStringTokenizerTokenType typeOf(Part part) const noexcept;

    /// Whether ICU's part that ends at its current place is a token of the unit.
    bool isToken() const noexcept {
        return unit != kCFStringTokenizerUnitWord || ubrk_getRuleStatus(breaks.getAlias()) >= UBRK_WORD_NONE_LIMIT;
    }
    Part paragraph(std::int32_t index) const noexcept;

    icu::LocalUBreakIteratorPointer breaks;  ///< null for paragraphs
    CFOptionFlags unit;
    Retained<const __CFString> string;
    std::unique_ptr<char16_t[]> widened;  ///< the units of ASCII text
    const char16_t* units = nullptr;
    std::int32_t length = 0;
    CFIndex offset = 0;      ///< of the units in the string
    Part current{0, 0};      ///< the current token; empty where there is none
    std::int32_t place = 0;  ///< where the next token is looked for
};

namespace {

constexpr Class kTokenizerClass{TypeID::StringTokenizer, finalizeAs<__CFStringTokenizer>, nullptr, nullptr,
                                describeTokenizer};

__CFStringTokenizer* checked(CFStringTokenizerRef tokenizer) noexcept {
    return tokenizer && tokenizer->cls == &kTokenizerClass ? tokenizer : nullptr;
}

CFStringRef describeTokenizer(const Object* object) {
    const auto* const tokenizer = static_cast<const __CFStringTokenizer*>(object);
    Description description;
    description.appendHeading(object);
    description.format("{unit = %lu, range = {%ld, %d}}", tokenizer->unit, tokenizer->offset, tokenizer->length);
    return description.take();
}

std::optional<UBreakIteratorType> breaksOf(CFOptionFlags unit) noexcept {
    switch (unit) {
        case kCFStringTokenizerUnitWord:
        case kCFStringTokenizerUnitWordBoundary:
            return UBRK_WORD;
        case kCFStringTokenizerUnitSentence:
            return UBRK_SENTENCE;
        case kCFStringTokenizerUnitLineBreak:
            return UBRK_LINE;
        default:
            return std::nullopt;
    }
}

bool endsParagraph(char16_t unit) noexcept { return unit == u'\n' || unit == u'\r' || unit == u'\u2029'; }

bool isCJ(UChar32 c) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(c, &status);
    return script == USCRIPT_HAN || script == USCRIPT_HIRAGANA || script == USCRIPT_KATAKANA;
}

/// Makes `part` the current token.
CFStringTokenizerTokenType setCurrent(__CFStringTokenizer& tokenizer, Part part) noexcept {
    tokenizer.current = part;
    if (part.isEmpty()) return kCFStringTokenizerTokenNone;
    tokenizer.place = part.end;
    return tokenizer.typeOf(part);
}

CFRange rangeOf(const __CFStringTokenizer& tokenizer, Part part) noexcept {
    return {tokenizer.offset + part.start, part.end - part.start};
}

CFStringRef copyLatin(const __CFStringTokenizer& tokenizer) noexcept {
    const auto text = Retained<__CFString>::adopting(CFStringCreateMutable(kCFAllocatorSystemDefault, 0));
    if (!text) return nullptr;
    const Part part = tokenizer.current;
    CFStringAppendCharacters(text.get(), asUnits(tokenizer.units + part.start), part.end - part.start);
    if (!CFStringTransform(text.get(), nullptr, kCFStringTransformToLatin, false)) return nullptr;
    return CFStringCreateCopy(kCFAllocatorSystemDefault, text.get());
}

}  // namespace

__CFStringTokenizer::__CFStringTokenizer(icu::LocalUBreakIteratorPointer&& b, CFOptionFlags u) noexcept
    : Object(kTokenizerClass), breaks(std::move(b)), unit(u) {}

bool __CFStringTokenizer::setText(CFStringRef given, CFRange range) noexcept {
    auto copy = Retained<const __CFString>::adopting(CFStringCreateCopy(kCFAllocatorSystemDefault, given));
    current = {0, 0};
    place = length = 0;
    if (!copy) return false;
    const TextView text = view(copy.get()).part(range.location, range.length);
    std::unique_ptr<char16_t[]> wide;
    if (!text.isWide()) {
        wide.reset(new (std::nothrow) char16_t[static_cast<std::size_t>(text.length) + 1]);
        if (!wide) return false;
        text.copyTo(asUnits(wide.get()));
    }
    const char16_t* const begin = text.isWide() ? asUTF16(text.wide) : wide.get();
    if (breaks.isValid()) {
        UErrorCode status = U_ZERO_ERROR;
        ubrk_setText(breaks.getAlias(), begin, static_cast<std::int32_t>(text.length), &status);
        if (U_FAILURE(status)) return false;
    }
    // ICU goes over the units where they lie: the former ones end now that they are no longer looked at.
    string = std::move(copy);
    widened = std::move(wide);
    units = begin;
    length = static_cast<std::int32_t>(text.length);
    offset = range.location;
    return true;
}

Part __CFStringTokenizer::paragraph(std::int32_t index) const noexcept {
    std::int32_t start = index, end = index;
    while (start > 0 && !endsParagraph(units[start - 1])) --start;
    // The second half of CR LF belongs to the paragraph that it ends.
    if (index > 0 && start == index && units[index] == u'\n' && units[index - 1] == u'\r')
        return {paragraph(index - 1).start, index + 1};
    while (end < length && !endsParagraph(units[end])) ++end;
    if (end < length) end += units[end] == u'\r' && end + 1 < length && units[end + 1] == u'\n' ? 2 : 1;
    return {start, end};
}

Part __CFStringTokenizer::next(std::int32_t from) noexcept {
    if (from >= length) return {0, 0};
    if (breaks.isNull()) return paragraph(from);
    UBreakIterator* const icu = breaks.getAlias();
    std::int32_t start = from;
    if (ubrk_current(icu) != from && !ubrk_isBoundary(icu, from)) start = ubrk_current(icu);
    for (;;) {
        const std::int32_t end = ubrk_next(icu);
        if (end == UBRK_DONE) return {0, 0};
        if (isToken()) return {start, end};
        start = end;
    }
}

Part __CFStringTokenizer::at(std::int32_t index) noexcept {
    if (breaks.isNull()) return paragraph(index);
    UBreakIterator* const icu = breaks.getAlias();
    const std::int32_t end = ubrk_following(icu, index);
    if (end == UBRK_DONE) return {0, 0};
    place = end;
    if (!isToken()) return {0, 0};
    const std::int32_t start = ubrk_previous(icu);
    return {start, end};
}

CFStringTokenizerTokenType __CFStringTokenizer::typeOf(Part part) const noexcept {
    CFStringTokenizerTokenType type = kCFStringTokenizerTokenNormal;
    if (unit != kCFStringTokenizerUnitWord && unit != kCFStringTokenizerUnitWordBoundary) return type;
    for (std::int32_t at = part.start; at < part.end;) {
        UChar32 c;
        U16_NEXT(units, at, part.end, c);
        const std::uint32_t kind = U_GET_GC_MASK(c);
        if (kind & U_GC_N_MASK)
            type |= kCFStringTokenizerTokenHasHasNumbersMask;
        else if (!(kind & (U_GC_L_MASK | U_GC_M_MASK)))
            type |= kCFStringTokenizerTokenHasNonLettersMask;
        else if (c >= 0x2E80 && isCJ(c))
            type |= kCFStringTokenizerTokenIsCJWordMask;
    }
    return type;
}

CFStringRef CFStringTokenizerCopyBestStringLanguage(CFStringRef string, CFRange range) {
    constexpr CFIndex kLooked = 200;
    if (!isOfType(string, TypeID::String) || !isWithin(range, string->length)) return nullptr;
    range.length = std::min(range.length, kLooked);
    UInt8 utf8[kLooked * 3];
    CFIndex size = 0;
    CFStringGetBytes(string, range, kCFStringEncodingUTF8, '?', false, utf8, sizeof utf8, &size);
    const char* const tag = detectLanguage({reinterpret_cast<const char*>(utf8), static_cast<std::size_t>(size)});
    return tag ? createASCII(kCFAllocatorSystemDefault, tag) : nullptr;
}

CFTypeID CFStringTokenizerGetTypeID() { return number(TypeID::StringTokenizer); }

CFStringTokenizerRef CFStringTokenizerCreate(CFAllocatorRef alloc, CFStringRef string, CFRange range,
                                             CFOptionFlags options, CFLocaleRef locale) {
    const CFOptionFlags unit = options & kUnits;
    if (!isOfType(string, TypeID::String) || !isWithin(range, string->length) || !fitsICU(range.length)) return nullptr;
    if (unit > kCFStringTokenizerUnitWordBoundary || (locale && !localeObject(locale))) return nullptr;
    icu::LocalUBreakIteratorPointer breaks;
    if (const auto kind = breaksOf(unit)) {
        UErrorCode status = U_ZERO_ERROR;
        breaks.adoptInstead(ubrk_open(*kind, icuName(locale), nullptr, 0, &status));
        if (U_FAILURE(status) || breaks.isNull()) return nullptr;
    }
    __CFStringTokenizer* const made = make<__CFStringTokenizer>(alloc, 0, std::move(breaks), unit);
    if (!made || made->setText(string, range)) return made;
    CFRelease(made);
    return nullptr;
}

void CFStringTokenizerSetString(CFStringTokenizerRef tokenizer, CFStringRef string, CFRange range) {
    if (!checked(tokenizer)) return;
    const bool isFit = isOfType(string, TypeID::String) && isWithin(range, string->length) && fitsICU(range.length);
    if (isFit && tokenizer->setText(string, range)) return;
    tokenizer->current = {0, 0};
    tokenizer->place = tokenizer->length = 0;
}

CFStringTokenizerTokenType CFStringTokenizerGoToTokenAtIndex(CFStringTokenizerRef tokenizer, CFIndex index) {
    if (!checked(tokenizer)) return kCFStringTokenizerTokenNone;
    const bool isFit = index >= tokenizer->offset && index - tokenizer->offset < tokenizer->length;
    return setCurrent(*tokenizer,
                      isFit ? tokenizer->at(static_cast<std::int32_t>(index - tokenizer->offset)) : Part{0, 0});
}

CFStringTokenizerTokenType CFStringTokenizerAdvanceToNextToken(CFStringTokenizerRef tokenizer) {
    if (!checked(tokenizer)) return kCFStringTokenizerTokenNone;
    const Part part = tokenizer->next(tokenizer->place);
    if (part.isEmpty()) tokenizer->place = tokenizer->length;
    return setCurrent(*tokenizer, part);
}

CFRange CFStringTokenizerGetCurrentTokenRange(CFStringTokenizerRef tokenizer) {
    if (!checked(tokenizer) || tokenizer->current.isEmpty()) return {kCFNotFound, 0};
    return rangeOf(*tokenizer, tokenizer->current);
}

CFTypeRef CFStringTokenizerCopyCurrentTokenAttribute(CFStringTokenizerRef tokenizer, CFOptionFlags attribute) {
    if (!checked(tokenizer) || tokenizer->current.isEmpty()) return nullptr;
    if (attribute == kCFStringTokenizerAttributeLatinTranscription) return copyLatin(*tokenizer);
    if (attribute == kCFStringTokenizerAttributeLanguage)
        return CFStringTokenizerCopyBestStringLanguage(tokenizer->string.get(),
                                                       rangeOf(*tokenizer, tokenizer->current));
    return nullptr;
}

CFIndex CFStringTokenizerGetCurrentSubTokens(CFStringTokenizerRef tokenizer, CFRange* ranges, CFIndex maxRangeLength,
                                             CFMutableArrayRef derivedSubTokens) {
    if (!checked(tokenizer) || tokenizer->current.isEmpty()) return 0;
    const CFRange range = rangeOf(*tokenizer, tokenizer->current);
    if (ranges && maxRangeLength > 0) ranges[0] = range;
    if (derivedSubTokens) {
        const auto text = Retained<const __CFString>::adopting(
            CFStringCreateWithSubstring(kCFAllocatorSystemDefault, tokenizer->string.get(), range));
        if (text) CFArrayAppendValue(derivedSubTokens, text.get());
    }
    return 1;
}
