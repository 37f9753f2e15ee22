#pragma once

/// Hashed collections of distinct values.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef const void* (*CFSetRetainCallBack)(CFAllocatorRef, const void*);
typedef void (*CFSetReleaseCallBack)(CFAllocatorRef, const void*);
typedef CFStringRef (*CFSetCopyDescriptionCallBack)(const void*);
typedef Boolean (*CFSetEqualCallBack)(const void*, const void*);
typedef CFHashCode (*CFSetHashCallBack)(const void*);
typedef struct CFSetCallBacks {
    CFIndex version;
    CFSetRetainCallBack retain;
    CFSetReleaseCallBack release;
    CFSetCopyDescriptionCallBack copyDescription;
    CFSetEqualCallBack equal;
    CFSetHashCallBack hash;
} CFSetCallBacks;

typedef void (*CFSetApplierFunction)(const void*, void*);
typedef const struct __CFSet* CFSetRef;
typedef struct __CFSet* CFMutableSetRef;

CF_EXPORT const CFSetCallBacks kCFTypeSetCallBacks;
CF_EXPORT const CFSetCallBacks kCFCopyStringSetCallBacks;

CF_EXPORT CFTypeID CFSetGetTypeID(void);
CF_EXPORT CFSetRef CFSetCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                               const CFSetCallBacks* callBacks);
CF_EXPORT CFSetRef CFSetCreateCopy(CFAllocatorRef allocator, CFSetRef theSet);
CF_EXPORT CFMutableSetRef CFSetCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                             const CFSetCallBacks* callBacks);
CF_EXPORT CFMutableSetRef CFSetCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFSetRef theSet);
CF_EXPORT CFIndex CFSetGetCount(CFSetRef theSet);
CF_EXPORT CFIndex CFSetGetCountOfValue(CFSetRef theSet, const void* value);
CF_EXPORT Boolean CFSetContainsValue(CFSetRef theSet, const void* value);
CF_EXPORT const void* CFSetGetValue(CFSetRef theSet, const void* value);
CF_EXPORT Boolean CFSetGetValueIfPresent(CFSetRef theSet, const void* candidate, const void** value);
CF_EXPORT void CFSetGetValues(CFSetRef theSet, const void** values);
CF_EXPORT void CFSetApplyFunction(CFSetRef theSet, CFSetApplierFunction applier, void* context);
CF_EXPORT void CFSetAddValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetReplaceValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetSetValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetRemoveValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetRemoveAllValues(CFMutableSetRef theSet);

CF_EXTERN_C_END
