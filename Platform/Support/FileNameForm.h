#pragma once

// The form of Unicode that the platform's file names are in: every character decomposed, but for those that the file
// system leaves alone: U+2000 to U+2FFF, U+F900 to U+FAFF and U+2F800 to U+2FAFF (technical note QA1173).

struct UNormalizer2;

namespace KXPlatform {

/// Decomposes into that form, and composes what is in it. Neither looks at the characters that are left alone. Null
/// when there is no memory for the tables; lives as long as the process.
const UNormalizer2* fileNameDecomposer() noexcept;
const UNormalizer2* fileNameComposer() noexcept;

/// The character of `base` and U+0338 that composing makes although decomposing leaves it alone: not equal, not less
/// and not greater. 0 for any other base. Who composes must keep these two characters apart, or names another file.
constexpr char32_t leftAloneWithSolidus(char32_t base) noexcept {
    return base == '=' ? 0x2260 : base == '<' ? 0x226E : base == '>' ? 0x226F : 0;
}

}  // namespace KXPlatform
