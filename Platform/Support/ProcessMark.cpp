#include "ProcessMark.h"

#include <cstdio>
#include <cstdlib>

#include <pthread.h>

namespace KXPlatform {

constinit std::atomic<std::uint32_t> ProcessMark::current_{0};

void ProcessMark::noteFork() noexcept { current_.fetch_add(1, std::memory_order_relaxed); }

// When the library is loaded: a fork may come before the first mark is made by hand.
const bool ProcessMark::isWatchingForks_ = ::pthread_atfork(nullptr, nullptr, noteFork) == 0;

void stopForkedUser(const char* what) noexcept {
    std::fprintf(stderr, "KXPlatform: a forked process cannot use %s of its parent; it has to call exec first.\n",
                 what);
    std::abort();
}

}  // namespace KXPlatform
