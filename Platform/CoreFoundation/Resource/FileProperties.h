#pragma once

// The properties of files that this system knows: how each is read, and how those are written that can be.

#include "FileFacts.h"

#include <CoreFoundation/CFURL.h>

namespace KXPlatform {

/// A value, the caller's to release; null where the file has none. Throws std::bad_alloc.
using ReadProperty = CFTypeRef (*)(FileFacts&);

/// 0 or an errno. A value of a wrong type is EINVAL.
using WriteProperty = int (*)(FileFacts&, CFTypeRef value);

/// Null for a key that this system knows nothing of, or cannot change.
ReadProperty readerOf(CFStringRef key) noexcept;
WriteProperty writerOf(CFStringRef key) noexcept;

/// The readers of volumes' properties (VolumeProperties.cpp).
ReadProperty readerOfVolume(CFStringRef key) noexcept;

/// One row of a table of readers, and its lookup.
struct PropertyRow {
    const CFStringRef& key;
    ReadProperty read;
};
template <std::size_t N>
ReadProperty findReader(const PropertyRow (&rows)[N], CFStringRef key) noexcept {
    // Nearly always it is the constant itself.
    for (const PropertyRow& row : rows)
        if (row.key == key) return row.read;
    for (const PropertyRow& row : rows)
        if (CFEqual(row.key, key)) return row.read;
    return nullptr;
}

CFTypeRef newNumber(std::uint64_t value) noexcept;
CFTypeRef newBoolean(bool value) noexcept;
/// Null where the bytes are no UTF-8.
CFTypeRef newText(std::string_view bytes) noexcept;
CFTypeRef newFileURL(std::string_view path, bool isDirectory) noexcept;

}  // namespace KXPlatform
