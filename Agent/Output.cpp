#include "Output.h"

#include "Report.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <system_error>

namespace agent {
namespace {

/// The path at which the standard output was opened; empty when it is no file and no named pipe.
std::string pathOfOutput() {
    struct stat status {};
    if (fstat(STDOUT_FILENO, &status) != 0 || !(S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode))) return "";
    std::array<char, PATH_MAX> target;
    const ssize_t length = readlink("/proc/self/fd/1", target.data(), target.size());
    if (length <= 0 || target[0] != '/') return "";
    return {target.data(), static_cast<std::size_t>(length)};
}

}  // namespace

Output::Output() : path_(pathOfOutput()), waker_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (waker_ < 0) throw std::system_error(errno, std::generic_category(), "no event descriptor");
}

Output::~Output() { close(waker_); }

void Output::wake() const { eventfd_write(waker_, 1); }

Output::Outcome Output::fail() {
    error_ = "standard output: " + std::generic_category().message(errno);
    return Outcome::Failed;
}

Output::Outcome Output::write(std::string_view lines, std::chrono::milliseconds patience) {
    while (done_ < lines.size()) {
        std::array<pollfd, 2> polled = {{{STDOUT_FILENO, POLLOUT, 0}, {waker_, POLLIN, 0}}};
        const int ready = poll(polled.data(), polled.size(), static_cast<int>(patience.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) return fail();
        if (polled[1].revents != 0) {
            eventfd_t ignored;
            eventfd_read(waker_, &ignored);
            return Outcome::Interrupted;
        }
        if (ready == 0) return Outcome::Interrupted;
        // A pipe that can be written takes that much without waiting; a socket is told not to wait.
        const std::string_view piece = lines.substr(done_, kMostAtOnce);
        ssize_t count = send(STDOUT_FILENO, piece.data(), piece.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno == ENOTSOCK) count = ::write(STDOUT_FILENO, piece.data(), piece.size());
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (count < 0) return fail();
        done_ += static_cast<std::size_t>(count);
    }
    done_ = 0;
    return Outcome::Written;
}

void Output::reopen() {
    if (path_.empty()) return;
    // Without waiting for the reader of a pipe.
    const int file = open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600);
    if (file < 0) return report(path_ + " cannot be opened again: " + std::generic_category().message(errno));
    fcntl(file, F_SETFL, O_APPEND);
    dup2(file, STDOUT_FILENO);
    close(file);
    done_ = 0;  // what the old one took a part of is whole in the new one
}

}  // namespace agent
