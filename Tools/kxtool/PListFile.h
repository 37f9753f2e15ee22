#pragma once

// Property lists in files, and the names of places in them, for the commands that read them.

#include <KXCoreLib/CoreFoundationWrappers.h>

#include <cstddef>
#include <string>
#include <utility>

namespace kxtool {

inline constexpr std::size_t kLargestListFile = std::size_t{1} << 30;

/// The list in a file, and the file's name for messages. Throws BadInput.
std::pair<KXCore::CoreFoundation::PropertyListRef, std::string> Load(const std::string& file);

/// A list that was read, and the form in which it was.
struct LoadedList {
    KXCore::CoreFoundation::PropertyListRef list;
    std::string name;  ///< for messages
    CFPropertyListFormat format{};
    bool isJson = false;  ///< the format says nothing then
};

/// The same of a file that may also hold JSON. Throws BadInput.
LoadedList LoadAny(const std::string& file);

/// Between UTF-8 and code points, for locations.
std::string Narrow(const std::wstring& text);
std::wstring Wide(const std::string& utf8);

}  // namespace kxtool
