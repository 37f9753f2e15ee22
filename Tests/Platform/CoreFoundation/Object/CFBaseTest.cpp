#include "CoreFoundation/Object/Object.h"
#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/TestAllocator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using Held::hold;
using Held::string;
using Held::utf8;

/// What `act` writes to the standard error stream.
template <class Act>
std::string written(Act act) {
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}

std::string pointerText(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

}  // namespace

// ---- Allocators

TEST(CFAllocator, NullStandsForTheThreadsDefault) {
    EXPECT_EQ(kCFAllocatorDefault, nullptr);
    EXPECT_EQ(CFAllocatorGetDefault(), kCFAllocatorSystemDefault);
    void* const memory = CFAllocatorAllocate(nullptr, 16, 0);
    ASSERT_NE(memory, nullptr);
    CFAllocatorDeallocate(nullptr, memory);
}

TEST(CFAllocator, EachThreadHasADefaultOfItsOwn) {
    // A default is never released, so this one stays until the end of the process.
    static TestAllocator& allocator = *new TestAllocator;
    std::thread([] {
        CFAllocatorSetDefault(allocator);
        EXPECT_EQ(CFAllocatorGetDefault(), static_cast<CFAllocatorRef>(allocator));
        auto s = string(u"abc");
        EXPECT_EQ(CFGetAllocator(s), static_cast<CFAllocatorRef>(allocator));
        EXPECT_EQ(allocator.blocks(), 1);
        s.reset();
        EXPECT_EQ(allocator.blocks(), 0);
        CFAllocatorSetDefault(kCFAllocatorSystemDefault);
    }).join();
    EXPECT_EQ(CFAllocatorGetDefault(), kCFAllocatorSystemDefault);
}

TEST(CFAllocator, IgnoresADefaultThatIsNoAllocator) {
    CFAllocatorSetDefault(nullptr);
    CFAllocatorSetDefault(reinterpret_cast<CFAllocatorRef>(CFSTR("no allocator")));
    EXPECT_EQ(CFAllocatorGetDefault(), kCFAllocatorSystemDefault);
}

TEST(CFAllocator, GivesNothingForSizesThatAreNotPositive) {
    EXPECT_EQ(CFAllocatorAllocate(nullptr, 0, 0), nullptr);
    EXPECT_EQ(CFAllocatorAllocate(nullptr, -1, 0), nullptr);
}

TEST(CFAllocator, ReallocatingMovesGivesAndFrees) {
    TestAllocator allocator;
    auto* memory = static_cast<char*>(CFAllocatorReallocate(allocator, nullptr, 4, 0));
    ASSERT_NE(memory, nullptr);
    std::memcpy(memory, "abc", 4);
    memory = static_cast<char*>(CFAllocatorReallocate(allocator, memory, 4096, 0));
    EXPECT_STREQ(memory, "abc");
    EXPECT_EQ(CFAllocatorReallocate(allocator, memory, 0, 0), nullptr);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFAllocator, TheNullAllocatorGivesAndFreesNothing) {
    char memory[8];
    EXPECT_EQ(CFAllocatorAllocate(kCFAllocatorNull, 8, 0), nullptr);
    EXPECT_EQ(CFAllocatorReallocate(kCFAllocatorNull, memory, 16, 0), nullptr);
    CFAllocatorDeallocate(kCFAllocatorNull, memory);
    EXPECT_EQ(CFStringCreateWithCString(kCFAllocatorNull, "abc", kCFStringEncodingASCII), nullptr);
}

TEST(CFAllocator, RetainsAndReleasesItsInfo) {
    static int retained = 0;
    static int released = 0;
    CFAllocatorContext context{};
    context.info = &retained;
    context.retain = [](const void* info) {
        ++retained;
        return info;
    };
    context.release = [](const void*) { ++released; };
    const CFAllocatorRef allocator = CFAllocatorCreate(nullptr, &context);
    EXPECT_EQ(retained, 1);
    CFRelease(allocator);
    EXPECT_EQ(released, 1);
}

TEST(CFAllocator, LivesAsLongAsAnObjectItGave) {
    static bool isReleased = false;
    CFAllocatorContext context{};
    context.allocate = [](CFIndex size, CFOptionFlags, void*) { return std::malloc(static_cast<std::size_t>(size)); };
    context.deallocate = [](void* memory, void*) { std::free(memory); };
    context.release = [](const void*) { isReleased = true; };
    const CFAllocatorRef allocator = CFAllocatorCreate(nullptr, &context);
    auto s = hold(CFStringCreateWithCString(allocator, "abc", kCFStringEncodingASCII));
    CFRelease(allocator);
    EXPECT_FALSE(isReleased);
    s.reset();
    EXPECT_TRUE(isReleased);
}

TEST(CFAllocator, IsKeptInMemoryOfItsOwnWhenAskedTo) {
    struct Log {
        int blocks = 0;
        bool isReleased = false;
        bool isMemoryBackFirst = false;
    } log;
    CFAllocatorContext context{};
    context.info = &log;
    context.retain = [](const void* info) { return info; };
    context.release = [](const void* info) {
        Log& l = *static_cast<Log*>(const_cast<void*>(info));
        l.isReleased = true;
        l.isMemoryBackFirst = l.blocks == 0;
    };
    context.allocate = [](CFIndex size, CFOptionFlags, void* info) {
        ++static_cast<Log*>(info)->blocks;
        return std::malloc(static_cast<std::size_t>(size));
    };
    context.deallocate = [](void* memory, void* info) {
        --static_cast<Log*>(info)->blocks;
        std::free(memory);
    };
    const CFAllocatorRef allocator = CFAllocatorCreate(kCFAllocatorUseContext, &context);
    EXPECT_EQ(log.blocks, 1);
    EXPECT_EQ(CFGetAllocator(allocator), allocator);
    auto s = hold(CFStringCreateWithCString(allocator, "abc", kCFStringEncodingASCII));
    EXPECT_EQ(CFGetAllocator(s), allocator);
    EXPECT_EQ(log.blocks, 2);
    CFRelease(allocator);
    EXPECT_FALSE(log.isReleased);
    s.reset();
    EXPECT_TRUE(log.isReleased);
    EXPECT_TRUE(log.isMemoryBackFirst);
}

TEST(CFAllocator, IsNoneWhenItsOwnMemoryGivesNone) {
    static int held = 0;
    CFAllocatorContext context{};
    context.retain = [](const void* info) {
        ++held;
        return info;
    };
    context.release = [](const void*) { --held; };
    EXPECT_EQ(CFAllocatorCreate(kCFAllocatorUseContext, &context), nullptr);
    context.allocate = [](CFIndex, CFOptionFlags, void*) -> void* { return nullptr; };
    EXPECT_EQ(CFAllocatorCreate(kCFAllocatorUseContext, &context), nullptr);
    EXPECT_EQ(held, 0);
}

TEST(CFAllocator, RefusesAContextItDoesNotKnow) {
    CFAllocatorContext context{};
    context.version = 1;
    EXPECT_EQ(CFAllocatorCreate(nullptr, &context), nullptr);
    EXPECT_EQ(CFAllocatorCreate(nullptr, nullptr), nullptr);
}

TEST(CFAllocator, TellsItsContextAndPreferredSize) {
    CFAllocatorContext context{};
    context.preferredSize = [](CFIndex size, CFOptionFlags, void*) { return (size + 63) / 64 * 64; };
    const auto allocator = hold(CFAllocatorCreate(nullptr, &context));
    EXPECT_EQ(CFAllocatorGetPreferredSizeForSize(allocator, 65, 0), 128);
    EXPECT_EQ(CFAllocatorGetPreferredSizeForSize(kCFAllocatorSystemDefault, 65, 0), 65);
    CFAllocatorContext told{};
    CFAllocatorGetContext(allocator, &told);
    EXPECT_EQ(told.preferredSize, context.preferredSize);
}

TEST(CFAllocator, DescribesItselfWithItsInfo) {
    CFAllocatorContext context{};
    context.copyDescription = [](const void*) { return CFStringCreateCopy(nullptr, CFSTR("mine")); };
    const auto allocator = hold(CFAllocatorCreate(nullptr, &context));
    const auto described = utf8(hold(CFCopyDescription(allocator)));
    EXPECT_EQ(described, "<CFAllocator " + pointerText(allocator) + " [" + pointerText(kCFAllocatorSystemDefault) +
                             "]>{info = mine}");
    EXPECT_TRUE(utf8(hold(CFCopyDescription(kCFAllocatorSystemDefault))).ends_with(">{info = 0x0}"));
}

// ---- Life

TEST(CFBase, CountsReferences) {
    const CFStringRef s = CFStringCreateWithCString(nullptr, "abc", kCFStringEncodingASCII);
    EXPECT_EQ(CFGetRetainCount(s), 1);
    EXPECT_EQ(CFRetain(s), s);
    EXPECT_EQ(CFGetRetainCount(s), 2);
    CFRelease(s);
    EXPECT_EQ(CFGetRetainCount(s), 1);
    CFRelease(s);
}

TEST(CFBase, NullIsNobodysObject) {
    EXPECT_EQ(CFRetain(nullptr), nullptr);
    CFRelease(nullptr);
    EXPECT_EQ(CFAutorelease(nullptr), nullptr);
    EXPECT_EQ(CFGetRetainCount(nullptr), 0);
    EXPECT_EQ(CFGetTypeID(nullptr), 0u);
    EXPECT_EQ(CFCopyDescription(nullptr), nullptr);
    EXPECT_EQ(CFMakeCollectable(nullptr), nullptr);
    EXPECT_TRUE(CFEqual(nullptr, nullptr));
    EXPECT_FALSE(CFEqual(nullptr, kCFNull));
    EXPECT_FALSE(CFEqual(kCFNull, nullptr));
}

TEST(CFBase, ConstantsAreNeverFreed) {
    for (int i = 0; i < 3; ++i) CFRelease(kCFNull);
    EXPECT_EQ(CFGetTypeID(kCFNull), CFNullGetTypeID());
    EXPECT_EQ(CFGetRetainCount(kCFNull), INT64_MAX);
    for (int i = 0; i < 3; ++i) CFRelease(kCFAllocatorSystemDefault);
    EXPECT_EQ(CFGetTypeID(kCFAllocatorSystemDefault), CFAllocatorGetTypeID());
}

TEST(CFBase, ThreadsRetainAndReleaseOneObject) {
    TestAllocator allocator;
    auto s = hold(CFStringCreateWithCString(allocator, "shared", kCFStringEncodingASCII));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&s] {
            for (int i = 0; i < 10000; ++i) {
                CFRetain(s);
                CFRelease(s);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(CFGetRetainCount(s), 1);
    s.reset();
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFBase, TheThreadThatDropsTheLastReferenceSeesWhatTheOthersWrote) {
    for (int round = 0; round < 200; ++round) {
        const CFMutableStringRef s = CFStringCreateMutable(nullptr, 0);
        CFRetain(s);
        std::thread other([s] {
            CFStringAppend(s, CFSTR("written by the other"));
            CFRelease(s);
        });
        CFRelease(s);  // whoever comes last frees the buffer that the other made
        other.join();
    }
}

TEST(CFBase, EndsNestingOfAnyDepth) {
    TestAllocator allocator;
    CFMutableArrayRef outer = CFArrayCreateMutable(allocator, 0, &kCFTypeArrayCallBacks);
    for (int depth = 0; depth < 200000; ++depth) {
        const CFMutableArrayRef next = CFArrayCreateMutable(allocator, 0, &kCFTypeArrayCallBacks);
        CFArrayAppendValue(next, outer);
        CFRelease(outer);
        outer = next;
    }
    CFRelease(outer);
    EXPECT_EQ(allocator.blocks(), 0);
}

// ---- Autorelease

TEST(CFBase, WhatAThreadGaveUpIsReleasedWhenItEnds) {
    TestAllocator allocator;
    std::thread([&allocator] {
        const CFStringRef s = CFStringCreateWithCString(allocator, "given up", kCFStringEncodingASCII);
        EXPECT_EQ(CFAutorelease(s), s);
        EXPECT_EQ(CFGetRetainCount(s), 1);
        EXPECT_EQ(utf8(s), "given up");
    }).join();
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFBase, WhatWasGivenUpSeveralTimesIsReleasedAsOften) {
    const auto s = hold(CFStringCreateWithCString(nullptr, "given up", kCFStringEncodingASCII));
    std::thread([&s] {
        for (int i = 0; i < 3; ++i) CFAutorelease(CFRetain(s));
        EXPECT_EQ(CFGetRetainCount(s), 4);
    }).join();
    EXPECT_EQ(CFGetRetainCount(s), 1);
}

TEST(CFBase, WhatIsGivenUpWhileAThreadEndsIsReleasedToo) {
    static bool isInnerGone = false;
    std::thread([] {
        CFAllocatorContext innerContext{};
        innerContext.release = [](const void*) { isInnerGone = true; };
        CFAllocatorContext context{};
        context.info = const_cast<__CFAllocator*>(CFAllocatorCreate(nullptr, &innerContext));
        context.release = [](const void* inner) { CFAutorelease(inner); };
        CFAutorelease(CFAllocatorCreate(nullptr, &context));
    }).join();
    EXPECT_TRUE(isInnerGone);
}

TEST(CFBase, ConstantsCanBeGivenUpAsOftenAsOneLikes) {
    std::thread([] {
        EXPECT_EQ(CFAutorelease(kCFNull), kCFNull);
        for (int i = 0; i < 10; ++i) EXPECT_EQ(CFAutorelease(CFSTR("constant")), CFSTR("constant"));
    }).join();
    EXPECT_EQ(utf8(CFSTR("constant")), "constant");
}

// ---- Types and descriptions

TEST(CFBase, EveryTypeHasANumberAndAName) {
    EXPECT_EQ(CFGetTypeID(CFSTR("a")), CFStringGetTypeID());
    EXPECT_NE(CFStringGetTypeID(), CFNullGetTypeID());
    EXPECT_EQ(utf8(hold(CFCopyTypeIDDescription(CFStringGetTypeID()))), "CFString");
    EXPECT_EQ(utf8(hold(CFCopyTypeIDDescription(CFAllocatorGetTypeID()))), "CFAllocator");
    EXPECT_EQ(utf8(hold(CFCopyTypeIDDescription(CFNullGetTypeID()))), "CFNull");
    EXPECT_EQ(utf8(hold(CFCopyTypeIDDescription(CFArrayGetTypeID()))), "CFArray");
}

TEST(CFBase, ANumberOfNoTypeHasNoName) {
    EXPECT_EQ(CFCopyTypeIDDescription(0), nullptr);
    EXPECT_EQ(CFCopyTypeIDDescription(KXPlatform::number(KXPlatform::TypeID::Count)), nullptr);
    EXPECT_EQ(CFCopyTypeIDDescription(UINT64_MAX), nullptr);
}

TEST(CFBase, NullObjectsDescribeThemselvesAsNull) {
    EXPECT_EQ(utf8(hold(CFCopyDescription(kCFNull))), "<null>");
    EXPECT_TRUE(CFEqual(kCFNull, kCFNull));
}

TEST(CFBase, DescriptionsNameTypeObjectAndAllocator) {
    TestAllocator allocator;
    const auto s = hold(CFStringCreateWithCString(allocator, "abc", kCFStringEncodingASCII));
    EXPECT_EQ(utf8(hold(CFCopyDescription(s))), "<CFString " + pointerText(s) + " [" +
                                                    pointerText(static_cast<CFAllocatorRef>(allocator)) +
                                                    "]>{contents = \"abc\"}");
}

// ---- Showing

TEST(CFShow, ShowsTheTextOfAString) {
    EXPECT_EQ(written([] { CFShow(CFSTR("two\nlines \\ as they are")); }), "two\nlines \\ as they are\n");
    EXPECT_EQ(written([] { CFShow(CFSTR("")); }), "\n");
}

TEST(CFShow, EscapesWhatIsNotASCII) {
    EXPECT_EQ(written([] { CFShow(string(u"h\u00E9\U0001F600")); }), "h\\u00e9\\ud83d\\ude00\n");
}

TEST(CFShow, ShowsTheDescriptionOfAnythingElse) {
    EXPECT_EQ(written([] { CFShow(kCFNull); }), "<null>\n");
    EXPECT_EQ(written([] { CFShow(nullptr); }), "(null)\n");
}

TEST(CFShow, TellsHowAStringIsKept) {
    const std::string narrow = written([] { CFShowStr(CFSTR("abc")); });
    EXPECT_NE(narrow.find("Length 3\nIsEightBit 1\n"), std::string::npos) << narrow;
    EXPECT_NE(narrow.find("abc\n"), std::string::npos) << narrow;
    const std::string wide = written([] { CFShowStr(string(u"\u00E9")); });
    EXPECT_NE(wide.find("Length 1\nIsEightBit 0\n"), std::string::npos) << wide;
    EXPECT_EQ(written([] { CFShowStr(nullptr); }), "(null)\n");
}

TEST(CFBase, SurvivesNullArguments) {
    using namespace NullArguments;
    EXPECT_EQ(CFRetain(nullptr), nullptr);
    CFRelease(nullptr);
    EXPECT_EQ(CFAutorelease(nullptr), nullptr);
    EXPECT_EQ(CFMakeCollectable(nullptr), nullptr);
    EXPECT_EQ(CFGetRetainCount(nullptr), 0);
    EXPECT_EQ(CFGetTypeID(nullptr), 0u);
    EXPECT_EQ(CFCopyDescription(nullptr), nullptr);
    EXPECT_TRUE(CFEqual(nullptr, nullptr));
    EXPECT_FALSE(CFEqual(nullptr, kCFNull));
    EXPECT_FALSE(CFEqual(kCFNull, nullptr));
    CFHash(nullptr);
    EXPECT_NE(CFGetAllocator(nullptr), nullptr);
    testing::internal::CaptureStderr();
    CFShow(nullptr);
    CFShowStr(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "(null)\n(null)\n");
    for (const CFIndex number : kIndexes)
        if (const CFStringRef name = CFCopyTypeIDDescription(static_cast<CFTypeID>(number))) CFRelease(name);
}

TEST(CFAllocator, SurvivesNullArguments) {
    using namespace NullArguments;
    EXPECT_EQ(CFAllocatorCreate(nullptr, nullptr), nullptr);
    CFAllocatorSetDefault(nullptr);
    CFAllocatorGetContext(nullptr, nullptr);
    CFAllocatorContext context{};
    const auto nothing = hold(CFAllocatorCreate(nullptr, &context));
    for (const CFAllocatorRef allocator : {CFAllocatorRef{}, kCFAllocatorNull, nothing.get()}) {
        CFAllocatorDeallocate(allocator, nullptr);
        for (const CFIndex size : kIndexes) {
            CFAllocatorGetPreferredSizeForSize(allocator, size, 0);
            void* const memory = CFAllocatorAllocate(allocator, size, 0);
            EXPECT_TRUE(!memory || (!allocator && size > 0 && size < 5));
            CFAllocatorDeallocate(allocator, CFAllocatorReallocate(allocator, memory, size == 4 ? 8 : size, 0));
        }
    }
    EXPECT_EQ(CFArrayCreate(nothing, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateWithCString(nothing, "text", kCFStringEncodingUTF8), nullptr);
}
