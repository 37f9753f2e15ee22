#include <KXCoreLib/CoreFoundation/URLEnumeratorRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID URLEnumeratorRef::getTypeID() { return CFURLEnumeratorGetTypeID(); }

URLEnumeratorRef URLEnumeratorRef::createForDirectoryURL(CFAllocatorRef allocator, CFURLRef directoryURL,
                                                         CFURLEnumeratorOptions option, CFArrayRef propertyKeys) {
    return KX_CREATE(URLEnumeratorRef, CFURLEnumeratorCreateForDirectoryURL)(allocator, directoryURL, option,
                                                                             propertyKeys);
}

URLEnumeratorRef URLEnumeratorRef::createForMountedVolumes(CFAllocatorRef allocator, CFURLEnumeratorOptions option,
                                                           CFArrayRef propertyKeys) {
    return KX_CREATE(URLEnumeratorRef, CFURLEnumeratorCreateForMountedVolumes)(allocator, option, propertyKeys);
}

CFURLEnumeratorResult URLEnumeratorRef::getNextURL(CFURLRef* url, ErrorRef* error) const {
    return KX_TRY(CFURLEnumeratorGetNextURL, isNot<kCFURLEnumeratorError>, error)(get(), url);
}

void URLEnumeratorRef::skipDescendents() const { CFURLEnumeratorSkipDescendents(get()); }
CFIndex URLEnumeratorRef::getDescendentLevel() const { return CFURLEnumeratorGetDescendentLevel(get()); }
Boolean URLEnumeratorRef::getSourceDidChange() const { return CFURLEnumeratorGetSourceDidChange(get()); }

}  // namespace KXCore::CoreFoundation
