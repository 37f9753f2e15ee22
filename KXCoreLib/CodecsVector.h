#pragma once

// The codecs' way through long plain stretches, 32 bytes or characters at a time, where the processor has the
// instructions for it (asked at run time).
//
// Each function converts as long a prefix of the input as it can, in whole blocks and without a remainder of bits, and
// returns how much of the input that was: 0 where there is no such processor, and a decoder stops before the first
// block that holds anything but characters of its alphabet. What follows is the tables' business. Output is written
// exactly: nothing beyond what the converted prefix gives.

#include <cstddef>

namespace KXCore {

/// The least input that any of the functions below makes progress on.
inline constexpr std::size_t kVectorBlock = 32;

std::size_t HexEncodeBlocks(const unsigned char* bytes, std::size_t length, char* text) noexcept;
std::size_t HexDecodeBlocks(const unsigned char* text, std::size_t length, unsigned char* bytes) noexcept;
std::size_t Base64EncodeBlocks(const unsigned char* bytes, std::size_t length, char* text) noexcept;
std::size_t Base64DecodeBlocks(const unsigned char* text, std::size_t length, unsigned char* bytes) noexcept;

}  // namespace KXCore
