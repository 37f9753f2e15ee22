#include <KXCoreLib/CoreFoundation/BitVectorRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID BitVectorRef::getTypeID() { return CFBitVectorGetTypeID(); }

BitVectorRef BitVectorRef::create(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBits) {
    return KX_CREATE(BitVectorRef, CFBitVectorCreate)(allocator, bytes, numBits);
}

BitVectorRef BitVectorRef::createCopy(CFAllocatorRef allocator, CFBitVectorRef bv) {
    return KX_CREATE(BitVectorRef, CFBitVectorCreateCopy)(allocator, bv);
}

MutableBitVectorRef BitVectorRef::createMutable(CFAllocatorRef allocator, CFIndex capacity) {
    return KX_CREATE(MutableBitVectorRef, CFBitVectorCreateMutable)(allocator, capacity);
}

MutableBitVectorRef BitVectorRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFBitVectorRef bv) {
    return KX_CREATE(MutableBitVectorRef, CFBitVectorCreateMutableCopy)(allocator, capacity, bv);
}

CFIndex BitVectorRef::getCount() const { return CFBitVectorGetCount(get()); }

CFIndex BitVectorRef::getCountOfBit(CFRange range, CFBit value) const {
    return CFBitVectorGetCountOfBit(get(), range, value);
}

Boolean BitVectorRef::containsBit(CFRange range, CFBit value) const {
    return CFBitVectorContainsBit(get(), range, value);
}

CFBit BitVectorRef::getBitAtIndex(CFIndex idx) const { return CFBitVectorGetBitAtIndex(get(), idx); }
void BitVectorRef::getBits(CFRange range, UInt8* bytes) const { CFBitVectorGetBits(get(), range, bytes); }

CFIndex BitVectorRef::getFirstIndexOfBit(CFRange range, CFBit value) const {
    return CFBitVectorGetFirstIndexOfBit(get(), range, value);
}

CFIndex BitVectorRef::getLastIndexOfBit(CFRange range, CFBit value) const {
    return CFBitVectorGetLastIndexOfBit(get(), range, value);
}

void MutableBitVectorRef::setCount(CFIndex count) { CFBitVectorSetCount(get(), count); }
void MutableBitVectorRef::flipBitAtIndex(CFIndex idx) { CFBitVectorFlipBitAtIndex(get(), idx); }
void MutableBitVectorRef::flipBits(CFRange range) { CFBitVectorFlipBits(get(), range); }
void MutableBitVectorRef::setBitAtIndex(CFIndex idx, CFBit value) { CFBitVectorSetBitAtIndex(get(), idx, value); }
void MutableBitVectorRef::setBits(CFRange range, CFBit value) { CFBitVectorSetBits(get(), range, value); }
void MutableBitVectorRef::setAllBits(CFBit value) { CFBitVectorSetAllBits(get(), value); }

}  // namespace KXCore::CoreFoundation
