#include "PortTable.h"

#include <mach/message.h>

#include <cstring>

using namespace KXPlatform;

namespace {

using Deadline = std::optional<std::chrono::steady_clock::time_point>;

constexpr mach_msg_size_t kMaximumSize = 1 << 20;

Deadline deadlineAfter(bool limited, mach_msg_timeout_t milliseconds) {
    if (!limited) return std::nullopt;
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

/// False when the deadline has passed.
bool wait(std::condition_variable& condition, std::unique_lock<std::mutex>& lock, const Deadline& deadline) {
    if (!deadline) {
        condition.wait(lock);
        return true;
    }
    return condition.wait_until(lock, *deadline) == std::cv_status::no_timeout;
}

/// Whether the port's name holds what a message of this kind is sent by.
bool holdsRight(const PortSlot& port, mach_msg_type_name_t kind) noexcept {
    switch (kind) {
        case MACH_MSG_TYPE_MAKE_SEND:
        case MACH_MSG_TYPE_MAKE_SEND_ONCE:
            return port.receive;
        case MACH_MSG_TYPE_COPY_SEND:
        case MACH_MSG_TYPE_MOVE_SEND:
            return port.receive && port.sendRights > 0;
        default:  // send-once rights have no names here
            return false;
    }
}

bool isKindOfRight(mach_msg_type_name_t kind) noexcept {
    return kind >= MACH_MSG_TYPE_MOVE_SEND && kind <= MACH_MSG_TYPE_MAKE_SEND_ONCE;
}

/// What the sender does to his own count of rights by sending.
void useRight(PortSlot& port, mach_msg_type_name_t kind) noexcept {
    if (kind == MACH_MSG_TYPE_MOVE_SEND) --port.sendRights;
    if (kind == MACH_MSG_TYPE_MAKE_SEND) ++port.rightsMade;
}

mach_msg_return_t checkReply(mach_port_t reply, mach_msg_type_name_t kind) noexcept {
    if (kind == 0) return reply == MACH_PORT_NULL ? MACH_MSG_SUCCESS : MACH_SEND_INVALID_HEADER;
    if (!isKindOfRight(kind)) return MACH_SEND_INVALID_HEADER;
    if (kind == MACH_MSG_TYPE_MAKE_SEND_ONCE) return MACH_SEND_INVALID_REPLY;
    const LockedPort port = PortTable::shared().find(reply);
    return port && holdsRight(*port, kind) ? MACH_MSG_SUCCESS : MACH_SEND_INVALID_REPLY;
}

/// The message as it will be received: the two ports change places, and a right to send comes with the one to reply to.
bool compose(PortMessage& message, const mach_msg_header_t* sent, mach_msg_size_t size) noexcept {
    const mach_msg_type_name_t kind = MACH_MSGH_BITS_REMOTE(sent->msgh_bits);
    const bool replies = sent->msgh_local_port != MACH_PORT_NULL;
    const mach_msg_header_t header{
        .msgh_bits = MACH_MSGH_BITS(replies ? unsigned{MACH_MSG_TYPE_MOVE_SEND} : 0u,
                                    kind == MACH_MSG_TYPE_MAKE_SEND_ONCE ? unsigned{MACH_MSG_TYPE_MOVE_SEND_ONCE}
                                                                         : unsigned{MACH_MSG_TYPE_MOVE_SEND}),
        .msgh_size = size,
        .msgh_remote_port = sent->msgh_local_port,
        .msgh_local_port = sent->msgh_remote_port,
        .msgh_voucher_port = MACH_PORT_NULL,
        .msgh_id = sent->msgh_id,
    };
    message.header = header;
    if (size == sizeof header) return true;
    message.whole.reset(new (std::nothrow) std::byte[size]);
    if (!message.whole) return false;
    std::memcpy(message.whole.get(), sent, size);
    std::memcpy(message.whole.get(), &header, sizeof header);
    return true;
}

mach_msg_return_t send(const mach_msg_header_t* sent, mach_msg_size_t size, bool limited,
                       mach_msg_timeout_t milliseconds) noexcept {
    if (!sent) return MACH_SEND_INVALID_DATA;
    if (size < sizeof *sent || size % 4 != 0) return MACH_SEND_MSG_TOO_SMALL;
    if (size > kMaximumSize) return MACH_SEND_TOO_LARGE;
    const mach_msg_bits_t bits = sent->msgh_bits;
    if (bits & MACH_MSGH_BITS_COMPLEX) return MACH_SEND_INVALID_TYPE;
    const mach_msg_type_name_t kind = MACH_MSGH_BITS_REMOTE(bits);
    const mach_msg_type_name_t replyKind = MACH_MSGH_BITS_LOCAL(bits);
    const mach_port_name_t name = sent->msgh_remote_port;
    const mach_port_name_t reply = sent->msgh_local_port;
    if (!isKindOfRight(kind)) return MACH_SEND_INVALID_HEADER;
    if (const mach_msg_return_t result = checkReply(reply, replyKind)) return result;

    PortMessage message;
    if (!compose(message, sent, size)) return MACH_SEND_NO_BUFFER;
    LockedPort port = PortTable::shared().find(name);
    if (!port || !holdsRight(*port, kind)) return MACH_SEND_INVALID_DEST;
    if (port->queue.size() >= port->limit) {
        if (limited && milliseconds == 0) return MACH_SEND_TIMED_OUT;
        const std::uint32_t generation = port->generation;
        const Deadline deadline = deadlineAfter(limited, milliseconds);
        bool inTime = true;
        ++port->waitingSenders;
        while (inTime && port->generation == generation && port->receive && port->queue.size() >= port->limit) {
            inTime = wait(port->room, port.lock(), deadline);
        }
        --port->waitingSenders;
        if (port->generation != generation || !holdsRight(*port, kind)) return MACH_SEND_INVALID_DEST;
        if (port->queue.size() >= port->limit) return MACH_SEND_TIMED_OUT;
    }
    try {
        port->queue.push(std::move(message));
    } catch (...) {
        return MACH_SEND_NO_BUFFER;
    }
    useRight(*port, kind);
    announceMessage(std::move(port));
    if (reply != MACH_PORT_NULL) {
        // The right travels in the message; a sender who gave his away has one less.
        if (const LockedPort from = PortTable::shared().find(reply); from && holdsRight(*from, replyKind)) {
            useRight(*from, replyKind);
        }
    }
    return MACH_MSG_SUCCESS;
}

mach_msg_return_t receive(mach_msg_header_t* into, mach_msg_size_t size, mach_port_name_t name,
                          mach_msg_option_t option, mach_msg_timeout_t milliseconds) noexcept {
    if (!into) return MACH_RCV_INVALID_DATA;
    LockedPort port = PortTable::shared().find(name);
    if (!port || !port->receive) return MACH_RCV_INVALID_NAME;
    if (port->queue.size() == 0) {
        const bool limited = option & MACH_RCV_TIMEOUT;
        if (limited && milliseconds == 0) return MACH_RCV_TIMED_OUT;
        const std::uint32_t generation = port->generation;
        const Deadline deadline = deadlineAfter(limited, milliseconds);
        bool inTime = true;
        ++port->waitingReceivers;
        while (inTime && port->generation == generation && port->receive && port->queue.size() == 0) {
            inTime = wait(port->arrival, port.lock(), deadline);
        }
        --port->waitingReceivers;
        if (port->generation != generation || !port->receive) return MACH_RCV_PORT_DIED;
        if (port->queue.size() == 0) return MACH_RCV_TIMED_OUT;
    }

    const mach_msg_size_t needed = port->queue.front().header.msgh_size;
    if (needed > size) {
        if (option & MACH_RCV_LARGE) {
            if (size >= sizeof *into) into->msgh_size = needed;
            return MACH_RCV_TOO_LARGE;
        }
        PortMessage lost = port->queue.pop();
        announceRoom(std::move(port));
        if (size >= sizeof *into) {
            *into = lost.header;
            into->msgh_remote_port = MACH_PORT_NULL;
        }
        return MACH_RCV_TOO_LARGE;
    }
    PortMessage message = port->queue.pop();
    ++port->received;
    announceRoom(std::move(port));
    std::memcpy(into, message.get(), needed);
    acceptReplyRight(*into);
    return MACH_MSG_SUCCESS;
}

}  // namespace

mach_msg_return_t mach_msg(mach_msg_header_t* msg, mach_msg_option_t option, mach_msg_size_t send_size,
                           mach_msg_size_t rcv_size, mach_port_name_t rcv_name, mach_msg_timeout_t timeout,
                           mach_port_name_t) {
    if (option & MACH_SEND_MSG) {
        if (const auto result = send(msg, send_size, option & MACH_SEND_TIMEOUT, timeout)) return result;
    }
    if (option & MACH_RCV_MSG) return receive(msg, rcv_size, rcv_name, option, timeout);
    return MACH_MSG_SUCCESS;
}
