#pragma once

/// Whole files by their URLs, in one call each: the older interface to what streams and properties do.
///
/// Only file URLs can be read and written. Each function returns whether it did what it names and tells the reason of a
/// failure as a code of CFURLError; the code is 0 after a success and may be left out by a null pointer. Any thread may
/// call them.

#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

CF_ENUM_TYPE(CFIndex, CFURLError){
    kCFURLUnknownError = -10L,
    kCFURLUnknownSchemeError = -11L,
    kCFURLResourceNotFoundError = -12L,
    kCFURLResourceAccessViolationError = -13L,
    kCFURLRemoteHostUnavailableError = -14L,
    kCFURLImproperArgumentsError = -15L,
    kCFURLUnknownPropertyKeyError = -16L,
    kCFURLPropertyKeyUnavailableError = -17L,
    kCFURLTimeoutError = -18L,
};

/// A boolean; an array of the URLs in a directory; numbers of bytes; a date; the permission bits; the user's number.
CF_EXPORT const CFStringRef kCFURLFileExists;
CF_EXPORT const CFStringRef kCFURLFileDirectoryContents;
CF_EXPORT const CFStringRef kCFURLFileLength;
CF_EXPORT const CFStringRef kCFURLFileLastModificationTime;
CF_EXPORT const CFStringRef kCFURLFilePOSIXMode;
CF_EXPORT const CFStringRef kCFURLFileOwnerID;
/// Of HTTP URLs, which these functions do not load.
CF_EXPORT const CFStringRef kCFURLHTTPStatusCode;
CF_EXPORT const CFStringRef kCFURLHTTPStatusLine;

/// The file's bytes and properties, each where its pointer is not null; all the properties that there are where
/// `desiredProperties` is null. One that a file does not have is missing in the dictionary.
CF_EXPORT Boolean CFURLCreateDataAndPropertiesFromResource(CFAllocatorRef alloc, CFURLRef url, CFDataRef* resourceData,
                                                           CFDictionaryRef* properties, CFArrayRef desiredProperties,
                                                           SInt32* errorCode);
/// Replaces the file whole: a reader sees the old bytes or the new ones, and a failure leaves the old. A directory's
/// URL makes a directory. Null data leaves the bytes alone, null properties the properties; mode, owner and the time of
/// modification can be written.
CF_EXPORT Boolean CFURLWriteDataAndPropertiesToResource(CFURLRef url, CFDataRef dataToWrite,
                                                        CFDictionaryRef propertiesToWrite, SInt32* errorCode);
/// Removes a file or an empty directory. A symbolic link goes itself, not what it leads to.
CF_EXPORT Boolean CFURLDestroyResource(CFURLRef url, SInt32* errorCode);
/// One property; the caller's to release.
CF_EXPORT CFTypeRef CFURLCreatePropertyFromResource(CFAllocatorRef alloc, CFURLRef url, CFStringRef property,
                                                    SInt32* errorCode);

CF_EXTERN_C_END
