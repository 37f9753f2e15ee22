// Any bytes as the bitmap of a character set: a set that comes out has a bitmap that gives the same set, and its
// members are those whose bits are set.

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdlib>

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const CFDataRef bitmap = CFDataCreate(nullptr, data, static_cast<CFIndex>(size));
    const CFCharacterSetRef set = CFCharacterSetCreateWithBitmapRepresentation(nullptr, bitmap);
    CFRelease(bitmap);
    if (!set) return 0;
    for (UTF32Char c = 0; c < 8 * size && c < 0x10000; ++c)
        require(CFCharacterSetIsLongCharacterMember(set, c) == ((data[c / 8] >> (c % 8)) & 1));
    const CFDataRef written = CFCharacterSetCreateBitmapRepresentation(nullptr, set);
    const CFCharacterSetRef again = CFCharacterSetCreateWithBitmapRepresentation(nullptr, written);
    require(again && CFEqual(set, again));
    const CFCharacterSetRef inverted = CFCharacterSetCreateInvertedSet(nullptr, set);
    require(CFCharacterSetIsCharacterMember(inverted, 'a') != CFCharacterSetIsCharacterMember(set, 'a'));
    CFRelease(inverted);
    CFRelease(again);
    CFRelease(written);
    CFRelease(set);
    return 0;
}
