#include "RunLoopTesting.h"

#include <unistd.h>

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

TEST(CFRunLoopSource, OfVersion1EqualsByTheRuleOfItsContext) {
    int first = 1, same = 1, other = 2;
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    context.perform = [](void*, CFIndex, CFAllocatorRef, void*) -> void* { return nullptr; };
    const auto make = [&](int& number) {
        context.info = &number;
        return CFRunLoopSourceCreate(nullptr, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    };
    Own a(make(first)), b(make(same));
    EXPECT_FALSE(CFEqual(a, b)) << "without a rule only the same info is equal";
    context.equal = [](const void* x, const void* y) -> Boolean {
        return *static_cast<const int*>(x) == *static_cast<const int*>(y);
    };
    context.hash = [](const void* x) -> CFHashCode { return static_cast<CFHashCode>(*static_cast<const int*>(x)); };
    Own c(make(first)), d(make(same)), e(make(other));
    EXPECT_TRUE(CFEqual(c, d));
    EXPECT_EQ(CFHash(c), CFHash(d));
    EXPECT_FALSE(CFEqual(c, e));
    EXPECT_FALSE(CFEqual(a, c)) << "of two rules";
    Action action;
    Own ofVersion0(newSource(action));
    EXPECT_FALSE(CFEqual(a, ofVersion0));
}

TEST(CFRunLoopSource, OfADescriptorEqualsItselfOnly) {
    int pipes[2];
    ASSERT_EQ(pipe(pipes), 0);
    const CFFileDescriptorRef in = CFFileDescriptorCreate(nullptr, pipes[0], true, nullptr, nullptr);
    const CFFileDescriptorRef out = CFFileDescriptorCreate(nullptr, pipes[1], true, nullptr, nullptr);
    {
        Own a(CFFileDescriptorCreateRunLoopSource(nullptr, in, 0));
        Own b(CFFileDescriptorCreateRunLoopSource(nullptr, out, 0));
        EXPECT_FALSE(CFEqual(a, b));
        EXPECT_TRUE(CFEqual(a, a));
    }
    CFRelease(in);
    CFRelease(out);
}

TEST(CFRunLoopSource, GivesBackAContextOfTheVersionThatIsAskedFor) {
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    context.info = &context;
    Own source(CFRunLoopSourceCreate(nullptr, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context)));
    CFRunLoopSourceContext small{};
    CFRunLoopSourceGetContext(source, &small);
    EXPECT_EQ(small.info, nullptr) << "a record of version 0 has no room for it";
    CFRunLoopSourceContext1 given{};
    given.version = 1;
    CFRunLoopSourceGetContext(source, reinterpret_cast<CFRunLoopSourceContext*>(&given));
    EXPECT_EQ(given.info, &context);
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
