#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFArray.h>

namespace KXCore::CoreFoundation {

class MutableArrayRef;

/// An ordered collection of pointer-sized values. What happens to a value on its way in and out (retain, release) is
/// decided by the callbacks that the array is made with: kCFTypeArrayCallBacks for objects, null for plain pointers.
/// Values that come out are borrowed. Indexes and ranges must lie within the array.
class KX_EXPORT ArrayRef : public TypedRef<ArrayRef, CFArrayRef> {
  public:
    static constexpr const char* typeName = "CFArrayRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    static ArrayRef create(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                           const CFArrayCallBacks* callBacks);
    static ArrayRef createCopy(CFAllocatorRef allocator, CFArrayRef array);
    static MutableArrayRef createMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks);
    static MutableArrayRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFArrayRef array);

    CFIndex getCount() const;
    CFIndex getCountOfValue(CFRange range, const void* value) const;
    Boolean containsValue(CFRange range, const void* value) const;
    const void* getValueAtIndex(CFIndex index) const;
    void getValues(CFRange range, const void** values) const;
    void applyFunction(CFRange range, CFArrayApplierFunction applier, void* context) const;
    /// kCFNotFound when the value is not there.
    CFIndex getFirstIndexOfValue(CFRange range, const void* value) const;
    CFIndex getLastIndexOfValue(CFRange range, const void* value) const;
    /// In a range sorted by `comparator`: where the value stands, or where it would.
    CFIndex bSearchValues(CFRange range, const void* value, CFComparatorFunction comparator, void* context) const;
};
static_assert(isPlainRef<ArrayRef>);

/// An array that can be changed.
class KX_EXPORT MutableArrayRef : public HeldRef<MutableArrayRef, CFMutableArrayRef, ArrayRef> {
  public:
    void appendValue(const void* value);
    void insertValueAtIndex(CFIndex index, const void* value);
    /// An index equal to the count appends.
    void setValueAtIndex(CFIndex index, const void* value);
    void removeValueAtIndex(CFIndex index);
    void removeAllValues();
    void replaceValues(CFRange range, const void** newValues, CFIndex newCount);
    void exchangeValuesAtIndices(CFIndex index1, CFIndex index2);
    void sortValues(CFRange range, CFComparatorFunction comparator, void* context);
    void appendArray(CFArrayRef other, CFRange otherRange);
};
static_assert(isPlainRef<MutableArrayRef>);

}  // namespace KXCore::CoreFoundation
