#pragma once

// A file that keeps how far a stream was followed.

#include <StreamFollower.h>

#include <optional>
#include <string>

namespace kxtool {

/// No value when there is no such file yet. Throws BadInput for one that is no checkpoint.
std::optional<KXCore::StreamPosition> ReadCheckpoint(const std::string& path);

/// Replaces the file as a whole: it holds either the old position or the new one. Throws BadInput.
void WriteCheckpoint(const std::string& path, const KXCore::StreamPosition& position);

}  // namespace kxtool
