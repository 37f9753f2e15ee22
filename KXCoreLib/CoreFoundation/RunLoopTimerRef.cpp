#include <KXCoreLib/CoreFoundation/RunLoopTimerRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID RunLoopTimerRef::getTypeID() { return CFRunLoopTimerGetTypeID(); }

RunLoopTimerRef RunLoopTimerRef::create(CFAllocatorRef allocator, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                        CFOptionFlags flags, CFIndex order, CFRunLoopTimerCallBack callout,
                                        CFRunLoopTimerContext* context) {
    return KX_CREATE(RunLoopTimerRef, CFRunLoopTimerCreate)(allocator, fireDate, interval, flags, order, callout,
                                                            context);
}

CFAbsoluteTime RunLoopTimerRef::getNextFireDate() const { return CFRunLoopTimerGetNextFireDate(get()); }
void RunLoopTimerRef::setNextFireDate(CFAbsoluteTime fireDate) const { CFRunLoopTimerSetNextFireDate(get(), fireDate); }
CFTimeInterval RunLoopTimerRef::getInterval() const { return CFRunLoopTimerGetInterval(get()); }
Boolean RunLoopTimerRef::doesRepeat() const { return CFRunLoopTimerDoesRepeat(get()); }
CFIndex RunLoopTimerRef::getOrder() const { return CFRunLoopTimerGetOrder(get()); }
void RunLoopTimerRef::invalidate() const { CFRunLoopTimerInvalidate(get()); }
Boolean RunLoopTimerRef::isValid() const { return CFRunLoopTimerIsValid(get()); }
void RunLoopTimerRef::getContext(CFRunLoopTimerContext* context) const { CFRunLoopTimerGetContext(get(), context); }
CFTimeInterval RunLoopTimerRef::getTolerance() const { return CFRunLoopTimerGetTolerance(get()); }
void RunLoopTimerRef::setTolerance(CFTimeInterval tolerance) const { CFRunLoopTimerSetTolerance(get(), tolerance); }

}  // namespace KXCore::CoreFoundation
