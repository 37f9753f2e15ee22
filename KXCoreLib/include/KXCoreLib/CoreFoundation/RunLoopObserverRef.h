#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFRunLoop.h>

namespace KXCore::CoreFoundation {

/// Is called for what one run loop does (kCFRunLoopEntry to kCFRunLoopExit). It keeps no loop running.
class KX_EXPORT RunLoopObserverRef : public TypedRef<RunLoopObserverRef, CFRunLoopObserverRef> {
  public:
    static constexpr const char* typeName = "CFRunLoopObserverRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    static RunLoopObserverRef create(CFAllocatorRef allocator, CFOptionFlags activities, Boolean repeats, CFIndex order,
                                     CFRunLoopObserverCallBack callout, CFRunLoopObserverContext* context);

    CFOptionFlags getActivities() const;
    Boolean doesRepeat() const;
    CFIndex getOrder() const;
    /// Takes the observer out of its loop for good. Any thread.
    void invalidate() const;
    Boolean isValid() const;
    void getContext(CFRunLoopObserverContext* context) const;
};
static_assert(isPlainRef<RunLoopObserverRef>);

}  // namespace KXCore::CoreFoundation
