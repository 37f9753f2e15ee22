#include "Object.h"

#include <CoreFoundation/CFString.h>

#include <cstring>
#include <mutex>

namespace KXPlatform {
namespace {

constexpr const char* kNames[] = {
#define KX_TYPE(id, name) name,
#include "Types.def"
#undef KX_TYPE
};
static_assert(std::size(kNames) == number(TypeID::Count) - 1);

/// Types of floors above; a handful. Names are only ever added, and read without the mutex.
constexpr std::size_t kMaximumRegistered = 32;
std::mutex mutex;
std::atomic<const char*> registered[kMaximumRegistered];

}  // namespace

TypeID registerType(const char* name) noexcept {
    const std::lock_guard lock(mutex);
    for (std::size_t i = 0; i < kMaximumRegistered; ++i) {
        const char* const known = registered[i].load(std::memory_order_relaxed);
        if (known && std::strcmp(known, name) != 0) continue;
        registered[i].store(name, std::memory_order_release);
        return static_cast<TypeID>(number(TypeID::Count) + i);
    }
    return TypeID::None;
}

const char* typeName(TypeID id) noexcept {
    const CFTypeID index = number(id) - 1;
    if (index < std::size(kNames)) return kNames[index];
    const CFTypeID place = number(id) - number(TypeID::Count);
    return place < kMaximumRegistered ? registered[place].load(std::memory_order_acquire) : nullptr;
}

}  // namespace KXPlatform

CFStringRef CFCopyTypeIDDescription(CFTypeID type_id) {
    const char* const name = KXPlatform::typeName(static_cast<KXPlatform::TypeID>(type_id));
    return name ? CFStringCreateWithCString(nullptr, name, kCFStringEncodingASCII) : nullptr;
}
