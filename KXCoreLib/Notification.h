#pragma once

// The notification message and the port that holds one of it: what the port classes and the plain functions share.

#include <mach/mach.h>

namespace KXCore {

/// Makes the queue of a port hold one message; returns the kernel's status.
inline kern_return_t LimitToOneMessage(mach_port_t port) noexcept {
    mach_port_limits limits{};
    limits.mpl_qlimit = 1;
    return mach_port_set_attributes(mach_task_self(), port, MACH_PORT_LIMITS_INFO,
                                    reinterpret_cast<mach_port_info_t>(&limits), MACH_PORT_LIMITS_INFO_COUNT);
}

/// Sends a bare header, without waiting for room; returns the kernel's status. A right to send is made for it from the
/// right to receive, which this task holds.
inline kern_return_t SendNotification(mach_port_t port) noexcept {
    mach_msg_header_t message{};
    message.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_MAKE_SEND, 0u);
    message.msgh_size = sizeof message;
    message.msgh_remote_port = port;
    return mach_msg(&message, MACH_SEND_MSG | MACH_SEND_TIMEOUT, sizeof message, 0, MACH_PORT_NULL, 0, MACH_PORT_NULL);
}

}  // namespace KXCore
