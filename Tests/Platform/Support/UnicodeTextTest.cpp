#include "Support/UnicodeText.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace KXPlatform;
using Bytes = std::basic_string<unsigned char>;

struct Converted {
    Stop stop;
    std::size_t read;
    Bytes text;
};

constexpr unsigned char kUntouched = 0xA5;

/// Converts into `room` bytes, and checks that nothing behind them was written.
template <class From, class To>
Converted convert(const Bytes& text, std::size_t room) {
    // In memory of its own size, so that AddressSanitizer sees a look beyond it.
    const std::vector<unsigned char> exact(text.begin(), text.end());
    std::vector<unsigned char> place(room + 8, kUntouched);
    Input in{exact.data(), exact.data() + exact.size()};
    Output out{place.data(), place.data() + room};
    const Stop stop = convertText<From, To>(in, out);
    for (std::size_t i = room; i < place.size(); ++i) EXPECT_EQ(place[i], kUntouched);
    return {stop, exact.size() - in.left(), Bytes(place.data(), out.at)};
}

template <class From, class To>
Converted convert(const Bytes& text) {
    return convert<From, To>(text, 4 * text.size() + 16);
}

template <class Text>
Bytes encoded(std::u32string_view characters) {
    Bytes text(characters.size() * kLongestCharacter, 0);
    unsigned char* out = text.data();
    for (const char32_t c : characters) out += Text::encode(c, out);
    text.resize(static_cast<std::size_t>(out - text.data()));
    return text;
}

/// Runs of each range, alone and mixed, with lone and repeated blanks: all the ways that a text takes through the loop.
std::vector<std::u32string> samples() {
    std::vector<std::u32string> made{U""};
    const std::u32string_view parts[] = {U"a", U"\u0416", U"\u65E5", U"\U0001F600"};
    for (const std::u32string_view part : parts) {
        for (const std::size_t count : {1u, 7u, 8u, 9u, 40u}) {
            std::u32string run;
            for (std::size_t i = 0; i < count; ++i) run += part;
            made.push_back(run);
            made.push_back(U"plain and long enough" + run + U" " + run + U"  " + run);
        }
    }
    std::u32string mixed;
    for (std::size_t i = 0; i < 200; ++i) mixed += parts[i * i % 7 % 4];
    made.push_back(mixed);
    return made;
}

template <class From, class To>
void expectAllSamplesConvert() {
    for (const std::u32string& sample : samples()) {
        const Bytes from = encoded<From>(sample);
        const Bytes to = encoded<To>(sample);
        const Converted whole = convert<From, To>(from);
        ASSERT_EQ(whole.stop, Stop::UsedUp);
        ASSERT_EQ(whole.text, to);
        ASSERT_EQ((convert<From, To>(from, to.size()).text), to) << "room for exactly the text";
    }
}

template <class From, class To>
void expectExactEndsOfRoom() {
    const std::u32string sample = U"long and plain \u0416\u0416\u0416 \u65E5\u65E5\u65E5 \U0001F600\U0001F600 end here";
    const Bytes from = encoded<From>(sample);
    const Bytes to = encoded<To>(sample);
    for (std::size_t room = 0; room <= to.size(); ++room) {
        std::size_t fitting = 0;
        while (fitting < sample.size() && encoded<To>(sample.substr(0, fitting + 1)).size() <= room) ++fitting;
        const Converted part = convert<From, To>(from, room);
        ASSERT_EQ(part.stop, fitting == sample.size() ? Stop::UsedUp : Stop::Full) << room;
        ASSERT_EQ(part.read, encoded<From>(sample.substr(0, fitting)).size()) << room;
        ASSERT_EQ(part.text, encoded<To>(sample.substr(0, fitting))) << room;
    }
}

/// `wrong`, met after texts of every kind and length, and followed by more text.
template <class From, class To>
void expectStopAt(const Bytes& wrong, Stop stop, const Bytes& after) {
    for (const std::u32string& sample : samples()) {
        const Bytes before = encoded<From>(sample);
        const Converted part = convert<From, To>(before + wrong + after);
        ASSERT_EQ(part.stop, stop);
        ASSERT_EQ(part.read, before.size());
        ASSERT_EQ(part.text, encoded<To>(sample));
    }
}

Bytes bytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

}  // namespace

TEST(UnicodeText, ConvertsRunsOfEveryKindBetweenAllEncodings) {
    expectAllSamplesConvert<UTF8Text, UTF8Text>();
    expectAllSamplesConvert<UTF8Text, UTF16LEText>();
    expectAllSamplesConvert<UTF8Text, UTF32LEText>();
    expectAllSamplesConvert<UTF16LEText, UTF8Text>();
    expectAllSamplesConvert<UTF16LEText, UTF16LEText>();
    expectAllSamplesConvert<UTF16LEText, UTF32LEText>();
    expectAllSamplesConvert<UTF32LEText, UTF8Text>();
    expectAllSamplesConvert<UTF32LEText, UTF16LEText>();
    expectAllSamplesConvert<UTF32LEText, UTF32LEText>();
}

TEST(UnicodeText, ConvertsEveryCharacter) {
    std::u32string all(0x110000 - 0x800, 0);
    for (char32_t i = 0; i < all.size(); ++i) all[i] = i < 0xD800 ? i : i + 0x800;
    const Bytes utf8 = encoded<UTF8Text>(all);
    const Bytes utf16 = encoded<UTF16LEText>(all);
    const Bytes utf32 = encoded<UTF32LEText>(all);
    EXPECT_TRUE((convert<UTF8Text, UTF16LEText>(utf8, utf16.size()).text == utf16));
    EXPECT_TRUE((convert<UTF16LEText, UTF8Text>(utf16, utf8.size()).text == utf8));
    EXPECT_TRUE((convert<UTF8Text, UTF32LEText>(utf8, utf32.size()).text == utf32));
    EXPECT_TRUE((convert<UTF32LEText, UTF8Text>(utf32, utf8.size()).text == utf8));
}

TEST(UnicodeText, ConvertsEveryMixtureOfLengthsInABlock) {
    constexpr char32_t kOfLength[] = {U'a', U'\u0416', U'\u65E5'};
    for (unsigned mixture = 0; mixture < 6561; ++mixture) {  // 3 to the power of 8
        std::u32string block;
        for (unsigned i = 0, rest = mixture; i < 8; ++i, rest /= 3) block += kOfLength[rest % 3] + (i & 1);
        const Bytes utf8 = encoded<UTF8Text>(block + block);
        ASSERT_EQ((convert<UTF16LEText, UTF8Text>(encoded<UTF16LEText>(block + block), utf8.size() + 32).text), utf8)
            << mixture;
    }
}

TEST(UnicodeText, ConvertsAnyLengthWithAPairAtAnyPlace) {
    const std::u32string text =
        U"\u041F\u0440 \u65E5a\u672C\u8A9E\u00E9\u0438\uFFFD\u07FF\u0800~\u0080\u007F\uE000\uD7FF";
    for (std::size_t length = 0; length <= 2 * text.size(); ++length) {
        const std::u32string part = (text + text).substr(0, length);
        for (std::size_t place = 0; place <= length; ++place) {
            std::u32string sample = part;
            sample.insert(place, 1, U'\U0001F600');
            const Bytes utf8 = encoded<UTF8Text>(sample);
            ASSERT_EQ((convert<UTF16LEText, UTF8Text>(encoded<UTF16LEText>(sample)).text), utf8);
            ASSERT_EQ((convert<UTF16LEText, UTF8Text>(encoded<UTF16LEText>(sample), utf8.size()).text), utf8);
        }
    }
}

TEST(UnicodeText, StopsAtTheLastCharacterThatFits) {
    expectExactEndsOfRoom<UTF8Text, UTF16LEText>();
    expectExactEndsOfRoom<UTF8Text, UTF32LEText>();
    expectExactEndsOfRoom<UTF16LEText, UTF8Text>();
    expectExactEndsOfRoom<UTF32LEText, UTF8Text>();
}

TEST(UnicodeText, RefusesWhatIsNoUTF8) {
    for (const std::string_view wrong :
         {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC3(", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xE6(\xA5", "\xE6\x97(",
          "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF0(\x98\x80", "\xF0\x9F(\x80", "\xF0\x9F\x98(",
          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF"}) {
        SCOPED_TRACE(testing::PrintToString(wrong));
        expectStopAt<UTF8Text, UTF16LEText>(bytes(wrong), Stop::Invalid,
                                            bytes("then more text of some length, and more"));
        expectStopAt<UTF8Text, UTF32LEText>(bytes(wrong), Stop::Invalid, {});
    }
}

TEST(UnicodeText, TellsAnEndInsideACharacterFromAWrongOne) {
    for (const std::string_view begun : {"\xC3", "\xE6", "\xE6\x97", "\xF0", "\xF0\x9F", "\xF0\x9F\x98"}) {
        expectStopAt<UTF8Text, UTF16LEText>(bytes(begun), Stop::Incomplete, {});
    }
    expectStopAt<UTF16LEText, UTF8Text>(bytes({"\x3D\xD8", 2}), Stop::Incomplete, {});
    expectStopAt<UTF16LEText, UTF8Text>(bytes("a"), Stop::Incomplete, {});
    expectStopAt<UTF32LEText, UTF8Text>(bytes({"a\0\0", 3}), Stop::Incomplete, {});
}

TEST(UnicodeText, RefusesHalvesOfSurrogatePairs) {
    const Bytes more = encoded<UTF16LEText>(U"then more text of some length, and more");
    expectStopAt<UTF16LEText, UTF8Text>(bytes({"\x3D\xD8", 2}), Stop::Invalid, more);
    expectStopAt<UTF16LEText, UTF8Text>(bytes({"\x3D\xD8\x3D\xD8", 4}), Stop::Invalid, more);
    expectStopAt<UTF16LEText, UTF8Text>(bytes({"\x00\xDE", 2}), Stop::Invalid, more);
    expectStopAt<UTF16LEText, UTF32LEText>(bytes({"\xFF\xDF", 2}), Stop::Invalid, {});
}

TEST(UnicodeText, RefusesNumbersThatAreNoCharacters) {
    const Bytes more = encoded<UTF32LEText>(U"then more text of some length, and more");
    for (const std::uint32_t number : {0xD800u, 0xDFFFu, 0x110000u, 0x80000041u, 0xFFFFFFFFu}) {
        const auto* const at = reinterpret_cast<const unsigned char*>(&number);
        expectStopAt<UTF32LEText, UTF8Text>(Bytes(at, 4), Stop::Invalid, more);
        expectStopAt<UTF32LEText, UTF16LEText>(Bytes(at, 4), Stop::Invalid, {});
    }
}
