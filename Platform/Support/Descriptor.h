#pragma once

// An owned file descriptor.

#include <unistd.h>

#include <utility>

namespace KXPlatform {

class Descriptor {
  public:
    Descriptor() noexcept = default;
    /// Takes over `descriptor`; a negative one is none.
    explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~Descriptor() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }

    explicit operator bool() const noexcept { return descriptor_ >= 0; }
    int get() const noexcept { return descriptor_; }

    /// Closes now; false when the system reports that what was written is not there.
    bool close() noexcept { return ::close(std::exchange(descriptor_, -1)) == 0; }

    /// Gives the descriptor away, open.
    int release() noexcept { return std::exchange(descriptor_, -1); }

  private:
    int descriptor_ = -1;
};

}  // namespace KXPlatform
