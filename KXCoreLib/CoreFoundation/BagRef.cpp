#include <KXCoreLib/CoreFoundation/BagRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID BagRef::getTypeID() { return CFBagGetTypeID(); }

BagRef BagRef::create(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                      const CFBagCallBacks* callBacks) {
    return KX_CREATE(BagRef, CFBagCreate)(allocator, values, numValues, callBacks);
}

BagRef BagRef::createCopy(CFAllocatorRef allocator, CFBagRef bag) {
    return KX_CREATE(BagRef, CFBagCreateCopy)(allocator, bag);
}

MutableBagRef BagRef::createMutable(CFAllocatorRef allocator, CFIndex capacity, const CFBagCallBacks* callBacks) {
    return KX_CREATE(MutableBagRef, CFBagCreateMutable)(allocator, capacity, callBacks);
}

MutableBagRef BagRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFBagRef bag) {
    return KX_CREATE(MutableBagRef, CFBagCreateMutableCopy)(allocator, capacity, bag);
}

CFIndex BagRef::getCount() const { return CFBagGetCount(get()); }
CFIndex BagRef::getCountOfValue(const void* value) const { return CFBagGetCountOfValue(get(), value); }
Boolean BagRef::containsValue(const void* value) const { return CFBagContainsValue(get(), value); }
const void* BagRef::getValue(const void* value) const { return CFBagGetValue(get(), value); }

Boolean BagRef::getValueIfPresent(const void* candidate, const void** value) const {
    return CFBagGetValueIfPresent(get(), candidate, value);
}

void BagRef::getValues(const void** values) const { CFBagGetValues(get(), values); }

void BagRef::applyFunction(CFBagApplierFunction applier, void* context) const {
    CFBagApplyFunction(get(), applier, context);
}

void MutableBagRef::addValue(const void* value) { CFBagAddValue(get(), value); }
void MutableBagRef::replaceValue(const void* value) { CFBagReplaceValue(get(), value); }
void MutableBagRef::setValue(const void* value) { CFBagSetValue(get(), value); }
void MutableBagRef::removeValue(const void* value) { CFBagRemoveValue(get(), value); }
void MutableBagRef::removeAllValues() { CFBagRemoveAllValues(get()); }

}  // namespace KXCore::CoreFoundation
