#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFRunLoop.h>

namespace KXCore::CoreFoundation {

/// A timer of one run loop. A repeating one keeps to the dates that follow from its first, however late it fired,
/// and skips those it missed.
class KX_EXPORT RunLoopTimerRef : public TypedRef<RunLoopTimerRef, CFRunLoopTimerRef> {
  public:
    static constexpr const char* typeName = "CFRunLoopTimerRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// Fires at `fireDate` and then every `interval` seconds; 0 or less means once.
    static RunLoopTimerRef create(CFAllocatorRef allocator, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                  CFOptionFlags flags, CFIndex order, CFRunLoopTimerCallBack callout,
                                  CFRunLoopTimerContext* context);

    CFAbsoluteTime getNextFireDate() const;
    /// Any thread. The dates of a repeating timer are counted from this one on.
    void setNextFireDate(CFAbsoluteTime fireDate) const;
    CFTimeInterval getInterval() const;
    Boolean doesRepeat() const;
    CFIndex getOrder() const;
    /// Takes the timer out of its loop for good. Any thread.
    void invalidate() const;
    Boolean isValid() const;
    void getContext(CFRunLoopTimerContext* context) const;
    CFTimeInterval getTolerance() const;
    /// How many seconds after its date the timer may fire.
    void setTolerance(CFTimeInterval tolerance) const;
};
static_assert(isPlainRef<RunLoopTimerRef>);

}  // namespace KXCore::CoreFoundation
