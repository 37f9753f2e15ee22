#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Held;
using namespace Values;

namespace {

const UInt8* bytesOf(std::string_view text) { return reinterpret_cast<const UInt8*>(text.data()); }

Holder<CFDataRef> dataOf(std::string_view text) {
    return hold(CFDataCreate(nullptr, bytesOf(text), static_cast<CFIndex>(text.size())));
}

Holder<CFMutableDataRef> mutableData(std::string_view text, CFIndex capacity = 0) {
    return hold(CFDataCreateMutableCopy(nullptr, capacity, dataOf(text)));
}

std::string contents(CFDataRef data) {
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<std::size_t>(CFDataGetLength(data))};
}

// ---- Creating

TEST(CFData, HoldsACopyOfItsBytes) {
    std::string text("a\0b", 3);
    const auto some = dataOf(text);
    text[0] = 'z';
    EXPECT_EQ(CFGetTypeID(some), CFDataGetTypeID());
    EXPECT_EQ(contents(some), std::string("a\0b", 3));
    EXPECT_EQ(CFDataGetMutableBytePtr(const_cast<CFMutableDataRef>(some.get())), nullptr);
}

TEST(CFData, MayBeEmpty) {
    const auto none = hold(CFDataCreate(nullptr, nullptr, 0));
    EXPECT_EQ(CFDataGetLength(none), 0);
    EXPECT_NE(CFDataGetBytePtr(none), nullptr);
    EXPECT_TRUE(CFEqual(none, hold(CFDataCreateMutable(nullptr, 0))));
    EXPECT_NE(CFDataGetBytePtr(hold(CFDataCreateMutable(nullptr, 0))), nullptr);
}

TEST(CFData, RefusesImpossibleLengths) {
    EXPECT_EQ(CFDataCreate(nullptr, bytesOf("a"), -1), nullptr);
    EXPECT_EQ(CFDataCreate(nullptr, nullptr, 1), nullptr);
    EXPECT_EQ(CFDataCreate(nullptr, bytesOf("a"), PTRDIFF_MAX), nullptr);
    EXPECT_EQ(CFDataCreateWithBytesNoCopy(nullptr, bytesOf("a"), -1, kCFAllocatorNull), nullptr);
    EXPECT_EQ(CFDataCreateWithBytesNoCopy(nullptr, nullptr, 1, kCFAllocatorNull), nullptr);
    EXPECT_EQ(CFDataCreateMutable(nullptr, -1), nullptr);
    EXPECT_EQ(CFDataCreateMutableCopy(nullptr, -1, dataOf("a")), nullptr);
    EXPECT_EQ(CFDataCreateMutableCopy(nullptr, 2, dataOf("abc")), nullptr);
}

TEST(CFData, UsesBytesWithoutCopyingThem) {
    static const char text[] = "static";
    const auto some = hold(CFDataCreateWithBytesNoCopy(nullptr, bytesOf(text), 6, kCFAllocatorNull));
    EXPECT_EQ(static_cast<const void*>(CFDataGetBytePtr(some)), text);
    EXPECT_TRUE(CFEqual(some, dataOf("static")));
    EXPECT_EQ(CFHash(some), CFHash(dataOf("static")));
}

TEST(CFData, GivesForeignBytesBackWhenItEnds) {
    TestAllocator allocator;
    for (const bool copied : {false, true}) {
        UInt8* const bytes = static_cast<UInt8*>(CFAllocatorAllocate(allocator, 4, 0));
        std::memcpy(bytes, "abcd", 4);
        auto some = hold(CFDataCreateWithBytesNoCopy(nullptr, bytes, 4, allocator));
        if (copied) some = hold(CFDataCreateCopy(nullptr, some));
        EXPECT_EQ(contents(some), "abcd");
        EXPECT_EQ(allocator.blocks(), 1);
        some.reset();
        EXPECT_EQ(allocator.blocks(), 0);
    }
}

TEST(CFData, FreesForeignBytesByTheDefaultAllocatorWithoutAnother) {
    UInt8* const bytes = static_cast<UInt8*>(std::malloc(4));
    std::memcpy(bytes, "abcd", 4);
    EXPECT_EQ(contents(hold(CFDataCreateWithBytesNoCopy(nullptr, bytes, 4, nullptr))), "abcd");
}

TEST(CFData, LeavesForeignBytesToTheCallerWhenItCannotBeMade) {
    TestAllocator owner, failing;
    UInt8* const bytes = static_cast<UInt8*>(CFAllocatorAllocate(owner, 4, 0));
    failing.failAfter(0);
    EXPECT_EQ(CFDataCreateWithBytesNoCopy(failing, bytes, 4, owner), nullptr);
    EXPECT_EQ(owner.blocks(), 1);
    CFAllocatorDeallocate(owner, bytes);
}

TEST(CFData, CopiesAnImmutableOneBySharingItUnlessItsBytesAreLent) {
    const auto some = dataOf("abc");
    EXPECT_EQ(hold(CFDataCreateCopy(nullptr, some)).get(), some.get());
    std::string lent = "lent";
    const auto lentData = hold(CFDataCreateWithBytesNoCopy(nullptr, bytesOf(lent), 4, kCFAllocatorNull));
    const auto copy = hold(CFDataCreateCopy(nullptr, lentData));
    lent = "gone";
    EXPECT_EQ(contents(copy), "lent");
    EXPECT_EQ(CFDataCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDataCreateMutableCopy(nullptr, 0, nullptr), nullptr);
}

TEST(CFData, CopiesAMutableOneAsItIsNow) {
    const auto source = mutableData("abc");
    const auto copy = hold(CFDataCreateCopy(nullptr, source));
    const auto mutableCopy = hold(CFDataCreateMutableCopy(nullptr, 3, source));
    CFDataGetMutableBytePtr(source)[0] = 'X';
    EXPECT_EQ(contents(source), "Xbc");
    EXPECT_EQ(contents(copy), "abc");
    EXPECT_EQ(contents(mutableCopy), "abc");
}

// ---- Reading

TEST(CFData, GivesTheBytesOfARange) {
    const auto some = dataOf("abcdef");
    UInt8 buffer[7] = "......";
    CFDataGetBytes(some, CFRangeMake(2, 3), buffer);
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "cde...");
    for (const CFRange range : {CFRange{-1, 1}, CFRange{0, 7}, CFRange{6, 1}, CFRange{0, -1}, CFRange{1, PTRDIFF_MAX}})
        CFDataGetBytes(some, range, buffer);
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "cde...");
}

TEST(CFData, IsEqualByItsBytes) {
    EXPECT_TRUE(CFEqual(dataOf("abc"), mutableData("abc")));
    EXPECT_EQ(CFHash(dataOf("abc")), CFHash(mutableData("abc")));
    EXPECT_FALSE(CFEqual(dataOf("abc"), dataOf("abd")));
    EXPECT_FALSE(CFEqual(dataOf("abc"), dataOf("ab")));
    const std::string large(1000, 'x');
    EXPECT_EQ(CFHash(dataOf(large)), CFHash(mutableData(large)));
    EXPECT_NE(CFHash(dataOf(large)), CFHash(dataOf(large + "x")));
    EXPECT_NE(CFHash(dataOf("ab")), CFHash(dataOf("ba")));
}

TEST(CFData, DescribesItselfWithItsBytes) {
    const auto some = dataOf("hello");
    EXPECT_EQ(description(some), heading("CFData", some) + "{length = 5, capacity = 5, bytes = 0x68656c6c6f}");
    const auto whole = dataOf("abcdefghijklmnopqrstuvwx");
    EXPECT_EQ(description(whole), heading("CFData", whole) +
                                      "{length = 24, capacity = 24, bytes = "
                                      "0x6162636465666768696a6b6c6d6e6f707172737475767778}");
    const auto large = dataOf("abcdefghijklmnopqrstuvwxy");
    EXPECT_EQ(description(large), heading("CFData", large) +
                                      "{length = 25, capacity = 25, bytes = "
                                      "0x6162636465666768696a6b6c6d6e6f70 ... 7273747576777879}");
}

TEST(CFData, IsNullSafe) {
    EXPECT_EQ(CFDataGetLength(nullptr), 0);
    EXPECT_EQ(CFDataGetBytePtr(nullptr), nullptr);
    EXPECT_EQ(CFDataGetMutableBytePtr(nullptr), nullptr);
    CFDataSetLength(nullptr, 1);
    CFDataAppendBytes(nullptr, nullptr, 0);
    EXPECT_EQ(CFDataGetLength(reinterpret_cast<CFDataRef>(CFSTR("no data"))), 0);
}

// ---- Changing

TEST(CFData, LeavesImmutableDataAsItIs) {
    const auto some = dataOf("abc");
    const CFMutableDataRef asMutable = const_cast<CFMutableDataRef>(some.get());
    CFDataSetLength(asMutable, 1);
    CFDataIncreaseLength(asMutable, 1);
    CFDataAppendBytes(asMutable, bytesOf("d"), 1);
    CFDataReplaceBytes(asMutable, CFRangeMake(0, 1), bytesOf("z"), 1);
    CFDataDeleteBytes(asMutable, CFRangeMake(0, 1));
    EXPECT_EQ(contents(some), "abc");
}

TEST(CFData, GrowsWithZerosAndShrinks) {
    const auto some = mutableData("abc");
    CFDataSetLength(some, 5);
    EXPECT_EQ(contents(some), std::string("abc\0\0", 5));
    CFDataSetLength(some, 2);
    CFDataIncreaseLength(some, 2);
    EXPECT_EQ(contents(some), std::string("ab\0\0", 4));
    CFDataSetLength(some, -1);
    CFDataIncreaseLength(some, -1);
    CFDataIncreaseLength(some, PTRDIFF_MAX);
    EXPECT_EQ(CFDataGetLength(some), 4);
    CFDataSetLength(some, 0);
    EXPECT_EQ(CFDataGetLength(some), 0);
}

TEST(CFData, ReplacesARangeByMoreByFewerAndByNone) {
    const auto some = mutableData("abcdef");
    CFDataReplaceBytes(some, CFRangeMake(1, 2), bytesOf("1234"), 4);
    EXPECT_EQ(contents(some), "a1234def");
    CFDataReplaceBytes(some, CFRangeMake(0, 5), bytesOf("z"), 1);
    EXPECT_EQ(contents(some), "zdef");
    CFDataDeleteBytes(some, CFRangeMake(1, 2));
    EXPECT_EQ(contents(some), "zf");
    CFDataReplaceBytes(some, CFRangeMake(2, 0), bytesOf("!"), 1);
    EXPECT_EQ(contents(some), "zf!");
    CFDataReplaceBytes(some, CFRangeMake(0, 1), nullptr, 1);
    CFDataReplaceBytes(some, CFRangeMake(0, 1), bytesOf("x"), -1);
    CFDataReplaceBytes(some, CFRangeMake(0, 4), bytesOf("x"), 1);
    CFDataReplaceBytes(some, CFRangeMake(0, 0), bytesOf("x"), PTRDIFF_MAX);
    CFDataDeleteBytes(some, CFRangeMake(3, 1));
    EXPECT_EQ(contents(some), "zf!");
}

TEST(CFData, TakesItsOwnBytesAsNewOnes) {
    const auto some = mutableData("abcd");
    for (int i = 0; i < 4; ++i) CFDataAppendBytes(some, CFDataGetBytePtr(some), CFDataGetLength(some));
    EXPECT_EQ(CFDataGetLength(some), 64);
    EXPECT_EQ(contents(some).substr(56), "abcdabcd");
    CFDataSetLength(some, 4);
    CFDataReplaceBytes(some, CFRangeMake(0, 1), CFDataGetBytePtr(some) + 1, 3);
    EXPECT_EQ(contents(some), "bcdbcd");
}

TEST(CFData, StaysWithinTheCapacityItWasGiven) {
    const auto some = hold(CFDataCreateMutable(nullptr, 4));
    CFDataAppendBytes(some, bytesOf("abc"), 3);
    CFDataAppendBytes(some, bytesOf("de"), 2);
    CFDataSetLength(some, 5);
    CFDataIncreaseLength(some, 2);
    EXPECT_EQ(contents(some), "abc");
    CFDataAppendBytes(some, bytesOf("d"), 1);
    CFDataReplaceBytes(some, CFRangeMake(0, 2), bytesOf("XY"), 2);
    EXPECT_EQ(contents(some), "XYcd");
}

TEST(CFData, AgreesWithAStringOverRandomChanges) {
    std::mt19937 random(4);
    const auto some = hold(CFDataCreateMutable(nullptr, 0));
    std::string expected;
    for (int step = 0; step < 5000; ++step) {
        const std::size_t at = random() % (expected.size() + 1);
        const std::size_t length = random() % std::min<std::size_t>(expected.size() - at + 1, 12);
        const std::string fresh(random() % 12, static_cast<char>('a' + random() % 26));
        CFDataReplaceBytes(some, CFRangeMake(static_cast<CFIndex>(at), static_cast<CFIndex>(length)), bytesOf(fresh),
                           static_cast<CFIndex>(fresh.size()));
        expected.replace(at, length, fresh);
        ASSERT_EQ(CFDataGetLength(some), static_cast<CFIndex>(expected.size()));
    }
    EXPECT_EQ(contents(some), expected);
}

// ---- Search

CFRange find(std::string_view where, std::string_view what, CFRange range, CFDataSearchFlags flags) {
    return CFDataFind(dataOf(where), dataOf(what), range, flags);
}

CFIndex findIn(std::string_view where, std::string_view what, CFDataSearchFlags flags = 0) {
    const CFRange found = find(where, what, CFRangeMake(0, static_cast<CFIndex>(where.size())), flags);
    EXPECT_EQ(found.length, found.location == kCFNotFound ? 0 : static_cast<CFIndex>(what.size()));
    return found.location;
}

TEST(CFData, FindsForwardsBackwardsAndAnchored) {
    EXPECT_EQ(findIn("abcabc", "bc"), 1);
    EXPECT_EQ(findIn("abcabc", "bc", kCFDataSearchBackwards), 4);
    EXPECT_EQ(findIn("abcabc", "abc", kCFDataSearchAnchored), 0);
    EXPECT_EQ(findIn("abcabc", "bc", kCFDataSearchAnchored), kCFNotFound);
    EXPECT_EQ(findIn("abcabc", "bc", kCFDataSearchAnchored | kCFDataSearchBackwards), 4);
    EXPECT_EQ(findIn("abcabc", "ab", kCFDataSearchAnchored | kCFDataSearchBackwards), kCFNotFound);
    EXPECT_EQ(findIn("abcabc", "x"), kCFNotFound);
    EXPECT_EQ(findIn("abcabc", "x", kCFDataSearchBackwards), kCFNotFound);
    EXPECT_EQ(findIn("abc", "abc", kCFDataSearchBackwards), 0);
    EXPECT_EQ(findIn("aaaa", "aa", kCFDataSearchBackwards), 2);
}

TEST(CFData, FindsOnlyInTheGivenRange) {
    EXPECT_EQ(find("abcabc", "abc", {1, 5}, 0).location, 3);
    EXPECT_EQ(find("abcabc", "abc", {0, 5}, kCFDataSearchBackwards).location, 0);
    EXPECT_EQ(find("abcabc", "abc", {1, 4}, 0).location, kCFNotFound);
    EXPECT_EQ(find("abcabc", "abc", {3, 3}, kCFDataSearchAnchored).location, 3);
    for (const CFRange range : {CFRange{-1, 3}, CFRange{0, 7}, CFRange{7, 0}, CFRange{1, PTRDIFF_MAX}})
        EXPECT_EQ(find("abcabc", "a", range, 0).location, kCFNotFound);
}

TEST(CFData, NeverFindsNothing) {
    EXPECT_EQ(findIn("abc", ""), kCFNotFound);
    EXPECT_EQ(findIn("", ""), kCFNotFound);
    EXPECT_EQ(findIn("", "a"), kCFNotFound);
    EXPECT_EQ(findIn("a", "ab"), kCFNotFound);
    EXPECT_EQ(CFDataFind(nullptr, dataOf("a"), {0, 0}, 0).location, kCFNotFound);
    EXPECT_EQ(CFDataFind(dataOf("a"), nullptr, {0, 1}, 0).location, kCFNotFound);
}

TEST(CFData, FindsWhatAStringFinds) {
    std::mt19937 random(6);
    for (int step = 0; step < 5000; ++step) {
        std::string where(random() % 40, 'a'), what(1 + random() % 5, 'a');
        for (char& c : where) c = static_cast<char>('a' + random() % 2);
        for (char& c : what) c = static_cast<char>('a' + random() % 2);
        const auto expected = [](std::size_t at) {
            return at == std::string::npos ? kCFNotFound : static_cast<CFIndex>(at);
        };
        ASSERT_EQ(findIn(where, what), expected(where.find(what))) << where << " " << what;
        ASSERT_EQ(findIn(where, what, kCFDataSearchBackwards), expected(where.rfind(what))) << where << " " << what;
    }
}

/// Takes no time to speak of, where trying every place byte by byte would take minutes.
TEST(CFData, FindsQuicklyHoweverTheBytesRepeat) {
    const std::string where(2'000'000, 'a');
    const std::string what = "b" + std::string(500'000, 'a') + "b";
    EXPECT_EQ(findIn(where, what), kCFNotFound);
    EXPECT_EQ(findIn(where, what, kCFDataSearchBackwards), kCFNotFound);
}

// ---- Memory

TEST(CFData, IsOneAllocationWhenImmutable) {
    TestAllocator allocator;
    hold(CFDataCreate(allocator, bytesOf("abc"), 3));
    EXPECT_EQ(allocator.requests(), 1);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFData, KeepsItsBytesWhenTheAllocatorFails) {
    TestAllocator allocator;
    allocator.failAfter(0);
    EXPECT_EQ(CFDataCreate(allocator, bytesOf("abc"), 3), nullptr);
    EXPECT_EQ(CFDataCreateMutable(allocator, 0), nullptr);
    allocator.failAfter(1);
    EXPECT_EQ(CFDataCreateMutableCopy(allocator, 0, dataOf("abc")), nullptr);
    allocator.failAfter(2);
    {
        const auto some = hold(CFDataCreateMutable(allocator, 0));
        CFDataAppendBytes(some, bytesOf("abc"), 3);
        CFDataSetLength(some, 100000);
        CFDataAppendBytes(some, bytesOf(std::string(1000, 'x')), 1000);
        EXPECT_EQ(contents(some), "abc");
    }
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFData, IsReadByManyThreadsAtOnce) {
    const auto shared = dataOf("shared bytes");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&shared] {
            for (int i = 0; i < 500; ++i) EXPECT_EQ(contents(hold(CFDataCreateCopy(nullptr, shared))), "shared bytes");
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(CFGetRetainCount(shared), 1);
}

}  // namespace

TEST(CFData, SurvivesNullArguments) {
    using namespace NullArguments;
    const UInt8 bytes[] = {1, 2};
    for (const Length length : Tried<Length>::values) {
        for (const bool isNull : {false, true}) {
            const bool isRight = length.value == 0 || (length.value > 0 && !isNull);
            EXPECT_EQ(hold(CFDataCreate(nullptr, orNull(isNull, bytes), length.value)).get() != nullptr, isRight);
            EXPECT_EQ(hold(CFDataCreateWithBytesNoCopy(nullptr, orNull(isNull, bytes), length.value, kCFAllocatorNull))
                              .get() != nullptr,
                      isRight);
        }
    }
    EXPECT_EQ(CFDataCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDataGetLength(nullptr), 0);
    EXPECT_EQ(CFDataGetBytePtr(nullptr), nullptr);
    EXPECT_EQ(CFDataGetMutableBytePtr(nullptr), nullptr);
    for (const CFIndex number : kIndexes) {
        EXPECT_EQ(hold(CFDataCreateMutable(nullptr, number)).get() != nullptr, number >= 0);
        EXPECT_EQ(CFDataCreateMutableCopy(nullptr, number, nullptr), nullptr);
        take(CFDataCreateMutableCopy(nullptr, number, fourBytes()));
        CFDataSetLength(nullptr, number);
        CFDataIncreaseLength(nullptr, number);
        CFDataAppendBytes(nullptr, bytes, number);
        const auto set = fourBytes();
        CFDataSetLength(set, number);
        EXPECT_EQ(CFDataGetLength(set), number >= 0 && number <= 4 ? number : 4);
        const auto increased = fourBytes();
        CFDataIncreaseLength(increased, number);
        EXPECT_EQ(CFDataGetLength(increased), number >= 0 && number <= 4 ? 4 + number : 4);
    }
    attack([](bool noData, CFRange range, bool noBytes, Length length) {
        auto whole = fourBytes();
        const CFMutableDataRef given = orNull(noData, whole.get());
        const UInt8 replacement[] = {8, 9};
        UInt8 read[4];
        CFDataGetBytes(given, range, orNull(noBytes, read));
        CFDataFind(given, whole, range, static_cast<CFOptionFlags>(length.value));
        CFDataFind(whole, given, range, kCFDataSearchBackwards);
        CFDataAppendBytes(given, orNull(noBytes, replacement), length.value < 0 ? length.value : 0);
        CFDataReplaceBytes(given, range, orNull(noBytes, replacement), length.value);
        if (!fits(range) || noData || length.value < 0) {
            EXPECT_TRUE(CFEqual(whole, fourBytes()));
        }
        auto other = fourBytes();
        CFDataDeleteBytes(orNull(noData, other.get()), range);
        EXPECT_EQ(CFDataGetLength(other), !noData && fits(range) ? 4 - range.length : 4);
    });
}
