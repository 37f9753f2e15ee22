#pragma once

#include "Counters.h"

#include <string>

namespace agent {

/// Tells whoever connects to a local socket how the agent is doing: one line of JSON, then the end.
///
///     {"events":3,"recorded":3,"waiting":0,"delivered":2,"dropped":0,"last_error":""}
class StatusSocket {
  public:
    /// Listens at `path`, for the agent's user and group. Takes the place of a socket that nobody listens at any more.
    /// Throws std::system_error where that cannot be.
    StatusSocket(std::string path, const Counters& counters);
    ~StatusSocket();
    StatusSocket(const StatusSocket&) = delete;
    StatusSocket& operator=(const StatusSocket&) = delete;

    int descriptor() const { return fd_; }

    /// Serves those who have connected. Waits for nobody.
    void serve() const;

  private:
    const std::string path_;
    const Counters& counters_;
    int fd_;
};

}  // namespace agent
