#pragma once

/// File descriptors as run-loop sources.
///
/// A callback is called once for what was enabled and has to be enabled again, usually in the callback itself. Any
/// thread may call any function; callbacks come on the thread of a loop that holds the source, with no lock held.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFRunLoop.h>

CF_EXTERN_C_BEGIN

typedef int CFFileDescriptorNativeDescriptor;
typedef struct __CFFileDescriptor* CFFileDescriptorRef;
/// The descriptor is ready for what the flags name: reading, writing or both. An end of file and an error count as
/// ready for what was enabled.
typedef void (*CFFileDescriptorCallBack)(CFFileDescriptorRef, CFOptionFlags, void*);
/// Version 0. The object retains `info`.
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
/// An object for an open descriptor, with nothing enabled; the caller owns it. With `closeOnInvalidate` the descriptor
/// is closed when the object becomes invalid, once callbacks on other threads have returned. Null when the descriptor
/// is not open, for a context of another version, or without memory.
CF_EXPORT CFFileDescriptorRef CFFileDescriptorCreate(CFAllocatorRef allocator, CFFileDescriptorNativeDescriptor fd,
                                                     Boolean closeOnInvalidate, CFFileDescriptorCallBack callout,
                                                     const CFFileDescriptorContext* context);
/// -1 for null.
CF_EXPORT CFFileDescriptorNativeDescriptor CFFileDescriptorGetNativeDescriptor(CFFileDescriptorRef f);
/// Writes the context, whose `version` must be 0, to `context`; info is not retained.
CF_EXPORT void CFFileDescriptorGetContext(CFFileDescriptorRef f, CFFileDescriptorContext* context);
/// Has the callback called once when the descriptor is ready for one of the types. A plain file always is.
CF_EXPORT void CFFileDescriptorEnableCallBacks(CFFileDescriptorRef f, CFOptionFlags callBackTypes);
CF_EXPORT void CFFileDescriptorDisableCallBacks(CFFileDescriptorRef f, CFOptionFlags callBackTypes);
/// Invalidates the source as well and releases the info.
CF_EXPORT void CFFileDescriptorInvalidate(CFFileDescriptorRef f);
CF_EXPORT Boolean CFFileDescriptorIsValid(CFFileDescriptorRef f);
/// The object's source, the same while one is there; the caller owns it. Null when the object is invalid.
CF_EXPORT CFRunLoopSourceRef CFFileDescriptorCreateRunLoopSource(CFAllocatorRef allocator, CFFileDescriptorRef f,
                                                                 CFIndex order);

CF_EXTERN_C_END
