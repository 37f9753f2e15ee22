#include <KXCoreLib/CoreFoundation/ErrorRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <concepts>
#include <cstdarg>
#include <string>

using namespace KXCore::CoreFoundation;

namespace {

constexpr UniChar kUnits[] = {'a', 0x20AC};
constexpr UInt8 kBytes[] = {2, 'a', 'b', 0};

StringRef validated(ErrorRef* error, CFStringRef format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    StringRef made = StringRef::createStringWithValidatedFormatAndArguments(nullptr, nullptr, text("%d").get(), format,
                                                                            arguments, error);
    va_end(arguments);
    return made;
}

StringRef formatted(CFAllocatorRef allocator, CFStringRef format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        StringRef made = StringRef::createWithFormatAndArguments(allocator, nullptr, format, arguments);
        va_end(arguments);
        return made;
    } catch (...) {
        va_end(arguments);
        throw;
    }
}

}  // namespace

template <>
StringRef KXCore::CoreFoundation::sample() {
    return text("a text that is no constant");
}
INSTANTIATE_TYPED_TEST_SUITE_P(StringRef, TypedWrapper, StringRef);

FORWARDS(StringRef, getTypeID, CFStringGetTypeID);
FORWARDS(StringRef, createWithPascalString, CFStringCreateWithPascalString);
FORWARDS(StringRef, createWithCString, CFStringCreateWithCString);
FORWARDS(StringRef, createWithBytes, CFStringCreateWithBytes);
FORWARDS(StringRef, createWithCharacters, CFStringCreateWithCharacters);
FORWARDS(StringRef, createWithPascalStringNoCopy, CFStringCreateWithPascalStringNoCopy);
FORWARDS(StringRef, createWithCStringNoCopy, CFStringCreateWithCStringNoCopy);
FORWARDS(StringRef, createWithBytesNoCopy, CFStringCreateWithBytesNoCopy);
FORWARDS(StringRef, createWithCharactersNoCopy, CFStringCreateWithCharactersNoCopy);
FORWARDS(StringRef, createWithSubstring, CFStringCreateWithSubstring);
FORWARDS(StringRef, createCopy, CFStringCreateCopy);
FORWARDS(StringRef, createWithFormatAndArguments, CFStringCreateWithFormatAndArguments);
FORWARDS(StringRef, createStringWithValidatedFormatAndArguments, CFStringCreateStringWithValidatedFormatAndArguments);
FORWARDS(StringRef, createMutable, CFStringCreateMutable);
FORWARDS(StringRef, createMutableCopy, CFStringCreateMutableCopy);
FORWARDS(StringRef, createMutableWithExternalCharactersNoCopy, CFStringCreateMutableWithExternalCharactersNoCopy);
FORWARDS(StringRef, getLength, CFStringGetLength);
FORWARDS(StringRef, getCharacterAtIndex, CFStringGetCharacterAtIndex);
FORWARDS(StringRef, getCharacters, CFStringGetCharacters);
FORWARDS(StringRef, getPascalString, CFStringGetPascalString);
FORWARDS(StringRef, getCString, CFStringGetCString);
FORWARDS(StringRef, getPascalStringPtr, CFStringGetPascalStringPtr);
FORWARDS(StringRef, getCStringPtr, CFStringGetCStringPtr);
FORWARDS(StringRef, getCharactersPtr, CFStringGetCharactersPtr);
FORWARDS(StringRef, getBytes, CFStringGetBytes);
FORWARDS(StringRef, createFromExternalRepresentation, CFStringCreateFromExternalRepresentation);
FORWARDS(StringRef, createExternalRepresentation, CFStringCreateExternalRepresentation);
FORWARDS(StringRef, getSmallestEncoding, CFStringGetSmallestEncoding);
FORWARDS(StringRef, getFastestEncoding, CFStringGetFastestEncoding);
FORWARDS(StringRef, getSystemEncoding, CFStringGetSystemEncoding);
FORWARDS(StringRef, getMaximumSizeForEncoding, CFStringGetMaximumSizeForEncoding);
FORWARDS(StringRef, getFileSystemRepresentation, CFStringGetFileSystemRepresentation);
FORWARDS(StringRef, getMaximumSizeOfFileSystemRepresentation, CFStringGetMaximumSizeOfFileSystemRepresentation);
FORWARDS(StringRef, createWithFileSystemRepresentation, CFStringCreateWithFileSystemRepresentation);
FORWARDS(StringRef, compareWithOptionsAndLocale, CFStringCompareWithOptionsAndLocale);
FORWARDS(StringRef, compareWithOptions, CFStringCompareWithOptions);
FORWARDS(StringRef, compare, CFStringCompare);
FORWARDS(StringRef, findWithOptionsAndLocale, CFStringFindWithOptionsAndLocale);
FORWARDS(StringRef, findWithOptions, CFStringFindWithOptions);
FORWARDS(StringRef, createArrayWithFindResults, CFStringCreateArrayWithFindResults);
FORWARDS(StringRef, find, CFStringFind);
FORWARDS(StringRef, hasPrefix, CFStringHasPrefix);
FORWARDS(StringRef, hasSuffix, CFStringHasSuffix);
FORWARDS(StringRef, getRangeOfComposedCharactersAtIndex, CFStringGetRangeOfComposedCharactersAtIndex);
FORWARDS(StringRef, findCharacterFromSet, CFStringFindCharacterFromSet);
FORWARDS(StringRef, getLineBounds, CFStringGetLineBounds);
FORWARDS(StringRef, getParagraphBounds, CFStringGetParagraphBounds);
FORWARDS(StringRef, getHyphenationLocationBeforeIndex, CFStringGetHyphenationLocationBeforeIndex);
FORWARDS(StringRef, isHyphenationAvailableForLocale, CFStringIsHyphenationAvailableForLocale);
FORWARDS(StringRef, createByCombiningStrings, CFStringCreateByCombiningStrings);
FORWARDS(StringRef, createArrayBySeparatingStrings, CFStringCreateArrayBySeparatingStrings);
FORWARDS(StringRef, getIntValue, CFStringGetIntValue);
FORWARDS(StringRef, getDoubleValue, CFStringGetDoubleValue);
FORWARDS(StringRef, isEncodingAvailable, CFStringIsEncodingAvailable);
FORWARDS(StringRef, getListOfAvailableEncodings, CFStringGetListOfAvailableEncodings);
FORWARDS(StringRef, getNameOfEncoding, CFStringGetNameOfEncoding);
FORWARDS(StringRef, convertEncodingToNSStringEncoding, CFStringConvertEncodingToNSStringEncoding);
FORWARDS(StringRef, convertNSStringEncodingToEncoding, CFStringConvertNSStringEncodingToEncoding);
FORWARDS(StringRef, convertEncodingToWindowsCodepage, CFStringConvertEncodingToWindowsCodepage);
FORWARDS(StringRef, convertWindowsCodepageToEncoding, CFStringConvertWindowsCodepageToEncoding);
FORWARDS(StringRef, convertIANACharSetNameToEncoding, CFStringConvertIANACharSetNameToEncoding);
FORWARDS(StringRef, convertEncodingToIANACharSetName, CFStringConvertEncodingToIANACharSetName);
FORWARDS(StringRef, getMostCompatibleMacStringEncoding, CFStringGetMostCompatibleMacStringEncoding);
FORWARDS(StringRef, initInlineBuffer, CFStringInitInlineBuffer);
FORWARDS(StringRef, getCharacterFromInlineBuffer, CFStringGetCharacterFromInlineBuffer);
FORWARDS(StringRef, isSurrogateHighCharacter, CFStringIsSurrogateHighCharacter);
FORWARDS(StringRef, isSurrogateLowCharacter, CFStringIsSurrogateLowCharacter);
FORWARDS(StringRef, getLongCharacterForSurrogatePair, CFStringGetLongCharacterForSurrogatePair);
FORWARDS(StringRef, getSurrogatePairForLongCharacter, CFStringGetSurrogatePairForLongCharacter);
FORWARDS(StringRef, show, CFShow);
FORWARDS(StringRef, showStr, CFShowStr);

OFFERS(
    CFStringCreateWithFormat, requires(CFStringRef format) {
        { StringRef::createWithFormat(nullptr, nullptr, format, 1, 2.5, format) } -> std::same_as<StringRef>;
    });
OFFERS(
    CFStringCreateStringWithValidatedFormat, requires(CFStringRef format, ErrorRef* error) {
        {
            StringRef::createStringWithValidatedFormat(nullptr, nullptr, format, format, error, 1, "x")
            } -> std::same_as<StringRef>;
    });

TEST(StringRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFStringCreateWithCString",
         [](CFAllocatorRef a) { StringRef::createWithCString(a, "text", kCFStringEncodingUTF8); }},
        {"CFStringCreateWithCString",
         [](CFAllocatorRef a) { StringRef::createWithStdString(a, "text", kCFStringEncodingUTF8); }},
        {"CFStringCreateWithCStringNoCopy",
         [](CFAllocatorRef a) {
             StringRef::createWithCStringNoCopy(a, "text", kCFStringEncodingUTF8, kCFAllocatorNull);
         }},
        {"CFStringCreateWithBytes",
         [](CFAllocatorRef a) { StringRef::createWithBytes(a, kBytes, 3, kCFStringEncodingUTF8, false); }},
        {"CFStringCreateWithBytesNoCopy",
         [](CFAllocatorRef a) {
             StringRef::createWithBytesNoCopy(a, kBytes, 3, kCFStringEncodingUTF8, false, kCFAllocatorNull);
         }},
        {"CFStringCreateWithCharacters", [](CFAllocatorRef a) { StringRef::createWithCharacters(a, kUnits, 2); }},
        {"CFStringCreateWithCharactersNoCopy",
         [](CFAllocatorRef a) { StringRef::createWithCharactersNoCopy(a, kUnits, 2, kCFAllocatorNull); }},
        {"CFStringCreateWithPascalString",
         [](CFAllocatorRef a) { StringRef::createWithPascalString(a, kBytes, kCFStringEncodingMacRoman); }},
        {"CFStringCreateWithPascalStringNoCopy",
         [](CFAllocatorRef a) {
             StringRef::createWithPascalStringNoCopy(a, kBytes, kCFStringEncodingMacRoman, kCFAllocatorNull);
         }},
        {"CFStringCreateWithFileSystemRepresentation",
         [](CFAllocatorRef a) { StringRef::createWithFileSystemRepresentation(a, "/tmp"); }},
        {"CFStringCreateFromExternalRepresentation",
         [](CFAllocatorRef a) {
             StringRef::createFromExternalRepresentation(a, bytesOf("abc").get(), kCFStringEncodingUTF8);
         }},
        {"CFStringCreateExternalRepresentation",
         [](CFAllocatorRef a) {
             StringRef::createExternalRepresentation(a, text("text").get(), kCFStringEncodingUTF8, 0);
         }},
        {"CFStringCreateWithSubstring",
         [](CFAllocatorRef a) { StringRef::createWithSubstring(a, text("some text").get(), CFRangeMake(1, 4)); }},
        {"CFStringCreateByCombiningStrings",
         [](CFAllocatorRef a) {
             const StringRef strings[] = {text("one"), text("two")};
             const void* values[] = {strings[0].get(), strings[1].get()};
             const ArrayRef both = ArrayRef::create(kCFAllocatorDefault, values, 2, &kCFTypeArrayCallBacks);
             StringRef::createByCombiningStrings(a, both.get(), text(", ").get());
         }},
        {"CFStringCreateArrayBySeparatingStrings",
         [](CFAllocatorRef a) { StringRef::createArrayBySeparatingStrings(a, text("a,b").get(), text(",").get()); }},
        {"CFStringCreateArrayWithFindResults",
         [](CFAllocatorRef a) {
             StringRef::createArrayWithFindResults(a, text("a,b").get(), text(",").get(), CFRangeMake(0, 3), 0);
         }},
        {"CFStringCreateMutable", [](CFAllocatorRef a) { StringRef::createMutable(a, 0); }},
        {"CFStringCreateMutableCopy",
         [](CFAllocatorRef a) { StringRef::createMutableCopy(a, 0, text("some text").get()); }},
        {"CFStringCreateMutableWithExternalCharactersNoCopy",
         [](CFAllocatorRef a) {
             StringRef::createMutableWithExternalCharactersNoCopy(a, nullptr, 0, 0, kCFAllocatorNull);
         }},
        {"CFStringCreateWithFormat",
         [](CFAllocatorRef a) { StringRef::createWithFormat(a, nullptr, text("%d").get(), 7); }},
        {"CFStringCreateWithFormatAndArguments", [](CFAllocatorRef a) { formatted(a, text("%d").get(), 7); }},
    });
}

TEST(StringRef, IsMadeOfCharactersOfEveryForm) {
    const StringRef ab = text("ab");
    const UniChar units[] = {'a', 'b'};
    const UInt8 bytes[] = {'a', 'b'};
    const UInt8 pascal[] = {2, 'a', 'b'};
    const CFStringEncoding utf8 = kCFStringEncodingUTF8;
    EXPECT_EQ(StringRef::createWithCString(nullptr, "ab", utf8), ab);
    EXPECT_EQ(StringRef::createWithStdString(nullptr, "ab", utf8), ab);
    EXPECT_EQ(StringRef::createWithCStringNoCopy(nullptr, "ab", utf8, kCFAllocatorNull), ab);
    EXPECT_EQ(StringRef::createWithBytes(nullptr, bytes, 2, utf8, false), ab);
    EXPECT_EQ(StringRef::createWithBytesNoCopy(nullptr, bytes, 2, utf8, false, kCFAllocatorNull), ab);
    EXPECT_EQ(StringRef::createWithCharacters(nullptr, units, 2), ab);
    EXPECT_EQ(StringRef::createWithCharactersNoCopy(nullptr, units, 2, kCFAllocatorNull), ab);
    EXPECT_EQ(StringRef::createWithPascalString(nullptr, pascal, kCFStringEncodingMacRoman), ab);
    EXPECT_EQ(StringRef::createWithPascalStringNoCopy(nullptr, pascal, kCFStringEncodingMacRoman, kCFAllocatorNull),
              ab);
    EXPECT_EQ(StringRef::createWithFileSystemRepresentation(nullptr, "ab"), ab);
    EXPECT_EQ(StringRef::createWithSubstring(nullptr, text("xaby").get(), CFRangeMake(1, 2)), ab);
    EXPECT_EQ(StringRef::createCopy(nullptr, ab.get()), ab);
    EXPECT_EQ(StringRef::createMutableCopy(nullptr, 0, ab.get()), ab);
}

TEST(StringRef, IsMadeOfAStdStringInItsEncoding) {
    EXPECT_EQ(StringRef::createWithStdString(nullptr, "\xFC", kCFStringEncodingISOLatin1), text("ü"));
    EXPECT_EQ(StringRef::createWithStdString(nullptr, "", kCFStringEncodingUTF8).getLength(), 0);
}

TEST(StringRef, IsMadeOfItsExternalRepresentation) {
    const StringRef string = text("grün");
    const DataRef data = StringRef::createExternalRepresentation(nullptr, string.get(), kCFStringEncodingUTF8, 0);
    EXPECT_EQ(data.getLength(), 5);
    EXPECT_EQ(StringRef::createFromExternalRepresentation(nullptr, data.get(), kCFStringEncodingUTF8), string);
}

TEST(StringRef, IsCombinedOfStringsAndSeparatedIntoThem) {
    const ArrayRef parts =
        StringRef::createArrayBySeparatingStrings(nullptr, text("one, two, three").get(), text(", ").get());
    EXPECT_EQ(parts.getCount(), 3);
    EXPECT_EQ(StringRef::createByCombiningStrings(nullptr, parts.get(), text("|").get()), text("one|two|three"));
}

TEST(StringRef, FindsAllPlaces) {
    const ArrayRef found =
        StringRef::createArrayWithFindResults(nullptr, text("abcabc").get(), text("b").get(), CFRangeMake(0, 6), 0);
    ASSERT_EQ(found.getCount(), 2);
    const CFRange second = *static_cast<const CFRange*>(found.getValueAtIndex(1));
    EXPECT_TRUE(isRange(second, 4, 1));
}

TEST(StringRef, IsFormatted) {
    EXPECT_EQ(StringRef::createWithFormat(nullptr, nullptr, text("%d %@ %s").get(), 7, text("ü").get(), "x"),
              text("7 ü x"));
}

TEST(StringRef, IsFormattedFromAListOfArguments) {
    EXPECT_EQ(formatted(nullptr, text("<%d>").get(), 7), text("<7>"));
    ErrorRef error;
    EXPECT_EQ(validated(&error, text("<%d>").get(), 7), text("<7>"));
    EXPECT_FALSE(error);
    EXPECT_FALSE(validated(&error, text("<%s>").get(), 7));
    EXPECT_TRUE(error);
}

TEST(StringRefCopyStdString, TakesTheDirectTextOfPlainStrings) {
    const StringRef plain = text("plain");
    ASSERT_NE(plain.getCStringPtr(kCFStringEncodingUTF8), nullptr);
    EXPECT_EQ(plain.copyStdString(), "plain");
    std::string out = "old";
    plain.copyStdString(out);
    EXPECT_EQ(out, "plain");
}

TEST(StringRefCopyStdString, ConvertsOtherStrings) {
    for (const char* utf8 : {"ü", "grün € 🎉", "\xEF\xBF\xBF"}) {
        const StringRef string = text(utf8);
        ASSERT_EQ(string.getCStringPtr(kCFStringEncodingUTF8), nullptr);
        EXPECT_EQ(string.copyStdString(), utf8);
        std::string out = "old";
        string.copyStdString(out);
        EXPECT_EQ(out, utf8);
    }
}

TEST(StringRefCopyStdString, ConvertsMoreThanOneChunk) {
    // Around the size of a chunk, with characters of every length on its edge.
    for (const char* character : {"ü", "€", "🎉"}) {
        for (std::size_t before = 500; before <= 520; ++before) {
            std::string utf8(before, 'x');
            for (int i = 0; i < 300; ++i) utf8 += character;
            ASSERT_EQ(text(utf8).copyStdString(), utf8) << before;
        }
    }
}

TEST(StringRefCopyStdString, IsTheSameForAnEmptyString) {
    EXPECT_EQ(text("").copyStdString(), "");
    std::string out = "old";
    MutableStringRef empty = StringRef::createMutable(nullptr, 0);
    empty.copyStdString(out);
    EXPECT_EQ(out, "");
}

TEST(StringRefCopyStdString, KeepsANulWithinTheTextOnBothWays) {
    const std::string direct("a\0b", 3);
    const std::string converted("\xC3\xBC\0b", 4);
    EXPECT_EQ(text(direct).copyStdString(), direct);
    EXPECT_EQ(text(converted).copyStdString(), converted);
}

TEST(StringRefCopyStdString, EndsBeforeHalfOfASurrogatePair) {
    const UniChar units[] = {0x20AC, 'b', 0xDC00, 'c'};
    EXPECT_EQ(StringRef::createWithCharacters(nullptr, units, 4).copyStdString(), "€b");
}

TEST(StringRef, GivesItsCharacters) {
    const StringRef string = text("gü");
    EXPECT_EQ(string.getLength(), 2);
    EXPECT_EQ(string.getCharacterAtIndex(1), 0xFC);
    UniChar units[2] = {};
    string.getCharacters(CFRangeMake(0, 2), units);
    EXPECT_EQ(units[0], 'g');
    ASSERT_NE(string.getCharactersPtr(), nullptr);
    EXPECT_EQ(string.getCharactersPtr()[1], 0xFC);
    EXPECT_EQ(string.getCStringPtr(kCFStringEncodingUTF8), nullptr);
    char utf8[8] = {};
    EXPECT_TRUE(string.getCString(utf8, sizeof utf8, kCFStringEncodingUTF8));
    EXPECT_STREQ(utf8, "gü");
    EXPECT_FALSE(string.getCString(utf8, 2, kCFStringEncodingUTF8));
    UInt8 bytes[8] = {};
    CFIndex used = 0;
    EXPECT_EQ(string.getBytes(CFRangeMake(1, 1), kCFStringEncodingISOLatin1, 0, false, bytes, 8, &used), 1);
    EXPECT_EQ(used, 1);
    EXPECT_EQ(bytes[0], 0xFC);
    CFStringInlineBuffer buffer;
    string.initInlineBuffer(&buffer, CFRangeMake(0, 2));
    EXPECT_EQ(StringRef::getCharacterFromInlineBuffer(&buffer, 1), 0xFC);
}

TEST(StringRef, GivesPascalAndFileSystemForms) {
    const StringRef string = text("ab");
    UInt8 pascal[8] = {};
    EXPECT_TRUE(string.getPascalString(pascal, sizeof pascal, kCFStringEncodingMacRoman));
    EXPECT_EQ(pascal[0], 2);
    EXPECT_EQ(pascal[2], 'b');
    const unsigned char* const direct = string.getPascalStringPtr(kCFStringEncodingMacRoman);
    EXPECT_TRUE(!direct || direct[0] == 2) << "the direct form may be missing, never wrong";
    char path[16] = {};
    EXPECT_GE(string.getMaximumSizeOfFileSystemRepresentation(), 3);
    EXPECT_TRUE(string.getFileSystemRepresentation(path, sizeof path));
    EXPECT_STREQ(path, "ab");
}

TEST(StringRef, Compares) {
    const StringRef lower = text("abc");
    const StringRef upper = text("ABC");
    EXPECT_EQ(lower.compare(upper.get(), 0), kCFCompareGreaterThan);
    EXPECT_EQ(lower.compare(upper.get(), kCFCompareCaseInsensitive), kCFCompareEqualTo);
    EXPECT_EQ(lower.compareWithOptions(text("b").get(), CFRangeMake(1, 1), 0), kCFCompareEqualTo);
    EXPECT_EQ(lower.compareWithOptionsAndLocale(text("bcd").get(), CFRangeMake(1, 2), 0, nullptr), kCFCompareLessThan);
    EXPECT_TRUE(lower.hasPrefix(text("ab").get()));
    EXPECT_FALSE(lower.hasPrefix(text("bc").get()));
    EXPECT_TRUE(lower.hasSuffix(text("bc").get()));
    EXPECT_FALSE(lower.hasSuffix(text("ab").get()));
}

TEST(StringRef, Finds) {
    const StringRef string = text("abcabc");
    EXPECT_TRUE(isRange(string.find(text("c").get(), 0), 2, 1));
    EXPECT_EQ(string.find(text("x").get(), 0).location, kCFNotFound);
    CFRange found{};
    EXPECT_TRUE(string.findWithOptions(text("b").get(), CFRangeMake(0, 6), kCFCompareBackwards, &found));
    EXPECT_TRUE(isRange(found, 4, 1));
    EXPECT_TRUE(string.findWithOptionsAndLocale(text("A").get(), CFRangeMake(1, 5), kCFCompareCaseInsensitive, nullptr,
                                                &found));
    EXPECT_TRUE(isRange(found, 3, 1));
}

TEST(StringRef, FindsBounds) {
    const StringRef string = text("one\ntwo\nthree");
    CFIndex begin = 0;
    CFIndex end = 0;
    CFIndex contentsEnd = 0;
    string.getLineBounds(CFRangeMake(5, 0), &begin, &end, &contentsEnd);
    EXPECT_EQ(begin, 4);
    EXPECT_EQ(end, 8);
    EXPECT_EQ(contentsEnd, 7);
    const StringRef paragraphs = text("one\xE2\x80\xA8two\nthree");  // a line separator is no end of a paragraph
    paragraphs.getParagraphBounds(CFRangeMake(5, 0), &begin, &end, &contentsEnd);
    EXPECT_EQ(begin, 0);
    EXPECT_EQ(end, 8);
    EXPECT_EQ(contentsEnd, 7);
    EXPECT_TRUE(isRange(text("e\xCC\x81x").getRangeOfComposedCharactersAtIndex(1), 0, 2));
}

TEST(StringRef, LooksForSetsAndHyphens) {
    const StringRef string = text("hyphenation");
    CFRange found{};
    EXPECT_EQ(string.findCharacterFromSet(nullptr, CFRangeMake(0, 11), 0, &found),
              CFStringFindCharacterFromSet(string.get(), nullptr, CFRangeMake(0, 11), 0, &found));
    EXPECT_EQ(string.getHyphenationLocationBeforeIndex(8, CFRangeMake(0, 11), 0, nullptr, nullptr),
              CFStringGetHyphenationLocationBeforeIndex(string.get(), 8, CFRangeMake(0, 11), 0, nullptr, nullptr));
    EXPECT_EQ(StringRef::isHyphenationAvailableForLocale(nullptr), CFStringIsHyphenationAvailableForLocale(nullptr));
}

TEST(StringRef, ReadsNumbers) {
    EXPECT_EQ(text("-12 apples").getIntValue(), -12);
    EXPECT_EQ(text("2.5e1 apples").getDoubleValue(), 25.0);
}

TEST(StringRef, KnowsEncodings) {
    const CFStringEncoding utf16 = kCFStringEncodingUTF16;
    EXPECT_EQ(text("中").getFastestEncoding(), utf16);
    EXPECT_NE(text("ascii").getSmallestEncoding(), utf16);
    EXPECT_EQ(StringRef::getSystemEncoding(), CFStringGetSystemEncoding());
    EXPECT_GE(StringRef::getMaximumSizeForEncoding(10, kCFStringEncodingUTF8), 30);
    EXPECT_TRUE(StringRef::isEncodingAvailable(kCFStringEncodingUTF8));
    EXPECT_FALSE(StringRef::isEncodingAvailable(0x0EEE0EEE));
    EXPECT_NE(StringRef::getListOfAvailableEncodings(), nullptr);
    EXPECT_TRUE(StringRef::getNameOfEncoding(kCFStringEncodingUTF8));
    EXPECT_EQ(StringRef::getMostCompatibleMacStringEncoding(kCFStringEncodingISOLatin1),
              CFStringEncoding(kCFStringEncodingMacRoman));
}

TEST(StringRef, ConvertsNamesOfEncodings) {
    EXPECT_EQ(text("utf-8").convertIANACharSetNameToEncoding(), CFStringEncoding(kCFStringEncodingUTF8));
    EXPECT_EQ(StringRef::retain(StringRef::convertEncodingToIANACharSetName(kCFStringEncodingUTF8)), text("utf-8"));
    EXPECT_EQ(StringRef::convertEncodingToNSStringEncoding(kCFStringEncodingUTF8), 4u);
    EXPECT_EQ(StringRef::convertNSStringEncodingToEncoding(4), CFStringEncoding(kCFStringEncodingUTF8));
    EXPECT_EQ(StringRef::convertEncodingToWindowsCodepage(kCFStringEncodingWindowsLatin1), 1252u);
    EXPECT_EQ(StringRef::convertWindowsCodepageToEncoding(1252), CFStringEncoding(kCFStringEncodingWindowsLatin1));
}

TEST(StringRef, KnowsSurrogates) {
    EXPECT_TRUE(StringRef::isSurrogateHighCharacter(0xD83C));
    EXPECT_FALSE(StringRef::isSurrogateHighCharacter(0xDF89));
    EXPECT_TRUE(StringRef::isSurrogateLowCharacter(0xDF89));
    EXPECT_FALSE(StringRef::isSurrogateLowCharacter(0xD83C));
    EXPECT_EQ(StringRef::getLongCharacterForSurrogatePair(0xD83C, 0xDF89), 0x1F389u);
    UniChar pair[2] = {};
    EXPECT_TRUE(StringRef::getSurrogatePairForLongCharacter(0x1F389, pair));
    EXPECT_EQ(pair[0], 0xD83C);
    EXPECT_EQ(pair[1], 0xDF89);
}

TEST(StringRef, IsShown) {
    testing::internal::CaptureStderr();
    StringRef::show(text("shown").get());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "shown\n");
    testing::internal::CaptureStderr();
    text("shown").showStr();
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST(StringRef, OfNothingHasNoCopy) {
    expectFailsToCreate("CFStringCreateCopy", [] { StringRef::createCopy(nullptr, nullptr); });
}

TEST(StringRef, IsNotMadeOfBytesThatAreNotOfTheEncoding) {
    expectFailsToCreate("CFStringCreateWithCString",
                        [] { StringRef::createWithCString(kCFAllocatorDefault, "\xFF", kCFStringEncodingUTF8); });
}

TEST(StringRef, HasNoExternalRepresentationInAnEncodingThatLacksItsCharacters) {
    const StringRef string = text("ü and some more text");
    const CFIndex count = countOf(string);
    expectFailsToCreate("CFStringCreateExternalRepresentation", [&] {
        StringRef::createExternalRepresentation(kCFAllocatorDefault, string.get(), kCFStringEncodingASCII, 0);
    });
    expectFailsToCreate("CFStringCreateMutableCopy",
                        [&] { StringRef::createMutableCopy(noMemory().get(), 0, string.get()); });
    EXPECT_EQ(countOf(string), count) << "a failure leaves the counts of its arguments";
}

TEST(StringRef, ReportsThatNothingIsFound) {
    expectFailsToCreate("CFStringCreateArrayWithFindResults", [] {
        StringRef::createArrayWithFindResults(kCFAllocatorDefault, text("abc").get(), text("x").get(),
                                              CFRangeMake(0, 3), 0);
    });
}

TEST(StringRef, GetterOfAnUnknownNameGivesAnEmptyWrapper) {
    const Failure failure = failureOf([] { EXPECT_FALSE(StringRef::getNameOfEncoding(0x0EEE0EEE)); });
    EXPECT_EQ(failure.what, "");
    EXPECT_EQ(failure.message, "");
}

TEST(StringRef, TellsWhyAFormatIsRefused) {
    ErrorRef error;
    const StringRef good = StringRef::createStringWithValidatedFormat(kCFAllocatorDefault, nullptr, text("%d").get(),
                                                                      text("<%d>").get(), &error, 42);
    EXPECT_EQ(good, text("<42>"));
    EXPECT_FALSE(error);
    const StringRef bad = StringRef::createStringWithValidatedFormat(kCFAllocatorDefault, nullptr, text("%d").get(),
                                                                     text("<%s>").get(), &error, 42);
    EXPECT_FALSE(bad);
    EXPECT_TRUE(error);
    ErrorRef* const none = nullptr;
    EXPECT_EQ(failureOf([&] {
                  StringRef::createStringWithValidatedFormat(kCFAllocatorDefault, nullptr, text("%d").get(),
                                                             text("%s").get(), none, 42);
              }).what,
              "unexpected error occured");
}
