#pragma once

// A stream that another process keeps locked, as it stood on the disk at one moment: its bytes and its journal are
// copied without any lock, and what the journal says is taken back in the copy. The rules of StreamInspector.h hold
// here too.

#include "StreamInspector.h"
#include "StreamMaintenance.h"

#include <optional>
#include <string>

namespace KXCore {

class StreamSnapshot {
  public:
    /// Copies the stream at `path` to a folder of its own below the one for temporary files. Throws a StreamError of
    /// kind Locked when the file changes all the time.
    explicit StreamSnapshot(const std::string& path);
    ~StreamSnapshot();
    StreamSnapshot(const StreamSnapshot&) = delete;
    StreamSnapshot& operator=(const StreamSnapshot&) = delete;

    const StreamInspector& inspector() const noexcept { return copy_->inspector(); }

  private:
    std::string folder_;
    std::optional<StreamMaintenance> copy_;
};

}  // namespace KXCore
