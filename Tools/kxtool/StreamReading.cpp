#include "StreamReading.h"

#include <StreamSnapshot.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <limits>
#include <string_view>

#include "Command.h"

namespace kxtool {

using KXCore::StreamError;
using KXCore::StreamInspector;
using KXCore::StreamItem;
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

void VisitStream(const std::string& path, bool upward, const StreamInspector::Visitor& visitor,
                 std::optional<long long> from) {
    const StreamInspector::Order order =
        upward ? StreamInspector::Order::Ascending : StreamInspector::Order::Descending;
    std::optional<long long> last;
    const auto visit = [&](StreamItem&& item) {
        last = item.id;
        return visitor(std::move(item));
    };
    try {
        return StreamInspector(path, kPatience).visit(order, from, visit);
    } catch (const StreamError& error) {
        if (error.kind() != StreamError::Kind::Locked) throw;
    }
    const long long end = upward ? std::numeric_limits<long long>::max() : std::numeric_limits<long long>::min();
    if (last == end) return;
    const StreamSnapshot snapshot = SnapshotOf(path);
    snapshot.inspector().visit(order, last ? *last + (upward ? 1 : -1) : from, visit);
}

}  // namespace kxtool
