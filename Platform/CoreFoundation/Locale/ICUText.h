#pragma once

// Texts out of ICU, whose functions fill a buffer and tell when it was too small.

#include "CoreFoundation/String/CFStringObject.h"

#include <unicode/utypes.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace KXPlatform {

/// The text that `call(buffer, capacity, &status)` writes and returns the length of, passed on to `use(text)` as a
/// std::u16string_view. Returns what `use` does; `Result()` where ICU fails or memory is short.
template <class Result, class Call, class Use>
Result withICUText(Call&& call, Use&& use) noexcept {
    constexpr std::int32_t kUsual = 256;
    char16_t usual[kUsual];
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t length = call(usual, kUsual, &status);
    if (status != U_BUFFER_OVERFLOW_ERROR) {
        if (U_FAILURE(status) || length < 0) return Result();
        return use(std::u16string_view(usual, static_cast<std::size_t>(length)), status);
    }
    const std::int32_t needed = length;
    const std::unique_ptr<char16_t[]> buffer(new (std::nothrow) char16_t[static_cast<std::size_t>(needed) + 1]);
    if (!buffer) return Result();
    status = U_ZERO_ERROR;
    length = call(buffer.get(), needed + 1, &status);
    if (U_FAILURE(status) || length < 0 || length > needed) return Result();
    return use(std::u16string_view(buffer.get(), static_cast<std::size_t>(length)), status);
}

/// The same text as a new string; null where ICU fails or memory is short.
template <class Call>
CFStringRef createICUText(CFAllocatorRef allocator, Call&& call) noexcept {
    return withICUText<CFStringRef>(call,
                                    [&](std::u16string_view text, UErrorCode) { return createUTF16(allocator, text); });
}

}  // namespace KXPlatform
