#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

namespace KXCore::CoreFoundation {

/// The null object, for collections that hold objects only. There is one: NullRef::retain(kCFNull).
class KX_EXPORT NullRef : public TypedRef<NullRef, CFNullRef> {
  public:
    static constexpr const char* typeName = "CFNullRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();
};
static_assert(isPlainRef<NullRef>);

}  // namespace KXCore::CoreFoundation
