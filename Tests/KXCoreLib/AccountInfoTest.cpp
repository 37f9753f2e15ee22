#include "Deletions.h"
#include "NameService.h"

#include <KXCoreLib/AccountInfo.h>
#include <KXCoreLib/SystemInfo.h>

#include <CoreFoundation/CFString.h>

#include <gtest/gtest.h>
#include <membership.h>
#include <sys/time.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

/// The clock of this program, in seconds; -1 makes it fail.
std::atomic<long> testClock{1000000};

}  // namespace

// The library asks for the time by this name, and gets this program's.
extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* time, void*) noexcept {
    const long seconds = testClock;
    if (seconds < 0) return -1;
    *time = {seconds, 999999};
    return 0;
}

using namespace KXCore;

namespace {

using AccountPtr = boost::intrusive_ptr<AccountInfo>;

constexpr unsigned kAliceID = 70001;
constexpr std::int64_t kTwelveHours = 43200;

UUID userUUID(unsigned id) {
    UUID uuid;
    mbr_uid_to_uuid(id, uuid.bytes);
    return uuid;
}

UUID groupUUID(unsigned id) {
    UUID uuid;
    mbr_gid_to_uuid(id, uuid.bytes);
    return uuid;
}

/// An identity that nobody has.
UUID foreignUUID(unsigned number) {
    UUID uuid{{0x12}};
    for (int i = 0; i < 4; ++i) uuid.bytes[4 + i] = static_cast<unsigned char>(number >> (8 * i));
    return uuid;
}

class AccountInfoTest : public ::testing::Test {
  protected:
    AccountInfoTest() {
        renameComputer("host");
        // Whatever earlier tests put into the cache has expired, and long ago.
        testClock += 10 * kTwelveHours;
    }

    static void renameComputer(const char* name) {
        const CFStringRef text = CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8);
        SetSystemNetBiosName_internal(text);
        CFRelease(text);
    }

    NameService names{"alice:x:70001:70100::/:/bin/sh\nDOMAIN\\carol:x:70003:70100::/:/bin/sh\n",
                      "staff:x:70200:\nDOMAIN\\admins:x:70201:\n"};
};

}  // namespace

// ---- The record

TEST(AccountIdentity, IsTheOneTheSystemGivesTheNumber) {
    EXPECT_EQ(GetUserUUID(kAliceID), userUUID(kAliceID));
    EXPECT_EQ(GetUserUUID(0), userUUID(0));
    EXPECT_EQ(GetGroupUUID(kAliceID), groupUUID(kAliceID));
    EXPECT_FALSE(GetGroupUUID(kAliceID) == GetUserUUID(kAliceID));
    EXPECT_EQ(GetUserUUID(4'000'000'000u), userUUID(4'000'000'000u));
}

TEST(AccountInfoRecord, KeepsWhatItIsMadeOf) {
    const AccountPtr account = AccountInfo::create(AccountTypeGroup, 5, userUUID(1), "S-1-1", "name");
    EXPECT_EQ(account->getType(), AccountTypeGroup);
    EXPECT_EQ(account->getID(), 5u);
    EXPECT_EQ(account->getUUID(), userUUID(1));
    EXPECT_STREQ(account->getSID(), "S-1-1");
    EXPECT_STREQ(account->getName(), "name");
}

TEST(AccountInfoRecord, LivesAsLongAsItIsHeld) {
    AccountPtr first = AccountInfo::create(AccountTypeUser, 5, userUUID(1), "S-1-1", "name");
    AccountPtr second = first;
    Deletions::await(first.get());
    first.reset();
    EXPECT_FALSE(Deletions::came());
    EXPECT_STREQ(second->getName(), "name");
    second.reset();
    EXPECT_TRUE(Deletions::came());
}

TEST(AccountInfoRecord, NullTextsBecomeEmpty) {
    const AccountPtr account = AccountInfo::create(AccountTypeUser, 5, userUUID(1), nullptr, nullptr);
    EXPECT_STREQ(account->getSID(), "");
    EXPECT_STREQ(account->getName(), "");
}

TEST(AccountInfoRecord, TypesAreTheLettersOfTheirNames) {
    EXPECT_EQ(AccountTypeUser, static_cast<unsigned>('u'));
    EXPECT_EQ(AccountTypeGroup, static_cast<unsigned>('g'));
    EXPECT_EQ(AccountTypeUnknown, 0u);
}

TEST(AccountInfoRecord, AllFieldsAreValidOnlyWhenNoneIsMissing) {
    const UUID uuid = userUUID(1);
    EXPECT_TRUE(AccountInfo::create(AccountTypeUser, 0, uuid, "s", "n")->allFieldsValid());
    EXPECT_FALSE(AccountInfo::create(AccountTypeUnknown, 0, uuid, "s", "n")->allFieldsValid());
    EXPECT_FALSE(AccountInfo::create(AccountTypeUser, 0xFFFFFFFF, uuid, "s", "n")->allFieldsValid());
    EXPECT_FALSE(AccountInfo::create(AccountTypeUser, 0, UUID{}, "s", "n")->allFieldsValid());
    EXPECT_FALSE(AccountInfo::create(AccountTypeUser, 0, uuid, "", "n")->allFieldsValid());
    EXPECT_FALSE(AccountInfo::create(AccountTypeUser, 0, uuid, "s", "")->allFieldsValid());
}

TEST(AccountInfoRecord, ItsHashIsTheFirstEightBytesOfItsIdentity) {
    const UUID uuid{{1, 2, 3, 4, 5, 6, 7, 8, 9}};
    EXPECT_EQ(hash_value(*AccountInfo::create(AccountTypeUser, 0, uuid, "", "")), 0x0807060504030201u);
}

TEST(AccountInfoRecord, IsSharedBetweenThreads) {
    const AccountPtr account = AccountInfo::create(AccountTypeUser, 0, UUID{}, "s", "n");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([account] {
            for (int round = 0; round < 10000; ++round) {
                const AccountPtr mine = account;
                EXPECT_STREQ(mine->getSID(), "s");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// ---- What the databases say

TEST_F(AccountInfoTest, AUserHasTypeIdSIDAndANameHeadedByTheComputers) {
    const AccountPtr account = AccountInfo::get(userUUID(kAliceID));
    EXPECT_EQ(account->getType(), AccountTypeUser);
    EXPECT_EQ(account->getID(), kAliceID);
    EXPECT_EQ(account->getUUID(), userUUID(kAliceID));
    EXPECT_STREQ(account->getSID(), "S-1-22-1-70001");
    EXPECT_STREQ(account->getName(), "HOST\\alice");
    EXPECT_TRUE(account->allFieldsValid());
}

TEST_F(AccountInfoTest, AGroupHasTypeIdSIDAndANameHeadedByTheComputers) {
    const AccountPtr account = AccountInfo::get(groupUUID(70200));
    EXPECT_EQ(account->getType(), AccountTypeGroup);
    EXPECT_EQ(account->getID(), 70200u);
    EXPECT_STREQ(account->getSID(), "S-1-22-2-70200");
    EXPECT_STREQ(account->getName(), "HOST\\staff");
}

TEST_F(AccountInfoTest, ANameWithABackslashIsKeptAsItIs) {
    EXPECT_STREQ(AccountInfo::get(userUUID(70003))->getName(), "DOMAIN\\carol");
    EXPECT_STREQ(AccountInfo::get(groupUUID(70201))->getName(), "DOMAIN\\admins");
}

TEST_F(AccountInfoTest, AnIdWithoutAnEntryKeepsItsTypeAndHasNoName) {
    const AccountPtr account = AccountInfo::get(userUUID(79999));
    EXPECT_EQ(account->getType(), AccountTypeUser);
    EXPECT_EQ(account->getID(), 79999u);
    EXPECT_STREQ(account->getName(), "");
    EXPECT_FALSE(account->allFieldsValid());
}

TEST_F(AccountInfoTest, NamesOfAnyLengthAndCharactersAreKept) {
    const std::string longName(5000, 'n');
    const std::string foreign = "J\xC3\xBCrgen \xE5\xBC\xB5/a%b";
    names.setUsers(longName + ":x:70060:1::/:/bin/sh\n" + foreign + ":x:70061:1::/:/bin/sh\n\\:x:70062:1::/:/bin/sh\n");
    EXPECT_EQ(AccountInfo::get(userUUID(70060))->getName(), "HOST\\" + longName);
    EXPECT_EQ(AccountInfo::get(userUUID(70061))->getName(), "HOST\\" + foreign);
    EXPECT_STREQ(AccountInfo::get(userUUID(70062))->getName(), "\\");
}

TEST_F(AccountInfoTest, AComputerWithoutANameHeadsNamesWithTheBackslashAlone) {
    renameComputer("");
    EXPECT_STREQ(AccountInfo::get(userUUID(kAliceID))->getName(), "\\alice");
}

TEST_F(AccountInfoTest, AnUnknownIdentityHasNothing) {
    const AccountPtr account = AccountInfo::get(foreignUUID(1));
    EXPECT_EQ(account->getType(), AccountTypeUnknown);
    EXPECT_EQ(account->getID(), AccountInfo::kUnknownID);
    EXPECT_EQ(account->getUUID(), foreignUUID(1));
    EXPECT_STREQ(account->getSID(), "");
    EXPECT_STREQ(account->getName(), "");
    EXPECT_FALSE(account->allFieldsValid());
}

// ---- How long an answer is kept

TEST_F(AccountInfoTest, AnAnswerIsKeptForTwelveHours) {
    const AccountPtr first = AccountInfo::get(userUUID(kAliceID));
    testClock += kTwelveHours - 1;
    EXPECT_EQ(AccountInfo::get(userUUID(kAliceID)), first);
    testClock += 1;
    EXPECT_NE(AccountInfo::get(userUUID(kAliceID)), first);
}

TEST_F(AccountInfoTest, TheFirstIncompleteAnswerIsKeptAsLongAsACompleteOne) {
    const AccountPtr first = AccountInfo::get(foreignUUID(2));
    testClock += kTwelveHours - 1;
    EXPECT_EQ(AccountInfo::get(foreignUUID(2)), first);
    testClock += 1;
    EXPECT_NE(AccountInfo::get(foreignUUID(2)), first);
}

TEST_F(AccountInfoTest, FurtherIncompleteAnswersAreTriedAgainUpTheLadder) {
    AccountPtr last = AccountInfo::get(foreignUUID(3));
    testClock += kTwelveHours;
    for (const int lifetime : {15, 30, 60, 120, 600, 600, 600}) {
        const AccountPtr next = AccountInfo::get(foreignUUID(3));
        EXPECT_NE(next, last) << lifetime;
        testClock += lifetime - 1;
        EXPECT_EQ(AccountInfo::get(foreignUUID(3)), next) << lifetime;
        testClock += 1;
        last = next;
    }
}

TEST_F(AccountInfoTest, TheLadderStartsOverWhenNobodyAskedForTenMinutes) {
    AccountInfo::get(foreignUUID(4));
    testClock += kTwelveHours + 600;
    const AccountPtr second = AccountInfo::get(foreignUUID(4));
    testClock += kTwelveHours - 1;
    EXPECT_EQ(AccountInfo::get(foreignUUID(4)), second) << "a first failure again, and kept as one";
}

TEST_F(AccountInfoTest, TheLadderGoesOnWhenSomebodyAskedWithinTenMinutes) {
    AccountInfo::get(foreignUUID(5));
    testClock += kTwelveHours + 599;
    const AccountPtr second = AccountInfo::get(foreignUUID(5));
    testClock += 15;
    EXPECT_NE(AccountInfo::get(foreignUUID(5)), second);
}

TEST_F(AccountInfoTest, ACompleteAnswerEndsTheLadder) {
    const UUID uuid = userUUID(70050);
    AccountInfo::get(uuid);
    testClock += kTwelveHours;
    EXPECT_FALSE(AccountInfo::get(uuid)->allFieldsValid());
    names.setUsers("dave:x:70050:70100::/:/bin/sh\n");
    testClock += 15;
    const AccountPtr complete = AccountInfo::get(uuid);
    EXPECT_STREQ(complete->getName(), "HOST\\dave");
    testClock += kTwelveHours - 1;
    EXPECT_EQ(AccountInfo::get(uuid), complete);
}

TEST_F(AccountInfoTest, AFailingClockCountsAsZeroAndIsReported) {
    const AccountPtr kept = AccountInfo::get(userUUID(kAliceID));
    const long time = testClock;
    testClock = -1;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(AccountInfo::get(userUUID(kAliceID)), kept) << "at second 0 nothing has expired";
    const AccountPtr atZero = AccountInfo::get(groupUUID(kAliceID));
    testClock = kTwelveHours - 1;
    EXPECT_EQ(AccountInfo::get(groupUUID(kAliceID)), atZero);
    testClock = kTwelveHours;
    EXPECT_NE(AccountInfo::get(groupUUID(kAliceID)), atZero);
    testClock = time;
    EXPECT_NE(::testing::internal::GetCapturedStderr().find(": gettimeofday(): "), std::string::npos);
}

// ---- The computer's name

TEST_F(AccountInfoTest, ANewNameOfTheComputerMakesANewRecordAtOnce) {
    const AccountPtr first = AccountInfo::get(userUUID(kAliceID));
    renameComputer("other");
    const AccountPtr second = AccountInfo::get(userUUID(kAliceID));
    EXPECT_STREQ(second->getName(), "OTHER\\alice");
    EXPECT_STREQ(first->getName(), "HOST\\alice") << "who holds the old record keeps it";
    EXPECT_EQ(AccountInfo::get(userUUID(kAliceID)), second);
}

TEST_F(AccountInfoTest, ANewNameOfTheComputerLeavesRecordsWithoutItAlone) {
    const AccountPtr domain = AccountInfo::get(userUUID(70003));
    const AccountPtr unknown = AccountInfo::get(foreignUUID(6));
    renameComputer("other");
    EXPECT_EQ(AccountInfo::get(userUUID(70003)), domain);
    EXPECT_EQ(AccountInfo::get(foreignUUID(6)), unknown);
}

// ---- Threads

TEST_F(AccountInfoTest, ThreadsThatMissTogetherAllGetAnAnswer) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (unsigned round = 0; round < 500; ++round) {
                const AccountPtr account = AccountInfo::get(foreignUUID(50000 + round % 50));
                EXPECT_EQ(account->getUUID(), foreignUUID(50000 + round % 50));
                EXPECT_STREQ(AccountInfo::get(userUUID(kAliceID))->getSID(), "S-1-22-1-70001");
            }
        });
    }
    std::thread renamer([] {
        for (int i = 0; i < 100; ++i) renameComputer(i % 2 ? "one" : "two");
    });
    std::thread ageing([] {
        for (int i = 0; i < 100; ++i) testClock += kTwelveHours;
    });
    for (std::thread& thread : threads) thread.join();
    renamer.join();
    ageing.join();
}

// ---- The name of the computer itself

TEST(NetBiosName, IsUpperCaseAndKeptWhole) {
    EXPECT_STREQ(NetBiosName::create("a-very-long-name.with.dots")->getName(), "A-VERY-LONG-NAME.WITH.DOTS");
    EXPECT_STREQ(NetBiosName::create("")->getName(), "");
}

TEST(NetBiosName, TheSameTextAgainKeepsTheObject) {
    const CFStringRef upper = CFSTR("SAME");
    SetSystemNetBiosName_internal(upper);
    const boost::intrusive_ptr<NetBiosName> first = GetSystemNetBiosName();
    SetSystemNetBiosName_internal(upper);
    EXPECT_EQ(GetSystemNetBiosName(), first);
}

TEST(NetBiosName, ALowerCaseTextSetsTheSameNameAgain) {
    SetSystemNetBiosName_internal(CFSTR("SAME"));
    const boost::intrusive_ptr<NetBiosName> first = GetSystemNetBiosName();
    SetSystemNetBiosName_internal(CFSTR("same"));
    EXPECT_NE(GetSystemNetBiosName(), first);
    EXPECT_STREQ(GetSystemNetBiosName()->getName(), "SAME");
}
