#pragma once

/// File descriptors as run-loop sources.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFRunLoop.h>

CF_EXTERN_C_BEGIN

typedef int CFFileDescriptorNativeDescriptor;
typedef struct __CFFileDescriptor* CFFileDescriptorRef;
typedef void (*CFFileDescriptorCallBack)(CFFileDescriptorRef, CFOptionFlags, void*);
typedef struct CFFileDescriptorContext {
    CFIndex version;
    void* info;
    void* (*retain)(void*);
    void (*release)(void*);
    CFStringRef (*copyDescription)(void*);
} CFFileDescriptorContext;

CF_ANONYMOUS_ENUM(CFOptionFlags){
    kCFFileDescriptorReadCallBack = 1,
    kCFFileDescriptorWriteCallBack = 2,
};

CF_EXPORT CFTypeID CFFileDescriptorGetTypeID(void);
CF_EXPORT CFFileDescriptorRef CFFileDescriptorCreate(CFAllocatorRef allocator, CFFileDescriptorNativeDescriptor fd,
                                                     Boolean closeOnInvalidate, CFFileDescriptorCallBack callout,
                                                     const CFFileDescriptorContext* context);
CF_EXPORT CFFileDescriptorNativeDescriptor CFFileDescriptorGetNativeDescriptor(CFFileDescriptorRef f);
CF_EXPORT void CFFileDescriptorGetContext(CFFileDescriptorRef f, CFFileDescriptorContext* context);
CF_EXPORT void CFFileDescriptorEnableCallBacks(CFFileDescriptorRef f, CFOptionFlags callBackTypes);
CF_EXPORT void CFFileDescriptorDisableCallBacks(CFFileDescriptorRef f, CFOptionFlags callBackTypes);
CF_EXPORT void CFFileDescriptorInvalidate(CFFileDescriptorRef f);
CF_EXPORT Boolean CFFileDescriptorIsValid(CFFileDescriptorRef f);
CF_EXPORT CFRunLoopSourceRef CFFileDescriptorCreateRunLoopSource(CFAllocatorRef allocator, CFFileDescriptorRef f,
                                                                 CFIndex order);

CF_EXTERN_C_END
