#include "StreamDatabase.h"

#include "Log.h"

#include <unistd.h>
#include <algorithm>
#include <iterator>

namespace KXCore {
namespace {

constexpr const char* kSource = "KXCoreLib/StreamStorageSQLite";

/// How long an operation waits, in milliseconds, for another connection that holds the file locked. Without it, opening
/// would delete a file in which somebody just commits, and an append, a commit or a read at that moment would be
/// silently dropped.
constexpr int kPatience = 1000;

int flagsOf(StreamMode mode) noexcept {
    switch (mode) {
        case StreamModeReadOnly:
            return SQLITE_OPEN_READONLY;
        case StreamModeReadWrite:
            return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    }
    return 0;
}

void logCreateFailed(const char* message) noexcept {
    LogLine("SQLiteDatabase::SQLiteDatabase failed to create new sqlite file (%s)\n", message);
}

}  // namespace

// ---- SQLiteDatabase

SQLiteDatabase::SQLiteDatabase(const char* path, StreamMode mode) {
    int flags = flagsOf(mode);
    if (!open(path, flags)) {
        LogLine("SQLiteDatabase::SQLiteDatabase failed to open an existing sqlite file (%s), removing the file %s\n",
                sqlite3_errmsg(handle_), path);
        close();
        ::unlink(path);
        flags |= SQLITE_OPEN_CREATE;
        if (!open(path, flags)) {
            logCreateFailed(sqlite3_errmsg(handle_));
            FatalExit(kSource, 179);
        }
    }

    if ((flags & SQLITE_OPEN_READWRITE) == 0 || createTable()) return;

    close();
    ::unlink(path);
    if (!open(path, flags | SQLITE_OPEN_CREATE)) {
        logCreateFailed(sqlite3_errmsg(handle_));
        FatalExit(kSource, 199);
    }
    if (!createTable()) FatalExit(kSource, 209);
}

SQLiteDatabase::~SQLiteDatabase() { close(); }

bool SQLiteDatabase::open(const char* path, int flags) noexcept {
    if (sqlite3_open_v2(path, &handle_, flags | SQLITE_OPEN_FULLMUTEX, nullptr) != SQLITE_OK) return false;
    sqlite3_busy_timeout(handle_, kPatience);
    return true;
}

void SQLiteDatabase::close() noexcept {
    // Also after a failed open, which leaves a handle that only tells why.
    sqlite3_close(handle_);
    handle_ = nullptr;
}

bool SQLiteDatabase::keepsReadersOut() const noexcept {
    int level = SQLITE_LOCK_NONE;
    sqlite3_file_control(handle_, "main", SQLITE_FCNTL_LOCKSTATE, &level);
    return level > SQLITE_LOCK_RESERVED;
}

bool SQLiteDatabase::createTable() noexcept {
    char* message = nullptr;
    if (sqlite3_exec(handle_, StreamSchema::kCreateTable, nullptr, nullptr, &message) == SQLITE_OK) return true;
    LogLine("SQLiteDatabase::SQLiteDatabase failed to init database (%s)\n", message ? message : "");
    sqlite3_free(message);
    return false;
}

// ---- SQLiteExclusiveDatabaseLock

SQLiteExclusiveDatabaseLock::SQLiteExclusiveDatabaseLock(SQLiteDatabase& database)
    : mutex_(sqlite3_db_mutex(database.handle())) {
    // Only an SQLite that was built without mutexes has none, and its connections cannot be shared.
    if (!mutex_) FatalExit(kSource, 250);
    sqlite3_mutex_enter(mutex_);
}

SQLiteExclusiveDatabaseLock::~SQLiteExclusiveDatabaseLock() { sqlite3_mutex_leave(mutex_); }

// ---- SQLiteStatement

SQLiteStatement::SQLiteStatement(SQLiteDatabase& database, const char* sql) {
    if (sqlite3_prepare_v2(database.handle(), sql, -1, &handle_, nullptr) != SQLITE_OK) throw PrepareFailed();
}

SQLiteStatement::~SQLiteStatement() { sqlite3_finalize(handle_); }

bool SQLiteStatement::bindBytes(const void* bytes, std::size_t length) noexcept {
    // A null destructor tells SQLite that the bytes are static: it makes no copy.
    return sqlite3_bind_blob64(handle_, 1, bytes, length, nullptr) == SQLITE_OK;
}

std::span<const unsigned char> SQLiteStatement::columnBytes(int column) noexcept {
    // In this order: asking for the bytes may convert the value, and its length is that of what came of it. Null also
    // when there was no memory for that.
    const auto* const bytes = static_cast<const unsigned char*>(sqlite3_column_blob(handle_, column));
    if (!bytes) return {};
    return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle_, column))};
}

// ---- Patience

bool Patience::wait() noexcept {
    // Most locks are held for a commit's few milliseconds, some for a slow disk's hundreds.
    constexpr int delays[] = {1, 2, 5, 10, 15, 20, 25, 25, 25, 50, 50, 100};
    if (waited_ >= kPatience) return false;
    const int delay = delays[std::min(tries_++, std::size(delays) - 1)];
    sqlite3_sleep(delay);
    // What was asked for counts, not the clock: a process that was stopped meanwhile still tries again.
    waited_ += delay;
    return true;
}

// ---- SQLiteSession

boost::intrusive_ptr<SQLiteSession> SQLiteSession::open(const char* path, StreamMode mode) {
    try {
        boost::intrusive_ptr<SQLiteSession> session(new SQLiteSession(path, mode), /*add_ref=*/false);
        sqlite3_busy_timeout(session->db.handle(), 0);  // from here on callers wait, without the connection's mutex
        return session;
    } catch (const SQLiteStatement::PrepareFailed&) {
        FatalExit(kSource, 281);
    }
}

int SQLiteSession::append(const void* bytes, std::size_t length) noexcept {
    const bool begins = !db.inTransaction();
    if (begins) {
        begin.reset();
        begin.step();
    }
    int code = SQLITE_NOMEM;
    {
        const SQLiteStatementUse row(insert);
        if (row->bindBytes(bytes, length)) code = row->step();
    }
    if (begins && code != SQLITE_DONE) rollback();
    return code;
}

int SQLiteSession::discardThrough(unsigned long long id) noexcept {
    {
        const SQLiteStatementUse rows(remove);
        rows->bindID(rowIDOf(id));
        if (rows->step() == SQLITE_BUSY) return SQLITE_BUSY;
    }
    return SQLiteSessionIndirection::commitTransactionLocked(this);
}

void SQLiteSession::rollback() noexcept {
    // A failed write may have done so already.
    if (db.inTransaction()) sqlite3_exec(db.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

// ---- SQLiteSessionIndirection

boost::intrusive_ptr<SQLiteSession> SQLiteSessionIndirection::session() const {
    // The counted reference vouches for the session's life; the plain pointer knows its type.
    const boost::intrusive_ptr<atomic_refcounted> held(session_.get_pointer(), /*add_ref=*/false);
    return held ? boost::intrusive_ptr<SQLiteSession>(raw_session_) : nullptr;
}

void SQLiteSessionIndirection::invalidate() {
    if (!session()) return;
    commitChanges();
    session_.invalidate();
}

void SQLiteSessionIndirection::commitChanges() {
    const boost::intrusive_ptr<SQLiteSession> session = this->session();
    if (!session) return;
    withPatience([&] {
        const SQLiteExclusiveDatabaseLock lock(session->db);
        // What was pending in a session that was replaced is lost, and only there for its cursors.
        return session->replaced ? SQLITE_OK : commitTransactionLocked(session.get());
    });
}

int SQLiteSessionIndirection::commitTransactionLocked(SQLiteSession* session) noexcept {
    if (!session || !session->db.inTransaction()) return SQLITE_OK;
    return SQLiteStatementUse(session->commit)->step();
}

int SQLiteSessionIndirection::getMinMaxItemIDLocked(SQLiteSession& session, int which,
                                                    unsigned long long& id) noexcept {
    const SQLiteStatementUse select(which == Minimum ? session.selectMinimum : session.selectMaximum);
    const int code = select->step();
    id = code == SQLITE_ROW ? static_cast<unsigned long long>(select->columnID(0)) : 0;
    return code;
}

}  // namespace KXCore
