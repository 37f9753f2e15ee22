#pragma once

// Finds and compares texts where letter case is nothing. ASCII is compared in the bytes; a text with other letters goes
// the platform's way.

#include <string>
#include <string_view>

namespace kxtool {

/// The text with its ASCII letters in lower case.
std::string LowerCased(std::string_view text);

/// A word that is looked for in many texts.
class SearchedWord {
  public:
    explicit SearchedWord(std::string_view word);

    /// Whether it stands anywhere in `bytes`, which may hold several texts with a zero after each.
    bool isIn(std::string_view bytes) const;

  private:
    bool isInFolded(std::string_view text) const;

    std::string lower_;
    bool isASCII_;
};

/// A whole text, or a pattern of which `*` stands for any letters and `?` for one.
class WantedText {
  public:
    explicit WantedText(std::string_view text);

    bool matches(const char* text) const;

  private:
    std::string lower_;
    bool isASCII_;
    bool isPattern_;
};

}  // namespace kxtool
