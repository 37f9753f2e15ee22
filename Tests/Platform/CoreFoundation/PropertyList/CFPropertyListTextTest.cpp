#include "PropertyListTesting.h"

using namespace PropertyListTesting;
using namespace std::string_literals;

namespace {

/// The value of a document in the old style, as XML without line ends and tabs.
std::string old(std::string_view text) {
    const Outcome outcome = read(text);
    if (!outcome) return "refused: " + outcome.reason;
    EXPECT_EQ(outcome.format, kCFPropertyListOpenStepFormat);
    std::string xml = body(outcome.list.get());
    std::erase(xml, '\n');
    std::erase(xml, '\t');
    return xml;
}

}  // namespace

TEST(PropertyListText, ReadsDictionariesArraysDataAndStrings) {
    EXPECT_EQ(old("{ a = b; \"c d\" = (1, 2, (x)); e = <0fbd 77>; }"),
              "<dict><key>a</key><string>b</string><key>c d</key><array><string>1</string><string>2</string>"
              "<array><string>x</string></array></array><key>e</key><data>D713</data></dict>");
}

TEST(PropertyListText, TakesAKeyWithoutAValueForItsOwnValue) {
    EXPECT_EQ(old("{a;}"), "<dict><key>a</key><string>a</string></dict>");
    EXPECT_EQ(old("{\"x y\"; b = c;}"),
              "<dict><key>b</key><string>c</string><key>x y</key><string>x y</string></dict>");
}

TEST(PropertyListText, AcceptsATrailingComma) {
    EXPECT_EQ(old("(a, b, )"), "<array><string>a</string><string>b</string></array>");
    EXPECT_EQ(old("()"), "<array/>");
    EXPECT_EQ(old("{}"), "<dict/>");
}

TEST(PropertyListText, ReadsACommentAloneAsAnEmptyDictionary) {
    EXPECT_EQ(old("// nothing"), "<dict/>");
    EXPECT_EQ(old("/* nothing */"), "<dict/>");
}

TEST(PropertyListText, ReadsWhiteSpaceAloneAsAnEmptyDictionary) {
    EXPECT_EQ(old(" \n\t\r "), "<dict/>");
    EXPECT_EQ(old(" "), "<dict/>");
}

TEST(PropertyListText, ReadsATokenWithoutQuotesAsAString) {
    EXPECT_EQ(old("token"), "<string>token</string>");
    EXPECT_EQ(old(" a/b:c.d-e_f$1 "), "<string>a/b:c.d-e_f$1</string>");
    EXPECT_EQ(old("17"), "<string>17</string>");
}

TEST(PropertyListText, ReadsPairsWithoutBraces) {
    EXPECT_EQ(old("\"a\" = \"b\";\n/* c */ d = { e = f; };"),
              "<dict><key>a</key><string>b</string><key>d</key><dict><key>e</key><string>f</string></dict></dict>");
    EXPECT_EQ(old("a;"), "<dict><key>a</key><string>a</string></dict>");
}

TEST(PropertyListText, ResolvesEscapes) {
    EXPECT_EQ(utf8(read(R"("\a\b\f\n\r\t\v\"\'\\\x\U00e4\101\12")").list.get()),
              "\a\b\f\n\r\t\v\"'\\x\xC3\xA4"
              "A\n");
    EXPECT_EQ(utf8(read("'it\\'s \"so\"'").list.get()), "it's \"so\"");
    EXPECT_EQ(utf8(read(R"("\Ud83d\Ude00")").list.get()), "\xF0\x9F\x98\x80");
    EXPECT_EQ(utf8(read("\"a\\\nb\"").list.get()), "a\nb");
}

TEST(PropertyListText, TakesAnOctalEscapeForACharacterOfItsOldEncoding) {
    EXPECT_EQ(utf8(read(R"("\200\341\370x")").list.get()), "\xC2\xA0\xC3\x86\xC5\x82x");
    EXPECT_EQ(utf8(read(R"("\7\08")").list.get()), "\a\0"s + "8");
}

TEST(PropertyListText, TakesAnEscapedCharacterBeyondASCIIForItself) {
    EXPECT_EQ(utf8(read("\"\\\xC3\xA4\\\xE4\xB8\x80\"").list.get()), "\xC3\xA4\xE4\xB8\x80");
}

TEST(PropertyListText, ReadsNonASCIIWithinQuotes) { EXPECT_EQ(old("\"\xC3\xA4\""), "<string>\xC3\xA4</string>"); }

TEST(PropertyListText, RefusesNonASCIIWithoutQuotes) {
    EXPECT_TRUE(isRefused("\xC3\xA4", "without quotes"));
    EXPECT_TRUE(isRefused("{a = \xC3\xA4;}", "without quotes"));
}

TEST(PropertyListText, RefusesHalfOfASurrogatePairAndBrokenUTF8) {
    EXPECT_TRUE(isRefused(R"("\Ud83d")", "surrogate"));
    EXPECT_TRUE(isRefused(R"("\Ude00x")", "surrogate"));
    EXPECT_TRUE(isRefused("\"\x80\"", "UTF-8"));
}

TEST(PropertyListText, ReadsDataAlone) {
    EXPECT_EQ(old("<>"), "<data></data>");
    EXPECT_EQ(old("<41 42\n43>"), "<data>QUJD</data>");
    EXPECT_EQ(old("<dada>"), "<data>2to=</data>");
}

TEST(PropertyListText, RefusesMalformedData) {
    EXPECT_TRUE(isRefused("{a = <4>;}", "odd"));
    EXPECT_TRUE(isRefused("{a = <4x>;}", "hexadecimal"));
    EXPECT_TRUE(isRefused("<41", "within data"));
}

TEST(PropertyListText, RefusesMissingPunctuation) {
    EXPECT_TRUE(isRefused("{a = b}", "';' on line 1"));
    EXPECT_TRUE(isRefused("{a = b;\nc = d\n e = f;}", "';' on line 3"));
    EXPECT_TRUE(isRefused("(a b)", "','"));
    EXPECT_TRUE(isRefused("(,)", "without quotes"));
    EXPECT_TRUE(isRefused("{= b;}", "without quotes"));
    EXPECT_TRUE(isRefused("{a = ;}", "without quotes"));
    EXPECT_TRUE(isRefused("a = b", "';'"));
}

TEST(PropertyListText, RefusesWhatFollowsTheList) {
    EXPECT_TRUE(isRefused("{} x", "behind the end"));
    EXPECT_TRUE(isRefused("(a))", "behind the end"));
}

TEST(PropertyListText, RefusesADocumentCutOffAnywhere) {
    const std::string whole = "{ a = (b, \"c\\n\", <0a0b>); /* x */ d = { e; }; }";
    ASSERT_TRUE(read(whole));
    for (std::size_t size = 1; size < whole.size(); ++size) {
        EXPECT_TRUE(isRefused(std::string_view(whole).substr(0, size))) << size;
    }
}

TEST(PropertyListText, RefusesNestingThatIsTooDeep) {
    EXPECT_TRUE(isRefused(std::string(100000, '('), "deep"));
    std::string dictionaries;
    for (int i = 0; i < 100000; ++i) dictionaries += "{a=";
    EXPECT_TRUE(isRefused(dictionaries, "deep"));
    EXPECT_TRUE(read(std::string(512, '(') + std::string(512, ')')));
}

TEST(PropertyListText, TakesTheLastOfDuplicateKeys) {
    EXPECT_EQ(old("{a = b; a = c;}"), "<dict><key>a</key><string>c</string></dict>");
}

TEST(PropertyListText, IsNeverWritten) {
    const Outcome outcome = write(text("x").get(), kCFPropertyListOpenStepFormat);
    EXPECT_FALSE(outcome);
    EXPECT_EQ(outcome.code, kCFPropertyListWriteStreamError);
}

TEST(PropertyListText, ReadsUTF16WithAMark) {
    EXPECT_EQ(old("\xFE\xFF\0{\0a\0;\0}"s), "<dict><key>a</key><string>a</string></dict>");
}
