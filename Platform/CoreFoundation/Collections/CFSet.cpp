#include "HashTable.h"

#include <CoreFoundation/CFSet.h>

#include <cstring>

using namespace KXPlatform;

struct __CFSet : HashTable {};

namespace {

CFStringRef describeSet(const Object* object) { return static_cast<const HashTable*>(object)->copyDescription("set"); }

constexpr Class kSetClass{TypeID::Set, HashTable::finalize, HashTable::equal, HashTable::hash, describeSet};

/// The table under `set`, or null when it is none.
const HashTable* checked(CFTypeRef set) noexcept {
    return set && object(set)->cls == &kSetClass ? static_cast<const HashTable*>(object(set)) : nullptr;
}

/// The table of a mutable set: every other is left as it is.
HashTable* checkedMutable(CFMutableSetRef set) noexcept {
    HashTable* const table = const_cast<HashTable*>(checked(set));
    return table && table->isMutable() ? table : nullptr;
}

CFMutableSetRef set(HashTable* table) noexcept {
    return reinterpret_cast<CFMutableSetRef>(static_cast<Object*>(table));
}

}  // namespace

// ---- Exported: creating

CFTypeID CFSetGetTypeID() { return number(TypeID::Set); }

CFSetRef CFSetCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                     const CFSetCallBacks* callBacks) {
    if (numValues > 0 && !values) return nullptr;
    HashTable* const table =
        HashTable::create(allocator, kSetClass, HashTable::Kind::Immutable, numValues, gather(callBacks), nullptr);
    for (CFIndex i = 0; table && i < numValues; ++i) {
        if (table->add(values[i], nullptr)) continue;
        CFRelease(table);
        return nullptr;
    }
    return set(table);
}

CFSetRef CFSetCreateCopy(CFAllocatorRef allocator, CFSetRef theSet) {
    const HashTable* const table = checked(theSet);
    if (!table) return nullptr;
    if (!table->isMutable() && CFGetAllocator(theSet) == (allocator ? allocator : CFAllocatorGetDefault()))
        return static_cast<CFSetRef>(CFRetain(theSet));
    return set(HashTable::createCopy(allocator, HashTable::Kind::Immutable, 0, table));
}

CFMutableSetRef CFSetCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFSetCallBacks* callBacks) {
    return set(HashTable::create(allocator, kSetClass, HashTable::Kind::Mutable, capacity, gather(callBacks), nullptr));
}

CFMutableSetRef CFSetCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFSetRef theSet) {
    const HashTable* const table = checked(theSet);
    return table ? set(HashTable::createCopy(allocator, HashTable::Kind::Mutable, capacity, table)) : nullptr;
}

// ---- Exported: reading

CFIndex CFSetGetCount(CFSetRef theSet) {
    const HashTable* const table = checked(theSet);
    return table ? table->count : 0;
}

CFIndex CFSetGetCountOfValue(CFSetRef theSet, const void* value) { return CFSetContainsValue(theSet, value) ? 1 : 0; }

Boolean CFSetContainsValue(CFSetRef theSet, const void* value) {
    const HashTable* const table = checked(theSet);
    return table && table->find(value) != HashTable::kNone;
}

const void* CFSetGetValue(CFSetRef theSet, const void* value) {
    const HashTable* const table = checked(theSet);
    const std::uint32_t entry = table ? table->find(value) : HashTable::kNone;
    return entry == HashTable::kNone ? nullptr : table->keys[entry];
}

Boolean CFSetGetValueIfPresent(CFSetRef theSet, const void* candidate, const void** value) {
    const HashTable* const table = checked(theSet);
    const std::uint32_t entry = table ? table->find(candidate) : HashTable::kNone;
    if (entry == HashTable::kNone) return false;
    if (value) *value = table->keys[entry];
    return true;
}

void CFSetGetValues(CFSetRef theSet, const void** values) {
    const HashTable* const table = checked(theSet);
    if (table && table->count > 0 && values) std::memcpy(values, table->keys, table->count * sizeof *values);
}

void CFSetApplyFunction(CFSetRef theSet, CFSetApplierFunction applier, void* context) {
    const HashTable* const table = checked(theSet);
    if (!table || !applier) return;
    for (std::uint32_t entry = 0; entry < table->count; ++entry) applier(table->keys[entry], context);
}

// ---- Exported: changing

void CFSetAddValue(CFMutableSetRef theSet, const void* value) {
    if (HashTable* const table = checkedMutable(theSet)) table->add(value, nullptr);
}

void CFSetReplaceValue(CFMutableSetRef theSet, const void* value) {
    HashTable* const table = checkedMutable(theSet);
    const std::uint32_t entry = table ? table->find(value) : HashTable::kNone;
    if (entry != HashTable::kNone) table->replaceKey(entry, value);
}

void CFSetSetValue(CFMutableSetRef theSet, const void* value) {
    HashTable* const table = checkedMutable(theSet);
    const std::uint32_t entry = table ? table->find(value) : HashTable::kNone;
    if (entry != HashTable::kNone) {
        table->replaceKey(entry, value);
    } else if (table) {
        table->add(value, nullptr);
    }
}

void CFSetRemoveValue(CFMutableSetRef theSet, const void* value) {
    HashTable* const table = checkedMutable(theSet);
    const std::uint32_t entry = table ? table->find(value) : HashTable::kNone;
    if (entry != HashTable::kNone) table->remove(entry);
}

void CFSetRemoveAllValues(CFMutableSetRef theSet) {
    if (HashTable* const table = checkedMutable(theSet)) table->removeAll();
}
