#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID RunLoopSourceRef::getTypeID() { return CFRunLoopSourceGetTypeID(); }

RunLoopSourceRef RunLoopSourceRef::create(CFAllocatorRef allocator, CFIndex order, CFRunLoopSourceContext* context) {
    return KX_CREATE(RunLoopSourceRef, CFRunLoopSourceCreate)(allocator, order, context);
}

CFIndex RunLoopSourceRef::getOrder() const { return CFRunLoopSourceGetOrder(get()); }
void RunLoopSourceRef::invalidate() const { CFRunLoopSourceInvalidate(get()); }
Boolean RunLoopSourceRef::isValid() const { return CFRunLoopSourceIsValid(get()); }
void RunLoopSourceRef::getContext(CFRunLoopSourceContext* context) const { CFRunLoopSourceGetContext(get(), context); }
void RunLoopSourceRef::signal() const { CFRunLoopSourceSignal(get()); }

}  // namespace KXCore::CoreFoundation
