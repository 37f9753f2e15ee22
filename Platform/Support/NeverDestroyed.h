#pragma once

// Objects that live until the process has ended.

#include <cstddef>
#include <new>

namespace KXPlatform {

/// A static object that is not destroyed when the process exits, since other threads and the destructors of other
/// static objects may still use it. It needs no memory beside its own.
template <class T>
class NeverDestroyed {
  public:
    NeverDestroyed() noexcept(noexcept(T())) { new (&storage_) T(); }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T& operator*() noexcept { return *std::launder(reinterpret_cast<T*>(&storage_)); }

  private:
    alignas(T) std::byte storage_[sizeof(T)];
};

}  // namespace KXPlatform
