#pragma once

// What programs that look at a stream file by its name are told when it cannot be used.

#include <stdexcept>
#include <string>

namespace KXCore {

/// A stream file cannot be used. what() is "PATH: REASON".
class StreamError : public std::runtime_error {
  public:
    enum class Kind {
        Missing,     ///< nothing stands at the path
        NotAFile,    ///< a directory, a pipe, a device
        NotAllowed,  ///< the system refuses the access
        Empty,       ///< a file without a byte: a stream can be made in it
        NotAStream,  ///< something else: no database, or one without a stream's table
        Locked,      ///< another connection holds it, and did not let go of it while it was waited for
        Unfinished,  ///< a process died in the middle of a change; the next opening for writing takes it back
        Damaged,     ///< a database whose content contradicts itself
        Failed,      ///< the disk or the memory failed; the reason says how
    };

    StreamError(Kind kind, const std::string& path, const std::string& reason)
        : std::runtime_error(path + ": " + reason), kind_(kind), reason_(reason) {}

    Kind kind() const noexcept { return kind_; }
    const std::string& reason() const noexcept { return reason_; }

    /// Whether the same call may succeed later without anybody's help.
    bool passes() const noexcept { return kind_ == Kind::Locked || kind_ == Kind::Unfinished; }

  private:
    Kind kind_;
    std::string reason_;
};

}  // namespace KXCore
