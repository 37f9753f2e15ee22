#pragma once

// Character-set conversion as macOS has it: the C library's four calls, with the control call, the names and the way of
// dropping invalid input that the C library here lacks. It stands before the system's header of this name, and its
// calls are bound to functions of their own, so a program's other users of the system's iconv are not touched.
//
// Names. Besides all that the system's iconv_open knows, in any case of letters: "char" and "" (the encoding of the
// locale's narrow strings at the time of the call), "wchar_t" (that of wchar_t), and "utf8-mac" or "UTF-8-MAC" (UTF-8
// in the decomposed form of file names: read from, it gives composed characters, and written to, decomposed ones; those
// that file names leave alone, U+2000 to U+2FFF, U+F900 to U+FAFF and U+2F800 to U+2FAFF, it leaves alone too).
//
// Dropping. A target name may end in "//IGNORE", and iconvctl can ask for the same: invalid input is then dropped by
// the unit of its encoding (a byte; two or four in UTF-16 and UTF-32) and characters that the target cannot represent
// are silently dropped whole, and the conversion goes on. "//TRANSLIT" replaces what the target lacks by what is like
// it.
//
// A handle serves one thread at a time; separate handles are independent.

#include <stddef.h>

#define ICONV_TRIVIALP 0          /* int*: 1 when the conversion changes nothing */
#define ICONV_GET_TRANSLITERATE 1 /* int* */
#define ICONV_SET_TRANSLITERATE 2 /* const int* */
#define ICONV_GET_DISCARD_ILSEQ 3 /* int* */
#define ICONV_SET_DISCARD_ILSEQ 4 /* const int* */

typedef void* iconv_t;

#define KX_ICONV_EXPORT(name) __asm__(name) __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/// Opens a conversion; (iconv_t)-1 with errno EINVAL when a name is not known, ENOMEM when there is no memory.
iconv_t iconv_open(const char* tocode, const char* fromcode) KX_ICONV_EXPORT("kx_iconv_open");

/// Converts from *inbuf to *outbuf and moves both past what was done. Returns the number of characters dropped, or
/// (size_t)-1 with errno
///   E2BIG   no room for the next character,
///   EINVAL  the input ends inside a character,
///   EILSEQ  the input is invalid, or the target lacks the character, and dropping was not asked for;
///           *inbuf then points at it.
///
/// Some encodings join characters (composition in "utf8-mac", combining in a few multi-byte sets), so the last ones may
/// wait in the handle for what follows. They come out with the next input, and at the end of the text: a call that
/// offers no input, or one that can take nothing of what it is offered, ends the text as far as it got.
///
/// With a null inbuf or *inbuf: ends the text into *outbuf when there is one, and returns to the initial state.
size_t iconv(iconv_t cd, char** __restrict inbuf, size_t* __restrict inbytesleft, char** __restrict outbuf,
             size_t* __restrict outbytesleft) KX_ICONV_EXPORT("kx_iconv");

int iconv_close(iconv_t cd) KX_ICONV_EXPORT("kx_iconv_close");

/// Asks or sets a property of the conversion: one of the requests above. -1 with errno EINVAL for any other.
int iconvctl(iconv_t cd, int request, void* argument) KX_ICONV_EXPORT("kx_iconvctl");

#ifdef __cplusplus
}
#endif

#undef KX_ICONV_EXPORT
