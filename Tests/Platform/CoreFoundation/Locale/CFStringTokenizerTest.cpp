#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/TestAllocator.h"
#include "Platform/CoreFoundation/Values.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unicode/ubrk.h>

#include <string>
#include <utility>
#include <vector>

using namespace Held;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Tokenizer = Holder<CFStringTokenizerRef>;

Tokenizer tokenizer(CFStringRef text, CFOptionFlags unit, const char* name = "en_US") {
    const auto locale = hold(CFLocaleCreate(nullptr, Values::string(name)));
    return hold(CFStringTokenizerCreate(nullptr, text, {0, CFStringGetLength(text)}, unit, locale));
}

/// The current token's text.
std::u16string current(CFStringTokenizerRef tokenizer, CFStringRef text) {
    const CFRange range = CFStringTokenizerGetCurrentTokenRange(tokenizer);
    if (range.location == kCFNotFound) return u"(none)";
    return Held::text(hold(CFStringCreateWithSubstring(nullptr, text, range)));
}

std::vector<std::u16string> tokens(std::u16string_view units, CFOptionFlags unit, const char* name = "en_US") {
    const auto text = string(units);
    const Tokenizer one = tokenizer(text, unit, name);
    std::vector<std::u16string> all;
    while (CFStringTokenizerAdvanceToNextToken(one) != kCFStringTokenizerTokenNone) all.push_back(current(one, text));
    EXPECT_EQ(current(one, text), u"(none)");
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNone);
    return all;
}

TEST(CFStringTokenizer, FindsWords) {
    EXPECT_THAT(tokens(u"Don't panic, it's 3.5 km!", kCFStringTokenizerUnitWord),
                ElementsAre(u"Don't", u"panic", u"it's", u"3.5", u"km"));
    EXPECT_THAT(tokens(u"\u00C4rger, \u00D6l", kCFStringTokenizerUnitWord, "de_DE"),
                ElementsAre(u"\u00C4rger", u"\u00D6l"));
    EXPECT_THAT(tokens(u"", kCFStringTokenizerUnitWord), IsEmpty());
    EXPECT_THAT(tokens(u" ... ", kCFStringTokenizerUnitWord), IsEmpty());
}

TEST(CFStringTokenizer, FindsWordsWhereNoSpacesAre) {
    EXPECT_THAT(tokens(u"\u6771\u4EAC\u306B\u884C\u304F", kCFStringTokenizerUnitWord, "ja_JP"),
                ElementsAre(u"\u6771\u4EAC", u"\u306B", u"\u884C\u304F"));
    EXPECT_THAT(
        tokens(u"\u0E2A\u0E27\u0E31\u0E2A\u0E14\u0E35\u0E04\u0E23\u0E31\u0E1A", kCFStringTokenizerUnitWord, "th_TH"),
        ElementsAre(u"\u0E2A\u0E27\u0E31\u0E2A\u0E14\u0E35", u"\u0E04\u0E23\u0E31\u0E1A"));
}

TEST(CFStringTokenizer, FindsWordsAndWhatStandsBetweenThem) {
    EXPECT_THAT(tokens(u"a b, c", kCFStringTokenizerUnitWordBoundary), ElementsAre(u"a", u" ", u"b", u",", u" ", u"c"));
}

TEST(CFStringTokenizer, FindsSentences) {
    EXPECT_THAT(tokens(u"He came. She saw! Who?", kCFStringTokenizerUnitSentence),
                ElementsAre(u"He came. ", u"She saw! ", u"Who?"));
}

TEST(CFStringTokenizer, FindsParagraphs) {
    EXPECT_THAT(tokens(u"one\ntwo\r\n\rthree\u2029four\u2028still", kCFStringTokenizerUnitParagraph),
                ElementsAre(u"one\n", u"two\r\n", u"\r", u"three\u2029", u"four\u2028still"));
    EXPECT_THAT(tokens(u"", kCFStringTokenizerUnitParagraph), IsEmpty());
}

TEST(CFStringTokenizer, FindsWhereLinesMayBreak) {
    EXPECT_THAT(tokens(u"well-known words here", kCFStringTokenizerUnitLineBreak),
                ElementsAre(u"well-", u"known ", u"words ", u"here"));
}

TEST(CFStringTokenizer, AgreesWithICUForRealLocales) {
    const std::u16string text =
        u"Mr. Smith paid $3.50. \u201EWirklich?\u201C fragte er... \u6771\u4EAC\u3067\u3059\u3002 \u0627\u0644\u0633"
        u"\u0644\u0627\u0645 \u0939\u093F\u0928\u094D\u0926\u0940 \u05E9\u05DC\u05D5\u05DD \u0E44\u0E17\u0E22 "
        u"\U0001F600";
    constexpr std::pair<CFOptionFlags, UBreakIteratorType> units[] = {{kCFStringTokenizerUnitWordBoundary, UBRK_WORD},
                                                                      {kCFStringTokenizerUnitSentence, UBRK_SENTENCE},
                                                                      {kCFStringTokenizerUnitLineBreak, UBRK_LINE}};
    for (const char* name : {"en_US", "de_DE", "fr_FR", "ja_JP", "ar_EG", "hi_IN", "th_TH", "he_IL"}) {
        for (const auto& [unit, type] : units) {
            UErrorCode status = U_ZERO_ERROR;
            UBreakIterator* const icu = ubrk_open(type, name, text.data(), static_cast<int32_t>(text.size()), &status);
            std::vector<std::u16string> expected;
            for (int32_t from = 0, to = ubrk_next(icu); to != UBRK_DONE; from = to, to = ubrk_next(icu))
                expected.push_back(text.substr(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from)));
            ubrk_close(icu);
            EXPECT_EQ(tokens(text, unit, name), expected) << name;
        }
    }
}

TEST(CFStringTokenizer, TellsWhatIsInAWord) {
    const auto type = [](std::u16string_view units, CFOptionFlags unit = kCFStringTokenizerUnitWord) {
        const auto text = string(units);
        return CFStringTokenizerAdvanceToNextToken(tokenizer(text, unit));
    };
    EXPECT_EQ(type(u"word"), kCFStringTokenizerTokenNormal);
    EXPECT_EQ(type(u"42"), kCFStringTokenizerTokenNormal | kCFStringTokenizerTokenHasHasNumbersMask);
    EXPECT_EQ(type(u"don't"), kCFStringTokenizerTokenNormal | kCFStringTokenizerTokenHasNonLettersMask);
    EXPECT_EQ(type(u"\u6771\u4EAC"), kCFStringTokenizerTokenNormal | kCFStringTokenizerTokenIsCJWordMask);
    EXPECT_EQ(type(u" ", kCFStringTokenizerUnitWordBoundary),
              kCFStringTokenizerTokenNormal | kCFStringTokenizerTokenHasNonLettersMask);
    EXPECT_EQ(type(u"42 is it.", kCFStringTokenizerUnitSentence), kCFStringTokenizerTokenNormal);
}

TEST(CFStringTokenizer, GoesToTheTokenOfAPlace) {
    const auto text = string(u"one, two three");
    const Tokenizer one = tokenizer(text, kCFStringTokenizerUnitWord);
    EXPECT_EQ(CFStringTokenizerGoToTokenAtIndex(one, 6), kCFStringTokenizerTokenNormal);
    EXPECT_EQ(current(one, text), u"two");
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNormal);
    EXPECT_EQ(current(one, text), u"three");
    EXPECT_EQ(CFStringTokenizerGoToTokenAtIndex(one, 0), kCFStringTokenizerTokenNormal);
    EXPECT_EQ(current(one, text), u"one");
    EXPECT_EQ(CFStringTokenizerGoToTokenAtIndex(one, 3), kCFStringTokenizerTokenNone);  // the comma
    EXPECT_EQ(current(one, text), u"(none)");
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNormal);
    EXPECT_EQ(current(one, text), u"two");
    for (const CFIndex index : {-1L, 14L, 100L}) {
        EXPECT_EQ(CFStringTokenizerGoToTokenAtIndex(one, index), kCFStringTokenizerTokenNone);
        EXPECT_EQ(current(one, text), u"(none)");
    }
}

TEST(CFStringTokenizer, GoesToTheParagraphOfAPlace) {
    const auto text = string(u"a\r\nbc\nd");
    const Tokenizer one = tokenizer(text, kCFStringTokenizerUnitParagraph);
    const std::u16string expected[] = {u"a\r\n", u"a\r\n", u"a\r\n", u"bc\n", u"bc\n", u"bc\n", u"d"};
    for (CFIndex at = 0; at < 7; ++at) {
        EXPECT_EQ(CFStringTokenizerGoToTokenAtIndex(one, at), kCFStringTokenizerTokenNormal);
        EXPECT_EQ(current(one, text), expected[at]) << at;
    }
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNone);
}

TEST(CFStringTokenizer, KeepsToItsRange) {
    const auto text = string(u"one two three \u00E4");
    const Tokenizer one = hold(CFStringTokenizerCreate(nullptr, text, {4, 5}, kCFStringTokenizerUnitWord, nullptr));
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNormal);
    EXPECT_EQ(current(one, text), u"two");
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNormal);
    EXPECT_EQ(current(one, text), u"t");
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNone);
    EXPECT_EQ(CFStringTokenizerGoToTokenAtIndex(one, 3), kCFStringTokenizerTokenNone);
    EXPECT_EQ(CFStringTokenizerGoToTokenAtIndex(one, 4), kCFStringTokenizerTokenNormal);
}

TEST(CFStringTokenizer, KeepsItsStringAndTakesAnother) {
    const auto text = mutableString(u"first \u00E4");
    const Tokenizer one = tokenizer(text, kCFStringTokenizerUnitWord);
    CFStringReplaceAll(text, CFSTR("x"));
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNormal);
    EXPECT_EQ(CFStringTokenizerGetCurrentTokenRange(one).length, 5);
    const auto other = string(u"an other");
    CFStringTokenizerSetString(one, other, {0, 8});
    EXPECT_EQ(current(one, other), u"(none)");
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNormal);
    EXPECT_EQ(current(one, other), u"an");
    CFStringTokenizerSetString(one, other, {0, 9});  // does not fit
    EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNone);
}

TEST(CFStringTokenizer, WritesTokensInLatinLetters) {
    const auto latin = [](std::u16string_view units) {
        const auto text = string(units);
        const Tokenizer one =
            tokenizer(text, kCFStringTokenizerUnitWord | kCFStringTokenizerAttributeLatinTranscription);
        EXPECT_EQ(CFStringTokenizerCopyCurrentTokenAttribute(one, kCFStringTokenizerAttributeLatinTranscription),
                  nullptr);
        CFStringTokenizerAdvanceToNextToken(one);
        return Values::taken(static_cast<CFStringRef>(
            CFStringTokenizerCopyCurrentTokenAttribute(one, kCFStringTokenizerAttributeLatinTranscription)));
    };
    EXPECT_EQ(latin(u"\u043C\u0438\u0440 now"), "mir");
    EXPECT_EQ(latin(u"\u3042\u308A"), "ari");
    EXPECT_EQ(latin(u"word"), "word");
}

TEST(CFStringTokenizer, HasTheTokenItselfAsItsOnlyPart) {
    const auto text = string(u"one two");
    const Tokenizer one = tokenizer(text, kCFStringTokenizerUnitWord);
    const auto parts = hold(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFRange ranges[2]{{7, 7}, {7, 7}};
    EXPECT_EQ(CFStringTokenizerGetCurrentSubTokens(one, ranges, 2, parts), 0);
    EXPECT_EQ(CFArrayGetCount(parts), 0);
    CFStringTokenizerAdvanceToNextToken(one);
    CFStringTokenizerAdvanceToNextToken(one);
    EXPECT_EQ(CFStringTokenizerGetCurrentSubTokens(one, ranges, 2, parts), 1);
    EXPECT_EQ(ranges[0].location, 4);
    EXPECT_EQ(ranges[0].length, 3);
    EXPECT_EQ(ranges[1].location, 7);
    ASSERT_EQ(CFArrayGetCount(parts), 1);
    EXPECT_EQ(utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(parts, 0))), "two");
    ranges[0] = {7, 7};
    EXPECT_EQ(CFStringTokenizerGetCurrentSubTokens(one, ranges, 0, nullptr), 1);
    EXPECT_EQ(ranges[0].location, 7);
}

// ---- Languages; null throughout where the platform is built without a detector

std::string language(std::u16string_view units) {
    const auto text = string(units);
    return Values::taken(CFStringTokenizerCopyBestStringLanguage(text, {0, CFStringGetLength(text)}));
}

constexpr std::u16string_view kGerman =
    u"Der schnelle braune Fuchs springt \u00FCber den faulen Hund, und niemand wei\u00DF, warum er das eigentlich tut.";

TEST(CFStringTokenizer, TellsLanguagesApart) {
    if (language(kGerman) == "(null)") GTEST_SKIP() << "built without a detector";
    EXPECT_EQ(language(kGerman), "de");
    EXPECT_EQ(language(u"The quick brown fox jumps over the lazy dog, and nobody really knows why it does so."), "en");
    EXPECT_EQ(language(u"Le renard brun saute par-dessus le chien paresseux, et personne ne sait pourquoi."), "fr");
    EXPECT_EQ(language(u"\u05E9\u05DC\u05D5\u05DD \u05DC\u05DB\u05D5\u05DC\u05DD, \u05DE\u05D4 "
                       u"\u05E9\u05DC\u05D5\u05DE\u05DB\u05DD \u05D4\u05D9\u05D5\u05DD"),
              "he");
    EXPECT_EQ(language(u"12345 67890"), "(null)");
    EXPECT_EQ(language(u""), "(null)");
    const auto text = string(kGerman);
    const Tokenizer one = tokenizer(text, kCFStringTokenizerUnitSentence | kCFStringTokenizerAttributeLanguage);
    CFStringTokenizerAdvanceToNextToken(one);
    EXPECT_EQ(Values::taken(static_cast<CFStringRef>(
                  CFStringTokenizerCopyCurrentTokenAttribute(one, kCFStringTokenizerAttributeLanguage))),
              "de");
}

TEST(CFStringTokenizer, LooksForALanguageInTheBeginningOnly) {
    const std::u16string long_ = std::u16string(200, u'1') + std::u16string(kGerman);
    EXPECT_EQ(language(long_), "(null)");
    EXPECT_EQ(language(std::u16string(300, u'\xD800')), "(null)");
}

// ---- Memory and bad arguments

TEST(CFStringTokenizer, ComesFromItsAllocatorAndIsNullWithoutMemory) {
    TestAllocator allocator;
    {
        const auto one =
            hold(CFStringTokenizerCreate(allocator, CFSTR("a b"), {0, 3}, kCFStringTokenizerUnitWord, nullptr));
        EXPECT_EQ(CFGetAllocator(one), static_cast<CFAllocatorRef>(allocator));
        EXPECT_EQ(CFGetTypeID(one), CFStringTokenizerGetTypeID());
        EXPECT_EQ(Values::description(one), Values::heading("CFStringTokenizer", one) + "{unit = 0, range = {0, 3}}");
    }
    allocator.failAfter(0);
    EXPECT_EQ(CFStringTokenizerCreate(allocator, CFSTR("a b"), {0, 3}, kCFStringTokenizerUnitWord, nullptr), nullptr);
    EXPECT_EQ(allocator.blocks(), 0);
}

TEST(CFStringTokenizer, SurvivesNullArgumentsAndForeignObjects) {
    const auto number = Values::number(1);
    const auto one = tokenizer(CFSTR("a b"), kCFStringTokenizerUnitWord);
    for (const CFTypeRef wrong : {CFTypeRef(nullptr), CFTypeRef(number)}) {
        const auto badText = static_cast<CFStringRef>(wrong);
        const auto bad = static_cast<CFStringTokenizerRef>(const_cast<void*>(wrong));
        EXPECT_EQ(CFStringTokenizerCopyBestStringLanguage(badText, {0, 0}), nullptr);
        EXPECT_EQ(CFStringTokenizerCreate(nullptr, badText, {0, 0}, 0, nullptr), nullptr);
        CFStringTokenizerSetString(bad, CFSTR("a"), {0, 1});
        EXPECT_EQ(CFStringTokenizerGoToTokenAtIndex(bad, 0), kCFStringTokenizerTokenNone);
        EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(bad), kCFStringTokenizerTokenNone);
        EXPECT_EQ(CFStringTokenizerGetCurrentTokenRange(bad).location, kCFNotFound);
        EXPECT_EQ(CFStringTokenizerCopyCurrentTokenAttribute(bad, kCFStringTokenizerAttributeLanguage), nullptr);
        EXPECT_EQ(CFStringTokenizerGetCurrentSubTokens(bad, nullptr, 0, nullptr), 0);
        CFStringTokenizerSetString(one, badText, {0, 0});
        EXPECT_EQ(CFStringTokenizerAdvanceToNextToken(one), kCFStringTokenizerTokenNone);
    }
    EXPECT_EQ(CFStringTokenizerCreate(nullptr, CFSTR("a"), {0, 1}, 5, nullptr), nullptr);
    EXPECT_EQ(CFStringTokenizerCreate(nullptr, CFSTR("a"), {0, 1}, 0, reinterpret_cast<CFLocaleRef>(CFSTR("en"))),
              nullptr);
    CFStringTokenizerSetString(one, CFSTR("a b"), {0, 3});
    CFStringTokenizerAdvanceToNextToken(one);
    EXPECT_EQ(CFStringTokenizerCopyCurrentTokenAttribute(one, 7), nullptr);
}

TEST(CFStringTokenizer, TakesNoRangeThatDoesNotFitWithNullArguments) {
    using namespace NullArguments;
    attack([](CFRange range) {
        take(CFStringTokenizerCopyBestStringLanguage(CFSTR("abcd"), range));
        const auto one = hold(CFStringTokenizerCreate(nullptr, CFSTR("abcd"), range, 0, nullptr));
        EXPECT_EQ(one.get() != nullptr, fits(range));
        CFStringTokenizerGoToTokenAtIndex(one, range.location);
        CFStringTokenizerSetString(one, CFSTR("a b c"), range);
        CFStringTokenizerAdvanceToNextToken(one);
    });
}

}  // namespace
