#include "SocketCalls.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>

#include <fcntl.h>
#include <poll.h>

namespace KXPlatform {

namespace {

using Clock = std::chrono::steady_clock;

/// The point in time after `timeout` seconds; one that never comes for a time too long to count.
Clock::time_point deadlineAfter(CFTimeInterval timeout) noexcept {
    constexpr double kLongest = 1e9;
    if (!(timeout > 0)) return Clock::now();
    if (timeout >= kLongest) return Clock::time_point::max();
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeout));
}

/// 0 when the socket takes data, or has failed; EAGAIN when the time is over.
int waitUntilWritable(int socket, Clock::time_point deadline) noexcept {
    for (;;) {
        int milliseconds = -1;
        if (deadline != Clock::time_point::max()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            milliseconds = static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
        }
        pollfd wanted{socket, POLLOUT, 0};
        const int ready = ::poll(&wanted, 1, milliseconds);
        if (ready > 0) return 0;
        if (ready == 0) return EAGAIN;
        if (errno != EINTR) return errno;
    }
}

using GetName = int (*)(int, sockaddr*, socklen_t*);

CFDataRef copyName(int socket, GetName get) noexcept {
    sockaddr_storage storage{};
    socklen_t length = sizeof storage;
    if (get(socket, reinterpret_cast<sockaddr*>(&storage), &length) != 0 || length == 0) return nullptr;
    length = std::min<socklen_t>(length, sizeof storage);
    return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(&storage), static_cast<CFIndex>(length));
}

}  // namespace

bool readAddress(CFDataRef data, SocketAddress& address) noexcept {
    const CFIndex length = CFDataGetLength(data);
    if (length < static_cast<CFIndex>(sizeof(sa_family_t)) || length > static_cast<CFIndex>(sizeof address.storage))
        return false;
    std::memcpy(&address.storage, CFDataGetBytePtr(data), static_cast<std::size_t>(length));
    address.length = static_cast<socklen_t>(length);
    return true;
}

CFDataRef copyOwnAddress(int socket) noexcept { return copyName(socket, ::getsockname); }
CFDataRef copyPeerAddress(int socket) noexcept { return copyName(socket, ::getpeername); }

void setWaiting(int descriptor, bool waits) noexcept {
    const int flags = ::fcntl(descriptor, F_GETFL);
    const int wanted = waits ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
    if (flags >= 0 && wanted != flags) ::fcntl(descriptor, F_SETFL, wanted);
}

int takeError(int socket) noexcept {
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

int connectWithin(int socket, const SocketAddress& address, CFTimeInterval timeout) noexcept {
    const int flags = ::fcntl(socket, F_GETFL);
    if (flags < 0) return errno;
    const bool waited = (flags & O_NONBLOCK) == 0;
    if (waited) setWaiting(socket, false);
    int error = ::connect(socket, address.get(), address.length) == 0 ? 0 : errno;
    // Interrupted, a connection goes on being made.
    if (error == EINTR) error = EINPROGRESS;
    if (error == EINPROGRESS && !(timeout < 0)) {
        const int waiting = waitUntilWritable(socket, deadlineAfter(timeout));
        if (waiting != EAGAIN) error = waiting ? waiting : takeError(socket);
    }
    if (waited && error != EINPROGRESS) setWaiting(socket, true);
    return error;
}

int sendWithin(int socket, const SocketAddress* address, const UInt8* bytes, std::size_t size,
               CFTimeInterval timeout) noexcept {
    const Clock::time_point deadline = deadlineAfter(timeout);
    do {
        const ssize_t sent = ::sendto(socket, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT,
                                      address ? address->get() : nullptr, address ? address->length : 0);
        if (sent >= 0) {
            bytes += sent;
            size -= static_cast<std::size_t>(sent);
            continue;
        }
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return errno;
        if (const int waiting = waitUntilWritable(socket, deadline)) return waiting;
    } while (size > 0);
    return 0;
}

}  // namespace KXPlatform
