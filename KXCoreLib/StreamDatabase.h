#pragma once

// The SQLite file under a stream: the open connection with its statements, and the handle through which a storage and
// its cursors reach it. docs/stream-file.md tells what the file holds.
//
// A session lives while its indirection or an operation in flight holds it. Its statements are shared by all threads:
// whoever uses one holds the connection's own mutex from its reset to its last column (SQLiteExclusiveDatabaseLock).

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

/// An id that a caller gives, as SQLite counts: what is beyond its largest stands above every row.
constexpr sqlite3_int64 rowIDOf(unsigned long long id) noexcept {
    constexpr sqlite3_int64 largest = std::numeric_limits<sqlite3_int64>::max();
    return id < static_cast<unsigned long long>(largest) ? static_cast<sqlite3_int64>(id) : largest;
}

/// One open connection with its statements, prepared in this order.
struct SQLiteSession : atomic_refcounted {
    SQLiteSession(const char* path, StreamMode mode) : db(path, mode) {}

    /// Opens a session, or ends the process. The caller holds its one reference.
    static boost::intrusive_ptr<SQLiteSession> open(const char* path, StreamMode mode);

    SQLiteDatabase db;
    SQLiteStatement begin{db, "BEGIN TRANSACTION"};
    SQLiteStatement commit{db, "COMMIT TRANSACTION"};
    SQLiteStatement insert{db, "INSERT INTO stream01 (attributes) VALUES (?)"};
    SQLiteStatement remove{db, "DELETE FROM stream01 WHERE id<=?"};
    SQLiteStatement selectMinimum{db, "SELECT min(id) FROM stream01"};
    SQLiteStatement selectMaximum{db, "SELECT max(id) FROM stream01"};
    SQLiteStatement selectForward{db, "SELECT id, attributes FROM stream01 WHERE id>=? ORDER BY id"};
    SQLiteStatement selectBackward{db, "SELECT id, attributes FROM stream01 WHERE id<=? ORDER BY id DESC"};
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
    /// For a caller that holds the exclusive lock. Nothing when `session` is null or no transaction is open.
    static void commitTransactionLocked(SQLiteSession* session) noexcept;

    /// 0 when the table is empty or there is no session.
    unsigned long long getMinMaxItemID(int which);

  private:
    detail::atomic_invalidateable_ref_impl session_;
    SQLiteSession* raw_session_;
};

}  // namespace KXCore
