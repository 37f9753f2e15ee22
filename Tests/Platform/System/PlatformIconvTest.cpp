#include <iconv.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <string_view>

using namespace std::literals;

namespace {

const iconv_t kNoConversion = reinterpret_cast<iconv_t>(-1);
constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

class Conversion {
  public:
    Conversion(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
    ~Conversion() {
        if (handle_ != kNoConversion) iconv_close(handle_);
    }
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    iconv_t get() const { return handle_; }

    /// One call with room for `room` bytes; `input` keeps what was not taken.
    std::string call(std::string_view& input, std::size_t room) {
        std::string out(room, '\0');
        char* in = const_cast<char*>(input.data());
        char* to = out.data();
        std::size_t left = input.size();
        std::size_t free = room;
        errno = 0;
        result = iconv(handle_, &in, &left, &to, &free);
        error = result == kFailed ? errno : 0;
        EXPECT_EQ(to - out.data(), static_cast<ptrdiff_t>(room - free));
        EXPECT_EQ(in - input.data(), static_cast<ptrdiff_t>(input.size() - left));
        input.remove_prefix(input.size() - left);
        out.resize(room - free);
        return out;
    }

    std::string end(std::size_t room) {
        std::string out(room, '\0');
        char* to = out.data();
        errno = 0;
        result = iconv(handle_, nullptr, nullptr, &to, &room);
        error = result == kFailed ? errno : 0;
        out.resize(out.size() - room);
        return out;
    }

    std::size_t result = 0;
    int error = 0;

  private:
    iconv_t handle_;
};

int control(const Conversion& conversion, int request, int value = -7) {
    EXPECT_EQ(iconvctl(conversion.get(), request, &value), 0);
    return value;
}

}  // namespace

TEST(PlatformIconv, RefusesUnknownNames) {
    for (const auto& [to, from] :
         {std::pair("UTF-8", "none such"), std::pair("none such", "UTF-8"), std::pair("none such//IGNORE", "UTF-8"),
          std::pair("UTF-8", "//"), std::pair("//IGNORE", "none such")}) {
        errno = 0;
        if (std::string_view(from) == "//") continue;  // the locale's encoding
        EXPECT_EQ(iconv_open(to, from), kNoConversion) << to;
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(iconv_open(nullptr, "UTF-8"), kNoConversion);
    EXPECT_EQ(iconv_open("UTF-8", nullptr), kNoConversion);
}

TEST(PlatformIconv, RefusesHandlesThatAreNone) {
    for (const iconv_t none : {kNoConversion, iconv_t(nullptr)}) {
        errno = 0;
        EXPECT_EQ(iconv(none, nullptr, nullptr, nullptr, nullptr), kFailed);
        EXPECT_EQ(errno, EBADF);
        EXPECT_EQ(iconv_close(none), -1);
        int value = 0;
        EXPECT_EQ(iconvctl(none, ICONV_TRIVIALP, &value), -1);
    }
}

TEST(PlatformIconv, StopsAtInvalidInputUnlessItMayDrop) {
    for (const char* const to : {"UTF-8", "ISO-8859-1"}) {
        Conversion stopping(to, "UTF-8");
        std::string_view input =
            "ab\xFF"
            "c";
        EXPECT_EQ(stopping.call(input, 100), "ab");
        EXPECT_EQ(stopping.error, EILSEQ);
        EXPECT_EQ(input,
                  "\xFF"
                  "c");

        Conversion dropping((to + "//IGNORE"s).c_str(), "UTF-8");
        input =
            "ab\xFF"
            "c";
        EXPECT_EQ(dropping.call(input, 100), "abc");
        EXPECT_EQ(dropping.result, 1U);
        EXPECT_EQ(input, "");
    }
}

TEST(PlatformIconv, StopsAtWhatTheTargetLacksUnlessItMayDrop) {
    Conversion conversion("ASCII", "UTF-8");
    std::string_view input =
        "ab\xE2\x82\xAC"
        "c";
    EXPECT_EQ(conversion.call(input, 100), "ab");
    EXPECT_EQ(conversion.error, EILSEQ);
    EXPECT_EQ(input,
              "\xE2\x82\xAC"
              "c");

    int on = 1;
    EXPECT_EQ(iconvctl(conversion.get(), ICONV_SET_DISCARD_ILSEQ, &on), 0);
    EXPECT_EQ(conversion.call(input, 100), "c");
    EXPECT_EQ(conversion.result, 1U);
}

TEST(PlatformIconv, StopsAtWhatTheTargetLacksWhateverItReads) {
    Conversion conversion("ASCII", "ISO-8859-15");
    std::string_view input =
        "ab\xA4"
        "c";
    EXPECT_EQ(conversion.call(input, 100), "ab");
    EXPECT_EQ(conversion.error, EILSEQ);
    EXPECT_EQ(input,
              "\xA4"
              "c");
    EXPECT_EQ(conversion.call(input, 100), "");
    EXPECT_EQ(conversion.error, EILSEQ) << "it stays there";

    int on = 1;
    EXPECT_EQ(iconvctl(conversion.get(), ICONV_SET_DISCARD_ILSEQ, &on), 0);
    EXPECT_EQ(conversion.call(input, 100), "c");
    EXPECT_EQ(conversion.result, 1U);
}

TEST(PlatformIconv, GoesOnCharacterByCharacterInOutputsThatHoldNoMore) {
    const std::string text = "a\xA4z";
    for (std::size_t room = 4; room < 8; ++room) {
        Conversion conversion("GB18030", "ISO-8859-15");
        std::string_view input = text;
        std::string out;
        while (!input.empty()) {
            out += conversion.call(input, room);
            ASSERT_TRUE(conversion.error == 0 || conversion.error == E2BIG) << room;
        }
        do {
            out += conversion.end(room);
        } while (conversion.error == E2BIG);
        EXPECT_EQ(out, "a\xA2\xE3z") << room;
    }
}

TEST(PlatformIconv, IsTrivialOnlyBetweenTheSame) {
    const auto isTrivial = [](const char* to, const char* from) {
        const Conversion conversion(to, from);
        int trivial = -1;
        EXPECT_EQ(iconvctl(conversion.get(), ICONV_TRIVIALP, &trivial), 0);
        return trivial == 1;
    };
    EXPECT_TRUE(isTrivial("UTF-8", "UTF8"));
    EXPECT_TRUE(isTrivial("GB18030", "GB18030"));
    EXPECT_FALSE(isTrivial("GB18030", "ISO-8859-15"));
    EXPECT_FALSE(isTrivial("UTF-8-MAC", "UTF-8"));
    EXPECT_FALSE(isTrivial("UTF-16LE", "UTF-8"));
}

TEST(PlatformIconv, TellsAnIncompleteTailFromAFullOutput) {
    for (const char* const to : {"UTF-8", "UTF-16BE", "GB18030"}) {
        Conversion conversion(to, "UTF-8");
        std::string_view input = "a\xE2\x82";
        conversion.call(input, 100);
        EXPECT_EQ(conversion.error, EINVAL) << to;
        EXPECT_EQ(input, "\xE2\x82");
        input = "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa";
        conversion.call(input, 34);
        EXPECT_EQ(conversion.error, E2BIG) << to;
    }
}

TEST(PlatformIconv, LosesNothingInOutputsOfAnySize) {
    const std::string text = "a\xC3\xA9\xE2\x82\xAC\xE6\x97\xA5\xE6\x9C\xAC<\xE3\x81\x8B\xE3\x82\x9A>";
    for (const char* const to :
         {"UTF-8", "UTF-16LE", "wchar_t", "UTF-16", "GB18030", "EUC-JISX0213//IGNORE", "ISO-2022-JP//IGNORE"}) {
        Conversion whole(to, "UTF-8");
        std::string_view input = text;
        std::string expected = whole.call(input, 1000);
        expected += whole.end(100);
        for (std::size_t room = 8; room < 40; ++room) {
            Conversion conversion(to, "UTF-8");
            input = text;
            std::string out;
            while (!input.empty()) {
                out += conversion.call(input, room);
                ASSERT_TRUE(conversion.error == 0 || conversion.error == E2BIG) << to << ' ' << room;
            }
            do {
                out += conversion.end(room);
            } while (conversion.error == E2BIG);
            EXPECT_EQ(testing::PrintToString(out), testing::PrintToString(expected)) << to << ' ' << room;
        }
    }
}

TEST(PlatformIconv, LosesNothingOfCharactersThatBecomeTwo) {
    const std::string text = "a\x88\x62z\x88\xA5";  // the second and the last are a letter and a mark
    for (std::size_t room = 4; room < 20; ++room) {
        Conversion conversion("UTF-8", "BIG5-HKSCS");
        std::string_view input = text;
        std::string out;
        while (!input.empty()) out += conversion.call(input, room);
        do {
            out += conversion.end(room);
        } while (conversion.error == E2BIG);
        EXPECT_EQ(out, "a\xC3\x8A\xCC\x84z\xC3\xAA\xCC\x8C") << room;
    }
}

TEST(PlatformIconv, PassesWholeTextsInOneCall) {
    std::string text, expected;
    for (int i = 0; i < 20000; ++i) {
        text += "e\xCC\x81\xE2\x82\xAC";
        expected += "\xC3\xA9\xE2\x82\xAC";
    }
    Conversion conversion("UTF-8", "utf8-mac");
    std::string_view input = text;
    std::string out = conversion.call(input, text.size());
    EXPECT_EQ(conversion.error, 0);
    out += conversion.end(100);
    EXPECT_TRUE(out == expected);
}

TEST(PlatformIconv, TakesNoInputThatItDoesNotWrite) {
    for (const char* const to : {"UTF-8", "UTF-16LE", "wchar_t", "GB18030", "EUC-JP", "UTF-16BE"}) {
        Conversion conversion(to, "UTF-8");
        for (std::size_t room = 0; room < 3; ++room) {
            std::string_view input = "\xE6\x97\xA5";
            const std::string out = conversion.call(input, room);
            EXPECT_EQ(input.empty(), !out.empty());
            EXPECT_EQ(conversion.error, out.empty() ? E2BIG : 0);
        }
    }
}

TEST(PlatformIconv, ReturnsToTheInitialState) {
    Conversion conversion("ISO-2022-JP", "UTF-8");
    std::string_view input = "\xE3\x81\x8B";
    EXPECT_EQ(conversion.call(input, 100), "\x1B$B$+");
    EXPECT_EQ(conversion.end(100), "\x1B(B");
    EXPECT_EQ(conversion.end(100), "");
    input = "\xE3\x81\x8B";
    conversion.call(input, 100);
    EXPECT_EQ(iconv(conversion.get(), nullptr, nullptr, nullptr, nullptr), 0U);
    input = "a";
    EXPECT_EQ(conversion.call(input, 100), "a");
}

TEST(PlatformIconv, HoldsBackWhatMayStillBeComposed) {
    Conversion conversion("UTF-8", "utf8-mac");
    std::string_view input = "xe";
    EXPECT_EQ(conversion.call(input, 100), "x");
    input = "\xCC\x81";
    EXPECT_EQ(conversion.call(input, 100), "");
    input = "";
    EXPECT_EQ(conversion.call(input, 100), "\xC3\xA9");
    input = "e";
    EXPECT_EQ(conversion.call(input, 100), "");
    EXPECT_EQ(conversion.end(100), "e");
    EXPECT_EQ(conversion.end(100), "");
}

TEST(PlatformIconv, DecomposesForFileNames) {
    Conversion conversion("utf8-mac", "UTF-8");
    std::string_view input = "\xC3\xA9\xED\x95\x9C";
    std::string out = conversion.call(input, 1000);
    out += conversion.end(100);
    EXPECT_EQ(out, "e\xCC\x81\xE1\x84\x92\xE1\x85\xA1\xE1\x86\xAB");
}

TEST(PlatformIconv, Transliterates) {
    Conversion conversion("ASCII//TRANSLIT", "UTF-8");
    std::string_view input = "\xE2\x80\x9Cx\xE2\x80\x9D";
    EXPECT_EQ(conversion.call(input, 100), "\"x\"");

    Conversion later("ASCII//IGNORE", "UTF-8");
    input = "\xE2\x80\x9Cx";
    EXPECT_EQ(later.call(input, 100), "x");
    int on = 1;
    EXPECT_EQ(iconvctl(later.get(), ICONV_SET_TRANSLITERATE, &on), 0);
    input = "\xE2\x80\x9Cx";
    EXPECT_EQ(later.call(input, 100), "\"x");
}

TEST(PlatformIconv, AnswersRequests) {
    const Conversion plain("UTF-8", "UTF-8");
    EXPECT_EQ(control(plain, ICONV_TRIVIALP), 1);
    EXPECT_EQ(control(plain, ICONV_GET_DISCARD_ILSEQ), 0);
    EXPECT_EQ(control(plain, ICONV_GET_TRANSLITERATE), 0);
    control(plain, ICONV_SET_DISCARD_ILSEQ, 1);
    EXPECT_EQ(control(plain, ICONV_GET_DISCARD_ILSEQ), 1);
    control(plain, ICONV_SET_DISCARD_ILSEQ, 0);
    EXPECT_EQ(control(plain, ICONV_GET_DISCARD_ILSEQ), 0);

    const Conversion other("EUC-JP//translit//ignore", "utf8-mac");
    EXPECT_EQ(control(other, ICONV_TRIVIALP), 0);
    EXPECT_EQ(control(other, ICONV_GET_DISCARD_ILSEQ), 1);
    EXPECT_EQ(control(other, ICONV_GET_TRANSLITERATE), 1);

    int value = 0;
    errno = 0;
    EXPECT_EQ(iconvctl(plain.get(), 99, &value), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(iconvctl(plain.get(), ICONV_TRIVIALP, nullptr), -1);
}
