#include <KXCoreLib/CoreFoundation/NumberRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID NumberRef::getTypeID() { return CFNumberGetTypeID(); }

NumberRef NumberRef::create(CFAllocatorRef allocator, CFNumberType type, const void* value) {
    return KX_CREATE(NumberRef, CFNumberCreate)(allocator, type, value);
}

CFNumberType NumberRef::getType() const { return CFNumberGetType(get()); }
CFIndex NumberRef::getByteSize() const { return CFNumberGetByteSize(get()); }
Boolean NumberRef::isFloatType() const { return CFNumberIsFloatType(get()); }
Boolean NumberRef::getValue(CFNumberType type, void* value) const { return CFNumberGetValue(get(), type, value); }

CFComparisonResult NumberRef::compare(CFNumberRef other, void* context) const {
    return CFNumberCompare(get(), other, context);
}

}  // namespace KXCore::CoreFoundation
