#pragma once

// The timers of a mode by their deadlines: a heap of four branches, in which every timer knows its place, so that one
// can be moved or taken out without a search. Nothing is allocated but the heap itself.

#include <cstddef>
#include <cstdint>
#include <vector>

struct __CFRunLoopTimer;

namespace KXPlatform {

struct TimerKey {
    std::int64_t deadline;
    std::uint64_t sequence;  ///< of two timers with one deadline, the lower goes first
    __CFRunLoopTimer* timer;

    bool operator<(const TimerKey& other) const noexcept {
        return deadline != other.deadline ? deadline < other.deadline : sequence < other.sequence;
    }
};

/// Where a timer stands in a schedule; it must not move while the timer stands there.
class TimerPlace {
  public:
    bool isScheduled() const noexcept { return index_ != kNowhere; }

  private:
    friend class TimerSchedule;
    static constexpr std::size_t kNowhere = SIZE_MAX;
    std::size_t index_ = kNowhere;
};

class TimerSchedule {
  public:
    bool isEmpty() const noexcept { return heap_.empty(); }
    /// The timer with the earliest deadline; there must be one.
    const TimerKey& first() const noexcept { return heap_.front().key; }

    /// Makes room for so many timers: insert() does not allocate then.
    void reserve(std::size_t count) {
        if (count > heap_.capacity()) heap_.reserve(2 * count);
    }

    void insert(const TimerKey& key, TimerPlace& place) {
        heap_.push_back({key, &place});
        rise(heap_.size() - 1);
    }

    void remove(TimerPlace& place) noexcept {
        const std::size_t hole = place.index_;
        place.index_ = TimerPlace::kNowhere;
        const Entry last = heap_.back();
        heap_.pop_back();
        if (hole == heap_.size()) return;
        put(hole, last);
        settle(hole);
    }

    void move(TimerPlace& place, std::int64_t deadline) noexcept {
        heap_[place.index_].key.deadline = deadline;
        settle(place.index_);
    }

    /// Shows `visit` timers, in no order, and goes on below those for which it answers true: each is earlier than those
    /// below it.
    template <class Visit>
    void descend(Visit visit, std::size_t from = 0) const {
        if (from >= heap_.size() || !visit(heap_[from].key)) return;
        for (std::size_t child = kBranches * from + 1; child <= kBranches * from + kBranches; ++child) {
            descend(visit, child);
        }
    }

  private:
    static constexpr std::size_t kBranches = 4;

    struct Entry {
        TimerKey key;
        TimerPlace* place;
    };

    void put(std::size_t index, const Entry& entry) noexcept {
        heap_[index] = entry;
        entry.place->index_ = index;
    }

    void rise(std::size_t index) noexcept {
        const Entry entry = heap_[index];
        while (index > 0) {
            const std::size_t parent = (index - 1) / kBranches;
            if (!(entry.key < heap_[parent].key)) break;
            put(index, heap_[parent]);
            index = parent;
        }
        put(index, entry);
    }

    void sink(std::size_t index) noexcept {
        const Entry entry = heap_[index];
        for (;;) {
            std::size_t earliest = kBranches * index + 1;
            if (earliest >= heap_.size()) break;
            const std::size_t end = earliest + kBranches < heap_.size() ? earliest + kBranches : heap_.size();
            for (std::size_t child = earliest + 1; child < end; ++child) {
                if (heap_[child].key < heap_[earliest].key) earliest = child;
            }
            if (!(heap_[earliest].key < entry.key)) break;
            put(index, heap_[earliest]);
            index = earliest;
        }
        put(index, entry);
    }

    /// Brings an entry whose key may have changed either way to its level.
    void settle(std::size_t index) noexcept {
        TimerPlace* const place = heap_[index].place;
        rise(index);
        sink(place->index_);
    }

    std::vector<Entry> heap_;
};

}  // namespace KXPlatform
