#pragma once

// From the bytes of a textual property list to text.

#include "PropertyList.h"

namespace KXPlatform {

/// The document as UTF-8 (not checked yet), without a byte-order mark: `bytes` themselves, or what `storage` then
/// holds. Knows UTF-16 and UTF-32 by their mark or by the first '<', and 8-bit encodings by the name in an XML
/// declaration. Throws a read fault for an encoding that is unknown or cannot be the document's.
std::string_view decodeDocument(PropertyListBytes bytes, std::string& storage);

}  // namespace KXPlatform
