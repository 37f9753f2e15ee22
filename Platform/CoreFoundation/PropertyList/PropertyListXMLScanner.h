#pragma once

// The words of a property list in XML: tags, the text of elements, and what may stand between them. What the elements
// mean together is the reader's business.

#include "PropertyListFault.h"
#include "PropertyListWideText.h"
#include "PropertyListXMLElements.h"

#include <cstring>
#include <optional>
#include <string_view>

namespace KXPlatform {

/// Goes through a document once, from front to back. `start` is always the place of the '<' that the words belong to,
/// for the message about what is wrong with them.
class XMLScanner {
  public:
    /// How a start tag ended.
    enum class Tag { Open, Empty };

    explicit XMLScanner(std::string_view document) noexcept
        : document_(document), p_(document.data()), end_(p_ + document.size()) {}

    const char* at() const noexcept { return p_; }
    bool isAtEnd() const noexcept { return p_ == end_; }
    /// The next character; NUL at the end.
    char peek() const noexcept { return p_ != end_ ? *p_ : '\0'; }
    void skip() noexcept { ++p_; }
    /// Back to a place that at() gave.
    void goBack(const char* at) noexcept { p_ = at; }

    [[noreturn]] void fail(const char* at, std::string_view reason) const;
    /// The same with the element's name behind `what`.
    [[noreturn]] void failInside(const char* start, XMLElement element, std::string_view what) const;

    // ---- Between the elements

    void skipBlanks() noexcept {
        while (p_ != end_ && isBlank(*p_)) ++p_;
    }
    void skipDeclaration();
    /// Behind '<', on '?'.
    void skipInstruction();
    /// A comment or, where the document may still have one, the document type. Behind '<', on '!'.
    void skipMarkup(const char* start, bool inProlog);

    // ---- Tags

    std::string_view takeName() noexcept;
    /// The element of the start tag that comes next when it is a plain one; Unknown, with nothing taken, for any other.
    XMLElement takePlainTag() noexcept {
        if (end_ - p_ < 8) return XMLElement::Unknown;
        const XMLElement element = elementOfPlainTag(XMLPlainTag::eightAt(p_));
        if (element != XMLElement::Unknown) p_ += kXMLPlainTags[static_cast<std::size_t>(element)].size();
        return element;
    }
    /// From behind the name of a start tag to behind its '>'.
    Tag finishStartTag(const char* start);
    /// From behind the name of an end tag to behind its '>'.
    void finishEndTag(const char* start);
    /// Takes the end tag of `element`, which must come next.
    void expectEndTag(const char* start, XMLElement element) {
        if (end_ - p_ >= 10 && p_[0] == '<' && p_[1] == '/') {
            const XMLPlainTag& tag = kXMLPlainTags[static_cast<std::size_t>(element)];
            if (tag.begins(XMLPlainTag::eightAt(p_ + 2))) {
                p_ += 2 + tag.size();
                return;
            }
        }
        expectUnusualEndTag(start, element);
    }

    // ---- The text of an element, taken with its end tag

    /// Of one that holds nothing but a few plain characters.
    std::string_view takePlainText(const char* start, XMLElement element, Tag tag) {
        if (tag == Tag::Empty) return {};
        const char* const from = p_;
        const auto rest = static_cast<std::size_t>(end_ - p_);
        const void* const closing = rest == 0 ? nullptr : std::memchr(p_, '<', rest);
        p_ = closing ? static_cast<const char*>(closing) : end_;
        const std::string_view text(from, static_cast<std::size_t>(p_ - from));
        expectEndTag(start, element);
        return text;
    }

    /// The text as it stands in the document when it is plain ASCII; otherwise nothing, and the text is in wide().
    std::optional<std::string_view> takeText(const char* start, XMLElement element, Tag tag);
    const WideText& wide() const noexcept { return wide_; }

    static bool isBlank(char c) noexcept { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

  private:
    /// Takes `text` when it comes next. Of a size known here, so that it is compared in a register.
    template <std::size_t N>
    bool next(const char (&text)[N]) noexcept {
        constexpr std::size_t size = N - 1;
        if (static_cast<std::size_t>(end_ - p_) < size || std::memcmp(p_, text, size) != 0) return false;
        p_ += size;
        return true;
    }

    void skipPast(std::string_view text, std::string_view complaint);
    void expectUnusualEndTag(const char* start, XMLElement element);
    void takeWideText(const char* start, XMLElement element, const char* from);
    void takeUTF8(const char* from, const char* to);
    void takeReference();

    const std::string_view document_;
    const char* p_;
    const char* const end_;
    WideText wide_;
};

}  // namespace KXPlatform
