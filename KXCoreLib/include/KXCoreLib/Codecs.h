#pragma once

// Bytes as text and back: hexadecimal and Base64 (RFC 4648, section 4). C may include this header.
//
// All four functions have one shape: input, its length, output, the output's capacity. They work in the caller's
// buffers, keep nothing, allocate nothing and depend on no locale; any thread may call them at any time. A pointer may
// be null where its length or capacity is 0. Input and output must not overlap.
//
// Each returns how much it wrote, or -1. The capacity is tested before anything is written; after a -1 for any other
// reason the output may hold what came before the fault.
//
// A length that is negative as a signed number is no object's. The encoders take it for 0 where the capacity passes their
// test, which is computed without regard to overflow: so -1 and -2 need a capacity of 1. The decoders return -1 for it,
// whatever the capacity: where (length + 1) / 2 wraps to 0, they would read beyond any text.
//
// White space, which the decoders pass over between groups, is what isspace takes for it in the "C" locale: space, tab,
// newline, vertical tab, form feed and carriage return.
//
//     char text[9];
//     kx_base64_encode("fo", 2, text, sizeof text);     // 4, "Zm8="

#include <KXCoreLib/Export.h>

#include <stddef.h>

KX_EXTERN_C_BEGIN

/// Writes two lower-case digits for each byte, the high half first, and a NUL: 2 * length + 1 characters, which the
/// caller must provide. Returns the number of characters without the NUL.
///
/// -1 when (length + 2) / 3 * 4 + 1 is more than `capacity`. That is less than what is written: the test does not
/// protect a buffer shorter than 2 * length + 1.
KX_EXPORT ptrdiff_t kx_hex_encode(const void* bytes, size_t length, char* text, size_t capacity) KX_NOEXCEPT;

/// Reads pairs of digits, of either case, with white space before, between and after the pairs but not inside one.
/// Returns the number of bytes; an empty or all-white text gives 0.
///
/// -1 when (length + 1) / 2 is more than `capacity`, at anything that is neither digit nor white space, and for an odd
/// number of digits.
KX_EXPORT ptrdiff_t kx_hex_decode(const char* text, size_t length, void* bytes, size_t capacity) KX_NOEXCEPT;

/// Writes four characters for each three bytes, the last group padded with "=", and a NUL. Returns the number of
/// characters without the NUL.
///
/// -1 when (length + 2) / 3 * 4 + 1, which is exactly what is written, is more than `capacity`.
KX_EXPORT ptrdiff_t kx_base64_encode(const void* bytes, size_t length, char* text, size_t capacity) KX_NOEXCEPT;

/// Reads groups of four characters, with white space before, between and after the groups but not inside one. The last
/// group may be padded ("xxx=" is two bytes, "xx==" one); the unused low bits before the padding are not looked at.
/// Returns the number of bytes; an empty or all-white text gives 0. A padded group writes three bytes all the same, 0
/// for each that is not counted.
///
/// -1 when (length + 3) / 4 * 3 is more than `capacity` (so the space is asked for by whole groups, white space counted
/// in), at a character outside the alphabet, at an incomplete group, at padding anywhere else, and at any group after a
/// padded one.
KX_EXPORT ptrdiff_t kx_base64_decode(const char* text, size_t length, void* bytes, size_t capacity) KX_NOEXCEPT;

KX_EXTERN_C_END
