#include "RunLoop.h"

#include <algorithm>
#include <utility>

namespace KXPlatform {
namespace {

/// A run from its entry to its exit. What is done in a pass, and in which order, is the platform's documented sequence:
/// observers of timers and sources, signalled sources, one ready port at once or else a wait between its two observers,
/// then what has become due.
class Runner {
  public:
    Runner(__CFRunLoop& loop, Mode& mode, std::int64_t limit, bool returnAfterSourceHandled) noexcept
        : loop_(loop), mode_(mode), limit_(limit), returnsAfterSource_(returnAfterSourceHandled) {}

    CFRunLoopRunResult run() {
        notify(kCFRunLoopEntry);
        const CFRunLoopRunResult result = isStopped() ? kCFRunLoopRunStopped : passes();
        notify(kCFRunLoopExit);
        return result;
    }

  private:
    /// So many passes at most go by between two looks at the descriptors while ports keep the loop busy.
    static constexpr unsigned kPassesWithoutPoll = 16;

    bool isStopped();
    CFRunLoopRunResult passes();
    void waitOrPoll(bool mayWait);
    void notify(CFRunLoopActivity activity);
    void callOut(__CFRunLoopObserver& observer, CFRunLoopActivity activity);
    bool performSignalled();
    bool perform(ItemList<__CFRunLoopSource>::Walk& walk, std::uint64_t pass);
    bool deliver();
    bool deliverReady();
    void fireTimers(std::int64_t due);
    bool fireNext(std::int64_t due, std::uint64_t pass);

    std::int64_t nextWakeUp();

    __CFRunLoop& loop_;
    Mode& mode_;
    const std::int64_t limit_;
    const bool returnsAfterSource_;
};

bool Runner::isStopped() {
    const std::lock_guard lock(loop_.mutex);
    return loop_.current->stopped;
}

CFRunLoopRunResult Runner::passes() {
    for (;;) {
        // Everything is looked at from here on, so a wake-up until now has had its effect.
        loop_.waker->takeWakeUp();
        notify(kCFRunLoopBeforeTimers);
        notify(kCFRunLoopBeforeSources);
        bool handled = performSignalled();
        waitOrPoll(!handled && limit_ > 0);
        handled |= deliver();
        if (!loop_.current->outer) drainAutoreleased();

        if (handled && returnsAfterSource_) return kCFRunLoopRunHandledSource;
        if (limit_ != kForever && (limit_ <= 0 || now() >= limit_)) return kCFRunLoopRunTimedOut;
        const std::lock_guard lock(loop_.mutex);
        if (loop_.current->stopped) return kCFRunLoopRunStopped;
        if (mode_.isEmpty()) return kCFRunLoopRunFinished;
    }
}

void Runner::waitOrPoll(bool mayWait) {
    if (mode_.hasReady()) {
        if (++mode_.passesWithoutPoll % kPassesWithoutPoll == 0) pollDescriptors(loop_, mode_);
        return;
    }
    mode_.passesWithoutPoll = 0;
    if (!mayWait) return pollDescriptors(loop_, mode_);
    notify(kCFRunLoopBeforeWaiting);
    waitForEvents(loop_, mode_, nextWakeUp());
    notify(kCFRunLoopAfterWaiting);
}

/// When the loop has something to do by itself: at its limit, before any timer's tolerance is used up, or at once when
/// it has been stopped.
std::int64_t Runner::nextWakeUp() {
    const std::lock_guard lock(loop_.mutex);
    if (loop_.current->stopped) return 0;
    std::int64_t latest = limit_;
    mode_.timers.descend([&](const TimerKey& key) {
        if (key.deadline >= latest) return false;
        const std::lock_guard timerLock(key.timer->mutex);
        latest = std::min(latest, key.timer->latest());
        return true;
    });
    loop_.wakesAt = latest;
    return latest;
}

// ---- Observers

void Runner::notify(CFRunLoopActivity activity) {
    if (!(mode_.activities.load(std::memory_order_relaxed) & activity)) return;
    ItemList<__CFRunLoopObserver>::Walk walk;
    for (;;) {
        Retained<__CFRunLoopObserver> next;
        {
            const std::lock_guard lock(loop_.mutex);
            next = Retained<__CFRunLoopObserver>::retaining(mode_.observers.next(
                walk, [&](const __CFRunLoopObserver& observer) { return (observer.activities & activity) != 0; }));
        }
        if (!next) return;
        callOut(*next, activity);
    }
}

void Runner::callOut(__CFRunLoopObserver& observer, CFRunLoopActivity activity) {
    Info info;
    {
        const std::lock_guard lock(observer.mutex);
        // One that runs the loop itself is not told of what that run does.
        if (!observer.valid || observer.firing || observer.loop != &loop_) return;
        observer.firing = true;
        info = observer.info;
    }
    struct Finish {
        __CFRunLoopObserver& observer;
        ~Finish() {
            {
                const std::lock_guard lock(observer.mutex);
                observer.firing = false;
            }
            if (!observer.repeats) CFRunLoopObserverInvalidate(&observer);
        }
    } const finish{observer};
    if (observer.callout) observer.callout(&observer, activity, info.get());
}

// ---- Signalled sources

bool Runner::performSignalled() {
    const std::uint64_t signals = loop_.signals.load(std::memory_order_acquire);
    if (signals == mode_.scanned) return false;
    // Those that are signalled now; what the calls signal is for the next pass.
    const std::uint64_t pass = ++mode_.passes;
    {
        const std::lock_guard lock(loop_.mutex);
        mode_.signalSources.mark(
            pass, [](const __CFRunLoopSource& source) { return source.signalled.load(std::memory_order_relaxed); });
    }
    bool performed = false;
    ItemList<__CFRunLoopSource>::Walk walk;
    while (perform(walk, pass)) {
        performed = true;
        if (returnsAfterSource_) return true;  // the rest keep their turn: `scanned` has not moved
    }
    mode_.scanned = signals;
    return performed;
}

/// Performs the next of the marked sources that are still signalled; false when there is none.
bool Runner::perform(ItemList<__CFRunLoopSource>::Walk& walk, std::uint64_t pass) {
    Retained<__CFRunLoopSource> source;
    Info info;
    {
        const std::lock_guard lock(loop_.mutex);
        for (;;) {
            __CFRunLoopSource* const next = mode_.signalSources.nextMarked(walk, pass);
            if (!next) return false;
            const std::lock_guard sourceLock(next->mutex);
            // The signal is taken before the call: one that comes during it is served again.
            if (!next->valid || !next->signalled.exchange(false, std::memory_order_acq_rel)) continue;
            source = Retained<__CFRunLoopSource>::retaining(next);
            info = next->info;
            break;
        }
    }
    if (source->context.perform) source->context.perform(info.get());
    return true;
}

// ---- Timers and ready ports and descriptors

/// Timers that are due or one ready source, in turns when there is both, so that neither starves the other. True when a
/// source was served.
bool Runner::deliver() {
    bool hasTimers;
    std::int64_t due = 0;
    {
        const std::lock_guard lock(loop_.mutex);
        const TimerKey* const first = mode_.timers.first();
        if (first) due = now();
        hasTimers = first && first->deadline <= due;
    }
    if (hasTimers && (mode_.sourceServedLast || !mode_.hasReady())) {
        mode_.sourceServedLast = false;
        fireTimers(due);
        return false;
    }
    mode_.sourceServedLast = deliverReady();
    return mode_.sourceServedLast;
}

bool Runner::deliverReady() {
    Retained<__CFRunLoopSource> source;
    Info info;
    PortTable::Received received;
    CFOptionFlags taken = 0;
    {
        const std::lock_guard lock(loop_.mutex);
        Watch* watch = nullptr;
        {
            const std::lock_guard readyLock(mode_.readyMutex);
            if (mode_.ready.empty()) return false;
            watch = mode_.ready.front();
            watch->node.splice(watch->node.begin(), mode_.ready, watch->place);
            watch->listed = false;
        }
        source = Retained<__CFRunLoopSource>::retaining(&watch->source);
        {
            const std::lock_guard sourceLock(source->mutex);
            if (!source->valid) return false;
            info = source->info;
        }
        if (source->kind == __CFRunLoopSource::Kind::Port) {
            received = PortTable::shared().tryReceive(source->port);
            if (received.remain > 0) watch->makeReady();
        } else {
            taken = source->owner->take(info.get(), std::exchange(watch->events, 0), watch->serial);
            rearm(mode_, *watch);
        }
    }
    if (source->kind == __CFRunLoopSource::Kind::Descriptor) {
        if (taken) source->owner->callOut(info.get(), taken);
        return taken != 0;
    }
    if (!received.message) {  // taken by another receiver, or lost with the port
        if (!received.alive && source->owner) source->owner->portDied(info.get());
        return false;
    }
    if (!source->context1.perform) return true;
    mach_msg_header_t* const message = received.message->get();
    void* const reply = source->context1.perform(message, static_cast<CFIndex>(message->msgh_size),
                                                 kCFAllocatorSystemDefault, info.get());
    if (reply) {
        mach_msg_header_t* const answer = static_cast<mach_msg_header_t*>(reply);
        mach_msg(answer, MACH_SEND_MSG | MACH_SEND_TIMEOUT, answer->msgh_size, 0, MACH_PORT_NULL, 0, MACH_PORT_NULL);
        CFAllocatorDeallocate(kCFAllocatorSystemDefault, reply);
    }
    return true;
}

void Runner::fireTimers(std::int64_t due) {
    // Those that are due now; one that a call makes due is for the next pass.
    const std::uint64_t pass = ++mode_.passes;
    {
        const std::lock_guard lock(loop_.mutex);
        mode_.timers.markDue(due, pass);
    }
    while (fireNext(due, pass)) {
    }
}

/// Fires the next of the marked timers that are still due; false when there is none.
bool Runner::fireNext(std::int64_t due, std::uint64_t pass) {
    Retained<__CFRunLoopTimer> timer;
    Info info;
    {
        const std::lock_guard lock(loop_.mutex);
        for (;;) {
            const TimerKey* const next = mode_.timers.nextDue(due, pass);
            if (!next) return false;
            __CFRunLoopTimer& found = *next->timer;
            const std::lock_guard timerLock(found.mutex);
            // Out of every line: a nested run neither serves it nor wakes for it.
            park(loop_, found);
            if (!found.valid) continue;  // on its way out
            found.firing = true;
            found.moved = false;
            timer = Retained<__CFRunLoopTimer>::retaining(&found);
            info = found.info;
            break;
        }
    }
    struct Finish {
        __CFRunLoopTimer& timer;
        ~Finish() { endFiring(timer); }
    } const finish{*timer};
    if (timer->callout) timer->callout(timer.get(), info.get());
    return true;
}

}  // namespace

CFRunLoopRunResult runInMode(__CFRunLoop& loop, CFStringRef name, CFTimeInterval seconds,
                             bool returnAfterSourceHandled) {
    Mode* mode;
    {
        const std::lock_guard lock(loop.mutex);
        mode = loop.findMode(name);
        if (!mode || mode->isEmpty()) return kCFRunLoopRunFinished;
    }
    // Anything that is no positive number of seconds means one pass without waiting.
    const std::int64_t limit = seconds > 0 ? timeAfter(now(), seconds) : 0;

    struct Activation {
        Activation(__CFRunLoop& l, Mode& m) : loop(l), run{m, l.current} {
            const std::lock_guard lock(loop.mutex);
            loop.current = &run;
            ++run.mode.runs;
        }
        ~Activation() {
            const std::lock_guard lock(loop.mutex);
            loop.current = run.outer;
            --run.mode.runs;
            run.mode.closeUnlessUsed();
        }
        __CFRunLoop& loop;
        Run run;
    } const activation(loop, *mode);
    return Runner(loop, *mode, limit, returnAfterSourceHandled).run();
}

}  // namespace KXPlatform
