#include "Platform/CoreFoundation/TestAllocator.h"
#include "RunLoopTesting.h"

#include <dirent.h>

using namespace RunLoopTesting;

// ---- The loop of a thread

TEST(CFRunLoop, EachThreadHasOneOfItsOwn) {
    const CFRunLoopRef mine = CFRunLoopGetCurrent();
    EXPECT_EQ(CFRunLoopGetCurrent(), mine);
    EXPECT_EQ(CFRunLoopGetMain(), mine);
    EXPECT_EQ(CFGetTypeID(mine), CFRunLoopGetTypeID());
    onOwnLoop([&] {
        EXPECT_NE(CFRunLoopGetCurrent(), mine);
        EXPECT_EQ(CFRunLoopGetMain(), mine);
    });
}

TEST(CFRunLoop, EndsWithItsThreadAndLetsGoOfWhatItHeld) {
    Action source, timer, observer;
    Own keptSource(newSource(source));
    Own keptTimer(newTimer(timer, 1000));
    CFRunLoopRef loop = nullptr;
    onOwnLoop([&] {
        loop = CFRunLoopGetCurrent();
        CFRetain(loop);
        const CFRunLoopObserverRef watcher = newObserver(observer, kCFRunLoopAllActivities);
        CFRunLoopAddSource(loop, keptSource, kCFRunLoopCommonModes);
        CFRunLoopAddTimer(loop, keptTimer, CFSTR("other"));
        CFRunLoopAddObserver(loop, watcher, kCFRunLoopDefaultMode);
        CFRelease(watcher);
    });
    EXPECT_EQ(CFGetRetainCount(loop), 1);
    EXPECT_EQ(CFGetRetainCount(keptSource), 1);
    EXPECT_EQ(CFGetRetainCount(keptTimer), 1);
    EXPECT_EQ(observer.held, 0);
    EXPECT_TRUE(CFRunLoopSourceIsValid(keptSource));
    CFRunLoopAddSource(loop, keptSource, kCFRunLoopDefaultMode);  // takes nothing in any more
    EXPECT_FALSE(CFRunLoopContainsSource(loop, keptSource, kCFRunLoopDefaultMode));
    CFRunLoopStop(loop);
    CFRunLoopWakeUp(loop);
    CFRelease(loop);
    CFRunLoopAddTimer(CFRunLoopGetCurrent(), keptTimer, CFSTR("other"));  // free for another loop
    EXPECT_TRUE(CFRunLoopContainsTimer(CFRunLoopGetCurrent(), keptTimer, CFSTR("other")));
    CFRunLoopTimerInvalidate(keptTimer);
}

TEST(CFRunLoop, EndsWithItsThreadForItemsOfTheCommonModesThatLeftEachOfThem) {
    Action action;
    Own source(newSource(action));
    Own timer(newTimer(action, 1000));
    Own observer(newObserver(action, kCFRunLoopAllActivities));
    onOwnLoop([&] {
        const CFRunLoopRef next = CFRunLoopGetCurrent();
        onOwnLoop([&] {
            const CFRunLoopRef loop = CFRunLoopGetCurrent();
            CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
            CFRunLoopAddTimer(loop, timer, kCFRunLoopCommonModes);
            CFRunLoopAddObserver(loop, observer, kCFRunLoopCommonModes);
            CFRunLoopRemoveSource(loop, source, kCFRunLoopDefaultMode);
            CFRunLoopRemoveTimer(loop, timer, kCFRunLoopDefaultMode);
            CFRunLoopRemoveObserver(loop, observer, kCFRunLoopDefaultMode);
            EXPECT_TRUE(CFRunLoopContainsTimer(loop, timer, kCFRunLoopCommonModes));
        });
        // They belong to no loop any more: another one takes them.
        CFRunLoopAddTimer(next, timer, kCFRunLoopDefaultMode);
        CFRunLoopAddObserver(next, observer, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(next, source, kCFRunLoopDefaultMode);
        EXPECT_TRUE(CFRunLoopContainsTimer(next, timer, kCFRunLoopDefaultMode));
        EXPECT_TRUE(CFRunLoopContainsObserver(next, observer, kCFRunLoopDefaultMode));
        CFRunLoopTimerSetNextFireDate(timer, 0);
        CFRunLoopSourceSignal(source);
    });
    EXPECT_EQ(CFGetRetainCount(source), 1);
    EXPECT_EQ(CFGetRetainCount(timer), 1);
    EXPECT_EQ(CFGetRetainCount(observer), 1);
}

TEST(CFRunLoop, SurvivesNullArguments) {
    const CFRunLoopRef loop = CFRunLoopGetCurrent();
    CFRunLoopAddSource(loop, nullptr, kCFRunLoopDefaultMode);
    CFRunLoopAddTimer(loop, nullptr, kCFRunLoopDefaultMode);
    CFRunLoopAddObserver(loop, nullptr, kCFRunLoopDefaultMode);
    CFRunLoopRemoveSource(loop, nullptr, kCFRunLoopDefaultMode);
    CFRunLoopStop(nullptr);
    CFRunLoopWakeUp(nullptr);
    EXPECT_FALSE(CFRunLoopIsWaiting(nullptr));
    EXPECT_FALSE(CFRunLoopContainsSource(loop, nullptr, kCFRunLoopDefaultMode));
    EXPECT_EQ(CFRunLoopRunInMode(nullptr, 0, false), kCFRunLoopRunFinished);
    EXPECT_EQ(CFRunLoopSourceCreate(nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(CFRunLoopCopyAllModes(nullptr), nullptr);
    EXPECT_EQ(CFRunLoopCopyCurrentMode(nullptr), nullptr);
    CFRunLoopAddCommonMode(nullptr, CFSTR("mode"));
    CFRunLoopAddCommonMode(loop, nullptr);
    EXPECT_EQ(CFRunLoopGetNextTimerFireDate(nullptr, kCFRunLoopDefaultMode), 0);
    EXPECT_EQ(CFRunLoopGetNextTimerFireDate(loop, nullptr), 0);
    EXPECT_EQ(CFRunLoopGetNextTimerFireDate(loop, CFSTR("a mode of nobody's")), 0);
    Action action;
    Own source(newSource(action));
    CFRunLoopAddSource(nullptr, source, kCFRunLoopDefaultMode);
    CFRunLoopAddSource(loop, source, nullptr);
    CFRunLoopRemoveSource(nullptr, source, kCFRunLoopDefaultMode);
    CFRunLoopRemoveSource(loop, source, nullptr);
    CFRunLoopRemoveSource(loop, source, kCFRunLoopCommonModes);
    CFRunLoopRemoveSource(loop, source, CFSTR("a mode of nobody's"));
    EXPECT_FALSE(CFRunLoopContainsSource(nullptr, source, kCFRunLoopDefaultMode));
    EXPECT_FALSE(CFRunLoopContainsSource(loop, source, nullptr));
    Own observer(CFRunLoopObserverCreate(nullptr, 0, true, 0, nullptr, nullptr));
    Own timer(CFRunLoopTimerCreate(nullptr, kInfinity, 0, 0, 0, nullptr, nullptr));
    for (const CFRunLoopRef where : {CFRunLoopRef{}, loop}) {
        for (const CFRunLoopMode mode : {CFRunLoopMode{}, kCFRunLoopDefaultMode, kCFRunLoopCommonModes}) {
            for (const CFRunLoopObserverRef given : {CFRunLoopObserverRef{}, where && mode ? nullptr : observer.ref}) {
                CFRunLoopAddObserver(where, given, mode);
                CFRunLoopRemoveObserver(where, given, mode);
                EXPECT_FALSE(CFRunLoopContainsObserver(where, given, mode));
            }
            for (const CFRunLoopTimerRef given : {CFRunLoopTimerRef{}, where && mode ? nullptr : timer.ref}) {
                CFRunLoopAddTimer(where, given, mode);
                CFRunLoopRemoveTimer(where, given, mode);
                EXPECT_FALSE(CFRunLoopContainsTimer(where, given, mode));
            }
        }
    }
}

TEST(CFRunLoop, ItemsSurviveNullArguments) {
    CFRunLoopSourceContext source{};
    CFRunLoopSourceInvalidate(nullptr);
    CFRunLoopSourceSignal(nullptr);
    CFRunLoopSourceGetContext(nullptr, &source);
    EXPECT_FALSE(CFRunLoopSourceIsValid(nullptr));
    EXPECT_EQ(CFRunLoopSourceGetOrder(nullptr), 0);

    CFRunLoopObserverContext observer{};
    CFRunLoopObserverInvalidate(nullptr);
    CFRunLoopObserverGetContext(nullptr, &observer);
    EXPECT_FALSE(CFRunLoopObserverIsValid(nullptr));
    EXPECT_FALSE(CFRunLoopObserverDoesRepeat(nullptr));
    EXPECT_EQ(CFRunLoopObserverGetActivities(nullptr), 0u);
    EXPECT_EQ(CFRunLoopObserverGetOrder(nullptr), 0);

    CFRunLoopTimerContext timer{};
    CFRunLoopTimerInvalidate(nullptr);
    CFRunLoopTimerGetContext(nullptr, &timer);
    CFRunLoopTimerSetNextFireDate(nullptr, 0);
    CFRunLoopTimerSetTolerance(nullptr, 1);
    EXPECT_FALSE(CFRunLoopTimerIsValid(nullptr));
    EXPECT_FALSE(CFRunLoopTimerDoesRepeat(nullptr));
    EXPECT_EQ(CFRunLoopTimerGetNextFireDate(nullptr), 0);
    EXPECT_EQ(CFRunLoopTimerGetInterval(nullptr), 0);
    EXPECT_EQ(CFRunLoopTimerGetOrder(nullptr), 0);
    EXPECT_EQ(CFRunLoopTimerGetTolerance(nullptr), 0);

    Action action;
    CFRunLoopSourceGetContext(Own(newSource(action)), nullptr);
    CFRunLoopObserverGetContext(Own(CFRunLoopObserverCreate(nullptr, 0, true, 0, nullptr, nullptr)), nullptr);
    CFRunLoopTimerGetContext(Own(CFRunLoopTimerCreate(nullptr, 0, 0, 0, 0, nullptr, nullptr)), nullptr);
}

TEST(CFRunLoop, ItemsAreNotMadeWithoutMemoryOrOfAnUnknownVersion) {
    TestAllocator allocator;
    allocator.failAfter(0);
    CFRunLoopSourceContext source{};
    CFRunLoopObserverContext observer{};
    CFRunLoopTimerContext timer{};
    EXPECT_EQ(CFRunLoopSourceCreate(allocator, 0, &source), nullptr);
    EXPECT_EQ(CFRunLoopObserverCreate(allocator, 0, true, 0, nullptr, &observer), nullptr);
    EXPECT_EQ(CFRunLoopTimerCreate(allocator, 0, 0, 0, 0, nullptr, &timer), nullptr);
    observer.version = timer.version = 1;
    EXPECT_EQ(CFRunLoopObserverCreate(nullptr, 0, true, 0, nullptr, &observer), nullptr);
    EXPECT_EQ(CFRunLoopTimerCreate(nullptr, 0, 0, 0, 0, nullptr, &timer), nullptr);
}

TEST(CFRunLoop, ItemsWithoutACallBackAreServedAllTheSame) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopSourceContext context{};
        Own source(CFRunLoopSourceCreate(nullptr, 0, &context));
        Own observer(CFRunLoopObserverCreate(nullptr, kCFRunLoopAllActivities, true, 0, nullptr, nullptr));
        Own timer(CFRunLoopTimerCreate(nullptr, CFAbsoluteTimeGetCurrent(), 0, 0, 0, nullptr, nullptr));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        CFRunLoopAddObserver(loop, observer, kCFRunLoopDefaultMode);
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        EXPECT_FALSE(CFRunLoopTimerIsValid(timer));
    });
}

// ---- Modes

TEST(CFRunLoop, KnowsItsModes) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action action;
        Own source(newSource(action));
        Own name(CFStringCreateMutable(nullptr, 0));
        CFStringAppend(name, CFSTR("my mode"));
        CFRunLoopAddSource(loop, source, name);
        CFStringAppend(name, CFSTR(", changed afterwards"));
        EXPECT_TRUE(CFRunLoopContainsSource(loop, source, CFSTR("my mode")));
        Own modes(CFRunLoopCopyAllModes(loop));
        EXPECT_EQ(CFArrayGetCount(modes), 2);
        const CFRange all = CFRangeMake(0, 2);
        EXPECT_TRUE(CFArrayContainsValue(modes, all, kCFRunLoopDefaultMode));
        EXPECT_TRUE(CFArrayContainsValue(modes, all, CFSTR("my mode")));
        EXPECT_EQ(CFRunLoopCopyCurrentMode(loop), nullptr);
        action.run = [&] {
            Own current(CFRunLoopCopyCurrentMode(loop));
            EXPECT_TRUE(CFEqual(current, CFSTR("my mode")));
        };
        CFRunLoopSourceSignal(source);
        runOnce(CFSTR("my mode"));
        EXPECT_EQ(action.calls, 1);
    });
}

TEST(CFRunLoop, RunsOnlyWhatItsModeHolds) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action here, there;
        Own first(newSource(here)), second(newSource(there));
        CFRunLoopAddSource(loop, first, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(loop, second, CFSTR("other"));
        CFRunLoopSourceSignal(first);
        CFRunLoopSourceSignal(second);
        runOnce();
        EXPECT_EQ(here.calls, 1);
        EXPECT_EQ(there.calls, 0);
        runOnce(CFSTR("other"));
        EXPECT_EQ(there.calls, 1);
    });
}

TEST(CFRunLoop, CommonModesReachEveryModeThatIsOrBecomesCommon) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action action, tick, watch;
        Own source(newSource(action));
        Own timer(newTimer(tick, -1));
        Own observer(newObserver(watch, kCFRunLoopEntry));
        CFRunLoopAddCommonMode(loop, CFSTR("before"));
        CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
        CFRunLoopAddTimer(loop, timer, kCFRunLoopCommonModes);
        CFRunLoopAddObserver(loop, observer, kCFRunLoopCommonModes);
        CFRunLoopAddCommonMode(loop, CFSTR("after"));
        CFRunLoopAddCommonMode(loop, CFSTR("after"));
        CFRunLoopAddCommonMode(loop, kCFRunLoopCommonModes);
        for (const CFStringRef mode : {kCFRunLoopDefaultMode, CFSTR("before"), CFSTR("after"), kCFRunLoopCommonModes}) {
            EXPECT_TRUE(CFRunLoopContainsSource(loop, source, mode));
            EXPECT_TRUE(CFRunLoopContainsTimer(loop, timer, mode));
            EXPECT_TRUE(CFRunLoopContainsObserver(loop, observer, mode));
        }
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(runOnce(CFSTR("after")), kCFRunLoopRunTimedOut);
        EXPECT_EQ(action.calls, 1);
        EXPECT_EQ(tick.calls, 1);
        EXPECT_EQ(watch.calls, 1);
        CFRunLoopRemoveSource(loop, source, kCFRunLoopCommonModes);
        CFRunLoopRemoveObserver(loop, observer, kCFRunLoopCommonModes);
        for (const CFStringRef mode : {kCFRunLoopDefaultMode, CFSTR("before"), CFSTR("after"), kCFRunLoopCommonModes}) {
            EXPECT_FALSE(CFRunLoopContainsSource(loop, source, mode));
            EXPECT_FALSE(CFRunLoopContainsObserver(loop, observer, mode));
        }
        EXPECT_EQ(CFGetRetainCount(source), 1);
    });
}

namespace {

/// How many descriptors this process has open.
int openDescriptors() {
    int count = 0;
    DIR* const folder = ::opendir("/proc/self/fd");
    while (::readdir(folder)) ++count;
    ::closedir(folder);
    return count;
}

}  // namespace

TEST(CFRunLoop, AModeThatHoldsNothingKeepsNoDescriptor) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        const auto request = [&](CFStringRef mode) {
            Action tick;
            Own timer(newTimer(tick, 0.0001));
            CFRunLoopAddTimer(loop, timer, mode);
            EXPECT_EQ(CFRunLoopRunInMode(mode, kSoon, false), kCFRunLoopRunFinished);
            EXPECT_EQ(tick.calls, 1);
        };
        // The loop's own descriptors are there once it has waited, which a timer that is due by then does not need.
        const int none = openDescriptors();
        while (openDescriptors() == none) request(CFSTR("the first"));
        const int before = openDescriptors();
        for (int i = 0; i < 100; ++i) {
            Own mode(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("request %d"), i));
            request(mode);
        }
        request(kCFRunLoopDefaultMode);
        request(CFSTR("request 0"));
        EXPECT_EQ(openDescriptors(), before);
        Own modes(CFRunLoopCopyAllModes(loop));
        EXPECT_EQ(CFArrayGetCount(modes), 102) << "a mode that was named stays known";
    });
}

TEST(CFRunLoop, AModeIsUsedOnWhenItsLastItemGoesDuringARun) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action first, tick;
        Own source(newSource(first));
        Own timer(newTimer(tick, 0.001));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.0001, false);  // waits
        first.run = [&] {
            CFRunLoopSourceInvalidate(source);
            CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        };
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
        EXPECT_EQ(tick.calls, 1);
    });
}

TEST(CFRunLoop, TheCommonModesAreNoModeToRunIn) {
    Action action;
    Own source(newSource(action));
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopCommonModes);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopCommonModes, 0, false), kCFRunLoopRunFinished);
    CFRunLoopSourceInvalidate(source);
}

// ---- Results

TEST(CFRunLoop, AModeWithNothingToWaitForIsFinishedAtOnce) {
    onOwnLoop([] {
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
        EXPECT_EQ(CFRunLoopRunInMode(CFSTR("never heard of"), kSoon, false), kCFRunLoopRunFinished);
        CFRunLoopRun();
        Action watch;
        Own observer(newObserver(watch, kCFRunLoopAllActivities));
        CFRunLoopAddObserver(CFRunLoopGetCurrent(), observer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
        EXPECT_EQ(watch.calls, 0);
    });
}

TEST(CFRunLoop, TimesOut) {
    onOwnLoop([] {
        Action action;
        Own source(newSource(action));
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        const CFAbsoluteTime start = CFAbsoluteTimeGetCurrent();
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.02, false), kCFRunLoopRunTimedOut);
        EXPECT_GE(CFAbsoluteTimeGetCurrent() - start, 0.019);
        for (const double none : {0.0, -1.0, -kInfinity, kNaN}) {
            EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, none, false), kCFRunLoopRunTimedOut);
        }
    });
}

TEST(CFRunLoop, AHandledSourceEndsTheRunThatAsksForIt) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action action;
        Own source(newSource(action));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(action.calls, 1);
        action.run = [&] { CFRunLoopStop(loop); };
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
        action.run = [&] { CFRunLoopSourceInvalidate(source); };
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
    });
}

TEST(CFRunLoop, ATimerIsNoHandledSource) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action tick, stop;
        Own timer(newTimer(tick, 0)), last(newTimer(stop, 0.001));
        stop.run = [&] { CFRunLoopStop(loop); };
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        CFRunLoopAddTimer(loop, last, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunStopped);
        EXPECT_EQ(tick.calls, 1);
    });
}

TEST(CFRunLoop, AOneShotTimerAsTheLastThingFinishesTheRun) {
    onOwnLoop([] {
        Action tick;
        Own timer(newTimer(tick, 0));
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
        EXPECT_EQ(tick.calls, 1);
        EXPECT_FALSE(CFRunLoopTimerIsValid(timer));
        EXPECT_EQ(tick.held, 0);
    });
}

// ---- Stop and wake-up

TEST(CFRunLoop, AStopBeforeTheRunHasNoEffect) {
    onOwnLoop([] {
        Action action;
        Own source(newSource(action));
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        CFRunLoopStop(CFRunLoopGetCurrent());
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false), kCFRunLoopRunTimedOut);
    });
}

TEST(CFRunLoop, AStopEndsTheInnerRunOnly) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action outer, inner;
        Own first(newSource(outer)), second(newSource(inner));
        CFRunLoopAddSource(loop, first, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(loop, second, CFSTR("inner"));
        CFRunLoopRunResult innerResult{};
        inner.run = [&] { CFRunLoopStop(loop); };
        outer.run = [&] {
            CFRunLoopSourceSignal(second);
            innerResult = CFRunLoopRunInMode(CFSTR("inner"), kSoon, false);
            Own mode(CFRunLoopCopyCurrentMode(loop));
            EXPECT_TRUE(CFEqual(mode, kCFRunLoopDefaultMode));
        };
        CFRunLoopSourceSignal(first);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false), kCFRunLoopRunTimedOut);
        EXPECT_EQ(innerResult, kCFRunLoopRunStopped);
    });
}

TEST(CFRunLoop, AnObserverMayStopTheRunAtAnyPoint) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action idle;
        Own source(newSource(idle));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        for (const CFOptionFlags activity :
             {kCFRunLoopEntry, kCFRunLoopBeforeTimers, kCFRunLoopBeforeSources, kCFRunLoopBeforeWaiting}) {
            Action stop;
            stop.run = [&] { CFRunLoopStop(loop); };
            Own observer(newObserver(stop, activity, false));
            CFRunLoopAddObserver(loop, observer, kCFRunLoopDefaultMode);
            EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped) << activity;
            EXPECT_EQ(stop.calls, 1);
            EXPECT_FALSE(CFRunLoopObserverIsValid(observer));
        }
    });
}

TEST(CFRunLoop, AnotherThreadWakesAndStopsIt) {
    std::atomic<CFRunLoopRef> loop{nullptr};
    Gate waiting;
    Action action, watch;
    Own source(newSource(action));
    std::thread thread([&] {
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        watch.run = [&] { waiting.open(); };
        Own observer(newObserver(watch, kCFRunLoopBeforeWaiting));
        CFRunLoopAddObserver(CFRunLoopGetCurrent(), observer, kCFRunLoopDefaultMode);
        loop = CFRunLoopGetCurrent();
        action.run = [&] { EXPECT_FALSE(CFRunLoopIsWaiting(CFRunLoopGetCurrent())); };
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        Action stop;
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
    });
    ASSERT_TRUE(waiting.wait());
    while (!CFRunLoopIsWaiting(loop)) std::this_thread::yield();
    CFRunLoopSourceSignal(source);
    CFRunLoopWakeUp(loop);
    while (action.calls == 0 || !CFRunLoopIsWaiting(loop)) std::this_thread::yield();
    CFRunLoopStop(loop);
    thread.join();
    EXPECT_EQ(action.calls, 1);
}

TEST(CFRunLoop, WakeUpsBetweenTwoSleepsAreOne) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action idle, slept;
        Own source(newSource(idle));
        Own observer(newObserver(slept, kCFRunLoopAfterWaiting));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        CFRunLoopAddObserver(loop, observer, kCFRunLoopDefaultMode);
        for (int i = 0; i < 1000; ++i) CFRunLoopWakeUp(loop);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false), kCFRunLoopRunTimedOut);
        EXPECT_LE(slept.calls, 2);
    });
}

// ---- What callbacks may do

TEST(CFRunLoop, AnExceptionPassesOnAndLeavesTheLoopUsable) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        const auto fail = [] { throw std::runtime_error("from a callback"); };
        Action source, again, tick, once, watch;
        Own signalled(newSource(source, 1)), next(newSource(again, 2));
        CFRunLoopAddSource(loop, signalled, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(loop, next, kCFRunLoopDefaultMode);
        source.run = fail;
        CFRunLoopSourceSignal(signalled);
        CFRunLoopSourceSignal(next);
        EXPECT_THROW(CFRunLoopRun(), std::runtime_error);
        EXPECT_EQ(CFRunLoopCopyCurrentMode(loop), nullptr);
        EXPECT_EQ(again.calls, 0);
        runOnce();
        EXPECT_EQ(source.calls, 1);
        EXPECT_EQ(again.calls, 1);  // its signal was not lost

        tick.run = once.run = fail;
        Own repeating(newTimer(tick, -1, 1000));
        CFRunLoopAddTimer(loop, repeating, kCFRunLoopDefaultMode);
        EXPECT_THROW(runOnce(), std::runtime_error);
        EXPECT_TRUE(CFRunLoopTimerIsValid(repeating));
        EXPECT_GT(CFRunLoopTimerGetNextFireDate(repeating), CFAbsoluteTimeGetCurrent());
        Own single(newTimer(once, -1));
        CFRunLoopAddTimer(loop, single, kCFRunLoopDefaultMode);
        EXPECT_THROW(runOnce(), std::runtime_error);
        EXPECT_FALSE(CFRunLoopTimerIsValid(single));
        EXPECT_EQ(once.held, 0);

        watch.run = fail;
        Own observer(newObserver(watch, kCFRunLoopBeforeSources, false));
        CFRunLoopAddObserver(loop, observer, kCFRunLoopDefaultMode);
        EXPECT_THROW(runOnce(), std::runtime_error);
        EXPECT_FALSE(CFRunLoopObserverIsValid(observer));
        EXPECT_EQ(runOnce(), kCFRunLoopRunTimedOut);
        CFRunLoopTimerInvalidate(repeating);
    });
}

TEST(CFRunLoop, ReleasesWhatItsCallBacksGaveUpAsItEndsAPass) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action action, nested;
        Own source(newSource(action)), inner(newSource(nested));
        Own object(newSource(nested));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(loop, inner, CFSTR("inner"));
        action.run = [&] {
            CFAutorelease(CFRetain(object));
            CFRunLoopSourceSignal(inner);
            runOnce(CFSTR("inner"));
            EXPECT_EQ(CFGetRetainCount(object), 2);  // an outer callback still uses it
        };
        CFRunLoopSourceSignal(source);
        runOnce();
        EXPECT_EQ(CFGetRetainCount(object), 1);
        EXPECT_EQ(nested.calls, 1);
    });
}

// ---- Many threads

TEST(CFRunLoop, SourcesComeAndGoFromSeveralThreadsWhileTheyFire) {
    LoopThread first, second;
    struct Counter {
        std::atomic<int> held{0};
        static const void* retain(const void* info) {
            ++static_cast<Counter*>(const_cast<void*>(info))->held;
            return info;
        }
        static void release(const void* info) { --static_cast<Counter*>(const_cast<void*>(info))->held; }
        static void perform(void* info) { EXPECT_GT(static_cast<Counter*>(info)->held, 0); }
        static void fire(CFRunLoopTimerRef timer, void* info) {
            perform(info);
            CFRunLoopTimerSetNextFireDate(timer, CFAbsoluteTimeGetCurrent());
        }
    } counter;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            CFRunLoopSourceContext context{};
            context.info = &counter;
            context.retain = Counter::retain;
            context.release = Counter::release;
            context.perform = Counter::perform;
            CFRunLoopTimerContext timerContext{0, &counter, Counter::retain, Counter::release, nullptr};
            for (int i = 0; i < 400; ++i) {
                const CFRunLoopRef loop = (t + i) % 2 ? first.loop : second.loop;
                Own source(CFRunLoopSourceCreate(nullptr, i % 5, &context));
                Own timer(CFRunLoopTimerCreate(nullptr, CFAbsoluteTimeGetCurrent(), i % 3 ? 0.0001 : 0, 0, 0,
                                               Counter::fire, &timerContext));
                CFRunLoopAddSource(first.loop, source, kCFRunLoopDefaultMode);
                CFRunLoopAddSource(second.loop, source, kCFRunLoopCommonModes);
                CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
                CFRunLoopSourceSignal(source);
                CFRunLoopWakeUp(loop);
                if (i % 4 == 0) CFRunLoopTimerSetNextFireDate(timer, CFAbsoluteTimeGetCurrent() + 0.0001);
                if (i % 4 == 1) CFRunLoopRemoveSource(first.loop, source, kCFRunLoopDefaultMode);
                if (i % 4 == 2) std::this_thread::yield();
                CFRunLoopSourceInvalidate(source);
                CFRunLoopTimerInvalidate(timer);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    first.end();
    second.end();
    EXPECT_EQ(counter.held, 0);
}

TEST(CFRunLoop, ThreadsEndWhileOthersUseTheirLoops) {
    Action idle;
    for (int round = 0; round < 50; ++round) {
        Own source(newSource(idle));
        CFRunLoopRef loop = nullptr;
        Gate known;
        std::thread thread([&] {
            loop = CFRunLoopGetCurrent();
            CFRetain(loop);
            known.open();
            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.0001 * round, false);
        });
        ASSERT_TRUE(known.wait());
        CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
        CFRunLoopStop(loop);
        CFRunLoopSourceInvalidate(source);
        thread.join();
        EXPECT_EQ(CFGetRetainCount(source), 1);
        EXPECT_EQ(CFGetRetainCount(loop), 1);
        CFRelease(loop);
    }
}
