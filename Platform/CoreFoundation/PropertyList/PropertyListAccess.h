#pragma once

// How the writers look into the objects of a list.

#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/String/CFStringObject.h"
#include "PropertyList.h"

namespace KXPlatform {

/// An entry of a dictionary being written.
struct PropertyListEntry {
    std::uint64_t order;  ///< the key's first characters, as a number that sorts as they do
    CFStringRef key;
    CFTypeRef value;
};

using PropertyListEntries = SmallVector<PropertyListEntry, 32>;

/// Appends the entries of `dictionary` to `entries`, sorted by the UTF-16 units of their keys. Throws a write fault
/// when a key is no string.
void appendSortedEntries(CFDictionaryRef dictionary, PropertyListEntries& entries);

}  // namespace KXPlatform
