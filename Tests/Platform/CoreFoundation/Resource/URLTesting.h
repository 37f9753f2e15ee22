#pragma once

// What the tests of URLs share.

#include "Platform/CoreFoundation/Held.h"

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>

namespace URLTesting {

using Held::hold;
using Held::Holder;

inline Holder<CFStringRef> text(std::string_view utf8) {
    return hold(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                        static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

inline Holder<CFURLRef> url(std::string_view string, CFURLRef base = nullptr) {
    return hold(CFURLCreateWithString(nullptr, text(string), base));
}

/// Of a path as the system has it.
inline Holder<CFURLRef> fileURL(std::string_view path, bool isDirectory = false) {
    return hold(CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<const UInt8*>(path.data()),
                                                        static_cast<CFIndex>(path.size()), isDirectory));
}

/// The text that a function named Copy or Create gave; "(null)" for null.
inline std::string taken(CFStringRef string) { return string ? Held::utf8(hold(string)) : "(null)"; }

/// The text of a URL that such a function gave.
inline std::string takenURL(CFURLRef made) {
    const auto held = hold(made);
    return made ? Held::utf8(CFURLGetString(held)) : "(null)";
}

inline std::string stringOf(CFURLRef url) { return url ? Held::utf8(CFURLGetString(url)) : "(null)"; }

inline std::string absolute(CFURLRef url) { return takenURL(CFURLCopyAbsoluteURL(url)); }

/// The path as the system takes it; "(false)" where there is none.
inline std::string pathOf(CFURLRef url, bool resolves = true) {
    UInt8 buffer[4096];
    return CFURLGetFileSystemRepresentation(url, resolves, buffer, sizeof buffer) ? reinterpret_cast<char*>(buffer)
                                                                                  : "(false)";
}

}  // namespace URLTesting
