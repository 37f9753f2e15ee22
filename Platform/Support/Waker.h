#pragma once

// How other threads wake a thread that sleeps in epoll: an eventfd behind a flag, so that any number of wake-ups
// between two sleeps cost one system call, and none when the thread is awake.
//
// A wake-up is never lost: one that comes while the thread is awake makes its next sleep return at once. A forked child
// wakes nobody with a waker of its parent: the sleeper is the parent's thread.

#include "Descriptor.h"
#include "ProcessMark.h"

#include <atomic>
#include <cstdint>

namespace KXPlatform {

class Waker {
  public:
    Waker() noexcept = default;
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    /// Wakes the sleeper, or keeps it from its next sleep. Any thread.
    void wake() noexcept;

    // The rest is for the sleeping thread alone.

    /// Makes the eventfd. False when the process has no descriptor left; to be tried again.
    bool open() noexcept;

    /// Becomes readable when the sleeper is woken; watched edge-triggered it need not be read. -1 before open().
    int descriptor() const noexcept { return fd_.get(); }

    /// Announces a sleep; false when it has already been ended. Needs an open eventfd.
    bool prepareSleep() noexcept;

    /// Says that the sleep is over, for whatever reason.
    void finishSleep() noexcept { state_.exchange(kAwake, std::memory_order_acq_rel); }

    /// Takes a wake-up that came while the thread was awake; false when none came.
    bool takeWakeUp() noexcept;

    /// Whether the thread sleeps now. Any thread.
    bool isSleeping() const noexcept { return state_.load(std::memory_order_relaxed) == kAsleep; }

  private:
    static constexpr std::uint32_t kAwake = 0;
    static constexpr std::uint32_t kAsleep = 1;
    static constexpr std::uint32_t kWoken = 2;

    const ProcessMark mark_;
    std::atomic<std::uint32_t> state_{kAwake};
    Descriptor fd_;  // written before the first kAsleep is published, constant from then on
};

}  // namespace KXPlatform
