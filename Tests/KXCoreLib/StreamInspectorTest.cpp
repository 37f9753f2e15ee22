// Looking at stream files of every kind, from outside the library and beside it.

#include "InsteadOfSleeping.h"
#include "StreamFileState.h"
#include "StreamFixture.h"
#include "StreamFollower.h"
#include "StreamInspector.h"
#include "StreamMaintenance.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>

using namespace stream_test;

namespace {

using namespace std::literals;
using Kind = StreamError::Kind;
using Order = StreamInspector::Order;
using Lock = StreamFileState::Lock;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Another process that holds the file, in the state that some SQL leaves it in, until it is ended.
class Holder {
  public:
    Holder(const std::string& path, const std::string& sql) {
        int ready[2];
        if (pipe(ready) != 0) throw std::runtime_error("no pipe");
        child_ = fork();
        if (child_ == 0) {
            sqlite3* database = nullptr;
            sqlite3_open(path.c_str(), &database);
            sqlite3_stmt* reader = nullptr;
            const int code = sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
            if (code != SQLITE_OK && code != SQLITE_BUSY) _exit(1);
            // A statement in the middle of its rows keeps its lock.
            sqlite3_prepare_v2(database, "SELECT 1 FROM sqlite_master", -1, &reader, nullptr);
            sqlite3_step(reader);
            if (write(ready[1], "", 1) != 1) _exit(1);
            while (true) pause();
        }
        close(ready[1]);
        char byte;
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
    }
    ~Holder() { end(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    pid_t pid() const { return child_; }
    void end() {
        if (child_ == 0) return;
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        child_ = 0;
    }

  private:
    pid_t child_;
};

class StreamInspectorTest : public Stream {
  protected:
    void make(int count) {
        open();
        appendNumbered(1, count);
        storage->syncStorage();
        storage->closeStorage();
    }

    static std::filesystem::file_status status(const std::string& file) {
        std::error_code ignored;
        return std::filesystem::status(file, ignored);
    }

    /// Every file of the folder with its content: for what must not change.
    std::vector<std::pair<std::string, std::string>> everything() const {
        std::vector<std::pair<std::string, std::string>> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            files.emplace_back(entry.path().string(), status(entry.path()).type() == std::filesystem::file_type::regular
                                                          ? contentOf(entry.path())
                                                          : "");
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    /// Opening `file` must fail like this and change nothing, and its state must name the same fault.
    void expectFault(const std::string& file, Kind kind, const std::string& reason) const {
        SCOPED_TRACE(file);
        const auto before = everything();
        try {
            const StreamInspector inspector(file, 0ms);
            ADD_FAILURE() << "it was opened";
        } catch (const StreamError& error) {
            EXPECT_EQ(error.kind(), kind);
            EXPECT_EQ(error.reason(), reason);
            EXPECT_EQ(std::string(error.what()), file + ": " + reason);
            EXPECT_EQ(error.passes(), kind == Kind::Locked || kind == Kind::Unfinished);
        }
        const StreamFileState state = stateOfStreamFile(file);
        EXPECT_EQ(state.fault, kind);
        EXPECT_EQ(state.reason, reason);
        EXPECT_EQ(state.exists, std::filesystem::exists(status(file)));
        EXPECT_FALSE(state.isStream());
        EXPECT_EQ(everything(), before);
    }

    std::vector<long long> visited(const StreamInspector& inspector, Order order,
                                   std::optional<long long> from = std::nullopt, std::size_t most = 100000) {
        std::vector<long long> ids;
        inspector.visit(order, from, [&](StreamItem&& item) {
            ids.push_back(item.id);
            return ids.size() < most;
        });
        return ids;
    }
};

using Numbers = std::vector<long long>;

}  // namespace

// ---- What stands at a path

TEST_F(StreamInspectorTest, TellsApartWhatIsNoStreamAndChangesNothing) {
    expectFault(folder / "none", Kind::Missing, "there is no such file");
    expectFault(folder.path(), Kind::NotAFile, "is a directory");
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    expectFault(pipe, Kind::NotAFile, "is not a regular file");
    expectFault(folder.write("empty", ""), Kind::Empty, "not a stream: the file is empty");
    expectFault(folder.write("text", "somebody's text"), Kind::NotAStream, "not a stream: no SQLite database");
    expectFault(folder.write("cut", "SQLite format 3\0..."s), Kind::NotAStream,
                "not a stream: the file is cut off in its header");

    expectFault(folder / "text/below", Kind::Missing, "Not a directory");
    std::filesystem::create_symlink(folder / "circle", folder / "circle");
    expectFault(folder / "circle", Kind::Failed, "Too many levels of symbolic links");

    execute("CREATE TABLE other (x)");
    expectFault(path, Kind::NotAStream, "not a stream: a database without the table stream01");
    execute("CREATE VIEW stream01 AS SELECT 1 AS id, 2 AS attributes");
    expectFault(path, Kind::NotAStream, "not a stream: a database without the table stream01");
    execute("DROP VIEW stream01; CREATE TABLE stream01 (id INTEGER PRIMARY KEY)");
    expectFault(path, Kind::NotAStream, "not a stream: its table stream01 has other columns");
    execute("ALTER TABLE stream01 ADD attributes BLOB; PRAGMA journal_mode = WAL");
    expectFault(path, Kind::NotAStream, "not a stream: a database with a write-ahead log");
}

TEST_F(StreamInspectorTest, TellsADamagedFileFromOneThatIsNoStream) {
    make(1000);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    expectFault(path, Kind::Damaged, "database disk image is malformed");
}

TEST_F(StreamInspectorTest, TellsAChangeThatADeadProcessLeftUnfinished) {
    make(1000);
    {
        Holder writer(path, "PRAGMA cache_size = 1; BEGIN; UPDATE stream01 SET attributes = 'changed'");
        writer.end();
    }
    expectFault(path, Kind::Unfinished, "a change was left unfinished; the next opening for writing takes it back");
    const StreamMaintenance maintenance(path);
    EXPECT_EQ(maintenance.inspector().count(1, 1000), 1000);
    EXPECT_TRUE(stateOfStreamFile(path).isStream());
}

TEST_F(StreamInspectorTest, TellsWhatTheSystemRefuses) {
    make(1);
    const auto refusal = [this](auto open) -> std::string {
        try {
            open();
        } catch (const StreamError& error) {
            return error.kind() == Kind::NotAllowed ? error.what() : "another kind";
        }
        return "";
    };
    chmod(folder.path().c_str(), 0755);
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() != 0) _exit(0);  // the owner may do all of this
        chmod(path.c_str(), 0644);
        if (setresuid(65534, 65534, 65534) != 0) _exit(2);
        if (refusal([&] { StreamInspector{path}; }) != "") _exit(3);
        if (refusal([&] { StreamMaintenance{path}; }) != path + ": Permission denied") _exit(4);
        if (refusal([&] { StreamInspector{path}.copyTo(folder / "copy"); }) != folder / "copy: Permission denied")
            _exit(5);
        if (setresuid(65534, 0, 0) == 0) _exit(6);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);

    const pid_t second = fork();
    if (second == 0) {
        if (geteuid() != 0) _exit(0);
        chmod(path.c_str(), 0666);
        if (setresuid(65534, 65534, 65534) != 0) _exit(2);
        const std::string words = path + ": its folder cannot be written to: Permission denied";
        _exit(refusal([&] { StreamMaintenance{path}; }) == words ? 0 : 1);
    }
    waitpid(second, &status, 0);
    EXPECT_EQ(status, 0);

    const pid_t third = fork();
    if (third == 0) {
        if (geteuid() != 0) _exit(0);
        chmod(path.c_str(), 0600);
        if (setresuid(65534, 65534, 65534) != 0) _exit(2);
        const StreamFileState state = stateOfStreamFile(path);
        _exit(state.fault == Kind::NotAllowed && state.reason == "Permission denied" && state.exists &&
                      state.owner == 0 && (state.mode & 0777) == 0600
                  ? 0
                  : 1);
    }
    waitpid(third, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(StreamInspectorTest, TakesANameThatMeansSomethingElseToSQLiteForAFile) {
    make(3);
    std::filesystem::copy_file(path, folder / ":memory:");
    const pid_t child = fork();
    if (child == 0) {
        if (chdir(folder.path().c_str()) != 0) _exit(2);
        _exit(StreamInspector(":memory:").lastID() == 3 && stateOfStreamFile(":memory:").isStream() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(StreamInspectorTest, WaitsForALockedFile) {
    make(3);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    const auto lock = [other] {
        ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    };
    int waits = 0;
    const InsteadOfSleeping commit([&] {
        ++waits;
        sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr);
    });
    const StreamInspector inspector(path);
    lock();
    EXPECT_EQ(inspector.lastID(), 3);
    EXPECT_EQ(waits, 1);
    lock();
    EXPECT_EQ(inspector.count(1, 3), 3);
    EXPECT_EQ(waits, 2);
    sqlite3_close(other);
}

TEST_F(StreamInspectorTest, LeavesNoFileOpen) {
    make(3);
    folder.write("text", "text");
    folder.write("empty", "");
    const auto openFiles = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const auto look = [&](const std::string& copy) {
        StreamInspector(path).copyTo(folder / copy);
        EXPECT_TRUE(stateOfStreamFile(path).isStream());
        EXPECT_FALSE(stateOfStreamFile(folder / "text").isStream());
        EXPECT_THROW(StreamInspector(path).copyTo(folder / "text"), StreamError);
        EXPECT_FALSE(StreamMaintenance::hasRoom(path));
        StreamMaintenance::makeTable(folder / "empty");
        StreamMaintenance(path).compact();
    };
    look("first");  // what is opened once and for all
    const auto before = openFiles();
    look("second");
    look("third");
    EXPECT_EQ(openFiles(), before);
}

TEST_F(StreamInspectorTest, TellsOwnerModeSizeAndLink) {
    make(3);
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    StreamFileState state = stateOfStreamFile(path);
    EXPECT_TRUE(state.isStream());
    EXPECT_EQ(state.reason, "");
    EXPECT_EQ(state.owner, geteuid());
    EXPECT_EQ(state.group, getegid());
    EXPECT_EQ(state.mode, static_cast<mode_t>(S_IFREG | 0640));
    if (geteuid() == 0 && chown(path.c_str(), 1234, 5678) == 0) {
        EXPECT_EQ(stateOfStreamFile(path).owner, 1234u);
        EXPECT_EQ(stateOfStreamFile(path).group, 5678u);
    }
    EXPECT_EQ(state.size, static_cast<long long>(std::filesystem::file_size(path)));
    EXPECT_FALSE(state.isLink);
    EXPECT_EQ(state.lock, Lock::None);
    std::filesystem::create_symlink(path, folder / "link");
    state = stateOfStreamFile(folder / "link");
    EXPECT_TRUE(state.isStream());
    EXPECT_TRUE(state.isLink);
    EXPECT_EQ(state.mode, static_cast<mode_t>(S_IFREG | 0640));
    std::filesystem::create_symlink(folder / "nowhere", folder / "dangling");
    state = stateOfStreamFile(folder / "dangling");
    EXPECT_EQ(state.fault, Kind::Missing);
    EXPECT_TRUE(state.isLink);
    EXPECT_FALSE(state.exists);
}

TEST_F(StreamInspectorTest, TellsWhoHoldsTheFileAndHow) {
    make(1000);
    const auto expectLock = [&](const std::string& sql, Lock lock, std::optional<Kind> fault) {
        SCOPED_TRACE(sql);
        const Holder holder(path, sql);
        const StreamFileState state = stateOfStreamFile(path);
        EXPECT_EQ(state.lock, lock);
        EXPECT_EQ(state.holder, lock == Lock::None ? 0 : holder.pid());
        EXPECT_EQ(state.fault, fault);
    };
    expectLock("SELECT 1", Lock::Reading, std::nullopt);
    expectLock("BEGIN IMMEDIATE", Lock::Writing, std::nullopt);
    expectLock("BEGIN EXCLUSIVE", Lock::Exclusive, Kind::Locked);
    EXPECT_EQ(stateOfStreamFile(path).lock, Lock::None);
    const Holder reader(path, "SELECT 1");
    {
        const Holder writer(path, "BEGIN; DELETE FROM stream01");
        const StreamFileState state = stateOfStreamFile(path);
        EXPECT_EQ(state.lock, Lock::Writing) << "the stronger of two";
        EXPECT_EQ(state.holder, writer.pid());
        EXPECT_TRUE(state.isStream());
    }
    const Holder waiting(path, "BEGIN; DELETE FROM stream01; COMMIT");
    const StreamFileState state = stateOfStreamFile(path);
    EXPECT_EQ(state.lock, Lock::Exclusive) << "it waits for the reader to end and lets no other in";
    EXPECT_EQ(state.holder, waiting.pid());
    EXPECT_EQ(state.fault, Kind::Locked);
}

TEST_F(StreamInspectorTest, WaitsNoLongerThanItIsTold) {
    make(1);
    const Holder holder(path, "BEGIN EXCLUSIVE");
    expectFault(path, Kind::Locked, "another process holds it locked");
}

// ---- Items

TEST_F(StreamInspectorTest, VisitsItemsInBothDirectionsAcrossBatches) {
    make(1000);
    execute("DELETE FROM stream01 WHERE id BETWEEN 400 AND 600");
    const StreamInspector inspector(path);
    Numbers up(399), down;
    std::iota(up.begin(), up.end(), 1);
    for (long long id = 601; id <= 1000; ++id) up.push_back(id);
    down.assign(up.rbegin(), up.rend());
    EXPECT_EQ(visited(inspector, Order::Ascending), up);
    EXPECT_EQ(visited(inspector, Order::Descending), down);
    EXPECT_EQ(visited(inspector, Order::Ascending, 500, 2), (Numbers{601, 602}));
    EXPECT_EQ(visited(inspector, Order::Descending, 500, 2), (Numbers{399, 398}));
    EXPECT_EQ(visited(inspector, Order::Ascending, 1001), Numbers());
    EXPECT_EQ(inspector.firstID(), 1);
    EXPECT_EQ(inspector.lastID(), 1000);
    EXPECT_EQ(inspector.count(399, 601), 2);
    EXPECT_EQ(inspector.count(601, 399), 0);
    EXPECT_EQ(inspector.countThrough(399), 399);
    EXPECT_EQ(inspector.item(399), "<plist version=\"1.0\">\n<string>399</string>\n</plist>\n");
    EXPECT_EQ(inspector.item(400), std::nullopt);
}

TEST_F(StreamInspectorTest, AnEmptyStreamHasNoItems) {
    make(0);
    const StreamInspector inspector(path);
    EXPECT_EQ(inspector.firstID(), std::nullopt);
    EXPECT_EQ(inspector.lastID(), std::nullopt);
    EXPECT_EQ(visited(inspector, Order::Ascending), Numbers());
    EXPECT_EQ(visited(inspector, Order::Descending), Numbers());
    EXPECT_EQ(inspector.summary().count, 0);
}

TEST_F(StreamInspectorTest, LocksTheFileForNobodyWhileAnItemIsVisited) {
    make(1000);
    const StreamInspector inspector(path);
    int visits = 0;
    inspector.visit(Order::Ascending, std::nullopt, [&](StreamItem&&) {
        if (++visits == 300 || visits == 600) execute("INSERT INTO stream01 (attributes) VALUES ('x')");
        return true;
    });
    EXPECT_EQ(visits, 1002);
}

TEST_F(StreamInspectorTest, ReadsNoMoreThanSomeMegabytesAtATime) {
    make(0);
    execute("INSERT INTO stream01 (attributes) VALUES (zeroblob(600000)), (zeroblob(600000)), (zeroblob(600000))");
    const StreamInspector inspector(path);
    std::vector<std::size_t> sizes;
    inspector.visit(Order::Ascending, std::nullopt, [&](StreamItem&& item) {
        sizes.push_back(item.bytes.size());
        if (item.id == 1) execute("UPDATE stream01 SET attributes = 'changed meanwhile'");
        return true;
    });
    EXPECT_EQ(sizes, (std::vector<std::size_t>{600000, 600000, 17}));
}

TEST_F(StreamInspectorTest, EndsWhereIDsOfAForeignTableDoNotGoOn) {
    for (const auto& [order, from] : {std::pair(Order::Ascending, 1), std::pair(Order::Descending, -1)}) {
        execute(
            "DROP TABLE IF EXISTS stream01; CREATE TABLE stream01 (id REAL, attributes BLOB);"
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 600)"
            "INSERT INTO stream01 SELECT " +
            std::to_string(from) + " * (1 + i / 1000.0), 'x' FROM n");
        try {
            visited(StreamInspector(path), order, from);
            ADD_FAILURE() << "it goes round in circles";
        } catch (const StreamError& error) {
            EXPECT_EQ(error.kind(), Kind::Damaged);
            EXPECT_EQ(error.reason(), "its ids do not go on in whole numbers");
        }
    }
}

TEST_F(StreamInspectorTest, VisitsWhatStandsBeforeADamagedPlaceFromEitherEnd) {
    make(1000);
    {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(9 * 4096);
        file << std::string(4096, '\0');
    }
    const StreamInspector inspector(path);
    for (const Order order : {Order::Ascending, Order::Descending}) {
        Numbers ids;
        try {
            inspector.visit(order, std::nullopt, [&](StreamItem&& item) {
                ids.push_back(item.id);
                return true;
            });
            ADD_FAILURE() << "the damage was not noticed";
        } catch (const StreamError& error) {
            EXPECT_EQ(error.kind(), Kind::Damaged);
        }
        ASSERT_GT(ids.size(), 100u);
        EXPECT_EQ(ids.front(), order == Order::Ascending ? 1 : 1000);
        EXPECT_EQ(static_cast<std::size_t>(std::abs(ids.back() - ids.front())) + 1, ids.size());
    }
}

TEST_F(StreamInspectorTest, SumsUpAtOneMoment) {
    make(1000);
    execute("DELETE FROM stream01 WHERE id <= 500");
    const StreamInspector::Summary summary = StreamInspector(path).summary();
    EXPECT_EQ(summary.first, 501);
    EXPECT_EQ(summary.last, 1000);
    EXPECT_EQ(summary.count, 500);
    EXPECT_EQ(summary.bytes, 499 * 52 + 53);
    EXPECT_EQ(summary.fileBytes, static_cast<long long>(std::filesystem::file_size(path)));
    EXPECT_GT(summary.freeBytes, 0);
    EXPECT_LT(summary.freeBytes, summary.fileBytes);
    const StreamInspector::Space space = StreamInspector(path).space();
    EXPECT_EQ(space.freeBytes, summary.freeBytes);
    EXPECT_EQ(space.usedBytes, summary.fileBytes - summary.freeBytes);
}

TEST_F(StreamInspectorTest, AHoldKeepsWritersFromCommitting) {
    make(3);
    const StreamInspector inspector(path);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    const auto remove = [other] {
        return sqlite3_exec(other, "DELETE FROM stream01 WHERE id = 1", nullptr, nullptr, nullptr);
    };
    {
        const StreamInspector::Hold hold(inspector);
        EXPECT_EQ(remove(), SQLITE_BUSY);
        EXPECT_EQ(inspector.count(1, 3), 3);
    }
    EXPECT_EQ(remove(), SQLITE_OK);
    EXPECT_EQ(inspector.count(1, 3), 2);
    sqlite3_close(other);
}

TEST_F(StreamInspectorTest, AHoldThatIsRefusedLeavesNothingBehind) {
    make(3);
    const StreamInspector inspector(path, 0ms);
    {
        const Holder holder(path, "BEGIN EXCLUSIVE");
        EXPECT_THROW(StreamInspector::Hold{inspector}, StreamError);
    }
    const StreamInspector::Hold hold(inspector);
    EXPECT_EQ(inspector.lastID(), 3);
}

// ---- Copies

TEST_F(StreamInspectorTest, CopiesTheStreamWithTheRightsOfItsFile) {
    make(5000);
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    const auto before = contentOf(path);
    StreamInspector(path).copyTo(folder / "copy");
    EXPECT_EQ(contentOf(path), before);
    const StreamInspector copy(folder / "copy");
    EXPECT_EQ(visited(copy, Order::Ascending).size(), 5000u);
    EXPECT_EQ(copy.item(4711), StreamInspector(path).item(4711));
    EXPECT_EQ(stateOfStreamFile(folder / "copy").mode & 0777, 0640u);
    EXPECT_FALSE(std::filesystem::exists(folder / "copy-journal"));
}

TEST_F(StreamInspectorTest, CopiesOverNothingAndLeavesNothingHalfDone) {
    make(3);
    const StreamInspector inspector(path);
    const std::string there = folder.write("there", "somebody's");
    try {
        inspector.copyTo(there);
        ADD_FAILURE() << "it was copied";
    } catch (const StreamError& error) {
        EXPECT_EQ(error.kind(), Kind::Failed);
        EXPECT_EQ(std::string(error.what()), there + ": File exists");
    }
    EXPECT_EQ(contentOf(there), "somebody's");
    EXPECT_THROW(inspector.copyTo(folder / "no/copy"), StreamError);
}

TEST_F(StreamInspectorTest, CopiesOneMomentOfAStreamThatIsWrittenMeanwhile) {
    make(20);
    execute("UPDATE stream01 SET attributes = zeroblob(200000)");  // some thousand pages
    const pid_t writer = fork();
    if (writer == 0) {
        // All items change in one transaction, over and over.
        sqlite3* database = nullptr;
        sqlite3_open(path.c_str(), &database);
        sqlite3_busy_timeout(database, 10000);
        sqlite3_exec(database, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
        for (int i = 1;; ++i) {
            const std::string sql = "UPDATE stream01 SET attributes = " + std::to_string(i) + " || zeroblob(1000)";
            if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) _exit(1);
        }
    }
    const StreamInspector inspector(path);
    for (int i = 0; i < 5; ++i) {
        const std::string name = folder / ("copy" + std::to_string(i));
        inspector.copyTo(name);
        const StreamInspector copy(name);
        EXPECT_EQ(copy.count(1, 20), 20);
        for (long long id = 2; id <= 20; ++id) EXPECT_EQ(copy.item(id), copy.item(1));
    }
    kill(writer, SIGKILL);
    int status = 0;
    waitpid(writer, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the writer was kept from writing";
}

TEST_F(StreamInspectorTest, LeavesNoCopyOfADamagedStream) {
    make(1000);
    const StreamInspector inspector(path);
    std::filesystem::resize_file(path, 3 * 4096);
    EXPECT_THROW(inspector.copyTo(folder / "copy"), StreamError);
    EXPECT_FALSE(std::filesystem::exists(folder / "copy"));
}

TEST_F(StreamInspectorTest, LeavesNoCopyOfAStreamThatIsLocked) {
    make(3);
    const StreamInspector inspector(path, 0ms);
    const Holder holder(path, "BEGIN EXCLUSIVE");
    try {
        inspector.copyTo(folder / "copy");
        ADD_FAILURE() << "it was copied";
    } catch (const StreamError& error) {
        EXPECT_EQ(error.kind(), Kind::Locked);
        EXPECT_EQ(std::string(error.what()), path + ": another process holds it locked");
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "copy"));
}

// ---- Following

namespace {

Numbers polled(StreamFollower& follower) {
    Numbers ids;
    follower.poll([&](StreamItem&& item) {
        ids.push_back(item.id);
        return true;
    });
    return ids;
}

}  // namespace

TEST_F(StreamInspectorTest, FollowsWhatIsAppended) {
    make(3);
    StreamFollower fromNow(path, std::nullopt);
    StreamFollower fromTwo(path, 2);
    EXPECT_EQ(polled(fromNow), Numbers());
    EXPECT_EQ(polled(fromTwo), (Numbers{2, 3}));
    EXPECT_EQ(polled(fromTwo), Numbers());
    execute("INSERT INTO stream01 (attributes) VALUES ('x'), ('y')");
    EXPECT_EQ(polled(fromNow), (Numbers{4, 5}));
    EXPECT_EQ(polled(fromTwo), (Numbers{4, 5}));
}

TEST_F(StreamInspectorTest, FollowsOnAfterAVisitorThatStopped) {
    make(3);
    StreamFollower follower(path, 1);
    Numbers ids;
    const auto one = [&](StreamItem&& item) {
        ids.push_back(item.id);
        return false;
    };
    follower.poll(one);
    follower.poll(one);
    EXPECT_EQ(ids, (Numbers{1, 2}));
    EXPECT_EQ(polled(follower), Numbers{3});
}

TEST_F(StreamInspectorTest, FollowsAStreamThatCountsFromOneAgain) {
    make(3);
    StreamFollower follower(path, std::nullopt);
    execute("DELETE FROM stream01");
    EXPECT_EQ(polled(follower), Numbers());
    execute("INSERT INTO stream01 (attributes) VALUES ('x')");
    EXPECT_EQ(polled(follower), Numbers{1});
}

TEST_F(StreamInspectorTest, FollowsTheFileThatTakesTheStreamsPlaceOnceItIsAStream) {
    make(3);
    std::filesystem::copy_file(path, folder / "other");
    StreamFollower follower(path, std::nullopt);
    std::filesystem::remove(path);
    EXPECT_EQ(polled(follower), Numbers()) << "nothing stands there";
    folder.write("stream", "");
    EXPECT_EQ(polled(follower), Numbers()) << "no stream yet";
    std::filesystem::rename(folder / "other", path);
    EXPECT_EQ(polled(follower), (Numbers{1, 2, 3}));
}

TEST_F(StreamInspectorTest, FollowsOnWhenALockIsGone) {
    make(3);
    std::filesystem::copy_file(path, folder / "other");
    StreamFollower follower(path, 3, 0ms);
    EXPECT_EQ(polled(follower), Numbers{3});
    Holder holder(folder / "other", "BEGIN EXCLUSIVE");
    std::filesystem::rename(folder / "other", path);
    for (int i = 0; i < 2; ++i) {
        try {
            polled(follower);
            ADD_FAILURE() << "it is locked";
        } catch (const StreamError& error) {
            EXPECT_TRUE(error.passes());
        }
    }
    holder.end();
    EXPECT_EQ(polled(follower), (Numbers{1, 2, 3}));
}

TEST_F(StreamInspectorTest, FollowsUpToTheLargestID) {
    make(0);
    execute("INSERT INTO stream01 VALUES (9223372036854775807, 'x')");
    StreamFollower follower(path, std::numeric_limits<long long>::max());
    EXPECT_EQ(polled(follower), Numbers{std::numeric_limits<long long>::max()});
    EXPECT_EQ(polled(follower), Numbers());
}

// ---- Maintenance

TEST_F(StreamInspectorTest, MakesAStreamWhereThereIsRoomAndNowhereElse) {
    EXPECT_TRUE(StreamMaintenance::hasRoom(path));
    folder.write("stream", "");
    EXPECT_TRUE(StreamMaintenance::hasRoom(path));
    StreamMaintenance::makeTable(path);
    EXPECT_FALSE(StreamMaintenance::hasRoom(path));
    EXPECT_EQ(StreamInspector(path).summary().count, 0);
    EXPECT_FALSE(StreamMaintenance::hasRoom(folder.write("text", "text")));
    EXPECT_THROW(StreamMaintenance::hasRoom(folder.path()), StreamError);
    EXPECT_THROW(StreamMaintenance(folder / "text"), StreamError);
    EXPECT_EQ(contentOf(folder / "text"), "text");
}

TEST_F(StreamInspectorTest, AwaitsWritersAndNoReaders) {
    make(1);
    const StreamMaintenance maintenance(path, 0ms);
    {
        const Holder reader(path, "SELECT 1");
        maintenance.awaitWriters();
    }
    const Holder writer(path, "BEGIN IMMEDIATE");
    EXPECT_THROW(maintenance.awaitWriters(), StreamError);
}

TEST_F(StreamInspectorTest, CompactsAndKeepsTheItems) {
    make(1000);
    execute("DELETE FROM stream01 WHERE id <= 990");
    const auto before = std::filesystem::file_size(path);
    const StreamMaintenance maintenance(path);
    maintenance.compact();
    EXPECT_LT(std::filesystem::file_size(path), before);
    EXPECT_EQ(visited(maintenance.inspector(), Order::Ascending),
              (Numbers{991, 992, 993, 994, 995, 996, 997, 998, 999, 1000}));
}
