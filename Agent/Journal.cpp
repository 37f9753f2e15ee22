#include "Journal.h"

#include "Report.h"

#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <StreamFileState.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <limits>
#include <system_error>

namespace agent {

using namespace KXCore;
using namespace KXCore::CoreFoundation;
using Kind = StreamError::Kind;

namespace {

constexpr std::chrono::milliseconds kPatience{100};

/// What stays free on the disk for the journal of a discard: without it a full stream could not even be emptied.
constexpr long long kHeadroom = 48 << 10;
/// For the pages that an append changes beside those of its items.
constexpr long long kAppendOverhead = 8 << 10;

/// What an item takes in the file at most: Base64 in lines with the tags around it, in pages that are half full.
long long roomFor(const Record& record) { return 2 * (static_cast<long long>(record.bytes.size()) * 7 / 5 + 128); }

std::string nameOf(uid_t uid) {
    const passwd* const user = getpwuid(uid);
    return user ? user->pw_name : "the user " + std::to_string(uid);
}

/// A relative name that begins with "file:" would be a URI to SQLite.
std::string plainName(const std::string& path) { return path.starts_with('/') ? path : "./" + path; }

/// The bytes of an item that is data.
std::vector<unsigned char> bytesOf(CFTypeRef item) {
    if (CFGetTypeID(item) != DataRef::getTypeID()) return {};
    return DataRef::retain(static_cast<CFDataRef>(item)).copyStdVector();
}

unsigned long long firstOf(const std::optional<long long>& id) { return static_cast<unsigned long long>(*id); }

std::vector<unsigned char> bytesOf(const std::string& stored) {
    const auto data =
        DataRef::create(nullptr, reinterpret_cast<const UInt8*>(stored.data()), static_cast<CFIndex>(stored.size()));
    ErrorRef error;
    const auto item = PropertyListRef::createWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, &error);
    return item ? bytesOf(item.get()) : std::vector<unsigned char>();
}

}  // namespace

Journal::Journal(std::string path) : path_(plainName(path)), storage_(path_.c_str(), FileAttributes()) {}

// ---- Opening

std::optional<Journal::Identity> Journal::identityOnDisk() const {
    struct stat status {};
    if (lstat(path_.c_str(), &status) != 0) return std::nullopt;
    return Identity(status.st_dev, status.st_ino);
}

/// What belongs to somebody else is left alone; of our own, nobody else may read.
void Journal::checkOwner() const {
    struct stat status {};
    if (lstat(path_.c_str(), &status) != 0) return;
    if (S_ISLNK(status.st_mode)) throw StreamError(Kind::NotAFile, path_, "is a symbolic link");
    if (!S_ISREG(status.st_mode)) throw StreamError(Kind::NotAFile, path_, "is not a regular file");
    if (status.st_uid != geteuid()) {
        throw StreamError(Kind::NotAllowed, path_,
                          "belongs to " + nameOf(status.st_uid) + ", and this is " + nameOf(geteuid()));
    }
    if ((status.st_mode & 07777) == 0600) return;
    if (chmod(path_.c_str(), 0600) != 0) {
        throw StreamError(Kind::NotAllowed, path_,
                          "cannot be kept from others: " + std::generic_category().message(errno));
    }
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(status.st_mode & 07777));
    report(path_ + ": its mode was " + mode + " and is 0600 now");
}

void Journal::make() const {
    const int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (file < 0 && errno != EEXIST) {
        throw StreamError(errno == EACCES || errno == ENOENT ? Kind::NotAllowed : Kind::Failed, path_,
                          "cannot be made: " + std::generic_category().message(errno));
    }
    if (file >= 0) ::close(file);
    StreamMaintenance::makeTable(path_);
}

void Journal::open() {
    const std::lock_guard lock(mutex_);
    if (isOpen_) return;
    file_.reset();
    checkOwner();
    if (StreamMaintenance::hasRoom(path_)) make();
    file_.emplace(path_, kPatience);
    // A file that is locked at this moment would be taken for one that cannot be used.
    const StreamInspector::Hold hold(file_->inspector());
    storage_.openStorage(StreamModeReadWrite);
    identity_ = identityOnDisk();
    isOpen_ = true;
}

/// Takes back what was not committed.
void Journal::close() {
    storage_.closeStorage();
    file_.reset();
    isOpen_ = false;
}

// ---- Storing

/// How many of the records there is room for.
std::size_t Journal::fitting(std::span<const Record> records) const {
    const StreamInspector::Space space = file_->inspector().space();
    struct statvfs disk {};
    long long room = std::numeric_limits<long long>::max();
    if (statvfs(path_.c_str(), &disk) == 0) {
        const auto blocks = static_cast<long long>(geteuid() == 0 ? disk.f_bfree : disk.f_bavail);
        room = space.freeBytes + std::max(blocks * static_cast<long long>(disk.f_frsize) - kHeadroom, 0LL);
    }
    const bool isLimited = maximumSize_ != 0 && maximumSize_ - space.usedBytes < room;
    if (isLimited) room = maximumSize_ - space.usedBytes;
    room -= kAppendOverhead;
    std::size_t count = 0;
    while (count < records.size() && (room -= roomFor(records[count])) >= 0) ++count;
    if (count != 0) return count;
    throw NotStored(isLimited ? "the stream has reached its size limit of " + std::to_string(maximumSize_) + " bytes"
                              : "the disk is full");
}

/// Whether these records stand in the file from the id `first` on. The ids of one transaction have no gaps: when both
/// ends are there, so is all between.
bool Journal::holds(unsigned long long first, std::span<const Record> records) const {
    const auto holdsOne = [this](unsigned long long id, const Record& record) {
        const std::optional<std::string> item = file_->inspector().item(static_cast<long long>(id));
        return item && bytesOf(*item) == record.bytes;
    };
    return holdsOne(first, records.front()) && holdsOne(first + records.size() - 1, records.back());
}

std::size_t Journal::store(std::span<const Record> records, const std::function<void(std::size_t)>& stored) {
    if (records.empty()) return 0;
    try {
        open();
        const std::lock_guard lock(mutex_);
        if (doubt_) {
            // Given again: they are there, or the transaction was taken back.
            const Doubt doubt = *doubt_;
            const bool is = holds(doubt.first, records.first(doubt.count));
            doubt_.reset();
            if (is) return finish(records.first(doubt.count), stored);
        }
        file_->awaitWriters();
        records = records.first(fitting(records));

        const unsigned long long before = storage_.getLastItemID();
        for (const Record& record : records) {
            storage_.appendItem(DataRef::createWithStdVector(nullptr, record.bytes).get(), 0);
            // With the first one the file is ours until the sync; another process may have come before it.
            if (&record == &records.front() && storage_.getLastItemID() != before + 1) failToStore();
        }
        const unsigned long long last = storage_.getLastItemID();
        if (last != before + records.size()) failToStore();
        storage_.syncStorage();

        doubt_ = Doubt{before + 1, records.size()};
        if (!holds(doubt_->first, records)) {
            doubt_.reset();
            failToStore();
        }
        doubt_.reset();
        if (identityOnDisk() != identity_) failToStore(records.size());
        return finish(records, stored);
    } catch (const StreamError& error) {
        const std::lock_guard lock(mutex_);
        // A sync that waits for a reader keeps the file locked: only when it is taken back is it known what is there.
        if (isOpen_) close();
        std::string why = error.reason();
        if (error.kind() == Kind::Locked) {
            if (const pid_t holder = stateOfStreamFile(path_).holder; holder > 0) {
                why += " (process " + std::to_string(holder) + ")";
            }
        }
        if (doubt_) throw InDoubt(why);
        throw NotStored(why);
    }
}

std::size_t Journal::finish(std::span<const Record> records, const std::function<void(std::size_t)>& stored) {
    stored(records.size());
    return records.size();
}

/// Takes back what is pending; the library does not tell why it failed. In a file that was removed under us the records
/// that nobody will read are lost, but for the `committed` ones, which are given again.
void Journal::failToStore(std::size_t committed) {
    const bool isRemoved = identityOnDisk() != identity_;
    storage_.closeStorage();
    if (isRemoved) {
        const StreamInspector& left = file_->inspector();
        if (const auto first = left.firstID()) {
            lost_ += static_cast<std::uint64_t>(*left.lastID() - *first + 1) - committed;
        }
    }
    close();
    throw NotStored(isRemoved ? "its file was removed or replaced"
                              : "the records were not taken: the disk is full, or another process came between");
}

// ---- Reading

std::vector<Journal::Item> Journal::readFrom(StreamCursorKind kind, unsigned long long start, std::size_t most) {
    std::vector<Item> items;
    const std::unique_ptr<StreamCursor> cursor(storage_.createStreamCursor(kind, start, nullptr));
    PropertyListRef item;
    while (items.size() < most) {
        const unsigned long long id = cursor->getNextItem(nullptr, item);
        if (id == 0) break;
        items.push_back({id, bytesOf(item.get())});
    }
    return items;
}

std::vector<Journal::Item> Journal::read(unsigned long long after, std::size_t most) {
    const std::lock_guard lock(mutex_);
    const unsigned long long first = isOpen_ ? storage_.getFirstItemID() : 0;
    if (first == 0) return {};
    return readFrom(StreamCursorForward, std::max(first, after + 1), most);
}

std::vector<std::vector<unsigned char>> Journal::lastOnes(std::size_t most) {
    const std::lock_guard lock(mutex_);
    std::vector<std::vector<unsigned char>> records;
    if (!isOpen_) return records;
    for (Item& item : readFrom(StreamCursorBackward, storage_.getLastItemID(), most)) {
        records.push_back(std::move(item.bytes));
    }
    return records;
}

bool Journal::discardThrough(unsigned long long id) {
    const std::lock_guard lock(mutex_);
    if (!isOpen_) return false;
    try {
        std::optional<long long> first = file_->inspector().firstID();
        // The more is discarded at once, the more room that takes beside the file.
        for (unsigned long long through = id; first && firstOf(first) <= id;) {
            storage_.discardItemsWithIDLessThanOrEqualTo(through);
            const unsigned long long begin = firstOf(first), atOnce = through - begin;
            first = file_->inspector().firstID();
            if (!first || firstOf(first) > id) return true;
            if (firstOf(first) != begin) {
                through = std::min(id, firstOf(first) + atOnce);
            } else if (atOnce == 0) {
                return false;
            } else {
                through = begin + atOnce / 2;
            }
        }
        return true;
    } catch (const StreamError&) {
        return false;  // locked: it is not known, and tried again
    }
}

}  // namespace agent
