#pragma once

// stream recover, backup and compact: what keeps a stream's items when its file is at stake.

#include <CLI/CLI.hpp>

namespace kxtool {

void AddStreamRescue(CLI::App* stream);

}  // namespace kxtool
