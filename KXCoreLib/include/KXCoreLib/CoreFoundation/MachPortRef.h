#pragma once

#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFMachPort.h>

namespace KXCore::CoreFoundation {

/// A port whose messages a run loop delivers to a callback. There is one valid object for a port.
class KX_EXPORT MachPortRef : public TypedRef<MachPortRef, CFMachPortRef> {
  public:
    static constexpr const char* typeName = "CFMachPortRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// With a port of its own, which ends with the object.
    static MachPortRef create(CFAllocatorRef allocator, CFMachPortCallBack callout, CFMachPortContext* context,
                              Boolean* shouldFreeInfo);
    /// For a port of the caller's, which is left alone. When there is an object for it already, that one is returned,
    /// `context` is not taken, and `*shouldFreeInfo` is set.
    static MachPortRef createWithPort(CFAllocatorRef allocator, mach_port_t portNum, CFMachPortCallBack callout,
                                      CFMachPortContext* context, Boolean* shouldFreeInfo);
    static RunLoopSourceRef createRunLoopSource(CFAllocatorRef allocator, CFMachPortRef port, CFIndex order);

    mach_port_t getPort() const;
    void getContext(CFMachPortContext* context) const;
    /// Ends delivery, and the object's source, for good. Any thread.
    void invalidate() const;
    Boolean isValid() const;
    CFMachPortInvalidationCallBack getInvalidationCallBack() const;
    void setInvalidationCallBack(CFMachPortInvalidationCallBack callout) const;
};
static_assert(isPlainRef<MachPortRef>);

}  // namespace KXCore::CoreFoundation
