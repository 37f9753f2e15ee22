#include "TimerSchedule.h"

#include "KXCoreLib/Deletions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <new>
#include <random>
#include <utility>
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

TEST_F(TimerScheduleTest, ATimerIsDueAtItsDeadline) {
    hold(0);
    schedule.set(timers[0], 50);
    schedule.markDue(49, 1);
    EXPECT_EQ(schedule.nextDue(50, 1), nullptr);
    schedule.markDue(50, 1);
    EXPECT_EQ(schedule.nextDue(49, 1), nullptr);
    ASSERT_NE(schedule.nextDue(50, 1), nullptr);
    EXPECT_EQ(schedule.nextDue(50, 1)->timer, &timers[0]);
}

TEST_F(TimerScheduleTest, NeedsMemoryToTakeATimerInAndForNothingAfterThat) {
    std::vector<Timer> many(100);
    const auto without = [](auto work) {
        Deletions::largestBlock = 0;
        bool isRefused = false;
        try {
            work();
        } catch (const std::bad_alloc&) {
            isRefused = true;
        }
        Deletions::largestBlock = SIZE_MAX;
        return isRefused;
    };
    for (std::size_t i = 0; i < many.size(); ++i) {
        EXPECT_TRUE(without([&] { schedule.add(many[i], i); }));
        EXPECT_FALSE(schedule.holds(many[i]));
        schedule.add(many[i], i);
        EXPECT_FALSE(without([&] {
            for (std::size_t k = 0; k <= i; ++k) schedule.set(many[k], static_cast<std::int64_t>(i + k));
        }));
        EXPECT_EQ(first(), &many[0]);
    }
}

TEST_F(TimerScheduleTest, WhatLeavesTheLineIsFollowedByWhatWasBelowIt) {
    // The rows of the heap. The first of 110 is followed by those of 120, and not by a 2, which is under another
    // branch.
    std::vector<std::int64_t> rows = {0, 100, 1, 1, 1};
    rows.insert(rows.end(), 4, 110);
    rows.insert(rows.end(), 12, 2);
    rows.insert(rows.end(), 4, 120);
    rows.push_back(130);
    std::vector<Timer> many(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        schedule.add(many[i], i);
        schedule.set(many[i], rows[i]);
    }
    schedule.park(many[5]);
    int shown = 0;
    schedule.descend([&](const TimerKey& key) {
        if (key.deadline > 50) return false;
        ++shown;
        return true;
    });
    EXPECT_EQ(shown, std::count_if(rows.begin(), rows.end(), [](std::int64_t deadline) { return deadline <= 50; }));
}

TEST_F(TimerScheduleTest, KeepsItsLineUnderAnyOperations) {
    struct InLine {
        std::int64_t deadline;
        std::uint64_t mark;
    };
    std::mt19937 random(20261122);
    std::vector<Timer> many(200);  // of which half are in line, four rows of the heap
    std::map<Timer*, InLine> line;
    std::uint64_t pass = 1;
    for (int i = 0; i < 5'000; ++i) {
        const std::size_t index = random() % many.size();
        Timer& timer = many[index];
        const auto deadline = static_cast<std::int64_t>(random() % 100);
        switch (random() % 16) {
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
                if (schedule.holds(timer)) line.try_emplace(&timer).first->second.deadline = deadline;
        }
        const auto due = static_cast<std::int64_t>(random() % 100);
        if (i % 20 == 0) {
            schedule.markDue(due, ++pass);
            for (auto& [other, at] : line) {
                if (at.deadline <= due) at.mark = pass;
            }
        }

        Timer *earliest = nullptr, *next = nullptr;
        std::vector<Timer*> expected, shown;
        const auto isBefore = [&](Timer* one, Timer* other) {
            return std::pair(line[one].deadline, one) < std::pair(line[other].deadline, other);
        };
        const std::uint64_t asked = pass - random() % 2;
        for (const auto& [other, at] : line) {
            if (!earliest || isBefore(other, earliest)) earliest = other;
            if (at.deadline > due) continue;
            expected.push_back(other);
            if (at.mark >= asked && (!next || isBefore(other, next))) next = other;
        }
        ASSERT_EQ(first(), earliest);
        const TimerKey* const found = schedule.nextDue(due, asked);
        ASSERT_EQ(found ? found->timer : nullptr, next);
        schedule.descend([&](const TimerKey& key) {
            if (key.deadline > due) return false;
            shown.push_back(key.timer);
            return true;
        });
        std::sort(shown.begin(), shown.end());
        ASSERT_EQ(shown, expected);
    }
}
