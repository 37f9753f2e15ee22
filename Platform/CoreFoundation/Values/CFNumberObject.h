#pragma once

// How a number lies in memory, for the sources of this platform that read and write numbers in other forms.

#include "CoreFoundation/Object/Object.h"

#include <CoreFoundation/CFNumber.h>

namespace KXPlatform {
extern const Class kNumberClass;

/// The kind of numbers from 2^63 to 2^64 - 1, which property lists may hold and the interface has no type for: outside,
/// such a number is one of kCFNumberSInt64Type whose value does not fit.
inline constexpr CFNumberType kUInt64Type = static_cast<CFNumberType>(17);

/// A number of the value, of kCFNumberSInt64Type where that holds it.
CF_EXPORT CFNumberRef createUnsignedNumber(CFAllocatorRef allocator, std::uint64_t value) noexcept;
}  // namespace KXPlatform

/// A value of one of the seven kinds that are kept apart: signed integers of 8, 16, 32 and 64 bits, kUInt64Type, and
/// floating point of 32 and 64 bits. The kind is in Object::bits.
struct __CFNumber : KXPlatform::Object {
    constexpr __CFNumber(CFNumberType type, std::int64_t value) noexcept
        : Object(KXPlatform::kNumberClass), integer(value) {
        bits = static_cast<std::uint8_t>(type);
    }
    constexpr __CFNumber(CFNumberType type, double value) noexcept : Object(KXPlatform::kNumberClass), real(value) {
        bits = static_cast<std::uint8_t>(type);
    }

    CFNumberType type() const noexcept { return static_cast<CFNumberType>(bits); }
    bool isReal() const noexcept { return type() == kCFNumberFloat32Type || type() == kCFNumberFloat64Type; }
    bool isBeyondSInt64() const noexcept { return type() == KXPlatform::kUInt64Type; }
    std::uint64_t unsignedValue() const noexcept { return static_cast<std::uint64_t>(integer); }

    union {
        std::int64_t integer;  ///< of kUInt64Type, the bits of the unsigned value
        double real;           ///< of both kinds of floating point: every float is a double
    };
};
