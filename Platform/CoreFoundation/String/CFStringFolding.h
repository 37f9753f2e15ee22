#pragma once

// Likeness of text: what "case-insensitive", "non-literal", "diacritic-insensitive" and "width-insensitive" mean for
// comparing, finding and folding. Text is taken apart into sequences, and each has one folded form; texts are alike
// when their folded forms are equal. Under canonical folding a sequence is a base character with the marks that belong
// to it; otherwise it is one character, with the marks after it where diacritics are folded away.
//
//     case         full case folding of Unicode: "ß" is like "SS"; in Turkish and Azerbaijani "ı" is like "I"
//     canonical    canonical decomposition: "é" is like "e" with U+0301
//     diacritics   of Latin, Greek and Cyrillic (below U+0510, U+1E00 to U+1FFF), canonical decomposition without the
//                  non-spacing marks that attach to a letter: "é" is like "e"
//     width        the ordinary form of half-width and full-width characters, one by one: "Ａ" is like "A"

#include "CFStringLocale.h"
#include "CFStringObject.h"

#include <array>
#include <string>

namespace KXPlatform {

struct Folding {
    bool caseless = false;
    bool canonical = false;
    bool unmarked = false;
    bool widthless = false;
    bool dotted = false;  ///< the case of i is folded as Turkish has it

    static Folding of(CFStringCompareFlags flags, CFLocaleRef locale = nullptr) noexcept {
        const bool caseless = (flags & kCFCompareCaseInsensitive) != 0;
        return {.caseless = caseless,
                .canonical = (flags & kCFCompareNonliteral) != 0,
                .unmarked = (flags & kCFCompareDiacriticInsensitive) != 0,
                .widthless = (flags & kCFCompareWidthInsensitive) != 0,
                .dotted = caseless && locale && hasDottedCapitalI(icuNameOrRoot(locale))};
    }
    /// Whether the folded form of ASCII is ASCII, each character by itself.
    constexpr bool keepsASCII() const noexcept { return !dotted; }
    constexpr bool any() const noexcept { return caseless || canonical || unmarked || widthless; }
};

constexpr char asciiLower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
constexpr char asciiUpper(char c) noexcept { return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c; }

/// The half-width voicing marks of kana: characters of their own, which join the letter before them under canonical
/// folding only.
constexpr bool isHalfwidthVoicing(char32_t c) noexcept { return c == 0xFF9E || c == 0xFF9F; }

/// Units below this neither continue a sequence nor need a look at what stands before them.
constexpr UniChar kFirstMark = 0x300;

/// The end of the sequence that begins at `start`, an index within `text`.
CFIndex sequenceEnd(TextView text, CFIndex start, const Folding& folding) noexcept;

/// Puts long runs of combining marks into canonical order. The text stays equivalent; and normalizing it, which moves
/// each mark to its place past all others, no longer takes time by the square of a run. May throw std::bad_alloc.
void orderLongMarkRuns(std::u16string& text);

/// Folds sequences, one after the other, keeping the memory it needs on the way.
class SequenceFolder {
  public:
    explicit SequenceFolder(const Folding& folding) noexcept : folding_(folding) {}

    /// Appends the folded form of one sequence; nothing for one that consists of ignored marks. May throw
    /// std::bad_alloc.
    void append(TextView sequence, std::u16string& folded);

  private:
    /// A unit that folds to a single unit, as most do; key 0: none remembered.
    struct Remembered {
        UniChar key = 0;
        UniChar folded = 0;
    };

    void appendUnremembered(TextView sequence, std::u16string& folded);
    bool appendCharacter(TextView character, std::u16string& folded) const;

    Folding folding_;
    std::array<Remembered, 128> remembered_;  ///< at the low bits of the unit: texts keep to few letters
    std::u16string text_;
    std::u16string spare_;
};

/// The folded form of a whole text. May throw std::bad_alloc.
std::u16string folded(TextView text, const Folding& folding);

/// Reads the folded form of a text unit by unit, folding no further than it is read. May throw std::bad_alloc.
class FoldedReader {
  public:
    static constexpr int kEnd = -1;

    FoldedReader(TextView text, const Folding& folding) : text_(text), folding_(folding), folder_(folding) { refill(); }

    /// The unit at the reader's place, or kEnd.
    int peek() const noexcept { return current_; }

    void advance() {
        if (++at_ < pending_.size())
            current_ = pending_[at_];
        else
            refill();
    }

  private:
    void refill();

    TextView text_;
    Folding folding_;
    SequenceFolder folder_;
    CFIndex index_ = 0;
    std::u16string pending_;
    std::size_t at_ = 0;
    int current_ = kEnd;
};

}  // namespace KXPlatform
