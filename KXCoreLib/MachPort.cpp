#include <KXCoreLib/MachPort.h>

#include "Log.h"
#include "Notification.h"

namespace KXCore {
namespace {

constexpr char kFile[] = "KXCoreLib/MachPort";

mach_port_t allocatePort() {
    mach_port_t name = MACH_PORT_NULL;
    if (mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &name) != KERN_SUCCESS) FatalExit(kFile, 15);
    return name;
}

}  // namespace

MachPort::MachPort(unsigned int name) : port(name != MACH_PORT_NULL ? name : allocatePort()) {}

MachPort::~MachPort() { mach_port_deallocate(mach_task_self(), port); }

EventPort::EventPort(unsigned int name) : MachPort(name) {
    if (LimitToOneMessage(getPort()) != KERN_SUCCESS) FatalExit(kFile, 42);
}

kern_return_t EventPort::signal() const {
    const kern_return_t result = SendNotification(getPort());
    if (result != MACH_MSG_SUCCESS && result != MACH_SEND_TIMED_OUT) FatalExit(kFile, 74);
    return result;
}

}  // namespace KXCore
