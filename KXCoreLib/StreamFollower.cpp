#include "StreamFollower.h"

#include <sys/stat.h>

namespace KXCore {

std::optional<StreamFollower::Identity> StreamFollower::identityOf(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return Identity(status.st_dev, status.st_ino);
}

StreamFollower::StreamFollower(const std::string& path, std::optional<long long> from,
                               std::chrono::milliseconds patience)
    : path_(path),
      patience_(patience),
      identity_(identityOf(path)),
      stream_(std::in_place, path, patience),
      from_(from) {
    if (!from) seen_ = stream_->lastID();
}

void StreamFollower::poll(const StreamInspector::Visitor& visitor) {
    const std::optional<Identity> found = identityOf(path_);
    if (found && found != identity_) {
        stream_.reset();
        try {
            stream_.emplace(path_, patience_);
        } catch (const StreamError& error) {
            if (error.passes()) throw;
            return;  // a new file that is no stream yet
        }
        identity_ = found;
        seen_ = from_ = std::nullopt;
    }
    if (stream_) visitNew(visitor);
}

void StreamFollower::visitNew(const StreamInspector::Visitor& visitor) {
    const std::optional<long long> last = stream_->lastID();
    // A stream that was discarded down to nothing counts from 1 again.
    if (seen_ && (!last || *last < *seen_)) seen_ = from_ = std::nullopt;
    if (last == seen_) return;
    stream_->visit(StreamInspector::Order::Ascending, seen_ ? *seen_ + 1 : from_, [&](StreamItem&& item) {
        const long long id = item.id;
        const bool goesOn = visitor(std::move(item));
        seen_ = id;
        return goesOn;
    });
}

}  // namespace KXCore
