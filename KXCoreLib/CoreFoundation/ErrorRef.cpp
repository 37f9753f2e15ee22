#include <KXCoreLib/CoreFoundation/ErrorRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID ErrorRef::getTypeID() { return CFErrorGetTypeID(); }

ErrorRef ErrorRef::create(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo) {
    return KX_CREATE(ErrorRef, CFErrorCreate)(allocator, domain, code, userInfo);
}

ErrorRef ErrorRef::createWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                                                   const void* const* userInfoKeys, const void* const* userInfoValues,
                                                   CFIndex numUserInfoValues) {
    return KX_CREATE(ErrorRef, CFErrorCreateWithUserInfoKeysAndValues)(allocator, domain, code, userInfoKeys,
                                                                       userInfoValues, numUserInfoValues);
}

StringRef ErrorRef::getDomain() const { return StringRef::retain(CFErrorGetDomain(get())); }
CFIndex ErrorRef::getCode() const { return CFErrorGetCode(get()); }
DictionaryRef ErrorRef::copyUserInfo() const { return KX_CREATE(DictionaryRef, CFErrorCopyUserInfo)(get()); }
StringRef ErrorRef::copyDescription() const { return KX_CREATE(StringRef, CFErrorCopyDescription)(get()); }
StringRef ErrorRef::copyFailureReason() const { return KX_CREATE(StringRef, CFErrorCopyFailureReason)(get()); }

StringRef ErrorRef::copyRecoverySuggestion() const {
    return KX_CREATE(StringRef, CFErrorCopyRecoverySuggestion)(get());
}

}  // namespace KXCore::CoreFoundation
