#include "StreamFollower.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <string_view>

namespace KXCore {
namespace {

constexpr std::size_t kBatchItems = 256;

/// FNV-1a: the same in every process, unlike std::hash.
std::uint64_t hashOf(std::string_view bytes) noexcept {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    return hash;
}

}  // namespace

// ---- StreamFollower::Opened

StreamFollower::Opened::Opened(const std::string& path, std::chrono::milliseconds patience)
    : header(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    try {
        stream.emplace(path, patience);
    } catch (...) {
        if (header >= 0) ::close(header);
        throw;
    }
}

StreamFollower::Opened::~Opened() {
    stream.reset();
    if (header >= 0) ::close(header);
}

std::uint32_t StreamFollower::Opened::commits() const {
    constexpr off_t kChangeCounter = 24;
    unsigned char bytes[4] = {};
    if (header < 0 || pread(header, bytes, sizeof bytes, kChangeCounter) != sizeof bytes) return 0;
    return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
           static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
}

// ---- StreamFollower

std::optional<StreamFollower::Identity> StreamFollower::identityOf(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return Identity(status.st_dev, status.st_ino);
}

StreamFollower::StreamFollower(const std::string& path, std::chrono::milliseconds patience)
    : path_(path), patience_(patience), identity_(identityOf(path)) {
    opened_.emplace(path, patience);
}

StreamFollower::StreamFollower(const std::string& path, std::optional<long long> from,
                               std::chrono::milliseconds patience)
    : StreamFollower(path, patience) {
    from_ = from;
    if (!from) seen_ = positionOf(opened_->stream->lastID());
}

StreamFollower::StreamFollower(const std::string& path, const StreamPosition& position,
                               std::chrono::milliseconds patience)
    : StreamFollower(path, patience) {
    seen_ = position;
}

std::optional<StreamPosition> StreamFollower::positionOf(std::optional<long long> id) const {
    if (!id) return std::nullopt;
    return StreamPosition{*id, hashOf(opened_->stream->item(*id).value_or(""))};
}

void StreamFollower::poll(const StreamInspector::Visitor& visitor) {
    const std::optional<Identity> found = identityOf(path_);
    if (found && found != identity_) {
        opened_.reset();
        try {
            opened_.emplace(path_, patience_);
        } catch (const StreamError& error) {
            if (error.passes()) throw;
            return;  // a new file that is no stream yet
        }
        identity_ = found;
        seen_ = std::nullopt;
        from_ = std::nullopt;
        before_ = std::nullopt;
    }
    if (!opened_) return;
    for (std::vector<StreamItem> items = takeNew(); !items.empty(); items = takeNew()) {
        for (StreamItem& item : items) {
            const StreamPosition position{item.id, hashOf(item.bytes)};
            const bool goesOn = visitor(std::move(item));
            seen_ = position;
            if (!goesOn) return;
        }
    }
}

bool StreamFollower::startedAgain(const Look& look) const {
    if (!seen_) return false;
    // A stream that was discarded down to nothing counts from 1 again.
    if (!look.last || *look.last < seen_->id) return true;
    if (*look.first > seen_->id) return false;
    const std::optional<StreamPosition> there = positionOf(seen_->id);
    if (there != seen_) return true;
    // The same as before, after more than one change: an append alone would have added, a discard alone taken away.
    return before_ && look.commits - before_->commits >= 2 && look.first == before_->first &&
           look.last == before_->last;
}

long long StreamFollower::missedUntil(const Look& look, bool again) const {
    if (seen_ && !again) {
        if (!look.last || *look.last == seen_->id || *look.first <= seen_->id) return 0;
        return *look.first - seen_->id - 1;
    }
    const bool wasEmpty = before_ && !before_->last;
    if (!again && !wasEmpty) return 0;  // what was before the first look is none of ours
    // Those of the old count that were waiting, those of the new one that are gone, and what commits are left over.
    const long long waiting = before_ && before_->last && seen_ ? std::max(0LL, *before_->last - seen_->id) : 0;
    const long long gone = look.first ? std::max(0LL, *look.first - 1) : 0;
    const long long there = look.last ? *look.last - *look.first + 1 : 0;
    const long long commits = before_ ? static_cast<long long>(look.commits - before_->commits) : 0;
    const long long left = commits - there - gone - (gone > 0 ? 1 : 0);
    return waiting + gone + std::max(0LL, left) / 2;
}

std::vector<StreamItem> StreamFollower::takeNew() {
    std::vector<StreamItem> items;
    long long missed = 0;
    {
        const StreamInspector& stream = *opened_->stream;
        const StreamInspector::Hold hold(stream);
        const Look look{stream.firstID(), stream.lastID(), opened_->commits()};
        const bool again = startedAgain(look);
        missed = missedUntil(look, again);
        if (again) {
            seen_ = std::nullopt;
            from_ = std::nullopt;
        }
        before_ = look;
        const bool isLast = seen_ && look.last == seen_->id;
        if (look.last && !isLast) items = itemsFrom(seen_ ? std::optional(seen_->id + 1) : from_);
    }
    if (missed > 0 && missed_) missed_(missed);
    return items;
}

std::vector<StreamItem> StreamFollower::itemsFrom(std::optional<long long> from) const {
    std::vector<StreamItem> items;
    opened_->stream->visit(StreamInspector::Order::Ascending, from, [&](StreamItem&& item) {
        items.push_back(std::move(item));
        return items.size() < kBatchItems;
    });
    return items;
}

}  // namespace KXCore
