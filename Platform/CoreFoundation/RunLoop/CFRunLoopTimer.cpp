#include "RunLoop.h"

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFRunLoop.h>

#include <algorithm>
#include <cmath>

using namespace KXPlatform;

namespace {

constexpr Class kTimerClass{TypeID::RunLoopTimer, finalizeAs<__CFRunLoopTimer>, nullptr, nullptr, nullptr};

std::uint64_t nextSequence() noexcept {
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed);
}

/// Does what needs the timer's mutex and, where a loop holds the timer, that loop's as well: `change` is given the loop
/// or null. Returns the loop.
template <class Change>
Retained<__CFRunLoop> withLocks(__CFRunLoopTimer& timer, Change change) {
    for (;;) {
        Retained<__CFRunLoop> loop;
        {
            const std::lock_guard lock(timer.mutex);
            if (!loopOf(timer)) {
                change(nullptr);
                return {};
            }
            loop = Retained<__CFRunLoop>::retaining(timer.loop);
        }
        const std::lock_guard lock(loop->mutex);
        const std::lock_guard timerLock(timer.mutex);
        if (timer.loop != loop.get()) continue;  // it went elsewhere meanwhile
        change(loop.get());
        return loop;
    }
}

/// Shows `visit` the schedules in which a loop holds a timer. Needs the loop's mutex.
template <class Visit>
void visitSchedules(__CFRunLoop& loop, const __CFRunLoopTimer& timer, Visit visit) noexcept {
    const Holding* const holding = loop.find(timer);
    if (!holding) return;
    for (Mode* const mode : holding->modes) visit(mode->timers);
}

}  // namespace

namespace KXPlatform {

void park(__CFRunLoop& loop, __CFRunLoopTimer& timer) noexcept {
    visitSchedules(loop, timer, [&](TimerSchedule& schedule) { schedule.park(timer); });
}

void schedule(__CFRunLoop& loop, __CFRunLoopTimer& timer) noexcept {
    visitSchedules(loop, timer, [&](TimerSchedule& schedule) { schedule.set(timer, timer.deadline); });
}

void endFiring(__CFRunLoopTimer& timer) {
    bool again = false;
    Info released;
    const Retained<__CFRunLoop> loop = withLocks(timer, [&](__CFRunLoop* held) {
        timer.firing = false;
        again = timer.valid && timer.interval > 0;
        if (!again) {
            // At once: nobody finds it valid, neither firing nor in line.
            timer.valid = false;
            released.swap(timer.info);
            return;
        }
        if (!timer.moved) timer.advance(now());
        if (held) schedule(*held, timer);
    });
    if (!loop) return;
    if (again) {
        loop->noteChange();  // the call may have given the timer to another thread's loop
    } else {
        removeEverywhere(*loop, timer);
    }
}

}  // namespace KXPlatform

__CFRunLoopTimer::__CFRunLoopTimer(CFAbsoluteTime d, CFTimeInterval i, CFIndex o, CFRunLoopTimerCallBack c) noexcept
    : Object(kTimerClass),
      interval(i),
      order(o),
      callout(c),
      sequence(nextSequence()),
      reading(ClockReading::take()),
      firstDate(d),
      date(d),
      deadline(reading.timeOf(d)) {}

void __CFRunLoopTimer::moveTo(CFAbsoluteTime next) noexcept {
    reading = ClockReading::take();
    date = firstDate = next;
    deadline = reading.timeOf(next);
}

void __CFRunLoopTimer::advance(std::int64_t now) noexcept {
    if (!std::isfinite(firstDate)) moveTo(reading.dateOf(now));
    const CFTimeInterval elapsed = std::max(reading.dateOf(now) - firstDate, 0.0);
    const double passed = std::floor(elapsed / interval);
    if (!std::isfinite(passed)) {  // an interval too short for the clock: with every pass
        moveTo(reading.dateOf(now));
        return;
    }
    date = firstDate + (passed + 1) * interval;
    deadline = std::max(reading.timeOf(date), now + 1);
}

std::int64_t __CFRunLoopTimer::latest() const noexcept {
    // A repeating timer served later than half of its interval would come nearer to its next date than to its own.
    const CFTimeInterval most = interval > 0 ? std::min(tolerance, interval / 2) : tolerance;
    const std::int64_t slack = timeAfter(0, most);
    return deadline > kForever - slack ? kForever : deadline + slack;
}

CFTypeID CFRunLoopTimerGetTypeID() { return number(TypeID::RunLoopTimer); }

CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef allocator, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                       CFOptionFlags, CFIndex order, CFRunLoopTimerCallBack callout,
                                       CFRunLoopTimerContext* context) {
    // What is no number is no date: there is no timer to make.
    if (std::isnan(fireDate) || std::isnan(interval) || (context && context->version != 0)) return nullptr;
    auto timer = Retained<__CFRunLoopTimer>::adopting(
        make<__CFRunLoopTimer>(allocator, 0, fireDate, std::max(interval, 0.0), order, callout));
    return withContext(std::move(timer), context);
}

CFAbsoluteTime CFRunLoopTimerGetNextFireDate(CFRunLoopTimerRef timer) {
    if (!timer) return 0;
    const std::lock_guard lock(timer->mutex);
    return timer->valid ? timer->date : 0;
}

void CFRunLoopTimerSetNextFireDate(CFRunLoopTimerRef timer, CFAbsoluteTime fireDate) {
    if (!timer || std::isnan(fireDate)) return;
    bool isSooner = false;
    const Retained<__CFRunLoop> loop = withLocks(*timer, [&](__CFRunLoop* held) {
        if (!timer->valid) return;
        timer->moveTo(fireDate);
        timer->moved = true;
        if (!held || timer->firing) return;
        schedule(*held, *timer);
        isSooner = timer->latest() < held->wakesAt;
    });
    if (isSooner) loop->noteChange();
}

CFTimeInterval CFRunLoopTimerGetInterval(CFRunLoopTimerRef timer) { return timer ? timer->interval : 0; }
Boolean CFRunLoopTimerDoesRepeat(CFRunLoopTimerRef timer) { return timer && timer->interval > 0; }
CFIndex CFRunLoopTimerGetOrder(CFRunLoopTimerRef timer) { return timer ? timer->order : 0; }

void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer) {
    if (!timer) return;
    const auto self = Retained<__CFRunLoopTimer>::retaining(timer);
    Info released;
    Retained<__CFRunLoop> loop;
    {
        const std::lock_guard lock(timer->mutex);
        if (!timer->valid) return;
        timer->valid = false;
        loop = Retained<__CFRunLoop>::retaining(loopOf(*timer));
        released.swap(timer->info);
    }
    if (loop) removeEverywhere(*loop, *timer);
}

Boolean CFRunLoopTimerIsValid(CFRunLoopTimerRef timer) {
    if (!timer) return false;
    const std::lock_guard lock(timer->mutex);
    return timer->valid;
}

void CFRunLoopTimerGetContext(CFRunLoopTimerRef timer, CFRunLoopTimerContext* context) {
    if (!timer) return;
    const std::lock_guard lock(timer->mutex);
    giveContext(context, timer->context, timer->info);
}

CFTimeInterval CFRunLoopTimerGetTolerance(CFRunLoopTimerRef timer) {
    if (!timer) return 0;
    const std::lock_guard lock(timer->mutex);
    return timer->tolerance;
}

void CFRunLoopTimerSetTolerance(CFRunLoopTimerRef timer, CFTimeInterval tolerance) {
    if (!timer) return;
    bool isSooner = false;
    const Retained<__CFRunLoop> loop = withLocks(*timer, [&](__CFRunLoop* held) {
        timer->tolerance = tolerance > 0 ? tolerance : 0;
        isSooner = held && timer->latest() < held->wakesAt;
    });
    if (isSooner) loop->noteChange();
}

CFAbsoluteTime CFRunLoopGetNextTimerFireDate(CFRunLoopRef rl, CFRunLoopMode mode) {
    if (!rl || !mode || rl->isInherited()) return 0;
    const std::lock_guard lock(rl->mutex);
    const Mode* const found = rl->findMode(mode);
    const TimerKey* const next = found ? found->timers.first() : nullptr;
    if (!next) return 0;
    const std::lock_guard timerLock(next->timer->mutex);
    return next->timer->date;
}
