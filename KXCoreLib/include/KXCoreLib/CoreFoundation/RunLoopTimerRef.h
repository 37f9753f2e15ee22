#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFRunLoop.h>

namespace KXCore::CoreFoundation {

/// A timer of one run loop. A repeating one keeps to the dates that follow from its first, however late it was served,
/// and skips those it missed.
class KX_EXPORT RunLoopTimerRef : public TypedRef<RunLoopTimerRef, CFRunLoopTimerRef> {
  public:
    static constexpr const char* typeName = "CFRunLoopTimerRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFRunLoopTimerGetTypeID(); }

    /// Fires at `fireDate` and then every `interval` seconds; 0 or less means once.
    static RunLoopTimerRef create(CFAllocatorRef allocator, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                  CFOptionFlags flags, CFIndex order, CFRunLoopTimerCallBack callout,
                                  CFRunLoopTimerContext* context) {
        return created(CFRunLoopTimerCreate(allocator, fireDate, interval, flags, order, callout, context),
                       "CFRunLoopTimerCreate");
    }

    CFAbsoluteTime getNextFireDate() const { return CFRunLoopTimerGetNextFireDate(get()); }
    /// Any thread. The dates of a repeating timer are counted from this one on.
    void setNextFireDate(CFAbsoluteTime fireDate) const { CFRunLoopTimerSetNextFireDate(get(), fireDate); }
    CFTimeInterval getInterval() const { return CFRunLoopTimerGetInterval(get()); }
    Boolean doesRepeat() const { return CFRunLoopTimerDoesRepeat(get()); }
    CFIndex getOrder() const { return CFRunLoopTimerGetOrder(get()); }
    /// Takes the timer out of its loop for good. Any thread.
    void invalidate() const { CFRunLoopTimerInvalidate(get()); }
    Boolean isValid() const { return CFRunLoopTimerIsValid(get()); }
    void getContext(CFRunLoopTimerContext* context) const { CFRunLoopTimerGetContext(get(), context); }
    CFTimeInterval getTolerance() const { return CFRunLoopTimerGetTolerance(get()); }
    /// How many seconds after its date the timer may be served.
    void setTolerance(CFTimeInterval tolerance) const { CFRunLoopTimerSetTolerance(get(), tolerance); }
};
static_assert(isPlainRef<RunLoopTimerRef>);

}  // namespace KXCore::CoreFoundation
