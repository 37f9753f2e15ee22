// The cache behind AccountInfo::get, a new one for each test: what stays in it, and what it does while the name service
// is slow or fails.

#include "AccountInfoCache.h"
#include "Deletions.h"
#include "DomainService.h"
#include "NameService.h"

#include <CoreFoundation/CFString.h>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <membership.h>
#include <pwd.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <future>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr auto kBound = std::chrono::seconds(20);

/// The clock of this program, in seconds.
std::atomic<long> testClock{1000000};

/// What this program does with a look-up of a user before, or instead of, asking the name service.
class Interference {
  public:
    /// Look-ups of the user are held until release().
    void hold(uid_t uid) {
        const std::lock_guard lock(mutex_);
        held_ = uid;
        released_ = false;
    }

    void release() {
        const std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }

    /// Waits until so many look-ups are being held.
    bool waitForHeld(unsigned count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kBound, [&] { return holding_ >= count; });
    }

    /// The next look-ups of the user answer these errors, one each; the last of them for good.
    void fail(uid_t uid, std::vector<int> errors) {
        const std::lock_guard lock(mutex_);
        errors_[uid] = std::move(errors);
    }

    unsigned lookUpsOf(uid_t uid) {
        const std::lock_guard lock(mutex_);
        return lookUps_[uid];
    }

    /// An error to answer, or 0.
    int lookUp(uid_t uid) {
        std::unique_lock lock(mutex_);
        ++lookUps_[uid];
        if (uid == held_ && !released_) {
            ++holding_;
            changed_.notify_all();
            changed_.wait_for(lock, 2 * kBound, [&] { return released_; });
            --holding_;
        }
        const auto errors = errors_.find(uid);
        if (errors == errors_.end() || errors->second.empty()) return 0;
        const int error = errors->second.front();
        if (errors->second.size() > 1) errors->second.erase(errors->second.begin());
        return error;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    uid_t held_ = 0xFFFFFFFF;
    bool released_ = true;
    unsigned holding_ = 0;
    std::map<uid_t, unsigned> lookUps_;
    std::map<uid_t, std::vector<int>> errors_;
};

Interference* interference = nullptr;

}  // namespace

// The library asks by these names, and gets this program's.
extern "C" {

__attribute__((visibility("default"))) int gettimeofday(timeval* time, void*) noexcept {
    *time = {testClock, 0};
    return 0;
}

__attribute__((visibility("default"))) int getpwuid_r(uid_t uid, passwd* entry, char* buffer, size_t size,
                                                      passwd** found) {
    *found = nullptr;
    if (const int error = interference ? interference->lookUp(uid) : 0) return error;
    static const auto next = reinterpret_cast<decltype(&getpwuid_r)>(dlsym(RTLD_NEXT, "getpwuid_r"));
    return next(uid, entry, buffer, size, found);
}
}

using namespace KXCore;

namespace {

using AccountPtr = boost::intrusive_ptr<AccountInfo>;

constexpr unsigned kAlice = 70001, kBob = 70002;
constexpr long kTwelveHours = 43200;

UUID userUUID(unsigned id) {
    UUID uuid;
    mbr_uid_to_uuid(id, uuid.bytes);
    return uuid;
}

/// An identity that nobody has.
UUID foreignUUID(unsigned number) {
    UUID uuid{{0x12}};
    for (int i = 0; i < 4; ++i) uuid.bytes[4 + i] = static_cast<unsigned char>(number >> (8 * i));
    return uuid;
}

bool isCached(const AccountPtr& account) { return static_cast<const AccountInfo2&>(*account).is_linked(); }

std::ptrdiff_t countCached(const std::vector<AccountPtr>& accounts) {
    return std::count_if(accounts.begin(), accounts.end(), isCached);
}

void renameComputer(const char* name) {
    const CFStringRef text = CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8);
    SetSystemNetBiosName_internal(text);
    CFRelease(text);
}

class AccountInfoCacheTest : public ::testing::Test {
  protected:
    AccountInfoCacheTest() {
        DomainService::removeSocket();
        renameComputer("HOST");
        interference = &lookUps;
    }
    ~AccountInfoCacheTest() override { interference = nullptr; }

    /// What `get` answers in a thread of its own.
    std::future<AccountPtr> getElsewhere(const UUID& uuid) {
        return std::async(std::launch::async, [this, uuid] { return cache.get(uuid); });
    }

    NameService names{"alice:x:70001:70100::/:/bin/sh\nbob:x:70002:70100::/:/bin/sh\n", ""};
    Interference lookUps;
    AccountInfoCache cache;
};

}  // namespace

// ---- How many records it holds

TEST_F(AccountInfoCacheTest, Holds1025RecordsAndNoMore) {
    std::vector<AccountPtr> accounts;
    for (unsigned i = 0; i < 1025; ++i) accounts.push_back(cache.get(foreignUUID(i)));
    EXPECT_EQ(countCached(accounts), 1025);
    for (unsigned i = 0; i < 1025; ++i) EXPECT_EQ(cache.get(foreignUUID(i)), accounts[i]);

    for (unsigned i = 1025; i < 1125; ++i) {
        accounts.push_back(cache.get(foreignUUID(i)));
        EXPECT_TRUE(isCached(accounts.back())) << "the new one is never the one to go";
        EXPECT_EQ(countCached(accounts), 1025) << i;
    }
    for (unsigned i = 0; i < 1125; ++i) EXPECT_EQ(accounts[i]->getUUID(), foreignUUID(i)) << "who holds it keeps it";
}

TEST_F(AccountInfoCacheTest, MakesRoomBeforeItReplacesAnExpiredRecord) {
    std::vector<AccountPtr> accounts;
    for (unsigned i = 0; i < 1025; ++i) accounts.push_back(cache.get(foreignUUID(i)));
    testClock += kTwelveHours;
    // The record of the same identity may itself be the one that made room: then all others stay.
    accounts.push_back(cache.get(foreignUUID(0)));
    EXPECT_FALSE(isCached(accounts[0]));
    EXPECT_TRUE(isCached(accounts.back()));
    EXPECT_GE(countCached(accounts), 1024);
    EXPECT_LE(countCached(accounts), 1025);
}

TEST_F(AccountInfoCacheTest, EvictsOldRecordsAndNewOnes) {
    std::vector<AccountPtr> accounts;
    for (unsigned i = 0; i < 5000; ++i) accounts.push_back(cache.get(userUUID(100000 + i)));
    EXPECT_EQ(countCached(accounts), 1025);
    // By age it would be none or all; at random, some 390 of the first 4000 are still there.
    const std::vector<AccountPtr> early(accounts.begin(), accounts.begin() + 4000);
    EXPECT_GT(countCached(early), 100);
    EXPECT_LT(countCached(early), 900);
}

TEST_F(AccountInfoCacheTest, ExpiredRecordsStayUntilTheyAreAskedFor) {
    const AccountPtr first = cache.get(foreignUUID(1));
    const AccountPtr second = cache.get(foreignUUID(2));
    testClock += 100 * kTwelveHours;
    cache.get(foreignUUID(2));
    EXPECT_TRUE(isCached(first));
    EXPECT_FALSE(isCached(second));
}

TEST_F(AccountInfoCacheTest, ReleasesItsRecordsWhenItGoes) {
    AccountPtr account;
    {
        AccountInfoCache other;
        account = other.get(foreignUUID(1));
        EXPECT_TRUE(isCached(account));
    }
    EXPECT_FALSE(isCached(account));
    Deletions::await(account.get());
    account.reset();
    EXPECT_TRUE(Deletions::came()) << "nobody else held it";
}

// ---- A slow name service

TEST_F(AccountInfoCacheTest, AnswersOthersWhileTheNameServiceIsAsked) {
    const AccountPtr bob = cache.get(userUUID(kBob));
    lookUps.hold(kAlice);
    std::future<AccountPtr> slow = getElsewhere(userUUID(kAlice));
    ASSERT_TRUE(lookUps.waitForHeld(1));

    std::future<AccountPtr> cached = getElsewhere(userUUID(kBob));
    std::future<AccountPtr> missed = getElsewhere(foreignUUID(1));
    const bool cachedIsReady = cached.wait_for(kBound) == std::future_status::ready;
    const bool missedIsReady = missed.wait_for(kBound) == std::future_status::ready;
    const bool slowIsReady = slow.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    lookUps.release();
    EXPECT_TRUE(cachedIsReady);
    EXPECT_TRUE(missedIsReady);
    EXPECT_FALSE(slowIsReady);
    EXPECT_EQ(cached.get(), bob);
    EXPECT_STREQ(slow.get()->getName(), "HOST\\alice");
}

TEST_F(AccountInfoCacheTest, ThreadsThatMissTogetherAllAskAndTheLastAnswerStays) {
    lookUps.hold(kAlice);
    std::vector<std::future<AccountPtr>> threads;
    for (int i = 0; i < 4; ++i) threads.push_back(getElsewhere(userUUID(kAlice)));
    const bool allAsk = lookUps.waitForHeld(4);
    lookUps.release();
    EXPECT_TRUE(allAsk);

    std::vector<AccountPtr> answers;
    for (std::future<AccountPtr>& thread : threads) answers.push_back(thread.get());
    EXPECT_EQ(std::set<AccountPtr>(answers.begin(), answers.end()).size(), 4u);
    for (const AccountPtr& answer : answers) EXPECT_STREQ(answer->getName(), "HOST\\alice");
    EXPECT_EQ(countCached(answers), 1);
    EXPECT_TRUE(isCached(cache.get(userUUID(kAlice))));
    EXPECT_EQ(lookUps.lookUpsOf(kAlice), 4u) << "the record that stayed is answered";
}

TEST_F(AccountInfoCacheTest, ANameOfTheComputerThatChangesDuringTheLookUpHeadsTheName) {
    lookUps.hold(kAlice);
    std::future<AccountPtr> slow = getElsewhere(userUUID(kAlice));
    ASSERT_TRUE(lookUps.waitForHeld(1));
    renameComputer("NEW");
    lookUps.release();
    const AccountPtr account = slow.get();
    EXPECT_STREQ(account->getName(), "NEW\\alice");
    EXPECT_EQ(cache.get(userUUID(kAlice)), account);
}

TEST_F(AccountInfoCacheTest, TheLifetimeBeginsBeforeTheLookUp) {
    lookUps.hold(kAlice);
    std::future<AccountPtr> slow = getElsewhere(userUUID(kAlice));
    ASSERT_TRUE(lookUps.waitForHeld(1));
    testClock += kTwelveHours;
    lookUps.release();
    const AccountPtr account = slow.get();
    EXPECT_NE(cache.get(userUUID(kAlice)), account);
}

// ---- A name service that fails

TEST_F(AccountInfoCacheTest, AFailingLookUpLeavesTheNameEmptyAndIsKeptAsAnyAnswer) {
    lookUps.fail(kAlice, {EIO});
    const AccountPtr account = cache.get(userUUID(kAlice));
    EXPECT_EQ(account->getType(), AccountTypeUser);
    EXPECT_EQ(account->getID(), kAlice);
    EXPECT_STREQ(account->getName(), "");
    EXPECT_STREQ(account->getSID(), "S-1-22-1-70001");
    EXPECT_FALSE(account->allFieldsValid());
    lookUps.fail(kAlice, {});
    EXPECT_EQ(cache.get(userUUID(kAlice)), account);
}

TEST_F(AccountInfoCacheTest, ALookUpThatASignalInterruptsIsMadeAgain) {
    lookUps.fail(kAlice, {EINTR, EINTR, 0});
    EXPECT_STREQ(cache.get(userUUID(kAlice))->getName(), "HOST\\alice");
    EXPECT_EQ(lookUps.lookUpsOf(kAlice), 3u);
}

TEST_F(AccountInfoCacheTest, AnEntryThatNoRoomIsEnoughForIsGivenUp) {
    lookUps.fail(kAlice, {ERANGE});
    EXPECT_STREQ(cache.get(userUUID(kAlice))->getName(), "");
    EXPECT_LT(lookUps.lookUpsOf(kAlice), 64u);
}

TEST_F(AccountInfoCacheTest, ARenameOfTheComputerCountsAsAFurtherFailureOfAnIncompleteRecord) {
    DomainService::reset();
    DomainService::stopDaemon();
    const AccountPtr first = cache.get(userUUID(kAlice));
    EXPECT_STREQ(first->getSID(), "") << "a domain that does not answer";
    EXPECT_STREQ(first->getName(), "HOST\\alice");
    testClock += kTwelveHours - 1;
    EXPECT_EQ(cache.get(userUUID(kAlice)), first);

    renameComputer("SECOND");
    const AccountPtr second = cache.get(userUUID(kAlice));
    EXPECT_STREQ(second->getName(), "SECOND\\alice");
    testClock += 14;
    EXPECT_EQ(cache.get(userUUID(kAlice)), second);
    testClock += 1;
    EXPECT_NE(cache.get(userUUID(kAlice)), second) << "15 seconds, as after the second failure in a row";
}

TEST_F(AccountInfoCacheTest, AnAccountOfADomainHasItsSID) {
    DomainService::reset();
    DomainService::add(kAlice, DomainService::Kind::User, "S-1-5-21-1-2-3-1104");
    const AccountPtr account = cache.get(userUUID(kAlice));
    EXPECT_STREQ(account->getSID(), "S-1-5-21-1-2-3-1104");
    EXPECT_TRUE(account->allFieldsValid());
}
