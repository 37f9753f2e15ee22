#include <KXCoreLib/CoreFoundation/BinaryHeapRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
BinaryHeapRef KXCore::CoreFoundation::sample() {
    return BinaryHeapRef::create(kCFAllocatorDefault, 0, &kCFStringBinaryHeapCallBacks, nullptr);
}
INSTANTIATE_TYPED_TEST_SUITE_P(BinaryHeapRef, TypedWrapper, BinaryHeapRef);

FORWARDS(BinaryHeapRef, getTypeID, CFBinaryHeapGetTypeID);
FORWARDS(BinaryHeapRef, create, CFBinaryHeapCreate);
FORWARDS(BinaryHeapRef, createCopy, CFBinaryHeapCreateCopy);
FORWARDS(BinaryHeapRef, getCount, CFBinaryHeapGetCount);
FORWARDS(BinaryHeapRef, getCountOfValue, CFBinaryHeapGetCountOfValue);
FORWARDS(BinaryHeapRef, containsValue, CFBinaryHeapContainsValue);
FORWARDS(BinaryHeapRef, getMinimum, CFBinaryHeapGetMinimum);
FORWARDS(BinaryHeapRef, getMinimumIfPresent, CFBinaryHeapGetMinimumIfPresent);
FORWARDS(BinaryHeapRef, getValues, CFBinaryHeapGetValues);
FORWARDS(BinaryHeapRef, applyFunction, CFBinaryHeapApplyFunction);
FORWARDS(BinaryHeapRef, addValue, CFBinaryHeapAddValue);
FORWARDS(BinaryHeapRef, removeMinimumValue, CFBinaryHeapRemoveMinimumValue);
FORWARDS(BinaryHeapRef, removeAllValues, CFBinaryHeapRemoveAllValues);

TEST(BinaryHeapRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFBinaryHeapCreate", [](CFAllocatorRef a) { BinaryHeapRef::create(a, 0, nullptr, nullptr); }},
        {"CFBinaryHeapCreateCopy",
         [](CFAllocatorRef a) { BinaryHeapRef::createCopy(a, 0, sample<BinaryHeapRef>().get()); }},
    });
    expectFailsToCreate("CFBinaryHeapCreateCopy", [] { BinaryHeapRef::createCopy(nullptr, 0, nullptr); });
}

TEST(BinaryHeapRef, GivesItsLeastValueFirst) {
    const BinaryHeapRef heap = sample<BinaryHeapRef>();
    EXPECT_EQ(heap.getMinimum(), nullptr);
    const StringRef b = text("b"), a = text("a");
    heap.addValue(b.get());
    heap.addValue(a.get());
    const BinaryHeapRef copy = BinaryHeapRef::createCopy(kCFAllocatorDefault, 0, heap.get());
    EXPECT_EQ(heap.getMinimum(), a.get());
    EXPECT_EQ(heap.getCountOfValue(text("b").get()), 1);
    EXPECT_TRUE(heap.containsValue(b.get()));
    const void* all[2] = {};
    heap.getValues(all);
    EXPECT_EQ(all[0], a.get());
    EXPECT_EQ(all[1], b.get());
    heap.removeMinimumValue();
    const void* least = nullptr;
    EXPECT_TRUE(heap.getMinimumIfPresent(&least));
    EXPECT_EQ(least, b.get());
    int calls = 0;
    copy.applyFunction([](const void*, void* context) { ++*static_cast<int*>(context); }, &calls);
    EXPECT_EQ(calls, 2);
    heap.removeAllValues();
    EXPECT_EQ(heap.getCount(), 0);
    EXPECT_EQ(copy.getCount(), 2);
}
