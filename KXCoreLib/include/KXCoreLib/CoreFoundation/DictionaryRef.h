#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFDictionary.h>

namespace KXCore::CoreFoundation {

class MutableDictionaryRef;

/// Keys and their values. The forms without callbacks make a dictionary of objects, which retains its keys and values
/// (kCFTypeDictionaryKeyCallBacks, kCFTypeDictionaryValueCallBacks). Keys and values that come out are borrowed.
class KX_EXPORT DictionaryRef : public TypedRef<DictionaryRef, CFDictionaryRef> {
  public:
    static constexpr const char* typeName = "CFDictionaryRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    static DictionaryRef create(CFAllocatorRef allocator, const void** keys, const void** values, CFIndex numValues,
                                const CFDictionaryKeyCallBacks* keyCallBacks,
                                const CFDictionaryValueCallBacks* valueCallBacks);
    static DictionaryRef create(CFAllocatorRef allocator, const void** keys, const void** values, CFIndex numValues);
    static DictionaryRef createCopy(CFAllocatorRef allocator, CFDictionaryRef dictionary);
    /// A `capacity` of 0 sets no limit.
    static MutableDictionaryRef createMutable(CFAllocatorRef allocator, CFIndex capacity,
                                              const CFDictionaryKeyCallBacks* keyCallBacks,
                                              const CFDictionaryValueCallBacks* valueCallBacks);
    static MutableDictionaryRef createMutable(CFAllocatorRef allocator, CFIndex capacity);
    static MutableDictionaryRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                  CFDictionaryRef dictionary);

    CFIndex getCount() const;
    CFIndex getCountOfKey(const void* key) const;
    CFIndex getCountOfValue(const void* value) const;
    Boolean containsKey(const void* key) const;
    Boolean containsValue(const void* value) const;
    /// Null when the key is not there.
    const void* getValue(const void* key) const;
    Boolean getValueIfPresent(const void* key, const void** value) const;
    /// Fills two buffers of getCount() places each, in the same order; either may be null.
    void getKeysAndValues(const void** keys, const void** values) const;
    void applyFunction(CFDictionaryApplierFunction applier, void* context) const;
};
static_assert(isPlainRef<DictionaryRef>);

/// A dictionary that can be changed.
class KX_EXPORT MutableDictionaryRef : public HeldRef<MutableDictionaryRef, CFMutableDictionaryRef, DictionaryRef> {
  public:
    /// Only where the key is not there yet.
    void addValue(const void* key, const void* value);
    /// Adds or replaces.
    void setValue(const void* key, const void* value);
    /// Only where the key is there.
    void replaceValue(const void* key, const void* value);
    void removeValue(const void* key);
    void removeAllValues();
};
static_assert(isPlainRef<MutableDictionaryRef>);

}  // namespace KXCore::CoreFoundation
