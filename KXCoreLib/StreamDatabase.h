#pragma once

// The SQLite file under a stream: the open connection with its statements, and the handle through which a storage and
// its cursors reach it. docs/stream-file.md tells what the file holds.
//
// A session lives while its indirection or an operation in flight holds it. Its statements are shared by all threads:
// whoever uses one holds the connection's own mutex from its reset to its last column (SQLiteExclusiveDatabaseLock).
//
// Another connection, of this process or of another, may hold the file locked. Opening waits for it inside SQLite.
// Afterwards no wait happens under the connection's mutex, where it would stall every other thread: an operation
// returns SQLITE_BUSY, its caller leaves the mutex and tries again later (withPatience).

#include "StreamSchema.h"

#include <KXCoreLib/Atomic.h>
#include <KXCoreLib/StreamStorage.h>

#include <sqlite3.h>
#include <boost/core/noncopyable.hpp>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <limits>
#include <span>

namespace KXCore {

/// An open connection.
class SQLiteDatabase : boost::noncopyable {
  public:
    /// Opens, repairs by deleting and making anew, and makes the table where the mode lets it. Ends the process when a
    /// working file cannot be had.
    SQLiteDatabase(const char* path, StreamMode mode);
    ~SQLiteDatabase();

    sqlite3* handle() const noexcept { return handle_; }
    bool inTransaction() const noexcept { return sqlite3_get_autocommit(handle_) == 0; }
    /// Whether this connection's lock on the file keeps other connections from reading: a commit waits for its readers
    /// to end, or a transaction became too large for memory.
    bool keepsReadersOut() const noexcept;

  private:
    bool open(const char* path, int flags) noexcept;
    void close() noexcept;
    bool createTable() noexcept;

    sqlite3* handle_ = nullptr;
};

/// Holds the connection's own mutex, which is recursive.
class SQLiteExclusiveDatabaseLock : boost::noncopyable {
  public:
    explicit SQLiteExclusiveDatabaseLock(SQLiteDatabase& database);
    ~SQLiteExclusiveDatabaseLock();

  private:
    sqlite3_mutex* mutex_;
};

/// A prepared statement.
class SQLiteStatement : boost::noncopyable {
  public:
    /// What the constructor throws; caught where the session is made, after the statements before it are gone.
    struct PrepareFailed {};

    SQLiteStatement(SQLiteDatabase& database, const char* sql);
    ~SQLiteStatement();

    void reset() noexcept { sqlite3_reset(handle_); }
    int step() noexcept { return sqlite3_step(handle_); }
    void clearBindings() noexcept { sqlite3_clear_bindings(handle_); }

    bool bindID(sqlite3_int64 id) noexcept { return sqlite3_bind_int64(handle_, 1, id) == SQLITE_OK; }
    /// Binds bytes that stay where they are until the statement was stepped.
    bool bindBytes(const void* bytes, std::size_t length) noexcept;

    sqlite3_int64 columnID(int column) noexcept { return sqlite3_column_int64(handle_, column); }
    /// The bytes of a column, whatever its type; they stay until the next step.
    std::span<const unsigned char> columnBytes(int column) noexcept;

  private:
    sqlite3_stmt* handle_ = nullptr;
};

/// One use of a statement by a caller that holds the exclusive lock. However it ends, the statement is reset, as one
/// that stays in the middle of its rows keeps the file locked, and no longer refers to what was bound.
class SQLiteStatementUse : boost::noncopyable {
  public:
    explicit SQLiteStatementUse(SQLiteStatement& statement) noexcept : statement_(statement) { statement_.reset(); }
    ~SQLiteStatementUse() {
        statement_.reset();
        statement_.clearBindings();
    }
    SQLiteStatement* operator->() const noexcept { return &statement_; }

  private:
    SQLiteStatement& statement_;
};

/// The largest id that a row can have.
constexpr unsigned long long kLargestID = std::numeric_limits<sqlite3_int64>::max();

/// An id that a caller gives, as SQLite counts: one that no row can have stands for the largest.
constexpr sqlite3_int64 rowIDOf(unsigned long long id) noexcept {
    return static_cast<sqlite3_int64>(id < kLargestID ? id : kLargestID);
}

/// Spaces out the tries of an operation that finds the file locked.
class Patience {
  public:
    /// Sleeps until the next try; false when the caller has waited long enough, about a second.
    bool wait() noexcept;

  private:
    std::size_t tries_ = 0;
    int waited_ = 0;
};

/// Calls `attempt` until it returns something else than SQLITE_BUSY, or patience is at its end. Between two calls the
/// caller must hold no lock.
template <typename Attempt>
void withPatience(Attempt attempt) {
    Patience patience;
    while (attempt() == SQLITE_BUSY && patience.wait()) {
    }
}

/// One open connection with its statements, prepared in this order. The operations are for a caller that holds the
/// exclusive lock; they return SQLITE_BUSY when another connection holds the file locked, and can then be called again.
struct SQLiteSession : atomic_refcounted {
    SQLiteSession(const char* path, StreamMode mode) : db(path, mode) {}

    /// Opens a session, or ends the process. The caller holds its one reference.
    static boost::intrusive_ptr<SQLiteSession> open(const char* path, StreamMode mode);

    /// Adds a row. A refused one leaves no transaction open that it began: the next read in it would keep the file
    /// locked against the commit that is waited for.
    int append(const void* bytes, std::size_t length) noexcept;
    /// Deletes the rows up to `id` and commits.
    int discardThrough(unsigned long long id) noexcept;
    /// Takes back what was not committed.
    void rollback() noexcept;

    SQLiteDatabase db;
    SQLiteStatement begin{db, StreamSchema::kBegin};
    SQLiteStatement commit{db, StreamSchema::kCommit};
    SQLiteStatement insert{db, StreamSchema::kInsert};
    SQLiteStatement remove{db, StreamSchema::kDelete};
    SQLiteStatement selectMinimum{db, StreamSchema::kSelectMinimum};
    SQLiteStatement selectMaximum{db, StreamSchema::kSelectMaximum};
    SQLiteStatement selectForward{db, StreamSchema::kSelectForward};
    SQLiteStatement selectBackward{db, StreamSchema::kSelectBackward};

    /// Another session took this one's place, or the storage was closed: only cursors use it any more. Guarded by the
    /// exclusive lock.
    bool replaced = false;
};

/// The way to a session that may be cut off. Without a session it stands for a closed storage.
class SQLiteSessionIndirection : public atomic_refcounted {
  public:
    /// What getMinMaxItemID() is asked for.
    enum Which : int { Minimum = 1, Maximum = 2 };

    /// Takes a reference to `session`, or stands for a closed storage when it is null.
    explicit SQLiteSessionIndirection(SQLiteSession* session) : session_(session), raw_session_(session) {}

    /// Commits and gives the session up; from then on there is none.
    virtual void invalidate();

    /// The session, held; null when there is none.
    boost::intrusive_ptr<SQLiteSession> session() const;

    void commitChanges();
    /// For a caller that holds the exclusive lock. Nothing when `session` is null or no transaction is open. Returns
    /// SQLITE_BUSY when another connection reads the file; the transaction then stays open.
    static int commitTransactionLocked(SQLiteSession* session) noexcept;

    /// For a caller that holds the exclusive lock. `id` becomes 0 when the table is empty or cannot be read.
    static int getMinMaxItemIDLocked(SQLiteSession& session, int which, unsigned long long& id) noexcept;

  private:
    detail::atomic_invalidateable_ref_impl session_;
    SQLiteSession* raw_session_;
};

}  // namespace KXCore
