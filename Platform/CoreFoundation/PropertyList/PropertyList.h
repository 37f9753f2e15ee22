#pragma once

// What the readers and writers of property lists share: their limits and their entry points.
//
// A reader or writer works on one document on one thread and throws a PropertyListFault (or std::bad_alloc) when it
// cannot go on; the public functions of CFPropertyList.cpp turn that into a null result and an error.

#include "PropertyListFault.h"
#include "Support/SmallVector.h"

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFPropertyList.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace KXPlatform {

/// Arrays and dictionaries within each other. Everything that walks a list (comparison, description, copies) may
/// recurse this far, on a small stack of a thread as well.
inline constexpr std::size_t kMaximumPropertyListDepth = 512;

/// Bytes of a document, read or written.
inline constexpr std::size_t kMaximumPropertyListSize = std::size_t{1} << 30;

/// Values that a walk over a list may meet. Shared objects count each time, so that a small list in which everything
/// is shared over and over does not keep a walk busy for ever.
inline constexpr std::size_t kMaximumPropertyListValues = std::size_t{1} << 26;

using PropertyListBytes = std::span<const UInt8>;

/// The bytes of a document being written; few documents leave the part on the stack.
using PropertyListOutput = SmallVector<char, 4000>;

class PropertyListTree;

/// Each reads a document's one value into `tree`.
void readPropertyListXML(std::string_view document, PropertyListTree& tree);
void readPropertyListBinary(PropertyListBytes document, PropertyListTree& tree);
void readPropertyListText(std::string_view document, PropertyListTree& tree);

/// Whether the bytes can only be meant as XML, not as the old text style (in which '<' begins data).
bool looksLikePropertyListXML(std::string_view document) noexcept;

void writePropertyListXML(CFTypeRef list, PropertyListOutput& output);
void writePropertyListBinary(CFTypeRef list, PropertyListOutput& output);

}  // namespace KXPlatform
