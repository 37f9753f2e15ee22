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
        const CFRunLoopRunResult result = passes();
        notify(kCFRunLoopExit);
        return result;
    }

  private:
    /// So many passes at most go by between two looks at the descriptors while ports keep the loop busy.
    static constexpr unsigned kPassesWithoutPoll = 16;

    CFRunLoopRunResult passes();
    void waitOrPoll(bool mayWait);
    void notify(CFRunLoopActivity activity);
    void callOut(__CFRunLoopObserver& observer, CFRunLoopActivity activity);
    bool performSignalled();
    bool perform(__CFRunLoopSource& source);
    bool deliver();
    bool deliverReady();
    void fireTimers(std::int64_t due);
    void fire(__CFRunLoopTimer& timer, std::int64_t due);

    std::int64_t nextWakeUp();

    __CFRunLoop& loop_;
    Mode& mode_;
    const std::int64_t limit_;
    const bool returnsAfterSource_;
};

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
    mode_.schedule.descend([&](const TimerKey& key) {
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
    std::vector<Retained<__CFRunLoopObserver>> wanted;
    {
        const std::lock_guard lock(loop_.mutex);
        for (__CFRunLoopObserver* const observer : mode_.observers) {
            if (observer->activities & activity) wanted.push_back(Retained<__CFRunLoopObserver>::retaining(observer));
        }
    }
    for (const auto& observer : wanted) callOut(*observer, activity);
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
    std::vector<Retained<__CFRunLoopSource>> signalled;
    {
        const std::lock_guard lock(loop_.mutex);
        for (__CFRunLoopSource* const source : mode_.signalSources) {
            if (source->signalled.load(std::memory_order_relaxed)) {
                signalled.push_back(Retained<__CFRunLoopSource>::retaining(source));
            }
        }
    }
    bool performed = false;
    for (const auto& source : signalled) {
        if (performed && returnsAfterSource_) return true;  // the rest keep their turn: `scanned` has not moved
        performed |= perform(*source);
    }
    mode_.scanned = signals;
    return performed;
}

bool Runner::perform(__CFRunLoopSource& source) {
    Info info;
    {
        const std::lock_guard lock(loop_.mutex);
        if (!mode_.sources.contains(&source)) return false;
        const std::lock_guard sourceLock(source.mutex);
        // The signal is taken before the call: one that comes during it is served again.
        if (!source.valid || !source.signalled.exchange(false, std::memory_order_acq_rel)) return false;
        info = source.info;
    }
    if (source.context.perform) source.context.perform(info.get());
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
        hasTimers = !mode_.schedule.isEmpty();
        if (hasTimers) {
            due = now();
            hasTimers = mode_.schedule.first().deadline <= due;
        }
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
    std::vector<TimerKey> keys;
    std::vector<Retained<__CFRunLoopTimer>> timers;
    {
        const std::lock_guard lock(loop_.mutex);
        mode_.schedule.descend([&](const TimerKey& key) {
            if (key.deadline > due) return false;
            keys.push_back(key);
            return true;
        });
        timers.reserve(keys.size());
        std::sort(keys.begin(), keys.end());
        for (const TimerKey& key : keys) timers.push_back(Retained<__CFRunLoopTimer>::retaining(key.timer));
    }
    for (const auto& timer : timers) fire(*timer, due);
}

void Runner::fire(__CFRunLoopTimer& timer, std::int64_t due) {
    Info info;
    {
        const std::lock_guard lock(loop_.mutex);
        const std::lock_guard timerLock(timer.mutex);
        if (!timer.valid || timer.firing || timer.deadline > due || !mode_.timers.contains(&timer)) return;
        timer.firing = true;
        timer.moved = false;
        info = timer.info;
        // Out of every schedule: a nested run neither serves it nor wakes for it.
        park(loop_, timer);
    }
    struct Finish {
        __CFRunLoopTimer& timer;
        ~Finish() { endFiring(timer); }
    } const finish{timer};
    if (timer.callout) timer.callout(&timer, info.get());
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
        }
        ~Activation() {
            const std::lock_guard lock(loop.mutex);
            loop.current = run.outer;
        }
        __CFRunLoop& loop;
        Run run;
    } const activation(loop, *mode);
    return Runner(loop, *mode, limit, returnAfterSourceHandled).run();
}

}  // namespace KXPlatform
