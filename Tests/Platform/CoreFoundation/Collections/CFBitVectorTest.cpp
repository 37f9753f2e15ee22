#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

using namespace Held;
using namespace Values;
using testing::ElementsAre;

namespace {

using Bits = std::vector<bool>;

Holder<CFMutableBitVectorRef> vectorOf(const Bits& bits) {
    auto vector = hold(CFBitVectorCreateMutable(nullptr, 0));
    CFBitVectorSetCount(vector, static_cast<CFIndex>(bits.size()));
    for (std::size_t i = 0; i < bits.size(); ++i) CFBitVectorSetBitAtIndex(vector, static_cast<CFIndex>(i), bits[i]);
    return vector;
}

Bits bitsOf(CFBitVectorRef vector) {
    Bits bits;
    for (CFIndex i = 0; i < CFBitVectorGetCount(vector); ++i) bits.push_back(CFBitVectorGetBitAtIndex(vector, i) == 1);
    return bits;
}

TEST(CFBitVector, ReadsBytesFromTheirMostSignificantBit) {
    const UInt8 bytes[] = {0b1010'0000, 0b1100'0000};
    const auto vector = hold(CFBitVectorCreate(nullptr, bytes, 10));
    EXPECT_EQ(CFGetTypeID(vector), CFBitVectorGetTypeID());
    EXPECT_EQ(CFBitVectorGetCount(vector), 10);
    EXPECT_THAT(bitsOf(vector), ElementsAre(1, 0, 1, 0, 0, 0, 0, 0, 1, 1));
}

TEST(CFBitVector, WritesRangesFromTheMostSignificantBitAndZerosBehindThem) {
    const UInt8 bytes[] = {0xFF, 0xFF, 0xFF};
    const auto vector = hold(CFBitVectorCreate(nullptr, bytes, 24));
    UInt8 out[3] = {1, 2, 3};
    CFBitVectorGetBits(vector, {3, 11}, out);
    EXPECT_THAT(out, ElementsAre(0xFF, 0xE0, 3));
    CFBitVectorGetBits(vector, {0, 0}, out);
    EXPECT_THAT(out, ElementsAre(0xFF, 0xE0, 3));
}

TEST(CFBitVector, IgnoresWhatStandsBehindItsLastBit) {
    const UInt8 ones[] = {0xFF}, exact[] = {0xE0};
    const auto a = hold(CFBitVectorCreate(nullptr, ones, 3)), b = hold(CFBitVectorCreate(nullptr, exact, 3));
    EXPECT_TRUE(CFEqual(a, b));
    EXPECT_EQ(CFHash(a), CFHash(b));
    const auto longer = hold(CFBitVectorCreate(nullptr, exact, 4));
    EXPECT_FALSE(CFEqual(a, longer));
}

TEST(CFBitVector, GrowsByZerosAndIsCut) {
    auto vector = hold(CFBitVectorCreateMutable(nullptr, 0));
    CFBitVectorSetCount(vector, 100);
    EXPECT_EQ(bitsOf(vector), Bits(100, false));
    CFBitVectorSetAllBits(vector, 1);
    CFBitVectorSetCount(vector, 10);
    EXPECT_EQ(bitsOf(vector), Bits(10, true));
    CFBitVectorSetCount(vector, 200);
    EXPECT_EQ(CFBitVectorGetCountOfBit(vector, {0, 200}, 1), 10);
    CFBitVectorSetCount(vector, -1);
    EXPECT_EQ(CFBitVectorGetCount(vector), 200);
}

TEST(CFBitVector, KeepsToItsCapacity) {
    auto vector = hold(CFBitVectorCreateMutable(nullptr, 10));
    CFBitVectorSetCount(vector, 11);
    EXPECT_EQ(CFBitVectorGetCount(vector), 0);
    CFBitVectorSetCount(vector, 10);
    EXPECT_EQ(CFBitVectorGetCount(vector), 10);
    EXPECT_EQ(CFBitVectorCreateMutableCopy(nullptr, 9, vector), nullptr);
    const auto copy = hold(CFBitVectorCreateMutableCopy(nullptr, 10, vector));
    EXPECT_TRUE(CFEqual(copy, vector));
    CFBitVectorSetCount(copy, 11);
    EXPECT_EQ(CFBitVectorGetCount(copy), 10);
    EXPECT_EQ(CFBitVectorCreateMutable(nullptr, -1), nullptr);
    EXPECT_EQ(CFBitVectorCreateMutableCopy(nullptr, -1, vector), nullptr);
}

TEST(CFBitVector, TakesAnyValueButZeroForOne) {
    auto vector = hold(CFBitVectorCreateMutable(nullptr, 0));
    CFBitVectorSetCount(vector, 3);
    CFBitVectorSetBitAtIndex(vector, 1, 2);
    EXPECT_THAT(bitsOf(vector), ElementsAre(0, 1, 0));
    EXPECT_EQ(CFBitVectorGetCountOfBit(vector, {0, 3}, 8), 1);
}

TEST(CFBitVector, AgreesWithAVectorOfBooleansOnEveryRange) {
    std::mt19937 random(4);
    for (const std::size_t size : {1u, 63u, 64u, 65u, 130u}) {
        Bits expected(size);
        // Long runs, so that whole words are all ones or all zeros too.
        for (std::size_t i = 0; i < size; ++i) expected[i] = i > 0 && random() % 20 ? expected[i - 1] : random() % 2;
        const auto vector = vectorOf(expected);
        ASSERT_EQ(bitsOf(vector), expected);
        for (std::size_t start = 0; start <= size; ++start) {
            for (std::size_t end = start; end <= size; ++end) {
                const CFRange range{static_cast<CFIndex>(start), static_cast<CFIndex>(end - start)};
                const Bits part(expected.begin() + static_cast<std::ptrdiff_t>(start),
                                expected.begin() + static_cast<std::ptrdiff_t>(end));
                for (const bool value : {false, true}) {
                    ASSERT_EQ(CFBitVectorGetCountOfBit(vector, range, value),
                              std::count(part.begin(), part.end(), value));
                    const auto first = std::find(part.begin(), part.end(), value);
                    const auto last = std::find(part.rbegin(), part.rend(), value);
                    const bool has = first != part.end();
                    ASSERT_EQ(CFBitVectorContainsBit(vector, range, value), has);
                    ASSERT_EQ(CFBitVectorGetFirstIndexOfBit(vector, range, value),
                              has ? range.location + (first - part.begin()) : kCFNotFound);
                    ASSERT_EQ(CFBitVectorGetLastIndexOfBit(vector, range, value),
                              has ? range.location + range.length - 1 - (last - part.rbegin()) : kCFNotFound);
                }
                std::vector<UInt8> bytes((part.size() + 7) / 8, 0xAA);
                CFBitVectorGetBits(vector, range, bytes.data());
                const auto again = hold(CFBitVectorCreate(nullptr, bytes.data(), range.length));
                ASSERT_EQ(bitsOf(again), part);
            }
        }
    }
}

TEST(CFBitVector, ChangesRangesAndNothingBesideThem) {
    std::mt19937 random(5);
    Bits expected(300);
    const auto vector = vectorOf(expected);
    for (int i = 0; i < 2000; ++i) {
        const std::size_t start = random() % 301, length = random() % (301 - start);
        const CFRange range{static_cast<CFIndex>(start), static_cast<CFIndex>(length)};
        switch (random() % 3) {
            case 0:
                CFBitVectorFlipBits(vector, range);
                for (std::size_t at = start; at < start + length; ++at) expected[at] = !expected[at];
                break;
            default: {
                const bool value = random() % 2;
                CFBitVectorSetBits(vector, range, value);
                for (std::size_t at = start; at < start + length; ++at) expected[at] = value;
            }
        }
        ASSERT_EQ(bitsOf(vector), expected);
    }
    CFBitVectorFlipBitAtIndex(vector, 299);
    expected[299] = !expected[299];
    EXPECT_EQ(bitsOf(vector), expected);
}

TEST(CFBitVector, LeavesIndexesAndRangesBeyondItsCountAlone) {
    const auto vector = vectorOf({true, true, true});
    UInt8 out = 7;
    for (const CFRange range : {CFRange{0, 4}, CFRange{-1, 1}, CFRange{4, 0}, CFRange{1, -1}, CFRange{1, PTRDIFF_MAX},
                                CFRange{PTRDIFF_MAX, 1}}) {
        EXPECT_EQ(CFBitVectorGetCountOfBit(vector, range, 1), 0);
        EXPECT_FALSE(CFBitVectorContainsBit(vector, range, 1));
        EXPECT_EQ(CFBitVectorGetFirstIndexOfBit(vector, range, 1), kCFNotFound);
        EXPECT_EQ(CFBitVectorGetLastIndexOfBit(vector, range, 1), kCFNotFound);
        CFBitVectorGetBits(vector, range, &out);
        CFBitVectorFlipBits(vector, range);
        CFBitVectorSetBits(vector, range, 0);
    }
    for (const CFIndex index : {CFIndex{-1}, CFIndex{3}, CFIndex{PTRDIFF_MAX}})
        EXPECT_EQ(CFBitVectorGetBitAtIndex(vector, index), 0u);
    CFBitVectorSetBitAtIndex(vector, 3, 0);
    CFBitVectorSetBitAtIndex(vector, -1, 0);
    CFBitVectorFlipBitAtIndex(vector, 3);
    EXPECT_EQ(out, 7);
    EXPECT_EQ(bitsOf(vector), Bits(3, true));
}

TEST(CFBitVector, CopiesAreApart) {
    const auto vector = vectorOf({true, false});
    const auto copy = hold(CFBitVectorCreateCopy(nullptr, vector));
    const auto mutableCopy = hold(CFBitVectorCreateMutableCopy(nullptr, 0, copy));
    EXPECT_TRUE(CFEqual(vector, copy));
    CFBitVectorFlipBitAtIndex(mutableCopy, 0);
    EXPECT_FALSE(CFEqual(copy, mutableCopy));
    CFBitVectorFlipBitAtIndex(const_cast<CFMutableBitVectorRef>(copy.get()), 0);  // immutable
    CFBitVectorSetCount(const_cast<CFMutableBitVectorRef>(copy.get()), 1);
    CFBitVectorSetAllBits(const_cast<CFMutableBitVectorRef>(copy.get()), 1);
    EXPECT_THAT(bitsOf(copy), ElementsAre(1, 0));
    EXPECT_EQ(hold(CFBitVectorCreateCopy(nullptr, copy)).get(), copy.get());
}

TEST(CFBitVector, DescribesItsBitsInLinesOf64) {
    const auto vector = vectorOf(Bits(66, true));
    const auto copy = hold(CFBitVectorCreateCopy(nullptr, vector));
    EXPECT_EQ(description(copy), heading("CFBitVector", copy) + "{count = 66, capacity = 128, objects = (\n\t0 : " +
                                     std::string(64, '1') + "\n\t64 : 11\n)}");
}

TEST(CFBitVector, RefusesImpossibleCountsAndChangesNothingWithoutMemory) {
    const UInt8 byte = 0;
    EXPECT_EQ(CFBitVectorCreate(nullptr, &byte, -1), nullptr);
    EXPECT_EQ(CFBitVectorCreate(nullptr, nullptr, 1), nullptr);
    EXPECT_EQ(CFBitVectorCreate(nullptr, &byte, PTRDIFF_MAX), nullptr);
    EXPECT_EQ(CFBitVectorGetCount(hold(CFBitVectorCreate(nullptr, nullptr, 0))), 0);
    TestAllocator allocator;
    {
        const auto vector = hold(CFBitVectorCreateMutable(allocator, 0));
        CFBitVectorSetCount(vector, PTRDIFF_MAX);
        CFBitVectorSetCount(vector, CFIndex{1} << 60);
        EXPECT_EQ(CFBitVectorGetCount(vector), 0);
        CFBitVectorSetCount(vector, 5);
        allocator.failAfter(0);
        CFBitVectorSetCount(vector, 5000);
        EXPECT_EQ(CFBitVectorGetCount(vector), 5);
        EXPECT_EQ(CFBitVectorCreate(allocator, &byte, 1), nullptr);
        EXPECT_EQ(CFBitVectorCreateCopy(allocator, vector), nullptr);
        EXPECT_EQ(CFBitVectorCreateMutableCopy(allocator, 0, vector), nullptr);
    }
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFBitVector, SurvivesNullArgumentsAndForeignObjects) {
    using namespace NullArguments;
    attack([](bool noBytes, Length bits) {
        const UInt8 bytes[] = {0xFF};
        const auto made = hold(CFBitVectorCreate(nullptr, orNull(noBytes, bytes), bits.value));
        EXPECT_EQ(made.get() != nullptr, bits.value == 0 || (bits.value > 0 && !noBytes));
    });
    for (const CFIndex capacity : kIndexes) {
        EXPECT_EQ(hold(CFBitVectorCreateMutable(nullptr, capacity)).get() != nullptr, capacity >= 0);
    }
    const auto foreign = reinterpret_cast<CFMutableBitVectorRef>(const_cast<__CFString*>(CFSTR("x")));
    for (const CFMutableBitVectorRef bad : {static_cast<CFMutableBitVectorRef>(nullptr), foreign}) {
        EXPECT_EQ(CFBitVectorCreateCopy(nullptr, bad), nullptr);
        EXPECT_EQ(CFBitVectorCreateMutableCopy(nullptr, 0, bad), nullptr);
        EXPECT_EQ(CFBitVectorGetCount(bad), 0);
        EXPECT_EQ(CFBitVectorGetCountOfBit(bad, {0, 0}, 1), 0);
        EXPECT_FALSE(CFBitVectorContainsBit(bad, {0, 0}, 1));
        EXPECT_EQ(CFBitVectorGetBitAtIndex(bad, 0), 0u);
        EXPECT_EQ(CFBitVectorGetFirstIndexOfBit(bad, {0, 0}, 1), kCFNotFound);
        EXPECT_EQ(CFBitVectorGetLastIndexOfBit(bad, {0, 0}, 1), kCFNotFound);
        CFBitVectorGetBits(bad, {0, 0}, nullptr);
        CFBitVectorSetCount(bad, 1);
        CFBitVectorFlipBitAtIndex(bad, 0);
        CFBitVectorFlipBits(bad, {0, 0});
        CFBitVectorSetBitAtIndex(bad, 0, 1);
        CFBitVectorSetBits(bad, {0, 0}, 1);
        CFBitVectorSetAllBits(bad, 1);
    }
    CFBitVectorGetBits(vectorOf({true}), {0, 1}, nullptr);
}

}  // namespace
