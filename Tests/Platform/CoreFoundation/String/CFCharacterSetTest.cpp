#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unicode/uchar.h>

#include <functional>
#include <random>
#include <set>
#include <thread>
#include <vector>

using namespace Held;
using namespace Values;

namespace {

constexpr UTF32Char kEnd = 0x110000;

Holder<CFCharacterSetRef> setOf(CFRange range) {
    return hold(CFCharacterSetCreateWithCharactersInRange(nullptr, range));
}
Holder<CFCharacterSetRef> setOf(std::u16string_view units) {
    return hold(CFCharacterSetCreateWithCharactersInString(nullptr, Held::string(units)));
}

/// Whether the members are those for which `isMember` says so, every character asked one by one.
void expectMembers(CFCharacterSetRef set, const std::function<bool(UTF32Char)>& isMember) {
    for (UTF32Char c = 0; c < kEnd; ++c) {
        ASSERT_EQ(CFCharacterSetIsLongCharacterMember(set, c) != 0, isMember(c)) << std::hex << c;
        if (c <= 0xFFFF) {
            ASSERT_EQ(CFCharacterSetIsCharacterMember(set, static_cast<UniChar>(c)) != 0, isMember(c)) << std::hex << c;
        }
    }
}

TEST(CFCharacterSet, HoldsTheCharactersOfARange) {
    const auto set = setOf({0x4FE, 4});
    EXPECT_EQ(CFGetTypeID(set), CFCharacterSetGetTypeID());
    expectMembers(set, [](UTF32Char c) { return c >= 0x4FE && c < 0x502; });
    expectMembers(setOf({0x10FFFF, 1}), [](UTF32Char c) { return c == 0x10FFFF; });
    expectMembers(setOf(CFRange{5, 0}), [](UTF32Char) { return false; });
}

TEST(CFCharacterSet, RefusesRangesBeyondTheLastCharacter) {
    for (const CFRange range :
         {CFRange{-1, 2}, CFRange{0, -1}, CFRange{0x10FFFF, 2}, CFRange{0x110000, 1}, CFRange{1, PTRDIFF_MAX}}) {
        EXPECT_EQ(CFCharacterSetCreateWithCharactersInRange(nullptr, range), nullptr);
        const auto set = hold(CFCharacterSetCreateMutable(nullptr));
        CFCharacterSetAddCharactersInRange(set, range);
        EXPECT_TRUE(CFEqual(set, setOf(CFRange{0, 0})));
    }
    const auto whole = setOf(CFRange{0, 0x110000});
    EXPECT_FALSE(CFCharacterSetIsLongCharacterMember(whole, 0x110000));
    EXPECT_FALSE(CFCharacterSetIsLongCharacterMember(whole, 0xFFFFFFFF));
}

TEST(CFCharacterSet, TakesSurrogatePairsOfAStringForOneCharacter) {
    const auto set = setOf(u"a\u00E9\U0001F600\xD800");
    expectMembers(set, [](UTF32Char c) { return c == 'a' || c == 0xE9 || c == 0x1F600 || c == 0xD800; });
}

TEST(CFCharacterSet, PredefinedSetsFollowTheGeneralCategories) {
    const auto in = [](std::uint32_t mask) {
        return [mask](UTF32Char c) { return (U_GET_GC_MASK(static_cast<UChar32>(c)) & mask) != 0; };
    };
    const auto predefined = CFCharacterSetGetPredefined;
    expectMembers(predefined(kCFCharacterSetControl), in(U_GC_CC_MASK | U_GC_CF_MASK));
    expectMembers(predefined(kCFCharacterSetDecimalDigit), in(U_GC_ND_MASK));
    expectMembers(predefined(kCFCharacterSetLetter), in(U_GC_L_MASK | U_GC_M_MASK));
    expectMembers(predefined(kCFCharacterSetLowercaseLetter), in(U_GC_LL_MASK));
    expectMembers(predefined(kCFCharacterSetUppercaseLetter), in(U_GC_LU_MASK | U_GC_LT_MASK));
    expectMembers(predefined(kCFCharacterSetNonBase), in(U_GC_M_MASK));
    expectMembers(predefined(kCFCharacterSetAlphaNumeric), in(U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK));
    expectMembers(predefined(kCFCharacterSetPunctuation), in(U_GC_P_MASK));
    expectMembers(predefined(kCFCharacterSetCapitalizedLetter), in(U_GC_LT_MASK));
    expectMembers(predefined(kCFCharacterSetSymbol), in(U_GC_S_MASK));
    expectMembers(predefined(kCFCharacterSetIllegal), in(U_GC_CN_MASK));
    expectMembers(predefined(kCFCharacterSetWhitespace), [&](UTF32Char c) { return c == 9 || in(U_GC_ZS_MASK)(c); });
    expectMembers(predefined(kCFCharacterSetWhitespaceAndNewline),
                  [&](UTF32Char c) { return (c >= 9 && c <= 13) || c == 0x85 || in(U_GC_Z_MASK)(c); });
    expectMembers(predefined(kCFCharacterSetNewline),
                  [](UTF32Char c) { return (c >= 10 && c <= 13) || c == 0x85 || c == 0x2028 || c == 0x2029; });
    const CFCharacterSetRef decomposable = predefined(kCFCharacterSetDecomposable);
    for (const UTF32Char c : {0xE9, 0xC5, 0x1E69, 0xAC00, 0x1D15E})
        EXPECT_TRUE(CFCharacterSetIsLongCharacterMember(decomposable, c));
    for (const UTF32Char c : {0x61, 0xDF, 0xFB01, 0x301})
        EXPECT_FALSE(CFCharacterSetIsLongCharacterMember(decomposable, c));
}

TEST(CFCharacterSet, PredefinedSetsAreSharedAndNeverFreed) {
    const CFCharacterSetRef set = CFCharacterSetGetPredefined(kCFCharacterSetLetter);
    EXPECT_EQ(set, CFCharacterSetGetPredefined(kCFCharacterSetLetter));
    CFRelease(set);
    CFRelease(set);
    EXPECT_TRUE(CFCharacterSetIsCharacterMember(set, 'x'));
    EXPECT_EQ(CFCharacterSetGetPredefined(static_cast<CFCharacterSetPredefinedSet>(0)), nullptr);
    EXPECT_EQ(CFCharacterSetGetPredefined(static_cast<CFCharacterSetPredefinedSet>(16)), nullptr);
    EXPECT_EQ(CFCharacterSetGetPredefined(static_cast<CFCharacterSetPredefinedSet>(-1)), nullptr);
}

TEST(CFCharacterSet, PredefinedSetsAreOneWhenThreadsAskForThemAtOnce) {
    std::vector<std::set<CFCharacterSetRef>> seen(15);
    std::vector<std::thread> threads;
    std::vector<std::vector<CFCharacterSetRef>> found(4, std::vector<CFCharacterSetRef>(15));
    for (auto& row : found)
        threads.emplace_back([&row] {
            for (CFIndex i = 0; i < 15; ++i)
                row[static_cast<std::size_t>(i)] =
                    CFCharacterSetGetPredefined(static_cast<CFCharacterSetPredefinedSet>(i + 1));
        });
    for (auto& thread : threads) thread.join();
    for (const auto& row : found) EXPECT_EQ(row, found[0]);
}

TEST(CFCharacterSet, ReadsAndWritesBitmapsWithPlanes) {
    std::vector<UInt8> bitmap(8192);
    bitmap['A' / 8] = 1 << ('A' % 8);
    bitmap[0xFFFF / 8] = 0x80;
    const auto append = [&](UInt8 plane, CFIndex character) {
        bitmap.push_back(plane);
        bitmap.resize(bitmap.size() + 8192);
        bitmap[bitmap.size() - 8192 + static_cast<std::size_t>(character / 8)] =
            static_cast<UInt8>(1 << (character % 8));
    };
    append(1, 0xF600);
    append(16, 0xFFFD);
    const auto data = hold(CFDataCreate(nullptr, bitmap.data(), static_cast<CFIndex>(bitmap.size())));
    const auto set = hold(CFCharacterSetCreateWithBitmapRepresentation(nullptr, data));
    expectMembers(set, [](UTF32Char c) { return c == 'A' || c == 0xFFFF || c == 0x1F600 || c == 0x10FFFD; });
    const auto again = hold(CFCharacterSetCreateBitmapRepresentation(nullptr, set));
    EXPECT_TRUE(CFEqual(again, data));
    EXPECT_TRUE(CFCharacterSetHasMemberInPlane(set, 0));
    EXPECT_TRUE(CFCharacterSetHasMemberInPlane(set, 1));
    EXPECT_FALSE(CFCharacterSetHasMemberInPlane(set, 2));
    EXPECT_TRUE(CFCharacterSetHasMemberInPlane(set, 16));
    EXPECT_FALSE(CFCharacterSetHasMemberInPlane(set, 17));
    EXPECT_FALSE(CFCharacterSetHasMemberInPlane(set, -1));
}

TEST(CFCharacterSet, TakesBitsThatABitmapIsCutOffForZeros) {
    const UInt8 shortBitmap[] = {0, 0, 0, 0, 0, 0, 0, 0, 0xFF};
    expectMembers(
        hold(CFCharacterSetCreateWithBitmapRepresentation(nullptr, hold(CFDataCreate(nullptr, shortBitmap, 9)))),
        [](UTF32Char c) { return c >= 64 && c < 72; });
    EXPECT_TRUE(
        CFEqual(hold(CFCharacterSetCreateWithBitmapRepresentation(nullptr, hold(CFDataCreate(nullptr, nullptr, 0)))),
                setOf(CFRange{0, 0})));
    std::vector<UInt8> bitmap(8194);
    bitmap[8192] = 2;
    bitmap[8193] = 1;
    expectMembers(hold(CFCharacterSetCreateWithBitmapRepresentation(
                      nullptr, hold(CFDataCreate(nullptr, bitmap.data(), static_cast<CFIndex>(bitmap.size()))))),
                  [](UTF32Char c) { return c == 0x20000; });
    for (const UInt8 plane : {UInt8{0}, UInt8{17}, UInt8{255}}) {
        bitmap[8192] = plane;
        EXPECT_EQ(CFCharacterSetCreateWithBitmapRepresentation(
                      nullptr, hold(CFDataCreate(nullptr, bitmap.data(), static_cast<CFIndex>(bitmap.size())))),
                  nullptr);
    }
}

TEST(CFCharacterSet, BitmapsGoRoundForAnySet) {
    std::mt19937 random(6);
    for (int i = 0; i < 30; ++i) {
        const auto set = hold(CFCharacterSetCreateMutable(nullptr));
        for (int j = 0; j < 20; ++j) {
            const CFIndex start = random() % kEnd;
            CFCharacterSetAddCharactersInRange(set, {start, std::min<CFIndex>(random() % 3000, kEnd - start)});
        }
        const auto bitmap = hold(CFCharacterSetCreateBitmapRepresentation(nullptr, set));
        EXPECT_TRUE(CFEqual(set, hold(CFCharacterSetCreateWithBitmapRepresentation(nullptr, bitmap))));
    }
}

TEST(CFCharacterSet, IsInverted) {
    const auto set = setOf({0x41, 26});
    const auto inverted = hold(CFCharacterSetCreateInvertedSet(nullptr, set));
    expectMembers(inverted, [](UTF32Char c) { return c < 0x41 || c >= 0x41 + 26; });
    const auto back = hold(CFCharacterSetCreateMutableCopy(nullptr, inverted));
    CFCharacterSetInvert(back);
    EXPECT_TRUE(CFEqual(back, set));
    EXPECT_EQ(CFHash(back), CFHash(set));
}

TEST(CFCharacterSet, IsChangedInPlace) {
    const auto set = hold(CFCharacterSetCreateMutable(nullptr));
    CFCharacterSetAddCharactersInRange(set, {0x61, 10});    // a to j
    CFCharacterSetRemoveCharactersInRange(set, {0x63, 2});  // c and d
    CFCharacterSetAddCharactersInString(set, CFSTR("xyz"));
    CFCharacterSetRemoveCharactersInString(set, CFSTR("yj"));
    EXPECT_TRUE(CFEqual(set, setOf(u"abefghixz")));
    CFCharacterSetUnion(set, setOf(u"\u4E00q"));
    EXPECT_TRUE(CFEqual(set, setOf(u"abefghixz\u4E00q")));
    CFCharacterSetIntersect(set, setOf(u"qrsx\u4E00"));
    EXPECT_TRUE(CFEqual(set, setOf(u"qx\u4E00")));
    CFCharacterSetUnion(set, set);
    CFCharacterSetIntersect(set, set);
    EXPECT_TRUE(CFEqual(set, setOf(u"qx\u4E00")));
    EXPECT_TRUE(CFCharacterSetIsCharacterMember(set, 'q'));
    EXPECT_FALSE(CFCharacterSetIsCharacterMember(set, 'a'));
}

TEST(CFCharacterSet, KnowsItsSubsets) {
    const auto letters = CFCharacterSetGetPredefined(kCFCharacterSetLetter);
    EXPECT_TRUE(CFCharacterSetIsSupersetOfSet(letters, setOf(u"abc")));
    EXPECT_TRUE(CFCharacterSetIsSupersetOfSet(letters, letters));
    EXPECT_TRUE(CFCharacterSetIsSupersetOfSet(letters, setOf(CFRange{0, 0})));
    EXPECT_FALSE(CFCharacterSetIsSupersetOfSet(setOf(u"abc"), letters));
    EXPECT_FALSE(CFCharacterSetIsSupersetOfSet(letters, setOf(u"a1")));
}

TEST(CFCharacterSet, CopiesAreApart) {
    const auto set = setOf(u"ab");
    EXPECT_EQ(hold(CFCharacterSetCreateCopy(nullptr, set)).get(), set.get());
    const auto changing = hold(CFCharacterSetCreateMutableCopy(nullptr, set));
    const auto copy = hold(CFCharacterSetCreateCopy(nullptr, changing));
    CFCharacterSetAddCharactersInString(changing, CFSTR("c"));
    EXPECT_TRUE(CFEqual(copy, set));
    EXPECT_FALSE(CFEqual(changing, set));
    CFCharacterSetInvert(const_cast<CFMutableCharacterSetRef>(set.get()));  // immutable
    EXPECT_TRUE(CFEqual(copy, set));
    const auto letters =
        hold(CFCharacterSetCreateMutableCopy(nullptr, CFCharacterSetGetPredefined(kCFCharacterSetLetter)));
    CFCharacterSetRemoveCharactersInRange(letters, {'a', 1});
    EXPECT_FALSE(CFCharacterSetIsCharacterMember(letters, 'a'));
    EXPECT_TRUE(CFCharacterSetIsCharacterMember(letters, 'b'));
    EXPECT_TRUE(CFCharacterSetIsCharacterMember(CFCharacterSetGetPredefined(kCFCharacterSetLetter), 'a'));
}

CFRange found(std::u16string_view text, CFCharacterSetRef set, CFStringCompareFlags options, CFRange range) {
    CFRange result{-7, -7};
    return CFStringFindCharacterFromSet(Held::string(text), set, range, options, &result) ? result
                                                                                          : CFRange{kCFNotFound, 0};
}

CFRange found(std::u16string_view text, CFCharacterSetRef set, CFStringCompareFlags options = 0) {
    return found(text, set, options, {0, static_cast<CFIndex>(text.size())});
}

bool operator==(CFRange a, CFRange b) { return a.location == b.location && a.length == b.length; }

TEST(CFStringFindCharacterFromSet, FindsTheFirstOrTheLast) {
    const CFCharacterSetRef digits = CFCharacterSetGetPredefined(kCFCharacterSetDecimalDigit);
    EXPECT_TRUE((found(u"ab12c", digits) == CFRange{2, 1}));
    EXPECT_TRUE((found(u"ab12c", digits, kCFCompareBackwards) == CFRange{3, 1}));
    EXPECT_TRUE((found(u"abc", digits) == CFRange{kCFNotFound, 0}));
    EXPECT_TRUE((found(u"", digits) == CFRange{kCFNotFound, 0}));
    EXPECT_TRUE((found(u"1\u0661", digits, kCFCompareBackwards) == CFRange{1, 1}));
    EXPECT_TRUE((found(u"1ab2", digits, 0, {1, 2}) == CFRange{kCFNotFound, 0}));
    EXPECT_TRUE((found(u"1ab2", digits, kCFCompareBackwards, {0, 3}) == CFRange{0, 1}));
}

TEST(CFStringFindCharacterFromSet, LooksAtOneEndOnlyWhenAnchored) {
    const CFCharacterSetRef digits = CFCharacterSetGetPredefined(kCFCharacterSetDecimalDigit);
    EXPECT_TRUE((found(u"1a", digits, kCFCompareAnchored) == CFRange{0, 1}));
    EXPECT_TRUE((found(u"a1", digits, kCFCompareAnchored) == CFRange{kCFNotFound, 0}));
    EXPECT_TRUE((found(u"a1", digits, kCFCompareAnchored | kCFCompareBackwards) == CFRange{1, 1}));
    EXPECT_TRUE((found(u"1a", digits, kCFCompareAnchored | kCFCompareBackwards) == CFRange{kCFNotFound, 0}));
}

TEST(CFStringFindCharacterFromSet, TakesASurrogatePairForOneCharacter) {
    const auto face = setOf(u"\U0001F600");
    EXPECT_TRUE((found(u"x\U0001F600y", face) == CFRange{1, 2}));
    EXPECT_TRUE((found(u"x\U0001F600y", face, kCFCompareBackwards) == CFRange{1, 2}));
    // A range that cuts the pair holds half of it.
    EXPECT_TRUE((found(u"x\U0001F600y", face, 0, {0, 2}) == CFRange{kCFNotFound, 0}));
    EXPECT_TRUE((found(u"x\U0001F600y", setOf(u"\xD83D"), 0, {0, 2}) == CFRange{1, 1}));
    EXPECT_TRUE((found(u"x\U0001F600y", setOf(u"\xDE00"), kCFCompareBackwards, {2, 2}) == CFRange{2, 1}));
}

TEST(CFStringFindCharacterFromSet, RefusesWhatIsNoRangeOfTheText) {
    const auto any = setOf(CFRange{0, 0x110000});
    for (const CFRange range : {CFRange{-1, 1}, CFRange{0, 4}, CFRange{4, 0}, CFRange{1, -1}, CFRange{1, PTRDIFF_MAX}})
        EXPECT_TRUE((found(u"abc", any, 0, range) == CFRange{kCFNotFound, 0}));
    EXPECT_TRUE(CFStringFindCharacterFromSet(CFSTR("a"), any, {0, 1}, 0, nullptr));
    EXPECT_FALSE(CFStringFindCharacterFromSet(nullptr, any, {0, 0}, 0, nullptr));
    EXPECT_FALSE(CFStringFindCharacterFromSet(CFSTR("a"), nullptr, {0, 1}, 0, nullptr));
}

TEST(CFCharacterSet, IsNullWithoutMemory) {
    TestAllocator allocator;
    allocator.failAfter(0);
    const auto set = setOf(u"a");
    EXPECT_EQ(CFCharacterSetCreateMutable(allocator), nullptr);
    EXPECT_EQ(CFCharacterSetCreateMutableCopy(allocator, set), nullptr);
    EXPECT_EQ(CFCharacterSetCreateCopy(allocator, set), nullptr);
    EXPECT_EQ(CFCharacterSetCreateInvertedSet(allocator, set), nullptr);
    EXPECT_EQ(CFCharacterSetCreateWithCharactersInRange(allocator, {0, 1}), nullptr);
    EXPECT_EQ(CFCharacterSetCreateWithCharactersInString(allocator, CFSTR("a")), nullptr);
    EXPECT_EQ(CFCharacterSetCreateBitmapRepresentation(allocator, set), nullptr);
    EXPECT_EQ(CFCharacterSetCreateWithBitmapRepresentation(allocator, hold(CFDataCreate(nullptr, nullptr, 0))),
              nullptr);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFCharacterSet, DescribesItself) {
    const auto set = setOf(u"ab");
    EXPECT_EQ(description(set), heading("CFCharacterSet", set) + "{immutable, members = 2}");
}

TEST(CFCharacterSet, SurvivesNullArgumentsAndForeignObjects) {
    using namespace NullArguments;
    attack([](CFRange range) {
        take(CFCharacterSetCreateWithCharactersInRange(nullptr, range));
        const auto changing = hold(CFCharacterSetCreateMutable(nullptr));
        CFCharacterSetAddCharactersInRange(changing, range);
        CFCharacterSetRemoveCharactersInRange(changing, range);
        CFCharacterSetHasMemberInPlane(changing, range.location);
        EXPECT_TRUE(CFEqual(changing, setOf(CFRange{0, 0})));
    });
    for (const CFIndex number : kIndexes) {
        const auto predefined = CFCharacterSetGetPredefined(static_cast<CFCharacterSetPredefinedSet>(number));
        EXPECT_EQ(predefined != nullptr, number >= 1 && number <= 15);
    }
    const auto foreign = reinterpret_cast<CFMutableCharacterSetRef>(const_cast<__CFString*>(CFSTR("x")));
    const auto set = setOf(u"a");
    for (const CFMutableCharacterSetRef bad : {static_cast<CFMutableCharacterSetRef>(nullptr), foreign}) {
        EXPECT_EQ(CFCharacterSetCreateInvertedSet(nullptr, bad), nullptr);
        EXPECT_EQ(CFCharacterSetCreateCopy(nullptr, bad), nullptr);
        EXPECT_EQ(CFCharacterSetCreateMutableCopy(nullptr, bad), nullptr);
        EXPECT_EQ(CFCharacterSetCreateBitmapRepresentation(nullptr, bad), nullptr);
        EXPECT_FALSE(CFCharacterSetIsSupersetOfSet(bad, set));
        EXPECT_FALSE(CFCharacterSetIsSupersetOfSet(set, bad));
        EXPECT_FALSE(CFCharacterSetHasMemberInPlane(bad, 0));
        EXPECT_FALSE(CFCharacterSetIsCharacterMember(bad, 'a'));
        EXPECT_FALSE(CFCharacterSetIsLongCharacterMember(bad, 'a'));
        CFCharacterSetAddCharactersInRange(bad, {0, 1});
        CFCharacterSetRemoveCharactersInRange(bad, {0, 1});
        CFCharacterSetAddCharactersInString(bad, CFSTR("a"));
        CFCharacterSetRemoveCharactersInString(bad, CFSTR("a"));
        CFCharacterSetUnion(bad, set);
        CFCharacterSetIntersect(bad, set);
        CFCharacterSetInvert(bad);
    }
    const auto changing = hold(CFCharacterSetCreateMutable(nullptr));
    CFCharacterSetAddCharactersInString(changing, nullptr);
    CFCharacterSetRemoveCharactersInString(changing, nullptr);
    CFCharacterSetUnion(changing, nullptr);
    CFCharacterSetIntersect(changing, nullptr);
    EXPECT_EQ(CFCharacterSetCreateWithCharactersInString(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFCharacterSetCreateWithBitmapRepresentation(nullptr, nullptr), nullptr);
    EXPECT_TRUE(CFEqual(changing, setOf(CFRange{0, 0})));
}

}  // namespace
