#pragma once

// The bytes of a bookmark. Numbers are little-endian; a text is its length in 4 bytes and its bytes:
//
//     "KXBOOKMK"
//     4  version: 1
//     4  flags: 1 = a directory, 2 = look for the number of the file before its path
//     4  major and
//     4  minor number of the device
//     8  number of the file
//     8  nanoseconds since 1970 when it was made; 0: not known
//     text  path: begins with "/"; no zero byte, no "." or ".." in it
//     text  path below the directory that the bookmark is relative to; empty: to none
//     text  values of properties, a binary property list; empty: none
//
// Nothing follows. What is read may come from anybody: every length is checked before it is used.

#include <cstdint>
#include <string>
#include <string_view>

namespace KXPlatform {

struct Bookmark {
    bool isDirectory = false;
    bool prefersNumber = false;
    std::uint32_t deviceMajor = 0;
    std::uint32_t deviceMinor = 0;
    std::uint64_t number = 0;
    std::int64_t created = 0;
    std::string path;
    std::string relativePath;
    std::string properties;
};

constexpr std::size_t kLargestBookmark = 1 << 20;

/// Throws std::bad_alloc.
std::string writeBookmark(const Bookmark& bookmark);

/// False for bytes that are no bookmark. Throws std::bad_alloc.
bool readBookmark(std::string_view bytes, Bookmark& bookmark);

}  // namespace KXPlatform
