#pragma once

// A file that is made for a stream and deleted again unless it was kept.

#include "StreamError.h"

#include <sys/types.h>

#include <string>

namespace KXCore {

class NewFile {
  public:
    /// Makes the empty file at `path`. Throws a StreamError when something stands there or it cannot be made.
    NewFile(const std::string& path, mode_t mode);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void keep() noexcept { kept_ = true; }

  private:
    const std::string path_;
    bool kept_ = false;
};

/// The permissions that a copy of the file at `path` gets: who may not read the file must not read its copy either.
mode_t modeOfCopy(const std::string& path) noexcept;

}  // namespace KXCore
