#pragma once

// The environment's say about languages, for as long as a test runs.

#include <array>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string>

class Environment {
  public:
    /// Nothing is said about any language.
    Environment() {
        for (std::size_t i = 0; i < kNames.size(); ++i) {
            if (const char* const value = std::getenv(kNames[i])) before_[i] = value;
            ::unsetenv(kNames[i]);
        }
    }
    ~Environment() {
        for (std::size_t i = 0; i < kNames.size(); ++i) {
            if (before_[i]) {
                ::setenv(kNames[i], before_[i]->c_str(), 1);
            } else {
                ::unsetenv(kNames[i]);
            }
        }
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    void set(const char* name, const char* value) { ::setenv(name, value, 1); }

  private:
    static constexpr std::array kNames{"LC_ALL",     "LC_MESSAGES",    "LC_NUMERIC", "LC_MONETARY", "LC_TIME",
                                       "LC_COLLATE", "LC_MEASUREMENT", "LANG",       "LANGUAGE"};
    std::array<std::optional<std::string>, kNames.size()> before_;
};
