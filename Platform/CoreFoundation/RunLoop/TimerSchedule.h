#pragma once

// The timers of a mode, in line by their deadlines: a heap of four branches in which every timer knows its place, so
// that one can be moved or taken out without a search.
//
// A timer that the schedule holds is in line or parked. Every operation is defined for every timer: one that a timer's
// state leaves nothing to do for does nothing. Memory is needed to take a timer in, and for nothing after that.

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

struct __CFRunLoopTimer;

namespace KXPlatform {

struct TimerKey {
    std::int64_t deadline;
    std::uint64_t sequence;  ///< of two timers with one deadline, the lower fires first
    __CFRunLoopTimer* timer;

    bool operator<(const TimerKey& other) const noexcept {
        return deadline != other.deadline ? deadline < other.deadline : sequence < other.sequence;
    }
};

class TimerSchedule {
  public:
    /// Holds no timer, in line or parked.
    bool isEmpty() const noexcept { return places_.empty(); }
    bool holds(__CFRunLoopTimer& timer) const noexcept { return places_.contains(&timer); }

    /// Takes a timer in, parked. Throws std::bad_alloc with nothing changed.
    void add(__CFRunLoopTimer& timer, std::uint64_t sequence) {
        // set() finds room for every timer that is held.
        if (places_.size() >= heap_.capacity()) heap_.reserve(2 * places_.size() + 1);
        places_.try_emplace(&timer, Place{kParked, sequence});
    }

    void remove(__CFRunLoopTimer& timer) noexcept {
        park(timer);
        places_.erase(&timer);
    }

    /// Puts a timer that is held in line at `deadline`, or moves it there.
    void set(__CFRunLoopTimer& timer, std::int64_t deadline) noexcept {
        const auto found = places_.find(&timer);
        if (found == places_.end()) return;
        Place& place = found->second;
        if (place.index == kParked) {
            place.index = heap_.size();
            heap_.push_back({{deadline, place.sequence, &timer}, 0, &place});
        } else {
            heap_[place.index].key.deadline = deadline;
        }
        settle(place.index);
    }

    /// Takes a timer out of the line.
    void park(__CFRunLoopTimer& timer) noexcept {
        const auto found = places_.find(&timer);
        if (found == places_.end() || found->second.index == kParked) return;
        const std::size_t hole = found->second.index;
        found->second.index = kParked;
        const Entry last = heap_.back();
        heap_.pop_back();
        if (hole == heap_.size()) return;
        put(hole, last);
        settle(hole);
    }

    /// The timer with the earliest deadline; null when none is in line.
    const TimerKey* first() const noexcept { return heap_.empty() ? nullptr : &heap_.front().key; }

    /// Shows `visit` timers in line, in no order, and goes on below those for which it returns true: each is earlier
    /// than those below it.
    template <class Visit>
    void descend(Visit visit) const {
        descendFrom(0, [&](const Entry& entry) { return visit(entry.key); });
    }

    /// Marks the timers that are due at `due` for a pass; passes are counted upwards from 1. The mark stays until the
    /// timer leaves the line.
    void markDue(std::int64_t due, std::uint64_t pass) noexcept { markFrom(0, due, pass); }

    /// The first of the timers that are due at `due` and were marked for this pass or a later one; null when none is.
    const TimerKey* nextDue(std::int64_t due, std::uint64_t pass) const noexcept {
        if (heap_.empty() || heap_.front().key.deadline > due) return nullptr;
        if (heap_.front().mark >= pass) return &heap_.front().key;
        // A timer that was put before the marked ones since.
        const TimerKey* next = nullptr;
        descendFrom(0, [&](const Entry& entry) {
            if (entry.key.deadline > due || (next && *next < entry.key)) return false;
            if (entry.mark < pass) return true;
            next = &entry.key;
            return false;
        });
        return next;
    }

  private:
    static constexpr std::size_t kBranches = 4;
    static constexpr std::size_t kParked = SIZE_MAX;

    struct Place {
        std::size_t index;  ///< in the heap
        std::uint64_t sequence;
    };
    struct Entry {
        TimerKey key;
        std::uint64_t mark;
        Place* place;
    };

    static std::size_t firstBelow(std::size_t index) noexcept { return kBranches * index + 1; }

    template <class Visit>
    void descendFrom(std::size_t index, Visit visit) const {
        if (index >= heap_.size() || !visit(heap_[index])) return;
        for (std::size_t branch = 0; branch < kBranches; ++branch) descendFrom(firstBelow(index) + branch, visit);
    }

    void markFrom(std::size_t index, std::int64_t due, std::uint64_t pass) noexcept {
        if (index >= heap_.size() || heap_[index].key.deadline > due) return;
        heap_[index].mark = pass;
        for (std::size_t branch = 0; branch < kBranches; ++branch) markFrom(firstBelow(index) + branch, due, pass);
    }

    void put(std::size_t index, const Entry& entry) noexcept {
        heap_[index] = entry;
        entry.place->index = index;
    }

    std::size_t rise(std::size_t index) noexcept {
        const Entry entry = heap_[index];
        while (index > 0) {
            const std::size_t parent = (index - 1) / kBranches;
            if (!(entry.key < heap_[parent].key)) break;
            put(index, heap_[parent]);
            index = parent;
        }
        put(index, entry);
        return index;
    }

    void sink(std::size_t index) noexcept {
        const Entry entry = heap_[index];
        for (;;) {
            std::size_t earliest = firstBelow(index);
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
    void settle(std::size_t index) noexcept { sink(rise(index)); }

    std::vector<Entry> heap_;
    std::unordered_map<__CFRunLoopTimer*, Place> places_;
};

}  // namespace KXPlatform
