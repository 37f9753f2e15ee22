#pragma once

// How a session's news reaches a run loop: one of its run-loop sources, and the loops that hold it. Any thread may
// call.

#include "Support/ProcessMark.h"

#include <CoreFoundation/CFRunLoop.h>

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace KXPlatform {

class StoreOutlet {
  public:
    StoreOutlet() = default;
    StoreOutlet(const StoreOutlet&) = delete;
    StoreOutlet& operator=(const StoreOutlet&) = delete;

    /// The source this is for, before it is given to anybody.
    void setSource(CFRunLoopSourceRef source) noexcept { source_ = source; }

    /// The source has been added to a mode of `loop`, or taken out of one: the run loop's callbacks.
    void scheduled(CFRunLoopRef loop);
    void cancelled(CFRunLoopRef loop);

    /// Signals the source and wakes the loops that hold it. Where none does, nothing happens. Does nothing in a process
    /// forked from the one that made it, whose loops these are not.
    void ring();

  private:
    std::mutex mutex_;
    CFRunLoopSourceRef source_ = nullptr;
    /// In how many modes of a loop the source is. While there is one, the loop keeps itself and the source alive: it
    /// lets go of them only after cancelled() has returned. A count may be below zero for a moment, when threads add
    /// and remove the source at once.
    std::unordered_map<CFRunLoopRef, int> loops_;
    const ProcessMark process_;
};

using Outlets = std::vector<std::shared_ptr<StoreOutlet>>;

void ring(const Outlets& outlets);

}  // namespace KXPlatform
