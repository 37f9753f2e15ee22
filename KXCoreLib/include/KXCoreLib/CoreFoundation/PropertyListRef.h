#pragma once

#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/ErrorRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFPropertyList.h>

namespace KXCore::CoreFoundation {

/// A property list: a dictionary, array, string, number, boolean, date or data. Having no one type, the class has no
/// typeID, and its assign() takes any object.
///
/// Options are of CFPropertyListMutabilityOptions. `format` out-arguments may be null. Error holders: TypeRef.h.
class KX_EXPORT PropertyListRef : public HeldRef<PropertyListRef, CFPropertyListRef> {
  public:
    /// Reads the XML, the binary or the old text form.
    static PropertyListRef createWithData(CFAllocatorRef allocator, CFDataRef data, CFOptionFlags options,
                                          CFPropertyListFormat* format, ErrorRef* error = nullptr);
    /// A `streamLength` of 0 reads to the end of the stream.
    static PropertyListRef createWithStream(CFAllocatorRef allocator, CFReadStreamRef stream, CFIndex streamLength,
                                            CFOptionFlags options, CFPropertyListFormat* format,
                                            ErrorRef* error = nullptr);
    /// Writes the list in `format`.
    static DataRef createData(CFAllocatorRef allocator, CFPropertyListRef list, CFPropertyListFormat format,
                              CFOptionFlags options, ErrorRef* error = nullptr);
    /// How many bytes were written; 0 is a failure.
    CFIndex write(CFWriteStreamRef stream, CFPropertyListFormat format, CFOptionFlags options,
                  ErrorRef* error = nullptr) const;
    /// Copies the containers and, with kCFPropertyListMutableContainersAndLeaves, what they hold.
    static PropertyListRef createDeepCopy(CFAllocatorRef allocator, CFPropertyListRef list,
                                          CFOptionFlags mutabilityOption);
    /// Whether the list can be written in `format`.
    Boolean isValid(CFPropertyListFormat format) const;

    // The older forms of the operations above, deprecated on macOS and kept there: they tell why they failed by a text.
    static PropertyListRef createFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                             CFOptionFlags mutabilityOption, StringRef* errorString = nullptr);
    static PropertyListRef createFromStream(CFAllocatorRef allocator, CFReadStreamRef stream, CFIndex streamLength,
                                            CFOptionFlags mutabilityOption, CFPropertyListFormat* format,
                                            StringRef* errorString = nullptr);
    static DataRef createXMLData(CFAllocatorRef allocator, CFPropertyListRef list);
    CFIndex writeToStream(CFWriteStreamRef stream, CFPropertyListFormat format, StringRef* errorString = nullptr) const;
};
static_assert(isPlainRef<PropertyListRef>);

}  // namespace KXCore::CoreFoundation
