#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/String/CFStringFormatOutput.h"

#include <CoreFoundation/CFNumber.h>

using namespace KXPlatform;

struct __CFBoolean : Object {
    using Object::Object;
};

namespace {

/// There are two booleans, equal to themselves only.
CFHashCode hashBoolean(const Object* object) { return object == kCFBooleanTrue ? 1 : 0; }

CFStringRef describeBoolean(const Object* object) {
    Description description;
    description.appendHeading(object);
    description.format("{value = %s}", object == kCFBooleanTrue ? "true" : "false");
    return description.take();
}

void formatBoolean(const Object* object, FormatOutput& output) {
    output.append(object == kCFBooleanTrue ? "true" : "false");
}

constexpr Class kBooleanClass{TypeID::Boolean, nullptr, nullptr, hashBoolean, describeBoolean, true, formatBoolean};

constinit const __CFBoolean trueObject(kBooleanClass, Object::Immortal);
constinit const __CFBoolean falseObject(kBooleanClass, Object::Immortal);

}  // namespace

const CFBooleanRef kCFBooleanTrue = &trueObject;
const CFBooleanRef kCFBooleanFalse = &falseObject;

CFTypeID CFBooleanGetTypeID() { return number(TypeID::Boolean); }

Boolean CFBooleanGetValue(CFBooleanRef boolean) { return boolean == kCFBooleanTrue; }
