#include "PropertyListTesting.h"
#include "Sanitizers.h"

#include <bit>
#include <cmath>

using namespace PropertyListTesting;
using namespace std::string_literals;

namespace {

std::string bigEndian(std::uint64_t value, std::size_t size) {
    std::string result(size, '\0');
    for (std::size_t i = size; i != 0; value >>= 8) result[--i] = static_cast<char>(value);
    return result;
}

std::string trailer(std::uint64_t offsetSize, std::uint64_t referenceSize, std::uint64_t objects, std::uint64_t top,
                    std::uint64_t table) {
    return std::string(6, '\0') + bigEndian(offsetSize, 1) + bigEndian(referenceSize, 1) + bigEndian(objects, 8) +
           bigEndian(top, 8) + bigEndian(table, 8);
}

/// A document of objects given as bytes, the first on top; offsets take four bytes, references one.
std::string binary(const std::vector<std::string>& objects) {
    std::string result = "bplist00";
    std::string offsets;
    for (const std::string& object : objects) {
        offsets += bigEndian(result.size(), 4);
        result += object;
    }
    const std::size_t table = result.size();
    return result + offsets + trailer(4, 1, objects.size(), 0, table);
}

List readBinary(const std::vector<std::string>& objects) {
    Outcome outcome = read(binary(objects));
    EXPECT_TRUE(outcome) << outcome.reason;
    EXPECT_EQ(outcome.format, kCFPropertyListBinaryFormat_v1_0);
    return std::move(outcome.list);
}

testing::AssertionResult isRefusedBinary(const std::vector<std::string>& objects, std::string_view reason) {
    return isRefused(binary(objects), reason);
}

std::string objectsOf(const std::string& written) { return written.substr(8, written.size() - 8 - 32); }

}  // namespace

// ---- Writing

TEST(PropertyListBinaryWriter, WritesHeaderObjectsOffsetsAndTrailer) {
    EXPECT_EQ(writtenBinary(text("ab").get()),
              "bplist00"
              "\x52"
              "ab"
              "\x08"s +
                  trailer(1, 1, 1, 0, 11));
}

TEST(PropertyListBinaryWriter, NumbersAContainerBeforeItsContentsAndKeysBeforeValues) {
    const List list = dict(entry("b", array(boolean(true))), entry("a", text("x")));
    EXPECT_EQ(objectsOf(writtenBinary(list.get())),
              "\xD2\x01\x02\x03\x04"
              "\x51"
              "a"
              "\x51"
              "b"
              "\x51"
              "x"
              "\xA1\x05"
              "\x09"
              "\x08\x0D\x0F\x11\x13\x15"s);
}

TEST(PropertyListBinaryWriter, WritesIntegersInTheFewestBytes) {
    const auto object = [](std::int64_t value) {
        const std::string written = objectsOf(writtenBinary(integer(value).get()));
        return written.substr(0, written.size() - 1);
    };
    EXPECT_EQ(object(0), "\x10\0"s);
    EXPECT_EQ(object(255), "\x10\xFF"s);
    EXPECT_EQ(object(256), "\x11\x01\0"s);
    EXPECT_EQ(object(65535), "\x11\xFF\xFF"s);
    EXPECT_EQ(object(65536), "\x12\0\x01\0\0"s);
    EXPECT_EQ(object(0xFFFFFFFF), "\x12\xFF\xFF\xFF\xFF"s);
    EXPECT_EQ(object(0x100000000), "\x13\0\0\0\x01\0\0\0\0"s);
    EXPECT_EQ(object(-1), "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s);
}

TEST(PropertyListBinaryWriter, WritesIntegersBeyond63BitsInSixteenBytes) {
    const Outcome large = read("<integer>18446744073709551615</integer>");
    const std::string written = writtenBinary(large.list.get());
    EXPECT_EQ(objectsOf(written).substr(0, 17), "\x14\0\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s);
    EXPECT_TRUE(CFEqual(read(written).list.get(), large.list.get()));
}

TEST(PropertyListBinaryWriter, WritesRealsDatesAndBooleans) {
    EXPECT_EQ(objectsOf(writtenBinary(real(1.5).get())).substr(0, 9), "\x23\x3F\xF8\0\0\0\0\0\0"s);
    const float single = 1.5f;
    EXPECT_EQ(objectsOf(writtenBinary(List(CFNumberCreate(nullptr, kCFNumberFloat32Type, &single)).get())).substr(0, 5),
              "\x22\x3F\xC0\0\0"s);
    EXPECT_EQ(objectsOf(writtenBinary(date(1.5).get())).substr(0, 9), "\x33\x3F\xF8\0\0\0\0\0\0"s);
    EXPECT_EQ(objectsOf(writtenBinary(boolean(false).get())).substr(0, 1), "\x08");
}

TEST(PropertyListBinaryWriter, WritesTextInASCIIOrUTF16) {
    EXPECT_EQ(objectsOf(writtenBinary(text("\xC3\xA4x").get())).substr(0, 5), "\x62\0\xE4\0x"s);
    EXPECT_EQ(objectsOf(writtenBinary(text("").get())).substr(0, 1), "\x50");
    EXPECT_EQ(objectsOf(writtenBinary(text("fourteen chars").get())).substr(0, 1), "\x5E");
    EXPECT_EQ(objectsOf(writtenBinary(text("fifteen charact").get())).substr(0, 3), "\x5F\x10\x0F");
    EXPECT_EQ(objectsOf(writtenBinary(text(std::string(300, 'x')).get())).substr(0, 4), "\x5F\x11\x01\x2C");
}

TEST(PropertyListBinaryWriter, WritesASCIIAsSuchHoweverItIsKept) {
    const UniChar units[] = {'a', 'b'};
    const List wide(CFStringCreateWithCharactersNoCopy(nullptr, units, 2, kCFAllocatorNull));
    ASSERT_NE(CFStringGetCharactersPtr(static_cast<CFStringRef>(wide.get())), nullptr);
    EXPECT_EQ(writtenBinary(wide.get()), writtenBinary(CFSTR("ab")));
}

TEST(PropertyListBinaryWriter, WidensReferencesAndOffsetsWithTheDocument) {
    std::vector<List> items;
    const Held<CFMutableArrayRef> list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (int i = 0; i < 254; ++i) CFArrayAppendValue(list.get(), text("x").get());
    std::string written = writtenBinary(list.get());
    EXPECT_EQ(written[written.size() - 25], 1) << "255 objects";
    CFArrayAppendValue(list.get(), text("x").get());
    written = writtenBinary(list.get());
    EXPECT_EQ(written[written.size() - 25], 2) << "256 objects";
    EXPECT_EQ(written[written.size() - 26], 2);
    EXPECT_TRUE(CFEqual(read(written).list.get(), list.get()));
    const List large = array(dataOf(std::string(70000, 'x')), text("y"));
    written = writtenBinary(large.get());
    EXPECT_EQ(written[written.size() - 26], 4);
    EXPECT_TRUE(CFEqual(read(written).list.get(), large.get()));
}

TEST(PropertyListBinaryWriter, SharesObjectsByIdentityAndNotByEquality) {
    const List shared = text("shared");
    EXPECT_EQ(objectsOf(writtenBinary(array(shared, shared).get())),
              "\xA2\x01\x01"
              "\x56"
              "shared"
              "\x08\x0B"s);
    EXPECT_EQ(objectsOf(writtenBinary(array(text("s"), text("s")).get())),
              "\xA2\x01\x02"
              "\x51"
              "s"
              "\x51"
              "s"
              "\x08\x0B\x0D"s);
}

TEST(PropertyListBinaryWriter, SharesNumbersDatesAndData) {
    EXPECT_EQ(objectsOf(writtenBinary(array(integer(1), integer(1)).get())), "\xA2\x01\x01\x10\x01\x08\x0B"s);
    EXPECT_EQ(objectsOf(writtenBinary(array(real(NAN), real(NAN)).get())).size(), 3u + 9 + 2);
    const List day = date(1);
    EXPECT_EQ(objectsOf(writtenBinary(array(day, day).get())).size(), 3u + 9 + 2);
    const List bytes = dataOf("x");
    EXPECT_EQ(objectsOf(writtenBinary(array(bytes, bytes).get())), "\xA2\x01\x01\x41x\x08\x0B"s);
}

TEST(PropertyListBinaryWriter, WritesBooleansAndContainersEachTimeTheyOccur) {
    EXPECT_EQ(objectsOf(writtenBinary(array(boolean(true), boolean(true), boolean(false)).get())),
              "\xA3\x01\x02\x03\x09\x09\x08\x08\x0C\x0D\x0E"s);
    const List inner = array(text("s"));
    EXPECT_EQ(objectsOf(writtenBinary(array(inner, inner).get())), "\xA2\x01\x03\xA1\x02\x51s\xA1\x02\x08\x0B\x0D\x0F"s)
        << "the string within is one object all the same";
    const List entries = dict(entry("k", integer(1)));
    EXPECT_EQ(objectsOf(writtenBinary(array(entries, entries).get())),
              "\xA2\x01\x04\xD1\x02\x03\x51k\x10\x01\xD1\x02\x03\x08\x0B\x0E\x10\x12"s);
    const List empty = array();
    EXPECT_EQ(objectsOf(writtenBinary(array(empty, array(empty), empty).get())),
              "\xA3\x01\x02\x04\xA0\xA1\x03\xA0\xA0\x08\x0C\x0D\x0F\x10"s);
}

TEST(PropertyListBinaryWriter, WritesOneContainerThousandsOfTimes) {
    const Held<CFMutableArrayRef> list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    const List inner = array(text("s"), boolean(true));
    for (int i = 0; i < 5000; ++i) CFArrayAppendValue(list.get(), inner.get());
    EXPECT_TRUE(CFEqual(read(writtenBinary(list.get())).list.get(), list.get()));
}

TEST(PropertyListBinaryWriter, RefusesAContainerThatHoldsItself) {
    const Held<CFMutableArrayRef> list(CFArrayCreateMutable(nullptr, 0, nullptr));  // which does not keep itself alive
    const List inner = array(text("s"));
    for (int i = 0; i < 200; ++i) CFArrayAppendValue(list.get(), inner.get());
    CFArrayAppendValue(list.get(), list.get());
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateData(nullptr, list.get(), kCFPropertyListBinaryFormat_v1_0, 0, &error), nullptr);
    ASSERT_NE(error, nullptr);
    const Held<CFErrorRef> owned(error);
    EXPECT_EQ(CFErrorGetCode(error), 3851);
}

TEST(PropertyListBinaryWriter, WritesEqualDictionariesAsEqualBytes) {
    const List one = dict(entry("a", integer(1)), entry("b", integer(2)), entry("c", integer(3)));
    const List two = dict(entry("c", integer(3)), entry("b", integer(2)), entry("a", integer(1)));
    EXPECT_EQ(writtenBinary(one.get()), writtenBinary(two.get()));
}

TEST(PropertyListBinaryWriter, KeepsHalfOfASurrogatePair) {
    const List half = text(u"a\xD800");
    EXPECT_TRUE(CFEqual(read(writtenBinary(half.get())).list.get(), half.get()));
}

TEST(PropertyListBinaryWriter, WritesManyObjectsThatReadBackEqual) {
    const Held<CFMutableArrayRef> list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    for (int i = 0; i < 70000; ++i) CFArrayAppendValue(list.get(), integer(i).get());
    CFArrayAppendValue(list.get(),
                       dict(entry("k", date(-1.25)), entry("\xC3\xA4", dataOf("x")), entry("r", real(-0.0))).get());
    EXPECT_TRUE(CFEqual(read(writtenBinary(list.get())).list.get(), list.get()));
}

// ---- Reading

TEST(PropertyListBinaryReader, ReadsEveryKindOfObject) {
    EXPECT_EQ(body(readBinary({"\x08"}).get()), "<false/>\n");
    EXPECT_EQ(body(readBinary({"\x09"}).get()), "<true/>\n");
    EXPECT_EQ(body(readBinary({"\x10\xFF"}).get()), "<integer>255</integer>\n");
    EXPECT_EQ(body(readBinary({"\x11\xFF\xFF"}).get()), "<integer>65535</integer>\n");
    EXPECT_EQ(body(readBinary({"\x12\xFF\xFF\xFF\xFF"}).get()), "<integer>4294967295</integer>\n");
    EXPECT_EQ(body(readBinary({"\x13" + std::string(8, '\xFF')}).get()), "<integer>-1</integer>\n");
    EXPECT_EQ(body(readBinary({"\x14" + std::string(8, '\0') + std::string(8, '\xFF')}).get()),
              "<integer>18446744073709551615</integer>\n");
    EXPECT_EQ(body(readBinary({"\x14" + std::string(16, '\xFF')}).get()), "<integer>-1</integer>\n");
    EXPECT_EQ(body(readBinary({"\x22\x3F\xC0\0\0"s}).get()), "<real>1.5</real>\n");
    EXPECT_EQ(body(readBinary({"\x23\x3F\xF8\0\0\0\0\0\0"s}).get()), "<real>1.5</real>\n");
    EXPECT_EQ(body(readBinary({"\x33\0\0\0\0\0\0\0\0"s}).get()), "<date>2001-01-01T00:00:00Z</date>\n");
    EXPECT_EQ(body(readBinary({"\x43"
                               "ABC"})
                       .get()),
              "<data>\nQUJD\n</data>\n");
    EXPECT_EQ(body(readBinary({"\x53"
                               "ABC"})
                       .get()),
              "<string>ABC</string>\n");
    EXPECT_EQ(body(readBinary({"\x61\0\xE4"s}).get()), "<string>\xC3\xA4</string>\n");
    EXPECT_EQ(body(readBinary({"\xA2\x01\x01", "\x09"}).get()), "<array>\n\t<true/>\n\t<true/>\n</array>\n");
    EXPECT_EQ(body(readBinary({"\xD1\x01\x02", "\x51k", "\x09"}).get()),
              "<dict>\n\t<key>k</key>\n\t<true/>\n</dict>\n");
}

TEST(PropertyListBinaryReader, ReadsOffsetsAndReferencesOfOneToEightBytes) {
    for (std::size_t offsetSize = 1; offsetSize <= 8; ++offsetSize) {
        for (std::size_t referenceSize = 1; referenceSize <= 8; ++referenceSize) {
            const std::string array = "\xA2" + bigEndian(1, referenceSize) + bigEndian(2, referenceSize);
            // Objects from 258 on, so that an offset has more than one byte that counts where there is room for it.
            const std::size_t gap = offsetSize == 1 ? 0 : 250;
            const std::string objects = "bplist00" + std::string(gap, '\0') + array + "\x51x\x51y";
            const std::size_t first = 8 + gap, table = objects.size();
            const std::string offsets = bigEndian(first, offsetSize) + bigEndian(first + array.size(), offsetSize) +
                                        bigEndian(first + array.size() + 2, offsetSize);
            const Outcome outcome = read(objects + offsets + trailer(offsetSize, referenceSize, 3, 0, table));
            ASSERT_TRUE(outcome) << outcome.reason;
            EXPECT_EQ(body(outcome.list.get()), "<array>\n\t<string>x</string>\n\t<string>y</string>\n</array>\n");
        }
    }
}

TEST(PropertyListBinaryReader, ReadsCountsInIntegerObjects) {
    EXPECT_EQ(body(readBinary({"\x5F\x10\x03"
                               "ABC"})
                       .get()),
              "<string>ABC</string>\n");
    EXPECT_EQ(body(readBinary({"\x5F\x11\0\x03"
                               "ABC"s})
                       .get()),
              "<string>ABC</string>\n");
    EXPECT_EQ(body(readBinary({"\x5F\x13\0\0\0\0\0\0\0\x03"
                               "ABC"s})
                       .get()),
              "<string>ABC</string>\n");
}

TEST(PropertyListBinaryReader, TakesBytesAboveASCIIForTheirCodePoints) {
    EXPECT_EQ(body(readBinary({"\x52"
                               "a\xE4"})
                       .get()),
              "<string>a\xC3\xA4</string>\n");
}

TEST(PropertyListBinaryReader, KeepsWideASCIITextInEightBits) {
    EXPECT_STREQ(
        CFStringGetCStringPtr(static_cast<CFStringRef>(readBinary({"\x61\0x"s}).get()), kCFStringEncodingASCII), "x");
}

TEST(PropertyListBinaryReader, ReadsAUIDAsTheDictionaryThatStandsForItInXML) {
    EXPECT_EQ(body(readBinary({"\x80\x07"}).get()), "<dict>\n\t<key>CF$UID</key>\n\t<integer>7</integer>\n</dict>\n");
    EXPECT_EQ(body(readBinary({"\x81\x01\0"s}).get()),
              "<dict>\n\t<key>CF$UID</key>\n\t<integer>256</integer>\n</dict>\n");
}

TEST(PropertyListBinaryReader, TakesTheLastOfDuplicateKeys) {
    EXPECT_EQ(body(readBinary({"\xD2\x01\x02\x03\x04", "\x51k", "\x51k", "\x08", "\x09"}).get()),
              "<dict>\n\t<key>k</key>\n\t<true/>\n</dict>\n");
}

TEST(PropertyListBinaryReader, StillKnowsWhatDuplicateKeysLeftOut) {
    // The array and the second key are read within the dictionary, dropped there, and referred to once more.
    EXPECT_EQ(
        body(readBinary({"\xA3\x01\x05\x03", "\xD2\x02\x03\x05\x04", "\x51k", "\x51k", "\x09", "\xA1\x06", "\x51z"})
                 .get()),
        "<array>\n\t<dict>\n\t\t<key>k</key>\n\t\t<true/>\n\t</dict>\n\t<array>\n\t\t<string>z</string>\n\t</array>\n"
        "\t<string>k</string>\n</array>\n");
}

TEST(PropertyListBinaryReader, SharesObjectsThatAreReferredToTwice) {
    const List list = readBinary({"\xA2\x01\x01", "\xA1\x02", "\x51x"});
    const CFArrayRef array = static_cast<CFArrayRef>(list.get());
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), CFArrayGetValueAtIndex(array, 1));
}

TEST(PropertyListBinaryReader, MakesMutableContainersAnewForEachReference) {
    const Outcome outcome = read(binary({"\xA2\x01\x01", "\xA1\x02", "\x51x"}), kCFPropertyListMutableContainers);
    ASSERT_TRUE(outcome);
    const CFArrayRef array = static_cast<CFArrayRef>(outcome.list.get());
    EXPECT_NE(CFArrayGetValueAtIndex(array, 0), CFArrayGetValueAtIndex(array, 1));
}

TEST(PropertyListBinaryReader, RefusesAListThatContainsItself) {
    for (const CFOptionFlags options : {kCFPropertyListImmutable, kCFPropertyListMutableContainers}) {
        EXPECT_NE(read(binary({"\xA1\0"s}), options).reason.find("contains itself"), std::string::npos);
        EXPECT_NE(read(binary({"\xA1\x01", "\xA1\x02", "\xA1\x01"}), options).reason.find("contains itself"),
                  std::string::npos);
        EXPECT_NE(read(binary({"\xD1\x01\0"s, "\x51k"}), options).reason.find("contains itself"), std::string::npos);
    }
}

TEST(PropertyListBinaryReader, RefusesReferencesAndOffsetsOutOfRange) {
    EXPECT_TRUE(isRefusedBinary({"\xA1\x01"}, "not there"));
    EXPECT_TRUE(isRefusedBinary({"\xA1\xFF"}, "not there"));
    const auto withOffset = [](std::uint64_t offset) {
        return "bplist00\x09"s + bigEndian(offset, 8) + trailer(8, 1, 1, 0, 9);
    };
    EXPECT_TRUE(read(withOffset(8)));
    for (const std::uint64_t offset : {std::uint64_t{0}, std::uint64_t{7}, std::uint64_t{9}, std::uint64_t{48},
                                       std::uint64_t{1000}, ~std::uint64_t{0}, std::uint64_t{1} << 63}) {
        EXPECT_TRUE(isRefused(withOffset(offset), "outside")) << offset;
    }
}

TEST(PropertyListBinaryReader, RefusesCountsBeyondTheDocument) {
    EXPECT_TRUE(isRefusedBinary({"\x52"
                                 "a"},
                                "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\x42"
                                 "a"},
                                "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\x62\0a\0"s}, "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\xA2\x01"}, "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\xD2\x01\x01\x01"}, "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\x13\0"s}, "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\x23\0"s}, "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\x22\0"s}, "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\x33\0"s}, "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\x83\0"s}, "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\x5F"}, "reaches beyond"));
    EXPECT_TRUE(isRefusedBinary({"\x5F\x13\0"s}, "reaches beyond"));
    for (const char* const marker : {"\x4F", "\x5F", "\x6F", "\xAF", "\xDF"}) {
        for (const std::uint64_t count :
             {~std::uint64_t{0}, std::uint64_t{1} << 63, std::uint64_t{1} << 62, std::uint64_t{1} << 32}) {
            EXPECT_TRUE(
                isRefusedBinary({std::string(marker) + "\x13" + bigEndian(count, 8) + "abc"}, "reaches beyond"));
        }
    }
}

TEST(PropertyListBinaryReader, RefusesCountsThatAreNoIntegers) {
    EXPECT_TRUE(isRefusedBinary({"\x5F\x23"
                                 "ABCDEFGH"},
                                "count"));
    EXPECT_TRUE(isRefusedBinary({"\x5F\x14"
                                 "ABCDEFGHABCDEFGH"},
                                "count"));
}

TEST(PropertyListBinaryReader, RefusesKindsThatNoPropertyListHas) {
    for (const unsigned marker :
         {0x00u, 0x01u, 0x0Fu, 0x20u, 0x21u, 0x24u, 0x30u, 0x3Fu, 0x70u, 0x90u, 0xB0u, 0xC0u, 0xE0u, 0xF0u}) {
        EXPECT_TRUE(isRefusedBinary({std::string(1, static_cast<char>(marker)) + std::string(16, '\0')}, "kind"))
            << marker;
    }
    EXPECT_TRUE(isRefusedBinary({"\x15" + std::string(32, '\0')}, "too many bytes"));
}

TEST(PropertyListBinaryReader, RefusesIntegersOfSixteenBytesThatDoNotFit) {
    EXPECT_TRUE(isRefusedBinary({"\x14" + bigEndian(1, 8) + bigEndian(0, 8)}, "integer outside"));
    EXPECT_TRUE(isRefusedBinary({"\x14" + std::string(8, '\xFF') + bigEndian(0, 8)}, "integer outside"));
}

TEST(PropertyListBinaryReader, RefusesKeysThatAreNoStrings) {
    EXPECT_TRUE(isRefusedBinary({"\xD1\x01\x02", "\x10\x01", "\x09"}, "no string"));
    EXPECT_TRUE(isRefusedBinary({"\xD1\x01\x02", "\xA0", "\x09"}, "no string"));
}

TEST(PropertyListBinaryReader, RefusesATrailerThatDoesNotFit) {
    const auto with = [](std::uint64_t offsetSize, std::uint64_t referenceSize, std::uint64_t objects,
                         std::uint64_t top, std::uint64_t table) {
        return "bplist00\x09\x08"s + trailer(offsetSize, referenceSize, objects, top, table);
    };
    ASSERT_TRUE(read(with(1, 1, 1, 0, 9)));
    EXPECT_TRUE(isRefused(with(0, 1, 1, 0, 9), "offsets"));
    EXPECT_TRUE(isRefused(with(9, 1, 1, 0, 9), "offsets"));
    EXPECT_TRUE(isRefused(with(255, 1, 1, 0, 9), "offsets"));
    EXPECT_TRUE(isRefused(with(1, 0, 1, 0, 9), "references"));
    EXPECT_TRUE(isRefused(with(1, 9, 1, 0, 9), "references"));
    EXPECT_TRUE(isRefused(with(1, 1, 0, 0, 9), "objects"));
    EXPECT_TRUE(isRefused(with(1, 1, 2, 0, 9), "objects"));
    EXPECT_TRUE(isRefused(with(1, 1, ~std::uint64_t{0}, 0, 9), "objects"));
    EXPECT_TRUE(isRefused(with(1, 1, std::uint64_t{1} << 61, 0, 9), "objects"));
    EXPECT_TRUE(isRefused(with(1, 1, 1, 1, 9), "top object"));
    EXPECT_TRUE(isRefused(with(1, 1, 1, ~std::uint64_t{0}, 9), "top object"));
    EXPECT_TRUE(isRefused(with(1, 1, 1, 0, 8), "table"));
    EXPECT_TRUE(isRefused(with(1, 1, 1, 0, 10), "table"));
    EXPECT_TRUE(isRefused(with(1, 1, 1, 0, ~std::uint64_t{0}), "table"));
}

TEST(PropertyListBinaryReader, RefusesADocumentCutOffAnywhere) {
    const std::string whole =
        writtenBinary(dict(entry("a", array(text("x"), integer(300))), entry("b", date(1))).get());
    ASSERT_TRUE(read(whole));
    for (std::size_t size = 6; size < whole.size(); ++size) {
        ASSERT_FALSE(read(std::string_view(whole).substr(0, size))) << size;
    }
}

TEST(PropertyListBinaryReader, SurvivesAnyByteChangedInADocument) {
    const std::string whole = writtenBinary(
        dict(entry("a", array(text("x"), integer(300), dict(entry("c", dataOf("d"))))), entry("b", text("\xC3\xA4")))
            .get());
    for (std::size_t at = 6; at < whole.size(); ++at) {
        for (int value = 0; value < 256; ++value) {
            std::string changed = whole;
            changed[at] = static_cast<char>(value);
            const Outcome outcome = read(changed);
            EXPECT_TRUE(outcome || outcome.domain == "NSCocoaErrorDomain");
        }
    }
}

TEST(PropertyListBinaryReader, RefusesOtherVersionsWithTheirOwnCode) {
    for (const char* const head : {"bplist10", "bplist16", "bplistxx", "bplist"}) {
        const Outcome outcome = read(head + std::string(64, '\0'));
        EXPECT_FALSE(outcome);
        EXPECT_EQ(outcome.code, kCFPropertyListReadUnknownVersionError) << head;
    }
    EXPECT_EQ(read("bplist").code, kCFPropertyListReadUnknownVersionError);
}

TEST(PropertyListBinaryReader, RefusesNestingThatIsTooDeep) {
    const auto nested = [](std::size_t depth) {
        std::string objects = "bplist00";
        std::string offsets;
        for (std::size_t i = 0; i < depth; ++i) {
            offsets += bigEndian(objects.size(), 4);
            objects += i + 1 == depth ? "\xA0" : "\xA1" + bigEndian(i + 1, 4);
        }
        const std::size_t table = objects.size();
        return objects + offsets + trailer(4, 4, depth, 0, table);
    };
    EXPECT_TRUE(read(nested(512)));
    EXPECT_TRUE(isRefused(nested(513), "deep"));
    EXPECT_TRUE(isRefused(nested(100000), "deep"));
}

TEST(PropertyListBinaryReader, RefusesAListThatGrowsWithEveryReference) {
    SKIP_UNDER_THREAD_SANITIZER();
    // Forty arrays that each hold the next one twice: 2^40 values in two hundred bytes.
    std::vector<std::string> objects;
    for (char i = 0; i < 40; ++i) objects.push_back({'\xA2', static_cast<char>(i + 1), static_cast<char>(i + 1)});
    objects.push_back("\x51x");
    for (const CFOptionFlags options :
         {kCFPropertyListImmutable, kCFPropertyListMutableContainers, kCFPropertyListMutableContainersAndLeaves}) {
        const Outcome outcome = read(binary(objects), options);
        EXPECT_FALSE(outcome);
        EXPECT_NE(outcome.reason.find("too large"), std::string::npos) << outcome.reason;
    }
}

TEST(PropertyListBinaryReader, TakesListsOfUpTo16MebibytesAnd32TimesTheirDocument) {
    // One piece of data that an array holds 64 times. Each value counts 16 bytes more than it has.
    const auto list = [](std::size_t size) {
        std::string array = "\xAF\x10\x40";
        array.append(64, '\1');
        return binary({array, "\x4F\x12" + bigEndian(size, 4) + std::string(size, 'x')});
    };
    const auto weight = [](std::size_t size) { return 16 + 64 * (16 + size); };
    const auto most = [&](std::size_t size) { return (std::size_t{16} << 20) + 32 * list(size).size(); };
    constexpr std::size_t kLargest = 524376;
    ASSERT_LE(weight(kLargest), most(kLargest));
    ASSERT_GT(weight(kLargest + 1), most(kLargest + 1));
    EXPECT_TRUE(read(list(kLargest)));
    EXPECT_TRUE(isRefused(list(kLargest + 1), "too large"));
}

TEST(PropertyListBinaryReader, TellsWhichObjectIsAtFault) {
    EXPECT_EQ(read(binary({"\xA1\x01", "\x42x"})).reason,
              "Binary property list: object 1 reaches beyond the document's objects");
    EXPECT_TRUE(isRefused("bplist00", "too short"));
    EXPECT_TRUE(isRefused("bplist00" + std::string(33, '\0'), "too short"));
}

TEST(PropertyListBinaryReader, RefusesObjectsThatOverlapWithoutEnd) {
    // Twenty thousand strings that begin one byte apart and all reach to the end.
    constexpr std::size_t kCount = 20000;
    std::string objects = "bplist00\xAF\x11" + bigEndian(kCount, 2);
    for (std::size_t i = 1; i <= kCount; ++i) objects += bigEndian(i, 2);
    const std::size_t first = objects.size();
    std::string offsets = bigEndian(8, 4);
    for (std::size_t i = 0; i < kCount; ++i) {
        offsets += bigEndian(first + 4 * i, 4);
        objects += "\x4F\x11" + bigEndian(4 * (kCount - i - 1) & 0xFFFF, 2);
    }
    const std::size_t table = objects.size();
    EXPECT_TRUE(isRefused(objects + offsets + trailer(4, 2, kCount + 1, 0, table), "too large"));
}

TEST(PropertyListBinaryReader, ReadsTwoObjectsThatOverlap) {
    // The string is the end of the data.
    std::string document =
        "bplist00\xA2\x01\x02"
        "\x42\x51"
        "A" +
        bigEndian(8, 1) + bigEndian(11, 1) + bigEndian(12, 1);
    document += trailer(1, 1, 3, 0, 14);
    const Outcome outcome = read(document);
    ASSERT_TRUE(outcome) << outcome.reason;
    EXPECT_EQ(body(outcome.list.get()), "<array>\n\t<data>\n\tUUE=\n\t</data>\n\t<string>A</string>\n</array>\n");
}
