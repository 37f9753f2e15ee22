#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFNumber.h>

namespace KXCore::CoreFoundation {

/// One of the two booleans: BooleanRef::retain(kCFBooleanTrue), BooleanRef::retain(kCFBooleanFalse).
class KX_EXPORT BooleanRef : public TypedRef<BooleanRef, CFBooleanRef> {
  public:
    static constexpr const char* typeName = "CFBooleanRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    Boolean getValue() const;
};
static_assert(isPlainRef<BooleanRef>);

}  // namespace KXCore::CoreFoundation
