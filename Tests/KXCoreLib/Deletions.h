#pragma once

// Whether a counted object that nobody can ask for its count is still alive: the test program's operator delete is the
// one that every library of the process calls, and it looks out for one address.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace Deletions {

inline std::atomic<const void*> awaited{nullptr};
inline std::atomic<bool> hasCome{false};

/// A larger block is not to be had.
inline std::size_t largestBlock = SIZE_MAX;

/// Looks out for the deletion of `object` from now on.
inline void await(const void* object) noexcept {
    hasCome = false;
    awaited = object;
}

/// Whether the awaited object has been deleted.
inline bool came() noexcept { return hasCome; }

}  // namespace Deletions

// This header belongs to one source of a test program: it replaces the operators.
// Not inline: the compiler would take malloc and delete, or new and free, for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return size <= Deletions::largestBlock ? std::malloc(size ? size : 1) : nullptr;
}

[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const room = operator new(size, std::nothrow)) return room;
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* room) noexcept {
    if (room && room == Deletions::awaited) Deletions::hasCome = true;
    std::free(room);
}

[[gnu::noinline]] void operator delete(void* room, std::size_t) noexcept { operator delete(room); }
[[gnu::noinline]] void operator delete(void* room, const std::nothrow_t&) noexcept { operator delete(room); }
