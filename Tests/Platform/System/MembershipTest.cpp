#include "NameService.h"

#include <membership.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

struct Identity {
    uuid_t bytes;

    explicit Identity(const char* text) { EXPECT_EQ(uuid_parse(text, bytes), 0) << text; }
};

std::string textOf(const uuid_t uuid) {
    char text[37];
    uuid_unparse_upper(uuid, text);
    return text;
}

std::string textOf(const nt_sid_t& sid) {
    char text[MBR_MAX_SID_STRING_SIZE];
    EXPECT_EQ(mbr_sid_to_string(&sid, text), 0);
    return text;
}

std::string sidOf(const char* uuid) {
    nt_sid_t sid;
    const int error = mbr_uuid_to_sid(Identity(uuid).bytes, &sid);
    return error == 0 ? textOf(sid) : std::strerror(error);
}

std::string uuidOf(const char* sidText) {
    nt_sid_t sid;
    EXPECT_EQ(mbr_string_to_sid(sidText, &sid), 0);
    uuid_t uuid;
    const int error = mbr_sid_to_uuid(&sid, uuid);
    return error == 0 ? textOf(uuid) : std::strerror(error);
}

constexpr const char* kAlice = "FFFFEEEE-DDDD-CCCC-BBBB-AAAA000003E8";
constexpr const char* kNobodyKnown = "FFFFEEEE-DDDD-CCCC-BBBB-AAAA0000FFFF";
constexpr const char* kForeign = "12345678-1234-1234-1234-123456789012";

class Membership : public ::testing::Test {
  protected:
    static int check(const char* user, const char* group) {
        int member = 7;
        const int error = mbr_check_membership(Identity(user).bytes, Identity(group).bytes, &member);
        return error == 0 ? member : -error;
    }

    NameService names{"alice:x:1000:100:Alice:/home/alice:/bin/sh\nbob:x:1001:101::/:/bin/sh\n",
                      "users:x:100:\nstaff:x:101:\nadmins:x:200:alice\nempty:x:201:\n"};
};

}  // namespace

TEST_F(Membership, UserIDsHaveUUIDsBothWays) {
    uuid_t uuid;
    ASSERT_EQ(mbr_uid_to_uuid(1000, uuid), 0);
    EXPECT_EQ(textOf(uuid), kAlice);
    id_t id = 0;
    int type = -1;
    ASSERT_EQ(mbr_uuid_to_id(uuid, &id, &type), 0);
    EXPECT_EQ(id, 1000u);
    EXPECT_EQ(type, ID_TYPE_UID);
}

TEST_F(Membership, GroupIDsHaveUUIDsBothWays) {
    uuid_t uuid;
    ASSERT_EQ(mbr_gid_to_uuid(0xFEDCBA98, uuid), 0);
    EXPECT_EQ(textOf(uuid), "ABCDEFAB-CDEF-ABCD-EFAB-CDEFFEDCBA98");
    id_t id = 0;
    int type = -1;
    ASSERT_EQ(mbr_uuid_to_id(uuid, &id, &type), 0);
    EXPECT_EQ(id, 0xFEDCBA98u);
    EXPECT_EQ(type, ID_TYPE_GID);
}

TEST_F(Membership, AForeignUUIDIsNotKnown) {
    id_t id = 5;
    int type = 6;
    EXPECT_EQ(mbr_uuid_to_id(Identity(kForeign).bytes, &id, &type), ENOENT);
    EXPECT_EQ(id, 5u);
    EXPECT_EQ(type, 6);
    EXPECT_EQ(sidOf(kForeign), std::strerror(ENOENT));
}

TEST_F(Membership, NullPointersAreRefused) {
    uuid_t uuid;
    id_t id;
    int number;
    nt_sid_t sid{};
    char text[MBR_MAX_SID_STRING_SIZE];
    EXPECT_EQ(mbr_uid_to_uuid(0, nullptr), EINVAL);
    EXPECT_EQ(mbr_gid_to_uuid(0, nullptr), EINVAL);
    EXPECT_EQ(mbr_sid_to_uuid(nullptr, uuid), EINVAL);
    EXPECT_EQ(mbr_sid_to_uuid(&sid, nullptr), EINVAL);
    EXPECT_EQ(mbr_uuid_to_id(nullptr, &id, &number), EINVAL);
    EXPECT_EQ(mbr_uuid_to_sid(nullptr, &sid), EINVAL);
    EXPECT_EQ(mbr_sid_to_string(nullptr, text), EINVAL);
    EXPECT_EQ(mbr_string_to_sid(nullptr, &sid), EINVAL);
    EXPECT_EQ(mbr_check_membership(nullptr, nullptr, &number), EINVAL);
}

TEST_F(Membership, LocalAccountsFollowTheRuleForUnixAccountsBothWays) {
    EXPECT_EQ(sidOf(kAlice), "S-1-22-1-1000");
    EXPECT_EQ(sidOf("ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000064"), "S-1-22-2-100");
    EXPECT_EQ(uuidOf("S-1-22-1-1000"), kAlice);
    EXPECT_EQ(uuidOf("S-1-22-2-100"), "ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000064");
}

TEST_F(Membership, ASIDOfNobodyIsNotKnown) {
    for (const char* sid :
         {"S-1-5-21-1-2-3-1000", "S-1-22-3-1", "S-1-22-1", "S-1-22-1-2-3", "S-2-22-1-1000", "S-1-1-0"}) {
        EXPECT_EQ(uuidOf(sid), std::strerror(ENOENT)) << sid;
    }
}

TEST_F(Membership, AUserIsInTheOwnPrimaryGroup) { EXPECT_EQ(check(kAlice, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000064"), 1); }

TEST_F(Membership, AUserIsInTheGroupsThatListTheName) {
    EXPECT_EQ(check(kAlice, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF000000C8"), 1);
}

TEST_F(Membership, AUserIsInNoOtherGroup) {
    EXPECT_EQ(check(kAlice, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF000000C9"), 0);
    EXPECT_EQ(check(kAlice, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000065"), 0);
    EXPECT_EQ(check(kAlice, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000FFFF"), 0) << "a group that does not exist";
}

TEST_F(Membership, AUserIsAMemberOfTheUserOnly) {
    EXPECT_EQ(check(kAlice, kAlice), 1);
    EXPECT_EQ(check(kAlice, "FFFFEEEE-DDDD-CCCC-BBBB-AAAA000003E9"), 0);
}

TEST_F(Membership, UnknownUsersAndForeignIdentitiesFail) {
    EXPECT_EQ(check(kNobodyKnown, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000064"), -ENOENT);
    EXPECT_EQ(check(kForeign, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000064"), -ENOENT);
    EXPECT_EQ(check(kAlice, kForeign), -ENOENT);
    EXPECT_EQ(check("ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000064", kAlice), -ENOENT) << "a group is no user";
}

TEST_F(Membership, AUserMayBeInHundredsOfGroups) {
    std::string groups;
    for (int i = 0; i < 500; ++i) groups += "g" + std::to_string(i) + ":x:" + std::to_string(5000 + i) + ":alice\n";
    names.setGroups(groups);
    char last[37];
    std::snprintf(last, sizeof last, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF%08X", 5499u);
    EXPECT_EQ(check(kAlice, last), 1);
}

TEST(SecurityIdentifier, TextsAndSIDsGoBothWays) {
    for (const char* text :
         {"S-1-0", "S-1-5-18", "S-1-5-21-4294967295-0-1-500", "S-255-4294967295-7", "S-1-0x100000000-1",
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
