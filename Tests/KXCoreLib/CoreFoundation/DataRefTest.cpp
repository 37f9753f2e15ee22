#include <KXCoreLib/CoreFoundation/DataRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <vector>

using namespace KXCore::CoreFoundation;

namespace {

constexpr UInt8 kBytes[] = "some bytes";

}  // namespace

template <>
DataRef KXCore::CoreFoundation::sample() {
    return bytesOf("abc");
}
INSTANTIATE_TYPED_TEST_SUITE_P(DataRef, TypedWrapper, DataRef);

FORWARDS(DataRef, getTypeID, CFDataGetTypeID);
FORWARDS(DataRef, create, CFDataCreate);
FORWARDS(DataRef, createWithBytesNoCopy, CFDataCreateWithBytesNoCopy);
FORWARDS(DataRef, createCopy, CFDataCreateCopy);
FORWARDS(DataRef, createMutable, CFDataCreateMutable);
FORWARDS(DataRef, createMutableCopy, CFDataCreateMutableCopy);
FORWARDS(DataRef, getLength, CFDataGetLength);
FORWARDS(DataRef, getBytePtr, CFDataGetBytePtr);
FORWARDS(MutableDataRef, getMutableBytePtr, CFDataGetMutableBytePtr);
FORWARDS(DataRef, getBytes, CFDataGetBytes);
FORWARDS(MutableDataRef, setLength, CFDataSetLength);
FORWARDS(MutableDataRef, increaseLength, CFDataIncreaseLength);
FORWARDS(MutableDataRef, appendBytes, CFDataAppendBytes);
FORWARDS(MutableDataRef, replaceBytes, CFDataReplaceBytes);
FORWARDS(MutableDataRef, deleteBytes, CFDataDeleteBytes);
FORWARDS(DataRef, find, CFDataFind);

TEST(DataRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFDataCreate", [](CFAllocatorRef a) { DataRef::create(a, kBytes, sizeof kBytes); }},
        {"CFDataCreate", [](CFAllocatorRef a) { DataRef::createWithStdVector(a, {}); }},
        {"CFDataCreateWithBytesNoCopy",
         [](CFAllocatorRef a) { DataRef::createWithBytesNoCopy(a, kBytes, sizeof kBytes, kCFAllocatorNull); }},
        {"CFDataCreateMutable", [](CFAllocatorRef a) { DataRef::createMutable(a, 0); }},
        {"CFDataCreateMutableCopy", [](CFAllocatorRef a) { DataRef::createMutableCopy(a, 0, bytesOf("abc").get()); }},
    });
}

TEST(DataRef, GivesItsBytes) {
    const UInt8 bytes[] = {10, 20, 30};
    const DataRef data = DataRef::create(kCFAllocatorDefault, bytes, 3);
    EXPECT_EQ(data.getLength(), 3);
    EXPECT_EQ(data.getBytePtr()[2], 30);
    UInt8 got[2] = {};
    data.getBytes(CFRangeMake(1, 2), got);
    EXPECT_EQ(got[0], 20);
    EXPECT_EQ(got[1], 30);
    EXPECT_TRUE(
        isRange(data.find(DataRef::create(kCFAllocatorDefault, bytes + 1, 1).get(), CFRangeMake(0, 3), 0), 1, 1));
    EXPECT_EQ(DataRef::createCopy(kCFAllocatorDefault, data.get()), data);
    EXPECT_EQ(DataRef::createWithBytesNoCopy(kCFAllocatorDefault, bytes, 3, kCFAllocatorNull).getBytePtr(), bytes);
}

TEST(DataRef, IsMadeOfAStdVectorAndCopiedToOne) {
    const std::vector<unsigned char> bytes{0, 1, 255};
    const DataRef data = DataRef::createWithStdVector(kCFAllocatorDefault, bytes);
    EXPECT_EQ(data.copyStdVector(), bytes);
    std::vector<unsigned char> out(10, 9);
    data.copyStdVector(out);
    EXPECT_EQ(out, bytes);
}

TEST(DataRef, IsMadeOfAnEmptyStdVectorAndCopiedToOne) {
    const DataRef data = DataRef::createWithStdVector(kCFAllocatorDefault, {});
    EXPECT_EQ(data.getLength(), 0);
    std::vector<unsigned char> out(10, 9);
    data.copyStdVector(out);
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(data.copyStdVector().empty());
}

TEST(MutableDataRef, ChangesItsBytes) {
    MutableDataRef data = DataRef::createMutable(kCFAllocatorDefault, 0);
    const UInt8 bytes[] = {1, 2, 3, 4};
    data.appendBytes(bytes, 4);
    data.getMutableBytePtr()[0] = 9;
    data.deleteBytes(CFRangeMake(1, 1));
    EXPECT_EQ(data.copyStdVector(), (std::vector<unsigned char>{9, 3, 4}));
    data.replaceBytes(CFRangeMake(0, 1), bytes, 2);
    EXPECT_EQ(data.copyStdVector(), (std::vector<unsigned char>{1, 2, 3, 4}));
    data.setLength(2);
    data.increaseLength(1);
    EXPECT_EQ(data.copyStdVector(), (std::vector<unsigned char>{1, 2, 0}));
    EXPECT_EQ(DataRef::createMutableCopy(kCFAllocatorDefault, 0, data.get()), data);
}

TEST(DataRef, OfNothingHasNoCopy) {
    expectFailsToCreate("CFDataCreateCopy", [] { DataRef::createCopy(nullptr, nullptr); });
}
