#include "Waker.h"

#include <sys/eventfd.h>

namespace KXPlatform {

Waker::~Waker() {
    // In a forked child the number may stand for another file by now.
    if (mark_.isInherited()) fd_.release();
}

bool Waker::open() noexcept {
    if (!fd_) fd_ = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return static_cast<bool>(fd_);
}

void Waker::wake() noexcept {
    if (state_.exchange(kWoken, std::memory_order_acq_rel) != kAsleep || mark_.isInherited()) return;
    // The count is never read, only its changes are seen: it cannot overflow in the life of a process.
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(fd_.get(), &one, sizeof one);
}

bool Waker::prepareSleep() noexcept {
    std::uint32_t expected = kAwake;
    if (state_.compare_exchange_strong(expected, kAsleep, std::memory_order_acq_rel)) return true;
    finishSleep();
    return false;
}

bool Waker::takeWakeUp() noexcept {
    std::uint32_t expected = kWoken;
    return state_.compare_exchange_strong(expected, kAwake, std::memory_order_acq_rel);
}

}  // namespace KXPlatform
