#pragma once

/// Errors: a domain, a code within it, and a dictionary of what there is to say about it.
///
/// They are immutable objects that keep copies of domain and user info; any thread may call these functions. Null, 0 or
/// an empty dictionary is answered for null.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>

CF_EXTERN_C_BEGIN

typedef CFStringRef CFErrorDomain;
typedef struct __CFError* CFErrorRef;

/// The domains of errno, of OSStatus, of Mach, and of the frameworks above.
CF_EXPORT const CFErrorDomain kCFErrorDomainPOSIX;
CF_EXPORT const CFErrorDomain kCFErrorDomainOSStatus;
CF_EXPORT const CFErrorDomain kCFErrorDomainMach;
CF_EXPORT const CFErrorDomain kCFErrorDomainCocoa;

/// Keys of the user info, with texts for a person: what failed and why; what failed; why; what to do about it.
CF_EXPORT const CFStringRef kCFErrorLocalizedDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureReasonKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedRecoverySuggestionKey;

/// A text for developers, used where there is none for a person; the error that caused this one; what it happened to.
CF_EXPORT const CFStringRef kCFErrorDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorUnderlyingErrorKey;
CF_EXPORT const CFStringRef kCFErrorURLKey;
CF_EXPORT const CFStringRef kCFErrorFilePathKey;

CF_EXPORT CFTypeID CFErrorGetTypeID(void);
/// `userInfo` may be null. Null when the domain is no string or there is no memory.
CF_EXPORT CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                                   CFDictionaryRef userInfo);
/// The same with a user info of so many pairs of objects.
CF_EXPORT CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFErrorDomain domain,
                                                            CFIndex code, const void* const* userInfoKeys,
                                                            const void* const* userInfoValues,
                                                            CFIndex numUserInfoValues);
/// Borrowed from the error.
CF_EXPORT CFErrorDomain CFErrorGetDomain(CFErrorRef err);
CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef err);
/// Never null: empty when there is none.
CF_EXPORT CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err);
/// What to tell a person: the description of the user info; otherwise its failure, or "The operation couldn’t be
/// completed.", followed by the reason; or, where there is no reason, by "(DOMAIN error CODE.)".
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef err);
/// The reason of the user info; otherwise, in the POSIX domain, the system's text for the code; otherwise null.
CF_EXPORT CFStringRef CFErrorCopyFailureReason(CFErrorRef err);
/// The suggestion of the user info, or null.
CF_EXPORT CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err);

CF_EXTERN_C_END
