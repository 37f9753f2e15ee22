#include "PropertyListXMLScanner.h"

#include "Support/WordAtATime.h"

#include <bit>
#include <cstdint>

namespace KXPlatform {
namespace {

/// The first '<', '&' or byte above 0x7F in [p, end), or `end`.
const char* skipPlainText(const char* p, const char* end) noexcept {
    for (; end - p >= 8; p += 8) {
        std::uint64_t word;
        std::memcpy(&word, p, 8);
        const std::uint64_t found =
            zeroBytes(word ^ everywhere('<')) | zeroBytes(word ^ everywhere('&')) | (word & kHighBits);
        if (found) return p + std::countr_zero(found) / 8;
    }
    while (p != end && *p != '<' && *p != '&' && static_cast<std::uint8_t>(*p) < 0x80) ++p;
    return p;
}

}  // namespace

void XMLScanner::fail(const char* at, std::string_view reason) const { throwReadFaultAt(document_, at, reason); }

void XMLScanner::failInside(const char* start, XMLElement element, std::string_view what) const {
    fail(start, std::string(what) + " <" + std::string(nameOf(element)) + ">");
}

void XMLScanner::skipPast(std::string_view text, std::string_view complaint) {
    const char* const start = p_;
    const std::size_t at = std::string_view(p_, static_cast<std::size_t>(end_ - p_)).find(text);
    if (at == std::string_view::npos) fail(start, complaint);
    p_ += at + text.size();
}

void XMLScanner::skipDeclaration() {
    if (next("<?xml")) skipPast("?>", "The XML declaration does not end; it begins");
}

void XMLScanner::skipInstruction() { skipPast("?>", "A processing instruction that does not end begins"); }

void XMLScanner::skipMarkup(const char* start, bool inProlog) {
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

std::string_view XMLScanner::takeName() noexcept {
    const char* const start = p_;
    while (p_ != end_ && !isBlank(*p_) && *p_ != '>' && *p_ != '/' && *p_ != '<') ++p_;
    return {start, static_cast<std::size_t>(p_ - start)};
}

XMLScanner::Tag XMLScanner::finishStartTag(const char* start) {
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

void XMLScanner::finishEndTag(const char* start) {
    skipBlanks();
    if (p_ == end_ || *p_ != '>') fail(start, "A closing tag that does not end begins");
    ++p_;
}

void XMLScanner::expectUnusualEndTag(const char* start, XMLElement element) {
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

std::optional<std::string_view> XMLScanner::takeText(const char* start, XMLElement element, Tag tag) {
    if (tag == Tag::Empty) return std::string_view();
    const char* const from = p_;
    p_ = skipPlainText(p_, end_);
    if (p_ != end_ && (*p_ != '<' || (end_ - p_ > 1 && p_[1] == '!'))) {
        takeWideText(start, element, from);
        return std::nullopt;
    }
    const std::string_view text(from, static_cast<std::size_t>(p_ - from));
    expectEndTag(start, element);
    return text;
}

/// Text from `from` on that is not plain ASCII up to its end tag.
void XMLScanner::takeWideText(const char* start, XMLElement element, const char* from) {
    wide_.truncate(0);
    p_ = from;
    for (;;) {
        const char* const run = p_;
        while (p_ != end_ && *p_ != '<' && *p_ != '&') ++p_;
        takeUTF8(run, p_);
        if (p_ == end_) failInside(start, element, "The document ends within the element");
        if (*p_ == '&') {
            takeReference();
        } else if (next("<![CDATA[")) {
            const char* const inside = p_;
            skipPast("]]>", "A CDATA section that does not end begins");
            takeUTF8(inside, p_ - 3);
        } else {
            break;
        }
    }
    expectEndTag(start, element);
}

void XMLScanner::takeUTF8(const char* from, const char* to) {
    const char* const fault = appendUTF8({from, static_cast<std::size_t>(to - from)}, wide_);
    if (fault) fail(fault, "A character that is not UTF-8");
}

/// A reference to a character: `p_` is on its '&' and moves behind its ';'.
void XMLScanner::takeReference() {
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
    if (isSurrogate(point)) fail(start, "A reference to half of a surrogate pair");
    ++p_;
    appendCharacter(point, wide_);
}

}  // namespace KXPlatform
