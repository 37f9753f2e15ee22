#include "CFStringEncoding.h"

#include <unicode/unorm2.h>
#include <unicode/uset.h>

#include <algorithm>
#include <cstring>
#include <string>

using namespace KXPlatform;

namespace {

// File names are UTF-8 with every character decomposed, but for those that the platform's file system leaves alone:
// U+2000 to U+2FFF, U+F900 to U+FAFF and U+2F800 to U+2FAFF (the platform's technical note on file names, QA1173).

constexpr CFIndex kMaximumBytesPerUnit = 9;  // a Hangul syllable gives three jamo of three bytes

const UNormalizer2* makeDecomposer() noexcept {
    UErrorCode error = U_ZERO_ERROR;
    const UNormalizer2* const canonical = unorm2_getNFDInstance(&error);
    USet* const decomposed = uset_open(0, 0x1FFF);
    if (!decomposed) return nullptr;
    uset_addRange(decomposed, 0x3000, 0xF8FF);
    uset_addRange(decomposed, 0xFB00, 0x2F7FF);
    uset_addRange(decomposed, 0x2FB00, 0x10FFFF);
    uset_freeze(decomposed);
    const UNormalizer2* const made = U_SUCCESS(error) ? unorm2_openFiltered(canonical, decomposed, &error) : nullptr;
    if (U_SUCCESS(error)) return made;  // which looks into the set from now on
    uset_close(decomposed);
    return nullptr;
}

/// False when there is no memory.
bool decompose(TextView text, std::u16string& out) {
    static const UNormalizer2* const decomposer = makeDecomposer();
    if (!decomposer || text.length > INT32_MAX / 4) return false;
    out.resize(static_cast<std::size_t>(text.length) * 4);
    UErrorCode error = U_ZERO_ERROR;
    const std::int32_t length = unorm2_normalize(decomposer, asUTF16(text.wide), static_cast<std::int32_t>(text.length),
                                                 out.data(), static_cast<std::int32_t>(out.size()), &error);
    if (U_FAILURE(error)) return false;
    out.resize(static_cast<std::size_t>(length));
    return true;
}

bool hasNUL(TextView text) noexcept {
    return text.isWide() ? std::ranges::find(text.wideView(), UniChar{0}) != text.wideView().end()
                         : text.asciiView().find('\0') != std::string_view::npos;
}

}  // namespace

Boolean CFStringGetFileSystemRepresentation(CFStringRef string, char* buffer, CFIndex maxBufLen) try {
    if (!string || !buffer || maxBufLen <= 0) return false;
    buffer[0] = 0;
    TextView text = view(string);
    // No file has such a name, and cutting it short would name another file.
    if (hasNUL(text)) return false;
    std::u16string decomposed;
    if (text.isWide()) {
        if (!decompose(text, decomposed)) return false;
        text = {nullptr, asUnits(decomposed.data()), static_cast<CFIndex>(decomposed.size())};
    }
    ByteSink sink{reinterpret_cast<UInt8*>(buffer), maxBufLen - 1};
    const bool isDone = encode(text, *findEncoding(kCFStringEncodingUTF8), 0, false, sink) == text.length;
    buffer[isDone ? sink.used : 0] = 0;
    return isDone;
} catch (const std::bad_alloc&) {
    return false;
}

CFIndex CFStringGetMaximumSizeOfFileSystemRepresentation(CFStringRef string) {
    if (!string) return 0;
    if (!string->isWide()) return string->length + 1;
    CFIndex size = 0;
    if (__builtin_mul_overflow(string->length, kMaximumBytesPerUnit, &size)) return kCFNotFound;
    return size + 1;
}

CFStringRef CFStringCreateWithFileSystemRepresentation(CFAllocatorRef alloc, const char* buffer) {
    return CFStringCreateWithCString(alloc, buffer, kCFStringEncodingUTF8);
}
