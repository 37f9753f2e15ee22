#include "TimerClock.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include <time.h>

namespace KXPlatform {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

/// What is known of how far the wall clock is ahead, from reading it between two readings of the other.
struct Bounds {
    std::int64_t least;
    std::int64_t most;
};

Bounds measure() noexcept {
    const std::int64_t before = now();
    timespec wall;
    ::clock_gettime(CLOCK_REALTIME, &wall);
    const std::int64_t after = now();
    const auto reference = static_cast<std::int64_t>(kCFAbsoluteTimeIntervalSince1970);
    const std::int64_t read = (wall.tv_sec - reference) * kSecond + wall.tv_nsec;
    return {read - after, read - before};
}

/// A reading is kept as long as the clocks may still stand so, give or take this much.
constexpr std::int64_t kSlack = 10'000;

/// As exactly as a few attempts find out; a thread that loses the processor between two readings learns little.
std::int64_t leastAhead() noexcept {
    constexpr int kAttempts = 32;
    Bounds known = measure();
    for (int attempt = 1; attempt < kAttempts && known.most - known.least > kSlack; ++attempt) {
        const Bounds next = measure();
        const bool isDisjoint = next.least > known.most || next.most < known.least;  // the clock has been set
        known = isDisjoint ? next : Bounds{std::max(known.least, next.least), std::min(known.most, next.most)};
    }
    return known.least;
}

constexpr std::int64_t kNotRead = INT64_MIN;
constinit std::atomic<std::int64_t> lastRead{kNotRead};

}  // namespace

std::int64_t now() noexcept {
    timespec time;
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kSecond + time.tv_nsec;
}

std::int64_t timeAfter(std::int64_t from, double seconds) noexcept {
    // Half of the clock's range either way: no sum of two times leaves it.
    constexpr double kReach = 4e18;
    const double nanoseconds = seconds * static_cast<double>(kSecond);
    if (nanoseconds >= kReach) return kForever;
    return from + static_cast<std::int64_t>(std::max(nanoseconds, -kReach));
}

ClockReading ClockReading::take() noexcept {
    std::int64_t last = lastRead.load(std::memory_order_relaxed);
    for (;;) {
        const Bounds bounds = measure();
        const bool holds = last != kNotRead && last <= bounds.most && last >= bounds.least - kSlack;
        if (holds) return ClockReading(last);
        // One of the threads that find the clock set keeps its reading, and the others take that one.
        const std::int64_t anew = leastAhead();
        if (lastRead.compare_exchange_strong(last, anew, std::memory_order_relaxed)) return ClockReading(anew);
    }
}

std::int64_t ClockReading::timeOf(CFAbsoluteTime date) const noexcept {
    constexpr double kReach = 4e9;
    if (date >= kReach) return kForever;
    const double seconds = std::floor(std::max(date, -kReach));
    const double rest = std::max(date, -kReach) - seconds;
    return static_cast<std::int64_t>(seconds) * kSecond +
           static_cast<std::int64_t>(std::ceil(rest * static_cast<double>(kSecond))) - ahead_;
}

CFAbsoluteTime ClockReading::dateOf(std::int64_t time) const noexcept {
    const std::int64_t wall = time + ahead_;
    return static_cast<double>(wall / kSecond) + static_cast<double>(wall % kSecond) / static_cast<double>(kSecond);
}

}  // namespace KXPlatform
