#pragma once

// How a string lies in memory, for the sources of this platform that make strings or read them without a call.
//
// Text that is plain ASCII (every unit below 0x80) is kept as 8-bit bytes, any other as UTF-16 units. An immutable
// string is kept in the narrower way; a mutable one that once held other text, or was handed a UTF-16 buffer,
// stays wide. An immutable string and its text share one allocation, unless the text is memory that somebody provided.

#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Range.h"

#include <CoreFoundation/CFString.h>

#include <cstdarg>
#include <span>
#include <string_view>

namespace KXPlatform {
extern const Class kStringClass;
}

/// Text of `length` UTF-16 units.
struct __CFString : KXPlatform::Object {
    static constexpr std::uint8_t kWide = 1;           ///< `text` holds UTF-16 units, not ASCII bytes
    static constexpr std::uint8_t kMutable = 2;        ///< the object is a MutableString
    static constexpr std::uint8_t kForeign = 4;        ///< the object is a ForeignString
    static constexpr std::uint8_t kUnterminated = 8;   ///< no NUL follows the ASCII bytes
    static constexpr std::uint8_t kLengthBefore = 16;  ///< a byte with the length stands before the ASCII bytes
    static constexpr std::uint8_t kExternal = 32;      ///< a MutableString whose buffer was handed to it

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

/// An immutable string over memory that somebody else provided.
struct ForeignString : __CFString {
    /// `deallocator` frees the text when the string ends.
    explicit ForeignString(CFAllocatorRef deallocator) noexcept;
    ~ForeignString();

    CFAllocatorRef deallocator;
};

/// A string that changes. Its text, once there is any, lies in a buffer of its own; ASCII in it is NUL-terminated.
struct MutableString : __CFString {
    /// `maximum` 0: no limit but memory. `owner` gives, moves and frees the buffer.
    MutableString(CFIndex maximum, CFAllocatorRef owner) noexcept;
    ~MutableString();

    CFIndex capacity = 0;  ///< units the buffer has room for (a terminating NUL not counted)
    CFIndex maximum;
    CFAllocatorRef owner;
};

/// The text of a string, to read without a call a unit. Valid until the string changes or ends.
struct TextView {
    const char* ascii;    ///< null when the text is wide
    const UniChar* wide;  ///< null when the text is ASCII
    CFIndex length;

    bool isWide() const noexcept { return wide != nullptr; }
    UniChar operator[](CFIndex index) const noexcept {
        return wide ? wide[index] : static_cast<UniChar>(static_cast<unsigned char>(ascii[index]));
    }
    TextView part(CFIndex location, CFIndex count) const noexcept {
        return wide ? TextView{nullptr, wide + location, count} : TextView{ascii + location, nullptr, count};
    }
    std::string_view asciiView() const noexcept { return {ascii, static_cast<std::size_t>(length)}; }
    std::span<const UniChar> wideView() const noexcept { return {wide, static_cast<std::size_t>(length)}; }
    /// Writes all units to `units`.
    void copyTo(UniChar* units) const noexcept;
};

/// The text of `string`; an empty one for null.
inline TextView view(CFStringRef string) noexcept {
    if (!string || string->length == 0) return {"", nullptr, 0};
    return string->isWide() ? TextView{nullptr, string->text.wide, string->length}
                            : TextView{string->text.ascii, nullptr, string->length};
}

/// UTF-16 units by the two names they have: the platform's and C++'s, which ICU follows.
inline const char16_t* asUTF16(const UniChar* units) noexcept { return reinterpret_cast<const char16_t*>(units); }
inline char16_t* asUTF16(UniChar* units) noexcept { return reinterpret_cast<char16_t*>(units); }
inline const UniChar* asUnits(const char16_t* units) noexcept { return reinterpret_cast<const UniChar*>(units); }
inline UniChar* asUnits(char16_t* units) noexcept { return reinterpret_cast<UniChar*>(units); }

/// Whether every byte, or unit, is below 0x80.
bool isASCII(const char* text, std::size_t length) noexcept;
bool isASCII(const UniChar* units, std::size_t length) noexcept;

/// A new immutable string whose text is yet to be written, of `length` ASCII bytes (the NUL after them is there) or
/// UTF-16 units: the place to write to. Null, and no string, when there is no memory.
char* makeASCII(CFAllocatorRef allocator, std::size_t length, __CFString*& made) noexcept;
UniChar* makeWide(CFAllocatorRef allocator, std::size_t length, __CFString*& made) noexcept;

/// New immutable strings, null when there is no memory. The first is for bytes known to be ASCII; of `size` units the
/// second; the third has the form of printf and ASCII text in all its parts.
CFStringRef createASCII(CFAllocatorRef allocator, std::string_view ascii) noexcept;
CFStringRef createUTF16(CFAllocatorRef allocator, std::u16string_view units) noexcept;
CFStringRef createText(CFAllocatorRef allocator, TextView text) noexcept;
[[gnu::format(printf, 2, 3)]] CFStringRef createPrinted(CFAllocatorRef allocator, const char* format, ...) noexcept;

/// Puts `units`, which may lie in the string itself, in the place of `range`. False, and nothing changed, when the
/// string is not mutable, the range not within it, the limit exceeded or memory short.
bool replaceUnits(CFMutableStringRef string, CFRange range, std::u16string_view units) noexcept;
bool replaceText(CFMutableStringRef string, CFRange range, TextView text) noexcept;

/// Puts `units` in the place of the whole text. False as above.
inline bool replaceAllUnits(CFMutableStringRef string, std::u16string_view units) noexcept {
    return string && replaceUnits(string, {0, string->length}, units);
}

}  // namespace KXPlatform
