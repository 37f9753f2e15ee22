#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFData.h>

#include <vector>

namespace KXCore::CoreFoundation {

class MutableDataRef;

/// Bytes. A pointer to them is valid while the object lives and is not changed.
class KX_EXPORT DataRef : public TypedRef<DataRef, CFDataRef> {
  public:
    static constexpr const char* typeName = "CFDataRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFDataGetTypeID(); }

    static DataRef create(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length) {
        return created(CFDataCreate(allocator, bytes, length), "CFDataCreate");
    }
    /// A copy of the vector's bytes.
    static DataRef createWithStdVector(CFAllocatorRef allocator, const std::vector<unsigned char>& bytes) {
        return create(allocator, bytes.empty() ? nullptr : bytes.data(), static_cast<CFIndex>(bytes.size()));
    }
    /// Data over the caller's bytes, which `bytesDeallocator` frees with it (kCFAllocatorNull: nobody does).
    static DataRef createWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                         CFAllocatorRef bytesDeallocator) {
        return created(CFDataCreateWithBytesNoCopy(allocator, bytes, length, bytesDeallocator),
                       "CFDataCreateWithBytesNoCopy");
    }
    static DataRef createCopy(CFAllocatorRef allocator, CFDataRef data) {
        return created(CFDataCreateCopy(allocator, data), "CFDataCreateCopy");
    }
    DataRef createCopy(CFAllocatorRef allocator) const { return createCopy(allocator, get()); }
    /// A `capacity` of 0 sets no limit.
    static MutableDataRef createMutable(CFAllocatorRef allocator, CFIndex capacity);
    static MutableDataRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFDataRef data);
    MutableDataRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity) const;

    CFIndex getLength() const { return CFDataGetLength(get()); }
    const UInt8* getBytePtr() const { return CFDataGetBytePtr(get()); }
    void getBytes(CFRange range, UInt8* buffer) const { CFDataGetBytes(get(), range, buffer); }
    CFRange find(CFDataRef dataToFind, CFRange searchRange, CFDataSearchFlags compareOptions) const {
        return CFDataFind(get(), dataToFind, searchRange, compareOptions);
    }

    /// Replaces the vector's content by the data's bytes.
    void copyStdVector(std::vector<unsigned char>& out) const {
        const UInt8* const bytes = getBytePtr();
        const CFIndex length = bytes ? getLength() : 0;
        out.assign(bytes, bytes + length);
    }
    std::vector<unsigned char> copyStdVector() const {
        std::vector<unsigned char> bytes;
        copyStdVector(bytes);
        return bytes;
    }
};
static_assert(isPlainRef<DataRef>);

/// Bytes that can be changed.
class KX_EXPORT MutableDataRef : public HeldRef<MutableDataRef, CFMutableDataRef, DataRef> {
  public:
    UInt8* getMutableBytePtr() { return CFDataGetMutableBytePtr(get()); }
    /// Cuts, or adds zero bytes.
    void setLength(CFIndex length) { CFDataSetLength(get(), length); }
    void increaseLength(CFIndex extraLength) { CFDataIncreaseLength(get(), extraLength); }
    void appendBytes(const UInt8* bytes, CFIndex length) { CFDataAppendBytes(get(), bytes, length); }
    void replaceBytes(CFRange range, const UInt8* newBytes, CFIndex newLength) {
        CFDataReplaceBytes(get(), range, newBytes, newLength);
    }
    void deleteBytes(CFRange range) { CFDataDeleteBytes(get(), range); }
};
static_assert(isPlainRef<MutableDataRef>);

inline MutableDataRef DataRef::createMutable(CFAllocatorRef allocator, CFIndex capacity) {
    return MutableDataRef::created(CFDataCreateMutable(allocator, capacity), "CFDataCreateMutable");
}

inline MutableDataRef DataRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFDataRef data) {
    return MutableDataRef::created(CFDataCreateMutableCopy(allocator, capacity, data), "CFDataCreateMutableCopy");
}

inline MutableDataRef DataRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity) const {
    return createMutableCopy(allocator, capacity, get());
}

}  // namespace KXCore::CoreFoundation
