#pragma once

// What the fuzz targets of property lists share.

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace PropertyListFuzzing {

inline void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "property list: %s\n", what);
    std::abort();
}

/// Owns one reference.
template <class T>
class Held {
  public:
    explicit Held(T object) : object_(object) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { CFRelease(object_); }
    T get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

  private:
    T object_;
};

inline CFTypeRef read(CFDataRef document, CFOptionFlags options) {
    CFErrorRef error = nullptr;
    const CFTypeRef list = CFPropertyListCreateWithData(nullptr, document, options, nullptr, &error);
    require((list == nullptr) == (error != nullptr), "neither a list nor an error, or both");
    CFRelease(error);
    return list;
}

/// Whether a list holds a value that is not equal to itself once it has been written (a date that is no number), or
/// that the format changes (minus zero, which XML writes as zero).
inline bool holdsUnequal(CFTypeRef value, bool minusZeroCounts) {
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFDateGetTypeID()) return std::isnan(CFDateGetAbsoluteTime(static_cast<CFDateRef>(value)));
    if (type == CFNumberGetTypeID() && minusZeroCounts) {
        double real = 0;
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberFloat64Type, &real);
        return real == 0 && std::signbit(real);
    }
    if (type == CFArrayGetTypeID()) {
        const CFArrayRef array = static_cast<CFArrayRef>(value);
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
            if (holdsUnequal(CFArrayGetValueAtIndex(array, i), minusZeroCounts)) return true;
        }
    }
    if (type == CFDictionaryGetTypeID()) {
        std::pair<bool, bool> found{false, minusZeroCounts};
        CFDictionaryApplyFunction(
            static_cast<CFDictionaryRef>(value),
            [](const void*, const void* member, void* context) {
                auto& [unequal, counts] = *static_cast<std::pair<bool, bool>*>(context);
                unequal = unequal || holdsUnequal(member, counts);
            },
            &found);
        return found.first;
    }
    return false;
}

/// Reads a document; what can be read can be copied, and written in `format` and read back equal.
inline void check(const std::uint8_t* bytes, std::size_t size, CFPropertyListFormat format) {
    const Held<CFDataRef> document(
        CFDataCreateWithBytesNoCopy(nullptr, bytes, static_cast<CFIndex>(size), kCFAllocatorNull));
    const CFOptionFlags options = size % 3;
    const Held<CFTypeRef> list(read(document.get(), options));
    if (!list) return;
    require(CFPropertyListIsValid(list.get(), format), "a list that was read is not valid");

    const bool isXML = format == kCFPropertyListXMLFormat_v1_0;
    const bool comparable = !holdsUnequal(list.get(), isXML);
    const Held<CFTypeRef> copy(CFPropertyListCreateDeepCopy(nullptr, list.get(), (options + 1) % 3));
    require(static_cast<bool>(copy), "a list that was read cannot be copied");
    require(!comparable || CFEqual(copy.get(), list.get()), "a copy is not equal");

    const Held<CFDataRef> written(CFPropertyListCreateData(nullptr, list.get(), format, 0, nullptr));
    if (!written) {
        // Only binary documents hold what XML cannot: half characters and dates without an end.
        const bool fromBinary = size >= 6 && std::equal(bytes, bytes + 6, "bplist");
        require(isXML && fromBinary, "a list that was read cannot be written");
        return;
    }
    const Held<CFTypeRef> again(read(written.get(), kCFPropertyListImmutable));
    require(static_cast<bool>(again), "a written list cannot be read");
    require(!comparable || CFEqual(again.get(), list.get()), "a written list reads back unequal");
}

}  // namespace PropertyListFuzzing
