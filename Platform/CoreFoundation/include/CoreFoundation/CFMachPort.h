#pragma once

/// Ports as run-loop sources.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFRunLoop.h>

CF_EXTERN_C_BEGIN

typedef struct __CFMachPort* CFMachPortRef;
typedef struct CFMachPortContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void*);
    void (*release)(const void*);
    CFStringRef (*copyDescription)(const void*);
} CFMachPortContext;

typedef void (*CFMachPortCallBack)(CFMachPortRef, void*, CFIndex, void*);
typedef void (*CFMachPortInvalidationCallBack)(CFMachPortRef, void*);

CF_EXPORT CFTypeID CFMachPortGetTypeID(void);
CF_EXPORT CFMachPortRef CFMachPortCreate(CFAllocatorRef allocator, CFMachPortCallBack callout,
                                         CFMachPortContext* context, Boolean* shouldFreeInfo);
CF_EXPORT CFMachPortRef CFMachPortCreateWithPort(CFAllocatorRef allocator, mach_port_t portNum,
                                                 CFMachPortCallBack callout, CFMachPortContext* context,
                                                 Boolean* shouldFreeInfo);
CF_EXPORT mach_port_t CFMachPortGetPort(CFMachPortRef port);
CF_EXPORT void CFMachPortGetContext(CFMachPortRef port, CFMachPortContext* context);
CF_EXPORT void CFMachPortInvalidate(CFMachPortRef port);
CF_EXPORT Boolean CFMachPortIsValid(CFMachPortRef port);
CF_EXPORT CFMachPortInvalidationCallBack CFMachPortGetInvalidationCallBack(CFMachPortRef port);
CF_EXPORT void CFMachPortSetInvalidationCallBack(CFMachPortRef port, CFMachPortInvalidationCallBack callout);
CF_EXPORT CFRunLoopSourceRef CFMachPortCreateRunLoopSource(CFAllocatorRef allocator, CFMachPortRef port, CFIndex order);

CF_EXTERN_C_END
