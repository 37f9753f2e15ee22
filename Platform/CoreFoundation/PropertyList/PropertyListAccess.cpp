#include "PropertyListAccess.h"

#include <CoreFoundation/CFDictionary.h>

#include <algorithm>

namespace KXPlatform {
namespace {

/// The first four units, first one highest. Where there are fewer, zeros stand for the missing ones.
std::uint64_t orderOf(TextView text) noexcept {
    std::uint64_t order = 0;
    const CFIndex count = text.length < 4 ? text.length : 4;
    for (CFIndex i = 0; i < count; ++i) order |= static_cast<std::uint64_t>(text[i]) << (48 - 16 * i);
    return order;
}

bool isBefore(const PropertyListEntry& a, const PropertyListEntry& b) noexcept {
    if (a.order != b.order) return a.order < b.order;
    const TextView left = view(a.key);
    const TextView right = view(b.key);
    if (!left.isWide() && !right.isWide()) return left.asciiView() < right.asciiView();
    const CFIndex shorter = std::min(left.length, right.length);
    for (CFIndex i = 0; i < shorter; ++i) {
        if (left[i] != right[i]) return left[i] < right[i];
    }
    return left.length < right.length;
}

/// The fewest moves for the few entries that most dictionaries have.
void sortEntries(PropertyListEntry* first, PropertyListEntry* last) noexcept {
    constexpr std::ptrdiff_t kFew = 24;
    if (last - first > kFew) return std::sort(first, last, isBefore);
    for (PropertyListEntry* next = first + 1; next < last; ++next) {
        const PropertyListEntry entry = *next;
        PropertyListEntry* to = next;
        for (; to != first && isBefore(entry, to[-1]); --to) *to = to[-1];
        *to = entry;
    }
}

}  // namespace

void appendSortedEntries(CFDictionaryRef dictionary, PropertyListEntries& entries) {
    const std::size_t count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    if (count == 0) return;
    SmallVector<const void*, 64> pairs;
    const void** const keys = pairs.room(2 * count);
    const void** const values = keys + count;
    CFDictionaryGetKeysAndValues(dictionary, keys, values);
    PropertyListEntry* const first = entries.room(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (!isOfType(keys[i], TypeID::String)) throwWriteFault("A dictionary in the list has a key that is no string");
        const CFStringRef key = static_cast<CFStringRef>(keys[i]);
        first[i] = {.order = orderOf(view(key)), .key = key, .value = values[i]};
    }
    sortEntries(first, first + count);
    entries.extend(count);
}

}  // namespace KXPlatform
