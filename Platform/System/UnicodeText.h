#pragma once

// The encodings of Unicode, and the direct way from one to another.
//
// An encoding is a class of static functions: `decode` reads one character and refuses everything that is not exactly
// one (surrogates, values above 0x10FFFF, longer forms than needed), `encode` writes one. Both are small enough to
// vanish into convertText, which is where the speed of the common conversions comes from.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

/// What `decode` answers instead of a character's length.
constexpr int kIncomplete = 0;
constexpr int kInvalid = -1;

constexpr bool isSurrogate(char32_t c) noexcept { return c >= 0xD800 && c < 0xE000; }
constexpr bool isCharacter(char32_t c) noexcept { return c <= 0x10FFFF && !isSurrogate(c); }

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

    static constexpr std::size_t length(char32_t c) noexcept {
        return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
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
        if (first >= 0xDC00) return kInvalid;
        if (left < 4) return kIncomplete;
        const char32_t second = unit(in + 2);
        if (second < 0xDC00 || second > 0xDFFF) return kInvalid;
        c = 0x10000 + ((first & 0x3FF) << 10 | (second & 0x3FF));
        return 4;
    }

    static constexpr std::size_t length(char32_t c) noexcept { return c < 0x10000 ? 2 : 4; }

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

    static constexpr std::size_t length(char32_t) noexcept { return 4; }

    static std::size_t encode(char32_t c, unsigned char* out) noexcept {
        std::memcpy(out, &c, sizeof c);
        return 4;
    }
};

/// No encoding of one character is longer than this, in any of them.
constexpr std::size_t kLongestCharacter = 4;

constexpr std::size_t kPlainBlock = 16;

/// Converts a block of plain ASCII, unit by unit; leaves it when there is anything else in it.
template <class From, class To>
bool convertPlainBlock(const unsigned char* in, unsigned char* out) noexcept {
    std::array<typename From::Unit, kPlainBlock> from;
    std::memcpy(&from, in, sizeof from);
    typename From::Unit all = 0;
    for (const auto unit : from) all = static_cast<typename From::Unit>(all | unit);
    if (all >= 0x80) return false;
    std::array<typename To::Unit, kPlainBlock> to;
    for (std::size_t i = 0; i < kPlainBlock; ++i) to[i] = static_cast<typename To::Unit>(from[i]);
    std::memcpy(out, &to, sizeof to);
    return true;
}

/// Converts character by character until something stops it, and leaves `in` and `out` exactly there.
template <class From, class To>
Stop convertText(Input& in, Output& out) noexcept {
    for (;;) {
        // So many characters need no look at either end.
        std::size_t sure = std::min(in.left(), out.room()) / kLongestCharacter;
        while (sure != 0) {
            char32_t c;
            const int length = From::decode(in.at, kLongestCharacter, c);
            if (length == kInvalid) return Stop::Invalid;
            in.at += length;
            out.at += To::encode(c, out.at);
            --sure;
            if (c >= 0x80) continue;
            for (; sure >= kPlainBlock && convertPlainBlock<From, To>(in.at, out.at); sure -= kPlainBlock) {
                in.at += kPlainBlock * sizeof(typename From::Unit);
                out.at += kPlainBlock * sizeof(typename To::Unit);
            }
        }
        if (in.left() == 0) return Stop::UsedUp;
        char32_t c;
        const int length = From::decode(in.at, in.left(), c);
        if (length == kInvalid) return Stop::Invalid;
        if (length == kIncomplete) return Stop::Incomplete;
        if (To::length(c) > out.room()) return Stop::Full;
        in.at += length;
        out.at += To::encode(c, out.at);
    }
}

}  // namespace KXPlatform
