#include "PropertyListEncoding.h"

#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <memory>

namespace KXPlatform {
namespace {

using namespace std::string_view_literals;

constexpr char32_t kIllFormed = 0xFFFFFFFF;

bool isSurrogate(char32_t point) noexcept { return point >= 0xD800 && point <= 0xDFFF; }

bool isBlank(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// One well-formed UTF-8 sequence at `p`, which moves behind it; kIllFormed for anything else. Overlong forms,
/// surrogates and what lies above 0x10FFFF are not well-formed (the Unicode standard, table 3-7).
char32_t nextUTF8(const char*& p, const char* end) noexcept {
    const auto byteAt = [&](std::ptrdiff_t i) { return static_cast<std::uint8_t>(p[i]); };
    const auto isTail = [&](std::ptrdiff_t i) { return (byteAt(i) & 0xC0) == 0x80; };
    const std::uint8_t first = byteAt(0);
    if (first < 0x80) {
        ++p;
        return first;
    }
    if (first >= 0xC2 && first <= 0xDF && end - p >= 2 && isTail(1)) {
        const char32_t point = (first & 0x1Fu) << 6 | (byteAt(1) & 0x3Fu);
        p += 2;
        return point;
    }
    if (first >= 0xE0 && first <= 0xEF && end - p >= 3 && isTail(1) && isTail(2)) {
        const char32_t point = (first & 0x0Fu) << 12 | (byteAt(1) & 0x3Fu) << 6 | (byteAt(2) & 0x3Fu);
        if (point < 0x800 || isSurrogate(point)) return kIllFormed;
        p += 3;
        return point;
    }
    if (first >= 0xF0 && first <= 0xF4 && end - p >= 4 && isTail(1) && isTail(2) && isTail(3)) {
        const char32_t point =
            (first & 0x07u) << 18 | (byteAt(1) & 0x3Fu) << 12 | (byteAt(2) & 0x3Fu) << 6 | (byteAt(3) & 0x3Fu);
        if (point < 0x10000 || point > 0x10FFFF) return kIllFormed;
        p += 4;
        return point;
    }
    return kIllFormed;
}

enum class ByteOrder { Little, Big };

char32_t unitAt(PropertyListBytes bytes, std::size_t at, std::size_t width, ByteOrder order) noexcept {
    char32_t unit = 0;
    for (std::size_t i = 0; i < width; ++i) {
        unit = unit << 8 | bytes[at + (order == ByteOrder::Big ? i : width - 1 - i)];
    }
    return unit;
}

std::string decodeUTF16(PropertyListBytes bytes, ByteOrder order) {
    if (bytes.size() % 2 != 0) throwReadFault("The document is UTF-16 but ends within a character");
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size(); at += 2) {
        char32_t point = unitAt(bytes, at, 2, order);
        if (isSurrogate(point)) {
            const char32_t low = at + 2 < bytes.size() ? unitAt(bytes, at + 2, 2, order) : 0;
            if (point > 0xDBFF || low < 0xDC00 || low > 0xDFFF) {
                throwReadFaultAt(text, text.data() + text.size(), "Half of a surrogate pair in UTF-16 text");
            }
            point = 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
            at += 2;
        }
        appendCodePoint(point, text);
    }
    return text;
}

std::string decodeUTF32(PropertyListBytes bytes, ByteOrder order) {
    if (bytes.size() % 4 != 0) throwReadFault("The document is UTF-32 but ends within a character");
    std::string text;
    text.reserve(bytes.size() / 4);
    for (std::size_t at = 0; at < bytes.size(); at += 4) {
        const char32_t point = unitAt(bytes, at, 4, order);
        if (isSurrogate(point) || point > 0x10FFFF) {
            throwReadFaultAt(text, text.data() + text.size(), "No Unicode character in UTF-32 text");
        }
        appendCodePoint(point, text);
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

const char* appendUTF8(std::string_view utf8, WideScratch& out) {
    const char* p = utf8.data();
    const char* const end = p + utf8.size();
    UniChar* to = out.room(utf8.size());
    UniChar* const start = to;
    const char* fault = nullptr;
    while (p != end) {
        const char32_t point = nextUTF8(p, end);
        if (point == kIllFormed) {
            fault = p;
            break;
        }
        if (point < 0x10000) {
            *to++ = static_cast<UniChar>(point);
        } else {
            *to++ = static_cast<UniChar>(0xD800 + ((point - 0x10000) >> 10));
            *to++ = static_cast<UniChar>(0xDC00 + ((point - 0x10000) & 0x3FF));
        }
    }
    out.extend(static_cast<std::size_t>(to - start));
    return fault;
}

void appendCodePoint(char32_t point, WideScratch& out) {
    if (point < 0x10000) return out.push_back(static_cast<UniChar>(point));
    out.push_back(static_cast<UniChar>(0xD800 + ((point - 0x10000) >> 10)));
    out.push_back(static_cast<UniChar>(0xDC00 + ((point - 0x10000) & 0x3FF)));
}

void appendCodePoint(char32_t point, std::string& out) {
    const auto tail = [&](unsigned shift) { out += static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80) {
        out += static_cast<char>(point);
    } else if (point < 0x800) {
        out += static_cast<char>(0xC0 | point >> 6);
        tail(0);
    } else if (point < 0x10000) {
        out += static_cast<char>(0xE0 | point >> 12);
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0 | point >> 18);
        tail(12);
        tail(6);
        tail(0);
    }
}

std::size_t lineAt(std::string_view document, const char* at) noexcept {
    std::size_t line = 1;
    for (const char* p = document.data(); p != at; ++p) {
        if (*p == '\n' || (*p == '\r' && (p + 1 == at || p[1] != '\n'))) ++line;
    }
    return line;
}

void throwReadFaultAt(std::string_view document, const char* at, std::string_view reason) {
    throwReadFault(std::string(reason) + " on line " + std::to_string(lineAt(document, at)));
}

std::string quoted(std::string_view text) {
    constexpr std::size_t kMost = 32;
    std::string result = "\"";
    for (const char c : text.substr(0, kMost)) result += c >= ' ' && c <= '~' ? c : '?';
    if (text.size() > kMost) result += "...";
    return result += '"';
}

}  // namespace KXPlatform
