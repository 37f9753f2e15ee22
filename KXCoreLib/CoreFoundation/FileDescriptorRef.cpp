#include <KXCoreLib/CoreFoundation/FileDescriptorRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID FileDescriptorRef::getTypeID() { return CFFileDescriptorGetTypeID(); }

FileDescriptorRef FileDescriptorRef::create(CFAllocatorRef allocator, CFFileDescriptorNativeDescriptor fd,
                                            Boolean closeOnInvalidate, CFFileDescriptorCallBack callout,
                                            const CFFileDescriptorContext* context) {
    return KX_CREATE(FileDescriptorRef, CFFileDescriptorCreate)(allocator, fd, closeOnInvalidate, callout, context);
}

RunLoopSourceRef FileDescriptorRef::createRunLoopSource(CFAllocatorRef allocator, CFFileDescriptorRef f,
                                                        CFIndex order) {
    return KX_CREATE(RunLoopSourceRef, CFFileDescriptorCreateRunLoopSource)(allocator, f, order);
}

CFFileDescriptorNativeDescriptor FileDescriptorRef::getNativeDescriptor() const {
    return CFFileDescriptorGetNativeDescriptor(get());
}

void FileDescriptorRef::getContext(CFFileDescriptorContext* context) const {
    CFFileDescriptorGetContext(get(), context);
}

void FileDescriptorRef::enableCallBacks(CFOptionFlags callBackTypes) const {
    CFFileDescriptorEnableCallBacks(get(), callBackTypes);
}

void FileDescriptorRef::disableCallBacks(CFOptionFlags callBackTypes) const {
    CFFileDescriptorDisableCallBacks(get(), callBackTypes);
}

void FileDescriptorRef::invalidate() const { CFFileDescriptorInvalidate(get()); }
Boolean FileDescriptorRef::isValid() const { return CFFileDescriptorIsValid(get()); }

}  // namespace KXCore::CoreFoundation
