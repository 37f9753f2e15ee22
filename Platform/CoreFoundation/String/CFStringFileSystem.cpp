#include "CFStringEncoding.h"

#include "Support/FileNameForm.h"

#include <unicode/unorm2.h>

#include <algorithm>
#include <cstring>
#include <string>

using namespace KXPlatform;

namespace {

constexpr CFIndex kMaximumBytesPerUnit = 9;  // a Hangul syllable gives three jamo of three bytes

/// Into the form of file names. False when there is no memory.
bool decompose(TextView text, std::u16string& out) {
    const UNormalizer2* const decomposer = fileNameDecomposer();
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
