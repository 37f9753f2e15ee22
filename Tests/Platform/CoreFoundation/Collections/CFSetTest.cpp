#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <thread>
#include <vector>

using namespace Held;
using namespace Values;

namespace {

const void* pointer(std::uintptr_t value) { return reinterpret_cast<const void*>(value); }
std::uintptr_t integer(const void* value) { return reinterpret_cast<std::uintptr_t>(value); }

Holder<CFMutableSetRef> objects() { return hold(CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks)); }
Holder<CFMutableSetRef> pointers() { return hold(CFSetCreateMutable(nullptr, 0, nullptr)); }

std::set<std::uintptr_t> contents(CFSetRef set) {
    std::vector<const void*> values(static_cast<std::size_t>(CFSetGetCount(set)));
    CFSetGetValues(set, values.data());
    std::set<std::uintptr_t> all;
    for (const void* const value : values) all.insert(integer(value));
    return all;
}

TEST(CFSet, HoldsEqualValuesOnce) {
    const auto one = number(1000), same = real(1000.0);
    const void* values[] = {one.get(), same.get(), CFSTR("x")};
    const auto set = hold(CFSetCreate(nullptr, values, 3, &kCFTypeSetCallBacks));
    EXPECT_EQ(CFGetTypeID(set), CFSetGetTypeID());
    EXPECT_EQ(CFSetGetCount(set), 2);
    EXPECT_EQ(CFSetGetValue(set, same), one.get());
    EXPECT_EQ(CFSetGetCountOfValue(set, same), 1);
    EXPECT_EQ(CFSetGetCountOfValue(set, CFSTR("y")), 0);
    EXPECT_TRUE(CFSetContainsValue(set, Values::string("x")));
    const void* found = nullptr;
    EXPECT_TRUE(CFSetGetValueIfPresent(set, same, &found));
    EXPECT_EQ(found, one.get());
    EXPECT_TRUE(CFSetGetValueIfPresent(set, same, nullptr));
    EXPECT_FALSE(CFSetGetValueIfPresent(set, kCFNull, &found));
    EXPECT_EQ(CFSetGetValue(set, kCFNull), nullptr);
}

TEST(CFSet, RefusesImpossibleCounts) {
    const void* values[] = {nullptr};
    EXPECT_EQ(CFSetCreate(nullptr, values, -1, nullptr), nullptr);
    EXPECT_EQ(CFSetCreate(nullptr, nullptr, 1, nullptr), nullptr);
    EXPECT_EQ(CFSetCreate(nullptr, values, PTRDIFF_MAX, nullptr), nullptr);
    EXPECT_EQ(CFSetCreateMutable(nullptr, -1, nullptr), nullptr);
    EXPECT_NE(hold(CFSetCreate(nullptr, nullptr, 0, nullptr)).get(), nullptr);
}

TEST(CFSet, RetainsItsValuesAndReleasesThem) {
    const auto value = number(123456);
    auto set = objects();
    CFSetAddValue(set, value);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    CFSetAddValue(set, value);
    CFSetSetValue(set, value);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    set.reset();
    EXPECT_EQ(CFGetRetainCount(value), 1);
}

TEST(CFSet, CopiesStringsSoThatTheyStayWhatTheyWere) {
    const auto set = hold(CFSetCreateMutable(nullptr, 0, &kCFCopyStringSetCallBacks));
    const auto text = mutableString(u"text");
    CFSetAddValue(set, text);
    CFStringAppend(text, CFSTR("!"));
    EXPECT_TRUE(CFSetContainsValue(set, CFSTR("text")));
    EXPECT_FALSE(CFSetContainsValue(set, text));
}

TEST(CFSet, TellsAddingReplacingAndSettingApart) {
    const auto set = objects();
    const auto first = number(1000), second = number(1000), third = number(1000);
    CFSetReplaceValue(set, first);
    EXPECT_EQ(CFSetGetCount(set), 0);
    CFSetAddValue(set, first);
    CFSetAddValue(set, second);
    EXPECT_EQ(CFSetGetValue(set, second), first.get());
    CFSetReplaceValue(set, second);
    EXPECT_EQ(CFSetGetValue(set, first), second.get());
    CFSetSetValue(set, third);
    EXPECT_EQ(CFSetGetValue(set, first), third.get());
    CFSetSetValue(set, CFSTR("new"));
    EXPECT_EQ(CFSetGetCount(set), 2);
    EXPECT_EQ(CFGetRetainCount(first), 1);
    EXPECT_EQ(CFGetRetainCount(second), 1);
    EXPECT_EQ(CFGetRetainCount(third), 2);
}

TEST(CFSet, LeavesAnImmutableSetAsItIs) {
    const void* values[] = {pointer(1), pointer(2)};
    const auto set = hold(CFSetCreate(nullptr, values, 2, nullptr));
    const CFMutableSetRef asMutable = const_cast<CFMutableSetRef>(set.get());
    CFSetAddValue(asMutable, pointer(3));
    CFSetSetValue(asMutable, pointer(3));
    CFSetReplaceValue(asMutable, pointer(1));
    CFSetRemoveValue(asMutable, pointer(1));
    CFSetRemoveAllValues(asMutable);
    EXPECT_EQ(contents(set), (std::set<std::uintptr_t>{1, 2}));
    EXPECT_EQ(hold(CFSetCreateCopy(nullptr, set)).get(), set.get());
}

TEST(CFSet, CopiesAMutableSetAsItIsNow) {
    const auto set = pointers();
    for (std::uintptr_t i = 0; i < 300; ++i) CFSetAddValue(set, pointer(i));
    const auto copy = hold(CFSetCreateCopy(nullptr, set));
    const auto mutableCopy = hold(CFSetCreateMutableCopy(nullptr, 0, set));
    EXPECT_TRUE(CFEqual(set, copy));
    EXPECT_TRUE(CFEqual(mutableCopy, copy));
    EXPECT_EQ(CFHash(set), CFHash(copy));
    CFSetRemoveValue(set, pointer(7));
    CFSetAddValue(mutableCopy, pointer(1000));
    EXPECT_EQ(CFSetGetCount(copy), 300);
    EXPECT_FALSE(CFEqual(set, copy));
    EXPECT_FALSE(CFEqual(mutableCopy, copy));
}

TEST(CFSet, IsNotEqualToADictionaryOfTheSameKeys) {
    EXPECT_FALSE(CFEqual(pointers(), hold(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr))));
}

TEST(CFSet, AppliesAFunctionToEveryValue) {
    const auto set = pointers();
    for (std::uintptr_t i = 0; i < 20; ++i) CFSetAddValue(set, pointer(i));
    std::set<std::uintptr_t> seen;
    CFSetApplyFunction(
        set,
        [](const void* value, void* context) {
            static_cast<std::set<std::uintptr_t>*>(context)->insert(integer(value));
        },
        &seen);
    EXPECT_EQ(seen, contents(set));
}

TEST(CFSet, DescribesItselfWithItsValues) {
    const auto set = objects();
    EXPECT_EQ(description(set), heading("CFBasicHash", set) + "{type = mutable set, count = 0,\nentries =>\n}\n");
    CFSetAddValue(set, kCFBooleanFalse);
    EXPECT_EQ(description(hold(CFSetCreateCopy(nullptr, set))).substr(0, 15), "<CFBasicHash 0x");
    EXPECT_EQ(description(set), heading("CFBasicHash", set) + "{type = mutable set, count = 1,\nentries =>\n\t0 : " +
                                    description(kCFBooleanFalse) + "\n}\n");
}

TEST(CFSet, IsNullSafe) {
    EXPECT_EQ(CFSetGetCount(nullptr), 0);
    EXPECT_FALSE(CFSetContainsValue(nullptr, nullptr));
    EXPECT_EQ(CFSetGetValue(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFSetCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFSetCreateMutableCopy(nullptr, 0, nullptr), nullptr);
    CFSetAddValue(nullptr, nullptr);
    CFSetSetValue(nullptr, nullptr);
    CFSetRemoveValue(nullptr, nullptr);
    CFSetGetValues(nullptr, nullptr);
}

TEST(CFSet, AgreesWithAStandardSetOverRandomChanges) {
    const auto set = pointers();
    std::set<std::uintptr_t> expected;
    std::mt19937 random(9);
    for (int step = 0; step < 20000; ++step) {
        const std::uintptr_t value = random() % 300;
        if (random() % 2) {
            CFSetAddValue(set, pointer(value));
            expected.insert(value);
        } else {
            CFSetRemoveValue(set, pointer(value));
            expected.erase(value);
        }
        const std::uintptr_t probe = random() % 300;
        ASSERT_EQ(CFSetContainsValue(set, pointer(probe)), expected.count(probe) == 1);
    }
    EXPECT_EQ(contents(set), expected);
}

TEST(CFSet, IsOneAllocationWhenImmutableAndNullWithoutMemory) {
    const void* values[] = {pointer(1), pointer(2)};
    TestAllocator allocator;
    hold(CFSetCreate(allocator, values, 2, nullptr));
    EXPECT_EQ(allocator.requests(), 1);
    allocator.failAfter(0);
    EXPECT_EQ(CFSetCreate(allocator, values, 2, nullptr), nullptr);
    EXPECT_EQ(CFSetCreateMutable(allocator, 0, nullptr), nullptr);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFSet, IsReadByManyThreadsAtOnce) {
    const auto source = objects();
    for (int i = 0; i < 100; ++i) CFSetAddValue(source, number(1000 + i));
    const auto shared = hold(CFSetCreateCopy(nullptr, source));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&shared] {
            for (int i = 0; i < 100; ++i) EXPECT_TRUE(CFSetContainsValue(shared, number(1000 + i)));
        });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace

TEST(CFSet, SurvivesNullArguments) {
    using namespace NullArguments;
    attack([](bool noValues, Length count, bool noCallBacks) {
        const void* values[] = {kObjects[0], noCallBacks ? nullptr : kObjects[1]};
        const auto made = hold(
            CFSetCreate(nullptr, orNull(noValues, values), count.value, orNull(noCallBacks, &kCFTypeSetCallBacks)));
        EXPECT_EQ(made.get() != nullptr, count.value == 0 || (count.value > 0 && !noValues));
    });
    for (const CFIndex capacity : kIndexes) {
        EXPECT_EQ(hold(CFSetCreateMutable(nullptr, capacity, nullptr)).get() != nullptr, capacity >= 0);
        EXPECT_EQ(hold(CFSetCreateMutableCopy(nullptr, capacity, fourInSet())).get() != nullptr, capacity >= 0);
        EXPECT_EQ(CFSetCreateMutableCopy(nullptr, capacity, nullptr), nullptr);
    }
    EXPECT_EQ(CFSetCreateCopy(nullptr, nullptr), nullptr);
    attack([](bool noSet, bool noValue, bool noFunction) {
        auto whole = fourInSet();
        const CFMutableSetRef given = orNull(noSet, whole.get());
        const void* const value = orNull(noValue, kObjects[1]);
        const bool isThere = !noSet && !noValue;
        EXPECT_EQ(CFSetGetCount(given), noSet ? 0 : 4);
        EXPECT_EQ(CFSetGetCountOfValue(given, value), isThere);
        EXPECT_EQ(CFSetContainsValue(given, value), isThere);
        EXPECT_EQ(CFSetGetValue(given, value) != nullptr, isThere);
        EXPECT_EQ(CFSetGetValueIfPresent(given, value, nullptr), isThere);
        const void* values[4];
        CFSetGetValues(given, noFunction ? nullptr : values);
        CFSetApplyFunction(given, noFunction ? nullptr : ignore, nullptr);
        CFSetReplaceValue(given, value);
        CFSetAddValue(given, value);
        CFSetSetValue(given, value);
        CFSetRemoveValue(given, value);
        CFSetRemoveAllValues(given);
        EXPECT_EQ(CFSetGetCount(whole), noSet ? 4 : 0);
    });
}
