#pragma once

#include <optional>
#include <string>

namespace kxtool {

/// Another process that has the file at `path` open, as far as this system shows; root sees all.
std::optional<long> OtherUserOf(const std::string& path);

}  // namespace kxtool
