#pragma once

// Stream files as the tool looks into them: through SQLite itself, read-only. The library's own way in is not for
// looking: it deletes and makes anew what it cannot use, passes silently over items that it cannot read, and sees an
// empty stream where another process holds the lock. docs/stream-file.md tells what the file holds.
//
// Every failure is a BadInput that begins with the file's name. One object serves one thread.
//
// SQLite's locks belong to the process and go when any descriptor of the file is closed: nothing here, and nobody who
// uses this, opens the file in another way while a connection works on it.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Command.h"

struct sqlite3;

namespace kxtool {

struct StreamItem {
    long long id = 0;
    std::string bytes;
};

/// The stream cannot be used now, and can be later: another process holds the file and did not let go of it within some
/// seconds, or died in the middle of a change that the next writer takes back.
class StreamBusy : public BadInput {
  public:
    using BadInput::BadInput;
};

/// Whether a stream can be made at `path`: nothing stands there, or an empty file that can be written.
bool HasRoomForStream(const std::string& path);

/// A file that is there and has the table of a stream. Nothing else is taken.
class StreamFile {
  public:
    enum class For {
        Looking,  ///< changes nothing on the disk, whatever stands at the path; refuses a file that awaits a rollback
        Writing,  ///< the file can be written, and a change that was left unfinished has been taken back
    };

    /// Makes the table of a stream in the empty file at `path`.
    static void makeTable(const std::string& path);

    explicit StreamFile(const std::string& path, For purpose = For::Looking);
    ~StreamFile();
    StreamFile(const StreamFile&) = delete;
    StreamFile& operator=(const StreamFile&) = delete;

    enum class Order { Ascending, Descending };

    /// Calls `visit` with each item from `from` on, or from the first one in that order, until it answers false. The
    /// file is locked only while some hundred items are read at a time, and never while `visit` runs, so that a slow
    /// reader keeps no writer waiting.
    void visit(Order order, std::optional<long long> from, const std::function<bool(StreamItem&&)>& visit) const;

    struct Summary {
        std::optional<long long> first;  ///< no value: there are no items
        std::optional<long long> last;
        long long count = 0;
        long long bytes = 0;      ///< of all items
        long long fileBytes = 0;  ///< of the file's pages
        long long freeBytes = 0;  ///< of pages that hold nothing, and are used again before the file grows
    };
    /// Reads through the whole file.
    Summary summary() const;

    std::optional<long long> firstID() const;
    std::optional<long long> lastID() const;

    /// How many items have an id up to `id`.
    long long countThrough(long long id) const;

    /// The item's bytes, if it is there.
    std::optional<std::string> item(long long id) const;

    /// Waits until no other process is about to write. For Writing only.
    void awaitWriters() const;

    /// Gives the pages that hold nothing back to the file system. For Writing only.
    void compact() const;

    /// While it lives, nobody can lock the file for writing, and this process may open it again whatever others do.
    class Hold {
      public:
        explicit Hold(const StreamFile& file);
        ~Hold();
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

      private:
        const StreamFile& file_;
    };

  private:
    friend class Hold;
    class Statement;
    struct Close {
        void operator()(sqlite3* handle) const;
    };

    static std::unique_ptr<sqlite3, Close> open(const std::string& path, int flags);

    std::optional<long long> number(const char* sql) const;
    void run(const char* sql) const;

    std::string path_;
    std::unique_ptr<sqlite3, Close> handle_;
};

}  // namespace kxtool
