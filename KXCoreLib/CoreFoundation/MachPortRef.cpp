#include <KXCoreLib/CoreFoundation/MachPortRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID MachPortRef::getTypeID() { return CFMachPortGetTypeID(); }

MachPortRef MachPortRef::create(CFAllocatorRef allocator, CFMachPortCallBack callout, CFMachPortContext* context,
                                Boolean* shouldFreeInfo) {
    return KX_CREATE(MachPortRef, CFMachPortCreate)(allocator, callout, context, shouldFreeInfo);
}

MachPortRef MachPortRef::createWithPort(CFAllocatorRef allocator, mach_port_t portNum, CFMachPortCallBack callout,
                                        CFMachPortContext* context, Boolean* shouldFreeInfo) {
    return KX_CREATE(MachPortRef, CFMachPortCreateWithPort)(allocator, portNum, callout, context, shouldFreeInfo);
}

RunLoopSourceRef MachPortRef::createRunLoopSource(CFAllocatorRef allocator, CFMachPortRef port, CFIndex order) {
    return KX_CREATE(RunLoopSourceRef, CFMachPortCreateRunLoopSource)(allocator, port, order);
}

mach_port_t MachPortRef::getPort() const { return CFMachPortGetPort(get()); }
void MachPortRef::getContext(CFMachPortContext* context) const { CFMachPortGetContext(get(), context); }
void MachPortRef::invalidate() const { CFMachPortInvalidate(get()); }
Boolean MachPortRef::isValid() const { return CFMachPortIsValid(get()); }

CFMachPortInvalidationCallBack MachPortRef::getInvalidationCallBack() const {
    return CFMachPortGetInvalidationCallBack(get());
}

void MachPortRef::setInvalidationCallBack(CFMachPortInvalidationCallBack callout) const {
    CFMachPortSetInvalidationCallBack(get(), callout);
}

}  // namespace KXCore::CoreFoundation
