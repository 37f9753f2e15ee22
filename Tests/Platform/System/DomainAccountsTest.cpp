// SIDs of a domain's accounts, through <membership.h>, with a domain of the test's own.

#include "DomainService.h"

#include <membership.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

using DomainService::Kind;

constexpr const char* kCarolSID = "S-1-5-21-111-222-333-1105";
constexpr const char* kStaffSID = "S-1-5-21-111-222-333-513";
constexpr const char* kOwnGroupSID = "S-1-5-21-111-222-333-1200";
constexpr std::uint32_t kCarol = 200105, kStaff = 200513, kOwnGroup = 201200;

/// A SID's text, or the error in words.
std::string sidOf(int (*uuidOf)(id_t id, uuid_t uu), id_t id) {
    uuid_t uuid;
    EXPECT_EQ(uuidOf(id, uuid), 0);
    nt_sid_t sid;
    if (const int error = mbr_uuid_to_sid(uuid, &sid)) return std::strerror(error);
    char text[MBR_MAX_SID_STRING_SIZE];
    EXPECT_EQ(mbr_sid_to_string(&sid, text), 0);
    return text;
}

std::string sidOfUser(id_t id) { return sidOf(mbr_uid_to_uuid, id); }
std::string sidOfGroup(id_t id) { return sidOf(mbr_gid_to_uuid, id); }

/// "user 5" or "group 5", or the error in words.
std::string accountOf(const char* sidText) {
    nt_sid_t sid;
    EXPECT_EQ(mbr_string_to_sid(sidText, &sid), 0);
    uuid_t uuid;
    if (const int error = mbr_sid_to_uuid(&sid, uuid)) return std::strerror(error);
    id_t id = 0;
    int type = -1;
    EXPECT_EQ(mbr_uuid_to_id(uuid, &id, &type), 0);
    return (type == ID_TYPE_UID ? "user " : "group ") + std::to_string(id);
}

class DomainAccounts : public ::testing::Test {
  protected:
    DomainAccounts() {
        DomainService::reset();
        DomainService::add(kCarol, Kind::User, kCarolSID);
        DomainService::add(kStaff, Kind::Group, kStaffSID);
        DomainService::add(kOwnGroup, Kind::Both, kOwnGroupSID);
    }
};

}  // namespace

TEST_F(DomainAccounts, AUserOfTheDomainHasItsSIDBothWays) {
    EXPECT_EQ(sidOfUser(kCarol), kCarolSID);
    EXPECT_EQ(accountOf(kCarolSID), "user 200105");
}

TEST_F(DomainAccounts, AGroupOfTheDomainHasItsSIDBothWays) {
    EXPECT_EQ(sidOfGroup(kStaff), kStaffSID);
    EXPECT_EQ(accountOf(kStaffSID), "group 200513");
}

TEST_F(DomainAccounts, AUserIsNotTakenForTheGroupOfTheSameNumber) {
    EXPECT_EQ(sidOfGroup(kCarol), "S-1-22-2-200105");
    EXPECT_EQ(sidOfUser(kStaff), "S-1-22-1-200513");
}

TEST_F(DomainAccounts, AUserWhosePrivateGroupSharesTheIdIsAUser) {
    EXPECT_EQ(sidOfUser(kOwnGroup), kOwnGroupSID);
    EXPECT_EQ(sidOfGroup(kOwnGroup), kOwnGroupSID);
    EXPECT_EQ(accountOf(kOwnGroupSID), "user 201200");
}

TEST_F(DomainAccounts, AnAccountThatTheDomainDoesNotKnowIsALocalOne) {
    EXPECT_EQ(sidOfUser(1000), "S-1-22-1-1000");
    EXPECT_EQ(sidOfGroup(100), "S-1-22-2-100");
    EXPECT_EQ(DomainService::questions(), 2u);
}

TEST_F(DomainAccounts, ASIDThatTheDomainDoesNotKnowIsNobodys) {
    EXPECT_EQ(accountOf("S-1-5-21-9-9-9-9"), std::strerror(ENOENT));
    DomainService::add(5, Kind::NotSpecified, "S-1-5-32-544");
    EXPECT_EQ(accountOf("S-1-5-32-544"), std::strerror(ENOENT)) << "neither user nor group";
}

TEST_F(DomainAccounts, ALocalAccountsSIDIsNotAskedOfTheDomain) {
    EXPECT_EQ(accountOf("S-1-22-1-1000"), "user 1000");
    EXPECT_EQ(DomainService::questions(), 0u);
}

TEST_F(DomainAccounts, EveryQuestionHasATimeOut) {
    sidOfUser(kCarol);
    EXPECT_GT(DomainService::lastTimeout(), 0u);
    EXPECT_LE(DomainService::lastTimeout(), 1000u);
    sidOfGroup(kStaff);
    EXPECT_LE(DomainService::lastTimeout(), 1000u);
    accountOf(kStaffSID);
    EXPECT_LE(DomainService::lastTimeout(), 1000u);
    EXPECT_EQ(DomainService::questions(), 3u);
}

TEST_F(DomainAccounts, WithoutADaemonAllAccountsAreLocalAndTheLibraryIsNotAsked) {
    DomainService::removeSocket();
    EXPECT_EQ(sidOfUser(kCarol), "S-1-22-1-200105");
    EXPECT_EQ(sidOfGroup(kStaff), "S-1-22-2-200513");
    EXPECT_EQ(accountOf(kCarolSID), std::strerror(ENOENT));
    EXPECT_EQ(DomainService::questions(), 0u);
}

TEST_F(DomainAccounts, ADaemonThatIsDownIsAnErrorAndNoLocalSID) {
    DomainService::stopDaemon();
    EXPECT_EQ(sidOfUser(kCarol), std::strerror(ECONNREFUSED));
    EXPECT_EQ(sidOfUser(1000), std::strerror(ECONNREFUSED));
    EXPECT_EQ(sidOfGroup(kStaff), std::strerror(ECONNREFUSED));
    EXPECT_EQ(accountOf(kCarolSID), std::strerror(ECONNREFUSED));
    EXPECT_EQ(accountOf("S-1-22-1-1000"), "user 1000") << "the local rule needs no daemon";
    EXPECT_EQ(DomainService::questions(), 0u);
}

TEST_F(DomainAccounts, ADaemonThatAcceptsNobodyIsAnErrorAtOnce) {
    DomainService::fillQueue();
    EXPECT_EQ(sidOfUser(kCarol), std::strerror(EAGAIN));
    EXPECT_EQ(accountOf(kCarolSID), std::strerror(EAGAIN));
    EXPECT_EQ(DomainService::questions(), 0u);
}

TEST_F(DomainAccounts, ADaemonThatDoesNotAnswerInTimeIsAnErrorAndNoLocalSID) {
    for (const int error : {ETIME, ETIMEDOUT, EIO, ENOMEM}) {
        DomainService::failWith(error);
        EXPECT_EQ(sidOfUser(kCarol), std::strerror(error));
        EXPECT_EQ(sidOfGroup(kStaff), std::strerror(error));
        EXPECT_EQ(accountOf(kCarolSID), std::strerror(error));
    }
}

TEST_F(DomainAccounts, ADaemonThatComesBackIsAskedAgain) {
    DomainService::failWith(ETIME);
    EXPECT_EQ(sidOfUser(kCarol), std::strerror(ETIME));
    DomainService::failWith(0);
    EXPECT_EQ(sidOfUser(kCarol), kCarolSID);
}

TEST_F(DomainAccounts, ASIDThatIsNoneIsRefused) {
    DomainService::add(7, Kind::User, "carol");
    EXPECT_EQ(sidOfUser(7), std::strerror(EINVAL));
}
