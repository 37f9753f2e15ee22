#include "CallBacks.h"

#include "CoreFoundation/Object/Description.h"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBag.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFSet.h>

using namespace KXPlatform;

namespace {

const void* retainObject(CFAllocatorRef, const void* value) { return CFRetain(value); }
const void* copyString(CFAllocatorRef allocator, const void* value) {
    return CFStringCreateCopy(allocator, static_cast<CFStringRef>(value));
}
void releaseObject(CFAllocatorRef, const void* value) { CFRelease(value); }

}  // namespace

namespace KXPlatform {

constinit const CallBacks kPointerCallBacks{};
constinit const CallBacks kObjectCallBacks{retainObject, releaseObject, CFCopyDescription, CFEqual, CFHash};
constinit const CallBacks kCopyStringCallBacks{copyString, releaseObject, CFCopyDescription, CFEqual, CFHash};

void describeValue(Description& description, const CallBacks* callBacks, const void* value) noexcept {
    if (!callBacks->copyDescription || (callBacks->copyDescription == CFCopyDescription && !value)) {
        // Not "%p", by which the C library shows a null pointer as "(nil)".
        description.format("<0x%lx>", reinterpret_cast<std::uintptr_t>(value));
        return;
    }
    const CFStringRef text = callBacks->copyDescription(value);
    description.append(text);
    CFRelease(text);
}

}  // namespace KXPlatform

const CFArrayCallBacks kCFTypeArrayCallBacks{0, retainObject, releaseObject, CFCopyDescription, CFEqual};
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{0,       retainObject, releaseObject, CFCopyDescription,
                                                             CFEqual, CFHash};
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks{
    0, copyString, releaseObject, CFCopyDescription, CFEqual, CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{0, retainObject, releaseObject, CFCopyDescription,
                                                                 CFEqual};
const CFBagCallBacks kCFTypeBagCallBacks{0, retainObject, releaseObject, CFCopyDescription, CFEqual, CFHash};
const CFBagCallBacks kCFCopyStringBagCallBacks{0, copyString, releaseObject, CFCopyDescription, CFEqual, CFHash};
const CFSetCallBacks kCFTypeSetCallBacks{0, retainObject, releaseObject, CFCopyDescription, CFEqual, CFHash};
const CFSetCallBacks kCFCopyStringSetCallBacks{0, copyString, releaseObject, CFCopyDescription, CFEqual, CFHash};
