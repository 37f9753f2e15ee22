#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

using namespace Held;
using namespace Values;

namespace {

constexpr const char* kText = "68753A44-4D6F-1226-9C60-0050E4C00067";
constexpr CFUUIDBytes kBytes{0x68, 0x75, 0x3A, 0x44, 0x4D, 0x6F, 0x12, 0x26,
                             0x9C, 0x60, 0x00, 0x50, 0xE4, 0xC0, 0x00, 0x67};

Holder<CFUUIDRef> parse(const char* text) { return hold(CFUUIDCreateFromString(nullptr, Values::string(text))); }

CFUUIDRef constant(UInt8 last, CFAllocatorRef allocator = nullptr) {
    return CFUUIDGetConstantUUIDWithBytes(allocator, 0xC0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, last);
}

TEST(CFUUID, IsDifferentEachTimeAndOfVersion4) {
    std::set<std::string> all;
    for (int i = 0; i < 100; ++i) {
        const auto uuid = hold(CFUUIDCreate(nullptr));
        EXPECT_EQ(CFGetTypeID(uuid), CFUUIDGetTypeID());
        const std::string text = taken(CFUUIDCreateString(nullptr, uuid));
        EXPECT_EQ(text[14], '4');
        EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos);
        all.insert(text);
    }
    EXPECT_EQ(all.size(), 100u);
}

TEST(CFUUID, GoesFromTextToBytesAndBack) {
    const auto uuid = parse(kText);
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(uuid);
    EXPECT_EQ(std::memcmp(&bytes, &kBytes, sizeof bytes), 0);
    EXPECT_EQ(taken(CFUUIDCreateString(nullptr, uuid)), kText);
    EXPECT_TRUE(CFEqual(parse("68753a44-4d6f-1226-9c60-0050e4c00067"), uuid));
}

TEST(CFUUID, IsMadeOfBytes) {
    const auto fromBytes = hold(CFUUIDCreateFromUUIDBytes(nullptr, kBytes));
    const auto fromSixteen = hold(CFUUIDCreateWithBytes(nullptr, 0x68, 0x75, 0x3A, 0x44, 0x4D, 0x6F, 0x12, 0x26, 0x9C,
                                                        0x60, 0x00, 0x50, 0xE4, 0xC0, 0x00, 0x67));
    EXPECT_TRUE(CFEqual(fromBytes, fromSixteen));
    EXPECT_EQ(CFHash(fromBytes), CFHash(fromSixteen));
    EXPECT_TRUE(CFEqual(fromBytes, parse(kText)));
    EXPECT_FALSE(CFEqual(fromBytes, hold(CFUUIDCreate(nullptr))));
}

TEST(CFUUID, RefusesTextOfAnotherForm) {
    for (const char* const text :
         {"", "68753A44", "68753A44-4D6F-1226-9C60-0050E4C0006", "68753A44-4D6F-1226-9C60-0050E4C000677",
          "68753A44-4D6F-1226-9C60-0050E4C0006G", "68753A44+4D6F-1226-9C60-0050E4C00067",
          "68753A444D6F12269C600050E4C00067", "{8753A44-4D6F-1226-9C60-0050E4C00067}",
          " 8753A44-4D6F-1226-9C60-0050E4C00067", "68753A44-4D6F-1226-9C60-0050E4C0006é"})
        EXPECT_EQ(CFUUIDCreateFromString(nullptr, Values::string(text)), nullptr) << text;
    EXPECT_EQ(CFUUIDCreateFromString(nullptr, nullptr), nullptr);
}

TEST(CFUUID, IsOneObjectAsAConstant) {
    const CFUUIDRef first = constant(1);
    EXPECT_EQ(constant(1), first);
    EXPECT_NE(constant(2), first);
    CFRelease(first);
    CFRelease(first);
    EXPECT_EQ(constant(1), first);
    EXPECT_EQ(CFUUIDGetUUIDBytes(first).byte15, 1);
    EXPECT_TRUE(CFEqual(first, hold(CFUUIDCreateFromUUIDBytes(nullptr, CFUUIDGetUUIDBytes(first)))));
}

TEST(CFUUID, IsOneObjectAsAConstantForAllThreads) {
    std::vector<CFUUIDRef> seen(4);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < seen.size(); ++t)
        threads.emplace_back([&seen, t] {
            for (UInt8 i = 10; i < 200; ++i) seen[t] = constant(i);
        });
    for (std::thread& thread : threads) thread.join();
    for (const CFUUIDRef uuid : seen) EXPECT_EQ(uuid, constant(199));
}

TEST(CFUUID, DescribesItselfWithItsText) {
    const auto uuid = parse(kText);
    EXPECT_EQ(description(uuid), "<CFUUID " + address(uuid.get()) + "> " + kText);
}

TEST(CFUUID, IsNullSafeAndNullWithoutMemory) {
    EXPECT_EQ(CFUUIDCreateString(nullptr, nullptr), nullptr);
    const CFUUIDBytes none = CFUUIDGetUUIDBytes(nullptr);
    EXPECT_EQ(none.byte0 | none.byte15, 0);
    TestAllocator allocator;
    allocator.failAfter(0);
    EXPECT_EQ(CFUUIDCreate(allocator), nullptr);
    EXPECT_EQ(constant(201, allocator), nullptr);
    EXPECT_NE(constant(201), nullptr);
}

}  // namespace

TEST(CFUUID, SurvivesNullArguments) {
    using namespace NullArguments;
    EXPECT_EQ(CFUUIDCreateFromString(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFUUIDCreateString(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFUUIDGetUUIDBytes(nullptr).byte0, 0);
    const UInt8 b = 0xFF;
    EXPECT_NE(hold(CFUUIDCreate(nullptr)).get(), nullptr);
    EXPECT_NE(hold(CFUUIDCreateFromUUIDBytes(nullptr, {})).get(), nullptr);
    EXPECT_NE(hold(CFUUIDCreateWithBytes(nullptr, b, b, b, b, b, b, b, b, b, b, b, b, b, b, b, b)).get(), nullptr);
    EXPECT_NE(CFUUIDGetConstantUUIDWithBytes(nullptr, b, b, b, b, b, b, b, b, b, b, b, b, b, b, b, b), nullptr);
}
