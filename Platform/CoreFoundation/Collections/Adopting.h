#pragma once

// Immutable collections of objects that their maker gives up: made without counting a reference up and down again for
// each of them, which is most of the work for the small collections that property lists are made of.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>

namespace KXPlatform {

/// An array of the type callbacks that takes over one reference to each of `count` objects. Null, with nothing taken,
/// when there is no memory.
CFArrayRef createArrayAdopting(CFAllocatorRef allocator, const CFTypeRef* values, CFIndex count) noexcept;

/// The same for a dictionary of distinct strings as keys. Null, with nothing taken, also when a key occurs twice.
CFDictionaryRef createDictionaryAdopting(CFAllocatorRef allocator, const CFStringRef* keys, const CFTypeRef* values,
                                         CFIndex count) noexcept;

}  // namespace KXPlatform
