#pragma once

// Tells a process from one that was forked from it.
//
// A forked child has a copy of its parent's memory, but shares the kernel's objects behind the descriptors in it: what
// it changes in an epoll or a timerfd, it changes for its parent. What owns such an object keeps a mark of the process
// that made it, and leaves the object alone where the mark is inherited.

#include <atomic>
#include <cstdint>

namespace KXPlatform {

class ProcessMark {
  public:
    /// A mark of the calling process.
    ProcessMark() noexcept : number_(current_.load(std::memory_order_relaxed)) {}

    /// Whether the process that made the mark is a parent, or a parent's parent, of this one.
    bool isInherited() const noexcept { return number_ != current_.load(std::memory_order_relaxed); }

  private:
    static void noteFork() noexcept;
    static const bool isWatchingForks_;
    static std::atomic<std::uint32_t> current_;  ///< changes in a child as it is forked

    std::uint32_t number_;
};

/// Ends a forked process that uses `what` of its parent, after a line on the standard error stream that says so.
[[noreturn]] void stopForkedUser(const char* what) noexcept;

}  // namespace KXPlatform
