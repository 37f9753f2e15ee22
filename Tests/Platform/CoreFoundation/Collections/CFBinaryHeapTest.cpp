#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <queue>
#include <random>
#include <vector>

using namespace Held;
using namespace Values;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

const void* pointer(std::intptr_t value) { return reinterpret_cast<const void*>(value); }
std::intptr_t integer(const void* value) { return reinterpret_cast<std::intptr_t>(value); }

Holder<CFBinaryHeapRef> pointers(std::initializer_list<std::intptr_t> values = {}) {
    auto heap = hold(CFBinaryHeapCreate(nullptr, 0, nullptr, nullptr));
    for (const std::intptr_t value : values) CFBinaryHeapAddValue(heap, pointer(value));
    return heap;
}

std::vector<std::intptr_t> sorted(CFBinaryHeapRef heap) {
    std::vector<const void*> values(static_cast<std::size_t>(CFBinaryHeapGetCount(heap)));
    CFBinaryHeapGetValues(heap, values.data());
    std::vector<std::intptr_t> all;
    for (const void* const value : values) all.push_back(integer(value));
    return all;
}

TEST(CFBinaryHeap, GivesItsLeastValueFirst) {
    const auto heap = pointers({5, 3, 9, 3, 1});
    EXPECT_EQ(CFGetTypeID(heap), CFBinaryHeapGetTypeID());
    EXPECT_EQ(CFBinaryHeapGetCount(heap), 5);
    std::vector<std::intptr_t> taken;
    for (const void* least; CFBinaryHeapGetMinimumIfPresent(heap, &least); CFBinaryHeapRemoveMinimumValue(heap)) {
        EXPECT_EQ(CFBinaryHeapGetMinimum(heap), least);
        taken.push_back(integer(least));
    }
    EXPECT_THAT(taken, ElementsAre(1, 3, 3, 5, 9));
    EXPECT_EQ(CFBinaryHeapGetCount(heap), 0);
}

TEST(CFBinaryHeap, HasNoLeastValueWhenItIsEmpty) {
    const auto heap = pointers();
    const void* least = pointer(1);
    EXPECT_EQ(CFBinaryHeapGetMinimum(heap), nullptr);
    EXPECT_FALSE(CFBinaryHeapGetMinimumIfPresent(heap, &least));
    EXPECT_EQ(least, pointer(1));
    CFBinaryHeapRemoveMinimumValue(heap);
    EXPECT_THAT(sorted(heap), IsEmpty());
}

TEST(CFBinaryHeap, GivesItsValuesFromTheLeastToTheGreatest) {
    EXPECT_THAT(sorted(pointers({4, 8, 2, 6, 2})), ElementsAre(2, 2, 4, 6, 8));
}

TEST(CFBinaryHeap, CountsValuesThatCompareEqual) {
    const auto heap = pointers({4, 8, 4});
    EXPECT_EQ(CFBinaryHeapGetCountOfValue(heap, pointer(4)), 2);
    EXPECT_EQ(CFBinaryHeapGetCountOfValue(heap, pointer(5)), 0);
    EXPECT_TRUE(CFBinaryHeapContainsValue(heap, pointer(8)));
    EXPECT_FALSE(CFBinaryHeapContainsValue(heap, pointer(5)));
}

TEST(CFBinaryHeap, OrdersStringsAsTheyCompare) {
    const auto heap = hold(CFBinaryHeapCreate(nullptr, 0, &kCFStringBinaryHeapCallBacks, nullptr));
    for (const char* const text : {"pear", "apple", "fig"}) CFBinaryHeapAddValue(heap, Values::string(text));
    EXPECT_EQ(utf8(static_cast<CFStringRef>(CFBinaryHeapGetMinimum(heap))), "apple");
    EXPECT_TRUE(CFBinaryHeapContainsValue(heap, CFSTR("fig")));
    CFBinaryHeapRemoveMinimumValue(heap);
    EXPECT_EQ(utf8(static_cast<CFStringRef>(CFBinaryHeapGetMinimum(heap))), "fig");
}

TEST(CFBinaryHeap, AnswersLikeAPriorityQueue) {
    std::mt19937 random(2);
    const auto heap = pointers();
    std::priority_queue<std::intptr_t, std::vector<std::intptr_t>, std::greater<>> expected;
    for (int i = 0; i < 20'000; ++i) {
        if (expected.empty() || random() % 5 < 3) {
            const auto value = static_cast<std::intptr_t>(random() % 1000);
            CFBinaryHeapAddValue(heap, pointer(value));
            expected.push(value);
        } else {
            CFBinaryHeapRemoveMinimumValue(heap);
            expected.pop();
        }
        ASSERT_EQ(CFBinaryHeapGetCount(heap), static_cast<CFIndex>(expected.size()));
        if (!expected.empty()) {
            ASSERT_EQ(integer(CFBinaryHeapGetMinimum(heap)), expected.top());
        }
    }
    const auto all = sorted(heap);
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
    EXPECT_EQ(all.size(), expected.size());
}

struct Info {
    int retains = 0;
    int releases = 0;
    int sign = 1;
};

CFBinaryHeapCompareContext contextOf(Info& info) {
    return {0, &info,
            [](const void* i) -> const void* {
                ++static_cast<Info*>(const_cast<void*>(i))->retains;
                return i;
            },
            [](const void* i) { ++static_cast<Info*>(const_cast<void*>(i))->releases; }, nullptr};
}

CFComparisonResult compareWithSign(const void* a, const void* b, void* info) {
    const std::intptr_t difference = static_cast<Info*>(info)->sign * (integer(a) - integer(b));
    return difference < 0 ? kCFCompareLessThan : difference > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

TEST(CFBinaryHeap, PassesItsInfoToComparisonsAndKeepsItWithCopies) {
    Info info;
    info.sign = -1;
    CFBinaryHeapCallBacks callBacks{};
    callBacks.compare = compareWithSign;
    const CFBinaryHeapCompareContext context = contextOf(info);
    {
        auto heap = hold(CFBinaryHeapCreate(nullptr, 4, &callBacks, &context));
        for (const std::intptr_t value : {1, 3, 2}) CFBinaryHeapAddValue(heap, pointer(value));
        EXPECT_EQ(info.retains, 1);
        const auto copy = hold(CFBinaryHeapCreateCopy(nullptr, 0, heap));
        EXPECT_EQ(info.retains, 2);
        EXPECT_THAT(sorted(copy), ElementsAre(3, 2, 1));
        EXPECT_TRUE(CFEqual(heap, copy));
        EXPECT_EQ(CFHash(heap), CFHash(copy));
        CFBinaryHeapAddValue(copy, pointer(9));
        EXPECT_THAT(sorted(heap), ElementsAre(3, 2, 1));
        EXPECT_FALSE(CFEqual(heap, copy));
    }
    EXPECT_EQ(info.releases, 2);
}

TEST(CFBinaryHeap, RetainsItsValuesAndReleasesThem) {
    const auto one = number(10001), two = number(10002);
    CFBinaryHeapCallBacks callBacks = kCFStringBinaryHeapCallBacks;
    callBacks.compare = [](const void* a, const void* b, void*) {
        return CFNumberCompare(static_cast<CFNumberRef>(a), static_cast<CFNumberRef>(b), nullptr);
    };
    {
        const auto heap = hold(CFBinaryHeapCreate(nullptr, 0, &callBacks, nullptr));
        CFBinaryHeapAddValue(heap, two);
        CFBinaryHeapAddValue(heap, one);
        EXPECT_EQ(CFGetRetainCount(one), 2);
        CFBinaryHeapRemoveMinimumValue(heap);
        EXPECT_EQ(CFGetRetainCount(one), 1);
        const auto copy = hold(CFBinaryHeapCreateCopy(nullptr, 0, heap));
        EXPECT_EQ(CFGetRetainCount(two), 3);
        CFBinaryHeapRemoveAllValues(heap);
        EXPECT_EQ(CFGetRetainCount(two), 2);
    }
    EXPECT_EQ(CFGetRetainCount(two), 1);
}

TEST(CFBinaryHeap, StaysInBoundsWhateverComparisonsReturn) {
    static std::mt19937 random(3);
    CFBinaryHeapCallBacks callBacks{};
    callBacks.compare = [](const void*, const void*, void*) {
        return static_cast<CFComparisonResult>(static_cast<int>(random() % 3) - 1);
    };
    const auto heap = hold(CFBinaryHeapCreate(nullptr, 0, &callBacks, nullptr));
    for (std::intptr_t i = 0; i < 500; ++i) CFBinaryHeapAddValue(heap, pointer(i));
    auto all = sorted(heap);
    std::sort(all.begin(), all.end());
    for (std::size_t i = 0; i < 500; ++i) ASSERT_EQ(all[i], static_cast<std::intptr_t>(i));
    for (int i = 0; i < 500; ++i) CFBinaryHeapRemoveMinimumValue(heap);
    EXPECT_EQ(CFBinaryHeapGetCount(heap), 0);
}

TEST(CFBinaryHeap, AppliesAFunctionToTheValuesOfTheTimeOfTheCall) {
    const auto heap = pointers({3, 1, 2});
    struct Seen {
        CFBinaryHeapRef heap;
        std::vector<std::intptr_t> values;
    } seen{heap, {}};
    CFBinaryHeapApplyFunction(
        heap,
        [](const void* value, void* context) {
            auto& s = *static_cast<Seen*>(context);
            s.values.push_back(integer(value));
            CFBinaryHeapRemoveAllValues(s.heap);
        },
        &seen);
    EXPECT_THAT(seen.values, UnorderedElementsAre(1, 2, 3));
    EXPECT_EQ(CFBinaryHeapGetCount(heap), 0);
}

TEST(CFBinaryHeap, RefusesImpossibleRequests) {
    CFBinaryHeapCallBacks callBacks{};
    callBacks.version = 1;
    CFBinaryHeapCompareContext context{};
    context.version = 1;
    EXPECT_EQ(CFBinaryHeapCreate(nullptr, -1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFBinaryHeapCreate(nullptr, 0, &callBacks, nullptr), nullptr);
    EXPECT_EQ(CFBinaryHeapCreate(nullptr, 0, nullptr, &context), nullptr);
    EXPECT_EQ(CFBinaryHeapCreateCopy(nullptr, -1, pointers()), nullptr);
}

TEST(CFBinaryHeap, ChangesNothingWithoutMemory) {
    TestAllocator allocator;
    {
        const auto heap = hold(CFBinaryHeapCreate(allocator, 0, nullptr, nullptr));
        CFBinaryHeapAddValue(heap, pointer(1));
        allocator.failAfter(0);
        for (std::intptr_t i = 2; i < 100; ++i) CFBinaryHeapAddValue(heap, pointer(i));
        const CFIndex count = CFBinaryHeapGetCount(heap);
        EXPECT_LT(count, 99);
        EXPECT_EQ(sorted(heap).size(), static_cast<std::size_t>(count));
        EXPECT_EQ(CFBinaryHeapCreateCopy(allocator, 0, heap), nullptr);
        EXPECT_EQ(CFBinaryHeapCreate(allocator, 0, nullptr, nullptr), nullptr);
    }
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFBinaryHeap, DescribesItself) {
    const auto heap = pointers({2, 1});
    EXPECT_EQ(description(heap),
              heading("CFBinaryHeap", heap) + "{count = 2, capacity = 8, objects = (\n\t0 : <0x1>\n\t1 : <0x2>\n)}");
}

TEST(CFBinaryHeap, SurvivesNullArgumentsAndForeignObjects) {
    using namespace NullArguments;
    for (const CFIndex capacity : kIndexes) take(CFBinaryHeapCreate(nullptr, capacity, nullptr, nullptr));
    const auto foreign = reinterpret_cast<CFBinaryHeapRef>(const_cast<__CFString*>(CFSTR("x")));
    for (const CFBinaryHeapRef bad : {static_cast<CFBinaryHeapRef>(nullptr), foreign}) {
        EXPECT_EQ(CFBinaryHeapCreateCopy(nullptr, 0, bad), nullptr);
        EXPECT_EQ(CFBinaryHeapGetCount(bad), 0);
        EXPECT_EQ(CFBinaryHeapGetCountOfValue(bad, nullptr), 0);
        EXPECT_FALSE(CFBinaryHeapContainsValue(bad, nullptr));
        EXPECT_EQ(CFBinaryHeapGetMinimum(bad), nullptr);
        EXPECT_FALSE(CFBinaryHeapGetMinimumIfPresent(bad, nullptr));
        CFBinaryHeapGetValues(bad, nullptr);
        CFBinaryHeapApplyFunction(bad, nullptr, nullptr);
        CFBinaryHeapAddValue(bad, nullptr);
        CFBinaryHeapRemoveMinimumValue(bad);
        CFBinaryHeapRemoveAllValues(bad);
    }
    const auto heap = pointers({1});
    CFBinaryHeapGetValues(heap, nullptr);
    CFBinaryHeapApplyFunction(heap, nullptr, nullptr);
    EXPECT_TRUE(CFBinaryHeapGetMinimumIfPresent(heap, nullptr));
}

}  // namespace
