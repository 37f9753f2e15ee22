#include "StreamDatabase.h"

#include <KXCoreLib/StreamStorage.h>

#include <uuid/uuid.h>
#include <algorithm>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KXCore {

using CoreFoundation::DataRef;
using CoreFoundation::ErrorRef;
using CoreFoundation::PropertyListRef;

namespace {

using IndirectionPtr = boost::intrusive_ptr<SQLiteSessionIndirection>;
using SessionPtr = boost::intrusive_ptr<SQLiteSession>;

IndirectionPtr makeIndirection(SQLiteSession* session) {
    return {new SQLiteSessionIndirection(session), /*add_ref=*/false};
}

/// The part of an XML property list that is stored: what follows its declaration and document type.
std::string_view storedPart(std::string_view xml) noexcept {
    const std::size_t start = xml.find("<plist");
    return start == std::string_view::npos ? xml : xml.substr(start);
}

/// Items read in one go and not handed out yet, each as its id, its length, its bytes and padding to 8 bytes.
class Batch {
  public:
    /// The largest number of bytes that one batch may fill.
    static constexpr std::uint64_t kBudget = 260096;

    struct Record {
        unsigned long long id;
        const unsigned char* bytes;
        std::size_t length;
    };

    bool empty() const noexcept { return bytes_.empty(); }
    bool atEnd() const noexcept { return position_ == kNone; }

    /// Empties the batch and keeps its memory.
    void clear() noexcept {
        bytes_.clear();
        position_ = kNone;
    }

    /// Takes all its memory, so that filling it cannot fail half-way.
    void reserve() { bytes_.reserve(kBudget); }

    bool fits(std::size_t length) const noexcept {
        const std::uint64_t size = sizeOf(length);
        return size <= kBudget && bytes_.size() <= kBudget - size;
    }

    /// The item must fit, and the memory be there.
    void append(unsigned long long id, std::span<const unsigned char> bytes) noexcept {
        const Head head{id, bytes.size()};
        const std::size_t end = bytes_.size() + sizeOf(bytes.size());
        const auto* const first = reinterpret_cast<const unsigned char*>(&head);
        bytes_.insert(bytes_.end(), first, first + sizeof head);
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        bytes_.resize(end);
        if (atEnd()) position_ = 0;
    }

    /// The next record, which must be there; it stays where it is until the batch is cleared.
    Record next() noexcept {
        Head head;
        std::memcpy(&head, bytes_.data() + position_, sizeof head);
        const Record record{head.id, bytes_.data() + position_ + sizeof head, head.length};
        position_ += sizeOf(head.length);
        if (position_ >= bytes_.size()) position_ = kNone;
        return record;
    }

  private:
    struct Head {
        std::uint64_t id;
        std::uint64_t length;
    };

    static constexpr std::uint64_t kNone = ~std::uint64_t{0};

    static std::uint64_t sizeOf(std::uint64_t length) noexcept {
        return (length + sizeof(Head) + 7) & ~std::uint64_t{7};
    }

    std::vector<unsigned char> bytes_;
    std::uint64_t position_ = kNone;
};

class SQLiteStreamCursor final : public StreamCursor {
  public:
    SQLiteStreamCursor(IndirectionPtr indirection, StreamCursorKind kind, unsigned long long start_id)
        : indirection_(std::move(indirection)), kind_(kind), next_id_(rowIDOf(start_id)) {}

    unsigned long long getNextItem(const __CFAllocator* allocator, PropertyListRef& item) override {
        while (true) {
            if (batch_.atEnd()) refill();
            if (batch_.atEnd()) return 0;
            const Batch::Record record = batch_.next();
            // The bytes are parsed where they lie; the item does not refer to them once it is made.
            const DataRef data = DataRef::createWithBytesNoCopy(allocator, record.bytes,
                                                                static_cast<CFIndex>(record.length), kCFAllocatorNull);
            ErrorRef error;
            item = PropertyListRef::createWithData(allocator, data.get(), kCFPropertyListImmutable, nullptr, &error);
            if (item) return record.id;
        }
    }

  private:
    void refill() {
        batch_.clear();
        if (next_id_ == 0) return;
        const SessionPtr session = indirection_->session();
        next_id_ = session ? fetch(*session) : 0;
    }

    /// Fills the batch from `next_id_` on, and returns the id at which the next one begins; 0 when there is none.
    sqlite3_int64 fetch(SQLiteSession& session) {
        SQLiteStatement* const statement = selectOf(session);
        if (!statement) return 0;
        batch_.reserve();
        const SQLiteExclusiveDatabaseLock lock(session.db);
        const SQLiteStatementUse select(*statement);
        select->bindID(next_id_);
        while (select->step() == SQLITE_ROW) {
            const sqlite3_int64 id = select->columnID(0);
            const std::span<const unsigned char> bytes = select->columnBytes(1);
            if (batch_.fits(bytes.size())) {
                batch_.append(static_cast<unsigned long long>(id), bytes);
            } else if (!batch_.empty()) {
                return isFurther(id) ? id : 0;
            }
            // What is larger than a whole batch is passed over.
        }
        return 0;
    }

    /// Every batch begins further on than the one before it. Only in a table that somebody else made, whose ids are no
    /// whole numbers, may it not: there the cursor ends rather than go round in circles.
    bool isFurther(sqlite3_int64 id) const noexcept {
        return kind_ == StreamCursorForward ? id > next_id_ : id < next_id_;
    }

    SQLiteStatement* selectOf(SQLiteSession& session) const noexcept {
        switch (kind_) {
            case StreamCursorForward:
                return &session.selectForward;
            case StreamCursorBackward:
                return &session.selectBackward;
        }
        return nullptr;
    }

    const IndirectionPtr indirection_;
    const StreamCursorKind kind_;
    sqlite3_int64 next_id_;  ///< signed, as SQLite counts: a file made elsewhere may hold ids below 0
    Batch batch_;
};

}  // namespace

StreamCursor::~StreamCursor() = default;

class StreamStorageImpl : boost::noncopyable {
  public:
    explicit StreamStorageImpl(const char* path) : path_(path), indirection_(makeIndirection(nullptr)) {}
    ~StreamStorageImpl() { indirection_->invalidate(); }

    void openStorage(StreamMode mode) {
        // Appends that are pending are lost now in any case. Left to the end, a large transaction would hold the file
        // locked, and the new session would take it for one that cannot be used.
        if (hasPendingAppends()) closeStorage();
        install(SQLiteSession::open(path_.c_str(), mode).get());
    }
    void closeStorage() { install(nullptr); }
    void resetStorage() {}

    IndirectionPtr getSessionIndirection() {
        const boost::unique_lock<boost::mutex> lock(mutex_);
        return indirection_;
    }

  private:
    bool hasPendingAppends() {
        const SessionPtr session = getSessionIndirection()->session();
        if (!session) return false;
        const SQLiteExclusiveDatabaseLock lock(session->db);
        return session->db.inTransaction();
    }

    void install(SQLiteSession* session) {
        // Declared before the lock, so that the old indirection goes after it: closing a database may take a while.
        IndirectionPtr indirection = makeIndirection(session);
        const boost::unique_lock<boost::mutex> lock(mutex_);
        indirection_.swap(indirection);
    }

    const std::string path_;
    boost::mutex mutex_;
    IndirectionPtr indirection_;
};

StreamStorage::StreamStorage(const char* path, const FileAttributes&) : impl_(new StreamStorageImpl(path)) {}

StreamStorage::~StreamStorage() = default;

void StreamStorage::openStorage(StreamMode mode) { impl_->openStorage(mode); }

void StreamStorage::appendItem(const void* item, double) {
    const DataRef data = PropertyListRef::createData(kCFAllocatorDefault, item, kCFPropertyListXMLFormat_v1_0, 0);
    const std::string_view stored =
        storedPart({reinterpret_cast<const char*>(data.getBytePtr()), static_cast<std::size_t>(data.getLength())});

    const SessionPtr session = impl_->getSessionIndirection()->session();
    if (!session) return;
    const SQLiteExclusiveDatabaseLock lock(session->db);
    if (!session->db.inTransaction()) {
        session->begin.reset();
        session->begin.step();
    }
    const SQLiteStatementUse insert(session->insert);
    if (insert->bindBytes(stored.data(), stored.size())) insert->step();
}

void StreamStorage::syncStorage() { impl_->getSessionIndirection()->commitChanges(); }

unsigned long long StreamStorage::getFirstItemID() {
    return impl_->getSessionIndirection()->getMinMaxItemID(SQLiteSessionIndirection::Minimum);
}

unsigned long long StreamStorage::getLastItemID() {
    return impl_->getSessionIndirection()->getMinMaxItemID(SQLiteSessionIndirection::Maximum);
}

StreamCursor* StreamStorage::createStreamCursor(StreamCursorKind kind, unsigned long long start_id, unsigned char*) {
    return new SQLiteStreamCursor(impl_->getSessionIndirection(), kind, start_id);
}

void StreamStorage::discardItemsWithIDLessThanOrEqualTo(unsigned long long id) {
    if (id == 0) return;
    const SessionPtr session = impl_->getSessionIndirection()->session();
    if (!session) return;
    const SQLiteExclusiveDatabaseLock lock(session->db);
    {
        const SQLiteStatementUse remove(session->remove);
        remove->bindID(rowIDOf(id));
        remove->step();
    }
    SQLiteSessionIndirection::commitTransactionLocked(session.get());
}

unsigned long long StreamStorage::getIDOfLastItemExceedingStorageQuota(long long) { return 0; }

unsigned long long StreamStorage::getIDOfLastExpiredItem(double) { return 0; }

void StreamStorage::getStreamUUID(unsigned char* uuid) { uuid_clear(uuid); }

void StreamStorage::resetStorage() { impl_->resetStorage(); }

void StreamStorage::closeStorage() { impl_->closeStorage(); }

}  // namespace KXCore
