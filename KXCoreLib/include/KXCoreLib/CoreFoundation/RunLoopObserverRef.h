#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFRunLoop.h>

namespace KXCore::CoreFoundation {

/// Is told of what one run loop does (kCFRunLoopEntry to kCFRunLoopExit). It keeps no loop running.
class KX_EXPORT RunLoopObserverRef : public TypedRef<RunLoopObserverRef, CFRunLoopObserverRef> {
  public:
    static constexpr const char* typeName = "CFRunLoopObserverRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFRunLoopObserverGetTypeID(); }

    static RunLoopObserverRef create(CFAllocatorRef allocator, CFOptionFlags activities, Boolean repeats, CFIndex order,
                                     CFRunLoopObserverCallBack callout, CFRunLoopObserverContext* context) {
        return created(CFRunLoopObserverCreate(allocator, activities, repeats, order, callout, context),
                       "CFRunLoopObserverCreate");
    }

    CFOptionFlags getActivities() const { return CFRunLoopObserverGetActivities(get()); }
    Boolean doesRepeat() const { return CFRunLoopObserverDoesRepeat(get()); }
    CFIndex getOrder() const { return CFRunLoopObserverGetOrder(get()); }
    /// Takes the observer out of its loop for good. Any thread.
    void invalidate() const { CFRunLoopObserverInvalidate(get()); }
    Boolean isValid() const { return CFRunLoopObserverIsValid(get()); }
    void getContext(CFRunLoopObserverContext* context) const { CFRunLoopObserverGetContext(get(), context); }
};
static_assert(isPlainRef<RunLoopObserverRef>);

}  // namespace KXCore::CoreFoundation
