#include <KXCoreLib/CoreFoundation/StringRef.h>

#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <concepts>
#include <cstdarg>
#include <string>

using namespace KXCore::CoreFoundation;

namespace {

MutableStringRef changing(const std::string& utf8) {
    return StringRef::createMutableCopy(kCFAllocatorDefault, 0, text(utf8).get());
}

void appendFormatted(MutableStringRef& string, CFStringRef format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    string.appendFormatAndArguments(nullptr, format, arguments);
    va_end(arguments);
}

}  // namespace

FORWARDS(MutableStringRef, append, CFStringAppend);
FORWARDS(MutableStringRef, appendCharacters, CFStringAppendCharacters);
FORWARDS(MutableStringRef, appendPascalString, CFStringAppendPascalString);
FORWARDS(MutableStringRef, appendCString, CFStringAppendCString);
FORWARDS(MutableStringRef, appendFormatAndArguments, CFStringAppendFormatAndArguments);
FORWARDS(MutableStringRef, insert, CFStringInsert);
FORWARDS(MutableStringRef, dElete, CFStringDelete);
FORWARDS(MutableStringRef, replace, CFStringReplace);
FORWARDS(MutableStringRef, replaceAll, CFStringReplaceAll);
FORWARDS(MutableStringRef, findAndReplace, CFStringFindAndReplace);
FORWARDS(MutableStringRef, setExternalCharactersNoCopy, CFStringSetExternalCharactersNoCopy);
FORWARDS(MutableStringRef, pad, CFStringPad);
FORWARDS(MutableStringRef, trim, CFStringTrim);
FORWARDS(MutableStringRef, trimWhitespace, CFStringTrimWhitespace);
FORWARDS(MutableStringRef, lowercase, CFStringLowercase);
FORWARDS(MutableStringRef, uppercase, CFStringUppercase);
FORWARDS(MutableStringRef, capitalize, CFStringCapitalize);
FORWARDS(MutableStringRef, normalize, CFStringNormalize);
FORWARDS(MutableStringRef, fold, CFStringFold);
FORWARDS(MutableStringRef, transform, CFStringTransform);
OFFERS(
    CFStringAppendFormat, requires(CFStringRef format, MutableStringRef string) {
        { string.appendFormat(nullptr, format, 1, 'c') } -> std::same_as<void>;
    });

TEST(MutableStringRef, Appends) {
    MutableStringRef string = StringRef::createMutable(nullptr, 0);
    const UniChar units[] = {'b', 'c'};
    const UInt8 pascal[] = {1, 'd'};
    string.append(text("a").get());
    string.appendCharacters(units, 2);
    string.appendPascalString(pascal, kCFStringEncodingMacRoman);
    string.appendCString("e", kCFStringEncodingUTF8);
    EXPECT_EQ(string, text("abcde"));
}

TEST(MutableStringRef, AppendsFormats) {
    MutableStringRef string = changing("a");
    string.appendFormat(nullptr, text("%d").get(), 1);
    appendFormatted(string, text("%d").get(), 2);
    EXPECT_EQ(string, text("a12"));
}

TEST(MutableStringRef, InsertsDeletesAndReplaces) {
    MutableStringRef string = changing("abcdef");
    string.insert(1, text("X").get());
    EXPECT_EQ(string, text("aXbcdef"));
    string.dElete(CFRangeMake(0, 2));
    EXPECT_EQ(string, text("bcdef"));
    string.replace(CFRangeMake(0, 1), text("YY").get());
    EXPECT_EQ(string, text("YYcdef"));
    EXPECT_EQ(string.findAndReplace(text("Y").get(), text("z").get(), CFRangeMake(0, 6), 0), 2);
    EXPECT_EQ(string, text("zzcdef"));
    string.replaceAll(text("new").get());
    EXPECT_EQ(string, text("new"));
}

TEST(MutableStringRef, PadsAndTrims) {
    MutableStringRef string = changing("ab");
    string.pad(text("12").get(), 5, 1);
    EXPECT_EQ(string, text("ab212"));
    MutableStringRef stars = changing("**ab**");
    stars.trim(text("*").get());
    EXPECT_EQ(stars, text("ab"));
    MutableStringRef blanks = changing(" \tab\n");
    blanks.trimWhitespace();
    EXPECT_EQ(blanks, text("ab"));
}

TEST(MutableStringRef, ChangesCaseAndForm) {
    MutableStringRef string = changing("ÄpFel");
    string.lowercase(nullptr);
    EXPECT_EQ(string, text("äpfel"));
    string.uppercase(nullptr);
    EXPECT_EQ(string, text("ÄPFEL"));
    string.capitalize(nullptr);
    EXPECT_EQ(string, text("Äpfel"));
    string.normalize(kCFStringNormalizationFormD);
    EXPECT_EQ(string.getLength(), 6);
    string.normalize(kCFStringNormalizationFormC);
    EXPECT_EQ(string.getLength(), 5);
    string.fold(kCFCompareDiacriticInsensitive, nullptr);
    EXPECT_EQ(string, text("Apfel"));
}

TEST(MutableStringRef, Transforms) {
    MutableStringRef string = changing("éa");
    CFRange range{0, 1};
    EXPECT_TRUE(string.transform(&range, kCFStringTransformStripDiacritics, false));
    EXPECT_EQ(string, text("ea"));
    EXPECT_TRUE(isRange(range, 0, 1));
}

TEST(MutableStringRef, WorksOnExternalCharacters) {
    UniChar first[8] = {'a', 'b'};
    UniChar second[8] = {'c'};
    MutableStringRef string =
        StringRef::createMutableWithExternalCharactersNoCopy(nullptr, first, 2, 8, kCFAllocatorNull);
    EXPECT_EQ(string, text("ab"));
    string.setExternalCharactersNoCopy(second, 1, 8);
    EXPECT_EQ(string, text("c"));
    string.append(text("d").get());
    EXPECT_EQ(second[1], 'd');
}
