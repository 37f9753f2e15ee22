#pragma once

// A look into a stream file: through SQLite itself, read-only, so that nothing on the disk changes, whatever stands at
// the path. The library's own way in is not for looking: it deletes and replaces what it cannot use, passes silently
// over items that it cannot read, and sees an empty stream where another process holds the lock. docs/stream-file.md
// tells what the file holds.
//
// For the programs of this project, which link KXStreamInspector; the library does not export it. Every failure is a
// StreamError. One object serves one thread.
//
// SQLite's locks belong to the process and go when any descriptor of the file is closed. Making an object here opens
// and closes the file: a process that has the same stream open through the library does not make one meanwhile, except
// under a Hold.

#include "StreamConnection.h"
#include "StreamError.h"

#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace KXCore {

struct StreamItem {
    long long id = 0;
    std::string bytes;  ///< as they are stored, whatever they are
};

class StreamInspector {
  public:
    static constexpr std::chrono::milliseconds kPatience{5000};

    /// Opens the stream at `path`. Takes nothing else: a file of another kind is refused, and one that awaits a
    /// rollback. Every operation waits up to `patience` for a file that another process holds locked.
    explicit StreamInspector(const std::string& path, std::chrono::milliseconds patience = kPatience);
    ~StreamInspector();
    StreamInspector(const StreamInspector&) = delete;
    StreamInspector& operator=(const StreamInspector&) = delete;

    const std::string& path() const noexcept;

    enum class Order { Ascending, Descending };
    /// Returns whether to go on.
    using Visitor = std::function<bool(StreamItem&&)>;

    /// Calls `visitor` with each item from `from` on, or from the first one in that order, until it returns false. The
    /// file is locked only while some hundred items are read at a time, and never while `visitor` runs, so that a slow
    /// reader keeps no writer waiting. What can be read before a damaged place is visited before the error.
    void visit(Order order, std::optional<long long> from, const Visitor& visitor) const;

    /// No value when there are no items.
    std::optional<long long> firstID() const;
    std::optional<long long> lastID() const;

    /// How many items have an id from `first` to `last`.
    long long count(long long first, long long last) const;
    long long countThrough(long long last) const { return count(std::numeric_limits<long long>::min(), last); }

    /// The item's bytes, if it is there.
    std::optional<std::string> item(long long id) const;

    struct Summary {
        std::optional<long long> first;  ///< no value: there are no items
        std::optional<long long> last;
        long long count = 0;
        long long bytes = 0;      ///< of all items
        long long fileBytes = 0;  ///< of the file's pages
        long long freeBytes = 0;  ///< of pages that hold nothing, and are used again before the file grows
    };
    /// Reads through the whole file. All figures are of one moment.
    Summary summary() const;

    /// How much of the file is pages that hold something, and how much is free for later appends. Reads only its head.
    struct Space {
        long long usedBytes = 0;
        long long freeBytes = 0;
    };
    Space space() const;

    /// Writes the stream as it is at one moment to a new file at `to`, which must not exist; none is left behind when
    /// that fails. Writers are kept waiting only while some pages are read at a time; should one commit meanwhile, the
    /// copy begins again.
    void copyTo(const std::string& to) const;

    /// While it lives, nobody can commit a change, and this process may open the file again whatever others do.
    class Hold {
      public:
        explicit Hold(const StreamInspector& inspector);
        ~Hold();
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

      private:
        const StreamConnection& connection_;
    };

  private:
    friend class StreamMaintenance;
    explicit StreamInspector(std::unique_ptr<StreamConnection> connection);

    const std::unique_ptr<StreamConnection> connection_;
};

}  // namespace KXCore
