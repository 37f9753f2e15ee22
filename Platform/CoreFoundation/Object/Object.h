#pragma once

// The object model under every type of this platform.
//
// An object begins with one header: its class, its count of references and a few flags. The class is a constant table
// of what differs between types. An object is made by make(), counted by CFRetain and CFRelease, and destroyed on the
// thread that drops its last reference; immortal objects (constants) are never counted and never freed.

#include <CoreFoundation/CFBase.h>

#include <sys/single_threaded.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

namespace KXPlatform {

/// The identifier of each type: fixed, so that returning it costs nothing and needs no registration.
enum class TypeID : CFTypeID {
    None = 0,
#define KX_TYPE(id, name) id,
#include "Types.def"
#undef KX_TYPE
    Count
};

/// A number for a type of a floor above, which this one does not know by name: "SCDynamicStore". `name` must live
/// forever; the same name gives the same number. Any thread.
TypeID registerType(const char* name) noexcept;

/// "CFString"; null for a number that stands for no type.
const char* typeName(TypeID id) noexcept;

struct Object;
class FormatOutput;

/// What the model must know about a type. `finalize` ends an object's life (it runs the destructor) and leaves the
/// memory; null where there is nothing to end. Null `equal` and `hash` go by identity, null `copyDescription` gives
/// "<Name 0x... [0x...]>". `equal` is only asked for two objects of this class that are not the same. `format` writes
/// what the conversion %@ shows, where that is not the description; it may throw std::bad_alloc.
struct Class {
    TypeID typeID;
    void (*finalize)(Object*) noexcept;
    bool (*equal)(const Object*, const Object*);
    CFHashCode (*hash)(const Object*);
    CFStringRef (*copyDescription)(const Object*);
    bool isLeaf = false;  ///< holds no reference to another object, so that ending one can never nest
    void (*format)(const Object*, FormatOutput&) = nullptr;
};

struct Object {
    static constexpr std::uint8_t kImmortal = 1;      ///< a constant: never counted, never freed
    static constexpr std::uint8_t kOwnAllocator = 2;  ///< an allocator reference stands before the object
    static constexpr std::uint8_t kFound = 4;         ///< may be found, and retained, by who holds no reference
    static constexpr std::uint8_t kPlain = 8;         ///< nothing but its memory is to be given back at its end

    enum ImmortalTag { Immortal };

    explicit constexpr Object(const Class& c) noexcept : cls(&c) {}
    constexpr Object(const Class& c, ImmortalTag) noexcept : cls(&c), flags(kImmortal) {}
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    const Class* cls;
    mutable std::atomic<std::uint32_t> count{1};
    std::uint8_t flags = 0;
    std::uint8_t bits = 0;    ///< for the type's own use
    std::uint16_t spare = 0;  ///< for the type's own use
};
static_assert(sizeof(Object) == 16);

/// `cf` as an object. Every reference that a caller may hold points at an Object.
inline const Object* object(CFTypeRef cf) noexcept { return static_cast<const Object*>(cf); }

inline bool isOfType(CFTypeRef cf, TypeID id) noexcept { return cf && object(cf)->cls->typeID == id; }

constexpr CFTypeID number(TypeID id) noexcept { return static_cast<CFTypeID>(id); }

/// Ends the life of an object that has more to give back than its memory.
void endLifeInParts(const Object* object) noexcept;

/// Ends the life of an object whose last reference is gone.
inline void endLife(const Object* object) noexcept {
    if ((object->flags & (Object::kPlain | Object::kOwnAllocator)) == Object::kPlain) {
        std::free(const_cast<Object*>(object));
    } else {
        endLifeInParts(object);
    }
}

/// Adds to a count of references, or takes from it; returns what it was. While the process has one thread, and the C
/// library knows, no locked operation is needed.
inline std::uint32_t change(std::atomic<std::uint32_t>& count, std::uint32_t by, std::memory_order order) noexcept {
    if (!__libc_single_threaded) return count.fetch_add(by, order);
    const std::uint32_t before = count.load(std::memory_order_relaxed);
    count.store(before + by, std::memory_order_relaxed);
    return before;
}

/// CFRetain and CFRelease, inline for the sources of this platform.
inline void retain(const void* cf) noexcept {
    if (cf && !(object(cf)->flags & Object::kImmortal)) change(object(cf)->count, 1, std::memory_order_relaxed);
}

inline void release(const void* cf) noexcept {
    if (!cf) return;
    const std::uint8_t flags = object(cf)->flags;
    if (flags & Object::kImmortal) return;
    // Acquire pairs with the releases of the other owners: what they wrote is seen before the object is torn down. Who
    // holds the only reference need not count it down: nobody else can come by another one, unless the object can be
    // found (tryRetain), which only a count of 0 prevents.
    std::atomic<std::uint32_t>& count = object(cf)->count;
    const bool isOnly = !(flags & Object::kFound) && count.load(std::memory_order_acquire) == 1;
    if (isOnly || change(count, UINT32_MAX, std::memory_order_acq_rel) == 1) endLife(object(cf));
}

/// Memory for an object of `size` bytes from `allocator` (null: the thread's default). The flag to set on the object
/// comes back in `flags`. Null when the allocator gives none.
void* allocateObject(CFAllocatorRef allocator, std::size_t size, std::uint8_t& flags) noexcept;

/// Gives back what allocateObject gave.
void deallocateObject(void* memory, std::uint8_t flags) noexcept;

/// Makes an object of type T with `trailing` bytes after it (see trailing()). Null when there is no memory.
template <class T, class... Args>
T* make(CFAllocatorRef allocator, std::size_t trailing, Args&&... args) noexcept {
    static_assert(std::is_base_of_v<Object, T> && std::is_nothrow_constructible_v<T, Args...>);
    static_assert(alignof(T) <= alignof(std::max_align_t));
    std::uint8_t flags = 0;
    if (trailing > static_cast<std::size_t>(PTRDIFF_MAX) - sizeof(T)) return nullptr;
    void* const memory = allocateObject(allocator, sizeof(T) + trailing, flags);
    if (!memory) return nullptr;
    T* const made = ::new (memory) T(std::forward<Args>(args)...);
    made->flags |= flags;
    if (!made->cls->finalize) made->flags |= Object::kPlain;
    return made;
}

/// The bytes that make() reserved after the object.
template <class T>
std::byte* trailing(T* object) noexcept {
    return reinterpret_cast<std::byte*>(object) + sizeof(T);
}

/// For Class::finalize: runs T's destructor.
template <class T>
void finalizeAs(Object* object) noexcept {
    static_cast<T*>(object)->~T();
}

/// Releases what the calling thread gave up with CFAutorelease; its run loop calls this as it ends a pass.
void drainAutoreleased() noexcept;

}  // namespace KXPlatform
