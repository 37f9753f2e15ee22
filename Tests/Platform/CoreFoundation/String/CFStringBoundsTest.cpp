#include "Platform/CoreFoundation/Held.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

using Held::string;

namespace {

using Bounds = std::tuple<CFIndex, CFIndex, CFIndex>;  // begin, end, end of contents

Bounds lineBounds(std::u16string_view in, CFIndex location, CFIndex length = 0) {
    CFIndex begin = -1, end = -1, contents = -1;
    CFStringGetLineBounds(string(in), CFRangeMake(location, length), &begin, &end, &contents);
    return {begin, end, contents};
}

Bounds paragraphBounds(std::u16string_view in, CFIndex location, CFIndex length = 0) {
    CFIndex begin = -1, end = -1, contents = -1;
    CFStringGetParagraphBounds(string(in), CFRangeMake(location, length), &begin, &end, &contents);
    return {begin, end, contents};
}

using Range = std::pair<CFIndex, CFIndex>;

Range composed(std::u16string_view in, CFIndex at) {
    const CFRange range = CFStringGetRangeOfComposedCharactersAtIndex(string(in), at);
    return {range.location, range.length};
}

}  // namespace

// ---- Lines and paragraphs

TEST(CFStringBounds, FindsTheLineAroundAnIndex) {
    EXPECT_EQ(lineBounds(u"ab\ncd\nef", 0), Bounds(0, 3, 2));
    EXPECT_EQ(lineBounds(u"ab\ncd\nef", 2), Bounds(0, 3, 2));
    EXPECT_EQ(lineBounds(u"ab\ncd\nef", 3), Bounds(3, 6, 5));
    EXPECT_EQ(lineBounds(u"ab\ncd\nef", 7), Bounds(6, 8, 8));
    EXPECT_EQ(lineBounds(u"ab\ncd\nef", 8), Bounds(6, 8, 8));
}

TEST(CFStringBounds, CoversAllLinesOfARange) {
    EXPECT_EQ(lineBounds(u"ab\ncd\nef", 1, 3), Bounds(0, 6, 5));
    EXPECT_EQ(lineBounds(u"ab\ncd\nef", 0, 3), Bounds(0, 3, 2));
    EXPECT_EQ(lineBounds(u"ab\ncd\nef", 0, 8), Bounds(0, 8, 8));
}

TEST(CFStringBounds, EndsLinesAtEveryTerminator) {
    for (const char16_t terminator : {u'\n', u'\r', u'\u0085', u'\u2028', u'\u2029'}) {
        const std::u16string in = std::u16string(u"a") + terminator + u"b";
        EXPECT_EQ(lineBounds(in, 0), Bounds(0, 2, 1)) << int{terminator};
        EXPECT_EQ(lineBounds(in, 2), Bounds(2, 3, 3)) << int{terminator};
    }
    for (const char16_t other : {u'\v', u'\f', u' ', u'\0'})
        EXPECT_EQ(lineBounds(std::u16string(u"a") + other + u"b", 0), Bounds(0, 3, 3)) << int{other};
}

TEST(CFStringBounds, EndsParagraphsAtFewerTerminators) {
    for (const char16_t terminator : {u'\n', u'\r', u'\u2029'})
        EXPECT_EQ(paragraphBounds(std::u16string(u"a") + terminator + u"b", 0), Bounds(0, 2, 1)) << int{terminator};
    for (const char16_t other : {u'\u0085', u'\u2028'})
        EXPECT_EQ(paragraphBounds(std::u16string(u"a") + other + u"b", 0), Bounds(0, 3, 3)) << int{other};
    EXPECT_EQ(paragraphBounds(u"a\r\nb", 2), Bounds(0, 3, 1));
}

TEST(CFStringBounds, TakesCRLFAsOneTerminator) {
    for (CFIndex at = 0; at < 3; ++at) EXPECT_EQ(lineBounds(u"a\r\nb", at), Bounds(0, 3, 1)) << at;
    EXPECT_EQ(lineBounds(u"a\r\nb", 3), Bounds(3, 4, 4));
    EXPECT_EQ(lineBounds(u"a\r\nb", 0, 2), Bounds(0, 3, 1));
    EXPECT_EQ(lineBounds(u"a\r\nb", 2, 1), Bounds(0, 3, 1));
    EXPECT_EQ(lineBounds(u"a\n\rb", 0), Bounds(0, 2, 1));
    EXPECT_EQ(lineBounds(u"\r\r\n", 1), Bounds(1, 3, 1));
    EXPECT_EQ(lineBounds(u"a\r\n", 3), Bounds(3, 3, 3));
}

TEST(CFStringBounds, FindsEmptyLines) {
    EXPECT_EQ(lineBounds(u"", 0), Bounds(0, 0, 0));
    EXPECT_EQ(lineBounds(u"\n\n", 0), Bounds(0, 1, 0));
    EXPECT_EQ(lineBounds(u"\n\n", 1), Bounds(1, 2, 1));
    EXPECT_EQ(lineBounds(u"\n\n", 2), Bounds(2, 2, 2));
}

TEST(CFStringBounds, TakesWhatOfARangeLiesWithinTheString) {
    EXPECT_EQ(lineBounds(u"a\nb", 2, INT64_MAX), Bounds(2, 3, 3));
    EXPECT_EQ(lineBounds(u"a\nb", 100, 1), Bounds(2, 3, 3));
    EXPECT_EQ(lineBounds(u"a\nb", -100, 1), Bounds(0, 2, 1));
    EXPECT_EQ(lineBounds(u"a\nb", INT64_MIN, INT64_MIN), Bounds(0, 2, 1));
}

TEST(CFStringBounds, AnswersOnlyWhatIsAskedFor) {
    CFStringGetLineBounds(CFSTR("a\nb"), CFRangeMake(0, 0), nullptr, nullptr, nullptr);
    CFIndex end = -1;
    CFStringGetParagraphBounds(CFSTR("a\nb"), CFRangeMake(0, 0), nullptr, &end, nullptr);
    EXPECT_EQ(end, 2);
    CFStringGetLineBounds(nullptr, CFRangeMake(0, 5), nullptr, &end, nullptr);
    EXPECT_EQ(end, 0);
}

// ---- Composed characters

TEST(CFStringBounds, FindsSingleCharacters) {
    EXPECT_EQ(composed(u"abc", 1), Range(1, 1));
    EXPECT_EQ(composed(u"\u0416\u0434", 1), Range(1, 1));
    EXPECT_EQ(composed(u"a\u0416", 0), Range(0, 1));
}

TEST(CFStringBounds, FindsSurrogatePairsFromEitherHalf) {
    EXPECT_EQ(composed(u"a\U0001F600b", 1), Range(1, 2));
    EXPECT_EQ(composed(u"a\U0001F600b", 2), Range(1, 2));
    EXPECT_EQ(composed(u"a\U0001F600b", 3), Range(3, 1));
}

TEST(CFStringBounds, TakesMarksWithTheirBase) {
    for (CFIndex at = 1; at < 4; ++at) EXPECT_EQ(composed(u"xe\u0301\u0323y", at), Range(1, 3)) << at;
    EXPECT_EQ(composed(u"xe\u0301\u0323y", 0), Range(0, 1));
    EXPECT_EQ(composed(u"xe\u0301\u0323y", 4), Range(4, 1));
    EXPECT_EQ(composed(u"\u0301", 0), Range(0, 1));
}

TEST(CFStringBounds, TakesHangulSyllablesAsOne) {
    EXPECT_EQ(composed(u"\u1100\u1161\u11A8\u1100", 1), Range(0, 3));
    EXPECT_EQ(composed(u"\uAC00\u11A8", 0), Range(0, 2));
}

TEST(CFStringBounds, TakesEmojiSequencesAsOne) {
    EXPECT_EQ(composed(u"\U0001F468\u200D\U0001F469\u200D\U0001F467", 3), Range(0, 8));
    EXPECT_EQ(composed(u"\U0001F44D\U0001F3FD", 2), Range(0, 4));
    EXPECT_EQ(composed(u"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", 5), Range(4, 4));
}

TEST(CFStringBounds, TakesTheTwoUnitsOfALineEndSeparately) {
    EXPECT_EQ(composed(u"a\r\nb", 1), Range(1, 1));
    EXPECT_EQ(composed(u"\u0416\r\n\u0416", 1), Range(1, 1));
    EXPECT_EQ(composed(u"\u0416\r\n\u0416", 2), Range(2, 1));
}

TEST(CFStringBounds, TakesALoneSurrogateByItself) {
    const std::u16string in{u'a', char16_t{0xD83D}, u'b', char16_t{0xDE00}};
    for (CFIndex at = 0; at < 4; ++at) EXPECT_EQ(composed(in, at), Range(at, 1));
}

TEST(CFStringBounds, FindsNoCharacterOutsideTheString) {
    EXPECT_EQ(composed(u"abc", 3), Range(kCFNotFound, 0));
    EXPECT_EQ(composed(u"abc", -1), Range(kCFNotFound, 0));
    EXPECT_EQ(composed(u"", 0), Range(kCFNotFound, 0));
    EXPECT_EQ(CFStringGetRangeOfComposedCharactersAtIndex(nullptr, 0).location, kCFNotFound);
}

TEST(CFStringBounds, FindsCharactersInALongText) {
    std::u16string in(200'000, u'\u0416');
    in += u"e\u0301";
    EXPECT_EQ(composed(in, 200'001), Range(200'000, 2));
}

// ---- Hyphenation

TEST(CFStringBounds, HasNoHyphenation) {
    UTF32Char character = 'x';
    EXPECT_EQ(
        CFStringGetHyphenationLocationBeforeIndex(CFSTR("hyphenation"), 8, CFRangeMake(0, 11), 0, nullptr, &character),
        kCFNotFound);
    EXPECT_EQ(character, 0u);
    EXPECT_EQ(CFStringGetHyphenationLocationBeforeIndex(nullptr, 0, CFRangeMake(0, 0), 0, nullptr, nullptr),
              kCFNotFound);
    EXPECT_FALSE(CFStringIsHyphenationAvailableForLocale(nullptr));
}
