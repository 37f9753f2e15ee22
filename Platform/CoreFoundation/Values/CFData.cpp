#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Hashing.h"
#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Range.h"

#include <CoreFoundation/CFData.h>

#include <algorithm>
#include <cstring>
#include <memory>

using namespace KXPlatform;

// The bytes of immutable data stand right after the object, or in memory of the caller's that the object was told how
// to give back. Mutable data keeps them in a buffer that grows.

struct __CFData : Object {
    static constexpr std::uint8_t kMutable = 1;
    static constexpr std::uint8_t kForeign = 2;

    explicit __CFData(const Class& c) noexcept : Object(c) {}

    bool isMutable() const noexcept { return (bits & kMutable) != 0; }
    bool isForeign() const noexcept { return (bits & kForeign) != 0; }

    CFIndex length = 0;
    UInt8* bytes = nullptr;
};

namespace {

struct MutableData : __CFData {
    MutableData(const Class& c, CFIndex maximum) noexcept : __CFData(c), limit(maximum) { bits |= kMutable; }

    bool reserve(CFIndex wanted) noexcept;

    CFIndex capacity = 0;
    const CFIndex limit;  ///< the length that the data may not exceed
};

struct ForeignData : __CFData {
    ForeignData(const Class& c, CFAllocatorRef allocator) noexcept
        : __CFData(c), deallocator(static_cast<CFAllocatorRef>(CFRetain(allocator))) {
        bits |= kForeign;
    }

    const CFAllocatorRef deallocator;
};

/// What the byte pointer of mutable data without a buffer points at: never null, never written to.
UInt8 emptyBytes[1];

/// Makes room for `wanted` bytes in all. False, and nothing changed, when that is beyond the limit or the memory.
bool MutableData::reserve(CFIndex wanted) noexcept {
    if (wanted <= capacity) return true;
    if (wanted > limit) return false;
    const CFIndex doubled = capacity <= limit / 2 ? capacity * 2 : limit;
    const CFIndex room = std::min(std::max({wanted, doubled, CFIndex{16}}), limit);
    void* const memory = CFAllocatorReallocate(CFGetAllocator(this), capacity ? bytes : nullptr, room, 0);
    if (!memory) return false;
    bytes = static_cast<UInt8*>(memory);
    capacity = room;
    return true;
}

// ---- The class

void finalizeData(Object* object) noexcept {
    __CFData* const data = static_cast<__CFData*>(object);
    if (data->isForeign()) {
        const CFAllocatorRef deallocator = static_cast<ForeignData*>(data)->deallocator;
        CFAllocatorDeallocate(deallocator, data->bytes);
        CFRelease(deallocator);
    } else if (data->isMutable() && static_cast<MutableData*>(data)->capacity > 0) {
        CFAllocatorDeallocate(CFGetAllocator(data), data->bytes);
    }
}

bool equalData(const Object* object1, const Object* object2) {
    const __CFData* const a = static_cast<const __CFData*>(object1);
    const __CFData* const b = static_cast<const __CFData*>(object2);
    return a->length == b->length && std::memcmp(a->bytes, b->bytes, static_cast<std::size_t>(a->length)) == 0;
}

/// Of the length and of at most the first and the last 64 bytes, so that hashing large data stays cheap.
CFHashCode hashData(const Object* object) {
    constexpr std::size_t kEnd = 64;
    const __CFData* const data = static_cast<const __CFData*>(object);
    const std::size_t length = static_cast<std::size_t>(data->length);
    Hasher hasher;
    if (length <= 2 * kEnd) {
        hasher.add(data->bytes, length);
    } else {
        hasher.add(data->bytes, kEnd);
        hasher.add(data->bytes + length - kEnd, kEnd);
    }
    return hasher.result(length);
}

CFStringRef describeData(const Object* object) {
    constexpr CFIndex kWhole = 24, kFirst = 16, kLast = 8;
    const __CFData* const data = static_cast<const __CFData*>(object);
    const CFIndex capacity = data->isMutable() ? static_cast<const MutableData*>(data)->capacity : data->length;
    Description description;
    description.appendHeading(data);
    description.format("{length = %ld, capacity = %ld, bytes = 0x", data->length, capacity);
    for (CFIndex i = 0; i < data->length; ++i) {
        if (data->length > kWhole && i == kFirst) {
            description.format(" ... ");
            i = data->length - kLast;
        }
        description.format("%02x", data->bytes[i]);
    }
    description.format("}");
    return description.take();
}

constexpr Class kDataClass{TypeID::Data, finalizeData, equalData, hashData, describeData};

// ---- Access

/// `data` if it is some, null otherwise.
const __CFData* checked(CFDataRef data) noexcept { return data && data->cls == &kDataClass ? data : nullptr; }

/// `data` if it is mutable: all other is left as it is.
MutableData* checkedMutable(CFMutableDataRef data) noexcept {
    return checked(data) && data->isMutable() ? static_cast<MutableData*>(data) : nullptr;
}

void copyBytes(UInt8* to, const UInt8* from, CFIndex length) noexcept {
    if (length > 0) std::memmove(to, from, static_cast<std::size_t>(length));
}

CFDataRef createImmutable(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length) noexcept {
    if (length < 0 || (length > 0 && !bytes)) return nullptr;
    __CFData* const data = make<__CFData>(allocator, static_cast<std::size_t>(length), kDataClass);
    if (!data) return nullptr;
    data->flags |= Object::kPlain;
    data->bytes = reinterpret_cast<UInt8*>(trailing(data));
    data->length = length;
    copyBytes(data->bytes, bytes, length);
    return data;
}

/// Puts `newLength` bytes in the place of `range`, which lies within the data.
void replace(MutableData* data, CFRange range, const UInt8* newBytes, CFIndex newLength) noexcept {
    const CFIndex kept = data->length - range.length;
    if (newLength > data->limit - kept) return;
    // The new bytes may be a part of the data itself, which is about to move.
    std::unique_ptr<UInt8[]> copy;
    if (newLength > 0 && !std::less<>()(newBytes, data->bytes) &&
        std::less<>()(newBytes, data->bytes + data->capacity)) {
        copy.reset(new (std::nothrow) UInt8[static_cast<std::size_t>(newLength)]);
        if (!copy) return;
        copyBytes(copy.get(), newBytes, newLength);
        newBytes = copy.get();
    }
    if (!data->reserve(kept + newLength)) return;
    const CFIndex end = range.location + range.length;
    copyBytes(data->bytes + range.location + newLength, data->bytes + end, data->length - end);
    copyBytes(data->bytes + range.location, newBytes, newLength);
    data->length = kept + newLength;
}

// ---- Search

constexpr CFRange kNotFoundRange{-1, 0};

/// The last place of `sought` in `bytes`, or -1, in time linear in both however the bytes repeat themselves: both are
/// read from their ends by the method of Knuth, Morris and Pratt.
CFIndex findBackwards(const UInt8* bytes, CFIndex length, const UInt8* sought, CFIndex soughtLength) noexcept {
    // borders[i]: how many of the last i + 1 bytes of `sought` are a shorter ending of it again.
    const std::unique_ptr<CFIndex[]> memory(new (std::nothrow) CFIndex[static_cast<std::size_t>(soughtLength)]);
    CFIndex* const borders = memory.get();
    if (!borders) return -1;
    const auto fromEnd = [&](CFIndex i) { return sought[soughtLength - 1 - i]; };
    borders[0] = 0;
    for (CFIndex i = 1, matched = 0; i < soughtLength; ++i) {
        while (matched > 0 && fromEnd(i) != fromEnd(matched)) matched = borders[matched - 1];
        if (fromEnd(i) == fromEnd(matched)) ++matched;
        borders[i] = matched;
    }
    for (CFIndex at = length - 1, matched = 0; at >= 0; --at) {
        while (matched > 0 && bytes[at] != fromEnd(matched)) matched = borders[matched - 1];
        if (bytes[at] == fromEnd(matched)) ++matched;
        if (matched == soughtLength) return at;
    }
    return -1;
}

}  // namespace

// ---- Exported: creating

CFTypeID CFDataGetTypeID() { return number(TypeID::Data); }

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length) {
    return createImmutable(allocator, bytes, length);
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef bytesDeallocator) {
    if (length < 0 || (length > 0 && !bytes)) return nullptr;
    if (!bytesDeallocator) bytesDeallocator = CFAllocatorGetDefault();
    ForeignData* const data = make<ForeignData>(allocator, 0, kDataClass, bytesDeallocator);
    if (!data) return nullptr;
    data->bytes = const_cast<UInt8*>(bytes);
    data->length = length;
    return data;
}

CFDataRef CFDataCreateCopy(CFAllocatorRef allocator, CFDataRef theData) {
    if (!checked(theData)) return nullptr;
    // Bytes that their owner only lends may be gone before the copy is.
    const bool isLent =
        theData->isForeign() && static_cast<const ForeignData*>(theData)->deallocator == kCFAllocatorNull;
    if (!theData->isMutable() && !isLent &&
        CFGetAllocator(theData) == (allocator ? allocator : CFAllocatorGetDefault()))
        return static_cast<CFDataRef>(CFRetain(theData));
    return createImmutable(allocator, theData->bytes, theData->length);
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity) {
    if (capacity < 0) return nullptr;
    MutableData* const data = make<MutableData>(allocator, 0, kDataClass, capacity > 0 ? capacity : PTRDIFF_MAX);
    if (data) data->bytes = emptyBytes;
    return data;
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFDataRef theData) {
    if (!checked(theData) || (capacity != 0 && capacity < theData->length)) return nullptr;
    const CFMutableDataRef copy = CFDataCreateMutable(allocator, capacity);
    if (!copy || theData->length == 0) return copy;
    if (!static_cast<MutableData*>(copy)->reserve(theData->length)) {
        CFRelease(copy);
        return nullptr;
    }
    copyBytes(copy->bytes, theData->bytes, theData->length);
    copy->length = theData->length;
    return copy;
}

// ---- Exported: reading

CFIndex CFDataGetLength(CFDataRef theData) { return checked(theData) ? theData->length : 0; }

const UInt8* CFDataGetBytePtr(CFDataRef theData) { return checked(theData) ? theData->bytes : nullptr; }

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer) {
    if (buffer && checked(theData) && isWithin(range, theData->length))
        copyBytes(buffer, theData->bytes + range.location, range.length);
}

CFRange CFDataFind(CFDataRef theData, CFDataRef dataToFind, CFRange searchRange, CFDataSearchFlags compareOptions) {
    if (!checked(theData) || !checked(dataToFind) || !isWithin(searchRange, theData->length)) return kNotFoundRange;
    const CFIndex soughtLength = dataToFind->length;
    if (soughtLength == 0 || soughtLength > searchRange.length) return kNotFoundRange;

    const UInt8* const bytes = theData->bytes + searchRange.location;
    const bool backwards = (compareOptions & kCFDataSearchBackwards) != 0;
    CFIndex at;
    if ((compareOptions & kCFDataSearchAnchored) != 0) {
        at = backwards ? searchRange.length - soughtLength : 0;
        if (std::memcmp(bytes + at, dataToFind->bytes, static_cast<std::size_t>(soughtLength)) != 0) at = -1;
    } else if (backwards) {
        at = findBackwards(bytes, searchRange.length, dataToFind->bytes, soughtLength);
    } else {
        const void* const found = memmem(bytes, static_cast<std::size_t>(searchRange.length), dataToFind->bytes,
                                         static_cast<std::size_t>(soughtLength));
        at = found ? static_cast<const UInt8*>(found) - bytes : -1;
    }
    return at < 0 ? kNotFoundRange : CFRangeMake(searchRange.location + at, soughtLength);
}

// ---- Exported: changing

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData) {
    MutableData* const data = checkedMutable(theData);
    return data ? data->bytes : nullptr;
}

void CFDataSetLength(CFMutableDataRef theData, CFIndex length) {
    MutableData* const data = checkedMutable(theData);
    if (!data || length < 0 || !data->reserve(length)) return;
    if (length > data->length)
        std::memset(data->bytes + data->length, 0, static_cast<std::size_t>(length - data->length));
    data->length = length;
}

void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength) {
    MutableData* const data = checkedMutable(theData);
    if (data && extraLength > 0 && extraLength <= data->limit - data->length)
        CFDataSetLength(theData, data->length + extraLength);
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length) {
    if (checked(theData)) CFDataReplaceBytes(theData, CFRangeMake(theData->length, 0), bytes, length);
}

void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes, CFIndex newLength) {
    MutableData* const data = checkedMutable(theData);
    if (!data || !isWithin(range, data->length) || newLength < 0 || (newLength > 0 && !newBytes)) return;
    replace(data, range, newBytes, newLength);
}

void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range) { CFDataReplaceBytes(theData, range, nullptr, 0); }
