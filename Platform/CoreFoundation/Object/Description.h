#pragma once

// Builds the texts that CFCopyDescription gives.

#include "Object.h"

#include <CoreFoundation/CFString.h>

namespace KXPlatform {

/// A text under construction. Pieces that cannot be appended for want of memory are left out.
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

    /// Appends "<Name 0x... [0x...]>": the object's address and that of its allocator.
    void appendHeading(const char* name, CFTypeRef object) noexcept;

    /// The finished text, with a reference for the caller. Null when there was no memory.
    CFStringRef take() noexcept;

  private:
    CFMutableStringRef text_;
};

/// "<CFNumber 0x55d0 [0x7f31]>", the head of every description: the type, the object and its allocator. The new
/// string is mutable, for the description to be appended to. Null when there is no memory.
CFMutableStringRef createDescriptionHead(CFTypeRef cf) noexcept;

}  // namespace KXPlatform
