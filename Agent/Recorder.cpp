#include "Recorder.h"

#include "Report.h"

#include <algorithm>
#include <iterator>

namespace agent {

using namespace std::chrono_literals;

namespace {

/// What one transaction holds at most: well below what SQLite keeps in memory before it locks the file for good.
constexpr std::size_t kBatchRecords = 1000;
constexpr std::size_t kBatchBytes = 384 << 10;

constexpr auto kFirstPause = 20ms;
constexpr auto kLongestPause = 1000ms;
constexpr auto kLastTries = 500ms;
constexpr auto kTellEvery = 60s;
constexpr auto kShowLifeEvery = 1s;

/// How much of the memory one batch takes at most.
std::size_t batchLimit(const Configuration& configuration) {
    return std::min(kBatchBytes, configuration.memoryLimit / 4);
}

/// What a record takes in memory.
std::size_t sizeOf(const Record& record) {
    return sizeof record + record.bytes.capacity() + record.place.capacity() + record.identity.capacity();
}

}  // namespace

Recorder::Recorder(Journal& journal, Counters& counters, const Settings& settings, Callbacks callbacks,
                   std::uint64_t lost)
    : journal_(journal), counters_(counters), settings_(settings), callbacks_(std::move(callbacks)), lost_(lost) {}

void Recorder::submit(Record record) {
    const std::lock_guard lock(mutex_);
    ++counters_.events;
    ++counters_.waiting;
    queuedBytes_ += sizeOf(record);
    queue_.push_back(std::move(record));
    dropOldest();
    changed_.notify_one();
}

void Recorder::tryAgain() {
    const std::lock_guard lock(mutex_);
    triesAgain_ = true;
    changed_.notify_one();
}

void Recorder::stop() {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    changed_.notify_one();
}

/// Leaves room for the batch that is being stored, which is older still, and cannot be dropped meanwhile.
void Recorder::dropOldest() {
    const auto configuration = settings_.get();
    const std::size_t limit = configuration->memoryLimit - batchLimit(*configuration);
    while (!queue_.empty() && queuedBytes_ > limit) {
        queuedBytes_ -= sizeOf(queue_.front());
        queue_.pop_front();
        ++lost_;
        ++counters_.dropped;
        --counters_.waiting;
    }
}

void Recorder::run() {
    Clock::time_point giveUp = Clock::time_point::max();
    Lock lock(mutex_);
    while (awaitWork(lock)) {
        gather(lock);
        fillBatch();
        triesAgain_ = false;
        lock.unlock();
        const bool stored = storeBatch();
        lock.lock();
        if (stored) continue;
        if (stopping_ && giveUp == Clock::time_point::max()) giveUp = Clock::now() + kLastTries;
        if (Clock::now() >= giveUp) break;
        const bool wasStopping = stopping_;
        changed_.wait_for(lock, stopping_ ? kFirstPause : pause_,
                          [&] { return stopping_ != wasStopping || triesAgain_; });
    }
    putBack();
    lost_ += counters_.waiting;
}

/// Waits until there is something to store; false when there is nothing and never will be.
bool Recorder::awaitWork(Lock& lock) {
    for (;;) {
        lastSeen_ = Clock::now();
        lost_ += journal_.takeLost();
        if (!queue_.empty() || !batch_.empty() || lost_ != 0) return true;
        if (stopping_) return false;
        changed_.wait_for(lock, kShowLifeEvery);
    }
}

/// An event that comes alone is stored at once. Where one sync follows another, it waits for those that come with it.
void Recorder::gather(Lock& lock) {
    const auto until = lastSync_ + settings_.get()->syncDelay;
    changed_.wait_until(lock, until, [&] { return stopping_ || queue_.size() >= kBatchRecords; });
}

void Recorder::fillBatch() {
    if (!batch_.empty()) return;  // in doubt: the same once more
    if (lost_ != 0) {
        batch_.push_back(recordOfLoss(std::exchange(lost_, 0)));
    }
    const std::size_t most = batchLimit(*settings_.get());
    std::size_t bytes = 0;
    while (!queue_.empty() && batch_.size() < kBatchRecords && (batch_.empty() || bytes < most)) {
        const std::size_t size = sizeOf(queue_.front());
        bytes += size;
        queuedBytes_ -= size;
        batch_.push_back(std::move(queue_.front()));
        queue_.pop_front();
    }
}

/// Back to the front of the queue, in order.
void Recorder::putBack() {
    for (auto record = batch_.rbegin(); record != batch_.rend(); ++record) {
        if (record->lost != 0) {
            lost_ += record->lost;
            continue;
        }
        queuedBytes_ += sizeOf(*record);
        queue_.push_front(std::move(*record));
    }
    batch_.clear();
}

bool Recorder::storeBatch() {
    try {
        std::size_t count =
            journal_.store(batch_, [this](std::size_t stored) { callbacks_.stored(std::span(batch_).first(stored)); });
        lastSync_ = Clock::now();
        const auto end = batch_.begin() + static_cast<std::ptrdiff_t>(count);
        const auto events = static_cast<std::uint64_t>(
            std::count_if(batch_.begin(), end, [](const Record& record) { return record.lost == 0; }));
        counters_.recorded += events;
        counters_.waiting -= events;
        {
            const Lock lock(mutex_);
            batch_.erase(batch_.begin(), end);
            putBack();
        }
        recover();
        callbacks_.readable();
        return true;
    } catch (const Journal::InDoubt& error) {
        tell(error.what());
    } catch (const Journal::NotStored& error) {
        {
            const Lock lock(mutex_);
            putBack();
            dropOldest();
        }
        tell(error.what());
    }
    return false;
}

void Recorder::tell(const std::string& why) {
    pause_ = isFailing_ ? std::min<std::chrono::milliseconds>(pause_ * 2, kLongestPause) : kFirstPause;
    const std::string text = "the stream cannot be written: " + why;
    counters_.setLastError(text);
    const Clock::time_point now = Clock::now();
    if (isFailing_ && now < lastTold_ + kTellEvery) return;
    isFailing_ = true;
    lastTold_ = now;
    report(text + "; " + std::to_string(counters_.waiting) + " events wait in memory, " +
           std::to_string(counters_.dropped) + " were dropped");
}

void Recorder::recover() {
    if (!isFailing_) return;
    isFailing_ = false;
    report("the stream can be written again; " + std::to_string(counters_.waiting) + " events wait in memory, " +
           std::to_string(counters_.dropped) + " were dropped");
}

}  // namespace agent
