#include "StreamFileState.h"

#include "StreamInspector.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

namespace KXCore {
namespace {

using Lock = StreamFileState::Lock;

// The bytes that SQLite locks on every system (https://www.sqlite.org/src/file/src/os.h): one for a commit, which keeps
// new readers out until it is done, one for the writer, and some that each reader shares.
constexpr off_t kPendingByte = 0x40000000;
constexpr off_t kReservedByte = kPendingByte + 1;
constexpr off_t kSharedFirst = kPendingByte + 2;
constexpr off_t kSharedSize = 510;

/// A lock of another process that keeps this one from locking the bytes for itself alone; l_type is F_UNLCK for none.
struct flock lockOn(int file, off_t start, off_t length) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    if (fcntl(file, F_GETLK, &lock) != 0) lock.l_type = F_UNLCK;
    return lock;
}

void setLock(StreamFileState& state, int file) {
    const struct flock shared = lockOn(file, kSharedFirst, kSharedSize);
    const struct flock pending = lockOn(file, kPendingByte, 1);
    const struct flock reserved = lockOn(file, kReservedByte, 1);
    const auto found = [&state](Lock lock, const struct flock& by) {
        state.lock = lock;
        state.holder = by.l_pid;
    };
    if (pending.l_type == F_WRLCK) return found(Lock::Exclusive, pending);
    if (reserved.l_type == F_WRLCK) return found(Lock::Writing, reserved);
    if (shared.l_type != F_UNLCK) return found(Lock::Reading, shared);
}

}  // namespace

StreamFileState stateOfStreamFile(const std::string& path) {
    StreamFileState state;
    struct stat status;
    state.isLink = lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    if (stat(path.c_str(), &status) == 0) {
        state.exists = true;
        state.owner = status.st_uid;
        state.group = status.st_gid;
        state.mode = status.st_mode;
        state.size = status.st_size;
        if (S_ISREG(status.st_mode)) {
            const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
            if (file >= 0) {
                setLock(state, file);
                close(file);
            }
        }
    }
    try {
        const StreamInspector look(path, std::chrono::milliseconds(0));
    } catch (const StreamError& error) {
        state.fault = error.kind();
        state.reason = error.reason();
    }
    return state;
}

}  // namespace KXCore
