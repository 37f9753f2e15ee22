#include <KXCoreLib/CoreFoundation/StringTokenizerRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
StringTokenizerRef KXCore::CoreFoundation::sample() {
    return StringTokenizerRef::create(kCFAllocatorDefault, CFSTR("one two"), CFRangeMake(0, 7),
                                      kCFStringTokenizerUnitWord, nullptr);
}
INSTANTIATE_TYPED_TEST_SUITE_P(StringTokenizerRef, TypedWrapper, StringTokenizerRef);

FORWARDS(StringTokenizerRef, getTypeID, CFStringTokenizerGetTypeID);
FORWARDS(StringTokenizerRef, copyBestStringLanguage, CFStringTokenizerCopyBestStringLanguage);
FORWARDS(StringTokenizerRef, create, CFStringTokenizerCreate);
FORWARDS(StringTokenizerRef, setString, CFStringTokenizerSetString);
FORWARDS(StringTokenizerRef, goToTokenAtIndex, CFStringTokenizerGoToTokenAtIndex);
FORWARDS(StringTokenizerRef, advanceToNextToken, CFStringTokenizerAdvanceToNextToken);
FORWARDS(StringTokenizerRef, getCurrentTokenRange, CFStringTokenizerGetCurrentTokenRange);
FORWARDS(StringTokenizerRef, copyCurrentTokenAttribute, CFStringTokenizerCopyCurrentTokenAttribute);
FORWARDS(StringTokenizerRef, getCurrentSubTokens, CFStringTokenizerGetCurrentSubTokens);

TEST(StringTokenizerRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({{"CFStringTokenizerCreate", [](CFAllocatorRef a) {
                                      StringTokenizerRef::create(a, CFSTR("a"), CFRangeMake(0, 1), 0, nullptr);
                                  }}});
    expectFailsToCreate("CFStringTokenizerCopyCurrentTokenAttribute", [] {
        sample<StringTokenizerRef>().copyCurrentTokenAttribute(kCFStringTokenizerAttributeLatinTranscription);
    });
    expectFailsToCreate("CFStringTokenizerCopyBestStringLanguage",
                        [] { StringTokenizerRef::copyBestStringLanguage(CFSTR("1"), CFRangeMake(0, 1)); });
}

TEST(StringTokenizerRef, GoesFromTokenToToken) {
    const StringTokenizerRef tokenizer = sample<StringTokenizerRef>();
    EXPECT_EQ(tokenizer.advanceToNextToken(), kCFStringTokenizerTokenNormal);
    EXPECT_TRUE(isRange(tokenizer.getCurrentTokenRange(), 0, 3));
    EXPECT_EQ(tokenizer.goToTokenAtIndex(5), kCFStringTokenizerTokenNormal);
    EXPECT_TRUE(isRange(tokenizer.getCurrentTokenRange(), 4, 3));
    CFRange range{};
    EXPECT_EQ(tokenizer.getCurrentSubTokens(&range, 1, nullptr), 1);
    EXPECT_TRUE(isRange(range, 4, 3));
    EXPECT_TRUE(CFEqual(tokenizer.copyCurrentTokenAttribute(kCFStringTokenizerAttributeLatinTranscription).get(),
                        CFSTR("two")));
    tokenizer.setString(CFSTR("other"), CFRangeMake(0, 5));
    tokenizer.advanceToNextToken();
    EXPECT_TRUE(isRange(tokenizer.getCurrentTokenRange(), 0, 5));
}
