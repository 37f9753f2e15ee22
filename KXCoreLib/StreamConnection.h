#pragma once

// A connection to a stream file that somebody named: for StreamInspector and StreamMaintenance, which share it. Unlike
// the library's own (StreamDatabase.h) it takes nothing but a stream, and makes and deletes nothing.

#include "StreamError.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace KXCore {

class StreamConnection {
  public:
    enum class Access {
        Reading,  ///< changes nothing on the disk; refuses a file that awaits a rollback
        Writing,  ///< the file can be written, and a change that was left unfinished has been taken back
    };

    /// Opens the stream at `path`, or throws a StreamError. Whatever it does later waits up to `patience` for a locked
    /// file.
    StreamConnection(const std::string& path, Access access, std::chrono::milliseconds patience);

    /// Makes the table in the empty file at `path`.
    static void makeTable(const std::string& path, std::chrono::milliseconds patience);

    const std::string& path() const noexcept { return path_; }
    sqlite3* handle() const noexcept { return handle_.get(); }

    class Statement;

    /// The first column of the first row; no value for NULL and for no row.
    std::optional<long long> number(const char* sql) const;
    void run(const char* sql) const;

    /// Copies every page to the database at `to`, an empty file, some pages under one lock.
    void copyTo(const std::string& to) const;

    [[noreturn]] void fail(int code) const;

  private:
    struct Close {
        void operator()(sqlite3* handle) const;
    };
    using Handle = std::unique_ptr<sqlite3, Close>;

    static Handle open(const std::string& path, int flags, std::chrono::milliseconds patience);

    std::string path_;
    Handle handle_;
};

/// A prepared statement. Every failure is a StreamError.
class StreamConnection::Statement {
  public:
    Statement(const StreamConnection& connection, const char* sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void bind(int parameter, long long value);
    /// Whether there is a row.
    bool step();
    bool isNull(int column);
    long long number(int column);
    std::string bytes(int column);

  private:
    const StreamConnection& connection_;
    sqlite3_stmt* handle_ = nullptr;
};

/// The beginning of the regular file at `path`, up to the size of a database's header; no value when nothing stands
/// there. Throws a StreamError when something else does, or it cannot be read. Opens the file: SQLite's locks belong to
/// the process and go when any descriptor of the file is closed, so this process must have no connection to it.
std::optional<std::string> streamHeader(const std::string& path);

/// Throws a StreamError unless the file at `path` can be written and its folder takes SQLite's journal.
void requireWritable(const std::string& path);

}  // namespace KXCore
