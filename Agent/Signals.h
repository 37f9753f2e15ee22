#pragma once

#include <chrono>

namespace agent {

/// What the agent is asked for by signals. They are blocked in the thread that makes the object and in all that it
/// starts, and wait to be asked for. A pipe whose reader is gone is an error of the write, and no signal.
class Signals {
  public:
    Signals();

    enum class Request { None, End, Reload };

    /// The next request; None when none came for that long.
    Request await(std::chrono::microseconds patience) const;
};

}  // namespace agent
