#include "XMLDocument.h"

#include "XMLText.h"

#include <algorithm>
#include <new>
#include <optional>

namespace KXPlatform {
namespace {

using std::string_view_literals::operator""sv;

/// An XML declaration with its encoding stands within so many bytes.
constexpr std::size_t kLongestDeclaration = 1024;

struct Beginning {
    std::string_view bytes;
    CFStringEncoding encoding;
};

// By their byte order marks, the longer ones first.
constexpr Beginning kMarks[] = {
    {"\0\0\xFE\xFF"sv, kCFStringEncodingUTF32}, {"\xFF\xFE\0\0"sv, kCFStringEncodingUTF32},
    {"\xEF\xBB\xBF"sv, kCFStringEncodingUTF8},  {"\xFE\xFF"sv, kCFStringEncodingUTF16},
    {"\xFF\xFE"sv, kCFStringEncodingUTF16},
};

// Without one, by the "<" that every document begins with, or the white space that may stand before it.
constexpr Beginning kFirstBytes[] = {
    {"\0\0\0<"sv, kCFStringEncodingUTF32BE},
    {"<\0\0\0"sv, kCFStringEncodingUTF32LE},
    {"\0<"sv, kCFStringEncodingUTF16BE},
    {"<\0"sv, kCFStringEncodingUTF16LE},
};

/// The value of `encoding` in the XML declaration; empty when it has none.
std::string_view declaredEncoding(std::string_view bytes) noexcept {
    constexpr std::string_view kBegin = "<?xml", kName = "encoding", kSpace = " \t\r\n";
    bytes = bytes.substr(0, kLongestDeclaration);
    if (!bytes.starts_with(kBegin) || bytes.size() == kBegin.size() || kSpace.find(bytes[kBegin.size()]) == kSpace.npos)
        return {};
    bytes = bytes.substr(0, bytes.find("?>"));
    std::size_t at = bytes.find(kName);
    if (at == bytes.npos) return {};
    at = bytes.find_first_not_of(kSpace, at + kName.size());
    if (at == bytes.npos || bytes[at] != '=') return {};
    at = bytes.find_first_not_of(kSpace, at + 1);
    if (at == bytes.npos || (bytes[at] != '"' && bytes[at] != '\'')) return {};
    const std::size_t end = bytes.find(bytes[at], at + 1);
    return end == bytes.npos ? std::string_view() : bytes.substr(at + 1, end - at - 1);
}

template <std::size_t N>
std::optional<CFStringEncoding> find(const Beginning (&table)[N], std::string_view bytes) noexcept {
    const auto* const found = std::find_if(std::begin(table), std::end(table),
                                           [&](const Beginning& each) { return bytes.starts_with(each.bytes); });
    return found == std::end(table) ? std::nullopt : std::optional(found->encoding);
}

/// kCFStringEncodingInvalidId when the document names one that nobody knows, or that its own bytes are not in.
CFStringEncoding encodingOf(std::string_view bytes) {
    if (const auto marked = find(kMarks, bytes)) return *marked;
    if (const auto begun = find(kFirstBytes, bytes)) return *begun;
    const std::string_view name = declaredEncoding(bytes);
    if (name.empty()) return kCFStringEncodingUTF8;
    const CFStringEncoding encoding = CFStringConvertIANACharSetNameToEncoding(stringOf(name).get());
    switch (encoding) {
        case kCFStringEncodingUTF16:
        case kCFStringEncodingUTF16BE:
        case kCFStringEncodingUTF16LE:
        case kCFStringEncodingUTF32:
        case kCFStringEncodingUTF32BE:
        case kCFStringEncodingUTF32LE:
            return kCFStringEncodingInvalidId;
        default:
            return encoding;
    }
}

std::string_view textOf(CFDataRef data) noexcept {
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<std::size_t>(CFDataGetLength(data))};
}

}  // namespace

XMLDocument openXMLDocument(CFDataRef data) noexcept try {
    XMLDocument document;
    const std::string_view bytes = textOf(data);
    const auto failed = [&](CFXMLParserStatusCode fault) {
        document.fault = fault;
        return document;
    };
    if (bytes.empty()) return failed(kCFXMLErrorNoData);
    document.encoding = encodingOf(bytes);
    if (document.encoding == kCFStringEncodingInvalidId) return failed(kCFXMLErrorUnknownEncoding);
    document.holder = Retained<const __CFData>::retaining(data);
    if (document.encoding != kCFStringEncodingUTF8 && document.encoding != kCFStringEncodingASCII) {
        const auto string =
            XMLString::adopting(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                                        static_cast<CFIndex>(bytes.size()), document.encoding, true));
        if (!string) return failed(kCFXMLErrorEncodingConversionFailure);
        document.holder = Retained<const __CFData>::adopting(
            CFStringCreateExternalRepresentation(nullptr, string.get(), kCFStringEncodingUTF8, 0));
        if (!document.holder) return failed(kCFXMLErrorEncodingConversionFailure);
    }
    document.text = textOf(document.holder.get());
    return document;
} catch (const std::bad_alloc&) {
    XMLDocument document;
    document.fault = kCFXMLErrorEncodingConversionFailure;
    return document;
}

}  // namespace KXPlatform
