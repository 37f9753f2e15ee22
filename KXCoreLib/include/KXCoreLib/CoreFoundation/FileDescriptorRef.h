#pragma once

#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFFileDescriptor.h>

namespace KXCore::CoreFoundation {

/// A file descriptor that a run loop watches. Each callback must be enabled again after it was called.
class KX_EXPORT FileDescriptorRef : public TypedRef<FileDescriptorRef, CFFileDescriptorRef> {
  public:
    static constexpr const char* typeName = "CFFileDescriptorRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// The descriptor stays the caller's unless `closeOnInvalidate` is set.
    static FileDescriptorRef create(CFAllocatorRef allocator, CFFileDescriptorNativeDescriptor fd,
                                    Boolean closeOnInvalidate, CFFileDescriptorCallBack callout,
                                    const CFFileDescriptorContext* context);
    static RunLoopSourceRef createRunLoopSource(CFAllocatorRef allocator, CFFileDescriptorRef f, CFIndex order);

    CFFileDescriptorNativeDescriptor getNativeDescriptor() const;
    void getContext(CFFileDescriptorContext* context) const;
    /// `callBackTypes`: kCFFileDescriptorReadCallBack, kCFFileDescriptorWriteCallBack or both. Any thread.
    void enableCallBacks(CFOptionFlags callBackTypes) const;
    void disableCallBacks(CFOptionFlags callBackTypes) const;
    /// Ends callbacks, and the object's source, for good. Any thread.
    void invalidate() const;
    Boolean isValid() const;
};
static_assert(isPlainRef<FileDescriptorRef>);

}  // namespace KXCore::CoreFoundation
