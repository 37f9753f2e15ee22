#pragma once

// Who may write to a stream. Beside the stream PATH stands a file PATH.lock; the process that holds it locked
// (flock(2)) owns the stream: the agent for its whole life, a tool for one command. The lock ends with the process,
// however that ends; the file stays. It names its owner, so that another one can be told, and keeps the number of
// events that an agent could neither store nor report before it ended.
//
// The lock says nothing of SQLite's own, which every connection takes for a moment.

#include "StreamError.h"

#include <sys/types.h>

#include <optional>
#include <string>

namespace KXCore {

/// Another process owns the stream. what() is "PATH: PROGRAM (process PID) owns it".
class StreamOwnedError : public StreamError {
  public:
    StreamOwnedError(const std::string& path, const std::string& program, pid_t pid);

    /// Who it is, as far as the file tells: an empty name and 0 when it does not.
    const std::string& program() const noexcept { return program_; }
    pid_t pid() const noexcept { return pid_; }

  private:
    std::string program_;
    pid_t pid_;
};

class StreamOwner {
  public:
    /// Makes this process the owner of the stream at `path`, as `program`, and does not wait. The lock file is made,
    /// for its owner alone, where there is none. Throws StreamOwnedError, or a StreamError when the file cannot be
    /// used: it is a link, or somebody else's.
    StreamOwner(const std::string& path, const std::string& program);

    /// The same for a program that writes for a moment: no value where no agent has ever owned the stream, and a lock
    /// file of somebody else's is taken as it is.
    static std::optional<StreamOwner> forAMoment(const std::string& path, const std::string& program);

    ~StreamOwner();
    StreamOwner(StreamOwner&& other) noexcept;
    StreamOwner& operator=(StreamOwner&& other) noexcept;

    /// Events that an owner lost and did not report in the stream.
    unsigned long long lost() const;
    /// Takes no room on the disk, so that it works on a full one.
    void setLost(unsigned long long count) const;

  private:
    enum class Made { IfMissing, Never };
    StreamOwner(const std::string& path, const std::string& program, Made made);

    void lock(const std::string& path) const;
    void write(const std::string& program, unsigned long long lost) const;

    int file_ = -1;
    std::string program_;
};

}  // namespace KXCore
