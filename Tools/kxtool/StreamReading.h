#pragma once

// Reading stream files for people. A stream that another process keeps locked is read without the lock, from a copy of
// its bytes; one that is damaged is read as far as its pages go.

#include <StreamInspector.h>

#include <functional>
#include <optional>
#include <string>

namespace kxtool {

/// Whether something stands at `path`.
bool Exists(const std::string& path);

/// Whether the file at `path` begins as a stream file does. False when there is none, or it cannot be read.
bool IsStreamFile(const std::string& path);

/// Calls `look` with the stream at `path`, or with a copy of it while another process holds it locked; then it is
/// called once more from the beginning.
void WithStream(const std::string& path, const std::function<void(const KXCore::StreamInspector&)>& look);

/// Visits the items from `from` on, or all, upward or downward. Each is visited once, whatever is met on the way.
/// Returns how many could not be read where the file is damaged; a warning says so too.
long long VisitStream(const std::string& path, bool upward, const KXCore::StreamInspector::Visitor& visitor,
                      std::optional<long long> from = std::nullopt);

}  // namespace kxtool
