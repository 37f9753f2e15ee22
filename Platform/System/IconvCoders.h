#pragma once

// The halves of a conversion: from bytes to characters, characters brought to a normal form, and characters to bytes.

#include "Support/UnicodeText.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>

struct UNormalizer2;

namespace KXPlatform {

/// An encoding as a name gives it. What is not handled here goes to the C library under `nativeName`.
struct Charset {
    enum Kind { UTF8, UTF16LE, UTF32LE, Library };

    /// Finds the encoding of a name without suffix. Never fails: an unknown name is the C library's to refuse.
    static Charset named(std::string_view name);

    Kind kind = Library;
    bool decomposed = false;  ///< the text is in the decomposed form of file names
    std::string nativeName{};
};

class Decoder {
  public:
    virtual ~Decoder();

    /// Reads about `places` characters to `out`, up to kMore more where they come by several, and moves `in` and `out`.
    /// Full: there is more to read. Invalid: `in` stands at what is invalid.
    virtual Stop decode(Input& in, char32_t*& out, std::size_t places) noexcept = 0;

    /// The text is over: gives characters that waited for what follows, kMore at most.
    virtual void finish(char32_t*& out) noexcept = 0;

    virtual void reset() noexcept = 0;

    /// So many bytes are dropped as one invalid piece.
    virtual std::size_t unit() const noexcept = 0;

    static constexpr std::size_t kMore = 16;
};

class Encoder {
  public:
    virtual ~Encoder();

    /// How many of the characters [in, end) can be encoded before it is known what follows them: all but kMostHeld at
    /// least.
    static constexpr std::size_t kMostHeld = 1;
    virtual std::size_t ready(const char32_t* in, const char32_t* end) const noexcept;

    /// Whether ready() ever returns less than all of them.
    virtual bool holdsBack() const noexcept;

    /// Whether the bytes are the same wherever the output ends, and encoding goes on in another.
    virtual bool mayBeCut() const noexcept;

    /// Writes the characters [in, end) and moves `in` and `out`. Invalid: the character at `in` cannot be represented.
    virtual Stop encode(const char32_t*& in, const char32_t* end, Output& out) noexcept = 0;

    /// The text is over: returns to the initial state, with what the encoding needs for it. UsedUp or Full.
    virtual Stop finish(Output& out) noexcept = 0;

    virtual void reset() noexcept = 0;

    /// A character hardly ever takes more bytes; when one does, Full is the answer.
    virtual std::size_t longest() const noexcept = 0;
};

/// Null, with errno as iconv_open leaves it, when the C library does not know the name.
std::unique_ptr<Decoder> makeDecoder(const Charset& from);
std::unique_ptr<Encoder> makeEncoder(const Charset& to, bool transliterating);

/// The direct conversion between two encodings of Unicode.
using DirectConversion = Stop (*)(Input&, Output&) noexcept;
DirectConversion directConversion(Charset::Kind from, Charset::Kind to) noexcept;

/// Characters on their way, in order. It never holds more than kPlaces: who pushes sees to that.
class CharacterQueue {
  public:
    static constexpr std::size_t kPlaces = 1024;

    const char32_t* begin() const noexcept { return characters_.data() + head_; }
    const char32_t* end() const noexcept { return characters_.data() + tail_; }
    std::size_t size() const noexcept { return tail_ - head_; }

    void push(char32_t c) noexcept {
        if (tail_ != kPlaces) characters_[tail_++] = c;
    }
    void popTo(const char32_t* at) noexcept {
        head_ = static_cast<std::size_t>(at - characters_.data());
        if (head_ == tail_) clear();
    }
    void clear() noexcept { head_ = tail_ = 0; }
    void moveToFront() noexcept {
        if (head_ == 0) return;
        std::copy(begin(), end(), characters_.begin());
        tail_ -= head_;
        head_ = 0;
    }

  private:
    std::array<char32_t, kPlaces> characters_;
    std::size_t head_ = 0;
    std::size_t tail_ = 0;
};

/// Brings characters to or from the form of file names as they pass. What may still join with the next character is
/// held back, up to a bound: an endless run of marks is cut rather than kept.
class Normaliser {
  public:
    static constexpr std::size_t kMostHeld = 32;
    /// One character never becomes more than this many.
    static constexpr std::size_t kMostFromOne = 4;

    /// Null with errno set when the tables are not to be had.
    static std::unique_ptr<Normaliser> composing();
    static std::unique_ptr<Normaliser> decomposing();

    Normaliser(const UNormalizer2* form, bool isComposing) noexcept : form_(form), isComposing_(isComposing) {}

    void put(char32_t c, CharacterQueue& out) noexcept;
    void finish(CharacterQueue& out) noexcept;
    void reset() noexcept { count_ = 0; }
    std::size_t held() const noexcept { return count_; }

  private:
    static std::unique_ptr<Normaliser> make(const UNormalizer2* form, bool isComposing);

    const UNormalizer2* form_;
    bool isComposing_;
    std::array<char32_t, kMostHeld> held_;
    std::size_t count_ = 0;
};

}  // namespace KXPlatform
