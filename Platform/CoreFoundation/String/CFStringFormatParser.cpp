#include "CFStringFormatParser.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace KXPlatform {

namespace {

bool isPointer(ArgumentKind kind) noexcept { return kind >= ArgumentKind::Object; }

std::optional<ArgumentKind> kindOf(char conversion, FormatLength length) noexcept {
    switch (conversion) {
        case 'd':
        case 'D':
        case 'i':
        case 'u':
        case 'U':
        case 'x':
        case 'X':
        case 'o':
        case 'O':
            return length == FormatLength::Long || length == FormatLength::LongDouble ? ArgumentKind::Long
                                                                                      : ArgumentKind::Int;
        case 'c':
        case 'C':
            return ArgumentKind::Int;
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            return length == FormatLength::LongDouble ? ArgumentKind::LongDouble : ArgumentKind::Double;
        case 's':
            return length == FormatLength::Long ? ArgumentKind::WideCString : ArgumentKind::CString;
        case 'S':
            return ArgumentKind::Units;
        case '@':
            return ArgumentKind::Object;
        case 'p':
        case 'n':
            return ArgumentKind::Pointer;
        default:
            return std::nullopt;
    }
}

/// What an argument is that two specifiers ask for; none where it cannot be both.
std::optional<ArgumentKind> merged(ArgumentKind a, ArgumentKind b) noexcept {
    if (a == b || b == ArgumentKind::Unused) return a;
    if (a == ArgumentKind::Unused) return b;
    if (a > b) std::swap(a, b);
    if (a == ArgumentKind::Int && b == ArgumentKind::Long) return b;
    if (isPointer(a) && b == ArgumentKind::Pointer) return a;
    return std::nullopt;
}

class Parser {
  public:
    Parser(TextView text, ParsedFormat& result) : text_(text), result_(result) {}

    void run() {
        while (seekPercent()) {
            FormatSpecifier specifier;
            specifier.start = at_++;
            const int next = next_;
            if (!parse(specifier) || !claimArguments(specifier)) {
                // Nothing is taken by what is no specifier, and what follows its "%" is ordinary text.
                next_ = next;
                at_ = specifier.start + 1;
                specifier = {.start = specifier.start};
            }
            specifier.end = at_;
            result_.specifiers.push_back(specifier);
        }
    }

  private:
    bool seekPercent() noexcept {
        if (at_ >= text_.length) return false;
        if (text_.isWide()) {
            const UniChar* const end = text_.wide + text_.length;
            at_ = std::find(text_.wide + at_, end, UniChar{'%'}) - text_.wide;
            return at_ < text_.length;
        }
        const void* const found = std::memchr(text_.ascii + at_, '%', static_cast<std::size_t>(text_.length - at_));
        if (!found) return false;
        at_ = static_cast<const char*>(found) - text_.ascii;
        return true;
    }

    /// The unit at hand; 0 at the end and for what no specifier consists of.
    char peek() const noexcept {
        return at_ < text_.length && text_[at_] < 0x80 ? static_cast<char>(text_[at_]) : '\0';
    }

    bool accept(char c) noexcept {
        if (peek() != c) return false;
        ++at_;
        return true;
    }

    /// A number, held at kWidestField; kNone where there is no digit.
    int parseNumber() noexcept {
        int number = FormatSpecifier::kNone;
        for (char c = peek(); c >= '0' && c <= '9'; c = peek()) {
            number = std::min(std::max(number, 0) * 10 + (c - '0'), kWidestField);
            ++at_;
        }
        return number;
    }

    /// "2$" as the index 1; kNone, and nothing read, where no position stands.
    int parsePosition() noexcept {
        const CFIndex before = at_;
        const int number = parseNumber();
        if (number > 0 && accept('$')) return number - 1;
        at_ = before;
        return FormatSpecifier::kNone;
    }

    int parsePositionOrNext() noexcept {
        const int position = parsePosition();
        return position != FormatSpecifier::kNone ? position : next_++;
    }

    void parseFlags(FormatSpecifier& specifier) noexcept {
        for (;; ++at_) {
            switch (peek()) {
                case '-':
                    specifier.left = true;
                    break;
                case '+':
                    specifier.plus = true;
                    break;
                case ' ':
                    specifier.space = true;
                    break;
                case '#':
                    specifier.alternative = true;
                    break;
                case '0':
                    specifier.zero = true;
                    break;
                case '\'':
                    break;  // groups digits by the rules of a locale; the root has none
                default:
                    return;
            }
        }
    }

    FormatLength parseLength() noexcept {
        if (accept('h')) return accept('h') ? FormatLength::Char : FormatLength::Short;
        if (accept('l')) {
            accept('l');
            return FormatLength::Long;
        }
        if (accept('L')) return FormatLength::LongDouble;
        return accept('q') || accept('z') || accept('t') || accept('j') ? FormatLength::Long : FormatLength::None;
    }

    bool parse(FormatSpecifier& specifier) noexcept {
        specifier.argument = parsePosition();
        parseFlags(specifier);
        if (accept('*'))
            specifier.widthArgument = parsePositionOrNext();
        else
            specifier.width = parseNumber();
        if (accept('.')) {
            if (accept('*'))
                specifier.precisionArgument = parsePositionOrNext();
            else
                specifier.precision = std::max(parseNumber(), 0);
        }
        specifier.length = parseLength();
        specifier.conversion = peek();
        if (specifier.conversion == '\0') return false;
        ++at_;
        if (specifier.conversion != '%' && !kindOf(specifier.conversion, specifier.length)) return false;
        if (specifier.conversion != '%' && specifier.argument == FormatSpecifier::kNone) specifier.argument = next_++;
        return true;
    }

    struct Claim {
        int index;
        ArgumentKind kind;
    };

    ArgumentKind claimed(int index) const noexcept {
        const auto at = static_cast<std::size_t>(index);
        return at < result_.arguments.size() ? result_.arguments[at] : ArgumentKind::Unused;
    }

    /// Writes down what the specifier asks for. False, and nothing written, where it cannot have that.
    bool claimArguments(const FormatSpecifier& specifier) {
        if (specifier.conversion == '%') return true;
        const Claim claims[] = {{specifier.widthArgument, ArgumentKind::Int},
                                {specifier.precisionArgument, ArgumentKind::Int},
                                {specifier.argument, *kindOf(specifier.conversion, specifier.length)}};
        for (const Claim& claim : claims) {
            if (claim.index == FormatSpecifier::kNone) continue;
            if (claim.index >= kHighestPosition || !merged(claimed(claim.index), claim.kind)) return false;
            // A specifier must not ask for one argument as two things either ("%1$*1$s").
            for (const Claim& other : claims)
                if (other.index == claim.index && !merged(other.kind, claim.kind)) return false;
        }
        for (const Claim& claim : claims) {
            if (claim.index == FormatSpecifier::kNone) continue;
            const auto at = static_cast<std::size_t>(claim.index);
            if (at >= result_.arguments.size()) result_.arguments.resize(at + 1, ArgumentKind::Unused);
            result_.arguments[at] = merged(result_.arguments[at], claim.kind).value_or(claim.kind);
        }
        return true;
    }

    TextView text_;
    ParsedFormat& result_;
    CFIndex at_ = 0;
    int next_ = 0;  ///< the index that the next specifier without a position takes
};

}  // namespace

ParsedFormat parseFormat(TextView format, std::pmr::memory_resource* memory) {
    constexpr std::size_t kUsual = 6;
    ParsedFormat result(memory);
    result.specifiers.reserve(kUsual);
    result.arguments.reserve(kUsual);
    Parser(format, result).run();
    return result;
}

bool isCompatible(const ParsedFormat& format, const ParsedFormat& valid) noexcept {
    if (format.arguments.size() > valid.arguments.size()) return false;
    for (const FormatSpecifier& specifier : format.specifiers)
        if (specifier.conversion == 0) return false;
    for (std::size_t i = 0; i < format.arguments.size(); ++i) {
        const ArgumentKind wanted = format.arguments[i], given = valid.arguments[i];
        if (wanted == given || wanted == ArgumentKind::Unused) continue;
        if (wanted != ArgumentKind::Pointer || !isPointer(given)) return false;
    }
    return true;
}

}  // namespace KXPlatform
