#include "Description.h"
#include "Nesting.h"
#include "Object.h"

#include <vector>

using namespace KXPlatform;

const CFIndex kCFNotFound = -1;
double kCFCoreFoundationVersionNumber = 1575.401;

namespace {

/// Destroying a container destroys what it alone held, and so on down. Below this depth the rest waits its turn, so
/// that no nesting, however deep, uses up the stack.
constexpr int kMaximumDepth = 64;

void destroy(const Object* object) noexcept {
    Object* const dying = const_cast<Object*>(object);
    const std::uint8_t flags = dying->flags;
    if (dying->cls->finalize) dying->cls->finalize(dying);
    deallocateObject(dying, flags);
}

CFStringRef copyHeading(CFTypeRef cf) noexcept {
    Description description;
    description.appendHeading(cf);
    return description.take();
}

}  // namespace

namespace KXPlatform {

void endLifeInParts(const Object* object) noexcept {
    struct State {
        int depth = 0;
        std::vector<const Object*> waiting;
    };
    static thread_local State* current = nullptr;
    if (object->cls->isLeaf) {
        destroy(object);
        return;
    }
    if (!current) {
        State state;
        current = &state;
        destroy(object);
        while (!state.waiting.empty()) {
            const Object* const next = state.waiting.back();
            state.waiting.pop_back();
            destroy(next);
        }
        current = nullptr;
        return;
    }
    if (current->depth >= kMaximumDepth) {
        try {
            current->waiting.push_back(object);
            return;
        } catch (const std::bad_alloc&) {
            // Without memory for the list the stack has to do; ending objects gives memory back.
        }
    }
    ++current->depth;
    destroy(object);
    --current->depth;
}

}  // namespace KXPlatform

CFTypeID CFGetTypeID(CFTypeRef cf) { return cf ? number(object(cf)->cls->typeID) : 0; }

CFTypeRef CFRetain(CFTypeRef cf) {
    retain(cf);
    return cf;
}

void CFRelease(CFTypeRef cf) { release(cf); }

CFIndex CFGetRetainCount(CFTypeRef cf) {
    if (!cf) return 0;
    if (object(cf)->flags & Object::kImmortal) return INT64_MAX;
    return static_cast<CFIndex>(object(cf)->count.load(std::memory_order_relaxed));
}

CFTypeRef CFMakeCollectable(CFTypeRef cf) { return cf; }

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
    if (cf1 == cf2) return true;
    if (!cf1 || !cf2 || object(cf1)->cls != object(cf2)->cls || !object(cf1)->cls->equal) return false;
    return object(cf1)->cls->equal(object(cf1), object(cf2));
}

CFHashCode CFHash(CFTypeRef cf) {
    if (cf && object(cf)->cls->hash) return object(cf)->cls->hash(object(cf));
    return reinterpret_cast<std::uintptr_t>(cf) >> 4;
}

CFStringRef CFCopyDescription(CFTypeRef cf) {
    if (!cf) return nullptr;
    const Class& cls = *object(cf)->cls;
    if (!cls.copyDescription) return copyHeading(cf);
    if (cls.isLeaf) return cls.copyDescription(object(cf));
    const DescribedObject described(cf);
    return described.isByHeadOnly() ? copyHeading(cf) : cls.copyDescription(object(cf));
}
