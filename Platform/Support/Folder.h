#pragma once

// An open directory that is closed at the end of its scope.

#include <dirent.h>

#include <cstring>
#include <memory>

namespace KXPlatform {

struct FolderCloser {
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};

/// Null where it could not be opened.
using Folder = std::unique_ptr<DIR, FolderCloser>;

inline Folder openFolder(const char* path) noexcept { return Folder(::opendir(path)); }

/// The next entry but "." and ".."; null behind the last one, and with errno set on a failure.
inline const dirent* nextEntry(const Folder& folder) noexcept {
    const dirent* entry;
    do {
        entry = ::readdir(folder.get());
    } while (entry && (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0));
    return entry;
}

}  // namespace KXPlatform
