#include "RunLoopTesting.h"

#include <gmock/gmock.h>

using namespace RunLoopTesting;
using testing::ElementsAre;

// ---- Sources

TEST(CFRunLoopSource, SignalledBeforeItIsAddedStillRuns) {
    onOwnLoop([] {
        Action action, idle;
        Own source(newSource(action)), other(newSource(idle));
        CFRunLoopAddSource(CFRunLoopGetCurrent(), other, kCFRunLoopDefaultMode);
        runOnce();
        CFRunLoopSourceSignal(source);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        runOnce();
        EXPECT_EQ(action.calls, 1);
    });
}

TEST(CFRunLoopSource, SignalsUntilItRunsAreOne) {
    onOwnLoop([] {
        Action action;
        Own source(newSource(action));
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        for (int i = 0; i < 10; ++i) CFRunLoopSourceSignal(source);
        runOnce();
        runOnce();
        EXPECT_EQ(action.calls, 1);
        action.run = [&] {
            if (action.calls < 4) CFRunLoopSourceSignal(source);  // during the call: runs again
        };
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false), kCFRunLoopRunTimedOut);
        EXPECT_EQ(action.calls, 4);
    });
}

TEST(CFRunLoopSource, RemovedByAnEarlierOneInTheSamePassDoesNotRun) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action remover, removed, invalidated;
        Own first(newSource(remover, 1)), second(newSource(removed, 2)), third(newSource(invalidated, 3));
        remover.run = [&] {
            CFRunLoopRemoveSource(loop, second, kCFRunLoopDefaultMode);
            CFRunLoopSourceInvalidate(third);
        };
        for (const CFRunLoopSourceRef source : {first.ref, second.ref, third.ref}) {
            CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
            CFRunLoopSourceSignal(source);
        }
        runOnce();
        EXPECT_EQ(removed.calls, 0);
        EXPECT_EQ(invalidated.calls, 0);
        CFRunLoopAddSource(loop, second, kCFRunLoopDefaultMode);
        runOnce();
        EXPECT_EQ(removed.calls, 1);
    });
}

TEST(CFRunLoopSource, IsToldOfModesItComesToAndGoesFrom) {
    onOwnLoop([] {
        struct Log {
            std::vector<std::string> lines;
            static void add(void* info, char what, CFRunLoopRef rl, CFStringRef mode) {
                EXPECT_EQ(rl, CFRunLoopGetCurrent());
                char text[64];
                CFStringGetCString(mode, text, sizeof text, kCFStringEncodingUTF8);
                static_cast<Log*>(info)->lines.push_back(what + std::string(text));
            }
        } log;
        CFRunLoopSourceContext context{};
        context.info = &log;
        context.schedule = [](void* info, CFRunLoopRef rl, CFStringRef mode) { Log::add(info, '+', rl, mode); };
        context.cancel = [](void* info, CFRunLoopRef rl, CFStringRef mode) { Log::add(info, '-', rl, mode); };
        Own source(CFRunLoopSourceCreate(nullptr, 0, &context));
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
        CFRunLoopAddCommonMode(loop, CFSTR("a"));
        CFRunLoopAddSource(loop, source, CFSTR("b"));
        CFRunLoopAddSource(loop, source, CFSTR("b"));
        CFRunLoopRemoveSource(loop, source, CFSTR("a"));
        CFRunLoopRemoveSource(loop, source, CFSTR("a"));
        CFRunLoopSourceInvalidate(source);
        EXPECT_THAT(log.lines, ElementsAre("+kCFRunLoopDefaultMode", "+a", "+b", "-a", "-kCFRunLoopDefaultMode", "-b"));
    });
}

TEST(CFRunLoopSource, ReleasesItsInfoOnce) {
    onOwnLoop([] {
        Action action;
        {
            Own source(newSource(action));
            EXPECT_EQ(action.held, 1);
            CFRunLoopSourceContext context{};
            CFRunLoopSourceGetContext(source, &context);
            EXPECT_EQ(context.info, &action);
            EXPECT_EQ(context.perform, Action::perform);
            CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
            CFRunLoopSourceInvalidate(source);
            CFRunLoopSourceInvalidate(source);
            EXPECT_EQ(action.held, 0);
            EXPECT_FALSE(CFRunLoopSourceIsValid(source));
            CFRunLoopSourceSignal(source);
            CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
            EXPECT_FALSE(CFRunLoopContainsSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode));
        }
        CFRelease(newSource(action));
        EXPECT_EQ(action.held, 0);
        EXPECT_EQ(action.calls, 0);
    });
}

TEST(CFRunLoopSource, MayBeInvalidatedAndReleasedInItsOwnCall) {
    onOwnLoop([] {
        Action action;
        CFRunLoopSourceRef source = newSource(action);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        action.run = [&] {
            CFRunLoopSourceInvalidate(source);
            CFRelease(source);
            EXPECT_EQ(action.held, 1);  // the call that is under way was given it
        };
        CFRunLoopSourceSignal(source);
        runOnce();
        EXPECT_EQ(action.calls, 1);
        EXPECT_EQ(action.held, 0);
    });
}

TEST(CFRunLoopSource, EqualsOneThatStandsForTheSame) {
    Action action, other;
    Own a(newSource(action, 1)), b(newSource(action, 1)), c(newSource(action, 2)), d(newSource(other, 1));
    EXPECT_TRUE(CFEqual(a, b));
    EXPECT_EQ(CFHash(a), CFHash(b));
    EXPECT_FALSE(CFEqual(a, c));
    EXPECT_FALSE(CFEqual(a, d));
    EXPECT_EQ(CFGetTypeID(a), CFRunLoopSourceGetTypeID());
}

TEST(CFRunLoopSource, OfAnUnknownVersionIsNotMade) {
    CFRunLoopSourceContext context{};
    context.version = 2;
    EXPECT_EQ(CFRunLoopSourceCreate(nullptr, 0, &context), nullptr);
}

TEST(CFRunLoopSource, SharedBySeveralLoopsRunsOnOneOfThem) {
    LoopThread first, second;
    struct Shared {
        std::atomic<int> calls{0};
        static void perform(void* info) { ++static_cast<Shared*>(info)->calls; }
    } shared;
    CFRunLoopSourceContext context{};
    context.info = &shared;
    context.perform = Shared::perform;
    Own source(CFRunLoopSourceCreate(nullptr, 0, &context));
    CFRunLoopAddSource(first.loop, source, kCFRunLoopDefaultMode);
    CFRunLoopAddSource(second.loop, source, kCFRunLoopDefaultMode);
    for (int i = 1; i <= 100; ++i) {
        CFRunLoopSourceSignal(source);
        CFRunLoopWakeUp(i % 2 ? first.loop : second.loop);
        while (shared.calls < i) std::this_thread::yield();
    }
    EXPECT_EQ(shared.calls, 100);
    CFRunLoopSourceInvalidate(source);
    EXPECT_FALSE(CFRunLoopContainsSource(first.loop, source, kCFRunLoopDefaultMode));
    EXPECT_FALSE(CFRunLoopContainsSource(second.loop, source, kCFRunLoopDefaultMode));
    EXPECT_EQ(CFGetRetainCount(source), 1);
}
