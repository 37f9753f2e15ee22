#include "StoreContents.h"

#include "Status.h"

#include <SystemConfiguration/SCDynamicStore.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace KXPlatform {
namespace {

/// Bytes of the past that a file may hold beside as many as it has of the present.
constexpr std::size_t kSlack = std::size_t{64} << 10;

/// How much is read at once.
constexpr std::size_t kChunk = std::size_t{64} << 10;

/// Reads up to `size` bytes; what it returns is shorter at the file's end.
std::string readAt(int file, off_t offset, std::size_t size) {
    std::string bytes(size, '\0');
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::pread(file, bytes.data() + done, size - done, offset + static_cast<off_t>(done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
}

std::size_t sizeOfChange(std::size_t keySize, std::size_t valueSize) { return kChangeHeadSize + keySize + valueSize; }

}  // namespace

/// Gives parts of a file, of which it reads more than it is asked for.
class StoreContents::Reader {
  public:
    Reader(int file, off_t size) noexcept : file_(file), size_(size) {}

    /// `count` bytes at `offset`, until the next call; fewer when the file is shorter.
    std::string_view at(off_t offset, std::size_t count) {
        if (offset >= size_) return {};
        const std::size_t rest = static_cast<std::size_t>(size_ - offset);
        count = std::min(count, rest);
        if (offset < start_ || offset + static_cast<off_t>(count) > start_ + static_cast<off_t>(chunk_.size())) {
            chunk_ = readAt(file_, offset, std::min(std::max(count, kChunk), rest));
            start_ = offset;
        }
        return std::string_view(chunk_).substr(static_cast<std::size_t>(offset - start_), count);
    }

  private:
    const int file_;
    const off_t size_;
    off_t start_ = 0;
    std::string chunk_;
};

bool StoreContents::isAppendable() const noexcept {
    const auto size = static_cast<std::size_t>(tail_.end);
    return isReadable_ && tail_.end >= stateEnd() && size <= kSlack + 2 * live_;
}

bool StoreContents::isOf(const struct stat& status) const noexcept {
    return file_ && status.st_dev == tail_.device && status.st_ino == tail_.inode;
}

off_t StoreContents::stateEnd() const noexcept { return static_cast<off_t>(kHeaderSize + header_.stateSize); }

int StoreContents::update(int folder, News& news) {
    struct stat found;
    if (folder < 0 || ::fstatat(folder, kFileName, &found, AT_SYMLINK_NOFOLLOW) != 0) {
        if (folder >= 0 && errno != ENOENT) return statusOfErrno(errno);
        if (!file_) return kSCStatusOK;
        for (const auto& [key, entry] : index_) news.keys.push_back(key);
        news.isLost = true;
        *this = StoreContents();
        return kSCStatusOK;
    }
    if (!isOf(found) || found.st_size < tail_.end) return open(folder, news);
    if (found.st_size > tail_.end) readOn(found.st_size, &news);
    return kSCStatusOK;
}

int StoreContents::open(int folder, News& news) {
    struct stat status;
    if (file_ && ::fstat(file_->get(), &status) == 0) readOn(status.st_size, &news);

    StoreContents next;
    Descriptor file(::openat(folder, kFileName, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    if (!file || ::fstat(file.get(), &status) != 0) return statusOfErrno(errno);
    if (!S_ISREG(status.st_mode)) return kSCStatusFailed;
    next.file_ = std::make_shared<const Descriptor>(std::move(file));
    next.tail_ = {status.st_dev, status.st_ino, 0};
    if (const auto header = decodeHeader(readAt(next.file_->get(), 0, kHeaderSize))) {
        next.header_ = *header;
        next.isReadable_ = true;
        next.sequence_ = header->sequence;
        next.tail_.end = kHeaderSize;
        next.readOn(std::min(status.st_size, next.stateEnd()), nullptr);
    }
    const bool goesOn = isReadable_ ? next.header_.identity == header_.identity && next.header_.sequence == sequence_
                                    : !file_ && next.header_.sequence == 0;
    if (!goesOn) {
        for (const Index* const index : {&index_, &next.index_}) {
            for (const auto& [key, entry] : *index) news.keys.push_back(key);
        }
        news.isLost = true;
    }
    *this = std::move(next);
    if (isReadable_) readOn(status.st_size, &news);
    return kSCStatusOK;
}

void StoreContents::readOn(off_t size, News* news) {
    if (!isReadable_) return;
    Reader reader(file_->get(), size);
    for (;;) {
        const auto length = decodeBatchSize(reader.at(tail_.end, kBatchHeadSize));
        if (!length) return;
        const auto changes = decodeBatch(reader.at(tail_.end, kBatchHeadSize + *length));
        if (!changes) return;
        const off_t next = tail_.end + static_cast<off_t>(kBatchHeadSize + *length);
        const bool isState = tail_.end < stateEnd();
        if (isState && next > stateEnd()) return;
        off_t at = tail_.end + static_cast<off_t>(kBatchHeadSize);
        for (const StoreChange& change : *changes) {
            take(change, at + static_cast<off_t>(kChangeHeadSize + change.key.size()), isState ? nullptr : news);
            at += static_cast<off_t>(sizeOfChange(change.key.size(), change.value.size()));
        }
        // Only now: what memory was refused for is read once more, and comes to the same.
        tail_.end = next;
        if (!isState) ++sequence_;
    }
}

void StoreContents::take(const StoreChange& change, off_t offset, News* news) {
    using Kind = StoreChange::Kind;
    if (news && change.kind != Kind::Shown) news->keys.emplace_back(change.key);
    if (change.kind == Kind::Notice) return;
    auto found = index_.find(change.key);
    if (change.kind == Kind::Gone || change.kind == Kind::Shown) {
        if (found == index_.end()) return;
        live_ -= sizeOfChange(change.key.size(), found->second.size);
        index_.erase(found);
        return;
    }
    if (found == index_.end()) {
        found = index_.emplace(change.key, Entry()).first;
    } else {
        live_ -= sizeOfChange(change.key.size(), found->second.size);
    }
    found->second = {change.kind == Kind::Hidden, offset, change.value.size()};
    live_ += sizeOfChange(change.key.size(), change.value.size());
}

std::string readValue(const Descriptor& file, const StoreContents::Entry& entry) {
    std::string bytes = readAt(file.get(), entry.offset, entry.size);
    return bytes.size() == entry.size ? bytes : std::string();
}

}  // namespace KXPlatform
