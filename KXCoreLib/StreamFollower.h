#pragma once

// Follows what is appended to a stream, also when the file is replaced by another one or counts from 1 again.
//
//     StreamFollower follower(path, std::nullopt);
//     do {
//         follower.poll([](StreamItem&& item) { print(item); return true; });
//     } while (!interrupted.waitFor(100ms));
//
// The rules of StreamInspector.h hold here too.

#include "StreamInspector.h"

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace KXCore {

class StreamFollower {
  public:
    /// Opens the stream at `path`. Items from `from` on are visited, or those after the last one that is there now.
    StreamFollower(const std::string& path, std::optional<long long> from,
                   std::chrono::milliseconds patience = StreamInspector::kPatience);

    /// Visits the items that were not visited yet, until `visitor` returns false. Where another file took the place of
    /// the stream, goes on with its first item, once it is a stream. An error that passes leaves the follower as it
    /// was: poll again.
    void poll(const StreamInspector::Visitor& visitor);

  private:
    /// Tells one file from another at the same path.
    using Identity = std::pair<dev_t, ino_t>;
    static std::optional<Identity> identityOf(const std::string& path);

    void visitNew(const StreamInspector::Visitor& visitor);

    const std::string path_;
    const std::chrono::milliseconds patience_;
    std::optional<Identity> identity_;
    std::optional<StreamInspector> stream_;
    std::optional<long long> from_;  ///< where to begin; no value: at the first item
    std::optional<long long> seen_;  ///< the last item that is not to be visited any more
};

}  // namespace KXCore
