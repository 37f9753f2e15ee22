#pragma once

/// Hashed collections of keys with their values.
///
/// A dictionary owns its keys and values: it retains each by its callbacks when it takes it and releases it when it
/// gives it up; what its functions hand out is borrowed and good for as long as the dictionary holds it. Any number of
/// threads may read a dictionary that nobody changes; one that changes belongs to one thread at a time. A callback may
/// look at the dictionary, not change it. A key must not change its hash while it is in.
///
/// Nothing here fails loudly: a dictionary that is null or none, or a change to an immutable one, has no effect and
/// returns null, 0 or false.

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

/// What a dictionary does with its keys and values. Each may be null: they are then not retained, not released,
/// described, compared and hashed by their addresses. `retain` returns what is to be kept, which may be another
/// pointer. Keys that are equal must have equal hashes. `version` is 0.
typedef const void* (*CFDictionaryRetainCallBack)(CFAllocatorRef, const void*);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef, const void*);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void*);
typedef Boolean (*CFDictionaryEqualCallBack)(const void*, const void*);
typedef CFHashCode (*CFDictionaryHashCallBack)(const void*);
typedef struct CFDictionaryKeyCallBacks {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
    CFDictionaryHashCallBack hash;
} CFDictionaryKeyCallBacks;

typedef struct CFDictionaryValueCallBacks {
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
} CFDictionaryValueCallBacks;

typedef void (*CFDictionaryApplierFunction)(const void*, const void*, void*);
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;

/// For keys that are objects of this platform.
CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;

/// For keys that are strings: what is kept is a copy, so that a mutable string may change afterwards.
CF_EXPORT const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks;

/// For values that are objects of this platform.
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

// ---- Creating

CF_EXPORT CFTypeID CFDictionaryGetTypeID(void);
/// An immutable dictionary of `numValues` pairs, with its own copies of the callbacks (null: plain pointers). Of equal
/// keys the first stays. Null when the count is negative or there is no memory.
CF_EXPORT CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                             CFIndex numValues, const CFDictionaryKeyCallBacks* keyCallBacks,
                                             const CFDictionaryValueCallBacks* valueCallBacks);
/// An immutable dictionary of the same pairs and callbacks; the dictionary itself, retained, where it is immutable
/// already.
CF_EXPORT CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef theDict);
/// An empty dictionary. `capacity` is a hint of how many pairs will come, 0 none.
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                           const CFDictionaryKeyCallBacks* keyCallBacks,
                                                           const CFDictionaryValueCallBacks* valueCallBacks);
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                               CFDictionaryRef theDict);

// ---- Reading: values are found by their keys at once, by themselves only by looking at all

CF_EXPORT CFIndex CFDictionaryGetCount(CFDictionaryRef theDict);
CF_EXPORT CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void* key);
CF_EXPORT CFIndex CFDictionaryGetCountOfValue(CFDictionaryRef theDict, const void* value);
CF_EXPORT Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key);
CF_EXPORT Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value);
/// The value of a key; null when the key is absent, and when its value is null.
CF_EXPORT const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key);

/// Whether the key is there; its value then goes to `value`, unless that is null.
CF_EXPORT Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value);
/// Writes all keys and all values, borrowed and in the same order. Each array has room for them or is null.
CF_EXPORT void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values);
/// Calls `applier` with each key, its value and `context`, in no set order.
CF_EXPORT void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier, void* context);

// ---- Changing: a call for which there is no memory changes nothing

/// Adds the pair where the key is absent.
CF_EXPORT void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
/// Adds the pair where the key is absent; otherwise replaces the value, and keeps the key it has.
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
/// Replaces the value where the key is there.
CF_EXPORT void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
CF_EXPORT void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key);
CF_EXPORT void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict);

CF_EXTERN_C_END
