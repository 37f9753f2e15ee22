// Reads the XML of property lists in one pass over the bytes, without recursion.
//
//     document = prolog ( "<plist" attributes ">" value "</plist>" | value ) anything
//     prolog   = [ "<?xml ...?>" ] ( blank | comment | instruction | "<!DOCTYPE ...>" without an internal subset )*
//     value    = <dict> ( <key> value )* </dict> | <array> value* </array> | <string> | <key> (read as a string)
//              | <data> | <integer> | <real> | <date> | <true/> | <false/>
//
// There are no entities but XML's five and references to characters, so nothing in a document can grow. Attributes are
// skipped. Blanks, comments and instructions may stand between elements.

#include "PropertyListEncoding.h"
#include "PropertyListNumbers.h"
#include "PropertyListTree.h"

#include <array>
#include <bit>
#include <cstring>

namespace KXPlatform {
namespace {

using namespace std::string_view_literals;

constexpr std::uint64_t kOnes = 0x0101010101010101;
constexpr std::uint64_t kHighs = 0x8080808080808080;

/// Sets the high bit of the lowest byte of `word` that is zero, and perhaps of bytes above that one.
constexpr std::uint64_t zeroBytes(std::uint64_t word) noexcept { return (word - kOnes) & ~word & kHighs; }

/// The first '<', '&' or byte above 0x7F in [p, end), or `end`.
const char* skipPlainText(const char* p, const char* end) noexcept {
    if constexpr (std::endian::native == std::endian::little) {
        for (; end - p >= 8; p += 8) {
            std::uint64_t word;
            std::memcpy(&word, p, 8);
            const std::uint64_t found =
                zeroBytes(word ^ (kOnes * '<')) | zeroBytes(word ^ (kOnes * '&')) | (word & kHighs);
            if (found) return p + std::countr_zero(found) / 8;
        }
    }
    while (p != end && *p != '<' && *p != '&' && static_cast<std::uint8_t>(*p) < 0x80) ++p;
    return p;
}

bool isBlank(char c) noexcept { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

/// The value of each Base64 character; 64 for the padding, -1 for anything else, which is passed over.
constexpr std::array<std::int8_t, 256> kBase64Values = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        values[static_cast<std::uint8_t>(alphabet[i])] = static_cast<std::int8_t>(i);
    }
    values['='] = 64;
    return values;
}();

/// For each place in a group of four Base64 characters, what a character there adds to the group's three bytes, the
/// first of them in memory first, and kNoGroup for one that is no value.
constexpr std::uint32_t kNoGroup = 0x80000000;
constexpr std::array<std::array<std::uint32_t, 256>, 4> kBase64Groups = [] {
    std::array<std::array<std::uint32_t, 256>, 4> groups{};
    for (std::size_t place = 0; place < 4; ++place) {
        for (std::size_t character = 0; character < 256; ++character) {
            const int value = kBase64Values[character];
            if (value < 0 || value >= 64) {
                groups[place][character] = kNoGroup;
                continue;
            }
            const std::uint32_t bits = static_cast<std::uint32_t>(value) << (18 - 6 * place);
            const std::uint32_t first = bits >> 16, second = bits >> 8 & 0xFF, third = bits & 0xFF;
            groups[place][character] = first | second << 8 | third << 16;
        }
    }
    return groups;
}();

enum class Element { Unknown, PList, Dict, Array, Key, String, Data, Date, Integer, Real, True, False };

std::string_view nameOf(Element element) noexcept {
    switch (element) {
        case Element::PList:
            return "plist"sv;
        case Element::Dict:
            return "dict"sv;
        case Element::Array:
            return "array"sv;
        case Element::Key:
            return "key"sv;
        case Element::String:
            return "string"sv;
        case Element::Data:
            return "data"sv;
        case Element::Date:
            return "date"sv;
        case Element::Integer:
            return "integer"sv;
        case Element::Real:
            return "real"sv;
        case Element::True:
            return "true"sv;
        case Element::False:
            return "false"sv;
        case Element::Unknown:
            break;
    }
    return {};
}

Element elementNamed(std::string_view name) noexcept {
    switch (name.size()) {
        case 3:
            return name == "key"sv ? Element::Key : Element::Unknown;
        case 4:
            if (name == "dict"sv) return Element::Dict;
            if (name == "true"sv) return Element::True;
            if (name == "date"sv) return Element::Date;
            if (name == "data"sv) return Element::Data;
            return name == "real"sv ? Element::Real : Element::Unknown;
        case 5:
            if (name == "array"sv) return Element::Array;
            if (name == "false"sv) return Element::False;
            return name == "plist"sv ? Element::PList : Element::Unknown;
        case 6:
            return name == "string"sv ? Element::String : Element::Unknown;
        case 7:
            return name == "integer"sv ? Element::Integer : Element::Unknown;
        default:
            return Element::Unknown;
    }
}

class XMLReader {
  public:
    XMLReader(std::string_view document, PropertyListTree& tree) noexcept
        : document_(document), p_(document.data()), end_(p_ + document.size()), tree_(tree) {}

    void read() {
        if (next("<?xml")) skipPast("?>", "The XML declaration does not end; it begins");
        bool inPList = false;
        for (;;) {
            skipBlanks();
            if (p_ == end_) {
                fail(end_, tree_.inContainer() || inPList ? "The document ends within an open element"
                                                          : "The document holds no value; it ends");
            }
            const char* const start = p_;
            if (*p_ != '<') {
                fail(p_, tree_.inContainer() ? "Text between elements" : "Text outside of elements");
            }
            ++p_;
            const char first = p_ != end_ ? *p_ : '\0';
            if (first == '!') {
                readMarkup(start, !inPList && !tree_.inContainer());
            } else if (first == '?') {
                skipPast("?>", "A processing instruction that does not end begins");
            } else if (first == '/') {
                ++p_;
                if (inPList && !tree_.inContainer()) {
                    if (takeName() != "plist"sv) fail(start, "A closing element that matches none");
                    finishClosing(start);
                    if (!tree_.hasRoot()) fail(start, "A <plist> without a value");
                    return;
                }
                closeContainer(start);
            } else if (!inPList && !tree_.inContainer() && readPList(start)) {
                inPList = true;
                continue;
            } else {
                if (tree_.hasRoot()) fail(start, "A second value in <plist>");
                readElement(start);
            }
            if (!inPList && tree_.hasRoot()) return;
        }
    }

  private:
    /// How a start tag ended.
    enum class Tag { Open, Empty };

    [[noreturn]] void fail(const char* at, std::string_view reason) const { throwReadFaultAt(document_, at, reason); }

    [[noreturn]] void failInside(const char* start, Element element, std::string_view what) const {
        fail(start, std::string(what) + " <" + std::string(nameOf(element)) + ">");
    }

    /// Takes `text` when it comes next. Of a size known here, so that it is compared in a register.
    template <std::size_t N>
    bool next(const char (&text)[N]) noexcept {
        constexpr std::size_t size = N - 1;
        if (static_cast<std::size_t>(end_ - p_) < size || std::memcmp(p_, text, size) != 0) return false;
        p_ += size;
        return true;
    }

    void skipBlanks() noexcept {
        while (p_ != end_ && isBlank(*p_)) ++p_;
    }

    void skipPast(std::string_view text, std::string_view complaint) {
        const char* const start = p_;
        const std::size_t at = std::string_view(p_, static_cast<std::size_t>(end_ - p_)).find(text);
        if (at == std::string_view::npos) fail(start, complaint);
        p_ += at + text.size();
    }

    /// A comment or, where the document may still have one, the document type. `p_` is on the '!'.
    void readMarkup(const char* start, bool inProlog) {
        if (next("!--")) return skipPast("-->", "A comment that does not end begins");
        if (!inProlog || !next("!DOCTYPE")) fail(start, "Markup that has no meaning in a property list");
        for (char quote = '\0'; p_ != end_; ++p_) {
            if (quote) {
                if (*p_ == quote) quote = '\0';
            } else if (*p_ == '"' || *p_ == '\'') {
                quote = *p_;
            } else if (*p_ == '[') {
                fail(p_, "A document type with an internal subset");
            } else if (*p_ == '>') {
                ++p_;
                return;
            }
        }
        fail(start, "A document type that does not end begins");
    }

    std::string_view takeName() noexcept {
        const char* const start = p_;
        while (p_ != end_ && !isBlank(*p_) && *p_ != '>' && *p_ != '/' && *p_ != '<') ++p_;
        return {start, static_cast<std::size_t>(p_ - start)};
    }

    /// From behind the name of a start tag to behind its '>'.
    Tag finishOpening(const char* start) {
        if (p_ != end_ && *p_ == '>') {
            ++p_;
            return Tag::Open;
        }
        for (char quote = '\0'; p_ != end_; ++p_) {
            if (quote) {
                if (*p_ == quote) quote = '\0';
            } else if (*p_ == '"' || *p_ == '\'') {
                quote = *p_;
            } else if (*p_ == '<') {
                break;
            } else if (*p_ == '>') {
                const bool empty = p_[-1] == '/';
                ++p_;
                return empty ? Tag::Empty : Tag::Open;
            }
        }
        fail(start, "An element whose tag does not end begins");
    }

    /// From behind the name of a closing tag to behind its '>'.
    void finishClosing(const char* start) {
        skipBlanks();
        if (p_ == end_ || *p_ != '>') fail(start, "A closing tag that does not end begins");
        ++p_;
    }

    /// The element of the start tag that comes next and, but for <true/> and <false/>, holds no more than its name;
    /// Unknown, with nothing taken, for any other.
    Element takePlainTag() noexcept {
        if (p_ == end_) return Element::Unknown;
        switch (*p_) {
            case 'k':
                return next("key>") ? Element::Key : Element::Unknown;
            case 's':
                return next("string>") ? Element::String : Element::Unknown;
            case 'i':
                return next("integer>") ? Element::Integer : Element::Unknown;
            case 'd':
                if (next("dict>")) return Element::Dict;
                if (next("date>")) return Element::Date;
                return next("data>") ? Element::Data : Element::Unknown;
            case 'a':
                return next("array>") ? Element::Array : Element::Unknown;
            case 'r':
                return next("real>") ? Element::Real : Element::Unknown;
            case 't':
                return next("true/>") ? Element::True : Element::Unknown;
            case 'f':
                return next("false/>") ? Element::False : Element::Unknown;
            default:
                return Element::Unknown;
        }
    }

    bool nextClosing(Element element) noexcept {
        switch (element) {
            case Element::Key:
                return next("</key>");
            case Element::String:
                return next("</string>");
            case Element::Integer:
                return next("</integer>");
            case Element::Date:
                return next("</date>");
            case Element::Data:
                return next("</data>");
            case Element::Real:
                return next("</real>");
            default:
                return false;
        }
    }

    /// Takes the closing tag, which must come next.
    void expectClosing(const char* start, Element element) {
        if (nextClosing(element)) return;
        const char* const at = p_;
        if (next("</") && takeName() == nameOf(element)) {
            skipBlanks();
            if (p_ != end_ && *p_ == '>') {
                ++p_;
                return;
            }
        }
        if (at == end_) failInside(start, element, "The document ends within the element");
        fail(at, "Something other than text within <" + std::string(nameOf(element)) + ">");
    }

    /// Enters <plist>; false, with nothing taken, for any other element.
    bool readPList(const char* start) {
        const char* const at = p_;
        if (takeName() != "plist"sv) {
            p_ = at;
            return false;
        }
        if (finishOpening(start) == Tag::Empty) fail(start, "A <plist> without a value");
        return true;
    }

    void closeContainer(const char* start) {
        const std::string_view name = takeName();
        if (!tree_.inContainer() || name != (tree_.inDictionary() ? "dict"sv : "array"sv)) {
            fail(start, "The closing element </" + std::string(name.substr(0, 32)) + "> does not match the open one");
        }
        finishClosing(start);
        if (tree_.inDictionary() && !tree_.expectsKey()) fail(start, "A <key> without a value at the end of <dict>");
        tree_.close();
    }

    /// `p_` is behind the '<' of a start tag.
    void readElement(const char* start) {
        const bool asKey = tree_.expectsKey();
        Element element = takePlainTag();
        Tag tag = element == Element::True || element == Element::False ? Tag::Empty : Tag::Open;
        const bool isPlain = element != Element::Unknown;
        if (!isPlain) {
            const std::string_view name = takeName();
            element = elementNamed(name);
            if (element == Element::Unknown) fail(start, "Unknown element " + quoted(name));
        }
        if (asKey && element != Element::Key) {
            fail(start, "<" + std::string(nameOf(element)) + "> where a <key> must stand");
        }
        if (!isPlain) tag = finishOpening(start);
        switch (element) {
            case Element::Dict:
            case Element::Array:
                return openContainer(start, element, tag);
            case Element::Key:
            case Element::String:
                return readText(start, element, tag, asKey);
            case Element::Data:
                return readData(start, tag);
            case Element::True:
            case Element::False:
                if (tag == Tag::Open) expectClosing(start, element);
                return tree_.addBoolean(element == Element::True);
            case Element::Date: {
                const auto date = parseDate(readPlainText(start, element, tag));
                if (!date) failInside(start, element, "No date of the form 2001-12-31T23:59:59Z in");
                return tree_.addDate(*date);
            }
            case Element::Integer: {
                const auto integer = parseInteger(readPlainText(start, element, tag));
                if (!integer) failInside(start, element, "No integer from -2^63 to 2^64-1 in");
                if (!integer->negative) return tree_.addUnsigned(integer->magnitude);
                return tree_.addInteger(static_cast<std::int64_t>(0 - integer->magnitude));
            }
            case Element::Real: {
                const auto real = parseReal(readPlainText(start, element, tag));
                if (!real) failInside(start, element, "No number in");
                return tree_.addReal(*real);
            }
            case Element::PList:
            case Element::Unknown:
                break;
        }
        fail(start, "<plist> within the list");
    }

    void openContainer(const char* start, Element element, Tag tag) {
        try {
            if (element == Element::Dict) {
                tree_.openDictionary();
            } else {
                tree_.openArray();
            }
        } catch (const PropertyListFault& fault) {
            fail(start, fault.reason);
        }
        if (tag == Tag::Empty) tree_.close();
    }

    /// The text of an element that holds nothing but a few plain characters.
    std::string_view readPlainText(const char* start, Element element, Tag tag) {
        if (tag == Tag::Empty) return {};
        const char* const from = p_;
        const auto rest = static_cast<std::size_t>(end_ - p_);
        const void* const closing = rest == 0 ? nullptr : std::memchr(p_, '<', rest);
        p_ = closing ? static_cast<const char*>(closing) : end_;
        const std::string_view text(from, static_cast<std::size_t>(p_ - from));
        expectClosing(start, element);
        return text;
    }

    void readText(const char* start, Element element, Tag tag, bool asKey) {
        const char* const from = p_;
        if (tag == Tag::Open) {
            p_ = skipPlainText(p_, end_);
            if (p_ != end_ && (*p_ != '<' || (end_ - p_ > 1 && p_[1] == '!'))) {
                return readRichText(start, element, from, asKey);
            }
        }
        const std::string_view text(from, static_cast<std::size_t>(p_ - from));
        if (tag == Tag::Open) expectClosing(start, element);
        if (asKey) {
            tree_.addKey(text);
        } else {
            tree_.addString(text);
        }
    }

    /// Text from `from` on that is not plain ASCII up to its closing tag.
    void readRichText(const char* start, Element element, const char* from, bool asKey) {
        wide_.truncate(0);
        p_ = from;
        for (;;) {
            const char* const run = p_;
            while (p_ != end_ && *p_ != '<' && *p_ != '&') ++p_;
            takeUTF8(run, p_);
            if (p_ == end_) failInside(start, element, "The document ends within the element");
            if (*p_ == '&') {
                readReference();
            } else if (next("<![CDATA[")) {
                const char* const inside = p_;
                skipPast("]]>", "A CDATA section that does not end begins");
                takeUTF8(inside, p_ - 3);
            } else {
                break;
            }
        }
        expectClosing(start, element);
        const std::span<const UniChar> text(wide_.data(), wide_.size());
        if (asKey) {
            tree_.addKey(text);
        } else {
            tree_.addString(text);
        }
    }

    void takeUTF8(const char* from, const char* to) {
        const char* const fault = appendUTF8({from, static_cast<std::size_t>(to - from)}, wide_);
        if (fault) fail(fault, "A character that is not UTF-8");
    }

    /// A reference to a character: `p_` is on its '&' and moves behind its ';'.
    void readReference() {
        if (next("&lt;")) return wide_.push_back('<');
        if (next("&gt;")) return wide_.push_back('>');
        if (next("&amp;")) return wide_.push_back('&');
        if (next("&quot;")) return wide_.push_back('"');
        if (next("&apos;")) return wide_.push_back('\'');
        const char* const start = p_;
        if (!next("&#")) fail(start, "An unknown entity");
        const unsigned base = next("x") ? 16 : 10;
        char32_t point = 0;
        const char* const digits = p_;
        for (; p_ != end_ && *p_ != ';'; ++p_) {
            const char c = *p_;
            unsigned digit = 16;
            if (c >= '0' && c <= '9') digit = static_cast<unsigned>(c - '0');
            if (c >= 'a' && c <= 'f') digit = static_cast<unsigned>(c - 'a' + 10);
            if (c >= 'A' && c <= 'F') digit = static_cast<unsigned>(c - 'A' + 10);
            if (digit >= base) fail(start, "A malformed reference to a character");
            point = point * base + digit;
            if (point > 0x10FFFF) fail(start, "A reference to a character above 10FFFF");
        }
        if (p_ == end_ || p_ == digits) fail(start, "A malformed reference to a character");
        if (point >= 0xD800 && point <= 0xDFFF) fail(start, "A reference to half of a surrogate pair");
        ++p_;
        appendCodePoint(point, wide_);
    }

    /// Groups of four Base64 characters; what belongs to none is passed over, and so is a last group that is not whole.
    void readData(const char* start, Tag tag) {
        const std::string_view text = readPlainText(start, Element::Data, tag);
        bytes_.truncate(0);
        UInt8* out = bytes_.room(text.size() / 4 * 3 + 4);  // groups are written as four bytes, of which three count
        UInt8* const first = out;
        std::uint32_t group = 0;
        unsigned inGroup = 0;
        unsigned padding = 0;
        const auto valueOf = [](char c) -> int { return kBase64Values[static_cast<std::uint8_t>(c)]; };
        const char* p = text.data();
        const char* const end = p + text.size();
        while (p != end) {
            // Groups whose characters stand together, as they nearly always do.
            for (; inGroup == 0 && end - p >= 4; p += 4, out += 3) {
                const auto addedBy = [p](std::size_t i) { return kBase64Groups[i][static_cast<std::uint8_t>(p[i])]; };
                const std::uint32_t bytes = addedBy(0) | addedBy(1) | addedBy(2) | addedBy(3);
                if (bytes & kNoGroup) break;
                if constexpr (std::endian::native == std::endian::little) {
                    std::memcpy(out, &bytes, sizeof bytes);
                } else {
                    for (unsigned i = 0; i < 3; ++i) out[i] = static_cast<UInt8>(bytes >> 8 * i);
                }
            }
            if (p == end) break;
            const int value = valueOf(*p++);
            if (value < 0) continue;
            if (value == 64) ++padding;
            group = group << 6 | (static_cast<std::uint32_t>(value) & 63);
            if (++inGroup < 4) continue;
            *out++ = static_cast<UInt8>(group >> 16);
            if (padding < 2) *out++ = static_cast<UInt8>(group >> 8);
            if (padding < 1) *out++ = static_cast<UInt8>(group);
            group = 0;
            inGroup = 0;
            padding = 0;
        }
        tree_.addData({first, static_cast<std::size_t>(out - first)});
    }

    const std::string_view document_;
    const char* p_;
    const char* const end_;
    PropertyListTree& tree_;
    WideScratch wide_;
    SmallVector<UInt8, 512> bytes_;
};

}  // namespace

bool looksLikePropertyListXML(std::string_view document) noexcept {
    const char* p = document.data();
    const char* const end = p + document.size();
    while (p != end && isBlank(*p)) ++p;
    if (p == end || *p != '<') return false;
    for (++p; p != end && *p != '>'; ++p) {
        const bool hex = (*p >= '0' && *p <= '9') || (*p >= 'a' && *p <= 'f') || (*p >= 'A' && *p <= 'F');
        if (!hex && !isBlank(*p)) return true;
    }
    return false;
}

void readPropertyListXML(std::string_view document, PropertyListTree& tree) { XMLReader(document, tree).read(); }

}  // namespace KXPlatform
