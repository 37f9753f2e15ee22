#pragma once

// Items of one kind in a mode, by their order and, of one order, as they came; and walks over them that go on rightly
// while items come and go, need no memory, and so can end for no want of it.

#include <CoreFoundation/CFBase.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace KXPlatform {

template <class Item>
class ItemList {
    struct Place {
        CFIndex order;
        std::uint64_t sequence;  ///< grows from place to place, as they are made
        Item* item;
        std::uint64_t mark = 0;
    };

  public:
    /// Where a walk stands: at no item yet, or behind the one it returned last.
    class Walk {
        friend class ItemList;
        bool hasBegun_ = false;
        CFIndex order_ = INT64_MIN;
        std::uint64_t sequence_ = 0;
        std::uint64_t end_ = 0;  ///< an item that came later is not in the walk
    };

    bool isEmpty() const noexcept { return places_.empty(); }

    /// Throws std::bad_alloc with nothing changed.
    void add(Item& item) {
        const Place place{item.order, nextSequence_, &item};
        places_.insert(std::upper_bound(places_.begin(), places_.end(), place, comesBefore), place);
        ++nextSequence_;
    }

    void remove(const Item& item) noexcept {
        std::erase_if(places_, [&](const Place& place) { return place.item == &item; });
    }

    /// The next item for which `wanted` returns true; null at the end.
    template <class Wanted>
    Item* next(Walk& walk, Wanted wanted) const {
        return nextPlace(walk, [&](const Place& place) { return wanted(*place.item); });
    }

    /// Marks the items for which `wanted` returns true for a pass; passes are counted upwards from 1.
    template <class Wanted>
    void mark(std::uint64_t pass, Wanted wanted) {
        for (Place& place : places_) {
            if (wanted(*place.item)) place.mark = pass;
        }
    }

    /// The next item that was marked for this pass or a later one; null at the end.
    Item* nextMarked(Walk& walk, std::uint64_t pass) const noexcept {
        return nextPlace(walk, [&](const Place& place) { return place.mark >= pass; });
    }

    template <class Visit>
    void forEach(Visit visit) const {
        for (const Place& place : places_) visit(*place.item);
    }

  private:
    static bool comesBefore(const Place& a, const Place& b) noexcept {
        return a.order != b.order ? a.order < b.order : a.sequence < b.sequence;
    }

    template <class Wanted>
    Item* nextPlace(Walk& walk, Wanted wanted) const {
        if (!walk.hasBegun_) {
            walk.hasBegun_ = true;
            walk.end_ = nextSequence_;
        }
        const Place stand{walk.order_, walk.sequence_, nullptr};
        for (auto at = std::upper_bound(places_.begin(), places_.end(), stand, comesBefore); at != places_.end();
             ++at) {
            if (at->sequence >= walk.end_ || !wanted(*at)) continue;
            walk.order_ = at->order;
            walk.sequence_ = at->sequence;
            return at->item;
        }
        return nullptr;
    }

    std::vector<Place> places_;
    std::uint64_t nextSequence_ = 1;
};

}  // namespace KXPlatform
