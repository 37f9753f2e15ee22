#pragma once

#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFError.h>

namespace KXCore::CoreFoundation {

/// What went wrong: a domain, a code within it and a dictionary that explains them. Also the holder that operations
/// with an error out-argument fill (TypeRef.h).
class KX_EXPORT ErrorRef : public TypedRef<ErrorRef, CFErrorRef> {
  public:
    static constexpr const char* typeName = "CFErrorRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    static ErrorRef create(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo);
    static ErrorRef createWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                                                    const void* const* userInfoKeys, const void* const* userInfoValues,
                                                    CFIndex numUserInfoValues);

    StringRef getDomain() const;
    CFIndex getCode() const;
    /// Empty, but never null, for an error made without one.
    DictionaryRef copyUserInfo() const;
    StringRef copyDescription() const;
    /// An error without a reason is a failure to create; the same holds for the suggestion.
    StringRef copyFailureReason() const;
    StringRef copyRecoverySuggestion() const;
};
static_assert(isPlainRef<ErrorRef>);

}  // namespace KXCore::CoreFoundation
