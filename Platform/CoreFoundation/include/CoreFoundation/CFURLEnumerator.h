#pragma once

/// Walks over what a directory holds, or over the mounted volumes.
///
/// An enumerator belongs to one thread at a time. It reads a directory as it comes to it, one open at a time for each
/// level below the first, so that a tree of any size costs memory for its depth only.

#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

typedef const struct __CFURLEnumerator* CFURLEnumeratorRef;
typedef CFOptionFlags CFURLEnumeratorOptions;

CF_ANONYMOUS_ENUM(CFURLEnumeratorOptions){
    kCFURLEnumeratorDefaultBehavior = 0,
    /// What the directories hold as well. A symbolic link is never followed, a mounted volume is entered.
    kCFURLEnumeratorDescendRecursively = 1,
    /// Neither hidden items nor what hidden directories hold; of volumes, those that are not for browsing.
    kCFURLEnumeratorSkipInvisibles = 2,
    /// There are no file reference URLs on this system: paths are given.
    kCFURLEnumeratorGenerateFileReferenceURLs = 4,
    /// Not what a package holds.
    kCFURLEnumeratorSkipPackageContents = 8,
    /// A directory before what it holds, after it, or both times. Neither is the same as before.
    kCFURLEnumeratorIncludeDirectoriesPreOrder = 16,
    kCFURLEnumeratorIncludeDirectoriesPostOrder = 32,
    /// URLs relative to the directory's.
    kCFURLEnumeratorGenerateRelativePathURLs = 64,
};

CF_ENUM_TYPE(CFIndex, CFURLEnumeratorResult){
    kCFURLEnumeratorSuccess = 1,
    kCFURLEnumeratorEnd = 2,
    kCFURLEnumeratorError = 3,
    kCFURLEnumeratorDirectoryPostOrderSuccess = 4,
};

CF_EXPORT CFTypeID CFURLEnumeratorGetTypeID(void);
/// Null when the URL is no file URL or there is no memory. `propertyKeys` (may be null) are properties to be read as
/// the URLs are made, and kept with them.
CF_EXPORT CFURLEnumeratorRef CFURLEnumeratorCreateForDirectoryURL(CFAllocatorRef alloc, CFURLRef directoryURL,
                                                                  CFURLEnumeratorOptions option,
                                                                  CFArrayRef propertyKeys);
/// The volumes of the time of the call.
CF_EXPORT CFURLEnumeratorRef CFURLEnumeratorCreateForMountedVolumes(CFAllocatorRef alloc, CFURLEnumeratorOptions option,
                                                                    CFArrayRef propertyKeys);
/// The next item, in no order. `url` is borrowed: it is good until the next call with the enumerator. After an error,
/// which `error` (may be null) tells and whose user info names the item, the next call goes on with what follows. No
/// URL is given but for a success.
CF_EXPORT CFURLEnumeratorResult CFURLEnumeratorGetNextURL(CFURLEnumeratorRef enumerator, CFURLRef* url,
                                                          CFErrorRef* error);
/// Does not enter the directory that was given last.
CF_EXPORT void CFURLEnumeratorSkipDescendents(CFURLEnumeratorRef enumerator);
/// How deep the item given last lies: 1 in the directory itself. 0 before the first item.
CF_EXPORT CFIndex CFURLEnumeratorGetDescendentLevel(CFURLEnumeratorRef enumerator);
/// False: the platform no longer tells.
CF_EXPORT Boolean CFURLEnumeratorGetSourceDidChange(CFURLEnumeratorRef enumerator);

CF_EXTERN_C_END
