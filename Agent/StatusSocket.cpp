#include "StatusSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

namespace agent {
namespace {

constexpr int kWaiting = 16;

/// `text` as a string of JSON, quotes included. What is no UTF-8 was never in a message of ours.
std::string quoted(const std::string& text) {
    std::string json = "\"";
    for (const char c : text) {
        char escaped[8] = {c, '\0'};
        if (c == '"' || c == '\\') {
            std::snprintf(escaped, sizeof escaped, "\\%c", c);
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
        }
        json += escaped;
    }
    return json + "\"";
}

std::string textOf(const Counters& counters) {
    const auto number = [](const char* name, std::uint64_t value) {
        return "\"" + std::string(name) + "\":" + std::to_string(value) + ",";
    };
    return "{" + number("events", counters.events) + number("recorded", counters.recorded) +
           number("waiting", counters.waiting) + number("delivered", counters.delivered) +
           number("dropped", counters.dropped) + "\"last_error\":" + quoted(counters.lastError()) + "}\n";
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/// Removes a socket at which nobody listens.
void removeStale(const std::string& path, const sockaddr_un& address) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return;
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool isStale =
        connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 && errno == ECONNREFUSED;
    close(probe);
    if (isStale) unlink(path.c_str());
}

}  // namespace

StatusSocket::StatusSocket(std::string path, const Counters& counters) : path_(std::move(path)), counters_(counters) {
    const sockaddr_un address = addressOf(path_);
    removeStale(path_, address);
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const mode_t before = umask(0117);
    const bool bound = fd_ >= 0 && bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const int error = errno;
    umask(before);
    if (bound && listen(fd_, kWaiting) == 0) return;
    if (fd_ >= 0) close(fd_);
    throw std::system_error(error, std::generic_category(), path_);
}

StatusSocket::~StatusSocket() {
    unlink(path_.c_str());
    close(fd_);
}

void StatusSocket::serve() const {
    for (int client; (client = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)) >= 0; close(client)) {
        const std::string text = textOf(counters_);
        [[maybe_unused]] const ssize_t count = send(client, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
}

}  // namespace agent
