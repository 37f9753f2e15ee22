#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

namespace KXCore::CoreFoundation {

/// A giver of memory. An empty wrapper stands for kCFAllocatorDefault, which is null: its operations ask the calling
/// thread's default allocator.
class KX_EXPORT AllocatorRef : public TypedRef<AllocatorRef, CFAllocatorRef> {
  public:
    static constexpr const char* typeName = "CFAllocatorRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// A new allocator with `context`'s callbacks, itself kept in memory of `allocator` (null: the default one).
    static AllocatorRef create(CFAllocatorRef allocator, CFAllocatorContext* context);

    /// The calling thread's default allocator.
    static AllocatorRef getDefault();
    /// Makes this the calling thread's default allocator. An allocator that was ever a default must never be freed.
    void setDefault() const;

    void* allocate(CFIndex size, CFOptionFlags hint) const;
    void* reallocate(void* memory, CFIndex newSize, CFOptionFlags hint) const;
    void deallocate(void* memory) const;
    CFIndex getPreferredSizeForSize(CFIndex size, CFOptionFlags hint) const;
    void getContext(CFAllocatorContext* context) const;
};
static_assert(isPlainRef<AllocatorRef>);

}  // namespace KXCore::CoreFoundation
