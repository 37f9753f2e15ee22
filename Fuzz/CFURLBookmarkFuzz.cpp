// Any bytes as a bookmark: what is read is written the same, its path leads down from the root, and the properties in
// it are read without looking at a file.

#include "CoreFoundation/Resource/BookmarkFormat.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    KXPlatform::Bookmark bookmark;
    const bool isOne = KXPlatform::readBookmark(bytes, bookmark);
    if (isOne) {
        require(KXPlatform::writeBookmark(bookmark) == bytes);
        require(bookmark.path.starts_with('/'));
        for (const std::string_view path : {std::string_view(bookmark.path), std::string_view(bookmark.relativePath)}) {
            require(path.find('\0') == std::string_view::npos && path.find("/../") == std::string_view::npos);
            require(!path.ends_with("/..") && path != ".." && !path.starts_with("../"));
        }
    }
    const CFDataRef given = CFDataCreate(nullptr, data, static_cast<CFIndex>(size));
    const void* keys[] = {kCFURLNameKey, kCFURLPathKey, kCFURLFileSizeKey};
    const CFArrayRef wanted = CFArrayCreate(nullptr, keys, 3, &kCFTypeArrayCallBacks);
    const CFDictionaryRef found = CFURLCreateResourcePropertiesForKeysFromBookmarkData(nullptr, wanted, given);
    require((found != nullptr) == isOne);
    const CFTypeRef name = CFURLCreateResourcePropertyForKeyFromBookmarkData(nullptr, kCFURLNameKey, given);
    for (const CFTypeRef made : {CFTypeRef(given), CFTypeRef(wanted), CFTypeRef(found), name})
        if (made) CFRelease(made);
    return 0;
}
