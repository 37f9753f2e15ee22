#pragma once

// Follows what is appended to a stream, also when the file is replaced by another one or counts from 1 again, and tells
// how many items came and went unseen.
//
//     StreamFollower follower(path, std::nullopt);
//     do {
//         follower.poll([](StreamItem&& item) { print(item); return true; });
//     } while (changed.wait());
//
// The rules of StreamInspector.h hold here too.

#include "StreamInspector.h"

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KXCore {

/// Which item was visited last, to go on after it later. The hash of its bytes tells it from another of the same id, in
/// a stream that was emptied and counts from 1 again.
struct StreamPosition {
    long long id = 0;
    std::uint64_t hash = 0;

    bool operator==(const StreamPosition&) const = default;
};

class StreamFollower {
  public:
    /// Opens the stream at `path`. Items from `from` on are visited, or those after the last one that is there now.
    StreamFollower(const std::string& path, std::optional<long long> from,
                   std::chrono::milliseconds patience = StreamInspector::kPatience);

    /// Opens the stream at `path` to visit what came after the position.
    StreamFollower(const std::string& path, const StreamPosition& position,
                   std::chrono::milliseconds patience = StreamInspector::kPatience);

    /// Called with the number of items that were appended and discarded between two looks, before the next item is
    /// visited. Ids without a gap make it exact. Where the stream was emptied meanwhile, its ids begin again, and the
    /// number is that of its commits: as many as there were if each item was appended and discarded by a commit of its
    /// own.
    void onMissed(std::function<void(long long)> missed) { missed_ = std::move(missed); }

    /// Visits the items that were not visited yet, until `visitor` returns false. Where another file took the place of
    /// the stream, goes on with its first item, once it is a stream. An error that passes leaves the follower as it
    /// was: poll again.
    void poll(const StreamInspector::Visitor& visitor);

    /// The item that was visited last, or the last one when the follower was made; no value when there is none.
    const std::optional<StreamPosition>& position() const noexcept { return seen_; }

  private:
    /// Tells one file from another at the same path.
    using Identity = std::pair<dev_t, ino_t>;
    static std::optional<Identity> identityOf(const std::string& path);

    /// The stream, and beside SQLite the count of commits in the file's header.
    struct Opened {
        Opened(const std::string& path, std::chrono::milliseconds patience);
        ~Opened();
        Opened(const Opened&) = delete;
        Opened& operator=(const Opened&) = delete;

        std::uint32_t commits() const;

        int header;  ///< outlives the connection, whose locks would go with any descriptor that is closed
        std::optional<StreamInspector> stream;
    };

    /// What the stream is at one moment.
    struct Look {
        std::optional<long long> first;
        std::optional<long long> last;
        std::uint32_t commits = 0;
    };

    StreamFollower(const std::string& path, std::chrono::milliseconds patience);

    std::optional<StreamPosition> positionOf(std::optional<long long> id) const;
    bool startedAgain(const Look& look) const;
    long long missedUntil(const Look& look, bool again) const;
    /// Looks, counts what was missed, and takes the next items that were not visited yet.
    std::vector<StreamItem> takeNew();
    std::vector<StreamItem> itemsFrom(std::optional<long long> from) const;

    const std::string path_;
    const std::chrono::milliseconds patience_;
    std::optional<Identity> identity_;
    std::optional<Opened> opened_;
    std::function<void(long long)> missed_;
    std::optional<long long> from_;       ///< where to begin; no value: at the first item
    std::optional<StreamPosition> seen_;  ///< the last item that is not to be visited any more
    std::optional<Look> before_;          ///< what was there at the last look
};

}  // namespace KXCore
