#pragma once

// A growing array of plain values whose first N lie in the object itself: scratch space that costs no allocation for
// the small inputs that are nearly all of them.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace KXPlatform {

template <class T, std::size_t N>
class SmallVector {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

  public:
    SmallVector() noexcept = default;
    SmallVector(const SmallVector&) = delete;
    SmallVector& operator=(const SmallVector&) = delete;
    ~SmallVector() {
        if (!isInline()) std::free(first_);
    }

    T* data() noexcept { return first_; }
    const T* data() const noexcept { return first_; }
    std::size_t size() const noexcept { return size_; }
    std::size_t capacity() const noexcept { return capacity_; }
    bool empty() const noexcept { return size_ == 0; }
    bool isInline() const noexcept { return first_ == inlineStorage(); }
    T& operator[](std::size_t index) noexcept { return first_[index]; }
    const T& operator[](std::size_t index) const noexcept { return first_[index]; }
    T& back() noexcept { return first_[size_ - 1]; }
    const T& back() const noexcept { return first_[size_ - 1]; }
    T* begin() noexcept { return first_; }
    T* end() noexcept { return first_ + size_; }

    /// Throws std::bad_alloc, as every growing operation does, and changes nothing then.
    void push_back(const T& value) {
        if (size_ == capacity_) {
            const T copy = value;
            enlarge(1);
            first_[size_++] = copy;
            return;
        }
        first_[size_++] = value;
    }

    void pop_back() noexcept { --size_; }

    /// Drops everything from `size` on; no effect when there is nothing.
    void truncate(std::size_t size) noexcept {
        if (size < size_) size_ = size;
    }

    /// Room for `count` more values behind the last one; they are not part of the array until extend() says so.
    T* room(std::size_t count) {
        if (capacity_ - size_ < count) enlarge(count);
        return first_ + size_;
    }

    /// Takes in `count` values written into room().
    void extend(std::size_t count) noexcept { size_ += count; }

    void append(const T* values, std::size_t count) {
        if (count == 0) return;
        std::memcpy(static_cast<void*>(room(count)), values, count * sizeof(T));
        size_ += count;
    }

    /// The memory, to be freed with free(), cut to the values in it; null when they still lie in the object. The array
    /// is empty afterwards when memory was given away.
    T* release() noexcept {
        if (isInline()) return nullptr;
        T* memory = std::exchange(first_, inlineStorage());
        if (void* const cut = std::realloc(memory, (size_ ? size_ : 1) * sizeof(T))) memory = static_cast<T*>(cut);
        size_ = 0;
        capacity_ = N;
        return memory;
    }

  private:
    T* inlineStorage() noexcept { return reinterpret_cast<T*>(storage_); }
    const T* inlineStorage() const noexcept { return reinterpret_cast<const T*>(storage_); }

    void enlarge(std::size_t extra) {
        constexpr std::size_t most = static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(T);
        if (extra > most - size_) throw std::bad_alloc();
        std::size_t capacity = capacity_ > most / 2 ? most : capacity_ * 2;
        if (capacity < size_ + extra) capacity = size_ + extra;
        void* const old = isInline() ? nullptr : first_;
        void* const memory = std::realloc(old, capacity * sizeof(T));
        if (!memory) throw std::bad_alloc();
        if (!old) std::memcpy(memory, storage_, size_ * sizeof(T));
        first_ = static_cast<T*>(memory);
        capacity_ = capacity;
    }

    alignas(T) std::byte storage_[N * sizeof(T)];
    T* first_ = inlineStorage();
    std::size_t size_ = 0;
    std::size_t capacity_ = N;
};

}  // namespace KXPlatform
