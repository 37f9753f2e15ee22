/* The plain functions as a C program calls them. */

#include <KXCoreLib/MachPort.h>

kern_return_t SignalTwiceFromC(mach_port_t* port) {
    kern_return_t result = kx_allocate_notification_port(port);
    if (result == KERN_SUCCESS) result = kx_send_notification_msg(*port);
    if (result == KERN_SUCCESS) result = kx_send_notification_msg(*port);
    return result;
}
