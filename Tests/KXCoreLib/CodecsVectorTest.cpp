#include "CodecsVector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

// How far the vectors go is seen by nobody but a watch: these tests keep the way through long input from closing.

#if defined(__x86_64__)

namespace KXCore {
namespace {

constexpr std::size_t kLongest = 200;

class CodecsVector : public testing::Test {
  protected:
    void SetUp() override {
        if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "this processor has no AVX2";
    }

    const std::vector<unsigned char> zeros_ = std::vector<unsigned char>(kLongest);
};

TEST_F(CodecsVector, EncodesHexByBlocksOf32Bytes) {
    for (std::size_t length = 0; length <= kLongest; ++length) {
        std::string text(2 * length, '?');
        const std::size_t done = HexEncodeBlocks(zeros_.data(), length, text.data());
        ASSERT_EQ(done, length / 32 * 32);
        ASSERT_EQ(text, std::string(2 * done, '0') + std::string(2 * (length - done), '?'));
    }
}

TEST_F(CodecsVector, DecodesHexByBlocksOf32Digits) {
    const std::vector<unsigned char> text(kLongest, '1');
    for (std::size_t length = 0; length <= kLongest; ++length) {
        std::vector<unsigned char> bytes(length / 2, 0xEE);
        const std::size_t done = HexDecodeBlocks(text.data(), length, bytes.data());
        ASSERT_EQ(done, length / 32 * 32);
        ASSERT_EQ(std::count(bytes.begin(), bytes.end(), 0x11), static_cast<std::ptrdiff_t>(done / 2));
    }
}

// A turn reads 28 bytes for the 24 that it encodes.
TEST_F(CodecsVector, EncodesBase64ByBlocksOf24BytesFrom32On) {
    for (std::size_t length = 0; length <= kLongest; ++length) {
        std::string text((length + 2) / 3 * 4, '?');
        const std::size_t done = Base64EncodeBlocks(zeros_.data(), length, text.data());
        ASSERT_EQ(done, length < 32 ? 0 : (length - 4) / 24 * 24);
        ASSERT_EQ(text, std::string(done / 3 * 4, 'A') + std::string(text.size() - done / 3 * 4, '?'));
    }
}

TEST_F(CodecsVector, DecodesBase64ByBlocksOf32Characters) {
    const std::vector<unsigned char> text(kLongest, '/');
    for (std::size_t length = 0; length <= kLongest; ++length) {
        std::vector<unsigned char> bytes(length / 4 * 3, 0xEE);
        const std::size_t done = Base64DecodeBlocks(text.data(), length, bytes.data());
        ASSERT_EQ(done, length / 32 * 32);
        ASSERT_EQ(std::count(bytes.begin(), bytes.end(), 0xFF), static_cast<std::ptrdiff_t>(done / 4 * 3));
    }
}

TEST_F(CodecsVector, StopsBeforeTheBlockOfAnotherCharacter) {
    for (std::size_t place = 0; place < kLongest; ++place) {
        std::vector<unsigned char> text(kLongest, 'a'), bytes(kLongest);
        text[place] = ' ';
        EXPECT_EQ(HexDecodeBlocks(text.data(), place + 1, bytes.data()), place / 32 * 32);
        EXPECT_EQ(Base64DecodeBlocks(text.data(), place + 1, bytes.data()), place / 32 * 32);
    }
}

}  // namespace
}  // namespace KXCore

#endif
