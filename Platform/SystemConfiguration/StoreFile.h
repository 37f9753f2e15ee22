#pragma once

// Reading a file of the system's that somebody else wrote, without trusting that it is one.

#include <cstddef>
#include <optional>
#include <string>

namespace KXPlatform {

struct PlainFile {
    std::string bytes;
    /// Which file it was, as it was then: another text when it has been replaced or changed, even if its bytes are the
    /// same again.
    std::string stamp;
};

/// A plain file of at most `limit` bytes, links followed; nothing when there is none. Neither waits (for the writer of
/// a pipe, say) nor leaves anything open to child processes.
std::optional<PlainFile> readPlainFile(const std::string& path, std::size_t limit);

}  // namespace KXPlatform
