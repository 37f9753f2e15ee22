#pragma once

// plist set, remove and extract.

#include <CLI/CLI.hpp>

namespace kxtool {

void AddPListEdit(CLI::App* plist);

}  // namespace kxtool
