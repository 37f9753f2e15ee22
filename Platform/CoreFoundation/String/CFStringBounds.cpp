#include "CFStringFolding.h"
#include "CFStringSupport.h"

#include <unicode/ubrk.h>
#include <unicode/utf16.h>

#include <memory>

using namespace KXPlatform;

namespace {

constexpr UniChar kNextLine = 0x85;
constexpr UniChar kLineSeparator = 0x2028;
constexpr UniChar kParagraphSeparator = 0x2029;

bool endsParagraph(UniChar unit) noexcept { return unit == '\n' || unit == '\r' || unit == kParagraphSeparator; }

bool endsLine(UniChar unit) noexcept { return endsParagraph(unit) || unit == kNextLine || unit == kLineSeparator; }

struct Bounds {
    CFIndex begin;        ///< of the first line
    CFIndex end;          ///< behind the last line's terminator
    CFIndex contentsEnd;  ///< before the last line's terminator
};

/// The lines that `range` touches, where a line ends with a unit that `isTerminator` knows, or with CR LF.
Bounds findBounds(TextView text, CFRange range, bool (*isTerminator)(UniChar)) noexcept {
    const auto isInsideCRLF = [&](CFIndex at) {
        return at > 0 && at < text.length && text[at - 1] == '\r' && text[at] == '\n';
    };
    range = clamped(range, text.length);

    CFIndex begin = range.location;
    if (isInsideCRLF(begin)) --begin;
    while (begin > 0 && !isTerminator(text[begin - 1])) --begin;

    // The last unit of the range may itself be the terminator, or the second half of one.
    CFIndex last = range.length > 0 ? range.location + range.length - 1 : range.location;
    if (isInsideCRLF(last)) --last;
    while (last < text.length && !isTerminator(text[last])) ++last;
    CFIndex end = last;
    if (end < text.length) end += isInsideCRLF(end + 1) ? 2 : 1;
    return {.begin = begin, .end = end, .contentsEnd = last};
}

void answer(const Bounds& bounds, CFIndex* begin, CFIndex* end, CFIndex* contentsEnd) noexcept {
    if (begin) *begin = bounds.begin;
    if (end) *end = bounds.end;
    if (contentsEnd) *contentsEnd = bounds.contentsEnd;
}

struct CloseBreaks {
    void operator()(UBreakIterator* breaks) const noexcept { ubrk_close(breaks); }
};

/// The calling thread's iterator over user-perceived characters: opening one costs far more than asking it.
UBreakIterator* characterBreaks() noexcept {
    static thread_local const std::unique_ptr<UBreakIterator, CloseBreaks> breaks([] {
        UErrorCode status = U_ZERO_ERROR;
        UBreakIterator* const opened = ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status);
        return U_SUCCESS(status) ? opened : nullptr;
    }());
    return breaks.get();
}

/// The surrogate pair or single unit at `index`.
CFRange characterRange(TextView text, CFIndex index) noexcept {
    if (U16_IS_TRAIL(text[index]) && index > 0 && U16_IS_LEAD(text[index - 1])) return {index - 1, 2};
    if (U16_IS_LEAD(text[index]) && index + 1 < text.length && U16_IS_TRAIL(text[index + 1])) return {index, 2};
    return {index, 1};
}

}  // namespace

void CFStringGetLineBounds(CFStringRef theString, CFRange range, CFIndex* lineBeginIndex, CFIndex* lineEndIndex,
                           CFIndex* contentsEndIndex) {
    answer(findBounds(view(theString), range, endsLine), lineBeginIndex, lineEndIndex, contentsEndIndex);
}

void CFStringGetParagraphBounds(CFStringRef string, CFRange range, CFIndex* parBeginIndex, CFIndex* parEndIndex,
                                CFIndex* contentsEndIndex) {
    answer(findBounds(view(string), range, endsParagraph), parBeginIndex, parEndIndex, contentsEndIndex);
}

CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef theString, CFIndex theIndex) {
    const TextView text = view(theString);
    if (theIndex < 0 || theIndex >= text.length) return {kCFNotFound, 0};
    // ASCII never composes with itself; CR LF, one cluster to Unicode, is two characters here.
    const bool plain = text[theIndex] < kFirstMark;
    if (!text.isWide() || (plain && text[theIndex] < 0x20)) return {theIndex, 1};
    const bool plainAfter = theIndex + 1 == text.length || text[theIndex + 1] < kFirstMark;
    const bool plainBefore = theIndex == 0 || text[theIndex - 1] < kFirstMark;
    if (plain && plainAfter && plainBefore) return {theIndex, 1};

    UBreakIterator* const breaks = characterBreaks();
    if (!breaks || !fitsICU(text.length)) return characterRange(text, theIndex);
    UErrorCode status = U_ZERO_ERROR;
    ubrk_setText(breaks, asUTF16(text.wide), static_cast<int32_t>(text.length), &status);
    if (U_FAILURE(status)) return characterRange(text, theIndex);
    const int32_t end = ubrk_following(breaks, static_cast<int32_t>(theIndex));
    const int32_t start = ubrk_previous(breaks);
    return {start, (end == UBRK_DONE ? text.length : end) - start};
}

CFIndex CFStringGetHyphenationLocationBeforeIndex(CFStringRef, CFIndex, CFRange, CFOptionFlags, CFLocaleRef,
                                                  UTF32Char* character) {
    // There are no hyphenation patterns on this platform.
    if (character) *character = 0;
    return kCFNotFound;
}

Boolean CFStringIsHyphenationAvailableForLocale(CFLocaleRef) { return false; }
