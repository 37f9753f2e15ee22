#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

using namespace Held;
using namespace Values;
using testing::UnorderedElementsAre;

namespace {

const void* pointer(std::intptr_t value) { return reinterpret_cast<const void*>(value); }

Holder<CFMutableBagRef> objects() { return hold(CFBagCreateMutable(nullptr, 0, &kCFTypeBagCallBacks)); }
Holder<CFMutableBagRef> pointers() { return hold(CFBagCreateMutable(nullptr, 0, nullptr)); }

std::vector<std::intptr_t> contents(CFBagRef bag) {
    std::vector<const void*> values(static_cast<std::size_t>(CFBagGetCount(bag)));
    CFBagGetValues(bag, values.data());
    std::vector<std::intptr_t> all;
    for (const void* const value : values) all.push_back(reinterpret_cast<std::intptr_t>(value));
    return all;
}

TEST(CFBag, CountsEqualValuesAndKeepsTheFirst) {
    const auto one = number(1000), same = real(1000.0);
    const void* values[] = {one.get(), same.get(), CFSTR("x"), one.get()};
    const auto bag = hold(CFBagCreate(nullptr, values, 4, &kCFTypeBagCallBacks));
    EXPECT_EQ(CFGetTypeID(bag), CFBagGetTypeID());
    EXPECT_EQ(CFBagGetCount(bag), 4);
    EXPECT_EQ(CFBagGetCountOfValue(bag, same), 3);
    EXPECT_EQ(CFBagGetCountOfValue(bag, CFSTR("x")), 1);
    EXPECT_EQ(CFBagGetCountOfValue(bag, CFSTR("y")), 0);
    EXPECT_EQ(CFBagGetValue(bag, same), one.get());
    EXPECT_EQ(CFBagGetValue(bag, kCFNull), nullptr);
    EXPECT_TRUE(CFBagContainsValue(bag, same));
    EXPECT_FALSE(CFBagContainsValue(bag, kCFNull));
    const void* found = nullptr;
    EXPECT_TRUE(CFBagGetValueIfPresent(bag, same, &found));
    EXPECT_EQ(found, one.get());
    EXPECT_TRUE(CFBagGetValueIfPresent(bag, same, nullptr));
    EXPECT_FALSE(CFBagGetValueIfPresent(bag, kCFNull, &found));
    EXPECT_EQ(CFGetRetainCount(one), 2);  // once, however often it is in
    EXPECT_EQ(CFGetRetainCount(same), 1);
}

TEST(CFBag, GivesEachValueAsOftenAsItIsIn) {
    auto bag = pointers();
    for (const std::intptr_t value : {5, 7, 5, 5}) CFBagAddValue(bag, pointer(value));
    EXPECT_THAT(contents(bag), UnorderedElementsAre(5, 5, 5, 7));
    std::vector<std::intptr_t> applied;
    CFBagApplyFunction(
        bag,
        [](const void* value, void* out) {
            static_cast<std::vector<std::intptr_t>*>(out)->push_back(reinterpret_cast<std::intptr_t>(value));
        },
        &applied);
    EXPECT_THAT(applied, UnorderedElementsAre(5, 5, 5, 7));
}

TEST(CFBag, RemovesOneOfEqualValuesAndTheLastForGood) {
    const auto value = number(123456);
    auto bag = objects();
    CFBagAddValue(bag, value);
    CFBagAddValue(bag, value);
    CFBagRemoveValue(bag, value);
    EXPECT_EQ(CFBagGetCount(bag), 1);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    CFBagRemoveValue(bag, value);
    EXPECT_EQ(CFBagGetCount(bag), 0);
    EXPECT_EQ(CFGetRetainCount(value), 1);
    CFBagRemoveValue(bag, value);
    EXPECT_EQ(CFBagGetCount(bag), 0);
}

TEST(CFBag, ReplacesEqualValuesAndKeepsTheirNumber) {
    const auto old = number(9), fresh = real(9.0), other = number(10);
    auto bag = objects();
    CFBagAddValue(bag, old);
    CFBagAddValue(bag, old);
    CFBagReplaceValue(bag, fresh);
    EXPECT_EQ(CFBagGetValue(bag, old), fresh.get());
    EXPECT_EQ(CFBagGetCountOfValue(bag, old), 2);
    CFBagReplaceValue(bag, other);
    EXPECT_EQ(CFBagGetCount(bag), 2);
    CFBagSetValue(bag, old);
    EXPECT_EQ(CFBagGetValue(bag, old), old.get());
    EXPECT_EQ(CFBagGetCount(bag), 2);
    CFBagSetValue(bag, other);
    EXPECT_EQ(CFBagGetCount(bag), 3);
}

TEST(CFBag, ForgetsItsCountsWithItsValues) {
    auto bag = pointers();
    for (int i = 0; i < 5; ++i) CFBagAddValue(bag, pointer(1));
    CFBagRemoveAllValues(bag);
    EXPECT_EQ(CFBagGetCount(bag), 0);
    CFBagAddValue(bag, pointer(1));
    EXPECT_THAT(contents(bag), UnorderedElementsAre(1));
}

TEST(CFBag, CopiesKeepValuesCountsAndCallbacks) {
    auto bag = objects();
    const auto value = number(77777);
    CFBagAddValue(bag, value);
    CFBagAddValue(bag, value);
    const auto copy = hold(CFBagCreateCopy(nullptr, bag));
    auto mutableCopy = hold(CFBagCreateMutableCopy(nullptr, 0, copy));
    EXPECT_TRUE(CFEqual(bag, copy));
    EXPECT_TRUE(CFEqual(copy, mutableCopy));
    EXPECT_EQ(CFHash(bag), CFHash(copy));
    CFBagRemoveValue(mutableCopy, number(77777));
    EXPECT_EQ(CFBagGetCount(mutableCopy), 1);
    EXPECT_EQ(CFBagGetCount(copy), 2);
    EXPECT_FALSE(CFEqual(copy, mutableCopy));
    EXPECT_EQ(CFGetRetainCount(value), 4);
    const auto again = hold(CFBagCreateCopy(nullptr, copy));
    EXPECT_EQ(again.get(), copy.get());
    CFBagAddValue(const_cast<CFMutableBagRef>(copy.get()), kCFNull);  // immutable
    EXPECT_EQ(CFBagGetCount(copy), 2);
}

TEST(CFBag, KeepsCopiesOfStringsWhereAsked) {
    const auto text = hold(CFStringCreateMutable(nullptr, 0));
    CFStringAppend(text, CFSTR("a"));
    auto bag = hold(CFBagCreateMutable(nullptr, 0, &kCFCopyStringBagCallBacks));
    CFBagAddValue(bag, text);
    CFStringAppend(text, CFSTR("b"));
    EXPECT_TRUE(CFBagContainsValue(bag, CFSTR("a")));
}

TEST(CFBag, AnswersLikeAMultiset) {
    std::mt19937 random(1);
    auto bag = pointers();
    std::multiset<std::intptr_t> expected;
    for (int i = 0; i < 20'000; ++i) {
        const std::intptr_t value = 1 + static_cast<std::intptr_t>(random() % 300);
        if (random() % 2) {
            CFBagAddValue(bag, pointer(value));
            expected.insert(value);
        } else {
            CFBagRemoveValue(bag, pointer(value));
            if (const auto at = expected.find(value); at != expected.end()) expected.erase(at);
        }
        ASSERT_EQ(CFBagGetCountOfValue(bag, pointer(value)), static_cast<CFIndex>(expected.count(value)));
        ASSERT_EQ(CFBagGetCount(bag), static_cast<CFIndex>(expected.size()));
    }
    EXPECT_THAT(contents(bag), testing::UnorderedElementsAreArray(expected));
}

TEST(CFBag, AppliesAFunctionToTheValuesOfTheTimeOfTheCall) {
    auto bag = objects();
    {
        const auto value = number(5000), other = number(6000);
        CFBagAddValue(bag, value);
        CFBagAddValue(bag, value);
        CFBagAddValue(bag, other);
    }
    struct Seen {
        CFMutableBagRef bag;
        std::vector<std::int64_t> values;
    } seen{bag, {}};
    CFBagApplyFunction(
        bag,
        [](const void* value, void* context) {
            auto& s = *static_cast<Seen*>(context);
            CFBagRemoveAllValues(s.bag);
            CFBagAddValue(s.bag, kCFNull);
            std::int64_t integer = 0;
            CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &integer);
            s.values.push_back(integer);
        },
        &seen);
    EXPECT_THAT(seen.values, UnorderedElementsAre(5000, 5000, 6000));
    EXPECT_EQ(CFBagGetCount(bag), 1);
}

TEST(CFBag, UsesTheCallbacksItIsGiven) {
    static int retained, released;
    retained = released = 0;
    CFBagCallBacks byTens{};
    byTens.retain = [](CFAllocatorRef, const void* value) {
        ++retained;
        return value;
    };
    byTens.release = [](CFAllocatorRef, const void*) { ++released; };
    byTens.equal = [](const void* a, const void* b) -> Boolean {
        return reinterpret_cast<std::intptr_t>(a) / 10 == reinterpret_cast<std::intptr_t>(b) / 10;
    };
    byTens.hash = [](const void* a) { return static_cast<CFHashCode>(reinterpret_cast<std::intptr_t>(a) / 10); };
    {
        const void* values[] = {pointer(21), pointer(25), pointer(31)};
        const auto bag = hold(CFBagCreate(nullptr, values, 3, &byTens));
        EXPECT_EQ(CFBagGetCountOfValue(bag, pointer(29)), 2);
        EXPECT_EQ(CFBagGetValue(bag, pointer(29)), pointer(21));
        const auto copy = hold(CFBagCreateMutableCopy(nullptr, 0, bag));
        EXPECT_EQ(CFBagGetCountOfValue(copy, pointer(29)), 2);
        EXPECT_TRUE(CFEqual(bag, copy));
    }
    EXPECT_EQ(retained, 4);
    EXPECT_EQ(released, 4);
}

TEST(CFBag, RefusesImpossibleCounts) {
    const void* values[] = {nullptr};
    EXPECT_EQ(CFBagCreate(nullptr, values, -1, nullptr), nullptr);
    EXPECT_EQ(CFBagCreate(nullptr, nullptr, 1, nullptr), nullptr);
    EXPECT_EQ(CFBagCreate(nullptr, values, PTRDIFF_MAX, nullptr), nullptr);
    EXPECT_EQ(CFBagCreateMutable(nullptr, -1, nullptr), nullptr);
    EXPECT_NE(hold(CFBagCreate(nullptr, nullptr, 0, nullptr)).get(), nullptr);
}

TEST(CFBag, DescribesItsValuesWithTheirCounts) {
    auto bag = objects();
    CFBagAddValue(bag, CFSTR("x"));
    CFBagAddValue(bag, CFSTR("x"));
    EXPECT_THAT(description(bag), testing::HasSubstr("{type = mutable bag, count = 1,\nentries =>\n\t0 : "));
    EXPECT_THAT(description(bag), testing::HasSubstr(" (2)\n}"));
}

TEST(CFBag, ChangesNothingWithoutMemory) {
    TestAllocator allocator;
    const auto value = number(31337);
    {
        const auto bag = hold(CFBagCreateMutable(allocator, 0, &kCFTypeBagCallBacks));
        allocator.failAfter(0);
        CFBagAddValue(bag, value);
        EXPECT_EQ(CFBagGetCount(bag), 0);
        EXPECT_EQ(CFGetRetainCount(value), 1);
        const void* values[] = {value.get()};
        EXPECT_EQ(CFBagCreate(allocator, values, 1, &kCFTypeBagCallBacks), nullptr);
        EXPECT_EQ(CFBagCreateMutableCopy(allocator, 0, bag), nullptr);
        EXPECT_EQ(CFBagCreateCopy(allocator, bag), nullptr);
    }
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFBag, SurvivesNullArgumentsAndForeignObjects) {
    using namespace NullArguments;
    attack([](bool noValues, Length count, bool noCallBacks) {
        const void* values[] = {kObjects[0], noCallBacks ? nullptr : kObjects[1]};
        const auto made = hold(
            CFBagCreate(nullptr, orNull(noValues, values), count.value, orNull(noCallBacks, &kCFTypeBagCallBacks)));
        EXPECT_EQ(made.get() != nullptr, count.value == 0 || (count.value > 0 && !noValues));
    });
    for (const CFIndex capacity : kIndexes) {
        EXPECT_EQ(hold(CFBagCreateMutable(nullptr, capacity, nullptr)).get() != nullptr, capacity >= 0);
    }
    const CFMutableBagRef foreign = reinterpret_cast<CFMutableBagRef>(const_cast<__CFString*>(CFSTR("x")));
    for (const CFMutableBagRef bad : {static_cast<CFMutableBagRef>(nullptr), foreign}) {
        EXPECT_EQ(CFBagCreateCopy(nullptr, bad), nullptr);
        EXPECT_EQ(CFBagCreateMutableCopy(nullptr, 0, bad), nullptr);
        EXPECT_EQ(CFBagGetCount(bad), 0);
        EXPECT_EQ(CFBagGetCountOfValue(bad, kCFNull), 0);
        EXPECT_FALSE(CFBagContainsValue(bad, kCFNull));
        EXPECT_EQ(CFBagGetValue(bad, kCFNull), nullptr);
        EXPECT_FALSE(CFBagGetValueIfPresent(bad, kCFNull, nullptr));
        CFBagGetValues(bad, nullptr);
        CFBagApplyFunction(bad, nullptr, nullptr);
        CFBagAddValue(bad, kCFNull);
        CFBagReplaceValue(bad, kCFNull);
        CFBagSetValue(bad, kCFNull);
        CFBagRemoveValue(bad, kCFNull);
        CFBagRemoveAllValues(bad);
    }
    const auto bag = pointers();
    CFBagAddValue(bag, nullptr);  // a pointer like any other
    EXPECT_EQ(CFBagGetCountOfValue(bag, nullptr), 1);
    CFBagGetValues(bag, nullptr);
    CFBagApplyFunction(bag, nullptr, nullptr);
}

}  // namespace
