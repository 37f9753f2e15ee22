#pragma once

// What the tests of this platform share: a reference that is released at the end of its scope, and short ways to make
// a string and to look at one.

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>
#include <utility>

namespace Held {

/// Owns one reference of type Ref (CFStringRef, CFMutableStringRef, ...). Null is held as well.
template <class Ref>
class Holder {
  public:
    explicit Holder(Ref ref) noexcept : ref_(ref) {}
    Holder(Holder&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    Holder& operator=(Holder&& other) noexcept {
        std::swap(ref_, other.ref_);
        return *this;
    }
    ~Holder() {
        if (ref_) CFRelease(ref_);
    }
    operator Ref() const noexcept { return ref_; }
    Ref get() const noexcept { return ref_; }
    /// Releases now.
    void reset() noexcept { *this = Holder(nullptr); }

  private:
    Ref ref_;
};

template <class Ref>
Holder<Ref> hold(Ref ref) {
    return Holder<Ref>(ref);
}

inline Holder<CFStringRef> string(std::u16string_view units) {
    return hold(CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(units.data()),
                                             static_cast<CFIndex>(units.size())));
}

inline Holder<CFMutableStringRef> mutableString(std::u16string_view units) {
    return hold(CFStringCreateMutableCopy(nullptr, 0, string(units)));
}

/// The units of `string`.
inline std::u16string text(CFStringRef string) {
    std::u16string units(static_cast<std::size_t>(CFStringGetLength(string)), u'\0');
    CFStringGetCharacters(string, CFRangeMake(0, CFStringGetLength(string)), reinterpret_cast<UniChar*>(units.data()));
    return units;
}

/// The text of `string` in UTF-8.
inline std::string utf8(CFStringRef string) {
    CFIndex size = 0;
    const CFRange all = CFRangeMake(0, CFStringGetLength(string));
    CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false, reinterpret_cast<UInt8*>(bytes.data()), size,
                     &size);
    return bytes;
}

}  // namespace Held
