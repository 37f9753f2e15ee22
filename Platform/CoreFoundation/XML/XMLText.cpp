#include "XMLText.h"

#include <new>

namespace KXPlatform {

XMLString stringOf(std::string_view utf8) {
    auto made =
        XMLString::adopting(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                                    static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
    if (!made) throw std::bad_alloc();
    return made;
}

void appendUTF8(std::string& text, CFStringRef string) {
    if (!string) return;
    CFRange rest = CFRangeMake(0, CFStringGetLength(string));
    while (rest.length > 0) {
        CFIndex size = 0;
        const CFIndex units = CFStringGetBytes(string, rest, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size);
        const std::size_t begin = text.size();
        text.resize(begin + static_cast<std::size_t>(size));
        CFStringGetBytes(string, CFRangeMake(rest.location, units), kCFStringEncodingUTF8, 0, false,
                         reinterpret_cast<UInt8*>(text.data() + begin), size, nullptr);
        rest = CFRangeMake(rest.location + units, rest.length - units);
        if (rest.length == 0) break;
        text += "\xEF\xBF\xBD";
        rest = CFRangeMake(rest.location + 1, rest.length - 1);
    }
}

void appendEscaped(std::string& markup, std::string_view text, bool isAttribute) {
    for (const char c : text) {
        switch (c) {
            case '&':
                markup += "&amp;";
                break;
            case '<':
                markup += "&lt;";
                break;
            case '>':
                markup += "&gt;";
                break;
            case '\r':  // read back as it is, and not as the end of a line
                markup += "&#13;";
                break;
            case '"':
                markup += isAttribute ? "&quot;" : "\"";
                break;
            case '\n':
                markup += isAttribute ? "&#10;" : "\n";
                break;
            case '\t':
                markup += isAttribute ? "&#9;" : "\t";
                break;
            default:
                markup += c;
        }
    }
}

bool isWhitespace(std::string_view text) noexcept { return text.find_first_not_of(" \t\r\n") == text.npos; }

}  // namespace KXPlatform
