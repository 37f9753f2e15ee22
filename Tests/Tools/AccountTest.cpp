#include <string>

#include "NamedPeople.h"

namespace {

using AccountCommand = NamedPeople;

TEST_F(AccountCommand, TellsOfAUserByName) {
    EXPECT_EQ(run({"account", "--user", "alice"}), (ProgramOutcome{0,
                                                                   "type  user\n"
                                                                   "id    70001\n"
                                                                   "uuid  FFFFEEEE-DDDD-CCCC-BBBB-AAAA00011171\n"
                                                                   "sid   S-1-22-1-70001\n"
                                                                   "name  HOST\\alice\n",
                                                                   ""}));
}

TEST_F(AccountCommand, TellsOfAGroupByName) {
    EXPECT_EQ(run({"account", "--group", "staff"}), (ProgramOutcome{0,
                                                                    "type  group\n"
                                                                    "id    70200\n"
                                                                    "uuid  ABCDEFAB-CDEF-ABCD-EFAB-CDEF00011238\n"
                                                                    "sid   S-1-22-2-70200\n"
                                                                    "name  HOST\\staff\n",
                                                                    ""}));
}

TEST_F(AccountCommand, TellsOfAnyoneByUUID) {
    EXPECT_EQ(run({"account", "ffffeeee-dddd-cccc-bbbb-aaaa00011173"}).out,
              "type  user\n"
              "id    70003\n"
              "uuid  FFFFEEEE-DDDD-CCCC-BBBB-AAAA00011173\n"
              "sid   S-1-22-1-70003\n"
              "name  DOMAIN\\carol\n");
    EXPECT_EQ(run({"account", "FFFFEEEE-DDDD-CCCC-BBBB-AAAA0000FFFF"}).out,
              "type  user\n"
              "id    65535\n"
              "uuid  FFFFEEEE-DDDD-CCCC-BBBB-AAAA0000FFFF\n"
              "sid   S-1-22-1-65535\n"
              "name  (unknown)\n");
}

TEST_F(AccountCommand, TellsOfAnyoneByNumberAndBySID) {
    const std::string alice = run({"account", "--user", "alice"}).out;
    const std::string staff = run({"account", "--group", "staff"}).out;
    EXPECT_NE(alice, staff);
    EXPECT_EQ(run({"account", "--uid", "70001"}), (ProgramOutcome{0, alice, ""}));
    EXPECT_EQ(run({"account", "--gid", "70200"}), (ProgramOutcome{0, staff, ""}));
    EXPECT_EQ(run({"account", "--sid", "S-1-22-1-70001"}), (ProgramOutcome{0, alice, ""}));
    EXPECT_EQ(run({"account", "S-1-22-2-70200"}), (ProgramOutcome{0, staff, ""}));
    EXPECT_EQ(run({"account", "--uuid", "FFFFEEEE-DDDD-CCCC-BBBB-AAAA00011171"}), (ProgramOutcome{0, alice, ""}));
    EXPECT_EQ(run({"account", "--sid", "S-1-5-21-1-2-3-500"}).status, 1);
    EXPECT_EQ(run({"account", "S-1-x"}), (ProgramOutcome{1, "", "kxtool account: \"S-1-x\" is no SID\n"}));
    EXPECT_EQ(run({"account", "--uuid", "alice"}), (ProgramOutcome{1, "", "kxtool account: \"alice\" is no UUID\n"}));
    EXPECT_EQ(run({"account", "--uid", "-1"}).status, 2);
    EXPECT_EQ(run({"account", "--uid", "alice"}).status, 2);
    EXPECT_EQ(run({"account", "--uid", "70001", "--gid", "70200"}).status, 2);
}

TEST_F(AccountCommand, PrintsJson) {
    EXPECT_EQ(run({"account", "--user", "J\xC3\xBCrgen", "--json"}),
              (ProgramOutcome{0,
                              "{\"type\":\"user\",\"id\":70004,\"uuid\":\"FFFFEEEE-DDDD-CCCC-BBBB-AAAA00011174\","
                              "\"sid\":\"S-1-22-1-70004\",\"name\":\"HOST\\\\J\xC3\xBCrgen\",\"complete\":true}\n",
                              ""}));
    EXPECT_EQ(run({"account", "ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000FFFF", "--json"}),
              (ProgramOutcome{0,
                              "{\"type\":\"group\",\"id\":65535,\"uuid\":\"ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000FFFF\","
                              "\"sid\":\"S-1-22-2-65535\",\"name\":null,\"complete\":false}\n",
                              ""}));
}

TEST_F(AccountCommand, ReportsWhomNobodyKnows) {
    EXPECT_EQ(run({"account", "--user", "mallory"}),
              (ProgramOutcome{1, "", "kxtool account: there is no user \"mallory\"\n"}));
    EXPECT_EQ(run({"account", "--group", "alice"}),
              (ProgramOutcome{1, "", "kxtool account: there is no group \"alice\"\n"}));
    EXPECT_EQ(run({"account", "12345678-1234-1234-1234-123456789012"}),
              (ProgramOutcome{1, "", "kxtool account: nobody is known as 12345678-1234-1234-1234-123456789012\n"}));
    EXPECT_EQ(run({"account", "alice"}), (ProgramOutcome{1, "", "kxtool account: \"alice\" is no UUID\n"}));
    EXPECT_EQ(run({"account", "--user", "a\nb:/\\"}).err, "kxtool account: there is no user \"a\\x0ab:/\\\"\n");
    EXPECT_EQ(run({"account", "--user", std::string(100000, 'n')}).status, 1);
}

TEST_F(AccountCommand, AsksOfExactlyOne) {
    EXPECT_EQ(run({"account"}).status, 2);
    EXPECT_EQ(run({"account", "--user", "alice", "--group", "staff"}).status, 2);
}

TEST_F(AccountCommand, AnEmptyNameIsNobodys) {
    EXPECT_EQ(run({"account", "--user", ""}), (ProgramOutcome{1, "", "kxtool account: there is no user \"\"\n"}));
}

}  // namespace
