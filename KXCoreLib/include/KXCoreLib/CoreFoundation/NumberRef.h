#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFNumber.h>

namespace KXCore::CoreFoundation {

/// An integer or a floating number.
class KX_EXPORT NumberRef : public TypedRef<NumberRef, CFNumberRef> {
  public:
    static constexpr const char* typeName = "CFNumberRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFNumberGetTypeID(); }

    /// `value` points to a number of the C type that `type` names.
    static NumberRef create(CFAllocatorRef allocator, CFNumberType type, const void* value) {
        return created(CFNumberCreate(allocator, type, value), "CFNumberCreate");
    }

    CFNumberType getType() const { return CFNumberGetType(get()); }
    CFIndex getByteSize() const { return CFNumberGetByteSize(get()); }
    Boolean isFloatType() const { return CFNumberIsFloatType(get()); }
    /// Writes the value, or the nearest one, as the C type that `type` names; false when it was not exact.
    Boolean getValue(CFNumberType type, void* value) const { return CFNumberGetValue(get(), type, value); }
    CFComparisonResult compare(CFNumberRef other, void* context) const {
        return CFNumberCompare(get(), other, context);
    }
};
static_assert(isPlainRef<NumberRef>);

}  // namespace KXCore::CoreFoundation
