#include "RunLoop.h"

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFRunLoop.h>

#include <algorithm>
#include <chrono>
#include <cmath>

using namespace KXPlatform;

namespace {

constexpr Class kTimerClass{TypeID::RunLoopTimer, finalizeAs<__CFRunLoopTimer>, nullptr, nullptr, nullptr};

constexpr double kNanosecondsInSecond = 1e9;

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
            if (!timer.loop) {
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

}  // namespace

namespace KXPlatform {

std::int64_t now() noexcept {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

std::int64_t timeAfter(std::int64_t from, double seconds) noexcept {
    // Half of the clock's range either way: no sum of two times leaves it.
    constexpr double kReach = 4e18;
    const double nanoseconds = seconds * kNanosecondsInSecond;
    if (nanoseconds >= kReach) return kForever;
    return from + static_cast<std::int64_t>(std::max(nanoseconds, -kReach));
}

void park(__CFRunLoop& loop, __CFRunLoopTimer& timer) noexcept {
    for (const auto& mode : loop.modes) {
        const auto found = mode->timers.find(&timer);
        if (found != mode->timers.end() && found->second.isScheduled()) mode->schedule.remove(found->second);
    }
}

void unpark(__CFRunLoop& loop, __CFRunLoopTimer& timer) noexcept {
    for (const auto& mode : loop.modes) {
        const auto found = mode->timers.find(&timer);
        if (found == mode->timers.end() || found->second.isScheduled()) continue;
        // There is room: it was made for every timer that the mode holds.
        mode->schedule.insert({timer.deadline, timer.sequence, &timer}, found->second);
    }
}

void endFiring(__CFRunLoopTimer& timer) {
    bool again = false;
    const Retained<__CFRunLoop> loop = withLocks(timer, [&](__CFRunLoop* held) {
        timer.firing = false;
        again = timer.valid && timer.interval > 0;
        if (again && !timer.moved) timer.advance(now());
        if (again && held) unpark(*held, timer);
    });
    if (!again) CFRunLoopTimerInvalidate(&timer);
    if (again && loop) loop->noteChange();  // the call may have given the timer to another thread's loop
}

}  // namespace KXPlatform

__CFRunLoopTimer::__CFRunLoopTimer(CFTimeInterval i, CFIndex o, CFRunLoopTimerCallBack c) noexcept
    : Object(kTimerClass), interval(i), order(o), callout(c), sequence(nextSequence()) {}

void __CFRunLoopTimer::moveTo(CFAbsoluteTime next) noexcept {
    date = firstDate = next;
    deadline = firstDeadline = timeAfter(KXPlatform::now(), next - CFAbsoluteTimeGetCurrent());
}

void __CFRunLoopTimer::advance(std::int64_t now) noexcept {
    if (!std::isfinite(firstDate)) moveTo(CFAbsoluteTimeGetCurrent());
    const double elapsed = static_cast<double>(std::max<std::int64_t>(now - firstDeadline, 0));
    const double passed = std::floor(elapsed / (interval * kNanosecondsInSecond));
    if (!std::isfinite(passed)) {  // an interval too short for the clock: with every pass
        moveTo(CFAbsoluteTimeGetCurrent());
        return;
    }
    const double ahead = (passed + 1) * interval;
    deadline = std::max(timeAfter(firstDeadline, ahead), now + 1);
    date = firstDate + ahead;
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
        make<__CFRunLoopTimer>(allocator, 0, std::max(interval, 0.0), order, callout));
    if (!timer) return nullptr;
    timer->moveTo(fireDate);
    if (context) {
        timer->context = *context;
        timer->info = holdInfo(*context);
    }
    return timer.release();
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
        for (const auto& mode : held->modes) {
            const auto found = mode->timers.find(timer);
            if (found == mode->timers.end()) continue;
            mode->schedule.move(found->second, timer->deadline);
        }
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
        loop = Retained<__CFRunLoop>::retaining(timer->loop);
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
    if (!rl || !mode) return 0;
    const std::lock_guard lock(rl->mutex);
    const Mode* const found = rl->findMode(mode);
    if (!found || found->schedule.isEmpty()) return 0;
    __CFRunLoopTimer& next = *found->schedule.first().timer;
    const std::lock_guard timerLock(next.mutex);
    return next.date;
}
