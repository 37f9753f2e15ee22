#pragma once

// What language a text is written in. The detector is an optional part of the build: CLD2 where it is there, which
// tells 80 languages apart by their letters and letter groups; otherwise none.

#include <cstddef>
#include <string_view>

namespace KXPlatform {

/// The tag of the language of `utf8` ("de", "zh-Hant"), which lives forever; null where it cannot be told.
const char* detectLanguage(std::string_view utf8) noexcept;

}  // namespace KXPlatform
