#pragma once

#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/ErrorOutlet.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFPropertyList.h>

namespace KXCore::CoreFoundation {

/// A property list: a dictionary, array, string, number, boolean, date or data. Having no one type, the class has no
/// typeID, and its assign() takes any object.
///
/// Options are of CFPropertyListMutabilityOptions. `format` out-arguments may be null. Error holders: ErrorOutlet.h.
class KX_EXPORT PropertyListRef : public HeldRef<PropertyListRef, CFPropertyListRef> {
  public:
    /// Reads the XML, the binary or the old text form.
    static PropertyListRef createWithData(CFAllocatorRef allocator, CFDataRef data, CFOptionFlags options,
                                          CFPropertyListFormat* format, ErrorRef* error = nullptr) {
        ErrorOutlet outlet(error);
        return outlet.adopt<PropertyListRef>(
            CFPropertyListCreateWithData(allocator, data, options, format, outlet.out()));
    }
    /// A `streamLength` of 0 reads to the end of the stream.
    static PropertyListRef createWithStream(CFAllocatorRef allocator, CFReadStreamRef stream, CFIndex streamLength,
                                            CFOptionFlags options, CFPropertyListFormat* format,
                                            ErrorRef* error = nullptr) {
        ErrorOutlet outlet(error);
        return outlet.adopt<PropertyListRef>(
            CFPropertyListCreateWithStream(allocator, stream, streamLength, options, format, outlet.out()));
    }
    /// Writes the list in `format`.
    static DataRef createData(CFAllocatorRef allocator, CFPropertyListRef list, CFPropertyListFormat format,
                              CFOptionFlags options, ErrorRef* error = nullptr) {
        ErrorOutlet outlet(error);
        return outlet.adopt<DataRef>(CFPropertyListCreateData(allocator, list, format, options, outlet.out()));
    }
    DataRef createData(CFAllocatorRef allocator, CFPropertyListFormat format, CFOptionFlags options,
                       ErrorRef* error = nullptr) const {
        return createData(allocator, get(), format, options, error);
    }
    /// How many bytes were written; 0 is a failure.
    CFIndex write(CFWriteStreamRef stream, CFPropertyListFormat format, CFOptionFlags options,
                  ErrorRef* error = nullptr) const {
        ErrorOutlet outlet(error);
        return outlet.settle(CFPropertyListWrite(get(), stream, format, options, outlet.out()));
    }
    /// Copies the containers and, with kCFPropertyListMutableContainersAndLeaves, what they hold.
    static PropertyListRef createDeepCopy(CFAllocatorRef allocator, CFPropertyListRef list,
                                          CFOptionFlags mutabilityOption) {
        return created(CFPropertyListCreateDeepCopy(allocator, list, mutabilityOption), "CFPropertyListCreateDeepCopy");
    }
    PropertyListRef createDeepCopy(CFAllocatorRef allocator, CFOptionFlags mutabilityOption) const {
        return createDeepCopy(allocator, get(), mutabilityOption);
    }
    /// Whether the list can be written in `format`.
    Boolean isValid(CFPropertyListFormat format) const { return CFPropertyListIsValid(get(), format); }

// The older forms of the operations above, deprecated on macOS and kept there: they tell why they failed by a text.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    static PropertyListRef createFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                             CFOptionFlags mutabilityOption, StringRef* errorString = nullptr) {
        ErrorTextOutlet outlet("CFPropertyListCreateFromXMLData", errorString);
        return outlet.adopt<PropertyListRef>(
            CFPropertyListCreateFromXMLData(allocator, xmlData, mutabilityOption, outlet.out()));
    }
    static PropertyListRef createFromStream(CFAllocatorRef allocator, CFReadStreamRef stream, CFIndex streamLength,
                                            CFOptionFlags mutabilityOption, CFPropertyListFormat* format,
                                            StringRef* errorString = nullptr) {
        ErrorTextOutlet outlet("CFPropertyListCreateFromStream", errorString);
        return outlet.adopt<PropertyListRef>(
            CFPropertyListCreateFromStream(allocator, stream, streamLength, mutabilityOption, format, outlet.out()));
    }
    static DataRef createXMLData(CFAllocatorRef allocator, CFPropertyListRef list) {
        return DataRef::created(CFPropertyListCreateXMLData(allocator, list), "CFPropertyListCreateXMLData");
    }
    DataRef createXMLData(CFAllocatorRef allocator) const { return createXMLData(allocator, get()); }
    CFIndex writeToStream(CFWriteStreamRef stream, CFPropertyListFormat format,
                          StringRef* errorString = nullptr) const {
        ErrorTextOutlet outlet("CFPropertyListWriteToStream", errorString);
        return outlet.settle(CFPropertyListWriteToStream(get(), stream, format, outlet.out()));
    }
#pragma GCC diagnostic pop
};
static_assert(isPlainRef<PropertyListRef>);

}  // namespace KXCore::CoreFoundation
