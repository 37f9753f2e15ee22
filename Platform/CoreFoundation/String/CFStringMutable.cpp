#include "CFStringEncoding.h"
#include "CFStringObject.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>

using namespace KXPlatform;

namespace KXPlatform {

MutableString::MutableString(CFIndex m, CFAllocatorRef o) noexcept
    : maximum(m), owner(static_cast<CFAllocatorRef>(CFRetain(o ? o : CFAllocatorGetDefault()))) {
    bits |= kMutable;
    text.ascii = nullptr;
}

MutableString::~MutableString() {
    const void* const buffer = isWide() ? static_cast<const void*>(text.wide) : text.ascii;
    if (buffer) CFAllocatorDeallocate(owner, const_cast<void*>(buffer));
    CFRelease(owner);
}

namespace {

MutableString* asMutable(CFMutableStringRef string) noexcept {
    return string && string->isMutable() ? static_cast<MutableString*>(string) : nullptr;
}

char* ascii(MutableString& string) noexcept { return const_cast<char*>(string.text.ascii); }
UniChar* wide(MutableString& string) noexcept { return const_cast<UniChar*>(string.text.wide); }

/// Bytes for `capacity` units kept in one way or the other; 0 when no memory is that large.
CFIndex bytesFor(CFIndex capacity, bool isWide) noexcept {
    if (!isWide) return capacity < PTRDIFF_MAX ? capacity + 1 : 0;
    return capacity <= static_cast<CFIndex>(PTRDIFF_MAX / sizeof(UniChar))
               ? capacity * static_cast<CFIndex>(sizeof(UniChar))
               : 0;
}

/// The capacity to give a buffer that must hold `needed`: twice what it had, and less of a large one, so that appending
/// costs constant time a unit; but no more than the limit.
CFIndex grownCapacity(const MutableString& string, CFIndex needed) noexcept {
    constexpr CFIndex kSmallest = 23;  // with the NUL, what the smallest allocation holds anyway
    constexpr CFIndex kLarge = 4096;
    CFIndex capacity = std::max({needed, kSmallest, string.capacity});
    if (needed > string.capacity && string.capacity < PTRDIFF_MAX / 2)
        capacity = std::max(capacity, string.capacity + string.capacity / (string.capacity < kLarge ? 1 : 2));
    return string.maximum > 0 ? std::max(needed, std::min(capacity, string.maximum)) : capacity;
}

/// Makes room for `needed` units, wide ones when `toWide`; the text stays what it is.
bool reserve(MutableString& string, CFIndex needed, bool toWide) noexcept {
    const bool isWide = string.isWide();
    toWide = toWide || isWide;
    void* const old = isWide ? static_cast<void*>(wide(string)) : ascii(string);
    if (old && needed <= string.capacity && toWide == isWide) return true;
    const CFIndex capacity = grownCapacity(string, needed);
    const CFIndex size = bytesFor(capacity, toWide);
    if (size == 0) return false;
    if (toWide == isWide) {
        void* const moved = CFAllocatorReallocate(string.owner, old, size, 0);
        if (!moved) return false;
        if (isWide)
            string.text.wide = static_cast<UniChar*>(moved);
        else
            string.text.ascii = static_cast<char*>(moved);
    } else {
        auto* const units = static_cast<UniChar*>(CFAllocatorAllocate(string.owner, size, 0));
        if (!units) return false;
        if (old) {
            view(&string).copyTo(units);
            CFAllocatorDeallocate(string.owner, old);
        }
        string.text.wide = units;
        string.bits |= __CFString::kWide;
    }
    string.capacity = capacity;
    return true;
}

/// Opens a gap of `count` units in the place of `range`, for text that is wide or not. False, and nothing changed, when
/// the limit is exceeded or memory short. Afterwards the string has its new length and the gap holds rubbish.
bool openGap(MutableString& string, CFRange range, CFIndex count, bool isWideText) noexcept {
    const CFIndex rest = string.length - range.length;
    CFIndex length = 0;
    if (__builtin_add_overflow(rest, count, &length)) return false;
    if (string.maximum > 0 && length > string.maximum && count > range.length) return false;
    if (!reserve(string, length, isWideText)) return false;
    const CFIndex after = string.length - range.location - range.length;
    const auto move = [&](auto* units) {
        if (after == 0) return;  // appending, most often
        std::memmove(units + range.location + count, units + range.location + range.length,
                     static_cast<std::size_t>(after) * sizeof *units);
    };
    if (string.isWide()) {
        move(wide(string));
    } else {
        move(ascii(string));
        ascii(string)[length] = 0;
    }
    string.length = length;
    return true;
}

/// Whether `text` lies in the buffer of `string`, which is about to move.
bool isInside(const MutableString& string, const TextView& text) noexcept {
    const auto start = reinterpret_cast<std::uintptr_t>(string.text.ascii);
    const auto at =
        text.isWide() ? reinterpret_cast<std::uintptr_t>(text.wide) : reinterpret_cast<std::uintptr_t>(text.ascii);
    const auto size = static_cast<std::uintptr_t>(string.capacity) * sizeof(UniChar);
    return start != 0 && at >= start && at - start <= size;
}

/// Appends ASCII to ASCII where the buffer has room, as it mostly has; false, and nothing changed, where it takes more.
bool appendInPlace(MutableString& string, std::string_view text) noexcept {
    const auto count = static_cast<CFIndex>(text.size());
    if (string.isWide() || !string.text.ascii || count > string.capacity - string.length) return false;
    if (string.maximum > 0 && count > string.maximum - string.length) return false;
    // Text of the string's own lies before its end, where it is not written to.
    char* const end = ascii(string) + string.length;
    std::memcpy(end, text.data(), text.size());
    end[count] = 0;
    string.length += count;
    return true;
}

bool appendASCII(CFMutableStringRef string, std::string_view text) noexcept {
    if (string->isMutable() && appendInPlace(static_cast<MutableString&>(*string), text)) return true;
    return replaceText(string, {string->length, 0}, {text.data(), nullptr, static_cast<CFIndex>(text.size())});
}

void appendBytes(CFMutableStringRef string, std::span<const UInt8> bytes, CFStringEncoding encoding) noexcept {
    if (!string) return;
    if (const auto plain = plainText(bytes, findEncoding(encoding))) {
        appendASCII(string, *plain);
    } else if (const CFStringRef text = createDecoded(kCFAllocatorSystemDefault, DecodedText(bytes, encoding, false))) {
        CFStringAppend(string, text);
        CFRelease(text);
    }
}

}  // namespace

bool replaceText(CFMutableStringRef target, CFRange range, TextView text) noexcept {
    MutableString* const string = asMutable(target);
    if (!string || !isWithin(range, string->length)) return false;
    if (text.length > 0 && isInside(*string, text)) {
        const CFStringRef copy = createText(kCFAllocatorSystemDefault, text);
        if (!copy) return false;
        const bool isDone = replaceText(target, range, view(copy));
        CFRelease(copy);
        return isDone;
    }
    const bool isWideText = text.isWide() && !isASCII(text.wide, static_cast<std::size_t>(text.length));
    if (!openGap(*string, range, text.length, isWideText)) return false;
    if (string->isWide()) {
        if (text.length > 0) text.copyTo(wide(*string) + range.location);
        return true;
    }
    char* const gap = ascii(*string) + range.location;
    if (text.isWide())
        std::transform(text.wide, text.wide + text.length, gap, [](UniChar unit) { return static_cast<char>(unit); });
    else
        std::memcpy(gap, text.ascii, static_cast<std::size_t>(text.length));
    return true;
}

bool replaceUnits(CFMutableStringRef string, CFRange range, std::u16string_view units) noexcept {
    const auto length = static_cast<CFIndex>(units.size());
    return replaceText(string, range, length > 0 ? TextView{nullptr, asUnits(units.data()), length} : view(nullptr));
}

}  // namespace KXPlatform

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength) {
    return maxLength < 0 ? nullptr : make<MutableString>(alloc, 0, maxLength, alloc);
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength, CFStringRef theString) {
    if (!theString) return nullptr;
    const CFMutableStringRef made = CFStringCreateMutable(alloc, maxLength);
    if (made && theString->length > 0 && !replaceText(made, {0, 0}, view(theString))) {
        CFRelease(made);
        return nullptr;
    }
    return made;
}

CFMutableStringRef CFStringCreateMutableWithExternalCharactersNoCopy(CFAllocatorRef alloc, UniChar* chars,
                                                                     CFIndex numChars, CFIndex capacity,
                                                                     CFAllocatorRef externalCharactersAllocator) {
    if (numChars < 0 || capacity < numChars || (!chars && capacity > 0)) return nullptr;
    auto* const made = make<MutableString>(alloc, 0, CFIndex{0}, externalCharactersAllocator);
    if (!made) return nullptr;
    made->bits |= __CFString::kWide | __CFString::kExternal;
    made->text.wide = chars;
    made->length = numChars;
    made->capacity = capacity;
    return made;
}

void CFStringSetExternalCharactersNoCopy(CFMutableStringRef theString, UniChar* chars, CFIndex length,
                                         CFIndex capacity) {
    MutableString* const string = asMutable(theString);
    if (!string || !(string->bits & __CFString::kExternal)) return;
    if (length < 0 || capacity < length || (!chars && capacity > 0)) return;
    string->text.wide = chars;
    string->length = length;
    string->capacity = capacity;
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
    if (!theString || !appendedString) return;
    const TextView text = view(appendedString);
    if (text.isWide()) {
        replaceText(theString, {theString->length, 0}, text);
    } else {
        appendASCII(theString, text.asciiView());
    }
}

void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars, CFIndex numChars) {
    if (theString && chars && numChars > 0) replaceText(theString, {theString->length, 0}, {nullptr, chars, numChars});
}

void CFStringAppendPascalString(CFMutableStringRef theString, ConstStr255Param pStr, CFStringEncoding encoding) {
    if (pStr) appendBytes(theString, {pStr + 1, pStr[0]}, encoding);
}

void CFStringAppendCString(CFMutableStringRef theString, const char* cStr, CFStringEncoding encoding) {
    if (cStr) appendBytes(theString, {reinterpret_cast<const UInt8*>(cStr), std::strlen(cStr)}, encoding);
}

void CFStringInsert(CFMutableStringRef str, CFIndex idx, CFStringRef insertedStr) {
    if (insertedStr) replaceText(str, {idx, 0}, view(insertedStr));
}

void CFStringDelete(CFMutableStringRef theString, CFRange range) { replaceText(theString, range, view(nullptr)); }

void CFStringReplace(CFMutableStringRef theString, CFRange range, CFStringRef replacement) {
    if (replacement) replaceText(theString, range, view(replacement));
}

void CFStringReplaceAll(CFMutableStringRef theString, CFStringRef replacement) {
    if (theString && replacement) replaceText(theString, {0, theString->length}, view(replacement));
}

void CFStringPad(CFMutableStringRef theString, CFStringRef padString, CFIndex length, CFIndex indexIntoPad) {
    MutableString* const string = asMutable(theString);
    if (!string || length < 0) return;
    const CFIndex old = string->length;
    if (length <= old) {
        CFStringDelete(theString, {length, old - length});
        return;
    }
    if (!padString || indexIntoPad < 0 || indexIntoPad >= padString->length) return;
    if (padString == theString) {
        const CFStringRef copy = CFStringCreateCopy(nullptr, padString);
        if (copy) CFStringPad(theString, copy, length, indexIntoPad);
        if (copy) CFRelease(copy);
        return;
    }
    const TextView pad = view(padString);
    const bool isWidePad = pad.isWide() && !isASCII(pad.wide, static_cast<std::size_t>(pad.length));
    if (!openGap(*string, {old, 0}, length - old, isWidePad)) return;
    CFIndex from = indexIntoPad;
    for (CFIndex at = old; at < length; ++at) {
        if (string->isWide())
            wide(*string)[at] = pad[from];
        else
            ascii(*string)[at] = static_cast<char>(pad[from]);
        if (++from == pad.length) from = 0;
    }
}

namespace {

bool hasAt(const TextView& text, CFIndex at, const TextView& part) noexcept {
    for (CFIndex i = 0; i < part.length; ++i) {
        if (text[at + i] != part[i]) return false;
    }
    return true;
}

/// White space and line ends: the Unicode categories Z*, the tab and what breaks a line.
bool isSpace(UniChar unit) noexcept {
    return (unit >= 0x09 && unit <= 0x0D) || unit == 0x20 || unit == 0x85 || unit == 0xA0 || unit == 0x1680 ||
           (unit >= 0x2000 && unit <= 0x200A) || unit == 0x2028 || unit == 0x2029 || unit == 0x202F || unit == 0x205F ||
           unit == 0x3000;
}

/// Leaves of the text what stands from `start` to `end`.
void cutTo(CFMutableStringRef string, CFIndex start, CFIndex end) noexcept {
    CFStringDelete(string, {end, string->length - end});
    CFStringDelete(string, {0, start});
}

}  // namespace

void CFStringTrim(CFMutableStringRef theString, CFStringRef trimString) {
    if (!asMutable(theString) || !trimString || trimString->length == 0) return;
    const TextView text = view(theString);
    const TextView part = view(trimString);
    CFIndex start = 0;
    CFIndex end = text.length;
    while (end - start >= part.length && hasAt(text, start, part)) start += part.length;
    while (end - start >= part.length && hasAt(text, end - part.length, part)) end -= part.length;
    cutTo(theString, start, end);
}

void CFStringTrimWhitespace(CFMutableStringRef theString) {
    if (!asMutable(theString)) return;
    const TextView text = view(theString);
    CFIndex start = 0;
    CFIndex end = text.length;
    while (start < end && isSpace(text[start])) ++start;
    while (end > start && isSpace(text[end - 1])) --end;
    cutTo(theString, start, end);
}
