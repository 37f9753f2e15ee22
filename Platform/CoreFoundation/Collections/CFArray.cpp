#include "Adopting.h"
#include "CallBacks.h"
#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Nesting.h"
#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Range.h"

#include <CoreFoundation/CFArray.h>

#include <algorithm>
#include <cstring>
#include <memory>

using namespace KXPlatform;

// An immutable array is one block: the object, its own callbacks if it needs them, and the values. The values of a
// mutable array stand in a buffer with room at both ends, so that what is added or removed near either end moves
// little.

struct __CFArray : Object {
    static constexpr std::uint8_t kMutable = 1;

    explicit __CFArray(const Class& c) noexcept : Object(c) {}

    bool isMutable() const noexcept { return (bits & kMutable) != 0; }

    CFIndex count = 0;
    const CallBacks* callBacks = &kPointerCallBacks;
    const void** values = nullptr;
};

namespace {

constexpr CFIndex kMaximumCount = PTRDIFF_MAX / sizeof(void*) / 4;

/// A caller's hint is taken at its word up to this many values; what is asked beyond is only reserved when it comes.
constexpr CFIndex kMaximumReserve = 1 << 16;

struct MutableArray : __CFArray {
    explicit MutableArray(const Class& c) noexcept : __CFArray(c) { bits |= kMutable; }

    CFIndex roomBefore() const noexcept { return values - buffer; }
    CFIndex roomAfter() const noexcept { return capacity - count - roomBefore(); }

    bool reserve(CFIndex newCapacity, CFIndex before) noexcept;
    bool openGap(CFIndex at, CFIndex length) noexcept;
    void closeGap(CFIndex at, CFIndex length) noexcept;

    const void** buffer = nullptr;
    CFIndex capacity = 0;
};

void move(const void** to, const void** from, CFIndex count) noexcept {
    if (count > 0) std::memmove(to, from, static_cast<std::size_t>(count) * sizeof(void*));
}

/// Moves the values into a new buffer of `newCapacity`, `before` places from its start.
bool MutableArray::reserve(CFIndex newCapacity, CFIndex before) noexcept {
    if (newCapacity > kMaximumCount) return false;
    const CFAllocatorRef allocator = CFGetAllocator(this);
    void* const memory = CFAllocatorAllocate(allocator, newCapacity * static_cast<CFIndex>(sizeof(void*)), 0);
    if (!memory) return false;
    const void** const fresh = static_cast<const void**>(memory);
    move(fresh + before, values, count);
    CFAllocatorDeallocate(allocator, buffer);
    buffer = fresh;
    values = fresh + before;
    capacity = newCapacity;
    return true;
}

/// Makes room for `length` values at `at`, which the caller fills. False, and nothing changed, when there is no memory.
bool MutableArray::openGap(CFIndex at, CFIndex length) noexcept {
    if (length > kMaximumCount - count) return false;
    const bool nearStart = at < count - at;
    if ((nearStart ? roomBefore() : roomAfter()) < length) {
        const CFIndex unused = capacity - count;
        if (unused >= length && unused - length >= count / 2) {
            // There is room enough at the wrong end: share it out, so that the next such move is far away.
            const CFIndex before = nearStart ? length + (unused - length) / 2 : (unused - length) / 2;
            move(buffer + before, values, count);
            values = buffer + before;
        } else {
            const CFIndex newCapacity = std::max({count + length, count * 2, CFIndex{4}});
            if (!reserve(newCapacity, nearStart ? newCapacity - count : 0)) return false;
        }
    }
    if (nearStart) {
        move(values - length, values, at);
        values -= length;
    } else {
        move(values + at + length, values + at, count - at);
    }
    count += length;
    return true;
}

/// Takes `length` values at `at` out, without releasing them.
void MutableArray::closeGap(CFIndex at, CFIndex length) noexcept {
    const CFIndex after = count - at - length;
    if (at < after) {
        move(values + length, values, at);
        values += length;
    } else {
        move(values + at, values + at + length, after);
    }
    count -= length;
    if (count == 0) values = buffer;
}

// ---- The class

void finalizeArray(Object* object) noexcept {
    __CFArray* const array = static_cast<__CFArray*>(object);
    for (CFIndex i = 0; i < array->count; ++i) releaseValue(array->callBacks, array, array->values[i]);
    if (array->isMutable()) CFAllocatorDeallocate(CFGetAllocator(array), static_cast<MutableArray*>(array)->buffer);
}

bool equalArrays(const Object* object1, const Object* object2) {
    const __CFArray* const a = static_cast<const __CFArray*>(object1);
    const __CFArray* const b = static_cast<const __CFArray*>(object2);
    if (a->count != b->count) return false;
    if (a->count == 0) return true;
    if (a->callBacks->equal != b->callBacks->equal) return false;
    const ComparedLevel level;
    if (level.isTooDeep()) return false;
    for (CFIndex i = 0; i < a->count && i < b->count; ++i)
        if (!areEqual(a->callBacks, a->values[i], b->values[i])) return false;
    return true;
}

/// The count alone: an array's values may be anything, and may change under a mutable one.
CFHashCode hashArray(const Object* object) {
    return static_cast<CFHashCode>(static_cast<const __CFArray*>(object)->count);
}

CFStringRef describeArray(const Object* object) {
    const __CFArray* const array = static_cast<const __CFArray*>(object);
    Description description;
    description.appendHeading(array);
    description.format("{type = %s, count = %ld, values = (\n", array->isMutable() ? "mutable-small" : "immutable",
                       array->count);
    for (CFIndex i = 0; i < array->count; ++i) {
        description.format("\t%ld : ", i);
        describeValue(description, array->callBacks, array->values[i]);
        description.format("\n");
    }
    description.format(")}");
    return description.take();
}

constexpr Class kArrayClass{TypeID::Array, finalizeArray, equalArrays, hashArray, describeArray};

// ---- Access

/// `array` if it is one, null otherwise.
const __CFArray* checked(CFArrayRef array) noexcept { return array && array->cls == &kArrayClass ? array : nullptr; }

/// `array` if it is a mutable one: every other is left as it is.
MutableArray* checkedMutable(CFMutableArrayRef array) noexcept {
    return checked(array) && array->isMutable() ? static_cast<MutableArray*>(array) : nullptr;
}

/// `array` if it holds all of `range`.
const __CFArray* checked(CFArrayRef array, CFRange range) noexcept {
    return checked(array) && isWithin(range, array->count) ? array : nullptr;
}

/// Room for some pointers, on the stack where they are few.
class Scratch {
  public:
    explicit Scratch(CFIndex count) noexcept {
        if (count > kInline) heap_.reset(new (std::nothrow) const void*[static_cast<std::size_t>(count)]);
        values_ = count > kInline ? heap_.get() : inline_;
    }
    explicit operator bool() const noexcept { return values_ != nullptr; }
    const void** get() noexcept { return values_; }

  private:
    static constexpr CFIndex kInline = 32;
    const void* inline_[kInline];
    std::unique_ptr<const void*[]> heap_;
    const void** values_;
};

void retainAll(const __CFArray* array, const void* const* values, CFIndex count, const void** kept) noexcept {
    for (CFIndex i = 0; i < count; ++i) kept[i] = retainValue(array->callBacks, array, values[i]);
}

void releaseAll(const __CFArray* array, const void* const* values, CFIndex count) noexcept {
    for (CFIndex i = 0; i < count; ++i) releaseValue(array->callBacks, array, values[i]);
}

CFArrayRef createImmutable(CFAllocatorRef allocator, const void* const* values, CFIndex count,
                           const CallBacks& callBacks) noexcept {
    if (count < 0 || count > kMaximumCount || (count > 0 && !values)) return nullptr;
    const std::size_t size = sizeOfCopy(callBacks) + static_cast<std::size_t>(count) * sizeof(void*);
    __CFArray* const array = make<__CFArray>(allocator, size, kArrayClass);
    if (!array) return nullptr;
    std::byte* place = trailing(array);
    array->callBacks = placeCallBacks(callBacks, place);
    array->values = reinterpret_cast<const void**>(place);
    retainAll(array, values, count, array->values);
    array->count = count;
    return array;
}

MutableArray* createMutable(CFAllocatorRef allocator, CFIndex capacity, const CallBacks& callBacks) noexcept {
    if (capacity < 0) return nullptr;
    MutableArray* const array = make<MutableArray>(allocator, sizeOfCopy(callBacks), kArrayClass);
    if (!array) return nullptr;
    std::byte* place = trailing(array);
    array->callBacks = placeCallBacks(callBacks, place);
    if (capacity > 0 && !array->reserve(std::min(capacity, kMaximumReserve), 0)) {
        CFRelease(array);
        return nullptr;
    }
    return array;
}

/// Replaces `range`, which lies within the array, by `newCount` values. The array is whole whenever a callback runs:
/// the new values are retained before, the old ones released after it has changed.
void replace(MutableArray* array, CFRange range, const void* const* newValues, CFIndex newCount) noexcept {
    if (newCount > kMaximumCount) return;
    Scratch kept(newCount);
    Scratch old(range.length);
    if (!kept || !old) return;
    retainAll(array, newValues, newCount, kept.get());
    const CFIndex growth = newCount - range.length;
    // A callback may have changed the array, which it must not: then nothing else happens.
    if (!isWithin(range, array->count) || (growth > 0 && !array->openGap(range.location + range.length, growth))) {
        releaseAll(array, kept.get(), newCount);
        return;
    }
    move(old.get(), array->values + range.location, range.length);
    if (growth < 0) array->closeGap(range.location + newCount, -growth);
    move(array->values + range.location, kept.get(), newCount);
    releaseAll(array, old.get(), range.length);
}

/// Sorts by merging, so that equal values keep their order, and so that a comparator without sense gives an order
/// without sense and nothing worse.
void mergeSort(const void** values, const void** scratch, CFIndex count, CFComparatorFunction comparator,
               void* context) {
    constexpr CFIndex kRun = 8;
    for (CFIndex start = 0; start < count; start += kRun) {
        const CFIndex end = std::min(start + kRun, count);
        for (CFIndex i = start + 1; i < end; ++i) {
            const void* const value = values[i];
            CFIndex j = i;
            for (; j > start && comparator(values[j - 1], value, context) > 0; --j) values[j] = values[j - 1];
            values[j] = value;
        }
    }
    for (CFIndex width = kRun; width < count; width *= 2) {
        for (CFIndex start = 0; start < count - width; start += 2 * width) {
            const CFIndex middle = start + width;
            const CFIndex end = std::min(middle + width, count);
            if (comparator(values[middle - 1], values[middle], context) <= 0) continue;
            move(scratch, values + start, width);
            CFIndex left = 0, right = middle, out = start;
            while (left < width && right < end)
                values[out++] =
                    comparator(scratch[left], values[right], context) <= 0 ? scratch[left++] : values[right++];
            move(values + out, scratch + left, width - left);
        }
    }
}

}  // namespace

// ---- Exported: creating

CFTypeID CFArrayGetTypeID() { return number(TypeID::Array); }

CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks) {
    return createImmutable(allocator, values, numValues, gather(callBacks));
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef theArray) {
    if (!checked(theArray)) return nullptr;
    if (!theArray->isMutable() && CFGetAllocator(theArray) == (allocator ? allocator : CFAllocatorGetDefault()))
        return static_cast<CFArrayRef>(CFRetain(theArray));
    return createImmutable(allocator, theArray->values, theArray->count, *theArray->callBacks);
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks) {
    return createMutable(allocator, capacity, gather(callBacks));
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFArrayRef theArray) {
    if (!checked(theArray) || capacity < 0) return nullptr;
    MutableArray* const copy = createMutable(allocator, 0, *theArray->callBacks);
    if (!copy) return nullptr;
    const CFIndex room = std::max(theArray->count, std::min(capacity, kMaximumReserve));
    if (room > 0 && !copy->reserve(room, 0)) {
        CFRelease(copy);
        return nullptr;
    }
    retainAll(copy, theArray->values, theArray->count, copy->values);
    copy->count = theArray->count;
    return copy;
}

namespace KXPlatform {

CFArrayRef createArrayAdopting(CFAllocatorRef allocator, const CFTypeRef* values, CFIndex count) noexcept {
    if (count < 0 || count > kMaximumCount) return nullptr;
    const std::size_t size = static_cast<std::size_t>(count) * sizeof *values;
    __CFArray* const array = make<__CFArray>(allocator, size, kArrayClass);
    if (!array) return nullptr;
    array->callBacks = &kObjectCallBacks;
    array->values = reinterpret_cast<const void**>(trailing(array));
    if (count > 0) std::memcpy(array->values, values, size);
    array->count = count;
    return array;
}

}  // namespace KXPlatform

// ---- Exported: reading

CFIndex CFArrayGetCount(CFArrayRef theArray) { return checked(theArray) ? theArray->count : 0; }

CFIndex CFArrayGetCountOfValue(CFArrayRef theArray, CFRange range, const void* value) {
    if (!checked(theArray, range)) return 0;
    return std::count_if(theArray->values + range.location, theArray->values + range.location + range.length,
                         [&](const void* held) { return areEqual(theArray->callBacks, held, value); });
}

Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value) {
    return CFArrayGetFirstIndexOfValue(theArray, range, value) != kCFNotFound;
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
    return checked(theArray) && idx >= 0 && idx < theArray->count ? theArray->values[idx] : nullptr;
}

void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values) {
    if (values && checked(theArray, range)) move(values, theArray->values + range.location, range.length);
}

void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier, void* context) {
    if (!applier || !checked(theArray, range)) return;
    for (CFIndex i = range.location; i < range.location + range.length && i < theArray->count; ++i)
        applier(theArray->values[i], context);
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
    if (!checked(theArray, range)) return kCFNotFound;
    for (CFIndex i = range.location; i < range.location + range.length; ++i)
        if (areEqual(theArray->callBacks, theArray->values[i], value)) return i;
    return kCFNotFound;
}

CFIndex CFArrayGetLastIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
    if (!checked(theArray, range)) return kCFNotFound;
    for (CFIndex i = range.location + range.length; i-- > range.location;)
        if (areEqual(theArray->callBacks, theArray->values[i], value)) return i;
    return kCFNotFound;
}

CFIndex CFArrayBSearchValues(CFArrayRef theArray, CFRange range, const void* value, CFComparatorFunction comparator,
                             void* context) {
    if (!comparator || !checked(theArray, range)) return kCFNotFound;
    CFIndex low = range.location;
    CFIndex high = range.location + range.length;
    while (low < high) {
        const CFIndex middle = low + (high - low) / 2;
        if (comparator(theArray->values[middle], value, context) < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

// ---- Exported: changing

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value) {
    if (checked(theArray)) CFArrayInsertValueAtIndex(theArray, theArray->count, value);
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
    MutableArray* const array = checkedMutable(theArray);
    if (!array || idx < 0 || idx > array->count) return;
    const void* const kept = retainValue(array->callBacks, array, value);
    if (idx > array->count || !array->openGap(idx, 1)) return releaseValue(array->callBacks, array, kept);
    array->values[idx] = kept;
}

void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
    MutableArray* const array = checkedMutable(theArray);
    if (!array || idx < 0 || idx > array->count) return;
    if (idx == array->count) return CFArrayInsertValueAtIndex(theArray, idx, value);
    replace(array, CFRangeMake(idx, 1), &value, 1);
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx) {
    MutableArray* const array = checkedMutable(theArray);
    if (!array || idx < 0 || idx >= array->count) return;
    const void* const value = array->values[idx];
    array->closeGap(idx, 1);
    releaseValue(array->callBacks, array, value);
}

void CFArrayRemoveAllValues(CFMutableArrayRef theArray) {
    MutableArray* const array = checkedMutable(theArray);
    if (!array) return;
    const void** const buffer = std::exchange(array->buffer, nullptr);
    const void** const values = std::exchange(array->values, nullptr);
    const CFIndex count = std::exchange(array->count, 0);
    array->capacity = 0;
    releaseAll(array, values, count);
    CFAllocatorDeallocate(CFGetAllocator(array), buffer);
}

void CFArrayReplaceValues(CFMutableArrayRef theArray, CFRange range, const void** newValues, CFIndex newCount) {
    MutableArray* const array = checkedMutable(theArray);
    if (!array || !isWithin(range, array->count) || newCount < 0 || (newCount > 0 && !newValues)) return;
    replace(array, range, newValues, newCount);
}

void CFArrayExchangeValuesAtIndices(CFMutableArrayRef theArray, CFIndex idx1, CFIndex idx2) {
    MutableArray* const array = checkedMutable(theArray);
    if (!array || idx1 < 0 || idx1 >= array->count || idx2 < 0 || idx2 >= array->count) return;
    std::swap(array->values[idx1], array->values[idx2]);
}

void CFArraySortValues(CFMutableArrayRef theArray, CFRange range, CFComparatorFunction comparator, void* context) {
    MutableArray* const array = checkedMutable(theArray);
    if (!array || !comparator || !isWithin(range, array->count) || range.length < 2) return;
    // The comparator may look at the array: it is sorted beside it.
    Scratch sorted(range.length);
    Scratch scratch(range.length);
    if (!sorted || !scratch) return;
    move(sorted.get(), array->values + range.location, range.length);
    mergeSort(sorted.get(), scratch.get(), range.length, comparator, context);
    if (isWithin(range, array->count)) move(array->values + range.location, sorted.get(), range.length);
}

void CFArrayAppendArray(CFMutableArrayRef theArray, CFArrayRef otherArray, CFRange otherRange) {
    MutableArray* const array = checkedMutable(theArray);
    if (!array || !checked(otherArray, otherRange)) return;
    replace(array, CFRangeMake(array->count, 0), otherArray->values + otherRange.location, otherRange.length);
}
