#pragma once

#include "Record.h"

#include <KXCoreLib/StreamStorage.h>
#include <StreamMaintenance.h>

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace agent {

/// The stream, with the care that nothing in it is lost: the library deletes a file that it cannot use, and silently
/// drops what it cannot store. Here a file is looked at before the library opens it, and what was stored is read back
/// through a second connection, which sees what is committed and nothing else.
///
/// Any thread; one operation at a time. SQLite is never waited for longer than about a second.
class Journal {
  public:
    explicit Journal(std::string path);

    /// Opens the stream; makes one, for its owner alone, where there is none. Throws a StreamError: one that passes
    /// leaves everything as it is, to be tried again. No file of somebody else's is opened, nor what is no stream.
    void open();

    void setMaximumSize(std::optional<long long> bytes) { maximumSize_ = bytes.value_or(0); }

    /// Nothing was stored; trying again may help. what() is why.
    struct NotStored : std::runtime_error {
        using std::runtime_error::runtime_error;
    };
    /// It is not known yet whether the records were stored: the same ones are to be given again.
    struct InDoubt : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    /// Stores as many of the records as there is room for, in order, and returns how many: they are on the disk, all of
    /// them in one sync. `stored` is called with that number before anybody can read them.
    std::size_t store(std::span<const Record> records, const std::function<void(std::size_t)>& stored);

    struct Item {
        unsigned long long id = 0;
        std::vector<unsigned char> bytes;  ///< of its records; none when it holds something else
    };
    /// Up to `most` items after the id `after`, all of them on the disk.
    std::vector<Item> read(unsigned long long after, std::size_t most);
    /// The bytes of the last ones, the last one first.
    std::vector<std::vector<unsigned char>> lastOnes(std::size_t most);

    /// Deletes the items up to `id`; whether that was done. On a full disk it may take several calls.
    bool discardThrough(unsigned long long id);

    /// Records that were in a file which somebody removed under the agent, since this was asked last.
    std::uint64_t takeLost() { return lost_.exchange(0); }

  private:
    using Identity = std::pair<dev_t, ino_t>;
    std::optional<Identity> identityOnDisk() const;

    void make() const;
    void checkOwner() const;
    void close();
    std::vector<Item> readFrom(KXCore::StreamCursorKind kind, unsigned long long start, std::size_t most);

    std::size_t fitting(std::span<const Record> records) const;
    bool holds(unsigned long long first, std::span<const Record> records) const;
    std::size_t finish(std::span<const Record> records, const std::function<void(std::size_t)>& stored);
    [[noreturn]] void failToStore(std::size_t committed = 0);

    const std::string path_;
    std::atomic<long long> maximumSize_{0};  ///< 0: none
    std::atomic<std::uint64_t> lost_{0};

    std::mutex mutex_;                               // of what follows
    std::optional<KXCore::StreamMaintenance> file_;  ///< the second connection
    KXCore::StreamStorage storage_;
    std::optional<Identity> identity_;  ///< of the file that is open
    bool isOpen_ = false;

    struct Doubt {
        unsigned long long first;
        std::size_t count;
    };
    std::optional<Doubt> doubt_;
};

}  // namespace agent
