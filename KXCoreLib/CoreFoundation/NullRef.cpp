#include <KXCoreLib/CoreFoundation/NullRef.h>

namespace KXCore::CoreFoundation {

CFTypeID NullRef::getTypeID() { return CFNullGetTypeID(); }

}  // namespace KXCore::CoreFoundation
