#include "URLErrors.h"

#include "CoreFoundation/Object/Retained.h"

#include <cerrno>

namespace KXPlatform {

void reportFileError(CFErrorRef* error, FileErrorCode code, CFURLRef url, int cause) noexcept {
    if (!error) return;
    const auto underlying =
        Retained<__CFError>::adopting(cause ? CFErrorCreate(nullptr, kCFErrorDomainPOSIX, cause, nullptr) : nullptr);
    const void* keys[2];
    const void* values[2];
    CFIndex count = 0;
    const auto add = [&](CFStringRef key, const void* value) {
        if (!value) return;
        keys[count] = key;
        values[count++] = value;
    };
    add(kCFErrorURLKey, url);
    add(kCFErrorUnderlyingErrorKey, underlying.get());
    *error = CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainCocoa, code, keys, values, count);
}

FileErrorCode readErrorOf(int cause) noexcept {
    switch (cause) {
        case ENOENT:
        case ENOTDIR:
            return ReadNoSuchFile;
        case EACCES:
        case EPERM:
            return ReadNoPermission;
        case ENAMETOOLONG:
            return ReadInvalidFileName;
        default:
            return ReadUnknown;
    }
}

FileErrorCode writeErrorOf(int cause) noexcept {
    switch (cause) {
        case ENOENT:
        case ENOTDIR:
            return NoSuchFile;
        case EACCES:
        case EPERM:
            return WriteNoPermission;
        case ENAMETOOLONG:
        case EINVAL:
            return WriteInvalidFileName;
        case EEXIST:
            return WriteFileExists;
        case ENOSPC:
        case EDQUOT:
            return WriteOutOfSpace;
        case EROFS:
            return WriteVolumeReadOnly;
        default:
            return WriteUnknown;
    }
}

}  // namespace KXPlatform
