#include "RunLoop.h"

#include <algorithm>
#include <functional>

using namespace KXPlatform;

namespace KXPlatform {
namespace {

// ---- The loops that an item knows. False, or an exception, leaves them as they are.

bool attach(__CFRunLoop& loop, __CFRunLoopSource& source) {
    const std::lock_guard lock(source.mutex);
    if (!source.valid) return false;
    if (std::find(source.loops.begin(), source.loops.end(), &loop) == source.loops.end()) source.loops.push_back(&loop);
    return true;
}

template <class Item>
bool attach(__CFRunLoop& loop, Item& item) noexcept {
    const std::lock_guard lock(item.mutex);
    const __CFRunLoop* const holder = loopOf(item);
    if (!item.valid || (holder && holder != &loop)) return false;
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

// ---- An item leaves modes of its loop

/// What is left to do about it once no lock is held: the callbacks of a source, the loop's reference to drop.
struct Departure {
    std::list<Mode*> modes;  ///< that the item has left
    Info info;               ///< of a source, as it left
    Holdings::node_type holding;
};

bool isTold(const __CFRunLoopSource& source) noexcept {
    return source.kind == __CFRunLoopSource::Kind::Signal && source.context.cancel;
}

void keepInfo(Departure& departure, __CFRunLoopSource& source) noexcept {
    if (!isTold(source)) return;
    const std::lock_guard lock(source.mutex);
    departure.info = source.info;
}
void keepInfo(Departure&, __CFRunLoopObserver&) noexcept {}
void keepInfo(Departure&, __CFRunLoopTimer&) noexcept {}

void tell(const Departure& departure, __CFRunLoop& loop, const __CFRunLoopSource& source) {
    if (!isTold(source)) return;
    for (const Mode* const mode : departure.modes) {
        source.context.cancel(departure.info.get(), &loop, mode->name.get());
    }
}
void tell(const Departure&, __CFRunLoop&, const __CFRunLoopObserver&) noexcept {}
void tell(const Departure&, __CFRunLoop&, const __CFRunLoopTimer&) noexcept {}

/// Takes the item out of the modes that `leaves` names, and out of the loop when it is in no mode any more.
template <class Item, class Leaves>
void takeOut(Departure& departure, __CFRunLoop& loop, Item& item, Leaves leaves) noexcept {
    const auto found = loop.holdings.find(&item);
    if (found == loop.holdings.end()) return;
    keepInfo(departure, item);
    Holding& holding = found->second;
    for (auto at = holding.modes.begin(); at != holding.modes.end();) {
        const auto next = std::next(at);
        Mode& mode = **at;
        if (leaves(mode)) {
            leave(mode, item);
            mode.closeUnlessUsed();
            departure.modes.splice(departure.modes.end(), holding.modes, at);
        }
        at = next;
    }
    if (holding.isCommon || !holding.modes.empty()) return;
    // Last: who invalidates an item waits for the loops that it is attached to, and for no others.
    detach(loop, item);
    departure.holding = loop.holdings.extract(found);
}

template <class Item>
void removeFromAll(__CFRunLoop& loop, Item& item) {
    Departure departure;
    {
        const std::lock_guard lock(loop.mutex);
        if (Holding* const holding = loop.find(item)) holding->isCommon = false;
        takeOut(departure, loop, item, [](const Mode&) { return true; });
    }
    tell(departure, loop, item);
}

template <class Item>
void remove(CFRunLoopRef loop, Item* item, CFStringRef name) {
    if (!loop || !item || !name || loop->isInherited()) return;
    Departure departure;
    {
        const std::lock_guard lock(loop->mutex);
        if (isCommonModes(name)) {
            if (Holding* const holding = loop->find(*item)) holding->isCommon = false;
            takeOut(departure, *loop, *item, [](const Mode& mode) { return mode.isCommon; });
        } else if (const Mode* const left = loop->findMode(name)) {
            takeOut(departure, *loop, *item, [&](const Mode& mode) { return &mode == left; });
        }
    }
    tell(departure, *loop, *item);
}

// ---- An item comes to modes of a loop

/// The modes that an item has come to, for the callbacks of a source once no lock is held.
struct Arrival {
    std::vector<Mode*> modes;
    Info info;
};

void tell(const Arrival& arrival, __CFRunLoop& loop, const __CFRunLoopSource& source) {
    if (source.kind != __CFRunLoopSource::Kind::Signal || !source.context.schedule) return;
    for (const Mode* const mode : arrival.modes) {
        source.context.schedule(arrival.info.get(), &loop, mode->name.get());
    }
}
void tell(const Arrival&, __CFRunLoop&, const __CFRunLoopObserver&) noexcept {}
void tell(const Arrival&, __CFRunLoop&, const __CFRunLoopTimer&) noexcept {}

void keepInfo(Arrival& arrival, __CFRunLoopSource& source) noexcept {
    const std::lock_guard lock(source.mutex);
    arrival.info = source.info;
}
void keepInfo(Arrival&, __CFRunLoopObserver&) noexcept {}
void keepInfo(Arrival&, __CFRunLoopTimer&) noexcept {}

/// Brings an item that the loop holds to a mode; it may be there already.
template <class Item>
void bring(Arrival& arrival, __CFRunLoop& loop, Holding& holding, Item& item, Mode& mode) {
    if (std::find(holding.modes.begin(), holding.modes.end(), &mode) != holding.modes.end()) return;
    arrival.modes.reserve(arrival.modes.size() + 1);
    std::list<Mode*> place{&mode};
    enter(loop, mode, item);
    holding.modes.splice(holding.modes.end(), place);
    arrival.modes.push_back(&mode);
}

/// Undoes what bring() has done.
template <class Item>
void undo(Arrival& arrival, __CFRunLoop& loop, Item& item) noexcept {
    Departure departure;
    takeOut(departure, loop, item, [&](const Mode& mode) {
        return std::find(arrival.modes.begin(), arrival.modes.end(), &mode) != arrival.modes.end();
    });
    arrival.modes.clear();
}

/// Adds an item to the mode of a name, or to all of the common modes; whole or, when there is no memory, not at all.
template <class Item>
void bring(Arrival& arrival, __CFRunLoop& loop, Item& item, CFStringRef name) {
    const bool toCommon = isCommonModes(name);
    Mode* const only = toCommon ? nullptr : &loop.makeMode(name);
    const auto [place, isNew] = loop.holdings.try_emplace(&item);
    Holding& holding = place->second;
    try {
        if (!attach(loop, item)) {
            if (isNew) loop.holdings.erase(place);
            return;
        }
    } catch (...) {
        if (isNew) loop.holdings.erase(place);
        throw;
    }
    if (isNew) holding.item = Retained<const Object>::retaining(&item);
    try {
        if (only) {
            bring(arrival, loop, holding, item, *only);
        } else if (!holding.isCommon) {
            for (const auto& mode : loop.modes) {
                if (mode->isCommon) bring(arrival, loop, holding, item, *mode);
            }
            holding.isCommon = true;
        }
    } catch (...) {
        undo(arrival, loop, item);
        throw;
    }
    keepInfo(arrival, item);
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
void prepare(__CFRunLoopObserver&) noexcept {}
void prepare(__CFRunLoopTimer&) noexcept {}

template <class Item>
void add(CFRunLoopRef loop, Item* item, CFStringRef name) {
    if (!loop || !item || !name) return;
    loop->checkProcess();
    prepare(*item);
    Arrival arrival;
    try {
        const std::lock_guard lock(loop->mutex);
        if (loop->closed) return;
        bring(arrival, *loop, *item, name);
    } catch (const std::bad_alloc&) {
        return;
    }
    tell(arrival, *loop, *item);
    loop->noteChange();
}

template <class Item>
bool contains(CFRunLoopRef loop, Item* item, CFStringRef name) {
    if (!loop || !item || !name || loop->isInherited()) return false;
    const std::lock_guard lock(loop->mutex);
    const Holding* const holding = loop->find(*item);
    if (!holding) return false;
    if (isCommonModes(name)) return holding->isCommon;
    const Mode* const mode = loop->findMode(name);
    return mode && loop->holds(*item, *mode);
}

/// Shows an item as what it is.
template <class Visit>
void visitItem(const Object* item, Visit visit) {
    Object* const known = const_cast<Object*>(item);
    switch (item->cls->typeID) {
        case TypeID::RunLoopSource:
            return visit(*static_cast<__CFRunLoopSource*>(known));
        case TypeID::RunLoopObserver:
            return visit(*static_cast<__CFRunLoopObserver*>(known));
        default:
            return visit(*static_cast<__CFRunLoopTimer*>(known));
    }
}

}  // namespace

Retained<__CFRunLoop> nextLoopOf(__CFRunLoopSource& source, const __CFRunLoop* last) noexcept {
    const std::less<const __CFRunLoop*> stands;
    const std::lock_guard lock(source.mutex);
    std::erase_if(source.loops, [](const __CFRunLoop* loop) { return loop->isInherited(); });
    __CFRunLoop* next = nullptr;
    for (__CFRunLoop* const loop : source.loops) {
        if ((!last || stands(last, loop)) && (!next || stands(loop, next))) next = loop;
    }
    return Retained<__CFRunLoop>::retaining(next);
}

void removeEverywhere(__CFRunLoop& loop, __CFRunLoopSource& source) { removeFromAll(loop, source); }
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopObserver& observer) { removeFromAll(loop, observer); }
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopTimer& timer) { removeFromAll(loop, timer); }

}  // namespace KXPlatform

Holding* __CFRunLoop::find(const KXPlatform::Object& item) noexcept {
    const auto found = holdings.find(&item);
    return found == holdings.end() ? nullptr : &found->second;
}

bool __CFRunLoop::holds(const KXPlatform::Object& item, const Mode& mode) noexcept {
    const Holding* const holding = find(item);
    return holding && std::find(holding->modes.begin(), holding->modes.end(), &mode) != holding->modes.end();
}

void __CFRunLoop::close() {
    // A forked child's thread may end with the loop of its parent's.
    if (isInherited()) return;
    for (;;) {
        Retained<const KXPlatform::Object> item;
        {
            const std::lock_guard lock(mutex);
            closed = true;
            if (holdings.empty()) return;
            item = holdings.begin()->second.item;
        }
        // Each is out of every mode before its last tie to the loop is cut.
        visitItem(item.get(), [this](auto& known) { removeFromAll(*this, known); });
    }
}

void CFRunLoopAddCommonMode(CFRunLoopRef rl, CFRunLoopMode mode) {
    if (!rl || !mode || isCommonModes(mode)) return;
    rl->checkProcess();
    // The sources that came to the mode, which are told once no lock is held.
    std::vector<std::pair<Retained<__CFRunLoopSource>, Arrival>> arrivals;
    try {
        const std::lock_guard lock(rl->mutex);
        if (rl->closed) return;
        Mode& common = rl->makeMode(mode);
        if (common.isCommon) return;
        arrivals.reserve(rl->holdings.size());
        std::vector<const Object*> brought;
        brought.reserve(rl->holdings.size());
        try {
            for (auto& [item, holding] : rl->holdings) {
                if (!holding.isCommon) continue;
                visitItem(item, [&, &held = holding](auto& known) {
                    Arrival arrival;
                    bring(arrival, *rl, held, known, common);
                    if (arrival.modes.empty()) return;  // it was in the mode already
                    brought.push_back(&known);
                    if constexpr (std::is_same_v<decltype(known), __CFRunLoopSource&>) {
                        keepInfo(arrival, known);
                        arrivals.emplace_back(Retained<__CFRunLoopSource>::retaining(&known), std::move(arrival));
                    }
                });
            }
        } catch (...) {
            for (const Object* const item : brought) {
                visitItem(item, [&](auto& known) {
                    Departure departure;
                    takeOut(departure, *rl, known, [&](const Mode& left) { return &left == &common; });
                });
            }
            throw;
        }
        common.isCommon = true;
    } catch (const std::bad_alloc&) {
        return;
    }
    for (const auto& [source, arrival] : arrivals) tell(arrival, *rl, *source);
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
