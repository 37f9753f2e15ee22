#pragma once

/// Messages, and the call that sends and receives them.

#include <mach/port.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned int mach_msg_bits_t;
typedef natural_t mach_msg_size_t;
typedef integer_t mach_msg_id_t;
typedef unsigned int mach_msg_type_name_t;
typedef natural_t mach_msg_type_number_t;
typedef integer_t mach_msg_option_t;
typedef natural_t mach_msg_timeout_t;
typedef kern_return_t mach_msg_return_t;

/// Every message begins with this; what follows it, `msgh_size` less 24 bytes, is the sender's own. As sent, the remote
/// port is the destination and the local port the one to reply to; as received, the two have changed places.
typedef struct mach_msg_header {
    mach_msg_bits_t msgh_bits;
    mach_msg_size_t msgh_size;
    mach_port_t msgh_remote_port;
    mach_port_t msgh_local_port;
    mach_port_name_t msgh_voucher_port;
    mach_msg_id_t msgh_id;
} mach_msg_header_t;

/// `msgh_bits`: what becomes of the sender's right to the remote port and to the local one.
#define MACH_MSGH_BITS_REMOTE_MASK 0x0000001fU
#define MACH_MSGH_BITS_LOCAL_MASK 0x00001f00U
#define MACH_MSGH_BITS_COMPLEX 0x80000000U
#define MACH_MSGH_BITS(remote, local) ((remote) | ((local) << 8))
#define MACH_MSGH_BITS_REMOTE(bits) ((bits)&MACH_MSGH_BITS_REMOTE_MASK)
#define MACH_MSGH_BITS_LOCAL(bits) (((bits)&MACH_MSGH_BITS_LOCAL_MASK) >> 8)

#define MACH_MSG_TYPE_MOVE_SEND 17
#define MACH_MSG_TYPE_MOVE_SEND_ONCE 18
#define MACH_MSG_TYPE_COPY_SEND 19
#define MACH_MSG_TYPE_MAKE_SEND 20
#define MACH_MSG_TYPE_MAKE_SEND_ONCE 21

#define MACH_MSG_OPTION_NONE 0x0
#define MACH_SEND_MSG 0x1
#define MACH_RCV_MSG 0x2
#define MACH_RCV_LARGE 0x4
#define MACH_SEND_TIMEOUT 0x10
#define MACH_RCV_TIMEOUT 0x100

#define MACH_MSG_TIMEOUT_NONE 0u

#define MACH_MSG_SUCCESS 0x0
#define MACH_SEND_INVALID_DATA 0x10000002
#define MACH_SEND_INVALID_DEST 0x10000003
#define MACH_SEND_TIMED_OUT 0x10000004
#define MACH_SEND_MSG_TOO_SMALL 0x10000008
#define MACH_SEND_INVALID_REPLY 0x10000009
#define MACH_SEND_NO_BUFFER 0x1000000d
#define MACH_SEND_TOO_LARGE 0x1000000e
#define MACH_SEND_INVALID_TYPE 0x1000000f
#define MACH_SEND_INVALID_HEADER 0x10000010
#define MACH_RCV_INVALID_NAME 0x10004002
#define MACH_RCV_TIMED_OUT 0x10004003
#define MACH_RCV_TOO_LARGE 0x10004004
#define MACH_RCV_INVALID_DATA 0x10004008
#define MACH_RCV_PORT_DIED 0x10004009

/// Sends `msg` (MACH_SEND_MSG), then receives into it (MACH_RCV_MSG); with neither option it does nothing.
///
/// Sending queues a copy of the first `send_size` bytes (a multiple of 4, from 24 to 1 MiB; `msgh_size` is not looked
/// at) on the remote port, by a right of the kind that the low bits of `msgh_bits` name. A full port makes the sender
/// wait: without end, or with MACH_SEND_TIMEOUT for `timeout` milliseconds, 0 not at all.
///   MACH_SEND_TIMED_OUT        the port stayed full
///   MACH_SEND_INVALID_DEST     the remote port is no right of that kind, or it died while the sender waited
///   MACH_SEND_INVALID_REPLY    the local port is no right of the kind named for it, or a send-once right is asked for
///   MACH_SEND_INVALID_HEADER   `msgh_bits` holds a kind that is none, or names no kind for a local port
///   MACH_SEND_INVALID_TYPE     the message is complex: only inline bytes travel here
///   MACH_SEND_INVALID_DATA, MACH_SEND_MSG_TOO_SMALL, MACH_SEND_TOO_LARGE, MACH_SEND_NO_BUFFER
///
/// Receiving takes the oldest message of the port `rcv_name` into `msg`, which holds `rcv_size` bytes; no trailer
/// follows the message. An empty port makes the receiver wait: without end, or with MACH_RCV_TIMEOUT for `timeout`
/// milliseconds.
///   MACH_RCV_TIMED_OUT         no message came
///   MACH_RCV_INVALID_NAME      this process has no right to receive from `rcv_name`
///   MACH_RCV_PORT_DIED         the port died while the receiver waited
///   MACH_RCV_TOO_LARGE         the message does not fit; it is lost, or with MACH_RCV_LARGE kept, and `msgh_size` says
///                              what it takes where a header fits
///   MACH_RCV_INVALID_DATA      `msg` is null
///
/// `notify` is not used. Any number of threads may send to and receive from one port.
__attribute__((visibility("default"))) mach_msg_return_t mach_msg(mach_msg_header_t* msg, mach_msg_option_t option,
                                                                  mach_msg_size_t send_size, mach_msg_size_t rcv_size,
                                                                  mach_port_name_t rcv_name, mach_msg_timeout_t timeout,
                                                                  mach_port_name_t notify);

#ifdef __cplusplus
}
#endif
