#pragma once

// The hash of what objects hold: texts, bytes, numbers.
//
// Keys come from outside (property lists, directories, devices). Were the hash the same in every process, whoever
// writes them could choose thousands that fall together and make a dictionary of them take a second where it takes a
// millisecond. So it depends on two numbers drawn anew for each process: hashes are not to be stored or sent.

#include <CoreFoundation/CFBase.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace KXPlatform {

struct HashSeed {
    std::uint64_t start;
    std::uint64_t factor;  ///< odd, with about as many ones as zeros
};

/// Drawn when the library is loaded, before anything of it can be called, and never changed.
extern HashSeed hashSeed __attribute__((visibility("hidden")));

/// A multiplicative hash, eight bytes a step: the halves of a 128-bit product depend on every bit of both factors.
class Hasher {
  public:
    void add(std::uint64_t word) noexcept { state_ = mix(state_ ^ word, factor_); }
    void add(const void* bytes, std::size_t size) noexcept {
        auto* at = static_cast<const unsigned char*>(bytes);
        for (; size >= 8; size -= 8, at += 8) {
            std::uint64_t word;
            std::memcpy(&word, at, 8);
            add(word);
        }
        if (size > 0) add(tail(at, size));
    }
    /// `length` tells texts apart whose last words differ only in zeros.
    CFHashCode result(std::size_t length) const noexcept { return mix(state_ ^ length, 0x9FB21C651E98DF25u); }

  private:
    /// One to seven bytes as a word: two loads that may overlap, or three that may be of one byte.
    static std::uint64_t tail(const unsigned char* at, std::size_t size) noexcept {
        if (size < 4) return at[0] | std::uint64_t{at[size / 2]} << 8 | std::uint64_t{at[size - 1]} << 16;
        std::uint32_t first;
        std::uint32_t last;
        std::memcpy(&first, at, sizeof first);
        std::memcpy(&last, at + size - 4, sizeof last);
        return first | std::uint64_t{last} << 32;
    }
    static std::uint64_t mix(std::uint64_t a, std::uint64_t b) noexcept {
        __extension__ using Wide = unsigned __int128;
        const Wide product = static_cast<Wide>(a) * b;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    }

    std::uint64_t state_ = hashSeed.start;
    const std::uint64_t factor_ = hashSeed.factor;
};

}  // namespace KXPlatform
