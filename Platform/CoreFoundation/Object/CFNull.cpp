#include "Object.h"

#include <CoreFoundation/CFString.h>

using namespace KXPlatform;

namespace {

CFStringRef describeNull(const Object*) {
    return CFStringCreateWithCString(kCFAllocatorSystemDefault, "<null>", kCFStringEncodingASCII);
}

constexpr Class kNullClass{TypeID::Null, nullptr, nullptr, nullptr, describeNull};

}  // namespace

struct __CFNull : Object {
    using Object::Object;
};

namespace {
constinit const __CFNull nullObject(kNullClass, Object::Immortal);
}

const CFNullRef kCFNull = &nullObject;

CFTypeID CFNullGetTypeID() { return number(TypeID::Null); }
