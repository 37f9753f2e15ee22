#pragma once

// What run loops run: sources, timers and observers.
//
// An item is guarded by its own mutex. It is attached to the loops that hold it (a source to any number, a timer or an
// observer to one), and a loop that holds an item retains it. While an item is attached to a loop, the loop's thread
// keeps the loop alive: who finds a loop in an item, under the item's mutex, may retain it.
//
// In a forked child the parent's loops count for nothing: an item that was attached to one is free, and no call on an
// item reaches that loop.
//
// Order of locks: a loop's, then an item's. Nothing is called out with either held.

#include "CoreFoundation/Object/Retained.h"
#include "TimerClock.h"

#include <CoreFoundation/CFRunLoop.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace KXPlatform {

/// The caller's `info` of a context, retained by its `retain` and released by its `release` exactly once: when the item
/// has let go of it and no callback that was given it is under way any more.
using Info = std::shared_ptr<void>;

/// Throws std::bad_alloc, with `info` released again.
template <class Context>
Info holdInfo(const Context& context) {
    void* const info =
        context.retain ? const_cast<void*>(static_cast<const void*>(context.retain(context.info))) : context.info;
    return {info, [release = context.release](void* held) {
                if (release) release(held);
            }};
}

/// Reads a context for the caller, with the info the item holds now; nothing where the caller's version is unknown.
template <class Context>
void giveContext(Context* into, Context context, const Info& info) noexcept {
    if (!into || into->version != 0) return;
    context.info = info.get();
    *into = context;
}

/// A new object with what it keeps of a caller's context, which may be null; null where either has found no memory.
template <class Item, class Context>
Item* withContext(Retained<Item> made, const Context* context) {
    if (!made || !context) return made.release();
    try {
        made->info = holdInfo(*context);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    made->context = *context;
    return made.release();
}

/// What a descriptor's owner wants to hear of.
struct Interest {
    std::uint32_t events = 0;  ///< as epoll names them
    std::uint32_t serial = 0;  ///< changes with every wish, so that an event can be told from one already served
};

/// What a source of this platform's own (of a port, of a descriptor) has behind it: the object that is its info.
struct SourceOwner {
    void (*forget)(void* owner, __CFRunLoopSource* source) noexcept;  ///< the source has let go of its owner
    void (*portDied)(void* owner);                                    ///< null for a descriptor
    int (*descriptor)(void* owner) noexcept;                          ///< null for a port
    Interest (*interest)(void* owner) noexcept;
    /// Takes the wishes that these events fulfil; 0 when they answer a wish that has been served or taken back.
    CFOptionFlags (*take)(void* owner, std::uint32_t events, std::uint32_t serial) noexcept;
    void (*callOut)(void* owner, CFOptionFlags taken);
};

}  // namespace KXPlatform

struct __CFRunLoopSource : KXPlatform::Object {
    enum class Kind : std::uint8_t { Signal, Port, Descriptor };

    __CFRunLoopSource(Kind k, CFIndex o, const KXPlatform::SourceOwner* w, void* ownerObject) noexcept;
    ~__CFRunLoopSource();

    const Kind kind;
    const CFIndex order;
    const KXPlatform::SourceOwner* const owner;  ///< null for a source of the caller's own making
    void* const ownerObject;                     ///< the info, which stays retained while a loop holds the source
    CFRunLoopSourceContext context{};            ///< of a Signal; `version` 0
    CFRunLoopSourceContext1 context1{};          ///< of a Port; `version` 1
    std::atomic<bool> signalled{false};

    std::mutex mutex;
    bool valid = true;
    KXPlatform::Info info;
    mach_port_t port = 0;             ///< that a loop watches for it
    std::vector<CFRunLoopRef> loops;  ///< that hold it, each once
};

struct __CFRunLoopObserver : KXPlatform::Object {
    __CFRunLoopObserver(CFOptionFlags a, bool r, CFIndex o, CFRunLoopObserverCallBack c) noexcept;

    const CFOptionFlags activities;
    const bool repeats;
    const CFIndex order;
    const CFRunLoopObserverCallBack callout;
    CFRunLoopObserverContext context{};

    std::mutex mutex;
    bool valid = true;
    bool firing = false;
    KXPlatform::Info info;
    CFRunLoopRef loop = nullptr;  ///< that holds it
};

struct __CFRunLoopTimer : KXPlatform::Object {
    __CFRunLoopTimer(CFAbsoluteTime d, CFTimeInterval i, CFIndex o, CFRunLoopTimerCallBack c) noexcept;

    /// Sets the next date, and from it on the dates of a repeating timer. Needs the timer's mutex.
    void moveTo(CFAbsoluteTime date) noexcept;
    /// Moves a repeating timer to the first of its dates that is later than `now`.
    void advance(std::int64_t now) noexcept;
    /// When the timer must be served at the latest: its deadline and its tolerance.
    std::int64_t latest() const noexcept;

    const CFTimeInterval interval;  ///< 0: fires once
    const CFIndex order;
    const CFRunLoopTimerCallBack callout;
    const std::uint64_t sequence;  ///< of two timers with one date, the one made first fires first
    CFRunLoopTimerContext context{};

    std::mutex mutex;
    bool valid = true;
    bool firing = false;
    bool moved = false;  ///< while it fired
    CFTimeInterval tolerance = 0;
    KXPlatform::ClockReading reading;  ///< by which dates are deadlines, from the first date on
    CFAbsoluteTime firstDate;          ///< that dates are counted from, so that no rounding adds up
    CFAbsoluteTime date;               ///< the next one
    std::int64_t deadline;             ///< the same on the timers' clock; changed only with the loop's mutex held too
    KXPlatform::Info info;
    CFRunLoopRef loop = nullptr;  ///< that holds it
};

namespace KXPlatform {

/// A source that stands for `ownerObject` and retains it. `perform` is a port's, null for a descriptor. Null when there
/// is no memory.
__CFRunLoopSource* makeOwnedSource(CFAllocatorRef allocator, CFIndex order, const SourceOwner& owner,
                                   Object* ownerObject, mach_port_t (*getPort)(void*),
                                   void* (*perform)(void*, CFIndex, CFAllocatorRef, void*));

}  // namespace KXPlatform
