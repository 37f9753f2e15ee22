#include "Hashing.h"

#include <sys/auxv.h>
#include <sys/random.h>

#include <bit>
#include <chrono>

namespace KXPlatform {

HashSeed hashSeed{0x9E3779B97F4A7C15u, 0xA24BAED4963EE407u};

namespace {

/// Steps through all 64-bit numbers, each result far from the one before.
std::uint64_t next(std::uint64_t& state) noexcept {
    std::uint64_t mixed = state += 0x9E3779B97F4A7C15u;
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EBu;
    return mixed ^ mixed >> 31;
}

/// Sixteen bytes that nobody outside knows. Early after start the kernel's generator may not be ready, and to wait for
/// it here would stop the computer's start: then the bytes that it gave the process when it began have to do, by way of
/// a mixture, since the C library's own guards are made of the same bytes.
HashSeed draw() noexcept {
    HashSeed drawn;
    if (getrandom(&drawn, sizeof drawn, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof drawn)) return drawn;
    const auto time = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    std::uint64_t given[2] = {};
    if (const auto* const bytes = reinterpret_cast<const void*>(getauxval(AT_RANDOM)))
        std::memcpy(given, bytes, sizeof given);
    std::uint64_t state = given[0] ^ std::rotl(time, 32);
    drawn.start = next(state);
    state ^= given[1];
    drawn.factor = next(state);
    return drawn;
}

/// Runs before the initialisers of static objects, of this library and of those that use it: an object hashed by one of
/// them keeps its hash.
[[gnu::constructor(101)]] void seedHashes() noexcept {
    HashSeed drawn = draw();
    // A factor of few ones, or few zeros, would hardly mix.
    std::uint64_t state = drawn.factor;
    do {
        drawn.factor = next(state) | 1;
    } while (std::popcount(drawn.factor) < 24 || std::popcount(drawn.factor) > 40);
    hashSeed = drawn;
}

}  // namespace

}  // namespace KXPlatform
