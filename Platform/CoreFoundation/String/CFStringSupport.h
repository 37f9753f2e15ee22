#pragma once

// What the functions over strings share when they meet arguments that do not fit.

#include "CFStringObject.h"

#include <algorithm>
#include <utility>

namespace KXPlatform {

/// What of `range` lies within `length` units: a range from outside is never trusted to fit.
inline CFRange clamped(CFRange range, CFIndex length) noexcept {
    if (range.length <= 0 || range.location >= length) return {std::clamp<CFIndex>(range.location, 0, length), 0};
    // Of a range that begins before the text only the part within it counts; the sum cannot overflow, its terms have
    // different signs.
    const CFIndex end = range.location < 0 ? std::max<CFIndex>(range.location + range.length, 0)
                                           : range.location + std::min(range.length, length - range.location);
    const CFIndex start = std::max<CFIndex>(range.location, 0);
    return {start, std::min(end, length) - start};
}

inline TextView clampedPart(TextView text, CFRange range) noexcept {
    const CFRange within = clamped(range, text.length);
    return text.part(within.location, within.length);
}

/// The result of `work`, or `failed` where memory ran out under it: no exception leaves a C function.
template <class Result, class Work>
Result guarded(Result failed, Work&& work) noexcept {
    try {
        return std::forward<Work>(work)();
    } catch (...) {
        return failed;
    }
}

/// Where `pattern`, which is not empty, stands in `text` from `from` on, unit by unit; -1 when nowhere.
CFIndex findLiterally(TextView text, CFIndex from, TextView pattern) noexcept;

/// ICU counts in 32 bits: longer texts are not its business.
inline bool fitsICU(CFIndex length) noexcept { return length <= INT32_MAX; }

}  // namespace KXPlatform
