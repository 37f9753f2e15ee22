#pragma once

// Masks written as short texts: "read|write", "0x1F & ~execute". C may include this header.
//
// Nothing outlives a call and nothing is shared between calls: any number of threads may evaluate at once, with the
// same table or with different ones. The caller owns the text, the table and the result; they must stay as they are
// until the call returns.

#include <stdint.h>

#include <KXCoreLib/Export.h>

/// A name that a text may use, and the mask it stands for. A table of names is an array of these that ends with a row
/// whose `name` is null. The order of the rows counts: see EvalBitMask.
typedef struct BitMaskConstant {
    const char* name;
    uint64_t value;
} BitMaskConstant;

KX_EXTERN_C_BEGIN

/// Evaluates `text`. Returns 0 and writes the mask to `*result`; or leaves `*result` as it was and returns
///
///   1  the text is no expression ("syntax error" was printed);
///   2  the text nests deeper than the parser's ceiling, or memory ran out for it ("memory exhausted" was printed).
///
/// `result` may be null: the text is then only checked. `table` may be null: then no name is known.
///
/// The language, the loosest operator first; all binary operators group from the left:
///
///   a , b      union            a & b      intersection
///   a | b      union            -a  ~a     two's complement, bitwise complement
///   a ^ b      exclusive or     ( a )
///
/// Operands are unsigned 64-bit and wrap around.
///  - Numbers: hexadecimal after "0x", octal when a leading "0" is followed by octal digits only, else decimal. One
///    above 0x7fffffffffffffff counts as 0x7fffffffffffffff; masks with the top bit are written "-1" or "~0x7F...".
///  - Names: letters, digits and "_", not beginning with a digit. A name matches each row that it equals or begins,
///    whatever the case (of ASCII letters); the first such row counts.
///  - Space, tab and line feed separate, and are nowhere needed.
///
/// What the text gets wrong is reported on the standard error stream, a bare line each, in the order it is met:
/// "unknown ID: x" and "unexpected character: x", which are then skipped as white space is, and
/// "x is ambiguous: both readx and ready match" for each row after the first that matches.
///
/// Any text is safe: time grows linearly with its length, nesting uses no machine stack, and the parser holds at most
/// 10000 states (one a symbol not yet reduced, and one to begin with). A text shorter than 798 bytes needs no heap. The
/// text is read where it stands, never copied, so that running out of memory can end no more than the call.
///
/// Example:
///     static const BitMaskConstant names[] = {{"read", 1}, {"write", 2}, {0, 0}};
///     uint64_t mask;
///     if (EvalBitMask(&mask, "read | 0x10", names) == 0) use(mask);   // 0x11
KX_EXPORT int EvalBitMask(uint64_t* result, const char* text, const BitMaskConstant* table) KX_NOEXCEPT;

KX_EXTERN_C_END

#ifdef __cplusplus
namespace KXCore {
using ::BitMaskConstant;
using ::EvalBitMask;
}  // namespace KXCore
#endif
