#include "RunLoop.h"

#include <CoreFoundation/CFString.h>

using namespace KXPlatform;

namespace KXPlatform {

std::shared_ptr<Waker> Watch::portChanged() noexcept { return makeReady() ? mode.waker : nullptr; }

bool Watch::makeReady() noexcept {
    const std::lock_guard lock(mode.readyMutex);
    if (listed) return false;
    place = node.begin();
    mode.ready.splice(mode.ready.end(), node);
    listed = true;
    return true;
}

Mode::~Mode() {
    // In a forked child the number may stand for another file by now.
    if (mark.isInherited()) epoll.release();
}

bool Mode::hasReady() noexcept {
    const std::lock_guard lock(readyMutex);
    return !ready.empty();
}

void Mode::closeUnlessUsed() noexcept {
    if (!epoll || runs > 0 || !isEmpty()) return;
    epoll.close();
    hasTimer = false;
}

// ---- What a mode holds

void enter(__CFRunLoop& loop, Mode& mode, __CFRunLoopSource& source) {
    if (source.kind == __CFRunLoopSource::Kind::Signal) {
        mode.signalSources.add(source);
        loop.signals.fetch_add(1, std::memory_order_release);
        return;
    }
    auto watch = std::make_unique<Watch>(mode, source);
    const auto [place, isNew] = mode.watches.try_emplace(&source, std::move(watch));
    try {
        if (source.kind == __CFRunLoopSource::Kind::Port) {
            PortTable::shared().watch(source.port, *place->second);
        } else {
            beginWatch(mode, *place->second);
        }
    } catch (...) {
        mode.watches.erase(place);
        throw;
    }
}

void enter(__CFRunLoop&, Mode& mode, __CFRunLoopObserver& observer) {
    mode.observers.add(observer);
    mode.activities.fetch_or(observer.activities, std::memory_order_relaxed);
}

void enter(__CFRunLoop&, Mode& mode, __CFRunLoopTimer& timer) {
    const std::lock_guard lock(timer.mutex);
    mode.timers.add(timer, timer.sequence);
    if (!timer.firing) mode.timers.set(timer, timer.deadline);
}

void leave(Mode& mode, __CFRunLoopSource& source) noexcept {
    if (source.kind == __CFRunLoopSource::Kind::Signal) return mode.signalSources.remove(source);
    const auto found = mode.watches.find(&source);
    if (found == mode.watches.end()) return;
    Watch& watch = *found->second;
    if (source.kind == __CFRunLoopSource::Kind::Port) {
        PortTable::shared().unwatch(source.port, watch);
    } else {
        endWatch(mode, watch);
    }
    {
        const std::lock_guard lock(mode.readyMutex);
        if (watch.listed) watch.node.splice(watch.node.begin(), mode.ready, watch.place);
    }
    mode.watches.erase(found);
}

void leave(Mode& mode, __CFRunLoopObserver& observer) noexcept {
    mode.observers.remove(observer);
    CFOptionFlags activities = 0;
    mode.observers.forEach([&](const __CFRunLoopObserver& other) { activities |= other.activities; });
    mode.activities.store(activities, std::memory_order_relaxed);
}

void leave(Mode& mode, __CFRunLoopTimer& timer) noexcept { mode.timers.remove(timer); }

}  // namespace KXPlatform

Mode* __CFRunLoop::findMode(CFStringRef name) noexcept {
    for (const auto& mode : modes) {
        if (mode->name.get() == name || CFEqual(mode->name.get(), name)) return mode.get();
    }
    return nullptr;
}

Mode& __CFRunLoop::makeMode(CFStringRef name) {
    if (Mode* const found = findMode(name)) return *found;
    auto copy = Retained<const __CFString>::adopting(CFStringCreateCopy(nullptr, name));
    if (!copy) throw std::bad_alloc();
    return *modes.emplace_back(std::make_unique<Mode>(std::move(copy), waker));
}
