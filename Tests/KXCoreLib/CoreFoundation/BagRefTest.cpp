#include <KXCoreLib/CoreFoundation/BagRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
BagRef KXCore::CoreFoundation::sample() {
    return BagRef::create(kCFAllocatorDefault, nullptr, 0, &kCFTypeBagCallBacks);
}
INSTANTIATE_TYPED_TEST_SUITE_P(BagRef, TypedWrapper, BagRef);

FORWARDS(BagRef, getTypeID, CFBagGetTypeID);
FORWARDS(BagRef, create, CFBagCreate);
FORWARDS(BagRef, createCopy, CFBagCreateCopy);
FORWARDS(BagRef, createMutable, CFBagCreateMutable);
FORWARDS(BagRef, createMutableCopy, CFBagCreateMutableCopy);
FORWARDS(BagRef, getCount, CFBagGetCount);
FORWARDS(BagRef, getCountOfValue, CFBagGetCountOfValue);
FORWARDS(BagRef, containsValue, CFBagContainsValue);
FORWARDS(BagRef, getValue, CFBagGetValue);
FORWARDS(BagRef, getValueIfPresent, CFBagGetValueIfPresent);
FORWARDS(BagRef, getValues, CFBagGetValues);
FORWARDS(BagRef, applyFunction, CFBagApplyFunction);
FORWARDS(MutableBagRef, addValue, CFBagAddValue);
FORWARDS(MutableBagRef, replaceValue, CFBagReplaceValue);
FORWARDS(MutableBagRef, setValue, CFBagSetValue);
FORWARDS(MutableBagRef, removeValue, CFBagRemoveValue);
FORWARDS(MutableBagRef, removeAllValues, CFBagRemoveAllValues);

TEST(BagRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFBagCreate", [](CFAllocatorRef a) { BagRef::create(a, nullptr, 0, nullptr); }},
        {"CFBagCreateMutable", [](CFAllocatorRef a) { BagRef::createMutable(a, 0, nullptr); }},
        {"CFBagCreateMutableCopy", [](CFAllocatorRef a) { BagRef::createMutableCopy(a, 0, sample<BagRef>().get()); }},
    });
}

TEST(BagRef, ReadsItsValues) {
    const StringRef a = text("a text that is no constant");
    const void* values[] = {a.get()};
    const BagRef bag = BagRef::create(kCFAllocatorDefault, values, 1, &kCFTypeBagCallBacks);
    const StringRef equal = text("a text that is no constant");
    EXPECT_EQ(bag.getCount(), 1);
    EXPECT_EQ(bag.getCountOfValue(equal.get()), 1);
    EXPECT_TRUE(bag.containsValue(equal.get()));
    EXPECT_EQ(bag.getValue(equal.get()), a.get());
    const void* value = nullptr;
    EXPECT_TRUE(bag.getValueIfPresent(equal.get(), &value));
    EXPECT_EQ(value, a.get());
    const void* all[1] = {};
    bag.getValues(all);
    EXPECT_EQ(all[0], a.get());
    EXPECT_EQ(BagRef::createCopy(kCFAllocatorDefault, bag.get()), bag);
    int calls = 0;
    bag.applyFunction([](const void*, void* context) { ++*static_cast<int*>(context); }, &calls);
    EXPECT_EQ(calls, 1);
}

TEST(MutableBagRef, ChangesItsValues) {
    MutableBagRef bag = BagRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeBagCallBacks);
    const StringRef first = text("a text that is no constant");
    const StringRef second = text("a text that is no constant");
    bag.replaceValue(first.get());
    EXPECT_EQ(bag.getCount(), 0);
    bag.addValue(first.get());
    bag.addValue(second.get());
    EXPECT_EQ(bag.getCountOfValue(first.get()), 2);
    EXPECT_EQ(bag.getValue(second.get()), first.get());
    bag.replaceValue(second.get());
    EXPECT_EQ(bag.getValue(first.get()), second.get());
    bag.setValue(first.get());
    EXPECT_EQ(bag.getValue(second.get()), first.get());
    MutableBagRef copy = BagRef::createMutableCopy(kCFAllocatorDefault, 0, bag.get());
    bag.removeValue(second.get());
    EXPECT_EQ(bag.getCount(), 1);
    EXPECT_EQ(copy.getCount(), 2);
    copy.removeAllValues();
    EXPECT_EQ(copy.getCount(), 0);
}

TEST(BagRef, OfNothingHasNoCopy) {
    expectFailsToCreate("CFBagCreateCopy", [] { BagRef::createCopy(nullptr, nullptr); });
}
