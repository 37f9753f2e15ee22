#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/TestAllocator.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace Held;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Attributes = std::map<std::string, std::string>;
using Mutable = Holder<CFMutableAttributedStringRef>;

Holder<CFDictionaryRef> dictionary(const Attributes& attributes) {
    const auto made =
        hold(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const auto& [name, value] : attributes)
        CFDictionarySetValue(made, Values::string(name), Values::string(value));
    return hold(CFDictionaryCreateCopy(nullptr, made));
}

Attributes attributesOf(CFDictionaryRef dictionary) {
    Attributes all;
    const auto add = [](const void* name, const void* value, void* context) {
        (*static_cast<Attributes*>(context))[utf8(static_cast<CFStringRef>(name))] =
            utf8(static_cast<CFStringRef>(value));
    };
    CFDictionaryApplyFunction(dictionary, add, &all);
    return all;
}

Holder<CFAttributedStringRef> attributed(const char* text, const Attributes& attributes = {}) {
    return hold(CFAttributedStringCreate(nullptr, Values::string(text), dictionary(attributes)));
}

Mutable changeable(const char* text, const Attributes& attributes = {}) {
    return hold(CFAttributedStringCreateMutableCopy(nullptr, 0, attributed(text, attributes)));
}

std::string textOf(CFAttributedStringRef string) { return utf8(CFAttributedStringGetString(string)); }

/// "ab{bold=1}" for each run: what makes a failure readable.
std::vector<std::string> runs(CFAttributedStringRef string) {
    std::vector<std::string> all;
    const std::string text = textOf(string);
    for (CFIndex at = 0; at < CFAttributedStringGetLength(string);) {
        CFRange range{};
        const CFDictionaryRef attributes = CFAttributedStringGetAttributes(string, at, &range);
        EXPECT_EQ(range.location, at);
        std::string run = text.substr(static_cast<std::size_t>(at), static_cast<std::size_t>(range.length));
        for (const auto& [name, value] : attributesOf(attributes)) run += "{" + name + "=" + value + "}";
        all.push_back(run);
        at += range.length;
    }
    return all;
}

void set(const Mutable& string, CFRange range, const char* name, const char* value) {
    CFAttributedStringSetAttribute(string, range, Values::string(name), Values::string(value));
}

TEST(CFAttributedString, HasTheSameAttributesInAllPlaces) {
    const auto one = attributed("hello", {{"bold", "1"}});
    EXPECT_EQ(textOf(one), "hello");
    EXPECT_EQ(CFAttributedStringGetLength(one), 5);
    EXPECT_THAT(runs(one), ElementsAre("hello{bold=1}"));
    EXPECT_EQ(CFGetTypeID(one), CFAttributedStringGetTypeID());
    const auto plain = hold(CFAttributedStringCreate(nullptr, CFSTR("a"), nullptr));
    ASSERT_NE(CFAttributedStringGetAttributes(plain, 0, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryGetCount(CFAttributedStringGetAttributes(plain, 0, nullptr)), 0);
    EXPECT_THAT(runs(attributed("", {{"bold", "1"}})), IsEmpty());
}

TEST(CFAttributedString, KeepsCopiesOfTextAndAttributes) {
    const auto text = mutableString(u"abc");
    const auto attributes =
        hold(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(attributes, CFSTR("bold"), CFSTR("1"));
    const auto one = hold(CFAttributedStringCreate(nullptr, text, attributes));
    CFStringAppend(text, CFSTR("d"));
    CFDictionaryRemoveAllValues(attributes);
    EXPECT_THAT(runs(one), ElementsAre("abc{bold=1}"));
}

TEST(CFAttributedString, SetsAndRemovesAttributesOfARange) {
    const auto one = changeable("abcdef");
    set(one, {1, 3}, "bold", "1");
    EXPECT_THAT(runs(one), ElementsAre("a", "bcd{bold=1}", "ef"));
    set(one, {3, 2}, "size", "9");
    EXPECT_THAT(runs(one), ElementsAre("a", "bc{bold=1}", "d{bold=1}{size=9}", "e{size=9}", "f"));
    set(one, {0, 6}, "size", "9");
    EXPECT_THAT(runs(one), ElementsAre("a{size=9}", "bcd{bold=1}{size=9}", "ef{size=9}"));
    CFAttributedStringRemoveAttribute(one, {0, 6}, CFSTR("bold"));
    EXPECT_THAT(runs(one), ElementsAre("abcdef{size=9}"));  // equal runs are one
    CFAttributedStringRemoveAttribute(one, {2, 2}, CFSTR("size"));
    EXPECT_THAT(runs(one), ElementsAre("ab{size=9}", "cd", "ef{size=9}"));
    CFAttributedStringRemoveAttribute(one, {0, 6}, CFSTR("other"));
    EXPECT_THAT(runs(one), ElementsAre("ab{size=9}", "cd", "ef{size=9}"));
    set(one, {0, 0}, "bold", "1");
    EXPECT_THAT(runs(one), ElementsAre("ab{size=9}", "cd", "ef{size=9}"));
}

TEST(CFAttributedString, SetsSeveralAttributesWithOrWithoutTheOthers) {
    const auto one = changeable("abcd", {{"bold", "1"}, {"size", "9"}});
    CFAttributedStringSetAttributes(one, {0, 2}, dictionary({{"size", "12"}, {"font", "x"}}), false);
    EXPECT_THAT(runs(one), ElementsAre("ab{bold=1}{font=x}{size=12}", "cd{bold=1}{size=9}"));
    CFAttributedStringSetAttributes(one, {1, 2}, dictionary({{"size", "12"}}), true);
    EXPECT_THAT(runs(one), ElementsAre("a{bold=1}{font=x}{size=12}", "bc{size=12}", "d{bold=1}{size=9}"));
    CFAttributedStringSetAttributes(one, {0, 4}, dictionary({}), true);
    EXPECT_THAT(runs(one), ElementsAre("abcd"));
}

TEST(CFAttributedString, GivesReplacedTextTheAttributesOfTheFirstReplacedCharacter) {
    const auto one = changeable("abcd");
    set(one, {0, 2}, "bold", "1");
    set(one, {2, 2}, "size", "9");
    CFAttributedStringReplaceString(one, {1, 2}, CFSTR("XYZ"));
    EXPECT_EQ(textOf(one), "aXYZd");
    EXPECT_THAT(runs(one), ElementsAre("aXYZ{bold=1}", "d{size=9}"));
    CFAttributedStringReplaceString(one, {4, 0}, CFSTR("-"));  // of the character before
    EXPECT_THAT(runs(one), ElementsAre("aXYZ-{bold=1}", "d{size=9}"));
    CFAttributedStringReplaceString(one, {6, 0}, CFSTR("e"));
    EXPECT_THAT(runs(one), ElementsAre("aXYZ-{bold=1}", "de{size=9}"));
    CFAttributedStringReplaceString(one, {0, 5}, CFSTR(""));
    EXPECT_THAT(runs(one), ElementsAre("de{size=9}"));
    CFAttributedStringReplaceString(one, {0, 0}, CFSTR("c"));  // of the one behind
    EXPECT_THAT(runs(one), ElementsAre("cde{size=9}"));
    CFAttributedStringReplaceString(one, {0, 3}, CFSTR(""));
    EXPECT_THAT(runs(one), IsEmpty());
    CFAttributedStringReplaceString(one, {0, 0}, CFSTR("new"));
    EXPECT_THAT(runs(one), ElementsAre("new"));
}

TEST(CFAttributedString, ReplacesTextWithItsAttributes) {
    const auto one = changeable("abcd", {{"bold", "1"}});
    CFAttributedStringReplaceAttributedString(one, {1, 2}, attributed("XY", {{"size", "9"}}));
    EXPECT_THAT(runs(one), ElementsAre("a{bold=1}", "XY{size=9}", "d{bold=1}"));
    CFAttributedStringReplaceAttributedString(one, {1, 2}, attributed("Z", {{"bold", "1"}}));
    EXPECT_THAT(runs(one), ElementsAre("aZd{bold=1}"));
    CFAttributedStringReplaceAttributedString(one, {3, 0}, one);  // itself
    EXPECT_EQ(textOf(one), "aZdaZd");
    EXPECT_THAT(runs(one), ElementsAre("aZdaZd{bold=1}"));
    CFAttributedStringReplaceAttributedString(one, {0, 6}, attributed(""));
    EXPECT_THAT(runs(one), IsEmpty());
}

TEST(CFAttributedString, FindsTheLongestRangeOfOneAttribute) {
    const auto one = changeable("abcdefgh");
    set(one, {1, 6}, "bold", "1");
    set(one, {2, 2}, "size", "9");
    set(one, {4, 1}, "font", "x");
    const auto longest = [&](CFIndex at, const char* name, CFRange in) {
        CFRange range{};
        CFAttributedStringGetAttributeAndLongestEffectiveRange(one, at, Values::string(name), in, &range);
        return std::pair(range.location, range.length);
    };
    EXPECT_EQ(longest(3, "bold", {0, 8}), std::pair(1L, 6L));
    EXPECT_EQ(longest(3, "bold", {2, 3}), std::pair(2L, 3L));
    EXPECT_EQ(longest(3, "size", {0, 8}), std::pair(2L, 2L));
    EXPECT_EQ(longest(5, "size", {0, 8}), std::pair(4L, 4L));  // where it is not set
    EXPECT_EQ(longest(0, "bold", {0, 8}), std::pair(0L, 1L));
    EXPECT_EQ(longest(0, "bold", {1, 7}), std::pair(kCFNotFound, 0L));  // not in the range
    CFRange range{};
    EXPECT_EQ(attributesOf(CFAttributedStringGetAttributesAndLongestEffectiveRange(one, 2, {0, 3}, &range)),
              (Attributes{{"bold", "1"}, {"size", "9"}}));
    EXPECT_EQ(range.location, 2);
    EXPECT_EQ(range.length, 1);
    const auto value = static_cast<CFStringRef>(CFAttributedStringGetAttribute(one, 4, CFSTR("font"), &range));
    EXPECT_EQ(utf8(value), "x");
    EXPECT_EQ(range.location, 4);
    EXPECT_EQ(range.length, 1);
    EXPECT_EQ(CFAttributedStringGetAttribute(one, 0, CFSTR("font"), &range), nullptr);
    EXPECT_EQ(range.length, 1);
    EXPECT_EQ(CFAttributedStringGetAttribute(one, 8, CFSTR("font"), &range), nullptr);
    EXPECT_EQ(range.location, kCFNotFound);
}

TEST(CFAttributedString, IsCutAndCopied) {
    const auto one = changeable("abcdef");
    set(one, {2, 2}, "bold", "1");
    const auto part = hold(CFAttributedStringCreateWithSubstring(nullptr, one, {1, 2}));
    EXPECT_THAT(runs(part), ElementsAre("b", "c{bold=1}"));
    const auto copy = hold(CFAttributedStringCreateCopy(nullptr, one));
    set(one, {0, 6}, "bold", "1");
    EXPECT_THAT(runs(copy), ElementsAre("ab", "cd{bold=1}", "ef"));
    EXPECT_EQ(hold(CFAttributedStringCreateCopy(nullptr, copy)).get(), copy.get());
    const auto again = hold(CFAttributedStringCreateMutableCopy(nullptr, 0, copy));
    EXPECT_TRUE(CFEqual(again, copy));
    EXPECT_EQ(CFHash(again), CFHash(copy));
    EXPECT_FALSE(CFEqual(again, one));
    EXPECT_FALSE(CFEqual(attributed("abcdef"), copy));
    EXPECT_FALSE(CFEqual(attributed("abcdeg"), attributed("abcdef")));
}

TEST(CFAttributedString, KeepsToItsLimit) {
    const auto one = hold(CFAttributedStringCreateMutable(nullptr, 3));
    CFAttributedStringReplaceString(one, {0, 0}, CFSTR("abc"));
    CFAttributedStringReplaceString(one, {0, 0}, CFSTR("d"));
    CFAttributedStringReplaceAttributedString(one, {3, 0}, attributed("d", {{"bold", "1"}}));
    EXPECT_THAT(runs(one), ElementsAre("abc"));
    EXPECT_EQ(CFAttributedStringCreateMutableCopy(nullptr, 2, one), nullptr);
}

TEST(CFAttributedString, IsNotChangedWhereItIsImmutable) {
    const auto one = attributed("abc");
    const auto forced = const_cast<CFMutableAttributedStringRef>(one.get());
    CFAttributedStringReplaceString(forced, {0, 1}, CFSTR("x"));
    CFAttributedStringSetAttribute(forced, {0, 1}, CFSTR("bold"), CFSTR("1"));
    CFAttributedStringSetAttributes(forced, {0, 1}, dictionary({{"bold", "1"}}), true);
    CFAttributedStringRemoveAttribute(forced, {0, 1}, CFSTR("bold"));
    CFAttributedStringReplaceAttributedString(forced, {0, 1}, one);
    EXPECT_THAT(runs(one), ElementsAre("abc"));
}

TEST(CFAttributedString, IsTheSameWithinEditingBrackets) {
    const auto one = changeable("abcd");
    CFAttributedStringBeginEditing(one);
    CFAttributedStringBeginEditing(one);
    set(one, {0, 2}, "bold", "1");
    CFAttributedStringEndEditing(one);
    set(one, {2, 2}, "bold", "1");
    CFAttributedStringEndEditing(one);
    CFAttributedStringEndEditing(one);  // once too often
    EXPECT_THAT(runs(one), ElementsAre("abcd{bold=1}"));
}

TEST(CFAttributedString, DescribesItself) {
    const auto one = attributed("abc", {{"bold", "1"}});
    EXPECT_EQ(Values::description(one), Values::heading("CFAttributedString", one) + "{length = 3, string = abc}");
}

TEST(CFAttributedString, ThatHoldsItselfIsDescribedAndCompared) {
    const auto one = changeable("a"), other = changeable("a");
    CFAttributedStringSetAttribute(one, {0, 1}, CFSTR("self"), one);
    CFAttributedStringSetAttribute(other, {0, 1}, CFSTR("self"), other);
    EXPECT_FALSE(CFEqual(one, other));
    EXPECT_NE(Values::description(one), "(null)");
    CFAttributedStringRemoveAttribute(one, {0, 1}, CFSTR("self"));
    CFAttributedStringRemoveAttribute(other, {0, 1}, CFSTR("self"));
}

// ---- Against a model: the attributes of each character

struct Character {
    char character;
    Attributes attributes;
    bool operator==(const Character&) const = default;
};
using Model = std::vector<Character>;

Model modelOf(CFAttributedStringRef string) {
    Model model;
    const std::string text = textOf(string);
    Attributes before;
    for (CFIndex at = 0; at < CFAttributedStringGetLength(string);) {
        CFRange range{};
        const Attributes attributes = attributesOf(CFAttributedStringGetAttributes(string, at, &range));
        EXPECT_TRUE(at == 0 || attributes != before) << "equal runs meet at " << at;
        for (; at < range.location + range.length; ++at)
            model.push_back({text[static_cast<std::size_t>(at)], attributes});
        before = attributes;
    }
    return model;
}

TEST(CFAttributedString, IsWhatAModelOfItIs) {
    std::mt19937 random(1);
    const auto below = [&](std::size_t bound) { return static_cast<std::size_t>(random() % bound); };
    const auto one = hold(CFAttributedStringCreateMutable(nullptr, 0));
    Model model;
    const char* const names[] = {"a", "b"};
    const char* const values[] = {"0", "1", "2"};
    for (int round = 0; round < 1500; ++round) {
        const std::size_t start = below(model.size() + 1),
                          length = below(std::min<std::size_t>(model.size() - start, 9) + 1);
        const CFRange range{static_cast<CFIndex>(start), static_cast<CFIndex>(length)};
        const auto begin = model.begin() + static_cast<std::ptrdiff_t>(start);
        const auto end = begin + static_cast<std::ptrdiff_t>(length);
        const std::string name = names[below(2)], value = values[below(3)];
        const std::string text(below(5), static_cast<char>('a' + below(26)));
        switch (below(5)) {
            case 0: {
                CFAttributedStringReplaceString(one, range, Values::string(text));
                Attributes inherited;
                if (!model.empty()) inherited = (length == 0 && start > 0 ? begin[-1] : *begin).attributes;
                Model inserted;
                for (const char c : text) inserted.push_back({c, inherited});
                model.insert(model.erase(begin, end), inserted.begin(), inserted.end());
                break;
            }
            case 1: {
                CFAttributedStringReplaceAttributedString(one, range, attributed(text.c_str(), {{name, value}}));
                Model inserted;
                for (const char c : text) inserted.push_back({c, {{name, value}}});
                model.insert(model.erase(begin, end), inserted.begin(), inserted.end());
                break;
            }
            case 2:
                CFAttributedStringSetAttribute(one, range, Values::string(name), Values::string(value));
                for (auto at = begin; at != end; ++at) at->attributes[name] = value;
                break;
            case 3:
                CFAttributedStringRemoveAttribute(one, range, Values::string(name));
                for (auto at = begin; at != end; ++at) at->attributes.erase(name);
                break;
            default: {
                const bool clear = below(2) == 0;
                CFAttributedStringSetAttributes(one, range, dictionary({{name, value}}), clear);
                for (auto at = begin; at != end; ++at) {
                    if (clear) at->attributes.clear();
                    at->attributes[name] = value;
                }
            }
        }
        if (round % 10 == 0) {
            ASSERT_EQ(modelOf(one), model) << "round " << round;
        }
    }
    EXPECT_EQ(modelOf(one), model);
}

TEST(CFAttributedString, OfAHundredThousandRunsIsReadAndChangedAtOnce) {
    constexpr CFIndex kCount = 100'000;
    const auto text = hold(CFStringCreateMutable(nullptr, 0));
    CFStringPad(text, CFSTR("x"), 2 * kCount, 0);
    const auto one =
        hold(CFAttributedStringCreateMutableCopy(nullptr, 0, hold(CFAttributedStringCreate(nullptr, text, nullptr))));
    // From both ends to the middle, so that no order of places is favoured.
    for (CFIndex i = 0; i < kCount; ++i) {
        const CFIndex at = i % 2 == 0 ? i : 2 * kCount - i;
        CFAttributedStringSetAttribute(one, {at, 1}, CFSTR("place"), CFSTR("1"));
    }
    CFIndex count = 0;
    for (CFRange range{}; range.location + range.length < 2 * kCount; ++count)
        CFAttributedStringGetAttributes(one, range.location + range.length, &range);
    // Each run of the first half is followed by plain text, each of the second preceded by it.
    EXPECT_EQ(count, 2 * kCount - 1);
    const auto copy = hold(CFAttributedStringCreateCopy(nullptr, one));
    EXPECT_TRUE(CFEqual(copy, one));
    CFAttributedStringReplaceString(one, {0, 2 * kCount}, CFSTR(""));
    EXPECT_EQ(CFAttributedStringGetLength(one), 0);
}

// ---- Memory and bad arguments

TEST(CFAttributedString, ComesFromItsAllocatorAndIsNullWithoutMemory) {
    TestAllocator allocator;
    const auto attributes = dictionary({{"bold", "1"}});
    const auto text = mutableString(u"text that is copied");
    const auto from = attributed("abc", {{"bold", "1"}});
    const std::function<CFTypeRef()> creations[] = {
        [&] { return CFAttributedStringCreate(allocator, text, attributes); },
        [&] {
            return CFAttributedStringCreateWithSubstring(allocator, from, {1, 2});
        },
        [&] { return CFAttributedStringCreateCopy(allocator, from); },
        [&] { return CFAttributedStringCreateMutableCopy(allocator, 0, from); },
        [&] { return CFAttributedStringCreateMutable(allocator, 0); }};
    for (const auto& create : creations) {
        long allowed = 0;
        for (;; ++allowed) {
            allocator.failAfter(allowed);
            const auto made = hold(create());
            if (!made) continue;
            EXPECT_EQ(CFGetAllocator(made), static_cast<CFAllocatorRef>(allocator));
            break;
        }
        EXPECT_GE(allowed, 2);
        EXPECT_EQ(allocator.blocks(), 0);
    }
}

TEST(CFAttributedString, SurvivesNullArgumentsAndForeignObjects) {
    const auto one = changeable("abcd", {{"bold", "1"}});
    const auto number = Values::number(1);
    const auto attributes = dictionary({{"bold", "2"}});
    CFRange range{};
    for (const CFTypeRef wrong : {CFTypeRef(nullptr), CFTypeRef(number)}) {
        const auto bad = static_cast<CFAttributedStringRef>(wrong);
        const auto badMutable = const_cast<CFMutableAttributedStringRef>(bad);
        const auto badText = static_cast<CFStringRef>(wrong);
        EXPECT_EQ(CFAttributedStringCreate(nullptr, badText, attributes), nullptr);
        EXPECT_EQ(CFAttributedStringCreateWithSubstring(nullptr, bad, {0, 0}), nullptr);
        EXPECT_EQ(CFAttributedStringCreateCopy(nullptr, bad), nullptr);
        EXPECT_EQ(CFAttributedStringCreateMutableCopy(nullptr, 0, bad), nullptr);
        EXPECT_EQ(CFAttributedStringGetString(bad), nullptr);
        EXPECT_EQ(CFAttributedStringGetLength(bad), 0);
        EXPECT_EQ(CFAttributedStringGetAttributes(bad, 0, &range), nullptr);
        EXPECT_EQ(CFAttributedStringGetAttribute(bad, 0, CFSTR("bold"), &range), nullptr);
        EXPECT_EQ(CFAttributedStringGetAttributesAndLongestEffectiveRange(bad, 0, {0, 1}, &range), nullptr);
        EXPECT_EQ(CFAttributedStringGetAttributeAndLongestEffectiveRange(bad, 0, CFSTR("bold"), {0, 1}, &range),
                  nullptr);
        CFAttributedStringReplaceString(badMutable, {0, 0}, CFSTR("x"));
        CFAttributedStringReplaceString(one, {0, 0}, badText);
        EXPECT_EQ(CFAttributedStringGetMutableString(badMutable), nullptr);
        CFAttributedStringSetAttributes(badMutable, {0, 0}, attributes, true);
        CFAttributedStringSetAttributes(one, {0, 4}, static_cast<CFDictionaryRef>(wrong), true);
        CFAttributedStringSetAttribute(badMutable, {0, 0}, CFSTR("bold"), number);
        CFAttributedStringSetAttribute(one, {0, 4}, badText, number);
        CFAttributedStringRemoveAttribute(badMutable, {0, 0}, CFSTR("bold"));
        CFAttributedStringRemoveAttribute(one, {0, 4}, badText);
        CFAttributedStringReplaceAttributedString(badMutable, {0, 0}, one);
        CFAttributedStringReplaceAttributedString(one, {0, 4}, bad);
        CFAttributedStringBeginEditing(badMutable);
        CFAttributedStringEndEditing(badMutable);
    }
    CFAttributedStringSetAttribute(one, {0, 4}, CFSTR("bold"), nullptr);
    EXPECT_EQ(CFAttributedStringGetAttribute(one, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFAttributedStringGetAttributeAndLongestEffectiveRange(one, 0, nullptr, {0, 4}, nullptr), nullptr);
    EXPECT_NE(CFAttributedStringGetAttributesAndLongestEffectiveRange(one, 0, {0, 4}, nullptr), nullptr);
    EXPECT_EQ(CFAttributedStringCreateMutable(nullptr, -1), nullptr);
    EXPECT_THAT(runs(one), ElementsAre("abcd{bold=1}"));
}

TEST(CFAttributedString, TakesNoRangeThatDoesNotFitWithNullArguments) {
    using namespace NullArguments;
    attack([](CFRange range) {
        const auto one = hold(CFAttributedStringCreateMutableCopy(
            nullptr, 0, hold(CFAttributedStringCreate(nullptr, CFSTR("abcd"), nullptr))));
        take(CFAttributedStringCreateWithSubstring(nullptr, one, range));
        CFRange found{};
        CFAttributedStringGetAttributes(one, range.location, nullptr);
        CFAttributedStringGetAttributesAndLongestEffectiveRange(one, 1, range, &found);
        CFAttributedStringGetAttributeAndLongestEffectiveRange(one, range.location, CFSTR("a"), range, &found);
        CFAttributedStringSetAttribute(one, range, CFSTR("a"), CFSTR("1"));
        CFAttributedStringRemoveAttribute(one, range, CFSTR("b"));
        const auto attributes = hold(CFAttributedStringCreate(nullptr, CFSTR("x"), nullptr));
        CFAttributedStringReplaceString(one, range, CFSTR("abcd"));
        if (!fits(range)) {
            EXPECT_EQ(CFAttributedStringGetLength(one), 4);
        }
        CFAttributedStringReplaceAttributedString(one, range, attributes);
    });
}

}  // namespace
