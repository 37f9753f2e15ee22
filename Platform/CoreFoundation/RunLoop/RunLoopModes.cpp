#include "RunLoop.h"

#include <CoreFoundation/CFString.h>

#include <algorithm>

#include <unistd.h>

using namespace KXPlatform;

namespace KXPlatform {
namespace {

/// Where an item of this order goes in a list sorted by order: after those that came before it.
template <class Item>
auto placeFor(std::vector<Item*>& items, CFIndex order) {
    return std::upper_bound(items.begin(), items.end(), order,
                            [](CFIndex wanted, const Item* item) { return wanted < item->order; });
}

bool attach(__CFRunLoop& loop, __CFRunLoopSource& source) {
    const std::lock_guard lock(source.mutex);
    if (!source.valid) return false;
    if (std::find(source.loops.begin(), source.loops.end(), &loop) == source.loops.end()) source.loops.push_back(&loop);
    return true;
}

template <class Item>
bool attach(__CFRunLoop& loop, Item& item) {
    const std::lock_guard lock(item.mutex);
    if (!item.valid || (item.loop && item.loop != &loop)) return false;
    item.loop = &loop;
    return true;
}

void detach(__CFRunLoop& loop, __CFRunLoopSource& source) noexcept {
    const std::lock_guard lock(source.mutex);
    std::erase(source.loops, &loop);
}

template <class Item>
void detach(__CFRunLoop& loop, Item& item) noexcept {
    const std::lock_guard lock(item.mutex);
    if (item.loop == &loop) item.loop = nullptr;
}

bool holds(const Mode& mode, const __CFRunLoopSource& source) {
    return mode.sources.contains(const_cast<__CFRunLoopSource*>(&source));
}
bool holds(const Mode& mode, const __CFRunLoopTimer& timer) {
    return mode.timers.contains(const_cast<__CFRunLoopTimer*>(&timer));
}
bool holds(const Mode& mode, const __CFRunLoopObserver& observer) {
    return std::find(mode.observers.begin(), mode.observers.end(), &observer) != mode.observers.end();
}

void addToMode(__CFRunLoop& loop, Mode& mode, __CFRunLoopSource& source, Deferred& deferred) {
    if (holds(mode, source)) return;
    std::unique_ptr<Watch>& watch = mode.sources[&source];
    CFRetain(&source);
    if (source.kind == __CFRunLoopSource::Kind::Signal) {
        mode.signalSources.insert(placeFor(mode.signalSources, source.order), &source);
        loop.signals.fetch_add(1, std::memory_order_release);
        deferred.scheduled(&loop, source, mode);
        return;
    }
    watch = std::make_unique<Watch>(mode, source);
    if (source.kind == __CFRunLoopSource::Kind::Port) {
        PortTable::shared().watch(source.port, *watch);
    } else {
        beginWatch(mode, *watch);
    }
}

void addToMode(__CFRunLoop&, Mode& mode, __CFRunLoopObserver& observer, Deferred&) {
    if (holds(mode, observer)) return;
    mode.observers.insert(placeFor(mode.observers, observer.order), &observer);
    CFRetain(&observer);
    mode.activities.fetch_or(observer.activities, std::memory_order_relaxed);
}

void addToMode(__CFRunLoop&, Mode& mode, __CFRunLoopTimer& timer, Deferred&) {
    if (holds(mode, timer)) return;
    const std::lock_guard lock(timer.mutex);
    mode.schedule.reserve(mode.timers.size() + 1);
    TimerPlace& place = mode.timers[&timer];
    CFRetain(&timer);
    if (!timer.firing) mode.schedule.insert({timer.deadline, timer.sequence, &timer}, place);
}

void removeFromMode(__CFRunLoop& loop, Mode& mode, __CFRunLoopSource& source, Deferred& deferred) {
    const auto found = mode.sources.find(&source);
    if (found == mode.sources.end()) return;
    deferred.drop(&source);
    if (Watch* const watch = found->second.get()) {
        if (source.kind == __CFRunLoopSource::Kind::Port) {
            PortTable::shared().unwatch(source.port, *watch);
        } else {
            endWatch(mode, *watch);
        }
        const std::lock_guard lock(mode.readyMutex);
        if (watch->listed) watch->node.splice(watch->node.begin(), mode.ready, watch->place);
    } else {
        std::erase(mode.signalSources, &source);
        deferred.cancelled(&loop, source, mode);
    }
    mode.sources.erase(found);
}

void removeFromMode(__CFRunLoop&, Mode& mode, __CFRunLoopObserver& observer, Deferred& deferred) {
    if (std::erase(mode.observers, &observer) == 0) return;
    deferred.drop(&observer);
    CFOptionFlags activities = 0;
    for (const __CFRunLoopObserver* const other : mode.observers) activities |= other->activities;
    mode.activities.store(activities, std::memory_order_relaxed);
}

void removeFromMode(__CFRunLoop&, Mode& mode, __CFRunLoopTimer& timer, Deferred& deferred) {
    const auto found = mode.timers.find(&timer);
    if (found == mode.timers.end()) return;
    deferred.drop(&timer);
    if (found->second.isScheduled()) mode.schedule.remove(found->second);
    mode.timers.erase(found);
}

template <class Item>
void dropFromCommon(__CFRunLoop& loop, Item& item, Deferred& deferred) {
    if (loop.commonItems.erase(&item)) deferred.drop(&item);
}

/// After an item has left some mode: the loop lets go of it when it was the last.
template <class Item>
void detachUnlessHeld(__CFRunLoop& loop, Item& item) {
    if (loop.commonItems.contains(&item)) return;
    for (const auto& mode : loop.modes) {
        if (holds(*mode, item)) return;
    }
    detach(loop, item);
}

template <class Item>
void removeFromAll(__CFRunLoop& loop, Item& item) {
    Deferred deferred;
    {
        const std::lock_guard lock(loop.mutex);
        dropFromCommon(loop, item, deferred);
        for (const auto& mode : loop.modes) removeFromMode(loop, *mode, item, deferred);
        detach(loop, item);
    }
    deferred.call();
}

/// A port's source says at this point which port it is for; outside of every lock, since that is the caller's function.
void prepare(__CFRunLoopSource& source) {
    if (source.kind != __CFRunLoopSource::Kind::Port || !source.context1.getPort) return;
    Info info;
    {
        const std::lock_guard lock(source.mutex);
        if (!source.valid || source.port != MACH_PORT_NULL) return;
        info = source.info;
    }
    const mach_port_t port = source.context1.getPort(info.get());
    const std::lock_guard lock(source.mutex);
    if (source.port == MACH_PORT_NULL) source.port = port;
}
void prepare(__CFRunLoopObserver&) {}
void prepare(__CFRunLoopTimer&) {}

template <class Item>
void add(CFRunLoopRef loop, Item* item, CFStringRef name) {
    if (!loop || !item || !name) return;
    prepare(*item);
    Deferred deferred;
    {
        const std::lock_guard lock(loop->mutex);
        if (loop->closed || !attach(*loop, *item)) return;
        if (!isCommonModes(name)) {
            addToMode(*loop, loop->makeMode(name), *item, deferred);
        } else if (loop->commonItems.insert(item).second) {
            CFRetain(item);
            for (const auto& mode : loop->modes) {
                if (mode->isCommon) addToMode(*loop, *mode, *item, deferred);
            }
        }
    }
    deferred.call();
    loop->noteChange();
}

template <class Item>
void remove(CFRunLoopRef loop, Item* item, CFStringRef name) {
    if (!loop || !item || !name) return;
    Deferred deferred;
    {
        const std::lock_guard lock(loop->mutex);
        if (isCommonModes(name)) {
            dropFromCommon(*loop, *item, deferred);
            for (const auto& mode : loop->modes) {
                if (mode->isCommon) removeFromMode(*loop, *mode, *item, deferred);
            }
        } else if (Mode* const mode = loop->findMode(name)) {
            removeFromMode(*loop, *mode, *item, deferred);
        }
        detachUnlessHeld(*loop, *item);
    }
    deferred.call();
}

template <class Item>
bool contains(CFRunLoopRef loop, Item* item, CFStringRef name) {
    if (!loop || !item || !name) return false;
    const std::lock_guard lock(loop->mutex);
    if (isCommonModes(name)) return loop->commonItems.contains(item);
    const Mode* const mode = loop->findMode(name);
    return mode && holds(*mode, *item);
}

/// Shows an item of a loop's common modes as what it is.
template <class Visit>
void visitItem(CFTypeRef item, Visit visit) {
    void* const mutableItem = const_cast<void*>(item);
    switch (object(item)->cls->typeID) {
        case TypeID::RunLoopSource:
            return visit(*static_cast<__CFRunLoopSource*>(mutableItem));
        case TypeID::RunLoopObserver:
            return visit(*static_cast<__CFRunLoopObserver*>(mutableItem));
        default:
            return visit(*static_cast<__CFRunLoopTimer*>(mutableItem));
    }
}

}  // namespace

// ---- Modes

std::shared_ptr<Waker> Watch::portChanged() noexcept { return makeReady() ? mode.waker : nullptr; }

bool Watch::makeReady() noexcept {
    const std::lock_guard lock(mode.readyMutex);
    if (listed) return false;
    place = node.begin();
    mode.ready.splice(mode.ready.end(), node);
    listed = true;
    return true;
}

Mode::Mode(CFStringRef n, std::shared_ptr<Waker> w)
    : name(Retained<const __CFString>::adopting(CFStringCreateCopy(nullptr, n))), waker(std::move(w)) {}

Mode::~Mode() {
    if (epoll >= 0) ::close(epoll);
}

bool Mode::hasReady() noexcept {
    const std::lock_guard lock(readyMutex);
    return !ready.empty();
}

void Deferred::scheduled(CFRunLoopRef loop, __CFRunLoopSource& source, const Mode& mode) {
    if (!source.context.schedule) return;
    const std::lock_guard lock(source.mutex);
    calls_.push_back({source.context.schedule, source.info, Retained<__CFRunLoop>::retaining(loop), mode.name});
}

void Deferred::cancelled(CFRunLoopRef loop, __CFRunLoopSource& source, const Mode& mode) {
    if (!source.context.cancel) return;
    const std::lock_guard lock(source.mutex);
    calls_.push_back({source.context.cancel, source.info, Retained<__CFRunLoop>::retaining(loop), mode.name});
}

void Deferred::call() {
    for (const Call& call : calls_) call.function(call.info.get(), call.loop.get(), call.mode.get());
    calls_.clear();
}

void removeEverywhere(__CFRunLoop& loop, __CFRunLoopSource& source) { removeFromAll(loop, source); }
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopObserver& observer) { removeFromAll(loop, observer); }
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopTimer& timer) { removeFromAll(loop, timer); }

}  // namespace KXPlatform

void __CFRunLoop::close() {
    Deferred deferred;
    {
        const std::lock_guard lock(mutex);
        closed = true;
        for (const auto& mode : modes) {
            while (!mode->sources.empty()) {
                __CFRunLoopSource& source = *mode->sources.begin()->first;
                removeFromMode(*this, *mode, source, deferred);
                detach(*this, source);
            }
            while (!mode->observers.empty()) {
                __CFRunLoopObserver& observer = *mode->observers.back();
                removeFromMode(*this, *mode, observer, deferred);
                detach(*this, observer);
            }
            while (!mode->timers.empty()) {
                __CFRunLoopTimer& last = *mode->timers.begin()->first;
                removeFromMode(*this, *mode, last, deferred);
                detach(*this, last);
            }
        }
        // One that was taken out of each of the common modes is still among the items of all of them.
        for (const CFTypeRef item : commonItems) {
            visitItem(item, [&](auto& known) { detach(*this, known); });
            deferred.drop(object(item));
        }
        commonItems.clear();
    }
    deferred.call();
}

void CFRunLoopAddCommonMode(CFRunLoopRef rl, CFRunLoopMode mode) {
    if (!rl || !mode || isCommonModes(mode)) return;
    Deferred deferred;
    {
        const std::lock_guard lock(rl->mutex);
        if (rl->closed) return;
        Mode& common = rl->makeMode(mode);
        if (common.isCommon) return;
        common.isCommon = true;
        for (const CFTypeRef item : rl->commonItems) {
            visitItem(item, [&](auto& known) { addToMode(*rl, common, known, deferred); });
        }
    }
    deferred.call();
    rl->noteChange();
}

// ---- Items

Boolean CFRunLoopContainsSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    return contains(rl, source, mode);
}
void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode) { add(rl, source, mode); }
void CFRunLoopRemoveSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode) { remove(rl, source, mode); }

Boolean CFRunLoopContainsObserver(CFRunLoopRef rl, CFRunLoopObserverRef observer, CFRunLoopMode mode) {
    return contains(rl, observer, mode);
}
void CFRunLoopAddObserver(CFRunLoopRef rl, CFRunLoopObserverRef observer, CFRunLoopMode mode) {
    add(rl, observer, mode);
}
void CFRunLoopRemoveObserver(CFRunLoopRef rl, CFRunLoopObserverRef observer, CFRunLoopMode mode) {
    remove(rl, observer, mode);
}

Boolean CFRunLoopContainsTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode) {
    return contains(rl, timer, mode);
}
void CFRunLoopAddTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode) { add(rl, timer, mode); }
void CFRunLoopRemoveTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode) { remove(rl, timer, mode); }
