#pragma once

/// Property lists: trees of dictionaries with string keys, arrays, strings, data, numbers, booleans and dates; their
/// XML and binary forms read and written, the old text style read.
///
/// Every result is the caller's to release. Any thread may call these functions; a list that is being written or copied
/// must not change meanwhile. Documents are not trusted: a list nests at most 512 deep, a document has at most 2^30
/// bytes, and a binary document that means far more than it holds (objects shared over and over) is refused.
///
/// A failure gives null (0 for a count) and, where asked for, an error of the domain NSCocoaErrorDomain with one of the
/// codes below; its user info tells the reason under NSDebugDescription, with the line for textual documents. The older
/// functions give the reason as a string, to be released, or null when all went well. Without memory the error is made
/// from the system's.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFOpaqueTypes.h>

CF_EXTERN_C_BEGIN

typedef CFOptionFlags CFPropertyListMutabilityOptions;

CF_ANONYMOUS_ENUM(CFPropertyListMutabilityOptions){
    kCFPropertyListImmutable = 0,
    kCFPropertyListMutableContainers = 1,           ///< arrays and dictionaries
    kCFPropertyListMutableContainersAndLeaves = 2,  ///< strings and data as well; keys never
};

CF_ENUM_TYPE(CFIndex, CFPropertyListFormat){
    kCFPropertyListOpenStepFormat = 1,  ///< the old text style: read, never written
    kCFPropertyListXMLFormat_v1_0 = 100,
    kCFPropertyListBinaryFormat_v1_0 = 200,
};

CF_ANONYMOUS_ENUM(CFIndex){
    kCFPropertyListReadCorruptError = 3840,
    kCFPropertyListReadUnknownVersionError = 3841,  ///< a binary document of another version
    kCFPropertyListReadStreamError = 3842,
    kCFPropertyListWriteStreamError = 3851,  ///< every failed write
};

/// As CFPropertyListCreateWithData, which takes its place; reads every format in spite of its name.
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                                            CFOptionFlags mutabilityOption, CFStringRef* errorString);
/// The list as XML; null when it cannot be written.
CF_EXPORT CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef propertyList);
/// A copy of the list with all its containers, and of its leaves as far as they are to be mutable or were. An object
/// that stands in several places is copied for each. Null for what is no property list.
CF_EXPORT CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                                         CFOptionFlags mutabilityOption);
/// Whether `plist` holds only types that `format` can hold, no deeper than a list may be.
CF_EXPORT Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format);
/// Streams do not exist yet: the only stream that can be given is null, and this and the other functions that take one
/// return that failure (kCFPropertyListReadStreamError or kCFPropertyListWriteStreamError).
CF_EXPORT CFIndex CFPropertyListWriteToStream(CFPropertyListRef propertyList, CFWriteStreamRef stream,
                                              CFPropertyListFormat format, CFStringRef* errorString);
CF_EXPORT CFPropertyListRef CFPropertyListCreateFromStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                           CFIndex streamLength, CFOptionFlags mutabilityOption,
                                                           CFPropertyListFormat* format, CFStringRef* errorString);
/// Reads a document of any format, found by its first bytes. `options` is one of the mutability options. `format`,
/// which may be null, is set when the document was read.
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options, CFPropertyListFormat* format,
                                                         CFErrorRef* error);
CF_EXPORT CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                           CFIndex streamLength, CFOptionFlags options,
                                                           CFPropertyListFormat* format, CFErrorRef* error);
CF_EXPORT CFIndex CFPropertyListWrite(CFPropertyListRef propertyList, CFWriteStreamRef stream,
                                      CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);
/// The list in XML or binary. The same list always gives the same bytes. No options are defined: pass 0.
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);

CF_EXTERN_C_END
