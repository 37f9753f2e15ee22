#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Hashing.h"
#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Range.h"

#include <CoreFoundation/CFBitVector.h>

#include <algorithm>
#include <bit>
#include <cstring>

using namespace KXPlatform;

namespace {

void finalizeVector(Object* object) noexcept;
bool equalVectors(const Object* object1, const Object* object2);
CFHashCode hashVector(const Object* object);
CFStringRef describeVector(const Object* object);

constexpr Class kVectorClass{TypeID::BitVector, finalizeVector, equalVectors, hashVector, describeVector, true};

using Word = std::uint64_t;
constexpr CFIndex kBits = 64;
constexpr CFIndex kMaximumCount = PTRDIFF_MAX - kBits;

CFIndex wordsFor(CFIndex bits) noexcept { return (bits + kBits - 1) / kBits; }

/// A word with its first `bits` bits, 0 to 64, set: the first bit is the most significant one.
Word firstBits(CFIndex bits) noexcept { return bits == 0 ? 0 : ~Word{0} << (kBits - bits); }

/// The word whose first bits stand in up to eight bytes.
Word load(const UInt8* bytes, CFIndex count) noexcept {
    Word word = 0;
    std::memcpy(&word, bytes, static_cast<std::size_t>(count));
    return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

void store(UInt8* bytes, Word word, CFIndex count) noexcept {
    if (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
    std::memcpy(bytes, &word, static_cast<std::size_t>(count));
}

}  // namespace

/// Bit i is bit i % 64 of words[i / 64], counted from the most significant. Bits behind the last are 0.
struct __CFBitVector : Object {
    static constexpr std::uint8_t kMutable = 1;

    __CFBitVector() noexcept : Object(kVectorClass) {}

    bool isMutable() const noexcept { return (bits & kMutable) != 0; }

    CFIndex count = 0;
    CFIndex capacity = 0;  ///< bits that `words` has room for
    CFIndex limit = kMaximumCount;
    Word* words = nullptr;

    bool get(CFIndex at) const noexcept { return (words[at / kBits] >> (kBits - 1 - at % kBits) & 1) != 0; }

    /// The 64 bits from `at` on; those behind the last are 0.
    Word read(CFIndex at) const noexcept {
        const CFIndex index = at / kBits, shift = at % kBits;
        Word word = words[index] << shift;
        if (shift > 0 && index + 1 < wordsFor(count)) word |= words[index + 1] >> (kBits - shift);
        return word;
    }

    /// Calls `change(word, mask)` with each word that the range touches and the bits of it that lie in the range.
    template <class Change>
    void forEachWord(CFRange range, Change&& change) {
        const CFIndex end = range.location + range.length;
        for (CFIndex at = range.location; at < end;) {
            const CFIndex first = at % kBits;
            const CFIndex number = std::min(kBits - first, end - at);
            change(words[at / kBits], firstBits(number) >> first);
            at += number;
        }
    }

    CFIndex countOfOnes(CFRange range) const noexcept {
        CFIndex ones = 0;
        const_cast<__CFBitVector*>(this)->forEachWord(
            range, [&](const Word& word, Word mask) { ones += std::popcount(word & mask); });
        return ones;
    }

    /// False, and nothing changed, when there is no memory.
    bool reserve(CFIndex wanted) noexcept {
        if (wanted <= capacity) return true;
        const CFIndex doubled = capacity <= limit / 2 ? capacity * 2 : limit;
        const CFIndex room = wordsFor(std::max(wanted, doubled));
        void* const memory =
            CFAllocatorReallocate(CFGetAllocator(this), words, room * static_cast<CFIndex>(sizeof(Word)), 0);
        if (!memory) return false;
        words = static_cast<Word*>(memory);
        capacity = room * kBits;
        return true;
    }

    /// Takes in `number` bits of `bytes`; there is room for them.
    void assign(const UInt8* bytes, CFIndex number) noexcept {
        count = number;
        CFIndex left = (number + 7) / 8;
        for (CFIndex i = 0; i < wordsFor(number); ++i, left -= 8)
            words[i] = load(bytes + i * 8, std::min<CFIndex>(left, 8));
        if (number % kBits) words[number / kBits] &= firstBits(number % kBits);
    }
};

namespace {

const __CFBitVector* checked(CFBitVectorRef bv) noexcept { return bv && bv->cls == &kVectorClass ? bv : nullptr; }

/// `bv` when it is a vector that may change: every other is left as it is.
__CFBitVector* checkedMutable(CFMutableBitVectorRef bv) noexcept {
    return checked(bv) && bv->isMutable() ? bv : nullptr;
}

bool mayRead(CFBitVectorRef bv, CFRange range) noexcept { return checked(bv) && isWithin(range, bv->count); }
bool mayChange(CFMutableBitVectorRef bv, CFRange range) noexcept {
    return checkedMutable(bv) && isWithin(range, bv->count);
}

void finalizeVector(Object* object) noexcept {
    auto* const vector = static_cast<__CFBitVector*>(object);
    if (vector->isMutable() && vector->words) CFAllocatorDeallocate(CFGetAllocator(vector), vector->words);
}

bool equalVectors(const Object* object1, const Object* object2) {
    const auto* const a = static_cast<const __CFBitVector*>(object1);
    const auto* const b = static_cast<const __CFBitVector*>(object2);
    return a->count == b->count && std::equal(a->words, a->words + wordsFor(a->count), b->words);
}

CFHashCode hashVector(const Object* object) {
    const auto* const vector = static_cast<const __CFBitVector*>(object);
    Hasher hasher;
    // Like data, by no more than the beginning of what may be long.
    for (CFIndex i = 0; i < std::min<CFIndex>(wordsFor(vector->count), 16); ++i) hasher.add(vector->words[i]);
    return hasher.result(static_cast<std::size_t>(vector->count));
}

CFStringRef describeVector(const Object* object) {
    const auto* const vector = static_cast<const __CFBitVector*>(object);
    Description description;
    description.appendHeading(vector);
    description.format("{count = %ld, capacity = %ld, objects = (\n", vector->count, vector->capacity);
    for (CFIndex line = 0; line < vector->count; line += kBits) {
        char text[kBits + 1] = {};
        for (CFIndex i = 0; i < std::min(kBits, vector->count - line); ++i) text[i] = vector->get(line + i) ? '1' : '0';
        description.format("\t%ld : %s\n", line, text);
    }
    description.format(")}");
    return description.take();
}

/// An immutable vector with room for `number` bits, which are yet to be written.
__CFBitVector* makeImmutable(CFAllocatorRef allocator, CFIndex number) noexcept {
    if (number < 0 || number > kMaximumCount) return nullptr;
    auto* const vector = make<__CFBitVector>(allocator, static_cast<std::size_t>(wordsFor(number)) * sizeof(Word));
    if (!vector) return nullptr;
    vector->words = reinterpret_cast<Word*>(trailing(vector));
    vector->capacity = wordsFor(number) * kBits;
    return vector;
}

}  // namespace

CFTypeID CFBitVectorGetTypeID() { return number(TypeID::BitVector); }

CFBitVectorRef CFBitVectorCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBits) {
    if (numBits > 0 && !bytes) return nullptr;
    __CFBitVector* const vector = makeImmutable(allocator, numBits);
    if (vector) vector->assign(bytes, numBits);
    return vector;
}

CFBitVectorRef CFBitVectorCreateCopy(CFAllocatorRef allocator, CFBitVectorRef bv) {
    if (!checked(bv)) return nullptr;
    if (!bv->isMutable() && CFGetAllocator(bv) == (allocator ? allocator : CFAllocatorGetDefault()))
        return static_cast<CFBitVectorRef>(CFRetain(bv));
    __CFBitVector* const copy = makeImmutable(allocator, bv->count);
    if (!copy) return nullptr;
    copy->count = bv->count;
    std::copy_n(bv->words, wordsFor(bv->count), copy->words);
    return copy;
}

CFMutableBitVectorRef CFBitVectorCreateMutable(CFAllocatorRef allocator, CFIndex capacity) {
    if (capacity < 0) return nullptr;
    __CFBitVector* const vector = make<__CFBitVector>(allocator, 0);
    if (!vector) return nullptr;
    vector->bits |= __CFBitVector::kMutable;
    if (capacity > 0) vector->limit = std::min(capacity, kMaximumCount);
    return vector;
}

CFMutableBitVectorRef CFBitVectorCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFBitVectorRef bv) {
    if (!checked(bv) || (capacity != 0 && capacity < bv->count)) return nullptr;
    __CFBitVector* const copy = CFBitVectorCreateMutable(allocator, capacity);
    if (!copy) return nullptr;
    if (!copy->reserve(bv->count)) {
        CFRelease(copy);
        return nullptr;
    }
    copy->count = bv->count;
    std::copy_n(bv->words, wordsFor(bv->count), copy->words);
    return copy;
}

CFIndex CFBitVectorGetCount(CFBitVectorRef bv) { return checked(bv) ? bv->count : 0; }

CFIndex CFBitVectorGetCountOfBit(CFBitVectorRef bv, CFRange range, CFBit value) {
    if (!mayRead(bv, range)) return 0;
    const CFIndex ones = bv->countOfOnes(range);
    return value ? ones : range.length - ones;
}

Boolean CFBitVectorContainsBit(CFBitVectorRef bv, CFRange range, CFBit value) {
    return CFBitVectorGetFirstIndexOfBit(bv, range, value) != kCFNotFound;
}

CFBit CFBitVectorGetBitAtIndex(CFBitVectorRef bv, CFIndex idx) { return mayRead(bv, {idx, 1}) && bv->get(idx) ? 1 : 0; }

void CFBitVectorGetBits(CFBitVectorRef bv, CFRange range, UInt8* bytes) {
    if (!mayRead(bv, range) || !bytes) return;
    for (CFIndex done = 0; done < range.length; done += kBits) {
        const CFIndex number = std::min(kBits, range.length - done);
        store(bytes + done / 8, bv->read(range.location + done) & firstBits(number), (number + 7) / 8);
    }
}

CFIndex CFBitVectorGetFirstIndexOfBit(CFBitVectorRef bv, CFRange range, CFBit value) {
    if (!mayRead(bv, range)) return kCFNotFound;
    const CFIndex end = range.location + range.length;
    for (CFIndex at = range.location; at < end;) {
        const CFIndex first = at % kBits;
        const CFIndex number = std::min(kBits - first, end - at);
        const Word word = value ? bv->words[at / kBits] : ~bv->words[at / kBits];
        if (const Word found = word & (firstBits(number) >> first)) return at - first + std::countl_zero(found);
        at += number;
    }
    return kCFNotFound;
}

CFIndex CFBitVectorGetLastIndexOfBit(CFBitVectorRef bv, CFRange range, CFBit value) {
    if (!mayRead(bv, range)) return kCFNotFound;
    for (CFIndex end = range.location + range.length; end > range.location;) {
        const CFIndex start = std::max((end - 1) / kBits * kBits, range.location);
        const CFIndex first = start % kBits;
        const Word word = value ? bv->words[start / kBits] : ~bv->words[start / kBits];
        if (const Word found = word & (firstBits(end - start) >> first))
            return start - first + kBits - 1 - std::countr_zero(found);
        end = start;
    }
    return kCFNotFound;
}

void CFBitVectorSetCount(CFMutableBitVectorRef bv, CFIndex count) {
    if (!checkedMutable(bv) || count < 0 || count > bv->limit || !bv->reserve(count)) return;
    if (count > bv->count) {
        std::fill(bv->words + wordsFor(bv->count), bv->words + wordsFor(count), Word{0});
    } else if (count % kBits) {
        bv->words[count / kBits] &= firstBits(count % kBits);
    }
    bv->count = count;
}

void CFBitVectorFlipBitAtIndex(CFMutableBitVectorRef bv, CFIndex idx) { CFBitVectorFlipBits(bv, {idx, 1}); }

void CFBitVectorFlipBits(CFMutableBitVectorRef bv, CFRange range) {
    if (mayChange(bv, range)) bv->forEachWord(range, [](Word& word, Word mask) { word ^= mask; });
}

void CFBitVectorSetBitAtIndex(CFMutableBitVectorRef bv, CFIndex idx, CFBit value) {
    if (!mayChange(bv, {idx, 1})) return;
    const Word mask = Word{1} << (kBits - 1 - idx % kBits);
    Word& word = bv->words[idx / kBits];
    word = value ? word | mask : word & ~mask;
}

void CFBitVectorSetBits(CFMutableBitVectorRef bv, CFRange range, CFBit value) {
    if (!mayChange(bv, range)) return;
    if (value)
        bv->forEachWord(range, [](Word& word, Word mask) { word |= mask; });
    else
        bv->forEachWord(range, [](Word& word, Word mask) { word &= ~mask; });
}

void CFBitVectorSetAllBits(CFMutableBitVectorRef bv, CFBit value) {
    if (checked(bv)) CFBitVectorSetBits(bv, {0, bv->count}, value);
}
