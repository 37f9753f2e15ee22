#pragma once

// Ends work that has no end of its own when a person or the system asks for it.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <stdexcept>

namespace kxtool {

/// While it lives, SIGINT and SIGTERM do not end the process but are told here. One at a time.
class Interruption {
  public:
    Interruption() {
        if (pipe(ends_) != 0) throw std::runtime_error("cannot make a pipe");
        for (const int end : ends_) {
            fcntl(end, F_SETFD, FD_CLOEXEC);
            fcntl(end, F_SETFL, O_NONBLOCK);
        }
        struct sigaction action {};
        action.sa_handler = [](int) {
            const char byte = 0;
            [[maybe_unused]] const ssize_t ignored = write(ends_[1], &byte, 1);  // full is as good
        };
        sigaction(SIGINT, &action, &oldInterrupt_);
        sigaction(SIGTERM, &action, &oldTerminate_);
    }
    ~Interruption() {
        sigaction(SIGINT, &oldInterrupt_, nullptr);
        sigaction(SIGTERM, &oldTerminate_, nullptr);
        for (const int end : ends_) close(end);
    }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Can be read from once it came.
    int descriptor() const { return ends_[0]; }

    /// Waits for it, and tells whether it came. A time of 0 only looks.
    bool wait(int milliseconds) const {
        pollfd polled{ends_[0], POLLIN, 0};
        // A signal also cuts the wait short; its byte is then there to be seen.
        return poll(&polled, 1, milliseconds) != 0 && (polled.revents != 0 || poll(&polled, 1, 0) == 1);
    }

  private:
    static inline int ends_[2] = {-1, -1};
    struct sigaction oldInterrupt_ {};
    struct sigaction oldTerminate_ {};
};

}  // namespace kxtool
