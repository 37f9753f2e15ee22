#pragma once

// Included before every source that scripts/mutants has changed. All changes of a source are compiled into one program,
// each behind a switch; the environment names the one that is on (Tests/MutantSwitch.cpp).

/// Whether the change of that number is on; notes that the running test reached it.
extern "C" bool kx_mutant_is_on(unsigned number) noexcept;

/// The same, and false for what the compiler computes itself: no switch can be thrown there.
constexpr bool kx_mutant(unsigned number) noexcept {
    return __builtin_is_constant_evaluated() ? false : kx_mutant_is_on(number);
}
