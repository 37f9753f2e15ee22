#pragma once

// System calls that a test counts, makes fail or dies in: those with which the store is written. They stand before the
// C library's for this whole program, the libraries it uses included.

#include <atomic>

namespace CallsOfTest {

/// How many of the calls have been made.
inline std::atomic<int> made{0};

/// How many pread() calls have been made.
inline std::atomic<int> reads{0};

/// The process kills itself in the call with this number, counted from 1; 0: in none. A write is done half.
inline std::atomic<int> deadly{0};

/// What the process does before it kills itself.
inline void (*last)() = nullptr;

/// Writes fail with this errno value after half of their bytes; 0: they do not.
inline std::atomic<int> writeError{0};

}  // namespace CallsOfTest
