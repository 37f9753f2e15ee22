// Collections that nest deeper than any stack, and collections that hold themselves.

#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Held::hold;
using Held::Holder;

constexpr int kEndless = 100'000;
constexpr int kDeep = 1000;

Holder<CFTypeRef> arrays(int depth) {
    Holder<CFTypeRef> nested(CFRetain(CFSTR("core")));
    for (int i = 0; i < depth; ++i) {
        const void* value = nested;
        nested = Holder<CFTypeRef>(CFArrayCreate(nullptr, &value, 1, &kCFTypeArrayCallBacks));
    }
    return nested;
}

Holder<CFTypeRef> dictionaries(int depth) {
    Holder<CFTypeRef> nested(CFRetain(CFSTR("core")));
    const void* key = CFSTR("in");
    for (int i = 0; i < depth; ++i) {
        const void* value = nested;
        nested = Holder<CFTypeRef>(CFDictionaryCreate(nullptr, &key, &value, 1, &kCFTypeDictionaryKeyCallBacks,
                                                      &kCFTypeDictionaryValueCallBacks));
    }
    return nested;
}

/// An array or a dictionary that holds itself, twice; it ends when this does.
struct Cycle {
    Cycle()
        : array(hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks))),
          dictionary(hold(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                    &kCFTypeDictionaryValueCallBacks))) {
        CFArrayAppendValue(array, array);
        CFArrayAppendValue(array, array);
        CFDictionarySetValue(dictionary, CFSTR("one"), dictionary);
        CFDictionarySetValue(dictionary, CFSTR("two"), dictionary);
    }
    ~Cycle() {
        CFArrayRemoveAllValues(array);
        CFDictionaryRemoveAllValues(dictionary);
    }
    Holder<CFMutableArrayRef> array;
    Holder<CFMutableDictionaryRef> dictionary;
};

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

/// What walks a list answers of one that no property list may be.
void expectRefused(CFTypeRef list) {
    EXPECT_FALSE(CFPropertyListIsValid(list, kCFPropertyListXMLFormat_v1_0));
    EXPECT_FALSE(CFPropertyListIsValid(list, kCFPropertyListBinaryFormat_v1_0));
    for (const CFOptionFlags mutability : {kCFPropertyListImmutable, kCFPropertyListMutableContainersAndLeaves})
        EXPECT_EQ(hold(CFPropertyListCreateDeepCopy(nullptr, list, mutability)).get(), nullptr);
    for (const CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        CFErrorRef error = nullptr;
        EXPECT_EQ(hold(CFPropertyListCreateData(nullptr, list, format, 0, &error)).get(), nullptr);
        const auto held = hold(error);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListWriteStreamError);
    }
}

}  // namespace

TEST(Nesting, ComparesCollectionsAThousandDeep) {
    EXPECT_TRUE(CFEqual(arrays(kDeep), arrays(kDeep)));
    EXPECT_FALSE(CFEqual(arrays(kDeep), arrays(kDeep - 1)));
    EXPECT_TRUE(CFEqual(dictionaries(kDeep), dictionaries(kDeep)));
    EXPECT_FALSE(CFEqual(dictionaries(kDeep), dictionaries(kDeep - 1)));
}

TEST(Nesting, ComparingEndsWhereCollectionsDoNot) {
    const auto nested = arrays(kEndless);
    EXPECT_TRUE(CFEqual(nested, nested));
    EXPECT_FALSE(CFEqual(nested, arrays(kEndless)));
    EXPECT_FALSE(CFEqual(dictionaries(kEndless), dictionaries(kEndless)));
    // The depth is counted anew by each comparison.
    EXPECT_TRUE(CFEqual(arrays(kDeep), arrays(kDeep)));
}

TEST(Nesting, HashesEndlessCollections) {
    EXPECT_EQ(CFHash(arrays(kEndless)), CFHash(arrays(kEndless)));
    EXPECT_EQ(CFHash(dictionaries(kEndless)), CFHash(dictionaries(kEndless)));
}

TEST(Nesting, DescribesEndlessCollectionsDownToABound) {
    const std::string ofArrays = Values::description(arrays(kEndless));
    EXPECT_EQ(occurrences(ofArrays, "<CFArray "), 1025u);
    const std::string ofDictionaries = Values::description(dictionaries(kEndless));
    EXPECT_EQ(occurrences(ofDictionaries, " dict, count = 1"), 1024u);
}

TEST(Nesting, ShowsEndlessCollections) {
    const auto nested = arrays(kEndless);
    testing::internal::CaptureStderr();
    CFShow(nested);
    EXPECT_EQ(occurrences(testing::internal::GetCapturedStderr(), "<CFArray "), 1025u);
}

TEST(Nesting, FormatsEndlessCollections) {
    const auto text = hold(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), arrays(kEndless).get()));
    EXPECT_GT(CFStringGetLength(text), 1024);
}

TEST(Nesting, PropertyListFunctionsRefuseEndlessCollections) {
    expectRefused(arrays(kEndless));
    expectRefused(dictionaries(kEndless));
}

TEST(Nesting, DescribesWhatHoldsItselfByItsHeadWithin) {
    const Cycle cycle;
    const std::string head = Values::heading("CFArray", cycle.array);
    EXPECT_EQ(Values::description(cycle.array),
              head + "{type = mutable-small, count = 2, values = (\n\t0 : " + head + "\n\t1 : " + head + "\n)}");
    EXPECT_EQ(occurrences(Values::description(cycle.dictionary), " dict, count = 2"), 1u);
    testing::internal::CaptureStderr();
    CFShow(cycle.array);
    EXPECT_EQ(occurrences(testing::internal::GetCapturedStderr(), head), 3u);
}

TEST(Nesting, ComparesWhatHoldsItself) {
    const Cycle one, other;
    EXPECT_TRUE(CFEqual(one.array, one.array));
    EXPECT_FALSE(CFEqual(one.array, other.array));
    EXPECT_FALSE(CFEqual(one.dictionary, other.dictionary));
    EXPECT_TRUE(CFArrayContainsValue(one.array, CFRangeMake(0, 2), one.array));
    EXPECT_FALSE(CFArrayContainsValue(one.array, CFRangeMake(0, 2), other.array));
    EXPECT_EQ(CFHash(one.array), CFHash(other.array));
}

TEST(Nesting, PropertyListFunctionsRefuseWhatHoldsItself) {
    const Cycle cycle;
    expectRefused(cycle.array);
    expectRefused(cycle.dictionary);
}

TEST(Nesting, DescribesASharedObjectEachTimeUpToABound) {
    const auto twice = [](CFTypeRef shared) {
        const void* values[] = {shared, shared};
        return Holder<CFTypeRef>(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
    };
    Holder<CFTypeRef> nested = twice(CFSTR("core"));
    nested = twice(nested);
    EXPECT_EQ(occurrences(Values::description(nested), "count = 2"), 3u);
    // Described in full this one would fill the memory of any computer.
    for (int i = 0; i < 60; ++i) nested = twice(nested);
    const std::string description = Values::description(nested);
    EXPECT_EQ(occurrences(description, "count = 2"), 20'000u);
    EXPECT_EQ(occurrences(Values::description(twice(CFSTR("core"))), "core"), 2u);
}
