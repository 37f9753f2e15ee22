#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace agent {

/// What the system's service manager is told and asks for; nothing without one.
class Service {
  public:
    void waits(const std::string& why) const;  ///< also keeps a start from being given up
    void isReady() const;
    void reloads() const;
    void ends() const;
    void lives() const;

    /// How often it wants to hear that the agent lives, if it does.
    std::optional<std::chrono::microseconds> watchdog() const;
};

}  // namespace agent
