#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFArray.h>

namespace KXCore::CoreFoundation {

class MutableArrayRef;

/// An ordered collection of pointer-sized values. What happens to a value on its way in and out (retain, release) is
/// said by the call-backs the array is made with: kCFTypeArrayCallBacks for objects, null for plain pointers. Values
/// that come out are borrowed. Indexes and ranges must lie within the array.
class KX_EXPORT ArrayRef : public TypedRef<ArrayRef, CFArrayRef> {
  public:
    static constexpr const char* typeName = "CFArrayRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFArrayGetTypeID(); }

    static ArrayRef create(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                           const CFArrayCallBacks* callBacks) {
        return created(CFArrayCreate(allocator, values, numValues, callBacks), "CFArrayCreate");
    }
    static ArrayRef createCopy(CFAllocatorRef allocator, CFArrayRef array) {
        return created(CFArrayCreateCopy(allocator, array), "CFArrayCreateCopy");
    }
    ArrayRef createCopy(CFAllocatorRef allocator) const { return createCopy(allocator, get()); }
    static MutableArrayRef createMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks);
    static MutableArrayRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFArrayRef array);
    MutableArrayRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity) const;

    CFIndex getCount() const { return CFArrayGetCount(get()); }
    CFIndex getCountOfValue(CFRange range, const void* value) const {
        return CFArrayGetCountOfValue(get(), range, value);
    }
    Boolean containsValue(CFRange range, const void* value) const { return CFArrayContainsValue(get(), range, value); }
    const void* getValueAtIndex(CFIndex index) const { return CFArrayGetValueAtIndex(get(), index); }
    void getValues(CFRange range, const void** values) const { CFArrayGetValues(get(), range, values); }
    void applyFunction(CFRange range, CFArrayApplierFunction applier, void* context) const {
        CFArrayApplyFunction(get(), range, applier, context);
    }
    /// kCFNotFound when the value is not there.
    CFIndex getFirstIndexOfValue(CFRange range, const void* value) const {
        return CFArrayGetFirstIndexOfValue(get(), range, value);
    }
    CFIndex getLastIndexOfValue(CFRange range, const void* value) const {
        return CFArrayGetLastIndexOfValue(get(), range, value);
    }
    /// In a range sorted by `comparator`: where the value stands, or where it would.
    CFIndex bSearchValues(CFRange range, const void* value, CFComparatorFunction comparator, void* context) const {
        return CFArrayBSearchValues(get(), range, value, comparator, context);
    }
};
static_assert(isPlainRef<ArrayRef>);

/// An array that can be changed.
class KX_EXPORT MutableArrayRef : public HeldRef<MutableArrayRef, CFMutableArrayRef, ArrayRef> {
  public:
    void appendValue(const void* value) { CFArrayAppendValue(get(), value); }
    void insertValueAtIndex(CFIndex index, const void* value) { CFArrayInsertValueAtIndex(get(), index, value); }
    /// An index equal to the count appends.
    void setValueAtIndex(CFIndex index, const void* value) { CFArraySetValueAtIndex(get(), index, value); }
    void removeValueAtIndex(CFIndex index) { CFArrayRemoveValueAtIndex(get(), index); }
    void removeAllValues() { CFArrayRemoveAllValues(get()); }
    void replaceValues(CFRange range, const void** newValues, CFIndex newCount) {
        CFArrayReplaceValues(get(), range, newValues, newCount);
    }
    void exchangeValuesAtIndices(CFIndex index1, CFIndex index2) {
        CFArrayExchangeValuesAtIndices(get(), index1, index2);
    }
    void sortValues(CFRange range, CFComparatorFunction comparator, void* context) {
        CFArraySortValues(get(), range, comparator, context);
    }
    void appendArray(CFArrayRef other, CFRange otherRange) { CFArrayAppendArray(get(), other, otherRange); }
};
static_assert(isPlainRef<MutableArrayRef>);

inline MutableArrayRef ArrayRef::createMutable(CFAllocatorRef allocator, CFIndex capacity,
                                               const CFArrayCallBacks* callBacks) {
    return MutableArrayRef::created(CFArrayCreateMutable(allocator, capacity, callBacks), "CFArrayCreateMutable");
}

inline MutableArrayRef ArrayRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFArrayRef array) {
    return MutableArrayRef::created(CFArrayCreateMutableCopy(allocator, capacity, array), "CFArrayCreateMutableCopy");
}

inline MutableArrayRef ArrayRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity) const {
    return createMutableCopy(allocator, capacity, get());
}

}  // namespace KXCore::CoreFoundation
