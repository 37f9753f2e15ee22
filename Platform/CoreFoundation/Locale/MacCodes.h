#pragma once

// The languages and regions that classic Mac software named by numbers, and by English names.

#include <cstdint>

namespace KXPlatform {

/// The identifier of a language by its number (0 is English), or by its English name ("French"); null when it has none.
const char* languageOfMacCode(std::int16_t code) noexcept;
const char* languageOfMacName(const char* name) noexcept;

/// The identifier of a region by its number: 3 is "de_DE"; null when it has none.
const char* regionOfMacCode(std::int16_t code) noexcept;

}  // namespace KXPlatform
