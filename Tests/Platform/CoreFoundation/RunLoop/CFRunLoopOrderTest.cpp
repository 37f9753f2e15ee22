#include "RunLoopTesting.h"

#include <gmock/gmock.h>

using namespace RunLoopTesting;
using testing::ElementsAre;

// ---- The order of things

namespace {

/// Notes every activity of a run.
struct Diary {
    std::vector<std::string> lines;

    Diary() : observer(nullptr) {
        CFRunLoopObserverContext context{0, this, nullptr, nullptr, nullptr};
        observer.ref = CFRunLoopObserverCreate(nullptr, kCFRunLoopAllActivities, true, 0, note, &context);
    }
    static void note(CFRunLoopObserverRef, CFRunLoopActivity activity, void* info) {
        const char* name = activity == kCFRunLoopEntry           ? "entry"
                           : activity == kCFRunLoopBeforeTimers  ? "timers"
                           : activity == kCFRunLoopBeforeSources ? "sources"
                           : activity == kCFRunLoopBeforeWaiting ? "wait"
                           : activity == kCFRunLoopAfterWaiting  ? "woken"
                           : activity == kCFRunLoopExit          ? "exit"
                                                                 : "?";
        static_cast<Diary*>(info)->lines.push_back(name);
    }
    Own<CFRunLoopObserverRef> observer;
};

}  // namespace

TEST(CFRunLoop, TellsItsObserversOfEveryStep) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Diary diary;
        CFRunLoopAddObserver(loop, diary.observer, kCFRunLoopDefaultMode);
        Action action, tick;
        Own source(newSource(action));
        action.run = [&] { diary.lines.push_back("SOURCE"); };
        tick.run = [&] {
            diary.lines.push_back("TIMER");
            CFRunLoopStop(loop);
        };
        Own timer(newTimer(tick, 0.005));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
        EXPECT_THAT(diary.lines, ElementsAre("entry", "timers", "sources", "SOURCE", "timers", "sources", "wait",
                                             "woken", "TIMER", "exit"));
    });
}

TEST(CFRunLoop, AStopAtEntryEndsTheRunBeforeItsFirstPass) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Diary diary;
        CFRunLoopAddObserver(loop, diary.observer, kCFRunLoopDefaultMode);
        Action stop, action;
        stop.run = [&] { CFRunLoopStop(loop); };
        Own stopper(newObserver(stop, kCFRunLoopEntry, false));
        CFRunLoopAddObserver(loop, stopper, kCFRunLoopDefaultMode);
        Own source(newSource(action));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunStopped);
        EXPECT_THAT(diary.lines, ElementsAre("entry", "exit"));
        EXPECT_EQ(action.calls, 0);
        runOnce();
        EXPECT_EQ(action.calls, 1) << "the signal was not lost";
    });
}

TEST(CFRunLoop, WhatACallSignalsIsForTheNextPass) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Diary diary;
        CFRunLoopAddObserver(loop, diary.observer, kCFRunLoopDefaultMode);
        Action first, second;
        Own later(newSource(second, 2)), sooner(newSource(first, 1));
        first.run = [&] {
            diary.lines.push_back("FIRST");
            CFRunLoopSourceSignal(later);
        };
        second.run = [&] {
            diary.lines.push_back("SECOND");
            CFRunLoopStop(loop);
        };
        CFRunLoopAddSource(loop, later, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(loop, sooner, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(sooner);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
        EXPECT_THAT(diary.lines,
                    ElementsAre("entry", "timers", "sources", "FIRST", "timers", "sources", "SECOND", "exit"));
    });
}

TEST(CFRunLoop, ANestedRunLeavesTheOuterPassItsSources) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        std::vector<int> order;
        Action actions[3];
        std::vector<CFRunLoopSourceRef> sources;
        for (int i = 0; i < 3; ++i) {
            actions[i].run = [&, i] {
                order.push_back(i);
                if (i > 0) return;
                // Serves the second one and returns; the third is still marked for both runs.
                EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true), kCFRunLoopRunHandledSource);
            };
            sources.push_back(newSource(actions[i], i));
            CFRunLoopAddSource(loop, sources.back(), kCFRunLoopDefaultMode);
            CFRunLoopSourceSignal(sources.back());
        }
        runOnce();
        EXPECT_THAT(order, ElementsAre(0, 1, 2));
        for (const CFRunLoopSourceRef source : sources) const Own gone(source);
    });
}

TEST(CFRunLoop, ObserversThatComeDuringAnActivityAreToldOfTheNext) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action idle, adds, added, removed;
        Own source(newSource(idle));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        Own adding(newObserver(adds, kCFRunLoopEntry, true, 1)),
            leaving(newObserver(removed, kCFRunLoopEntry, true, 2)),
            coming(newObserver(added, kCFRunLoopEntry, true, 3));
        adds.run = [&] {
            CFRunLoopAddObserver(loop, coming, kCFRunLoopDefaultMode);
            CFRunLoopRemoveObserver(loop, leaving, kCFRunLoopDefaultMode);
        };
        CFRunLoopAddObserver(loop, adding, kCFRunLoopDefaultMode);
        CFRunLoopAddObserver(loop, leaving, kCFRunLoopDefaultMode);
        runOnce();
        EXPECT_EQ(added.calls, 0);
        EXPECT_EQ(removed.calls, 0);
        runOnce();
        EXPECT_EQ(added.calls, 1);
    });
}

TEST(CFRunLoop, ObserversAndSourcesGoByTheirOrder) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        std::vector<int> order;
        Action actions[3], watches[3];
        std::vector<CFRunLoopSourceRef> sources;
        std::vector<CFRunLoopObserverRef> observers;
        const CFIndex orders[] = {5, -7, 5};
        for (int i = 0; i < 3; ++i) {
            actions[i].run = [&, i] { order.push_back(i); };
            watches[i].run = [&, i] { order.push_back(10 + i); };
            const CFRunLoopSourceRef source = newSource(actions[i], orders[i]);
            const CFRunLoopObserverRef observer = newObserver(watches[i], kCFRunLoopEntry, true, orders[i]);
            EXPECT_EQ(CFRunLoopSourceGetOrder(source), orders[i]);
            EXPECT_EQ(CFRunLoopObserverGetOrder(observer), orders[i]);
            CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
            CFRunLoopAddObserver(loop, observer, kCFRunLoopDefaultMode);
            CFRunLoopSourceSignal(source);
            sources.push_back(source);
            observers.push_back(observer);
        }
        runOnce();
        EXPECT_THAT(order, ElementsAre(11, 10, 12, 1, 0, 2));
        for (int i = 0; i < 3; ++i) {
            const Own source(sources[static_cast<std::size_t>(i)]);
            const Own observer(observers[static_cast<std::size_t>(i)]);
        }
    });
}

TEST(CFRunLoop, OneSourceAPassWhenItReturnsAfterEach) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action low, high;
        Own second(newSource(low, 2)), first(newSource(high, 1));
        for (const CFRunLoopSourceRef source : {second.ref, first.ref}) {
            CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
            CFRunLoopSourceSignal(source);
        }
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(high.calls, 1);
        EXPECT_EQ(low.calls, 0);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(high.calls, 1);
        EXPECT_EQ(low.calls, 1);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true), kCFRunLoopRunTimedOut);
    });
}

TEST(CFRunLoopObserver, OfNoRepeatIsToldOnce) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action idle, once;
        Own source(newSource(idle));
        Own observer(newObserver(once, kCFRunLoopBeforeTimers | kCFRunLoopExit, false));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        CFRunLoopAddObserver(loop, observer, kCFRunLoopDefaultMode);
        runOnce();
        runOnce();
        EXPECT_EQ(once.calls, 1);
        EXPECT_EQ(once.held, 0);
        EXPECT_FALSE(CFRunLoopObserverDoesRepeat(observer));
        EXPECT_EQ(CFRunLoopObserverGetActivities(observer), CFOptionFlags{kCFRunLoopBeforeTimers | kCFRunLoopExit});
        EXPECT_FALSE(CFRunLoopContainsObserver(loop, observer, kCFRunLoopDefaultMode));
    });
}

TEST(CFRunLoopObserver, BelongsToOneLoopAtATime) {
    LoopThread other;
    Action watch;
    Own observer(newObserver(watch, kCFRunLoopEntry));
    const CFRunLoopRef mine = CFRunLoopGetCurrent();
    CFRunLoopAddObserver(other.loop, observer, CFSTR("one"));
    CFRunLoopAddObserver(other.loop, observer, CFSTR("two"));
    CFRunLoopAddObserver(mine, observer, CFSTR("one"));
    EXPECT_FALSE(CFRunLoopContainsObserver(mine, observer, CFSTR("one")));
    CFRunLoopRemoveObserver(other.loop, observer, CFSTR("one"));
    CFRunLoopAddObserver(mine, observer, CFSTR("one"));
    EXPECT_FALSE(CFRunLoopContainsObserver(mine, observer, CFSTR("one")));
    CFRunLoopRemoveObserver(other.loop, observer, CFSTR("two"));
    CFRunLoopAddObserver(mine, observer, CFSTR("one"));
    EXPECT_TRUE(CFRunLoopContainsObserver(mine, observer, CFSTR("one")));
    CFRunLoopObserverInvalidate(observer);
    EXPECT_FALSE(CFRunLoopContainsObserver(mine, observer, CFSTR("one")));
}
