#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include "CoreFoundation/Values/CFNumberObject.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace Held;
using namespace Values;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::int64_t kMaximum = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMinimum = std::numeric_limits<std::int64_t>::min();

Holder<CFNumberRef> real32(float value) { return hold(CFNumberCreate(nullptr, kCFNumberFloat32Type, &value)); }
Holder<CFNumberRef> beyond(std::uint64_t value) { return hold(KXPlatform::createUnsignedNumber(nullptr, value)); }

template <class T>
struct Converted {
    T value;
    bool exact;
    bool operator==(const Converted&) const = default;
};

template <class T>
Converted<T> convert(CFNumberRef number, CFNumberType type) {
    T value{};
    const bool exact = CFNumberGetValue(number, type, &value);
    return {value, exact};
}

CFComparisonResult compare(CFNumberRef a, CFNumberRef b) { return CFNumberCompare(a, b, nullptr); }

// ---- Types

struct TypeRow {
    CFNumberType given;
    CFNumberType kept;
    CFIndex size;
};

class CFNumberTypes : public testing::TestWithParam<TypeRow> {};

TEST_P(CFNumberTypes, AreKeptBySizeAndKind) {
    const TypeRow& row = GetParam();
    std::uint64_t zero[2] = {0, 0};
    const auto number = hold(CFNumberCreate(nullptr, row.given, zero));
    ASSERT_NE(number.get(), nullptr);
    EXPECT_EQ(CFGetTypeID(number), CFNumberGetTypeID());
    EXPECT_EQ(CFNumberGetType(number), row.kept);
    EXPECT_EQ(CFNumberGetByteSize(number), row.size);
    EXPECT_EQ(CFNumberIsFloatType(number), row.kept == kCFNumberFloat32Type || row.kept == kCFNumberFloat64Type);
    std::uint64_t out = 77;
    EXPECT_TRUE(CFNumberGetValue(number, row.given, &out));
}

INSTANTIATE_TEST_SUITE_P(
    All, CFNumberTypes,
    testing::Values(
        TypeRow{kCFNumberSInt8Type, kCFNumberSInt8Type, 1}, TypeRow{kCFNumberSInt16Type, kCFNumberSInt16Type, 2},
        TypeRow{kCFNumberSInt32Type, kCFNumberSInt32Type, 4}, TypeRow{kCFNumberSInt64Type, kCFNumberSInt64Type, 8},
        TypeRow{kCFNumberFloat32Type, kCFNumberFloat32Type, 4}, TypeRow{kCFNumberFloat64Type, kCFNumberFloat64Type, 8},
        TypeRow{kCFNumberCharType, kCFNumberSInt8Type, 1}, TypeRow{kCFNumberShortType, kCFNumberSInt16Type, 2},
        TypeRow{kCFNumberIntType, kCFNumberSInt32Type, 4}, TypeRow{kCFNumberLongType, kCFNumberSInt64Type, 8},
        TypeRow{kCFNumberLongLongType, kCFNumberSInt64Type, 8}, TypeRow{kCFNumberFloatType, kCFNumberFloat32Type, 4},
        TypeRow{kCFNumberDoubleType, kCFNumberFloat64Type, 8}, TypeRow{kCFNumberCFIndexType, kCFNumberSInt64Type, 8},
        TypeRow{kCFNumberNSIntegerType, kCFNumberSInt64Type, 8},
        TypeRow{kCFNumberCGFloatType, kCFNumberFloat64Type, 8}));

TEST(CFNumber, RefusesWhatIsNoType) {
    const std::uint64_t zero[2] = {0, 0};
    for (const int type : {0, -1, 17, 1000})
        EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(type), zero), nullptr);
    EXPECT_EQ(CFNumberCreate(nullptr, kCFNumberIntType, nullptr), nullptr);
    std::uint64_t out = 77;
    EXPECT_FALSE(CFNumberGetValue(number(1), static_cast<CFNumberType>(17), &out));
    EXPECT_EQ(out, 77u);
}

TEST(CFNumber, IsNullSafe) {
    int out = 77;
    EXPECT_FALSE(CFNumberGetValue(nullptr, kCFNumberIntType, &out));
    EXPECT_FALSE(CFNumberGetValue(reinterpret_cast<CFNumberRef>(kCFBooleanTrue), kCFNumberIntType, &out));
    EXPECT_EQ(out, 77);
    EXPECT_FALSE(CFNumberIsFloatType(nullptr));
    EXPECT_EQ(CFNumberGetByteSize(nullptr), 0);
    EXPECT_TRUE(CFNumberGetValue(number(5), kCFNumberIntType, nullptr));
}

TEST(CFNumber, IsReadFromMemoryOfAnyAlignment) {
    char bytes[16] = {};
    const double value = 1234.5;
    std::memcpy(bytes + 1, &value, sizeof value);
    const auto number = hold(CFNumberCreate(nullptr, kCFNumberDoubleType, bytes + 1));
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberDoubleType, bytes + 3));
    double out;
    std::memcpy(&out, bytes + 3, sizeof out);
    EXPECT_EQ(out, value);
}

// ---- Conversion

TEST(CFNumber, ConvertsExactlyWhereTheValueSurvives) {
    EXPECT_EQ(convert<std::int8_t>(number(-128), kCFNumberSInt8Type), (Converted<std::int8_t>{-128, true}));
    EXPECT_EQ(convert<std::int16_t>(number(30000), kCFNumberSInt16Type), (Converted<std::int16_t>{30000, true}));
    EXPECT_EQ(convert<std::int32_t>(real(-5.0), kCFNumberSInt32Type), (Converted<std::int32_t>{-5, true}));
    EXPECT_EQ(convert<double>(number(1LL << 53), kCFNumberFloat64Type), (Converted<double>{9007199254740992.0, true}));
    EXPECT_EQ(convert<float>(real(0.5), kCFNumberFloat32Type), (Converted<float>{0.5f, true}));
    EXPECT_EQ(convert<double>(real32(0.1f), kCFNumberFloat64Type), (Converted<double>{double{0.1f}, true}));
}

TEST(CFNumber, KeepsTheLowBitsOfAnIntegerThatDoesNotFit) {
    EXPECT_EQ(convert<std::int16_t>(number(-70000), kCFNumberSInt16Type), (Converted<std::int16_t>{-4464, false}));
    EXPECT_EQ(convert<std::int16_t>(number(40000), kCFNumberSInt16Type), (Converted<std::int16_t>{-25536, false}));
    EXPECT_EQ(convert<std::int32_t>(number(5000000000), kCFNumberSInt32Type),
              (Converted<std::int32_t>{705032704, false}));
    EXPECT_EQ(convert<std::int32_t>(number(kMaximum), kCFNumberIntType), (Converted<std::int32_t>{-1, false}));
    EXPECT_EQ(convert<std::int32_t>(number(kMinimum), kCFNumberIntType), (Converted<std::int32_t>{0, false}));
    EXPECT_EQ(convert<std::int8_t>(number(300), kCFNumberSInt8Type), (Converted<std::int8_t>{44, false}));
    EXPECT_EQ(convert<std::int8_t>(number(-300), kCFNumberSInt8Type), (Converted<std::int8_t>{-44, false}));
}

TEST(CFNumber, EightBitsHoldWhatASignedOrAnUnsignedByteHolds) {
    EXPECT_EQ(convert<std::int8_t>(number(127), kCFNumberSInt8Type), (Converted<std::int8_t>{127, true}));
    EXPECT_EQ(convert<std::int8_t>(number(128), kCFNumberSInt8Type), (Converted<std::int8_t>{-128, true}));
    EXPECT_EQ(convert<std::int8_t>(number(255), kCFNumberCharType), (Converted<std::int8_t>{-1, true}));
    EXPECT_EQ(convert<std::int8_t>(number(256), kCFNumberSInt8Type), (Converted<std::int8_t>{0, false}));
    EXPECT_EQ(convert<std::int8_t>(number(-129), kCFNumberSInt8Type), (Converted<std::int8_t>{127, false}));
    EXPECT_EQ(convert<std::int16_t>(number(65535), kCFNumberSInt16Type), (Converted<std::int16_t>{-1, false}))
        << "no wider type does";
}

TEST(CFNumber, WritesTheNearestValueOfARealThatHasNone) {
    EXPECT_EQ(convert<std::int32_t>(real(1.75), kCFNumberIntType), (Converted<std::int32_t>{1, false}));
    EXPECT_EQ(convert<std::int32_t>(real(-1.75), kCFNumberIntType), (Converted<std::int32_t>{-1, false}));
    EXPECT_EQ(convert<std::int32_t>(real(5e9), kCFNumberIntType),
              (Converted<std::int32_t>{std::numeric_limits<std::int32_t>::max(), false}));
    EXPECT_EQ(convert<float>(real(0.1), kCFNumberFloat32Type), (Converted<float>{0.1f, false}));
    EXPECT_EQ(convert<float>(real(1e300), kCFNumberFloat32Type),
              (Converted<float>{std::numeric_limits<float>::infinity(), false}));
    EXPECT_EQ(convert<double>(number((1LL << 53) + 1), kCFNumberFloat64Type),
              (Converted<double>{9007199254740992.0, false}));
    EXPECT_EQ(convert<float>(number(16777217), kCFNumberFloatType), (Converted<float>{16777216.0f, false}));
}

TEST(CFNumber, ConvertsAtTheEdgesOfItsRange) {
    EXPECT_EQ(convert<double>(number(kMaximum), kCFNumberFloat64Type), (Converted<double>{0x1p63, false}));
    EXPECT_EQ(convert<double>(number(kMinimum), kCFNumberFloat64Type), (Converted<double>{-0x1p63, true}));
    EXPECT_EQ(convert<std::int64_t>(real(0x1p63), kCFNumberSInt64Type), (Converted<std::int64_t>{kMaximum, false}));
    EXPECT_EQ(convert<std::int64_t>(real(-0x1p63), kCFNumberSInt64Type), (Converted<std::int64_t>{kMinimum, true}));
    EXPECT_EQ(convert<std::int64_t>(real(-0x1.1p63), kCFNumberSInt64Type), (Converted<std::int64_t>{kMinimum, false}));
    EXPECT_EQ(convert<std::int8_t>(real(127.0), kCFNumberCharType), (Converted<std::int8_t>{127, true}));
    EXPECT_EQ(convert<std::int8_t>(real(127.5), kCFNumberCharType), (Converted<std::int8_t>{127, false}));
    EXPECT_EQ(convert<std::int8_t>(real(128.0), kCFNumberCharType), (Converted<std::int8_t>{127, false}));
    EXPECT_EQ(convert<std::int8_t>(real(-128.0), kCFNumberCharType), (Converted<std::int8_t>{-128, true}));
    EXPECT_EQ(convert<std::int8_t>(real(-128.5), kCFNumberCharType), (Converted<std::int8_t>{-128, false}));
    EXPECT_EQ(convert<std::int8_t>(real(-129.0), kCFNumberCharType), (Converted<std::int8_t>{-128, false}));
}

TEST(CFNumber, ConvertsWhatIsNoOrdinaryNumber) {
    EXPECT_EQ(convert<std::int32_t>(real(-0.0), kCFNumberIntType), (Converted<std::int32_t>{0, true}));
    EXPECT_EQ(convert<std::int32_t>(kCFNumberNaN, kCFNumberIntType), (Converted<std::int32_t>{0, false}));
    EXPECT_EQ(convert<std::int64_t>(kCFNumberPositiveInfinity, kCFNumberSInt64Type),
              (Converted<std::int64_t>{kMaximum, false}));
    EXPECT_EQ(convert<std::int64_t>(kCFNumberNegativeInfinity, kCFNumberSInt64Type),
              (Converted<std::int64_t>{kMinimum, false}));
    EXPECT_EQ(convert<float>(kCFNumberPositiveInfinity, kCFNumberFloatType),
              (Converted<float>{std::numeric_limits<float>::infinity(), true}));
    float narrow = 0;
    EXPECT_FALSE(CFNumberGetValue(kCFNumberNaN, kCFNumberFloat32Type, &narrow));
    EXPECT_TRUE(std::isnan(narrow));
    double wide = 0;
    EXPECT_TRUE(CFNumberGetValue(kCFNumberNaN, kCFNumberFloat64Type, &wide));
    EXPECT_TRUE(std::isnan(wide));
}

// ---- Equality, hash and order

TEST(CFNumber, IsEqualAndHashesAlikeAcrossItsTypes) {
    for (const std::int64_t value : {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, std::int64_t{100},
                                     std::int64_t{1} << 40, -(std::int64_t{1} << 52), kMinimum}) {
        std::vector<Holder<CFNumberRef>> all;
        all.push_back(number(value));
        all.push_back(real(static_cast<double>(value)));
        if (static_cast<std::int64_t>(static_cast<float>(value)) == value)
            all.push_back(real32(static_cast<float>(value)));
        const std::int32_t narrow = static_cast<std::int32_t>(value);
        if (narrow == value) all.push_back(hold(CFNumberCreate(nullptr, kCFNumberIntType, &narrow)));
        for (const auto& a : all)
            for (const auto& b : all) {
                EXPECT_TRUE(CFEqual(a, b)) << value;
                EXPECT_EQ(CFHash(a), CFHash(b)) << value;
                EXPECT_EQ(compare(a, b), kCFCompareEqualTo) << value;
            }
    }
    EXPECT_TRUE(CFEqual(real32(0.5f), real(0.5)));
    EXPECT_EQ(CFHash(real32(0.5f)), CFHash(real(0.5)));
    EXPECT_FALSE(CFEqual(real32(0.1f), real(0.1)));
}

TEST(CFNumber, IsNotEqualWhereADoubleWouldRound) {
    EXPECT_FALSE(CFEqual(number(kMaximum), real(0x1p63)));
    EXPECT_EQ(compare(number(kMaximum), real(0x1p63)), kCFCompareLessThan);
    EXPECT_FALSE(CFEqual(number((1LL << 53) + 1), real(0x1p53)));
    EXPECT_EQ(compare(number((1LL << 53) + 1), real(0x1p53)), kCFCompareGreaterThan);
    EXPECT_EQ(compare(number(1), real(1.5)), kCFCompareLessThan);
    EXPECT_EQ(compare(number(-1), real(-1.5)), kCFCompareGreaterThan);
    EXPECT_EQ(compare(real(-1.5), number(-1)), kCFCompareLessThan);
}

/// The whole order, each greater than all before it.
TEST(CFNumber, IsOrderedWithNaNAndNegativeZeroInTheirPlaces) {
    std::vector<Holder<CFNumberRef>> all;
    all.push_back(real(-kInfinity));
    all.push_back(real(-0x1.8p63));
    all.push_back(number(kMinimum));
    all.push_back(number(-1));
    all.push_back(real(-0.5));
    all.push_back(real(-0.0));
    all.push_back(real(std::nan("")));
    all.push_back(number(0));
    all.push_back(real(0.5));
    all.push_back(number(1));
    all.push_back(number(kMaximum));
    all.push_back(real(0x1p63));
    all.push_back(beyond((1ull << 63) + 1));
    all.push_back(beyond(UINT64_MAX));
    all.push_back(real(0x1p64));
    all.push_back(real(kInfinity));
    for (std::size_t i = 0; i < all.size(); ++i)
        for (std::size_t j = 0; j < all.size(); ++j) {
            EXPECT_EQ(compare(all[i], all[j]), i < j   ? kCFCompareLessThan
                                               : i > j ? kCFCompareGreaterThan
                                                       : kCFCompareEqualTo)
                << i << " " << j;
            EXPECT_EQ(CFEqual(all[i], all[j]), i == j);
        }
}

TEST(CFNumber, IsNeverEqualToABoolean) {
    EXPECT_FALSE(CFEqual(number(1), kCFBooleanTrue));
    EXPECT_FALSE(CFEqual(kCFBooleanFalse, number(0)));
}

TEST(CFNumber, IsOrderedAlikeHoweverItIsWritten) {
    std::mt19937_64 random(2);
    for (int i = 0; i < 20000; ++i) {
        const std::int64_t a = static_cast<std::int64_t>(random()) >> (random() % 64);
        const std::int64_t b = random() % 2 ? a + static_cast<std::int64_t>(random() % 3) - 1
                                            : static_cast<std::int64_t>(random()) >> (random() % 64);
        __extension__ using Wide = __int128;
        const auto exact = static_cast<Wide>(static_cast<double>(b));
        const auto whole = number(a);
        const auto other = real(static_cast<double>(b));
        const CFComparisonResult expected = a < exact   ? kCFCompareLessThan
                                            : a > exact ? kCFCompareGreaterThan
                                                        : kCFCompareEqualTo;
        ASSERT_EQ(compare(whole, other), expected) << a << " " << b;
        if (expected == kCFCompareEqualTo) {
            ASSERT_EQ(CFHash(whole), CFHash(other));
        }
    }
}

// ---- Numbers that exist once

TEST(CFNumber, ExistsOnceForSmallIntegersNaNAndInfinities) {
    for (std::int64_t value = -16; value <= 255; ++value) EXPECT_EQ(number(value).get(), number(value).get());
    EXPECT_NE(number(1 << 20).get(), number(1 << 20).get());
    EXPECT_EQ(real(std::nan("")).get(), kCFNumberNaN);
    EXPECT_EQ(real(-std::nan("7")).get(), kCFNumberNaN);
    EXPECT_EQ(real32(std::nanf("")).get(), kCFNumberNaN);
    EXPECT_EQ(real(kInfinity).get(), kCFNumberPositiveInfinity);
    EXPECT_EQ(real(-kInfinity).get(), kCFNumberNegativeInfinity);
    const CFIndex before = CFGetRetainCount(kCFNumberNaN);
    CFRetain(kCFNumberNaN);
    EXPECT_EQ(CFGetRetainCount(kCFNumberNaN), before);
}

TEST(CFNumber, ThatIsNoNumberIsFoundInASet) {
    const void* values[] = {kCFNumberNaN, kCFNumberPositiveInfinity, kCFNumberNegativeInfinity};
    const auto set = hold(CFSetCreate(nullptr, values, 3, &kCFTypeSetCallBacks));
    EXPECT_EQ(CFSetGetCount(set), 3);
    for (const double value : {std::nan("3"), kInfinity, -kInfinity}) EXPECT_TRUE(CFSetContainsValue(set, real(value)));
    EXPECT_FALSE(CFSetContainsValue(set, real(0x1p70)));
}

TEST(CFNumber, KeepsTheTypeOfASmallInteger) {
    const std::int8_t one = 1;
    const std::int16_t two = 2;
    const auto byte = hold(CFNumberCreate(nullptr, kCFNumberCharType, &one));
    const auto shortOne = hold(CFNumberCreate(nullptr, kCFNumberShortType, &two));
    EXPECT_EQ(CFNumberGetType(byte), kCFNumberSInt8Type);
    EXPECT_EQ(description(byte), heading("CFNumber", byte) + "{value = +1, type = kCFNumberSInt8Type}");
    EXPECT_EQ(description(shortOne), heading("CFNumber", shortOne) + "{value = +2, type = kCFNumberSInt16Type}");
    EXPECT_EQ(CFNumberGetType(number(1)), kCFNumberSInt64Type);
}

// ---- Beyond 64 signed bits

TEST(CFNumber, HoldsUnsignedValuesForPropertyLists) {
    EXPECT_EQ(CFNumberGetType(beyond(7)), kCFNumberSInt64Type);
    EXPECT_TRUE(CFEqual(beyond(7), number(7)));
    const auto largest = beyond(UINT64_MAX);
    EXPECT_EQ(largest.get()->unsignedValue(), UINT64_MAX);
    EXPECT_TRUE(largest.get()->isBeyondSInt64());
    EXPECT_EQ(CFNumberGetType(largest), kCFNumberSInt64Type);
    EXPECT_EQ(CFNumberGetByteSize(largest), 8);
    EXPECT_EQ(convert<std::int64_t>(largest, kCFNumberSInt64Type), (Converted<std::int64_t>{-1, false}));
    EXPECT_EQ(convert<std::int8_t>(largest, kCFNumberSInt8Type), (Converted<std::int8_t>{-1, false}));
    EXPECT_EQ(convert<double>(largest, kCFNumberDoubleType), (Converted<double>{0x1p64, false}));
    EXPECT_EQ(convert<double>(beyond(1ull << 63), kCFNumberDoubleType), (Converted<double>{0x1p63, true}));
    EXPECT_TRUE(CFEqual(beyond(1ull << 63), real(0x1p63)));
    EXPECT_EQ(CFHash(beyond(1ull << 63)), CFHash(real(0x1p63)));
    EXPECT_FALSE(CFEqual(largest, number(-1)));
    EXPECT_EQ(description(largest),
              heading("CFNumber", largest) + "{value = +18446744073709551615, type = kCFNumberSInt128Type}");
}

// ---- Descriptions and memory

TEST(CFNumber, DescribesItselfWithItsType) {
    const std::int32_t one = 1;
    const auto small = hold(CFNumberCreate(nullptr, kCFNumberIntType, &one));
    EXPECT_EQ(description(small), heading("CFNumber", small) + "{value = +1, type = kCFNumberSInt32Type}");
    const auto negative = number(-1000);
    EXPECT_EQ(description(negative), heading("CFNumber", negative) + "{value = -1000, type = kCFNumberSInt64Type}");
    const auto half = real(1.5);
    EXPECT_EQ(description(half),
              heading("CFNumber", half) + "{value = +1.50000000000000000000, type = kCFNumberFloat64Type}");
    const auto narrow = real32(1.5f);
    EXPECT_EQ(description(narrow),
              heading("CFNumber", narrow) + "{value = +1.5000000000, type = kCFNumberFloat32Type}");
    EXPECT_EQ(description(kCFNumberNaN),
              heading("CFNumber", kCFNumberNaN) + "{value = nan, type = kCFNumberFloat64Type}");
    EXPECT_EQ(description(kCFNumberNegativeInfinity),
              heading("CFNumber", kCFNumberNegativeInfinity) + "{value = -infinity, type = kCFNumberFloat64Type}");
    EXPECT_EQ(description(kCFNumberPositiveInfinity),
              heading("CFNumber", kCFNumberPositiveInfinity) + "{value = +infinity, type = kCFNumberFloat64Type}");
    EXPECT_EQ(description(real(-1.7e308)).find("(null)"), std::string::npos);
}

TEST(CFNumber, IsOneAllocationAndNullWithoutMemory) {
    TestAllocator allocator;
    const std::int64_t value = 123456;
    hold(CFNumberCreate(allocator, kCFNumberSInt64Type, &value));
    EXPECT_EQ(allocator.requests(), 1);
    allocator.failAfter(0);
    EXPECT_EQ(CFNumberCreate(allocator, kCFNumberSInt64Type, &value), nullptr);
    EXPECT_EQ(allocator.blocks(), 0);
}

// ---- Booleans

TEST(CFBoolean, IsOneOfTwo) {
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_FALSE(CFBooleanGetValue(nullptr));
    EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
    EXPECT_NE(CFBooleanGetTypeID(), CFNumberGetTypeID());
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
    EXPECT_NE(CFHash(kCFBooleanTrue), CFHash(kCFBooleanFalse));
    EXPECT_EQ(description(kCFBooleanTrue), heading("CFBoolean", kCFBooleanTrue) + "{value = true}");
    EXPECT_EQ(description(kCFBooleanFalse), heading("CFBoolean", kCFBooleanFalse) + "{value = false}");
    CFRelease(kCFBooleanTrue);
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
}

}  // namespace

TEST(CFNumber, SurvivesNullArguments) {
    using namespace NullArguments;
    const auto one = Values::number(1);
    for (const CFIndex number : kIndexes) {
        const auto type = static_cast<CFNumberType>(number);
        EXPECT_EQ(CFNumberCreate(nullptr, type, nullptr), nullptr);
        EXPECT_FALSE(CFNumberGetValue(nullptr, type, nullptr));
        double value;
        CFNumberGetValue(one, type, nullptr);
        CFNumberGetValue(one, type, &value);
    }
    EXPECT_FALSE(CFBooleanGetValue(nullptr));
    EXPECT_EQ(CFNumberGetType(nullptr), 0);
    EXPECT_EQ(CFNumberGetByteSize(nullptr), 0);
    EXPECT_FALSE(CFNumberIsFloatType(nullptr));
    EXPECT_EQ(CFNumberCompare(nullptr, nullptr, nullptr), kCFCompareEqualTo);
    EXPECT_EQ(CFNumberCompare(nullptr, one, nullptr), kCFCompareLessThan);
    EXPECT_EQ(CFNumberCompare(one, nullptr, nullptr), kCFCompareGreaterThan);
}
