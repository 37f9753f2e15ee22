// Bytes of any encoding made into a string, and the string into bytes again: whatever is accepted comes back, partial
// results join to the whole, and a mutable string changed at random stays what its text says.

#include <CoreFoundation/CFStringEncodingExt.h>
#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr CFStringEncoding kEncodings[] = {
    kCFStringEncodingUTF8,          kCFStringEncodingUTF16,        kCFStringEncodingUTF16BE,
    kCFStringEncodingUTF16LE,       kCFStringEncodingUTF32,        kCFStringEncodingUTF32BE,
    kCFStringEncodingUTF32LE,       kCFStringEncodingASCII,        kCFStringEncodingISOLatin1,
    kCFStringEncodingNonLossyASCII, kCFStringEncodingMacRoman,     kCFStringEncodingWindowsLatin1,
    kCFStringEncodingNextStepLatin, kCFStringEncodingEBCDIC_CP037, kCFStringEncodingDOSArabic,
    kCFStringEncodingShiftJIS,      kCFStringEncodingEUC_JP,       kCFStringEncodingISO_2022_JP,
    kCFStringEncodingGB_18030_2000, kCFStringEncodingHZ_GB_2312,   kCFStringEncodingBig5_HKSCS_1999,
    kCFStringEncodingUTF7,          kCFStringEncodingUTF7_IMAP,    kCFStringEncodingISO_2022_KR,
    kCFStringEncodingEUC_TW,        kCFStringEncodingISO_2022_CN,
};

constexpr CFStringEncoding kUnicode[] = {kCFStringEncodingUTF16, kCFStringEncodingUTF16BE, kCFStringEncodingUTF16LE};

void require(bool condition) {
    if (!condition) std::abort();
}

CFRange whole(CFStringRef string) { return CFRangeMake(0, CFStringGetLength(string)); }

CFStringRef decode(const std::vector<UInt8>& bytes, CFStringEncoding encoding, bool isExternal) {
    return CFStringCreateWithBytes(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()), encoding, isExternal);
}

/// Every text comes back from the encodings that hold every text.
void checkUnicode(CFStringRef string) {
    for (const CFStringEncoding encoding : kUnicode) {
        for (const bool isExternal : {false, true}) {
            CFIndex size = 0;
            require(CFStringGetBytes(string, whole(string), encoding, 0, isExternal, nullptr, 0, &size) ==
                    CFStringGetLength(string));
            std::vector<UInt8> bytes(static_cast<std::size_t>(size));
            CFStringGetBytes(string, whole(string), encoding, 0, isExternal, bytes.data(), size, &size);
            const CFStringRef back = decode(bytes, encoding, isExternal);
            require(CFEqual(back, string) && CFHash(back) == CFHash(string));
            CFRelease(back);
        }
    }
}

/// A text read from an encoding that is converted by hand can be written in it again and reads back the same. (ASCII
/// reads more than it writes, UTF-8 drops a mark; converters read several sequences as one character.)
void checkBack(CFStringRef string, CFStringEncoding encoding) {
    constexpr std::size_t kByHand = 15;
    if (std::find(kEncodings, kEncodings + kByHand, encoding) == kEncodings + kByHand) return;
    if (encoding == kCFStringEncodingASCII || CFStringGetCharacterAtIndex(string, 0) == 0xFEFF) return;
    const CFDataRef data = CFStringCreateExternalRepresentation(nullptr, string, encoding, 0);
    require(data);
    const CFStringRef back = CFStringCreateFromExternalRepresentation(nullptr, data, encoding);
    require(CFEqual(back, string));
    CFRelease(back);
    CFRelease(data);
}

/// What is counted is what is written, and pieces never exceed `room` bytes; in UTF-8 they join to the whole.
void checkPieces(CFStringRef string, CFStringEncoding encoding, CFIndex room) {
    CFIndex size = 0;
    const CFIndex units = CFStringGetBytes(string, whole(string), encoding, '?', false, nullptr, 0, &size);
    std::vector<UInt8> bytes(static_cast<std::size_t>(size));
    CFIndex used = 0;
    if (size > 0) {
        require(CFStringGetBytes(string, whole(string), encoding, '?', false, bytes.data(), size, &used) == units);
        require(used == size);
    }
    require(units > CFStringGetLength(string) || size <= CFStringGetMaximumSizeForEncoding(units + 1, encoding));

    std::vector<UInt8> piece(static_cast<std::size_t>(room));
    std::vector<UInt8> joined;
    for (CFIndex at = 0; at < units;) {
        const CFIndex converted =
            CFStringGetBytes(string, CFRangeMake(at, units - at), encoding, '?', false, piece.data(), room, &used);
        require(used <= room && converted <= units - at);
        if (converted == 0) return;
        joined.insert(joined.end(), piece.begin(), piece.begin() + used);
        at += converted;
    }
    if (encoding == kCFStringEncodingUTF8) require(joined == bytes);
}

void checkMutable(CFStringRef string, const std::uint8_t* data, std::size_t size) {
    const CFMutableStringRef changed = CFStringCreateMutableCopy(nullptr, 0, string);
    std::u16string model(static_cast<std::size_t>(CFStringGetLength(string)), u'\0');
    CFStringGetCharacters(string, whole(string), reinterpret_cast<UniChar*>(model.data()));
    for (std::size_t i = 0; i + 2 < size && i < 60 && model.size() < 10000; i += 3) {
        const std::size_t at = model.empty() ? 0 : data[i + 1] % (model.size() + 1);
        const std::size_t count = data[i + 2] % (model.size() - at + 1);
        const CFRange range = CFRangeMake(static_cast<CFIndex>(at), static_cast<CFIndex>(count));
        if (data[i] % 3 == 0) {
            CFStringDelete(changed, range);
            model.erase(at, count);
        } else if (data[i] % 3 == 1) {
            CFStringReplace(changed, range, changed);
            model.replace(at, count, std::u16string(model));
        } else {
            const UniChar units[] = {data[i], data[i + 1], 'x'};
            CFStringAppendCharacters(changed, units, 3);
            model.append(reinterpret_cast<const char16_t*>(units), 3);
        }
    }
    require(CFStringGetLength(changed) == static_cast<CFIndex>(model.size()));
    const CFStringRef expected = CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(model.data()),
                                                              static_cast<CFIndex>(model.size()));
    require(CFEqual(changed, expected) && CFHash(changed) == CFHash(expected));
    CFRelease(expected);
    CFRelease(changed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const CFStringEncoding encoding = kEncodings[data[0] % std::size(kEncodings)];
    const bool isExternal = (data[1] & 1) != 0;
    const CFIndex room = 1 + data[1] % 32;
    const std::vector<UInt8> bytes(data + 2, data + size);
    const CFStringRef string = decode(bytes, encoding, isExternal);
    if (!string) return 0;
    checkUnicode(string);
    checkBack(string, encoding);
    for (const CFStringEncoding other : {encoding, kEncodings[data[1] % std::size(kEncodings)]})
        checkPieces(string, other, room);
    checkMutable(string, data, size);
    CFRelease(string);
    return 0;
}
