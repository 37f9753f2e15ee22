#include <KXCoreLib/CoreFoundation/BinaryHeapRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID BinaryHeapRef::getTypeID() { return CFBinaryHeapGetTypeID(); }

BinaryHeapRef BinaryHeapRef::create(CFAllocatorRef allocator, CFIndex capacity, const CFBinaryHeapCallBacks* callBacks,
                                    const CFBinaryHeapCompareContext* compareContext) {
    return KX_CREATE(BinaryHeapRef, CFBinaryHeapCreate)(allocator, capacity, callBacks, compareContext);
}

BinaryHeapRef BinaryHeapRef::createCopy(CFAllocatorRef allocator, CFIndex capacity, CFBinaryHeapRef heap) {
    return KX_CREATE(BinaryHeapRef, CFBinaryHeapCreateCopy)(allocator, capacity, heap);
}

CFIndex BinaryHeapRef::getCount() const { return CFBinaryHeapGetCount(get()); }
CFIndex BinaryHeapRef::getCountOfValue(const void* value) const { return CFBinaryHeapGetCountOfValue(get(), value); }
Boolean BinaryHeapRef::containsValue(const void* value) const { return CFBinaryHeapContainsValue(get(), value); }
const void* BinaryHeapRef::getMinimum() const { return CFBinaryHeapGetMinimum(get()); }

Boolean BinaryHeapRef::getMinimumIfPresent(const void** value) const {
    return CFBinaryHeapGetMinimumIfPresent(get(), value);
}

void BinaryHeapRef::getValues(const void** values) const { CFBinaryHeapGetValues(get(), values); }

void BinaryHeapRef::applyFunction(CFBinaryHeapApplierFunction applier, void* context) const {
    CFBinaryHeapApplyFunction(get(), applier, context);
}

void BinaryHeapRef::addValue(const void* value) const { CFBinaryHeapAddValue(get(), value); }
void BinaryHeapRef::removeMinimumValue() const { CFBinaryHeapRemoveMinimumValue(get()); }
void BinaryHeapRef::removeAllValues() const { CFBinaryHeapRemoveAllValues(get()); }

}  // namespace KXCore::CoreFoundation
