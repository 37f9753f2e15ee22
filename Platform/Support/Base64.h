#pragma once

// Base64 (RFC 4648, section 4) as property lists need it: written a line at a time, and read past whatever stands
// between its characters.

#include <cstddef>
#include <string_view>

namespace KXPlatform {

/// The characters that `count` bytes take.
constexpr std::size_t sizeInBase64(std::size_t count) noexcept { return (count + 2) / 3 * 4; }

/// Writes `count` bytes as sizeInBase64(count) characters, and returns the end of them.
char* encodeBase64(const unsigned char* bytes, std::size_t count, char* to) noexcept;

/// The bytes that decoding `size` characters needs room for: more than they give.
constexpr std::size_t roomForBase64(std::size_t size) noexcept { return size / 4 * 3 + 4; }

/// Writes the bytes of `text` to `to`, which has roomForBase64 of it, and returns the end of them. Characters that are
/// not of the alphabet are passed over, and so is a last group that is not whole. A group with padding ends neither the
/// text nor what counts.
unsigned char* decodeBase64(std::string_view text, unsigned char* to) noexcept;

}  // namespace KXPlatform
