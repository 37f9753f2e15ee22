#include "HashTable.h"
#include "ValueSnapshot.h"

#include <CoreFoundation/CFBag.h>

#include <algorithm>

using namespace KXPlatform;

/// A table whose values are the numbers of equal values, kept as if they were pointers.
struct __CFBag : HashTable {};

namespace {

CFStringRef describeBag(const Object* object) {
    return static_cast<const HashTable*>(object)->copyDescription("bag", HashTable::Values::Counts);
}

constexpr Class kBagClass{TypeID::Bag, HashTable::finalize, HashTable::equal, HashTable::hash, describeBag};

/// The table under `bag`, or null when it is none.
const HashTable* checked(CFTypeRef bag) noexcept {
    return bag && object(bag)->cls == &kBagClass ? static_cast<const HashTable*>(object(bag)) : nullptr;
}

/// The table of a mutable bag: every other is left as it is.
HashTable* checkedMutable(CFMutableBagRef bag) noexcept {
    HashTable* const table = const_cast<HashTable*>(checked(bag));
    return table && table->isMutable() ? table : nullptr;
}

CFMutableBagRef bag(HashTable* table) noexcept {
    return reinterpret_cast<CFMutableBagRef>(static_cast<Object*>(table));
}

CFIndex countOf(const HashTable& table, std::uint32_t entry) noexcept {
    return static_cast<CFIndex>(reinterpret_cast<std::intptr_t>(table.values()[entry]));
}

void setCount(HashTable& table, std::uint32_t entry, CFIndex count) noexcept {
    table.values()[entry] = reinterpret_cast<const void*>(count);
}

/// False, and nothing changed, when there is no memory or what is repeated can no longer be counted.
bool add(HashTable& table, const void* value) noexcept {
    const std::uint32_t entry = table.find(value);
    if (entry == HashTable::kNone) return table.add(value, reinterpret_cast<const void*>(CFIndex{1}));
    if (table.repeated == UINT32_MAX) return false;
    setCount(table, entry, countOf(table, entry) + 1);
    ++table.repeated;
    return true;
}

}  // namespace

// ---- Exported: creating

CFTypeID CFBagGetTypeID() { return number(TypeID::Bag); }

CFBagRef CFBagCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                     const CFBagCallBacks* callBacks) {
    if (numValues > 0 && !values) return nullptr;
    HashTable* const table = HashTable::create(allocator, kBagClass, HashTable::Kind::Immutable, numValues,
                                               gather(callBacks), &kPointerCallBacks);
    for (CFIndex i = 0; table && i < numValues; ++i) {
        if (add(*table, values[i])) continue;
        CFRelease(table);
        return nullptr;
    }
    return bag(table);
}

CFBagRef CFBagCreateCopy(CFAllocatorRef allocator, CFBagRef theBag) {
    const HashTable* const table = checked(theBag);
    if (!table) return nullptr;
    if (!table->isMutable() && CFGetAllocator(theBag) == (allocator ? allocator : CFAllocatorGetDefault()))
        return static_cast<CFBagRef>(CFRetain(theBag));
    return bag(HashTable::createCopy(allocator, HashTable::Kind::Immutable, 0, table));
}

CFMutableBagRef CFBagCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFBagCallBacks* callBacks) {
    return bag(HashTable::create(allocator, kBagClass, HashTable::Kind::Mutable, capacity, gather(callBacks),
                                 &kPointerCallBacks));
}

CFMutableBagRef CFBagCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFBagRef theBag) {
    const HashTable* const table = checked(theBag);
    return table ? bag(HashTable::createCopy(allocator, HashTable::Kind::Mutable, capacity, table)) : nullptr;
}

// ---- Exported: reading

CFIndex CFBagGetCount(CFBagRef theBag) {
    const HashTable* const table = checked(theBag);
    return table ? CFIndex{table->count} + CFIndex{table->repeated} : 0;
}

CFIndex CFBagGetCountOfValue(CFBagRef theBag, const void* value) {
    const HashTable* const table = checked(theBag);
    const std::uint32_t entry = table ? table->find(value) : HashTable::kNone;
    return entry == HashTable::kNone ? 0 : countOf(*table, entry);
}

Boolean CFBagContainsValue(CFBagRef theBag, const void* value) {
    const HashTable* const table = checked(theBag);
    return table && table->find(value) != HashTable::kNone;
}

const void* CFBagGetValue(CFBagRef theBag, const void* value) {
    const void* found = nullptr;
    CFBagGetValueIfPresent(theBag, value, &found);
    return found;
}

Boolean CFBagGetValueIfPresent(CFBagRef theBag, const void* candidate, const void** value) {
    const HashTable* const table = checked(theBag);
    const std::uint32_t entry = table ? table->find(candidate) : HashTable::kNone;
    if (entry == HashTable::kNone) return false;
    if (value) *value = table->keys[entry];
    return true;
}

void CFBagGetValues(CFBagRef theBag, const void** values) {
    const HashTable* const table = checked(theBag);
    if (!table || !values) return;
    for (std::uint32_t entry = 0; entry < table->count; ++entry)
        values = std::fill_n(values, countOf(*table, entry), table->keys[entry]);
}

void CFBagApplyFunction(CFBagRef theBag, CFBagApplierFunction applier, void* context) {
    const HashTable* const table = checked(theBag);
    if (!table || !applier || table->count == 0) return;
    ValueSnapshot values(table->keyCallBacks, theBag);
    SmallVector<CFIndex, 32> counts;
    try {
        counts.append(reinterpret_cast<const CFIndex*>(table->values()), table->count);
    } catch (const std::bad_alloc&) {
        return;
    }
    if (!values.reserve(table->count)) return;
    for (std::uint32_t entry = 0; entry < table->count; ++entry) values.add(table->keys[entry]);
    for (std::size_t i = 0; i < values.size(); ++i)
        for (CFIndex times = counts[i]; times > 0; --times) applier(values[i], context);
}

// ---- Exported: changing

void CFBagAddValue(CFMutableBagRef theBag, const void* value) {
    if (HashTable* const table = checkedMutable(theBag)) add(*table, value);
}

void CFBagReplaceValue(CFMutableBagRef theBag, const void* value) {
    HashTable* const table = checkedMutable(theBag);
    const std::uint32_t entry = table ? table->find(value) : HashTable::kNone;
    if (entry != HashTable::kNone) table->replaceKey(entry, value);
}

void CFBagSetValue(CFMutableBagRef theBag, const void* value) {
    HashTable* const table = checkedMutable(theBag);
    const std::uint32_t entry = table ? table->find(value) : HashTable::kNone;
    if (entry != HashTable::kNone) {
        table->replaceKey(entry, value);
    } else if (table) {
        add(*table, value);
    }
}

void CFBagRemoveValue(CFMutableBagRef theBag, const void* value) {
    HashTable* const table = checkedMutable(theBag);
    const std::uint32_t entry = table ? table->find(value) : HashTable::kNone;
    if (entry == HashTable::kNone) return;
    if (const CFIndex count = countOf(*table, entry); count > 1) {
        setCount(*table, entry, count - 1);
        --table->repeated;
    } else {
        table->remove(entry);
    }
}

void CFBagRemoveAllValues(CFMutableBagRef theBag) {
    if (HashTable* const table = checkedMutable(theBag)) table->removeAll();
}
