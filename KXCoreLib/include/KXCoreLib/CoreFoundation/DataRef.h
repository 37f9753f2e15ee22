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
    static CFTypeID getTypeID();

    static DataRef create(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
    /// A copy of the vector's bytes.
    static DataRef createWithStdVector(CFAllocatorRef allocator, const std::vector<unsigned char>& bytes);
    /// Data over the caller's bytes, which `bytesDeallocator` frees with it (kCFAllocatorNull: nobody does).
    static DataRef createWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                         CFAllocatorRef bytesDeallocator);
    static DataRef createCopy(CFAllocatorRef allocator, CFDataRef data);
    /// A `capacity` of 0 sets no limit.
    static MutableDataRef createMutable(CFAllocatorRef allocator, CFIndex capacity);
    static MutableDataRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFDataRef data);

    CFIndex getLength() const;
    const UInt8* getBytePtr() const;
    void getBytes(CFRange range, UInt8* buffer) const;
    CFRange find(CFDataRef dataToFind, CFRange searchRange, CFDataSearchFlags compareOptions) const;

    /// Replaces the vector's content by the data's bytes.
    void copyStdVector(std::vector<unsigned char>& out) const;
    std::vector<unsigned char> copyStdVector() const;
};
static_assert(isPlainRef<DataRef>);

/// Bytes that can be changed.
class KX_EXPORT MutableDataRef : public HeldRef<MutableDataRef, CFMutableDataRef, DataRef> {
  public:
    UInt8* getMutableBytePtr();
    /// Cuts, or adds zero bytes.
    void setLength(CFIndex length);
    void increaseLength(CFIndex extraLength);
    void appendBytes(const UInt8* bytes, CFIndex length);
    void replaceBytes(CFRange range, const UInt8* newBytes, CFIndex newLength);
    void deleteBytes(CFRange range);
};
static_assert(isPlainRef<MutableDataRef>);

}  // namespace KXCore::CoreFoundation
