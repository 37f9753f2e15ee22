#include <KXCoreLib/CoreFoundation/UUIDRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID UUIDRef::getTypeID() { return CFUUIDGetTypeID(); }
UUIDRef UUIDRef::create(CFAllocatorRef allocator) { return KX_CREATE(UUIDRef, CFUUIDCreate)(allocator); }

UUIDRef UUIDRef::createWithBytes(CFAllocatorRef allocator, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                 UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                 UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14, UInt8 byte15) {
    return KX_CREATE(UUIDRef, CFUUIDCreateWithBytes)(allocator, byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7,
                                                     byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15);
}

UUIDRef UUIDRef::createFromString(CFAllocatorRef allocator, CFStringRef text) {
    return KX_CREATE(UUIDRef, CFUUIDCreateFromString)(allocator, text);
}

UUIDRef UUIDRef::createFromUUIDBytes(CFAllocatorRef allocator, CFUUIDBytes bytes) {
    return KX_CREATE(UUIDRef, CFUUIDCreateFromUUIDBytes)(allocator, bytes);
}

StringRef UUIDRef::createString(CFAllocatorRef allocator, CFUUIDRef uuid) {
    return KX_CREATE(StringRef, CFUUIDCreateString)(allocator, uuid);
}

UUIDRef UUIDRef::getConstantUUIDWithBytes(CFAllocatorRef allocator, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                          UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                          UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                          UInt8 byte15) {
    return retain(CFUUIDGetConstantUUIDWithBytes(allocator, byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7,
                                                 byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15));
}

CFUUIDBytes UUIDRef::getUUIDBytes() const { return CFUUIDGetUUIDBytes(get()); }

}  // namespace KXCore::CoreFoundation
