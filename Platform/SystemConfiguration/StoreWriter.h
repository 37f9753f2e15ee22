#pragma once

// Writing the store's file.
//
// Whoever changes the store holds its lock: a POSIX lock on the file `lock`, which belongs to the process and not to
// the descriptor. It ends with the process, and a child that was forked while it was held has no part in it. Within the
// process such a lock keeps nobody out, and closing any descriptor of the file gives it up; so the caller keeps writers
// of one process apart.

#include "StoreContents.h"
#include "StoreFormat.h"

#include "Support/Descriptor.h"

#include <string_view>

namespace KXPlatform {

enum class Wait { No, Yes };

class StoreLock {
  public:
    /// Takes the lock of the store in `folder`; without waiting it may be refused with EAGAIN.
    StoreLock(int folder, Wait wait) noexcept;

    explicit operator bool() const noexcept { return error_ == 0; }
    /// Why it could not be had.
    int error() const noexcept { return error_; }

  private:
    Descriptor file_;
    int error_ = 0;
};

// With the lock held, and everything read that is in the file. Each returns a status; unless it is success, nothing has
// been changed.

/// Writes a batch to the end of the file, over what a writer that died has left there.
int appendBatch(int folder, const StoreContents::Tail& tail, std::string_view batch);

/// Replaces the file by one with the same contents and the batch, and nothing of the past.
int rewriteWithBatch(int folder, const StoreContents& contents, std::string_view batch);

}  // namespace KXPlatform
