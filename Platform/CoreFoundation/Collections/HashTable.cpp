#include "HashTable.h"

#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Nesting.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace KXPlatform {

static_assert(sizeof(std::size_t) == 8, "the size of a full block is computed without a check");

namespace {

/// A caller's hint is taken at its word up to this many entries; what is asked beyond is only reserved when it comes.
constexpr CFIndex kMaximumReserve = 1 << 14;

/// Most dictionaries are small: a table grows to hold a few entries, then a good many, then twice as many each time.
std::size_t nextCapacity(std::size_t capacity) noexcept {
    return capacity == 0 ? 4 : capacity < 16 ? 16 : capacity * 2;
}

/// The index has half as many slots again as entries, and so always an empty one where a search ends.
std::uint8_t slotBitsFor(std::size_t capacity) noexcept {
    return static_cast<std::uint8_t>(std::bit_width(std::max<std::size_t>(capacity + capacity / 2, 2) - 1));
}

std::size_t slotSize(std::size_t capacity) noexcept { return capacity < 0xFF ? 1 : capacity < 0xFFFF ? 2 : 4; }

std::size_t rowsSize(std::size_t capacity, bool hasValues) noexcept {
    return capacity * ((hasValues ? 2 : 1) * sizeof(void*) + sizeof(std::uint32_t));
}

std::size_t slotsSize(std::size_t capacity) noexcept { return slotSize(capacity) << slotBitsFor(capacity); }

std::size_t blockSize(std::size_t capacity, bool hasValues) noexcept {
    return capacity == 0 ? 0 : rowsSize(capacity, hasValues) + slotsSize(capacity);
}

}  // namespace

// ---- The index

std::uint32_t HashTable::find(const void* key, std::uint32_t hash) const noexcept {
    return withSlots([&](auto* type) -> std::uint32_t {
        using Slot = std::remove_pointer_t<decltype(type)>;
        const Slot* const index = slots<Slot>();
        const std::uint32_t* const known = hashes();
        const std::uint32_t mask = slotMask();
        for (std::uint32_t at = home(hash);; at = (at + 1) & mask) {
            const std::uint32_t number = index[at];
            if (number == 0) return kNone;
            if (known[number - 1] == hash && areEqual(keyCallBacks, keys[number - 1], key)) return number - 1;
        }
    });
}

/// Puts an entry that is in the rows into the index.
void HashTable::place(std::uint32_t entry) noexcept {
    withSlots([&](auto* type) {
        using Slot = std::remove_pointer_t<decltype(type)>;
        Slot* const index = slots<Slot>();
        std::uint32_t at = home(hashes()[entry]);
        while (index[at] != 0) at = (at + 1) & slotMask();
        index[at] = static_cast<Slot>(entry + 1);
    });
}

/// Takes an entry out of the index. Those that stand behind it only because slots before were taken move up, so that
/// no search ends too early.
void HashTable::unplace(std::uint32_t entry) noexcept {
    withSlots([&](auto* type) {
        using Slot = std::remove_pointer_t<decltype(type)>;
        Slot* const index = slots<Slot>();
        const std::uint32_t mask = slotMask();
        std::uint32_t hole = home(hashes()[entry]);
        while (index[hole] != entry + 1) hole = (hole + 1) & mask;
        for (std::uint32_t at = (hole + 1) & mask; index[at] != 0; at = (at + 1) & mask) {
            const std::uint32_t wanted = home(hashes()[index[at] - 1u]);
            if (((at - wanted) & mask) < ((at - hole) & mask)) continue;
            index[hole] = index[at];
            hole = at;
        }
        index[hole] = 0;
    });
}

/// Moves the last entry of the rows to another place in them.
void HashTable::renumber(std::uint32_t from, std::uint32_t to) noexcept {
    withSlots([&](auto* type) {
        using Slot = std::remove_pointer_t<decltype(type)>;
        Slot* const index = slots<Slot>();
        std::uint32_t at = home(hashes()[from]);
        while (index[at] != from + 1) at = (at + 1) & slotMask();
        index[at] = static_cast<Slot>(to + 1);
    });
    keys[to] = keys[from];
    if (valueCallBacks) values()[to] = values()[from];
    hashes()[to] = hashes()[from];
}

// ---- Memory

bool HashTable::grow(std::size_t wanted) noexcept {
    if (wanted <= capacity) return true;
    if (!isMutable() || wanted > kMaximumCount) return false;
    const std::size_t room = std::max(wanted, nextCapacity(capacity));
    const bool hasValues = valueCallBacks != nullptr;
    const CFAllocatorRef allocator = CFGetAllocator(this);
    void* const memory = CFAllocatorAllocate(allocator, static_cast<CFIndex>(blockSize(room, hasValues)), 0);
    if (!memory) return false;

    const void** const oldKeys = keys;
    const void** const oldValues = values();
    const std::uint32_t* const oldHashes = hashes();
    keys = static_cast<const void**>(memory);
    capacity = static_cast<std::uint32_t>(room);
    slotBits = slotBitsFor(room);
    if (count > 0) {
        std::memcpy(keys, oldKeys, count * sizeof *keys);
        if (hasValues) std::memcpy(values(), oldValues, count * sizeof *keys);
        std::memcpy(hashes(), oldHashes, count * sizeof *oldHashes);
    }
    std::memset(hashes() + capacity, 0, slotsSize(room));
    for (std::uint32_t entry = 0; entry < count; ++entry) place(entry);
    CFAllocatorDeallocate(allocator, oldKeys);
    return true;
}

HashTable* HashTable::create(CFAllocatorRef allocator, const Class& cls, Kind kind, CFIndex capacity,
                             const CallBacks& keys, const CallBacks* values) noexcept {
    const bool isMutable = kind == Kind::Mutable;
    if (capacity < 0 || (!isMutable && capacity > kMaximumCount)) return nullptr;
    const std::size_t room = isMutable ? 0 : static_cast<std::size_t>(capacity);
    const std::size_t size = sizeOfCopy(keys) + (values ? sizeOfCopy(*values) : 0) + blockSize(room, values != nullptr);
    HashTable* const table = make<HashTable>(allocator, size, cls);
    if (!table) return nullptr;
    table->bits = static_cast<std::uint8_t>(kind);
    std::byte* place = trailing(table);
    table->keyCallBacks = placeCallBacks(keys, place);
    if (values) table->valueCallBacks = placeCallBacks(*values, place);
    if (isMutable) {
        if (capacity > 0 && !table->grow(static_cast<std::size_t>(std::min(capacity, kMaximumReserve)))) {
            CFRelease(table);
            return nullptr;
        }
    } else if (room > 0) {
        table->keys = reinterpret_cast<const void**>(place);
        table->capacity = static_cast<std::uint32_t>(room);
        table->slotBits = slotBitsFor(room);
        std::memset(table->hashes() + room, 0, slotsSize(room));
    }
    return table;
}

HashTable* HashTable::createCopy(CFAllocatorRef allocator, Kind kind, CFIndex capacity,
                                 const HashTable* source) noexcept {
    if (capacity < 0) return nullptr;
    const CFIndex number = source->count;
    const CFIndex room = kind == Kind::Mutable ? std::max(number, std::min(capacity, kMaximumReserve)) : number;
    HashTable* const copy = create(allocator, *source->cls, kind, room, *source->keyCallBacks, source->valueCallBacks);
    if (!copy || (source->count > 0 && !copy->grow(source->count))) {
        CFRelease(copy);
        return nullptr;
    }
    copy->repeated = source->repeated;
    for (std::uint32_t entry = 0; entry < source->count; ++entry) {
        const void* const key = retainValue(copy->keyCallBacks, copy, source->keys[entry]);
        if (failedToRetain(copy->keyCallBacks, source->keys[entry], key)) {
            CFRelease(copy);
            return nullptr;
        }
        copy->keys[entry] = key;
        copy->hashes()[entry] = source->hashes()[entry];
        if (copy->valueCallBacks)
            copy->values()[entry] = retainValue(copy->valueCallBacks, copy, source->values()[entry]);
        copy->place(entry);
        ++copy->count;
    }
    return copy;
}

HashTable* HashTable::createAdopting(CFAllocatorRef allocator, const Class& cls, const CFStringRef* keys,
                                     const CFTypeRef* values, CFIndex count) noexcept {
    HashTable* const table = create(allocator, cls, Kind::Immutable, count, kObjectCallBacks, &kObjectCallBacks);
    if (!table || count == 0) return table;
    const std::uint32_t number = static_cast<std::uint32_t>(count);
    std::memcpy(table->keys, keys, number * sizeof *keys);
    std::memcpy(table->values(), values, number * sizeof *values);
    const bool areDistinct = table->withSlots([&](auto* type) {
        using Slot = std::remove_pointer_t<decltype(type)>;
        Slot* const index = table->slots<Slot>();
        std::uint32_t* const known = table->hashes();
        const std::uint32_t mask = table->slotMask();
        for (std::uint32_t entry = 0; entry < number; ++entry) {
            const std::uint32_t hash = mix(CFHash(keys[entry]));
            std::uint32_t at = table->home(hash);
            for (; index[at] != 0; at = (at + 1) & mask) {
                const std::uint32_t other = index[at] - 1u;
                if (known[other] == hash && CFEqual(keys[other], keys[entry])) return false;
            }
            known[entry] = hash;
            index[at] = static_cast<Slot>(entry + 1);
        }
        return true;
    });
    if (areDistinct) {
        table->count = number;
        return table;
    }
    CFRelease(table);
    return nullptr;
}

void HashTable::releaseEntries(const void* const* oldKeys, const void* const* oldValues,
                               std::uint32_t number) noexcept {
    for (std::uint32_t entry = 0; entry < number; ++entry) {
        releaseValue(keyCallBacks, this, oldKeys[entry]);
        if (valueCallBacks) releaseValue(valueCallBacks, this, oldValues[entry]);
    }
}

void HashTable::finalize(Object* object) noexcept {
    HashTable* const table = static_cast<HashTable*>(object);
    if (!table->keys) return;
    table->releaseEntries(table->keys, table->values(), table->count);
    if (table->isMutable()) CFAllocatorDeallocate(CFGetAllocator(table), table->keys);
}

// ---- Changing

bool HashTable::add(const void* key, const void* value) noexcept {
    const std::uint32_t hash = mix(hashOf(keyCallBacks, key));
    return (count > 0 && find(key, hash) != kNone) || append(key, value, hash);
}

bool HashTable::set(const void* key, const void* value) noexcept {
    const std::uint32_t hash = mix(hashOf(keyCallBacks, key));
    const std::uint32_t entry = count > 0 ? find(key, hash) : kNone;
    if (entry == kNone) return append(key, value, hash);
    replaceValue(entry, value);
    return true;
}

/// Adds an entry whose key is not there.
bool HashTable::append(const void* key, const void* value, std::uint32_t hash) noexcept {
    const void* const keptKey = retainValue(keyCallBacks, this, key);
    if (failedToRetain(keyCallBacks, key, keptKey)) return false;
    const void* const keptValue = valueCallBacks ? retainValue(valueCallBacks, this, value) : nullptr;
    if (!grow(std::size_t{count} + 1)) {
        releaseEntries(&keptKey, &keptValue, 1);
        return false;
    }
    keys[count] = keptKey;
    if (valueCallBacks) values()[count] = keptValue;
    hashes()[count] = hash;
    place(count);
    ++count;
    return true;
}

void HashTable::replaceValue(std::uint32_t entry, const void* value) noexcept {
    const void* const kept = retainValue(valueCallBacks, this, value);
    releaseValue(valueCallBacks, this, std::exchange(values()[entry], kept));
}

void HashTable::replaceKey(std::uint32_t entry, const void* key) noexcept {
    const void* const kept = retainValue(keyCallBacks, this, key);
    if (failedToRetain(keyCallBacks, key, kept)) return;
    releaseValue(keyCallBacks, this, std::exchange(keys[entry], kept));
}

void HashTable::remove(std::uint32_t entry) noexcept {
    const void* const key = keys[entry];
    const void* const value = valueCallBacks ? values()[entry] : nullptr;
    unplace(entry);
    const std::uint32_t last = count - 1;
    if (entry != last) renumber(last, entry);
    count = last;
    releaseEntries(&key, &value, 1);
}

void HashTable::removeAll() noexcept {
    const void** const oldValues = values();
    const void** const oldKeys = std::exchange(keys, nullptr);
    const std::uint32_t number = std::exchange(count, 0u);
    capacity = 0;
    repeated = 0;
    releaseEntries(oldKeys, oldValues, number);
    CFAllocatorDeallocate(CFGetAllocator(this), oldKeys);
}

// ---- As objects

bool HashTable::equal(const Object* object1, const Object* object2) {
    const HashTable* const a = static_cast<const HashTable*>(object1);
    const HashTable* const b = static_cast<const HashTable*>(object2);
    if (a->count != b->count) return false;
    if (a->count == 0) return true;
    if (a->keyCallBacks->equal != b->keyCallBacks->equal || a->keyCallBacks->hash != b->keyCallBacks->hash)
        return false;
    if (a->valueCallBacks && a->valueCallBacks->equal != b->valueCallBacks->equal) return false;
    const ComparedLevel level;
    if (level.isTooDeep()) return false;
    for (std::uint32_t entry = 0; entry < a->count; ++entry) {
        // Hashes of equal callbacks are equal: the kept one serves.
        const std::uint32_t other = b->find(a->keys[entry], a->hashes()[entry]);
        if (other == kNone) return false;
        if (a->valueCallBacks && !areEqual(a->valueCallBacks, a->values()[entry], b->values()[other])) return false;
    }
    return true;
}

CFHashCode HashTable::hash(const Object* object) { return static_cast<const HashTable*>(object)->count; }

CFStringRef HashTable::copyDescription(const char* noun, Values form) const noexcept {
    Description description;
    description.appendHeading("CFBasicHash", this);
    description.format("{type = %s %s, count = %u,\nentries =>\n", isMutable() ? "mutable" : "immutable", noun, count);
    for (std::uint32_t entry = 0; entry < count; ++entry) {
        description.format("\t%u : ", entry);
        describeValue(description, keyCallBacks, keys[entry]);
        if (form == Values::Counts) {
            description.format(" (%ld)", static_cast<long>(reinterpret_cast<std::intptr_t>(values()[entry])));
        } else if (valueCallBacks) {
            description.format(" = ");
            describeValue(description, valueCallBacks, values()[entry]);
        }
        description.format("\n");
    }
    description.format("}\n");
    return description.take();
}

}  // namespace KXPlatform
