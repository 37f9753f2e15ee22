#pragma once

// Reading a file that somebody else wrote, without trusting that it is one.

#include <cstddef>
#include <optional>
#include <string>

namespace KXPlatform {

enum class Symlinks { Refused, Followed };

/// The bytes of a plain file of at most `limit` bytes; nothing when there is none. Neither waits (for the writer of a
/// pipe, say) nor leaves anything open to child processes.
std::optional<std::string> readPlainFile(const std::string& path, std::size_t limit, Symlinks symlinks);

}  // namespace KXPlatform
