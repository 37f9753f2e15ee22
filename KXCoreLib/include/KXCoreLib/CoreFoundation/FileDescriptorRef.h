#pragma once

#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFFileDescriptor.h>

namespace KXCore::CoreFoundation {

/// A file descriptor that a run loop watches. Each call-back must be enabled again after it was called.
class KX_EXPORT FileDescriptorRef : public TypedRef<FileDescriptorRef, CFFileDescriptorRef> {
  public:
    static constexpr const char* typeName = "CFFileDescriptorRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFFileDescriptorGetTypeID(); }

    /// The descriptor stays the caller's unless `closeOnInvalidate` is set.
    static FileDescriptorRef create(CFAllocatorRef allocator, CFFileDescriptorNativeDescriptor fd,
                                    Boolean closeOnInvalidate, CFFileDescriptorCallBack callout,
                                    const CFFileDescriptorContext* context) {
        return created(CFFileDescriptorCreate(allocator, fd, closeOnInvalidate, callout, context),
                       "CFFileDescriptorCreate");
    }
    static RunLoopSourceRef createRunLoopSource(CFAllocatorRef allocator, CFFileDescriptorRef f, CFIndex order) {
        return RunLoopSourceRef::created(CFFileDescriptorCreateRunLoopSource(allocator, f, order),
                                         "CFFileDescriptorCreateRunLoopSource");
    }
    RunLoopSourceRef createRunLoopSource(CFAllocatorRef allocator, CFIndex order) const {
        return createRunLoopSource(allocator, get(), order);
    }

    CFFileDescriptorNativeDescriptor getNativeDescriptor() const { return CFFileDescriptorGetNativeDescriptor(get()); }
    void getContext(CFFileDescriptorContext* context) const { CFFileDescriptorGetContext(get(), context); }
    /// `callBackTypes`: kCFFileDescriptorReadCallBack, kCFFileDescriptorWriteCallBack or both. Any thread.
    void enableCallBacks(CFOptionFlags callBackTypes) const { CFFileDescriptorEnableCallBacks(get(), callBackTypes); }
    void disableCallBacks(CFOptionFlags callBackTypes) const { CFFileDescriptorDisableCallBacks(get(), callBackTypes); }
    /// Ends call-backs, and the object's source, for good. Any thread.
    void invalidate() const { CFFileDescriptorInvalidate(get()); }
    Boolean isValid() const { return CFFileDescriptorIsValid(get()); }
};
static_assert(isPlainRef<FileDescriptorRef>);

}  // namespace KXCore::CoreFoundation
