#include "EvalBitMaskReference.h"

#include <cstdlib>
#include <optional>
#include <vector>

namespace {

struct Token {
    char kind;  // '1' a value, '$' the end, else the mark itself
    std::uint64_t value = 0;
    std::string messages;  // what reading up to and including this token reports
};

std::string Lower(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

std::optional<std::uint64_t> LookUp(const std::string& name, const BitMaskConstant* table, std::string& messages) {
    const BitMaskConstant* first = nullptr;
    for (; table && table->name; ++table) {
        if (Lower(std::string(table->name).substr(0, name.size())) != Lower(name)) continue;
        if (first) {
            messages += name + " is ambiguous: both " + first->name + " and " + table->name + " match\n";
        } else {
            first = table;
        }
    }
    if (first) return first->value;
    messages += "unknown ID: " + name + "\n";
    return std::nullopt;
}

bool IsOneOf(char c, const char* set) { return c != '\0' && std::string(set).find(c) != std::string::npos; }

constexpr const char* kOctal = "01234567";
constexpr const char* kDecimal = "0123456789";
constexpr const char* kHex = "0123456789abcdefABCDEF";
constexpr const char* kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";

std::size_t Run(const std::string& text, std::size_t from, const std::string& set) {
    std::size_t length = 0;
    while (from + length < text.size() && IsOneOf(text[from + length], set.c_str())) ++length;
    return length;
}

/// The rules in their order, each with the length it matches; the longest counts, of equals the first.
std::vector<Token> Scan(const std::string& text, const BitMaskConstant* table) {
    std::vector<Token> tokens;
    std::string messages;
    const auto give = [&](char kind, std::uint64_t value) {
        tokens.push_back({kind, value, messages});
        messages.clear();
    };
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        std::size_t hex = 0;
        if (c == '0' && at + 1 < text.size() && IsOneOf(text[at + 1], "xX")) {
            hex = Run(text, at + 2, kHex);
            if (hex) hex += 2;
        }
        std::size_t octal = c == '0' ? Run(text, at + 1, kOctal) : 0;
        if (octal) ++octal;
        const std::size_t decimal = Run(text, at, kDecimal);
        const std::size_t name = IsOneOf(c, kLetters) ? Run(text, at, std::string(kLetters) + kDecimal) : 0;

        if (hex > 0 && hex >= decimal) {
            give('1', static_cast<std::uint64_t>(std::strtoll(text.substr(at, hex).c_str(), nullptr, 16)));
            at += hex;
        } else if (octal > 0 && octal >= decimal) {
            give('1', static_cast<std::uint64_t>(std::strtoll(text.substr(at, octal).c_str(), nullptr, 8)));
            at += octal;
        } else if (decimal > 0) {
            give('1', static_cast<std::uint64_t>(std::strtoll(text.substr(at, decimal).c_str(), nullptr, 10)));
            at += decimal;
        } else if (name > 0) {
            if (const auto value = LookUp(text.substr(at, name), table, messages)) give('1', *value);
            at += name;
        } else {
            if (IsOneOf(c, ",|^&~-()")) {
                give(c, 0);
            } else if (!IsOneOf(c, " \t\n")) {
                messages += std::string("unexpected character: ") + c + "\n";
            }
            ++at;
        }
    }
    give('$', 0);
    return tokens;
}

struct SyntaxError {};
struct Exhausted {};

class Evaluator {
  public:
    explicit Evaluator(const std::vector<Token>& tokens) : tokens_(tokens) {}

    std::uint64_t all() {
        const std::uint64_t value = binary(0);
        if (peek().kind != '$') throw SyntaxError();
        return value;
    }

    std::string messages() const {
        std::string all;
        for (std::size_t i = 0; i < looked_; ++i) all += tokens_[i].messages;
        return all;
    }

  private:
    const Token& peek() {
        if (looked_ <= at_) looked_ = at_ + 1;
        return tokens_[at_];
    }

    void shift() {
        ++at_;
        if (++states_ == 10000) throw Exhausted();
    }

    std::uint64_t binary(int level) {
        constexpr char kMarks[] = {',', '|', '^', '&'};
        if (level == 4) return prefixed();
        std::uint64_t left = binary(level + 1);
        while (peek().kind == kMarks[level]) {
            shift();
            const std::uint64_t right = binary(level + 1);
            states_ -= 2;
            left = level == 3 ? left & right : level == 2 ? left ^ right : left | right;
        }
        return left;
    }

    std::uint64_t prefixed() {
        const Token token = peek();
        switch (token.kind) {
            case '1':
                shift();
                return token.value;
            case '-':
            case '~': {
                shift();
                const std::uint64_t value = prefixed();
                --states_;
                return token.kind == '-' ? -value : ~value;
            }
            case '(': {
                shift();
                const std::uint64_t value = binary(0);
                if (peek().kind != ')') throw SyntaxError();
                shift();
                states_ -= 2;
                return value;
            }
            default:
                throw SyntaxError();
        }
    }

    const std::vector<Token>& tokens_;
    std::size_t at_ = 0;
    std::size_t looked_ = 0;  // how many tokens were looked at, and so had their messages printed
    int states_ = 1;
};

}  // namespace

MaskOutcome ReferenceEvalBitMask(const std::string& text, const BitMaskConstant* table) {
    const std::vector<Token> tokens = Scan(text, table);
    Evaluator evaluator(tokens);
    MaskOutcome outcome;
    try {
        outcome.value = evaluator.all();
        outcome.messages = evaluator.messages();
    } catch (const SyntaxError&) {
        outcome = {1, 0, evaluator.messages() + "syntax error\n"};
    } catch (const Exhausted&) {
        outcome = {2, 0, evaluator.messages() + "memory exhausted\n"};
    }
    return outcome;
}
