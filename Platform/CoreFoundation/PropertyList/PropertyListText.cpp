// Reads the old text style of property lists:
//
//     document = value | pair* (the form without braces)
//     value    = string | "{" pair* "}" | "(" [ value ( "," value )* [ "," ] ] ")" | "<" hex digits and blanks ">"
//     pair     = string [ "=" value ] ";"      (without a value: the key itself)
//     string   = letters, digits and "_$/:.-"  |  text in ' or ", with \-escapes
//
// Everything that is no container or data is a string. Blanks and comments (// and /* */) may stand anywhere between.

#include "CoreFoundation/String/CFStringObject.h"
#include "PropertyListTree.h"
#include "PropertyListWideText.h"

namespace KXPlatform {
namespace {

using namespace std::string_view_literals;

int hexValue(char c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isBare(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '$' ||
           c == '/' || c == ':' || c == '.' || c == '-';
}

bool isBlank(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// What an octal escape stands for: a character of the NeXTSTEP encoding.
UniChar characterOfNextStep(UInt8 byte) noexcept {
    if (byte < 0x80) return byte;
    const CFStringRef string =
        CFStringCreateWithBytes(kCFAllocatorSystemDefault, &byte, 1, kCFStringEncodingNextStepLatin, false);
    const UniChar character = string && CFStringGetLength(string) == 1 ? CFStringGetCharacterAtIndex(string, 0) : byte;
    CFRelease(string);
    return character;
}

class TextReader {
  public:
    TextReader(std::string_view document, PropertyListTree& tree) noexcept
        : document_(document), p_(document.data()), end_(p_ + document.size()), tree_(tree) {}

    void read() {
        skipBlanks();
        if (p_ == end_) {
            // Nothing but blanks and comments: no pairs.
            tree_.openDictionary();
            return tree_.close();
        }
        if (*p_ != '{' && *p_ != '(' && *p_ != '<') {
            // A string is the whole document, or the key of the first of pairs without braces around them.
            const char* const start = p_;
            takeString();
            skipBlanks();
            if (p_ == end_) return addString();
            p_ = start;
            open(true);
            endsWithoutBrace_ = true;
        }
        do {
            readItem();
        } while (tree_.inContainer());
        skipBlanks();
        if (p_ != end_) fail(p_, "Something behind the end of the list");
    }

  private:
    [[noreturn]] void fail(const char* at, std::string_view reason) const { throwReadFaultAt(document_, at, reason); }

    void skipBlanks() {
        for (;;) {
            while (p_ != end_ && isBlank(*p_)) ++p_;
            if (end_ - p_ < 2 || *p_ != '/') return;
            if (p_[1] == '/') {
                while (p_ != end_ && *p_ != '\n' && *p_ != '\r') ++p_;
            } else if (p_[1] == '*') {
                const std::size_t close =
                    std::string_view(p_ + 2, static_cast<std::size_t>(end_ - p_ - 2)).find("*/"sv);
                if (close == std::string_view::npos) fail(p_, "A comment that does not end begins");
                p_ += 2 + close + 2;
            } else {
                return;
            }
        }
    }

    bool isNext(char c) {
        skipBlanks();
        return p_ != end_ && *p_ == c;
    }

    bool take(char c) {
        if (!isNext(c)) return false;
        ++p_;
        return true;
    }

    /// The next value, pair or end of the innermost open container.
    void readItem() {
        if (!tree_.inDictionary()) return tree_.inContainer() && take(')') ? close() : readValue();
        if (endsDictionary()) return close();
        takeString();
        addKey();
        if (take('=')) return readValue();
        addString();
        finishValue();
    }

    bool endsDictionary() {
        if (!endsWithoutBrace_ || depth_ != 1) return take('}');
        skipBlanks();
        return p_ == end_;
    }

    void readValue() {
        skipBlanks();
        if (p_ != end_ && (*p_ == '{' || *p_ == '(')) return open(*p_++ == '{');
        if (take('<')) {
            readData();
        } else {
            takeString();
            addString();
        }
        finishValue();
    }

    /// What must follow a value where it stands.
    void finishValue() {
        if (tree_.inDictionary()) {
            if (!take(';')) fail(p_, "A missing ';'");
        } else if (tree_.inContainer() && !take(',') && !isNext(')')) {
            fail(p_, "A missing ',' or ')'");
        }
    }

    void open(bool isDictionary) {
        try {
            if (isDictionary) {
                tree_.openDictionary();
            } else {
                tree_.openArray();
            }
        } catch (const PropertyListFault& fault) {
            fail(p_, fault.reason);
        }
        ++depth_;
    }

    void close() {
        tree_.close();
        --depth_;
        finishValue();
    }

    void readData() {
        bytes_.truncate(0);
        int high = -1;
        for (;; ++p_) {
            skipBlanks();
            if (p_ == end_) fail(p_, "The document ends within data");
            if (*p_ == '>') break;
            const int digit = hexValue(*p_);
            if (digit < 0) fail(p_, "A character that is no hexadecimal digit within data");
            if (high >= 0) bytes_.push_back(static_cast<UInt8>(high << 4 | digit));
            high = high < 0 ? digit : -1;
        }
        if (high >= 0) fail(p_, "An odd number of hexadecimal digits within data");
        ++p_;
        tree_.addData({bytes_.data(), bytes_.size()});
    }

    // ---- Strings

    void addKey() {
        if (isWide_) return tree_.addKey(std::span<const UniChar>(wide_.data(), wide_.size()));
        tree_.addKey(narrow_);
    }

    void addString() {
        if (isWide_) return tree_.addString(std::span<const UniChar>(wide_.data(), wide_.size()));
        tree_.addString(narrow_);
    }

    /// Takes the string that must come next; addKey() and addString() add it.
    void takeString() {
        skipBlanks();
        if (p_ == end_) fail(p_, "The document ends where a string must stand");
        if (*p_ == '"' || *p_ == '\'') return takeQuoted(*p_++);
        const char* const start = p_;
        while (p_ != end_ && isBare(*p_)) ++p_;
        if (p_ == start) fail(p_, "A character that no string without quotes may hold");
        narrow_ = {start, static_cast<std::size_t>(p_ - start)};
        isWide_ = false;
    }

    void takeQuoted(char quote) {
        const char* const start = p_ - 1;
        wide_.truncate(0);
        isWide_ = true;
        for (;;) {
            const char* const run = p_;
            while (p_ != end_ && *p_ != quote && *p_ != '\\') ++p_;
            const char* const fault = appendUTF8({run, static_cast<std::size_t>(p_ - run)}, wide_);
            if (fault) fail(fault, "A character that is not UTF-8");
            if (p_ == end_) fail(start, "A string without its closing quote begins");
            if (*p_++ == quote) break;
            if (p_ == end_) fail(start, "A string without its closing quote begins");
            takeEscape();
        }
        if (!isWellFormed(wide_)) fail(start, "Half of a surrogate pair in the string that begins");
    }

    /// What a backslash before `p_` and the character there stand for.
    void takeEscape() {
        const char c = *p_++;
        switch (c) {
            case 'a':
                return wide_.push_back('\a');
            case 'b':
                return wide_.push_back('\b');
            case 'f':
                return wide_.push_back('\f');
            case 'n':
                return wide_.push_back('\n');
            case 'r':
                return wide_.push_back('\r');
            case 't':
                return wide_.push_back('\t');
            case 'v':
                return wide_.push_back('\v');
            case 'U': {
                unsigned unit = 0;
                for (int digits = 0; digits < 4 && p_ != end_ && hexValue(*p_) >= 0; ++digits) {
                    unit = unit << 4 | static_cast<unsigned>(hexValue(*p_++));
                }
                return wide_.push_back(static_cast<UniChar>(unit));
            }
            default:
                break;
        }
        if (c >= '0' && c <= '7') {
            unsigned byte = static_cast<unsigned>(c - '0');
            for (int digits = 1; digits < 3 && p_ != end_ && *p_ >= '0' && *p_ <= '7'; ++digits) {
                byte = byte << 3 | static_cast<unsigned>(*p_++ - '0');
            }
            return wide_.push_back(characterOfNextStep(static_cast<UInt8>(byte)));
        }
        // Anything else stands for itself, and may be the first byte of several.
        if (static_cast<UInt8>(c) < 0x80) return wide_.push_back(static_cast<UniChar>(c));
        --p_;
    }

    const std::string_view document_;
    const char* p_;
    const char* const end_;
    PropertyListTree& tree_;
    std::size_t depth_ = 0;
    bool endsWithoutBrace_ = false;
    bool isWide_ = false;
    std::string_view narrow_;
    WideText wide_;
    SmallVector<UInt8, 256> bytes_;
};

}  // namespace

void readPropertyListText(std::string_view document, PropertyListTree& tree) { TextReader(document, tree).read(); }

}  // namespace KXPlatform
