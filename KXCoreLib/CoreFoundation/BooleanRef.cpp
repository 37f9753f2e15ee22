#include <KXCoreLib/CoreFoundation/BooleanRef.h>

namespace KXCore::CoreFoundation {

CFTypeID BooleanRef::getTypeID() { return CFBooleanGetTypeID(); }
Boolean BooleanRef::getValue() const { return CFBooleanGetValue(get()); }

}  // namespace KXCore::CoreFoundation
