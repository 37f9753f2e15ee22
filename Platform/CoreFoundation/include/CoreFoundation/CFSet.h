#pragma once

/// Hashed collections of distinct values.
///
/// A set owns its values: it retains each by its callbacks when it takes it and releases it when it gives it up; what
/// its functions hand out is borrowed and good for as long as the set holds it. Any number of threads may read a set
/// that nobody changes; one that changes belongs to one thread at a time. A callback may look at the set, not change
/// it. A value must not change its hash while it is in.
///
/// Nothing here fails loudly: a set that is null or none, or a change to an immutable one, has no effect and answers
/// null, 0 or false.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

/// What a set does with its values. Each may be null: values are then not retained, not released, described, compared
/// and hashed by their addresses. `retain` returns what the set is to keep, which may be another pointer. Values that
/// are equal must have equal hashes. `version` is 0.
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

/// For values that are objects of this platform.
CF_EXPORT const CFSetCallBacks kCFTypeSetCallBacks;

/// For values that are strings: what is kept is a copy, so that a mutable string may change afterwards.
CF_EXPORT const CFSetCallBacks kCFCopyStringSetCallBacks;

// ---- Creating

CF_EXPORT CFTypeID CFSetGetTypeID(void);
/// An immutable set of `numValues` values, with its own copy of `callBacks` (null: values are plain pointers). Of equal
/// values the first stays. Null when the count is negative or there is no memory.
CF_EXPORT CFSetRef CFSetCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                               const CFSetCallBacks* callBacks);
/// An immutable set of the same values and callbacks; the set itself, retained, where it is immutable already.
CF_EXPORT CFSetRef CFSetCreateCopy(CFAllocatorRef allocator, CFSetRef theSet);
/// An empty set. `capacity` is a hint of how many values will come, 0 none.
CF_EXPORT CFMutableSetRef CFSetCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                             const CFSetCallBacks* callBacks);
CF_EXPORT CFMutableSetRef CFSetCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFSetRef theSet);

// ---- Reading

CF_EXPORT CFIndex CFSetGetCount(CFSetRef theSet);
CF_EXPORT CFIndex CFSetGetCountOfValue(CFSetRef theSet, const void* value);
CF_EXPORT Boolean CFSetContainsValue(CFSetRef theSet, const void* value);
/// The value of the set that is equal to `value`, or null.
CF_EXPORT const void* CFSetGetValue(CFSetRef theSet, const void* value);

/// Whether a value equal to `candidate` is there; it then goes to `value`, unless that is null.
CF_EXPORT Boolean CFSetGetValueIfPresent(CFSetRef theSet, const void* candidate, const void** value);
/// Writes all values, borrowed, to `values`, which has room for them.
CF_EXPORT void CFSetGetValues(CFSetRef theSet, const void** values);
/// Calls `applier` with each value and `context`, in no set order.
CF_EXPORT void CFSetApplyFunction(CFSetRef theSet, CFSetApplierFunction applier, void* context);

// ---- Changing: a call for which there is no memory changes nothing

/// Adds the value where no equal one is there.
CF_EXPORT void CFSetAddValue(CFMutableSetRef theSet, const void* value);
/// Puts the value in the place of an equal one, if there is one.
CF_EXPORT void CFSetReplaceValue(CFMutableSetRef theSet, const void* value);
/// Puts the value in the place of an equal one, or adds it.
CF_EXPORT void CFSetSetValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetRemoveValue(CFMutableSetRef theSet, const void* value);
CF_EXPORT void CFSetRemoveAllValues(CFMutableSetRef theSet);

CF_EXTERN_C_END
