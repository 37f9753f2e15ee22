#pragma once

// Masks and their names, for the commands that take "--names".

#include <KXCoreLib/EvalBitMask.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kxtool {

struct Name {
    std::string name;
    std::uint64_t value;
};

/// What the help says of the option.
inline constexpr const char* kNamesHelp =
    "The names it may use: NAME=VALUE,... or a file of NAME=VALUE lines ('-': standard input)";

/// The names that the option's argument gives; none when it is empty. Throws BadInput.
std::vector<Name> ReadNames(const std::string& argument);

/// The same for the library. Valid as long as `names` is.
std::vector<BitMaskConstant> TableOf(const std::vector<Name>& names);

/// The value of an expression. Throws BadInput with what the library says of it; what it merely remarks becomes a
/// warning of `command`.
std::uint64_t Evaluate(const std::string& expression, const std::vector<Name>& names, const std::string& command);

/// The mask of 32 bits that `value` is. Throws BadUsage when it is wider; a complement, which fills all bits above, is
/// none that is.
std::uint32_t MaskOf32(std::uint64_t value, const std::string& expression);

/// The names that make up `value`, in the table's order, each adding bits that none before it has; and in `rest` the
/// bits that no name has.
std::vector<std::string> NamesOf(std::uint64_t value, const std::vector<Name>& names, std::uint64_t& rest);

/// What the library reported, its lines joined into one.
std::string Joined(std::string report);

}  // namespace kxtool
