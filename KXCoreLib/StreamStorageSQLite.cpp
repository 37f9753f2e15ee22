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
        : indirection_(std::move(indirection)), kind_(kind), next_id_(firstIDOf(kind, start_id)) {}

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
    /// Where the first fetch begins; 0, the end, for a start beyond every row.
    static sqlite3_int64 firstIDOf(StreamCursorKind kind, unsigned long long start_id) noexcept {
        return kind == StreamCursorForward && start_id > kLargestID ? 0 : rowIDOf(start_id);
    }

    void refill() {
        batch_.clear();
        const sqlite3_int64 start = std::exchange(next_id_, 0);
        if (start == 0) return;
        const SessionPtr session = indirection_->session();
        SQLiteStatement* const select = session ? selectOf(*session) : nullptr;
        if (!select) return;
        batch_.reserve();
        withPatience([&] {
            const SQLiteExclusiveDatabaseLock lock(session->db);
            return fetch(*select, start);
        });
    }

    /// Fills the batch from `start` on and sets where the next one begins, if there is one. Returns SQLITE_BUSY when
    /// the file is locked, with the batch still empty.
    int fetch(SQLiteStatement& statement, sqlite3_int64 start) noexcept {
        const SQLiteStatementUse select(statement);
        select->bindID(start);
        int code;
        while ((code = select->step()) == SQLITE_ROW) {
            const sqlite3_int64 id = select->columnID(0);
            const std::span<const unsigned char> bytes = select->columnBytes(1);
            if (batch_.fits(bytes.size())) {
                batch_.append(static_cast<unsigned long long>(id), bytes);
            } else if (!batch_.empty()) {
                if (isFurther(id, start)) next_id_ = id;
                break;
            }
            // What is larger than a whole batch is passed over.
        }
        return code;
    }

    /// Every batch begins further on than the one before it. Only in a table that somebody else made, whose ids are no
    /// whole numbers, may it not: there the cursor ends rather than go round in circles.
    bool isFurther(sqlite3_int64 id, sqlite3_int64 start) const noexcept {
        return kind_ == StreamCursorForward ? id > start : id < start;
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
        replaceSession([&] { return SQLiteSession::open(path_.c_str(), mode); });
    }
    void closeStorage() {
        replaceSession([] { return SessionPtr(); });
    }
    void resetStorage() {}

    IndirectionPtr getSessionIndirection() {
        const boost::unique_lock<boost::mutex> lock(mutex_);
        return indirection_;
    }

    /// Calls `operation` with the current session, under its exclusive lock, and again while it returns SQLITE_BUSY;
    /// not at all when the storage is closed. An operation that waited while the storage was opened again goes to the
    /// new session.
    template <typename Operation>
    void withSession(Operation operation) {
        withPatience([&] {
            while (const SessionPtr session = getSessionIndirection()->session()) {
                const SQLiteExclusiveDatabaseLock lock(session->db);
                if (!session->replaced) return operation(*session);
            }
            return SQLITE_OK;
        });
    }

    unsigned long long getMinMaxItemID(int which) {
        unsigned long long id = 0;
        withSession([&](SQLiteSession& session) {
            return SQLiteSessionIndirection::getMinMaxItemIDLocked(session, which, id);
        });
        return id;
    }

  private:
    /// Puts what `make` returns, null for a closed storage, in the place of the current session. Operations beside it
    /// wait meanwhile: none finds the storage closed that is open before and after, none works on a session that lost
    /// its place, and none holds the file locked that `make` opens.
    template <typename Make>
    void replaceSession(Make make) {
        while (true) {
            const IndirectionPtr indirection = getSessionIndirection();
            const SessionPtr session = indirection->session();
            if (!session) {
                if (install(makeIndirection(make().get()), indirection)) return;
                continue;
            }
            const SQLiteExclusiveDatabaseLock lock(session->db);
            if (session->replaced) continue;
            // What is pending goes with the session, and cursors made before go on reading it until then. Only where it
            // keeps readers out as well it goes now: `make` would take the file for one that cannot be used.
            if (session->db.keepsReadersOut()) session->rollback();
            install(makeIndirection(make().get()), indirection);
            session->replaced = true;
            return;
        }
    }

    /// Whether `old` was still the current indirection, and `indirection` took its place.
    bool install(IndirectionPtr indirection, const IndirectionPtr& old) {
        const boost::unique_lock<boost::mutex> lock(mutex_);
        if (indirection_ != old) return false;
        indirection_ = std::move(indirection);
        return true;
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

    impl_->withSession([&](SQLiteSession& session) { return session.append(stored.data(), stored.size()); });
}

void StreamStorage::syncStorage() { impl_->getSessionIndirection()->commitChanges(); }

unsigned long long StreamStorage::getFirstItemID() { return impl_->getMinMaxItemID(SQLiteSessionIndirection::Minimum); }

unsigned long long StreamStorage::getLastItemID() { return impl_->getMinMaxItemID(SQLiteSessionIndirection::Maximum); }

StreamCursor* StreamStorage::createStreamCursor(StreamCursorKind kind, unsigned long long start_id, unsigned char*) {
    return new SQLiteStreamCursor(impl_->getSessionIndirection(), kind, start_id);
}

void StreamStorage::discardItemsWithIDLessThanOrEqualTo(unsigned long long id) {
    if (id == 0) return;
    impl_->withSession([&](SQLiteSession& session) { return session.discardThrough(id); });
}

unsigned long long StreamStorage::getIDOfLastItemExceedingStorageQuota(long long) { return 0; }

unsigned long long StreamStorage::getIDOfLastExpiredItem(double) { return 0; }

void StreamStorage::getStreamUUID(unsigned char* uuid) { uuid_clear(uuid); }

void StreamStorage::resetStorage() { impl_->resetStorage(); }

void StreamStorage::closeStorage() { impl_->closeStorage(); }

}  // namespace KXCore
