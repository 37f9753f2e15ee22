#include "StreamDatabase.h"

#include "Log.h"

#include <unistd.h>

namespace KXCore {
namespace {

constexpr const char* kSource = "KXCoreLib/StreamStorageSQLite";

constexpr const char* kCreateTable = "CREATE TABLE IF NOT EXISTS stream01 (id INTEGER PRIMARY KEY, attributes BLOB)";

/// How long an operation waits, in milliseconds, for another connection that holds the file locked: a commit of a
/// session that is being replaced, or another process. Without it, opening would give up a file in which somebody just
/// commits, and an append, a commit or a read at that moment would be lost without a word.
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

bool SQLiteDatabase::createTable() noexcept {
    char* message = nullptr;
    if (sqlite3_exec(handle_, kCreateTable, nullptr, nullptr, &message) == SQLITE_OK) return true;
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

// ---- SQLiteSession

boost::intrusive_ptr<SQLiteSession> SQLiteSession::open(const char* path, StreamMode mode) {
    try {
        return {new SQLiteSession(path, mode), /*add_ref=*/false};
    } catch (const SQLiteStatement::PrepareFailed&) {
        FatalExit(kSource, 281);
    }
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
    const SQLiteExclusiveDatabaseLock lock(session->db);
    commitTransactionLocked(session.get());
}

void SQLiteSessionIndirection::commitTransactionLocked(SQLiteSession* session) noexcept {
    if (!session || !session->db.inTransaction()) return;
    session->commit.reset();
    session->commit.step();
}

unsigned long long SQLiteSessionIndirection::getMinMaxItemID(int which) {
    const boost::intrusive_ptr<SQLiteSession> session = this->session();
    if (!session) return 0;
    const SQLiteExclusiveDatabaseLock lock(session->db);
    const SQLiteStatementUse select(which == Minimum ? session->selectMinimum : session->selectMaximum);
    return select->step() == SQLITE_ROW ? static_cast<unsigned long long>(select->columnID(0)) : 0;
}

}  // namespace KXCore
