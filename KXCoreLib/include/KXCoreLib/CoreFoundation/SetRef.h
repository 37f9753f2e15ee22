#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFSet.h>

namespace KXCore::CoreFoundation {

class MutableSetRef;

/// Distinct values, in no order. The call-backs the set is made with say what is distinct and what happens to a value
/// on its way in and out: kCFTypeSetCallBacks for objects, null for plain pointers. Values that come out are borrowed.
class KX_EXPORT SetRef : public TypedRef<SetRef, CFSetRef> {
  public:
    static constexpr const char* typeName = "CFSetRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFSetGetTypeID(); }

    static SetRef create(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                         const CFSetCallBacks* callBacks) {
        return created(CFSetCreate(allocator, values, numValues, callBacks), "CFSetCreate");
    }
    static SetRef createCopy(CFAllocatorRef allocator, CFSetRef set) {
        return created(CFSetCreateCopy(allocator, set), "CFSetCreateCopy");
    }
    SetRef createCopy(CFAllocatorRef allocator) const { return createCopy(allocator, get()); }
    /// A `capacity` of 0 sets no limit.
    static MutableSetRef createMutable(CFAllocatorRef allocator, CFIndex capacity, const CFSetCallBacks* callBacks);
    static MutableSetRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFSetRef set);
    MutableSetRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity) const;

    CFIndex getCount() const { return CFSetGetCount(get()); }
    CFIndex getCountOfValue(const void* value) const { return CFSetGetCountOfValue(get(), value); }
    Boolean containsValue(const void* value) const { return CFSetContainsValue(get(), value); }
    /// The set's own value that equals `value`; null when there is none.
    const void* getValue(const void* value) const { return CFSetGetValue(get(), value); }
    Boolean getValueIfPresent(const void* candidate, const void** value) const {
        return CFSetGetValueIfPresent(get(), candidate, value);
    }
    /// Fills a buffer of getCount() places.
    void getValues(const void** values) const { CFSetGetValues(get(), values); }
    void applyFunction(CFSetApplierFunction applier, void* context) const {
        CFSetApplyFunction(get(), applier, context);
    }
};
static_assert(isPlainRef<SetRef>);

/// A set that can be changed.
class KX_EXPORT MutableSetRef : public HeldRef<MutableSetRef, CFMutableSetRef, SetRef> {
  public:
    /// Only where no equal value is there yet.
    void addValue(const void* value) { CFSetAddValue(get(), value); }
    /// Only where an equal value is there.
    void replaceValue(const void* value) { CFSetReplaceValue(get(), value); }
    /// Adds or replaces.
    void setValue(const void* value) { CFSetSetValue(get(), value); }
    void removeValue(const void* value) { CFSetRemoveValue(get(), value); }
    void removeAllValues() { CFSetRemoveAllValues(get()); }
};
static_assert(isPlainRef<MutableSetRef>);

inline MutableSetRef SetRef::createMutable(CFAllocatorRef allocator, CFIndex capacity,
                                           const CFSetCallBacks* callBacks) {
    return MutableSetRef::created(CFSetCreateMutable(allocator, capacity, callBacks), "CFSetCreateMutable");
}

inline MutableSetRef SetRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFSetRef set) {
    return MutableSetRef::created(CFSetCreateMutableCopy(allocator, capacity, set), "CFSetCreateMutableCopy");
}

inline MutableSetRef SetRef::createMutableCopy(CFAllocatorRef allocator, CFIndex capacity) const {
    return createMutableCopy(allocator, capacity, get());
}

}  // namespace KXCore::CoreFoundation
