#pragma once

// What the system says of one file, each asked once and when it is wanted. A symbolic link is looked at itself.

#include "MountTable.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace KXPlatform {

class FileFacts {
  public:
    explicit FileFacts(std::string path) noexcept : path_(std::move(path)) {}

    const std::string& path() const noexcept { return path_; }
    /// "/" of the root.
    std::string_view name() const noexcept;

    /// Null where the file cannot be looked at, and error() says why.
    const struct statx* status() noexcept;
    int error() const noexcept { return error_; }
    bool isOfType(mode_t type) noexcept { return status() && (status()->stx_mode & S_IFMT) == type; }

    /// Null where the system does not say. The second throws std::bad_alloc.
    const struct statvfs* volume() noexcept;
    const Mount* mount();

    /// The extension of the name; empty where there is none.
    std::string_view extension() const noexcept;
    /// A directory that is shown as one file.
    bool isPackage() noexcept;

  private:
    const std::string path_;
    std::optional<struct statx> status_;
    std::optional<struct statvfs> volume_;
    std::vector<Mount> mounts_;
    const Mount* mount_ = nullptr;
    int error_ = 0;
    bool isMountKnown_ = false;
};

}  // namespace KXPlatform
