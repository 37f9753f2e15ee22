#include "Keys.h"

#include <KXCoreLib/IConv.h>

#include <algorithm>
#include <cctype>
#include <vector>

namespace agent {

using namespace KXCore;
using namespace KXCore::CoreFoundation;

namespace {

/// How many letters must be put in, left out, replaced or swapped with their neighbour, whatever their case.
std::size_t distance(const std::string& from, const std::string& to) {
    const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
    std::vector<std::vector<std::size_t>> steps(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) {
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                steps[i][j] = i + j;
                continue;
            }
            const bool same = lower(from[i - 1]) == lower(to[j - 1]);
            steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + (same ? 0u : 1u)});
            const bool swapped =
                i > 1 && j > 1 && lower(from[i - 1]) == lower(to[j - 2]) && lower(from[i - 2]) == lower(to[j - 1]);
            if (swapped) steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
        }
    }
    return steps[from.size()][to.size()];
}

}  // namespace

std::string suggestionFor(const std::string& word, std::span<const char* const> known) {
    constexpr std::size_t kLongestWord = 64;
    if (word.size() > kLongestWord) return "";
    const char* nearest = nullptr;
    std::size_t least = 0;
    for (const char* const candidate : known) {
        const std::size_t steps = distance(word, candidate);
        if (!nearest || steps < least) {
            nearest = candidate;
            least = steps;
        }
    }
    const bool isClose = nearest && least <= std::max<std::size_t>(2, word.size() / 3) && least < word.size();
    return isClose ? std::string("; did you mean ") + nearest + "?" : "";
}

void requireKnownKeys(const PListNode& node, std::span<const char* const> known) {
    DictionaryRef dictionary;
    node.getValue(dictionary, ItemKind::Required);
    std::vector<const void*> keys(static_cast<std::size_t>(dictionary.getCount()));
    dictionary.getKeysAndValues(keys.data(), nullptr);
    std::vector<std::string> names;
    for (const void* const key : keys) {
        names.push_back(StringRef::retain(static_cast<CFStringRef>(key)).copyStdString());
    }
    std::sort(names.begin(), names.end());  // the same one is named each time
    for (const std::string& name : names) {
        if (std::find(known.begin(), known.end(), name) != known.end()) continue;
        std::wstring message;
        IConv{IConv::UTF8ToWide}("unknown key" + suggestionFor(name, known), message);
        throw PListValueError(node / name.c_str(), message);
    }
}

}  // namespace agent
