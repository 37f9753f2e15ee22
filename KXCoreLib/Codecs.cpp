#include <KXCoreLib/Codecs.h>

#include "CodecsTables.h"
#include "CodecsVector.h"

#include <cstdint>

using namespace KXCore;

namespace {

/// How many characters after white space are read by the tables before the vector blocks are tried again: few, so that
/// lines of 64 or 76 go mostly by blocks, and enough that text in short words does not try in vain at each.
constexpr std::size_t kCharactersBetweenTries = 8;

/// No object is larger than this: a greater length can only be a mistake, and the decoders refuse it before they
/// believe it.
constexpr std::size_t kLongestInput = PTRDIFF_MAX;

constexpr std::size_t dividedUp(std::size_t n, std::size_t by) noexcept { return n / by + (n % by != 0); }

/// What the encoders ask for. The sum may wrap, but not for a length that any object has.
constexpr bool encodedFits(std::size_t length, std::size_t capacity) noexcept {
    return (length + 2) / 3 * 4 + 1 <= capacity;
}

constexpr bool isSpace(unsigned char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

const unsigned char* skipSpace(const unsigned char* in, const unsigned char* end) noexcept {
    while (in != end && isSpace(*in)) ++in;
    return in;
}

std::size_t left(const unsigned char* in, const unsigned char* end) noexcept {
    return static_cast<std::size_t>(end - in);
}

}  // namespace

ptrdiff_t kx_hex_encode(const void* bytes, size_t length, char* text, size_t capacity) noexcept {
    if (!encodedFits(length, capacity)) return -1;
    if (length > kLongestInput) length = 0;  // not positive as a signed number
    const auto* in = static_cast<const unsigned char*>(bytes);
    char* out = text;

    const std::size_t done = HexEncodeBlocks(in, length, out);
    out += 2 * done;
    for (std::size_t i = done; i < length; ++i) {
        *out++ = hex_etab[in[i] >> 4];
        *out++ = hex_etab[in[i] & 15];
    }
    *out = '\0';
    return out - text;
}

ptrdiff_t kx_hex_decode(const char* text, size_t length, void* bytes, size_t capacity) noexcept {
    if (dividedUp(length, 2) > capacity || length > kLongestInput) return -1;
    const auto* in = reinterpret_cast<const unsigned char*>(text);
    const auto* const end = in + length;
    auto* const start = static_cast<unsigned char*>(bytes);
    auto* out = start;

    std::size_t untilTry = 0;
    for (;;) {
        if (untilTry == 0) {
            const std::size_t done = HexDecodeBlocks(in, left(in, end), out);
            in += done;
            out += done / 2;
            untilTry = kCharactersBetweenTries;
        }
        for (; untilTry != 0 && left(in, end) >= 2; untilTry -= 2) {
            const unsigned high = hex_dtab[in[0]];
            const unsigned low = hex_dtab[in[1]];
            if ((high | low) > 15) break;
            *out++ = static_cast<unsigned char>(high << 4 | low);
            in += 2;
        }
        if (untilTry == 0) continue;
        const auto* const stopped = in;
        in = skipSpace(in, end);
        if (in == end) return out - start;
        if (in == stopped) return -1;  // a lone digit, or neither a digit nor white space
        untilTry = kCharactersBetweenTries;
    }
}

ptrdiff_t kx_base64_encode(const void* bytes, size_t length, char* text, size_t capacity) noexcept {
    if (!encodedFits(length, capacity)) return -1;
    if (length > kLongestInput) length = 0;  // not positive as a signed number
    const auto* in = static_cast<const unsigned char*>(bytes);
    char* out = text;

    const std::size_t done = Base64EncodeBlocks(in, length, out);
    std::size_t i = done;
    out += done / 3 * 4;
    for (; length - i >= 3; i += 3, out += 4) {
        const unsigned group = static_cast<unsigned>(in[i] << 16 | in[i + 1] << 8 | in[i + 2]);
        out[0] = b64_etab[group >> 18];
        out[1] = b64_etab[group >> 12 & 63];
        out[2] = b64_etab[group >> 6 & 63];
        out[3] = b64_etab[group & 63];
    }
    if (i != length) {
        const bool two = length - i == 2;
        const unsigned group = static_cast<unsigned>(in[i] << 16 | (two ? in[i + 1] << 8 : 0));
        out[0] = b64_etab[group >> 18];
        out[1] = b64_etab[group >> 12 & 63];
        out[2] = two ? b64_etab[group >> 6 & 63] : '=';
        out[3] = '=';
        out += 4;
    }
    *out = '\0';
    return out - text;
}

ptrdiff_t kx_base64_decode(const char* text, size_t length, void* bytes, size_t capacity) noexcept {
    if (dividedUp(length, 4) > capacity / 3 || length > kLongestInput) return -1;
    const auto* in = reinterpret_cast<const unsigned char*>(text);
    const auto* const end = in + length;
    auto* const start = static_cast<unsigned char*>(bytes);
    auto* out = start;

    std::size_t untilTry = 0;
    for (;;) {
        if (untilTry == 0) {
            const std::size_t done = Base64DecodeBlocks(in, left(in, end), out);
            in += done;
            out += done / 4 * 3;
            untilTry = kCharactersBetweenTries;
        }
        unsigned c0 = kInvalid, c1 = kInvalid, c2 = kInvalid, c3 = kInvalid;
        for (; untilTry != 0 && left(in, end) >= 4; untilTry -= 4) {
            c0 = b64_dtab[in[0]];
            c1 = b64_dtab[in[1]];
            c2 = b64_dtab[in[2]];
            c3 = b64_dtab[in[3]];
            if ((c0 | c1 | c2 | c3) >= kPadding) break;
            out[0] = static_cast<unsigned char>(c0 << 2 | c1 >> 4);
            out[1] = static_cast<unsigned char>(c1 << 4 | c2 >> 2);
            out[2] = static_cast<unsigned char>(c2 << 6 | c3);
            out += 3;
            in += 4;
        }
        if (untilTry == 0) continue;
        const auto* const stopped = in;
        in = skipSpace(in, end);
        if (in == end) return out - start;
        if (in == stopped) {
            // What stopped the loop is a padded group with nothing but white space after it, or a fault. Only a group
            // that was read ends with padding.
            if (c0 >= kPadding || c1 >= kPadding || c3 != kPadding || c2 > kPadding) return -1;
            const bool two = c2 != kPadding;
            if (skipSpace(in + 4, end) != end) return -1;
            out[0] = static_cast<unsigned char>(c0 << 2 | c1 >> 4);
            out[1] = static_cast<unsigned char>(two ? c1 << 4 | c2 >> 2 : 0U);
            out[2] = 0;
            return out - start + (two ? 2 : 1);
        }
        untilTry = kCharactersBetweenTries;
    }
}
