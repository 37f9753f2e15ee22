#pragma once

// Paths of files in the styles of three systems, and as paths of the system this runs on. All of these throw
// std::bad_alloc.

#include <CoreFoundation/CFURL.h>

#include <string>
#include <string_view>

namespace KXPlatform {

/// A path of this system for one in `style`. The name that begins an absolute HFS path is that of a volume: the root's
/// is "/", another one's the last component of the place where it is mounted; one that is not mounted is looked for
/// below /Volumes. False for a style that is none.
bool pathFromStyle(std::string_view path, CFURLPathStyle style, std::string& out);

/// `path` in `style`.
bool pathInStyle(std::string_view path, CFURLPathStyle style, std::string& out);

}  // namespace KXPlatform
