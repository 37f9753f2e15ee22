#include "Support/Base64.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace KXPlatform;

/// The characters of `bytes`, which lie in memory of their own size.
std::string encode(const std::string& bytes) {
    const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
    std::vector<char> text(sizeInBase64(exact.size()));
    EXPECT_EQ(encodeBase64(exact.data(), exact.size(), text.data()), text.data() + text.size());
    return {text.begin(), text.end()};
}

std::string decode(const std::string& text) {
    const std::vector<char> exact(text.begin(), text.end());
    std::vector<unsigned char> bytes(roomForBase64(exact.size()));
    unsigned char* const end = decodeBase64({exact.data(), exact.size()}, bytes.data());
    EXPECT_LE(end, bytes.data() + bytes.size());
    return {bytes.data(), end};
}

}  // namespace

TEST(Base64, WritesTheTestVectors) {
    EXPECT_EQ(encode(""), "");
    EXPECT_EQ(encode("f"), "Zg==");
    EXPECT_EQ(encode("fo"), "Zm8=");
    EXPECT_EQ(encode("foo"), "Zm9v");
    EXPECT_EQ(encode("foob"), "Zm9vYg==");
    EXPECT_EQ(encode("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encode("foobar"), "Zm9vYmFy");
    EXPECT_EQ(encode("\xFB\xFF\xBF"), "+/+/");
}

TEST(Base64, ReadsWhatItWrote) {
    std::string bytes;
    for (unsigned i = 0; i < 300; ++i) {
        EXPECT_EQ(decode(encode(bytes)), bytes) << i;
        bytes += static_cast<char>(i * 37 + i / 7);
    }
}

TEST(Base64, PassesOverWhatIsNotOfTheAlphabet) {
    EXPECT_EQ(decode("\n\tZm9v\n\tYmFy\n"), "foobar");
    EXPECT_EQ(decode("Z m.9\xFFv-Y_mFy"), "foobar");
    EXPECT_EQ(decode("Zm9vYmF"), "foo") << "the last group is not whole";
    EXPECT_EQ(decode("?!"), "");
}

TEST(Base64, ReadsOnBehindPadding) {
    EXPECT_EQ(decode("Zg==Zm8=Zm9v"), "ffofoo");
    EXPECT_EQ(decode("Zg= =Zm9v"), "ffoo");
    EXPECT_EQ(decode("===="), std::string(1, '\0'));
}
