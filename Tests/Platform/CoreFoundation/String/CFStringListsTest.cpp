#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/TestAllocator.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace {

using Held::hold;
using Held::string;
using Held::text;

Held::Holder<CFMutableArrayRef> list(const std::vector<std::u16string_view>& texts) {
    auto array = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (const std::u16string_view one : texts) CFArrayAppendValue(array, string(one));
    return array;
}

auto separated(std::u16string_view units, std::u16string_view separator) {
    return hold(CFStringCreateArrayBySeparatingStrings(nullptr, string(units), string(separator)));
}

}  // namespace

TEST(CFStringLists, CombinesWithASeparator) {
    const auto combine = [](CFArrayRef array, CFStringRef separator) {
        return text(hold(CFStringCreateByCombiningStrings(nullptr, array, separator)));
    };
    EXPECT_EQ(combine(list({u"a", u"b", u"c"}), CFSTR(", ")), u"a, b, c");
    EXPECT_EQ(combine(list({u"a", u"\u00E9"}), CFSTR("")), u"a\u00E9");
    EXPECT_EQ(combine(list({u"a", u"b"}), nullptr), u"ab");
    EXPECT_EQ(combine(list({u"a"}), CFSTR(",")), u"a");
    EXPECT_EQ(combine(list({}), CFSTR(",")), u"");
    EXPECT_EQ(combine(list({u"", u""}), CFSTR(",")), u",");
}

TEST(CFStringLists, CombinesOnlyStrings) {
    const auto array = list({u"a"});
    CFArrayAppendValue(array, kCFNull);
    EXPECT_EQ(CFStringCreateByCombiningStrings(nullptr, array, CFSTR(",")), nullptr);
    EXPECT_EQ(CFStringCreateByCombiningStrings(nullptr, nullptr, CFSTR(",")), nullptr);
}

TEST(CFStringLists, SeparatesAtEverySeparator) {
    EXPECT_TRUE(CFEqual(separated(u"a,b,c", u","), list({u"a", u"b", u"c"})));
    EXPECT_TRUE(CFEqual(separated(u",a,,b,", u","), list({u"", u"a", u"", u"b", u""})));
    EXPECT_TRUE(CFEqual(separated(u"a::b:::c", u"::"), list({u"a", u"b", u":c"})));
    EXPECT_TRUE(CFEqual(separated(u"\u00E9,b", u","), list({u"\u00E9", u"b"})));
    EXPECT_TRUE(CFEqual(separated(u"a\u00E9b", u"\u00E9"), list({u"a", u"b"})));
    EXPECT_TRUE(CFEqual(separated(u"ab", u"\u00E9"), list({u"ab"})));
}

TEST(CFStringLists, WithoutASeparatorInItATextIsOnePart) {
    EXPECT_TRUE(CFEqual(separated(u"abc", u","), list({u"abc"})));
    EXPECT_TRUE(CFEqual(separated(u"abc", u""), list({u"abc"})));
    EXPECT_TRUE(CFEqual(separated(u"", u","), list({u""})));
    EXPECT_TRUE(CFEqual(separated(u",", u",,"), list({u","})));
}

/// Takes no time to speak of, where trying every place unit by unit would take minutes.
TEST(CFStringLists, SeparatesQuicklyHoweverTheTextRepeats) {
    for (const char16_t last : {u'b', u'\u0416'}) {
        const std::u16string what = std::u16string(400'000, u'a') + last;
        const std::u16string in = std::u16string(600'000, u'a');
        EXPECT_TRUE(CFEqual(separated(in, what), list({in})));
        EXPECT_TRUE(CFEqual(separated(in + what + u"x", what), list({in, u"x"})));
    }
}

TEST(CFStringLists, SeparatesOnlyStrings) {
    EXPECT_EQ(CFStringCreateArrayBySeparatingStrings(nullptr, nullptr, CFSTR(",")), nullptr);
    EXPECT_EQ(CFStringCreateArrayBySeparatingStrings(nullptr, CFSTR("a"), nullptr), nullptr);
}

TEST(CFStringLists, LeakNothingWhenMemoryEnds) {
    const auto s = string(u"a,b,c,\u00E9");
    for (long count = 0;; ++count) {
        TestAllocator allocator;
        allocator.failAfter(count);
        auto parts = hold(CFStringCreateArrayBySeparatingStrings(allocator, s, CFSTR(",")));
        const bool isDone = parts.get() != nullptr;
        parts.reset();
        EXPECT_EQ(allocator.blocks(), 0) << count;
        if (isDone) break;
        ASSERT_LT(count, 30);
    }
}
