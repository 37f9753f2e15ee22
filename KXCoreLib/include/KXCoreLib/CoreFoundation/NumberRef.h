#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFNumber.h>

namespace KXCore::CoreFoundation {

/// An integer or a floating number.
class KX_EXPORT NumberRef : public TypedRef<NumberRef, CFNumberRef> {
  public:
    static constexpr const char* typeName = "CFNumberRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// `value` points to a number of the C type that `type` names.
    static NumberRef create(CFAllocatorRef allocator, CFNumberType type, const void* value);

    CFNumberType getType() const;
    CFIndex getByteSize() const;
    Boolean isFloatType() const;
    /// Writes the value, or the nearest one, as the C type that `type` names; false when it was not exact.
    Boolean getValue(CFNumberType type, void* value) const;
    CFComparisonResult compare(CFNumberRef other, void* context) const;
};
static_assert(isPlainRef<NumberRef>);

}  // namespace KXCore::CoreFoundation
