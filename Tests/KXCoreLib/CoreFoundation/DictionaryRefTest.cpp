#include <KXCoreLib/CoreFoundation/DictionaryRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
DictionaryRef KXCore::CoreFoundation::sample() {
    return DictionaryRef::create(kCFAllocatorDefault, nullptr, nullptr, 0);
}
INSTANTIATE_TYPED_TEST_SUITE_P(DictionaryRef, TypedWrapper, DictionaryRef);

FORWARDS(DictionaryRef, getTypeID, CFDictionaryGetTypeID);
FORWARDS_FORM(DictionaryRef(CFAllocatorRef, const void**, const void**, CFIndex, const CFDictionaryKeyCallBacks*,
                            const CFDictionaryValueCallBacks*),
              DictionaryRef, create, CFDictionaryCreate);
FORWARDS_FORM(MutableDictionaryRef(CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks*,
                                   const CFDictionaryValueCallBacks*),
              DictionaryRef, createMutable, CFDictionaryCreateMutable);
FORWARDS(DictionaryRef, createCopy, CFDictionaryCreateCopy);
FORWARDS(DictionaryRef, createMutableCopy, CFDictionaryCreateMutableCopy);
FORWARDS(DictionaryRef, getCount, CFDictionaryGetCount);
FORWARDS(DictionaryRef, getCountOfKey, CFDictionaryGetCountOfKey);
FORWARDS(DictionaryRef, getCountOfValue, CFDictionaryGetCountOfValue);
FORWARDS(DictionaryRef, containsKey, CFDictionaryContainsKey);
FORWARDS(DictionaryRef, containsValue, CFDictionaryContainsValue);
FORWARDS(DictionaryRef, getValue, CFDictionaryGetValue);
FORWARDS(DictionaryRef, getValueIfPresent, CFDictionaryGetValueIfPresent);
FORWARDS(DictionaryRef, getKeysAndValues, CFDictionaryGetKeysAndValues);
FORWARDS(DictionaryRef, applyFunction, CFDictionaryApplyFunction);
FORWARDS(MutableDictionaryRef, addValue, CFDictionaryAddValue);
FORWARDS(MutableDictionaryRef, setValue, CFDictionarySetValue);
FORWARDS(MutableDictionaryRef, replaceValue, CFDictionaryReplaceValue);
FORWARDS(MutableDictionaryRef, removeValue, CFDictionaryRemoveValue);
FORWARDS(MutableDictionaryRef, removeAllValues, CFDictionaryRemoveAllValues);

TEST(DictionaryRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFDictionaryCreate", [](CFAllocatorRef a) { DictionaryRef::create(a, nullptr, nullptr, 0); }},
        {"CFDictionaryCreate",
         [](CFAllocatorRef a) { DictionaryRef::create(a, nullptr, nullptr, 0, nullptr, nullptr); }},
        {"CFDictionaryCreateMutable", [](CFAllocatorRef a) { DictionaryRef::createMutable(a, 0); }},
        {"CFDictionaryCreateMutable", [](CFAllocatorRef a) { DictionaryRef::createMutable(a, 0, nullptr, nullptr); }},
        {"CFDictionaryCreateMutableCopy",
         [](CFAllocatorRef a) { DictionaryRef::createMutableCopy(a, 0, sample<DictionaryRef>().get()); }},
    });
}

TEST(DictionaryRef, WithoutCallBacksHoldsObjects) {
    const StringRef key = text("a text that is no constant");
    const DataRef value = bytesOf("abc");
    const void* keys[] = {key.get()};
    const void* values[] = {value.get()};
    const DictionaryRef dictionary = DictionaryRef::create(kCFAllocatorDefault, keys, values, 1);
    EXPECT_EQ(CFGetRetainCount(value.get()), 2);
    EXPECT_EQ(dictionary.getValue(text("a text that is no constant").get()), value.get()) << "keys go by equality";
    MutableDictionaryRef other = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
    other.setValue(key.get(), value.get());
    EXPECT_EQ(CFGetRetainCount(value.get()), 3);
    EXPECT_EQ(other, dictionary);
}

TEST(DictionaryRef, WithNullCallBacksHoldsPointers) {
    const DataRef value = bytesOf("abc");
    const void* keys[] = {"key"};
    const void* values[] = {value.get()};
    const DictionaryRef dictionary = DictionaryRef::create(kCFAllocatorDefault, keys, values, 1, nullptr, nullptr);
    EXPECT_EQ(dictionary.getValue(keys[0]), value.get());
    EXPECT_EQ(CFGetRetainCount(value.get()), 1);
    MutableDictionaryRef other = DictionaryRef::createMutable(kCFAllocatorDefault, 0, nullptr, nullptr);
    other.setValue(keys[0], value.get());
    EXPECT_EQ(CFGetRetainCount(value.get()), 1);
}

TEST(DictionaryRef, ReadsItsEntries) {
    MutableDictionaryRef made = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
    made.setValue(text("a").get(), number(1).get());
    made.setValue(text("b").get(), number(2).get());
    const DictionaryRef dictionary = DictionaryRef::createCopy(kCFAllocatorDefault, made.get());
    EXPECT_EQ(dictionary.getCount(), 2);
    EXPECT_EQ(dictionary.getCountOfKey(text("a").get()), 1);
    EXPECT_EQ(dictionary.getCountOfValue(number(2).get()), 1);
    EXPECT_TRUE(dictionary.containsKey(text("b").get()));
    EXPECT_FALSE(dictionary.containsKey(text("c").get()));
    EXPECT_TRUE(dictionary.containsValue(number(1).get()));
    EXPECT_EQ(dictionary.getValue(text("c").get()), nullptr);
    const void* value = nullptr;
    EXPECT_TRUE(dictionary.getValueIfPresent(text("b").get(), &value));
    EXPECT_EQ(intValue(value), 2);
    const void* keys[2] = {};
    const void* values[2] = {};
    dictionary.getKeysAndValues(keys, values);
    EXPECT_EQ(dictionary.getValue(keys[0]), values[0]);
    EXPECT_EQ(intValue(values[0]) + intValue(values[1]), 3);
    int sum = 0;
    dictionary.applyFunction(
        [](const void*, const void* entry, void* context) { *static_cast<int*>(context) += intValue(entry); }, &sum);
    EXPECT_EQ(sum, 3);
}

TEST(MutableDictionaryRef, ChangesItsEntries) {
    MutableDictionaryRef dictionary = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
    const StringRef a = text("a");
    const auto value = [&] { return intValue(dictionary.getValue(a.get())); };
    dictionary.replaceValue(a.get(), number(1).get());
    EXPECT_EQ(dictionary.getCount(), 0);
    dictionary.addValue(a.get(), number(2).get());
    dictionary.addValue(a.get(), number(3).get());
    EXPECT_EQ(value(), 2);
    dictionary.setValue(a.get(), number(4).get());
    EXPECT_EQ(value(), 4);
    dictionary.replaceValue(a.get(), number(5).get());
    EXPECT_EQ(value(), 5);
    MutableDictionaryRef copy = DictionaryRef::createMutableCopy(kCFAllocatorDefault, 0, dictionary.get());
    dictionary.removeValue(a.get());
    EXPECT_EQ(dictionary.getCount(), 0);
    EXPECT_EQ(copy.getCount(), 1);
    copy.removeAllValues();
    EXPECT_EQ(copy.getCount(), 0);
}

TEST(DictionaryRef, OfNothingHasNoCopy) {
    expectFailsToCreate("CFDictionaryCreateCopy", [] { DictionaryRef::createCopy(nullptr, nullptr); });
}
