#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFSet.h>

namespace KXCore::CoreFoundation {

class MutableSetRef;

/// Distinct values, in no order. The callbacks that the set is made with decide what is distinct and what happens to a
/// value on its way in and out: kCFTypeSetCallBacks for objects, null for plain pointers. Values that come out are
/// borrowed.
class KX_EXPORT SetRef : public TypedRef<SetRef, CFSetRef> {
  public:
    static constexpr const char* typeName = "CFSetRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    static SetRef create(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                         const CFSetCallBacks* callBacks);
    static SetRef createCopy(CFAllocatorRef allocator, CFSetRef set);
    /// A `capacity` of 0 sets no limit.
    static MutableSetRef createMutable(CFAllocatorRef allocator, CFIndex capacity, const CFSetCallBacks* callBacks);
    static MutableSetRef createMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFSetRef set);

    CFIndex getCount() const;
    CFIndex getCountOfValue(const void* value) const;
    Boolean containsValue(const void* value) const;
    /// The set's own value that equals `value`; null when there is none.
    const void* getValue(const void* value) const;
    Boolean getValueIfPresent(const void* candidate, const void** value) const;
    /// Fills a buffer of getCount() places.
    void getValues(const void** values) const;
    void applyFunction(CFSetApplierFunction applier, void* context) const;
};
static_assert(isPlainRef<SetRef>);

/// A set that can be changed.
class KX_EXPORT MutableSetRef : public HeldRef<MutableSetRef, CFMutableSetRef, SetRef> {
  public:
    /// Only where no equal value is there yet.
    void addValue(const void* value);
    /// Only where an equal value is there.
    void replaceValue(const void* value);
    /// Adds or replaces.
    void setValue(const void* value);
    void removeValue(const void* value);
    void removeAllValues();
};
static_assert(isPlainRef<MutableSetRef>);

}  // namespace KXCore::CoreFoundation
