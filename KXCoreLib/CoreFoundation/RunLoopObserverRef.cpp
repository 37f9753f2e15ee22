#include <KXCoreLib/CoreFoundation/RunLoopObserverRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID RunLoopObserverRef::getTypeID() { return CFRunLoopObserverGetTypeID(); }

RunLoopObserverRef RunLoopObserverRef::create(CFAllocatorRef allocator, CFOptionFlags activities, Boolean repeats,
                                              CFIndex order, CFRunLoopObserverCallBack callout,
                                              CFRunLoopObserverContext* context) {
    return KX_CREATE(RunLoopObserverRef, CFRunLoopObserverCreate)(allocator, activities, repeats, order, callout,
                                                                  context);
}

CFOptionFlags RunLoopObserverRef::getActivities() const { return CFRunLoopObserverGetActivities(get()); }
Boolean RunLoopObserverRef::doesRepeat() const { return CFRunLoopObserverDoesRepeat(get()); }
CFIndex RunLoopObserverRef::getOrder() const { return CFRunLoopObserverGetOrder(get()); }
void RunLoopObserverRef::invalidate() const { CFRunLoopObserverInvalidate(get()); }
Boolean RunLoopObserverRef::isValid() const { return CFRunLoopObserverIsValid(get()); }

void RunLoopObserverRef::getContext(CFRunLoopObserverContext* context) const {
    CFRunLoopObserverGetContext(get(), context);
}

}  // namespace KXCore::CoreFoundation
