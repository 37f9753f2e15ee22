#include "CFURLObject.h"
#include "FileBytes.h"
#include "FileProperties.h"

#include "Support/Folder.h"

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFURLAccess.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace KXPlatform;

namespace {

constexpr std::size_t kMostBytes = PTRDIFF_MAX;

Boolean finish(SInt32* errorCode, CFIndex error) noexcept {
    if (errorCode) *errorCode = static_cast<SInt32>(error);
    return error == 0;
}

CFIndex errorOf(int cause) noexcept {
    switch (cause) {
        case 0:
            return 0;
        case ENOENT:
        case ENOTDIR:
            return kCFURLResourceNotFoundError;
        case EACCES:
        case EPERM:
        case EROFS:
            return kCFURLResourceAccessViolationError;
        default:
            return kCFURLUnknownError;
    }
}

/// The path of a file URL, or the error of any other.
CFIndex findPath(CFURLRef url, std::string& path) {
    if (!checked(url)) return kCFURLImproperArgumentsError;
    return filePath(url, path) ? CFIndex{0} : kCFURLUnknownSchemeError;
}

CFTypeRef createContents(const std::string& path) {
    const Folder folder = openFolder(path.c_str());
    auto made =
        Retained<__CFArray>::adopting(folder ? CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks) : nullptr);
    if (!made) return nullptr;
    while (const dirent* const entry = nextEntry(folder)) {
        struct stat status;
        const bool isDirectory = ::fstatat(::dirfd(folder.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                                 S_ISDIR(status.st_mode);
        const auto url = URL::adopting(
            createFileURL(nullptr, (path == "/" ? "" : path) + "/" + entry->d_name, isDirectory, nullptr));
        if (!url) throw std::bad_alloc();
        CFArrayAppendValue(made.get(), url.get());
    }
    return made.release();
}

/// The properties in the order in which all are read.
const CFStringRef* allProperties(std::size_t& count) noexcept {
    static const CFStringRef keys[] = {kCFURLFileExists,    kCFURLFileDirectoryContents,    kCFURLFileLength,
                                       kCFURLFilePOSIXMode, kCFURLFileLastModificationTime, kCFURLFileOwnerID};
    count = std::size(keys);
    return keys;
}

/// One property of what a path leads to, or why there is none. Throws std::bad_alloc.
CFTypeRef createProperty(const std::string& path, CFStringRef key, CFIndex& error) {
    error = 0;
    struct stat status;
    const int cause = ::stat(path.c_str(), &status) == 0 ? 0 : errno;
    if (CFEqual(key, kCFURLFileExists)) {
        if (cause != 0 && cause != ENOENT && cause != ENOTDIR) error = errorOf(cause);
        return error == 0 ? newBoolean(cause == 0) : nullptr;
    }
    std::size_t count = 0;
    const CFStringRef* const known = allProperties(count);
    bool isKnown = false;
    for (std::size_t i = 0; i < count; ++i) isKnown = isKnown || CFEqual(known[i], key);
    const bool isOfHTTP = CFEqual(key, kCFURLHTTPStatusCode) || CFEqual(key, kCFURLHTTPStatusLine);
    error = isKnown ? errorOf(cause) : isOfHTTP ? kCFURLPropertyKeyUnavailableError : kCFURLUnknownPropertyKeyError;
    if (error != 0) return nullptr;
    CFTypeRef value = nullptr;
    if (CFEqual(key, kCFURLFileDirectoryContents)) {
        value = S_ISDIR(status.st_mode) ? createContents(path) : nullptr;
    } else if (CFEqual(key, kCFURLFileLength)) {
        value = newNumber(static_cast<std::uint64_t>(status.st_size));
    } else if (CFEqual(key, kCFURLFilePOSIXMode)) {
        value = newNumber(status.st_mode);
    } else if (CFEqual(key, kCFURLFileOwnerID)) {
        value = newNumber(status.st_uid);
    } else {
        value = CFDateCreate(nullptr, static_cast<double>(status.st_mtim.tv_sec) - kCFAbsoluteTimeIntervalSince1970 +
                                          1e-9 * static_cast<double>(status.st_mtim.tv_nsec));
    }
    if (!value) error = kCFURLPropertyKeyUnavailableError;
    return value;
}

/// The wanted properties, or all; one that is not there is left out. Throws std::bad_alloc.
CFDictionaryRef createProperties(CFAllocatorRef allocator, const std::string& path, CFArrayRef wanted) {
    std::size_t count = 0;
    const CFStringRef* const all = allProperties(count);
    if (wanted) count = static_cast<std::size_t>(CFArrayGetCount(wanted));
    auto made = Retained<__CFDictionary>::adopting(
        CFDictionaryCreateMutable(allocator, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (std::size_t i = 0; made && i < count; ++i) {
        const auto key =
            wanted ? static_cast<CFStringRef>(CFArrayGetValueAtIndex(wanted, static_cast<CFIndex>(i))) : all[i];
        if (!isOfType(key, TypeID::String)) continue;
        CFIndex error = 0;
        const auto value = Retained<const Object>::adopting(object(createProperty(path, key, error)));
        if (value) CFDictionarySetValue(made.get(), key, value.get());
    }
    return made.release();
}

bool numberIn(CFDictionaryRef properties, CFStringRef key, SInt64& value) noexcept {
    const void* const number = CFDictionaryGetValue(properties, key);
    return isOfType(number, TypeID::Number) &&
           CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value);
}

/// 0 or an errno.
int writeProperties(const std::string& path, CFDictionaryRef properties) noexcept {
    SInt64 number = 0;
    if (numberIn(properties, kCFURLFilePOSIXMode, number) &&
        ::chmod(path.c_str(), static_cast<mode_t>(number) & 07777) != 0)
        return errno;
    if (numberIn(properties, kCFURLFileOwnerID, number) &&
        ::chown(path.c_str(), static_cast<uid_t>(number), static_cast<gid_t>(-1)) != 0)
        return errno;
    const void* const date = CFDictionaryGetValue(properties, kCFURLFileLastModificationTime);
    if (!isOfType(date, TypeID::Date)) return 0;
    const double seconds = CFDateGetAbsoluteTime(static_cast<CFDateRef>(date)) + kCFAbsoluteTimeIntervalSince1970;
    const double whole = std::floor(seconds);
    if (!(std::fabs(whole) < 1e15)) return EINVAL;
    const timespec times[2] = {{0, UTIME_OMIT},
                               {static_cast<time_t>(whole), static_cast<long>((seconds - whole) * 1e9)}};
    return ::utimensat(AT_FDCWD, path.c_str(), times, 0) == 0 ? 0 : errno;
}

}  // namespace

Boolean CFURLCreateDataAndPropertiesFromResource(CFAllocatorRef alloc, CFURLRef url, CFDataRef* resourceData,
                                                 CFDictionaryRef* properties, CFArrayRef desiredProperties,
                                                 SInt32* errorCode) try {
    if (resourceData) *resourceData = nullptr;
    if (properties) *properties = nullptr;
    std::string path, bytes;
    if (const CFIndex error = findPath(url, path)) return finish(errorCode, error);
    if (desiredProperties && !isOfType(desiredProperties, TypeID::Array))
        return finish(errorCode, kCFURLImproperArgumentsError);
    Retained<const __CFData> data;
    if (resourceData) {
        if (const int cause = readFile(path, kMostBytes, bytes)) return finish(errorCode, errorOf(cause));
        data = Retained<const __CFData>::adopting(
            CFDataCreate(alloc, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
        if (!data) return finish(errorCode, kCFURLUnknownError);
    }
    if (properties) {
        *properties = createProperties(alloc, path, desiredProperties);
        if (!*properties) return finish(errorCode, kCFURLUnknownError);
    }
    if (resourceData) *resourceData = data.release();
    return finish(errorCode, 0);
} catch (const std::bad_alloc&) {
    return finish(errorCode, kCFURLUnknownError);
}

Boolean CFURLWriteDataAndPropertiesToResource(CFURLRef url, CFDataRef dataToWrite, CFDictionaryRef propertiesToWrite,
                                              SInt32* errorCode) try {
    std::string path;
    if (const CFIndex error = findPath(url, path)) return finish(errorCode, error);
    if ((dataToWrite && !isOfType(dataToWrite, TypeID::Data)) ||
        (propertiesToWrite && !isOfType(propertiesToWrite, TypeID::Dictionary)))
        return finish(errorCode, kCFURLImproperArgumentsError);
    int cause = 0;
    if (CFURLHasDirectoryPath(url)) {
        struct stat status;
        const bool isThere = ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
        if (!isThere && ::mkdir(path.c_str(), 0777) != 0) cause = errno;
    } else if (dataToWrite) {
        cause = replaceFile(path, {reinterpret_cast<const char*>(CFDataGetBytePtr(dataToWrite)),
                                   static_cast<std::size_t>(CFDataGetLength(dataToWrite))});
    }
    if (cause == 0 && propertiesToWrite) cause = writeProperties(path, propertiesToWrite);
    return finish(errorCode, errorOf(cause));
} catch (const std::bad_alloc&) {
    return finish(errorCode, kCFURLUnknownError);
}

Boolean CFURLDestroyResource(CFURLRef url, SInt32* errorCode) try {
    std::string path;
    if (const CFIndex error = findPath(url, path)) return finish(errorCode, error);
    return finish(errorCode, ::remove(path.c_str()) == 0 ? 0 : errorOf(errno));
} catch (const std::bad_alloc&) {
    return finish(errorCode, kCFURLUnknownError);
}

CFTypeRef CFURLCreatePropertyFromResource(CFAllocatorRef, CFURLRef url, CFStringRef property, SInt32* errorCode) try {
    std::string path;
    CFIndex error = findPath(url, path);
    if (error == 0 && !isOfType(property, TypeID::String)) error = kCFURLImproperArgumentsError;
    const CFTypeRef value = error == 0 ? createProperty(path, property, error) : nullptr;
    finish(errorCode, error);
    return value;
} catch (const std::bad_alloc&) {
    finish(errorCode, kCFURLUnknownError);
    return nullptr;
}
