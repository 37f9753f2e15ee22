#pragma once

// How a character set lies in memory, for the sources of this platform that ask for members one after the other.

#include "CoreFoundation/Object/Object.h"

#include <CoreFoundation/CFCharacterSet.h>

#include <unicode/uniset.h>

#include <array>
#include <new>

namespace KXPlatform {
extern const Class kCharacterSetClass;
}

/// ICU's set, and a table of its first members, which are nearly all that is ever asked for. A set that does not change
/// is frozen: ICU then answers for the rest of the basic plane without a search.
struct __CFCharacterSet : KXPlatform::Object {
    static constexpr std::uint8_t kMutable = 1;
    static constexpr UChar32 kTabled = 0x500;
    static constexpr UChar32 kLast = 0x10FFFF;

    __CFCharacterSet() noexcept : Object(KXPlatform::kCharacterSetClass) {}

    bool isMutable() const noexcept { return (bits & kMutable) != 0; }

    bool contains(UChar32 c) const noexcept {
        const auto index = static_cast<std::uint32_t>(c);
        if (index < kTabled) return (table[index / 64] >> (index % 64) & 1) != 0;
        return set.contains(c) != 0;
    }

    /// To be called after each change of `set`.
    void fillTable() noexcept {
        table.fill(0);
        for (std::int32_t i = 0; i < set.getRangeCount(); ++i) {
            const UChar32 start = set.getRangeStart(i);
            if (start >= kTabled) break;
            for (UChar32 c = start; c <= set.getRangeEnd(i) && c < kTabled; ++c)
                table[static_cast<std::size_t>(c) / 64] |= std::uint64_t{1} << (c % 64);
        }
    }

    icu::UnicodeSet set;
    std::array<std::uint64_t, kTabled / 64> table{};
};

namespace KXPlatform {

inline const __CFCharacterSet* characterSet(CFCharacterSetRef set) noexcept {
    return set && set->cls == &kCharacterSetClass ? set : nullptr;
}

}  // namespace KXPlatform
