#pragma once

// How a string lies in memory, for the sources of this platform that make strings or read them without a call.

#include "Object.h"

#include <CoreFoundation/CFString.h>

#include <string_view>

namespace KXPlatform {
extern const Class kStringClass;
}

/// Text of `length` UTF-16 units: plain ASCII is kept as 8-bit bytes, anything else as UTF-16.
struct __CFString : KXPlatform::Object {
    static constexpr std::uint8_t kWide = 1;     ///< `text` holds UTF-16 units, not ASCII bytes
    static constexpr std::uint8_t kMutable = 2;  ///< the object is a MutableString

    explicit __CFString() noexcept : Object(KXPlatform::kStringClass) {}

    /// An immortal ASCII constant over static text.
    constexpr __CFString(std::string_view ascii, ImmortalTag tag) noexcept
        : Object(KXPlatform::kStringClass, tag), length(static_cast<CFIndex>(ascii.size())), text{ascii.data()} {}

    bool isWide() const noexcept { return (bits & kWide) != 0; }
    bool isMutable() const noexcept { return (bits & kMutable) != 0; }

    CFIndex length = 0;
    union Text {
        const char* ascii;
        const UniChar* wide;
    } text{nullptr};
};

namespace KXPlatform {

/// An immortal string constant made at compile time, safe to use from any static initialiser:
///
///     static constinit const StringConstant domain("NSPOSIXErrorDomain");
///     const CFStringRef kCFErrorDomainPOSIX = &domain;
using StringConstantBase = __CFString;
struct StringConstant : StringConstantBase {
    template <std::size_t N>
    explicit constexpr StringConstant(const char (&ascii)[N]) noexcept
        : StringConstantBase(std::string_view(ascii, N - 1), Immortal) {}
};

}  // namespace KXPlatform
