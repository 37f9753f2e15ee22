// Any bytes as a URL and a base, as a path and as a text with percent escapes: what is accepted keeps its text, its
// parts lie within it, what it is resolved to is a URL that stays as it is, and paths and escapes come back.

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

const UInt8* bytesOf(std::string_view text) { return reinterpret_cast<const UInt8*>(text.data()); }

std::string textOf(CFURLRef url) {
    std::string text(static_cast<std::size_t>(CFURLGetBytes(url, nullptr, 0)), '\0');
    CFURLGetBytes(url, reinterpret_cast<UInt8*>(text.data()), static_cast<CFIndex>(text.size()));
    return text;
}

CFURLRef make(std::string_view text, CFURLRef base) {
    return CFURLCreateWithBytes(nullptr, bytesOf(text), static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, base);
}

void release(CFTypeRef made) {
    if (made) CFRelease(made);
}

void checkParts(CFURLRef url) {
    const CFIndex length = CFURLGetBytes(url, nullptr, 0);
    for (CFIndex i = 0; i < 14; ++i) {
        CFRange with{};
        const CFRange range = CFURLGetByteRangeForComponent(url, static_cast<CFURLComponentType>(i), &with);
        if (range.location == kCFNotFound) continue;
        require(range.location >= 0 && range.length >= 0 && range.location + range.length <= length);
        require(with.location <= range.location && with.location + with.length >= range.location + range.length);
        require(with.location >= 0 && with.location + with.length <= length);
    }
    for (const auto copy :
         {CFURLCopyScheme, CFURLCopyNetLocation, CFURLCopyPath, CFURLCopyResourceSpecifier, CFURLCopyHostName,
          CFURLCopyUserName, CFURLCopyPassword, CFURLCopyLastPathComponent, CFURLCopyPathExtension})
        release(copy(url));
    for (const CFStringRef leave : {CFStringRef(), CFSTR(""), CFSTR("/%a")}) {
        release(CFURLCopyQueryString(url, leave));
        release(CFURLCopyFragment(url, leave));
    }
    for (const CFURLPathStyle style : {kCFURLPOSIXPathStyle, kCFURLWindowsPathStyle})
        release(CFURLCopyFileSystemPath(url, style));
    for (const auto change : {CFURLCreateCopyDeletingLastPathComponent, CFURLCreateCopyDeletingPathExtension}) {
        const CFURLRef changed = change(nullptr, url);
        require(changed || !CFURLCanBeDecomposed(url) || length == 0);
        release(changed);
    }
}

/// Resolving once is resolving for good.
void checkAbsolute(CFURLRef url) {
    const CFURLRef whole = CFURLCopyAbsoluteURL(url);
    require(whole && !CFURLGetBaseURL(whole));
    const std::string text = textOf(whole);
    const CFURLRef again = make(text, nullptr);
    require(again && CFEqual(again, whole));
    release(again);
    release(whole);
}

void checkPath(std::string_view path) {
    const CFURLRef base = make("file:///b/", nullptr);
    const CFURLRef url = CFURLCreateFromFileSystemRepresentationRelativeToBase(
        nullptr, bytesOf(path), static_cast<CFIndex>(path.size()), false, base);
    require((url == nullptr) == (path.find('\0') != std::string_view::npos));
    if (url && path.starts_with('/')) {
        std::vector<UInt8> back(path.size() + 2);
        require(CFURLGetFileSystemRepresentation(url, true, back.data(), static_cast<CFIndex>(back.size())));
        std::string_view expected = path;
        while (expected.size() > 1 && expected.ends_with('/')) expected.remove_suffix(1);
        require(std::string_view(reinterpret_cast<char*>(back.data())) == expected);
    }
    release(url);
    release(base);
}

void checkEscapes(std::string_view bytes) {
    const CFStringRef text = CFStringCreateWithBytes(nullptr, bytesOf(bytes), static_cast<CFIndex>(bytes.size()),
                                                     kCFStringEncodingUTF8, false);
    if (!text) return;
    const CFStringRef escaped =
        CFURLCreateStringByAddingPercentEscapes(nullptr, text, nullptr, CFSTR("/?:@"), kCFStringEncodingUTF8);
    require(escaped);
    const CFURLRef url = CFURLCreateWithString(nullptr, escaped, nullptr);
    require(url || CFStringGetLength(escaped) == 0);
    const CFStringRef back = CFURLCreateStringByReplacingPercentEscapes(nullptr, escaped, CFSTR(""));
    require(back && CFEqual(back, text));
    release(CFURLCreateStringByReplacingPercentEscapes(nullptr, text, CFSTR("a/")));
    release(back);
    release(url);
    release(escaped);
    release(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    // At the beginning of a text this is a byte order mark, which is none of its characters.
    if (all.find("\xEF\xBB\xBF") != all.npos) return 0;
    const std::string_view relative = all.substr(0, all.find('\n'));
    const std::string_view rest = relative.size() < size ? all.substr(relative.size() + 1) : std::string_view();
    const CFURLRef base = make(rest, nullptr);
    for (const CFURLRef each : {CFURLRef(), base}) {
        const CFURLRef url = make(relative, each);
        if (!url) continue;
        require(textOf(url) == relative);
        checkParts(url);
        checkAbsolute(url);
        release(url);
        for (const Boolean isCompatible : {false, true}) {
            release(CFURLCreateAbsoluteURLWithBytes(nullptr, bytesOf(relative), static_cast<CFIndex>(relative.size()),
                                                    kCFStringEncodingUTF8, each, isCompatible));
        }
    }
    release(base);
    checkPath(all);
    checkEscapes(all);
    return 0;
}
