#include "StoreWriter.h"

#include "Status.h"

#include <SystemConfiguration/SCDynamicStore.h>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace KXPlatform {
namespace {

constexpr const char* kLockName = "lock";
constexpr const char* kNewName = "contents.new";

/// Of the state in a new file, so much is one batch.
constexpr std::size_t kStateBatch = std::size_t{1} << 20;

/// Writes all of `bytes`; false with errno set.
bool writeAt(int file, off_t offset, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(file, bytes.data(), bytes.size(), offset);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
        offset += count;
    }
    return true;
}

/// A number that no other store has.
bool makeIdentity(std::uint64_t& identity) noexcept {
    ssize_t count;
    do {
        count = ::getrandom(&identity, sizeof identity, 0);
    } while (count < 0 && errno == EINTR);
    return count == sizeof identity;
}

/// Writes a new file's state batch by batch.
class StateWriter {
  public:
    StateWriter(int file, off_t offset) noexcept : file_(file), begin_(offset), end_(offset) {}

    bool add(const StoreChange& change) {
        encodeChange(change, changes_);
        return changes_.size() < kStateBatch || flush();
    }
    bool flush() {
        if (changes_.empty()) return true;
        const std::string batch = encodeBatch(changes_);
        if (!writeAt(file_, end_, batch)) return false;
        end_ += static_cast<off_t>(batch.size());
        changes_.clear();
        return true;
    }
    off_t end() const noexcept { return end_; }
    std::uint64_t size() const noexcept { return static_cast<std::uint64_t>(end_ - begin_); }

  private:
    const int file_;
    const off_t begin_;
    off_t end_;
    std::string changes_;
};

bool writeState(StateWriter& state, const StoreContents& contents) {
    using Kind = StoreChange::Kind;
    for (const auto& [key, entry] : contents.index()) {
        const std::string value = readValue(*contents.file(), entry);
        if (value.size() != entry.size) {
            errno = EIO;
            return false;
        }
        if (!state.add({entry.isHidden ? Kind::Hidden : Kind::Value, key, value})) return false;
    }
    return state.flush();
}

bool writeFile(int file, const StoreContents& contents, std::string_view batch) {
    StoreHeader header{contents.identity(), contents.sequence(), 0};
    if (!contents.hasIdentity() && !makeIdentity(header.identity)) return false;
    StateWriter state(file, kHeaderSize);
    if (!writeState(state, contents) || !writeAt(file, state.end(), batch)) return false;
    header.stateSize = state.size();
    return writeAt(file, 0, encodeHeader(header));
}

}  // namespace

StoreLock::StoreLock(int folder, Wait wait) noexcept
    // Not to be opened by others: who can open a file can lock it, and keep every writer waiting.
    : file_(::openat(folder, kLockName, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600)) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (!file_) {
        error_ = errno;
        return;
    }
    while (::fcntl(file_.get(), wait == Wait::Yes ? F_SETLKW : F_SETLK, &lock) != 0) {
        if (errno == EINTR) continue;
        error_ = errno;
        return;
    }
}

int appendBatch(int folder, const StoreContents::Tail& tail, std::string_view batch) {
    const Descriptor file(
        ::openat(folder, StoreContents::kFileName, O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat status;
    if (!file || ::fstat(file.get(), &status) != 0) return statusOfErrno(errno);
    if (status.st_dev != tail.device || status.st_ino != tail.inode) return kSCStatusFailed;
    if (status.st_size > tail.end && ::ftruncate(file.get(), tail.end) != 0) return statusOfErrno(errno);
    if (writeAt(file.get(), tail.end, batch)) return kSCStatusOK;
    const int error = errno;
    // A part of a batch counts for nothing wherever it stays; the room is given back.
    [[maybe_unused]] const int ignored = ::ftruncate(file.get(), tail.end);
    return statusOfErrno(error);
}

int rewriteWithBatch(int folder, const StoreContents& contents, std::string_view batch) {
    ::unlinkat(folder, kNewName, 0);  // left by a writer that died
    Descriptor file(::openat(folder, kNewName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0644));
    if (!file) return statusOfErrno(errno);
    // The mode whatever the umask left of it.
    if (::fchmod(file.get(), 0644) == 0 && writeFile(file.get(), contents, batch) && file.close() &&
        ::renameat(folder, kNewName, folder, StoreContents::kFileName) == 0)
        return kSCStatusOK;
    const int error = errno;
    ::unlinkat(folder, kNewName, 0);
    return statusOfErrno(error);
}

}  // namespace KXPlatform
