#include "Platform/CoreFoundation/Held.h"

#include <CoreFoundation/CoreFoundation.h>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

/// The kernel's generator, which is not ready in a process that has this in its environment. Asked before any object
/// of this program is made.
extern "C" __attribute__((visibility("default"))) ssize_t getrandom(void* buffer, size_t size, unsigned int flags) {
    if (std::getenv("KX_TEST_WITHOUT_RANDOM")) {
        errno = EAGAIN;
        return -1;
    }
    return reinterpret_cast<decltype(&getrandom)>(dlsym(RTLD_NEXT, "getrandom"))(buffer, size, flags);
}

namespace {

using Held::hold;

const char* const kSample = "a text whose hash other processes do not know";

CFHashCode hashOfSample() { return CFHash(hold(CFStringCreateWithCString(nullptr, kSample, kCFStringEncodingASCII))); }

/// Taken before the initialisers of ordinary static objects have run.
struct Early {
    Early() : hash(hashOfSample()) {}
    CFHashCode hash;
};
[[gnu::init_priority(200)]] const Early early;

/// What somebody who writes keys would have to know: the numbers that the hash begins and multiplies with.
std::u16string craftedFor(std::uint64_t start, std::uint64_t factor, unsigned i) {
    const auto mixed = [factor](std::uint64_t word) {
        __extension__ using Wide = unsigned __int128;
        const Wide product = static_cast<Wide>(word) * factor;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    };
    const std::uint64_t first = 0x4E004E004E004E00u ^ std::uint64_t{i} << 40 ^ i;
    // The second word takes back whatever the first one made of the state.
    const std::array<std::uint64_t, 2> words{first, mixed(start ^ first) ^ 0x1234567812345678u};
    return {reinterpret_cast<const char16_t*>(words.data()), 8};
}

/// What the test that prints it says in a process of its own.
CFHashCode hashOfSampleElsewhere(const std::string& environment = "") {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const std::string command =
        environment + " '" + program + "' --gtest_filter=Hashing.AHashTakenByAStaticObjectStays";
    std::FILE* const output = popen(command.c_str(), "r");
    if (!output) return 0;
    char line[256];
    unsigned long hash = 0;
    while (std::fgets(line, sizeof line, output))
        if (std::sscanf(line, "hash:%lx", &hash) == 1) break;
    while (std::fgets(line, sizeof line, output)) continue;
    pclose(output);
    return hash;
}

}  // namespace

TEST(Hashing, KeysCannotBeMadeToFallTogetherFromOutside) {
    std::set<CFHashCode> hashes;
    for (unsigned i = 0; i < 2000; ++i)
        hashes.insert(CFHash(Held::string(craftedFor(0x9E3779B97F4A7C15u, 0xA24BAED4963EE407u, i))));
    EXPECT_EQ(hashes.size(), 2000u);
}

TEST(Hashing, EveryProcessHasAHashOfItsOwn) {
    const CFHashCode first = hashOfSampleElsewhere();
    const CFHashCode second = hashOfSampleElsewhere();
    ASSERT_NE(first, 0u);
    ASSERT_NE(second, 0u);
    EXPECT_NE(first, second);
    EXPECT_NE(first, hashOfSample());
}

TEST(Hashing, EveryProcessHasAHashOfItsOwnBeforeTheKernelHasRandomBytes) {
    const CFHashCode first = hashOfSampleElsewhere("KX_TEST_WITHOUT_RANDOM=1");
    const CFHashCode second = hashOfSampleElsewhere("KX_TEST_WITHOUT_RANDOM=1");
    ASSERT_NE(first, 0u);
    ASSERT_NE(second, 0u);
    EXPECT_NE(first, second);
}

TEST(Hashing, AHashTakenByAStaticObjectStays) {
    EXPECT_EQ(early.hash, hashOfSample());
    std::printf("hash:%lx\n", hashOfSample());  // for hashOfSampleElsewhere()
}

TEST(Hashing, ATextHashesAlikeInEightAndInSixteenBits) {
    std::string ascii;
    for (int length = 0; length <= 600; ++length) {
        const auto narrow = hold(CFStringCreateWithCString(nullptr, ascii.c_str(), kCFStringEncodingASCII));
        // What once held other text stays in sixteen bits.
        const auto wide = hold(CFStringCreateMutable(nullptr, 0));
        CFStringAppend(wide, CFSTR("\u00FC"));
        CFStringAppend(wide, narrow);
        CFStringDelete(wide, CFRangeMake(0, 1));
        ASSERT_EQ(CFStringGetCStringPtr(wide, kCFStringEncodingASCII), nullptr);
        ASSERT_TRUE(CFEqual(narrow, wide)) << length;
        ASSERT_EQ(CFHash(narrow), CFHash(wide)) << length;
        ascii += static_cast<char>('!' + length % 90);
    }
}

TEST(Hashing, TextsThatDifferInOneCharacterHashApart) {
    std::set<CFHashCode> hashes;
    std::u16string text(40, u'x');
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const char16_t unit : {u'a', u'b', u'\u00E4', u'\u4E00'}) {
            std::u16string other = text;
            other[at] = unit;
            hashes.insert(CFHash(Held::string(other)));
        }
    }
    for (std::size_t length = 0; length < text.size(); ++length)
        hashes.insert(CFHash(Held::string(std::u16string_view(text).substr(0, length))));
    EXPECT_EQ(hashes.size(), 200u);
}

TEST(Hashing, WholeNumbersHashApartAndAlikeInEveryKind) {
    std::set<CFHashCode> hashes;
    for (std::int64_t i = -1000; i < 1000; ++i) {
        const double real = static_cast<double>(i);
        const auto integer = hold(CFNumberCreate(nullptr, kCFNumberSInt64Type, &i));
        ASSERT_EQ(CFHash(integer), CFHash(hold(CFNumberCreate(nullptr, kCFNumberDoubleType, &real))));
        hashes.insert(CFHash(integer));
    }
    EXPECT_EQ(hashes.size(), 2000u);
}
