#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFBitVector.h>

namespace KXCore::CoreFoundation {

class MutableBitVectorRef;

/// Bits, by index. In bytes the first is the most significant bit of the first byte. A range or an index beyond the
/// count reads as nothing: 0, false or kCFNotFound.
class KX_EXPORT BitVectorRef : public TypedRef<BitVectorRef, CFBitVectorRef> {
  public:
    static constexpr const char* typeName = "CFBitVectorRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    static BitVectorRef create(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBits);
    static BitVectorRef createCopy(CFAllocatorRef allocator, CFBitVectorRef bv);
    /// `capacity` is the most bits the vector may have; 0 sets no limit.
    static MutableBitVectorRef createMutable(CFAllocatorRef allocator, CFIndex capacity);
    static MutableBitVectorRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFBitVectorRef bv);

    CFIndex getCount() const;
    CFIndex getCountOfBit(CFRange range, CFBit value) const;
    Boolean containsBit(CFRange range, CFBit value) const;
    CFBit getBitAtIndex(CFIndex idx) const;
    /// Fills a buffer with room for the range, rounded up to whole bytes.
    void getBits(CFRange range, UInt8* bytes) const;
    CFIndex getFirstIndexOfBit(CFRange range, CFBit value) const;
    CFIndex getLastIndexOfBit(CFRange range, CFBit value) const;
};
static_assert(isPlainRef<BitVectorRef>);

/// A bit vector that can be changed.
class KX_EXPORT MutableBitVectorRef : public HeldRef<MutableBitVectorRef, CFMutableBitVectorRef, BitVectorRef> {
  public:
    /// Cuts the vector or appends zeros.
    void setCount(CFIndex count);
    void flipBitAtIndex(CFIndex idx);
    void flipBits(CFRange range);
    void setBitAtIndex(CFIndex idx, CFBit value);
    void setBits(CFRange range, CFBit value);
    void setAllBits(CFBit value);
};
static_assert(isPlainRef<MutableBitVectorRef>);

}  // namespace KXCore::CoreFoundation
