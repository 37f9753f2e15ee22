// Writes property lists as XML, byte for byte as the platform does: one tab a level, keys in the order of their UTF-16
// units, only '&', '<' and '>' escaped, data in Base64 lines that get narrower with their indent.

#include "CoreFoundation/Values/CFNumberObject.h"
#include "PropertyListAccess.h"
#include "PropertyListNumbers.h"
#include "Support/Base64.h"
#include "Support/UnicodeText.h"
#include "Support/WordAtATime.h"

#include <CoreFoundation/CoreFoundation.h>

#include <charconv>
#include <cstring>

namespace KXPlatform {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n"sv;
constexpr std::string_view kTail = "</plist>\n"sv;
constexpr std::string_view kTabs = "\t\t\t\t\t\t\t\t"sv;

/// Data lines are indented this far at most, and shorten by eight characters for each tab before them.
constexpr std::size_t kDeepestDataIndent = 8;
constexpr std::size_t kDataLineWidth = 76;

/// Whether one of eight ASCII characters is '&', '<' or '>'; the last two differ in one bit.
constexpr bool holdsSpecial(std::uint64_t word) noexcept {
    return (zeroBytes(word ^ everywhere('&')) | zeroBytes((word | everywhere(2)) ^ everywhere('>'))) != 0;
}
static_assert(('<' | 2) == '>' && ('>' | 2) == '>');

std::string_view escapeOf(UniChar c) noexcept {
    switch (c) {
        case '&':
            return "&amp;"sv;
        case '<':
            return "&lt;"sv;
        case '>':
            return "&gt;"sv;
        default:
            return {};
    }
}

/// Text that needs care is written in pieces of this many units, each with room for the longest form of every unit.
constexpr std::ptrdiff_t kPiece = 4096;
constexpr std::size_t kLongestEscape = 5;

class XMLWriter {
  public:
    explicit XMLWriter(PropertyListOutput& output) noexcept : out_(output) {}

    void write(CFTypeRef list) {
        put(kHead);
        writeValue(list, 0);
        put(kTail);
        checkSize(0);
    }

  private:
    void put(std::string_view text) {
        std::memcpy(room(text.size()), text.data(), text.size());
        out_.extend(text.size());
    }

    /// Writes tabs where there is room for kTabs more; the end of them.
    static char* putTabs(std::size_t indent, char* to) noexcept {
        if (indent > kTabs.size()) {
            std::memset(to, '\t', indent);
        } else {
            std::memcpy(to, kTabs.data(), kTabs.size());
        }
        return to + indent;
    }

    /// Tabs, then `text`.
    void putIndented(std::size_t indent, std::string_view text) {
        char* const to = room(indent + kTabs.size() + text.size());
        std::memcpy(putTabs(indent, to), text.data(), text.size());
        out_.extend(indent + text.size());
    }

    char* room(std::size_t count) {
        if (out_.capacity() - out_.size() < count) checkSize(count);
        return out_.room(count);
    }

    /// Throws when the text, with `count` bytes more, is larger than a document may be. Asked before the memory grows,
    /// and at the end, since memory may have been taken for more than that.
    void checkSize(std::size_t count) const {
        if (count <= kMaximumPropertyListSize && out_.size() <= kMaximumPropertyListSize - count) return;
        throwWriteFault("The list takes more than " + std::to_string(kMaximumPropertyListSize) + " bytes as XML");
    }

    void writeValue(CFTypeRef value, std::size_t indent) {
        if (!value) throwNotAPropertyList(value);
        switch (object(value)->cls->typeID) {
            case TypeID::String:
                return writeText(indent, "<string>", static_cast<CFStringRef>(value), "</string>\n");
            case TypeID::Dictionary:
                return writeDictionary(static_cast<CFDictionaryRef>(value), indent);
            case TypeID::Array:
                return writeArray(static_cast<CFArrayRef>(value), indent);
            case TypeID::Data:
                return writeData(static_cast<CFDataRef>(value), indent);
            case TypeID::Number:
                return writeNumber(static_cast<CFNumberRef>(value), indent);
            case TypeID::Boolean:
                return putIndented(
                    indent, CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? "<true/>\n"sv : "<false/>\n"sv);
            case TypeID::Date:
                return writeDate(static_cast<CFDateRef>(value), indent);
            default:
                throwNotAPropertyList(value);
        }
    }

    void enter() {
        if (++depth_ <= kMaximumPropertyListDepth) return;
        throwWriteFault("The list nests more than " + std::to_string(kMaximumPropertyListDepth) +
                        " deep, or holds itself");
    }

    void writeDictionary(CFDictionaryRef dictionary, std::size_t indent) {
        // The entries of all open dictionaries share one array: it may move, so they are reached by their index.
        const std::size_t first = entries_.size();
        appendSortedEntries(dictionary, entries_);
        const std::size_t last = entries_.size();
        if (first == last) return putIndented(indent, "<dict/>\n"sv);
        enter();
        putIndented(indent, "<dict>\n"sv);
        for (std::size_t i = first; i < last; ++i) {
            writeText(indent + 1, "<key>", entries_[i].key, "</key>\n");
            writeValue(entries_[i].value, indent + 1);
        }
        putIndented(indent, "</dict>\n"sv);
        entries_.truncate(first);
        --depth_;
    }

    void writeArray(CFArrayRef array, std::size_t indent) {
        const CFIndex count = CFArrayGetCount(array);
        if (count == 0) return putIndented(indent, "<array/>\n"sv);
        enter();
        putIndented(indent, "<array>\n"sv);
        for (CFIndex i = 0; i < count; ++i) writeValue(CFArrayGetValueAtIndex(array, i), indent + 1);
        putIndented(indent, "</array>\n"sv);
        --depth_;
    }

    template <std::size_t N, std::size_t M>
    void writeText(std::size_t indent, const char (&open)[N], CFStringRef string, const char (&close)[M]) {
        const TextView text = view(string);
        if (!text.isWide() && writePlain(indent, open, text.asciiView(), close)) return;
        putIndented(indent, {open, N - 1});
        if (text.isWide()) {
            writeWide(text.wideView());
        } else {
            writeEscaped(text.asciiView());
        }
        put({close, M - 1});
    }

    /// Copies text that needs no escapes; false where it does.
    static bool copyPlain(std::string_view text, char* to) noexcept {
        const char* const from = text.data();
        const std::size_t size = text.size();
        const auto copyWord = [&](std::size_t at) {
            std::uint64_t word;
            std::memcpy(&word, from + at, 8);
            std::memcpy(to + at, &word, 8);
            return !holdsSpecial(word);
        };
        if (size >= 8) {
            for (std::size_t at = 0; at < size - 8; at += 8) {
                if (!copyWord(at)) return false;
            }
            return copyWord(size - 8);
        }
        for (std::size_t at = 0; at < size; ++at) {
            if (!escapeOf(static_cast<UniChar>(from[at])).empty()) return false;
            to[at] = from[at];
        }
        return true;
    }

    /// Writes all of an element in one go, as most can be; false, and nothing written, when its text needs escapes. The
    /// tags are of sizes known here, so that they are moved without a call.
    template <std::size_t N, std::size_t M>
    bool writePlain(std::size_t indent, const char (&open)[N], std::string_view text, const char (&close)[M]) {
        char* const start = room(indent + kTabs.size() + (N - 1) + text.size() + (M - 1));
        char* to = putTabs(indent, start);
        std::memcpy(to, open, N - 1);
        to += N - 1;
        if (!copyPlain(text, to)) return false;
        to += text.size();
        std::memcpy(to, close, M - 1);
        out_.extend(static_cast<std::size_t>(to - start) + (M - 1));
        return true;
    }

    void writeEscaped(std::string_view text) {
        const char* from = text.data();
        const char* const end = from + text.size();
        while (from != end) {
            const char* const pieceEnd = end - from > kPiece ? from + kPiece : end;
            char* to = room(static_cast<std::size_t>(pieceEnd - from) * kLongestEscape);
            const char* const start = to;
            for (; from != pieceEnd; ++from) to = putASCII(static_cast<std::uint8_t>(*from), to);
            out_.extend(static_cast<std::size_t>(to - start));
        }
    }

    void writeWide(std::span<const UniChar> text) {
        const UniChar* from = text.data();
        const UniChar* const end = from + text.size();
        while (from != end) {
            const UniChar* const pieceEnd = end - from > kPiece ? from + kPiece : end;
            char* to = room((static_cast<std::size_t>(pieceEnd - from) + 1) * kLongestEscape);
            const char* const start = to;
            while (from < pieceEnd) {
                const UniChar unit = *from++;
                if (unit < 0x80) {
                    to = putASCII(unit, to);
                    continue;
                }
                // An escape has room, and so has what is written beyond a character.
                auto* const bytes = reinterpret_cast<unsigned char*>(to);
                if (unit < 0x800) {
                    UTF8Text::encodeAs<CharacterRange::From80>(unit, bytes);
                    to += UTF8Text::kLength<CharacterRange::From80>;
                } else if (!isSurrogate(unit)) {
                    UTF8Text::encodeAs<CharacterRange::From800>(unit, bytes);
                    to += UTF8Text::kLength<CharacterRange::From800>;
                } else {
                    to += UTF8Text::encode(characterOf(unit, from, end), bytes);
                }
            }
            out_.extend(static_cast<std::size_t>(to - start));
        }
    }

    static char* putASCII(UniChar c, char* to) noexcept {
        const std::string_view escape = escapeOf(c);
        if (!escape.empty()) return to + escape.copy(to, escape.size());
        *to++ = static_cast<char>(c);
        return to;
    }

    /// The character of a lead and the trail at `from`, which moves behind it.
    static char32_t characterOf(UniChar lead, const UniChar*& from, const UniChar* end) {
        if (!isLeadSurrogate(lead) || from == end || !isTrailSurrogate(*from)) {
            throwWriteFault("A string in the list holds half of a surrogate pair, which XML cannot hold");
        }
        return ofSurrogates(lead, *from++);
    }

    void writeNumber(CFNumberRef number, std::size_t indent) {
        char text[kNumberTextSize];
        if (number->isReal()) {
            writePlain(indent, "<real>", {text, formatReal(number->real, text)}, "</real>\n");
            return;
        }
        const auto written = number->isBeyondSInt64() ? std::to_chars(text, text + sizeof text, number->unsignedValue())
                                                      : std::to_chars(text, text + sizeof text, number->integer);
        writePlain(indent, "<integer>", {text, static_cast<std::size_t>(written.ptr - text)}, "</integer>\n");
    }

    void writeDate(CFDateRef date, std::size_t indent) {
        char text[kNumberTextSize];
        const std::size_t size = formatDate(CFDateGetAbsoluteTime(date), text);
        if (size == 0) throwWriteFault("A date in the list is no point in time that XML can hold");
        writePlain(indent, "<date>", {text, size}, "</date>\n");
    }

    void writeData(CFDataRef data, std::size_t indent) {
        const std::size_t lineIndent = indent < kDeepestDataIndent ? indent : kDeepestDataIndent;
        const std::size_t lineBytes = (kDataLineWidth - 8 * lineIndent) / 4 * 3;
        const UInt8* from = CFDataGetBytePtr(data);
        std::size_t left = static_cast<std::size_t>(CFDataGetLength(data));
        putIndented(indent, "<data>\n"sv);
        while (left != 0) {
            const std::size_t count = left < lineBytes ? left : lineBytes;
            char* const start = room(lineIndent + kDataLineWidth + 1);
            std::memset(start, '\t', lineIndent);
            char* const end = encodeBase64(from, count, start + lineIndent);
            *end = '\n';
            out_.extend(static_cast<std::size_t>(end + 1 - start));
            from += count;
            left -= count;
        }
        putIndented(indent, "</data>\n"sv);
    }

    PropertyListOutput& out_;
    PropertyListEntries entries_;
    std::size_t depth_ = 0;
};

}  // namespace

void writePropertyListXML(CFTypeRef list, PropertyListOutput& output) { XMLWriter(output).write(list); }

}  // namespace KXPlatform
