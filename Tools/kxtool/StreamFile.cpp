#include "StreamFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace kxtool {
namespace {

/// How long to wait for another process to end its change.
constexpr int kPatienceMilliseconds = 5000;

/// What is read under one lock.
constexpr std::size_t kBatchItems = 256;
constexpr std::size_t kBatchBytes = 1 << 20;

constexpr std::size_t kHeaderSize = 100;

[[noreturn]] void Refuse(const std::string& path, std::string_view why) {
    throw BadInput(fmt::format("{}: {}", path, why));
}

std::string SystemReason() { return std::generic_category().message(errno); }

/// The name under which SQLite opens exactly this file: none of the names that mean something else to it.
std::string PlainName(const std::string& path) { return path.starts_with('/') ? path : "./" + path; }

/// The beginning of the file, which must be a regular one; empty for an empty one, no value for none.
std::optional<std::string> HeaderOf(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) return std::nullopt;
        Refuse(path, SystemReason());
    }
    if (S_ISDIR(status.st_mode)) Refuse(path, "is a directory");
    if (!S_ISREG(status.st_mode)) Refuse(path, "is not a regular file");
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) Refuse(path, SystemReason());
    std::string header(kHeaderSize, '\0');
    const ssize_t count = read(file, header.data(), header.size());
    const std::string reason = SystemReason();
    close(file);
    if (count < 0) Refuse(path, reason);
    header.resize(static_cast<std::size_t>(count));
    return header;
}

/// Refuses what is no database, and one whose journal SQLite would make files for by reading alone.
void CheckHeader(const std::string& path, std::string_view header) {
    constexpr std::string_view kMagic("SQLite format 3\0", 16);
    constexpr std::size_t kReadVersion = 19;
    if (header.empty()) Refuse(path, "not a stream: the file is empty");
    if (!header.starts_with(kMagic)) Refuse(path, "not a stream: no SQLite database");
    if (header.size() < kHeaderSize) Refuse(path, "not a stream: the file is cut off in its header");
    if (header[kReadVersion] != 1) Refuse(path, "not a stream: a database with a write-ahead log");
}

/// Refuses a file that cannot be written, and one in whose folder SQLite cannot make its journal.
void CheckWritable(const std::string& path) {
    if (access(path.c_str(), W_OK) != 0) Refuse(path, SystemReason());
    std::error_code unknown;  // then opening tells
    const std::filesystem::path folder = std::filesystem::canonical(path, unknown).parent_path();
    if (!unknown && access(folder.c_str(), W_OK | X_OK) != 0) {
        Refuse(path, fmt::format("its folder cannot be written to: {}", SystemReason()));
    }
}

/// SQLite's words for what went wrong, in this tool's where they say too little.
[[noreturn]] void RefuseFor(const std::string& path, int code, sqlite3* handle) {
    switch (code & 0xFF) {
        case SQLITE_BUSY:
            throw StreamBusy(fmt::format("{}: another process holds it locked", path));
        case SQLITE_CANTOPEN:
        case SQLITE_READONLY:
            if (access((path + "-journal").c_str(), F_OK) == 0) {
                throw StreamBusy(
                    fmt::format("{}: a change was left unfinished; the next opening for writing takes it back", path));
            }
            break;
    }
    Refuse(path, sqlite3_errmsg(handle));
}

}  // namespace

/// A prepared statement.
class StreamFile::Statement {
  public:
    Statement(const StreamFile& file, const char* sql) : file_(file) {
        check(sqlite3_prepare_v2(file.handle_.get(), sql, -1, &handle_, nullptr));
    }
    ~Statement() { sqlite3_finalize(handle_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void bind(long long value) { check(sqlite3_bind_int64(handle_, 1, value)); }

    /// Whether there is a row.
    bool step() {
        const int code = sqlite3_step(handle_);
        if (code != SQLITE_ROW && code != SQLITE_DONE) RefuseFor(file_.path_, code, file_.handle_.get());
        return code == SQLITE_ROW;
    }

    bool isNull(int column) { return sqlite3_column_type(handle_, column) == SQLITE_NULL; }
    long long number(int column) { return sqlite3_column_int64(handle_, column); }
    std::string bytes(int column) {
        const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(handle_, column));
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(handle_, column));
        return bytes ? std::string(bytes, size) : std::string();
    }

  private:
    void check(int code) const {
        if (code != SQLITE_OK) RefuseFor(file_.path_, code, file_.handle_.get());
    }

    const StreamFile& file_;
    sqlite3_stmt* handle_ = nullptr;
};

void StreamFile::Close::operator()(sqlite3* handle) const { sqlite3_close(handle); }

std::unique_ptr<sqlite3, StreamFile::Close> StreamFile::open(const std::string& path, int flags) {
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(PlainName(path).c_str(), &handle, flags, nullptr);
    std::unique_ptr<sqlite3, Close> owned(handle);
    if (code != SQLITE_OK) RefuseFor(path, code, handle);
    sqlite3_busy_timeout(handle, kPatienceMilliseconds);
    return owned;
}

void StreamFile::makeTable(const std::string& path) {
    const std::unique_ptr<sqlite3, Close> handle = open(path, SQLITE_OPEN_READWRITE);
    const int code =
        sqlite3_exec(handle.get(), "CREATE TABLE IF NOT EXISTS stream01 (id INTEGER PRIMARY KEY, attributes BLOB)",
                     nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) RefuseFor(path, code, handle.get());
}

StreamFile::StreamFile(const std::string& path, For purpose) : path_(path) {
    const std::optional<std::string> header = HeaderOf(path);
    if (!header) Refuse(path, "there is no such file");
    CheckHeader(path, *header);

    if (purpose == For::Writing) CheckWritable(path);

    handle_ = open(path, purpose == For::Writing ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
    // A schema that somebody else wrote gets nothing to run.
    sqlite3_db_config(handle_.get(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);

    Statement table(*this, "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'stream01'");
    table.step();
    if (table.number(0) == 0) Refuse(path, "not a stream: a database without the table stream01");
    sqlite3_stmt* probe = nullptr;
    const bool hasColumns =
        sqlite3_prepare_v2(handle_.get(), "SELECT id, attributes FROM stream01", -1, &probe, nullptr) == SQLITE_OK;
    sqlite3_finalize(probe);
    if (!hasColumns) Refuse(path, "not a stream: its table stream01 has other columns");
}

StreamFile::~StreamFile() = default;

void StreamFile::visit(Order order, std::optional<long long> from,
                       const std::function<bool(StreamItem&&)>& visit) const {
    const bool up = order == Order::Ascending;
    if (!from) from = up ? firstID() : lastID();
    std::vector<StreamItem> batch;
    // Fills the batch, and returns where the next one begins, if there is one.
    const auto fill = [&](long long start) -> std::optional<long long> {
        Statement rows(*this, up ? "SELECT id, attributes FROM stream01 WHERE id >= ? ORDER BY id"
                                 : "SELECT id, attributes FROM stream01 WHERE id <= ? ORDER BY id DESC");
        rows.bind(start);
        for (std::size_t bytes = 0; rows.step();) {
            if (batch.size() == kBatchItems || bytes >= kBatchBytes) {
                const long long next = rows.number(0);
                // Only in a table that somebody else made, whose ids are no whole numbers.
                if (up ? next <= start : next >= start) Refuse(path_, "its ids do not go on in whole numbers");
                return next;
            }
            batch.push_back({.id = rows.number(0), .bytes = rows.bytes(1)});
            bytes += batch.back().bytes.size();
        }
        return std::nullopt;
    };
    while (from) {
        batch.clear();
        std::exception_ptr failure;
        try {
            from = fill(*from);
        } catch (...) {
            failure = std::current_exception();  // after what could be read
        }
        for (StreamItem& item : batch) {
            if (!visit(std::move(item))) return;
        }
        if (failure) std::rethrow_exception(failure);
    }
}

std::optional<long long> StreamFile::number(const char* sql) const {
    Statement statement(*this, sql);
    if (!statement.step() || statement.isNull(0)) return std::nullopt;
    return statement.number(0);
}

void StreamFile::run(const char* sql) const {
    Statement statement(*this, sql);
    while (statement.step()) {
    }
}

StreamFile::Summary StreamFile::summary() const {
    const Hold hold(*this);  // all figures of one moment
    const long long pageBytes = number("PRAGMA page_size").value_or(0);
    return {
        .first = firstID(),
        .last = lastID(),
        .count = number("SELECT count(*) FROM stream01").value_or(0),
        .bytes = number("SELECT sum(length(CAST(attributes AS BLOB))) FROM stream01").value_or(0),
        .fileBytes = pageBytes * number("PRAGMA page_count").value_or(0),
        .freeBytes = pageBytes * number("PRAGMA freelist_count").value_or(0),
    };
}

std::optional<long long> StreamFile::firstID() const { return number("SELECT min(id) FROM stream01"); }

std::optional<long long> StreamFile::lastID() const { return number("SELECT max(id) FROM stream01"); }

long long StreamFile::countThrough(long long id) const {
    Statement statement(*this, "SELECT count(*) FROM stream01 WHERE id <= ?");
    statement.bind(id);
    statement.step();
    return statement.number(0);
}

std::optional<std::string> StreamFile::item(long long id) const {
    Statement statement(*this, "SELECT attributes FROM stream01 WHERE id = ?");
    statement.bind(id);
    if (!statement.step()) return std::nullopt;
    return statement.bytes(0);
}

void StreamFile::awaitWriters() const {
    run("BEGIN IMMEDIATE");
    run("ROLLBACK");
}

void StreamFile::compact() const { run("VACUUM"); }

StreamFile::Hold::Hold(const StreamFile& file) : file_(file) {
    file.run("BEGIN");
    try {
        file.run("SELECT count(*) FROM sqlite_master");
    } catch (...) {
        file.run("ROLLBACK");
        throw;
    }
}

StreamFile::Hold::~Hold() { sqlite3_exec(file_.handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr); }

bool HasRoomForStream(const std::string& path) {
    const std::optional<std::string> header = HeaderOf(path);
    if (!header) return true;
    if (!header->empty()) return false;
    CheckWritable(path);
    return true;
}

}  // namespace kxtool
