// A stream on a disk that fails, in a process that dies. Each case runs in a process of its own, which tells through
// shared memory how far it came; then this process opens what is left and looks.

#include "FaultyFiles.h"
#include "TemporaryFolder.h"

#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/StreamStorage.h>

#include <gtest/gtest.h>

#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

using namespace KXCore;
using namespace KXCore::CoreFoundation;

namespace {

/// How far a process came. Payloads are numbers, appended in ascending order.
struct Progress {
    std::atomic<int> synced{0};     ///< the last payload whose sync or discard came back
    std::atomic<int> discarded{0};  ///< the last payload that a discard was asked to delete
    std::atomic<bool> opened{false};
    std::atomic<bool> faultHit{false};
};

class SharedProgress {
  public:
    SharedProgress() {
        void* const memory = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        progress_ = new (memory) Progress();
    }
    ~SharedProgress() { munmap(progress_, sizeof(Progress)); }
    Progress* operator->() const { return progress_; }
    Progress& operator*() const { return *progress_; }

  private:
    Progress* progress_;
};

void append(StreamStorage& storage, int payload) {
    // Some items are large, so that transactions span many pages.
    const std::string text = std::to_string(payload) + std::string(payload % 3 == 0 ? 6000 : 10, '.');
    storage.appendItem(StringRef::createWithStdString(nullptr, text, kCFStringEncodingUTF8).get(), 0);
}

std::vector<int> payloads(StreamStorage& storage) {
    std::vector<int> found;
    const std::unique_ptr<StreamCursor> cursor(
        storage.createStreamCursor(StreamCursorForward, storage.getFirstItemID(), nullptr));
    PropertyListRef item;
    unsigned long long last = 0;
    while (const unsigned long long id = cursor->getNextItem(nullptr, item)) {
        EXPECT_TRUE(last == 0 || id == last + 1) << "a gap before " << id;
        last = id;
        StringRef text;
        text.assign(item.get());
        const std::string utf8 = text.copyStdString();
        const int payload = std::stoi(utf8);
        EXPECT_EQ(utf8, std::to_string(payload) + std::string(payload % 3 == 0 ? 6000 : 10, '.')) << "a torn item";
        found.push_back(payload);
    }
    return found;
}

/// Two rounds that sync, one that discards, and one that uses the pages that this set free.
constexpr int kRounds = 4;

/// Opens, appends, syncs and discards, over and over, and says how far it came.
void work(const std::string& path, Progress& progress, int rounds) {
    StreamStorage storage(path.c_str(), FileAttributes());
    storage.openStorage(StreamModeReadWrite);
    progress.opened = true;
    int payload = progress.synced;
    for (int round = 0; round < rounds; ++round) {
        for (int i = 0; i < 4; ++i) append(storage, ++payload);
        if (round % 3 == 2) {
            // What was delivered is discarded; the appends of this round become durable with it.
            const unsigned long long first = storage.getFirstItemID();
            progress.discarded = progress.discarded + 3;
            storage.discardItemsWithIDLessThanOrEqualTo(first + 2);
        } else {
            storage.syncStorage();
        }
        if (!faulty::state().hit) progress.synced = payload;
    }
    append(storage, ++payload);  // the destruction commits it
}

/// Runs `body` in a process of its own; how it ended.
int inAnotherProcess(const std::function<void()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        // What a fatal exit says is expected here.
        if (!std::freopen("/dev/null", "w", stderr)) _exit(98);
        body();
        _exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

class StreamDistrust : public ::testing::Test {
  protected:
    /// What a stream must still hold: in order, whole, and everything that was synced and not discarded.
    void check(const std::string& path, const Progress& progress, const std::string& what) {
        SCOPED_TRACE(what);
        ::testing::internal::CaptureStderr();
        StreamStorage storage(path.c_str(), FileAttributes());
        storage.openStorage(StreamModeReadWrite);
        const std::vector<int> found = payloads(storage);
        const std::string said = ::testing::internal::GetCapturedStderr();
        EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
        EXPECT_EQ(std::adjacent_find(found.begin(), found.end()), found.end()) << "an item twice";
        if (progress.opened || progress.synced > 0) {
            EXPECT_EQ(said, "") << "a stream that worked was given up";
            for (int payload = progress.discarded + 1; payload <= progress.synced; ++payload) {
                EXPECT_TRUE(std::binary_search(found.begin(), found.end(), payload)) << payload << " is lost";
            }
        }
        // And it works.
        append(storage, 1000000);
        storage.syncStorage();
        EXPECT_EQ(payloads(storage).back(), 1000000);
    }

    TemporaryFolder folder = TemporaryFolder::inMemory();
    int number = 0;

    std::string newFolder() {
        const std::string path = (folder.path() / std::to_string(++number)).string();
        std::filesystem::create_directory(path);
        return path;
    }
};

}  // namespace

TEST_F(StreamDistrust, ADiskThatIsFullFromAnyWriteOnLosesNothingThatWasSynced) {
    for (int n = 1;; ++n) {
        const std::string path = newFolder() + "/stream";
        SharedProgress progress;
        const int status = inAnotherProcess([&] {
            faulty::install({.request = faulty::Write, .failAt = n, .failsFromThenOn = true});
            work(path, *progress, kRounds);
            progress->faultHit = faulty::state().hit;
        });
        const bool ended = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        ASSERT_TRUE(ended || (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT)) << n << ": " << status;
        check(path, *progress, "a disk full from write " + std::to_string(n));
        if (ended && !progress->faultHit) break;
        if (HasFailure()) return;
        ASSERT_LT(n, 1000);
    }
}

TEST_F(StreamDistrust, GoesOnWhenAFullDiskHasRoomAgain) {
    const std::string path = newFolder() + "/stream";
    {
        StreamStorage storage(path.c_str(), FileAttributes());
        storage.openStorage(StreamModeReadWrite);
        append(storage, 1);
        storage.syncStorage();
        rlimit before{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
        const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
        // No file may grow any more; what was appended meanwhile is lost, and says so by not being there.
        rlimit full = before;
        full.rlim_cur = 0;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
        for (int payload = 2; payload < 6; ++payload) append(storage, payload);
        storage.syncStorage();
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
        std::signal(SIGXFSZ, ignored);
        const std::vector<int> held = payloads(storage);
        append(storage, 6);
        storage.syncStorage();
        std::vector<int> expected = held;
        expected.push_back(6);
        EXPECT_EQ(payloads(storage), expected);
    }
    StreamStorage storage(path.c_str(), FileAttributes());
    storage.openStorage(StreamModeReadWrite);
    const std::vector<int> found = payloads(storage);
    ASSERT_FALSE(found.empty());
    EXPECT_EQ(found.front(), 1);
    EXPECT_EQ(found.back(), 6);
}

TEST_F(StreamDistrust, ADiscardOnAFullDiskIsDoneWholeOrNotAtAllAndHoldsNothing) {
    for (const bool withPending : {false, true}) {
        int refused = 0;
        for (int n = 1;; ++n) {
            SCOPED_TRACE("full from write " + std::to_string(n) + (withPending ? " with appends pending" : ""));
            const std::string path = newFolder() + "/stream";
            faulty::install({});
            StreamStorage storage(path.c_str(), FileAttributes());
            storage.openStorage(StreamModeReadWrite);
            for (int payload = 1; payload <= 30; ++payload) append(storage, payload);
            storage.syncStorage();
            if (withPending) append(storage, 31);

            faulty::Plan& plan = faulty::state().plan;
            plan = {
                .request = faulty::Write, .failAt = faulty::state().counts[faulty::Write] + n, .failsFromThenOn = true};
            storage.discardItemsWithIDLessThanOrEqualTo(20);
            plan.failAt = 0;  // the disk has room again
            faulty::uninstall();

            // Nobody is kept from writing, whatever became of it.
            sqlite3* other = nullptr;
            ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
            EXPECT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE; ROLLBACK", nullptr, nullptr, nullptr), SQLITE_OK);
            sqlite3_close(other);

            const std::vector<int> found = payloads(storage);
            ASSERT_FALSE(found.empty());
            const bool done = found.front() == 21;
            EXPECT_TRUE(done || found.front() == 1) << found.front();
            EXPECT_EQ(found.back(), withPending && done ? 31 : 30) << "appends that were pending share its fate";
            EXPECT_EQ(done, !faulty::state().hit);
            refused += done ? 0 : 1;

            append(storage, 32);
            storage.discardItemsWithIDLessThanOrEqualTo(25);
            const std::vector<int> after = payloads(storage);
            EXPECT_EQ(after.front(), 26);
            EXPECT_EQ(after.back(), 32);
            if (done || HasFailure()) break;
            ASSERT_LT(n, 1000);
        }
        EXPECT_GT(refused, 5);
    }
}

TEST_F(StreamDistrust, AnyOneFailureOfTheDiskLosesNothingThatWasSynced) {
    for (int kind = 0; kind < faulty::RequestCount; ++kind) {
        const auto request = static_cast<faulty::Request>(kind);
        for (int n = 1;; ++n) {
            const std::string path = newFolder() + "/stream";
            SharedProgress progress;
            const int status = inAnotherProcess([&] {
                faulty::install({.request = request, .failAt = n});
                work(path, *progress, kRounds);
                progress->faultHit = faulty::state().hit;
            });
            const std::string what = std::string("the failure of ") + faulty::nameOf(request) + " " + std::to_string(n);
            const bool ended = WIFEXITED(status) && WEXITSTATUS(status) == 0;
            ASSERT_TRUE(ended || (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT)) << what << ": " << status;
            check(path, *progress, what);
            if (ended && !progress->faultHit) break;
            if (HasFailure()) return;
            ASSERT_LT(n, 1000);
        }
    }
}

TEST_F(StreamDistrust, AnyOneFailureOfTheDiskWhileOpeningAStreamWithItemsLeavesItOrGivesItUp) {
    for (const faulty::Request request : {faulty::Read, faulty::Write, faulty::Sync, faulty::Open, faulty::Delete}) {
        for (int n = 1;; ++n) {
            const std::string path = newFolder() + "/stream";
            SharedProgress progress;
            work(path, *progress, 2);
            const int status = inAnotherProcess([&] {
                faulty::install({.request = request, .failAt = n});
                StreamStorage storage(path.c_str(), FileAttributes());
                storage.openStorage(StreamModeReadWrite);
                payloads(storage);
                progress->faultHit = faulty::state().hit;
            });
            ASSERT_TRUE(WIFEXITED(status) || WTERMSIG(status) == SIGABRT) << faulty::nameOf(request) << ' ' << n;
            StreamStorage storage(path.c_str(), FileAttributes());
            storage.openStorage(StreamModeReadWrite);
            const std::vector<int> found = payloads(storage);
            EXPECT_TRUE(found.empty() || found == (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}))
                << faulty::nameOf(request) << ' ' << n << ": " << found.size();
            if (WIFEXITED(status) && !progress->faultHit) break;
            ASSERT_LT(n, 100);
        }
    }
}

TEST_F(StreamDistrust, ACutOfThePowerAfterAnyWriteLosesNothingThatWasSynced) {
    for (int n = 1;; ++n) {
        const std::string path = newFolder() + "/stream";
        SharedProgress progress;
        const int status = inAnotherProcess([&] {
            faulty::install({.cutAtWrite = n});
            work(path, *progress, kRounds);
            progress->faultHit = true;  // it came to the end
        });
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        // What the cut left may be no stream yet when it came before the first commit.
        if (progress->synced == 0) progress->opened = false;
        check(path, *progress, "a cut after write " + std::to_string(n));
        if (progress->faultHit || HasFailure()) break;
        ASSERT_LT(n, 1000);
    }
}

TEST_F(StreamDistrust, AProcessKilledAHundredTimesLosesNothingThatWasSynced) {
    constexpr int kKept = 100;  // enough for a table of many pages
    const std::string path = newFolder() + "/stream";
    SharedProgress progress;
    std::mt19937 random(4711);
    int first = 1;
    for (int i = 0; i < 100; ++i) {
        int syncs[2];  // a byte each
        ASSERT_EQ(pipe(syncs), 0);
        const pid_t child = fork();
        if (child == 0) {
            StreamStorage storage(path.c_str(), FileAttributes());
            storage.openStorage(StreamModeReadWrite);
            for (int payload = progress->synced;;) {
                append(storage, ++payload);
                if (payload % 5 != 0) continue;
                storage.syncStorage();
                progress->synced = payload;
                if (write(syncs[1], "", 1) != 1) _exit(1);
            }
        }
        close(syncs[1]);
        // Killed once it has synced a few times, wherever it is by then.
        char byte;
        for (auto left = random() % 12; left > 0; --left) ASSERT_EQ(read(syncs[0], &byte, 1), 1);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        close(syncs[0]);

        StreamStorage storage(path.c_str(), FileAttributes());
        storage.openStorage(StreamModeReadWrite);
        const std::vector<int> found = payloads(storage);
        const int synced = progress->synced;
        if (found.empty()) {
            ASSERT_EQ(synced, 0) << "round " << i;
            continue;
        }
        ASSERT_GE(found.back(), synced) << "round " << i;
        ASSERT_EQ(found.front(), first) << "round " << i;
        ASSERT_EQ(found.back() - first + 1, static_cast<int>(found.size())) << "round " << i;
        // A commit may have been durable before it was told.
        progress->synced = found.back();
        if (found.back() - first < kKept) continue;
        first = found.back() - kKept + 1;
        storage.discardItemsWithIDLessThanOrEqualTo(storage.getLastItemID() - kKept);
    }
    EXPECT_GT(progress->synced, kKept);
}

// ---- Size

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kMany = 100000;
#else
constexpr int kMany = 1000000;
#endif

void fill(const std::string& path, int count) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    const std::string sql =
        "CREATE TABLE stream01 (id INTEGER PRIMARY KEY, attributes BLOB);"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<" +
        std::to_string(count) +
        ") INSERT INTO stream01 SELECT i, '<plist version=\"1.0\"><integer>' || i || '</integer></plist>' FROM n;";
    ASSERT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
}

/// The reads that opening a stream and asking for its first and last id cost.
int readsToOpen(const std::string& path, int count) {
    faulty::install({});
    {
        StreamStorage storage(path.c_str(), FileAttributes());
        storage.openStorage(StreamModeReadWrite);
        EXPECT_EQ(storage.getFirstItemID(), 1u);
        EXPECT_EQ(storage.getLastItemID(), static_cast<unsigned long long>(count));
    }
    faulty::uninstall();
    return faulty::state().counts[faulty::Read];
}

}  // namespace

TEST_F(StreamDistrust, AMillionItemsCostACursorOneBatchOfMemoryAndOpeningNothingMore) {
    const std::string small = newFolder() + "/stream", large = newFolder() + "/stream";
    fill(small, 1000);
    fill(large, kMany);
    // A few levels of the table's tree more, whatever the number of items.
    EXPECT_LE(readsToOpen(large, kMany), readsToOpen(small, 1000) + 8);

    StreamStorage storage(large.c_str(), FileAttributes());
    storage.openStorage(StreamModeReadOnly);
    const std::unique_ptr<StreamCursor> cursor(storage.createStreamCursor(StreamCursorForward, 1, nullptr));
    PropertyListRef item;
    std::size_t before = 0, most = 0;
    for (int i = 1; i <= kMany; ++i) {
        ASSERT_EQ(cursor->getNextItem(nullptr, item), static_cast<unsigned long long>(i));
        // From the second batch on; SQLite's own page cache has its fixed size by then.
        if (i == kMany / 4) before = mallinfo2().uordblks;
        if (i > kMany / 4 && i % 1000 == 0) most = std::max<std::size_t>(most, mallinfo2().uordblks);
    }
    EXPECT_EQ(cursor->getNextItem(nullptr, item), 0u);
    EXPECT_LE(most, before + 300000);
}
