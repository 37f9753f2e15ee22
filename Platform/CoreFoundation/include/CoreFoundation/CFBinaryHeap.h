#pragma once

/// Binary heaps: collections that give their least value first.
///
/// A heap owns its values: it retains each by its callbacks when it takes it and releases it when it gives it up; what
/// its functions return is borrowed and good for as long as the heap holds it. Any number of threads may read a heap
/// that nobody changes; one that changes belongs to one thread at a time. A callback may read the heap, not change it;
/// an applier may do both.
///
/// Nothing here fails loudly: a heap that is null or none has no effect, and null, 0 or false is returned.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

/// What the comparisons of a heap are passed: `info`, retained while the heap lives. `version` is 0.
typedef struct CFBinaryHeapCompareContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
} CFBinaryHeapCompareContext;

/// What a heap does with its values. Each may be null: values are then not retained, not released, and described and
/// ordered by their addresses. `version` is 0.
typedef struct CFBinaryHeapCallBacks {
    CFIndex version;
    const void* (*retain)(CFAllocatorRef allocator, const void* ptr);
    void (*release)(CFAllocatorRef allocator, const void* ptr);
    CFStringRef (*copyDescription)(const void* ptr);
    CFComparisonResult (*compare)(const void* ptr1, const void* ptr2, void* info);
} CFBinaryHeapCallBacks;

typedef void (*CFBinaryHeapApplierFunction)(const void* val, void* context);
typedef struct __CFBinaryHeap* CFBinaryHeapRef;

/// For values that are strings, ordered as CFStringCompare orders them.
CF_EXPORT const CFBinaryHeapCallBacks kCFStringBinaryHeapCallBacks;

CF_EXPORT CFTypeID CFBinaryHeapGetTypeID(void);

/// An empty heap with its own copies of `callBacks` (null: values are plain pointers) and `compareContext` (null: no
/// info). `capacity` is a hint of how many values will come, 0 none. Null when the hint is negative, a version is not 0
/// or there is no memory.
CF_EXPORT CFBinaryHeapRef CFBinaryHeapCreate(CFAllocatorRef allocator, CFIndex capacity,
                                             const CFBinaryHeapCallBacks* callBacks,
                                             const CFBinaryHeapCompareContext* compareContext);
/// A heap of the same values, callbacks and context.
CF_EXPORT CFBinaryHeapRef CFBinaryHeapCreateCopy(CFAllocatorRef allocator, CFIndex capacity, CFBinaryHeapRef heap);

CF_EXPORT CFIndex CFBinaryHeapGetCount(CFBinaryHeapRef heap);
/// How many values compare equal to `value`: linear time.
CF_EXPORT CFIndex CFBinaryHeapGetCountOfValue(CFBinaryHeapRef heap, const void* value);
CF_EXPORT Boolean CFBinaryHeapContainsValue(CFBinaryHeapRef heap, const void* value);
/// The least value, of equal ones any; null when the heap is empty. Constant time.
CF_EXPORT const void* CFBinaryHeapGetMinimum(CFBinaryHeapRef heap);
/// Whether there is a value; the least one then goes to `value`, unless that is null.
CF_EXPORT Boolean CFBinaryHeapGetMinimumIfPresent(CFBinaryHeapRef heap, const void** value);
/// Writes all values, borrowed and from the least to the greatest, to `values`, which has room for them.
CF_EXPORT void CFBinaryHeapGetValues(CFBinaryHeapRef heap, const void** values);
/// Calls `applier` with each value that the heap holds at the time of the call and `context`, in no set order. None is
/// called when there is no memory to remember them all.
CF_EXPORT void CFBinaryHeapApplyFunction(CFBinaryHeapRef heap, CFBinaryHeapApplierFunction applier, void* context);

/// Logarithmic time. A call for which there is no memory changes nothing.
CF_EXPORT void CFBinaryHeapAddValue(CFBinaryHeapRef heap, const void* value);
/// Removes the value that CFBinaryHeapGetMinimum returns. Logarithmic time.
CF_EXPORT void CFBinaryHeapRemoveMinimumValue(CFBinaryHeapRef heap);
CF_EXPORT void CFBinaryHeapRemoveAllValues(CFBinaryHeapRef heap);

CF_EXTERN_C_END
