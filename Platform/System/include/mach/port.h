#pragma once

/// Names and rights of ports, and what can be asked and set about them.

#include <mach/kern_return.h>
#include <stdint.h>

typedef int integer_t;
typedef unsigned int natural_t;
typedef int boolean_t;

typedef unsigned int mach_port_t;
typedef mach_port_t mach_port_name_t;
typedef mach_port_t ipc_space_t;
typedef mach_port_t ipc_space_read_t;
typedef mach_port_t task_t;

typedef natural_t mach_port_right_t;
typedef natural_t mach_port_urefs_t;
typedef integer_t mach_port_delta_t;
typedef natural_t mach_port_seqno_t;
typedef natural_t mach_port_mscount_t;
typedef natural_t mach_port_msgcount_t;
typedef natural_t mach_port_rights_t;
typedef int mach_port_flavor_t;
typedef integer_t* mach_port_info_t;

/// No port, and the name that stands in a message for a port that has died on the way.
#define MACH_PORT_NULL 0u
#define MACH_PORT_DEAD 0xFFFFFFFFu
#define MACH_PORT_VALID(name) ((name) != MACH_PORT_NULL && (name) != MACH_PORT_DEAD)

#define MACH_PORT_RIGHT_SEND 0u
#define MACH_PORT_RIGHT_RECEIVE 1u
#define MACH_PORT_RIGHT_SEND_ONCE 2u
#define MACH_PORT_RIGHT_PORT_SET 3u
#define MACH_PORT_RIGHT_DEAD_NAME 4u

#define MACH_PORT_LIMITS_INFO 1
#define MACH_PORT_RECEIVE_STATUS 2

/// How many messages a port holds before its senders have to wait.
#define MACH_PORT_QLIMIT_DEFAULT 5u
#define MACH_PORT_QLIMIT_MAX 1024u

typedef struct mach_port_limits {
    mach_port_msgcount_t mpl_qlimit;
} mach_port_limits_t;

typedef struct mach_port_status {
    mach_port_rights_t mps_pset;
    mach_port_seqno_t mps_seqno;
    mach_port_mscount_t mps_mscount;
    mach_port_msgcount_t mps_qlimit;
    mach_port_msgcount_t mps_msgcount;
    mach_port_rights_t mps_sorights;
    boolean_t mps_srights;
    boolean_t mps_pdrequest;
    boolean_t mps_nsrequest;
    natural_t mps_flags;
} mach_port_status_t;

/// Sizes of the two records, counted in integers.
#define MACH_PORT_LIMITS_INFO_COUNT 1u
#define MACH_PORT_RECEIVE_STATUS_COUNT 10u
