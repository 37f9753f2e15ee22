#include <KXCoreLib/CoreFoundation/ArrayRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID ArrayRef::getTypeID() { return CFArrayGetTypeID(); }

ArrayRef ArrayRef::create(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                          const CFArrayCallBacks* callBacks) {
    return KX_CREATE(ArrayRef, CFArrayCreate)(allocator, values, numValues, callBacks);
}

ArrayRef ArrayRef::createCopy(CFAllocatorRef allocator, CFArrayRef array) {
    return KX_CREATE(ArrayRef, CFArrayCreateCopy)(allocator, array);
}

MutableArrayRef ArrayRef::createMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks) {
    return KX_CREATE(MutableArrayRef, CFArrayCreateMutable)(allocator, capacity, callBacks);
}

MutableArrayRef ArrayRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFArrayRef array) {
    return KX_CREATE(MutableArrayRef, CFArrayCreateMutableCopy)(allocator, capacity, array);
}

CFIndex ArrayRef::getCount() const { return CFArrayGetCount(get()); }

CFIndex ArrayRef::getCountOfValue(CFRange range, const void* value) const {
    return CFArrayGetCountOfValue(get(), range, value);
}

Boolean ArrayRef::containsValue(CFRange range, const void* value) const {
    return CFArrayContainsValue(get(), range, value);
}

const void* ArrayRef::getValueAtIndex(CFIndex index) const { return CFArrayGetValueAtIndex(get(), index); }
void ArrayRef::getValues(CFRange range, const void** values) const { CFArrayGetValues(get(), range, values); }

void ArrayRef::applyFunction(CFRange range, CFArrayApplierFunction applier, void* context) const {
    CFArrayApplyFunction(get(), range, applier, context);
}

CFIndex ArrayRef::getFirstIndexOfValue(CFRange range, const void* value) const {
    return CFArrayGetFirstIndexOfValue(get(), range, value);
}

CFIndex ArrayRef::getLastIndexOfValue(CFRange range, const void* value) const {
    return CFArrayGetLastIndexOfValue(get(), range, value);
}

CFIndex ArrayRef::bSearchValues(CFRange range, const void* value, CFComparatorFunction comparator,
                                void* context) const {
    return CFArrayBSearchValues(get(), range, value, comparator, context);
}

void MutableArrayRef::appendValue(const void* value) { CFArrayAppendValue(get(), value); }

void MutableArrayRef::insertValueAtIndex(CFIndex index, const void* value) {
    CFArrayInsertValueAtIndex(get(), index, value);
}

void MutableArrayRef::setValueAtIndex(CFIndex index, const void* value) { CFArraySetValueAtIndex(get(), index, value); }
void MutableArrayRef::removeValueAtIndex(CFIndex index) { CFArrayRemoveValueAtIndex(get(), index); }
void MutableArrayRef::removeAllValues() { CFArrayRemoveAllValues(get()); }

void MutableArrayRef::replaceValues(CFRange range, const void** newValues, CFIndex newCount) {
    CFArrayReplaceValues(get(), range, newValues, newCount);
}

void MutableArrayRef::exchangeValuesAtIndices(CFIndex index1, CFIndex index2) {
    CFArrayExchangeValuesAtIndices(get(), index1, index2);
}

void MutableArrayRef::sortValues(CFRange range, CFComparatorFunction comparator, void* context) {
    CFArraySortValues(get(), range, comparator, context);
}

void MutableArrayRef::appendArray(CFArrayRef other, CFRange otherRange) {
    CFArrayAppendArray(get(), other, otherRange);
}

}  // namespace KXCore::CoreFoundation
