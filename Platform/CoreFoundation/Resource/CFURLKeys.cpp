#include "CoreFoundation/String/CFStringObject.h"

#include <CoreFoundation/CFURL.h>
#include <CoreFoundation/CFURLAccess.h>

using namespace KXPlatform;

#define KX_KEY(name, text)                           \
    namespace {                                      \
    constinit const StringConstant name##Text(text); \
    }                                                \
    const CFStringRef name = &name##Text;
#include "CFURLKeys.def"
#undef KX_KEY
