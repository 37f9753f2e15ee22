#pragma once

#include "Configuration.h"

#include <memory>
#include <mutex>
#include <utility>

namespace agent {

/// The configuration in force, which may be replaced while the agent runs. Any thread.
class Settings {
  public:
    explicit Settings(Configuration configuration) { set(std::move(configuration)); }

    std::shared_ptr<const Configuration> get() const {
        const std::lock_guard lock(mutex_);
        return current_;
    }
    void set(Configuration configuration) {
        auto next = std::make_shared<const Configuration>(std::move(configuration));
        const std::lock_guard lock(mutex_);
        current_.swap(next);
    }

  private:
    mutable std::mutex mutex_;
    std::shared_ptr<const Configuration> current_;
};

}  // namespace agent
