#include "PortTable.h"

#include <mach/mach_port.h>

#include <limits>

using namespace KXPlatform;

const mach_port_t mach_task_self_ = 0x103;

namespace {

bool isThisTask(mach_port_t task) noexcept { return task == mach_task_self_; }

/// Gives up rights to send; a dead name ends with its last one.
void dropSendRights(mach_port_name_t name, LockedPort&& port, std::uint32_t count) noexcept {
    port->sendRights -= count;
    if (port->sendRights == 0 && !port->receive) PortTable::shared().endName(name, std::move(port));
}

kern_return_t modifySendRights(mach_port_name_t name, LockedPort&& port, mach_port_delta_t delta) noexcept {
    const std::int64_t changed = std::int64_t{port->sendRights} + delta;
    if (changed < 0) return KERN_INVALID_VALUE;
    if (changed > PortTable::kMaximumRights) return KERN_UREFS_OVERFLOW;
    if (delta < 0) {
        dropSendRights(name, std::move(port), static_cast<std::uint32_t>(-std::int64_t{delta}));
    } else {
        port->sendRights = static_cast<std::uint32_t>(changed);
    }
    return KERN_SUCCESS;
}

}  // namespace

kern_return_t mach_port_allocate(ipc_space_t task, mach_port_right_t right, mach_port_name_t* name) {
    if (!isThisTask(task)) return MACH_SEND_INVALID_DEST;
    if (!name) return KERN_INVALID_ARGUMENT;
    if (right != MACH_PORT_RIGHT_RECEIVE) return KERN_INVALID_VALUE;
    return PortTable::shared().allocate(*name);
}

kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name) {
    if (!isThisTask(task)) return MACH_SEND_INVALID_DEST;
    PortTable& table = PortTable::shared();
    LockedPort port = table.find(name);
    if (!port) return KERN_INVALID_NAME;
    if (port->sendRights > 0) {
        dropSendRights(name, std::move(port), 1);
    } else {
        table.endReceive(name, std::move(port));
    }
    return KERN_SUCCESS;
}

kern_return_t mach_port_destroy(ipc_space_t task, mach_port_name_t name) {
    if (!isThisTask(task)) return MACH_SEND_INVALID_DEST;
    PortTable& table = PortTable::shared();
    LockedPort port = table.find(name);
    if (!port) return KERN_INVALID_NAME;
    port->sendRights = 0;
    if (port->receive) {
        table.endReceive(name, std::move(port));
    } else {
        table.endName(name, std::move(port));
    }
    return KERN_SUCCESS;
}

kern_return_t mach_port_mod_refs(ipc_space_t task, mach_port_name_t name, mach_port_right_t right,
                                 mach_port_delta_t delta) {
    if (!isThisTask(task)) return MACH_SEND_INVALID_DEST;
    PortTable& table = PortTable::shared();
    LockedPort port = table.find(name);
    if (!port) return KERN_INVALID_NAME;
    switch (right) {
        case MACH_PORT_RIGHT_RECEIVE:
            if (!port->receive) return KERN_INVALID_RIGHT;
            if (delta == 0) return KERN_SUCCESS;
            if (delta != -1) return KERN_INVALID_VALUE;
            table.endReceive(name, std::move(port));
            return KERN_SUCCESS;
        case MACH_PORT_RIGHT_SEND:
            if (!port->receive || port->sendRights == 0) return KERN_INVALID_RIGHT;
            return modifySendRights(name, std::move(port), delta);
        case MACH_PORT_RIGHT_DEAD_NAME:
            if (port->receive) return KERN_INVALID_RIGHT;
            return modifySendRights(name, std::move(port), delta);
        case MACH_PORT_RIGHT_SEND_ONCE:
        case MACH_PORT_RIGHT_PORT_SET:
            return KERN_INVALID_RIGHT;
        default:
            return KERN_INVALID_VALUE;
    }
}

kern_return_t mach_port_insert_right(ipc_space_t task, mach_port_name_t name, mach_port_t poly,
                                     mach_msg_type_name_t polyPoly) {
    if (!isThisTask(task)) return MACH_SEND_INVALID_DEST;
    if (polyPoly != MACH_MSG_TYPE_MAKE_SEND && polyPoly != MACH_MSG_TYPE_COPY_SEND &&
        polyPoly != MACH_MSG_TYPE_MOVE_SEND) {
        return KERN_INVALID_VALUE;
    }
    PortTable& table = PortTable::shared();
    if (name != poly) {
        if (!table.find(poly)) return KERN_INVALID_NAME;
        return table.find(name) ? KERN_NAME_EXISTS : KERN_RIGHT_EXISTS;
    }
    LockedPort port = table.find(name);
    if (!port) return KERN_INVALID_NAME;
    if (!port->receive) return KERN_INVALID_RIGHT;
    if (polyPoly != MACH_MSG_TYPE_MAKE_SEND && port->sendRights == 0) return KERN_INVALID_RIGHT;
    if (polyPoly == MACH_MSG_TYPE_MOVE_SEND) return KERN_SUCCESS;
    if (port->sendRights == PortTable::kMaximumRights) return KERN_UREFS_OVERFLOW;
    ++port->sendRights;
    if (polyPoly == MACH_MSG_TYPE_MAKE_SEND) ++port->rightsMade;
    return KERN_SUCCESS;
}

kern_return_t mach_port_get_attributes(ipc_space_read_t task, mach_port_name_t name, mach_port_flavor_t flavor,
                                       mach_port_info_t port_info_out, mach_msg_type_number_t* port_info_outCnt) {
    if (!isThisTask(task)) return MACH_SEND_INVALID_DEST;
    if (!port_info_out || !port_info_outCnt) return KERN_INVALID_ARGUMENT;
    const LockedPort port = PortTable::shared().find(name);
    if (!port) return KERN_INVALID_NAME;
    if (!port->receive) return KERN_INVALID_RIGHT;
    switch (flavor) {
        case MACH_PORT_LIMITS_INFO: {
            if (*port_info_outCnt < MACH_PORT_LIMITS_INFO_COUNT) return KERN_FAILURE;
            *reinterpret_cast<mach_port_limits_t*>(port_info_out) = {.mpl_qlimit = port->limit};
            *port_info_outCnt = MACH_PORT_LIMITS_INFO_COUNT;
            return KERN_SUCCESS;
        }
        case MACH_PORT_RECEIVE_STATUS: {
            if (*port_info_outCnt < MACH_PORT_RECEIVE_STATUS_COUNT) return KERN_FAILURE;
            mach_port_status_t status{};
            status.mps_seqno = port->received;
            status.mps_mscount = port->rightsMade;
            status.mps_qlimit = port->limit;
            status.mps_msgcount = static_cast<mach_port_msgcount_t>(port->queue.size());
            status.mps_srights = port->sendRights > 0;
            *reinterpret_cast<mach_port_status_t*>(port_info_out) = status;
            *port_info_outCnt = MACH_PORT_RECEIVE_STATUS_COUNT;
            return KERN_SUCCESS;
        }
        default:
            return KERN_INVALID_VALUE;
    }
}

kern_return_t mach_port_set_attributes(ipc_space_t task, mach_port_name_t name, mach_port_flavor_t flavor,
                                       mach_port_info_t port_info, mach_msg_type_number_t port_infoCnt) {
    if (!isThisTask(task)) return MACH_SEND_INVALID_DEST;
    if (!port_info) return KERN_INVALID_ARGUMENT;
    LockedPort port = PortTable::shared().find(name);
    if (!port) return KERN_INVALID_NAME;
    if (!port->receive) return KERN_INVALID_RIGHT;
    if (flavor != MACH_PORT_LIMITS_INFO) return KERN_INVALID_VALUE;
    if (port_infoCnt < MACH_PORT_LIMITS_INFO_COUNT) return KERN_FAILURE;
    const mach_port_msgcount_t limit = reinterpret_cast<const mach_port_limits_t*>(port_info)->mpl_qlimit;
    if (limit > MACH_PORT_QLIMIT_MAX) return KERN_INVALID_VALUE;
    port->limit = limit;
    port->room.notify_all();
    return KERN_SUCCESS;
}
