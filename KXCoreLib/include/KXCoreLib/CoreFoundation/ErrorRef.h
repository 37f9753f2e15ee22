#pragma once

#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFError.h>

namespace KXCore::CoreFoundation {

/// What went wrong: a domain, a code within it and a dictionary that explains them. Also the holder that operations
/// with an error out-argument fill (see ErrorOutlet.h).
class KX_EXPORT ErrorRef : public TypedRef<ErrorRef, CFErrorRef> {
  public:
    static constexpr const char* typeName = "CFErrorRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFErrorGetTypeID(); }

    static ErrorRef create(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo) {
        return created(CFErrorCreate(allocator, domain, code, userInfo), "CFErrorCreate");
    }
    static ErrorRef createWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                                                    const void* const* userInfoKeys, const void* const* userInfoValues,
                                                    CFIndex numUserInfoValues) {
        return created(CFErrorCreateWithUserInfoKeysAndValues(allocator, domain, code, userInfoKeys, userInfoValues,
                                                              numUserInfoValues),
                       "CFErrorCreateWithUserInfoKeysAndValues");
    }

    StringRef getDomain() const { return StringRef::retain(CFErrorGetDomain(get())); }
    CFIndex getCode() const { return CFErrorGetCode(get()); }
    /// Empty, but never null, for an error made without one.
    DictionaryRef copyUserInfo() const {
        return DictionaryRef::created(CFErrorCopyUserInfo(get()), "CFErrorCopyUserInfo");
    }
    StringRef copyDescription() const {
        return StringRef::created(CFErrorCopyDescription(get()), "CFErrorCopyDescription");
    }
    /// An error that tells no reason is a failure to create; the same holds for the suggestion.
    StringRef copyFailureReason() const {
        return StringRef::created(CFErrorCopyFailureReason(get()), "CFErrorCopyFailureReason");
    }
    StringRef copyRecoverySuggestion() const {
        return StringRef::created(CFErrorCopyRecoverySuggestion(get()), "CFErrorCopyRecoverySuggestion");
    }
};
static_assert(isPlainRef<ErrorRef>);

}  // namespace KXCore::CoreFoundation
