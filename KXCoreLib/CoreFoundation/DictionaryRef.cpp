#include <KXCoreLib/CoreFoundation/DictionaryRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID DictionaryRef::getTypeID() { return CFDictionaryGetTypeID(); }

DictionaryRef DictionaryRef::create(CFAllocatorRef allocator, const void** keys, const void** values, CFIndex numValues,
                                    const CFDictionaryKeyCallBacks* keyCallBacks,
                                    const CFDictionaryValueCallBacks* valueCallBacks) {
    return KX_CREATE(DictionaryRef, CFDictionaryCreate)(allocator, keys, values, numValues, keyCallBacks,
                                                        valueCallBacks);
}

DictionaryRef DictionaryRef::create(CFAllocatorRef allocator, const void** keys, const void** values,
                                    CFIndex numValues) {
    return create(allocator, keys, values, numValues, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

DictionaryRef DictionaryRef::createCopy(CFAllocatorRef allocator, CFDictionaryRef dictionary) {
    return KX_CREATE(DictionaryRef, CFDictionaryCreateCopy)(allocator, dictionary);
}

MutableDictionaryRef DictionaryRef::createMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                  const CFDictionaryKeyCallBacks* keyCallBacks,
                                                  const CFDictionaryValueCallBacks* valueCallBacks) {
    return KX_CREATE(MutableDictionaryRef, CFDictionaryCreateMutable)(allocator, capacity, keyCallBacks,
                                                                      valueCallBacks);
}

MutableDictionaryRef DictionaryRef::createMutable(CFAllocatorRef allocator, CFIndex capacity) {
    return createMutable(allocator, capacity, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

MutableDictionaryRef DictionaryRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                      CFDictionaryRef dictionary) {
    return KX_CREATE(MutableDictionaryRef, CFDictionaryCreateMutableCopy)(allocator, capacity, dictionary);
}

CFIndex DictionaryRef::getCount() const { return CFDictionaryGetCount(get()); }
CFIndex DictionaryRef::getCountOfKey(const void* key) const { return CFDictionaryGetCountOfKey(get(), key); }
CFIndex DictionaryRef::getCountOfValue(const void* value) const { return CFDictionaryGetCountOfValue(get(), value); }
Boolean DictionaryRef::containsKey(const void* key) const { return CFDictionaryContainsKey(get(), key); }
Boolean DictionaryRef::containsValue(const void* value) const { return CFDictionaryContainsValue(get(), value); }
const void* DictionaryRef::getValue(const void* key) const { return CFDictionaryGetValue(get(), key); }

Boolean DictionaryRef::getValueIfPresent(const void* key, const void** value) const {
    return CFDictionaryGetValueIfPresent(get(), key, value);
}

void DictionaryRef::getKeysAndValues(const void** keys, const void** values) const {
    CFDictionaryGetKeysAndValues(get(), keys, values);
}

void DictionaryRef::applyFunction(CFDictionaryApplierFunction applier, void* context) const {
    CFDictionaryApplyFunction(get(), applier, context);
}

void MutableDictionaryRef::addValue(const void* key, const void* value) { CFDictionaryAddValue(get(), key, value); }
void MutableDictionaryRef::setValue(const void* key, const void* value) { CFDictionarySetValue(get(), key, value); }

void MutableDictionaryRef::replaceValue(const void* key, const void* value) {
    CFDictionaryReplaceValue(get(), key, value);
}

void MutableDictionaryRef::removeValue(const void* key) { CFDictionaryRemoveValue(get(), key); }
void MutableDictionaryRef::removeAllValues() { CFDictionaryRemoveAllValues(get()); }

}  // namespace KXCore::CoreFoundation
