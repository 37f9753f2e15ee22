#include "KeyPattern.h"

#include <re2/re2.h>

#include <algorithm>

namespace KXPlatform {
namespace {

constexpr std::size_t kLongestPattern = 1024;

/// What a compiled pattern and the states of its matching may take.
constexpr std::int64_t kMostMemory = std::int64_t{1} << 20;

re2::RE2::Options options() {
    re2::RE2::Options options;
    options.set_posix_syntax(true);
    options.set_longest_match(true);
    options.set_one_line(true);  // "^" and "$" are the ends of the key, not of a line in it
    options.set_dot_nl(true);
    options.set_never_capture(true);
    options.set_log_errors(false);
    options.set_max_mem(kMostMemory);
    return options;
}

}  // namespace

std::optional<KeyPattern> KeyPattern::compile(std::string_view pattern) {
    if (pattern.size() > kLongestPattern || pattern.find('\0') != pattern.npos) return std::nullopt;
    auto expression = std::make_shared<const re2::RE2>(re2::StringPiece(pattern.data(), pattern.size()), options());
    if (!expression->ok()) return std::nullopt;
    return KeyPattern(std::move(expression));
}

bool KeyPattern::matches(std::string_view key) const {
    return re2::RE2::FullMatch(re2::StringPiece(key.data(), key.size()), *expression_);
}

bool matchesAny(const std::vector<KeyPattern>& patterns, std::string_view key) {
    return std::any_of(patterns.begin(), patterns.end(), [&](const KeyPattern& p) { return p.matches(key); });
}

}  // namespace KXPlatform
