#pragma once

// What the tests of collections and plain values share: numbers and texts to put in, and the opening of descriptions.

#include "Held.h"
#include "TestAllocator.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace Values {

inline Held::Holder<CFStringRef> string(std::string_view ascii) {
    return Held::hold(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(ascii.data()),
                                              static_cast<CFIndex>(ascii.size()), kCFStringEncodingUTF8, false));
}

inline Held::Holder<CFNumberRef> number(std::int64_t value) {
    return Held::hold(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}

inline Held::Holder<CFNumberRef> real(double value) {
    return Held::hold(CFNumberCreate(nullptr, kCFNumberFloat64Type, &value));
}

/// The text that a function named Copy or Create gave.
inline std::string taken(CFStringRef text) { return text ? Held::utf8(Held::hold(text)) : "(null)"; }

inline std::string description(CFTypeRef object) { return taken(CFCopyDescription(object)); }

/// The address as descriptions write it.
inline std::string address(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

/// "<Name 0x... [0x...]>", which opens most descriptions.
inline std::string heading(const char* name, CFTypeRef object) {
    return std::string("<") + name + " " + address(object) + " [" + address(CFGetAllocator(object)) + "]>";
}

}  // namespace Values
