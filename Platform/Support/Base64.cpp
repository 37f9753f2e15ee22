#include "Support/Base64.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace KXPlatform {
namespace {

static_assert(std::endian::native == std::endian::little, "groups are read and written as words");

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The two characters of every 12 bits: half the look-ups and half the stores.
constexpr std::array<std::array<char, 2>, 4096> kPairs = [] {
    std::array<std::array<char, 2>, 4096> pairs{};
    for (std::size_t bits = 0; bits < pairs.size(); ++bits) pairs[bits] = {kAlphabet[bits >> 6], kAlphabet[bits & 63]};
    return pairs;
}();

void putPair(char* to, std::uint64_t bits) noexcept { std::memcpy(to, kPairs[bits & 0xFFF].data(), 2); }

/// The value of each character; kPadding for the padding, kNone for anything else.
constexpr std::int8_t kPadding = 64;
constexpr std::int8_t kNone = -1;
constexpr std::array<std::int8_t, 256> kValues = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(kNone);
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
    }
    values['='] = kPadding;
    return values;
}();

/// For each place in a group of four characters, what a character there adds to the group's three bytes, the first of
/// them in memory first, and kNoGroup for one that has no value.
constexpr std::uint32_t kNoGroup = 0x80000000;
constexpr std::array<std::array<std::uint32_t, 256>, 4> kGroups = [] {
    std::array<std::array<std::uint32_t, 256>, 4> groups{};
    for (std::size_t place = 0; place < 4; ++place) {
        for (std::size_t character = 0; character < 256; ++character) {
            const int value = kValues[character];
            if (value < 0 || value == kPadding) {
                groups[place][character] = kNoGroup;
                continue;
            }
            const std::uint32_t bits = static_cast<std::uint32_t>(value) << (18 - 6 * place);
            const std::uint32_t first = bits >> 16, second = bits >> 8 & 0xFF, third = bits & 0xFF;
            groups[place][character] = first | second << 8 | third << 16;
        }
    }
    return groups;
}();

}  // namespace

char* encodeBase64(const unsigned char* bytes, std::size_t count, char* to) noexcept {
    // Six bytes a step, of the eight that are read at once.
    for (; count >= 8; count -= 6, bytes += 6, to += 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        word = __builtin_bswap64(word);
        putPair(to, word >> 52);
        putPair(to + 2, word >> 40);
        putPair(to + 4, word >> 28);
        putPair(to + 6, word >> 16);
    }
    for (; count >= 3; count -= 3, bytes += 3, to += 4) {
        const std::uint32_t group = static_cast<std::uint32_t>(bytes[0] << 16 | bytes[1] << 8 | bytes[2]);
        putPair(to, group >> 12);
        putPair(to + 2, group);
    }
    if (count == 0) return to;
    const std::uint32_t group = static_cast<std::uint32_t>(bytes[0] << 16 | (count == 2 ? bytes[1] << 8 : 0));
    putPair(to, group >> 12);
    putPair(to + 2, group);
    if (count == 1) to[2] = '=';
    to[3] = '=';
    return to + 4;
}

unsigned char* decodeBase64(std::string_view text, unsigned char* to) noexcept {
    const char* p = text.data();
    const char* const end = p + text.size();
    std::uint32_t group = 0;
    unsigned inGroup = 0;
    unsigned padding = 0;
    while (p != end) {
        // Groups whose characters stand together, as they nearly always do. Four bytes are written, of which three
        // count.
        for (; inGroup == 0 && end - p >= 4; p += 4, to += 3) {
            const auto addedBy = [p](std::size_t i) { return kGroups[i][static_cast<unsigned char>(p[i])]; };
            const std::uint32_t bytes = addedBy(0) | addedBy(1) | addedBy(2) | addedBy(3);
            if (bytes & kNoGroup) break;
            std::memcpy(to, &bytes, sizeof bytes);
        }
        if (p == end) break;
        const int value = kValues[static_cast<unsigned char>(*p++)];
        if (value == kNone) continue;
        if (value == kPadding) ++padding;
        group = group << 6 | (static_cast<std::uint32_t>(value) & 63);
        if (++inGroup < 4) continue;
        *to++ = static_cast<unsigned char>(group >> 16);
        if (padding < 2) *to++ = static_cast<unsigned char>(group >> 8);
        if (padding < 1) *to++ = static_cast<unsigned char>(group);
        group = 0;
        inGroup = 0;
        padding = 0;
    }
    return to;
}

}  // namespace KXPlatform
