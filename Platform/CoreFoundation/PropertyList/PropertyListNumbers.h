#pragma once

// The texts of numbers and dates in property lists.

#include "PropertyList.h"

#include <optional>

namespace KXPlatform {

/// An integer of a document: any value of int64_t or uint64_t.
struct PropertyListInteger {
    std::uint64_t magnitude;
    bool negative;
};

/// [+-]digits or [+-]0xhex; nothing else, and nothing out of range (-2^63 ... 2^64-1).
std::optional<PropertyListInteger> parseInteger(std::string_view text) noexcept;

/// A decimal floating number, nan, inf or infinity with an optional sign. What is too large is infinite.
std::optional<double> parseReal(std::string_view text) noexcept;

/// YYYY-MM-DDTHH:MM:SSZ; years may have a sign and more digits. Fields out of their range carry over.
/// Nothing farther off than 950 million years.
std::optional<CFAbsoluteTime> parseDate(std::string_view text) noexcept;

/// Room for any text of formatReal and formatDate.
inline constexpr std::size_t kNumberTextSize = 40;

/// As the format %.17g gives; 0.0 for both zeros. The length of what was written.
std::size_t formatReal(double value, char* out) noexcept;

/// The whole second at or before `time`. 0 when the date has no such text: no number, or farther
/// off than 950 million years.
std::size_t formatDate(CFAbsoluteTime time, char* out) noexcept;

}  // namespace KXPlatform
