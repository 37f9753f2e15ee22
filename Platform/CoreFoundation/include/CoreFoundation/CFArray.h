#pragma once

/// Ordered collections of pointer-sized values.
///
/// An array owns its values: it retains each by its callbacks when it takes it and releases it when it gives it up;
/// what its functions hand out is borrowed and good for as long as the array holds it. Any number of threads may read
/// an array that nobody changes; an array that changes belongs to one thread at a time. A callback may look at the
/// array, not change it.
///
/// Nothing here fails loudly: an index or range outside the array, an array that is null or none, or a change to an
/// immutable array has no effect and returns null, 0, false or kCFNotFound.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

/// What an array does with its values. Each may be null: values are then not retained, not released, described by their
/// addresses and compared by them. `retain` returns what the array is to keep, which may be another pointer. `version`
/// is 0.
typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef, const void*);
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef, const void*);
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void*);
typedef Boolean (*CFArrayEqualCallBack)(const void*, const void*);
typedef struct CFArrayCallBacks {
    CFIndex version;
    CFArrayRetainCallBack retain;
    CFArrayReleaseCallBack release;
    CFArrayCopyDescriptionCallBack copyDescription;
    CFArrayEqualCallBack equal;
} CFArrayCallBacks;

typedef void (*CFArrayApplierFunction)(const void*, void*);
typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;

/// For values that are objects of this platform.
CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks;

// ---- Creating

CF_EXPORT CFTypeID CFArrayGetTypeID(void);
/// An immutable array of `numValues` values, with its own copy of `callBacks` (null: values are plain pointers). Null
/// when the count is negative or there is no memory.
CF_EXPORT CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                                   const CFArrayCallBacks* callBacks);
/// An immutable array of the same values and callbacks; the array itself, retained, where it is immutable already.
CF_EXPORT CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef theArray);
/// An empty array. `capacity` is a hint of how many values will come, 0 none.
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFArrayCallBacks* callBacks);
CF_EXPORT CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFArrayRef theArray);

// ---- Reading

CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef theArray);
/// How many values of the range are equal to `value` by the `equal` callback.
CF_EXPORT CFIndex CFArrayGetCountOfValue(CFArrayRef theArray, CFRange range, const void* value);
CF_EXPORT Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value);
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);

/// Writes the values of the range, borrowed, to `values`, which has room for them.
CF_EXPORT void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values);
/// Calls `applier` with each value of the range in order, and with `context`.
CF_EXPORT void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier, void* context);
CF_EXPORT CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value);
CF_EXPORT CFIndex CFArrayGetLastIndexOfValue(CFArrayRef theArray, CFRange range, const void* value);
/// Searches a range that is sorted by `comparator`, which is given a value of the array, `value` and `context`. Answers
/// the index of the first value that is not less than `value`; the end of the range when all are.
CF_EXPORT CFIndex CFArrayBSearchValues(CFArrayRef theArray, CFRange range, const void* value,
                                       CFComparatorFunction comparator, void* context);

// ---- Changing: a call for which there is no memory changes nothing

CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value);
/// Moves the values from `idx` on up by one. Takes time by the nearer end of the array.
CF_EXPORT void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value);
/// Replaces a value; at the index one past the last it appends.
CF_EXPORT void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value);
CF_EXPORT void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx);
CF_EXPORT void CFArrayRemoveAllValues(CFMutableArrayRef theArray);
/// Puts `newCount` values in the place of those of the range; either may be none.
CF_EXPORT void CFArrayReplaceValues(CFMutableArrayRef theArray, CFRange range, const void** newValues,
                                    CFIndex newCount);
CF_EXPORT void CFArrayExchangeValuesAtIndices(CFMutableArrayRef theArray, CFIndex idx1, CFIndex idx2);
/// Sorts the range; values that compare equal keep their order.
CF_EXPORT void CFArraySortValues(CFMutableArrayRef theArray, CFRange range, CFComparatorFunction comparator,
                                 void* context);
/// Appends the values of a range of `otherArray`, which may be the array itself.
CF_EXPORT void CFArrayAppendArray(CFMutableArrayRef theArray, CFArrayRef otherArray, CFRange otherRange);

CF_EXTERN_C_END
