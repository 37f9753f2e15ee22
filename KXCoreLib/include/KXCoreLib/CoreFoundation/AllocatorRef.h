#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

namespace KXCore::CoreFoundation {

/// A giver of memory. An empty wrapper stands for kCFAllocatorDefault, which is null: its operations ask the calling
/// thread's default allocator.
class KX_EXPORT AllocatorRef : public TypedRef<AllocatorRef, CFAllocatorRef> {
  public:
    static constexpr const char* typeName = "CFAllocatorRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFAllocatorGetTypeID(); }

    /// A new allocator of `context`'s call-backs, itself kept in memory of `allocator`.
    static AllocatorRef create(CFAllocatorRef allocator, CFAllocatorContext* context) {
        return created(CFAllocatorCreate(allocator, context), "CFAllocatorCreate");
    }
    /// The same, kept in memory of this allocator.
    AllocatorRef create(CFAllocatorContext* context) const { return create(get(), context); }

    /// The calling thread's default allocator.
    static AllocatorRef getDefault() { return retain(CFAllocatorGetDefault()); }
    /// Makes this the calling thread's default allocator. An allocator that was ever a default must never be freed.
    void setDefault() const { CFAllocatorSetDefault(get()); }

    void* allocate(CFIndex size, CFOptionFlags hint) const { return CFAllocatorAllocate(get(), size, hint); }
    void* reallocate(void* memory, CFIndex newSize, CFOptionFlags hint) const {
        return CFAllocatorReallocate(get(), memory, newSize, hint);
    }
    void deallocate(void* memory) const { CFAllocatorDeallocate(get(), memory); }
    CFIndex getPreferredSizeForSize(CFIndex size, CFOptionFlags hint) const {
        return CFAllocatorGetPreferredSizeForSize(get(), size, hint);
    }
    void getContext(CFAllocatorContext* context) const { CFAllocatorGetContext(get(), context); }
};
static_assert(isPlainRef<AllocatorRef>);

}  // namespace KXCore::CoreFoundation
