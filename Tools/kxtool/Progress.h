#pragma once

// Tells a person at a terminal how far long work is, in one line of the standard error that is gone when the work is
// done. Says nothing where the standard error is no terminal.

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace kxtool {

class Progress {
  public:
    /// `total` is how many items there are to do; 0 when nobody knows.
    explicit Progress(long long total = 0) : total_(total), shows_(isatty(STDERR_FILENO) != 0) {}
    ~Progress() {
        if (shown_) std::fputs("\r\x1B[K", stderr);
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// One more item is done.
    void advance() {
        ++done_;
        constexpr long long kLookEvery = 64;  // the clock costs more than an item
        if (shows_ && done_ % kLookEvery == 0) show();
    }

  private:
    using Clock = std::chrono::steady_clock;

    void show() {
        const Clock::time_point now = Clock::now();
        if (now < next_) return;
        next_ = now + std::chrono::milliseconds(100);
        const std::string total = total_ > 0 ? fmt::format(" of {}", total_) : "";
        fmt::print(stderr, "\r{}{} items", done_, total);
        std::fflush(stderr);
        shown_ = true;
    }

    long long total_;
    bool shows_;
    bool shown_ = false;
    long long done_ = 0;
    Clock::time_point next_ = Clock::now();
};

}  // namespace kxtool
