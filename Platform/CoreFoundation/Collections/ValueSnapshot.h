#pragma once

// The values of a collection as they are at one moment, for appliers, which may change the collection.

#include "CallBacks.h"
#include "Support/SmallVector.h"

#include <new>

namespace KXPlatform {

/// Retains every value that is added, by the collection's callbacks, and releases them all at its end.
class ValueSnapshot {
  public:
    ValueSnapshot(const CallBacks* callBacks, CFTypeRef owner) noexcept : callBacks_(callBacks), owner_(owner) {
        // The applier may release the collection, and with it its own copy of the callbacks.
        retain(owner_);
    }
    ~ValueSnapshot() {
        for (const void* const value : values_) releaseValue(callBacks_, owner_, value);
        release(owner_);
    }
    ValueSnapshot(const ValueSnapshot&) = delete;
    ValueSnapshot& operator=(const ValueSnapshot&) = delete;

    /// False when there is no memory.
    bool reserve(std::size_t count) noexcept try {
        values_.room(count);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }

    /// Takes in a value for which reserve() has made room.
    void add(const void* value) noexcept { values_.push_back(retainValue(callBacks_, owner_, value)); }

    const void* operator[](std::size_t index) const noexcept { return values_[index]; }
    std::size_t size() const noexcept { return values_.size(); }

  private:
    const CallBacks* const callBacks_;
    const CFTypeRef owner_;
    SmallVector<const void*, 32> values_;
};

}  // namespace KXPlatform
