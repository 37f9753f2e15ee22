#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>
#include <vector>

using namespace Held;
using namespace Values;

namespace {

using Pointers = std::vector<const void*>;

const void* pointer(std::uintptr_t value) { return reinterpret_cast<const void*>(value); }
std::uintptr_t integer(const void* value) { return reinterpret_cast<std::uintptr_t>(value); }

Pointers contents(CFArrayRef array) {
    Pointers values(static_cast<std::size_t>(CFArrayGetCount(array)));
    CFArrayGetValues(array, CFRangeMake(0, CFArrayGetCount(array)), values.data());
    return values;
}

/// An array of the numbers as plain pointers.
Holder<CFMutableArrayRef> mutableOf(std::initializer_list<std::uintptr_t> numbers) {
    auto array = hold(CFArrayCreateMutable(nullptr, 0, nullptr));
    for (const std::uintptr_t number : numbers) CFArrayAppendValue(array, pointer(number));
    return array;
}

Pointers pointers(std::initializer_list<std::uintptr_t> numbers) {
    Pointers all;
    for (const std::uintptr_t number : numbers) all.push_back(pointer(number));
    return all;
}

CFComparisonResult compareNumbers(const void* a, const void* b, void*) {
    return integer(a) < integer(b)   ? kCFCompareLessThan
           : integer(a) > integer(b) ? kCFCompareGreaterThan
                                     : kCFCompareEqualTo;
}

// ---- Creating

TEST(CFArray, KeepsItsValuesInOrder) {
    const void* values[] = {CFSTR("a"), CFSTR("b"), kCFBooleanTrue};
    const auto array = hold(CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks));
    ASSERT_EQ(CFArrayGetCount(array), 3);
    for (CFIndex i = 0; i < 3; ++i) EXPECT_EQ(CFArrayGetValueAtIndex(array, i), values[i]);
    EXPECT_EQ(CFGetTypeID(array), CFArrayGetTypeID());
}

TEST(CFArray, MayBeEmptyWithoutValues) {
    const auto array = hold(CFArrayCreate(nullptr, nullptr, 0, nullptr));
    ASSERT_TRUE(array);
    EXPECT_EQ(CFArrayGetCount(array), 0);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), nullptr);
}

TEST(CFArray, RefusesImpossibleCounts) {
    const void* values[] = {CFSTR("a")};
    EXPECT_EQ(CFArrayCreate(nullptr, values, -1, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreate(nullptr, nullptr, 1, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreate(nullptr, values, PTRDIFF_MAX, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreate(nullptr, values, PTRDIFF_MAX / 8, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreateMutable(nullptr, -1, nullptr), nullptr);
}

TEST(CFArray, TakesCapacityAsAHint) {
    const auto array = hold(CFArrayCreateMutable(nullptr, 2, nullptr));
    for (std::uintptr_t i = 0; i < 10; ++i) CFArrayAppendValue(array, pointer(i));
    EXPECT_EQ(CFArrayGetCount(array), 10);
    EXPECT_TRUE(hold(CFArrayCreateMutable(nullptr, PTRDIFF_MAX, nullptr)));
}

TEST(CFArray, RetainsObjectsAndReleasesThem) {
    const auto value = number(123456);
    const void* values[] = {value.get()};
    auto array = hold(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
    EXPECT_EQ(CFGetRetainCount(value), 2);
    array.reset();
    EXPECT_EQ(CFGetRetainCount(value), 1);
}

TEST(CFArray, WithoutCallBacksHoldsAnything) {
    const auto array = mutableOf({1, 2, 0, 2});
    EXPECT_EQ(contents(array), pointers({1, 2, 0, 2}));
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 4), pointer(2)), 1);
    EXPECT_EQ(CFArrayGetLastIndexOfValue(array, CFRangeMake(0, 4), pointer(2)), 3);
    EXPECT_EQ(CFArrayGetCountOfValue(array, CFRangeMake(0, 4), pointer(2)), 2);
    EXPECT_EQ(CFArrayGetCountOfValue(array, CFRangeMake(0, 4), nullptr), 1);
}

TEST(CFArray, CopiesAnImmutableArrayBySharingIt) {
    const void* values[] = {CFSTR("a")};
    const auto array = hold(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
    EXPECT_EQ(hold(CFArrayCreateCopy(nullptr, array)).get(), array.get());
}

TEST(CFArray, CopiesAMutableArrayAsItIsNow) {
    const auto array = mutableOf({1, 2, 3});
    const auto copy = hold(CFArrayCreateCopy(nullptr, array));
    CFArrayAppendValue(array, pointer(4));
    EXPECT_EQ(contents(copy), pointers({1, 2, 3}));
    EXPECT_TRUE(CFEqual(copy, hold(CFArrayCreateCopy(nullptr, copy))));
}

TEST(CFArray, MakesMutableCopies) {
    const auto array = mutableOf({1, 2, 3});
    for (const CFIndex capacity : {0, 1, 3, 100}) {
        const auto copy = hold(CFArrayCreateMutableCopy(nullptr, capacity, array));
        CFArrayAppendValue(copy, pointer(4));
        EXPECT_EQ(contents(copy), pointers({1, 2, 3, 4}));
    }
    EXPECT_EQ(CFArrayGetCount(array), 3);
    EXPECT_EQ(CFArrayCreateMutableCopy(nullptr, -1, array), nullptr);
    EXPECT_EQ(CFArrayCreateMutableCopy(nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreateCopy(nullptr, nullptr), nullptr);
}

// ---- Callbacks of the caller's own

struct Log {
    int retained = 0, released = 0;
    CFAllocatorRef allocator = nullptr;
} callBackLog;

/// Values are texts kept as copies of their own: retaining gives another pointer.
const CFArrayCallBacks kCopyingCallBacks{
    0,
    [](CFAllocatorRef allocator, const void* value) -> const void* {
        ++callBackLog.retained;
        callBackLog.allocator = allocator;
        return new std::string(*static_cast<const std::string*>(value));
    },
    [](CFAllocatorRef, const void* value) {
        ++callBackLog.released;
        delete static_cast<const std::string*>(value);
    },
    [](const void* value) -> CFStringRef {
        return CFStringCreateWithCString(nullptr, static_cast<const std::string*>(value)->c_str(),
                                         kCFStringEncodingUTF8);
    },
    [](const void* a, const void* b) -> Boolean {
        return *static_cast<const std::string*>(a) == *static_cast<const std::string*>(b);
    }};

TEST(CFArray, KeepsWhatItsRetainCallBackGives) {
    callBackLog = {};
    const std::string one = "one", two = "two", alsoOne = "one";
    {
        TestAllocator allocator;
        const auto array = hold(CFArrayCreateMutable(allocator, 0, &kCopyingCallBacks));
        CFArrayAppendValue(array, &one);
        CFArrayAppendValue(array, &two);
        EXPECT_EQ(callBackLog.allocator, static_cast<CFAllocatorRef>(allocator));
        EXPECT_NE(CFArrayGetValueAtIndex(array, 0), &one);
        EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 2), &alsoOne), 0);
        EXPECT_TRUE(CFArrayContainsValue(array, CFRangeMake(0, 2), &two));
        CFArraySetValueAtIndex(array, 0, &two);
        EXPECT_EQ(callBackLog.released, 1);
        const auto copy = hold(CFArrayCreateCopy(nullptr, array));
        EXPECT_TRUE(CFEqual(array, copy));
        EXPECT_EQ(description(copy),
                  heading("CFArray", copy) + "{type = immutable, count = 2, values = (\n\t0 : two\n\t1 : two\n)}");
    }
    EXPECT_EQ(callBackLog.retained, 5);
    EXPECT_EQ(callBackLog.retained, callBackLog.released);
}

TEST(CFArray, KeepsItsOwnCopyOfTheCallBacks) {
    CFArrayCallBacks callBacks = kCopyingCallBacks;
    const std::string one = "one";
    const auto array = hold(CFArrayCreateMutable(nullptr, 0, &callBacks));
    callBacks = {};
    CFArrayAppendValue(array, &one);
    EXPECT_NE(CFArrayGetValueAtIndex(array, 0), &one);
}

CFMutableArrayRef watched = nullptr;
std::vector<CFIndex> seenCounts;

TEST(CFArray, IsWholeWheneverACallBackLooksAtIt) {
    CFArrayCallBacks callBacks{};
    callBacks.retain = [](CFAllocatorRef, const void* value) {
        seenCounts.push_back(CFArrayGetCount(watched));
        return value;
    };
    callBacks.release = [](CFAllocatorRef, const void*) {
        seenCounts.push_back(CFArrayGetCount(watched));
        for (const void* const value : contents(watched)) EXPECT_NE(value, nullptr);
    };
    const auto array = hold(CFArrayCreateMutable(nullptr, 0, &callBacks));
    watched = array;
    seenCounts.clear();
    for (std::uintptr_t i = 1; i <= 3; ++i) CFArrayAppendValue(array, pointer(i));
    CFArrayRemoveValueAtIndex(array, 1);
    CFArraySetValueAtIndex(array, 0, pointer(9));
    const void* values[] = {pointer(5), pointer(6)};
    CFArrayReplaceValues(array, CFRangeMake(0, 1), values, 2);
    CFArrayRemoveAllValues(array);
    EXPECT_EQ(seenCounts, (std::vector<CFIndex>{0, 1, 2, 2, 2, 2, 2, 2, 3, 0, 0, 0}));
}

// ---- Reading

TEST(CFArray, AnswersNothingOutsideItsBounds) {
    const auto array = mutableOf({1, 2, 3});
    for (const CFIndex index : {CFIndex{-1}, CFIndex{3}, CFIndex{PTRDIFF_MAX}, CFIndex{PTRDIFF_MIN}})
        EXPECT_EQ(CFArrayGetValueAtIndex(array, index), nullptr);
    for (const CFRange range : {CFRange{-1, 1}, CFRange{0, 4}, CFRange{3, 1}, CFRange{4, 0}, CFRange{0, -1},
                                CFRange{1, PTRDIFF_MAX}, CFRange{PTRDIFF_MAX, PTRDIFF_MAX}}) {
        EXPECT_EQ(CFArrayGetCountOfValue(array, range, pointer(1)), 0);
        EXPECT_FALSE(CFArrayContainsValue(array, range, pointer(1)));
        EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, range, pointer(1)), kCFNotFound);
        EXPECT_EQ(CFArrayGetLastIndexOfValue(array, range, pointer(1)), kCFNotFound);
        EXPECT_EQ(CFArrayBSearchValues(array, range, pointer(1), compareNumbers, nullptr), kCFNotFound);
        const void* untouched = pointer(77);
        CFArrayGetValues(array, range, &untouched);
        EXPECT_EQ(untouched, pointer(77));
        CFArrayApplyFunction(
            array, range, [](const void*, void*) { ADD_FAILURE(); }, nullptr);
        CFArrayReplaceValues(array, range, nullptr, 0);
        CFArraySortValues(array, range, compareNumbers, nullptr);
        CFArrayAppendArray(array, array, range);
    }
    EXPECT_EQ(contents(array), pointers({1, 2, 3}));
}

TEST(CFArray, IsNullSafe) {
    EXPECT_EQ(CFArrayGetCount(nullptr), 0);
    EXPECT_EQ(CFArrayGetValueAtIndex(nullptr, 0), nullptr);
    CFArrayAppendValue(nullptr, nullptr);
    CFArrayRemoveAllValues(nullptr);
    EXPECT_EQ(CFArrayGetCount(reinterpret_cast<CFArrayRef>(CFSTR("no array"))), 0);
}

TEST(CFArray, LooksOnlyInTheGivenRange) {
    const auto array = mutableOf({1, 2, 1, 2, 1});
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(1, 4), pointer(1)), 2);
    EXPECT_EQ(CFArrayGetLastIndexOfValue(array, CFRangeMake(0, 4), pointer(1)), 2);
    EXPECT_EQ(CFArrayGetCountOfValue(array, CFRangeMake(1, 3), pointer(1)), 1);
    EXPECT_FALSE(CFArrayContainsValue(array, CFRangeMake(1, 1), pointer(1)));
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(5, 0), pointer(1)), kCFNotFound);
}

TEST(CFArray, FindsObjectsByEquality) {
    const auto one = number(100000), same = number(100000);
    const void* values[] = {CFSTR("x"), one.get()};
    const auto array = hold(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 2), same), 1);
    EXPECT_TRUE(CFArrayContainsValue(array, CFRangeMake(0, 2), real(100000.0)));
    EXPECT_FALSE(CFArrayContainsValue(array, CFRangeMake(0, 2), nullptr));
}

TEST(CFArray, AppliesAFunctionInOrder) {
    const auto array = mutableOf({1, 2, 3, 4});
    Pointers seen;
    CFArrayApplyFunction(
        array, CFRangeMake(1, 2),
        [](const void* value, void* context) { static_cast<Pointers*>(context)->push_back(value); }, &seen);
    EXPECT_EQ(seen, pointers({2, 3}));
}

TEST(CFArray, StopsApplyingAFunctionThatEmptiesIt) {
    const auto array = mutableOf({1, 2, 3, 4});
    int calls = 0;
    watched = array;
    CFArrayApplyFunction(
        array, CFRangeMake(0, 4),
        [](const void*, void* context) {
            ++*static_cast<int*>(context);
            CFArrayRemoveAllValues(watched);
        },
        &calls);
    EXPECT_EQ(calls, 1);
}

TEST(CFArray, SearchesSortedValuesByHalving) {
    const auto array = mutableOf({10, 20, 20, 30});
    const auto search = [&](std::uintptr_t value, CFRange range) {
        return CFArrayBSearchValues(array, range, pointer(value), compareNumbers, nullptr);
    };
    EXPECT_EQ(search(5, {0, 4}), 0);  // less than all: the index of the first
    EXPECT_EQ(search(10, {0, 4}), 0);
    EXPECT_EQ(search(15, {0, 4}), 1);  // between two: the index of the greater
    EXPECT_EQ(search(30, {0, 4}), 3);
    EXPECT_EQ(search(35, {0, 4}), 4);  // greater than all: the end of the range
    EXPECT_EQ(search(35, {0, 2}), 2);
    EXPECT_EQ(search(5, {2, 0}), 2);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, search(20, {0, 4})), pointer(20));
}

TEST(CFArray, GivesTheSoughtValueToTheComparatorSecond) {
    const auto array = mutableOf({1, 2, 3});
    int context = 0;
    CFArrayBSearchValues(
        array, CFRangeMake(0, 3), pointer(99),
        [](const void* held, const void* sought, void* given) {
            EXPECT_LE(integer(held), 3u);
            EXPECT_EQ(sought, pointer(99));
            ++*static_cast<int*>(given);
            return kCFCompareLessThan;
        },
        &context);
    EXPECT_GT(context, 0);
}

// ---- Equality and hash

TEST(CFArray, IsEqualToAnArrayOfEqualValues) {
    const auto a = number(1000), b = real(1000.0);
    const auto text = Values::string("t");
    const void *values1[] = {a.get(), CFSTR("t")}, *values2[] = {b.get(), text.get()};
    const auto array1 = hold(CFArrayCreate(nullptr, values1, 2, &kCFTypeArrayCallBacks));
    const auto array2 = hold(CFArrayCreate(nullptr, values2, 2, &kCFTypeArrayCallBacks));
    EXPECT_TRUE(CFEqual(array1, array2));
    EXPECT_EQ(CFHash(array1), CFHash(array2));
    const auto copy = hold(CFArrayCreateMutableCopy(nullptr, 0, array2));
    EXPECT_TRUE(CFEqual(array1, copy));
    CFArrayExchangeValuesAtIndices(copy, 0, 1);
    EXPECT_FALSE(CFEqual(array1, copy));
    CFArrayRemoveValueAtIndex(copy, 0);
    EXPECT_FALSE(CFEqual(array1, copy));
}

TEST(CFArray, IsNotEqualToOneThatComparesOtherwise) {
    const void* values[] = {CFSTR("a")};
    const auto objects = hold(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks));
    const auto addresses = hold(CFArrayCreate(nullptr, values, 1, nullptr));
    EXPECT_FALSE(CFEqual(objects, addresses));
    EXPECT_TRUE(CFEqual(hold(CFArrayCreate(nullptr, nullptr, 0, nullptr)),
                        hold(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks))));
}

TEST(CFArray, DescribesItselfWithItsValues) {
    const auto one = number(1);
    const void* values[] = {one.get(), kCFBooleanTrue};
    const auto array = hold(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
    EXPECT_EQ(description(array), heading("CFArray", array) + "{type = immutable, count = 2, values = (\n\t0 : " +
                                      description(one) + "\n\t1 : " + description(kCFBooleanTrue) + "\n)}");
    const auto addresses = mutableOf({0x1234});
    EXPECT_EQ(description(addresses),
              heading("CFArray", addresses) + "{type = mutable-small, count = 1, values = (\n\t0 : <0x1234>\n)}");
    const void* nothing[] = {nullptr};
    const auto null = hold(CFArrayCreate(nullptr, nothing, 1, &kCFTypeArrayCallBacks));
    EXPECT_EQ(description(null),
              heading("CFArray", null) + "{type = immutable, count = 1, values = (\n\t0 : <0x0>\n)}");
}

// ---- Changing

TEST(CFArray, LeavesAnImmutableArrayAsItIs) {
    const Pointers values = pointers({3, 1, 2});
    const auto array = hold(CFArrayCreate(nullptr, Pointers(values).data(), 3, nullptr));
    const CFMutableArrayRef mutableArray = const_cast<CFMutableArrayRef>(array.get());
    CFArrayAppendValue(mutableArray, pointer(9));
    CFArrayInsertValueAtIndex(mutableArray, 0, pointer(9));
    CFArraySetValueAtIndex(mutableArray, 0, pointer(9));
    CFArrayRemoveValueAtIndex(mutableArray, 0);
    CFArrayExchangeValuesAtIndices(mutableArray, 0, 1);
    CFArraySortValues(mutableArray, CFRangeMake(0, 3), compareNumbers, nullptr);
    CFArrayAppendArray(mutableArray, array, CFRangeMake(0, 3));
    CFArrayReplaceValues(mutableArray, CFRangeMake(0, 1), nullptr, 0);
    CFArrayRemoveAllValues(mutableArray);
    EXPECT_EQ(contents(array), values);
}

TEST(CFArray, InsertsSetsAndRemovesAtAnIndex) {
    const auto array = mutableOf({1, 3});
    CFArrayInsertValueAtIndex(array, 1, pointer(2));
    CFArrayInsertValueAtIndex(array, 3, pointer(4));
    CFArrayInsertValueAtIndex(array, 0, pointer(0));
    EXPECT_EQ(contents(array), pointers({0, 1, 2, 3, 4}));
    CFArraySetValueAtIndex(array, 2, pointer(22));
    CFArraySetValueAtIndex(array, 5, pointer(5));  // one past the last appends
    EXPECT_EQ(contents(array), pointers({0, 1, 22, 3, 4, 5}));
    CFArrayRemoveValueAtIndex(array, 5);
    CFArrayRemoveValueAtIndex(array, 0);
    EXPECT_EQ(contents(array), pointers({1, 22, 3, 4}));
    for (const CFIndex index : {-1, 5, 100}) {
        CFArrayInsertValueAtIndex(array, index, pointer(9));
        CFArraySetValueAtIndex(array, index, pointer(9));
        CFArrayRemoveValueAtIndex(array, index == 5 ? 4 : index);
        CFArrayExchangeValuesAtIndices(array, 0, index);
        CFArrayExchangeValuesAtIndices(array, index, 0);
    }
    EXPECT_EQ(contents(array), pointers({1, 22, 3, 4}));
    CFArrayExchangeValuesAtIndices(array, 0, 3);
    EXPECT_EQ(contents(array), pointers({4, 22, 3, 1}));
    CFArrayRemoveAllValues(array);
    EXPECT_EQ(CFArrayGetCount(array), 0);
    CFArrayAppendValue(array, pointer(7));
    EXPECT_EQ(contents(array), pointers({7}));
}

TEST(CFArray, ReplacesARangeByMoreByFewerAndByNone) {
    const auto array = mutableOf({1, 2, 3, 4});
    Pointers values = pointers({7, 8, 9});
    CFArrayReplaceValues(array, CFRangeMake(1, 1), values.data(), 3);
    EXPECT_EQ(contents(array), pointers({1, 7, 8, 9, 3, 4}));
    CFArrayReplaceValues(array, CFRangeMake(0, 4), values.data(), 1);
    EXPECT_EQ(contents(array), pointers({7, 3, 4}));
    CFArrayReplaceValues(array, CFRangeMake(1, 2), nullptr, 0);
    EXPECT_EQ(contents(array), pointers({7}));
    CFArrayReplaceValues(array, CFRangeMake(1, 0), values.data(), 2);
    EXPECT_EQ(contents(array), pointers({7, 7, 8}));
    CFArrayReplaceValues(array, CFRangeMake(0, 1), values.data(), -1);
    CFArrayReplaceValues(array, CFRangeMake(0, 1), nullptr, 1);
    CFArrayReplaceValues(array, CFRangeMake(0, 1), values.data(), PTRDIFF_MAX);
    EXPECT_EQ(contents(array), pointers({7, 7, 8}));
}

TEST(CFArray, ReplacesAValueByItself) {
    auto value = number(987654);
    const auto array = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(array, value);
    const void* const held = value.get();
    value.reset();
    CFArraySetValueAtIndex(array, 0, held);
    EXPECT_EQ(CFGetRetainCount(held), 1);
}

TEST(CFArray, AppendsPartsOfOthersAndOfItself) {
    const auto array = mutableOf({1, 2, 3});
    CFArrayAppendArray(array, mutableOf({7, 8, 9}), CFRangeMake(1, 2));
    EXPECT_EQ(contents(array), pointers({1, 2, 3, 8, 9}));
    CFArrayAppendArray(array, array, CFRangeMake(0, 5));
    EXPECT_EQ(contents(array), pointers({1, 2, 3, 8, 9, 1, 2, 3, 8, 9}));
    CFArrayAppendArray(array, nullptr, CFRangeMake(0, 0));
    EXPECT_EQ(CFArrayGetCount(array), 10);
}

TEST(CFArray, SortsARangeStably) {
    const auto array = hold(CFArrayCreateMutable(nullptr, 0, nullptr));
    std::mt19937 random(7);
    for (std::uintptr_t i = 0; i < 1000; ++i) CFArrayAppendValue(array, pointer((random() % 50) << 16 | i));
    Pointers expected = contents(array);
    const auto compareHigh = [](const void* a, const void* b, void*) {
        return compareNumbers(pointer(integer(a) >> 16), pointer(integer(b) >> 16), nullptr);
    };
    std::stable_sort(expected.begin() + 10, expected.end() - 10,
                     [](const void* a, const void* b) { return integer(a) >> 16 < integer(b) >> 16; });
    CFArraySortValues(array, CFRangeMake(10, 980), compareHigh, nullptr);
    EXPECT_EQ(contents(array), expected);
}

TEST(CFArray, SortsEveryShortLength) {
    std::mt19937 random(3);
    for (CFIndex length = 0; length < 70; ++length) {
        const auto array = hold(CFArrayCreateMutable(nullptr, 0, nullptr));
        for (CFIndex i = 0; i < length; ++i) CFArrayAppendValue(array, pointer(random() % 100));
        Pointers expected = contents(array);
        std::sort(expected.begin(), expected.end());
        CFArraySortValues(array, CFRangeMake(0, length), compareNumbers, nullptr);
        EXPECT_EQ(contents(array), expected);
    }
}

TEST(CFArray, SurvivesAComparatorWithoutSense) {
    const auto array = hold(CFArrayCreateMutable(nullptr, 0, nullptr));
    for (std::uintptr_t i = 0; i < 500; ++i) CFArrayAppendValue(array, pointer(i));
    std::mt19937 random(1);
    CFArraySortValues(
        array, CFRangeMake(0, 500),
        [](const void*, const void*, void* context) {
            return static_cast<CFComparisonResult>(static_cast<CFIndex>((*static_cast<std::mt19937*>(context))() % 3) -
                                                   1);
        },
        &random);
    Pointers values = contents(array);
    std::sort(values.begin(), values.end());
    for (std::uintptr_t i = 0; i < 500; ++i) EXPECT_EQ(values[i], pointer(i));
}

TEST(CFArray, AgreesWithAVectorOverRandomChanges) {
    std::mt19937 random(11);
    const auto array = hold(CFArrayCreateMutable(nullptr, 0, nullptr));
    Pointers expected;
    for (int step = 0; step < 20000; ++step) {
        const std::size_t at = random() % (expected.size() + 1);
        const CFIndex index = static_cast<CFIndex>(at);
        const void* const value = pointer(random());
        switch (random() % 8) {
            case 0:
            case 1:
                CFArrayInsertValueAtIndex(array, index, value);
                expected.insert(expected.begin() + index, value);
                break;
            case 2:
                CFArrayAppendValue(array, value);
                expected.push_back(value);
                break;
            case 3:
                CFArrayInsertValueAtIndex(array, 0, value);
                expected.insert(expected.begin(), value);
                break;
            case 4:
                if (at < expected.size()) {
                    CFArrayRemoveValueAtIndex(array, index);
                    expected.erase(expected.begin() + index);
                }
                break;
            case 5:
                if (!expected.empty()) {
                    CFArrayRemoveValueAtIndex(array, 0);
                    expected.erase(expected.begin());
                }
                break;
            case 6: {
                const std::size_t length = random() % (expected.size() - at + 1);
                Pointers fresh(random() % 5, value);
                CFArrayReplaceValues(array, CFRangeMake(index, static_cast<CFIndex>(length)), fresh.data(),
                                     static_cast<CFIndex>(fresh.size()));
                expected.erase(expected.begin() + index, expected.begin() + index + static_cast<CFIndex>(length));
                expected.insert(expected.begin() + index, fresh.begin(), fresh.end());
                break;
            }
            default:
                if (random() % 200 == 0) {
                    CFArrayRemoveAllValues(array);
                    expected.clear();
                } else if (at < expected.size()) {
                    CFArraySetValueAtIndex(array, index, value);
                    expected[at] = value;
                }
        }
        ASSERT_EQ(CFArrayGetCount(array), static_cast<CFIndex>(expected.size()));
        if (step % 16 == 0) {
            ASSERT_EQ(contents(array), expected) << step;
        }
    }
}

TEST(CFArray, ServesAsAQueueInConstantRoom) {
    TestAllocator allocator;
    const auto array = hold(CFArrayCreateMutable(allocator, 0, nullptr));
    for (std::uintptr_t i = 0; i < 16; ++i) CFArrayAppendValue(array, pointer(i));
    for (std::uintptr_t i = 0; i < 10000; ++i) {
        EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), pointer(i));
        CFArrayRemoveValueAtIndex(array, 0);
        CFArrayAppendValue(array, pointer(i + 16));
    }
    EXPECT_LE(allocator.requests(), 8);
}

// ---- Memory

TEST(CFArray, IsOneAllocationWhenImmutable) {
    TestAllocator allocator;
    const void* values[] = {CFSTR("a"), CFSTR("b")};
    for (const CFArrayCallBacks* const callBacks : {&kCFTypeArrayCallBacks, static_cast<const CFArrayCallBacks*>(0)}) {
        const long before = allocator.requests();
        const auto array = hold(CFArrayCreate(allocator, values, 2, callBacks));
        EXPECT_EQ(allocator.requests(), before + 1);
        EXPECT_EQ(CFGetAllocator(array), static_cast<CFAllocatorRef>(allocator));
    }
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFArray, KeepsItsValuesWhenTheAllocatorFails) {
    const Pointers expected = pointers({1, 2, 3, 4});
    TestAllocator allocator;
    allocator.failAfter(0);
    Pointers values = expected;
    EXPECT_EQ(CFArrayCreate(allocator, values.data(), 4, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreateMutable(allocator, 0, nullptr), nullptr);
    EXPECT_EQ(CFArrayCreateMutableCopy(allocator, 0, mutableOf({1})), nullptr);
    allocator.failAfter(1);
    EXPECT_EQ(CFArrayCreateMutable(allocator, 10, nullptr), nullptr);

    allocator.failAfter(2);  // the object and the first buffer
    {
        const auto array = hold(CFArrayCreateMutable(allocator, 4, &kCopyingCallBacks));
        const std::string text = "text";
        callBackLog = {};
        for (int i = 0; i < 6; ++i) CFArrayAppendValue(array, &text);
        CFArrayInsertValueAtIndex(array, 0, &text);
        const void* more[] = {&text, &text};
        CFArrayReplaceValues(array, CFRangeMake(0, 1), more, 2);
        EXPECT_EQ(CFArrayGetCount(array), 4);
        EXPECT_EQ(callBackLog.retained - callBackLog.released, 4);
    }
    EXPECT_EQ(callBackLog.retained, callBackLog.released);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFArray, EndsHoweverDeepItIsNested) {
    auto outer = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (int i = 0; i < 100000; ++i) {
        auto next = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
        CFArrayAppendValue(next, outer);
        outer = std::move(next);
    }
    EXPECT_EQ(CFArrayGetCount(outer), 1);
}

TEST(CFArray, IsReadByManyThreadsAtOnce) {
    const auto array = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (int i = 0; i < 100; ++i) CFArrayAppendValue(array, number(1000 + i));
    const auto shared = hold(CFArrayCreateCopy(nullptr, array));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&shared] {
            for (int round = 0; round < 50; ++round) {
                const auto copy = hold(CFArrayCreateMutableCopy(nullptr, 0, shared));
                CFArrayRemoveValueAtIndex(copy, round);
                EXPECT_TRUE(CFArrayContainsValue(shared, CFRangeMake(0, 100), number(1000 + round)));
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(CFGetRetainCount(CFArrayGetValueAtIndex(shared, 0)), 2);
}

}  // namespace

TEST(CFArray, ItsCallBacksMayBeCalledByTheirUser) {
    const auto data = Held::hold(CFDataCreateMutable(nullptr, 0));
    EXPECT_EQ(kCFTypeArrayCallBacks.retain(nullptr, data), data.get());
    EXPECT_EQ(CFGetRetainCount(data), 2);
    kCFTypeArrayCallBacks.release(nullptr, data);
    EXPECT_EQ(CFGetRetainCount(data), 1);
    EXPECT_TRUE(kCFTypeArrayCallBacks.equal(data, data));
}

TEST(CFArray, SurvivesNullArguments) {
    using namespace NullArguments;
    attack([](bool noValues, Length count, bool noCallBacks) {
        const void* values[] = {kObjects[0], noCallBacks ? nullptr : kObjects[1]};
        const auto made = hold(
            CFArrayCreate(nullptr, orNull(noValues, values), count.value, orNull(noCallBacks, &kCFTypeArrayCallBacks)));
        EXPECT_EQ(made.get() != nullptr, count.value == 0 || (count.value > 0 && !noValues));
    });
    for (const CFIndex capacity : kIndexes) {
        EXPECT_EQ(hold(CFArrayCreateMutable(nullptr, capacity, nullptr)).get() != nullptr, capacity >= 0);
        EXPECT_EQ(hold(CFArrayCreateMutableCopy(nullptr, capacity, fourInArray())).get() != nullptr, capacity >= 0);
        EXPECT_EQ(CFArrayCreateMutableCopy(nullptr, capacity, nullptr), nullptr);
        EXPECT_EQ(hold(CFArrayCreate(nullptr, nullptr, capacity, nullptr)).get() != nullptr, capacity == 0);
        EXPECT_EQ(CFArrayGetValueAtIndex(nullptr, capacity), nullptr);
        EXPECT_EQ(CFArrayGetValueAtIndex(fourInArray(), capacity) != nullptr, capacity >= 0 && capacity < 4);
    }
    EXPECT_EQ(CFArrayCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFArrayGetCount(nullptr), 0);
    CFArrayAppendValue(nullptr, nullptr);
    CFArrayAppendValue(fourInArray(), nullptr);
    CFArrayRemoveAllValues(nullptr);
    attack([](bool noArray, CFRange range, bool noValue, bool noFunction) {
        const auto whole = fourInArray();
        const CFArrayRef given = orNull(noArray, whole.get());
        const void* const value = orNull(noValue, kObjects[2]);
        const bool mayFind =
            !noArray && !noValue && fits(range) && range.location <= 2 && range.location + range.length > 2;
        EXPECT_EQ(CFArrayGetCountOfValue(given, range, value), mayFind);
        EXPECT_EQ(CFArrayContainsValue(given, range, value), mayFind);
        EXPECT_EQ(CFArrayGetFirstIndexOfValue(given, range, value), mayFind ? 2 : kCFNotFound);
        EXPECT_EQ(CFArrayGetLastIndexOfValue(given, range, value), mayFind ? 2 : kCFNotFound);
        const void* values[4] = {};
        CFArrayGetValues(given, range, orNull(noValue, values));
        CFArrayApplyFunction(given, range, noFunction ? nullptr : ignore, nullptr);
        CFArrayBSearchValues(given, range, value, noFunction ? nullptr : compareAddresses, nullptr);
    });
    attack([](bool noArray, CFIndex index, CFIndex other) {
        auto whole = fourInArray();
        const CFMutableArrayRef given = orNull(noArray, whole.get());
        CFArrayExchangeValuesAtIndices(given, index, other);
        EXPECT_EQ(CFArrayGetCount(whole), 4);
        CFArraySetValueAtIndex(given, index, nullptr);
        CFArrayInsertValueAtIndex(given, other, nullptr);
        CFArrayRemoveValueAtIndex(given, index);
        CFArrayRemoveValueAtIndex(given, other);
    });
    attack([](bool noArray, CFRange range, bool noValues, Length count) {
        auto whole = fourInArray();
        const CFMutableArrayRef given = orNull(noArray, whole.get());
        const void* values[] = {kObjects[0], kObjects[1]};
        CFArrayReplaceValues(given, range, orNull(noValues, values), count.value);
        if (!fits(range) || noArray || count.value < 0) {
            EXPECT_TRUE(CFEqual(whole, fourInArray()));
        }
    });
    attack([](bool noArray, CFRange range, bool noOther) {
        auto whole = fourInArray();
        const auto other = fourInArray();
        CFArrayAppendArray(orNull(noArray, whole.get()), orNull(noOther, other.get()), range);
        EXPECT_EQ(CFArrayGetCount(whole), noArray || noOther || !fits(range) ? 4 : 4 + range.length);
        CFArraySortValues(orNull(noArray, whole.get()), range, noOther ? nullptr : compareAddresses, nullptr);
    });
}
