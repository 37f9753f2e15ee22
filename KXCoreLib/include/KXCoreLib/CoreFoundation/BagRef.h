#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFBag.h>

namespace KXCore::CoreFoundation {

class MutableBagRef;

/// Values in no order, equal ones as often as they were added. The callbacks the bag is made with say what is equal and
/// what happens to a value on its way in and out: kCFTypeBagCallBacks for objects, null for plain pointers. Values that
/// come out are borrowed.
class KX_EXPORT BagRef : public TypedRef<BagRef, CFBagRef> {
  public:
    static constexpr const char* typeName = "CFBagRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    static BagRef create(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                         const CFBagCallBacks* callBacks);
    static BagRef createCopy(CFAllocatorRef allocator, CFBagRef bag);
    /// `capacity` is a hint; 0 is none.
    static MutableBagRef createMutable(CFAllocatorRef allocator, CFIndex capacity, const CFBagCallBacks* callBacks);
    static MutableBagRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFBagRef bag);

    CFIndex getCount() const;
    CFIndex getCountOfValue(const void* value) const;
    Boolean containsValue(const void* value) const;
    /// The bag's own value that equals `value`; null when there is none.
    const void* getValue(const void* value) const;
    Boolean getValueIfPresent(const void* candidate, const void** value) const;
    /// Fills a buffer of getCount() places.
    void getValues(const void** values) const;
    void applyFunction(CFBagApplierFunction applier, void* context) const;
};
static_assert(isPlainRef<BagRef>);

/// A bag that can be changed.
class KX_EXPORT MutableBagRef : public HeldRef<MutableBagRef, CFMutableBagRef, BagRef> {
  public:
    /// Once more where an equal value is there.
    void addValue(const void* value);
    /// Only where an equal value is there.
    void replaceValue(const void* value);
    /// Replaces equal values, or adds.
    void setValue(const void* value);
    /// One of the values equal to `value`.
    void removeValue(const void* value);
    void removeAllValues();
};
static_assert(isPlainRef<MutableBagRef>);

}  // namespace KXCore::CoreFoundation
