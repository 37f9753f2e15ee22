// What happens when memory runs out, at each place where some is asked for: from an object's allocator, and from the
// process as the library works.

#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/TestAllocator.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <new>

namespace {

/// How often the calling thread's operator new may still succeed; below zero nothing is counted.
thread_local long newsLeft = -1;
thread_local bool newFailed = false;

void* allocate(std::size_t size) noexcept {
    if (newsLeft == 0) {
        newFailed = true;
        return nullptr;
    }
    if (newsLeft > 0) --newsLeft;
    return std::malloc(size ? size : 1);
}

}  // namespace

// NOLINTBEGIN: replacing these is the only way to make the library's own containers run out of memory
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const memory = allocate(size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
// NOLINTEND

namespace {

using Held::hold;

constexpr UInt8 bytes[] = "some bytes";
constexpr UniChar units[] = {0xE4, 'b', 0x4E00};

/// Makes `create` fail at its first request of memory, its second and so on, until it has all it asks for. Each failure
/// must give null and leave nothing behind.
template <class Create>
void failEachRequest(const char* name, Create create) {
    SCOPED_TRACE(name);
    TestAllocator allocator;
    for (long allowed = 0;; ++allowed) {
        ASSERT_LT(allowed, 500);
        const long before = allocator.requests();
        allocator.failAfter(allowed);
        const CFTypeRef made = create(static_cast<CFAllocatorRef>(allocator));
        const bool failed = allocator.requests() - before > allowed;
        allocator.failAfter(LONG_MAX);
        EXPECT_EQ(made == nullptr, failed) << "request " << allowed;
        if (made) CFRelease(made);
        EXPECT_EQ(allocator.blocks(), 0) << "request " << allowed;
        if (!failed) return;
    }
}

/// Makes the process run out of memory at each place in `work`, which must come back all the same, without an
/// exception.
template <class Work>
void failEachNew(const char* name, Work work) {
    SCOPED_TRACE(name);
    for (long allowed = 0;; ++allowed) {
        ASSERT_LT(allowed, 500);
        newFailed = false;
        newsLeft = allowed;
        work();
        newsLeft = -1;
        if (!newFailed) return;
    }
}

void drop(CFTypeRef made) {
    if (made) CFRelease(made);
}

CFStringRef wideText() {
    static const CFStringRef text = CFSTR("\u00C4rger \u4E00\u0301 und STRA\u00DFE, \u00C4rger");
    return text;
}

CFDataRef document(CFPropertyListFormat format) {
    const auto list = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    const void* keys[] = {CFSTR("name"), CFSTR("other"), wideText()};
    const auto data = hold(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("data"), 4));
    const auto number = Values::number(100'000);
    const void* values[] = {wideText(), data, number};
    const auto dictionary = hold(
        CFDictionaryCreate(nullptr, keys, values, 3, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (int i = 0; i < 3; ++i) CFArrayAppendValue(list, dictionary);
    return CFPropertyListCreateData(nullptr, list, format, 0, nullptr);
}

}  // namespace

TEST(MemoryFailure, CreatorsOfValuesGiveNullAndLeaveNothing) {
    failEachRequest("data", [](auto a) { return CFDataCreate(a, bytes, 10); });
    failEachRequest("data over bytes",
                    [](auto a) { return CFDataCreateWithBytesNoCopy(a, bytes, 10, kCFAllocatorNull); });
    failEachRequest("mutable data", [](auto a) { return CFDataCreateMutable(a, 0); });
    const auto data = hold(CFDataCreate(nullptr, bytes, 10));
    failEachRequest("copy of data", [&](auto a) { return CFDataCreateCopy(a, data); });
    failEachRequest("mutable copy of data", [&](auto a) { return CFDataCreateMutableCopy(a, 0, data); });
    failEachRequest("number", [](auto a) {
        const double value = 2.5;
        return CFNumberCreate(a, kCFNumberDoubleType, &value);
    });
    failEachRequest("date", [](auto a) { return CFDateCreate(a, 1); });
    failEachRequest("uuid", [](auto a) { return CFUUIDCreate(a); });
    failEachRequest("uuid of text",
                    [](auto a) { return CFUUIDCreateFromString(a, CFSTR("68753A44-4D6F-1226-9C60-0050E4C00067")); });
    const auto uuid = hold(CFUUIDCreate(nullptr));
    failEachRequest("text of uuid", [&](auto a) { return CFUUIDCreateString(a, uuid); });
    const void* keys[] = {CFSTR("key")};
    const auto info = hold(
        CFDictionaryCreate(nullptr, keys, keys, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    failEachRequest("error", [&](auto a) { return CFErrorCreate(a, wideText(), 5, info); });
    failEachRequest("error with keys",
                    [&](auto a) { return CFErrorCreateWithUserInfoKeysAndValues(a, wideText(), 5, keys, keys, 1); });
    failEachRequest("string of units", [](auto a) { return CFStringCreateWithCharacters(a, units, 3); });
    failEachRequest("string over units",
                    [](auto a) { return CFStringCreateWithCharactersNoCopy(a, units, 3, kCFAllocatorNull); });
    for (const CFStringEncoding encoding : {kCFStringEncodingASCII, kCFStringEncodingUTF8, kCFStringEncodingUTF16}) {
        failEachRequest("string", [&](auto a) { return CFStringCreateWithBytes(a, bytes, 10, encoding, true); });
        failEachRequest("external form",
                        [&](auto a) { return CFStringCreateExternalRepresentation(a, CFSTR("abc"), encoding, '?'); });
        failEachRequest("string of external form",
                        [&](auto a) { return CFStringCreateFromExternalRepresentation(a, data, encoding); });
    }
    failEachRequest("string over bytes", [](auto a) {
        return CFStringCreateWithBytesNoCopy(a, bytes, 10, kCFStringEncodingUTF8, false, kCFAllocatorNull);
    });
    failEachRequest("substring", [](auto a) { return CFStringCreateWithSubstring(a, wideText(), CFRangeMake(0, 5)); });
    failEachRequest("format", [](auto a) {
        return CFStringCreateWithFormat(a, nullptr, CFSTR("%@ %d %s"), wideText(), 5, "text");
    });
    failEachRequest("mutable string", [](auto a) { return CFStringCreateMutable(a, 0); });
    failEachRequest("mutable copy", [](auto a) { return CFStringCreateMutableCopy(a, 0, wideText()); });
    failEachRequest("parts", [](auto a) { return CFStringCreateArrayBySeparatingStrings(a, wideText(), CFSTR(" ")); });
    const auto parts = hold(CFStringCreateArrayBySeparatingStrings(nullptr, wideText(), CFSTR(" ")));
    failEachRequest("whole", [&](auto a) { return CFStringCreateByCombiningStrings(a, parts, wideText()); });
    failEachRequest("occurrences", [](auto a) {
        return CFStringCreateArrayWithFindResults(a, wideText(), CFSTR("r"), CFRangeMake(0, 10), 0);
    });
    failEachRequest("file name", [](auto a) { return CFStringCreateWithFileSystemRepresentation(a, "a/\xC3\xA4"); });
}

TEST(MemoryFailure, CreatorsOfCollectionsGiveNullAndLeaveNothing) {
    const auto key = Held::mutableString(u"a key");
    const void* values[] = {key, wideText(), CFSTR("third")};
    failEachRequest("array", [&](auto a) { return CFArrayCreate(a, values, 3, &kCFTypeArrayCallBacks); });
    failEachRequest("mutable array", [&](auto a) { return CFArrayCreateMutable(a, 10, &kCFTypeArrayCallBacks); });
    failEachRequest("dictionary", [&](auto a) {
        return CFDictionaryCreate(a, values, values, 3, &kCFCopyStringDictionaryKeyCallBacks,
                                  &kCFTypeDictionaryValueCallBacks);
    });
    failEachRequest("mutable dictionary", [&](auto a) {
        return CFDictionaryCreateMutable(a, 10, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    });
    failEachRequest("set", [&](auto a) { return CFSetCreate(a, values, 3, &kCFCopyStringSetCallBacks); });
    failEachRequest("mutable set", [&](auto a) { return CFSetCreateMutable(a, 10, &kCFTypeSetCallBacks); });
    const auto array = hold(CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks));
    const auto set = hold(CFSetCreate(nullptr, values, 3, &kCFCopyStringSetCallBacks));
    const auto dictionary = hold(CFDictionaryCreate(nullptr, values, values, 3, &kCFCopyStringDictionaryKeyCallBacks,
                                                    &kCFTypeDictionaryValueCallBacks));
    failEachRequest("copy", [&](auto a) { return CFArrayCreateCopy(a, array); });
    failEachRequest("mutable copy", [&](auto a) { return CFArrayCreateMutableCopy(a, 0, array); });
    failEachRequest("copy", [&](auto a) { return CFDictionaryCreateCopy(a, dictionary); });
    failEachRequest("mutable copy", [&](auto a) { return CFDictionaryCreateMutableCopy(a, 0, dictionary); });
    failEachRequest("copy", [&](auto a) { return CFSetCreateCopy(a, set); });
    failEachRequest("mutable copy", [&](auto a) { return CFSetCreateMutableCopy(a, 0, set); });
}

TEST(MemoryFailure, PropertyListFunctionsGiveNullAndLeaveNothing) {
    for (const CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        const auto data = hold(document(format));
        ASSERT_NE(data.get(), nullptr);
        for (const CFOptionFlags mutability :
             {kCFPropertyListImmutable, kCFPropertyListMutableContainers, kCFPropertyListMutableContainersAndLeaves}) {
            failEachRequest(
                "read", [&](auto a) { return CFPropertyListCreateWithData(a, data, mutability, nullptr, nullptr); });
            const auto list = hold(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr));
            failEachRequest("copied", [&](auto a) { return CFPropertyListCreateDeepCopy(a, list, mutability); });
            failEachRequest("written", [&](auto a) { return CFPropertyListCreateData(a, list, format, 0, nullptr); });
            failEachNew("read",
                        [&] { drop(CFPropertyListCreateWithData(nullptr, data, mutability, nullptr, nullptr)); });
            failEachNew("copied", [&] { drop(CFPropertyListCreateDeepCopy(nullptr, list, mutability)); });
            failEachNew("written", [&] {
                CFErrorRef error = nullptr;
                drop(CFPropertyListCreateData(nullptr, list, format, 0, &error));
                drop(error);
            });
        }
    }
}

TEST(MemoryFailure, WhatCannotGrowStaysAsItIs) {
    TestAllocator allocator;
    const auto array = hold(CFArrayCreateMutable(allocator, 0, &kCFTypeArrayCallBacks));
    const auto dictionary =
        hold(CFDictionaryCreateMutable(allocator, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const auto set = hold(CFSetCreateMutable(allocator, 0, &kCFTypeSetCallBacks));
    const auto data = hold(CFDataCreateMutable(allocator, 0));
    const auto text = hold(CFStringCreateMutable(allocator, 0));
    const auto key = Held::mutableString(u"a key");
    allocator.failAfter(0);
    CFArrayAppendValue(array, key);
    CFDictionarySetValue(dictionary, key, key);
    CFSetAddValue(set, key);
    CFDataSetLength(data, 10);
    CFDataAppendBytes(data, reinterpret_cast<const UInt8*>("x"), 1);
    CFStringAppend(text, wideText());
    CFStringAppendFormat(text, nullptr, CFSTR("%@"), key.get());
    EXPECT_EQ(CFArrayGetCount(array) + CFDictionaryGetCount(dictionary) + CFSetGetCount(set) + CFDataGetLength(data) +
                  CFStringGetLength(text),
              0);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    allocator.failAfter(LONG_MAX);
    CFArrayAppendValue(array, key);
    CFDictionarySetValue(dictionary, key, key);
    CFSetAddValue(set, key);
    CFDataSetLength(data, 10);
    CFStringAppend(text, wideText());
    EXPECT_EQ(CFArrayGetCount(array) + CFDictionaryGetCount(dictionary) + CFSetGetCount(set), 3);
    EXPECT_EQ(CFDataGetLength(data), 10);
    EXPECT_TRUE(CFEqual(text, wideText()));
}

TEST(MemoryFailure, TextFunctionsComeBackWithoutMemory) {
    const CFRange all = CFRangeMake(0, CFStringGetLength(wideText()));
    constexpr CFOptionFlags kFolded = kCFCompareCaseInsensitive | kCFCompareNonliteral |
                                      kCFCompareDiacriticInsensitive | kCFCompareWidthInsensitive |
                                      kCFCompareNumerically;
    failEachNew("compare", [&] { CFStringCompare(wideText(), CFSTR("\u00E4rger \u4E00 unt"), kFolded); });
    failEachNew("localized", [&] { CFStringCompare(wideText(), CFSTR("\u00E4rger"), kCFCompareLocalized); });
    failEachNew("find", [&] { CFStringFind(wideText(), CFSTR("\u00E4RGER"), kFolded | kCFCompareBackwards); });
    failEachNew("find all", [&] {
        drop(CFStringCreateArrayWithFindResults(nullptr, wideText(), CFSTR("\u00E4RGER"), all, kFolded));
    });
    failEachNew("split", [&] { drop(CFStringCreateArrayBySeparatingStrings(nullptr, wideText(), CFSTR("r"))); });
    failEachNew("format", [&] {
        drop(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%2$@ %1$500.300f %3$s"), 2.5, wideText(), "abc"));
    });
    failEachNew("validated", [&] {
        CFErrorRef error = nullptr;
        drop(CFStringCreateStringWithValidatedFormat(nullptr, nullptr, CFSTR("%d"), CFSTR("%@"), &error, 5));
        drop(error);
    });
    const auto changed = [&](const char* name, void (*change)(CFMutableStringRef)) {
        failEachNew(name, [&] {
            const CFMutableStringRef text = CFStringCreateMutableCopy(nullptr, 0, wideText());
            change(text);
            drop(text);
        });
    };
    changed("lower", [](CFMutableStringRef text) { CFStringLowercase(text, nullptr); });
    changed("upper", [](CFMutableStringRef text) { CFStringUppercase(text, nullptr); });
    changed("capital", [](CFMutableStringRef text) { CFStringCapitalize(text, nullptr); });
    changed("fold", [](CFMutableStringRef text) { CFStringFold(text, kFolded, nullptr); });
    changed("normalize", [](CFMutableStringRef text) { CFStringNormalize(text, kCFStringNormalizationFormKD); });
    changed("transform",
            [](CFMutableStringRef text) { CFStringTransform(text, nullptr, kCFStringTransformToUnicodeName, false); });
    changed("strip", [](CFMutableStringRef text) {
        CFStringTransform(text, nullptr, kCFStringTransformStripDiacritics, false);
    });
    changed("replace", [](CFMutableStringRef text) {
        CFStringFindAndReplace(text, CFSTR("r"), CFSTR("\u00E4"), CFRangeMake(0, CFStringGetLength(text)), kFolded);
    });
    changed("pad", [](CFMutableStringRef text) { CFStringPad(text, CFSTR("xyz"), 1000, 0); });
    changed("format", [](CFMutableStringRef text) { CFStringAppendFormat(text, nullptr, CFSTR("%@"), wideText()); });
}

TEST(MemoryFailure, ObjectsComeBackWithoutMemory) {
    const void* values[] = {wideText(), kCFNull};
    const auto array = hold(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
    const auto error = hold(CFErrorCreateWithUserInfoKeysAndValues(nullptr, kCFErrorDomainPOSIX, 5, values, values, 2));
    failEachNew("array", [&] { drop(CFCopyDescription(array)); });
    failEachNew("error", [&] { drop(CFCopyDescription(error)); });
    failEachNew("error", [&] { drop(CFErrorCopyDescription(error)); });
    testing::internal::CaptureStderr();
    failEachNew("shown", [&] { CFShow(array); });
    failEachNew("shown", [&] { CFShowStr(wideText()); });
    testing::internal::GetCapturedStderr();
    // What cannot be noted down stays for good; the test keeps it, so that nothing counts as lost.
    static const CFTypeRef kept = CFDataCreate(nullptr, bytes, 10);
    failEachNew("given up", [&] { CFAutorelease(CFRetain(kept)); });
    failEachNew("constant", [] { __CFStringMakeConstantString("a constant that is made without memory"); });
    UInt8 last = 0;
    failEachNew("constant",
                [&] { CFUUIDGetConstantUUIDWithBytes(nullptr, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, ++last); });
    failEachNew("names", [] {
        CFStringGetListOfAvailableEncodings();
        CFStringConvertIANACharSetNameToEncoding(CFSTR("a-name-of-no-encoding"));
        CFStringGetNameOfEncoding(kCFStringEncodingUTF16);
        CFStringConvertEncodingToIANACharSetName(kCFStringEncodingMacRoman);
    });
}
