#pragma once

// Whole files, read and replaced.

#include <cstddef>
#include <string>
#include <string_view>

namespace KXPlatform {

/// The bytes of a file. 0 or an errno; EFBIG when there are more than `most`. Throws std::bad_alloc.
int readFile(const std::string& path, std::size_t most, std::string& bytes);

/// Puts a file of these bytes in the place of what is there, whole: who reads meanwhile sees the old or the new. It
/// keeps the mode of the old one; through a symbolic link the file that it leads to is replaced. 0 or an errno, and
/// nothing changed. Throws std::bad_alloc.
int replaceFile(const std::string& path, std::string_view bytes);

}  // namespace KXPlatform
