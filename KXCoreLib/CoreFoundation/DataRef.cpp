#include <KXCoreLib/CoreFoundation/DataRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID DataRef::getTypeID() { return CFDataGetTypeID(); }

DataRef DataRef::create(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length) {
    return KX_CREATE(DataRef, CFDataCreate)(allocator, bytes, length);
}

DataRef DataRef::createWithStdVector(CFAllocatorRef allocator, const std::vector<unsigned char>& bytes) {
    return create(allocator, bytes.empty() ? nullptr : bytes.data(), static_cast<CFIndex>(bytes.size()));
}

DataRef DataRef::createWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                       CFAllocatorRef bytesDeallocator) {
    return KX_CREATE(DataRef, CFDataCreateWithBytesNoCopy)(allocator, bytes, length, bytesDeallocator);
}

DataRef DataRef::createCopy(CFAllocatorRef allocator, CFDataRef data) {
    return KX_CREATE(DataRef, CFDataCreateCopy)(allocator, data);
}

MutableDataRef DataRef::createMutable(CFAllocatorRef allocator, CFIndex capacity) {
    return KX_CREATE(MutableDataRef, CFDataCreateMutable)(allocator, capacity);
}

MutableDataRef DataRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFDataRef data) {
    return KX_CREATE(MutableDataRef, CFDataCreateMutableCopy)(allocator, capacity, data);
}

CFIndex DataRef::getLength() const { return CFDataGetLength(get()); }
const UInt8* DataRef::getBytePtr() const { return CFDataGetBytePtr(get()); }
void DataRef::getBytes(CFRange range, UInt8* buffer) const { CFDataGetBytes(get(), range, buffer); }

CFRange DataRef::find(CFDataRef dataToFind, CFRange searchRange, CFDataSearchFlags compareOptions) const {
    return CFDataFind(get(), dataToFind, searchRange, compareOptions);
}

void DataRef::copyStdVector(std::vector<unsigned char>& out) const {
    const UInt8* const bytes = CFDataGetBytePtr(get());
    const CFIndex length = bytes ? CFDataGetLength(get()) : 0;
    out.assign(bytes, bytes + length);
}

std::vector<unsigned char> DataRef::copyStdVector() const {
    std::vector<unsigned char> bytes;
    copyStdVector(bytes);
    return bytes;
}

UInt8* MutableDataRef::getMutableBytePtr() { return CFDataGetMutableBytePtr(get()); }
void MutableDataRef::setLength(CFIndex length) { CFDataSetLength(get(), length); }
void MutableDataRef::increaseLength(CFIndex extraLength) { CFDataIncreaseLength(get(), extraLength); }
void MutableDataRef::appendBytes(const UInt8* bytes, CFIndex length) { CFDataAppendBytes(get(), bytes, length); }

void MutableDataRef::replaceBytes(CFRange range, const UInt8* newBytes, CFIndex newLength) {
    CFDataReplaceBytes(get(), range, newBytes, newLength);
}

void MutableDataRef::deleteBytes(CFRange range) { CFDataDeleteBytes(get(), range); }

}  // namespace KXCore::CoreFoundation
