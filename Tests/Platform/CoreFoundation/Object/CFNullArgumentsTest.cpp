// Every function with what a caller's mistake may hand it: null objects and places, negative counts, ranges of any
// numbers. None of it may crash, read or write beyond what is there (the sanitizers watch), or change an object that a
// range does not fit.

#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdarg>
#include <limits>
#include <tuple>

namespace {

using Held::hold;
using Held::Holder;

constexpr CFIndex kLeast = std::numeric_limits<CFIndex>::min();
constexpr CFIndex kMost = std::numeric_limits<CFIndex>::max();
constexpr std::array<CFIndex, 9> kIndexes{kLeast, kLeast + 1, -1, 0, 1, 3, 4, kMost - 1, kMost};

/// How much a buffer of the caller's holds: a number too large would be a lie that nothing can find out.
struct Length {
    CFIndex value;
};
struct Encoding {
    CFStringEncoding value;
};
struct Flags {
    CFOptionFlags value;
};

/// All the values that a parameter of a type is tried with.
template <class T>
struct Tried;
template <>
struct Tried<bool> {
    static constexpr std::array values{false, true};
};
template <>
struct Tried<CFIndex> {
    static constexpr auto values = kIndexes;
};
template <>
struct Tried<Length> {
    static constexpr std::array values{Length{kLeast}, Length{-1}, Length{0}, Length{2}};
};
template <>
struct Tried<Encoding> {
    static constexpr std::array values{Encoding{kCFStringEncodingUTF8}, Encoding{kCFStringEncodingASCII},
                                       Encoding{kCFStringEncodingUTF16}, Encoding{kCFStringEncodingUTF32LE},
                                       Encoding{0xFFFFFFFF}};
};
template <>
struct Tried<Flags> {
    static constexpr std::array values{Flags{0}, Flags{kCFCompareBackwards}, Flags{kCFCompareAnchored},
                                       Flags{kCFCompareCaseInsensitive | kCFCompareNumerically}, Flags{~0UL}};
};
template <>
struct Tried<CFRange> {
    static constexpr auto values = [] {
        std::array<CFRange, kIndexes.size() * kIndexes.size()> all{};
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = {kIndexes[i / kIndexes.size()], kIndexes[i % kIndexes.size()]};
        return all;
    }();
};

/// Calls `call` with every combination.
template <class... Args, class... Bound>
void attackWith(void (*call)(Args...), Bound... bound) {
    if constexpr (sizeof...(Bound) == sizeof...(Args)) {
        call(bound...);
    } else {
        using Next = std::tuple_element_t<sizeof...(Bound), std::tuple<Args...>>;
        for (const Next value : Tried<Next>::values) attackWith(call, bound..., value);
    }
}
template <class Call>
void attack(Call call) {
    attackWith(+call);
}

/// Whether a range lies in a sequence of four.
bool fits(CFRange range) {
    return range.location >= 0 && range.length >= 0 && range.location <= 4 && range.length <= 4 - range.location;
}

void take(CFTypeRef made) {
    if (made) CFRelease(made);
}

const void* const kObjects[] = {CFSTR("a"), CFSTR("b"), CFSTR("c"), CFSTR("d")};

Holder<CFMutableArrayRef> array() {
    auto made = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const void* object : kObjects) CFArrayAppendValue(made, object);
    return made;
}
Holder<CFMutableDictionaryRef> dictionary() {
    auto made =
        hold(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const void* object : kObjects) CFDictionarySetValue(made, object, object);
    return made;
}
Holder<CFMutableSetRef> set() {
    auto made = hold(CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks));
    for (const void* object : kObjects) CFSetAddValue(made, object);
    return made;
}
Holder<CFMutableDataRef> data() {
    auto made = hold(CFDataCreateMutable(nullptr, 0));
    CFDataAppendBytes(made, reinterpret_cast<const UInt8*>("abcd"), 4);
    return made;
}
Holder<CFMutableStringRef> text(bool isWide) { return Held::mutableString(isWide ? u"\u00E4b\u4E00d" : u"abcd"); }

CFComparisonResult compareAddresses(const void* a, const void* b, void*) {
    return a < b ? kCFCompareLessThan : a > b ? kCFCompareGreaterThan : kCFCompareEqualTo;
}
void ignore(const void*, void*) {}
void ignoreBoth(const void*, const void*, void*) {}

template <class T>
T* orNull(bool isNull, T* pointer) {
    return isNull ? nullptr : pointer;
}

}  // namespace

/// AddressSanitizer ends the process on sizes that no computer has, where malloc gives null.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

TEST(NullArguments, OfObjects) {
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
    for (const CFIndex number : kIndexes) CFCopyTypeIDDescription(static_cast<CFTypeID>(number));
}

TEST(NullArguments, OfAllocators) {
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

TEST(NullArguments, OfArrays) {
    attack([](bool noValues, Length count, bool noCallBacks) {
        const void* values[] = {kObjects[0], noCallBacks ? nullptr : kObjects[1]};
        const auto made = hold(
            CFArrayCreate(nullptr, orNull(noValues, values), count.value, orNull(noCallBacks, &kCFTypeArrayCallBacks)));
        EXPECT_EQ(made.get() != nullptr, count.value == 0 || (count.value > 0 && !noValues));
    });
    for (const CFIndex capacity : kIndexes) {
        EXPECT_EQ(hold(CFArrayCreateMutable(nullptr, capacity, nullptr)).get() != nullptr, capacity >= 0);
        EXPECT_EQ(hold(CFArrayCreateMutableCopy(nullptr, capacity, array())).get() != nullptr, capacity >= 0);
        EXPECT_EQ(CFArrayCreateMutableCopy(nullptr, capacity, nullptr), nullptr);
        EXPECT_EQ(hold(CFArrayCreate(nullptr, nullptr, capacity, nullptr)).get() != nullptr, capacity == 0);
        EXPECT_EQ(CFArrayGetValueAtIndex(nullptr, capacity), nullptr);
        EXPECT_EQ(CFArrayGetValueAtIndex(array(), capacity) != nullptr, capacity >= 0 && capacity < 4);
    }
    EXPECT_EQ(CFArrayCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFArrayGetCount(nullptr), 0);
    CFArrayAppendValue(nullptr, nullptr);
    CFArrayAppendValue(array(), nullptr);
    CFArrayRemoveAllValues(nullptr);
    attack([](bool noArray, CFRange range, bool noValue, bool noFunction) {
        const auto whole = array();
        const CFArrayRef given = orNull(noArray, whole.get());
        const void* const value = orNull(noValue, kObjects[2]);
        const bool mayFind =
            !noArray && !noValue && fits(range) && range.location <= 2 && range.location + range.length > 2;
        EXPECT_EQ(CFArrayGetCountOfValue(given, range, value), mayFind);
        EXPECT_EQ(CFArrayContainsValue(given, range, value), mayFind);
        EXPECT_EQ(CFArrayGetFirstIndexOfValue(given, range, value), mayFind ? 2 : kCFNotFound);
        EXPECT_EQ(CFArrayGetLastIndexOfValue(given, range, value), mayFind ? 2 : kCFNotFound);
        const void* values[4] = {};
        CFArrayGetValues(given, range, orNull(noValue, values));
        CFArrayApplyFunction(given, range, noFunction ? nullptr : ignore, nullptr);
        CFArrayBSearchValues(given, range, value, noFunction ? nullptr : compareAddresses, nullptr);
    });
    attack([](bool noArray, CFIndex index, CFIndex other) {
        auto whole = array();
        const CFMutableArrayRef given = orNull(noArray, whole.get());
        CFArrayExchangeValuesAtIndices(given, index, other);
        EXPECT_EQ(CFArrayGetCount(whole), 4);
        CFArraySetValueAtIndex(given, index, nullptr);
        CFArrayInsertValueAtIndex(given, other, nullptr);
        CFArrayRemoveValueAtIndex(given, index);
        CFArrayRemoveValueAtIndex(given, other);
    });
    attack([](bool noArray, CFRange range, bool noValues, Length count) {
        auto whole = array();
        const CFMutableArrayRef given = orNull(noArray, whole.get());
        const void* values[] = {kObjects[0], kObjects[1]};
        CFArrayReplaceValues(given, range, orNull(noValues, values), count.value);
        if (!fits(range) || noArray || count.value < 0) {
            EXPECT_TRUE(CFEqual(whole, array()));
        }
    });
    attack([](bool noArray, CFRange range, bool noOther) {
        auto whole = array();
        const auto other = array();
        CFArrayAppendArray(orNull(noArray, whole.get()), orNull(noOther, other.get()), range);
        EXPECT_EQ(CFArrayGetCount(whole), noArray || noOther || !fits(range) ? 4 : 4 + range.length);
        CFArraySortValues(orNull(noArray, whole.get()), range, noOther ? nullptr : compareAddresses, nullptr);
    });
}

TEST(NullArguments, OfDictionaries) {
    attack([](bool noKeys, bool noValues, Length count, bool noCallBacks) {
        const void* keys[] = {kObjects[0], noCallBacks ? nullptr : kObjects[1]};
        const auto made = hold(CFDictionaryCreate(nullptr, orNull(noKeys, keys), orNull(noValues, keys), count.value,
                                                  orNull(noCallBacks, &kCFTypeDictionaryKeyCallBacks),
                                                  orNull(noCallBacks, &kCFTypeDictionaryValueCallBacks)));
        EXPECT_EQ(made.get() != nullptr, count.value == 0 || (count.value > 0 && !noKeys && !noValues));
    });
    for (const CFIndex capacity : kIndexes) {
        EXPECT_EQ(hold(CFDictionaryCreateMutable(nullptr, capacity, nullptr, nullptr)).get() != nullptr, capacity >= 0);
        EXPECT_EQ(hold(CFDictionaryCreateMutableCopy(nullptr, capacity, dictionary())).get() != nullptr, capacity >= 0);
        EXPECT_EQ(CFDictionaryCreateMutableCopy(nullptr, capacity, nullptr), nullptr);
    }
    EXPECT_EQ(CFDictionaryCreateCopy(nullptr, nullptr), nullptr);
    attack([](bool noDictionary, bool noKey, bool noFunction) {
        auto whole = dictionary();
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
        CFEqual(given, dictionary());
        CFDictionaryRemoveValue(given, key);
        CFDictionaryRemoveAllValues(given);
        EXPECT_EQ(CFDictionaryGetCount(whole), noDictionary ? 4 : 0);
    });
}

TEST(NullArguments, OfSets) {
    attack([](bool noValues, Length count, bool noCallBacks) {
        const void* values[] = {kObjects[0], noCallBacks ? nullptr : kObjects[1]};
        const auto made = hold(
            CFSetCreate(nullptr, orNull(noValues, values), count.value, orNull(noCallBacks, &kCFTypeSetCallBacks)));
        EXPECT_EQ(made.get() != nullptr, count.value == 0 || (count.value > 0 && !noValues));
    });
    for (const CFIndex capacity : kIndexes) {
        EXPECT_EQ(hold(CFSetCreateMutable(nullptr, capacity, nullptr)).get() != nullptr, capacity >= 0);
        EXPECT_EQ(hold(CFSetCreateMutableCopy(nullptr, capacity, set())).get() != nullptr, capacity >= 0);
        EXPECT_EQ(CFSetCreateMutableCopy(nullptr, capacity, nullptr), nullptr);
    }
    EXPECT_EQ(CFSetCreateCopy(nullptr, nullptr), nullptr);
    attack([](bool noSet, bool noValue, bool noFunction) {
        auto whole = set();
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

TEST(NullArguments, OfData) {
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
        take(CFDataCreateMutableCopy(nullptr, number, data()));
        CFDataSetLength(nullptr, number);
        CFDataIncreaseLength(nullptr, number);
        CFDataAppendBytes(nullptr, bytes, number);
        const auto set = data();
        CFDataSetLength(set, number);
        EXPECT_EQ(CFDataGetLength(set), number >= 0 && number <= 4 ? number : 4);
        const auto increased = data();
        CFDataIncreaseLength(increased, number);
        EXPECT_EQ(CFDataGetLength(increased), number >= 0 && number <= 4 ? 4 + number : 4);
    }
    attack([](bool noData, CFRange range, bool noBytes, Length length) {
        auto whole = data();
        const CFMutableDataRef given = orNull(noData, whole.get());
        const UInt8 replacement[] = {8, 9};
        UInt8 read[4];
        CFDataGetBytes(given, range, orNull(noBytes, read));
        CFDataFind(given, whole, range, static_cast<CFOptionFlags>(length.value));
        CFDataFind(whole, given, range, kCFDataSearchBackwards);
        CFDataAppendBytes(given, orNull(noBytes, replacement), length.value < 0 ? length.value : 0);
        CFDataReplaceBytes(given, range, orNull(noBytes, replacement), length.value);
        if (!fits(range) || noData || length.value < 0) {
            EXPECT_TRUE(CFEqual(whole, data()));
        }
        auto other = data();
        CFDataDeleteBytes(orNull(noData, other.get()), range);
        EXPECT_EQ(CFDataGetLength(other), !noData && fits(range) ? 4 - range.length : 4);
    });
}

TEST(NullArguments, OfNumbersDatesAndUUIDs) {
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

    const auto date = hold(CFDateCreate(nullptr, 0));
    CFDateGetAbsoluteTime(nullptr);
    CFDateGetTimeIntervalSinceDate(nullptr, date);
    CFDateGetTimeIntervalSinceDate(date, nullptr);
    CFDateCompare(nullptr, date, nullptr);
    CFDateCompare(date, nullptr, nullptr);
    CFDateCompare(nullptr, nullptr, nullptr);
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr SInt32 kLeast32 = std::numeric_limits<SInt32>::min(), kMost32 = std::numeric_limits<SInt32>::max();
    for (const double at : {0.0, -0.0, 1e18, -1e18, 1e300, -1e300, kInfinity, -kInfinity,
                            std::numeric_limits<double>::quiet_NaN(), 5e-324}) {
        CFAbsoluteTimeGetGregorianDate(at, nullptr);
        CFAbsoluteTimeGetDayOfWeek(at, nullptr);
        CFAbsoluteTimeGetDayOfYear(at, nullptr);
        CFAbsoluteTimeGetWeekOfYear(at, nullptr);
        take(CFCopyDescription(hold(CFDateCreate(nullptr, at))));
        CFHash(hold(CFDateCreate(nullptr, at)));
        for (const double other : {0.0, 1e300, -kInfinity})
            CFAbsoluteTimeGetDifferenceAsGregorianUnits(at, other, nullptr, ~0UL);
        for (const SInt32 units : {kLeast32, -1, 0, kMost32})
            CFAbsoluteTimeAddGregorianUnits(at, nullptr, {units, units, units, units, units, at});
        for (const SInt8 part : {SInt8{-128}, SInt8{0}, SInt8{127}}) {
            for (const SInt32 year : {kLeast32, 0, kMost32}) {
                CFGregorianDateIsValid({year, part, part, part, part, at}, ~0UL);
                CFGregorianDateGetAbsoluteTime({year, part, part, part, part, at}, nullptr);
            }
        }
    }
    EXPECT_EQ(CFUUIDCreateFromString(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFUUIDCreateString(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFUUIDGetUUIDBytes(nullptr).byte0, 0);
}

TEST(NullArguments, OfErrorsAndPropertyLists) {
    EXPECT_EQ(CFErrorCreate(nullptr, nullptr, 1, nullptr), nullptr);
    EXPECT_EQ(CFErrorGetDomain(nullptr), nullptr);
    EXPECT_EQ(CFErrorGetCode(nullptr), 0);
    take(CFErrorCopyUserInfo(nullptr));
    EXPECT_EQ(CFErrorCopyDescription(nullptr), nullptr);
    EXPECT_EQ(CFErrorCopyFailureReason(nullptr), nullptr);
    EXPECT_EQ(CFErrorCopyRecoverySuggestion(nullptr), nullptr);
    for (const CFIndex code : kIndexes) {
        const auto error = hold(CFErrorCreate(nullptr, kCFErrorDomainPOSIX, code, nullptr));
        EXPECT_NE(Values::taken(CFErrorCopyDescription(error)), "");
        take(CFCopyDescription(error));
    }
    attack([](bool noDomain, bool noKeys, bool noValues, Length count) {
        const void* const pairs[] = {kObjects[0], kObjects[1]};
        const auto made =
            hold(CFErrorCreateWithUserInfoKeysAndValues(nullptr, noDomain ? nullptr : kCFErrorDomainCocoa, 1,
                                                        orNull(noKeys, pairs), orNull(noValues, pairs), count.value));
        EXPECT_EQ(made.get() != nullptr, !noDomain && (count.value == 0 || (count.value > 0 && !noKeys && !noValues)));
    });

    const auto empty = hold(CFDataCreate(nullptr, nullptr, 0));
    for (const CFDataRef document : {CFDataRef{}, empty.get()}) {
        CFErrorRef error = nullptr;
        EXPECT_EQ(CFPropertyListCreateWithData(nullptr, document, 0, nullptr, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListCreateWithData(nullptr, document, ~0UL, nullptr, &error), nullptr);
        EXPECT_EQ(CFErrorGetCode(hold(error)), kCFPropertyListReadCorruptError);
        EXPECT_EQ(CFPropertyListCreateFromXMLData(nullptr, document, 0, nullptr), nullptr);
    }
    EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, nullptr, 0), nullptr);
    for (const CFIndex number : kIndexes) {
        const auto format = static_cast<CFPropertyListFormat>(number);
        EXPECT_FALSE(CFPropertyListIsValid(nullptr, format));
        EXPECT_EQ(CFPropertyListIsValid(kObjects[0], format), number == kCFPropertyListOpenStepFormat);
        EXPECT_EQ(CFPropertyListCreateData(nullptr, nullptr, format, ~0UL, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListCreateData(nullptr, kObjects[0], format, 0, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListCreateWithStream(nullptr, nullptr, number, 0, nullptr, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListCreateFromStream(nullptr, nullptr, number, 0, nullptr, nullptr), nullptr);
        EXPECT_EQ(CFPropertyListWrite(kObjects[0], nullptr, format, 0, nullptr), 0);
        EXPECT_EQ(CFPropertyListWriteToStream(nullptr, nullptr, format, nullptr), 0);
    }
}

TEST(NullArguments, OfStringsMade) {
    attack([](bool noText, Length length, Encoding encoding, bool isExternal) {
        const UInt8 bytes[] = {'a', 'b', 0, 0};
        const UniChar units[] = {'a', 0xE4};
        take(CFStringCreateWithBytes(nullptr, orNull(noText, bytes), length.value, encoding.value, isExternal));
        take(CFStringCreateWithBytesNoCopy(nullptr, orNull(noText, bytes), length.value, encoding.value, isExternal,
                                           kCFAllocatorNull));
        const bool isRight = length.value == 0 || (length.value > 0 && !noText);
        EXPECT_EQ(hold(CFStringCreateWithCharacters(nullptr, orNull(noText, units), length.value)).get() != nullptr,
                  isRight);
        EXPECT_EQ(
            hold(CFStringCreateWithCharactersNoCopy(nullptr, orNull(noText, units), length.value, kCFAllocatorNull))
                    .get() != nullptr,
            isRight);
        take(CFStringCreateWithCString(nullptr, noText ? nullptr : "ab", encoding.value));
        take(CFStringCreateWithCStringNoCopy(nullptr, noText ? nullptr : "ab", encoding.value, kCFAllocatorNull));
        const unsigned char pascal[] = {2, 'a', 'b'};
        take(CFStringCreateWithPascalString(nullptr, orNull(noText, pascal), encoding.value));
        take(CFStringCreateWithPascalStringNoCopy(nullptr, orNull(noText, pascal), encoding.value, kCFAllocatorNull));
        const auto document = data();
        take(CFStringCreateFromExternalRepresentation(nullptr, orNull(noText, document.get()), encoding.value));
        take(CFStringCreateExternalRepresentation(nullptr, noText ? nullptr : CFSTR("ab"), encoding.value, 0));
        CFStringGetNameOfEncoding(encoding.value);
        CFStringConvertEncodingToNSStringEncoding(encoding.value);
        CFStringConvertEncodingToWindowsCodepage(encoding.value);
        CFStringConvertEncodingToIANACharSetName(encoding.value);
        CFStringGetMostCompatibleMacStringEncoding(encoding.value);
    });
    attack([](bool noText, CFIndex maximum, CFIndex capacity) {
        take(CFStringCreateMutable(nullptr, maximum));
        const auto whole = text(noText);
        take(CFStringCreateMutableCopy(nullptr, maximum, orNull(noText, whole.get())));
        UniChar units[4] = {'a', 'b', 'c', 'd'};
        const auto external = hold(CFStringCreateMutableWithExternalCharactersNoCopy(
            nullptr, orNull(noText, units), maximum > 4 ? -1 : maximum, capacity > 4 ? 4 : capacity, kCFAllocatorNull));
        if (external) {
            CFStringSetExternalCharactersNoCopy(external, orNull(noText, units), maximum > 4 ? -1 : maximum,
                                                capacity > 4 ? 4 : capacity);
            CFStringSetExternalCharactersNoCopy(external, nullptr, maximum, capacity);
        }
        CFStringSetExternalCharactersNoCopy(nullptr, units, 4, 4);
        CFStringSetExternalCharactersNoCopy(whole, orNull(noText, units), maximum, capacity);
    });
    EXPECT_EQ(CFStringCreateCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateStringWithValidatedFormat(nullptr, nullptr, nullptr, CFSTR("%@"), nullptr), nullptr);
    EXPECT_EQ(CFStringCreateStringWithValidatedFormat(nullptr, nullptr, CFSTR("%@"), nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateWithFileSystemRepresentation(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateByCombiningStrings(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateArrayBySeparatingStrings(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFStringCreateArrayBySeparatingStrings(nullptr, nullptr, CFSTR(",")), nullptr);
    take(CFStringCreateByCombiningStrings(nullptr, array(), nullptr));
    take(CFStringCreateArrayBySeparatingStrings(nullptr, CFSTR("a"), nullptr));
    EXPECT_EQ(__CFStringMakeConstantString(nullptr), nullptr);
    CFStringConvertIANACharSetNameToEncoding(nullptr);
    CFStringConvertWindowsCodepageToEncoding(~0U);
    CFStringConvertNSStringEncodingToEncoding(~0UL);
}

TEST(NullArguments, OfStringsRead) {
    attack([](bool noString, bool isWide, CFRange range, Encoding encoding, bool noPlace, CFIndex capacity) {
        const auto whole = text(isWide);
        const CFStringRef given = orNull(noString, whole.get());
        UInt8 buffer[32];
        CFIndex used = 0;
        if (capacity > 32) capacity = 32;
        CFStringGetBytes(given, range, encoding.value, '?', true, orNull(noPlace, buffer), capacity,
                         orNull(noPlace, &used));
        EXPECT_LE(used, 32);
        if (noString || !fits(range)) {
            EXPECT_EQ(used, 0);
        }
    });
    attack([](bool noString, bool isWide, Encoding encoding, bool noPlace, CFIndex capacity) {
        const auto whole = text(isWide);
        const CFStringRef given = orNull(noString, whole.get());
        char bytes[32];
        unsigned char pascal[32];
        CFIndex room = capacity > 32 ? 32 : capacity;
        CFStringGetCString(given, orNull(noPlace, bytes), room, encoding.value);
        CFStringGetPascalString(given, orNull(noPlace, pascal), room, encoding.value);
        CFStringGetFileSystemRepresentation(given, orNull(noPlace, bytes), room);
        CFStringGetCStringPtr(given, encoding.value);
        CFStringGetPascalStringPtr(given, encoding.value);
        CFStringGetMaximumSizeForEncoding(capacity, encoding.value);
        CFStringGetCharacterAtIndex(given, capacity);
        CFStringGetRangeOfComposedCharactersAtIndex(given, capacity);
    });
    attack([](bool noString, bool isWide, CFRange range, bool noPlace) {
        const auto whole = text(isWide);
        const CFStringRef given = orNull(noString, whole.get());
        UniChar units[4];
        CFIndex begin, end, contents;
        CFStringGetCharacters(given, range, orNull(noPlace, units));
        CFStringGetLineBounds(given, range, orNull(noPlace, &begin), orNull(noPlace, &end), orNull(noPlace, &contents));
        CFStringGetParagraphBounds(given, range, orNull(noPlace, &begin), orNull(noPlace, &end),
                                   orNull(noPlace, &contents));
        UTF32Char character;
        CFStringGetHyphenationLocationBeforeIndex(given, range.location, range, 0, nullptr,
                                                  orNull(noPlace, &character));
        EXPECT_EQ(hold(CFStringCreateWithSubstring(nullptr, given, range)).get() != nullptr, !noString && fits(range));
        CFStringInlineBuffer buffer;
        CFStringInitInlineBuffer(given, &buffer, range);
        for (const CFIndex index : kIndexes) {
            const UniChar unit = CFStringGetCharacterFromInlineBuffer(&buffer, index);
            EXPECT_EQ(unit != 0, !noString && fits(range) && index >= 0 && index < range.length);
        }
    });
    EXPECT_EQ(CFStringGetLength(nullptr), 0);
    EXPECT_EQ(CFStringGetCharactersPtr(nullptr), nullptr);
    EXPECT_EQ(CFStringGetIntValue(nullptr), 0);
    EXPECT_EQ(CFStringGetDoubleValue(nullptr), 0);
    CFStringGetSmallestEncoding(nullptr);
    CFStringGetFastestEncoding(nullptr);
    CFStringGetMaximumSizeOfFileSystemRepresentation(nullptr);
    CFStringIsHyphenationAvailableForLocale(nullptr);
    EXPECT_FALSE(CFStringGetSurrogatePairForLongCharacter(0xFFFF, nullptr));
    EXPECT_TRUE(CFStringGetSurrogatePairForLongCharacter(0x10000, nullptr));
}

TEST(NullArguments, OfStringsComparedAndFound) {
    attack([](bool noString, bool noOther, bool isWide, CFRange range, Flags flags) {
        const auto whole = text(isWide);
        const CFStringRef given = orNull(noString, whole.get());
        const CFStringRef other = noOther ? nullptr : CFSTR("b");
        CFStringCompareWithOptionsAndLocale(given, other, range, flags.value, nullptr);
        CFStringCompareWithOptions(given, other, range, flags.value);
        CFRange found{-7, -7};
        if (CFStringFindWithOptions(given, other, range, flags.value, &found)) {
            EXPECT_TRUE(!noString && !noOther);
            EXPECT_EQ(found.location, 1);
        }
        CFStringFindWithOptionsAndLocale(given, other, range, flags.value, nullptr, nullptr);
        take(CFStringCreateArrayWithFindResults(nullptr, given, other, range, flags.value));
        CFStringFindCharacterFromSet(given, nullptr, range, flags.value, nullptr);
    });
    attack([](bool noString, bool noOther, Flags flags) {
        const CFStringRef given = noString ? nullptr : CFSTR("ab");
        const CFStringRef other = noOther ? nullptr : CFSTR("b");
        CFStringCompare(given, other, flags.value);
        EXPECT_EQ(CFStringFind(given, other, flags.value).location == kCFNotFound,
                  noString || noOther || (flags.value != ~0UL && (flags.value & kCFCompareAnchored) != 0));
        EXPECT_FALSE(CFStringHasPrefix(given, other));
        EXPECT_EQ(CFStringHasSuffix(given, other), !noString && !noOther);
    });
}

TEST(NullArguments, OfStringsChanged) {
    attack([](bool noString, bool noOther, bool isWide, CFRange range, Flags flags) {
        const CFStringRef other = noOther ? nullptr : CFSTR("b");
        const auto untouched = text(isWide);
        auto whole = text(isWide);
        const CFMutableStringRef given = orNull(noString, whole.get());
        CFStringReplace(given, range, other);
        if (noString || !fits(range)) {
            EXPECT_TRUE(CFEqual(whole, untouched));
        }
        CFStringDelete(given, range);
        CFStringInsert(given, range.location, other);
        CFStringFindAndReplace(given, other, other, range, flags.value);
        CFStringFindAndReplace(given, other, nullptr, range, flags.value);
        CFRange part = range;
        CFStringTransform(given, &part, noOther ? nullptr : kCFStringTransformToUnicodeName, isWide);
        CFStringFold(given, flags.value, nullptr);
    });
    attack([](bool noString, bool noOther, bool isWide, CFIndex length, CFIndex index) {
        auto whole = text(isWide);
        const CFMutableStringRef given = orNull(noString, whole.get());
        const UniChar units[] = {'u', 'v'};
        CFStringPad(given, noOther ? nullptr : CFSTR("xy"), length, index);
        CFStringAppendCharacters(given, orNull(noOther, units), length > 2 ? -1 : length);
    });
    attack([](bool noString, bool noOther, bool isWide, Encoding encoding) {
        auto whole = text(isWide);
        const CFMutableStringRef given = orNull(noString, whole.get());
        const CFStringRef other = noOther ? nullptr : CFSTR("b");
        const unsigned char pascal[] = {1, 'p'};
        CFStringAppend(given, other);
        CFStringAppendCString(given, noOther ? nullptr : "c", encoding.value);
        CFStringAppendPascalString(given, orNull(noOther, pascal), encoding.value);
        CFStringAppendFormat(given, nullptr, other);
        CFStringTrim(given, other);
        CFStringTrimWhitespace(given);
        CFStringLowercase(given, nullptr);
        CFStringUppercase(given, nullptr);
        CFStringCapitalize(given, nullptr);
        for (const CFIndex form : kIndexes) CFStringNormalize(given, static_cast<CFStringNormalizationForm>(form));
        CFStringTransform(given, nullptr, nullptr, false);
        CFStringReplaceAll(given, other);
        EXPECT_EQ(CFEqual(whole, CFSTR("b")), !noString && !noOther);
    });
}

TEST(NullArguments, OfFormats) {
    const auto formatted = [](CFStringRef format, ...) {
        va_list arguments;
        va_start(arguments, format);
        const CFStringRef made = CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, arguments);
        va_end(arguments);
        return Values::taken(made);
    };
    const void* const none = nullptr;
    EXPECT_EQ(formatted(CFSTR("%@ %s %S %p"), none, none, none, none), "(null) (null) (null) 0x0");
    EXPECT_EQ(formatted(CFSTR("%")), "%");
    EXPECT_EQ(formatted(CFSTR("%5")), "%5");
}
