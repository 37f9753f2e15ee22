#include <KXCoreLib/CoreFoundation/ArrayRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <vector>

using namespace KXCore::CoreFoundation;

namespace {

std::vector<int> valuesOf(const ArrayRef& array) {
    std::vector<int> values;
    for (CFIndex i = 0; i < array.getCount(); ++i) values.push_back(intValue(array.getValueAtIndex(i)));
    return values;
}

CFComparisonResult compareNumbers(const void* a, const void* b, void*) {
    return CFNumberCompare(static_cast<CFNumberRef>(a), static_cast<CFNumberRef>(b), nullptr);
}

void addUp(const void* value, void* sum) { *static_cast<int*>(sum) += intValue(value); }

}  // namespace

template <>
ArrayRef KXCore::CoreFoundation::sample() {
    return ArrayRef::create(kCFAllocatorDefault, nullptr, 0, &kCFTypeArrayCallBacks);
}
INSTANTIATE_TYPED_TEST_SUITE_P(ArrayRef, TypedWrapper, ArrayRef);

FORWARDS(ArrayRef, getTypeID, CFArrayGetTypeID);
FORWARDS(ArrayRef, create, CFArrayCreate);
FORWARDS(ArrayRef, createCopy, CFArrayCreateCopy);
FORWARDS(ArrayRef, createMutable, CFArrayCreateMutable);
FORWARDS(ArrayRef, createMutableCopy, CFArrayCreateMutableCopy);
FORWARDS(ArrayRef, getCount, CFArrayGetCount);
FORWARDS(ArrayRef, getCountOfValue, CFArrayGetCountOfValue);
FORWARDS(ArrayRef, containsValue, CFArrayContainsValue);
FORWARDS(ArrayRef, getValueAtIndex, CFArrayGetValueAtIndex);
FORWARDS(ArrayRef, getValues, CFArrayGetValues);
FORWARDS(ArrayRef, applyFunction, CFArrayApplyFunction);
FORWARDS(ArrayRef, getFirstIndexOfValue, CFArrayGetFirstIndexOfValue);
FORWARDS(ArrayRef, getLastIndexOfValue, CFArrayGetLastIndexOfValue);
FORWARDS(ArrayRef, bSearchValues, CFArrayBSearchValues);
FORWARDS(MutableArrayRef, appendValue, CFArrayAppendValue);
FORWARDS(MutableArrayRef, insertValueAtIndex, CFArrayInsertValueAtIndex);
FORWARDS(MutableArrayRef, setValueAtIndex, CFArraySetValueAtIndex);
FORWARDS(MutableArrayRef, removeValueAtIndex, CFArrayRemoveValueAtIndex);
FORWARDS(MutableArrayRef, removeAllValues, CFArrayRemoveAllValues);
FORWARDS(MutableArrayRef, replaceValues, CFArrayReplaceValues);
FORWARDS(MutableArrayRef, exchangeValuesAtIndices, CFArrayExchangeValuesAtIndices);
FORWARDS(MutableArrayRef, sortValues, CFArraySortValues);
FORWARDS(MutableArrayRef, appendArray, CFArrayAppendArray);

TEST(ArrayRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFArrayCreate", [](CFAllocatorRef a) { ArrayRef::create(a, nullptr, 0, nullptr); }},
        {"CFArrayCreateMutable", [](CFAllocatorRef a) { ArrayRef::createMutable(a, 0, nullptr); }},
        {"CFArrayCreateMutableCopy",
         [](CFAllocatorRef a) { ArrayRef::createMutableCopy(a, 0, sample<ArrayRef>().get()); }},
    });
}

TEST(ArrayRef, IsCreatedFromValuesAndCopied) {
    const NumberRef one = number(1000001);
    const void* values[] = {one.get(), one.get()};
    const ArrayRef array = ArrayRef::create(kCFAllocatorDefault, values, 2, &kCFTypeArrayCallBacks);
    EXPECT_EQ(array.getCount(), 2);
    EXPECT_EQ(array.getValueAtIndex(1), one.get());
    EXPECT_EQ(ArrayRef::createCopy(kCFAllocatorDefault, array.get()), array);
    MutableArrayRef copy = ArrayRef::createMutableCopy(kCFAllocatorDefault, 0, array.get());
    copy.removeAllValues();
    EXPECT_EQ(copy.getCount(), 0);
    EXPECT_EQ(array.getCount(), 2);
}

TEST(ArrayRef, ReadsItsValues) {
    const ArrayRef array = numbers({5, 6, 7, 6});
    const CFRange all{0, 4};
    const NumberRef six = number(6);
    EXPECT_EQ(array.getCountOfValue(all, six.get()), 2);
    EXPECT_TRUE(array.containsValue(all, six.get()));
    EXPECT_FALSE(array.containsValue(CFRangeMake(2, 1), six.get()));
    EXPECT_EQ(array.getFirstIndexOfValue(all, six.get()), 1);
    EXPECT_EQ(array.getLastIndexOfValue(all, six.get()), 3);
    EXPECT_EQ(array.getFirstIndexOfValue(all, number(9).get()), kCFNotFound);
    const void* values[2] = {};
    array.getValues(CFRangeMake(1, 2), values);
    EXPECT_EQ(intValue(values[0]), 6);
    EXPECT_EQ(intValue(values[1]), 7);
    int sum = 0;
    array.applyFunction(CFRangeMake(0, 3), addUp, &sum);
    EXPECT_EQ(sum, 18);
    EXPECT_EQ(ArrayRef(numbers({1, 3, 5})).bSearchValues(CFRangeMake(0, 3), number(5).get(), compareNumbers, nullptr),
              2);
}

TEST(ArrayRef, GivesBorrowedValues) {
    const DataRef data = bytesOf("abc");
    MutableArrayRef array = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    array.appendValue(data.get());
    EXPECT_EQ(CFGetRetainCount(array.getValueAtIndex(0)), 2);
}

TEST(MutableArrayRef, ChangesItsValues) {
    MutableArrayRef array = numbers({1, 2, 3});
    array.insertValueAtIndex(0, number(0).get());
    array.setValueAtIndex(3, number(4).get());
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 1, 2, 4}));
    array.removeValueAtIndex(1);
    array.exchangeValuesAtIndices(0, 2);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{4, 2, 0}));
    array.sortValues(CFRangeMake(0, 3), compareNumbers, nullptr);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 2, 4}));
    array.appendArray(numbers({7, 8, 9}).get(), CFRangeMake(1, 2));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 2, 4, 8, 9}));
    const NumberRef five = number(5);
    const void* values[] = {five.get()};
    array.replaceValues(CFRangeMake(1, 3), values, 1);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 5, 9}));
}

TEST(ArrayRef, OfNothingHasNoCopy) {
    expectFailsToCreate("CFArrayCreateCopy", [] { ArrayRef::createCopy(nullptr, nullptr); });
}
