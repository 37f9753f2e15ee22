#pragma once

/// Ports as run-loop sources.
///
/// There is one valid object for a port: whoever asks again is given the same one, retained. Any thread may call any
/// function; callbacks come on the thread of the loop that holds the port's source, with no lock held. Ports reach no
/// further than the process (docs/platform.md).

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFRunLoop.h>

CF_EXTERN_C_BEGIN

typedef struct __CFMachPort* CFMachPortRef;
/// Version 0. The port retains `info`.
typedef struct CFMachPortContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void*);
    void (*release)(const void*);
    CFStringRef (*copyDescription)(const void*);
} CFMachPortContext;

/// A message came: the port, the message (a mach_msg_header_t and what follows), its size in bytes, and the context's
/// `info`. The message is good for the time of the call.
typedef void (*CFMachPortCallBack)(CFMachPortRef, void*, CFIndex, void*);
/// The port has become invalid. Called once, on the thread where that happened.
typedef void (*CFMachPortInvalidationCallBack)(CFMachPortRef, void*);

CF_EXPORT CFTypeID CFMachPortGetTypeID(void);
/// A new port with the rights to receive and to send, which is destroyed when the object becomes invalid or ends; the
/// caller owns the object. `shouldFreeInfo`, which may be null, becomes true when the context was not used. Null for a
/// context of another version, or when no port can be had.
CF_EXPORT CFMachPortRef CFMachPortCreate(CFAllocatorRef allocator, CFMachPortCallBack callout,
                                         CFMachPortContext* context, Boolean* shouldFreeInfo);
/// The object of a port that this process can receive from, and which stays when the object ends. An object that is
/// there already is returned instead, with `shouldFreeInfo` true. Null when there is no such port.
CF_EXPORT CFMachPortRef CFMachPortCreateWithPort(CFAllocatorRef allocator, mach_port_t portNum,
                                                 CFMachPortCallBack callout, CFMachPortContext* context,
                                                 Boolean* shouldFreeInfo);
/// The port's name, also of an invalid object.
CF_EXPORT mach_port_t CFMachPortGetPort(CFMachPortRef port);
/// Writes the context, whose `version` must be 0, to `context`; info is not retained.
CF_EXPORT void CFMachPortGetContext(CFMachPortRef port, CFMachPortContext* context);
/// Invalidates the source as well, then calls the invalidation callback and releases the info.
CF_EXPORT void CFMachPortInvalidate(CFMachPortRef port);
/// False once the port itself is dead, too: the object becomes invalid by that.
CF_EXPORT Boolean CFMachPortIsValid(CFMachPortRef port);
CF_EXPORT CFMachPortInvalidationCallBack CFMachPortGetInvalidationCallBack(CFMachPortRef port);
/// Null takes it away. On an object that is invalid already it is called at once.
CF_EXPORT void CFMachPortSetInvalidationCallBack(CFMachPortRef port, CFMachPortInvalidationCallBack callout);
/// The port's source, the same while one is there; the caller owns it. Null when the port is invalid.
CF_EXPORT CFRunLoopSourceRef CFMachPortCreateRunLoopSource(CFAllocatorRef allocator, CFMachPortRef port, CFIndex order);

CF_EXTERN_C_END
