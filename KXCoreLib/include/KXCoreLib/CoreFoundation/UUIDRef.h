#pragma once

#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFUUID.h>

namespace KXCore::CoreFoundation {

/// A universally unique identifier.
class KX_EXPORT UUIDRef : public TypedRef<UUIDRef, CFUUIDRef> {
  public:
    static constexpr const char* typeName = "CFUUIDRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// A new identifier, unlike any other.
    static UUIDRef create(CFAllocatorRef allocator);
    static UUIDRef createWithBytes(CFAllocatorRef allocator, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                   UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                   UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14, UInt8 byte15);
    /// From the form "68753A44-4D6F-1226-9C60-0050E4C00067".
    static UUIDRef createFromString(CFAllocatorRef allocator, CFStringRef text);
    static UUIDRef createFromUUIDBytes(CFAllocatorRef allocator, CFUUIDBytes bytes);
    static StringRef createString(CFAllocatorRef allocator, CFUUIDRef uuid);
    /// The process-wide object of an identifier that is a constant of the program; never freed.
    static UUIDRef getConstantUUIDWithBytes(CFAllocatorRef allocator, UInt8 byte0, UInt8 byte1, UInt8 byte2,
                                            UInt8 byte3, UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7,
                                            UInt8 byte8, UInt8 byte9, UInt8 byte10, UInt8 byte11, UInt8 byte12,
                                            UInt8 byte13, UInt8 byte14, UInt8 byte15);

    CFUUIDBytes getUUIDBytes() const;
};
static_assert(isPlainRef<UUIDRef>);

}  // namespace KXCore::CoreFoundation
