#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

using namespace Held;
using namespace Values;

namespace {

const void* pointer(std::uintptr_t value) { return reinterpret_cast<const void*>(value); }
std::uintptr_t integer(const void* value) { return reinterpret_cast<std::uintptr_t>(value); }

Holder<CFMutableDictionaryRef> objects(CFIndex capacity = 0) {
    return hold(
        CFDictionaryCreateMutable(nullptr, capacity, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

Holder<CFMutableDictionaryRef> pointers() { return hold(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr)); }

// ---- Creating

TEST(CFDictionary, FindsItsValuesByEqualKeys) {
    const void* keys[] = {CFSTR("one"), CFSTR("two"), kCFBooleanTrue};
    const auto two = number(2222);
    const void* values[] = {CFSTR("1"), two.get(), CFSTR("yes")};
    const auto dictionary = hold(
        CFDictionaryCreate(nullptr, keys, values, 3, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(CFGetTypeID(dictionary), CFDictionaryGetTypeID());
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 3);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, Values::string("one")), CFSTR("1"));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, Values::string("two")), two.get());
    EXPECT_EQ(CFDictionaryGetValue(dictionary, kCFBooleanTrue), CFSTR("yes"));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("three")), nullptr);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, nullptr), nullptr);
}

TEST(CFDictionary, MayBeEmptyWithoutKeys) {
    const auto dictionary = hold(CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                    &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, CFSTR("a")));
    EXPECT_FALSE(CFDictionaryContainsValue(dictionary, CFSTR("a")));
}

TEST(CFDictionary, RefusesImpossibleCounts) {
    const void* some[] = {CFSTR("a")};
    EXPECT_EQ(CFDictionaryCreate(nullptr, some, some, -1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreate(nullptr, some, nullptr, 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreate(nullptr, nullptr, some, 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreate(nullptr, some, some, PTRDIFF_MAX, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreateMutable(nullptr, -1, nullptr, nullptr), nullptr);
}

TEST(CFDictionary, TakesCapacityAsAHint) {
    EXPECT_NE(objects(PTRDIFF_MAX).get(), nullptr);
    const auto dictionary = objects(1);
    for (int i = 0; i < 100; ++i) CFDictionaryAddValue(dictionary, number(i), kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 100);
}

TEST(CFDictionary, KeepsTheFirstOfEqualKeysWhenCreated) {
    const auto other = Values::string("a");
    const void* keys[] = {CFSTR("a"), other.get()};
    const void* values[] = {CFSTR("first"), CFSTR("second")};
    const auto dictionary = hold(
        CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, other), CFSTR("first"));
}

TEST(CFDictionary, RetainsKeysAndValuesAndReleasesThem) {
    const auto key = number(100001), value = number(100002);
    auto dictionary = objects();
    CFDictionarySetValue(dictionary, key, value);
    EXPECT_EQ(CFGetRetainCount(key), 2);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    CFDictionarySetValue(dictionary, number(100001), value);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    CFDictionaryRemoveValue(dictionary, key);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(value), 1);
    CFDictionarySetValue(dictionary, key, value);
    dictionary.reset();
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(value), 1);
}

TEST(CFDictionary, CopiesStringKeysSoThatTheyStayWhatTheyWere) {
    const auto dictionary = hold(
        CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const auto key = mutableString(u"key");
    CFDictionarySetValue(dictionary, key, CFSTR("value"));
    CFStringAppend(key, CFSTR("-changed"));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("key")), CFSTR("value"));
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, key));
    const auto copy = hold(CFDictionaryCreateCopy(nullptr, dictionary));
    EXPECT_EQ(CFDictionaryGetValue(copy, CFSTR("key")), CFSTR("value"));
}

TEST(CFDictionary, WithoutCallBacksHoldsAnything) {
    const auto dictionary = pointers();
    CFDictionarySetValue(dictionary, nullptr, pointer(1));
    CFDictionarySetValue(dictionary, pointer(7), nullptr);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 2);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, nullptr), pointer(1));
    const void* value = pointer(99);
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary, pointer(7), &value));
    EXPECT_EQ(value, nullptr);
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary, pointer(8), &value));
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary, pointer(7), nullptr));
    CFDictionaryRemoveValue(dictionary, nullptr);
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, nullptr));
}

TEST(CFDictionary, CopiesAnImmutableDictionaryBySharingIt) {
    const void* some[] = {CFSTR("a")};
    const auto dictionary = hold(
        CFDictionaryCreate(nullptr, some, some, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(hold(CFDictionaryCreateCopy(nullptr, dictionary)).get(), dictionary.get());
    EXPECT_EQ(CFDictionaryCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreateMutableCopy(nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreateMutableCopy(nullptr, -1, dictionary), nullptr);
}

TEST(CFDictionary, CopiesAMutableDictionaryAsItIsNow) {
    for (const int count : {0, 1, 7, 300}) {
        const auto dictionary = objects();
        for (int i = 0; i < count; ++i) CFDictionarySetValue(dictionary, number(i), number(-i));
        const auto copy = hold(CFDictionaryCreateCopy(nullptr, dictionary));
        const auto mutableCopy = hold(CFDictionaryCreateMutableCopy(nullptr, 0, dictionary));
        EXPECT_TRUE(CFEqual(copy, dictionary));
        EXPECT_TRUE(CFEqual(mutableCopy, dictionary));
        CFDictionarySetValue(dictionary, number(5000), CFSTR("x"));
        CFDictionarySetValue(mutableCopy, number(6000), CFSTR("y"));
        EXPECT_EQ(CFDictionaryGetCount(copy), count);
        EXPECT_FALSE(CFDictionaryContainsKey(mutableCopy, number(5000)));
        EXPECT_TRUE(CFDictionaryContainsKey(mutableCopy, number(6000)));
        for (int i = 0; i < count; ++i) EXPECT_TRUE(CFEqual(CFDictionaryGetValue(copy, number(i)), number(-i)));
    }
}

// ---- Callbacks of the caller's own

struct Counts {
    int retained = 0, released = 0, hashed = 0;
} counts;

/// Keys are texts kept as copies of their own, all with the same hash: only comparing tells them apart.
const CFDictionaryKeyCallBacks kCopyingKeys{
    0,
    [](CFAllocatorRef, const void* value) -> const void* {
        ++counts.retained;
        return new std::string(*static_cast<const std::string*>(value));
    },
    [](CFAllocatorRef, const void* value) {
        ++counts.released;
        delete static_cast<const std::string*>(value);
    },
    [](const void* value) -> CFStringRef {
        return CFStringCreateWithCString(nullptr, static_cast<const std::string*>(value)->c_str(),
                                         kCFStringEncodingUTF8);
    },
    [](const void* a, const void* b) -> Boolean {
        return *static_cast<const std::string*>(a) == *static_cast<const std::string*>(b);
    },
    [](const void*) -> CFHashCode {
        ++counts.hashed;
        return 42;
    }};

TEST(CFDictionary, FollowsTheCallBacksOfItsCaller) {
    counts = {};
    {
        const auto dictionary = hold(CFDictionaryCreateMutable(nullptr, 0, &kCopyingKeys, nullptr));
        for (std::uintptr_t i = 0; i < 50; ++i) {
            const std::string key = "key " + std::to_string(i);
            CFDictionarySetValue(dictionary, &key, pointer(i));
            CFDictionarySetValue(dictionary, &key, pointer(i + 1));
        }
        EXPECT_EQ(counts.retained, 50);
        EXPECT_EQ(counts.hashed, 100);
        const std::string seven = "key 7", none = "none";
        EXPECT_EQ(CFDictionaryGetValue(dictionary, &seven), pointer(8));
        EXPECT_FALSE(CFDictionaryContainsKey(dictionary, &none));
        CFDictionaryRemoveValue(dictionary, &seven);
        EXPECT_FALSE(CFDictionaryContainsKey(dictionary, &seven));
        EXPECT_EQ(CFDictionaryGetCount(dictionary), 49);
        EXPECT_TRUE(CFEqual(dictionary, hold(CFDictionaryCreateCopy(nullptr, dictionary))));
    }
    EXPECT_EQ(counts.retained, counts.released);
}

TEST(CFDictionary, KeepsItsOwnCopyOfTheCallBacks) {
    CFDictionaryKeyCallBacks keys = kCopyingKeys;
    CFDictionaryValueCallBacks values{};
    values.equal = [](const void* a, const void* b) -> Boolean { return integer(a) % 10 == integer(b) % 10; };
    const std::string key = "key", same = "key";
    const void *someKeys[] = {&key}, *someValues[] = {pointer(13)};
    const auto dictionary = hold(CFDictionaryCreate(nullptr, someKeys, someValues, 1, &keys, &values));
    keys = {};
    values = {};
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary, &same));
    EXPECT_TRUE(CFDictionaryContainsValue(dictionary, pointer(3)));
    EXPECT_EQ(CFDictionaryGetCountOfValue(dictionary, pointer(23)), 1);
    EXPECT_EQ(description(dictionary), heading("CFBasicHash", dictionary) +
                                           "{type = immutable dict, count = 1,\nentries =>\n\t0 : key = <0xd>\n}\n");
}

CFMutableDictionaryRef watched = nullptr;
std::vector<CFIndex> seen;

TEST(CFDictionary, IsWholeWheneverACallBackLooksAtIt) {
    CFDictionaryValueCallBacks values{};
    values.retain = [](CFAllocatorRef, const void* value) {
        seen.push_back(CFDictionaryGetCount(watched));
        return value;
    };
    values.release = [](CFAllocatorRef, const void* value) {
        // The value that goes is out already.
        EXPECT_FALSE(CFDictionaryContainsValue(watched, value));
        seen.push_back(CFDictionaryGetCount(watched));
    };
    const auto dictionary = hold(CFDictionaryCreateMutable(nullptr, 0, nullptr, &values));
    watched = dictionary;
    seen.clear();
    for (std::uintptr_t i = 1; i <= 3; ++i) CFDictionaryAddValue(dictionary, pointer(i), pointer(10 * i));
    CFDictionarySetValue(dictionary, pointer(2), pointer(21));
    CFDictionaryRemoveValue(dictionary, pointer(1));
    CFDictionaryRemoveAllValues(dictionary);
    EXPECT_EQ(seen, (std::vector<CFIndex>{0, 1, 2, 3, 3, 2, 0, 0}));
}

// ---- Reading

TEST(CFDictionary, CountsKeysAndValues) {
    const auto dictionary = objects();
    CFDictionarySetValue(dictionary, CFSTR("a"), number(1000));
    CFDictionarySetValue(dictionary, CFSTR("b"), real(1000.0));
    CFDictionarySetValue(dictionary, CFSTR("c"), CFSTR("1000"));
    EXPECT_EQ(CFDictionaryGetCountOfKey(dictionary, CFSTR("a")), 1);
    EXPECT_EQ(CFDictionaryGetCountOfKey(dictionary, CFSTR("z")), 0);
    EXPECT_EQ(CFDictionaryGetCountOfValue(dictionary, number(1000)), 2);
    EXPECT_TRUE(CFDictionaryContainsValue(dictionary, CFSTR("1000")));
    EXPECT_FALSE(CFDictionaryContainsValue(dictionary, CFSTR("a")));
}

TEST(CFDictionary, GivesKeysAndValuesInTheSameOrder) {
    const auto dictionary = pointers();
    for (std::uintptr_t i = 0; i < 40; ++i) CFDictionarySetValue(dictionary, pointer(i), pointer(1000 + i));
    std::vector<const void*> keys(40), values(40);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    for (std::size_t i = 0; i < 40; ++i) EXPECT_EQ(integer(values[i]), integer(keys[i]) + 1000);
    std::vector<const void*> again(40);
    CFDictionaryGetKeysAndValues(dictionary, again.data(), nullptr);
    EXPECT_EQ(again, keys);
    CFDictionaryGetKeysAndValues(dictionary, nullptr, again.data());
    EXPECT_EQ(again, values);
}

TEST(CFDictionary, AppliesAFunctionToEveryPair) {
    const auto dictionary = pointers();
    for (std::uintptr_t i = 0; i < 40; ++i) CFDictionarySetValue(dictionary, pointer(i), pointer(1000 + i));
    std::set<std::uintptr_t> keys;
    CFDictionaryApplyFunction(
        dictionary,
        [](const void* key, const void* value, void* context) {
            EXPECT_EQ(integer(value), integer(key) + 1000);
            static_cast<std::set<std::uintptr_t>*>(context)->insert(integer(key));
        },
        &keys);
    EXPECT_EQ(keys.size(), 40u);
}

TEST(CFDictionary, StopsApplyingAFunctionThatEmptiesIt) {
    const auto dictionary = pointers();
    for (std::uintptr_t i = 0; i < 40; ++i) CFDictionarySetValue(dictionary, pointer(i), nullptr);
    int calls = 0;
    watched = dictionary;
    CFDictionaryApplyFunction(
        dictionary,
        [](const void*, const void*, void* context) {
            ++*static_cast<int*>(context);
            CFDictionaryRemoveAllValues(watched);
        },
        &calls);
    EXPECT_EQ(calls, 1);
}

TEST(CFDictionary, IsNullSafe) {
    const auto other = Values::string("no dictionary");
    for (const CFTypeRef none : {CFTypeRef{}, static_cast<CFTypeRef>(other.get())}) {
        const CFMutableDictionaryRef dictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(none));
        EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
        EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), nullptr);
        EXPECT_FALSE(CFDictionaryContainsValue(dictionary, CFSTR("a")));
        EXPECT_EQ(CFDictionaryGetCountOfValue(dictionary, CFSTR("a")), 0);
        CFDictionarySetValue(dictionary, CFSTR("a"), CFSTR("a"));
        CFDictionaryRemoveAllValues(dictionary);
        CFDictionaryGetKeysAndValues(dictionary, nullptr, nullptr);
        CFDictionaryApplyFunction(dictionary, nullptr, nullptr);
    }
}

// ---- Equality

TEST(CFDictionary, IsEqualToOneWithEqualPairsInAnyOrder) {
    const auto a = objects(), b = objects(100);
    for (int i = 0; i < 60; ++i) CFDictionarySetValue(a, number(i), number(10 * i));
    for (int i = 60; i-- > 0;) CFDictionarySetValue(b, real(i), real(10 * i));
    EXPECT_TRUE(CFEqual(a, b));
    EXPECT_EQ(CFHash(a), CFHash(b));
    CFDictionarySetValue(b, number(3), number(31));
    EXPECT_FALSE(CFEqual(a, b));
    CFDictionaryRemoveValue(b, number(3));
    EXPECT_FALSE(CFEqual(a, b));
    CFDictionarySetValue(b, number(1003), number(30));
    EXPECT_FALSE(CFEqual(a, b));
}

TEST(CFDictionary, IsNotEqualToOneThatComparesOtherwise) {
    const auto a = objects(), b = pointers();
    EXPECT_TRUE(CFEqual(a, b));
    CFDictionarySetValue(a, CFSTR("a"), CFSTR("b"));
    CFDictionarySetValue(b, CFSTR("a"), CFSTR("b"));
    EXPECT_FALSE(CFEqual(a, b));
}

TEST(CFDictionary, DescribesItselfWithItsPairs) {
    const auto dictionary = objects();
    CFDictionarySetValue(dictionary, CFSTR("a"), kCFBooleanTrue);
    EXPECT_EQ(description(dictionary), heading("CFBasicHash", dictionary) +
                                           "{type = mutable dict, count = 1,\nentries =>\n\t0 : " +
                                           description(CFSTR("a")) + " = " + description(kCFBooleanTrue) + "\n}\n");
    EXPECT_EQ(taken(CFCopyTypeIDDescription(CFDictionaryGetTypeID())), "CFDictionary");
}

// ---- Changing

TEST(CFDictionary, AddsOnlyWhatIsAbsent) {
    const auto dictionary = pointers();
    CFDictionaryAddValue(dictionary, pointer(1), pointer(10));
    CFDictionaryAddValue(dictionary, pointer(1), pointer(11));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, pointer(1)), pointer(10));
}

TEST(CFDictionary, ReplacesOnlyWhatIsPresent) {
    const auto dictionary = pointers();
    CFDictionaryReplaceValue(dictionary, pointer(1), pointer(10));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
    CFDictionaryAddValue(dictionary, pointer(1), pointer(10));
    CFDictionaryReplaceValue(dictionary, pointer(1), pointer(11));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, pointer(1)), pointer(11));
}

TEST(CFDictionary, KeepsTheKeyItHasWhenAValueIsSet) {
    const auto dictionary = objects();
    const auto key = number(123456), sameKey = number(123456);
    CFDictionarySetValue(dictionary, key, CFSTR("a"));
    CFDictionarySetValue(dictionary, sameKey, CFSTR("b"));
    const void* held = nullptr;
    CFDictionaryGetKeysAndValues(dictionary, &held, nullptr);
    EXPECT_EQ(held, key.get());
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), CFSTR("b"));
}

TEST(CFDictionary, LeavesAnImmutableDictionaryAsItIs) {
    const void *keys[] = {pointer(1), pointer(2)}, *values[] = {pointer(10), pointer(20)};
    const auto dictionary = hold(CFDictionaryCreate(nullptr, keys, values, 2, nullptr, nullptr));
    const CFMutableDictionaryRef asMutable = const_cast<CFMutableDictionaryRef>(dictionary.get());
    CFDictionaryAddValue(asMutable, pointer(3), pointer(30));
    CFDictionarySetValue(asMutable, pointer(1), pointer(30));
    CFDictionaryReplaceValue(asMutable, pointer(1), pointer(30));
    CFDictionaryRemoveValue(asMutable, pointer(1));
    CFDictionaryRemoveAllValues(asMutable);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 2);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, pointer(1)), pointer(10));
}

TEST(CFDictionary, IsUsableAfterAllWasRemoved) {
    const auto dictionary = pointers();
    CFDictionaryRemoveAllValues(dictionary);
    for (int round = 0; round < 3; ++round) {
        for (std::uintptr_t i = 0; i < 300; ++i) CFDictionarySetValue(dictionary, pointer(i), pointer(i));
        CFDictionaryRemoveAllValues(dictionary);
        EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
        EXPECT_FALSE(CFDictionaryContainsKey(dictionary, pointer(1)));
    }
}

/// Sizes around those at which the index changes its width or the rows grow.
TEST(CFDictionary, HoldsAnyNumberOfPairs) {
    for (const std::uintptr_t count :
         {1u, 2u, 3u, 4u, 5u, 7u, 8u, 9u, 253u, 254u, 255u, 256u, 257u, 65534u, 65535u, 70000u}) {
        std::vector<const void*> keys, values;
        const auto grown = pointers();
        for (std::uintptr_t i = 0; i < count; ++i) {
            keys.push_back(pointer(i * 8));
            values.push_back(pointer(i + 1));
            CFDictionarySetValue(grown, keys.back(), values.back());
        }
        const auto made = hold(
            CFDictionaryCreate(nullptr, keys.data(), values.data(), static_cast<CFIndex>(count), nullptr, nullptr));
        ASSERT_TRUE(CFEqual(made, grown)) << count;
        for (std::uintptr_t i = 0; i < count; ++i)
            ASSERT_EQ(CFDictionaryGetValue(made, pointer(i * 8)), pointer(i + 1));
        EXPECT_FALSE(CFDictionaryContainsKey(made, pointer(count * 8)));
    }
}

/// Random changes under hashes that spread well, badly and not at all.
class CFDictionaryAgainstMap : public testing::TestWithParam<CFDictionaryHashCallBack> {};

TEST_P(CFDictionaryAgainstMap, AgreesOverRandomChanges) {
    CFDictionaryKeyCallBacks keys{};
    keys.hash = GetParam();
    const auto dictionary = hold(CFDictionaryCreateMutable(nullptr, 0, &keys, nullptr));
    std::map<std::uintptr_t, std::uintptr_t> expected;
    std::mt19937 random(5);
    for (int step = 0; step < 30000; ++step) {
        const std::uintptr_t range = step / 5000 % 2 ? 20 : 400;
        const std::uintptr_t key = random() % range, value = random();
        switch (random() % 6) {
            case 0:
            case 1:
                CFDictionarySetValue(dictionary, pointer(key), pointer(value));
                expected[key] = value;
                break;
            case 2:
                CFDictionaryAddValue(dictionary, pointer(key), pointer(value));
                expected.emplace(key, value);
                break;
            case 3:
                CFDictionaryReplaceValue(dictionary, pointer(key), pointer(value));
                if (expected.count(key)) expected[key] = value;
                break;
            default:
                CFDictionaryRemoveValue(dictionary, pointer(key));
                expected.erase(key);
        }
        ASSERT_EQ(CFDictionaryGetCount(dictionary), static_cast<CFIndex>(expected.size()));
        const std::uintptr_t probe = random() % range;
        const void* found = nullptr;
        const auto at = expected.find(probe);
        ASSERT_EQ(CFDictionaryGetValueIfPresent(dictionary, pointer(probe), &found), at != expected.end());
        if (at != expected.end()) {
            ASSERT_EQ(integer(found), at->second);
        }
    }
    std::map<std::uintptr_t, std::uintptr_t> held;
    CFDictionaryApplyFunction(
        dictionary,
        [](const void* key, const void* value, void* context) {
            static_cast<std::map<std::uintptr_t, std::uintptr_t>*>(context)->emplace(integer(key), integer(value));
        },
        &held);
    EXPECT_EQ(held, expected);
}

INSTANTIATE_TEST_SUITE_P(Hashes, CFDictionaryAgainstMap,
                         testing::Values(
                             CFDictionaryHashCallBack{nullptr},
                             [](const void* key) -> CFHashCode { return integer(key) % 7; },
                             [](const void*) -> CFHashCode { return 0; },
                             [](const void* key) -> CFHashCode { return integer(key) << 32; }));

// ---- Memory

TEST(CFDictionary, IsOneAllocationWhenImmutable) {
    TestAllocator allocator;
    std::vector<const void*> some;
    for (std::uintptr_t i = 0; i < 14; ++i) some.push_back(pointer(i));
    {
        const auto dictionary = hold(CFDictionaryCreate(allocator, some.data(), some.data(), 14, nullptr, nullptr));
        EXPECT_EQ(CFGetAllocator(dictionary), static_cast<CFAllocatorRef>(allocator));
        EXPECT_EQ(allocator.requests(), 1);
    }
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFDictionary, IsNullWhenTheAllocatorFails) {
    const void* some[] = {pointer(1)};
    const auto source = pointers();
    CFDictionarySetValue(source, pointer(1), pointer(2));
    TestAllocator allocator;
    allocator.failAfter(0);
    EXPECT_EQ(CFDictionaryCreate(allocator, some, some, 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreateMutable(allocator, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreateCopy(allocator, source), nullptr);
    EXPECT_EQ(CFDictionaryCreateMutableCopy(allocator, 0, source), nullptr);
    allocator.failAfter(1);
    EXPECT_EQ(CFDictionaryCreateMutable(allocator, 10, nullptr, nullptr), nullptr);
    allocator.failAfter(1);
    EXPECT_EQ(CFDictionaryCreateMutableCopy(allocator, 0, source), nullptr);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFDictionary, IsNullWhenAKeyCannotBeCopied) {
    const auto first = mutableString(u"first"), second = mutableString(u"second");
    const void* keys[] = {first.get(), second.get()};
    const void* values[] = {kCFBooleanTrue, kCFBooleanFalse};
    TestAllocator allocator;
    for (long granted = 0; granted < 3; ++granted) {
        allocator.failAfter(granted);
        EXPECT_EQ(CFDictionaryCreate(allocator, keys, values, 2, &kCFCopyStringDictionaryKeyCallBacks,
                                     &kCFTypeDictionaryValueCallBacks),
                  nullptr);
        EXPECT_EQ(allocator.blocks(), 0);
    }
}

TEST(CFDictionary, KeepsItsPairsWhenTheAllocatorFails) {
    counts = {};
    TestAllocator allocator;
    {
        const auto dictionary = hold(CFDictionaryCreateMutable(allocator, 8, &kCopyingKeys, nullptr));
        allocator.failAfter(0);
        for (std::uintptr_t i = 0; i < 20; ++i) {
            const std::string key = std::to_string(i);
            CFDictionarySetValue(dictionary, &key, pointer(i));
        }
        EXPECT_EQ(CFDictionaryGetCount(dictionary), 8);
        const std::string seven = "7";
        EXPECT_EQ(CFDictionaryGetValue(dictionary, &seven), pointer(7));
        EXPECT_EQ(counts.retained - counts.released, 8);
    }
    EXPECT_EQ(counts.retained, counts.released);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFDictionary, IsReadByManyThreadsAtOnce) {
    const auto source = objects();
    for (int i = 0; i < 200; ++i) CFDictionarySetValue(source, number(1000 + i), number(2000 + i));
    const auto shared = hold(CFDictionaryCreateCopy(nullptr, source));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&shared] {
            for (int i = 0; i < 200; ++i) {
                const auto held = hold(CFRetain(CFDictionaryGetValue(shared, number(1000 + i))));
                EXPECT_TRUE(CFEqual(held, number(2000 + i)));
                EXPECT_FALSE(CFDictionaryContainsKey(shared, number(i)));
            }
        });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace

TEST(CFDictionary, SurvivesNullArguments) {
    using namespace NullArguments;
    attack([](bool noKeys, bool noValues, Length count, bool noCallBacks) {
        const void* keys[] = {kObjects[0], noCallBacks ? nullptr : kObjects[1]};
        const auto made = hold(CFDictionaryCreate(nullptr, orNull(noKeys, keys), orNull(noValues, keys), count.value,
                                                  orNull(noCallBacks, &kCFTypeDictionaryKeyCallBacks),
                                                  orNull(noCallBacks, &kCFTypeDictionaryValueCallBacks)));
        EXPECT_EQ(made.get() != nullptr, count.value == 0 || (count.value > 0 && !noKeys && !noValues));
    });
    for (const CFIndex capacity : kIndexes) {
        EXPECT_EQ(hold(CFDictionaryCreateMutable(nullptr, capacity, nullptr, nullptr)).get() != nullptr, capacity >= 0);
        EXPECT_EQ(hold(CFDictionaryCreateMutableCopy(nullptr, capacity, fourInDictionary())).get() != nullptr,
                  capacity >= 0);
        EXPECT_EQ(CFDictionaryCreateMutableCopy(nullptr, capacity, nullptr), nullptr);
    }
    EXPECT_EQ(CFDictionaryCreateCopy(nullptr, nullptr), nullptr);
    attack([](bool noDictionary, bool noKey, bool noFunction) {
        auto whole = fourInDictionary();
        const CFMutableDictionaryRef given = orNull(noDictionary, whole.get());
        const void* const key = orNull(noKey, kObjects[1]);
        const bool isThere = !noDictionary && !noKey;
        EXPECT_EQ(CFDictionaryGetCount(given), noDictionary ? 0 : 4);
        EXPECT_EQ(CFDictionaryGetCountOfKey(given, key), isThere);
        EXPECT_EQ(CFDictionaryGetCountOfValue(given, key), isThere);
        EXPECT_EQ(CFDictionaryContainsKey(given, key), isThere);
        EXPECT_EQ(CFDictionaryContainsValue(given, key), isThere);
        EXPECT_EQ(CFDictionaryGetValue(given, key) != nullptr, isThere);
        EXPECT_EQ(CFDictionaryGetValueIfPresent(given, key, nullptr), isThere);
        const void* keys[4];
        CFDictionaryGetKeysAndValues(given, noFunction ? nullptr : keys, noKey ? nullptr : keys);
        CFDictionaryApplyFunction(given, noFunction ? nullptr : ignoreBoth, nullptr);
        CFDictionaryReplaceValue(given, key, nullptr);
        CFDictionaryAddValue(given, key, nullptr);
        CFDictionarySetValue(given, key, nullptr);
        take(CFCopyDescription(given));
        CFEqual(given, fourInDictionary());
        CFDictionaryRemoveValue(given, key);
        CFDictionaryRemoveAllValues(given);
        EXPECT_EQ(CFDictionaryGetCount(whole), noDictionary ? 4 : 0);
    });
}
