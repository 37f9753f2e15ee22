#pragma once

// The hashed storage under dictionaries, sets and bags.

#include "CallBacks.h"
#include "CoreFoundation/Object/Object.h"

#include <cstdint>

namespace KXPlatform {

/// Distinct keys, each with a value where there are values.
///
/// Entries lie densely in parallel rows (keys, values, hashes) in the order they came; removing one puts the last in
/// its place. Beside them stands an index of slots, never full, each 0 or the number of an entry plus one,
/// as narrow as the capacity allows; a key is looked for from the slot its hash names, onwards. Rows and index are one
/// block:
///
///     keys[capacity] values[capacity] hashes[capacity] slots[2^slotBits]
///
/// An immutable table lies in one piece with its object. A mutable one grows its block, which never moves an entry to
/// another number. No callback runs while the table is not whole; a callback may look at the table, not change it.
struct HashTable : Object {
    enum class Kind { Immutable, Mutable };
    enum class Values { Described, Counts };

    static constexpr std::uint32_t kNone = UINT32_MAX;
    static constexpr CFIndex kMaximumCount = CFIndex{1} << 30;

    explicit HashTable(const Class& c) noexcept : Object(c) {}

    /// An object of class `cls` over a table with room for `capacity` entries in its own block of memory (immutable),
    /// or over a table that grows (mutable; `capacity` is a hint). Null when there is no memory or `capacity` is out of
    /// bounds. A null `values` keeps none. Entries may be added to either until the caller lets the object go.
    static HashTable* create(CFAllocatorRef allocator, const Class& cls, Kind kind, CFIndex capacity,
                             const CallBacks& keys, const CallBacks* values) noexcept;

    /// The same entries in a new object, retained by its callbacks.
    static HashTable* createCopy(CFAllocatorRef allocator, Kind kind, CFIndex capacity,
                                 const HashTable* source) noexcept;

    /// An immutable table of objects that takes over a reference to each. Null, with nothing taken, when there is no
    /// memory or a key occurs twice.
    static HashTable* createAdopting(CFAllocatorRef allocator, const Class& cls, const CFStringRef* keys,
                                     const CFTypeRef* values, CFIndex count) noexcept;

    /// For Class::finalize.
    static void finalize(Object* object) noexcept;

    /// Whether two tables hold equal keys with equal values, compared by the same callbacks.
    static bool equal(const Object* object1, const Object* object2);

    /// For Class::hash: the count, which is what equal tables surely share.
    static CFHashCode hash(const Object* object);

    /// The platform's form: `noun` is "dict", "set" or "bag".
    CFStringRef copyDescription(const char* noun, Values form = Values::Described) const noexcept;

    bool isMutable() const noexcept { return bits == static_cast<std::uint8_t>(Kind::Mutable); }

    /// The entry with this key, or kNone.
    std::uint32_t find(const void* key) const noexcept {
        return count == 0 ? kNone : find(key, mix(hashOf(keyCallBacks, key)));
    }

    /// Adds an entry unless its key is there. False when there was no memory.
    bool add(const void* key, const void* value) noexcept;

    /// Adds an entry, or replaces the value where its key is there. False when there was no memory.
    bool set(const void* key, const void* value) noexcept;

    /// Replaces the value of an entry.
    void replaceValue(std::uint32_t entry, const void* value) noexcept;

    /// Replaces the key of an entry by an equal one.
    void replaceKey(std::uint32_t entry, const void* key) noexcept;

    void remove(std::uint32_t entry) noexcept;
    void removeAll() noexcept;

    const void** values() const noexcept { return keys + capacity; }

    const CallBacks* keyCallBacks = &kPointerCallBacks;
    const CallBacks* valueCallBacks = nullptr;
    const void** keys = nullptr;  ///< the start of the block
    std::uint32_t count = 0;
    std::uint32_t capacity = 0;
    std::uint8_t slotBits = 0;
    std::uint32_t repeated = 0;  ///< of a bag, what its counts add up to beyond 1 each

  private:
    /// Spreads a callback's hash, which may be a small number or an address: the highest bits name the slot.
    static std::uint32_t mix(CFHashCode hash) noexcept {
        std::uint64_t h = hash;
        h = (h ^ (h >> 32)) * 0x9E3779B97F4A7C15u;
        return static_cast<std::uint32_t>(h >> 32);
    }

    std::uint32_t* hashes() const noexcept {
        return reinterpret_cast<std::uint32_t*>(keys + (valueCallBacks ? 2 : 1) * std::size_t{capacity});
    }

    template <class Slot>
    Slot* slots() const noexcept {
        return reinterpret_cast<Slot*>(hashes() + capacity);
    }

    /// Calls `use` with a null pointer to the type of the slots.
    template <class Use>
    decltype(auto) withSlots(Use&& use) const {
        if (capacity < 0xFF) return use(static_cast<std::uint8_t*>(nullptr));
        if (capacity < 0xFFFF) return use(static_cast<std::uint16_t*>(nullptr));
        return use(static_cast<std::uint32_t*>(nullptr));
    }

    std::uint32_t home(std::uint32_t hash) const noexcept { return hash >> (32 - slotBits); }
    std::uint32_t slotMask() const noexcept { return static_cast<std::uint32_t>((std::uint64_t{1} << slotBits) - 1); }

    std::uint32_t find(const void* key, std::uint32_t hash) const noexcept;
    bool append(const void* key, const void* value, std::uint32_t hash) noexcept;
    void place(std::uint32_t entry) noexcept;
    void unplace(std::uint32_t entry) noexcept;
    void renumber(std::uint32_t from, std::uint32_t to) noexcept;
    bool grow(std::size_t wanted) noexcept;
    void releaseEntries(const void* const* oldKeys, const void* const* oldValues, std::uint32_t number) noexcept;
};

}  // namespace KXPlatform
