#pragma once

// Which sanitizer a test is built with, for what cannot be done there.

namespace Sanitizers {

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThread = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
inline constexpr bool kThread = true;
#else
inline constexpr bool kThread = false;
#endif
#else
inline constexpr bool kThread = false;
#endif

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kAddress = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool kAddress = true;
#else
inline constexpr bool kAddress = false;
#endif
#else
inline constexpr bool kAddress = false;
#endif

/// ThreadSanitizer does not follow threads that a forked process starts.
inline constexpr bool kForkedMayStartThreads = !kThread;

/// AddressSanitizer's malloc keeps the locks that the parent's other threads hold as it forks.
inline constexpr bool kForkedMayAllocate = !kAddress;

}  // namespace Sanitizers

/// At the beginning of a test that takes seconds under ThreadSanitizer and has one thread only.
#define SKIP_UNDER_THREAD_SANITIZER() \
    if (Sanitizers::kThread) GTEST_SKIP() << "slow, and nothing of threads"
