#pragma once

/// Vectors of bits.
///
/// Where bits are read from bytes or written to them, the first is the most significant one of the first byte. Any
/// number of threads may read a vector that nobody changes; one that changes belongs to one thread at a time.
///
/// Nothing here fails loudly: a vector that is null or none, an index or a range beyond its count, or a change to an
/// immutable one, has no effect and returns 0, false or kCFNotFound.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

/// 0, or 1 and any other value.
typedef UInt32 CFBit;
typedef const struct __CFBitVector* CFBitVectorRef;
typedef struct __CFBitVector* CFMutableBitVectorRef;

CF_EXPORT CFTypeID CFBitVectorGetTypeID(void);

/// An immutable vector of the `numBits` bits that stand in `bytes`. Null when the number is negative or there is no
/// memory.
CF_EXPORT CFBitVectorRef CFBitVectorCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBits);
/// An immutable vector of the same bits; the vector itself, retained, where it is immutable already.
CF_EXPORT CFBitVectorRef CFBitVectorCreateCopy(CFAllocatorRef allocator, CFBitVectorRef bv);
/// A vector of no bits. `capacity` is the number of bits that it may have at the most, 0 for no such limit; null when
/// it is negative.
CF_EXPORT CFMutableBitVectorRef CFBitVectorCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
/// The same with the bits of `bv`; null when they are more than `capacity` allows.
CF_EXPORT CFMutableBitVectorRef CFBitVectorCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                             CFBitVectorRef bv);

CF_EXPORT CFIndex CFBitVectorGetCount(CFBitVectorRef bv);
CF_EXPORT CFIndex CFBitVectorGetCountOfBit(CFBitVectorRef bv, CFRange range, CFBit value);
CF_EXPORT Boolean CFBitVectorContainsBit(CFBitVectorRef bv, CFRange range, CFBit value);
CF_EXPORT CFBit CFBitVectorGetBitAtIndex(CFBitVectorRef bv, CFIndex idx);
/// Writes the bits of the range to `bytes`, which has room for them; what is left of the last byte is 0.
CF_EXPORT void CFBitVectorGetBits(CFBitVectorRef bv, CFRange range, UInt8* bytes);
/// The index, in the vector, of the first or last bit of the range that has the value, or kCFNotFound.
CF_EXPORT CFIndex CFBitVectorGetFirstIndexOfBit(CFBitVectorRef bv, CFRange range, CFBit value);
CF_EXPORT CFIndex CFBitVectorGetLastIndexOfBit(CFBitVectorRef bv, CFRange range, CFBit value);

/// Cuts the vector, or appends bits of value 0. No effect beyond the capacity or the memory.
CF_EXPORT void CFBitVectorSetCount(CFMutableBitVectorRef bv, CFIndex count);
CF_EXPORT void CFBitVectorFlipBitAtIndex(CFMutableBitVectorRef bv, CFIndex idx);
CF_EXPORT void CFBitVectorFlipBits(CFMutableBitVectorRef bv, CFRange range);
CF_EXPORT void CFBitVectorSetBitAtIndex(CFMutableBitVectorRef bv, CFIndex idx, CFBit value);
CF_EXPORT void CFBitVectorSetBits(CFMutableBitVectorRef bv, CFRange range, CFBit value);
CF_EXPORT void CFBitVectorSetAllBits(CFMutableBitVectorRef bv, CFBit value);

CF_EXTERN_C_END
