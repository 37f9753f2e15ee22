#pragma once

#include "Counters.h"
#include "Journal.h"
#include "Output.h"
#include "Settings.h"

#include <KXCoreLib/ThreadUtils.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

namespace agent {

/// The thread that follows the stream: prints each record as a line, and discards what was printed. What was printed
/// and not yet discarded when the process dies is printed again by the next one: a record may come twice, never not.
class Delivery : public KXCore::BackgroundThread {
  public:
    Delivery(Journal& journal, Counters& counters, const Settings& settings);

    /// What is called when items were discarded, and so made room. Before the thread is started.
    void onRoom(std::function<void()> callback) { onRoom_ = std::move(callback); }

    /// There is something to read. Any thread.
    void wake();
    /// Opens the output again before the next line. Any thread.
    void reopenOutput();

    void run() override;
    void destroy() override {}  ///< belongs to whoever made it
    /// Ends the thread when all is delivered, or the reader takes nothing more for a while.
    void stop() override;

  private:
    enum class Progress { AllDelivered, Stuck };
    Progress deliver();
    bool writeOut();
    void tell(const std::string& why);

    Journal& journal_;
    Counters& counters_;
    const Settings& settings_;
    Output output_;
    std::function<void()> onRoom_;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool woken_ = true;  ///< for what an earlier process left
    std::atomic<bool> stopping_{false};
    std::atomic<bool> reopens_{false};

    // Of the thread itself:
    std::string lines_;  ///< that go out next, and the id of their last item
    unsigned long long linesThrough_ = 0;
    std::uint64_t linesRecords_ = 0;
    unsigned long long printedThrough_ = 0;
    bool isFailing_ = false;
    std::chrono::steady_clock::time_point lastTold_{};
    std::chrono::steady_clock::time_point giveUp_{};
};

}  // namespace agent
