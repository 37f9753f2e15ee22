#pragma once

/// Ports: queues of messages known in the whole process by a number, their name.
///
/// They work inside one process only. No call carries a port, a right or a message to another process: a name means
/// nothing there, or another port. A forked child has copies of its parent's ports, with the messages that waited at
/// that moment, and what either of the two sends from then on stays with the sender.
///
/// A name stands for rights that the process holds: one to receive, and any number of counted ones to send. It ends
/// with the last of them, and its number is not given out again until very many others have been, so a name kept too
/// long is recognised as stale. When the right to receive goes, waiting messages are lost, and a name that still counts
/// rights to send is dead: it can only be released.
///
/// Every call may be made from any thread. `task` is mach_task_self(); with another the calls return
/// MACH_SEND_INVALID_DEST. A name that stands for nothing is KERN_INVALID_NAME, one that lacks the right in question
/// KERN_INVALID_RIGHT, a null pointer KERN_INVALID_ARGUMENT.

#include <mach/message.h>
#include <mach/port.h>

#ifdef __cplusplus
extern "C" {
#endif

#define KX_MACH_EXPORT __attribute__((visibility("default")))

/// Makes a port and stores its name in `*name`, which holds the right to receive. `right` is MACH_PORT_RIGHT_RECEIVE;
/// of others (port sets, dead names) none can be made here: KERN_INVALID_VALUE. KERN_NO_SPACE when there are a million
/// ports, KERN_RESOURCE_SHORTAGE when there is no memory.
KX_MACH_EXPORT kern_return_t mach_port_allocate(ipc_space_t task, mach_port_right_t right, mach_port_name_t* name);

/// Gives up one right to send, or what a dead name counts; where none is left it gives up the right to receive, and
/// with it the port. (A kernel keeps the right to receive apart and returns KERN_INVALID_RIGHT. Here the call that ends
/// anybody's hold on a name also frees the port behind it: who made it and let it go has nothing to leak.)
KX_MACH_EXPORT kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name);

/// Gives up every right that `name` stands for.
KX_MACH_EXPORT kern_return_t mach_port_destroy(ipc_space_t task, mach_port_name_t name);

/// Changes the count of one kind of right by `delta`. The right to receive can only be given up (-1).
/// KERN_INVALID_VALUE when the count would fall below zero, KERN_UREFS_OVERFLOW when it would pass 65535.
KX_MACH_EXPORT kern_return_t mach_port_mod_refs(ipc_space_t task, mach_port_name_t name, mach_port_right_t right,
                                                mach_port_delta_t delta);

/// Adds a right to send to the port `poly` under `name`, made from the right to receive (MACH_MSG_TYPE_MAKE_SEND) or
/// copied or moved from one to send. All rights to one port go by one name: another one is KERN_NAME_EXISTS when it is
/// in use and KERN_RIGHT_EXISTS when it is free. Other kinds are KERN_INVALID_VALUE.
KX_MACH_EXPORT kern_return_t mach_port_insert_right(ipc_space_t task, mach_port_name_t name, mach_port_t poly,
                                                    mach_msg_type_name_t polyPoly);

/// Reads what `flavor` names into the record `port_info_out`, of `*port_info_outCnt` integers; the count comes back as
/// what was stored. KERN_FAILURE when the record is too small, KERN_INVALID_VALUE when there is no such flavor.
KX_MACH_EXPORT kern_return_t mach_port_get_attributes(ipc_space_read_t task, mach_port_name_t name,
                                                      mach_port_flavor_t flavor, mach_port_info_t port_info_out,
                                                      mach_msg_type_number_t* port_info_outCnt);

/// Sets the queue limit (MACH_PORT_LIMITS_INFO), at most MACH_PORT_QLIMIT_MAX. Messages beyond a lower limit stay;
/// senders that wait go on when it is raised.
KX_MACH_EXPORT kern_return_t mach_port_set_attributes(ipc_space_t task, mach_port_name_t name,
                                                      mach_port_flavor_t flavor, mach_port_info_t port_info,
                                                      mach_msg_type_number_t port_infoCnt);

/// The name of this process; it is nobody's port.
extern KX_MACH_EXPORT const mach_port_t mach_task_self_;
#define mach_task_self() mach_task_self_

#ifdef __cplusplus
}
#endif
