#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace agent {

/// How the agent is doing, since it was started. Any thread. Every event is recorded, waiting or dropped.
class Counters {
  public:
    std::atomic<std::uint64_t> events{0};     ///< that were seen
    std::atomic<std::uint64_t> recorded{0};   ///< that can be read back from the disk
    std::atomic<std::uint64_t> waiting{0};    ///< that are in memory
    std::atomic<std::uint64_t> delivered{0};  ///< records that went out, those of earlier runs among them
    std::atomic<std::uint64_t> dropped{0};    ///< that there was no room for

    void setLastError(const std::string& text) {
        const std::lock_guard lock(mutex_);
        lastError_ = text;
    }
    std::string lastError() const {
        const std::lock_guard lock(mutex_);
        return lastError_;
    }

  private:
    mutable std::mutex mutex_;
    std::string lastError_;
};

}  // namespace agent
