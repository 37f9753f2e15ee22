#include "Description.h"
#include "Object.h"

#include <cstdlib>

using namespace KXPlatform;

namespace {

void finalizeAllocator(Object* object) noexcept;

CFStringRef describeAllocator(const Object* object);

constexpr Class kAllocatorClass{TypeID::Allocator, finalizeAllocator, nullptr, nullptr, describeAllocator};

void* mallocAllocate(CFIndex size, CFOptionFlags, void*) { return std::malloc(static_cast<std::size_t>(size)); }
void* mallocReallocate(void* memory, CFIndex size, CFOptionFlags, void*) {
    return std::realloc(memory, static_cast<std::size_t>(size));
}
void mallocDeallocate(void* memory, void*) { std::free(memory); }

constexpr CFAllocatorContext kMallocContext{
    0, nullptr, nullptr, nullptr, nullptr, mallocAllocate, mallocReallocate, mallocDeallocate, nullptr};
constexpr CFAllocatorContext kNullContext{};

}  // namespace

struct __CFAllocator : Object {
    explicit __CFAllocator(const CFAllocatorContext& c) noexcept : Object(kAllocatorClass), context(c) {}
    constexpr __CFAllocator(const CFAllocatorContext& c, ImmortalTag tag) noexcept
        : Object(kAllocatorClass, tag), context(c) {}

    CFAllocatorContext context;
};

namespace {

constinit const __CFAllocator systemDefaultAllocator(kMallocContext, Object::Immortal);
constinit const __CFAllocator mallocAllocator(kMallocContext, Object::Immortal);
constinit const __CFAllocator mallocZoneAllocator(kMallocContext, Object::Immortal);
constinit const __CFAllocator nullAllocator(kNullContext, Object::Immortal);
constinit const __CFAllocator useContextAllocator(kNullContext, Object::Immortal);

// In the thread's own block, at a place known when the library is loaded: asked for with every object made.
[[gnu::tls_model("initial-exec")]] thread_local CFAllocatorRef threadDefault = nullptr;

/// The allocator of an object that is not the system's default stands this far before it. A null one stands before an
/// allocator that is kept in memory of its own.
constexpr std::size_t kPrefix = alignof(std::max_align_t);

CFAllocatorRef prefixOf(CFTypeRef cf) noexcept {
    return *reinterpret_cast<const CFAllocatorRef*>(static_cast<const std::byte*>(cf) - kPrefix);
}

bool isInOwnMemory(const Object* allocator) noexcept {
    return (allocator->flags & Object::kOwnAllocator) && !prefixOf(allocator);
}

void releaseInfo(const CFAllocatorContext& context) noexcept {
    if (context.release) context.release(context.info);
}

void finalizeAllocator(Object* object) noexcept {
    // The info may be what gives the memory back: then it goes last.
    if (!isInOwnMemory(object)) releaseInfo(static_cast<__CFAllocator*>(object)->context);
}

__CFAllocator* makeInOwnMemory(const CFAllocatorContext& context) noexcept {
    if (!context.allocate) return nullptr;
    void* const memory = context.allocate(static_cast<CFIndex>(kPrefix + sizeof(__CFAllocator)), 0, context.info);
    if (!memory) return nullptr;
    ::new (memory) CFAllocatorRef(nullptr);
    __CFAllocator* const made = ::new (static_cast<std::byte*>(memory) + kPrefix) __CFAllocator(context);
    made->flags |= Object::kOwnAllocator;
    return made;
}

CFStringRef describeAllocator(const Object* object) {
    const CFAllocatorContext& context = static_cast<const __CFAllocator*>(object)->context;
    const CFStringRef info = context.copyDescription ? context.copyDescription(context.info) : nullptr;
    Description description;
    description.appendHeading(object);
    if (info) {
        description.format("{info = ");
        description.append(info);
        description.format("}");
        CFRelease(info);
    } else {
        // Not "%p", by which the C library shows a null pointer as "(nil)".
        description.format("{info = 0x%lx}", reinterpret_cast<std::uintptr_t>(context.info));
    }
    return description.take();
}

CFAllocatorRef currentDefault() noexcept { return threadDefault ? threadDefault : &systemDefaultAllocator; }

CFAllocatorRef resolve(CFAllocatorRef allocator) noexcept { return allocator ? allocator : currentDefault(); }

}  // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault = &systemDefaultAllocator;
const CFAllocatorRef kCFAllocatorMalloc = &mallocAllocator;
const CFAllocatorRef kCFAllocatorMallocZone = &mallocZoneAllocator;
const CFAllocatorRef kCFAllocatorNull = &nullAllocator;
const CFAllocatorRef kCFAllocatorUseContext = &useContextAllocator;

CFTypeID CFAllocatorGetTypeID() { return number(TypeID::Allocator); }

void CFAllocatorSetDefault(CFAllocatorRef allocator) {
    if (!isOfType(allocator, TypeID::Allocator)) return;
    // As on the platform, the new default is retained and never released: objects may outlive the change.
    threadDefault = static_cast<CFAllocatorRef>(CFRetain(allocator));
}

CFAllocatorRef CFAllocatorGetDefault() { return currentDefault(); }

CFAllocatorRef CFAllocatorCreate(CFAllocatorRef allocator, CFAllocatorContext* context) {
    if (!context || context->version != 0) return nullptr;
    CFAllocatorContext kept = *context;
    if (kept.retain) kept.info = const_cast<void*>(kept.retain(kept.info));
    __CFAllocator* const made =
        allocator == kCFAllocatorUseContext ? makeInOwnMemory(kept) : make<__CFAllocator>(allocator, 0, kept);
    if (!made) releaseInfo(kept);
    return made;
}

void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint) {
    if (size <= 0) return nullptr;
    const CFAllocatorContext& context = resolve(allocator)->context;
    return context.allocate ? context.allocate(size, hint, context.info) : nullptr;
}

void* CFAllocatorReallocate(CFAllocatorRef allocator, void* ptr, CFIndex newsize, CFOptionFlags hint) {
    allocator = resolve(allocator);
    if (!ptr) return CFAllocatorAllocate(allocator, newsize, hint);
    if (newsize <= 0) {
        CFAllocatorDeallocate(allocator, ptr);
        return nullptr;
    }
    const CFAllocatorContext& context = allocator->context;
    return context.reallocate ? context.reallocate(ptr, newsize, hint, context.info) : nullptr;
}

void CFAllocatorDeallocate(CFAllocatorRef allocator, void* ptr) {
    const CFAllocatorContext& context = resolve(allocator)->context;
    if (ptr && context.deallocate) context.deallocate(ptr, context.info);
}

CFIndex CFAllocatorGetPreferredSizeForSize(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint) {
    const CFAllocatorContext& context = resolve(allocator)->context;
    if (size > 0 && context.preferredSize) return context.preferredSize(size, hint, context.info);
    return size;
}

void CFAllocatorGetContext(CFAllocatorRef allocator, CFAllocatorContext* context) {
    if (context) *context = resolve(allocator)->context;
}

CFAllocatorRef CFGetAllocator(CFTypeRef cf) {
    if (!cf || !(object(cf)->flags & Object::kOwnAllocator)) return kCFAllocatorSystemDefault;
    const CFAllocatorRef allocator = prefixOf(cf);
    return allocator ? allocator : static_cast<CFAllocatorRef>(cf);
}

namespace KXPlatform {

void* allocateObject(CFAllocatorRef allocator, std::size_t size, std::uint8_t& flags) noexcept {
    allocator = resolve(allocator);
    if (allocator == kCFAllocatorSystemDefault) return std::malloc(size);
    if (size > static_cast<std::size_t>(PTRDIFF_MAX) - kPrefix) return nullptr;
    void* const memory = CFAllocatorAllocate(allocator, static_cast<CFIndex>(size + kPrefix), 0);
    if (!memory) return nullptr;
    flags |= Object::kOwnAllocator;
    ::new (memory) CFAllocatorRef(static_cast<CFAllocatorRef>(CFRetain(allocator)));
    return static_cast<std::byte*>(memory) + kPrefix;
}

void deallocateObject(void* memory, std::uint8_t flags) noexcept {
    if (!(flags & Object::kOwnAllocator)) {
        std::free(memory);
        return;
    }
    void* const start = static_cast<std::byte*>(memory) - kPrefix;
    const CFAllocatorRef allocator = prefixOf(memory);
    if (!allocator) {
        const CFAllocatorContext context = static_cast<__CFAllocator*>(memory)->context;
        if (context.deallocate) context.deallocate(start, context.info);
        releaseInfo(context);
        return;
    }
    CFAllocatorDeallocate(allocator, start);
    CFRelease(allocator);
}

}  // namespace KXPlatform
