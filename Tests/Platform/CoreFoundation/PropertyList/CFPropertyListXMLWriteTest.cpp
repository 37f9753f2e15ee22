#include "PropertyListTesting.h"

#include <cmath>
#include <limits>

using namespace PropertyListTesting;

TEST(PropertyListXMLWriter, BeginsWithDeclarationAndDocumentTypeAndEndsWithALineFeed) {
    EXPECT_EQ(writtenXML(text("x").get()),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
              "<plist version=\"1.0\">\n"
              "<string>x</string>\n"
              "</plist>\n");
}

TEST(PropertyListXMLWriter, IndentsEachLevelByOneTabFromTheRootAtNone) {
    const List list = dict(entry("a", array(integer(1), dict(entry("b", boolean(true))))), entry("c", text("d")));
    EXPECT_EQ(body(list.get()),
              "<dict>\n"
              "\t<key>a</key>\n"
              "\t<array>\n"
              "\t\t<integer>1</integer>\n"
              "\t\t<dict>\n"
              "\t\t\t<key>b</key>\n"
              "\t\t\t<true/>\n"
              "\t\t</dict>\n"
              "\t</array>\n"
              "\t<key>c</key>\n"
              "\t<string>d</string>\n"
              "</dict>\n");
}

TEST(PropertyListXMLWriter, WritesEmptyContainersAsEmptyElements) {
    EXPECT_EQ(body(dict().get()), "<dict/>\n");
    EXPECT_EQ(body(array().get()), "<array/>\n");
    EXPECT_EQ(body(array(array(), dict()).get()), "<array>\n\t<array/>\n\t<dict/>\n</array>\n");
}

TEST(PropertyListXMLWriter, WritesAnEmptyStringWithBothTags) { EXPECT_EQ(body(text("").get()), "<string></string>\n"); }

TEST(PropertyListXMLWriter, WritesEmptyDataOnTwoLines) {
    EXPECT_EQ(body(dataOf("").get()), "<data>\n</data>\n");
    EXPECT_EQ(body(array(dataOf("")).get()), "<array>\n\t<data>\n\t</data>\n</array>\n");
}

TEST(PropertyListXMLWriter, SortsKeysByUTF16Unit) {
    // U+10000 is D800 DC00 in UTF-16 and so comes before U+FF21; in UTF-8 it would come behind.
    const List list =
        dict(entry("b", integer(1)), entry("a", integer(2)), entry("B", integer(3)), entry("\xEF\xBC\xA1", integer(4)),
             entry("\xF0\x90\x80\x80", integer(5)), entry("\xC3\xA4", integer(6)), entry("", integer(7)),
             entry("ab", integer(8)), entry("abcdefgh1", integer(9)), entry("abcdefgh", integer(10)));
    EXPECT_EQ(body(list.get()),
              "<dict>\n"
              "\t<key></key>\n\t<integer>7</integer>\n"
              "\t<key>B</key>\n\t<integer>3</integer>\n"
              "\t<key>a</key>\n\t<integer>2</integer>\n"
              "\t<key>ab</key>\n\t<integer>8</integer>\n"
              "\t<key>abcdefgh</key>\n\t<integer>10</integer>\n"
              "\t<key>abcdefgh1</key>\n\t<integer>9</integer>\n"
              "\t<key>b</key>\n\t<integer>1</integer>\n"
              "\t<key>\xC3\xA4</key>\n\t<integer>6</integer>\n"
              "\t<key>\xF0\x90\x80\x80</key>\n\t<integer>5</integer>\n"
              "\t<key>\xEF\xBC\xA1</key>\n\t<integer>4</integer>\n"
              "</dict>\n");
}

TEST(PropertyListXMLWriter, SortsManyKeys) {
    std::vector<std::pair<List, List>> entries;
    for (int i = 999; i >= 0; --i) entries.push_back(entry("key" + std::to_string(1000 + i), integer(i)));
    std::string expected = "<dict>\n";
    for (int i = 0; i < 1000; ++i) {
        expected +=
            "\t<key>key" + std::to_string(1000 + i) + "</key>\n\t<integer>" + std::to_string(i) + "</integer>\n";
    }
    EXPECT_EQ(body(dictionary(std::move(entries)).get()), expected + "</dict>\n");
}

TEST(PropertyListXMLWriter, EscapesAmpersandAndAngleBracketsOnly) {
    EXPECT_EQ(body(text("a&b<c>d\"e'f\rg\th\x01i\x7Fj").get()),
              "<string>a&amp;b&lt;c&gt;d\"e'f\rg\th\x01i\x7Fj</string>\n");
    EXPECT_EQ(body(dict(entry("<&>", text("\xC3\xA4&\xC3\xB6<>"))).get()),
              "<dict>\n\t<key>&lt;&amp;&gt;</key>\n\t<string>\xC3\xA4&amp;\xC3\xB6&lt;&gt;</string>\n</dict>\n");
}

TEST(PropertyListXMLWriter, EscapesAtEveryPlaceOfAWord) {
    for (const auto& [character, escape] : {std::pair{'&', "&amp;"}, std::pair{'<', "&lt;"}, std::pair{'>', "&gt;"}}) {
        for (std::size_t size = 1; size <= 24; ++size) {
            for (std::size_t at = 0; at < size; ++at) {
                std::string plain(size, 'x');
                plain[at] = character;
                const std::string expected =
                    "<string>" + std::string(at, 'x') + escape + std::string(size - at - 1, 'x') + "</string>\n";
                ASSERT_EQ(body(text(plain).get()), expected);
            }
        }
    }
}

TEST(PropertyListXMLWriter, WritesLongTextWithEscapesWhole) {
    std::string plain;
    std::string escaped;
    for (int i = 0; i < 10000; ++i) {
        plain += "ab&";
        escaped += "ab&amp;";
    }
    EXPECT_EQ(body(text(plain).get()), "<string>" + escaped + "</string>\n");
    EXPECT_EQ(body(text(plain + "\xF0\x9F\x98\x80").get()), "<string>" + escaped + "\xF0\x9F\x98\x80</string>\n");
}

TEST(PropertyListXMLWriter, WritesSurrogatePairsAcrossThePiecesOfLongText) {
    std::string plain = "\xC3\xA4";
    for (int i = 0; i < 5000; ++i) plain += "\xF0\x9F\x98\x80";
    EXPECT_EQ(body(text(plain).get()), "<string>" + plain + "</string>\n");
    plain.insert(0, "x");
    EXPECT_EQ(body(text(plain).get()), "<string>" + plain + "</string>\n");
}

TEST(PropertyListXMLWriter, BreaksDataIntoLinesThatShortenWithTheIndent) {
    const std::string content(60, '\0');
    // 76 characters hold 57 bytes, 68 hold 51.
    EXPECT_EQ(body(dataOf(content).get()), "<data>\n" + std::string(76, 'A') + "\nAAAA\n</data>\n");
    EXPECT_EQ(body(array(dataOf(content)).get()), "<array>\n\t<data>\n\t" + std::string(68, 'A') + "\n\t" +
                                                      std::string(12, 'A') + "\n\t</data>\n</array>\n");
}

TEST(PropertyListXMLWriter, StopsIndentingDataLinesAtEightTabs) {
    for (const std::size_t depth : {7u, 8u, 9u, 12u}) {
        List list = dataOf(std::string(18, '\0'));
        for (std::size_t i = 0; i < depth; ++i) list = array(list);
        const std::size_t indent = depth < 8 ? depth : 8;
        const std::size_t width = 76 - 8 * indent;
        std::string expected = std::string(depth, '\t') + "<data>\n";
        for (std::size_t left = 24; left != 0; left -= left < width ? left : width) {
            expected += std::string(indent, '\t') + std::string(left < width ? left : width, 'A') + "\n";
        }
        expected += std::string(depth, '\t') + "</data>\n";
        EXPECT_NE(body(list.get()).find("<array>\n" + expected), std::string::npos) << body(list.get());
    }
}

TEST(PropertyListXMLWriter, PadsTheLastGroupOfData) {
    EXPECT_EQ(body(dataOf("A").get()), "<data>\nQQ==\n</data>\n");
    EXPECT_EQ(body(dataOf("AB").get()), "<data>\nQUI=\n</data>\n");
    EXPECT_EQ(body(dataOf("ABC").get()), "<data>\nQUJD\n</data>\n");
    EXPECT_EQ(body(dataOf("\xFB\xFF\xBE").get()), "<data>\n+/++\n</data>\n");
}

TEST(PropertyListXMLWriter, WritesIntegersInPlainDecimal) {
    EXPECT_EQ(body(integer(0).get()), "<integer>0</integer>\n");
    EXPECT_EQ(body(integer(-17).get()), "<integer>-17</integer>\n");
    EXPECT_EQ(body(integer(INT64_MAX).get()), "<integer>9223372036854775807</integer>\n");
    EXPECT_EQ(body(integer(INT64_MIN).get()), "<integer>-9223372036854775808</integer>\n");
    const std::int8_t small = -1;
    EXPECT_EQ(body(List(CFNumberCreate(nullptr, kCFNumberSInt8Type, &small)).get()), "<integer>-1</integer>\n");
}

TEST(PropertyListXMLWriter, WritesRealsWithSeventeenDigits) {
    EXPECT_EQ(body(real(3.5).get()), "<real>3.5</real>\n");
    EXPECT_EQ(body(real(3).get()), "<real>3</real>\n");
    EXPECT_EQ(body(real(0.1).get()), "<real>0.10000000000000001</real>\n");
    EXPECT_EQ(body(real(1e17).get()), "<real>1e+17</real>\n");
    EXPECT_EQ(body(real(1e16).get()), "<real>10000000000000000</real>\n");
    EXPECT_EQ(body(real(-1e-5).get()), "<real>-1.0000000000000001e-05</real>\n");
    EXPECT_EQ(body(real(1e300).get()), "<real>1.0000000000000001e+300</real>\n");
    EXPECT_EQ(body(real(std::numeric_limits<double>::max()).get()), "<real>1.7976931348623157e+308</real>\n");
    EXPECT_EQ(body(real(std::numeric_limits<double>::denorm_min()).get()), "<real>4.9406564584124654e-324</real>\n");
    const float single = 0.1f;
    EXPECT_EQ(body(List(CFNumberCreate(nullptr, kCFNumberFloat32Type, &single)).get()),
              "<real>0.10000000149011612</real>\n");
}

TEST(PropertyListXMLWriter, WritesReallyManyRealsAsPrintfDoes) {
    std::uint64_t state = 88172645463325252u;
    for (int i = 0; i < 2000; ++i) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        double value;
        static_assert(sizeof value == sizeof state);
        memcpy(&value, &state, sizeof value);
        if (!std::isfinite(value)) continue;
        char expected[64];
        snprintf(expected, sizeof expected, "<real>%.17g</real>\n", value);
        ASSERT_EQ(body(real(value).get()), expected);
    }
}

TEST(PropertyListXMLWriter, WritesBothZerosAlike) {
    EXPECT_EQ(body(real(0.0).get()), "<real>0.0</real>\n");
    EXPECT_EQ(body(real(-0.0).get()), "<real>0.0</real>\n");
}

TEST(PropertyListXMLWriter, WritesNotANumberAndInfinities) {
    EXPECT_EQ(body(real(std::numeric_limits<double>::quiet_NaN()).get()), "<real>nan</real>\n");
    EXPECT_EQ(body(real(std::numeric_limits<double>::infinity()).get()), "<real>+infinity</real>\n");
    EXPECT_EQ(body(real(-std::numeric_limits<double>::infinity()).get()), "<real>-infinity</real>\n");
    EXPECT_EQ(body(kCFNumberNaN), "<real>nan</real>\n");
}

TEST(PropertyListXMLWriter, WritesDatesToTheSecondBefore) {
    EXPECT_EQ(body(date(0).get()), "<date>2001-01-01T00:00:00Z</date>\n");
    EXPECT_EQ(body(date(0.999).get()), "<date>2001-01-01T00:00:00Z</date>\n");
    EXPECT_EQ(body(date(-0.001).get()), "<date>2000-12-31T23:59:59Z</date>\n");
    EXPECT_EQ(body(date(1e9).get()), "<date>2032-09-09T01:46:40Z</date>\n");
    EXPECT_EQ(body(date(-978307200).get()), "<date>1970-01-01T00:00:00Z</date>\n");
    EXPECT_EQ(body(date(5097600).get()), "<date>2001-03-01T00:00:00Z</date>\n");
    EXPECT_EQ(body(date(-26524800).get()), "<date>2000-02-29T00:00:00Z</date>\n");
    EXPECT_EQ(body(date(63113904000).get()), "<date>4001-01-01T00:00:00Z</date>\n");
    EXPECT_EQ(body(date(-63114076800).get()), "<date>0000-12-30T00:00:00Z</date>\n");
}

TEST(PropertyListXMLWriter, RefusesADateThatHasNoText) {
    for (const double value :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e300, -1e300}) {
        const Outcome outcome = write(date(value).get(), kCFPropertyListXMLFormat_v1_0);
        EXPECT_FALSE(outcome);
        EXPECT_EQ(outcome.code, kCFPropertyListWriteStreamError);
        EXPECT_NE(outcome.reason.find("date"), std::string::npos);
    }
}

TEST(PropertyListXMLWriter, WritesBooleans) {
    EXPECT_EQ(body(array(boolean(true), boolean(false)).get()), "<array>\n\t<true/>\n\t<false/>\n</array>\n");
}

TEST(PropertyListXMLWriter, RefusesHalfOfASurrogatePair) {
    for (const std::u16string& half : {std::u16string(u"a\xD800"), std::u16string(u"\xDC00z"),
                                       std::u16string(u"\xD800\xD800\xDC00"), std::u16string(u"\xDC00\xD800")}) {
        const Outcome outcome = write(text(half).get(), kCFPropertyListXMLFormat_v1_0);
        EXPECT_FALSE(outcome);
        EXPECT_EQ(outcome.code, kCFPropertyListWriteStreamError);
        EXPECT_NE(outcome.reason.find("surrogate"), std::string::npos);
    }
}

TEST(PropertyListXMLWriter, WritesMutableObjectsLikeOthers) {
    const Held<CFMutableStringRef> string(CFStringCreateMutable(nullptr, 0));
    EXPECT_EQ(body(string.get()), "<string></string>\n");
    CFStringAppend(string.get(), CFSTR("a<"));
    const Held<CFMutableArrayRef> list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(list.get(), string.get());
    EXPECT_EQ(body(list.get()), "<array>\n\t<string>a&lt;</string>\n</array>\n");
}

TEST(PropertyListXMLWriter, WritesAnObjectAtEachPlaceThatHoldsIt) {
    const List shared = text("s");
    EXPECT_EQ(body(array(shared, shared).get()), "<array>\n\t<string>s</string>\n\t<string>s</string>\n</array>\n");
}

TEST(PropertyListXMLWriter, RefusesAListThatHoldsItself) {
    const Held<CFMutableArrayRef> list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(list.get(), list.get());
    for (const CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        const Outcome outcome = write(list.get(), format);
        EXPECT_FALSE(outcome);
        EXPECT_EQ(outcome.code, kCFPropertyListWriteStreamError);
        EXPECT_NE(outcome.reason.find("itself"), std::string::npos) << outcome.reason;
    }
    CFArrayRemoveAllValues(list.get());
}

TEST(PropertyListXMLWriter, WritesKeysBeyondASCIIInTheOrderOfTheirUnits) {
    const List list =
        dict(entry("\xC3\xA4rger B", text("4")), entry("\xC3\xA4rger A", text("3")), entry("\xC3\xA4rger", text("2")),
             entry("\xC3\xA4rge", text("1")), entry("\xC3\xA4rger A1", text("5")));
    const std::string xml =
        content(static_cast<CFDataRef>(write(list.get(), kCFPropertyListXMLFormat_v1_0).list.get()));
    std::size_t at = 0;
    for (const char* const key :
         {"\xC3\xA4rge<", "\xC3\xA4rger<", "\xC3\xA4rger A<", "\xC3\xA4rger A1<", "\xC3\xA4rger B<"}) {
        const std::size_t found = xml.find(key, at);
        ASSERT_NE(found, std::string::npos) << key;
        at = found;
    }
}
