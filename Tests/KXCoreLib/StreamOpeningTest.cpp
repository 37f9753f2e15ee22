#include "FaultyFiles.h"
#include "InsteadOfSleeping.h"
#include "StreamFixture.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

using namespace stream_test;

namespace {

using StreamStorageTest = Stream;
using StreamOpeningTest = Stream;
using StreamOpeningDeathTest = Stream;

}  // namespace

// ---- Opening

TEST_F(StreamOpeningTest, MakesAMissingFileForWriting) {
    open();
    append("1");
    EXPECT_EQ(all(), range(1, 1));
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(StreamOpeningTest, ReplacesGarbageByAnEmptyWorkingStream) {
    std::ofstream(path) << std::string(5000, 'g');
    ::testing::internal::CaptureStderr();
    open();
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("]SQLiteDatabase::SQLiteDatabase failed to init database (file is not a database)\n"),
              std::string::npos)
        << said;
    append("1");
    EXPECT_EQ(all(), range(1, 1));
    reopen();
    EXPECT_EQ(all(), range(1, 1));
}

TEST_F(StreamOpeningTest, AnEmptyFileBecomesAStream) {
    std::ofstream(path).flush();
    open();
    append("1");
    EXPECT_EQ(all(), range(1, 1));
}

TEST_F(StreamOpeningTest, KeepsAStreamOfAnEarlierVersionWithItsOtherTables) {
    execute(
        "CREATE TABLE other (x); CREATE TABLE stream01 (id INTEGER PRIMARY KEY, attributes BLOB);"
        "INSERT INTO stream01 (id, attributes) VALUES (9, '<plist><string>nine</string></plist>')");
    open();
    EXPECT_EQ(storage->getFirstItemID(), 9u);
    append("10");
    EXPECT_EQ(all(), range(9, 10));
}

TEST_F(StreamOpeningTest, ReplacesADatabaseThatWasTruncatedAnywhere) {
    open();
    for (int i = 0; i < 20; ++i) append(std::string(1000, 'x'));
    storage.reset();
    const std::string whole = folder / "whole";
    std::filesystem::rename(path, whole);
    const std::uintmax_t size = std::filesystem::file_size(whole);
    ASSERT_GT(size, 5u * 4096);
    for (const std::uintmax_t left :
         std::initializer_list<std::uintmax_t>{2, 15, 99, 100, 3000, 4096, 8192, size - 4096}) {
        std::filesystem::copy_file(whole, path, std::filesystem::copy_options::overwrite_existing);
        std::filesystem::resize_file(path, left);
        ::testing::internal::CaptureStderr();
        reopen();
        const std::string said = ::testing::internal::GetCapturedStderr();
        EXPECT_NE(said.find("]SQLiteDatabase::SQLiteDatabase failed to init database ("), std::string::npos)
            << left << ": " << said;
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
        append("1");
        EXPECT_EQ(all(), range(1, 1)) << left;
        storage.reset();
    }
}

TEST_F(StreamOpeningTest, ReplacesAFileThatCannotBeOpened) {
    std::filesystem::create_symlink(path, path);  // leads to itself for ever
    ::testing::internal::CaptureStderr();
    open();
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.substr(std::min<std::size_t>(said.find(']'), said.size())),
              "]SQLiteDatabase::SQLiteDatabase failed to open an existing sqlite file (unable to open database file), "
              "removing the file " +
                  path + "\n");
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(path)));
    append("1");
    reopen();
    EXPECT_EQ(all(), range(1, 1));
}

TEST_F(StreamOpeningTest, AFileThatIsReplacedLeavesNoMemoryBehind) {
    const std::function<void()> files[] = {[&] { std::filesystem::create_symlink(path, path); },
                                           [&] { std::ofstream(path) << std::string(4096, 'x'); }};
    for (const auto& make : files) {
        sqlite3_int64 used = 0;
        for (int round = 0; round < 3; ++round) {
            std::filesystem::remove(path);
            make();
            reopen();
            storage->closeStorage();
            if (round == 0) used = sqlite3_memory_used();  // what SQLite keeps for itself is there now
        }
        EXPECT_EQ(sqlite3_memory_used(), used);
    }
}

TEST_F(StreamOpeningTest, ReadsAnExistingFileInReadOnlyMode) {
    open();
    appendNumbered(1, 3);
    storage = std::make_unique<StreamStorage>(path.c_str(), FileAttributes());
    storage->openStorage(StreamModeReadOnly);
    EXPECT_EQ(all(), range(1, 3));
    append("not stored");
    storage->syncStorage();
    storage->discardItemsWithIDLessThanOrEqualTo(3);
    EXPECT_EQ(all(), range(1, 3));
}

TEST_F(StreamOpeningDeathTest, AMissingFileInReadOnlyModeEndsTheProcess) {
    EXPECT_DEATH(
        storage->openStorage(StreamModeReadOnly),
        "\\]SQLiteDatabase::SQLiteDatabase failed to open an existing sqlite file \\(unable to open database "
        "file\\), removing the file .*/stream\n.*\\]SQLiteDatabase::SQLiteDatabase failed to create new sqlite "
        "file \\(.*\\)\n.*\\]KXCoreLib/StreamStorageSQLite:179: abort\\(\\) called");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(StreamOpeningDeathTest, AFileWithoutTheTableInReadOnlyModeEndsTheProcess) {
    execute("CREATE TABLE other (x)");
    EXPECT_DEATH(storage->openStorage(StreamModeReadOnly), "KXCoreLib/StreamStorageSQLite:281: abort\\(\\) called");
    EXPECT_TRUE(std::filesystem::exists(path)) << "a read-only open makes no table and gives no file up";
}

TEST_F(StreamOpeningDeathTest, GarbageInReadOnlyModeEndsTheProcessAndStays) {
    const std::string garbage(5000, 'g');
    std::ofstream(path) << garbage;
    EXPECT_DEATH(storage->openStorage(StreamModeReadOnly), "^\\[[^]]*\\]KXCoreLib/StreamStorageSQLite:281: abort");
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), garbage);
}

TEST_F(StreamOpeningDeathTest, AFileThatCannotBeOpenedInReadOnlyModeIsDeletedAndEndsTheProcess) {
    std::filesystem::create_symlink(path, path);
    EXPECT_DEATH(storage->openStorage(StreamModeReadOnly),
                 "failed to open an existing sqlite file .*removing the file .*\n.*failed to create new sqlite file "
                 ".*\n.*StreamStorageSQLite:179: abort");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(path)));
}

TEST_F(StreamOpeningDeathTest, AFileThatStaysLockedEndsTheProcessInReadOnlyMode) {
    open();
    append("1");
    storage->syncStorage();
    storage->closeStorage();
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    const auto openLocked = [&] {
        const InsteadOfSleeping nothing([] {});
        storage->openStorage(StreamModeReadOnly);
    };
    EXPECT_DEATH(openLocked(), "StreamStorageSQLite:281: abort");
    sqlite3_close(other);
    open();
    EXPECT_EQ(all(), range(1, 1)) << "a read-only open gives no file up";
}

TEST_F(StreamOpeningDeathTest, AnUnknownModeDeletesTheFileAndEndsTheProcess) {
    for (const int mode : {0, 3, -1}) {
        std::ofstream(path) << "kept from nobody";
        EXPECT_DEATH(storage->openStorage(static_cast<StreamMode>(mode)),
                     "StreamStorageSQLite:179: abort\\(\\) called");
        EXPECT_FALSE(std::filesystem::exists(path)) << mode;
    }
}

TEST_F(StreamOpeningDeathTest, ADirectoryInTheFilesPlaceEndsTheProcess) {
    std::filesystem::create_directory(path);
    EXPECT_DEATH(open(), "failed to open an existing sqlite file.*StreamStorageSQLite:179: abort");
}

TEST_F(StreamOpeningDeathTest, AMissingFolderEndsTheProcess) {
    StreamStorage nowhere((folder / "no/such/stream").c_str(), FileAttributes());
    EXPECT_DEATH(nowhere.openStorage(StreamModeReadWrite), "StreamStorageSQLite:179: abort");
}

TEST_F(StreamOpeningDeathTest, ATableThatLacksItsColumnsEndsTheProcess) {
    execute("CREATE TABLE stream01 (id INTEGER PRIMARY KEY)");
    EXPECT_DEATH(open(), "KXCoreLib/StreamStorageSQLite:281: abort\\(\\) called");
}

TEST_F(StreamOpeningTest, GivesUpAFileThatAnotherConnectionHoldsLocked) {
    execute("CREATE TABLE stream01 (id INTEGER PRIMARY KEY, attributes BLOB)");
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    const InsteadOfSleeping nothing([] {});
    ::testing::internal::CaptureStderr();
    open();
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("failed to init database (database is locked)"), std::string::npos) << said;
    append("1");
    EXPECT_EQ(all(), range(1, 1));
    sqlite3_close(other);
}

TEST_F(StreamOpeningTest, WaitsForAnotherConnectionToCommitAndKeepsTheFile) {
    open();
    appendNumbered(1, 3);
    storage->syncStorage();
    storage->closeStorage();
    for (const StreamMode mode : {StreamModeReadWrite, StreamModeReadOnly}) {
        sqlite3* other = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
        const InsteadOfSleeping commit([other] { sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr); });
        storage->openStorage(mode);
        EXPECT_EQ(all(), range(1, 3));
        sqlite3_close(other);
    }
}

TEST_F(StreamStorageTest, WaitsForAnotherConnectionToLetTheFileGo) {
    open();
    appendNumbered(1, 3);
    storage->syncStorage();
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    int waits = 0;
    {
        storage->closeStorage();
        const InsteadOfSleeping commit([&] {
            ++waits;
            sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr);
        });
        open();
        const auto lock = [other](const char* how) {
            ASSERT_EQ(sqlite3_exec(other, how, nullptr, nullptr, nullptr), SQLITE_OK);
        };
        lock("BEGIN IMMEDIATE");
        append("4");
        EXPECT_EQ(waits, 1);
        lock("BEGIN; SELECT count(*) FROM stream01");
        storage->syncStorage();
        EXPECT_EQ(waits, 2);
        lock("BEGIN EXCLUSIVE");
        EXPECT_EQ(all(), range(1, 4));
        EXPECT_EQ(waits, 3);
        lock("BEGIN IMMEDIATE");
        storage->discardItemsWithIDLessThanOrEqualTo(1);
        EXPECT_EQ(waits, 4);
    }
    sqlite3_close(other);
    storage->closeStorage();
    open();
    EXPECT_EQ(all(), range(2, 4));
}

TEST_F(StreamOpeningDeathTest, AFolderThatCannotBeWrittenToEndsTheProcess) {
    std::filesystem::create_directory(folder / "closed");
    const std::string inside = folder / "closed/stream";
    const auto openThere = [&] {
        chmod((folder / "closed").c_str(), 0555);
        chmod(folder.path().c_str(), 0755);
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(1);  // who is root writes anywhere
        StreamStorage(inside.c_str(), FileAttributes()).openStorage(StreamModeReadWrite);
    };
    EXPECT_DEATH(openThere(),
                 "failed to open an existing sqlite file \\(unable to open database file\\), removing the file "
                 ".*/closed/stream\n.*failed to create new sqlite file \\(unable to open database file\\)\n"
                 ".*StreamStorageSQLite:179: abort");
}

TEST_F(StreamOpeningTest, AFileThatMayOnlyBeReadIsOpenedAndKeepsItsItems) {
    open();
    appendNumbered(1, 3);
    storage.reset();
    const pid_t child = fork();
    if (child == 0) {
        chmod(path.c_str(), 0444);
        chmod(folder.path().c_str(), 0555);
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(2);
        storage = std::make_unique<StreamStorage>(path.c_str(), FileAttributes());
        open();
        append("not stored");
        storage->syncStorage();
        storage->discardItemsWithIDLessThanOrEqualTo(2);
        const bool kept = all() == range(1, 3);
        storage.reset();
        _exit(kept ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    chmod(folder.path().c_str(), 0755);
    chmod(path.c_str(), 0644);
    reopen();
    EXPECT_EQ(all(), range(1, 3));
}

TEST_F(StreamOpeningDeathTest, ANewFileThatCannotBeOpenedInAGivenUpOnesPlaceEndsTheProcess) {
    std::ofstream(path) << std::string(5000, 'g');
    const auto openWithFailure = [&] {
        faulty::install({.request = faulty::Open, .failAt = 2});
        open();
    };
    EXPECT_DEATH(openWithFailure(),
                 "\\]SQLiteDatabase::SQLiteDatabase failed to init database \\(file is not a database\\)\n"
                 ".*\\]SQLiteDatabase::SQLiteDatabase failed to create new sqlite file \\(unable to open database "
                 "file\\)\n.*\\]KXCoreLib/StreamStorageSQLite:199: abort\\(\\) called");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(StreamOpeningDeathTest, ATableThatCannotBeMadeInANewFileEitherEndsTheProcess) {
    std::ofstream(path) << std::string(5000, 'g');
    const auto openOnAFullDisk = [&] {
        faulty::install({.request = faulty::Write, .failAt = 1, .failsFromThenOn = true});
        open();
    };
    EXPECT_DEATH(openOnAFullDisk(),
                 "\\]SQLiteDatabase::SQLiteDatabase failed to init database \\(file is not a database\\)\n"
                 ".*\\]SQLiteDatabase::SQLiteDatabase failed to init database \\(database or disk is full\\)\n"
                 ".*\\]KXCoreLib/StreamStorageSQLite:209: abort\\(\\) called");
}

TEST_F(StreamOpeningDeathTest, AnSQLiteWithoutMutexesEndsTheProcess) {
    open();
    append("1");
    storage.reset();
    const auto openWithoutMutexes = [&] {
        sqlite3_shutdown();
        sqlite3_config(SQLITE_CONFIG_SINGLETHREAD);
        reopen();
        storage->getFirstItemID();
    };
    EXPECT_DEATH(openWithoutMutexes(), "\\]KXCoreLib/StreamStorageSQLite:250: abort\\(\\) called");
}

TEST_F(StreamOpeningTest, LeavesNoFileDescriptorBehind) {
    const auto openFiles = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    open();
    const auto before = openFiles();
    for (int i = 0; i < 20; ++i) {
        append(std::to_string(i));
        const auto reader = cursor(StreamCursorForward, 1);
        if (i % 3 == 0) storage->closeStorage();
        if (i % 4 == 0) std::ofstream(path) << std::string(5000, 'g');
        ::testing::internal::CaptureStderr();
        open();
        ::testing::internal::GetCapturedStderr();
    }
    append("20");
    storage->syncStorage();
    EXPECT_EQ(openFiles(), before);
}

TEST_F(StreamStorageTest, GoesOnWithTheOldFileWhenAnotherTakesItsPlaceAndWithTheNewOneOnceOpenedAgain) {
    open();
    appendNumbered(1, 3);
    storage->syncStorage();
    std::filesystem::rename(path, folder / "moved");
    execute(
        "CREATE TABLE stream01 (id INTEGER PRIMARY KEY, attributes BLOB);"
        "INSERT INTO stream01 (id, attributes) VALUES (70, '<plist><string>other</string></plist>')");
    append("4");
    storage->syncStorage();
    EXPECT_EQ(storage->getFirstItemID(), 1u);
    storage->closeStorage();
    open();
    append("71");
    EXPECT_EQ(all(), range(70, 71));
}
