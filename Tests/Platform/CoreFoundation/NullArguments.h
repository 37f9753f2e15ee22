#pragma once

// Calls with what a caller's mistake may hand over: null objects and places, negative counts, ranges of any numbers.
// None of it may crash, read or write beyond what is there (the sanitizers watch), or change an object that a range
// does not fit. Each type's own test does this in tests with "NullArguments" in their names, and a test of the whole
// sees to it that no exported function is left out.

#include "Platform/CoreFoundation/Held.h"

#include <CoreFoundation/CoreFoundation.h>

#include <array>
#include <limits>
#include <tuple>

/// AddressSanitizer ends the process on sizes that no computer has, where malloc gives null.
extern "C" __attribute__((visibility("default"), weak)) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"), weak)) const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

namespace NullArguments {

using Held::hold;
using Held::Holder;

inline constexpr CFIndex kLeast = std::numeric_limits<CFIndex>::min();
inline constexpr CFIndex kMost = std::numeric_limits<CFIndex>::max();
inline constexpr std::array<CFIndex, 9> kIndexes{kLeast, kLeast + 1, -1, 0, 1, 3, 4, kMost - 1, kMost};

/// How much a buffer of the caller's holds: a number too large would be a lie that nothing can find out.
struct Length {
    CFIndex value;
};
struct Encoding {
    CFStringEncoding value;
};
struct Flags {
    CFOptionFlags value;
};

/// All the values that a parameter of a type is tried with.
template <class T>
struct Tried;
template <>
struct Tried<bool> {
    static constexpr std::array values{false, true};
};
template <>
struct Tried<CFIndex> {
    static constexpr auto values = kIndexes;
};
template <>
struct Tried<Length> {
    static constexpr std::array values{Length{kLeast}, Length{-1}, Length{0}, Length{2}};
};
template <>
struct Tried<Encoding> {
    static constexpr std::array values{Encoding{kCFStringEncodingUTF8}, Encoding{kCFStringEncodingASCII},
                                       Encoding{kCFStringEncodingUTF16}, Encoding{kCFStringEncodingUTF32LE},
                                       Encoding{0xFFFFFFFF}};
};
template <>
struct Tried<Flags> {
    static constexpr std::array values{Flags{0}, Flags{kCFCompareBackwards}, Flags{kCFCompareAnchored},
                                       Flags{kCFCompareCaseInsensitive | kCFCompareNumerically}, Flags{~0UL}};
};
template <>
struct Tried<CFRange> {
    static constexpr auto values = [] {
        std::array<CFRange, kIndexes.size() * kIndexes.size()> all{};
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = {kIndexes[i / kIndexes.size()], kIndexes[i % kIndexes.size()]};
        return all;
    }();
};

/// Calls `call` with every combination.
template <class... Args, class... Bound>
void attackWith(void (*call)(Args...), Bound... bound) {
    if constexpr (sizeof...(Bound) == sizeof...(Args)) {
        call(bound...);
    } else {
        using Next = std::tuple_element_t<sizeof...(Bound), std::tuple<Args...>>;
        for (const Next value : Tried<Next>::values) attackWith(call, bound..., value);
    }
}
template <class Call>
void attack(Call call) {
    attackWith(+call);
}

/// Whether a range lies in a sequence of four.
inline bool fits(CFRange range) {
    return range.location >= 0 && range.length >= 0 && range.location <= 4 && range.length <= 4 - range.location;
}

inline void take(CFTypeRef made) {
    if (made) CFRelease(made);
}

inline const void* const kObjects[] = {CFSTR("a"), CFSTR("b"), CFSTR("c"), CFSTR("d")};

inline Holder<CFMutableArrayRef> fourInArray() {
    auto made = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const void* object : kObjects) CFArrayAppendValue(made, object);
    return made;
}
inline Holder<CFMutableDictionaryRef> fourInDictionary() {
    auto made =
        hold(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const void* object : kObjects) CFDictionarySetValue(made, object, object);
    return made;
}
inline Holder<CFMutableSetRef> fourInSet() {
    auto made = hold(CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks));
    for (const void* object : kObjects) CFSetAddValue(made, object);
    return made;
}
inline Holder<CFMutableDataRef> fourBytes() {
    auto made = hold(CFDataCreateMutable(nullptr, 0));
    CFDataAppendBytes(made, reinterpret_cast<const UInt8*>("abcd"), 4);
    return made;
}
inline Holder<CFMutableStringRef> fourUnits(bool isWide) {
    return Held::mutableString(isWide ? u"\u00E4b\u4E00d" : u"abcd");
}

inline CFComparisonResult compareAddresses(const void* a, const void* b, void*) {
    return a < b ? kCFCompareLessThan : a > b ? kCFCompareGreaterThan : kCFCompareEqualTo;
}
inline void ignore(const void*, void*) {}
inline void ignoreBoth(const void*, const void*, void*) {}

template <class T>
T* orNull(bool isNull, T* pointer) {
    return isNull ? nullptr : pointer;
}

}  // namespace NullArguments
