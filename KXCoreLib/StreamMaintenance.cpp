#include "StreamMaintenance.h"

#include <sqlite3.h>

#include <memory>
#include <optional>

namespace KXCore {

StreamMaintenance::StreamMaintenance(const std::string& path, std::chrono::milliseconds patience)
    : inspector_(std::make_unique<StreamConnection>(path, StreamConnection::Access::Writing, patience)) {}

bool StreamMaintenance::hasRoom(const std::string& path) {
    const std::optional<std::string> header = streamHeader(path);
    if (!header) return true;
    if (!header->empty()) return false;
    requireWritable(path);
    return true;
}

void StreamMaintenance::makeTable(const std::string& path) {
    StreamConnection::makeTable(path, StreamInspector::kPatience);
}

void StreamMaintenance::awaitWriters() const {
    inspector_.connection_->run("BEGIN IMMEDIATE");
    inspector_.connection_->run("ROLLBACK");
}

void StreamMaintenance::compact() const { inspector_.connection_->run("VACUUM"); }

namespace {

/// A quarter of what the library waits: as much again goes into writing the file back, and the disk may be slow.
constexpr std::chrono::milliseconds kBrieflyReading{250};
/// What any disk writes twice, with its journal, in the rest of that time.
constexpr long long kBrieflyWritten = 16 << 20;

}  // namespace

bool StreamMaintenance::compactBriefly() const {
    using Clock = std::chrono::steady_clock;
    const StreamConnection& connection = *inspector_.connection_;
    const long long pageBytes = connection.number("PRAGMA page_size").value_or(0);
    if (pageBytes * connection.number("PRAGMA page_count").value_or(0) > kBrieflyWritten) return false;
    awaitWriters();  // so that the time counts from when the lock is there to be had

    Clock::time_point end = Clock::now() + kBrieflyReading;
    constexpr int kStepsBetweenLooks = 1000;
    sqlite3_progress_handler(
        connection.handle(), kStepsBetweenLooks,
        [](void* until) { return Clock::now() > *static_cast<const Clock::time_point*>(until) ? 1 : 0; }, &end);
    const int code = sqlite3_exec(connection.handle(), "VACUUM", nullptr, nullptr, nullptr);
    sqlite3_progress_handler(connection.handle(), 0, nullptr, nullptr);
    if (code == SQLITE_INTERRUPT) return false;
    if (code != SQLITE_OK) connection.fail(code);
    return true;
}

}  // namespace KXCore
