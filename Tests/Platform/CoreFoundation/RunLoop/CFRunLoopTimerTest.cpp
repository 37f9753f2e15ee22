#include "RunLoopTesting.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

using namespace RunLoopTesting;
using testing::ElementsAre;

// ---- Timers

TEST(CFRunLoopTimer, FireInTheOrderOfTheirDates) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        std::vector<int> order;
        Action actions[4];
        const double delays[] = {0.003, -1, 0.001, -2};
        for (int i = 0; i < 4; ++i) {
            actions[i].run = [&, i] { order.push_back(i); };
            const CFRunLoopTimerRef timer = newTimer(actions[i], delays[i]);
            CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
            CFRelease(timer);
        }
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
        EXPECT_THAT(order, ElementsAre(3, 1, 2, 0));
    });
}

TEST(CFRunLoopTimer, RepeatsOnItsDatesWithoutDrift) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action tick;
        const double interval = 0.002;
        Own timer(newTimer(tick, 0, interval));
        const CFAbsoluteTime start = CFRunLoopTimerGetNextFireDate(timer);
        tick.run = [&] {
            std::this_thread::sleep_for(std::chrono::microseconds(2500));  // later than the next date
            if (tick.calls == 5) CFRunLoopStop(loop);
        };
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
        const double periods = (CFRunLoopTimerGetNextFireDate(timer) - start) / interval;
        EXPECT_NEAR(periods, std::round(periods), 1e-3);
        EXPECT_GE(periods, 9);  // missed dates are skipped, not made up for
        EXPECT_GT(CFRunLoopTimerGetNextFireDate(timer), CFAbsoluteTimeGetCurrent() - 1);
        EXPECT_TRUE(CFRunLoopTimerDoesRepeat(timer));
        EXPECT_EQ(CFRunLoopTimerGetInterval(timer), interval);
        CFRunLoopTimerInvalidate(timer);
    });
}

TEST(CFRunLoopTimer, LongOverdueFiresOnceForAllItMissed) {
    onOwnLoop([] {
        Action tick;
        Own timer(newTimer(tick, -1000, 600));
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        const CFAbsoluteTime start = CFRunLoopTimerGetNextFireDate(timer);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false), kCFRunLoopRunTimedOut);
        EXPECT_EQ(tick.calls, 1);
        EXPECT_NEAR(CFRunLoopTimerGetNextFireDate(timer) - start, 1200, 1e-3);
        CFRunLoopTimerInvalidate(timer);
    });
}

TEST(CFRunLoopTimer, MayBeMoved) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action tick;
        Own timer(newTimer(tick, 1000, 1000));
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        CFRunLoopAddTimer(loop, timer, CFSTR("other"));
        runOnce();
        EXPECT_EQ(tick.calls, 0);
        const CFAbsoluteTime at = CFAbsoluteTimeGetCurrent() - 1;
        CFRunLoopTimerSetNextFireDate(timer, at);
        EXPECT_EQ(CFRunLoopTimerGetNextFireDate(timer), at);
        EXPECT_EQ(CFRunLoopGetNextTimerFireDate(loop, CFSTR("other")), at);
        runOnce();
        EXPECT_EQ(tick.calls, 1);
        EXPECT_NEAR(CFRunLoopTimerGetNextFireDate(timer), at + 1000, 1e-3);  // counted from the new date
        tick.run = [&] { CFRunLoopTimerSetNextFireDate(timer, at + 5000); };
        CFRunLoopTimerSetNextFireDate(timer, at);
        runOnce();
        EXPECT_EQ(tick.calls, 2);
        EXPECT_EQ(CFRunLoopTimerGetNextFireDate(timer), at + 5000);
        CFRunLoopTimerInvalidate(timer);
        CFRunLoopTimerSetNextFireDate(timer, at);
        runOnce();
        EXPECT_EQ(tick.calls, 2);
    });
}

TEST(CFRunLoopTimer, ManyThatAreMovedAndRemovedAtRandomFireInTheOrderOfTheirDates) {
    onOwnLoop([] {
        std::mt19937 random(20261121);
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        const CFAbsoluteTime past = CFAbsoluteTimeGetCurrent() - 1e6;
        const auto date = [&] { return past + static_cast<double>(random() % 100000); };
        std::vector<double> fired;
        CFRunLoopTimerContext context{0, &fired, nullptr, nullptr, nullptr};
        std::vector<CFRunLoopTimerRef> timers;
        for (int i = 0; i < 1000; ++i) {
            timers.push_back(CFRunLoopTimerCreate(
                nullptr, date(), 0, 0, 0,
                [](CFRunLoopTimerRef timer, void* info) {
                    static_cast<std::vector<double>*>(info)->push_back(CFRunLoopTimerGetNextFireDate(timer));
                },
                &context));
            CFRunLoopAddTimer(loop, timers.back(), kCFRunLoopDefaultMode);
        }
        std::size_t kept = timers.size();
        for (int i = 0; i < 3000; ++i) {
            const CFRunLoopTimerRef timer = timers[random() % timers.size()];
            if (random() % 20 != 0) {
                CFRunLoopTimerSetNextFireDate(timer, date());
            } else if (CFRunLoopTimerIsValid(timer)) {
                CFRunLoopTimerInvalidate(timer);
                --kept;
            }
            ASSERT_LE(CFRunLoopGetNextTimerFireDate(loop, kCFRunLoopDefaultMode), past + 100000);
        }
        runOnce();
        EXPECT_EQ(fired.size(), kept);
        EXPECT_TRUE(std::is_sorted(fired.begin(), fired.end()));
        for (const CFRunLoopTimerRef timer : timers) CFRelease(timer);
    });
}

TEST(CFRunLoopTimer, MovedByAnotherThreadWakesItsLoop) {
    LoopThread other;
    Gate fired;
    Action tick;
    tick.run = [&] { fired.open(); };
    Own timer(newTimer(tick, 1000));
    CFRunLoopAddTimer(other.loop, timer, kCFRunLoopDefaultMode);
    while (!CFRunLoopIsWaiting(other.loop)) std::this_thread::yield();
    CFRunLoopTimerSetNextFireDate(timer, CFAbsoluteTimeGetCurrent());
    EXPECT_TRUE(fired.wait());
}

TEST(CFRunLoopTimer, IsNotEnteredAgainInANestedRun) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action tick;
        Own timer(newTimer(tick, -1, 0.0001));
        tick.run = [&] {
            EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.005, false), kCFRunLoopRunTimedOut);
            CFRunLoopStop(loop);
        };
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
        EXPECT_EQ(tick.calls, 1);
        CFRunLoopTimerInvalidate(timer);
    });
}

TEST(CFRunLoopTimer, BelongsToOneLoopAtATime) {
    LoopThread other;
    Action tick;
    Own timer(newTimer(tick, 1000));
    CFRunLoopAddTimer(other.loop, timer, CFSTR("one"));
    CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, CFSTR("one"));
    EXPECT_FALSE(CFRunLoopContainsTimer(CFRunLoopGetCurrent(), timer, CFSTR("one")));
    CFRunLoopRemoveTimer(other.loop, timer, CFSTR("one"));
    CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, CFSTR("one"));
    EXPECT_TRUE(CFRunLoopContainsTimer(CFRunLoopGetCurrent(), timer, CFSTR("one")));
    CFRunLoopTimerInvalidate(timer);
    EXPECT_FALSE(CFRunLoopContainsTimer(CFRunLoopGetCurrent(), timer, CFSTR("one")));
    EXPECT_EQ(tick.held, 0);
}

TEST(CFRunLoopTimer, MayGoToAnotherLoopInItsCall) {
    LoopThread other;
    Gate firedThere;
    std::thread::id firedOn;
    Action action;
    Own timer(newTimer(action, -1, 0.001));
    action.run = [&] {
        if (action.calls > 2) return;
        firedOn = std::this_thread::get_id();
        if (action.calls == 2) return firedThere.open();
        CFRunLoopRemoveTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        CFRunLoopAddTimer(other.loop, timer, kCFRunLoopDefaultMode);
    };
    onOwnLoop([&] {
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        runOnce();
        EXPECT_TRUE(firedThere.wait());
        EXPECT_NE(firedOn, std::this_thread::get_id());
    });
    CFRunLoopTimerInvalidate(timer);
    other.end();
}

TEST(CFRunLoopTimer, MayLeaveItsLoopAndComeBackInItsCall) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action action;
        Own timer(newTimer(action, -1, 0.001));
        action.run = [&] {
            if (action.calls > 1) return CFRunLoopStop(loop);
            CFRunLoopRemoveTimer(loop, timer, kCFRunLoopDefaultMode);
            CFRunLoopAddTimer(loop, timer, kCFRunLoopCommonModes);
        };
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
        EXPECT_EQ(action.calls, 2);
    });
}

TEST(CFRunLoopTimer, WithADateThatIsNoNumberIsNotMade) {
    EXPECT_EQ(CFRunLoopTimerCreate(nullptr, kNaN, 0, 0, 0, Action::fire, nullptr), nullptr);
    EXPECT_EQ(CFRunLoopTimerCreate(nullptr, 0, kNaN, 0, 0, Action::fire, nullptr), nullptr);
    Action tick;
    Own timer(newTimer(tick, 1000));
    const CFAbsoluteTime date = CFRunLoopTimerGetNextFireDate(timer);
    CFRunLoopTimerSetNextFireDate(timer, kNaN);
    EXPECT_EQ(CFRunLoopTimerGetNextFireDate(timer), date);
    CFRunLoopTimerSetTolerance(timer, kNaN);
    EXPECT_EQ(CFRunLoopTimerGetTolerance(timer), 0);
}

TEST(CFRunLoopTimer, TakesEveryDateAndIntervalThatIsANumber) {
    onOwnLoop([] {
        for (const double interval : {0.0, -1.0, -kInfinity, kInfinity, 1e300, 1e-300, 5e-324, 1e-9}) {
            for (const double delay : {0.0, -1e9, -1e300, -kInfinity}) {
                Action tick;
                Own timer(newTimer(tick, delay, interval));
                ASSERT_NE(timer.ref, nullptr);
                CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
                runOnce();
                EXPECT_EQ(tick.calls, 1) << delay << " " << interval;
                EXPECT_EQ(CFRunLoopTimerIsValid(timer), interval > 0);
                runOnce();
                EXPECT_LE(tick.calls, 2);  // at most once a pass, however short the interval
                CFRunLoopTimerInvalidate(timer);
            }
            for (const double delay : {1e9, 1e300, kInfinity}) {
                Action tick;
                Own timer(newTimer(tick, delay, interval));
                CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
                EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.0005, false), kCFRunLoopRunTimedOut);
                EXPECT_EQ(tick.calls, 0) << delay;
                CFRunLoopTimerInvalidate(timer);
            }
        }
    });
}

TEST(CFRunLoopTimer, IsServedWithinItsTolerance) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action lenient, strict, slept;
        Own first(newTimer(lenient, 0.001)), second(newTimer(strict, 0.02));
        CFRunLoopTimerSetTolerance(first, 1000);
        EXPECT_EQ(CFRunLoopTimerGetTolerance(first), 1000);
        Own observer(newObserver(slept, kCFRunLoopAfterWaiting));
        CFRunLoopAddTimer(loop, first, kCFRunLoopDefaultMode);
        CFRunLoopAddTimer(loop, second, kCFRunLoopDefaultMode);
        CFRunLoopAddObserver(loop, observer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
        EXPECT_EQ(lenient.calls, 1);
        EXPECT_EQ(strict.calls, 1);
        EXPECT_EQ(slept.calls, 1);  // one wake-up served both
        CFRunLoopTimerSetTolerance(first, -1);
        EXPECT_EQ(CFRunLoopTimerGetTolerance(first), 0);
    });
}

TEST(CFRunLoopTimer, IsServedInTimeBesideOneThatMayBeServedLater) {
    // The loop sleeps until the tolerance of the first is used up; the others must be seen all the same.
    LoopThread thread;
    Action first, moved, stricter;
    Gate firstFired, movedFired, stricterFired;
    first.run = [&] { firstFired.open(); };
    moved.run = [&] { movedFired.open(); };
    stricter.run = [&] { stricterFired.open(); };
    Own patient(newTimer(first, 0.02)), later(newTimer(moved, 1000)), lazy(newTimer(stricter, 0.05));
    CFRunLoopTimerSetTolerance(patient, 1000);
    CFRunLoopTimerSetTolerance(lazy, 1000);
    for (const CFRunLoopTimerRef timer : {patient.ref, later.ref, lazy.ref}) {
        CFRunLoopAddTimer(thread.loop, timer, kCFRunLoopDefaultMode);
    }
    while (!CFRunLoopIsWaiting(thread.loop)) std::this_thread::yield();
    CFRunLoopTimerSetNextFireDate(later, CFAbsoluteTimeGetCurrent() + 0.1);
    EXPECT_TRUE(movedFired.wait());
    EXPECT_TRUE(firstFired.wait());
    EXPECT_TRUE(stricterFired.wait());

    Action last;
    Gate lastFired;
    last.run = [&] { lastFired.open(); };
    Own loose(newTimer(last, 0.01));
    CFRunLoopTimerSetTolerance(loose, 1000);
    CFRunLoopAddTimer(thread.loop, loose, kCFRunLoopDefaultMode);
    while (!CFRunLoopIsWaiting(thread.loop)) std::this_thread::yield();
    CFRunLoopTimerSetTolerance(loose, 0);
    EXPECT_TRUE(lastFired.wait());
    thread.end();
}

TEST(CFRunLoopTimer, KnowsItsContext) {
    Action tick;
    Own timer(newTimer(tick, 1000));
    CFRunLoopTimerContext context{};
    CFRunLoopTimerGetContext(timer, &context);
    EXPECT_EQ(context.info, &tick);
    EXPECT_EQ(context.retain, Action::retain);
    context = {};
    context.version = 1;
    EXPECT_EQ(CFRunLoopTimerCreate(nullptr, 0, 0, 0, 0, Action::fire, &context), nullptr);
    Own ordered(CFRunLoopTimerCreate(nullptr, 0, 0, 0, 77, Action::fire, nullptr));
    EXPECT_EQ(CFRunLoopTimerGetOrder(ordered), 77);
    EXPECT_EQ(CFRunLoopGetNextTimerFireDate(CFRunLoopGetCurrent(), CFSTR("none")), 0);
}

TEST(CFRunLoopTimer, MayBeMovedOnAnotherThreadAsItsOnlyCallEnds) {
    LoopThread other;
    std::mutex mutex;
    Own<CFRunLoopTimerRef> current(nullptr);
    std::atomic<bool> done{false};
    std::thread mover([&] {
        while (!done) {
            const std::lock_guard lock(mutex);
            if (current) CFRunLoopTimerSetNextFireDate(current, CFAbsoluteTimeGetCurrent());
        }
    });
    Action tick;
    for (int i = 1; i <= 500; ++i) {
        {
            const std::lock_guard lock(mutex);
            current.reset();
            current.ref = newTimer(tick, 0);
            CFRunLoopAddTimer(other.loop, current, kCFRunLoopDefaultMode);
        }
        while (tick.calls < i) std::this_thread::yield();
    }
    done = true;
    mover.join();
    EXPECT_EQ(tick.calls, 500);
    current.reset();
    other.end();
    EXPECT_EQ(tick.held, 0);
}
