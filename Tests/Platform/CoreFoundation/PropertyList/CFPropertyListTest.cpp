#include "PropertyListTesting.h"

#include <thread>

using namespace PropertyListTesting;

namespace {

List sample() {
    return dict(entry("array", array(text("x"), dataOf("y"), integer(1))), entry("date", date(1)),
                entry("dict", dict(entry("real", real(2.5)), entry("\xC3\xA4", boolean(true)))));
}

bool isMutableString(CFTypeRef string) {
    const CFIndex before = CFStringGetLength(static_cast<CFStringRef>(string));
    CFStringAppend(const_cast<CFMutableStringRef>(static_cast<CFStringRef>(string)), CFSTR("+"));
    return CFStringGetLength(static_cast<CFStringRef>(string)) == before + 1;
}

bool isMutableData(CFTypeRef content) {
    const CFIndex before = CFDataGetLength(static_cast<CFDataRef>(content));
    CFDataIncreaseLength(const_cast<CFMutableDataRef>(static_cast<CFDataRef>(content)), 1);
    return CFDataGetLength(static_cast<CFDataRef>(content)) == before + 1;
}

bool isMutableArray(CFTypeRef list) {
    const CFIndex before = CFArrayGetCount(static_cast<CFArrayRef>(list));
    CFArrayAppendValue(const_cast<CFMutableArrayRef>(static_cast<CFArrayRef>(list)), CFSTR("+"));
    return CFArrayGetCount(static_cast<CFArrayRef>(list)) == before + 1;
}

bool isMutableDictionary(CFTypeRef list) {
    const CFIndex before = CFDictionaryGetCount(static_cast<CFDictionaryRef>(list));
    CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(static_cast<CFDictionaryRef>(list)), CFSTR("+"),
                         CFSTR("+"));
    return CFDictionaryGetCount(static_cast<CFDictionaryRef>(list)) == before + 1;
}

struct Mutability {
    bool dictionaries, arrays, strings, data;
    bool operator==(const Mutability&) const = default;
};

Mutability mutabilityOf(const List& sampleList) {
    const CFDictionaryRef top = static_cast<CFDictionaryRef>(sampleList.get());
    const CFArrayRef inner = static_cast<CFArrayRef>(CFDictionaryGetValue(top, CFSTR("array")));
    const bool strings = isMutableString(CFArrayGetValueAtIndex(inner, 0));
    const bool content = isMutableData(CFArrayGetValueAtIndex(inner, 1));
    return {isMutableDictionary(CFDictionaryGetValue(top, CFSTR("dict"))) && isMutableDictionary(top),
            isMutableArray(inner), strings, content};
}

constexpr Mutability kNothing{false, false, false, false};
constexpr Mutability kContainers{true, true, false, false};
constexpr Mutability kEverything{true, true, true, true};

}  // namespace

TEST(CFPropertyList, ReadsObjectsAsMutableAsTheOptionSays) {
    for (const std::string& written : {writtenXML(sample().get()), writtenBinary(sample().get())}) {
        EXPECT_EQ(mutabilityOf(read(written, kCFPropertyListImmutable).list), kNothing);
        EXPECT_EQ(mutabilityOf(read(written, kCFPropertyListMutableContainers).list), kContainers);
        EXPECT_EQ(mutabilityOf(read(written, kCFPropertyListMutableContainersAndLeaves).list), kEverything);
    }
}

TEST(CFPropertyList, ReadsTheSameListWhateverTheOption) {
    const List original = sample();
    for (const std::string& written : {writtenXML(original.get()), writtenBinary(original.get())}) {
        for (const CFOptionFlags options :
             {kCFPropertyListImmutable, kCFPropertyListMutableContainers, kCFPropertyListMutableContainersAndLeaves}) {
            EXPECT_TRUE(CFEqual(read(written, options).list.get(), original.get()));
        }
    }
}

TEST(CFPropertyList, TellsTheFormatThatItFound) {
    EXPECT_EQ(read("<true/>").format, kCFPropertyListXMLFormat_v1_0);
    EXPECT_EQ(read(writtenBinary(text("x").get())).format, kCFPropertyListBinaryFormat_v1_0);
    EXPECT_EQ(read("x").format, kCFPropertyListOpenStepFormat);
    EXPECT_EQ(read("<41>").format, kCFPropertyListOpenStepFormat);
}

TEST(CFPropertyList, LeavesOutTheFormatAndTheErrorThatNobodyWants) {
    const Held<CFDataRef> good = bytes("<true/>");
    EXPECT_TRUE(List(CFPropertyListCreateWithData(nullptr, good.get(), 0, nullptr, nullptr)));
    const Held<CFDataRef> bad = bytes("<tru/>");
    EXPECT_FALSE(List(CFPropertyListCreateWithData(nullptr, bad.get(), 0, nullptr, nullptr)));
    EXPECT_EQ(CFPropertyListCreateData(nullptr, kCFNull, kCFPropertyListXMLFormat_v1_0, 0, nullptr), nullptr);
}

TEST(CFPropertyList, RefusesNoDataAtAll) {
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, nullptr, 0, nullptr, &error), nullptr);
    Outcome outcome;
    takeError(error, outcome);
    EXPECT_EQ(outcome.code, kCFPropertyListReadCorruptError);
}

TEST(CFPropertyList, ExplainsAFailedReadInTheErrorsDescriptionToo) {
    const Held<CFDataRef> input = bytes("<plist>\n<oops/></plist>");
    CFErrorRef raw = nullptr;
    CFPropertyListCreateWithData(nullptr, input.get(), 0, nullptr, &raw);
    const Held<CFErrorRef> error(raw);
    const Held<CFStringRef> description(CFErrorCopyDescription(error.get()));
    EXPECT_NE(utf8(description.get()).find("on line 2"), std::string::npos) << utf8(description.get());
}

TEST(CFPropertyList, ReportsAFailedWriteWithItsCodeAndTheType) {
    const Held<CFUUIDRef> uuid(CFUUIDCreate(nullptr));
    for (const CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        for (const CFTypeRef bad : {static_cast<CFTypeRef>(kCFNull), static_cast<CFTypeRef>(uuid.get())}) {
            const void* const items[] = {CFSTR("fine"), bad};
            const List list(CFArrayCreate(nullptr, const_cast<const void**>(items), 2, &kCFTypeArrayCallBacks));
            const Outcome outcome = write(list.get(), format);
            EXPECT_FALSE(outcome);
            EXPECT_EQ(outcome.domain, "NSCocoaErrorDomain");
            EXPECT_EQ(outcome.code, 3851);
            EXPECT_NE(outcome.reason.find(bad == kCFNull ? "CFNull" : "CFUUID"), std::string::npos) << outcome.reason;
        }
        EXPECT_FALSE(write(nullptr, format));
    }
}

TEST(CFPropertyList, RefusesKeysThatAreNoStrings) {
    const List key = integer(1);
    const void* keys[] = {key.get()};
    const void* values[] = {CFSTR("x")};
    const List list(
        CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    EXPECT_FALSE(write(list.get(), kCFPropertyListXMLFormat_v1_0));
    EXPECT_FALSE(write(list.get(), kCFPropertyListBinaryFormat_v1_0));
    EXPECT_FALSE(CFPropertyListIsValid(list.get(), kCFPropertyListXMLFormat_v1_0));
    EXPECT_FALSE(List(CFPropertyListCreateDeepCopy(nullptr, list.get(), 0)));
}

TEST(CFPropertyList, WritesUnknownFormatsNever) {
    for (const CFIndex format : {CFIndex{0}, CFIndex{1}, CFIndex{2}, CFIndex{300}}) {
        const Outcome outcome = write(CFSTR("x"), static_cast<CFPropertyListFormat>(format));
        EXPECT_FALSE(outcome);
        EXPECT_EQ(outcome.code, 3851);
    }
}

// ---- The functions with a text for an error

TEST(CFPropertyList, ReadsThroughTheOlderFunctionWithATextForAnError) {
    CFStringRef reason = CFSTR("untouched");
    const Held<CFDataRef> good = bytes("<string>x</string>");
    const List list(CFPropertyListCreateFromXMLData(nullptr, good.get(), kCFPropertyListImmutable, &reason));
    EXPECT_EQ(utf8(list.get()), "x");
    EXPECT_EQ(reason, nullptr);
    const Held<CFDataRef> bad = bytes("<strin>x</strin>");
    EXPECT_EQ(CFPropertyListCreateFromXMLData(nullptr, bad.get(), kCFPropertyListImmutable, &reason), nullptr);
    EXPECT_NE(utf8(reason).find("on line 1"), std::string::npos);
    CFRelease(reason);
    EXPECT_EQ(CFPropertyListCreateFromXMLData(nullptr, bad.get(), kCFPropertyListImmutable, nullptr), nullptr);
}

TEST(CFPropertyList, WritesThroughTheOlderFunction) {
    const Held<CFDataRef> xml(CFPropertyListCreateXMLData(nullptr, CFSTR("x")));
    EXPECT_EQ(content(xml.get()), document("<string>x</string>\n"));
    EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, kCFNull), nullptr);
}

// ---- Streams

TEST(CFPropertyList, FailsWithoutAStreamToReadFrom) {
    Outcome outcome;
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateWithStream(nullptr, nullptr, 0, 0, nullptr, &error), nullptr);
    takeError(error, outcome);
    EXPECT_EQ(outcome.code, 3842);
    EXPECT_EQ(outcome.domain, "NSCocoaErrorDomain");
    CFStringRef reason = nullptr;
    EXPECT_EQ(CFPropertyListCreateFromStream(nullptr, nullptr, 0, 0, nullptr, &reason), nullptr);
    EXPECT_EQ(utf8(reason), "There is no stream");
    CFRelease(reason);
}

TEST(CFPropertyList, FailsWithoutAStreamToWriteTo) {
    Outcome outcome;
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListWrite(CFSTR("x"), nullptr, kCFPropertyListXMLFormat_v1_0, 0, &error), 0);
    takeError(error, outcome);
    EXPECT_EQ(outcome.code, 3851);
    CFStringRef reason = nullptr;
    EXPECT_EQ(CFPropertyListWriteToStream(CFSTR("x"), nullptr, kCFPropertyListXMLFormat_v1_0, &reason), 0);
    EXPECT_EQ(utf8(reason), "There is no stream");
    CFRelease(reason);
}

// ---- Validity

TEST(CFPropertyList, IsValidInAFormatThatHoldsItsTypes) {
    const List list = sample();
    EXPECT_TRUE(CFPropertyListIsValid(list.get(), kCFPropertyListXMLFormat_v1_0));
    EXPECT_TRUE(CFPropertyListIsValid(list.get(), kCFPropertyListBinaryFormat_v1_0));
    EXPECT_FALSE(CFPropertyListIsValid(list.get(), kCFPropertyListOpenStepFormat));
    EXPECT_TRUE(
        CFPropertyListIsValid(dict(entry("a", array(text("x"), dataOf("y")))).get(), kCFPropertyListOpenStepFormat));
    EXPECT_FALSE(CFPropertyListIsValid(boolean(true).get(), kCFPropertyListOpenStepFormat));
    EXPECT_FALSE(CFPropertyListIsValid(list.get(), static_cast<CFPropertyListFormat>(7)));
}

TEST(CFPropertyList, IsNotValidWithForeignObjectsOrNull) {
    EXPECT_FALSE(CFPropertyListIsValid(nullptr, kCFPropertyListXMLFormat_v1_0));
    EXPECT_FALSE(CFPropertyListIsValid(kCFNull, kCFPropertyListXMLFormat_v1_0));
    EXPECT_FALSE(CFPropertyListIsValid(array(List(CFRetain(kCFNull))).get(), kCFPropertyListBinaryFormat_v1_0));
    EXPECT_FALSE(CFPropertyListIsValid(dict(entry("a", List(CFRetain(kCFNull)))).get(), kCFPropertyListXMLFormat_v1_0));
}

TEST(CFPropertyList, IsNotValidWhenItHoldsItself) {
    const Held<CFMutableDictionaryRef> list(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(list.get(), CFSTR("self"), list.get());
    EXPECT_FALSE(CFPropertyListIsValid(list.get(), kCFPropertyListXMLFormat_v1_0));
    EXPECT_FALSE(List(CFPropertyListCreateDeepCopy(nullptr, list.get(), kCFPropertyListMutableContainers)));
    CFDictionaryRemoveAllValues(list.get());
}

// ---- Copies

TEST(CFPropertyList, CopiesDeeplyWithTheMutabilityOfTheOption) {
    const List original = sample();
    for (const auto& [options, expected] :
         {std::pair{kCFPropertyListImmutable, kNothing}, std::pair{kCFPropertyListMutableContainers, kContainers},
          std::pair{kCFPropertyListMutableContainersAndLeaves, kEverything}}) {
        const List copy(CFPropertyListCreateDeepCopy(nullptr, original.get(), options));
        ASSERT_TRUE(copy);
        EXPECT_TRUE(CFEqual(copy.get(), original.get()));
        EXPECT_EQ(mutabilityOf(copy), expected);
    }
    EXPECT_EQ(mutabilityOf(original), kNothing);
}

TEST(CFPropertyList, MakesImmutableCopiesOfMutableLists) {
    const List original =
        read(writtenXML(sample().get()), kCFPropertyListMutableContainersAndLeaves).list.get()
            ? std::move(read(writtenXML(sample().get()), kCFPropertyListMutableContainersAndLeaves).list)
            : List();
    const List copy(CFPropertyListCreateDeepCopy(nullptr, original.get(), kCFPropertyListImmutable));
    EXPECT_EQ(mutabilityOf(copy), kNothing);
    EXPECT_EQ(mutabilityOf(original), kEverything);
    EXPECT_FALSE(CFEqual(copy.get(), original.get())) << "a change of the original must not reach the copy";
}

TEST(CFPropertyList, CopiesLeavesAlone) {
    const List copy(CFPropertyListCreateDeepCopy(nullptr, CFSTR("x"), kCFPropertyListMutableContainersAndLeaves));
    EXPECT_TRUE(isMutableString(copy.get()));
    EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, kCFNull, 0), nullptr);
}

TEST(CFPropertyList, CopiesAnObjectOnceForEachPlaceThatHoldsIt) {
    const List inner = array(text("x"));
    const List copy(CFPropertyListCreateDeepCopy(nullptr, array(inner, inner).get(), kCFPropertyListMutableContainers));
    const CFArrayRef list = static_cast<CFArrayRef>(copy.get());
    EXPECT_NE(CFArrayGetValueAtIndex(list, 0), CFArrayGetValueAtIndex(list, 1));
}

// ---- Allocators

TEST(CFPropertyList, MakesEverythingWithTheAllocatorGiven) {
    const FailingAllocator allocator(1000000);
    const Outcome outcome = read(writtenXML(sample().get()), kCFPropertyListImmutable, allocator.get());
    ASSERT_TRUE(outcome);
    EXPECT_EQ(CFGetAllocator(outcome.list.get()), allocator.get());
    const CFDictionaryRef top = static_cast<CFDictionaryRef>(outcome.list.get());
    EXPECT_EQ(CFGetAllocator(CFDictionaryGetValue(top, CFSTR("date"))), allocator.get());
    EXPECT_EQ(CFGetAllocator(write(CFSTR("x"), kCFPropertyListXMLFormat_v1_0, allocator.get()).list.get()),
              allocator.get());
}

TEST(CFPropertyList, FailsCleanlyWhereverTheAllocatorFails) {
    const List original = sample();
    for (const std::string& written :
         {writtenXML(original.get()), writtenBinary(original.get()), std::string("{a=(b,<41>);}")}) {
        for (const CFOptionFlags options :
             {kCFPropertyListImmutable, kCFPropertyListMutableContainers, kCFPropertyListMutableContainersAndLeaves}) {
            int successes = 0;
            for (;; ++successes) {
                ASSERT_LT(successes, 500);
                const FailingAllocator allocator(successes);
                const Outcome outcome = read(written, options, allocator.get());
                if (outcome) break;
                ASSERT_EQ(outcome.code, kCFPropertyListReadCorruptError);
                ASSERT_EQ(outcome.reason, "Out of memory");
            }
            EXPECT_GT(successes, 3);
        }
    }
}

TEST(CFPropertyList, FailsToWriteWithoutMemory) {
    for (const CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        const FailingAllocator allocator(0);
        const Outcome outcome = write(sample().get(), format, allocator.get());
        EXPECT_FALSE(outcome);
        EXPECT_EQ(outcome.code, kCFPropertyListWriteStreamError);
        EXPECT_EQ(outcome.reason, "Out of memory");
    }
}

TEST(CFPropertyList, FailsToCopyWhereverTheAllocatorFails) {
    const List original = sample();
    for (const CFOptionFlags options :
         {kCFPropertyListImmutable, kCFPropertyListMutableContainers, kCFPropertyListMutableContainersAndLeaves}) {
        int successes = 0;
        for (;; ++successes) {
            ASSERT_LT(successes, 500);
            const FailingAllocator allocator(successes);
            if (List(CFPropertyListCreateDeepCopy(allocator.get(), original.get(), options))) break;
        }
        EXPECT_GT(successes, 3);
    }
}

TEST(CFPropertyList, WritesLargeDocumentsInOnePiece) {
    const List large = array(dataOf(std::string(100000, 'x')), text(std::string(50000, 'y')));
    for (const CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        EXPECT_TRUE(CFEqual(read(written(large.get(), format)).list.get(), large.get()));
    }
}

TEST(CFPropertyList, ReadsAndWritesOnSeveralThreadsAtOnce) {
    const List shared = sample();
    const std::string expected = writtenXML(shared.get());
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                const std::string written = writtenXML(shared.get());
                EXPECT_EQ(written, expected);
                EXPECT_TRUE(CFEqual(read(written).list.get(), shared.get()));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}
