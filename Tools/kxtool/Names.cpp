#include "Names.h"

#include <KXCoreLib/EvalBitMask.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "Errors.h"
#include "Streams.h"

namespace kxtool {
namespace {

constexpr std::size_t kLargestNamesFile = std::size_t{16} << 20;

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r";
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

/// A name that an expression can spell.
bool IsName(std::string_view text) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return !text.empty() && isLetter(text.front()) &&
           std::all_of(text.begin(), text.end(), [&](char c) { return isLetter(c) || isDigit(c); });
}

/// "NAME=VALUE"; the value in decimal or after "0x", all 64 bits.
Name ParseName(std::string_view row, const std::string& where) {
    const std::size_t equals = row.find('=');
    const std::string_view name = Trimmed(row.substr(0, equals));
    std::string_view digits = equals == std::string_view::npos ? "" : Trimmed(row.substr(equals + 1));
    const bool isHex = digits.starts_with("0x") || digits.starts_with("0X");
    if (isHex) digits.remove_prefix(2);

    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, isHex ? 16 : 10);
    if (!IsName(name) || error != std::errc() || end != digits.data() + digits.size()) {
        throw BadInput(fmt::format("{}: expected NAME=VALUE, found {}", where, Quoted(std::string(row))));
    }
    return {std::string(name), value};
}

std::vector<Name> ParseNames(std::string_view text, char separator, const std::string& source) {
    std::vector<Name> names;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find(separator);
        const std::string_view row = Trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!row.empty() && row.front() != '#') {
            names.push_back(ParseName(row, fmt::format("{}:{}", source, number)));
        }
    }
    return names;
}

}  // namespace

std::vector<Name> ReadNames(const std::string& argument) {
    if (argument.empty()) return {};
    if (argument.find('=') != std::string::npos) return ParseNames(argument, ',', "--names");
    Input file(argument);
    return ParseNames(file.readAll(kLargestNamesFile), '\n', file.name());
}

std::vector<BitMaskConstant> TableOf(const std::vector<Name>& names) {
    std::vector<BitMaskConstant> table;
    table.reserve(names.size() + 1);
    for (const Name& name : names) table.push_back({name.name.c_str(), name.value});
    table.push_back({nullptr, 0});
    return table;
}

std::uint64_t Evaluate(const std::string& expression, const std::vector<Name>& names, const std::string& command) {
    std::uint64_t value = 0;
    StandardErrorCapture capture;
    const int code = EvalBitMask(&value, expression.c_str(), TableOf(names).data());
    const std::string report = Joined(capture.finish());
    if (code != 0) throw BadInput(fmt::format("{}: {}", Quoted(expression), report));
    if (!report.empty()) fmt::print(stderr, "kxtool {}: warning: {}\n", command, report);
    return value;
}

std::uint32_t MaskOf32(std::uint64_t value, const std::string& expression) {
    const std::uint64_t above = value >> 32;
    if (above != 0 && above != 0xFFFFFFFF) {
        throw BadUsage(fmt::format("{} is {:#x}: a mask has 32 bits here", Quoted(expression), value));
    }
    return static_cast<std::uint32_t>(value);
}

std::vector<std::string> NamesOf(std::uint64_t value, const std::vector<Name>& names, std::uint64_t& rest) {
    std::vector<std::string> found;
    rest = value;
    for (const Name& name : names) {
        if ((name.value & ~value) != 0 || (name.value & rest) == 0) continue;
        found.push_back(name.name);
        rest &= ~name.value;
    }
    return found;
}

std::string Joined(std::string report) {
    while (report.ends_with('\n')) report.pop_back();
    std::string joined;
    for (const char c : report) joined += c == '\n' ? std::string("; ") : std::string(1, c);
    return joined;
}

}  // namespace kxtool
