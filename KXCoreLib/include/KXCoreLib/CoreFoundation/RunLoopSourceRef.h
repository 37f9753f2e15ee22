#pragma once

#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFRunLoop.h>

namespace KXCore::CoreFoundation {

/// What a run loop calls when it is signalled (version 0) or when its port has a message (version 1). Any
/// number of loops may hold it.
class KX_EXPORT RunLoopSourceRef : public TypedRef<RunLoopSourceRef, CFRunLoopSourceRef> {
  public:
    static constexpr const char* typeName = "CFRunLoopSourceRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// Of several sources that are due in one pass, those with the lower `order` go first.
    static RunLoopSourceRef create(CFAllocatorRef allocator, CFIndex order, CFRunLoopSourceContext* context);

    CFIndex getOrder() const;
    /// Takes the source out of every loop for good. Any thread.
    void invalidate() const;
    Boolean isValid() const;
    /// `context->version` is set by the caller to the version of the record that is passed.
    void getContext(CFRunLoopSourceContext* context) const;
    /// Any thread; a loop that waits must be woken as well.
    void signal() const;
};
static_assert(isPlainRef<RunLoopSourceRef>);

}  // namespace KXCore::CoreFoundation
