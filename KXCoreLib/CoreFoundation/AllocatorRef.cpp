#include <KXCoreLib/CoreFoundation/AllocatorRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID AllocatorRef::getTypeID() { return CFAllocatorGetTypeID(); }

AllocatorRef AllocatorRef::create(CFAllocatorRef allocator, CFAllocatorContext* context) {
    return KX_CREATE(AllocatorRef, CFAllocatorCreate)(allocator, context);
}

AllocatorRef AllocatorRef::getDefault() { return retain(CFAllocatorGetDefault()); }
void AllocatorRef::setDefault() const { CFAllocatorSetDefault(get()); }
void* AllocatorRef::allocate(CFIndex size, CFOptionFlags hint) const { return CFAllocatorAllocate(get(), size, hint); }

void* AllocatorRef::reallocate(void* memory, CFIndex newSize, CFOptionFlags hint) const {
    return CFAllocatorReallocate(get(), memory, newSize, hint);
}

void AllocatorRef::deallocate(void* memory) const { CFAllocatorDeallocate(get(), memory); }

CFIndex AllocatorRef::getPreferredSizeForSize(CFIndex size, CFOptionFlags hint) const {
    return CFAllocatorGetPreferredSizeForSize(get(), size, hint);
}

void AllocatorRef::getContext(CFAllocatorContext* context) const { CFAllocatorGetContext(get(), context); }

}  // namespace KXCore::CoreFoundation
