#pragma once

// The alphabets of the codecs. Everything else about them, the vector tables too, is derived from these four.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace KXCore {

using DecodeTable = std::array<std::uint8_t, 256>;

inline constexpr std::uint8_t kPadding = 64;  ///< what a decode table gives for "="
inline constexpr std::uint8_t kInvalid = 65;  ///< what it gives for a byte outside the alphabet

inline constexpr std::string_view hex_etab = "0123456789abcdef";
inline constexpr std::string_view b64_etab = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
static_assert(hex_etab.size() == 16 && b64_etab.size() == 64);

inline constexpr DecodeTable hex_dtab = [] {
    DecodeTable table{};
    table.fill(kInvalid);
    for (std::size_t value = 0; value < hex_etab.size(); ++value) {
        const auto digit = static_cast<std::uint8_t>(hex_etab[value]);
        table[digit] = static_cast<std::uint8_t>(value);
        if (digit >= 'a') table[digit - 'a' + 'A'] = static_cast<std::uint8_t>(value);
    }
    return table;
}();

inline constexpr DecodeTable b64_dtab = [] {
    DecodeTable table{};
    table.fill(kInvalid);
    for (std::size_t value = 0; value < b64_etab.size(); ++value) {
        table[static_cast<std::uint8_t>(b64_etab[value])] = static_cast<std::uint8_t>(value);
    }
    table['='] = kPadding;
    return table;
}();

}  // namespace KXCore
