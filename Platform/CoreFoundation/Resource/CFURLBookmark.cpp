// Bookmarks: made of files, resolved to them, kept in files.

#include "BookmarkFormat.h"
#include "CFURLObject.h"
#include "FileBytes.h"
#include "FileFacts.h"
#include "URLErrors.h"

#include "Support/Folder.h"

#include <CoreFoundation/CFPropertyList.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

#include <fcntl.h>

using namespace KXPlatform;

namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;

std::int64_t creationOf(const struct statx& status) noexcept {
    return status.stx_mask & STATX_BTIME ? status.stx_btime.tv_sec * kNanoseconds + status.stx_btime.tv_nsec : 0;
}

bool isSameFile(const Bookmark& bookmark, const struct statx& status) noexcept {
    const std::int64_t created = creationOf(status);
    return status.stx_ino == bookmark.number && status.stx_dev_major == bookmark.deviceMajor &&
           status.stx_dev_minor == bookmark.deviceMinor &&
           (created == 0 || bookmark.created == 0 || created == bookmark.created);
}

/// A path without links, "." and "..", but for a link that the file is itself. Empty, with errno, where there is none.
std::string withoutLinks(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string_view name = std::string_view(path).substr(slash + 1);
    const bool isPlain = name != "." && name != ".." && !name.empty();
    const std::string folder = !isPlain ? path : slash == 0 ? "/" : path.substr(0, slash);
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(folder.c_str(), nullptr), &std::free);
    if (!real) return {};
    std::string out = real.get();
    if (!isPlain) return out;
    if (out != "/") out += '/';
    out += name;
    return out;
}

/// The values of properties as a property list of those that can stand in one.
std::string propertiesAsBytes(CFURLRef url, CFArrayRef keys) {
    const auto values =
        Retained<const __CFDictionary>::adopting(CFURLCopyResourcePropertiesForKeys(url, keys, nullptr));
    auto kept =
        Retained<__CFDictionary>::adopting(values ? CFDictionaryCreateMutableCopy(nullptr, 0, values.get()) : nullptr);
    if (!kept) return {};
    for (CFIndex i = 0; i < CFArrayGetCount(keys); ++i) {
        const void* const key = CFArrayGetValueAtIndex(keys, i);
        const void* const value = CFDictionaryGetValue(kept.get(), key);
        if (value && !CFPropertyListIsValid(value, kCFPropertyListBinaryFormat_v1_0))
            CFDictionaryRemoveValue(kept.get(), key);
    }
    const auto data = Retained<const __CFData>::adopting(
        CFPropertyListCreateData(nullptr, kept.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    if (!data) return {};
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
            static_cast<std::size_t>(CFDataGetLength(data.get()))};
}

using Dictionary = Retained<const __CFDictionary>;

/// The values kept in a bookmark; null where it holds none.
Dictionary propertiesOf(const Bookmark& bookmark) noexcept {
    const auto data = Retained<const __CFData>::adopting(
        CFDataCreateWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(bookmark.properties.data()),
                                    static_cast<CFIndex>(bookmark.properties.size()), kCFAllocatorNull));
    const auto list = Retained<const Object>::adopting(
        object(bookmark.properties.empty() || !data
                   ? nullptr
                   : CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr)));
    if (!list || !isOfType(list.get(), TypeID::Dictionary)) return {};
    return Dictionary::retaining(static_cast<CFDictionaryRef>(static_cast<CFTypeRef>(list.get())));
}

bool readData(CFDataRef data, Bookmark& bookmark) {
    return isOfType(data, TypeID::Data) && readBookmark({reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                                                         static_cast<std::size_t>(CFDataGetLength(data))},
                                                        bookmark);
}

/// The value of one property kept in a bookmark: name and path are always there.
Retained<const Object> valueIn(const Bookmark& bookmark, CFDictionaryRef properties, CFStringRef key) noexcept {
    if (const void* const kept = CFDictionaryGetValue(properties, key))
        return Retained<const Object>::retaining(object(kept));
    const bool isName = CFEqual(key, kCFURLNameKey);
    if (!isName && !CFEqual(key, kCFURLPathKey)) return {};
    std::string_view text = bookmark.path;
    if (isName && text.size() > 1) text.remove_prefix(text.rfind('/') + 1);
    return Retained<const Object>::adopting(
        object(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                       static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false)));
}

/// The path of the file of the bookmark's number in a folder; empty where there is none. Throws std::bad_alloc.
std::string findByNumber(const Bookmark& bookmark, const std::string& folder) {
    const Folder open = openFolder(folder.empty() ? "/" : folder.c_str());
    if (!open) return {};
    while (const dirent* const entry = nextEntry(open)) {
        if (entry->d_ino != bookmark.number) continue;
        struct statx status;
        if (::statx(::dirfd(open.get()), entry->d_name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME,
                    &status) == 0 &&
            isSameFile(bookmark, status))
            return folder + "/" + entry->d_name;
    }
    return {};
}

struct Found {
    std::string path;
    bool isDirectory = false;
    bool isStale = false;
    int error = ENOENT;
};

/// Where the file of a bookmark is now; an empty path where it is not. `base` is the folder it is relative to, or
/// empty.
Found findFile(const Bookmark& bookmark, const std::string& base) {
    Found found;
    const bool isRelative = !base.empty() && !bookmark.relativePath.empty();
    const std::string expected = isRelative ? (base == "/" ? "" : base) + "/" + bookmark.relativePath : bookmark.path;
    const auto take = [&](std::string path, bool isSame) {
        FileFacts file(std::move(path));
        if (!file.status()) {
            found.error = file.error();
            return false;
        }
        found.isStale = !isSame || !isSameFile(bookmark, *file.status());
        found.isDirectory = file.isOfType(S_IFDIR);
        found.path = file.path();
        return true;
    };
    const auto takeByNumber = [&] {
        std::string path = findByNumber(bookmark, expected.substr(0, expected.rfind('/')));
        if (path.empty()) return false;
        const bool isExpected = path == expected;
        return take(std::move(path), isExpected);
    };
    if (bookmark.prefersNumber) {
        takeByNumber() || take(expected, true);
    } else {
        take(expected, true) || takeByNumber();
    }
    return found;
}

}  // namespace

CFDataRef CFURLCreateBookmarkData(CFAllocatorRef allocator, CFURLRef url, CFURLBookmarkCreationOptions options,
                                  CFArrayRef resourcePropertiesToInclude, CFURLRef relativeToURL,
                                  CFErrorRef* error) try {
    if (error) *error = nullptr;
    if (!checked(url) || (resourcePropertiesToInclude && !isOfType(resourcePropertiesToInclude, TypeID::Array)))
        return nullptr;
    std::string path, base;
    if (!filePath(url, path) || (relativeToURL && (!checked(relativeToURL) || !filePath(relativeToURL, base)))) {
        reportFileError(error, ReadUnsupportedScheme, url);
        return nullptr;
    }
    std::string plain = withoutLinks(path);
    FileFacts file(plain.empty() ? path : std::move(plain));
    if (!file.status()) {
        reportFileError(error, readErrorOf(file.error()), url, file.error());
        return nullptr;
    }
    const struct statx& status = *file.status();
    Bookmark bookmark;
    bookmark.isDirectory = S_ISDIR(status.stx_mode);
    bookmark.prefersNumber = (options & kCFURLBookmarkCreationPreferFileIDResolutionMask) != 0;
    bookmark.deviceMajor = status.stx_dev_major;
    bookmark.deviceMinor = status.stx_dev_minor;
    bookmark.number = status.stx_ino;
    bookmark.created = creationOf(status);
    bookmark.path = file.path();
    base = base.empty() ? base : withoutLinks(base);
    const std::string below = base == "/" ? base : base + "/";
    if (!base.empty() && bookmark.path.starts_with(below)) bookmark.relativePath = bookmark.path.substr(below.size());
    if (resourcePropertiesToInclude) bookmark.properties = propertiesAsBytes(url, resourcePropertiesToInclude);
    const std::string bytes = writeBookmark(bookmark);
    if (bytes.size() > kLargestBookmark) {
        reportFileError(error, ReadUnknown, url, EFBIG);
        return nullptr;
    }
    return CFDataCreate(allocator, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
} catch (const std::bad_alloc&) {
    reportFileError(error, ReadUnknown, url, ENOMEM);
    return nullptr;
}

CFURLRef CFURLCreateByResolvingBookmarkData(CFAllocatorRef allocator, CFDataRef bookmark,
                                            CFURLBookmarkResolutionOptions /* nothing is asked, nothing mounted */,
                                            CFURLRef relativeToURL, CFArrayRef resourcePropertiesToInclude,
                                            Boolean* isStale, CFErrorRef* error) try {
    if (isStale) *isStale = false;
    if (error) *error = nullptr;
    if (relativeToURL && !checked(relativeToURL)) return nullptr;
    Bookmark read;
    if (!readData(bookmark, read)) {
        reportFileError(error, ReadCorruptFile, nullptr);
        return nullptr;
    }
    std::string base;
    if (relativeToURL && !filePath(relativeToURL, base)) {
        reportFileError(error, ReadUnsupportedScheme, relativeToURL);
        return nullptr;
    }
    const Found found = findFile(read, base);
    if (found.path.empty()) {
        const auto url = URL::adopting(createFileURL(nullptr, read.path, read.isDirectory, nullptr));
        reportFileError(error, found.error == ENOENT || found.error == ENOTDIR ? NoSuchFile : readErrorOf(found.error),
                        url.get(), found.error);
        return nullptr;
    }
    if (isStale) *isStale = found.isStale;
    auto url = URL::adopting(createFileURL(allocator, found.path, found.isDirectory, nullptr));
    const Dictionary properties = propertiesOf(read);
    const bool wantsProperties = url && properties && isOfType(resourcePropertiesToInclude, TypeID::Array);
    for (CFIndex i = 0; wantsProperties && i < CFArrayGetCount(resourcePropertiesToInclude); ++i) {
        const auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(resourcePropertiesToInclude, i));
        const void* const value = isOfType(key, TypeID::String) ? CFDictionaryGetValue(properties.get(), key) : nullptr;
        if (value) CFURLSetTemporaryResourcePropertyForKey(url.get(), key, value);
    }
    return url.release();
} catch (const std::bad_alloc&) {
    reportFileError(error, ReadUnknown, nullptr, ENOMEM);
    return nullptr;
}

CFDictionaryRef CFURLCreateResourcePropertiesForKeysFromBookmarkData(CFAllocatorRef allocator,
                                                                     CFArrayRef resourcePropertiesToReturn,
                                                                     CFDataRef bookmark) try {
    Bookmark read;
    if (!isOfType(resourcePropertiesToReturn, TypeID::Array) || !readData(bookmark, read)) return nullptr;
    const Dictionary properties = propertiesOf(read);
    const CFMutableDictionaryRef made =
        CFDictionaryCreateMutable(allocator, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (CFIndex i = 0; i < CFArrayGetCount(resourcePropertiesToReturn); ++i) {
        const auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(resourcePropertiesToReturn, i));
        if (!isOfType(key, TypeID::String)) continue;
        if (const auto value = valueIn(read, properties.get(), key)) CFDictionarySetValue(made, key, value.get());
    }
    return made;
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFTypeRef CFURLCreateResourcePropertyForKeyFromBookmarkData(CFAllocatorRef, CFStringRef resourcePropertyKey,
                                                            CFDataRef bookmark) try {
    Bookmark read;
    if (!isOfType(resourcePropertyKey, TypeID::String) || !readData(bookmark, read)) return nullptr;
    const Dictionary properties = propertiesOf(read);
    return valueIn(read, properties.get(), resourcePropertyKey).release();
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFDataRef CFURLCreateBookmarkDataFromFile(CFAllocatorRef allocator, CFURLRef fileURL, CFErrorRef* errorRef) try {
    if (errorRef) *errorRef = nullptr;
    if (!checked(fileURL)) return nullptr;
    std::string path, bytes;
    if (!filePath(fileURL, path)) {
        reportFileError(errorRef, ReadUnsupportedScheme, fileURL);
        return nullptr;
    }
    const int cause = readFile(path, kLargestBookmark, bytes);
    Bookmark read;
    if (cause != 0 && cause != EFBIG) {
        reportFileError(errorRef, readErrorOf(cause), fileURL, cause);
        return nullptr;
    }
    if (cause != 0 || !readBookmark(bytes, read)) {
        reportFileError(errorRef, ReadCorruptFile, fileURL);
        return nullptr;
    }
    return CFDataCreate(allocator, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
} catch (const std::bad_alloc&) {
    reportFileError(errorRef, ReadUnknown, fileURL, ENOMEM);
    return nullptr;
}

Boolean CFURLWriteBookmarkDataToFile(CFDataRef bookmarkRef, CFURLRef fileURL,
                                     CFURLBookmarkFileCreationOptions /* none is defined */, CFErrorRef* errorRef) try {
    if (errorRef) *errorRef = nullptr;
    if (!checked(fileURL)) return false;
    Bookmark read;
    std::string path;
    if (!readData(bookmarkRef, read)) {
        reportFileError(errorRef, ReadCorruptFile, fileURL);
        return false;
    }
    if (!filePath(fileURL, path)) {
        reportFileError(errorRef, WriteUnsupportedScheme, fileURL);
        return false;
    }
    const int cause = replaceFile(path, {reinterpret_cast<const char*>(CFDataGetBytePtr(bookmarkRef)),
                                         static_cast<std::size_t>(CFDataGetLength(bookmarkRef))});
    if (cause != 0) reportFileError(errorRef, writeErrorOf(cause), fileURL, cause);
    return cause == 0;
} catch (const std::bad_alloc&) {
    reportFileError(errorRef, WriteUnknown, fileURL, ENOMEM);
    return false;
}

CFDataRef CFURLCreateBookmarkDataFromAliasRecord(CFAllocatorRef, CFDataRef) { return nullptr; }
