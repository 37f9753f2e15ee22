#include "PropertyListTesting.h"

#include <cmath>

using namespace PropertyListTesting;
using namespace std::string_literals;

// ---- What is accepted

TEST(PropertyListXMLReader, ReadsEveryTypeInTheWrittenForm) {
    const std::string xml = document(
        "<dict>\n"
        "\t<key>array</key>\n\t<array>\n\t\t<string>x</string>\n\t\t<array/>\n\t\t<dict/>\n\t</array>\n"
        "\t<key>data</key>\n\t<data>\n\tQUJD\n\t</data>\n"
        "\t<key>date</key>\n\t<date>2026-11-21T03:04:05Z</date>\n"
        "\t<key>false</key>\n\t<false/>\n"
        "\t<key>integer</key>\n\t<integer>-42</integer>\n"
        "\t<key>real</key>\n\t<real>2.5</real>\n"
        "\t<key>string</key>\n\t<string>a &amp; \xC3\xA4</string>\n"
        "\t<key>true</key>\n\t<true/>\n"
        "</dict>\n");
    const Outcome outcome = read(xml);
    ASSERT_TRUE(outcome) << outcome.reason;
    EXPECT_EQ(outcome.format, kCFPropertyListXMLFormat_v1_0);
    EXPECT_EQ(writtenXML(outcome.list.get()), xml);
    const List expected =
        dict(entry("array", array(text("x"), array(), dict())), entry("data", dataOf("ABC")),
             entry("date", date(816923045)), entry("false", boolean(false)), entry("integer", integer(-42)),
             entry("real", real(2.5)), entry("string", text("a & \xC3\xA4")), entry("true", boolean(true)));
    EXPECT_TRUE(CFEqual(outcome.list.get(), expected.get()));
}

TEST(PropertyListXMLReader, ReadsTextThatBeginsAtThePListElement) {
    EXPECT_EQ(reread("<plist version=\"1.0\">\n<string>x</string>\n</plist>\n"), "<string>x</string>\n");
}

TEST(PropertyListXMLReader, ReadsAnElementWithoutPListAroundIt) {
    EXPECT_EQ(reread("<string>x</string>"), "<string>x</string>\n");
    EXPECT_EQ(reread("<dict><key>a</key><true/></dict>"), "<dict>\n\t<key>a</key>\n\t<true/>\n</dict>\n");
}

TEST(PropertyListXMLReader, AcceptsAnyVersionOfPList) {
    EXPECT_EQ(reread("<plist version=\"0.9\"><true/></plist>"), "<true/>\n");
    EXPECT_EQ(reread("<plist version='17'><true/></plist>"), "<true/>\n");
    EXPECT_EQ(reread("<plist><true/></plist>"), "<true/>\n");
}

TEST(PropertyListXMLReader, AcceptsTextBehindTheEndOfPList) {
    EXPECT_EQ(reread("<plist><true/></plist>whatever <follows"), "<true/>\n");
}

TEST(PropertyListXMLReader, ReadsHexadecimalAndSignedIntegers) {
    EXPECT_EQ(reread("<integer>0x1F</integer>"), "<integer>31</integer>\n");
    EXPECT_EQ(reread("<integer>-0x1F</integer>"), "<integer>-31</integer>\n");
    EXPECT_EQ(reread("<integer>0xff</integer>"), "<integer>255</integer>\n");
    EXPECT_EQ(reread("<integer>+12</integer>"), "<integer>12</integer>\n");
    EXPECT_EQ(reread("<integer>007</integer>"), "<integer>7</integer>\n");
    EXPECT_EQ(reread("<integer>-0</integer>"), "<integer>0</integer>\n");
}

TEST(PropertyListXMLReader, ReadsIntegersToTheLastOf64Bits) {
    EXPECT_EQ(reread("<integer>9223372036854775807</integer>"), "<integer>9223372036854775807</integer>\n");
    EXPECT_EQ(reread("<integer>9223372036854775808</integer>"), "<integer>9223372036854775808</integer>\n");
    EXPECT_EQ(reread("<integer>18446744073709551615</integer>"), "<integer>18446744073709551615</integer>\n");
    EXPECT_EQ(reread("<integer>0xFFFFFFFFFFFFFFFF</integer>"), "<integer>18446744073709551615</integer>\n");
    EXPECT_EQ(reread("<integer>-9223372036854775808</integer>"), "<integer>-9223372036854775808</integer>\n");
    EXPECT_TRUE(isRefused("<integer>18446744073709551616</integer>", "integer"));
    EXPECT_TRUE(isRefused("<integer>-9223372036854775809</integer>", "integer"));
}

TEST(PropertyListXMLReader, GivesIntegersThe64BitType) {
    const Outcome outcome = read("<integer>1</integer>");
    EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(outcome.list.get())), kCFNumberSInt64Type);
}

TEST(PropertyListXMLReader, ReadsReals) {
    EXPECT_EQ(reread("<real>3.5</real>"), "<real>3.5</real>\n");
    EXPECT_EQ(reread("<real>-1e3</real>"), "<real>-1000</real>\n");
    EXPECT_EQ(reread("<real>+.5</real>"), "<real>0.5</real>\n");
    EXPECT_EQ(reread("<real>7</real>"), "<real>7</real>\n");
    EXPECT_EQ(reread("<real>0.10000000000000001</real>"), "<real>0.10000000000000001</real>\n");
    EXPECT_TRUE(CFNumberIsFloatType(static_cast<CFNumberRef>(read("<real>7</real>").list.get())));
}

TEST(PropertyListXMLReader, ReadsARealThatIsTooLargeAsInfinity) {
    EXPECT_EQ(reread("<real>1e999</real>"), "<real>+infinity</real>\n");
    EXPECT_EQ(reread("<real>-1e999</real>"), "<real>-infinity</real>\n");
    EXPECT_EQ(reread("<real>1e-999</real>"), "<real>0.0</real>\n");
}

TEST(PropertyListXMLReader, ReadsTheWordsItWritesForReals) {
    EXPECT_EQ(reread("<real>nan</real>"), "<real>nan</real>\n");
    EXPECT_EQ(reread("<real>+infinity</real>"), "<real>+infinity</real>\n");
    EXPECT_EQ(reread("<real>-infinity</real>"), "<real>-infinity</real>\n");
    EXPECT_EQ(reread("<real>INF</real>"), "<real>+infinity</real>\n");
}

TEST(PropertyListXMLReader, RollsOverMonthsAndDaysOutOfRange) {
    EXPECT_EQ(reread("<date>2001-13-01T00:00:00Z</date>"), "<date>2002-01-01T00:00:00Z</date>\n");
    EXPECT_EQ(reread("<date>2001-01-32T00:00:00Z</date>"), "<date>2001-02-01T00:00:00Z</date>\n");
    EXPECT_EQ(reread("<date>2001-02-29T00:00:00Z</date>"), "<date>2001-03-01T00:00:00Z</date>\n");
    EXPECT_EQ(reread("<date>2000-02-29T00:00:00Z</date>"), "<date>2000-02-29T00:00:00Z</date>\n");
    EXPECT_EQ(reread("<date>2001-00-00T00:00:00Z</date>"), "<date>2000-11-30T00:00:00Z</date>\n");
    EXPECT_EQ(reread("<date>2001-12-31T24:60:60Z</date>"), "<date>2002-01-01T01:01:00Z</date>\n");
}

TEST(PropertyListXMLReader, ReadsEveryDayOfFourCenturiesAsItWritesIt) {
    for (int day = -73048; day < 73049; day += 13) {
        const double time = day * 86400.0 + 12345;
        const std::string element = body(date(time).get());
        const Outcome outcome = read(element);
        ASSERT_TRUE(outcome) << element;
        ASSERT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(outcome.list.get())), time) << element;
    }
}

TEST(PropertyListXMLReader, ReadsBackDatesFarOff) {
    for (const double time : {-1e12, -63113904001.0, 252423993600.0, 1e15, -1e15, 3e16, -3e16}) {
        const std::string element = body(date(time).get());
        const Outcome outcome = read(element);
        ASSERT_TRUE(outcome) << element;
        EXPECT_EQ(CFDateGetAbsoluteTime(static_cast<CFDateRef>(outcome.list.get())), time) << element;
    }
}

TEST(PropertyListXMLReader, TakesTheLastOfDuplicateKeys) {
    EXPECT_EQ(
        reread("<dict><key>a</key><integer>1</integer><key>b</key><true/><key>a</key><integer>2</integer></dict>"),
        "<dict>\n\t<key>a</key>\n\t<integer>2</integer>\n\t<key>b</key>\n\t<true/>\n</dict>\n");
}

TEST(PropertyListXMLReader, ReadsAKeyInTheValuesPlaceAsAString) {
    EXPECT_EQ(reread("<dict><key>a</key><key>b</key></dict>"),
              "<dict>\n\t<key>a</key>\n\t<string>b</string>\n</dict>\n");
    EXPECT_EQ(reread("<array><key>b</key></array>"), "<array>\n\t<string>b</string>\n</array>\n");
}

TEST(PropertyListXMLReader, AcceptsEmptyBooleansWithTwoTags) {
    EXPECT_EQ(reread("<true></true>"), "<true/>\n");
    EXPECT_EQ(reread("<false></false>"), "<false/>\n");
    EXPECT_EQ(reread("<true />"), "<true/>\n");
    EXPECT_TRUE(isRefused("<true> </true>"));
    EXPECT_TRUE(isRefused("<false>x</false>"));
}

TEST(PropertyListXMLReader, ReadsEmptyElements) {
    EXPECT_EQ(reread("<string/>"), "<string></string>\n");
    EXPECT_EQ(reread("<data/>"), "<data>\n</data>\n");
    EXPECT_EQ(reread("<dict/>"), "<dict/>\n");
    EXPECT_EQ(reread("<dict></dict>"), "<dict/>\n");
    EXPECT_EQ(reread("<array />"), "<array/>\n");
    EXPECT_EQ(reread("<dict><key/><true/></dict>"), "<dict>\n\t<key></key>\n\t<true/>\n</dict>\n");
}

TEST(PropertyListXMLReader, ResolvesEntitiesAndCharacterReferences) {
    EXPECT_EQ(utf8(read("<string>&lt;&gt;&amp;&quot;&apos;</string>").list.get()), "<>&\"'");
    EXPECT_EQ(utf8(read("<string>&#65;&#x42;&#xe4;&#x1F600;&#10;</string>").list.get()),
              "AB\xC3\xA4\xF0\x9F\x98\x80\n");
    EXPECT_EQ(utf8(read("<string>&#x10FFFF;</string>").list.get()), "\xF4\x8F\xBF\xBF");
    EXPECT_EQ(utf8(read("<dict><key>a&amp;b</key><true/></dict>").list.get()), "<no string>");
    EXPECT_EQ(reread("<dict><key>a&amp;b</key><true/></dict>"), "<dict>\n\t<key>a&amp;b</key>\n\t<true/>\n</dict>\n");
}

TEST(PropertyListXMLReader, ReadsCharacterData) {
    EXPECT_EQ(utf8(read("<string>a<![CDATA[<b>&amp;]]>c</string>").list.get()), "a<b>&amp;c");
    EXPECT_EQ(utf8(read("<string><![CDATA[]]></string>").list.get()), "");
    EXPECT_EQ(utf8(read("<string><![CDATA[]]]]></string>").list.get()), "]]");
}

TEST(PropertyListXMLReader, KeepsBlanksAndControlCharactersOfText) {
    EXPECT_EQ(utf8(read("<string> a\r\n\tb\x01 </string>").list.get()), " a\r\n\tb\x01 ");
    EXPECT_EQ(utf8(read("<string>a\0b</string>"s).list.get()), "a\0b"s);
}

TEST(PropertyListXMLReader, KeepsPlainTextInEightBits) {
    const Outcome plain = read("<string>plain &amp; simple</string>");
    EXPECT_STREQ(CFStringGetCStringPtr(static_cast<CFStringRef>(plain.list.get()), kCFStringEncodingASCII),
                 "plain & simple");
    const Outcome wide = read("<string>\xC3\xA4</string>");
    EXPECT_NE(CFStringGetCharactersPtr(static_cast<CFStringRef>(wide.list.get())), nullptr);
}

TEST(PropertyListXMLReader, KeepsAByteOrderMarkWithinText) {
    const Outcome outcome = read("<string>\xEF\xBB\xBFx</string>");
    EXPECT_EQ(CFStringGetLength(static_cast<CFStringRef>(outcome.list.get())), 2);
}

TEST(PropertyListXMLReader, AcceptsBase64WithForeignCharactersAndWithoutPadding) {
    EXPECT_EQ(reread("<data>Q*U J\nD\t=</data>"), "<data>\nQUJD\n</data>\n");
    EXPECT_EQ(reread("<data>QUJDRA==</data>"), "<data>\nQUJDRA==\n</data>\n");
    EXPECT_EQ(reread("<data>QUI=</data>"), "<data>\nQUI=\n</data>\n");
    EXPECT_EQ(reread("<data>QUJDREVG</data>"), "<data>\nQUJDREVG\n</data>\n");
    EXPECT_EQ(reread("<data>QUJDR\nEVGQUJD*REVG+/+/\n</data>"), "<data>\nQUJDREVGQUJDREVG+/+/\n</data>\n");
    EXPECT_EQ(reread("<data>QUI=QUJDQUI=QUJD</data>"), "<data>\nQUJBQkNBQkFCQw==\n</data>\n");
}

TEST(PropertyListXMLReader, DropsAnIncompleteLastGroupOfBase64) {
    EXPECT_EQ(reread("<data>QUJDR</data>"), "<data>\nQUJD\n</data>\n");
    EXPECT_EQ(reread("<data>QUJDRA</data>"), "<data>\nQUJD\n</data>\n");
    EXPECT_EQ(reread("<data>QUJDRAA</data>"), "<data>\nQUJD\n</data>\n");
    EXPECT_EQ(reread("<data>Q</data>"), "<data>\n</data>\n");
}

TEST(PropertyListXMLReader, ReadsBackDataOfEveryLength) {
    std::string content;
    for (int i = 0; i < 300; ++i) {
        const List original = dataOf(content);
        const Outcome outcome = read(body(original.get()));
        ASSERT_TRUE(outcome);
        ASSERT_TRUE(CFEqual(outcome.list.get(), original.get())) << i;
        content += static_cast<char>(i * 37);
    }
}

TEST(PropertyListXMLReader, PassesOverCommentsInstructionsAndAttributesBetweenElements) {
    EXPECT_EQ(
        reread(
            "<!-- a --><?x y?>\n<plist a='>' b=\"/>\"><!-- <b> -->\n<array c=\"1\"><?p?><!----><true/></array ><!-- -->"
            "</plist >"),
        "<array>\n\t<true/>\n</array>\n");
}

TEST(PropertyListXMLReader, AcceptsADocumentTypeOfAnyName) {
    EXPECT_EQ(reread("<!DOCTYPE plist SYSTEM \"file://x>y[\"><plist><true/></plist>"), "<true/>\n");
    EXPECT_EQ(reread("<!DOCTYPE plist><true/>"), "<true/>\n");
}

// ---- Encodings

TEST(PropertyListXMLReader, DropsAByteOrderMark) {
    EXPECT_EQ(reread("\xEF\xBB\xBF<plist><true/></plist>"), "<true/>\n");
    EXPECT_EQ(reread("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?><true/>"), "<true/>\n");
}

TEST(PropertyListXMLReader, DecodesISOLatin1) {
    EXPECT_EQ(reread("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><string>\xE4\xF6</string>"),
              "<string>\xC3\xA4\xC3\xB6</string>\n");
    EXPECT_EQ(reread("<?xml version='1.0' encoding = 'iso-8859-1' ?><string>\xE4</string>"),
              "<string>\xC3\xA4</string>\n");
}

TEST(PropertyListXMLReader, AcceptsUTF8InAnyCase) {
    EXPECT_EQ(reread("<?xml version=\"1.0\" encoding=\"utf-8\"?><string>\xC3\xA4</string>"),
              "<string>\xC3\xA4</string>\n");
}

TEST(PropertyListXMLReader, RefusesUnknownAndEmptyEncodingNames) {
    EXPECT_TRUE(isRefused("<?xml version=\"1.0\" encoding=\"no-such\"?><true/>", "encoding"));
    EXPECT_TRUE(isRefused("<?xml version=\"1.0\" encoding=\"\"?><true/>", "encoding"));
}

TEST(PropertyListXMLReader, RefusesUTF16DeclaredOnEightBitText) {
    EXPECT_TRUE(isRefused("<?xml version=\"1.0\" encoding=\"UTF-16\"?><true/>", "8-bit"));
}

namespace {
std::string wide(std::string_view ascii, std::size_t width, bool bigEndian) {
    std::string result;
    for (const char c : ascii) {
        std::string unit(width, '\0');
        unit[bigEndian ? width - 1 : 0] = c;
        result += unit;
    }
    return result;
}
}  // namespace

TEST(PropertyListXMLReader, DecodesUTF16AndUTF32) {
    const std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>x</string>";
    EXPECT_EQ(reread("\xFF\xFE" + wide(xml, 2, false)), "<string>x</string>\n");
    EXPECT_EQ(reread("\xFE\xFF" + wide(xml, 2, true)), "<string>x</string>\n");
    EXPECT_EQ(reread(wide(xml, 2, false)), "<string>x</string>\n");
    EXPECT_EQ(reread(wide(xml, 2, true)), "<string>x</string>\n");
    EXPECT_EQ(reread("\xFF\xFE\0\0"s + wide(xml, 4, false)), "<string>x</string>\n");
    EXPECT_EQ(reread("\0\0\xFE\xFF"s + wide(xml, 4, true)), "<string>x</string>\n");
    EXPECT_EQ(reread("\xFE\xFF" + wide("<string>", 2, true) + "\xD8\x3D\xDE\x00"s + wide("</string>", 2, true)),
              "<string>\xF0\x9F\x98\x80</string>\n");
}

TEST(PropertyListXMLReader, RefusesBrokenUTF16AndUTF32) {
    EXPECT_TRUE(isRefused("\xFF\xFE" + wide("<true/>", 2, false) + "x", "UTF-16"));
    EXPECT_TRUE(
        isRefused("\xFE\xFF" + wide("<string>", 2, true) + "\xD8\x3D" + wide("</string>", 2, true), "surrogate"));
    EXPECT_TRUE(
        isRefused("\xFE\xFF" + wide("<string>", 2, true) + "\xDE\x3D" + wide("</string>", 2, true), "surrogate"));
    EXPECT_TRUE(isRefused("\0\0\xFE\xFF"s + "\x00\x11\x00\x00"s, "UTF-32"));
    EXPECT_TRUE(isRefused("\0\0\xFE\xFF\0"s, "UTF-32"));
}

// ---- What is refused

TEST(PropertyListXMLReader, RefusesMalformedIntegers) {
    for (const char* const content :
         {"", " 1", "1 ", "1 2", "+", "-", "0x", "-0x", "+-1", "1.5", "1e3", "x", "0x1G", "--1"}) {
        EXPECT_TRUE(isRefused("<integer>" + std::string(content) + "</integer>", "on line 1")) << content;
    }
    EXPECT_TRUE(isRefused("<integer/>"));
}

TEST(PropertyListXMLReader, RefusesMalformedReals) {
    for (const char* const content :
         {"", "0x10", "1.5x", " 1", "1 ", "+-1", "nan(1)", "e5", ".", "1e", "--1", "infinit"}) {
        EXPECT_TRUE(isRefused("<real>" + std::string(content) + "</real>", "on line 1")) << content;
    }
    EXPECT_TRUE(isRefused("<real/>"));
}

TEST(PropertyListXMLReader, RefusesMalformedDates) {
    for (const char* const content :
         {"", "2001-01-01", "2001-01-01T00:00:00", "2001-01-01T00:00:00ZZ", "2001-1-01T00:00:00Z", "01-01-01T00:00:00Z",
          "2001/01/01T00:00:00Z", " 2001-01-01T00:00:00Z", "2001-01-01 00:00:00Z", "2001-01-01T00:00:00.5Z",
          "9999999999-01-01T00:00:00Z", "99999999999-01-01T00:00:00Z", "2001-01-01T00:00Z", "-",
          "+2001-01-01T00:00:00Z"}) {
        EXPECT_TRUE(isRefused("<date>" + std::string(content) + "</date>", "on line 1")) << content;
    }
}

TEST(PropertyListXMLReader, RefusesUnknownEntities) {
    EXPECT_TRUE(isRefused("<string>&nbsp;</string>", "entity"));
    EXPECT_TRUE(isRefused("<string>&amp</string>", "entity"));
    EXPECT_TRUE(isRefused("<string>a & b</string>", "entity"));
    EXPECT_TRUE(isRefused("<string>&;</string>", "entity"));
    EXPECT_TRUE(isRefused("<string>&</string>", "entity"));
}

TEST(PropertyListXMLReader, RefusesMalformedCharacterReferences) {
    EXPECT_TRUE(isRefused("<string>&#;</string>", "reference"));
    EXPECT_TRUE(isRefused("<string>&#x;</string>", "reference"));
    EXPECT_TRUE(isRefused("<string>&#xG;</string>", "reference"));
    EXPECT_TRUE(isRefused("<string>&#A;</string>", "reference"));
    EXPECT_TRUE(isRefused("<string>&#65", "reference"));
    EXPECT_TRUE(isRefused("<string>&#-5;</string>", "reference"));
}

TEST(PropertyListXMLReader, RefusesReferencesToSurrogatesAndAboveTheLastCharacter) {
    EXPECT_TRUE(isRefused("<string>&#xD800;</string>", "surrogate"));
    EXPECT_TRUE(isRefused("<string>&#xDFFF;</string>", "surrogate"));
    EXPECT_TRUE(isRefused("<string>&#xD83D;&#xDE00;</string>", "surrogate"));
    EXPECT_TRUE(isRefused("<string>&#x110000;</string>", "10FFFF"));
    EXPECT_TRUE(isRefused("<string>&#99999999999999999999999999;</string>", "10FFFF"));
}

TEST(PropertyListXMLReader, RefusesAnInternalSubset) {
    EXPECT_TRUE(isRefused("<!DOCTYPE plist [ ]><plist><true/></plist>", "internal subset"));
    EXPECT_TRUE(
        isRefused("<!DOCTYPE plist PUBLIC \"a\" \"b\" [<!ENTITY a \"b\">]><plist><true/></plist>", "internal subset"));
}

TEST(PropertyListXMLReader, RefusesABombOfEntities) {
    std::string bomb = "<?xml version=\"1.0\"?>\n<!DOCTYPE plist [\n<!ENTITY a0 \"ha\">\n";
    for (int i = 1; i < 100; ++i) {
        const std::string before = "&a" + std::to_string(i - 1) + ";";
        bomb += "<!ENTITY a" + std::to_string(i) + " \"" + before + before + "\">\n";
    }
    EXPECT_TRUE(isRefused(bomb + "]>\n<plist><string>&a99;</string></plist>", "internal subset on line 2"));
    EXPECT_TRUE(isRefused("<plist><string>&a99;</string></plist>", "entity"));
}

TEST(PropertyListXMLReader, RefusesCommentsAndElementsWithinText) {
    EXPECT_TRUE(isRefused("<string>a<!-- b -->c</string>", "within <string>"));
    EXPECT_TRUE(isRefused("<string>a<b/>c</string>", "within <string>"));
    EXPECT_TRUE(isRefused("<dict><key>a<?b?></key><true/></dict>", "within <key>"));
    EXPECT_TRUE(isRefused("<data>QQ<!-- -->==</data>", "within <data>"));
    EXPECT_TRUE(isRefused("<string>a</key>", "within <string>"));
    EXPECT_TRUE(isRefused("<string>a</stringy>", "within <string>"));
}

TEST(PropertyListXMLReader, RefusesEmptyInput) {
    EXPECT_TRUE(isRefused("", "empty"));
    EXPECT_TRUE(isRefused("<plist></plist>", "without a value"));
    EXPECT_TRUE(isRefused("<plist/>", "without a value"));
    EXPECT_TRUE(isRefused("<?xml version=\"1.0\"?>\n", "no value"));
}

TEST(PropertyListXMLReader, RefusesAKeyWithoutAValue) {
    EXPECT_TRUE(isRefused("<dict><key>a</key></dict>", "without a value"));
    EXPECT_TRUE(isRefused("<dict>\n<key>a</key>\n<true/>\n<key>b</key>\n</dict>", "on line 5"));
}

TEST(PropertyListXMLReader, RefusesAValueWithoutAKey) {
    EXPECT_TRUE(isRefused("<dict><string>a</string><true/></dict>", "must stand"));
    EXPECT_TRUE(isRefused("<dict><dict/></dict>", "must stand"));
}

TEST(PropertyListXMLReader, RefusesUnknownElements) {
    EXPECT_TRUE(isRefused("<plist>\n<array>\n<strin>x</strin></array></plist>", "Unknown element \"strin\" on line 3"));
    EXPECT_TRUE(isRefused("<Dict/>", "Unknown element"));
    EXPECT_TRUE(isRefused("< string>x</string>", "Unknown element"));
    EXPECT_TRUE(isRefused("<html><body/></html>", "Unknown element"));
}

TEST(PropertyListXMLReader, RefusesASecondValue) {
    EXPECT_TRUE(isRefused("<plist><true/><false/></plist>", "second value"));
    EXPECT_TRUE(isRefused("<plist><plist><true/></plist></plist>", "<plist> within"));
}

TEST(PropertyListXMLReader, RefusesTextBetweenElements) {
    EXPECT_TRUE(isRefused("<plist>x<true/></plist>", "Text"));
    EXPECT_TRUE(isRefused("<array>x</array>", "Text"));
    EXPECT_TRUE(isRefused("<array>&lt;</array>", "Text"));
    EXPECT_TRUE(isRefused("<array><![CDATA[x]]></array>"));
}

TEST(PropertyListXMLReader, RefusesTagsThatDoNotMatch) {
    EXPECT_TRUE(isRefused("<array></dict>", "does not match"));
    EXPECT_TRUE(isRefused("<dict></array>", "does not match"));
    EXPECT_TRUE(isRefused("</dict>", "does not match"));
    EXPECT_TRUE(isRefused("<plist></dict></plist>", "matches none"));
    EXPECT_TRUE(isRefused("<plist><array></plist>", "does not match"));
}

TEST(PropertyListXMLReader, RefusesMarkupOutOfPlace) {
    EXPECT_TRUE(isRefused("<plist><!DOCTYPE plist><true/></plist>", "Markup"));
    EXPECT_TRUE(isRefused("<!ELEMENT a><true/>", "Markup"));
    EXPECT_TRUE(isRefused("<array><!- x --></array>", "Markup"));
}

TEST(PropertyListXMLReader, RefusesTextThatIsNotUTF8) {
    for (const char* const bad :
         {"\x80", "\xC3", "\xC3(", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE2\x82", "\xED\xA0\x80", "\xED\xBF\xBF",
          "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xFE", "\xFF", "\xF0\x9F\x98"}) {
        EXPECT_TRUE(isRefused("<string>\n" + std::string(bad) + "</string>", "not UTF-8 on line 2")) << bad;
        EXPECT_TRUE(isRefused("<dict><key>" + std::string(bad) + "</key><true/></dict>", "not UTF-8")) << bad;
        EXPECT_TRUE(isRefused("<string>x<![CDATA[" + std::string(bad) + "]]></string>", "not UTF-8")) << bad;
    }
}

TEST(PropertyListXMLReader, TellsTheLineForEveryKindOfLineEnd) {
    EXPECT_TRUE(isRefused("<array>\n\n<bad/></array>", "on line 3"));
    EXPECT_TRUE(isRefused("<array>\r\n\r\n<bad/></array>", "on line 3"));
    EXPECT_TRUE(isRefused("<array>\r\r<bad/></array>", "on line 3"));
}

TEST(PropertyListXMLReader, RefusesADocumentCutOffAnywhere) {
    const std::string xml = document(
        "<dict>\n\t<key>a&amp;</key>\n\t<array>\n\t\t<string>x<![CDATA[y]]></string>\n\t\t<data>\n\t\tQUJD\n\t\t</"
        "data>\n"
        "\t\t<date>2026-11-21T03:04:05Z</date>\n\t\t<integer>1</integer>\n\t\t<real>2</real>\n\t\t<true/>\n\t</array>\n"
        "\t<!-- c -->\n\t<key>\xC3\xA4</key>\n\t<false/>\n</dict>\n");
    ASSERT_TRUE(read(xml));
    // The final line feed may be missing, and a '<' alone is data of the old style that does not end.
    for (std::size_t size = 0; size + 1 < xml.size(); ++size) {
        ASSERT_TRUE(isRefused(std::string_view(xml).substr(0, size))) << size;
    }
    EXPECT_TRUE(read(std::string_view(xml).substr(0, xml.size() - 1)));
}

TEST(PropertyListXMLReader, SurvivesAnyByteChangedInADocument) {
    const std::string xml =
        "<plist><dict><key>k&lt;</key><array><integer>12</integer><data>QUJD</data></array></dict></plist>";
    for (std::size_t at = 0; at < xml.size(); ++at) {
        for (const char c : {'\0', '<', '>', '/', '&', '!', '"', 'x', ' ', '\xFF'}) {
            std::string changed = xml;
            changed[at] = c;
            const Outcome outcome = read(changed);
            EXPECT_TRUE(outcome || outcome.code == kCFPropertyListReadCorruptError);
        }
    }
}

// ---- Limits

namespace {
std::string nestedArrays(std::size_t depth) {
    std::string xml;
    for (std::size_t i = 0; i < depth; ++i) xml += "<array>\n";
    for (std::size_t i = 0; i < depth; ++i) xml += "</array>";
    return xml;
}
}  // namespace

TEST(PropertyListXMLReader, ReadsFiveHundredAndTwelveLevelsAndNoMore) {
    EXPECT_TRUE(read(nestedArrays(512)));
    EXPECT_TRUE(isRefused(nestedArrays(513), "512 deep on line 513"));
}

TEST(PropertyListXMLReader, RefusesAHundredThousandLevels) {
    EXPECT_TRUE(isRefused(nestedArrays(100000), "deep"));
    std::string dictionaries;
    for (int i = 0; i < 100000; ++i) dictionaries += "<dict><key>k</key>";
    EXPECT_TRUE(isRefused(dictionaries, "deep"));
}

TEST(PropertyListXMLReader, RefusesMoreThanAGibibyteWithoutLookingAtIt) {
    const UInt8 byte = '<';
    const Held<CFDataRef> huge(CFDataCreateWithBytesNoCopy(nullptr, &byte, (CFIndex{1} << 30) + 1, kCFAllocatorNull));
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, huge.get(), 0, nullptr, &error), nullptr);
    Outcome outcome;
    takeError(error, outcome);
    EXPECT_EQ(outcome.code, kCFPropertyListReadCorruptError);
    EXPECT_NE(outcome.reason.find("bytes"), std::string::npos);
}

TEST(PropertyListXMLReader, ReadsLargeDocuments) {
    std::string xml = "<array>";
    for (int i = 0; i < 100000; ++i) xml += "<dict><key>id</key><integer>" + std::to_string(i) + "</integer></dict>";
    const Outcome outcome = read(xml + "</array>");
    ASSERT_TRUE(outcome);
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(outcome.list.get())), 100000);
}

TEST(PropertyListXMLReader, SharesEqualKeysOfADocument) {
    const Outcome outcome =
        read("<array><dict><key>name</key><true/></dict><dict><key>name</key><false/></dict></array>");
    const CFArrayRef list = static_cast<CFArrayRef>(outcome.list.get());
    const void* first = nullptr;
    const void* second = nullptr;
    CFDictionaryGetKeysAndValues(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, 0)), &first, nullptr);
    CFDictionaryGetKeysAndValues(static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, 1)), &second, nullptr);
    EXPECT_EQ(first, second);
}

TEST(PropertyListXMLReader, TellsApartKeysThatShareAPlaceAmongTheRecentOnes) {
    std::string xml = "<dict>";
    std::string expected = "<dict>\n";
    for (int i = 10000; i < 12000; ++i) xml += "<key>k" + std::to_string(i) + "</key><true/>";
    for (int i = 10000; i < 12000; ++i) expected += "\t<key>k" + std::to_string(i) + "</key>\n\t<true/>\n";
    EXPECT_EQ(reread(xml + "</dict>"), expected + "</dict>\n");
}

TEST(PropertyListXMLReader, NamesTheElementThatStandsWhereAKeyMust) {
    EXPECT_TRUE(isRefused("<plist><dict><array/></dict></plist>", "<array> where a <key> must stand"));
    EXPECT_TRUE(isRefused("<plist><dict><data></data></dict></plist>", "<data> where a <key> must stand"));
}

TEST(PropertyListXMLReader, ReadsCharactersOfEveryLengthInUTF16AndUTF32) {
    const auto wide = [](std::u32string_view text, std::size_t size) {
        std::string bytes;
        const auto put = [&](char32_t unit) {
            for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(unit >> (8 * i));
        };
        put(0xFEFF);
        for (const char32_t c : text) {
            if (size == 2 && c > 0xFFFF) {
                put(0xD800 + ((c - 0x10000) >> 10));
                put(0xDC00 + ((c - 0x10000) & 0x3FF));
            } else {
                put(c);
            }
        }
        return bytes;
    };
    for (const std::size_t size : {2u, 4u}) {
        const std::string document = wide(U"<plist><string>a\u00E4\u4E00\U0001F600</string></plist>", size);
        EXPECT_EQ(utf8(read(document).list.get()), "a\xC3\xA4\xE4\xB8\x80\xF0\x9F\x98\x80") << size;
    }
}
