#pragma once

// Eight bytes of a text looked at together, in one word.

#include <cstdint>

namespace KXPlatform {

inline constexpr std::uint64_t kHighBits = 0x8080808080808080;

/// The byte in every place of a word.
constexpr std::uint64_t everywhere(unsigned char byte) noexcept { return 0x0101010101010101 * byte; }

/// Sets the high bit of the lowest byte of `word` that is zero, and perhaps of bytes above that one. Zero when no byte
/// is.
constexpr std::uint64_t zeroBytes(std::uint64_t word) noexcept { return (word - everywhere(1)) & ~word & kHighBits; }

}  // namespace KXPlatform
