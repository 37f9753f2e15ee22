#include <KXCoreLib/CoreFoundation/PropertyListRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

PropertyListRef PropertyListRef::createWithData(CFAllocatorRef allocator, CFDataRef data, CFOptionFlags options,
                                                CFPropertyListFormat* format, ErrorRef* error) {
    return KX_TRY_CREATE(PropertyListRef, CFPropertyListCreateWithData, error)(allocator, data, options, format);
}

PropertyListRef PropertyListRef::createWithStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                  CFIndex streamLength, CFOptionFlags options,
                                                  CFPropertyListFormat* format, ErrorRef* error) {
    return KX_TRY_CREATE(PropertyListRef, CFPropertyListCreateWithStream, error)(allocator, stream, streamLength,
                                                                                 options, format);
}

DataRef PropertyListRef::createData(CFAllocatorRef allocator, CFPropertyListRef list, CFPropertyListFormat format,
                                    CFOptionFlags options, ErrorRef* error) {
    return KX_TRY_CREATE(DataRef, CFPropertyListCreateData, error)(allocator, list, format, options);
}

CFIndex PropertyListRef::write(CFWriteStreamRef stream, CFPropertyListFormat format, CFOptionFlags options,
                               ErrorRef* error) const {
    return KX_TRY(CFPropertyListWrite, isNotZero, error)(get(), stream, format, options);
}

PropertyListRef PropertyListRef::createDeepCopy(CFAllocatorRef allocator, CFPropertyListRef list,
                                                CFOptionFlags mutabilityOption) {
    return KX_CREATE(PropertyListRef, CFPropertyListCreateDeepCopy)(allocator, list, mutabilityOption);
}

Boolean PropertyListRef::isValid(CFPropertyListFormat format) const { return CFPropertyListIsValid(get(), format); }

// The older forms of the operations above, deprecated on macOS and kept there.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

PropertyListRef PropertyListRef::createFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                                   CFOptionFlags mutabilityOption, StringRef* errorString) {
    return KX_TRY_CREATE(PropertyListRef, CFPropertyListCreateFromXMLData, errorString)(allocator, xmlData,
                                                                                        mutabilityOption);
}

PropertyListRef PropertyListRef::createFromStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                  CFIndex streamLength, CFOptionFlags mutabilityOption,
                                                  CFPropertyListFormat* format, StringRef* errorString) {
    return KX_TRY_CREATE(PropertyListRef, CFPropertyListCreateFromStream, errorString)(allocator, stream, streamLength,
                                                                                       mutabilityOption, format);
}

DataRef PropertyListRef::createXMLData(CFAllocatorRef allocator, CFPropertyListRef list) {
    return KX_CREATE(DataRef, CFPropertyListCreateXMLData)(allocator, list);
}

CFIndex PropertyListRef::writeToStream(CFWriteStreamRef stream, CFPropertyListFormat format,
                                       StringRef* errorString) const {
    return KX_TRY(CFPropertyListWriteToStream, isNotZero, errorString)(get(), stream, format);
}

}  // namespace KXCore::CoreFoundation
