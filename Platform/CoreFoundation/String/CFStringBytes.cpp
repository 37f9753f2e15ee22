#include "CFStringEncoding.h"

#include <CoreFoundation/CFData.h>

#include <algorithm>
#include <cstring>

using namespace KXPlatform;

namespace {

const Encoding* findEightBit(CFStringEncoding encoding) noexcept {
    const Encoding* const found = findEncoding(encoding);
    return found && found->codec != Codec::UTF16 && found->codec != Codec::UTF32 ? found : nullptr;
}

/// Writes the whole text of `string` to `buffer`, -1 when it does not fit or cannot be converted.
CFIndex encodeWhole(CFStringRef string, const Encoding& encoding, UInt8* buffer, CFIndex capacity) noexcept {
    ByteSink sink{buffer, capacity};
    return encode(view(string), encoding, 0, false, sink) == string->length ? sink.used : -1;
}

}  // namespace

Boolean CFStringGetPascalString(CFStringRef theString, StringPtr buffer, CFIndex bufferSize,
                                CFStringEncoding encoding) {
    if (!buffer || bufferSize <= 0) return false;
    buffer[0] = 0;
    const Encoding* const found = findEightBit(encoding);
    if (!theString || !found) return false;
    const CFIndex used = encodeWhole(theString, *found, buffer + 1, std::min<CFIndex>(bufferSize - 1, 255));
    if (used < 0) return false;
    buffer[0] = static_cast<unsigned char>(used);
    return true;
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
    if (!buffer || bufferSize <= 0) return false;
    buffer[0] = 0;
    const Encoding* const found = findEightBit(encoding);
    if (!theString || !found) return false;
    const CFIndex used = encodeWhole(theString, *found, reinterpret_cast<UInt8*>(buffer), bufferSize - 1);
    buffer[std::max<CFIndex>(used, 0)] = 0;
    if (used < 0) buffer[0] = 0;
    return used >= 0;
}

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen, CFIndex* usedBufLen) {
    if (usedBufLen) *usedBufLen = 0;
    const Encoding* const found = findEncoding(encoding);
    if (!theString || !found || !isWithin(range, theString->length) || maxBufLen < 0) return 0;
    // Without a buffer the bytes are counted; with one that has no room, in encodings of bytes only.
    const bool isWide = found->codec == Codec::UTF16 || found->codec == Codec::UTF32;
    if (buffer && maxBufLen == 0 && isWide) return 0;
    ByteSink sink{maxBufLen > 0 ? buffer : nullptr, maxBufLen};
    const CFIndex converted = encode(view(theString).part(range.location, range.length), *found, lossByte,
                                     isExternalRepresentation != 0, sink);
    if (usedBufLen) *usedBufLen = sink.used;
    return converted;
}

CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef alloc, CFDataRef data, CFStringEncoding encoding) {
    if (!data) return nullptr;
    return CFStringCreateWithBytes(alloc, CFDataGetBytePtr(data), CFDataGetLength(data), encoding, true);
}

CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef alloc, CFStringRef theString, CFStringEncoding encoding,
                                               UInt8 lossByte) {
    const Encoding* const found = findEncoding(encoding);
    if (!theString || !found) return nullptr;
    const TextView text = view(theString);
    ByteSink counted{nullptr, 0};
    if (encode(text, *found, lossByte, true, counted) != text.length) return nullptr;
    const CFIndex size = counted.used;
    if (size == 0) return CFDataCreate(alloc, nullptr, 0);
    if (!alloc) alloc = CFAllocatorGetDefault();
    auto* const bytes = static_cast<UInt8*>(CFAllocatorAllocate(alloc, size, 0));
    if (!bytes) return nullptr;
    ByteSink sink{bytes, size};
    encode(text, *found, lossByte, true, sink);
    const CFDataRef data = CFDataCreateWithBytesNoCopy(alloc, bytes, size, alloc);
    if (!data) CFAllocatorDeallocate(alloc, bytes);
    return data;
}

CFStringEncoding CFStringGetSmallestEncoding(CFStringRef theString) {
    const TextView text = view(theString);
    if (!text.isWide() || isASCII(text.wide, static_cast<std::size_t>(text.length))) return kCFStringEncodingASCII;
    ByteSink counted{nullptr, 0};
    if (encode(text, *findEncoding(kCFStringEncodingISOLatin1), 0, false, counted) == text.length)
        return kCFStringEncodingISOLatin1;
    counted.used = 0;
    const bool isUTF8 = encode(text, *findEncoding(kCFStringEncodingUTF8), 0, false, counted) == text.length;
    return isUTF8 && counted.used < text.length * 2 ? kCFStringEncodingUTF8 : kCFStringEncodingUTF16;
}

CFStringEncoding CFStringGetFastestEncoding(CFStringRef theString) {
    return view(theString).isWide() ? kCFStringEncodingUTF16 : kCFStringEncodingASCII;
}

CFStringEncoding CFStringGetSystemEncoding() { return kCFStringEncodingUTF8; }

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    const Encoding* const found = findEncoding(encoding);
    CFIndex size = 0;
    if (!found || length < 0 || __builtin_mul_overflow(length, CFIndex{found->maximum}, &size)) return kCFNotFound;
    return size;
}

Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding) { return findEncoding(encoding) != nullptr; }
