#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFBinaryHeap.h>

namespace KXCore::CoreFoundation {

/// Values of which the least comes first. The callbacks the heap is made with say what is less and what happens to a
/// value on its way in and out: kCFStringBinaryHeapCallBacks for strings, null for plain pointers. Values that come out
/// are borrowed. A heap is changed through any wrapper that holds it.
class KX_EXPORT BinaryHeapRef : public TypedRef<BinaryHeapRef, CFBinaryHeapRef> {
  public:
    static constexpr const char* typeName = "CFBinaryHeapRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// `capacity` is a hint; 0 is none. A null `compareContext` passes null to the comparisons.
    static BinaryHeapRef create(CFAllocatorRef allocator, CFIndex capacity, const CFBinaryHeapCallBacks* callBacks,
                                const CFBinaryHeapCompareContext* compareContext);
    static BinaryHeapRef createCopy(CFAllocatorRef allocator, CFIndex capacity, CFBinaryHeapRef heap);

    CFIndex getCount() const;
    CFIndex getCountOfValue(const void* value) const;
    Boolean containsValue(const void* value) const;
    /// Null when the heap is empty.
    const void* getMinimum() const;
    Boolean getMinimumIfPresent(const void** value) const;
    /// Fills a buffer of getCount() places, from the least to the greatest.
    void getValues(const void** values) const;
    void applyFunction(CFBinaryHeapApplierFunction applier, void* context) const;

    void addValue(const void* value) const;
    void removeMinimumValue() const;
    void removeAllValues() const;
};
static_assert(isPlainRef<BinaryHeapRef>);

}  // namespace KXCore::CoreFoundation
