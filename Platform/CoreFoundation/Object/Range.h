#pragma once

// Ranges that callers give are checked here before anything is read through them.

#include <CoreFoundation/CFBase.h>

namespace KXPlatform {

/// Whether `range` lies within a sequence of `count` items. Cannot overflow, whatever the range holds.
inline bool isWithin(CFRange range, CFIndex count) noexcept {
    return range.location >= 0 && range.length >= 0 && range.location <= count &&
           range.length <= count - range.location;
}

}  // namespace KXPlatform
