// A stream in several hands: threads beside one that opens it again, a file that another connection holds locked, an
// old cursor that holds it, a second process.

#include "InsteadOfSleeping.h"
#include "StreamFixture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <thread>

using namespace stream_test;

namespace {

using namespace std::literals;

/// Another connection to the file, as another process has it.
class OtherConnection {
  public:
    explicit OtherConnection(const std::string& path) { EXPECT_EQ(sqlite3_open(path.c_str(), &handle_), SQLITE_OK); }
    ~OtherConnection() { sqlite3_close(handle_); }
    OtherConnection(const OtherConnection&) = delete;
    OtherConnection& operator=(const OtherConnection&) = delete;

    int execute(const char* sql) { return sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr); }

  private:
    sqlite3* handle_ = nullptr;
};

/// Runs an action once, when the next connection opens its file.
class WhileOpening {
  public:
    explicit WhileOpening(std::function<void()> action) {
        atOpening() = std::move(action);
        vfs_.zName = "opening";
        vfs_.xOpen = [](sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
            if (const auto now = std::exchange(atOpening(), nullptr)) now();
            return faulty::real()->xOpen(faulty::real(), name, file, flags, outFlags);
        };
        sqlite3_vfs_register(&vfs_, 1);
    }
    ~WhileOpening() {
        sqlite3_vfs_register(faulty::real(), 1);
        sqlite3_vfs_unregister(&vfs_);
    }
    WhileOpening(const WhileOpening&) = delete;
    WhileOpening& operator=(const WhileOpening&) = delete;

  private:
    static std::function<void()>& atOpening() {
        static std::function<void()> action;
        return action;
    }

    static inline sqlite3_vfs vfs_ = *faulty::real();
};

/// Runs `body` on a thread of its own and returns once that thread waits for something, or has come to its end.
std::thread startedAndWaiting(std::function<void()> body) {
    std::promise<pid_t> started;
    std::thread thread([&started, body = std::move(body)] {
        started.set_value(gettid());
        body();
    });
    const std::string path = "/proc/self/task/" + std::to_string(started.get_future().get()) + "/stat";
    for (std::string line; std::getline(std::ifstream(path), line) && line.find(") R ") != std::string::npos;) {
        std::this_thread::yield();
    }
    return thread;
}

constexpr const char* kInsert = "INSERT INTO stream01 (attributes) VALUES ('<plist><string>theirs</string></plist>')";

class StreamSharingTest : public Stream {
  protected:
    std::vector<std::string> texts() {
        std::vector<std::string> found;
        const auto reader = cursor(StreamCursorForward, storage->getFirstItemID());
        PropertyListRef item;
        while (reader->getNextItem(nullptr, item) != 0) found.push_back(textOf(item));
        return found;
    }
};

using Texts = std::vector<std::string>;

}  // namespace

// ---- Opened again beside other threads

TEST_F(StreamSharingTest, OpeningAgainWithPendingAppendsLosesNoDiscardAndNoReadOfOtherThreads) {
    constexpr unsigned long long kItems = 400;
    open();
    appendNumbered(1, static_cast<int>(kItems));
    storage->syncStorage();
    std::atomic<bool> done{false};
    std::thread opener([&] {
        while (!done) {
            append("pending");
            open();
        }
    });
    for (unsigned long long id = 1; id < kItems; ++id) {
        storage->discardItemsWithIDLessThanOrEqualTo(id);
        EXPECT_EQ(storage->getFirstItemID(), id + 1);
        EXPECT_GE(storage->getLastItemID(), kItems);
        EXPECT_EQ(rest(*cursor(StreamCursorForward, 1), 1), range(id + 1, id + 1));
    }
    done = true;
    opener.join();
}

TEST_F(StreamSharingTest, OpeningAgainKeepsTheSyncedItemsOfOtherThreads) {
    open();
    std::atomic<bool> done{false};
    std::thread opener([&] {
        while (!done) open();
    });
    // An append may be lost when the storage is opened again before the sync; what is there after it stays.
    unsigned long long last = 0;
    for (int i = 0; i < 200; ++i) {
        append("item");
        storage->syncStorage();
        const unsigned long long now = storage->getLastItemID();
        EXPECT_GE(now, last);
        last = now;
    }
    done = true;
    opener.join();
    EXPECT_GE(last, 1u);
}

TEST_F(StreamSharingTest, AnAppendBesideAnOpeningGoesToTheNewSession) {
    open();
    append("synced");
    storage->syncStorage();
    append("pending");
    std::thread other;
    {
        const WhileOpening appendBeside([&] { other = startedAndWaiting([&] { append("beside"); }); });
        open();
    }
    other.join();
    EXPECT_EQ(texts(), (Texts{"synced", "beside"}));
}

TEST_F(StreamSharingTest, ASyncBesideAnOpeningDoesNotCommitWhatTheOpeningLost) {
    open();
    append("synced");
    storage->syncStorage();
    append("pending");
    const auto reader = cursor(StreamCursorForward, 1);  // keeps the old session
    std::thread other;
    {
        const WhileOpening syncBeside([&] { other = startedAndWaiting([&] { storage->syncStorage(); }); });
        open();
    }
    other.join();
    EXPECT_EQ(texts(), Texts{"synced"});
    EXPECT_EQ(rest(*reader), range(1, 2));
}

TEST_F(StreamSharingTest, AClosingThatWaitsForAnOpeningClosesWhatWasOpened) {
    open();
    append("1");
    storage->syncStorage();
    std::thread other;
    {
        const WhileOpening closeBeside([&] { other = startedAndWaiting([&] { storage->closeStorage(); }); });
        open();
    }
    other.join();
    EXPECT_EQ(storage->getLastItemID(), 0u);
}

TEST_F(StreamSharingTest, OfTwoOpeningsOfAClosedStorageTheLaterOneStands) {
    open();
    append("1");
    storage->syncStorage();
    storage->closeStorage();
    {
        const WhileOpening openBeside([&] {
            open();
            append("2");
            storage->syncStorage();
        });
        storage->openStorage(StreamModeReadOnly);
    }
    EXPECT_EQ(all(), range(1, 2));
    append("refused");
    EXPECT_EQ(all(), range(1, 2));
}

TEST_F(StreamSharingTest, ASyncThatWaitsWhileTheStorageIsOpenedAgainCommitsNothingAndHoldsNoLock) {
    open();
    append("synced");
    storage->syncStorage();
    append("pending");
    OtherConnection other(path);
    ASSERT_EQ(other.execute("BEGIN; SELECT count(*) FROM stream01"), SQLITE_OK);
    bool again = false;
    ::testing::internal::CaptureStderr();
    {
        const InsteadOfSleeping openAgain([&] {
            EXPECT_FALSE(std::exchange(again, true)) << "it waits for what it holds itself";
            open();
        });
        storage->syncStorage();
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(again);
    EXPECT_EQ(other.execute("COMMIT"), SQLITE_OK);
    EXPECT_EQ(texts(), Texts{"synced"});
    append("next");
    storage->syncStorage();
    EXPECT_EQ(other.execute("BEGIN IMMEDIATE; COMMIT"), SQLITE_OK);
    EXPECT_EQ(texts(), (Texts{"synced", "next"}));
}

TEST_F(StreamSharingTest, ADiscardThatWaitsWhileTheStorageIsOpenedAgainIsDoneInTheNewSession) {
    open();
    appendNumbered(1, 5);
    storage->syncStorage();
    OtherConnection other(path);
    ASSERT_EQ(other.execute("BEGIN IMMEDIATE"), SQLITE_OK);
    {
        const InsteadOfSleeping openAgain([&] {
            EXPECT_EQ(other.execute("COMMIT"), SQLITE_OK);
            open();
            append("6");  // holds the file locked for every session but its own
        });
        storage->discardItemsWithIDLessThanOrEqualTo(3);
    }
    EXPECT_EQ(all(), range(4, 6));
    storage->closeStorage();
    open();
    EXPECT_EQ(all(), range(4, 6));
}

TEST_F(StreamSharingTest, AnAppendThatWaitsWhileTheStorageIsClosedIsDropped) {
    open();
    append("1");
    storage->syncStorage();
    OtherConnection other(path);
    ASSERT_EQ(other.execute("BEGIN IMMEDIATE"), SQLITE_OK);
    {
        const InsteadOfSleeping close([&] {
            EXPECT_EQ(other.execute("COMMIT"), SQLITE_OK);
            storage->closeStorage();
        });
        append("2");
    }
    open();
    EXPECT_EQ(all(), range(1, 1));
}

// ---- A file that another connection holds locked

TEST_F(StreamSharingTest, AThreadThatWaitsForALockedFileStallsNoOther) {
    open();
    append("1");
    storage->syncStorage();
    OtherConnection other(path);
    ASSERT_EQ(other.execute("BEGIN IMMEDIATE"), SQLITE_OK);  // readers may still read
    std::future<IDs> beside;
    {
        const InsteadOfSleeping readBeside([&] {
            if (beside.valid()) return;
            beside = std::async(std::launch::async, [&] { return all(); });
            EXPECT_EQ(beside.wait_for(5s), std::future_status::ready) << "the reader waits for the one that waits";
            EXPECT_EQ(other.execute("COMMIT"), SQLITE_OK);
        });
        append("2");
    }
    ASSERT_TRUE(beside.valid()) << "the append did not wait";
    EXPECT_EQ(beside.get(), range(1, 1));
    EXPECT_EQ(all(), range(1, 2));
}

TEST_F(StreamSharingTest, ARefusedAppendLetsTheOtherConnectionCommitAndTheNextAppendWaitsAgain) {
    open();
    append("1");
    storage->syncStorage();
    OtherConnection other(path);
    ASSERT_EQ(other.execute("BEGIN IMMEDIATE"), SQLITE_OK);
    ASSERT_EQ(other.execute(kInsert), SQLITE_OK);
    int waits = 0;
    {
        const InsteadOfSleeping nothing([&] { ++waits; });
        append("refused");
        EXPECT_GT(waits, 1);
        EXPECT_EQ(all(), range(1, 1));
        EXPECT_EQ(storage->getLastItemID(), 1u);
    }
    const InsteadOfSleeping commit([&] {
        ++waits;
        EXPECT_EQ(other.execute("COMMIT"), SQLITE_OK) << "a read after the refused append keeps the file locked";
    });
    waits = 0;
    append("3");
    EXPECT_EQ(waits, 1);
    EXPECT_EQ(texts(), (Texts{"1", "theirs", "3"}));
}

TEST_F(StreamSharingTest, WaitsForALockedFileAMomentThenLongerAndASecondInAll) {
    std::vector<int> delays;
    const InsteadOfSleeping note([&] { delays.push_back(InsteadOfSleeping::milliseconds); });
    open();
    append("1");
    storage->syncStorage();
    OtherConnection other(path);
    ASSERT_EQ(other.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
    const std::vector<int> expected = {1, 2, 5, 10, 15, 20, 25, 25, 25, 50, 50, 100, 100, 100, 100, 100, 100, 100, 100};
    append("refused");
    EXPECT_EQ(delays, expected);
    delays.clear();
    EXPECT_EQ(storage->getFirstItemID(), 0u) << "it cannot be read";
    EXPECT_EQ(delays, expected) << "every operation begins anew";
}

TEST_F(StreamSharingTest, ARefusedAppendLeavesThoseThatArePending) {
    open();
    storage->closeStorage();
    execute(
        "CREATE TRIGGER refuse BEFORE INSERT ON stream01 WHEN CAST(NEW.attributes AS TEXT) LIKE '%refused%' "
        "BEGIN SELECT RAISE(FAIL, 'no'); END");
    open();
    append("1");
    append("refused");
    append("2");
    storage->syncStorage();
    EXPECT_EQ(texts(), (Texts{"1", "2"}));
}

TEST_F(StreamSharingTest, AnAppendInReadOnlyModeKeepsNobodyFromWriting) {
    open();
    append("1");
    storage->syncStorage();
    storage->openStorage(StreamModeReadOnly);
    append("refused");
    EXPECT_EQ(all(), range(1, 1));
    OtherConnection other(path);
    EXPECT_EQ(other.execute(kInsert), SQLITE_OK);
    EXPECT_EQ(all(), range(1, 2));
}

TEST_F(StreamSharingTest, ASyncThatIsRefusedStaysPendingUntilTheNext) {
    open();
    append("1");
    storage->syncStorage();
    append("2");
    OtherConnection other(path);
    ASSERT_EQ(other.execute("BEGIN; SELECT count(*) FROM stream01"), SQLITE_OK);
    int waits = 0;
    {
        const InsteadOfSleeping nothing([&] { ++waits; });
        storage->syncStorage();
    }
    EXPECT_GT(waits, 1);
    append("3");
    EXPECT_EQ(all(), range(1, 3));
    OtherConnection third(path);
    EXPECT_EQ(third.execute("SELECT count(*) FROM stream01"), SQLITE_BUSY) << "a pending commit lets no reader in";
    ASSERT_EQ(other.execute("COMMIT"), SQLITE_OK);
    storage->syncStorage();
    EXPECT_EQ(third.execute(kInsert), SQLITE_OK);
    EXPECT_EQ(all(), range(1, 4));
}

TEST_F(StreamSharingTest, EveryFetchOfACursorWaits) {
    open();
    for (int i = 0; i < 4; ++i) append(std::string(100000, 'x'));
    storage->syncStorage();
    OtherConnection other(path);
    int waits = 0;
    const InsteadOfSleeping commit([&] {
        ++waits;
        EXPECT_EQ(other.execute("COMMIT"), SQLITE_OK);
    });
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    for (unsigned long long id = 1; id <= 4; ++id) {
        if (id % 2 == 1) {
            ASSERT_EQ(other.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
        }
        EXPECT_EQ(reader->getNextItem(nullptr, item), id);
    }
    EXPECT_EQ(waits, 2);
}

// ---- An old cursor that holds the file

TEST_F(StreamSharingTest, AnAppendBesideAnOldCursorThatHoldsTheTransactionIsDroppedAfterItsWait) {
    open();
    append("synced");
    storage->syncStorage();
    append("pending");
    auto reader = cursor(StreamCursorForward, 1);
    open();
    int waits = 0;
    {
        const InsteadOfSleeping nothing([&] { ++waits; });
        append("dropped");
        EXPECT_GT(waits, 1);
        waits = 0;
        append("dropped as well");
        EXPECT_GT(waits, 1) << "every append waits anew";
        storage->discardItemsWithIDLessThanOrEqualTo(1);
        EXPECT_EQ(texts(), Texts{"synced"}) << "nothing is stored and nothing is lost";
    }
    EXPECT_EQ(rest(*reader), range(1, 2)) << "the old session goes on for its cursor";
    reader.reset();
    append("stored");
    storage->syncStorage();
    reopen();
    EXPECT_EQ(texts(), (Texts{"synced", "stored"}));
}

TEST_F(StreamSharingTest, AnAppendBesideAnOldCursorIsStoredOnceTheCursorIsDeleted) {
    open();
    append("synced");
    storage->syncStorage();
    append("pending");
    auto reader = cursor(StreamCursorForward, 1);
    open();
    {
        const InsteadOfSleeping deleteIt([&] { reader.reset(); });
        append("stored");
    }
    EXPECT_FALSE(reader);
    storage->syncStorage();
    EXPECT_EQ(texts(), (Texts{"synced", "stored"}));
}

TEST_F(StreamSharingTest, AnOldCursorWithNothingPendingHoldsNothing) {
    open();
    append("1");
    storage->syncStorage();
    const auto reader = cursor(StreamCursorForward, 1);
    open();
    const InsteadOfSleeping nothing([] { ADD_FAILURE() << "there is nothing to wait for"; });
    append("2");
    storage->discardItemsWithIDLessThanOrEqualTo(1);
    EXPECT_EQ(texts(), Texts{"2"});
}

// ---- A second process

namespace {

/// A second process that does one step of `body` at a time, when it is asked.
class OtherProcess {
  public:
    template <typename Body>
    explicit OtherProcess(Body body) {
        if (pipe(asked_) != 0 || pipe(done_) != 0) throw std::runtime_error("no pipe");
        child_ = fork();
        if (child_ != 0) return;
        close(asked_[1]);
        char number = 0;
        while (read(asked_[0], &number, 1) == 1) {
            body(static_cast<int>(number));
            if (write(done_[1], "", 1) != 1) break;
        }
        _exit(0);
    }
    ~OtherProcess() {
        close(asked_[1]);
        int status = 0;
        waitpid(child_, &status, 0);
        EXPECT_EQ(status, 0);
        for (const int end : {asked_[0], done_[0], done_[1]}) close(end);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    void step(int number) {
        const char byte = static_cast<char>(number);
        char answer;
        ASSERT_EQ(write(asked_[1], &byte, 1), 1);
        ASSERT_EQ(read(done_[0], &answer, 1), 1);
    }

  private:
    int asked_[2];
    int done_[2];
    pid_t child_;
};

}  // namespace

TEST_F(StreamSharingTest, TwoProcessesOnOneStreamSeeEachOthersItemsAndDiscards) {
    enum Step { Append, Discard };
    // Opened in the new process: a connection does not survive a fork.
    OtherProcess other([this, opened = false, items = 0](int step) mutable {
        if (!std::exchange(opened, true)) open();
        if (step == Append) {
            append("theirs " + std::to_string(++items));
            storage->syncStorage();
        } else {
            storage->discardItemsWithIDLessThanOrEqualTo(storage->getFirstItemID() + 1);
        }
    });
    other.step(Append);
    open();
    Texts expected{"theirs 1"};
    const InsteadOfSleeping nothing([] { ADD_FAILURE() << "a lock was left behind"; });
    for (int i = 1; i <= 5; ++i) {
        EXPECT_EQ(texts(), expected);
        append("ours " + std::to_string(i));
        storage->syncStorage();
        other.step(Append);
        expected.push_back("ours " + std::to_string(i));
        expected.push_back("theirs " + std::to_string(i + 1));
    }
    EXPECT_EQ(all(), range(1, 11));
    EXPECT_EQ(texts(), expected);
    other.step(Discard);
    EXPECT_EQ(all(), range(3, 11));
    storage->discardItemsWithIDLessThanOrEqualTo(4);
    other.step(Discard);
    EXPECT_EQ(all(), range(7, 11));
    other.step(Append);
    EXPECT_EQ(all(), range(7, 12));
}

TEST_F(StreamSharingTest, AnAppendADiscardAndASyncWaitForTheOtherProcess) {
    enum Step { AppendOnly, Sync };
    OtherProcess other([this, opened = false](int step) mutable {
        if (!std::exchange(opened, true)) open();
        if (step == AppendOnly) {
            append("theirs");
        } else {
            storage->syncStorage();
        }
    });
    other.step(Sync);
    open();
    int waits = 0;
    const InsteadOfSleeping sync([&] {
        ++waits;
        other.step(Sync);
    });
    other.step(AppendOnly);
    append("ours");
    EXPECT_EQ(waits, 1);
    EXPECT_EQ(texts(), (Texts{"theirs", "ours"}));
    storage->syncStorage();
    other.step(AppendOnly);
    storage->discardItemsWithIDLessThanOrEqualTo(1);
    EXPECT_EQ(waits, 2);
    EXPECT_EQ(texts(), (Texts{"ours", "theirs"}));
    other.step(AppendOnly);
    EXPECT_EQ(all(), range(2, 3)) << "what the other did not sync is its own";
    EXPECT_EQ(waits, 2) << "and keeps no reader waiting";
}

TEST_F(StreamSharingTest, AProcessThatDiesWithPendingAppendsHoldsNothing) {
    open();
    append("1");
    storage->syncStorage();
    storage->closeStorage();
    const pid_t child = fork();
    if (child == 0) {
        open();
        for (int i = 0; i < 60; ++i) append(std::string(100000, 'x'));  // part of them went to the disk
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
    const InsteadOfSleeping nothing([] { ADD_FAILURE() << "a dead process holds the file"; });
    open();
    append("2");
    EXPECT_EQ(texts(), (Texts{"1", "2"}));
}
