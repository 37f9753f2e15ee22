#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFRunLoop.h>

namespace KXCore::CoreFoundation {

/// Something that a run loop calls when it is signalled (version 0) or when its port has a message (version 1). Any
/// number of loops may hold it.
class KX_EXPORT RunLoopSourceRef : public TypedRef<RunLoopSourceRef, CFRunLoopSourceRef> {
  public:
    static constexpr const char* typeName = "CFRunLoopSourceRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFRunLoopSourceGetTypeID(); }

    /// Of several sources that are due in one pass, those with the lower `order` go first.
    static RunLoopSourceRef create(CFAllocatorRef allocator, CFIndex order, CFRunLoopSourceContext* context) {
        return created(CFRunLoopSourceCreate(allocator, order, context), "CFRunLoopSourceCreate");
    }

    CFIndex getOrder() const { return CFRunLoopSourceGetOrder(get()); }
    /// Takes the source out of every loop for good. Any thread.
    void invalidate() const { CFRunLoopSourceInvalidate(get()); }
    Boolean isValid() const { return CFRunLoopSourceIsValid(get()); }
    /// `context->version` says on entry which record it is.
    void getContext(CFRunLoopSourceContext* context) const { CFRunLoopSourceGetContext(get(), context); }
    /// Any thread; a loop that waits must be woken as well.
    void signal() const { CFRunLoopSourceSignal(get()); }
};
static_assert(isPlainRef<RunLoopSourceRef>);

}  // namespace KXCore::CoreFoundation
