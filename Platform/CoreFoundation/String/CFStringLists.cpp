#include "CFStringSupport.h"

#include <CoreFoundation/CFArray.h>

#include <algorithm>
#include <vector>

using namespace KXPlatform;

namespace {

bool isPlain(TextView text) noexcept {
    return !text.isWide() || isASCII(text.wide, static_cast<std::size_t>(text.length));
}

/// The texts of an array's strings with the separator between them; empty when one is no string.
std::vector<TextView> piecesOf(CFArrayRef array, CFStringRef separator) {
    std::vector<TextView> pieces;
    const CFIndex count = CFArrayGetCount(array);
    pieces.reserve(static_cast<std::size_t>(count) * 2);
    for (CFIndex i = 0; i < count; ++i) {
        const CFTypeRef value = CFArrayGetValueAtIndex(array, i);
        if (!isOfType(value, TypeID::String)) return {};
        if (i > 0) pieces.push_back(view(separator));
        pieces.push_back(view(static_cast<CFStringRef>(value)));
    }
    return pieces;
}

}  // namespace

CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef alloc, CFArrayRef theArray,
                                             CFStringRef separatorString) try {
    if (!theArray) return nullptr;
    if (CFArrayGetCount(theArray) == 0) return createASCII(alloc, {});
    const std::vector<TextView> pieces = piecesOf(theArray, separatorString);
    if (pieces.empty()) return nullptr;
    std::size_t length = 0;
    for (const TextView& piece : pieces) {
        if (__builtin_add_overflow(length, static_cast<std::size_t>(piece.length), &length)) return nullptr;
    }
    __CFString* made = nullptr;
    if (std::ranges::all_of(pieces, isPlain)) {
        char* out = makeASCII(alloc, length, made);
        for (const TextView& piece : pieces) {
            if (!out) break;
            for (CFIndex i = 0; i < piece.length; ++i) *out++ = static_cast<char>(piece[i]);
        }
    } else if (UniChar* out = makeWide(alloc, length, made)) {
        for (const TextView& piece : pieces) {
            piece.copyTo(out);
            out += piece.length;
        }
    }
    return made;
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef alloc, CFStringRef theString,
                                                  CFStringRef separatorString) {
    if (!theString || !separatorString) return nullptr;
    const CFMutableArrayRef parts = CFArrayCreateMutable(alloc, 0, &kCFTypeArrayCallBacks);
    if (!parts) return nullptr;
    const TextView text = view(theString);
    const TextView separator = view(separatorString);
    CFIndex start = 0;
    CFIndex end = 0;
    do {
        end = separator.length > 0 ? findLiterally(text, start, separator) : -1;
        const CFIndex stop = end < 0 ? text.length : end;
        const CFStringRef part = createText(alloc, text.part(start, stop - start));
        const CFIndex count = CFArrayGetCount(parts);
        if (part) {
            CFArrayAppendValue(parts, part);
            CFRelease(part);
        }
        if (CFArrayGetCount(parts) == count) {
            CFRelease(parts);
            return nullptr;
        }
        start = stop + separator.length;
    } while (end >= 0);
    return parts;
}
