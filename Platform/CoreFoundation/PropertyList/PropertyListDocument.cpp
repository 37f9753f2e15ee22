#include "PropertyListDocument.h"

#include "Support/UnicodeText.h"

#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace KXPlatform {
namespace {

using namespace std::string_view_literals;

bool isBlank(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

enum class ByteOrder { Little, Big };

/// `bytes`, which are a whole number of units in `order`, from the encoding Text to UTF-8, and how that ended.
template <class Text>
Stop convertUnits(PropertyListBytes bytes, ByteOrder order, std::string& text) {
    constexpr std::size_t width = sizeof(typename Text::Unit);
    std::vector<UInt8> swapped;
    if (order == ByteOrder::Big) {
        swapped.assign(bytes.begin(), bytes.end());
        for (std::size_t at = 0; at < swapped.size(); at += width) {
            std::reverse(&swapped[at], &swapped[at] + width);
        }
        bytes = swapped;
    }
    text.resize(bytes.size() / width * (width == 2 ? 3 : kLongestCharacter));  // the longest a unit can become
    auto* const place = reinterpret_cast<unsigned char*>(text.data());
    Input in{bytes.data(), bytes.data() + bytes.size()};
    Output out{place, place + text.size()};
    const Stop stop = convertText<Text, UTF8Text>(in, out);
    text.resize(static_cast<std::size_t>(out.at - place));
    return stop;
}

std::string decodeUTF16(PropertyListBytes bytes, ByteOrder order) {
    if (bytes.size() % 2 != 0) throwReadFault("The document is UTF-16 but ends within a character");
    std::string text;
    if (convertUnits<UTF16LEText>(bytes, order, text) != Stop::UsedUp) {
        throwReadFaultAt(text, text.data() + text.size(), "Half of a surrogate pair in UTF-16 text");
    }
    return text;
}

std::string decodeUTF32(PropertyListBytes bytes, ByteOrder order) {
    if (bytes.size() % 4 != 0) throwReadFault("The document is UTF-32 but ends within a character");
    std::string text;
    if (convertUnits<UTF32LEText>(bytes, order, text) != Stop::UsedUp) {
        throwReadFaultAt(text, text.data() + text.size(), "No Unicode character in UTF-32 text");
    }
    return text;
}

bool startsWith(PropertyListBytes bytes, std::string_view prefix) noexcept {
    return bytes.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), bytes.begin(),
                      [](char c, UInt8 byte) { return static_cast<UInt8>(c) == byte; });
}

/// The value of `encoding` in the XML declaration that `text` begins with; false when there is none.
bool findDeclaredEncoding(std::string_view text, std::string_view& name) {
    if (!text.starts_with("<?xml") || text.size() < 6 || !isBlank(text[5])) return false;
    const std::size_t end = text.find("?>"sv);
    if (end == std::string_view::npos) return false;
    const std::string_view declaration = text.substr(0, end);
    std::size_t at = declaration.find("encoding"sv);
    if (at == std::string_view::npos) return false;
    at += 8;
    const auto skipBlanks = [&] {
        while (at < declaration.size() && isBlank(declaration[at])) ++at;
    };
    skipBlanks();
    if (at == declaration.size() || declaration[at] != '=') return false;
    ++at;
    skipBlanks();
    if (at == declaration.size() || (declaration[at] != '"' && declaration[at] != '\'')) return false;
    const std::size_t close = declaration.find(declaration[at], at + 1);
    if (close == std::string_view::npos) return false;
    name = declaration.substr(at + 1, close - at - 1);
    return true;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
}

struct Release {
    void operator()(const void* object) const noexcept { CFRelease(object); }
};
using HeldString = std::unique_ptr<const __CFString, Release>;

bool isWideEncoding(CFStringEncoding encoding) noexcept {
    switch (encoding) {
        case kCFStringEncodingUTF16:
        case kCFStringEncodingUTF16BE:
        case kCFStringEncodingUTF16LE:
        case kCFStringEncodingUTF32:
        case kCFStringEncodingUTF32BE:
        case kCFStringEncodingUTF32LE:
            return true;
        default:
            return false;
    }
}

CFStringEncoding encodingNamed(std::string_view name) noexcept {
    if (name.empty()) return kCFStringEncodingInvalidId;
    const HeldString string(CFStringCreateWithBytes(kCFAllocatorSystemDefault,
                                                    reinterpret_cast<const UInt8*>(name.data()),
                                                    static_cast<CFIndex>(name.size()), kCFStringEncodingASCII, false));
    return string ? CFStringConvertIANACharSetNameToEncoding(string.get()) : kCFStringEncodingInvalidId;
}

/// `text` from the encoding named `name` to UTF-8.
std::string transcode(std::string_view text, std::string_view name) {
    const auto bytesOf = [](std::string_view s) { return reinterpret_cast<const UInt8*>(s.data()); };
    const CFStringEncoding encoding = encodingNamed(name);
    if (encoding == kCFStringEncodingInvalidId) {
        throwReadFault("Unknown encoding " + quoted(name) + " in the XML declaration on line 1");
    }
    if (isWideEncoding(encoding)) {
        throwReadFault("The XML declaration on line 1 says " + quoted(name) + ", but the text has 8-bit characters");
    }
    if (encoding == kCFStringEncodingUTF8) return std::string(text);
    const HeldString decoded(CFStringCreateWithBytes(kCFAllocatorSystemDefault, bytesOf(text),
                                                     static_cast<CFIndex>(text.size()), encoding, false));
    if (!decoded) throwReadFault("The document is not in the encoding " + quoted(name) + " that line 1 declares");
    const CFRange whole = CFRangeMake(0, CFStringGetLength(decoded.get()));
    CFIndex size = 0;
    CFStringGetBytes(decoded.get(), whole, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size);
    std::string utf8(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(decoded.get(), whole, kCFStringEncodingUTF8, 0, false, reinterpret_cast<UInt8*>(utf8.data()), size,
                     nullptr);
    return utf8;
}

}  // namespace

std::string_view decodeDocument(PropertyListBytes bytes, std::string& storage) {
    if (startsWith(bytes, "\0\0\xFE\xFF"sv)) return storage = decodeUTF32(bytes.subspan(4), ByteOrder::Big);
    if (startsWith(bytes, "\xFF\xFE\0\0"sv)) return storage = decodeUTF32(bytes.subspan(4), ByteOrder::Little);
    if (startsWith(bytes, "\0\0\0<"sv)) return storage = decodeUTF32(bytes, ByteOrder::Big);
    if (startsWith(bytes, "<\0\0\0"sv)) return storage = decodeUTF32(bytes, ByteOrder::Little);
    if (startsWith(bytes, "\xFE\xFF"sv)) return storage = decodeUTF16(bytes.subspan(2), ByteOrder::Big);
    if (startsWith(bytes, "\xFF\xFE"sv)) return storage = decodeUTF16(bytes.subspan(2), ByteOrder::Little);
    if (startsWith(bytes, "\0<"sv)) return storage = decodeUTF16(bytes, ByteOrder::Big);
    if (startsWith(bytes, "<\0"sv)) return storage = decodeUTF16(bytes, ByteOrder::Little);

    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (text.starts_with("\xEF\xBB\xBF"sv)) text.remove_prefix(3);
    std::string_view name;
    if (!findDeclaredEncoding(text, name) || equalsIgnoringCase(name, "UTF-8")) return text;
    return storage = transcode(text, name);
}

}  // namespace KXPlatform
