#include <KXCoreLib/Codecs.h>

#include "KXCoreLib/CodecsReference.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

extern "C" int CodecsFromC(void);

namespace {

using namespace std::literals;
using Coder = std::remove_pointer_t<decltype(&kx_hex_encode)>;
using Decoder = std::remove_pointer_t<decltype(&kx_hex_decode)>;

static_assert(std::is_same_v<decltype(kx_hex_encode), ptrdiff_t(const void*, size_t, char*, size_t) noexcept>);
static_assert(std::is_same_v<decltype(kx_base64_encode), ptrdiff_t(const void*, size_t, char*, size_t) noexcept>);
static_assert(std::is_same_v<decltype(kx_hex_decode), ptrdiff_t(const char*, size_t, void*, size_t) noexcept>);
static_assert(std::is_same_v<decltype(kx_base64_decode), ptrdiff_t(const char*, size_t, void*, size_t) noexcept>);

constexpr char kUntouched = '\x5C';

std::size_t base64Capacity(std::size_t length) { return (length + 2) / 3 * 4 + 1; }

std::optional<std::string> encode(Coder coder, std::string_view bytes, std::size_t capacity) {
    // The block has exactly the size that the encoder may write, so that a sanitizer sees any excess.
    const std::size_t size = std::max(capacity, 2 * bytes.size() + 1);
    const auto text = std::make_unique<char[]>(size);
    std::memset(text.get(), kUntouched, size);
    const ptrdiff_t length = coder(bytes.data(), bytes.size(), text.get(), capacity);
    if (length < 0) {
        EXPECT_EQ(length, -1);
        EXPECT_EQ(std::string(text.get(), size), std::string(size, kUntouched)) << "written before the test";
        return std::nullopt;
    }
    const auto count = static_cast<std::size_t>(length);
    EXPECT_EQ(text[count], '\0');
    EXPECT_EQ(std::string(text.get() + count + 1, size - count - 1), std::string(size - count - 1, kUntouched));
    return std::string(text.get(), count);
}

/// The text is decoded from a block of exactly its size into a block of exactly the capacity.
std::optional<std::string> decode(Decoder decoder, std::string_view text, std::size_t capacity) {
    const auto in = std::make_unique<char[]>(text.size());
    std::memcpy(in.get(), text.data(), text.size());
    const auto bytes = std::make_unique<char[]>(capacity);
    const ptrdiff_t length = decoder(in.get(), text.size(), bytes.get(), capacity);
    if (length < 0) {
        EXPECT_EQ(length, -1);
        return std::nullopt;
    }
    EXPECT_LE(static_cast<std::size_t>(length), capacity);
    return std::string(bytes.get(), static_cast<std::size_t>(length));
}

std::optional<std::string> hexEncode(std::string_view bytes) {
    return encode(kx_hex_encode, bytes, std::max(2 * bytes.size() + 1, base64Capacity(bytes.size())));
}
std::optional<std::string> hexDecode(std::string_view text) {
    return decode(kx_hex_decode, text, (text.size() + 1) / 2);
}
std::optional<std::string> base64Encode(std::string_view bytes) {
    return encode(kx_base64_encode, bytes, base64Capacity(bytes.size()));
}
std::optional<std::string> base64Decode(std::string_view text) {
    return decode(kx_base64_decode, text, (text.size() + 3) / 4 * 3);
}

std::string randomBytes(std::mt19937& random, std::size_t length) {
    std::string bytes(length, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

constexpr std::string_view kSpaces = " \t\n\v\f\r";

}  // namespace

TEST(Codecs, CanBeCalledFromC) { EXPECT_EQ(CodecsFromC(), 0); }

TEST(HexEncode, WritesTwoLowerCaseDigitsForEachByteHighHalfFirst) {
    EXPECT_EQ(hexEncode("\x01\xAB\xF0\x0F"sv), "01abf00f");
    for (unsigned byte = 0; byte < 256; ++byte) {
        char expected[3];
        std::snprintf(expected, sizeof expected, "%02x", byte);
        const char in = static_cast<char>(byte);
        EXPECT_EQ(hexEncode({&in, 1}), expected);
    }
}

TEST(HexEncode, OfNothingIsAnEmptyText) {
    char text = kUntouched;
    EXPECT_EQ(kx_hex_encode("", 0, &text, 1), 0);
    EXPECT_EQ(text, '\0');
    EXPECT_EQ(kx_hex_encode("", 0, &text, 0), -1);
}

TEST(HexEncode, AsksForTheCapacityThatBase64WouldNeed) {
    for (std::size_t length = 0; length < 100; ++length) {
        const std::string bytes(length, 'x');
        const std::size_t asked = base64Capacity(length);
        EXPECT_TRUE(encode(kx_hex_encode, bytes, asked)) << length;
        EXPECT_EQ(encode(kx_hex_encode, bytes, asked - 1), std::nullopt) << length;
    }
}

TEST(HexDecode, ReadsPairsOfEitherCase) {
    EXPECT_EQ(hexDecode("00ffFFaBAb09"), "\x00\xFF\xFF\xAB\xAB\x09"sv);
    EXPECT_EQ(hexDecode(""), "");
}

TEST(HexDecode, AcceptsWhiteSpaceAroundPairs) {
    EXPECT_EQ(hexDecode(" 0A ff\n"), "\x0A\xFF"sv);
    EXPECT_EQ(hexDecode(" \t\n\v\f\r0A\r\n\f\v\t ff"), "\x0A\xFF"sv);
    EXPECT_EQ(hexDecode(kSpaces), "");
}

TEST(Codecs, DecodersTakeSixCharactersForWhiteSpace) {
    for (unsigned code = 0; code < 256; ++code) {
        const std::string text(1, static_cast<char>(code));
        const bool isSpace = code != 0 && std::strchr(" \t\n\v\f\r", static_cast<int>(code)) != nullptr;
        EXPECT_EQ(hexDecode(text + text), isSpace ? std::optional<std::string>("")
                                          : std::isxdigit(static_cast<int>(code))
                                              ? CodecsReference::hexDecode(text + text)
                                              : std::nullopt)
            << code;
        EXPECT_EQ(base64Decode("Zm9v" + text), isSpace ? std::optional<std::string>("foo") : std::nullopt) << code;
    }
}

TEST(HexDecode, RefusesWhiteSpaceInsideAPair) {
    EXPECT_EQ(hexDecode("0 A"), std::nullopt);
    EXPECT_EQ(hexDecode("0 0A"), std::nullopt);
    EXPECT_EQ(hexDecode("00 1\n2"), std::nullopt);
}

TEST(HexDecode, RefusesAnOddNumberOfDigits) {
    EXPECT_EQ(hexDecode("abc"), std::nullopt);
    EXPECT_EQ(hexDecode("a"), std::nullopt);
    EXPECT_EQ(hexDecode("ab c"), std::nullopt);
    EXPECT_EQ(hexDecode("ab c "), std::nullopt);
    EXPECT_EQ(hexDecode(std::string(1001, '1')), std::nullopt);
}

TEST(HexDecode, JudgesEveryByteAtEveryPlaceOfALongText) {
    for (unsigned code = 0; code < 256; ++code) {
        for (const std::size_t place :
             std::initializer_list<std::size_t>{0, 1, 15, 16, 30, 31, 32, 33, 62, 63, 64, 98, 99}) {
            std::string text(100, '7');
            text[place] = static_cast<char>(code);
            EXPECT_EQ(hexDecode(text), CodecsReference::hexDecode(text)) << code << " at " << place;
        }
    }
}

TEST(HexDecode, AsksForHalfTheLengthRoundedUpWhiteSpaceCountedIn) {
    EXPECT_EQ(decode(kx_hex_decode, "abcd", 2), "\xAB\xCD"sv);
    EXPECT_EQ(decode(kx_hex_decode, "abcd", 1), std::nullopt);
    EXPECT_EQ(decode(kx_hex_decode, "abcd ", 2), std::nullopt);
    EXPECT_EQ(decode(kx_hex_decode, "abcd ", 3), "\xAB\xCD"sv);
    EXPECT_EQ(decode(kx_hex_decode, " ", 0), std::nullopt);
    EXPECT_EQ(decode(kx_hex_decode, "", 0), "");
}

TEST(Base64Encode, PadsTheLastGroup) {
    // RFC 4648, section 10.
    EXPECT_EQ(base64Encode(""), "");
    EXPECT_EQ(base64Encode("f"), "Zg==");
    EXPECT_EQ(base64Encode("fo"), "Zm8=");
    EXPECT_EQ(base64Encode("foo"), "Zm9v");
    EXPECT_EQ(base64Encode("foob"), "Zm9vYg==");
    EXPECT_EQ(base64Encode("fooba"), "Zm9vYmE=");
    EXPECT_EQ(base64Encode("foobar"), "Zm9vYmFy");
}

TEST(Base64Encode, UsesTheWholeAlphabet) {
    std::string bytes;
    for (unsigned group = 0; group < 64; group += 4) {
        const unsigned bits = group << 18 | (group + 1) << 12 | (group + 2) << 6 | (group + 3);
        for (const int shift : {16, 8, 0}) bytes += static_cast<char>(bits >> shift & 255);
    }
    EXPECT_EQ(base64Encode(bytes), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64Encode, OfNothingIsAnEmptyText) {
    char text = kUntouched;
    EXPECT_EQ(kx_base64_encode("", 0, &text, 1), 0);
    EXPECT_EQ(text, '\0');
    EXPECT_EQ(kx_base64_encode("", 0, &text, 0), -1);
}

TEST(Base64Encode, AsksForExactlyWhatItWrites) {
    for (std::size_t length = 0; length < 100; ++length) {
        const std::string bytes(length, 'x');
        const std::size_t needed = base64Capacity(length);
        EXPECT_EQ(encode(kx_base64_encode, bytes, needed)->size(), needed - 1) << length;
        EXPECT_EQ(encode(kx_base64_encode, bytes, needed - 1), std::nullopt) << length;
    }
}

TEST(Base64Decode, ReadsGroupsAndTheirPadding) {
    EXPECT_EQ(base64Decode(""), "");
    EXPECT_EQ(base64Decode("Zg=="), "f");
    EXPECT_EQ(base64Decode("Zm8="), "fo");
    EXPECT_EQ(base64Decode("Zm9v"), "foo");
    EXPECT_EQ(base64Decode("Zm9vYmFy"), "foobar");
    EXPECT_EQ(base64Decode("+/+/"), "\xFB\xFF\xBF"sv);
}

TEST(Base64Decode, IgnoresTheUnusedBitsBeforePadding) {
    EXPECT_EQ(base64Decode("Zh=="), "f");
    EXPECT_EQ(base64Decode("Zv=="), "f");
    EXPECT_EQ(base64Decode("Zm9="), "fo");
}

TEST(Base64Decode, WritesZerosForThePaddingOfAGroup) {
    for (const char* const text : {"////Zg==", "////Zh==", "////Zm8=", "////Zm9="}) {
        std::string bytes(6, kUntouched);
        const ptrdiff_t length = kx_base64_decode(text, 8, bytes.data(), bytes.size());
        ASSERT_EQ(length, text[6] == '=' ? 4 : 5) << text;
        const auto counted = static_cast<std::size_t>(length);
        EXPECT_EQ(bytes.substr(counted), std::string(6 - counted, '\0')) << text;
    }
}

TEST(Base64Decode, AcceptsWhiteSpaceAroundGroups) {
    EXPECT_EQ(base64Decode("Zm9v\n"), "foo");
    EXPECT_EQ(base64Decode(" \t\n\v\f\rZm9v \t\n\v\f\rYmFy "), "foobar");
    EXPECT_EQ(base64Decode("Zg== \n"), "f");
    EXPECT_EQ(base64Decode(kSpaces), "");
}

TEST(Base64Decode, RefusesWhiteSpaceInsideAGroup) {
    EXPECT_EQ(base64Decode("Zm 9v"), std::nullopt);
    EXPECT_EQ(base64Decode("Z m9v"), std::nullopt);
    EXPECT_EQ(base64Decode("Zm9 v"), std::nullopt);
    EXPECT_EQ(base64Decode("Zg= ="), std::nullopt);
    EXPECT_EQ(base64Decode("Zm9vY\nmFy"), std::nullopt);
}

TEST(Base64Decode, RefusesAnIncompleteGroup) {
    EXPECT_EQ(base64Decode("Z"), std::nullopt);
    EXPECT_EQ(base64Decode("Zg"), std::nullopt);
    EXPECT_EQ(base64Decode("Zg="), std::nullopt);
    EXPECT_EQ(base64Decode("Zm9vY"), std::nullopt);
    EXPECT_EQ(base64Decode("Zm9v Zg="), std::nullopt);
    for (std::size_t length = 1; length < 200; ++length) {
        EXPECT_EQ(base64Decode(std::string(length, 'A')).has_value(), length % 4 == 0) << length;
    }
}

TEST(Base64Decode, RefusesPaddingInTheFirstTwoPlaces) {
    EXPECT_EQ(base64Decode("===="), std::nullopt);
    EXPECT_EQ(base64Decode("=g=="), std::nullopt);
    EXPECT_EQ(base64Decode("Z==="), std::nullopt);
    EXPECT_EQ(base64Decode("Z=8v"), std::nullopt);
}

TEST(Base64Decode, RefusesPaddingInTheThirdPlaceAlone) {
    EXPECT_EQ(base64Decode("Zg=v"), std::nullopt);
    EXPECT_EQ(base64Decode("Zg=!"), std::nullopt);
    EXPECT_EQ(base64Decode("Zg!="), std::nullopt);
}

TEST(Base64Decode, RefusesAnyGroupAfterAPaddedOne) {
    EXPECT_EQ(base64Decode("Zg==Zg=="), std::nullopt);
    EXPECT_EQ(base64Decode("Zm8= Zm9v"), std::nullopt);
    EXPECT_EQ(base64Decode("Zg==\nZ"), std::nullopt);
    EXPECT_EQ(base64Decode("Zg=="s + std::string(64, 'A')), std::nullopt);
    EXPECT_EQ(base64Decode(std::string(64, 'A') + "Zg==" + std::string(64, 'A')), std::nullopt);
}

TEST(Base64Decode, JudgesEveryByteAtEveryPlaceOfALongText) {
    for (unsigned code = 0; code < 256; ++code) {
        for (const std::size_t place :
             std::initializer_list<std::size_t>{0, 1, 2, 3, 15, 16, 29, 30, 31, 32, 33, 63, 64, 95, 96, 97, 98, 99}) {
            std::string text(100, 'k');
            text[place] = static_cast<char>(code);
            EXPECT_EQ(base64Decode(text), CodecsReference::base64Decode(text)) << code << " at " << place;
        }
    }
}

TEST(Base64Decode, AsksForWholeGroupsWhateverThePadding) {
    EXPECT_EQ(decode(kx_base64_decode, "Zg==", 2), std::nullopt);
    EXPECT_EQ(decode(kx_base64_decode, "Zg==", 3), "f");
    EXPECT_EQ(decode(kx_base64_decode, "Zm9v\n", 3), std::nullopt);
    EXPECT_EQ(decode(kx_base64_decode, "Zm9v\n", 6), "foo");
    EXPECT_EQ(decode(kx_base64_decode, " ", 0), std::nullopt);
    EXPECT_EQ(decode(kx_base64_decode, "", 0), "");
}

TEST(Codecs, AcceptNullPointersForNothing) {
    char text = kUntouched;
    EXPECT_EQ(kx_hex_encode(nullptr, 0, &text, 1), 0);
    EXPECT_EQ(kx_base64_encode(nullptr, 0, &text, 1), 0);
    EXPECT_EQ(kx_hex_encode(nullptr, 0, nullptr, 0), -1);
    EXPECT_EQ(kx_base64_encode(nullptr, 0, nullptr, 0), -1);
    EXPECT_EQ(kx_hex_decode(nullptr, 0, nullptr, 0), 0);
    EXPECT_EQ(kx_base64_decode(nullptr, 0, nullptr, 0), 0);
}

TEST(Codecs, EncodersTakeALengthOfMinusOneOrTwoForNone) {
    for (const auto encode : {kx_hex_encode, kx_base64_encode}) {
        for (const std::size_t length : {SIZE_MAX, SIZE_MAX - 1}) {
            char text[2] = {kUntouched, kUntouched};
            EXPECT_EQ(encode("", length, text, 0), -1);
            EXPECT_EQ(text[0], kUntouched);
            EXPECT_EQ(encode("", length, text, 1), 0);
            EXPECT_EQ(text[0], '\0');
            EXPECT_EQ(text[1], kUntouched);
        }
    }
}

TEST(Codecs, EncodersAskForTheWrappedCapacityOfAnyOtherNegativeLength) {
    constexpr std::size_t length = SIZE_MAX - 2;  // -3
    constexpr std::size_t capacity = SIZE_MAX / 3 * 4 + 1;
    static_assert(capacity == 0x5555555555555555);
    for (const auto encode : {kx_hex_encode, kx_base64_encode}) {
        char text = kUntouched;
        EXPECT_EQ(encode("", length, &text, capacity - 1), -1);
        EXPECT_EQ(text, kUntouched);
        EXPECT_EQ(encode("", length, &text, capacity), 0);
        EXPECT_EQ(text, '\0');
    }
    char small[16];
    for (std::size_t less = 2; less < 64; ++less) {
        EXPECT_EQ(kx_hex_encode("", SIZE_MAX - less, small, sizeof small), -1);
        EXPECT_EQ(kx_base64_encode("", SIZE_MAX - less, small, sizeof small), -1);
    }
}

TEST(Codecs, EncodersWriteNothingForTheLeastSignedNumber) {
    constexpr std::size_t length = static_cast<std::size_t>(PTRDIFF_MAX) + 1;
    char small[16];
    EXPECT_EQ(kx_hex_encode("", length, small, SIZE_MAX), 0);
    EXPECT_EQ(small[0], '\0');
    EXPECT_EQ(kx_base64_encode("", length, small, SIZE_MAX), 0);
}

TEST(Codecs, DecodersRefuseEveryNegativeLength) {
    char small[16];
    for (const std::size_t capacity : {sizeof small, SIZE_MAX}) {
        for (std::size_t less = 0; less < 64; ++less) {
            EXPECT_EQ(kx_hex_decode("", SIZE_MAX - less, small, capacity), -1);
            EXPECT_EQ(kx_base64_decode("", SIZE_MAX - less, small, capacity), -1);
        }
        constexpr std::size_t least = static_cast<std::size_t>(PTRDIFF_MAX) + 1;
        EXPECT_EQ(kx_hex_decode("00", least, small, capacity), -1);
        EXPECT_EQ(kx_base64_decode("AAAA", least, small, capacity), -1);
    }
}

TEST(Codecs, DecodersRefuseALengthThatNoObjectHasBeforeTheyRead) {
    const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const place = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(place, MAP_FAILED);
    const auto* const unreadable = static_cast<const char*>(place);
    char small[16];
    for (const std::size_t length : {SIZE_MAX, static_cast<std::size_t>(PTRDIFF_MAX) + 1}) {
        EXPECT_EQ(kx_hex_decode(unreadable, length, small, SIZE_MAX), -1);
        EXPECT_EQ(kx_base64_decode(unreadable, length, small, SIZE_MAX), -1);
    }
    munmap(place, size);
}

TEST(Codecs, DecodersTakeNothingThatFollowsTheTextIntoItsLastGroup) {
    unsigned char bytes[16];
    std::memset(bytes, 'x', sizeof bytes);
    EXPECT_EQ(kx_hex_decode("0102", 3, bytes, 2), -1);
    EXPECT_EQ(bytes[1], 'x');
    std::memset(bytes, 'x', sizeof bytes);
    EXPECT_EQ(kx_base64_decode("AAAAAAAA", 7, bytes, 6), -1);
    EXPECT_EQ(bytes[3], 'x');
}

TEST(Codecs, DoNotDependOnTheLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    ASSERT_TRUE(std::setlocale(LC_ALL, "C.UTF-8"));
    EXPECT_EQ(hexDecode("0A\x85 0A"), std::nullopt);
    EXPECT_EQ(hexDecode("0A\xA0 0A"), std::nullopt);
    EXPECT_EQ(base64Decode("Zm9v\xA0"), std::nullopt);
    EXPECT_EQ(hexDecode("0A\v0B"), "\x0A\x0B"sv);
    std::setlocale(LC_ALL, before.c_str());
}

TEST(Codecs, AnswerAsTheReferenceAtEveryLengthAndAlignment) {
    std::mt19937 random(1);
    const std::string pool = randomBytes(random, 512);
    for (std::size_t length = 0; length <= 200; ++length) {
        for (std::size_t offset = 0; offset < 33; offset += length < 70 ? 1 : 8) {
            const std::string_view bytes = std::string_view(pool).substr(offset, length);
            const std::string hex = CodecsReference::hexEncode(bytes);
            const std::string base64 = CodecsReference::base64Encode(bytes);
            ASSERT_EQ(hexEncode(bytes), hex);
            ASSERT_EQ(base64Encode(bytes), base64);
            ASSERT_EQ(hexDecode(hex), bytes);
            ASSERT_EQ(base64Decode(base64), bytes);
        }
    }
}

TEST(Codecs, DecodeToAnyAlignmentWithoutTouchingWhatFollows) {
    std::mt19937 random(2);
    const std::string bytes = randomBytes(random, 96);
    const std::string hex = CodecsReference::hexEncode(bytes);
    const std::string base64 = CodecsReference::base64Encode(bytes);
    for (std::size_t offset = 0; offset < 32; ++offset) {
        for (const auto& [decoder, text] : {std::pair(&kx_hex_decode, &hex), std::pair(&kx_base64_decode, &base64)}) {
            std::string out(offset + 256, kUntouched);
            ASSERT_EQ(decoder(text->data(), text->size(), out.data() + offset, 256), 96);
            EXPECT_EQ(out, std::string(offset, kUntouched) + bytes + std::string(256 - 96, kUntouched));
        }
    }
}

TEST(Codecs, AnswerAsTheReferenceWithWhiteSpaceAnywhere) {
    std::mt19937 random(3);
    for (int round = 0; round < 4000; ++round) {
        const std::string bytes = randomBytes(random, random() % 300);
        const bool hex = random() % 2;
        std::string text = hex ? CodecsReference::hexEncode(bytes) : CodecsReference::base64Encode(bytes);
        const std::size_t group = hex ? 2 : 4;
        for (auto n = random() % 12; n != 0; --n) {
            std::size_t place = random() % (text.size() + 1);
            if (random() % 16) place -= place % group;  // mostly between groups of the first text
            text.insert(place, random() % 4 + 1, kSpaces[random() % kSpaces.size()]);
        }
        if (hex) {
            ASSERT_EQ(hexDecode(text), CodecsReference::hexDecode(text)) << text;
        } else {
            ASSERT_EQ(base64Decode(text), CodecsReference::base64Decode(text)) << text;
        }
    }
}

TEST(Codecs, DecodeLinesOfAnyWidth) {
    std::mt19937 random(4);
    const std::string bytes = randomBytes(random, 1000);
    const std::string hex = CodecsReference::hexEncode(bytes);
    const std::string base64 = CodecsReference::base64Encode(bytes);
    for (std::size_t width = 4; width <= 200; width += 4) {
        std::string hexLines, base64Lines;
        for (std::size_t i = 0; i < hex.size(); i += width) hexLines += hex.substr(i, width) + "\r\n";
        for (std::size_t i = 0; i < base64.size(); i += width) base64Lines += base64.substr(i, width) + "\n";
        EXPECT_EQ(hexDecode(hexLines), bytes) << width;
        EXPECT_EQ(base64Decode(base64Lines), bytes) << width;
    }
}

TEST(Codecs, RoundTripAMebibyte) {
    std::mt19937 random(5);
    const std::string bytes = randomBytes(random, (1 << 20) + 1);
    EXPECT_TRUE(hexDecode(*hexEncode(bytes)) == bytes);
    EXPECT_TRUE(base64Decode(*base64Encode(bytes)) == bytes);
}
