#pragma once

#include <string>
#include <string_view>

namespace kxtool {

/// Gives the file at `path` the content `bytes` as a whole: whoever reads it sees the old content or the new one, also
/// after a crash. Permissions stay; a link stays a link. Throws BadInput, and leaves the file as it was.
void ReplaceFile(const std::string& path, std::string_view bytes);

}  // namespace kxtool
