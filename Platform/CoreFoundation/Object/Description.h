#pragma once

// Builds the texts that CFCopyDescription gives.

#include "Object.h"

#include <CoreFoundation/CFString.h>

namespace KXPlatform {

/// A text under construction: it becomes whole, or nothing where memory is short.
class Description {
  public:
    Description() noexcept;
    ~Description();
    Description(const Description&) = delete;
    Description& operator=(const Description&) = delete;

    /// Appends ASCII text formed as printf does.
    void format(const char* format, ...) noexcept __attribute__((format(printf, 2, 3)));

    /// Appends `text`; null appends "(null)".
    void append(CFStringRef text) noexcept;

    /// Appends "<CFNumber 0x55d0 [0x7f31]>", the head of every description: the type, the object and its allocator. The
    /// second form is for types that go by another name.
    void appendHeading(CFTypeRef cf) noexcept;
    void appendHeading(const char* name, CFTypeRef cf) noexcept;

    /// The finished text, with a reference for the caller. Null when there was no memory.
    CFStringRef take() noexcept;

  private:
    /// Drops the text unless it has become this long.
    void expect(CFIndex length) noexcept;

    CFMutableStringRef text_;
};

}  // namespace KXPlatform
