#include "NameService.h"

#include <membership.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>

namespace {

/// While it is not 0, looking up a user answers this error.
int userError = 0;
/// While it is set, asking for a user's groups fails for lack of memory.
bool groupsFail = false;

}  // namespace

// The library asks by these names, and gets this program's.
extern "C" {

__attribute__((visibility("default"))) int getpwuid_r(uid_t uid, passwd* entry, char* buffer, size_t size,
                                                      passwd** found) {
    *found = nullptr;
    if (userError != 0) return userError;
    static const auto next = reinterpret_cast<decltype(&getpwuid_r)>(dlsym(RTLD_NEXT, "getpwuid_r"));
    return next(uid, entry, buffer, size, found);
}

__attribute__((visibility("default"))) int getgrouplist(const char* user, gid_t primary, gid_t* groups, int* count) {
    if (groupsFail) return -1;
    static const auto next = reinterpret_cast<decltype(&getgrouplist)>(dlsym(RTLD_NEXT, "getgrouplist"));
    return next(user, primary, groups, count);
}
}

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

TEST_F(Membership, NoGroupHasTheUUIDOfEverybodyOrNobody) {
    for (const auto& [gid, expected, sid] :
         {std::tuple(12u, "ABCDEFAB-CDEF-ABCD-EFAB-CDEE0000000C", "S-1-22-2-12"),
          std::tuple(0xFFFFFFFEu, "ABCDEFAB-CDEF-ABCD-EFAB-CDEEFFFFFFFE", "S-1-22-2-4294967294")}) {
        uuid_t uuid;
        ASSERT_EQ(mbr_gid_to_uuid(gid, uuid), 0);
        EXPECT_EQ(textOf(uuid), expected);
        EXPECT_EQ(uuidOf(sid), expected);
        EXPECT_EQ(sidOf(expected), sid);
        id_t id = 0;
        int type = -1;
        ASSERT_EQ(mbr_uuid_to_id(uuid, &id, &type), 0);
        EXPECT_EQ(id, gid);
        EXPECT_EQ(type, ID_TYPE_GID);
    }
    EXPECT_EQ(uuidOf("S-1-22-2-13"), "ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000D");
    EXPECT_EQ(uuidOf("S-1-22-1-12"), "FFFFEEEE-DDDD-CCCC-BBBB-AAAA0000000C") << "users are not concerned";
}

TEST_F(Membership, EverybodyAndNobodyAreNoGroups) {
    for (const char* wellknown : {"ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C", "ABCDEFAB-CDEF-ABCD-EFAB-CDEFFFFFFFFE"}) {
        id_t id;
        int type;
        EXPECT_EQ(mbr_uuid_to_id(Identity(wellknown).bytes, &id, &type), ENOENT) << wellknown;
        EXPECT_EQ(sidOf(wellknown), std::strerror(ENOENT)) << wellknown;
    }
    EXPECT_EQ(sidOf("ABCDEFAB-CDEF-ABCD-EFAB-CDEE0000000D"), std::strerror(ENOENT)) << "one group, one UUID";
}

TEST_F(Membership, EveryUserIsOneOfEverybodyAndNoneIsNobody) {
    names.setGroups("man:x:12:alice\nusers:x:100:\n");
    for (const char* user : {kAlice, "FFFFEEEE-DDDD-CCCC-BBBB-AAAA000003E9"}) {
        EXPECT_EQ(check(user, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C"), 1);
        EXPECT_EQ(check(user, "ABCDEFAB-CDEF-ABCD-EFAB-CDEFFFFFFFFE"), 0);
    }
    EXPECT_EQ(check(kAlice, "ABCDEFAB-CDEF-ABCD-EFAB-CDEE0000000C"), 1) << "the group 12";
    EXPECT_EQ(check("FFFFEEEE-DDDD-CCCC-BBBB-AAAA000003E9", "ABCDEFAB-CDEF-ABCD-EFAB-CDEE0000000C"), 0);
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

TEST_F(Membership, AnswersWhatTheNameServiceFailsWith) {
    for (const int error : {EIO, ERANGE, ENOMEM}) {
        userError = error;
        EXPECT_EQ(check(kAlice, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000064"), -error);
    }
    userError = ESRCH;
    EXPECT_EQ(check(kAlice, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000064"), -ENOENT) << "some say so of an unknown user";
    userError = 0;
}

TEST_F(Membership, GroupsThatCannotBeHadAreAnError) {
    groupsFail = true;
    EXPECT_EQ(check(kAlice, "ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000064"), -ENOMEM);
    groupsFail = false;
}
