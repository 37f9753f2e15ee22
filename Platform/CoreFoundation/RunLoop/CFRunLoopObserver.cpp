#include "RunLoop.h"

#include <CoreFoundation/CFRunLoop.h>

using namespace KXPlatform;

namespace {

constexpr Class kObserverClass{TypeID::RunLoopObserver, finalizeAs<__CFRunLoopObserver>, nullptr, nullptr, nullptr};

}

__CFRunLoopObserver::__CFRunLoopObserver(CFOptionFlags a, bool r, CFIndex o, CFRunLoopObserverCallBack c) noexcept
    : Object(kObserverClass), activities(a), repeats(r), order(o), callout(c) {}

CFTypeID CFRunLoopObserverGetTypeID() { return number(TypeID::RunLoopObserver); }

CFRunLoopObserverRef CFRunLoopObserverCreate(CFAllocatorRef allocator, CFOptionFlags activities, Boolean repeats,
                                             CFIndex order, CFRunLoopObserverCallBack callout,
                                             CFRunLoopObserverContext* context) {
    if (context && context->version != 0) return nullptr;
    auto observer = Retained<__CFRunLoopObserver>::adopting(
        make<__CFRunLoopObserver>(allocator, 0, activities & kCFRunLoopAllActivities, repeats != 0, order, callout));
    return withContext(std::move(observer), context);
}

CFOptionFlags CFRunLoopObserverGetActivities(CFRunLoopObserverRef observer) {
    return observer ? observer->activities : 0;
}
Boolean CFRunLoopObserverDoesRepeat(CFRunLoopObserverRef observer) { return observer && observer->repeats; }
CFIndex CFRunLoopObserverGetOrder(CFRunLoopObserverRef observer) { return observer ? observer->order : 0; }

void CFRunLoopObserverInvalidate(CFRunLoopObserverRef observer) {
    if (!observer) return;
    const auto self = Retained<__CFRunLoopObserver>::retaining(observer);
    Info released;
    Retained<__CFRunLoop> loop;
    {
        const std::lock_guard lock(observer->mutex);
        if (!observer->valid) return;
        observer->valid = false;
        loop = Retained<__CFRunLoop>::retaining(loopOf(*observer));
        released.swap(observer->info);
    }
    if (loop) removeEverywhere(*loop, *observer);
}

Boolean CFRunLoopObserverIsValid(CFRunLoopObserverRef observer) {
    if (!observer) return false;
    const std::lock_guard lock(observer->mutex);
    return observer->valid;
}

void CFRunLoopObserverGetContext(CFRunLoopObserverRef observer, CFRunLoopObserverContext* context) {
    if (!observer) return;
    const std::lock_guard lock(observer->mutex);
    giveContext(context, observer->context, observer->info);
}
