#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace agent {

/// The standard output, whose reader may be slow, stuck or gone. A write never blocks for good: it waits until there is
/// room, and wake() ends the wait. Lines go out whole as long as the system takes them whole, which a pipe does with up
/// to 4096 bytes; what it took a part of goes on with the rest.
class Output {
  public:
    Output();
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    static constexpr std::size_t kMostAtOnce = 4096;

    enum class Outcome { Written, Interrupted, Failed };

    /// Writes `lines`, of at most kMostAtOnce bytes unless it is one line. Interrupted: wake() was called or `patience`
    /// is over; Failed: error() tells why. Both leave the same lines to be given again.
    Outcome write(std::string_view lines, std::chrono::milliseconds patience);
    const std::string& error() const { return error_; }

    /// Ends the current write, or the next one. Any thread.
    void wake() const;

    /// Opens the file or the named pipe that stands at the output's path now: after a log was rotated, or for a new
    /// reader. Leaves other outputs as they are.
    void reopen();

  private:
    Outcome fail();

    std::string path_;
    std::size_t done_ = 0;  ///< of the lines that are being written
    int waker_;
    std::string error_;
};

}  // namespace agent
