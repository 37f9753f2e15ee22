#pragma once

// Keys of the store: as text, as names of files, and the patterns that match them.
//
// A key in this code is its UTF-8 text. As the name of a file it is the same text, with "%" and two upper-case digits
// for a control character, "%", "/" and a "." at the beginning; the empty key is "%". Every key has exactly one name,
// and a name that no key has is nobody's: it is passed over where names are read.

#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFString.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace KXPlatform {

/// The text of a key; nothing when `key` is no string or holds half of a surrogate pair.
std::optional<std::string> keyText(CFTypeRef key);

/// A key as a string; null when the text is not UTF-8 (or memory is out).
Retained<const __CFString> keyString(std::string_view key);

/// The name of the key's file; nothing when it would be longer than a name can be.
std::optional<std::string> fileNameOfKey(std::string_view key);

/// The key that a file's name stands for; nothing when it is no key's.
std::optional<std::string> keyOfFileName(std::string_view name);

/// An extended POSIX regular expression that matches keys as a whole.
class KeyPattern {
  public:
    /// Nothing when the pattern cannot be compiled or is longer than 1024 bytes.
    static std::optional<KeyPattern> compile(const std::string& pattern);

    bool matches(std::string_view key) const;

  private:
    struct Expression;

    explicit KeyPattern(std::shared_ptr<const Expression> expression) : expression_(std::move(expression)) {}

    std::shared_ptr<const Expression> expression_;
};

}  // namespace KXPlatform
