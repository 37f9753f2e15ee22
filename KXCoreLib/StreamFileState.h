#pragma once

// What stands at a stream's path, before anybody opens it: for a program that must know whether the library would find
// a working stream there, or delete and replace what it finds.

#include "StreamError.h"

#include <sys/types.h>

#include <optional>
#include <string>

namespace KXCore {

struct StreamFileState {
    /// No value: a stream that can be read now.
    std::optional<StreamError::Kind> fault;
    std::string reason;  ///< of the fault

    bool exists = false;
    bool isLink = false;  ///< the path is a symbolic link; what follows is of the file that it leads to
    uid_t owner = 0;
    gid_t group = 0;
    mode_t mode = 0;  ///< type and permissions, as stat(2) has them
    long long size = 0;

    /// What another process holds, the strongest first; this process's own locks do not show.
    enum class Lock {
        None,
        Reading,    ///< it reads at this moment
        Writing,    ///< it has a change pending: readers may read, other writers must wait
        Exclusive,  ///< it keeps readers out: it commits, or waits for readers to end
    };
    Lock lock = Lock::None;
    pid_t holder = 0;  ///< who holds it; -1 when the system cannot tell

    bool isStream() const noexcept { return exists && !fault; }
};

/// Looks at `path`, and waits for nothing. Changes nothing on the disk, whatever stands there. Opens and closes the
/// file: SQLite's locks belong to the process and go when any descriptor of the file is closed, so this process must
/// not have the stream open.
StreamFileState stateOfStreamFile(const std::string& path);

}  // namespace KXCore
