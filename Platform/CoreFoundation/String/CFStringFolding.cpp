#include "CFStringFolding.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <vector>

namespace KXPlatform {

namespace {

// The instances are ICU's own, made once and never freed; null only where ICU lacks its data, and then the texts stay
// as they are.
const UNormalizer2* canonicalDecomposition() noexcept {
    UErrorCode status = U_ZERO_ERROR;
    return unorm2_getNFDInstance(&status);
}

const UNormalizer2* canonicalComposition() noexcept {
    UErrorCode status = U_ZERO_ERROR;
    return unorm2_getNFCInstance(&status);
}

const UNormalizer2* compatibilityComposition() noexcept {
    UErrorCode status = U_ZERO_ERROR;
    return unorm2_getNFKCInstance(&status);
}

UChar32 characterAt(TextView text, CFIndex index) noexcept {
    const UChar32 unit = text[index];
    if (U16_IS_LEAD(unit) && index + 1 < text.length && U16_IS_TRAIL(text[index + 1]))
        return U16_GET_SUPPLEMENTARY(unit, text[index + 1]);
    return unit;
}

void append(std::u16string& text, UChar32 c) {
    if (c <= 0xFFFF) {
        text.push_back(static_cast<char16_t>(c));
    } else {
        text.push_back(static_cast<char16_t>(U16_LEAD(c)));
        text.push_back(static_cast<char16_t>(U16_TRAIL(c)));
    }
}

/// Calls `handle` for each code point; a lone surrogate is one.
template <class Handle>
void eachCharacter(const std::u16string& text, Handle handle) {
    for (std::size_t i = 0; i < text.size();) {
        UChar32 c;
        U16_NEXT(text.data(), i, text.size(), c);
        handle(c);
    }
}

/// Blocks in which nothing continues a sequence, so that most text is not looked up: Greek and Cyrillic letters, and
/// the East Asian scripts from Hangul letters for old compatibility to the last Hangul syllable.
constexpr bool isInPlainBlock(UChar32 c) noexcept {
    return c < kFirstMark || (c >= 0x370 && c < 0x483) || (c >= 0x48A && c < 0x591) || (c >= 0x3130 && c < 0xA000) ||
           (c >= 0xAC00 && c <= 0xD7A3);
}

/// Of canonical folding: whether a character belongs to the sequence before it.
bool continuesSequence(UChar32 c, const Folding& folding) noexcept {
    if (isInPlainBlock(c)) return false;
    if ((U_GET_GC_MASK(c) & U_GC_M_MASK) != 0) return true;
    if (isHalfwidthVoicing(static_cast<char32_t>(c))) return folding.widthless;
    // What composes with a character before it without being a mark: the inner letters of Hangul syllables.
    const UNormalizer2* const nfc = canonicalComposition();
    return nfc && !unorm2_hasBoundaryBefore(nfc, c);
}

/// A mark that changes the letter it stands on. Marks that take no part in reordering (the vowel signs of Indic
/// scripts, variation selectors) carry meaning of their own and stay.
bool isDiacritic(UChar32 c) noexcept {
    return c >= kFirstMark && u_charType(c) == U_NON_SPACING_MARK && u_getCombiningClass(c) != 0;
}

/// What diacritic folding concerns: Latin, Greek, Cyrillic and what stands among them.
constexpr bool isOfMarkedScript(UChar32 c) noexcept { return c < 0x510 || (c >= 0x1E00 && c < 0x2000); }

/// Only after such a letter is a diacritic folded away: a mark alone stays, and kana keep their voice marks.
bool losesMarks(UChar32 c) noexcept { return isOfMarkedScript(c) && u_isalpha(c); }

/// Each step puts its result into `text`; `result` is memory to work in.
void foldWidth(std::u16string& text, std::u16string& result) {
    const UNormalizer2* const nfkc = compatibilityComposition();
    if (!nfkc) return;
    result.clear();
    eachCharacter(text, [&](UChar32 c) {
        const int type = u_getIntPropertyValue(c, UCHAR_DECOMPOSITION_TYPE);
        UChar32 ordinary = c;
        if (type == U_DT_WIDE || type == U_DT_NARROW) {
            char16_t mapped[4];
            UErrorCode status = U_ZERO_ERROR;
            const int32_t length = unorm2_getRawDecomposition(nfkc, c, mapped, 4, &status);
            // Every such mapping is one character.
            if (U_SUCCESS(status) && length > 0) U16_GET(mapped, 0, 0, length, ordinary);
        }
        append(result, ordinary);
    });
    text.swap(result);
}

void decompose(std::u16string& text, std::u16string& result) {
    const UNormalizer2* const nfd = canonicalDecomposition();
    if (!nfd) return;
    orderLongMarkRuns(text);
    const auto length = static_cast<int32_t>(text.size());
    UErrorCode status = U_ZERO_ERROR;
    result.resize(text.size() * 3 + 8);
    int32_t needed =
        unorm2_normalize(nfd, text.data(), length, result.data(), static_cast<int32_t>(result.size()), &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        status = U_ZERO_ERROR;
        result.resize(static_cast<std::size_t>(needed));
        needed = unorm2_normalize(nfd, text.data(), length, result.data(), needed, &status);
    }
    if (U_FAILURE(status)) return;
    result.resize(static_cast<std::size_t>(needed));
    text.swap(result);
}

constexpr std::uint32_t caseOptions(const Folding& folding) noexcept {
    return folding.dotted ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
}

void foldCase(std::u16string& text, std::u16string& result, const Folding& folding) {
    // A character folds to at most three units for each of its own.
    result.resize(text.size() * 3);
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = u_strFoldCase(result.data(), static_cast<int32_t>(result.size()), text.data(),
                                         static_cast<int32_t>(text.size()), caseOptions(folding), &status);
    if (U_FAILURE(status)) return;
    result.resize(static_cast<std::size_t>(length));
    text.swap(result);
}

void removeDiacritics(std::u16string& text, std::u16string& result) {
    const UNormalizer2* const nfd = canonicalDecomposition();
    if (!nfd) return;
    result.clear();
    bool afterLetter = false;
    eachCharacter(text, [&](UChar32 c) {
        if (isDiacritic(c)) {
            if (!afterLetter) append(result, c);
            return;
        }
        afterLetter = losesMarks(c);
        char16_t parts[8];
        UErrorCode status = U_ZERO_ERROR;
        const int32_t length =
            c < 0xC0 || !isOfMarkedScript(c) ? -1 : unorm2_getDecomposition(nfd, c, parts, 8, &status);
        if (length < 0 || U_FAILURE(status)) {
            append(result, c);
            return;
        }
        for (int32_t i = 0; i < length;) {
            UChar32 part;
            U16_NEXT(parts, i, length, part);
            if (!isDiacritic(part)) append(result, part);
        }
    });
    text.swap(result);
}

}  // namespace

CFIndex sequenceEnd(TextView text, CFIndex start, const Folding& folding) noexcept {
    if (!text.isWide()) return start + 1;
    UChar32 first = characterAt(text, start);
    CFIndex end = start + U16_LENGTH(first);
    if (!folding.canonical) {
        if (folding.widthless && first >= 0xFF01 && first <= 0xFF5E) first -= 0xFF01 - '!';
        if (!folding.unmarked || !losesMarks(first)) return end;
    }
    while (end < text.length) {
        const UChar32 next = characterAt(text, end);
        if (folding.canonical ? !continuesSequence(next, folding) : !isDiacritic(next)) break;
        end += U16_LENGTH(next);
    }
    return end;
}

void orderLongMarkRuns(std::u16string& text) {
    constexpr std::size_t kLong = 64;
    struct Mark {
        UChar32 character;
        std::uint8_t combiningClass;
    };
    if (text.size() < kLong) return;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] < kFirstMark) {
            ++at;
            continue;
        }
        const std::size_t start = at;
        std::vector<Mark> run;
        while (at < text.size()) {
            std::size_t next = at;
            UChar32 c;
            U16_NEXT(text.data(), next, text.size(), c);
            const std::uint8_t combiningClass = u_getCombiningClass(c);
            if (combiningClass == 0) {
                if (next > at && run.empty()) at = next;
                break;
            }
            run.push_back({c, combiningClass});
            at = next;
        }
        if (at - start < kLong || run.empty()) continue;
        std::ranges::stable_sort(run, {}, &Mark::combiningClass);
        std::size_t place = start;
        for (const Mark& mark : run) U16_APPEND_UNSAFE(text.data(), place, mark.character);
    }
}

/// The folded form of a single character, where it is one; most text consists of such.
bool SequenceFolder::appendCharacter(TextView character, std::u16string& folded) const {
    UChar32 c = characterAt(character, 0);
    if (U16_LENGTH(c) != character.length || folding_.widthless || folding_.unmarked) return false;
    const UNormalizer2* const nfd = canonicalDecomposition();
    const auto isWhole = [&] {
        char16_t parts[8];
        UErrorCode status = U_ZERO_ERROR;
        return !folding_.canonical || !nfd || unorm2_getDecomposition(nfd, c, parts, 8, &status) < 0;
    };
    if (!isWhole()) return false;
    if (folding_.caseless) {
        char16_t units[2], caseless[8];
        int32_t length = 0;
        U16_APPEND_UNSAFE(units, length, c);
        UErrorCode status = U_ZERO_ERROR;
        const int32_t foldedLength = u_strFoldCase(caseless, 8, units, length, caseOptions(folding_), &status);
        if (U_FAILURE(status) || foldedLength <= 0) return false;
        U16_GET(caseless, 0, 0, foldedLength, c);
        if (U16_LENGTH(c) != foldedLength || !isWhole()) return false;
    }
    KXPlatform::append(folded, c);
    return true;
}

void SequenceFolder::append(TextView sequence, std::u16string& folded) {
    if (sequence.length == 1 && sequence[0] < 0x80 && (folding_.keepsASCII() || sequence[0] != 'I')) {
        const char c = static_cast<char>(sequence[0]);
        folded.push_back(static_cast<char16_t>(folding_.caseless ? asciiLower(c) : c));
        return;
    }
    if (sequence.length > 1) return appendUnremembered(sequence, folded);
    Remembered& slot = remembered_[sequence[0] % remembered_.size()];
    if (slot.key == sequence[0]) return folded.push_back(static_cast<char16_t>(slot.folded));
    const std::size_t before = folded.size();
    appendUnremembered(sequence, folded);
    if (folded.size() == before + 1) slot = {sequence[0], folded.back()};
}

void SequenceFolder::appendUnremembered(TextView sequence, std::u16string& folded) {
    if (sequence.length <= 2 && appendCharacter(sequence, folded)) return;
    text_.resize(static_cast<std::size_t>(sequence.length));
    sequence.copyTo(asUnits(text_.data()));
    // ICU counts in 32 bits, and a form is at most some times longer: no sequence of any language comes near.
    if (text_.size() > INT32_MAX / 8) {
        folded += text_;
        return;
    }
    if (folding_.widthless) foldWidth(text_, spare_);
    // Taken apart, the Turkish capital with a dot would be the one without.
    if (folding_.dotted) foldCase(text_, spare_, folding_);
    if (folding_.canonical) decompose(text_, spare_);
    if (folding_.caseless) foldCase(text_, spare_, folding_);
    // Case folding may give composed characters, or marks out of order.
    if (folding_.caseless && folding_.canonical) decompose(text_, spare_);
    if (folding_.unmarked) removeDiacritics(text_, spare_);
    folded += text_;
}

std::u16string folded(TextView text, const Folding& folding) {
    SequenceFolder folder(folding);
    std::u16string result;
    result.reserve(static_cast<std::size_t>(text.length));
    for (CFIndex at = 0; at < text.length;) {
        const CFIndex end = sequenceEnd(text, at, folding);
        folder.append(text.part(at, end - at), result);
        at = end;
    }
    return result;
}

void FoldedReader::refill() {
    pending_.clear();
    at_ = 0;
    while (index_ < text_.length) {
        const UniChar unit = text_[index_];
        const bool isPlain = unit < 0x80 && (folding_.keepsASCII() || unit != 'I');
        if (isPlain && (index_ + 1 == text_.length || text_[index_ + 1] < kFirstMark)) {
            const char c = static_cast<char>(unit);
            current_ = folding_.caseless ? asciiLower(c) : c;
            ++index_;
            return;
        }
        const CFIndex end = sequenceEnd(text_, index_, folding_);
        folder_.append(text_.part(index_, end - index_), pending_);
        index_ = end;
        if (!pending_.empty()) {
            current_ = pending_[0];
            return;
        }
    }
    current_ = kEnd;
}

}  // namespace KXPlatform
