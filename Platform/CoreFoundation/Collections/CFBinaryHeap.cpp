#include "CallBacks.h"
#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Nesting.h"
#include "ValueSnapshot.h"

#include <CoreFoundation/CFBinaryHeap.h>

#include <algorithm>
#include <utility>

using namespace KXPlatform;

namespace {

void finalizeHeap(Object* object) noexcept;
bool equalHeaps(const Object* object1, const Object* object2);
CFHashCode hashHeap(const Object* object);
CFStringRef describeHeap(const Object* object);

constexpr Class kHeapClass{TypeID::BinaryHeap, finalizeHeap, equalHeaps, hashHeap, describeHeap};

using Compare = CFComparisonResult (*)(const void*, const void*, void*);

CFComparisonResult compareAddresses(const void* a, const void* b, void*) {
    const auto x = reinterpret_cast<std::uintptr_t>(a);
    const auto y = reinterpret_cast<std::uintptr_t>(b);
    return x < y ? kCFCompareLessThan : x > y ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

const void* retainObject(CFAllocatorRef, const void* value) { return CFRetain(value); }
void releaseObject(CFAllocatorRef, const void* value) { CFRelease(value); }
CFComparisonResult compareStrings(const void* a, const void* b, void*) {
    return CFStringCompare(static_cast<CFStringRef>(a), static_cast<CFStringRef>(b), 0);
}

}  // namespace

const CFBinaryHeapCallBacks kCFStringBinaryHeapCallBacks{0, retainObject, releaseObject, CFCopyDescription,
                                                         compareStrings};

/// values[0] is the least; values[i] is not greater than values[2i + 1] and values[2i + 2].
struct __CFBinaryHeap : Object {
    __CFBinaryHeap(const CallBacks& c, Compare order, const CFBinaryHeapCompareContext& given) noexcept
        : Object(kHeapClass), callBacks(c), compare(order), context(given) {
        if (context.info && context.retain) context.info = const_cast<void*>(context.retain(context.info));
    }
    ~__CFBinaryHeap() {
        removeAll();
        if (context.info && context.release) context.release(context.info);
    }

    bool isLess(const void* a, const void* b) const { return compare(a, b, context.info) == kCFCompareLessThan; }

    /// False, and nothing changed, when there is no memory for `wanted` values.
    bool reserve(CFIndex wanted) noexcept {
        if (wanted <= capacity) return true;
        constexpr CFIndex kMost = PTRDIFF_MAX / static_cast<CFIndex>(sizeof *values) / 2;
        if (wanted > kMost) return false;
        const CFIndex room = std::max({wanted, capacity * 2, CFIndex{8}});
        void* const memory =
            CFAllocatorReallocate(CFGetAllocator(this), values, room * static_cast<CFIndex>(sizeof *values), 0);
        if (!memory) return false;
        values = static_cast<const void**>(memory);
        capacity = room;
        return true;
    }

    void add(const void* kept) {
        values[count] = kept;
        ++count;
        rise(values, count - 1, kept);
    }

    /// Takes the least value out of the heap; its reference goes over to the caller.
    const void* take() { return takeFrom(values, count); }

    void removeAll() noexcept {
        const void** const old = std::exchange(values, nullptr);
        const CFIndex number = std::exchange(count, 0);
        capacity = 0;
        for (CFIndex i = 0; i < number; ++i) releaseValue(&callBacks, this, old[i]);
        if (old) CFAllocatorDeallocate(CFGetAllocator(this), old);
    }

    /// Writes the values to `sorted` from the least to the greatest. Stays in bounds whatever the comparisons return.
    void sortInto(const void** sorted) const {
        std::copy_n(values, count, sorted);
        for (CFIndex left = count; left > 0;) {
            const void* const least = takeFrom(sorted, left);
            sorted[left] = least;
        }
        std::reverse(sorted, sorted + count);
    }

    /// Moves `value`, for which there is a hole at `at`, up to where no greater value is above it.
    void rise(const void** heap, CFIndex at, const void* value) const {
        for (; at > 0; at = (at - 1) / 2) {
            const void* const parent = heap[(at - 1) / 2];
            if (!isLess(value, parent)) break;
            heap[at] = parent;
        }
        heap[at] = value;
    }

    /// Takes the least value out of the first `number` of `heap`.
    const void* takeFrom(const void** heap, CFIndex& number) const {
        const void* const least = heap[0];
        const void* const moved = heap[--number];
        // The hole goes down to a leaf along the lesser children, then what fills it comes up from there: the last
        // value is one of the greatest and mostly stays low, which saves a comparison a level.
        CFIndex at = 0;
        for (CFIndex child = 1; child < number; child = 2 * at + 1) {
            if (child + 1 < number && isLess(heap[child + 1], heap[child])) ++child;
            heap[at] = heap[child];
            at = child;
        }
        if (number > 0) rise(heap, at, moved);
        return least;
    }

    const CallBacks callBacks;
    const Compare compare;
    CFBinaryHeapCompareContext context;
    const void** values = nullptr;
    CFIndex count = 0;
    CFIndex capacity = 0;
};

namespace {

__CFBinaryHeap* checked(CFBinaryHeapRef heap) noexcept { return heap && heap->cls == &kHeapClass ? heap : nullptr; }

void finalizeHeap(Object* object) noexcept { finalizeAs<__CFBinaryHeap>(object); }

bool equalHeaps(const Object* object1, const Object* object2) {
    const auto& a = *static_cast<const __CFBinaryHeap*>(object1);
    const auto& b = *static_cast<const __CFBinaryHeap*>(object2);
    if (a.count != b.count) return false;
    if (a.count == 0) return true;
    if (a.compare != b.compare) return false;
    const ComparedLevel level;
    if (level.isTooDeep()) return false;
    try {
        SmallVector<const void*, 32> sortedA, sortedB;
        const auto count = static_cast<std::size_t>(a.count);
        a.sortInto(sortedA.room(count));
        b.sortInto(sortedB.room(count));
        return std::equal(sortedA.data(), sortedA.data() + count, sortedB.data(), [&](const void* x, const void* y) {
            return a.compare(x, y, a.context.info) == kCFCompareEqualTo;
        });
    } catch (const std::bad_alloc&) {
        return false;
    }
}

CFHashCode hashHeap(const Object* object) {
    return static_cast<CFHashCode>(static_cast<const __CFBinaryHeap*>(object)->count);
}

CFStringRef describeHeap(const Object* object) {
    const auto* const heap = static_cast<const __CFBinaryHeap*>(object);
    Description description;
    description.appendHeading(heap);
    description.format("{count = %ld, capacity = %ld, objects = (\n", heap->count, heap->capacity);
    for (CFIndex i = 0; i < heap->count; ++i) {
        description.format("\t%ld : ", i);
        describeValue(description, &heap->callBacks, heap->values[i]);
        description.format("\n");
    }
    description.format(")}");
    return description.take();
}

}  // namespace

CFTypeID CFBinaryHeapGetTypeID() { return number(TypeID::BinaryHeap); }

CFBinaryHeapRef CFBinaryHeapCreate(CFAllocatorRef allocator, CFIndex capacity, const CFBinaryHeapCallBacks* callBacks,
                                   const CFBinaryHeapCompareContext* compareContext) {
    if (capacity < 0 || (callBacks && callBacks->version != 0) || (compareContext && compareContext->version != 0))
        return nullptr;
    const CFBinaryHeapCallBacks given = callBacks ? *callBacks : CFBinaryHeapCallBacks{};
    const CallBacks kept{given.retain, given.release, given.copyDescription, nullptr, nullptr};
    __CFBinaryHeap* const heap =
        make<__CFBinaryHeap>(allocator, 0, kept, given.compare ? given.compare : compareAddresses,
                             compareContext ? *compareContext : CFBinaryHeapCompareContext{});
    // A hint is taken at its word up to a bound; what is asked beyond is only reserved when it comes.
    constexpr CFIndex kMaximumReserve = 1 << 14;
    if (!heap || capacity == 0 || heap->reserve(std::min(capacity, kMaximumReserve))) return heap;
    CFRelease(heap);
    return nullptr;
}

CFBinaryHeapRef CFBinaryHeapCreateCopy(CFAllocatorRef allocator, CFIndex capacity, CFBinaryHeapRef heap) {
    if (!checked(heap) || capacity < 0) return nullptr;
    __CFBinaryHeap* const copy = make<__CFBinaryHeap>(allocator, 0, heap->callBacks, heap->compare, heap->context);
    if (!copy) return nullptr;
    if (!copy->reserve(heap->count)) {
        CFRelease(copy);
        return nullptr;
    }
    for (CFIndex i = 0; i < heap->count; ++i) copy->values[i] = retainValue(&copy->callBacks, copy, heap->values[i]);
    copy->count = heap->count;
    return copy;
}

CFIndex CFBinaryHeapGetCount(CFBinaryHeapRef heap) { return checked(heap) ? heap->count : 0; }

CFIndex CFBinaryHeapGetCountOfValue(CFBinaryHeapRef heap, const void* value) {
    if (!checked(heap)) return 0;
    return std::count_if(heap->values, heap->values + heap->count, [&](const void* other) {
        return heap->compare(other, value, heap->context.info) == kCFCompareEqualTo;
    });
}

Boolean CFBinaryHeapContainsValue(CFBinaryHeapRef heap, const void* value) {
    if (!checked(heap)) return false;
    return std::any_of(heap->values, heap->values + heap->count, [&](const void* other) {
        return heap->compare(other, value, heap->context.info) == kCFCompareEqualTo;
    });
}

const void* CFBinaryHeapGetMinimum(CFBinaryHeapRef heap) {
    return checked(heap) && heap->count > 0 ? heap->values[0] : nullptr;
}

Boolean CFBinaryHeapGetMinimumIfPresent(CFBinaryHeapRef heap, const void** value) {
    if (!checked(heap) || heap->count == 0) return false;
    if (value) *value = heap->values[0];
    return true;
}

void CFBinaryHeapGetValues(CFBinaryHeapRef heap, const void** values) {
    if (checked(heap) && values && heap->count > 0) heap->sortInto(values);
}

void CFBinaryHeapApplyFunction(CFBinaryHeapRef heap, CFBinaryHeapApplierFunction applier, void* context) {
    if (!checked(heap) || !applier || heap->count == 0) return;
    ValueSnapshot values(&heap->callBacks, heap);
    if (!values.reserve(static_cast<std::size_t>(heap->count))) return;
    for (CFIndex i = 0; i < heap->count; ++i) values.add(heap->values[i]);
    for (std::size_t i = 0; i < values.size(); ++i) applier(values[i], context);
}

void CFBinaryHeapAddValue(CFBinaryHeapRef heap, const void* value) {
    if (checked(heap) && heap->reserve(heap->count + 1)) heap->add(retainValue(&heap->callBacks, heap, value));
}

void CFBinaryHeapRemoveMinimumValue(CFBinaryHeapRef heap) {
    if (checked(heap) && heap->count > 0) releaseValue(&heap->callBacks, heap, heap->take());
}

void CFBinaryHeapRemoveAllValues(CFBinaryHeapRef heap) {
    if (checked(heap)) heap->removeAll();
}
