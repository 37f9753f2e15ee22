#pragma once

// An owned reference to an object of this platform, for its own sources.

#include "Object.h"

#include <utility>

namespace KXPlatform {

/// Adds a reference to an object that may be on its way out: false when its last one has gone already. Only for an
/// object with the flag kFound, and a pointer that its finalizer takes back under a lock that the caller holds.
inline bool tryRetain(const Object* object) noexcept {
    std::uint32_t count = object->count.load(std::memory_order_relaxed);
    while (count != 0) {
        if (object->count.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) return true;
    }
    return false;
}

/// T is an Object or, seen from outside, only declared.
template <class T>
class Retained {
  public:
    Retained() noexcept = default;
    Retained(const Retained& other) noexcept : object_(other.object_) { retain(); }
    Retained(Retained&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Retained& operator=(Retained other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Retained() {
        if (object_) CFRelease(object_);
    }

    static Retained retaining(T* object) noexcept {
        Retained made = adopting(object);
        made.retain();
        return made;
    }
    static Retained adopting(T* object) noexcept {
        Retained made;
        made.object_ = object;
        return made;
    }
    static Retained trying(T* object) noexcept { return object && tryRetain(object) ? adopting(object) : Retained(); }

    explicit operator bool() const noexcept { return object_ != nullptr; }
    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    T* release() noexcept { return std::exchange(object_, nullptr); }

  private:
    void retain() noexcept {
        if (object_) CFRetain(object_);
    }

    T* object_ = nullptr;
};

}  // namespace KXPlatform
