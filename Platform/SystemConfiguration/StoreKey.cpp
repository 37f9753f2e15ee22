#include "StoreKey.h"

#include <regex.h>

#include <algorithm>
#include <climits>

namespace KXPlatform {
namespace {

constexpr std::size_t kLongestPattern = 1024;

constexpr std::string_view kDigits = "0123456789ABCDEF";

bool isPlain(char c, bool first) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte != 0x7F && c != '/' && c != '%' && !(first && c == '.');
}

}  // namespace

std::optional<std::string> keyText(CFTypeRef key) {
    if (!isOfType(key, TypeID::String)) return std::nullopt;
    const auto string = static_cast<CFStringRef>(key);
    const CFRange all = CFRangeMake(0, CFStringGetLength(string));
    CFIndex size = 0;
    if (CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size) != all.length)
        return std::nullopt;
    std::string text(static_cast<std::size_t>(size), '\0');
    if (CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, reinterpret_cast<UInt8*>(text.data()), size,
                         &size) != all.length)
        return std::nullopt;
    return text;
}

Retained<const __CFString> keyString(std::string_view key) {
    // The reader of UTF-8 drops a mark at the beginning; here it is a character like any other.
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    std::string marked;
    if (key.starts_with(kMark)) key = marked.append(kMark).append(key);
    return Retained<const __CFString>::adopting(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(key.data()), static_cast<CFIndex>(key.size()),
                                kCFStringEncodingUTF8, false));
}

std::optional<std::string> fileNameOfKey(std::string_view key) {
    if (key.empty()) return "%";
    std::string name;
    for (const char c : key) {
        if (isPlain(c, name.empty())) {
            name += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            name += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
        if (name.size() > NAME_MAX) return std::nullopt;
    }
    return name;
}

std::optional<std::string> keyOfFileName(std::string_view name) {
    if (name == "%") return "";
    std::string key;
    for (std::size_t at = 0; at < name.size(); ++at) {
        char c = name[at];
        if (c == '%') {
            if (name.size() - at < 3) return std::nullopt;
            const std::size_t high = kDigits.find(name[at + 1]), low = kDigits.find(name[at + 2]);
            if (high == kDigits.npos || low == kDigits.npos) return std::nullopt;
            c = static_cast<char>(high << 4 | low);
            at += 2;
        }
        key += c;
    }
    // Only the one way to write a key counts.
    if (key.empty() || fileNameOfKey(key) != name || !keyString(key)) return std::nullopt;
    return key;
}

// ---- Patterns

struct KeyPattern::Expression {
    explicit Expression(const std::string& pattern) : compiled(regcomp(&regex, pattern.c_str(), REG_EXTENDED) == 0) {}
    ~Expression() {
        if (compiled) regfree(&regex);
    }
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;

    regex_t regex;
    const bool compiled;
};

std::optional<KeyPattern> KeyPattern::compile(const std::string& pattern) {
    if (pattern.size() > kLongestPattern || pattern.find('\0') != pattern.npos) return std::nullopt;
    auto expression = std::make_shared<const Expression>(pattern);
    if (!expression->compiled) return std::nullopt;
    return KeyPattern(std::move(expression));
}

bool KeyPattern::matches(std::string_view key) const {
    // The leftmost match, and of those the longest, is what POSIX finds: when any match is the whole key, it is this.
    regmatch_t match{0, static_cast<regoff_t>(key.size())};
    return regexec(&expression_->regex, key.data(), 1, &match, REG_STARTEND) == 0 && match.rm_so == 0 &&
           match.rm_eo == static_cast<regoff_t>(key.size());
}

}  // namespace KXPlatform
