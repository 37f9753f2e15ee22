#pragma once

// The encodings of Unicode, and the direct way from one to another.
//
// An encoding is a class of static functions: `decode` reads one character and refuses everything that is not exactly
// one (surrogates, values above 0x10FFFF, longer forms than needed), `encode` writes one. `decodeIf` and `encodeAs` do
// the same for characters of one range, all of one length, where the longest character is sure to fit, and may look and
// write that far. All are small enough to vanish into convertText, which is where the speed of the common conversions
// comes from.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace KXPlatform {

static_assert(std::endian::native == std::endian::little, "the little-endian encodings are read as the host's own");

/// What remains to be read, and where there is room to write. Both only move forwards.
struct Input {
    const unsigned char* at;
    const unsigned char* end;
    std::size_t left() const noexcept { return static_cast<std::size_t>(end - at); }
};

struct Output {
    unsigned char* at;
    unsigned char* end;
    std::size_t room() const noexcept { return static_cast<std::size_t>(end - at); }
};

/// Why a conversion stopped: the input is used up, ends inside a character, is invalid where it stands (or cannot be
/// represented), or the output has no room for the next character.
enum class Stop { UsedUp, Incomplete, Invalid, Full };

/// No encoding of one character is longer than this, in any of those below.
constexpr std::size_t kLongestCharacter = 4;

/// What `decode` returns instead of a character's length.
constexpr int kIncomplete = 0;
constexpr int kInvalid = -1;

constexpr bool isSurrogate(char32_t c) noexcept { return c >= 0xD800 && c < 0xE000; }
constexpr bool isLeadSurrogate(char32_t c) noexcept { return c >= 0xD800 && c < 0xDC00; }
constexpr bool isTrailSurrogate(char32_t c) noexcept { return c >= 0xDC00 && c < 0xE000; }
constexpr bool isCharacter(char32_t c) noexcept { return c <= 0x10FFFF && !isSurrogate(c); }

/// The character of a lead and a trail.
constexpr char32_t ofSurrogates(char32_t lead, char32_t trail) noexcept {
    return 0x10000 + ((lead & 0x3FF) << 10 | (trail & 0x3FF));
}

/// Characters beyond ASCII by what they take: in any one encoding, all of a range are of one length. A text mostly
/// stays within one of them.
enum class CharacterRange { From80, From800, From10000 };

struct UTF8Text {
    using Unit = std::uint8_t;

    static int decode(const unsigned char* in, std::size_t left, char32_t& c) noexcept {
        const unsigned lead = in[0];
        if (lead < 0x80) {
            c = lead;
            return 1;
        }
        if (lead < 0xC2 || lead > 0xF4) return kInvalid;
        if (left < 2) return kIncomplete;
        const unsigned second = in[1];
        if (!isTrail(second)) return kInvalid;
        if (lead < 0xE0) {
            c = (lead & 0x1F) << 6 | (second & 0x3F);
            return 2;
        }
        if (lead < 0xF0) {
            // E0 would be longer than needed below A0; ED leads to surrogates from A0.
            if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0)) return kInvalid;
            if (left < 3) return kIncomplete;
            if (!isTrail(in[2])) return kInvalid;
            c = (lead & 0x0F) << 12 | (second & 0x3F) << 6 | (in[2] & 0x3FU);
            return 3;
        }
        // F0 would be longer than needed below 90; F4 leads beyond 0x10FFFF from 90.
        if ((lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second >= 0x90)) return kInvalid;
        if (left < 3) return kIncomplete;
        if (!isTrail(in[2])) return kInvalid;
        if (left < 4) return kIncomplete;
        if (!isTrail(in[3])) return kInvalid;
        c = (lead & 0x07) << 18 | (second & 0x3F) << 12 | (in[2] & 0x3FU) << 6 | (in[3] & 0x3FU);
        return 4;
    }

    template <CharacterRange range>
    static constexpr std::size_t kLength = 2 + static_cast<std::size_t>(range);

    /// All marking bits by one comparison.
    template <CharacterRange range>
    static bool decodeIf(const unsigned char* in, char32_t& c) noexcept {
        std::uint32_t bytes;
        std::memcpy(&bytes, in, sizeof bytes);
        if constexpr (range == CharacterRange::From80) {
            c = (bytes & 0x1F) << 6 | (bytes >> 8 & 0x3F);
            return (bytes & 0xC0E0) == 0x80C0 && c >= 0x80;
        } else if constexpr (range == CharacterRange::From800) {
            c = (bytes & 0x0F) << 12 | (bytes >> 2 & 0xFC0) | (bytes >> 16 & 0x3F);
            return (bytes & 0xC0C0F0) == 0x8080E0 && c >= 0x800 && !isSurrogate(c);
        } else {
            c = (bytes & 0x07) << 18 | (bytes << 4 & 0x3F000) | (bytes >> 10 & 0xFC0) | (bytes >> 24 & 0x3F);
            return (bytes & 0xC0C0C0F8) == 0x808080F0 && c >= 0x10000 && c <= 0x10FFFF;
        }
    }

    static constexpr std::size_t length(char32_t c) noexcept {
        return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
    }

    /// Lead and trails in one store, with a byte too many where there are three.
    template <CharacterRange range>
    static void encodeAs(char32_t c, unsigned char* out) noexcept {
        const std::uint32_t last = 0x80 | (c & 0x3F);
        const std::uint32_t lastButOne = 0x80 | (c >> 6 & 0x3F);
        if constexpr (range == CharacterRange::From80) {
            const auto bytes = static_cast<std::uint16_t>((0xC0 | c >> 6) | last << 8);
            std::memcpy(out, &bytes, sizeof bytes);
        } else if constexpr (range == CharacterRange::From800) {
            const std::uint32_t bytes = (0xE0 | c >> 12) | lastButOne << 8 | last << 16;
            std::memcpy(out, &bytes, sizeof bytes);
        } else {
            const std::uint32_t bytes =
                (0xF0 | c >> 18) | (0x80 | (c >> 12 & 0x3F)) << 8 | lastButOne << 16 | last << 24;
            std::memcpy(out, &bytes, sizeof bytes);
        }
    }

    static std::size_t encode(char32_t c, unsigned char* out) noexcept {
        if (c < 0x80) {
            out[0] = static_cast<unsigned char>(c);
            return 1;
        }
        if (c < 0x800) {
            out[0] = static_cast<unsigned char>(0xC0 | c >> 6);
            out[1] = trail(c);
            return 2;
        }
        if (c < 0x10000) {
            out[0] = static_cast<unsigned char>(0xE0 | c >> 12);
            out[1] = trail(c >> 6);
            out[2] = trail(c);
            return 3;
        }
        out[0] = static_cast<unsigned char>(0xF0 | c >> 18);
        out[1] = trail(c >> 12);
        out[2] = trail(c >> 6);
        out[3] = trail(c);
        return 4;
    }

  private:
    static constexpr bool isTrail(unsigned byte) noexcept { return (byte & 0xC0) == 0x80; }
    static constexpr unsigned char trail(char32_t c) noexcept { return static_cast<unsigned char>(0x80 | (c & 0x3F)); }
};

struct UTF16LEText {
    using Unit = std::uint16_t;

    static int decode(const unsigned char* in, std::size_t left, char32_t& c) noexcept {
        if (left < 2) return kIncomplete;
        const char32_t first = unit(in);
        if (!isSurrogate(first)) {
            c = first;
            return 2;
        }
        if (!isLeadSurrogate(first)) return kInvalid;
        if (left < 4) return kIncomplete;
        const char32_t second = unit(in + 2);
        if (!isTrailSurrogate(second)) return kInvalid;
        c = ofSurrogates(first, second);
        return 4;
    }

    template <CharacterRange range>
    static constexpr std::size_t kLength = range == CharacterRange::From10000 ? 4 : 2;

    template <CharacterRange range>
    static bool decodeIf(const unsigned char* in, char32_t& c) noexcept {
        c = unit(in);
        if constexpr (range == CharacterRange::From80) return c >= 0x80 && c < 0x800;
        if constexpr (range == CharacterRange::From800) return c >= 0x800 && !isSurrogate(c);
        const char32_t second = unit(in + 2);
        const bool isPair = isLeadSurrogate(c) && isTrailSurrogate(second);
        c = ofSurrogates(c, second);
        return isPair;
    }

    static constexpr std::size_t length(char32_t c) noexcept { return c < 0x10000 ? 2 : 4; }

    template <CharacterRange range>
    static void encodeAs(char32_t c, unsigned char* out) noexcept {
        if constexpr (range == CharacterRange::From10000) {
            encode(c, out);
        } else {
            put(c, out);
        }
    }

    static std::size_t encode(char32_t c, unsigned char* out) noexcept {
        if (c < 0x10000) {
            put(c, out);
            return 2;
        }
        put(0xD800 + ((c - 0x10000) >> 10), out);
        put(0xDC00 + ((c - 0x10000) & 0x3FF), out + 2);
        return 4;
    }

  private:
    static char32_t unit(const unsigned char* in) noexcept {
        Unit unit;
        std::memcpy(&unit, in, sizeof unit);
        return unit;
    }
    static void put(char32_t value, unsigned char* out) noexcept {
        const Unit unit = static_cast<Unit>(value);
        std::memcpy(out, &unit, sizeof unit);
    }
};

struct UTF32LEText {
    using Unit = std::uint32_t;

    static int decode(const unsigned char* in, std::size_t left, char32_t& c) noexcept {
        if (left < 4) return kIncomplete;
        std::memcpy(&c, in, sizeof c);
        return isCharacter(c) ? 4 : kInvalid;
    }

    template <CharacterRange range>
    static constexpr std::size_t kLength = 4;

    template <CharacterRange range>
    static bool decodeIf(const unsigned char* in, char32_t& c) noexcept {
        std::memcpy(&c, in, sizeof c);
        if constexpr (range == CharacterRange::From80) return c >= 0x80 && c < 0x800;
        if constexpr (range == CharacterRange::From800) return c >= 0x800 && c < 0x10000 && !isSurrogate(c);
        return c >= 0x10000 && c <= 0x10FFFF;
    }

    static constexpr std::size_t length(char32_t) noexcept { return 4; }

    template <CharacterRange>
    static void encodeAs(char32_t c, unsigned char* out) noexcept {
        encode(c, out);
    }

    static std::size_t encode(char32_t c, unsigned char* out) noexcept {
        std::memcpy(out, &c, sizeof c);
        return 4;
    }
};

constexpr std::size_t kPlainBlock = 8;

/// Whether the unit is plain ASCII.
template <class Unit>
bool isPlain(const unsigned char* in) noexcept {
    Unit unit;
    std::memcpy(&unit, in, sizeof unit);
    return unit < 0x80;
}

/// How many of the first units of a block are plain ASCII.
template <class Unit>
std::size_t plainUnits(const unsigned char* in) noexcept {
    constexpr std::size_t kInWord = 8 / sizeof(Unit);
    // The bits that no ASCII unit has, in each unit of the word.
    constexpr std::uint64_t kBeyond = ~std::uint64_t{0} / static_cast<Unit>(~Unit{0}) * static_cast<Unit>(~Unit{0x7F});
    for (std::size_t word = 0; word < sizeof(Unit); ++word) {
        std::uint64_t units;
        std::memcpy(&units, in + 8 * word, sizeof units);
        if (const std::uint64_t beyond = units & kBeyond) {
            return word * kInWord + static_cast<std::size_t>(std::countr_zero(beyond)) / (8 * sizeof(Unit));
        }
    }
    return kPlainBlock;
}

/// A block of units in one vector of the compiler's, which knows how the processor widens and narrows them.
template <class Unit>
using PlainBlock [[gnu::vector_size(kPlainBlock * sizeof(Unit))]] = Unit;

/// Converts a block unit by unit, as if all of it were plain ASCII.
template <class From, class To>
void convertPlainBlock(const unsigned char* in, unsigned char* out) noexcept {
    PlainBlock<From> from;
    std::memcpy(&from, in, sizeof from);
    // By way of 16 bits: a step from 8 to 32 at once, or back, is taken apart badly by some compilers.
    const auto half = __builtin_convertvector(from, PlainBlock<std::uint16_t>);
    const auto to = __builtin_convertvector(half, PlainBlock<To>);
    std::memcpy(out, &to, sizeof to);
}

/// Converts the characters of a range that come next, `sure` at most; false when there is none.
template <class From, class To, CharacterRange range>
[[gnu::always_inline]] inline bool convertRun(Input& input, Output& output, std::size_t& sure) noexcept {
    char32_t c;
    if (!From::template decodeIf<range>(input.at, c)) return false;
    const unsigned char* in = input.at;
    unsigned char* out = output.at;
    std::size_t left = sure;
    do {
        To::template encodeAs<range>(c, out);
        in += From::template kLength<range>;
        out += To::template kLength<range>;
    } while (--left != 0 && From::template decodeIf<range>(in, c));
    input.at = in;
    output.at = out;
    sure = left;
    return true;
}

/// Copies the unit that comes next, which is plain ASCII.
template <class From, class To>
[[gnu::always_inline]] inline void convertPlain(Input& in, Output& out) noexcept {
    const typename To::Unit plain = in.at[0];
    std::memcpy(out.at, &plain, sizeof plain);
    in.at += sizeof(typename From::Unit);
    out.at += sizeof plain;
}

/// Whether the processor has what convertUTF16Blocks() needs.
bool hasUTF16Blocks() noexcept;

/// UTF-16 to UTF-8 by vectors: as many whole blocks of eight units as there are before one with a surrogate, and as
/// long as there is room for any block. What the result is, convertText says; this is only faster.
void convertUTF16Blocks(Input& input, Output& output) noexcept;

/// Converts character by character until something stops it, and leaves `input` and `output` exactly there. What of the
/// output is beyond that, it may have used.
template <class From, class To>
Stop convertText(Input& input, Output& output) noexcept {
    using Unit = typename From::Unit;
    constexpr bool kMayHaveBlocks = std::is_same_v<From, UTF16LEText> && std::is_same_v<To, UTF8Text>;
    const bool hasBlocks = kMayHaveBlocks && hasUTF16Blocks();
    Input in = input;  // the compiler cannot know that no byte of the text lies in these
    Output out = output;
    const auto stopped = [&](Stop stop) {
        input = in;
        output = out;
        return stop;
    };
    for (;;) {
        // So many characters need no look at either end.
        std::size_t sure = std::min(in.left(), out.room()) / kLongestCharacter;
        bool isWrong = false;
        while (sure != 0 && !isWrong) {
            if (sure >= kPlainBlock) {
                const std::size_t count = plainUnits<Unit>(in.at);
                convertPlainBlock<Unit, typename To::Unit>(in.at, out.at);
                in.at += count * sizeof(Unit);
                out.at += count * sizeof(typename To::Unit);
                sure -= count;
                if (count == kPlainBlock) continue;
                if (hasBlocks) {
                    convertUTF16Blocks(in, out);
                    sure = std::min(in.left(), out.room()) / kLongestCharacter;
                    if (sure == 0) break;
                }
            }
            // Other characters come in runs too, with a blank here and there that is not worth a block.
            while (sure != 0) {
                if (isPlain<Unit>(in.at)) {
                    convertPlain<From, To>(in, out);
                    if (--sure == 0) break;
                    if (isPlain<Unit>(in.at)) {
                        if (sure >= kPlainBlock) break;
                        continue;
                    }
                }
                isWrong = !convertRun<From, To, CharacterRange::From80>(in, out, sure) &&
                          !convertRun<From, To, CharacterRange::From800>(in, out, sure) &&
                          !convertRun<From, To, CharacterRange::From10000>(in, out, sure);
                if (isWrong || (hasBlocks && sure >= kPlainBlock)) break;
            }
        }
        // Near an end.
        while (in.left() >= sizeof(Unit) && out.room() >= sizeof(typename To::Unit) && isPlain<Unit>(in.at)) {
            convertPlain<From, To>(in, out);
        }
        if (in.left() == 0) return stopped(Stop::UsedUp);
        char32_t c;
        const int length = From::decode(in.at, in.left(), c);
        if (length == kInvalid) return stopped(Stop::Invalid);
        if (length == kIncomplete) return stopped(Stop::Incomplete);
        if (To::length(c) > out.room()) return stopped(Stop::Full);
        in.at += length;
        out.at += To::encode(c, out.at);
    }
}

}  // namespace KXPlatform
