#include "StoreKey.h"

namespace KXPlatform {

std::optional<std::string> keyText(CFTypeRef key) {
    if (!isOfType(key, TypeID::String)) return std::nullopt;
    const auto string = static_cast<CFStringRef>(key);
    const CFRange all = CFRangeMake(0, CFStringGetLength(string));
    CFIndex size = 0;
    if (CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size) != all.length)
        return std::nullopt;
    std::string text(static_cast<std::size_t>(size), '\0');
    if (CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, reinterpret_cast<UInt8*>(text.data()), size,
                         &size) != all.length)
        return std::nullopt;
    return text;
}

Retained<const __CFString> keyString(std::string_view key) {
    // The reader of UTF-8 drops a mark at the beginning; here it is a character like any other.
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    std::string marked;
    if (key.starts_with(kMark)) key = marked.append(kMark).append(key);
    return Retained<const __CFString>::adopting(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(key.data()), static_cast<CFIndex>(key.size()),
                                kCFStringEncodingUTF8, false));
}

}  // namespace KXPlatform
