// Timers beside a wall clock that is set.

#include "RunLoopTesting.h"

#include <gmock/gmock.h>

#include <cstdint>

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

using namespace RunLoopTesting;

// The wall clock of this program: its definition comes before the system's.

namespace {
std::atomic<std::int64_t> secondsSet{0};
}

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const auto result = static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    if (clock == CLOCK_REALTIME) time->tv_sec += secondsSet;
    return result;
}

namespace {

/// Sets the wall clock as long as it lives.
struct ClockSet {
    explicit ClockSet(std::int64_t seconds) { secondsSet += seconds; }
    ~ClockSet() { secondsSet = 0; }
};

/// A timer on the current loop that notes its number when it fires, and goes then.
void addTimer(std::vector<int>& fired, int number, CFAbsoluteTime date) {
    struct Note {
        std::vector<int>* fired;
        int number;
    };
    CFRunLoopTimerContext context{0, new Note{&fired, number}, nullptr,
                                  [](const void* info) { delete static_cast<const Note*>(info); }, nullptr};
    const CFRunLoopTimerRef timer = CFRunLoopTimerCreate(
        nullptr, date, 0, 0, 0,
        [](CFRunLoopTimerRef, void* info) {
            const auto* const note = static_cast<const Note*>(info);
            note->fired->push_back(note->number);
        },
        &context);
    CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
    CFRelease(timer);
}

}  // namespace

TEST(TimerClock, TimersOfOneDateFireInTheOrderTheyWereMade) {
    onOwnLoop([] {
        for (const double delay : {-5.0, 0.0, 0.002}) {
            std::vector<int> fired;
            std::vector<int> expected;
            const CFAbsoluteTime date = CFAbsoluteTimeGetCurrent() + delay;
            for (int i = 0; i < 2000; ++i) {
                addTimer(fired, i, date);
                expected.push_back(i);
            }
            EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
            EXPECT_EQ(fired, expected) << delay;
        }
    });
}

TEST(TimerClock, TimersThatComeToOneDateFireInTheOrderTheyWereMade) {
    onOwnLoop([] {
        std::vector<int> fired;
        const CFAbsoluteTime date = CFAbsoluteTimeGetCurrent() - 0.01;
        Action first, second;
        first.run = [&] { fired.push_back(1); };
        second.run = [&] {
            fired.push_back(2);
            CFRunLoopStop(CFRunLoopGetCurrent());
        };
        const auto make = [](Action& action, CFAbsoluteTime at, double interval) {
            CFRunLoopTimerContext context{0, &action, Action::retain, Action::release, nullptr};
            return CFRunLoopTimerCreate(nullptr, at, interval, 0, 0, Action::fire, &context);
        };
        Own byRepeating(make(first, date, 0.02)), byBeingMoved(make(second, date + 1000, 0));
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), byBeingMoved, kCFRunLoopDefaultMode);
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), byRepeating, kCFRunLoopDefaultMode);
        runOnce();
        const CFAbsoluteTime next = CFRunLoopTimerGetNextFireDate(byRepeating);
        ASSERT_GT(next, date);
        CFRunLoopTimerSetNextFireDate(byBeingMoved, next);
        EXPECT_EQ(CFRunLoopGetNextTimerFireDate(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode), next);
        fired.clear();
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
        EXPECT_THAT(fired, testing::ElementsAre(1, 2));
    });
}

TEST(TimerClock, ATimerDoesNotFireBeforeItsDate) {
    onOwnLoop([] {
        for (int i = 0; i < 50; ++i) {
            Action tick;
            Own timer(newTimer(tick, 0.0003));
            const CFAbsoluteTime date = CFRunLoopTimerGetNextFireDate(timer);
            CFAbsoluteTime fired = 0;
            tick.run = [&] { fired = CFAbsoluteTimeGetCurrent(); };
            CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
            EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
            EXPECT_GE(fired, date);
        }
    });
}

TEST(TimerClock, SettingTheClockMovesNoTimerThatIsSet) {
    onOwnLoop([] {
        for (const std::int64_t seconds : {-7200, 7200}) {
            std::vector<int> fired;
            const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
            addTimer(fired, 1, now + 0.002);
            addTimer(fired, 2, now + 3600);
            const ClockSet set(seconds);
            EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.02, false), kCFRunLoopRunTimedOut);
            EXPECT_THAT(fired, testing::ElementsAre(1)) << seconds;
        }
    });
}

TEST(TimerClock, ADateOfAClockThatHasBeenSetIsOneOfTheNewTime) {
    onOwnLoop([] {
        for (const std::int64_t seconds : {-7200, 7200, 1}) {
            std::vector<int> fired;
            addTimer(fired, 1, CFAbsoluteTimeGetCurrent() - 1);
            runOnce();
            const ClockSet set(seconds);
            const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
            addTimer(fired, 2, now + 3600);
            addTimer(fired, 3, now);
            addTimer(fired, 4, now);
            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false);
            EXPECT_THAT(fired, testing::ElementsAre(1, 3, 4)) << seconds;
        }
    });
}

TEST(TimerClock, ARepeatingTimerKeepsItsPaceWhenTheClockIsSet) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action tick;
        Own timer(newTimer(tick, 0, 0.001));
        const CFAbsoluteTime start = CFRunLoopTimerGetNextFireDate(timer);
        tick.run = [&] {
            if (tick.calls == 2) secondsSet = 7200;
            if (tick.calls == 6) CFRunLoopStop(loop);
        };
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
        const double periods = (CFRunLoopTimerGetNextFireDate(timer) - start) / 0.001;
        EXPECT_NEAR(periods, std::round(periods), 1e-2);
        EXPECT_LT(CFRunLoopTimerGetNextFireDate(timer), start + 3600);
        secondsSet = 0;
    });
}
