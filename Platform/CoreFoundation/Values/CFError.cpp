#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/String/CFStringObject.h"

#include <CoreFoundation/CFError.h>

#include <climits>
#include <cstring>
#include <utility>

using namespace KXPlatform;

namespace {

constinit const StringConstant domainPOSIX("NSPOSIXErrorDomain");
constinit const StringConstant domainOSStatus("NSOSStatusErrorDomain");
constinit const StringConstant domainMach("NSMachErrorDomain");
constinit const StringConstant domainCocoa("NSCocoaErrorDomain");
constinit const StringConstant localizedDescriptionKey("NSLocalizedDescription");
constinit const StringConstant localizedFailureKey("NSLocalizedFailure");
constinit const StringConstant localizedFailureReasonKey("NSLocalizedFailureReason");
constinit const StringConstant localizedRecoverySuggestionKey("NSLocalizedRecoverySuggestion");
constinit const StringConstant descriptionKey("NSDescription");
constinit const StringConstant underlyingErrorKey("NSUnderlyingError");
constinit const StringConstant urlKey("NSURL");
constinit const StringConstant filePathKey("NSFilePath");

}  // namespace

const CFErrorDomain kCFErrorDomainPOSIX = &domainPOSIX;
const CFErrorDomain kCFErrorDomainOSStatus = &domainOSStatus;
const CFErrorDomain kCFErrorDomainMach = &domainMach;
const CFErrorDomain kCFErrorDomainCocoa = &domainCocoa;
const CFStringRef kCFErrorLocalizedDescriptionKey = &localizedDescriptionKey;
const CFStringRef kCFErrorLocalizedFailureKey = &localizedFailureKey;
const CFStringRef kCFErrorLocalizedFailureReasonKey = &localizedFailureReasonKey;
const CFStringRef kCFErrorLocalizedRecoverySuggestionKey = &localizedRecoverySuggestionKey;
const CFStringRef kCFErrorDescriptionKey = &descriptionKey;
const CFStringRef kCFErrorUnderlyingErrorKey = &underlyingErrorKey;
const CFStringRef kCFErrorURLKey = &urlKey;
const CFStringRef kCFErrorFilePathKey = &filePathKey;

// ---- The class

struct __CFError : Object {
    /// Takes over both references; `errorUserInfo` may be null.
    __CFError(const Class& c, CFStringRef errorDomain, CFIndex errorCode, CFDictionaryRef errorUserInfo) noexcept
        : Object(c), domain(errorDomain), code(errorCode), userInfo(errorUserInfo) {}
    ~__CFError() {
        CFRelease(domain);
        CFRelease(userInfo);
    }

    const CFStringRef domain;
    const CFIndex code;
    const CFDictionaryRef userInfo;
};

namespace {

bool equalErrors(const Object* object1, const Object* object2) {
    const __CFError* const a = static_cast<const __CFError*>(object1);
    const __CFError* const b = static_cast<const __CFError*>(object2);
    if (a->code != b->code || !CFEqual(a->domain, b->domain)) return false;
    // No user info is the same as an empty one.
    if (!a->userInfo || !b->userInfo)
        return CFDictionaryGetCount(a->userInfo) == 0 && CFDictionaryGetCount(b->userInfo) == 0;
    return CFEqual(a->userInfo, b->userInfo);
}

CFHashCode hashError(const Object* object) {
    const __CFError* const error = static_cast<const __CFError*>(object);
    return CFHash(error->domain) + static_cast<CFHashCode>(error->code);
}

CFStringRef describeError(const Object* object);

constexpr Class kErrorClass{TypeID::Error, finalizeAs<__CFError>, equalErrors, hashError, describeError};

const __CFError* checked(const __CFError* error) noexcept {
    return error && error->cls == &kErrorClass ? error : nullptr;
}

// ---- What an error says of itself

/// The text under `key` of the user info, borrowed; null when there is none or it is no text.
CFStringRef textOf(const __CFError* error, CFStringRef key) noexcept {
    const void* const value = CFDictionaryGetValue(error->userInfo, key);
    return isOfType(value, TypeID::String) ? static_cast<CFStringRef>(value) : nullptr;
}

/// What the domain itself knows about a code: the system's texts for its own errors.
CFStringRef copyReasonOfDomain(const __CFError* error) noexcept {
    if (!CFEqual(error->domain, kCFErrorDomainPOSIX) || error->code < INT_MIN || error->code > INT_MAX) return nullptr;
    char buffer[256];
    return CFStringCreateWithCString(nullptr, strerror_r(static_cast<int>(error->code), buffer, sizeof buffer),
                                     kCFStringEncodingUTF8);
}

/// The domain as messages for people call it: the system's own domains go by what they stand for, "OSStatus error -50".
CFStringRef shownDomain(const __CFError* error) noexcept {
    const struct {
        CFErrorDomain domain;
        CFStringRef shown;
    } known[] = {{kCFErrorDomainCocoa, CFSTR("Cocoa")},
                 {kCFErrorDomainMach, CFSTR("Mach")},
                 {kCFErrorDomainOSStatus, CFSTR("OSStatus")},
                 {kCFErrorDomainPOSIX, CFSTR("POSIX")}};
    for (const auto& row : known)
        if (CFEqual(error->domain, row.domain)) return row.shown;
    return error->domain;
}

CFStringRef copyText(const __CFError* error, CFStringRef key) noexcept {
    const CFStringRef text = textOf(error, key);
    return text ? static_cast<CFStringRef>(CFRetain(text)) : nullptr;
}

CFStringRef copyReason(const __CFError* error) noexcept {
    const CFStringRef text = copyText(error, kCFErrorLocalizedFailureReasonKey);
    return text ? text : copyReasonOfDomain(error);
}

CFStringRef copyMessage(const __CFError* error) noexcept {
    if (const CFStringRef text = copyText(error, kCFErrorLocalizedDescriptionKey)) return text;
    Description message;
    const CFStringRef failure = textOf(error, kCFErrorLocalizedFailureKey);
    message.append(failure ? failure : CFSTR("The operation couldn’t be completed."));
    if (const CFStringRef reason = copyReason(error)) {
        message.format(" ");
        message.append(reason);
        CFRelease(reason);
    } else if (!failure) {
        message.format(" (");
        message.append(shownDomain(error));
        message.format(" error %ld", error->code);
        if (const CFStringRef details = textOf(error, kCFErrorDescriptionKey)) {
            message.format(" - ");
            message.append(details);
        } else {
            message.format(".");
        }
        message.format(")");
    }
    return message.take();
}

void appendValue(Description& description, CFTypeRef value) noexcept {
    if (isOfType(value, TypeID::String)) return description.append(static_cast<CFStringRef>(value));
    const CFStringRef text = CFCopyDescription(value);
    description.append(text);
    CFRelease(text);
}

CFStringRef describeError(const Object* object) {
    const __CFError* const error = static_cast<const __CFError*>(object);
    Description description;
    description.format("Error Domain=");
    description.append(error->domain);
    description.format(" Code=%ld \"", error->code);
    const CFStringRef message = copyMessage(error);
    description.append(message);
    CFRelease(message);
    description.format("\"");

    struct Walk {
        Description& description;
        const char* before;
    } walk{description, " UserInfo={"};
    CFDictionaryApplyFunction(
        error->userInfo,
        [](const void* key, const void* value, void* context) {
            Walk& w = *static_cast<Walk*>(context);
            w.description.format("%s", std::exchange(w.before, ", "));
            appendValue(w.description, key);
            w.description.format("=");
            appendValue(w.description, value);
        },
        &walk);
    if (CFDictionaryGetCount(error->userInfo) > 0) description.format("}");
    return description.take();
}

/// Takes over the reference to `userInfo`.
CFErrorRef create(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo) noexcept {
    const CFStringRef kept = CFStringCreateCopy(allocator, domain);
    __CFError* const error = kept ? make<__CFError>(allocator, 0, kErrorClass, kept, code, userInfo) : nullptr;
    if (!error) {
        CFRelease(kept);
        CFRelease(userInfo);
    }
    return error;
}

}  // namespace

// ---- Exported

CFTypeID CFErrorGetTypeID() { return number(TypeID::Error); }

CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo) {
    if (!isOfType(domain, TypeID::String)) return nullptr;
    const CFDictionaryRef copy = userInfo ? CFDictionaryCreateCopy(allocator, userInfo) : nullptr;
    return userInfo && !copy ? nullptr : create(allocator, domain, code, copy);
}

CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                                                  const void* const* userInfoKeys, const void* const* userInfoValues,
                                                  CFIndex numUserInfoValues) {
    if (!isOfType(domain, TypeID::String)) return nullptr;
    const CFDictionaryRef userInfo =
        CFDictionaryCreate(allocator, const_cast<const void**>(userInfoKeys), const_cast<const void**>(userInfoValues),
                           numUserInfoValues, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    return userInfo ? create(allocator, domain, code, userInfo) : nullptr;
}

CFErrorDomain CFErrorGetDomain(CFErrorRef err) { return checked(err) ? err->domain : nullptr; }

CFIndex CFErrorGetCode(CFErrorRef err) { return checked(err) ? err->code : 0; }

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err) {
    if (checked(err) && err->userInfo) return static_cast<CFDictionaryRef>(CFRetain(err->userInfo));
    return CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                              &kCFTypeDictionaryValueCallBacks);
}

CFStringRef CFErrorCopyDescription(CFErrorRef err) { return checked(err) ? copyMessage(err) : nullptr; }

CFStringRef CFErrorCopyFailureReason(CFErrorRef err) { return checked(err) ? copyReason(err) : nullptr; }

CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err) {
    return checked(err) ? copyText(err, kCFErrorLocalizedRecoverySuggestionKey) : nullptr;
}
