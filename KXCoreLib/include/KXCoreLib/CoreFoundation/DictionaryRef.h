#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFDictionary.h>

namespace KXCore::CoreFoundation {

class MutableDictionaryRef;

/// Keys and their values. The forms without call-backs make a dictionary of objects, which retains its keys and values
/// (kCFTypeDictionaryKeyCallBacks, kCFTypeDictionaryValueCallBacks). Keys and values that come out are borrowed.
class KX_EXPORT DictionaryRef : public TypedRef<DictionaryRef, CFDictionaryRef> {
  public:
    static constexpr const char* typeName = "CFDictionaryRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFDictionaryGetTypeID(); }

    static DictionaryRef create(CFAllocatorRef allocator, const void** keys, const void** values, CFIndex numValues,
                                const CFDictionaryKeyCallBacks* keyCallBacks,
                                const CFDictionaryValueCallBacks* valueCallBacks) {
        return created(CFDictionaryCreate(allocator, keys, values, numValues, keyCallBacks, valueCallBacks),
                       "CFDictionaryCreate");
    }
    static DictionaryRef create(CFAllocatorRef allocator, const void** keys, const void** values, CFIndex numValues) {
        return create(allocator, keys, values, numValues, &kCFTypeDictionaryKeyCallBacks,
                      &kCFTypeDictionaryValueCallBacks);
    }
    static DictionaryRef createCopy(CFAllocatorRef allocator, CFDictionaryRef dictionary) {
        return created(CFDictionaryCreateCopy(allocator, dictionary), "CFDictionaryCreateCopy");
    }
    DictionaryRef createCopy(CFAllocatorRef allocator) const { return createCopy(allocator, get()); }
    /// A `capacity` of 0 sets no limit.
    static MutableDictionaryRef createMutable(CFAllocatorRef allocator, CFIndex capacity,
                                              const CFDictionaryKeyCallBacks* keyCallBacks,
                                              const CFDictionaryValueCallBacks* valueCallBacks);
    static MutableDictionaryRef createMutable(CFAllocatorRef allocator, CFIndex capacity);
    static MutableDictionaryRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                  CFDictionaryRef dictionary);
    MutableDictionaryRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity) const;

    CFIndex getCount() const { return CFDictionaryGetCount(get()); }
    CFIndex getCountOfKey(const void* key) const { return CFDictionaryGetCountOfKey(get(), key); }
    CFIndex getCountOfValue(const void* value) const { return CFDictionaryGetCountOfValue(get(), value); }
    Boolean containsKey(const void* key) const { return CFDictionaryContainsKey(get(), key); }
    Boolean containsValue(const void* value) const { return CFDictionaryContainsValue(get(), value); }
    /// Null when the key is not there.
    const void* getValue(const void* key) const { return CFDictionaryGetValue(get(), key); }
    Boolean getValueIfPresent(const void* key, const void** value) const {
        return CFDictionaryGetValueIfPresent(get(), key, value);
    }
    /// Fills two buffers of getCount() places each, in the same order; either may be null.
    void getKeysAndValues(const void** keys, const void** values) const {
        CFDictionaryGetKeysAndValues(get(), keys, values);
    }
    void applyFunction(CFDictionaryApplierFunction applier, void* context) const {
        CFDictionaryApplyFunction(get(), applier, context);
    }
};
static_assert(isPlainRef<DictionaryRef>);

/// A dictionary that can be changed.
class KX_EXPORT MutableDictionaryRef : public HeldRef<MutableDictionaryRef, CFMutableDictionaryRef, DictionaryRef> {
  public:
    /// Only where the key is not there yet.
    void addValue(const void* key, const void* value) { CFDictionaryAddValue(get(), key, value); }
    /// Adds or replaces.
    void setValue(const void* key, const void* value) { CFDictionarySetValue(get(), key, value); }
    /// Only where the key is there.
    void replaceValue(const void* key, const void* value) { CFDictionaryReplaceValue(get(), key, value); }
    void removeValue(const void* key) { CFDictionaryRemoveValue(get(), key); }
    void removeAllValues() { CFDictionaryRemoveAllValues(get()); }
};
static_assert(isPlainRef<MutableDictionaryRef>);

inline MutableDictionaryRef DictionaryRef::createMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                         const CFDictionaryKeyCallBacks* keyCallBacks,
                                                         const CFDictionaryValueCallBacks* valueCallBacks) {
    return MutableDictionaryRef::created(CFDictionaryCreateMutable(allocator, capacity, keyCallBacks, valueCallBacks),
                                         "CFDictionaryCreateMutable");
}

inline MutableDictionaryRef DictionaryRef::createMutable(CFAllocatorRef allocator, CFIndex capacity) {
    return createMutable(allocator, capacity, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

inline MutableDictionaryRef DictionaryRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                             CFDictionaryRef dictionary) {
    return MutableDictionaryRef::created(CFDictionaryCreateMutableCopy(allocator, capacity, dictionary),
                                         "CFDictionaryCreateMutableCopy");
}

inline MutableDictionaryRef DictionaryRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity) const {
    return createMutableCopy(allocator, capacity, get());
}

}  // namespace KXCore::CoreFoundation
