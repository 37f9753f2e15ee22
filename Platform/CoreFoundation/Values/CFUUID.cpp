#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Hashing.h"
#include "CoreFoundation/Object/Object.h"

#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFUUID.h>

#include <uuid/uuid.h>

#include <cstddef>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>

using namespace KXPlatform;

static_assert(sizeof(CFUUIDBytes) == 16 && sizeof(uuid_t) == 16);

struct __CFUUID : Object {
    __CFUUID(const Class& c, const CFUUIDBytes& b) noexcept : Object(c), bytes(b) {}

    const CFUUIDBytes bytes;
};

namespace {

/// The length of the text form: 8-4-4-4-12 digits and the hyphens between them.
constexpr CFIndex kTextLength = 36;

CFHashCode hashBytes(const CFUUIDBytes& bytes) noexcept {
    Hasher hasher;
    hasher.add(&bytes, sizeof bytes);
    return hasher.result(sizeof bytes);
}

bool equalBytes(const CFUUIDBytes& a, const CFUUIDBytes& b) noexcept { return std::memcmp(&a, &b, sizeof a) == 0; }

bool equalUUIDs(const Object* object1, const Object* object2) {
    return equalBytes(static_cast<const __CFUUID*>(object1)->bytes, static_cast<const __CFUUID*>(object2)->bytes);
}

CFHashCode hashUUID(const Object* object) { return hashBytes(static_cast<const __CFUUID*>(object)->bytes); }

void write(const CFUUIDBytes& bytes, char (&text)[kTextLength + 1]) noexcept {
    uuid_unparse_upper(reinterpret_cast<const unsigned char*>(&bytes), text);
}

CFStringRef describeUUID(const Object* object) {
    char text[kTextLength + 1];
    write(static_cast<const __CFUUID*>(object)->bytes, text);
    Description description;
    description.format("<CFUUID %p> %s", static_cast<const void*>(object), text);
    return description.take();
}

constexpr Class kUUIDClass{TypeID::UUID, nullptr, equalUUIDs, hashUUID, describeUUID, true};

bool isUUID(CFUUIDRef uuid) noexcept { return uuid && uuid->cls == &kUUIDClass; }

/// The constants: one object for the same bytes, for good.
class Constants {
  public:
    /// Any thread may ask. Null when there is no memory.
    CFUUIDRef get(CFAllocatorRef allocator, const CFUUIDBytes& bytes) noexcept try {
        const std::lock_guard lock(mutex_);
        const auto [at, isNew] = byBytes_.try_emplace(bytes, nullptr);
        if (isNew) {
            __CFUUID* const made = make<__CFUUID>(allocator, 0, kUUIDClass, bytes);
            if (!made) {
                byBytes_.erase(at);
                return nullptr;
            }
            made->flags |= Object::kImmortal;
            at->second = made;
        }
        return at->second;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }

  private:
    struct Hash {
        std::size_t operator()(const CFUUIDBytes& bytes) const noexcept { return hashBytes(bytes); }
    };
    struct Equal {
        bool operator()(const CFUUIDBytes& a, const CFUUIDBytes& b) const noexcept { return equalBytes(a, b); }
    };
    std::mutex mutex_;
    std::unordered_map<CFUUIDBytes, CFUUIDRef, Hash, Equal> byBytes_;
};

Constants& constants() {
    // Never destroyed: a constant may be asked for while the process ends.
    alignas(Constants) static std::byte place[sizeof(Constants)];
    static Constants* const all = ::new (place) Constants;
    return *all;
}

}  // namespace

CFTypeID CFUUIDGetTypeID() { return number(TypeID::UUID); }

CFUUIDRef CFUUIDCreate(CFAllocatorRef alloc) {
    CFUUIDBytes bytes;
    uuid_generate_random(reinterpret_cast<unsigned char*>(&bytes));
    return CFUUIDCreateFromUUIDBytes(alloc, bytes);
}

CFUUIDRef CFUUIDCreateWithBytes(CFAllocatorRef alloc, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3, UInt8 byte4,
                                UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9, UInt8 byte10,
                                UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14, UInt8 byte15) {
    return CFUUIDCreateFromUUIDBytes(alloc, {byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8, byte9,
                                             byte10, byte11, byte12, byte13, byte14, byte15});
}

CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef alloc, CFStringRef uuidStr) {
    char text[kTextLength + 1];
    CFUUIDBytes bytes;
    if (!isOfType(uuidStr, TypeID::String) || CFStringGetLength(uuidStr) != kTextLength ||
        !CFStringGetCString(uuidStr, text, sizeof text, kCFStringEncodingASCII) ||
        uuid_parse(text, reinterpret_cast<unsigned char*>(&bytes)) != 0)
        return nullptr;
    return CFUUIDCreateFromUUIDBytes(alloc, bytes);
}

CFStringRef CFUUIDCreateString(CFAllocatorRef alloc, CFUUIDRef uuid) {
    if (!isUUID(uuid)) return nullptr;
    char text[kTextLength + 1];
    write(uuid->bytes, text);
    return CFStringCreateWithCString(alloc, text, kCFStringEncodingASCII);
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef alloc, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                         UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                         UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15) {
    return constants().get(alloc, {byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8, byte9, byte10, byte11,
                                   byte12, byte13, byte14, byte15});
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid) { return isUUID(uuid) ? uuid->bytes : CFUUIDBytes{}; }

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef alloc, CFUUIDBytes bytes) {
    return make<__CFUUID>(alloc, 0, kUUIDClass, bytes);
}
