#pragma once

// What a collection does with the values it holds: the five callbacks that arrays, dictionaries and sets share.

#include "CoreFoundation/Object/Object.h"

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

namespace KXPlatform {

/// The callbacks of one kind of value. Each may be null: values are then not counted, compared and hashed by their
/// addresses, and described by them.
struct CallBacks {
    const void* (*retain)(CFAllocatorRef, const void*);
    void (*release)(CFAllocatorRef, const void*);
    CFStringRef (*copyDescription)(const void*);
    Boolean (*equal)(const void*, const void*);
    CFHashCode (*hash)(const void*);

    friend bool operator==(const CallBacks&, const CallBacks&) = default;
};

extern const CallBacks kPointerCallBacks;     ///< all null
extern const CallBacks kObjectCallBacks;      ///< CFRetain, CFRelease, CFCopyDescription, CFEqual, CFHash
extern const CallBacks kCopyStringCallBacks;  ///< the same, but what is kept is a copy of the string given

/// The callbacks that a caller of an exported function gave, null ones included.
template <class Exported>
CallBacks gather(const Exported* given) noexcept {
    if (!given) return kPointerCallBacks;
    CallBacks gathered{given->retain, given->release, given->copyDescription, given->equal, nullptr};
    if constexpr (requires { given->hash; }) {
        gathered.hash = given->hash;
    } else if (gathered.equal == kObjectCallBacks.equal) {
        gathered.hash = kObjectCallBacks.hash;
    }
    return gathered;
}

/// The constant table with the same callbacks, or null: a collection of such values must keep a copy of its own.
inline const CallBacks* wellKnown(const CallBacks& callBacks) noexcept {
    for (const CallBacks* const known : {&kObjectCallBacks, &kPointerCallBacks, &kCopyStringCallBacks})
        if (callBacks == *known) return known;
    return nullptr;
}

/// The bytes that a collection reserves for its own copy of `callBacks`.
inline std::size_t sizeOfCopy(const CallBacks& callBacks) noexcept {
    return wellKnown(callBacks) ? 0 : sizeof(CallBacks);
}

/// The table that a collection refers to for `callBacks`: a constant one, or a copy made at `place`, which then moves
/// past it.
inline const CallBacks* placeCallBacks(const CallBacks& callBacks, std::byte*& place) noexcept {
    if (const CallBacks* const known = wellKnown(callBacks)) return known;
    const CallBacks* const copy = ::new (place) CallBacks(callBacks);
    place += sizeof(CallBacks);
    return copy;
}

// ---- What the callbacks do, with the common cases decided without a call

/// What `owner` is to keep for `value`: mostly `value` itself.
inline const void* retainValue(const CallBacks* callBacks, CFTypeRef owner, const void* value) noexcept {
    if (callBacks == &kObjectCallBacks) {
        retain(value);
        return value;
    }
    return callBacks->retain ? callBacks->retain(CFGetAllocator(owner), value) : value;
}

inline void releaseValue(const CallBacks* callBacks, CFTypeRef owner, const void* value) noexcept {
    if (callBacks == &kObjectCallBacks) return release(value);
    if (callBacks->release) callBacks->release(CFGetAllocator(owner), value);
}

/// Whether retainValue failed for want of memory: only copying does.
inline bool failedToRetain(const CallBacks* callBacks, const void* given, const void* kept) noexcept {
    return given && !kept && callBacks == &kCopyStringCallBacks;
}

inline bool areEqual(const CallBacks* callBacks, const void* a, const void* b) noexcept {
    if (a == b) return true;
    if (callBacks == &kObjectCallBacks)
        return a && b && object(a)->cls == object(b)->cls && object(a)->cls->equal &&
               object(a)->cls->equal(object(a), object(b));
    return callBacks->equal && callBacks->equal(a, b);
}

inline CFHashCode hashOf(const CallBacks* callBacks, const void* value) noexcept {
    if (callBacks == &kObjectCallBacks && value && object(value)->cls->hash)
        return object(value)->cls->hash(object(value));
    return callBacks->hash ? callBacks->hash(value) : reinterpret_cast<std::uintptr_t>(value);
}

class Description;

/// Appends the description of `value`, as its callback gives it.
void describeValue(Description& description, const CallBacks* callBacks, const void* value) noexcept;

}  // namespace KXPlatform
