#include <KXCoreLib/EvalBitMask.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace {

enum class Token : std::uint8_t { End, Value, Open, Close, Comma, Or, Xor, And, Minus, Tilde };

// ---------------------------------------------------------------------------------------------------------- scanner

enum class Byte : std::uint8_t { End, Space, Punctuation, Digit, Letter, Other };

struct ByteTraits {
    Byte kind = Byte::Other;
    Token token = Token::End;    // of a punctuation byte
    std::uint8_t digit = 16;     // the value of a hexadecimal digit; 16 for what is none
    bool continuesName = false;  // may stand in a name after its first letter
};

constexpr std::array<ByteTraits, 256> kBytes = [] {
    std::array<ByteTraits, 256> bytes{};
    bytes[0].kind = Byte::End;
    bytes[' '].kind = bytes['\t'].kind = bytes['\n'].kind = Byte::Space;
    for (unsigned c = 0; c < 26; ++c) {
        bytes['a' + c].kind = bytes['A' + c].kind = Byte::Letter;
        bytes['a' + c].continuesName = bytes['A' + c].continuesName = true;
    }
    bytes['_'].kind = Byte::Letter;
    bytes['_'].continuesName = true;
    for (unsigned c = 0; c < 10; ++c) {
        bytes['0' + c].kind = Byte::Digit;
        bytes['0' + c].digit = static_cast<std::uint8_t>(c);
        bytes['0' + c].continuesName = true;
    }
    for (unsigned c = 0; c < 6; ++c) bytes['a' + c].digit = bytes['A' + c].digit = static_cast<std::uint8_t>(10 + c);
    const struct {
        unsigned char byte;
        Token token;
    } marks[] = {{',', Token::Comma}, {'(', Token::Open}, {')', Token::Close}, {'-', Token::Minus},
                 {'&', Token::And},   {'|', Token::Or},   {'^', Token::Xor},   {'~', Token::Tilde}};
    for (const auto& mark : marks) {
        bytes[mark.byte].kind = Byte::Punctuation;
        bytes[mark.byte].token = mark.token;
    }
    return bytes;
}();

constexpr const ByteTraits& Traits(char c) { return kBytes[static_cast<unsigned char>(c)]; }

/// The value of the digits in [from, to), cut off at the largest signed value as strtol cuts it.
constexpr std::uint64_t Number(const char* from, const char* to, unsigned base) {
    constexpr std::uint64_t kLargest = INT64_MAX;
    std::uint64_t number = 0;
    for (; from != to; ++from) {
        const unsigned digit = Traits(*from).digit;
        if (number > (kLargest - digit) / base) return kLargest;
        number = number * base + digit;
    }
    return number;
}

/// Whether the name of `length` bytes is the beginning of `row`, or all of it, regardless of case. Of ASCII letters
/// only, whatever the process's locale says of case: a text means the same mask everywhere.
bool Begins(const char* name, std::size_t length, const char* row) {
    for (std::size_t i = 0; i != length; ++i) {
        const unsigned difference = static_cast<unsigned char>(name[i]) ^ static_cast<unsigned char>(row[i]);
        if (difference == 0) continue;
        const bool isLetter = Traits(name[i]).kind == Byte::Letter && name[i] != '_';
        if (difference != 0x20 || !isLetter) return false;  // also at the end of a shorter row: a name holds no NUL
    }
    return true;
}

class Scanner {
  public:
    Scanner(const char* text, const BitMaskConstant* table) : at_(text), table_(table) {}

    /// The next token, the longest that the text allows. At the end of the text Token::End, as often as asked.
    Token next() {
        for (;;) {
            const ByteTraits traits = Traits(*at_);
            switch (traits.kind) {
                case Byte::Space:
                    ++at_;
                    continue;
                case Byte::Punctuation:
                    ++at_;
                    return traits.token;
                case Byte::Digit:
                    scanNumber();
                    return Token::Value;
                case Byte::Letter:
                    if (scanName()) return Token::Value;
                    continue;
                case Byte::End:
                    return Token::End;
                case Byte::Other:
                    std::fprintf(stderr, "unexpected character: %c\n", *at_);
                    ++at_;
                    continue;
            }
        }
    }

    /// The value of the last Token::Value.
    std::uint64_t value() const { return value_; }

  private:
    void scanNumber() {
        const char* const start = at_;
        if (*start == '0' && (start[1] | 0x20) == 'x' && Traits(start[2]).digit < 16) {
            at_ = start + 2;
            while (Traits(*at_).digit < 16) ++at_;
            value_ = Number(start + 2, at_, 16);
            return;
        }
        bool isOctal = *start == '0';
        while (Traits(*at_).kind == Byte::Digit) {
            isOctal = isOctal && *at_ < '8';
            ++at_;
        }
        value_ = Number(start, at_, isOctal ? 8 : 10);
    }

    bool scanName() {
        const char* const name = at_;
        do {
            ++at_;
        } while (Traits(*at_).continuesName);
        const auto length = static_cast<std::size_t>(at_ - name);
        const int shown = static_cast<int>(std::min<std::size_t>(length, INT_MAX));

        const BitMaskConstant* first = nullptr;
        for (const BitMaskConstant* row = table_; row && row->name; ++row) {
            if (!Begins(name, length, row->name)) continue;
            if (!first) {
                first = row;
            } else {
                std::fprintf(stderr, "%.*s is ambiguous: both %s and %s match\n", shown, name, first->name, row->name);
            }
        }
        if (!first) {
            std::fprintf(stderr, "unknown ID: %.*s\n", shown, name);
            return false;
        }
        value_ = first->value;
        return true;
    }

    const char* at_;
    const BitMaskConstant* table_;
    std::uint64_t value_ = 0;
};

// ----------------------------------------------------------------------------------------------------------- parser

/// What waits for an operand to its right: a prefix operator, an open parenthesis, or a binary operator with its left
/// operand. Token::End lies at the bottom.
struct Pending {
    Token token;
    std::uint64_t left;
};
static_assert(std::is_trivially_copyable_v<Pending>);

/// The parser's stack. Its size is counted in states, as an LALR(1) parser counts them: one to begin with, and one for
/// each symbol shifted and not yet reduced. A binary operator with its left operand is thus two states, and the operand
/// at hand, which the parser keeps to itself, is one. What fits is part of the language, so the count is exact: the
/// room is 200 states, doubles at the moment it fills up, and at the ceiling the text is refused instead.
///
/// Up to 800 states, which is 200 doubled twice, lie in the stack itself.
class Stack {
  public:
    Stack() { pending_[0] = {Token::End, 0}; }

    /// Counts a symbol shifted. False when the stack is exhausted; nothing may follow then.
    bool shift() { return ++states_ != room_ || grow(); }

    /// Counts symbols reduced.
    void reduce(std::size_t symbols) { states_ -= symbols; }

    void push(Token token, std::uint64_t left) { pending_[++top_] = {token, left}; }
    void pop() { --top_; }
    const Pending& top() const { return pending_[top_]; }

  private:
    static constexpr std::size_t kOwnRoom = 800;
    static constexpr std::size_t kCeiling = 10000;

    bool grow() {
        if (room_ == kCeiling) return false;
        const std::size_t room = std::min(2 * room_, kCeiling);
        std::unique_ptr<Pending[]> grown(new (std::nothrow) Pending[room]);
        if (!grown) return false;
        std::memcpy(grown.get(), pending_, (top_ + 1) * sizeof(Pending));
        grown_ = std::move(grown);
        pending_ = grown_.get();
        room_ = room;
        return true;
    }

    std::size_t states_ = 1;
    std::size_t room_ = kOwnRoom;
    std::size_t top_ = 0;
    Pending* pending_ = own_;
    std::unique_ptr<Pending[]> grown_;
    Pending own_[kOwnRoom];  // last, and left as it is: what a text does not use costs it nothing
};

constexpr bool IsPrefix(Token token) { return token >= Token::Minus; }

/// How tightly a binary operator binds; less than the comma for what is none.
constexpr int Precedence(Token token) { return static_cast<int>(token); }
static_assert(Precedence(Token::Close) < Precedence(Token::Comma) && Precedence(Token::Comma) < Precedence(Token::Or) &&
              Precedence(Token::Or) < Precedence(Token::Xor) && Precedence(Token::Xor) < Precedence(Token::And));

constexpr std::uint64_t Combine(Token token, std::uint64_t left, std::uint64_t right) {
    switch (token) {
        case Token::Xor:
            return left ^ right;
        case Token::And:
            return left & right;
        default:
            return left | right;
    }
}

enum class Outcome : int { Accepted = 0, SyntaxError = 1, Exhausted = 2 };

/// Reads the whole text. A token is asked for only when what to do depends on it, so the scanner's messages come in the
/// order of the text and none after the message that ends the call.
Outcome Parse(Scanner& scanner, std::uint64_t& result) {
    Stack stack;
    for (;;) {
        // An operand must come, after any number of prefixes.
        Token token = scanner.next();
        while (IsPrefix(token) || token == Token::Open) {
            if (!stack.shift()) return Outcome::Exhausted;
            stack.push(token, 0);
            token = scanner.next();
        }
        if (token != Token::Value) return Outcome::SyntaxError;
        if (!stack.shift()) return Outcome::Exhausted;
        std::uint64_t operand = scanner.value();

        // The operand is complete; binary operators, closing parentheses or the end may come.
        for (;;) {
            while (IsPrefix(stack.top().token)) {
                operand = stack.top().token == Token::Minus ? 0 - operand : ~operand;
                stack.pop();
                stack.reduce(1);
            }
            token = scanner.next();
            if (token == Token::Value || token == Token::Open || IsPrefix(token)) return Outcome::SyntaxError;

            // What binds as tightly as the token or tighter takes the operand; before an end or ")" everything does.
            const int precedence = std::max(Precedence(token), Precedence(Token::Comma));
            while (Precedence(stack.top().token) >= precedence) {
                operand = Combine(stack.top().token, stack.top().left, operand);
                stack.pop();
                stack.reduce(2);
            }
            if (token == Token::End) {
                if (stack.top().token != Token::End) return Outcome::SyntaxError;
                result = operand;
                return Outcome::Accepted;
            }
            if (token != Token::Close) break;
            if (stack.top().token != Token::Open) return Outcome::SyntaxError;
            if (!stack.shift()) return Outcome::Exhausted;
            stack.pop();
            stack.reduce(2);
        }
        if (!stack.shift()) return Outcome::Exhausted;
        stack.push(token, operand);
    }
}

}  // namespace

int EvalBitMask(uint64_t* result, const char* text, const BitMaskConstant* table) noexcept {
    Scanner scanner(text, table);
    std::uint64_t unwanted = 0;
    const Outcome outcome = Parse(scanner, result ? *result : unwanted);
    switch (outcome) {
        case Outcome::Accepted:
            break;
        case Outcome::SyntaxError:
            std::fputs("syntax error\n", stderr);
            break;
        case Outcome::Exhausted:
            std::fputs("memory exhausted\n", stderr);
            break;
    }
    return static_cast<int>(outcome);
}
