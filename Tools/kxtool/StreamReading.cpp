#include "StreamReading.h"

#include <StreamSalvage.h>
#include <StreamSnapshot.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "Errors.h"

namespace kxtool {

using KXCore::StreamError;
using KXCore::StreamInspector;
using KXCore::StreamItem;
using KXCore::StreamSalvage;
using KXCore::StreamSnapshot;

namespace {

/// Long enough for any commit; who holds a stream longer has it locked for good.
constexpr std::chrono::milliseconds kPatience{1000};

StreamSnapshot SnapshotOf(const std::string& path) {
    Warn(fmt::format("{}: another process holds it locked; read without the lock", path));
    return StreamSnapshot(path);
}

}  // namespace

bool Exists(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0;
}

bool IsStreamFile(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    constexpr std::string_view kMagic("SQLite format 3\0", 16);
    char begin[16];
    const ssize_t count = read(file, begin, sizeof begin);
    close(file);
    return count == sizeof begin && std::string_view(begin, sizeof begin) == kMagic;
}

void WithStream(const std::string& path, const std::function<void(const StreamInspector&)>& look) {
    try {
        return look(StreamInspector(path, kPatience));
    } catch (const StreamError& error) {
        if (error.kind() != StreamError::Kind::Locked) throw;
    }
    const StreamSnapshot snapshot = SnapshotOf(path);
    look(snapshot.inspector());
}

namespace {

/// Visits what can be read of a damaged stream, page by page, after the item `last` if there is one.
long long VisitSalvage(const std::string& path, const std::string& reason, bool upward, std::optional<long long> from,
                       const StreamInspector::Visitor& visitor) {
    Warn(fmt::format("{}; it is read page by page", reason));
    const StreamSalvage salvage(path);
    std::vector<StreamSalvage::Place> places = salvage.places();
    if (!upward) std::reverse(places.begin(), places.end());
    long long unreadable = salvage.loss().items;
    for (const StreamSalvage::Place& place : places) {
        if (from && (upward ? place.id < *from : place.id > *from)) continue;
        std::optional<std::string> bytes = salvage.read(place);
        if (!bytes) {
            ++unreadable;
        } else if (!visitor({.id = place.id, .bytes = std::move(*bytes)})) {
            return unreadable;
        }
    }
    if (unreadable != 0) {
        Warn(fmt::format("{}: {}{} cannot be read", path, salvage.loss().isExact ? "" : "about ",
                         Counted(unreadable, "item")));
    }
    return unreadable;
}

}  // namespace

long long VisitStream(const std::string& path, bool upward, const StreamInspector::Visitor& visitor,
                      std::optional<long long> from) {
    const StreamInspector::Order order =
        upward ? StreamInspector::Order::Ascending : StreamInspector::Order::Descending;
    std::optional<long long> last;
    const auto visit = [&](StreamItem&& item) {
        last = item.id;
        return visitor(std::move(item));
    };
    const long long end = upward ? std::numeric_limits<long long>::max() : std::numeric_limits<long long>::min();
    // Where to go on: after the item that was visited last.
    const auto next = [&] { return last ? *last + (upward ? 1 : -1) : from; };
    try {
        StreamInspector(path, kPatience).visit(order, from, visit);
        return 0;
    } catch (const StreamError& error) {
        if (error.kind() != StreamError::Kind::Locked && error.kind() != StreamError::Kind::Damaged) throw;
        if (last == end) return 0;
        if (error.kind() == StreamError::Kind::Damaged) {
            return VisitSalvage(path, error.what(), upward, next(), visit);
        }
    }
    const StreamSnapshot snapshot = SnapshotOf(path);
    snapshot.inspector().visit(order, next(), visit);
    return 0;
}

}  // namespace kxtool
