#include "StoreOutlet.h"

namespace KXPlatform {

void StoreOutlet::scheduled(CFRunLoopRef loop) {
    const std::lock_guard lock(mutex_);
    if (++loops_[loop] == 0) loops_.erase(loop);
}

void StoreOutlet::cancelled(CFRunLoopRef loop) {
    const std::lock_guard lock(mutex_);
    if (--loops_[loop] == 0) loops_.erase(loop);
}

void StoreOutlet::ring() {
    if (process_.isInherited()) return;
    const std::lock_guard lock(mutex_);
    for (const auto& [loop, count] : loops_) {
        if (count <= 0) continue;
        CFRunLoopSourceSignal(source_);
        CFRunLoopWakeUp(loop);
    }
}

void ring(const Outlets& outlets) {
    for (const auto& outlet : outlets) outlet->ring();
}

}  // namespace KXPlatform
