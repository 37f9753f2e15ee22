#pragma once

// What somebody meant who wrote a word that is none of the possible ones.

#include <span>
#include <string>
#include <string_view>

namespace kxtool {

/// The candidate nearest to `word`, letter case aside; empty when none is near enough to have been meant.
std::string Nearest(std::string_view word, std::span<const std::string> candidates);

/// "; did you mean \"afailure\"?" where one is near, "; possible: a, b, c" where none is.
std::string Suggestion(std::string_view word, std::span<const std::string> candidates);

}  // namespace kxtool
