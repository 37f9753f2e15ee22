#include "Adopting.h"
#include "HashTable.h"

#include <CoreFoundation/CFDictionary.h>

#include <cstring>

using namespace KXPlatform;

struct __CFDictionary : HashTable {};

namespace {

CFStringRef describeDictionary(const Object* object) {
    return static_cast<const HashTable*>(object)->copyDescription("dict");
}

constexpr Class kDictionaryClass{TypeID::Dictionary, HashTable::finalize, HashTable::equal, HashTable::hash,
                                 describeDictionary};

/// The table under `dictionary`, or null when it is none.
const HashTable* checked(CFTypeRef dictionary) noexcept {
    return dictionary && object(dictionary)->cls == &kDictionaryClass
               ? static_cast<const HashTable*>(object(dictionary))
               : nullptr;
}

/// The table of a mutable dictionary: every other is left as it is.
HashTable* checkedMutable(CFMutableDictionaryRef dictionary) noexcept {
    HashTable* const table = const_cast<HashTable*>(checked(dictionary));
    return table && table->isMutable() ? table : nullptr;
}

CFMutableDictionaryRef dictionary(HashTable* table) noexcept {
    return reinterpret_cast<CFMutableDictionaryRef>(static_cast<Object*>(table));
}

}  // namespace

// ---- Exported: creating

CFTypeID CFDictionaryGetTypeID() { return number(TypeID::Dictionary); }

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values, CFIndex numValues,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
    if (numValues > 0 && (!keys || !values)) return nullptr;
    const CallBacks valueTable = gather(valueCallBacks);
    HashTable* const table = HashTable::create(allocator, kDictionaryClass, HashTable::Kind::Immutable, numValues,
                                               gather(keyCallBacks), &valueTable);
    for (CFIndex i = 0; table && i < numValues; ++i) {
        if (table->add(keys[i], values[i])) continue;
        CFRelease(table);
        return nullptr;
    }
    return dictionary(table);
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef theDict) {
    const HashTable* const table = checked(theDict);
    if (!table) return nullptr;
    if (!table->isMutable() && CFGetAllocator(theDict) == (allocator ? allocator : CFAllocatorGetDefault()))
        return static_cast<CFDictionaryRef>(CFRetain(theDict));
    return dictionary(HashTable::createCopy(allocator, HashTable::Kind::Immutable, 0, table));
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
    const CallBacks valueTable = gather(valueCallBacks);
    return dictionary(HashTable::create(allocator, kDictionaryClass, HashTable::Kind::Mutable, capacity,
                                        gather(keyCallBacks), &valueTable));
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef theDict) {
    const HashTable* const table = checked(theDict);
    return table ? dictionary(HashTable::createCopy(allocator, HashTable::Kind::Mutable, capacity, table)) : nullptr;
}

namespace KXPlatform {

CFDictionaryRef createDictionaryAdopting(CFAllocatorRef allocator, const CFStringRef* keys, const CFTypeRef* values,
                                         CFIndex count) noexcept {
    return dictionary(HashTable::createAdopting(allocator, kDictionaryClass, keys, values, count));
}

}  // namespace KXPlatform

// ---- Exported: reading

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) {
    const HashTable* const table = checked(theDict);
    return table ? table->count : 0;
}

CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void* key) {
    return CFDictionaryContainsKey(theDict, key) ? 1 : 0;
}

CFIndex CFDictionaryGetCountOfValue(CFDictionaryRef theDict, const void* value) {
    const HashTable* const table = checked(theDict);
    CFIndex found = 0;
    for (std::uint32_t entry = 0; table && entry < table->count; ++entry)
        if (areEqual(table->valueCallBacks, table->values()[entry], value)) ++found;
    return found;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key) {
    const HashTable* const table = checked(theDict);
    return table && table->find(key) != HashTable::kNone;
}

Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value) {
    const HashTable* const table = checked(theDict);
    for (std::uint32_t entry = 0; table && entry < table->count; ++entry)
        if (areEqual(table->valueCallBacks, table->values()[entry], value)) return true;
    return false;
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key) {
    const HashTable* const table = checked(theDict);
    const std::uint32_t entry = table ? table->find(key) : HashTable::kNone;
    return entry == HashTable::kNone ? nullptr : table->values()[entry];
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value) {
    const HashTable* const table = checked(theDict);
    const std::uint32_t entry = table ? table->find(key) : HashTable::kNone;
    if (entry == HashTable::kNone) return false;
    if (value) *value = table->values()[entry];
    return true;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values) {
    const HashTable* const table = checked(theDict);
    if (!table || table->count == 0) return;
    if (keys) std::memcpy(keys, table->keys, table->count * sizeof *keys);
    if (values) std::memcpy(values, table->values(), table->count * sizeof *values);
}

void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier, void* context) {
    const HashTable* const table = checked(theDict);
    if (!table || !applier) return;
    for (std::uint32_t entry = 0; entry < table->count; ++entry)
        applier(table->keys[entry], table->values()[entry], context);
}

// ---- Exported: changing

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    if (HashTable* const table = checkedMutable(theDict)) table->add(key, value);
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    if (HashTable* const table = checkedMutable(theDict)) table->set(key, value);
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    HashTable* const table = checkedMutable(theDict);
    const std::uint32_t entry = table ? table->find(key) : HashTable::kNone;
    if (entry != HashTable::kNone) table->replaceValue(entry, value);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key) {
    HashTable* const table = checkedMutable(theDict);
    const std::uint32_t entry = table ? table->find(key) : HashTable::kNone;
    if (entry != HashTable::kNone) table->remove(entry);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict) {
    if (HashTable* const table = checkedMutable(theDict)) table->removeAll();
}
