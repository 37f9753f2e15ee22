#pragma once

// System calls on sockets that wait for a time at most, whatever mode the socket is in.

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDate.h>

#include <cstddef>

#include <sys/socket.h>

namespace KXPlatform {

/// An address that a caller gave.
struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;

    const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// False for data that is too short or too long for an address.
bool readAddress(CFDataRef data, SocketAddress& address) noexcept;

/// The address of the socket, or of its peer; null where there is none.
CFDataRef copyOwnAddress(int socket) noexcept;
CFDataRef copyPeerAddress(int socket) noexcept;

/// 0, an errno, or EINPROGRESS: the connection is being made, after `timeout` seconds or, where that is negative, at once.
/// The socket's mode is as it was, but in the last case, in which it no longer waits by itself.
int connectWithin(int socket, const SocketAddress& address, CFTimeInterval timeout) noexcept;

/// Sends all, to `address` or the peer. 0 or an errno; EAGAIN when the time was over.
int sendWithin(int socket, const SocketAddress* address, const UInt8* bytes, std::size_t size,
               CFTimeInterval timeout) noexcept;

/// Whether a socket has no error; takes it from the socket.
int takeError(int socket) noexcept;

void setWaiting(int descriptor, bool waits) noexcept;

}  // namespace KXPlatform
