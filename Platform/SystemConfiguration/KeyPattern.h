#pragma once

// Patterns that match keys.
//
// A pattern is a POSIX extended regular expression that matches a key as a whole. RE2 compiles and runs it, so that no
// pattern takes more than linear time: one that could (back references, large nested repeats) does not compile.

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace re2 {
class RE2;
}

namespace KXPlatform {

class KeyPattern {
  public:
    /// Nothing when the pattern is none, cannot be run in linear time, or is longer than 1024 bytes. A NUL character is
    /// part of no pattern.
    static std::optional<KeyPattern> compile(std::string_view pattern);

    /// Any thread.
    bool matches(std::string_view key) const;

  private:
    explicit KeyPattern(std::shared_ptr<const re2::RE2> expression) noexcept : expression_(std::move(expression)) {}

    std::shared_ptr<const re2::RE2> expression_;
};

bool matchesAny(const std::vector<KeyPattern>& patterns, std::string_view key);

}  // namespace KXPlatform
