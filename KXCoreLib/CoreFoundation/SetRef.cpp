#include <KXCoreLib/CoreFoundation/SetRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID SetRef::getTypeID() { return CFSetGetTypeID(); }

SetRef SetRef::create(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                      const CFSetCallBacks* callBacks) {
    return KX_CREATE(SetRef, CFSetCreate)(allocator, values, numValues, callBacks);
}

SetRef SetRef::createCopy(CFAllocatorRef allocator, CFSetRef set) {
    return KX_CREATE(SetRef, CFSetCreateCopy)(allocator, set);
}

MutableSetRef SetRef::createMutable(CFAllocatorRef allocator, CFIndex capacity, const CFSetCallBacks* callBacks) {
    return KX_CREATE(MutableSetRef, CFSetCreateMutable)(allocator, capacity, callBacks);
}

MutableSetRef SetRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFSetRef set) {
    return KX_CREATE(MutableSetRef, CFSetCreateMutableCopy)(allocator, capacity, set);
}

CFIndex SetRef::getCount() const { return CFSetGetCount(get()); }
CFIndex SetRef::getCountOfValue(const void* value) const { return CFSetGetCountOfValue(get(), value); }
Boolean SetRef::containsValue(const void* value) const { return CFSetContainsValue(get(), value); }
const void* SetRef::getValue(const void* value) const { return CFSetGetValue(get(), value); }

Boolean SetRef::getValueIfPresent(const void* candidate, const void** value) const {
    return CFSetGetValueIfPresent(get(), candidate, value);
}

void SetRef::getValues(const void** values) const { CFSetGetValues(get(), values); }

void SetRef::applyFunction(CFSetApplierFunction applier, void* context) const {
    CFSetApplyFunction(get(), applier, context);
}

void MutableSetRef::addValue(const void* value) { CFSetAddValue(get(), value); }
void MutableSetRef::replaceValue(const void* value) { CFSetReplaceValue(get(), value); }
void MutableSetRef::setValue(const void* value) { CFSetSetValue(get(), value); }
void MutableSetRef::removeValue(const void* value) { CFSetRemoveValue(get(), value); }
void MutableSetRef::removeAllValues() { CFSetRemoveAllValues(get()); }

}  // namespace KXCore::CoreFoundation
