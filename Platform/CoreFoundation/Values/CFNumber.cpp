#include "CFNumberObject.h"

#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Hashing.h"
#include "CoreFoundation/String/CFStringFormatNumbers.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

using namespace KXPlatform;

namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

/// The kind that a number of `type` is kept as; 0 for what is no type.
constexpr CFNumberType keptType(CFNumberType type) noexcept {
    switch (type) {
        case kCFNumberSInt8Type:
        case kCFNumberCharType:
            return kCFNumberSInt8Type;
        case kCFNumberSInt16Type:
        case kCFNumberShortType:
            return kCFNumberSInt16Type;
        case kCFNumberSInt32Type:
        case kCFNumberIntType:
            return kCFNumberSInt32Type;
        case kCFNumberSInt64Type:
        case kCFNumberLongType:
        case kCFNumberLongLongType:
        case kCFNumberCFIndexType:
        case kCFNumberNSIntegerType:
            return kCFNumberSInt64Type;
        case kCFNumberFloat32Type:
        case kCFNumberFloatType:
            return kCFNumberFloat32Type;
        case kCFNumberFloat64Type:
        case kCFNumberDoubleType:
        case kCFNumberCGFloatType:
            return kCFNumberFloat64Type;
    }
    return static_cast<CFNumberType>(0);
}
static_assert(sizeof(long) == 8, "kCFNumberLongType is kept in 64 bits");

template <class T>
T read(const void* from) noexcept {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

/// Where the bytes of a value are known to be of `type`, a kept one: calls `use` with a null pointer to its C type.
template <class Use>
decltype(auto) withType(CFNumberType type, Use&& use) {
    switch (type) {
        case kCFNumberSInt8Type:
            return use(static_cast<std::int8_t*>(nullptr));
        case kCFNumberSInt16Type:
            return use(static_cast<std::int16_t*>(nullptr));
        case kCFNumberSInt32Type:
            return use(static_cast<std::int32_t*>(nullptr));
        case kCFNumberFloat32Type:
            return use(static_cast<float*>(nullptr));
        case kCFNumberFloat64Type:
            return use(static_cast<double*>(nullptr));
        default:
            return use(static_cast<std::int64_t*>(nullptr));
    }
}

const char* nameOf(const __CFNumber* number) noexcept {
    if (number->isBeyondSInt64()) return "kCFNumberSInt128Type";
    switch (number->type()) {
        case kCFNumberSInt8Type:
            return "kCFNumberSInt8Type";
        case kCFNumberSInt16Type:
            return "kCFNumberSInt16Type";
        case kCFNumberSInt32Type:
            return "kCFNumberSInt32Type";
        case kCFNumberFloat32Type:
            return "kCFNumberFloat32Type";
        case kCFNumberFloat64Type:
            return "kCFNumberFloat64Type";
        default:
            return "kCFNumberSInt64Type";
    }
}

// ---- Order

CFComparisonResult ordered(bool less, bool equal) noexcept {
    return less ? kCFCompareLessThan : equal ? kCFCompareEqualTo : kCFCompareGreaterThan;
}

CFComparisonResult reversed(CFComparisonResult result) noexcept {
    return static_cast<CFComparisonResult>(-static_cast<CFIndex>(result));
}

/// Negative numbers, -0.0 the greatest of them; then NaN; then 0.0 and up.
CFComparisonResult compareReals(double a, double b) noexcept {
    if (std::isnan(a) || std::isnan(b)) {
        if (std::isnan(a) && std::isnan(b)) return kCFCompareEqualTo;
        if (std::isnan(b)) return reversed(compareReals(b, a));
        return std::signbit(b) ? kCFCompareGreaterThan : kCFCompareLessThan;
    }
    if (a == b) return ordered(std::signbit(a) && !std::signbit(b), std::signbit(a) == std::signbit(b));
    return ordered(a < b, false);
}

CFComparisonResult compareIntegers(const __CFNumber* a, const __CFNumber* b) noexcept {
    if (a->isBeyondSInt64() != b->isBeyondSInt64()) return ordered(b->isBeyondSInt64(), false);
    // Two values beyond have the same sign as signed ones, and so the same order.
    return ordered(a->integer < b->integer, a->integer == b->integer);
}

/// Compares without rounding the integer, as converting it to a double would.
CFComparisonResult compareIntegerWithReal(const __CFNumber* a, double real) noexcept {
    const bool isNegative = !a->isBeyondSInt64() && a->integer < 0;
    if (std::isnan(real)) return isNegative ? kCFCompareLessThan : kCFCompareGreaterThan;
    if (real == 0 && std::signbit(real)) return isNegative ? kCFCompareLessThan : kCFCompareGreaterThan;
    const double whole = std::trunc(real);
    if (a->isBeyondSInt64()) {
        if (whole < kTwoTo63) return kCFCompareGreaterThan;
        if (whole >= kTwoTo64) return kCFCompareLessThan;
        const std::uint64_t other = static_cast<std::uint64_t>(whole);
        return ordered(a->unsignedValue() < other, a->unsignedValue() == other);
    }
    if (whole >= kTwoTo63) return kCFCompareLessThan;
    if (whole < -kTwoTo63) return kCFCompareGreaterThan;
    const std::int64_t other = static_cast<std::int64_t>(whole);
    if (a->integer != other) return ordered(a->integer < other, false);
    return ordered(whole < real, whole == real);
}

CFComparisonResult compare(const __CFNumber* a, const __CFNumber* b) noexcept {
    if (a->isReal() && b->isReal()) return compareReals(a->real, b->real);
    if (a->isReal()) return reversed(compareIntegerWithReal(b, a->real));
    if (b->isReal()) return compareIntegerWithReal(a, b->real);
    return compareIntegers(a, b);
}

// ---- The class

bool equalNumbers(const Object* object1, const Object* object2) {
    return compare(static_cast<const __CFNumber*>(object1), static_cast<const __CFNumber*>(object2)) ==
           kCFCompareEqualTo;
}

/// A whole number hashes alike whatever its kind, since it is equal to itself whatever its kind.
CFHashCode hashNumber(const Object* object) {
    const __CFNumber* const number = static_cast<const __CFNumber*>(object);
    std::uint64_t bits = number->unsignedValue();
    if (number->isReal()) {
        const double real = number->real;
        if (real >= -kTwoTo63 && real < kTwoTo63 && real == std::trunc(real)) {
            bits = static_cast<std::uint64_t>(static_cast<std::int64_t>(real));
        } else if (real >= kTwoTo63 && real < kTwoTo64) {
            bits = static_cast<std::uint64_t>(real);
        } else if (std::isnan(real)) {
            bits = 0x7FF8000000000000u;
        }
    }
    Hasher hasher;
    hasher.add(bits);
    return hasher.result(sizeof bits);
}

CFStringRef describeNumber(const Object* object) {
    const __CFNumber* const number = static_cast<const __CFNumber*>(object);
    Description description;
    description.appendHeading(number);
    if (!number->isReal()) {
        if (number->isBeyondSInt64()) {
            description.format("{value = +%llu", static_cast<unsigned long long>(number->unsignedValue()));
        } else {
            description.format("{value = %+lld", static_cast<long long>(number->integer));
        }
    } else if (std::isnan(number->real)) {
        description.format("{value = nan");
    } else if (std::isinf(number->real)) {
        description.format("{value = %cinfinity", number->real < 0 ? '-' : '+');
    } else {
        description.format("{value = %+.*f", number->type() == kCFNumberFloat32Type ? 10 : 20, number->real);
    }
    description.format(", type = %s}", nameOf(number));
    return description.take();
}

void formatNumber(const Object* object, FormatOutput& output) {
    const __CFNumber* const number = static_cast<const __CFNumber*>(object);
    if (!number->isReal()) {
        const char conversion = number->isBeyondSInt64() ? 'u' : 'd';
        return writeInteger(output, {.conversion = conversion, .length = FormatLength::Long}, number->integer);
    }
    if (number->type() == kCFNumberFloat32Type)
        writePlainFloat(output, static_cast<float>(number->real));
    else
        writePlainDouble(output, number->real);
}

}  // namespace

namespace KXPlatform {
constinit const Class kNumberClass{TypeID::Number, nullptr, equalNumbers, hashNumber,
                                   describeNumber, true,    formatNumber};
}

// ---- The numbers that exist once

namespace {

struct ImmortalNumber : __CFNumber {
    template <class Value>
    constexpr ImmortalNumber(CFNumberType type, Value value) noexcept : __CFNumber(type, value) {
        flags = kImmortal;
    }
};

constexpr std::int64_t kFirstSmall = -16;
constexpr std::int64_t kLastSmall = 255;
constexpr std::size_t kSmallCount = kLastSmall - kFirstSmall + 1;

template <std::size_t... i>
constexpr std::array<ImmortalNumber, sizeof...(i)> makeSmall(CFNumberType type, std::index_sequence<i...>) noexcept {
    return {ImmortalNumber(type, kFirstSmall + static_cast<std::int64_t>(i))...};
}

template <CFNumberType type, std::size_t count = kSmallCount>
constinit const std::array<ImmortalNumber, count> smallNumbers = makeSmall(type, std::make_index_sequence<count>());

/// The one number of a small value and a kind of integer, or null.
CFNumberRef small(CFNumberType type, std::int64_t value) noexcept {
    if (value < kFirstSmall || value > kLastSmall) return nullptr;
    const std::size_t index = static_cast<std::size_t>(value - kFirstSmall);
    switch (type) {
        case kCFNumberSInt8Type:
            return &smallNumbers<kCFNumberSInt8Type>[index];
        case kCFNumberSInt16Type:
            return &smallNumbers<kCFNumberSInt16Type>[index];
        case kCFNumberSInt32Type:
            return &smallNumbers<kCFNumberSInt32Type>[index];
        default:
            return &smallNumbers<kCFNumberSInt64Type>[index];
    }
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constinit const ImmortalNumber positiveInfinity(kCFNumberFloat64Type, kInfinity);
constinit const ImmortalNumber negativeInfinity(kCFNumberFloat64Type, -kInfinity);
constinit const ImmortalNumber notANumber(kCFNumberFloat64Type, std::numeric_limits<double>::quiet_NaN());

// ---- Conversion

/// Writes an integer type's low bits of an integer, its nearest value of a real; true when that is the number itself.
/// Eight bits count as signed or unsigned, whichever holds the number.
template <class Integer>
bool convertToInteger(const __CFNumber* number, Integer& out) noexcept {
    using Limits = std::numeric_limits<Integer>;
    if (!number->isReal()) {
        out = static_cast<Integer>(number->unsignedValue());
        if (number->isBeyondSInt64()) return false;
        return out == number->integer || (sizeof out == 1 && static_cast<std::uint8_t>(out) == number->integer);
    }
    const double real = number->real;
    constexpr double kBound = -static_cast<double>(Limits::min());
    if (std::isnan(real)) {
        out = 0;
        return false;
    }
    if (real >= kBound || real <= -kBound - 1) {
        out = real > 0 ? Limits::max() : Limits::min();
        return real == -kBound;
    }
    out = static_cast<Integer>(real);
    return static_cast<double>(out) == real;
}

/// Writes the nearest value of a floating type; true when it is the number itself.
template <class Real>
bool convertToReal(const __CFNumber* number, Real& out) noexcept {
    if (number->isReal()) {
        out = static_cast<Real>(number->real);
        return static_cast<double>(out) == number->real || (sizeof(Real) == sizeof(double) && std::isnan(out));
    }
    out = number->isBeyondSInt64() ? static_cast<Real>(number->unsignedValue()) : static_cast<Real>(number->integer);
    return compareIntegerWithReal(number, static_cast<double>(out)) == kCFCompareEqualTo;
}

const __CFNumber* checked(CFNumberRef number) noexcept {
    return number && number->cls == &kNumberClass ? number : nullptr;
}

/// The kind as the interface knows it.
CFNumberType shownType(const __CFNumber* number) noexcept {
    return number->isBeyondSInt64() ? kCFNumberSInt64Type : number->type();
}

}  // namespace

const CFNumberRef kCFNumberPositiveInfinity = &positiveInfinity;
const CFNumberRef kCFNumberNegativeInfinity = &negativeInfinity;
const CFNumberRef kCFNumberNaN = &notANumber;

CFNumberRef KXPlatform::createUnsignedNumber(CFAllocatorRef allocator, std::uint64_t value) noexcept {
    const std::int64_t bits = static_cast<std::int64_t>(value);
    if (bits >= 0) return CFNumberCreate(allocator, kCFNumberSInt64Type, &bits);
    return make<__CFNumber>(allocator, 0, kUInt64Type, bits);
}

CFTypeID CFNumberGetTypeID() { return number(TypeID::Number); }

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType theType, const void* valuePtr) {
    const CFNumberType type = keptType(theType);
    if (!valuePtr || type == 0) return nullptr;
    return withType(type, [&](auto* typed) -> CFNumberRef {
        const auto value = read<std::remove_pointer_t<decltype(typed)>>(valuePtr);
        if constexpr (std::is_floating_point_v<decltype(value)>) {
            const double real = value;
            if (std::isnan(real)) return kCFNumberNaN;
            if (std::isinf(real)) return real > 0 ? kCFNumberPositiveInfinity : kCFNumberNegativeInfinity;
            return make<__CFNumber>(allocator, 0, type, real);
        } else {
            const std::int64_t integer = value;
            if (const CFNumberRef once = small(type, integer)) return once;
            return make<__CFNumber>(allocator, 0, type, integer);
        }
    });
}

CFNumberType CFNumberGetType(CFNumberRef number) {
    return checked(number) ? shownType(number) : static_cast<CFNumberType>(0);
}

CFIndex CFNumberGetByteSize(CFNumberRef number) {
    if (!checked(number)) return 0;
    return withType(shownType(number), [](auto* typed) { return static_cast<CFIndex>(sizeof *typed); });
}

Boolean CFNumberIsFloatType(CFNumberRef number) { return checked(number) && number->isReal(); }

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr) {
    const CFNumberType type = keptType(theType);
    if (!checked(number) || type == 0) return false;
    return withType(type, [&](auto* typed) -> Boolean {
        std::remove_pointer_t<decltype(typed)> value;
        bool isExact;
        if constexpr (std::is_floating_point_v<decltype(value)>) {
            isExact = convertToReal(number, value);
        } else {
            isExact = convertToInteger(number, value);
        }
        if (valuePtr) std::memcpy(valuePtr, &value, sizeof value);
        return isExact;
    });
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void*) {
    if (!checked(number) || !checked(otherNumber))
        return ordered(!checked(number) && checked(otherNumber), !checked(number) && !checked(otherNumber));
    return compare(number, otherNumber);
}
