#include <KXCoreLib/CoreFoundation/BitVectorRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
BitVectorRef KXCore::CoreFoundation::sample() {
    const UInt8 byte = 0b1010'0000;
    return BitVectorRef::create(kCFAllocatorDefault, &byte, 4);
}
INSTANTIATE_TYPED_TEST_SUITE_P(BitVectorRef, TypedWrapper, BitVectorRef);

FORWARDS(BitVectorRef, getTypeID, CFBitVectorGetTypeID);
FORWARDS(BitVectorRef, create, CFBitVectorCreate);
FORWARDS(BitVectorRef, createCopy, CFBitVectorCreateCopy);
FORWARDS(BitVectorRef, createMutable, CFBitVectorCreateMutable);
FORWARDS(BitVectorRef, createMutableCopy, CFBitVectorCreateMutableCopy);
FORWARDS(BitVectorRef, getCount, CFBitVectorGetCount);
FORWARDS(BitVectorRef, getCountOfBit, CFBitVectorGetCountOfBit);
FORWARDS(BitVectorRef, containsBit, CFBitVectorContainsBit);
FORWARDS(BitVectorRef, getBitAtIndex, CFBitVectorGetBitAtIndex);
FORWARDS(BitVectorRef, getBits, CFBitVectorGetBits);
FORWARDS(BitVectorRef, getFirstIndexOfBit, CFBitVectorGetFirstIndexOfBit);
FORWARDS(BitVectorRef, getLastIndexOfBit, CFBitVectorGetLastIndexOfBit);
FORWARDS(MutableBitVectorRef, setCount, CFBitVectorSetCount);
FORWARDS(MutableBitVectorRef, flipBitAtIndex, CFBitVectorFlipBitAtIndex);
FORWARDS(MutableBitVectorRef, flipBits, CFBitVectorFlipBits);
FORWARDS(MutableBitVectorRef, setBitAtIndex, CFBitVectorSetBitAtIndex);
FORWARDS(MutableBitVectorRef, setBits, CFBitVectorSetBits);
FORWARDS(MutableBitVectorRef, setAllBits, CFBitVectorSetAllBits);

TEST(BitVectorRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFBitVectorCreate", [](CFAllocatorRef a) { BitVectorRef::create(a, nullptr, 0); }},
        {"CFBitVectorCreateCopy", [](CFAllocatorRef a) { BitVectorRef::createCopy(a, sample<BitVectorRef>().get()); }},
        {"CFBitVectorCreateMutable", [](CFAllocatorRef a) { BitVectorRef::createMutable(a, 0); }},
        {"CFBitVectorCreateMutableCopy",
         [](CFAllocatorRef a) { BitVectorRef::createMutableCopy(a, 0, sample<BitVectorRef>().get()); }},
    });
}

TEST(BitVectorRef, ReadsItsBits) {
    const BitVectorRef vector = sample<BitVectorRef>();
    EXPECT_EQ(vector.getCount(), 4);
    EXPECT_EQ(vector.getCountOfBit({0, 4}, 1), 2);
    EXPECT_FALSE(vector.containsBit({1, 1}, 1));
    EXPECT_EQ(vector.getBitAtIndex(2), 1u);
    EXPECT_EQ(vector.getFirstIndexOfBit({1, 3}, 1), 2);
    EXPECT_EQ(vector.getLastIndexOfBit({0, 4}, 1), 2);
    UInt8 byte = 0;
    vector.getBits({1, 3}, &byte);
    EXPECT_EQ(byte, 0b0100'0000);
    EXPECT_EQ(BitVectorRef::createCopy(kCFAllocatorDefault, vector.get()), vector);
}

TEST(MutableBitVectorRef, ChangesItsBits) {
    MutableBitVectorRef vector = BitVectorRef::createMutable(kCFAllocatorDefault, 0);
    vector.setCount(5);
    vector.setBits({1, 3}, 1);
    vector.flipBits({0, 2});
    vector.flipBitAtIndex(4);
    vector.setBitAtIndex(3, 0);
    UInt8 byte = 0;
    vector.getBits({0, 5}, &byte);
    EXPECT_EQ(byte, 0b1010'1000);
    const MutableBitVectorRef copy = BitVectorRef::createMutableCopy(kCFAllocatorDefault, 0, vector.get());
    vector.setAllBits(1);
    EXPECT_EQ(vector.getCountOfBit({0, 5}, 1), 5);
    EXPECT_EQ(copy.getCountOfBit({0, 5}, 1), 3);
}
