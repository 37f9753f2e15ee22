#pragma once

// The clock of timers: nanoseconds that no change of the wall clock touches, and where a date of the wall clock lies on
// it.

#include <CoreFoundation/CFDate.h>

#include <cstdint>

namespace KXPlatform {

std::int64_t now() noexcept;

/// Never.
inline constexpr std::int64_t kForever = INT64_MAX;

/// The time `seconds` after `from`, kept within the clock's range.
std::int64_t timeAfter(std::int64_t from, double seconds) noexcept;

/// How the wall clock stood to the clock of timers at some moment.
///
/// The two run alike until somebody sets the wall clock, so that every reading from one setting to the next is the
/// same, bit for bit: a date is then one point on the clock of timers, whoever asks and whenever.
class ClockReading {
  public:
    /// As the clocks stand now.
    static ClockReading take() noexcept;

    /// Never earlier than the date itself, and later by microseconds at most. Dates outside the clock's range, which
    /// is more than a century either way, are its ends.
    std::int64_t timeOf(CFAbsoluteTime date) const noexcept;
    CFAbsoluteTime dateOf(std::int64_t time) const noexcept;

  private:
    explicit ClockReading(std::int64_t ahead) noexcept : ahead_(ahead) {}

    std::int64_t ahead_;  ///< of the wall clock, in nanoseconds from its reference date
};

}  // namespace KXPlatform
