#pragma once

#include "Auditor.h"
#include "DeviceSource.h"
#include "StatusSocket.h"

#include <KXCoreLib/ThreadUtils.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace agent {

/// The thread that sees devices come and go, and has each audited. It also tells who asks how the agent is doing.
class Watcher : public KXCore::BackgroundThread {
  public:
    using Sources = std::vector<std::unique_ptr<DeviceSource>>;

    /// `reported` is what an earlier process of this boot reported. `status` may be null. `begun` is called when what
    /// is there was looked at: from then on, what comes arrives. The rest outlives the thread.
    Watcher(Sources sources, Presence::Devices reported, Auditor& auditor, std::unique_ptr<StatusSocket> status,
            std::function<void()> begun);

    void run() override;
    void destroy() override {}  ///< belongs to whoever made it

    /// When the thread has last shown that it lives, for a watchdog.
    std::chrono::steady_clock::time_point lastSeen() const { return lastSeen_; }

  private:
    const Sources sources_;
    const Presence::Devices reported_;
    Auditor& auditor_;
    const std::unique_ptr<StatusSocket> status_;
    const std::function<void()> begun_;
    std::atomic<std::chrono::steady_clock::time_point> lastSeen_{std::chrono::steady_clock::now()};
};

}  // namespace agent
