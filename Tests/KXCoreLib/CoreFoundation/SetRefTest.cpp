#include <KXCoreLib/CoreFoundation/SetRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
SetRef KXCore::CoreFoundation::sample() {
    return SetRef::create(kCFAllocatorDefault, nullptr, 0, &kCFTypeSetCallBacks);
}
INSTANTIATE_TYPED_TEST_SUITE_P(SetRef, TypedWrapper, SetRef);

FORWARDS(SetRef, getTypeID, CFSetGetTypeID);
FORWARDS(SetRef, create, CFSetCreate);
FORWARDS(SetRef, createCopy, CFSetCreateCopy);
FORWARDS(SetRef, createMutable, CFSetCreateMutable);
FORWARDS(SetRef, createMutableCopy, CFSetCreateMutableCopy);
FORWARDS(SetRef, getCount, CFSetGetCount);
FORWARDS(SetRef, getCountOfValue, CFSetGetCountOfValue);
FORWARDS(SetRef, containsValue, CFSetContainsValue);
FORWARDS(SetRef, getValue, CFSetGetValue);
FORWARDS(SetRef, getValueIfPresent, CFSetGetValueIfPresent);
FORWARDS(SetRef, getValues, CFSetGetValues);
FORWARDS(SetRef, applyFunction, CFSetApplyFunction);
FORWARDS(MutableSetRef, addValue, CFSetAddValue);
FORWARDS(MutableSetRef, replaceValue, CFSetReplaceValue);
FORWARDS(MutableSetRef, setValue, CFSetSetValue);
FORWARDS(MutableSetRef, removeValue, CFSetRemoveValue);
FORWARDS(MutableSetRef, removeAllValues, CFSetRemoveAllValues);

TEST(SetRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFSetCreate", [](CFAllocatorRef a) { SetRef::create(a, nullptr, 0, nullptr); }},
        {"CFSetCreateMutable", [](CFAllocatorRef a) { SetRef::createMutable(a, 0, nullptr); }},
        {"CFSetCreateMutableCopy", [](CFAllocatorRef a) { SetRef::createMutableCopy(a, 0, sample<SetRef>().get()); }},
    });
}

TEST(SetRef, ReadsItsValues) {
    const StringRef a = text("a text that is no constant");
    const void* values[] = {a.get()};
    const SetRef set = SetRef::create(kCFAllocatorDefault, values, 1, &kCFTypeSetCallBacks);
    const StringRef equal = text("a text that is no constant");
    EXPECT_EQ(set.getCount(), 1);
    EXPECT_EQ(set.getCountOfValue(equal.get()), 1);
    EXPECT_TRUE(set.containsValue(equal.get()));
    EXPECT_EQ(set.getValue(equal.get()), a.get());
    const void* value = nullptr;
    EXPECT_TRUE(set.getValueIfPresent(equal.get(), &value));
    EXPECT_EQ(value, a.get());
    const void* all[1] = {};
    set.getValues(all);
    EXPECT_EQ(all[0], a.get());
    EXPECT_EQ(SetRef::createCopy(kCFAllocatorDefault, set.get()), set);
    int calls = 0;
    set.applyFunction([](const void*, void* context) { ++*static_cast<int*>(context); }, &calls);
    EXPECT_EQ(calls, 1);
}

TEST(MutableSetRef, ChangesItsValues) {
    MutableSetRef set = SetRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeSetCallBacks);
    const StringRef first = text("a text that is no constant");
    const StringRef second = text("a text that is no constant");
    set.replaceValue(first.get());
    EXPECT_EQ(set.getCount(), 0);
    set.addValue(first.get());
    set.addValue(second.get());
    EXPECT_EQ(set.getValue(second.get()), first.get());
    set.replaceValue(second.get());
    EXPECT_EQ(set.getValue(second.get()), second.get());
    set.setValue(first.get());
    EXPECT_EQ(set.getValue(second.get()), first.get());
    MutableSetRef copy = SetRef::createMutableCopy(kCFAllocatorDefault, 0, set.get());
    set.removeValue(second.get());
    EXPECT_EQ(set.getCount(), 0);
    EXPECT_EQ(copy.getCount(), 1);
    copy.removeAllValues();
    EXPECT_EQ(copy.getCount(), 0);
}

TEST(SetRef, OfNothingHasNoCopy) {
    expectFailsToCreate("CFSetCreateCopy", [] { SetRef::createCopy(nullptr, nullptr); });
}
