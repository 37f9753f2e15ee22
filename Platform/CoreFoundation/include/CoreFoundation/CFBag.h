#pragma once

/// Hashed collections that hold equal values as often as they were added.
///
/// Of equal values a bag keeps the one that came first, and how many there are. It owns what it keeps: it retains it by
/// its callbacks when it takes it and releases it when the last equal value is removed; what its functions return is
/// borrowed and good for as long as the bag holds it. Any number of threads may read a bag that nobody changes; one
/// that changes belongs to one thread at a time. A callback may read the bag, not change it; an applier may do both. A
/// value must not change its hash while it is in.
///
/// Nothing here fails loudly: a bag that is null or none, or a change to an immutable one, has no effect and returns
/// null, 0 or false.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

/// What a bag does with its values. Each may be null: values are then not retained, not released, described, compared
/// and hashed by their addresses. `retain` returns what the bag is to keep, which may be another pointer. Values that
/// are equal must have equal hashes. `version` is 0.
typedef const void* (*CFBagRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFBagReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFBagCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFBagEqualCallBack)(const void* value1, const void* value2);
typedef CFHashCode (*CFBagHashCallBack)(const void* value);
typedef struct CFBagCallBacks {
    CFIndex version;
    CFBagRetainCallBack retain;
    CFBagReleaseCallBack release;
    CFBagCopyDescriptionCallBack copyDescription;
    CFBagEqualCallBack equal;
    CFBagHashCallBack hash;
} CFBagCallBacks;

typedef void (*CFBagApplierFunction)(const void* value, void* context);
typedef const struct __CFBag* CFBagRef;
typedef struct __CFBag* CFMutableBagRef;

/// For values that are objects of this platform.
CF_EXPORT const CFBagCallBacks kCFTypeBagCallBacks;

/// For values that are strings: what is kept is a copy, so that a mutable string may change afterwards.
CF_EXPORT const CFBagCallBacks kCFCopyStringBagCallBacks;

// ---- Creating

CF_EXPORT CFTypeID CFBagGetTypeID(void);
/// An immutable bag of `numValues` values, with its own copy of `callBacks` (null: values are plain pointers). Null
/// when the count is negative or there is no memory.
CF_EXPORT CFBagRef CFBagCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                               const CFBagCallBacks* callBacks);
/// An immutable bag of the same values and callbacks; the bag itself, retained, where it is immutable already.
CF_EXPORT CFBagRef CFBagCreateCopy(CFAllocatorRef allocator, CFBagRef theBag);
/// An empty bag. `capacity` is a hint of how many distinct values will come, 0 none; null when it is negative.
CF_EXPORT CFMutableBagRef CFBagCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                             const CFBagCallBacks* callBacks);
CF_EXPORT CFMutableBagRef CFBagCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFBagRef theBag);

// ---- Reading

/// How many values there are, equal ones counted each.
CF_EXPORT CFIndex CFBagGetCount(CFBagRef theBag);
/// How many values equal to `value` there are.
CF_EXPORT CFIndex CFBagGetCountOfValue(CFBagRef theBag, const void* value);
CF_EXPORT Boolean CFBagContainsValue(CFBagRef theBag, const void* value);
/// The value of the bag that is equal to `value`, or null.
CF_EXPORT const void* CFBagGetValue(CFBagRef theBag, const void* value);
/// Whether a value equal to `candidate` is there; it then goes to `value`, unless that is null.
CF_EXPORT Boolean CFBagGetValueIfPresent(CFBagRef theBag, const void* candidate, const void** value);
/// Writes all values, borrowed, each as often as it is in, to `values`, which has room for CFBagGetCount of them.
CF_EXPORT void CFBagGetValues(CFBagRef theBag, const void** values);
/// Calls `applier` with each value that the bag holds at the time of the call, as often as it is in, and `context`, in
/// no set order. None is called when there is no memory to remember them all.
CF_EXPORT void CFBagApplyFunction(CFBagRef theBag, CFBagApplierFunction applier, void* context);

// ---- Changing: a call for which there is no memory changes nothing

/// Adds the value; where an equal one is in, that one is in once more. A bag counts up to 4,294,967,295 values that
/// repeat others; what is added beyond has no effect.
CF_EXPORT void CFBagAddValue(CFMutableBagRef theBag, const void* value);
/// Puts the value in the place of the equal ones, if there are any; their number stays.
CF_EXPORT void CFBagReplaceValue(CFMutableBagRef theBag, const void* value);
/// Puts the value in the place of the equal ones, or adds it.
CF_EXPORT void CFBagSetValue(CFMutableBagRef theBag, const void* value);
/// Removes one of the values equal to `value`.
CF_EXPORT void CFBagRemoveValue(CFMutableBagRef theBag, const void* value);
CF_EXPORT void CFBagRemoveAllValues(CFMutableBagRef theBag);

CF_EXTERN_C_END
