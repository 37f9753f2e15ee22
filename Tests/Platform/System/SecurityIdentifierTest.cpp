#include <membership.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

std::string textOf(const nt_sid_t& sid) {
    char text[MBR_MAX_SID_STRING_SIZE];
    EXPECT_EQ(mbr_sid_to_string(&sid, text), 0);
    return text;
}

}  // namespace

TEST(SecurityIdentifier, TextsAndSIDsGoBothWays) {
    for (const char* text :
         {"S-1-0", "S-1-5-18", "S-1-5-21-4294967295-0-1-500", "S-255-4294967295-7", "S-1-0x000100000000-1",
          "S-1-0xffffffffffff-1", "S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16"}) {
        nt_sid_t sid;
        ASSERT_EQ(mbr_string_to_sid(text, &sid), 0) << text;
        EXPECT_EQ(textOf(sid), text);
    }
}

TEST(SecurityIdentifier, ReadsTheBinaryFields) {
    nt_sid_t sid;
    ASSERT_EQ(mbr_string_to_sid("S-1-5-21-7", &sid), 0);
    EXPECT_EQ(sid.sid_kind, 1);
    EXPECT_EQ(sid.sid_authcount, 2);
    EXPECT_EQ(sid.sid_authority[5], 5);
    EXPECT_EQ(sid.sid_authorities[0], 21u);
    EXPECT_EQ(sid.sid_authorities[1], 7u);
}

TEST(SecurityIdentifier, TheLongestTextFitsItsRoom) {
    nt_sid_t sid;
    std::memset(&sid, 0xFF, sizeof sid);
    sid.sid_authcount = NTSID_MAX_AUTHORITIES;
    const std::string text = textOf(sid);
    EXPECT_LT(text.size(), static_cast<std::size_t>(MBR_MAX_SID_STRING_SIZE));
    EXPECT_EQ(text.substr(0, 34), "S-255-0xffffffffffff-4294967295-42");
}

TEST(SecurityIdentifier, RefusesWhatIsNoSIDAndLeavesTheResult) {
    for (const char* text : {"",
                             "S",
                             "S-",
                             "S-1",
                             "S-1-",
                             "s-1-5",
                             "S-1-5-",
                             "S-1-5-x",
                             "S-1-5 ",
                             " S-1-5",
                             "S-256-5",
                             "S--1-5",
                             "S-1-+5",
                             "S-1-281474976710656",
                             "S-1-0x",
                             "S-1-0x1000000000000",
                             "S-1-5-4294967296",
                             "S-1-5-0x10",
                             "S-1-5--1",
                             "S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16-17",
                             "alice",
                             "S-1-5-99999999999999999999999"}) {
        nt_sid_t sid{};
        sid.sid_kind = 77;
        EXPECT_EQ(mbr_string_to_sid(text, &sid), EINVAL) << text;
        EXPECT_EQ(sid.sid_kind, 77) << text;
    }
}

TEST(SecurityIdentifier, RefusesMoreAuthoritiesThanFit) {
    nt_sid_t sid{};
    sid.sid_authcount = NTSID_MAX_AUTHORITIES + 1;
    char text[MBR_MAX_SID_STRING_SIZE];
    EXPECT_EQ(mbr_sid_to_string(&sid, text), EINVAL);
}

TEST(SecurityIdentifier, AHexadecimalAuthorityIsWrittenWithTwelveDigitsAndReadWithAnyNumber) {
    for (const char* text : {"S-1-0x000100000000-1", "S-1-0x100000000-1", "S-1-0X100000000-1", "S-1-4294967296-1"}) {
        nt_sid_t sid;
        ASSERT_EQ(mbr_string_to_sid(text, &sid), 0) << text;
        EXPECT_EQ(textOf(sid), "S-1-0x000100000000-1") << text;
    }
    nt_sid_t small;
    ASSERT_EQ(mbr_string_to_sid("S-1-0x5-1", &small), 0);
    EXPECT_EQ(textOf(small), "S-1-5-1");
}

TEST(SecurityIdentifier, TextsOfMegabytesAreRefused) {
    nt_sid_t sid;
    std::string text = "S-1-5";
    while (text.size() < (1u << 20)) text += "-1";
    EXPECT_EQ(mbr_string_to_sid(text.c_str(), &sid), EINVAL);
    EXPECT_EQ(mbr_string_to_sid(("S-1-5-" + std::string(1 << 20, '9')).c_str(), &sid), EINVAL);
    // Leading zeros change no number, however many.
    ASSERT_EQ(mbr_string_to_sid(("S-1-5-" + std::string(1 << 20, '0') + "7").c_str(), &sid), 0);
    EXPECT_EQ(textOf(sid), "S-1-5-7");
}
