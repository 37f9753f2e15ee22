#include "TimerSchedule.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>
#include <vector>

using KXPlatform::TimerKey;
using KXPlatform::TimerSchedule;

// A schedule knows its timers by their places in memory only.
struct __CFRunLoopTimer {
    std::uint64_t sequence = 0;
};

namespace {

using Timer = __CFRunLoopTimer;

struct TimerScheduleTest : testing::Test {
    TimerScheduleTest() {
        for (std::size_t i = 0; i < timers.size(); ++i) timers[i].sequence = i;
    }
    void hold(std::size_t i) { schedule.add(timers[i], timers[i].sequence); }
    Timer* first() const { return schedule.first() ? schedule.first()->timer : nullptr; }

    TimerSchedule schedule;
    std::array<Timer, 5> timers;
};

}  // namespace

TEST_F(TimerScheduleTest, HoldsATimerParkedUntilItIsPutInLine) {
    EXPECT_TRUE(schedule.isEmpty());
    hold(0);
    EXPECT_FALSE(schedule.isEmpty());
    EXPECT_EQ(first(), nullptr);
    schedule.set(timers[0], 10);
    EXPECT_EQ(first(), &timers[0]);
    schedule.park(timers[0]);
    EXPECT_EQ(first(), nullptr);
    EXPECT_TRUE(schedule.holds(timers[0]));
    schedule.remove(timers[0]);
    EXPECT_TRUE(schedule.isEmpty());
}

TEST_F(TimerScheduleTest, DoesNothingForATimerThatItDoesNotHold) {
    hold(0);
    schedule.set(timers[0], 10);
    schedule.set(timers[1], 5);
    schedule.park(timers[1]);
    schedule.remove(timers[1]);
    EXPECT_FALSE(schedule.holds(timers[1]));
    EXPECT_EQ(first(), &timers[0]);
}

TEST_F(TimerScheduleTest, ParksAndTakesOutATimerInAnyState) {
    hold(0);
    hold(1);
    schedule.set(timers[0], 10);
    schedule.park(timers[0]);
    schedule.park(timers[0]);
    schedule.park(timers[1]);
    schedule.set(timers[0], 20);
    schedule.set(timers[0], 30);
    schedule.remove(timers[1]);
    schedule.remove(timers[0]);
    schedule.remove(timers[0]);
    EXPECT_TRUE(schedule.isEmpty());
    EXPECT_EQ(first(), nullptr);
}

TEST_F(TimerScheduleTest, HoldsATimerOnce) {
    hold(0);
    schedule.set(timers[0], 10);
    hold(0);
    EXPECT_EQ(first(), &timers[0]);
    schedule.remove(timers[0]);
    EXPECT_TRUE(schedule.isEmpty());
    EXPECT_EQ(first(), nullptr);
}

TEST_F(TimerScheduleTest, OfOneDeadlineTheTimerMadeFirstComesFirst) {
    for (const std::size_t i : {3u, 1u, 4u, 0u, 2u}) {
        hold(i);
        schedule.set(timers[i], 7);
    }
    for (Timer& timer : timers) {
        EXPECT_EQ(first(), &timer);
        schedule.remove(timer);
    }
}

TEST_F(TimerScheduleTest, ServesInAPassWhatWasDueAtItsBeginning) {
    hold(0);
    hold(1);
    hold(2);
    schedule.set(timers[0], 30);
    schedule.set(timers[1], 10);
    schedule.set(timers[2], 100);
    schedule.markDue(50, 1);
    const auto next = [&](std::uint64_t pass) {
        const TimerKey* const key = schedule.nextDue(50, pass);
        return key ? key->timer : nullptr;
    };
    EXPECT_EQ(next(1), &timers[1]);
    schedule.park(timers[1]);
    hold(3);
    schedule.set(timers[3], 1);  // due, but it came later
    schedule.set(timers[2], 2);
    EXPECT_EQ(next(1), &timers[0]);
    schedule.park(timers[0]);
    schedule.set(timers[0], 3);
    EXPECT_EQ(next(1), nullptr);
    schedule.markDue(50, 2);
    EXPECT_EQ(next(2), &timers[3]);
    schedule.markDue(50, 3);  // a nested pass, which leaves something to the outer one
    schedule.park(timers[3]);
    EXPECT_EQ(next(2), &timers[2]);
    schedule.set(timers[2], 60);
    EXPECT_EQ(next(2), &timers[0]);
    schedule.set(timers[0], 51);
    EXPECT_EQ(next(2), nullptr);
}

TEST_F(TimerScheduleTest, KeepsItsLineUnderAnyOperations) {
    std::mt19937 random(20261122);
    std::vector<Timer> many(40);
    std::map<Timer*, std::int64_t> line;
    std::uint64_t pass = 0;
    for (int i = 0; i < 10'000; ++i) {
        const std::size_t index = random() % many.size();
        Timer& timer = many[index];
        const auto deadline = static_cast<std::int64_t>(random() % 1000);
        switch (random() % 4) {
            case 0:
                schedule.add(timer, index);
                break;
            case 1:
                schedule.remove(timer);
                line.erase(&timer);
                break;
            case 2:
                schedule.park(timer);
                line.erase(&timer);
                break;
            default:
                schedule.set(timer, deadline);
                if (schedule.holds(timer)) line[&timer] = deadline;
        }
        const auto earliest = [&](std::int64_t due) {
            Timer* least = nullptr;
            for (const auto& [other, at] : line) {
                if (at <= due && (!least || at < line[least] || (at == line[least] && other < least))) least = other;
            }
            return least;
        };
        ASSERT_EQ(first(), earliest(INT64_MAX));
        if (i % 100 != 0) continue;
        ++pass;
        schedule.markDue(500, pass);
        const TimerKey* const next = schedule.nextDue(500, pass);
        ASSERT_EQ(next ? next->timer : nullptr, earliest(500));
    }
}
