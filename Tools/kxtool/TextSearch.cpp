#include "TextSearch.h"

#include <KXCoreLib/CoreFoundation/StringRef.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "Terminal.h"

namespace kxtool {
namespace {

using KXCore::CoreFoundation::StringRef;

constexpr char LowerLetter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }
constexpr char UpperLetter(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c & ~0x20) : c; }

bool IsASCII(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0x80) == 0; });
}

StringRef StringOf(std::string_view text) {
    const std::string utf8 = Utf8Of(text);
    return StringRef::adopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                                    static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

/// Whether `lower` stands at `at`, letter case of ASCII aside.
bool StandsAt(const char* at, std::string_view lower) {
    for (std::size_t i = 0; i < lower.size(); ++i) {
        if (LowerLetter(at[i]) != lower[i]) return false;
    }
    return true;
}

/// Whether `lower`, ASCII and not empty, stands in `bytes`. Looks for places where its first and its last letter stand
/// at the right distance, sixteen at a time.
bool FindASCII(std::string_view bytes, std::string_view lower) {
    if (bytes.size() < lower.size()) return false;
    const char* at = bytes.data();
    const std::size_t places = bytes.size() - lower.size() + 1;
    std::size_t i = 0;
#ifdef __SSE2__
    const std::size_t last = lower.size() - 1;
    const __m128i first[2] = {_mm_set1_epi8(lower.front()), _mm_set1_epi8(UpperLetter(lower.front()))};
    const __m128i end[2] = {_mm_set1_epi8(lower.back()), _mm_set1_epi8(UpperLetter(lower.back()))};
    const auto either = [](__m128i piece, const __m128i(&of)[2]) {
        return _mm_or_si128(_mm_cmpeq_epi8(piece, of[0]), _mm_cmpeq_epi8(piece, of[1]));
    };
    for (; i + 16 <= places; i += 16) {
        const __m128i begins = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + i));
        const __m128i ends = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + i + last));
        auto found = static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(either(begins, first), either(ends, end))));
        for (; found != 0; found &= found - 1) {
            if (StandsAt(at + i + std::countr_zero(found), lower)) return true;
        }
    }
#endif
    for (; i < places; ++i) {
        if (StandsAt(at + i, lower)) return true;
    }
    return false;
}

/// The length of the UTF-8 character at `text`, or 1 for a byte that begins none.
std::size_t LengthAt(const char* text) {
    const auto first = static_cast<unsigned char>(*text);
    const std::size_t length = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    std::size_t i = 1;
    while (i < length && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) ++i;
    return i;
}

bool MatchesPattern(const char* pattern, const char* text) {
    // The last star and the text that it has taken so far: all that has to be tried again.
    const char* star = nullptr;
    const char* taken = nullptr;
    while (*text != '\0') {
        if (*pattern == '*') {
            star = ++pattern;
            taken = text;
        } else if (*pattern == '?') {
            ++pattern;
            text += LengthAt(text);
        } else if (*pattern != '\0' && LowerLetter(*pattern) == LowerLetter(*text)) {
            ++pattern;
            ++text;
        } else if (star) {
            pattern = star;
            text = ++taken;
        } else {
            return false;
        }
    }
    while (*pattern == '*') ++pattern;
    return *pattern == '\0';
}

}  // namespace

std::string LowerCased(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerLetter);
    return lower;
}

SearchedWord::SearchedWord(std::string_view word) : lower_(LowerCased(word)), isASCII_(IsASCII(word)) {}

bool SearchedWord::isIn(std::string_view bytes) const {
    if (lower_.empty()) return true;
    if (FindASCII(bytes, lower_)) return true;
    if (isASCII_ || IsASCII(bytes)) return false;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::string_view text = bytes.substr(at, bytes.find('\0', at) - at);
        if (isInFolded(text)) return true;
        at += text.size() + 1;
    }
    return false;
}

bool SearchedWord::isInFolded(std::string_view text) const {
    if (IsASCII(text)) return false;
    const StringRef all = StringOf(text);
    const StringRef word = StringOf(lower_);
    return all && word &&
           CFStringFind(all.get(), word.get(), kCFCompareCaseInsensitive | kCFCompareNonliteral).location !=
               kCFNotFound;
}

WantedText::WantedText(std::string_view text)
    : lower_(LowerCased(text)),
      isASCII_(IsASCII(text)),
      isPattern_(text.find_first_of("*?") != std::string_view::npos) {}

bool WantedText::matches(const char* text) const {
    std::size_t i = 0;
    while (i < lower_.size() && text[i] != '\0' && LowerLetter(text[i]) == lower_[i]) ++i;
    if (i == lower_.size() && text[i] == '\0') return true;
    if (isPattern_) return MatchesPattern(lower_.c_str(), text);
    if (isASCII_ || IsASCII(text)) return false;
    const StringRef one = StringOf(lower_);
    const StringRef other = StringOf(text);
    return one && other &&
           CFStringCompare(one.get(), other.get(), kCFCompareCaseInsensitive | kCFCompareNonliteral) ==
               kCFCompareEqualTo;
}

}  // namespace kxtool
