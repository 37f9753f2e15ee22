#include "Sanitizers.h"

#include <KXCoreLib/IConv.h>

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

using namespace KXCore;
using namespace std::literals;

namespace {

/// What this thread's converters have asked of the system.
struct Asked {
    int opened = 0, closed = 0;
    std::string to, from;
    int request = -1, value = -1;
    std::optional<std::pair<const void*, std::size_t>> firstOffer;
    int refusals = 0;  ///< how many offers the system is to take nothing of
};
thread_local Asked asked;

template <class Function>
Function* systems(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// These stand before the platform's.
iconv_t iconv_open(const char* to, const char* from) {
    ++asked.opened;
    asked.to = to;
    asked.from = from;
    return systems<decltype(iconv_open)>("kx_iconv_open")(to, from);
}
int iconvctl(iconv_t handle, int request, void* argument) {
    asked.request = request;
    asked.value = *static_cast<int*>(argument);
    return systems<decltype(iconvctl)>("kx_iconvctl")(handle, request, argument);
}
int iconv_close(iconv_t handle) {
    ++asked.closed;
    return systems<decltype(iconv_close)>("kx_iconv_close")(handle);
}
size_t iconv(iconv_t handle, char** in, size_t* left, char** out, size_t* room) {
    if (in) {
        if (!asked.firstOffer) asked.firstOffer.emplace(*in, *left);
        if (asked.refusals > 0) {
            --asked.refusals;
            return static_cast<size_t>(-1);
        }
    }
    static auto* const next = systems<decltype(iconv)>("kx_iconv");
    return next(handle, in, left, out, room);
}

namespace {

using Bytes = std::vector<unsigned char>;

template <class Ref>
struct ReleaseObject {
    void operator()(Ref object) const { CFRelease(object); }
};
using OwnedString = std::unique_ptr<std::remove_pointer_t<CFMutableStringRef>, ReleaseObject<CFTypeRef>>;
using OwnedData = std::unique_ptr<std::remove_pointer_t<CFMutableDataRef>, ReleaseObject<CFTypeRef>>;

OwnedString newString() { return OwnedString(CFStringCreateMutable(nullptr, 0)); }
OwnedData newData() { return OwnedData(CFDataCreateMutable(nullptr, 0)); }

std::u16string unitsOf(CFStringRef string) {
    std::u16string units(static_cast<std::size_t>(CFStringGetLength(string)), u'\0');
    CFStringGetCharacters(string, CFRangeMake(0, CFStringGetLength(string)), reinterpret_cast<UniChar*>(units.data()));
    return units;
}

template <class Text>
std::string bytesOf(const Text& text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(text[0]));
}

/// Hands out a text in chunks of one size; each chunk is a block of its own, so that a sanitizer sees any excess.
class ChunkSource : public IConvSource {
  public:
    ChunkSource(std::string_view text, std::size_t size) : text_(text), size_(size) {}

    unsigned long operator()(const unsigned char*& data, unsigned long& length) const override {
        const std::string_view next = text_.substr(at_, size_);
        at_ += next.size();
        asked_ += next.empty();
        chunk_.reset(next.empty() ? nullptr : new unsigned char[next.size()]);
        std::copy(next.begin(), next.end(), chunk_.get());
        data = chunk_.get();
        length = next.size();
        return length;
    }

    int timesAskedInVain() const { return asked_; }

  private:
    std::string_view text_;
    std::size_t size_;
    mutable std::size_t at_ = 0;
    mutable int asked_ = 0;
    mutable std::unique_ptr<unsigned char[]> chunk_;
};

class PieceSink : public IConvSink {
  public:
    void operator()(unsigned char* data, unsigned long length) const override {
        pieces.emplace_back(reinterpret_cast<const char*>(data), length);
    }

    std::string all() const {
        std::string all;
        for (const std::string& piece : pieces) all += piece;
        return all;
    }

    mutable std::vector<std::string> pieces;
};

struct Outcome {
    std::string text;
    bool failed = false;

    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << (outcome.failed ? "failed after " : "") << testing::PrintToString(outcome.text);
}

Outcome convert(IConv& converter, std::string_view text, std::size_t chunk = SIZE_MAX) {
    PieceSink sink;
    bool failed = false;
    try {
        converter(ChunkSource(text, chunk), sink);
    } catch (const IConvConversionError&) {
        failed = true;
    }
    return {sink.all(), failed};
}

Outcome convert(const char* to, const char* from, std::string_view text, std::size_t chunk = SIZE_MAX) {
    IConv converter(to, from);
    return convert(converter, text, chunk);
}

/// More than 1024 bytes in every encoding, with characters of every length.
const std::u32string& longText() {
    static const std::u32string text = [] {
        std::u32string made;
        for (char32_t i = 0; i < 700; ++i) {
            made += U'a' + i % 26;
            if (i % 3 == 0) made += U'\u00E9';
            if (i % 7 == 0) made += U'\u20AC';
            if (i % 11 == 0) made += U'\U0001F600';
            if (i % 90 == 0) made += U"plain text, and a good stretch of it, so that blocks of it are met";
        }
        return made;
    }();
    return text;
}

std::string utf8(std::u32string_view text) {
    std::string bytes;
    for (const char32_t c : text) {
        const auto add = [&](char32_t value) { bytes += static_cast<char>(static_cast<unsigned char>(value)); };
        if (c < 0x80) {
            add(c);
        } else if (c < 0x800) {
            add(0xC0 | c >> 6), add(0x80 | (c & 63));
        } else if (c < 0x10000) {
            add(0xE0 | c >> 12), add(0x80 | (c >> 6 & 63)), add(0x80 | (c & 63));
        } else {
            add(0xF0 | c >> 18), add(0x80 | (c >> 12 & 63)), add(0x80 | (c >> 6 & 63)), add(0x80 | (c & 63));
        }
    }
    return bytes;
}

std::u16string utf16(std::u32string_view text) {
    std::u16string units;
    for (const char32_t c : text) {
        if (c < 0x10000) {
            units += static_cast<char16_t>(c);
        } else {
            units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            units += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
    return units;
}

std::string encoded(std::u32string_view text, std::string_view encoding) {
    if (encoding == "UTF-8") return utf8(text);
    if (encoding == "UTF-16LE") return bytesOf(utf16(text));
    return bytesOf(text);
}

constexpr const char* kUnicode[] = {"UTF-8", "UTF-16LE", "wchar_t", "UTF-32LE"};

/// Sets the character-type locale while it lives.
class Locale {
  public:
    explicit Locale(const char* name) : before_(std::setlocale(LC_CTYPE, nullptr)) {
        if (!std::setlocale(LC_CTYPE, name)) ADD_FAILURE() << "no locale " << name;
    }
    ~Locale() { std::setlocale(LC_CTYPE, before_.c_str()); }
    Locale(const Locale&) = delete;
    Locale& operator=(const Locale&) = delete;

  private:
    std::string before_;
};

}  // namespace

TEST(IConvOpen, RefusesNumbersThatAreNoSetup) {
    for (const int number : {0, 13, -1, 1000}) {
        EXPECT_THROW(IConv(static_cast<IConv::StockCvtSetup>(number)), IConvOpenError) << number;
    }
}

TEST(IConvOpen, RefusesUnknownEncodings) {
    EXPECT_THROW(IConv("UTF-8", "no such encoding"), IConvOpenError);
    EXPECT_THROW(IConv("no such encoding", "UTF-8"), IConvOpenError);
    EXPECT_THROW(IConv(std::string(100000, 'x').c_str(), "UTF-8"), IConvOpenError);
    EXPECT_THROW(IConv(nullptr, "UTF-8"), IConvOpenError);
    EXPECT_THROW(IConv("UTF-8", nullptr), IConvOpenError);
}

TEST(IConvOpen, AsksTheSystemForNothingWithoutBothNames) {
    asked = {};
    EXPECT_THROW(IConv(nullptr, "UTF-8"), IConvOpenError);
    EXPECT_THROW(IConv("UTF-8", nullptr), IConvOpenError);
    EXPECT_EQ(asked.opened, 0);
}

TEST(IConvOpen, AsksForWhatIsInvalidToBeDroppedByTheNameAndByTheControl) {
    asked = {};
    const IConv converter(IConv::WideToUTF8);
    EXPECT_EQ(asked.to, "UTF-8//IGNORE");
    EXPECT_EQ(asked.from, "wchar_t");
    EXPECT_EQ(asked.request, ICONV_SET_DISCARD_ILSEQ);
    EXPECT_EQ(asked.value, 1);
}

TEST(IConvOpen, ClosesWhatItOpenedWhenItEnds) {
    asked = {};
    { const IConv converter("UTF-8", "UTF-16LE"); }
    EXPECT_EQ(asked.closed, 1);
}

TEST(IConvOpen, KnowsNamesInAnyCase) {
    EXPECT_EQ(convert("utf-16le", "Utf-8", "a").text, "a\0"s);
    EXPECT_EQ(convert("WCHAR_T", "CHAR", "a").text, "a\0\0\0"s);
    EXPECT_EQ(convert("utf-8", "UTF-8-MAC", "e\xCC\x81").text, "\xC3\xA9");
}

TEST(IConvErrors, AreRuntimeErrorsWithoutAText) {
    static_assert(std::is_base_of_v<std::runtime_error, IConvError>);
    static_assert(std::is_base_of_v<IConvError, IConvOpenError>);
    static_assert(std::is_base_of_v<IConvError, IConvConversionError>);
    try {
        IConv(static_cast<IConv::StockCvtSetup>(0));
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "");
    }
    EXPECT_THROW(convert("UTF-8", "UTF-8", "\xC3").failed ? throw IConvConversionError() : 0, IConvError);
}

TEST(IConvStock, ConvertsAsTheTableSays) {
    const Locale locale("C.UTF-8");
    const struct {
        IConv::StockCvtSetup setup;
        const char* to;
        const char* from;
    } rows[] = {
        {IConv::WideToChar, "UTF-8", "wchar_t"},        {IConv::CharToWide, "wchar_t", "UTF-8"},
        {IConv::WideToUTF8, "UTF-8", "wchar_t"},        {IConv::UTF8ToWide, "wchar_t", "UTF-8"},
        {IConv::WideToUTF8Again, "UTF-8", "wchar_t"},   {IConv::UTF8ToWideAgain, "wchar_t", "UTF-8"},
        {IConv::WideToUTF16LE, "UTF-16LE", "wchar_t"},  {IConv::UTF16LEToWide, "wchar_t", "UTF-16LE"},
        {IConv::UTF8MacToUTF16LE, "UTF-16LE", "UTF-8"}, {IConv::UTF16LEToWideAgain, "wchar_t", "UTF-16LE"},
        {IConv::CharToUTF16LE, "UTF-16LE", "UTF-8"},    {IConv::UTF16LEToChar, "UTF-8", "UTF-16LE"},
    };
    int number = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(row.setup, ++number);
        IConv converter(row.setup);
        EXPECT_EQ(convert(converter, encoded(longText(), row.from)), (Outcome{encoded(longText(), row.to)})) << number;
    }
    EXPECT_EQ(number, 12);
}

TEST(IConvStock, TakesCharFromTheLocaleOfTheMoment) {
    const Locale locale("C");
    IConv narrow(IConv::WideToChar);
    EXPECT_EQ(convert(narrow, bytesOf(L"a\u00E9b"s)), (Outcome{"ab"}));
    IConv wide(IConv::CharToWide);
    EXPECT_EQ(convert(wide, "a\xC3\xA9z"), (Outcome{bytesOf(L"az"s)}));
}

TEST(IConvLocaleDeathTest, IsTakenFromTheEnvironmentWhenTheLibraryIsLoaded) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // starts the program, and so loads the library, anew
    const auto encodingIs = [](const char* name) { std::_Exit(nl_langinfo(CODESET) == std::string(name) ? 0 : 1); };
    const char* const found = std::getenv("LC_ALL");
    const std::string before = found ? found : "";
    setenv("LC_ALL", "C.UTF-8", 1);
    EXPECT_EXIT(encodingIs("UTF-8"), testing::ExitedWithCode(0), "");
    setenv("LC_ALL", "C", 1);
    EXPECT_EXIT(encodingIs("ANSI_X3.4-1968"), testing::ExitedWithCode(0), "");
    found ? setenv("LC_ALL", before.c_str(), 1) : unsetenv("LC_ALL");
}

TEST(IConv, MakesNothingOfNothing) {
    for (const char* const from : kUnicode) EXPECT_EQ(convert("UTF-8", from, ""), (Outcome{})) << from;
    EXPECT_EQ(convert("UTF-8", "EUC-JP", ""), (Outcome{}));
    EXPECT_EQ(convert("UTF-16LE", "utf8-mac", ""), (Outcome{}));
    std::wstring wide;
    IConv{IConv::UTF8ToWide}(std::string(), wide);
    EXPECT_EQ(wide, L"");
}

TEST(IConv, ConvertsBetweenTheEncodingsOfUnicodeInChunksOfAnySize) {
    for (const char* const from : kUnicode) {
        for (const char* const to : kUnicode) {
            const std::string text = encoded(longText(), from);
            const std::string expected = encoded(longText(), to);
            IConv converter(to, from);
            for (const std::size_t chunk :
                 std::initializer_list<std::size_t>{1, 2, 3, 5, 63, 64, 65, 127, 128, 1000, 1024, 100000}) {
                const Outcome outcome = convert(converter, text, chunk);
                EXPECT_TRUE(outcome == Outcome{expected}) << from << " to " << to << " in chunks of " << chunk;
            }
        }
    }
}

TEST(IConv, ConvertsThroughTheSystemsTablesInChunksOfAnySize) {
    std::u32string text;
    for (int i = 0; i < 300; ++i) text += U"\u65E5\u672C\u8A9E and \u304B\u306A ";
    for (const char* const encoding : {"EUC-JP", "SHIFT_JIS", "ISO-2022-JP", "GB18030", "EUC-KR", "BIG5-HKSCS",
                                       "UTF-16", "UTF-32", "UTF-7", "UTF-16BE", "EUC-JISX0213"}) {
        if (encoding == "EUC-KR"sv) continue;  // has not all of these
        const Outcome there = convert(encoding, "wchar_t", bytesOf(text));
        ASSERT_FALSE(there.failed) << encoding;
        for (const std::size_t chunk : std::initializer_list<std::size_t>{1, 2, 3, 63, 64, 65, 1000, 100000}) {
            EXPECT_TRUE(convert(encoding, "wchar_t", bytesOf(text), chunk) == there) << encoding << ' ' << chunk;
            EXPECT_TRUE(convert("wchar_t", encoding, there.text, chunk) == Outcome{bytesOf(text)})
                << encoding << ' ' << chunk;
        }
    }
}

TEST(IConv, KeepsTheLastCharactersOfEncodingsThatJoinThem) {
    EXPECT_EQ(convert("UTF-8", "CP1258", "ba"), (Outcome{"ba"}));
    EXPECT_EQ(convert("UTF-8", "CP1258", "a\xEC"), (Outcome{"\xC3\xA1"}));
    EXPECT_EQ(convert("UTF-8", "CP1258", "a\xEC", 1), (Outcome{"\xC3\xA1"}));
    EXPECT_EQ(convert("EUC-JISX0213", "UTF-8", "\xE3\x81\x8B"), (Outcome{"\xA4\xAB"}));
}

TEST(IConv, DropsAnInvalidByteAtEveryPlace) {
    SKIP_UNDER_THREAD_SANITIZER();
    const std::string text = utf8(longText());
    for (const char* const to : {"wchar_t", "UTF-16LE", "UTF-8", "UTF-16BE", "GB18030"}) {
        IConv converter(to, "UTF-8");
        const Outcome expected = convert(converter, text);
        for (std::size_t place = 0; place <= 1200; ++place) {
            if (place < text.size() && (text[place] & 0xC0) == 0x80) continue;  // inside a character
            std::string broken = text;
            broken.insert(place, 1, '\xFF');
            ASSERT_TRUE(convert(converter, broken) == expected) << to << " at " << place;
        }
    }
}

TEST(IConv, DropsWhatIsNotACharacterInUTF8) {
    for (const std::string_view bad : {"\x80"sv,
                                       "\xBF"sv,
                                       "\xC0\x80"sv,
                                       "\xC1\xBF"sv,
                                       "\xC3"sv,
                                       "\xE0\x80\x80"sv,
                                       "\xE0\x9F\xBF"sv,
                                       "\xE2\x82"sv,
                                       "\xE2"sv,
                                       "\xED\xA0\x80"sv,
                                       "\xED\xBF\xBF"sv,
                                       "\xF0\x80\x80\x80"sv,
                                       "\xF0\x8F\xBF\xBF"sv,
                                       "\xF0\x9F\x98"sv,
                                       "\xF0\x9F"sv,
                                       "\xF4\x90\x80\x80"sv,
                                       "\xF5\x80\x80\x80"sv,
                                       "\xF8\x88\x80\x80\x80"sv,
                                       "\xFE"sv,
                                       "\xFF"sv}) {
        for (const std::size_t chunk : std::initializer_list<std::size_t>{1, 2, 100}) {
            const std::string text = "<" + std::string(bad) + ">";
            EXPECT_EQ(convert("UTF-8", "UTF-8", text, chunk), (Outcome{"<>"})) << testing::PrintToString(text);
            EXPECT_EQ(convert("UTF-16BE", "UTF-8", text, chunk), (Outcome{"\0<\0>"s})) << testing::PrintToString(text);
        }
    }
}

TEST(IConv, KeepsTheCharacterAfterATruncatedOneAtTheVeryEnd) {
    EXPECT_EQ(convert("UTF-8", "UTF-8", "a\xE2("), (Outcome{"a("}));
    EXPECT_EQ(convert("UTF-8", "UTF-8", "a\xF0\x9F("), (Outcome{"a("}));
}

TEST(IConv, DropsSurrogatesWithoutAPartner) {
    const std::u16string text = u"a\xD800z\xDC00\xD83D\xDE00\xDC00\xD83D\xD83D\xDE00!"s;
    for (const std::size_t chunk : std::initializer_list<std::size_t>{1, 2, 3, 4, 1000}) {
        EXPECT_EQ(convert("UTF-8", "UTF-16LE", bytesOf(text), chunk), (Outcome{"az\xF0\x9F\x98\x80\xF0\x9F\x98\x80!"}));
    }
}

TEST(IConv, DropsWideValuesThatAreNoCharacters) {
    const std::u32string text = {U'a', 0xD800, 0xDFFF, U'b', 0x110000, 0x7FFFFFFF, 0xFFFFFFFF, 0x10FFFF, U'c'};
    for (const char* const from : {"wchar_t", "UTF-32LE", "UCS-4LE"}) {
        EXPECT_EQ(convert("UTF-8", from, bytesOf(text)), (Outcome{"ab\xF4\x8F\xBF\xBF"
                                                                  "c"}))
            << from;
    }
    EXPECT_EQ(convert("ISO-8859-1", "wchar_t", bytesOf(text)), (Outcome{"abc"}));
}

TEST(IConv, DropsThousandsOfInvalidBytesInARow) {
    for (const std::size_t count : std::initializer_list<std::size_t>{63, 64, 65, 1023, 1024, 1025, 10000, 100000}) {
        const std::string bad(count, '\xFF');
        for (const char* const to : {"UTF-16LE", "ISO-8859-1"}) {
            const std::string ab = to == "UTF-16LE"sv ? "a\0b\0"s : "ab"s;
            EXPECT_EQ(convert(to, "UTF-8", "a" + bad + "b"), (Outcome{ab})) << count;
            EXPECT_EQ(convert(to, "UTF-8", "a" + bad + "b", 65), (Outcome{ab})) << count;
        }
        EXPECT_EQ(convert("UTF-8", "EUC-JP", "a" + bad + "b"), (Outcome{"ab"})) << count;
    }
}

TEST(IConv, DropsWhatTheTargetLacksAtEveryPlace) {
    for (const char* const to : {"ISO-8859-1", "ASCII", "EUC-KR"}) {
        IConv converter(to, "UTF-8");
        for (std::size_t place = 0; place < 1200; ++place) {
            const std::string before(place, 'x');
            const std::string after(300, 'y');
            ASSERT_TRUE(convert(converter, before + "\xF0\x9F\x98\x80\xE0\xA4\x85" + after) == Outcome{before + after})
                << to << " at " << place;
        }
    }
}

TEST(IConv, DropsTheLeadByteOnlyOfABadPairInATableEncoding) {
    EXPECT_EQ(convert("UTF-8", "EUC-JP", "a\xA4<b"), (Outcome{"a<b"}));
    EXPECT_EQ(convert("UTF-8", "EUC-JP", "a\xFF\xA4\xAB"), (Outcome{"a\xE3\x81\x8B"}));
}

TEST(IConv, FailsOnAnIncompleteTailAfterAllBeforeItReachedTheSink) {
    const struct {
        const char* encoding;
        std::string_view tail;
    } rows[] = {
        {"UTF-8", "\xC3"}, {"UTF-8", "\xE2\x82"},    {"UTF-8", "\xF0\x9F\x98"},
        {"UTF-16LE", "a"}, {"UTF-16LE", "\x3D\xD8"}, {"UTF-16LE", "\x3D\xD8\x00"sv},
        {"wchar_t", "a"},  {"wchar_t", "a\0\0"sv},   {"UTF-32LE", "\0\0\0"sv},
    };
    for (const auto& row : rows) {
        for (std::size_t length = 0; length < 700; length += length < 80 ? 1 : 37) {
            const std::u32string_view text = std::u32string_view(longText()).substr(0, length);
            const std::string input = encoded(text, row.encoding) + std::string(row.tail);
            for (const char* const to : {"UTF-8", "UTF-16BE"}) {
                const Outcome whole = convert(to, row.encoding, encoded(text, row.encoding));
                ASSERT_FALSE(whole.failed);
                for (const std::size_t chunk : std::initializer_list<std::size_t>{1, 64, 100000}) {
                    const Outcome outcome = convert(to, row.encoding, input, chunk);
                    ASSERT_TRUE(outcome.failed) << row.encoding;
                    ASSERT_TRUE(outcome.text == whole.text) << row.encoding << ' ' << length;
                }
            }
        }
    }
    EXPECT_EQ(convert("UTF-8", "EUC-JP", "abc\xA4"), (Outcome{"abc", true}));
}

TEST(IConv, StartsAfreshAfterAFailure) {
    IConv converter("UTF-8", "ISO-2022-JP");
    EXPECT_EQ(convert(converter, "a\x1B$B$+$"), (Outcome{"a\xE3\x81\x8B", true}));
    EXPECT_EQ(convert(converter, "$+"), (Outcome{"$+"}));
    IConv composing("UTF-8", "utf8-mac");
    EXPECT_EQ(convert(composing, "ae\xCC"), (Outcome{"ae", true}));
    EXPECT_EQ(convert(composing, "\xCC\x81"), (Outcome{"\xCC\x81"}));
}

TEST(IConv, StartsInTheInitialStateOfTheTarget) {
    IConv converter("UTF-16", "UTF-8");
    const Outcome first = convert(converter, "a");
    EXPECT_EQ(first.text,
              "\xFF\xFE"
              "a\0"s)
        << "the mark of the byte order comes first";
    EXPECT_EQ(convert(converter, "a"), first);
}

TEST(IConv, OffersLongChunksWhereTheyStandAndShortOnesCollected) {
    const std::string text(1000, 'a');
    IConv converter("UTF-8", "UTF-8");
    for (const std::size_t size : {64u, 65u, 1000u}) {
        asked = {};
        converter(IConv::MemSource(text.data(), size), PieceSink());
        EXPECT_EQ(asked.firstOffer, std::make_pair(static_cast<const void*>(text.data()), size));
    }
    asked = {};
    converter(ChunkSource(text, 63), PieceSink());
    ASSERT_TRUE(asked.firstOffer);
    EXPECT_EQ(asked.firstOffer->second, 64u);
}

TEST(IConv, FailsWhenTheSystemTakesNothingOfWhatIsOffered) {
    IConv converter("UTF-8", "UTF-8");
    for (const std::size_t size : {1u, 63u, 64u, 1000u}) {
        asked = {};
        asked.refusals = 3;
        EXPECT_EQ(convert(converter, std::string(size, 'a')), (Outcome{"", true})) << size;
        asked = {};
    }
}

TEST(IConvMac, ComposesNamesAtAnySplit) {
    const std::string decomposed =
        "re\xCC\x81sume\xCC\x81 A\xCC\x8A \xE1\x84\x92\xE1\x85\xA1\xE1\x86\xAB "
        "o\xCC\x82\xCC\xA3 \xE2\x82\xAC \xF0\x9F\x98\x80 o\xCC\x88";
    const std::string composed =
        "r\xC3\xA9sum\xC3\xA9 \xC3\x85 \xED\x95\x9C \xE1\xBB\x99 \xE2\x82\xAC \xF0\x9F\x98\x80 "
        "\xC3\xB6";
    for (const std::size_t chunk : std::initializer_list<std::size_t>{1, 2, 3, 4, 5, 7, 63, 64, 65, 1000}) {
        EXPECT_EQ(convert("UTF-8", "utf8-mac", decomposed, chunk), (Outcome{composed})) << chunk;
        EXPECT_EQ(convert("utf8-mac", "UTF-8", composed, chunk).text.size(), decomposed.size()) << chunk;
    }
    for (std::size_t before = 0; before < 1100; ++before) {
        const std::string padding(before, 'x');
        ASSERT_TRUE(convert("UTF-8", "utf8-mac", padding + decomposed) == Outcome{padding + composed}) << before;
    }
}

TEST(IConvMac, LeavesAloneWhatFileNamesLeaveAlone) {
    const auto name = [](std::u32string_view text) { return utf8(text); };
    // The angstrom and ohm signs, "not equal", compatibility ideographs: U+2000-2FFF, U+F900-FAFF, U+2F800-2FAFF.
    for (const char32_t c : {0x2000, 0x2126, 0x212B, 0x2260, 0x2ADC, 0xF900, 0xFA0E, 0xFA1E, 0x2F800, 0x2FA1D}) {
        const std::string kept = name({&c, 1});
        EXPECT_EQ(convert("utf8-mac", "UTF-8", kept), (Outcome{kept})) << std::hex << static_cast<unsigned>(c);
        EXPECT_EQ(convert("UTF-8", "utf8-mac", kept), (Outcome{kept})) << std::hex << static_cast<unsigned>(c);
    }
    for (const std::u32string_view around : {U"\u1FFF", U"\u3000", U"\u304C", U"\U0002F7FF"}) {
        EXPECT_EQ(convert("UTF-8", "utf8-mac", convert("utf8-mac", "UTF-8", name(around)).text).text, name(around));
    }
    EXPECT_EQ(convert("utf8-mac", "UTF-8", name(U"\u304C\uFB1D")), (Outcome{name(U"\u304B\u3099\u05D9\u05B4")}));
    // A base that is left alone takes no mark, and no mark makes a character that would be left alone.
    for (const std::u32string_view apart :
         {U"\u2283\u0338", U"=\u0338", U"<\u0338", U">\u0338", U"=\u0338\u0301x", U"=\u0338\u0338"}) {
        EXPECT_EQ(convert("UTF-8", "utf8-mac", name(apart)), (Outcome{name(apart)}));
        EXPECT_EQ(convert("utf8-mac", "UTF-8", name(apart)), (Outcome{name(apart)}));
    }
}

TEST(IConvMac, NamesTheSameFileAfterComposing) {
    SKIP_UNDER_THREAD_SANITIZER();
    // Every character by itself and with marks: the composed name decomposes into the name that it was.
    std::u32string text;
    for (char32_t c = 1; c < 0x30000; ++c) {
        if (c >= 0xD800 && c < 0xE000) continue;
        text += {c, U'/'};
        if (c % 3 == 0) text += {c, U'\u0301', U'/', c, U'\u0338', U'\u0327', U'/', c, U'\u3099', U'/'};
    }
    const std::string decomposed = convert("utf8-mac", "UTF-8", utf8(text)).text;
    EXPECT_EQ(convert("utf8-mac", "UTF-8", decomposed).text == decomposed, true);
    const std::string composed = convert("UTF-8", "utf8-mac", decomposed).text;
    EXPECT_TRUE(convert("utf8-mac", "UTF-8", composed).text == decomposed);
}

TEST(IConvMac, ComposesAcrossWhatIsDropped) {
    EXPECT_EQ(convert("UTF-8", "utf8-mac", "e\xFF\xCC\x81"), (Outcome{"\xC3\xA9"}));
    EXPECT_EQ(convert("ISO-8859-1", "utf8-mac", "e\xCC\x81\xE2\x82\xAC"), (Outcome{"\xE9"}));
}

TEST(IConvMac, PassesAnyNumberOfMarks) {
    std::string marks = "a";
    for (int i = 0; i < 5000; ++i) marks += "\xCC\xA3\xCC\x81";
    const Outcome outcome = convert("UTF-8", "utf8-mac", marks);
    EXPECT_FALSE(outcome.failed);
    EXPECT_GE(outcome.text.size(), marks.size() - 3);
    EXPECT_TRUE(convert("UTF-8", "utf8-mac", marks, 3) == outcome);
}

TEST(IConvPieces, AreAtMost1024BytesAndOfWholeCharacters) {
    PieceSink sink;
    const std::string text = utf8(longText());
    IConv("UTF-8", "UTF-8")(IConv::MemSource(text.data(), text.size()), sink);
    EXPECT_GT(sink.pieces.size(), 1U);
    for (const std::string& piece : sink.pieces) {
        EXPECT_LE(piece.size(), 1024U);
        EXPECT_TRUE(piece.empty() || (piece[0] & 0xC0) != 0x80);
    }
}

TEST(IConvPieces, MayBeEmpty) {
    PieceSink sink;
    IConv("UTF-8", "UTF-8")(IConv::MemSource("a", 1UL), sink);
    EXPECT_EQ(sink.pieces, (std::vector<std::string>{"a", ""}));
}

TEST(IConvSink, MayThrowAndEndTheConversion) {
    class Throwing : public IConvSink {
        void operator()(unsigned char*, unsigned long) const override { throw 7; }
    };
    IConv converter("UTF-8", "UTF-8");
    EXPECT_THROW(converter(IConv::MemSource("abc", 3UL), Throwing()), int);
    EXPECT_EQ(convert(converter, "xyz"), (Outcome{"xyz"}));
}

TEST(IConvSource, IsAskedUntilItAnswersEmpty) {
    PieceSink sink;
    const ChunkSource source("abcdef", 2);
    IConv("UTF-8", "UTF-8")(source, sink);
    EXPECT_EQ(sink.all(), "abcdef");
    EXPECT_GE(source.timesAskedInVain(), 1);
}

TEST(IConvSource, IsAtItsEndWhenItGivesNoDataWhateverTheLength) {
    struct Careless : IConvSource {
        unsigned long operator()(const unsigned char*& data, unsigned long& length) const override {
            data = nullptr;
            length = 5;
            return 0;
        }
    };
    PieceSink sink;
    IConv("UTF-8", "UTF-8")(Careless(), sink);
    EXPECT_EQ(sink.all(), "");
}

TEST(IConvSource, OfMemoryGivesItsRangeOnce) {
    const char text[] = "abc";
    for (const IConv::MemSource& source : {IConv::MemSource(text, 3UL), IConv::MemSource(text, text + 3)}) {
        const unsigned char* data = nullptr;
        unsigned long length = 0;
        EXPECT_EQ(source(data, length), 3U);
        EXPECT_EQ(length, 3U);
        EXPECT_EQ(static_cast<const void*>(data), text);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(source(data, length), 0U);
            EXPECT_EQ(length, 0U);
            EXPECT_EQ(data, nullptr);
        }
    }
}

TEST(IConvSource, OfContainersGivesTheirElementsAsBytes) {
    const std::wstring wide = L"ab";
    const unsigned char* data = nullptr;
    unsigned long length = 0;
    const IConvCppContainerSource<std::wstring> all(wide);
    EXPECT_EQ(all(data, length), 8U);
    EXPECT_EQ(static_cast<const void*>(data), wide.data());
    EXPECT_EQ(all(data, length), 0U);

    const Bytes bytes = {1, 2, 3, 4};
    const IConvCppRangeSource<Bytes::const_iterator, Bytes> middle(bytes.begin() + 1, bytes.end() - 1);
    EXPECT_EQ(middle(data, length), 2U);
    EXPECT_EQ(*data, 2);
    EXPECT_EQ(middle(data, length), 0U);
    EXPECT_EQ(data, nullptr);

    const std::string empty;
    EXPECT_EQ(IConvCppContainerSource<std::string>(empty)(data, length), 0U);
    EXPECT_EQ(data, nullptr);
}

TEST(IConvSink, OfAWideStringDropsARemainder) {
    std::wstring wide = L"x";
    const std::wstring text = L"ab";
    Bytes bytes(10);
    std::memcpy(bytes.data() + 1, text.data(), 8);  // not aligned
    IConvCppContainerSink<std::wstring> sink(wide);
    sink(bytes.data() + 1, 9);
    EXPECT_EQ(wide, L"xab");
    sink(bytes.data(), 3);
    EXPECT_EQ(wide, L"xab");
}

TEST(IConvContainers, AreAppendedTo) {
    const std::wstring wide = L"z\u00E9";
    const std::string narrow = "z\xC3\xA9";
    const Bytes bytes(narrow.begin(), narrow.end());

    Bytes toBytes = {1};
    IConv{IConv::WideToUTF8}(wide, toBytes);
    EXPECT_EQ(toBytes, (Bytes{1, 'z', 0xC3, 0xA9}));
    std::string toString = "<";
    IConv{IConv::WideToUTF8}(wide, toString);
    EXPECT_EQ(toString, "<z\xC3\xA9");

    toBytes = {1};
    IConv("ISO-8859-1", "UTF-8")(narrow, toBytes);
    EXPECT_EQ(toBytes, (Bytes{1, 'z', 0xE9}));
    std::wstring toWide = L"<";
    IConv{IConv::UTF8ToWide}(narrow, toWide);
    EXPECT_EQ(toWide, L"<z\u00E9");

    toString = "<";
    IConv("ISO-8859-1", "UTF-8")(bytes, toString);
    EXPECT_EQ(toString, "<z\xE9");
    toWide = L"<";
    IConv{IConv::UTF8ToWide}(bytes, toWide);
    EXPECT_EQ(toWide, L"<z\u00E9");
}

TEST(IConvStrings, OfThePlatformAreAppendedTo) {
    const std::string narrow = "z\xC3\xA9\xF0\x9F\x98\x80";
    const OwnedString string = newString();
    CFStringAppend(string.get(), CFSTR("<"));
    IConv("UTF-16LE", "UTF-8")(narrow, string.get());
    IConv("UTF-16LE", "UTF-8")(Bytes{'b'}, string.get());
    IConv{IConv::WideToUTF16LE}(std::wstring(L"\u20AC"), string.get());
    EXPECT_EQ(unitsOf(string.get()), u"<z\u00E9\U0001F600b\u20AC");
}

TEST(IConvStrings, OfThePlatformAreRead) {
    const OwnedString string = newString();
    const std::u16string units = u"z\u00E9\U0001F600";
    CFStringAppendCharacters(string.get(), reinterpret_cast<const UniChar*>(units.data()),
                             static_cast<CFIndex>(units.size()));
    const CFStringRef constant = string.get();
    std::string narrow = "<";
    IConv("UTF-8", "UTF-16LE")(constant, narrow);
    EXPECT_EQ(narrow, "<z\xC3\xA9\xF0\x9F\x98\x80");
    std::wstring wide = L"<";
    IConv{IConv::UTF16LEToWide}(constant, wide);
    EXPECT_EQ(wide, L"<z\u00E9\U0001F600");
    Bytes bytes = {1};
    IConv("ISO-8859-1", "UTF-16LE")(constant, bytes);
    EXPECT_EQ(bytes, (Bytes{1, 'z', 0xE9}));
}

TEST(IConvStrings, ThatDoNotExposeTheirUnitsAreReadIn128s) {
    std::string text;
    for (int i = 0; i < 300; ++i) text += static_cast<char>('a' + i % 26);
    const OwnedString string = newString();
    CFStringAppendCString(string.get(), text.c_str(), kCFStringEncodingUTF8);
    ASSERT_EQ(CFStringGetCharactersPtr(string.get()), nullptr);

    const IConv::CFStringSource source(string.get());
    std::vector<unsigned long> lengths;
    const unsigned char* data = nullptr;
    for (unsigned long length = 1; length != 0;) lengths.push_back(source(data, length));
    EXPECT_EQ(lengths, (std::vector<unsigned long>{256, 256, 88, 0}));
    EXPECT_EQ(data, nullptr);

    std::string narrow;
    IConv{IConv::UTF16LEToChar}(static_cast<CFStringRef>(string.get()), narrow);
    EXPECT_EQ(narrow, text);
}

TEST(IConvStrings, ThatExposeTheirUnitsAreReadAtOnce) {
    const OwnedString string = newString();
    const std::u16string units(300, u'\u20AC');
    CFStringAppendCharacters(string.get(), reinterpret_cast<const UniChar*>(units.data()), 300);
    const IConv::CFStringSource source(string.get());
    const unsigned char* data = nullptr;
    unsigned long length = 0;
    EXPECT_EQ(source(data, length), 600U);
    EXPECT_EQ(static_cast<const void*>(data), CFStringGetCharactersPtr(string.get()));
    EXPECT_EQ(source(data, length), 0U);
}

TEST(IConvStrings, WithPairsSplitBetweenPiecesOf128AreConvertedWhole) {
    std::u32string text = U"x";
    for (int i = 0; i < 400; ++i) text += U'\U0001F600';
    EXPECT_TRUE(convert("UTF-8", "UTF-16LE", bytesOf(utf16(text)), 256) == Outcome{utf8(text)});
}

TEST(IConvData, IsReadAndAppendedTo) {
    const OwnedData data = newData();
    const UInt8 first = 1;
    CFDataAppendBytes(data.get(), &first, 1);
    const std::wstring wide = L"z\u00E9";
    IConv{IConv::WideToUTF8}(IConvCppContainerSource(wide), IConv::CFDataSink(data.get()));
    ASSERT_EQ(CFDataGetLength(data.get()), 4);
    EXPECT_EQ(std::memcmp(CFDataGetBytePtr(data.get()), "\x01z\xC3\xA9", 4), 0);

    PieceSink sink;
    IConv("ISO-8859-1", "UTF-8")(IConv::CFDataSource(data.get()), sink);
    EXPECT_EQ(sink.all(), "\x01z\xE9");

    const OwnedData empty = newData();
    PieceSink nothing;
    IConv("ISO-8859-1", "UTF-8")(IConv::CFDataSource(empty.get()), nothing);
    EXPECT_EQ(nothing.all(), "");
}

TEST(IConvThreads, UseSeparateConvertersAtOnce) {
    constexpr const char* kTargets[] = {"UTF-16LE", "wchar_t", "GB18030", "ISO-2022-JP"};
    // One of each stays open, so that the C library keeps the tables: how its loader unloads them is not looked into.
    std::vector<std::unique_ptr<IConv>> open;
    for (const char* const to : kTargets) open.push_back(std::make_unique<IConv>(to, "UTF-8"));
    std::vector<std::thread> threads;
    for (const char* const to : kTargets) {
        threads.emplace_back([to] {
            const Outcome expected = convert(to, "UTF-8", utf8(longText()));
            for (int i = 0; i < 20; ++i) EXPECT_TRUE(convert(to, "UTF-8", utf8(longText()), 65) == expected);
        });
    }
    for (std::thread& thread : threads) thread.join();
}
