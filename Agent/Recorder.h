#pragma once

#include "Counters.h"
#include "Journal.h"
#include "Settings.h"

#include <KXCoreLib/ThreadUtils.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

namespace agent {

/// The thread that puts records onto the disk. They wait in memory, in order, until they are there: those that arrive
/// together share a sync, and what cannot be written is tried again with growing pauses. When the memory is full the
/// oldest are dropped, and a record that counts them takes their place.
class Recorder : public KXCore::BackgroundThread {
  public:
    struct Callbacks {
        /// Records are on the disk, and nobody could read them yet.
        std::function<void(std::span<const Record>)> stored;
        /// They can be read.
        std::function<void()> readable;
    };

    /// What is referred to outlives the thread. `lost` events were dropped before.
    Recorder(Journal& journal, Counters& counters, const Settings& settings, Callbacks callbacks, std::uint64_t lost);

    /// Takes a record; never waits for the disk. Any thread.
    void submit(Record record);

    /// There may be room again. Any thread.
    void tryAgain();

    void run() override;
    void destroy() override {}  ///< belongs to whoever made it
    /// Ends the thread when nothing waits any more, or what waits could not be written for half a second.
    void stop() override;

    /// After the end: how many events are neither stored nor told of in the stream.
    std::uint64_t lost() const { return lost_; }

    /// When the thread has last shown that it lives, for a watchdog.
    std::chrono::steady_clock::time_point lastSeen() const { return lastSeen_; }

  private:
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;

    bool awaitWork(Lock& lock);
    void gather(Lock& lock);
    void fillBatch();
    bool storeBatch();
    void putBack();
    void dropOldest();
    void tell(const std::string& why);
    void recover();

    Journal& journal_;
    Counters& counters_;
    const Settings& settings_;
    const Callbacks callbacks_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Record> queue_;  ///< guarded by mutex_, as what follows
    std::size_t queuedBytes_ = 0;
    std::uint64_t lost_ = 0;  ///< dropped, and in no record yet
    bool stopping_ = false;
    bool triesAgain_ = false;

    std::vector<Record> batch_;  ///< of the thread itself: what is being stored
    Clock::time_point lastSync_{};
    Clock::time_point lastTold_{};
    std::chrono::milliseconds pause_{0};
    bool isFailing_ = false;
    std::atomic<Clock::time_point> lastSeen_{Clock::now()};
};

}  // namespace agent
