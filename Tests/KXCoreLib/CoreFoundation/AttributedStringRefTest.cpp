#include <KXCoreLib/CoreFoundation/AttributedStringRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
AttributedStringRef KXCore::CoreFoundation::sample() {
    return AttributedStringRef::create(kCFAllocatorDefault, CFSTR("text"), nullptr);
}
INSTANTIATE_TYPED_TEST_SUITE_P(AttributedStringRef, TypedWrapper, AttributedStringRef);

FORWARDS(AttributedStringRef, getTypeID, CFAttributedStringGetTypeID);
FORWARDS(AttributedStringRef, create, CFAttributedStringCreate);
FORWARDS(AttributedStringRef, createWithSubstring, CFAttributedStringCreateWithSubstring);
FORWARDS(AttributedStringRef, createCopy, CFAttributedStringCreateCopy);
FORWARDS(AttributedStringRef, createMutable, CFAttributedStringCreateMutable);
FORWARDS(AttributedStringRef, createMutableCopy, CFAttributedStringCreateMutableCopy);
FORWARDS(AttributedStringRef, getString, CFAttributedStringGetString);
FORWARDS(AttributedStringRef, getLength, CFAttributedStringGetLength);
FORWARDS(AttributedStringRef, getAttributes, CFAttributedStringGetAttributes);
FORWARDS(AttributedStringRef, getAttribute, CFAttributedStringGetAttribute);
FORWARDS(AttributedStringRef, getAttributesAndLongestEffectiveRange,
         CFAttributedStringGetAttributesAndLongestEffectiveRange);
FORWARDS(AttributedStringRef, getAttributeAndLongestEffectiveRange,
         CFAttributedStringGetAttributeAndLongestEffectiveRange);
FORWARDS(MutableAttributedStringRef, replaceString, CFAttributedStringReplaceString);
FORWARDS(MutableAttributedStringRef, getMutableString, CFAttributedStringGetMutableString);
FORWARDS(MutableAttributedStringRef, setAttributes, CFAttributedStringSetAttributes);
FORWARDS(MutableAttributedStringRef, setAttribute, CFAttributedStringSetAttribute);
FORWARDS(MutableAttributedStringRef, removeAttribute, CFAttributedStringRemoveAttribute);
FORWARDS(MutableAttributedStringRef, replaceAttributedString, CFAttributedStringReplaceAttributedString);
FORWARDS(MutableAttributedStringRef, beginEditing, CFAttributedStringBeginEditing);
FORWARDS(MutableAttributedStringRef, endEditing, CFAttributedStringEndEditing);

TEST(AttributedStringRef, ReportsWhatItFailsToCreate) {
    static const AttributedStringRef string = sample<AttributedStringRef>();
    expectFailuresWithoutMemory({
        {"CFAttributedStringCreate", [](CFAllocatorRef a) { AttributedStringRef::create(a, CFSTR("text"), nullptr); }},
        {"CFAttributedStringCreateWithSubstring",
         [](CFAllocatorRef a) { AttributedStringRef::createWithSubstring(a, string.get(), CFRangeMake(0, 1)); }},
        {"CFAttributedStringCreateCopy", [](CFAllocatorRef a) { AttributedStringRef::createCopy(a, string.get()); }},
        {"CFAttributedStringCreateMutable", [](CFAllocatorRef a) { AttributedStringRef::createMutable(a, 0); }},
        {"CFAttributedStringCreateMutableCopy",
         [](CFAllocatorRef a) { AttributedStringRef::createMutableCopy(a, 0, string.get()); }},
    });
}

TEST(AttributedStringRef, IsChangedAndRead) {
    MutableAttributedStringRef string =
        AttributedStringRef::createMutableCopy(nullptr, 0, sample<AttributedStringRef>().get());
    string.beginEditing();
    string.setAttribute(CFRangeMake(1, 2), CFSTR("bold"), kCFBooleanTrue);
    string.endEditing();
    CFRange range{};
    EXPECT_EQ(string.getAttribute(1, CFSTR("bold"), &range), kCFBooleanTrue);
    EXPECT_TRUE(isRange(range, 1, 2));
    EXPECT_EQ(string.getAttributes(2, nullptr).getCount(), 1);
    EXPECT_FALSE(string.getAttributes(4, nullptr));
    string.replaceString(CFRangeMake(3, 1), CFSTR("TT"));
    EXPECT_EQ(string.getString().copyStdString(), "texTT");
    EXPECT_EQ(string.getLength(), 5);
    EXPECT_EQ(string.getAttributeAndLongestEffectiveRange(4, CFSTR("bold"), CFRangeMake(0, 5), &range), nullptr);
    EXPECT_TRUE(isRange(range, 3, 2));
    EXPECT_EQ(string.getAttributesAndLongestEffectiveRange(2, CFRangeMake(0, 2), &range), DictionaryRef());
    string.removeAttribute(CFRangeMake(1, 1), CFSTR("bold"));
    EXPECT_EQ(string.getAttribute(1, CFSTR("bold"), nullptr), nullptr);
    const DictionaryRef attributes = string.getAttributes(2, nullptr);
    string.setAttributes(CFRangeMake(0, 5), attributes.get(), true);
    EXPECT_EQ(string.getAttribute(0, CFSTR("bold"), nullptr), kCFBooleanTrue);
    string.replaceAttributedString(CFRangeMake(0, 5), sample<AttributedStringRef>().get());
    EXPECT_EQ(AttributedStringRef::createCopy(nullptr, string.get()).getString().copyStdString(), "text");
    EXPECT_EQ(
        AttributedStringRef::createWithSubstring(nullptr, string.get(), CFRangeMake(1, 2)).getString().copyStdString(),
        "ex");
    EXPECT_FALSE(string.getMutableString());
}
