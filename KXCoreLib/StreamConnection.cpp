#include "StreamConnection.h"

#include "StreamSchema.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace KXCore {
namespace {

using Kind = StreamError::Kind;

constexpr std::size_t kHeaderSize = 100;

std::string systemReason(int code) { return std::generic_category().message(code); }

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw StreamError(Kind::NotAStream, path, "not a stream: " + reason);
}

[[noreturn]] void failSystem(const std::string& path, int code) {
    const Kind kind = code == ENOENT || code == ENOTDIR ? Kind::Missing
                      : code == EACCES                  ? Kind::NotAllowed
                                                        : Kind::Failed;
    throw StreamError(kind, path, systemReason(code));
}

/// The name under which SQLite opens exactly this file: none of the names that mean something else to it.
std::string plainName(const std::string& path) { return path.starts_with('/') ? path : "./" + path; }

/// Refuses what is no database, and one whose journal SQLite would make files for by reading alone.
void checkHeader(const std::string& path, std::string_view header) {
    constexpr std::string_view kMagic("SQLite format 3\0", 16);
    constexpr std::size_t kReadVersion = 19;
    if (header.empty()) throw StreamError(Kind::Empty, path, "not a stream: the file is empty");
    if (!header.starts_with(kMagic)) refuse(path, "no SQLite database");
    if (header.size() < kHeaderSize) refuse(path, "the file is cut off in its header");
    if (header[kReadVersion] != 1) refuse(path, "a database with a write-ahead log");
}

/// SQLite's reason for a failure, or ours where it says too little.
[[noreturn]] void failSQLite(const std::string& path, int code, sqlite3* handle) {
    Kind kind = Kind::Failed;
    switch (code & 0xFF) {
        case SQLITE_BUSY:
            throw StreamError(Kind::Locked, path, "another process holds it locked");
        case SQLITE_CANTOPEN:
        case SQLITE_READONLY:
            if (access((path + "-journal").c_str(), F_OK) == 0) {
                throw StreamError(Kind::Unfinished, path,
                                  "a change was left unfinished; the next opening for writing takes it back");
            }
            break;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            kind = Kind::Damaged;
            break;
    }
    throw StreamError(kind, path, sqlite3_errmsg(handle));
}

}  // namespace

std::optional<std::string> streamHeader(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) return std::nullopt;
        failSystem(path, errno);
    }
    if (S_ISDIR(status.st_mode)) throw StreamError(Kind::NotAFile, path, "is a directory");
    if (!S_ISREG(status.st_mode)) throw StreamError(Kind::NotAFile, path, "is not a regular file");
    // Not blocking, should a pipe take the file's place at this moment.
    const int file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) failSystem(path, errno);
    std::string header(kHeaderSize, '\0');
    const ssize_t count = read(file, header.data(), header.size());
    const int reason = errno;
    close(file);
    if (count < 0) failSystem(path, reason);
    header.resize(static_cast<std::size_t>(count));
    return header;
}

void requireWritable(const std::string& path) {
    if (access(path.c_str(), W_OK) != 0) failSystem(path, errno);
    std::error_code unknown;  // then opening tells
    const std::filesystem::path folder = std::filesystem::canonical(path, unknown).parent_path();
    if (!unknown && access(folder.c_str(), W_OK | X_OK) != 0) {
        throw StreamError(Kind::NotAllowed, path, "its folder cannot be written to: " + systemReason(errno));
    }
}

// ---- StreamConnection

void StreamConnection::Close::operator()(sqlite3* handle) const { sqlite3_close(handle); }

StreamConnection::Handle StreamConnection::open(const std::string& path, int flags,
                                                std::chrono::milliseconds patience) {
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(plainName(path).c_str(), &handle, flags, nullptr);
    Handle owned(handle);
    if (code != SQLITE_OK) failSQLite(path, code, handle);
    sqlite3_busy_timeout(handle, static_cast<int>(patience.count()));
    return owned;
}

void StreamConnection::makeTable(const std::string& path, std::chrono::milliseconds patience) {
    const Handle handle = open(path, SQLITE_OPEN_READWRITE, patience);
    const int code = sqlite3_exec(handle.get(), StreamSchema::kCreateTable, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) failSQLite(path, code, handle.get());
}

StreamConnection::StreamConnection(const std::string& path, Access access, std::chrono::milliseconds patience)
    : path_(path) {
    const std::optional<std::string> header = streamHeader(path);
    if (!header) throw StreamError(Kind::Missing, path, "there is no such file");
    checkHeader(path, *header);

    if (access == Access::Writing) requireWritable(path);

    handle_ = open(path, access == Access::Writing ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY, patience);
    // A schema that somebody else wrote gets nothing to run.
    sqlite3_db_config(handle(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);

    if (number(StreamSchema::kCountTables) == 0) refuse(path, "a database without the table stream01");
    sqlite3_stmt* probe = nullptr;
    const bool hasColumns = sqlite3_prepare_v2(handle(), StreamSchema::kSelectAll, -1, &probe, nullptr) == SQLITE_OK;
    sqlite3_finalize(probe);
    if (!hasColumns) refuse(path, "its table stream01 has other columns");
}

std::optional<long long> StreamConnection::number(const char* sql) const {
    Statement statement(*this, sql);
    if (!statement.step() || statement.isNull(0)) return std::nullopt;
    return statement.number(0);
}

void StreamConnection::run(const char* sql) const {
    Statement statement(*this, sql);
    while (statement.step()) {
    }
}

void StreamConnection::copyTo(const std::string& to) const {
    constexpr int kPagesAtOnce = 256;
    constexpr int kAll = -1;
    constexpr int kMostRestarts = 3;
    struct Finish {
        void operator()(sqlite3_backup* backup) const { sqlite3_backup_finish(backup); }
    };
    const Handle target = open(to, SQLITE_OPEN_READWRITE, {});
    const std::unique_ptr<sqlite3_backup, Finish> backup(sqlite3_backup_init(target.get(), "main", handle(), "main"));
    if (!backup) failSQLite(to, sqlite3_errcode(target.get()), target.get());
    int restarts = 0;
    int remaining = 0;
    int code;
    // A commit of another connection makes the copy begin again; one that is disturbed too often keeps them waiting.
    while ((code = sqlite3_backup_step(backup.get(), restarts < kMostRestarts ? kPagesAtOnce : kAll)) == SQLITE_OK) {
        const int now = sqlite3_backup_remaining(backup.get());
        if (remaining != 0 && now > remaining - kPagesAtOnce) ++restarts;
        remaining = now;
    }
    if (code == SQLITE_DONE) return;
    // A copy that is not locked by anybody and was empty cannot be locked or damaged.
    const bool ofSource = code == SQLITE_BUSY || code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
    if (ofSource) failSQLite(path_, code, handle());
    throw StreamError(Kind::Failed, to, sqlite3_errstr(code));
}

void StreamConnection::fail(int code) const { failSQLite(path_, code, handle()); }

// ---- StreamConnection::Statement

StreamConnection::Statement::Statement(const StreamConnection& connection, const char* sql) : connection_(connection) {
    const int code = sqlite3_prepare_v2(connection.handle(), sql, -1, &handle_, nullptr);
    if (code != SQLITE_OK) connection.fail(code);
}

StreamConnection::Statement::~Statement() { sqlite3_finalize(handle_); }

void StreamConnection::Statement::bind(int parameter, long long value) {
    const int code = sqlite3_bind_int64(handle_, parameter, value);
    if (code != SQLITE_OK) connection_.fail(code);
}

bool StreamConnection::Statement::step() {
    const int code = sqlite3_step(handle_);
    if (code != SQLITE_ROW && code != SQLITE_DONE) connection_.fail(code);
    return code == SQLITE_ROW;
}

bool StreamConnection::Statement::isNull(int column) { return sqlite3_column_type(handle_, column) == SQLITE_NULL; }

long long StreamConnection::Statement::number(int column) { return sqlite3_column_int64(handle_, column); }

std::string StreamConnection::Statement::bytes(int column) {
    const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(handle_, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(handle_, column));
    return bytes ? std::string(bytes, size) : std::string();
}

}  // namespace KXCore
