#include "Suggestion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "Errors.h"
#include "TextSearch.h"

namespace kxtool {
namespace {

/// How many letters to insert, delete, replace, or swap with their neighbour make `b` of `a`.
std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) cost[i][0] = i;
    for (std::size_t j = 0; j <= b.size(); ++j) cost[0][j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        for (std::size_t j = 1; j <= b.size(); ++j) {
            cost[i][j] =
                std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[a.size()][b.size()];
}

}  // namespace

std::string Nearest(std::string_view word, std::span<const std::string> candidates) {
    constexpr std::size_t kLongest = 64;  // longer words are no slips
    if (word.empty() || word.size() > kLongest) return {};
    const std::string lower = LowerCased(word);
    std::string nearest;
    std::size_t least = 1 + std::max<std::size_t>(1, word.size() / 3);
    for (const std::string& candidate : candidates) {
        const std::string other = LowerCased(candidate);
        const bool begins = word.size() >= 2 && other.starts_with(lower);
        const std::size_t distance = begins ? 1 : Distance(lower, other);
        if (distance >= least) continue;
        least = distance;
        nearest = candidate;
    }
    return nearest;
}

std::string Suggestion(std::string_view word, std::span<const std::string> candidates) {
    const std::string nearest = Nearest(word, candidates);
    if (!nearest.empty()) return fmt::format("; did you mean {}?", Quoted(nearest));
    return fmt::format("; possible: {}", fmt::join(candidates, ", "));
}

}  // namespace kxtool
