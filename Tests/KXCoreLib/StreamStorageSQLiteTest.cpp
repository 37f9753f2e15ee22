#include "FaultyFiles.h"
#include "TemporaryFolder.h"

#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/StreamStorage.h>

#include <gtest/gtest.h>

#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

using namespace KXCore;
using namespace KXCore::CoreFoundation;

namespace {

using IDs = std::vector<unsigned long long>;

constexpr std::size_t kBudget = 260096;

StringRef stringOf(const std::string& text) {
    return StringRef::createWithStdString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

std::string textOf(const PropertyListRef& item) {
    StringRef text;
    text.assign(item.get());
    return text.copyStdString();
}

/// An open stream in a folder of its own.
class Stream : public ::testing::Test {
  protected:
    Stream() : path(folder / "stream"), storage(new StreamStorage(path.c_str(), FileAttributes())) {}

    void open() { storage->openStorage(StreamModeReadWrite); }
    void append(const std::string& text) { storage->appendItem(stringOf(text).get(), 0); }
    void appendNumbered(int first, int last) {
        for (int i = first; i <= last; ++i) append(std::to_string(i));
    }
    void reopen() {
        storage = std::make_unique<StreamStorage>(path.c_str(), FileAttributes());
        open();
    }
    std::unique_ptr<StreamCursor> cursor(StreamCursorKind kind, unsigned long long start) {
        return std::unique_ptr<StreamCursor>(storage->createStreamCursor(kind, start, nullptr));
    }
    /// All that is left, or the first `most` of it: a cursor that goes round in circles shall not hang the test.
    static IDs rest(StreamCursor& cursor, std::size_t most = 100000) {
        IDs ids;
        PropertyListRef item;
        while (const unsigned long long id = cursor.getNextItem(nullptr, item)) {
            ids.push_back(id);
            if (ids.size() == most) break;
        }
        return ids;
    }
    IDs all() { return rest(*cursor(StreamCursorForward, storage->getFirstItemID())); }

    /// Puts bytes into the file behind the library's back.
    void execute(const std::string& sql) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
        char* message = nullptr;
        EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << message;
        sqlite3_close(database);
    }
    std::string blob(unsigned long long id) {
        sqlite3* database = nullptr;
        EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(database, "SELECT attributes FROM stream01 WHERE id=?", -1, &statement, nullptr);
        sqlite3_bind_int64(statement, 1, static_cast<sqlite3_int64>(id));
        std::string bytes;
        if (sqlite3_step(statement) == SQLITE_ROW) {
            bytes.assign(static_cast<const char*>(sqlite3_column_blob(statement, 0)),
                         static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
        }
        sqlite3_finalize(statement);
        sqlite3_close(database);
        return bytes;
    }

    TemporaryFolder folder = TemporaryFolder::inMemory();
    std::string path;
    std::unique_ptr<StreamStorage> storage;
};

/// While it lives, connections that are opened do this where they would sleep until a locked file is free.
class InsteadOfSleeping {
  public:
    explicit InsteadOfSleeping(std::function<void()> action) {
        doInstead() = std::move(action);
        vfs_.zName = "sleepless";
        vfs_.xSleep = [](sqlite3_vfs*, int microseconds) {
            doInstead()();
            return microseconds;
        };
        sqlite3_vfs_register(&vfs_, 1);
    }
    ~InsteadOfSleeping() {
        sqlite3_vfs_register(faulty::real(), 1);
        sqlite3_vfs_unregister(&vfs_);
        doInstead() = [] {};  // connections that were opened meanwhile may still ask
    }
    InsteadOfSleeping(const InsteadOfSleeping&) = delete;
    InsteadOfSleeping& operator=(const InsteadOfSleeping&) = delete;

  private:
    static std::function<void()>& doInstead() {
        static std::function<void()> action;
        return action;
    }

    static inline sqlite3_vfs vfs_ = *faulty::real();  // outlives the connections that were opened on it
};

using StreamStorageTest = Stream;
using StreamCursorTest = Stream;
using StreamOpeningTest = Stream;
using StreamOpeningDeathTest = Stream;

IDs range(unsigned long long first, unsigned long long last) {
    IDs ids(last - first + 1);
    std::iota(ids.begin(), ids.end(), first);
    return ids;
}

}  // namespace

// ---- The storage

TEST_F(StreamStorageTest, ConstructionOpensNothing) { EXPECT_FALSE(std::filesystem::exists(path)); }

TEST_F(StreamStorageTest, AClosedStorageAnswersNothingAndDropsAppends) {
    append("dropped");
    storage->syncStorage();
    EXPECT_EQ(storage->getFirstItemID(), 0u);
    EXPECT_EQ(storage->getLastItemID(), 0u);
    EXPECT_EQ(rest(*cursor(StreamCursorForward, 1)), IDs());
    storage->closeStorage();
    storage->discardItemsWithIDLessThanOrEqualTo(1);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(StreamStorageTest, AnEmptyStreamHasNoFirstAndNoLastItem) {
    open();
    EXPECT_EQ(storage->getFirstItemID(), 0u);
    EXPECT_EQ(storage->getLastItemID(), 0u);
}

TEST_F(StreamStorageTest, NumbersItemsFromOneWithoutGaps) {
    open();
    appendNumbered(1, 5);
    EXPECT_EQ(storage->getFirstItemID(), 1u);
    EXPECT_EQ(storage->getLastItemID(), 5u);
    EXPECT_EQ(all(), range(1, 5));
}

TEST_F(StreamStorageTest, StoresTheXMLFromThePlistTagOn) {
    open();
    append("a&b");
    storage->syncStorage();
    EXPECT_EQ(blob(1), "<plist version=\"1.0\">\n<string>a&amp;b</string>\n</plist>\n");
}

TEST_F(StreamStorageTest, KeepsEveryKindOfPropertyList) {
    open();
    MutableDictionaryRef filled = DictionaryRef::createMutable(nullptr, 0);
    filled.setValue(stringOf("text").get(), stringOf("gr\xC3\xBC\xC3\x9F").get());
    filled.setValue(stringOf("yes").get(), kCFBooleanTrue);
    const double real = 0.1;
    const long long integer = -5;
    filled.setValue(stringOf("real").get(), NumberRef::create(nullptr, kCFNumberDoubleType, &real).get());
    filled.setValue(stringOf("integer").get(), NumberRef::create(nullptr, kCFNumberLongLongType, &integer).get());
    filled.setValue(stringOf("date").get(), DateRef::create(nullptr, 1000).get());
    filled.setValue(stringOf("data").get(), DataRef::createWithStdVector(nullptr, {0, 1, 255}).get());
    const StringRef keep = stringOf("element");
    const void* element = keep.get();
    filled.setValue(stringOf("array").get(), ArrayRef::create(nullptr, &element, 1, &kCFTypeArrayCallBacks).get());
    for (const CFTypeRef item : std::initializer_list<CFTypeRef>{filled.get(), kCFBooleanFalse, keep.get()}) {
        storage->appendItem(item, 0);
    }
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
    EXPECT_TRUE(CFEqual(item.get(), filled.get()));
    ASSERT_EQ(reader->getNextItem(nullptr, item), 2u);
    EXPECT_TRUE(CFEqual(item.get(), kCFBooleanFalse));
    ASSERT_EQ(reader->getNextItem(nullptr, item), 3u);
    EXPECT_TRUE(CFEqual(item.get(), keep.get()));
}

TEST_F(StreamStorageTest, AnItemThatIsNoPropertyListIsReportedAndNotStored) {
    open();
    EXPECT_THROW(storage->appendItem(kCFNull, 0), CFException);
    EXPECT_THROW(storage->appendItem(nullptr, 0), CFException);
    EXPECT_EQ(storage->getLastItemID(), 0u);
    append("after");
    EXPECT_EQ(all(), range(1, 1));
}

TEST_F(StreamStorageTest, SyncedItemsSurviveClosing) {
    open();
    appendNumbered(1, 3);
    storage->syncStorage();
    storage->closeStorage();
    open();
    EXPECT_EQ(all(), range(1, 3));
}

TEST_F(StreamStorageTest, ClosingLosesWhatWasNotSynced) {
    open();
    appendNumbered(1, 2);
    storage->syncStorage();
    appendNumbered(3, 4);
    storage->closeStorage();
    EXPECT_EQ(storage->getLastItemID(), 0u);
    open();
    EXPECT_EQ(all(), range(1, 2));
}

TEST_F(StreamStorageTest, OpeningAgainLosesWhatWasNotSynced) {
    open();
    append("1");
    storage->syncStorage();
    append("2");
    open();
    EXPECT_EQ(all(), range(1, 1));
    append("2 again");
    EXPECT_EQ(storage->getLastItemID(), 2u);
}

TEST_F(StreamStorageTest, OpeningAgainWithMuchPendingKeepsWhatWasSynced) {
    open();
    appendNumbered(1, 3);
    storage->syncStorage();
    // More than SQLite keeps in memory, so that it locks the file to write some of it out.
    for (int i = 0; i < 60; ++i) append(std::string(100000, 'x'));
    open();
    EXPECT_EQ(all(), range(1, 3));
}

TEST_F(StreamStorageTest, DestructionKeepsWhatWasNotSynced) {
    open();
    appendNumbered(1, 4);
    reopen();
    EXPECT_EQ(all(), range(1, 4));
}

TEST_F(StreamStorageTest, DiscardingUpToAnIDLeavesTheRest) {
    open();
    appendNumbered(1, 5);
    storage->discardItemsWithIDLessThanOrEqualTo(3);
    EXPECT_EQ(storage->getFirstItemID(), 4u);
    EXPECT_EQ(all(), range(4, 5));
}

TEST_F(StreamStorageTest, DiscardingIDZeroDoesNothingNotEvenCommit) {
    open();
    appendNumbered(1, 2);
    storage->discardItemsWithIDLessThanOrEqualTo(0);
    EXPECT_EQ(all(), range(1, 2));
    storage->closeStorage();
    open();
    EXPECT_EQ(storage->getLastItemID(), 0u);
}

TEST_F(StreamStorageTest, DiscardingCommitsPendingAppendsWithIt) {
    open();
    appendNumbered(1, 5);
    storage->discardItemsWithIDLessThanOrEqualTo(2);
    storage->closeStorage();
    open();
    EXPECT_EQ(all(), range(3, 5));
}

TEST_F(StreamStorageTest, DiscardingWithNothingPendingIsDurableAtOnce) {
    open();
    appendNumbered(1, 5);
    storage->syncStorage();
    storage->discardItemsWithIDLessThanOrEqualTo(2);
    storage->closeStorage();
    open();
    EXPECT_EQ(all(), range(3, 5));
}

TEST_F(StreamStorageTest, DiscardingUpToTheLargestIDEmptiesTheStream) {
    open();
    appendNumbered(1, 5);
    storage->discardItemsWithIDLessThanOrEqualTo(~0ull);
    EXPECT_EQ(storage->getLastItemID(), 0u);
}

TEST_F(StreamStorageTest, QuotaAndAgeAreNotEnforced) {
    open();
    append("1");
    for (const long long quota : {0ll, -1ll, 1ll, std::numeric_limits<long long>::max()}) {
        EXPECT_EQ(storage->getIDOfLastItemExceedingStorageQuota(quota), 0u);
    }
    for (const double time : {0.0, -1.0, 1e300}) EXPECT_EQ(storage->getIDOfLastExpiredItem(time), 0u);
}

TEST_F(StreamStorageTest, AStreamHasTheNullUUID) {
    unsigned char uuid[17];
    std::fill(std::begin(uuid), std::end(uuid), static_cast<unsigned char>(0xEE));
    storage->getStreamUUID(uuid);
    EXPECT_EQ(std::vector<unsigned char>(uuid, uuid + 16), std::vector<unsigned char>(16, 0));
    EXPECT_EQ(uuid[16], 0xEE);
}

TEST_F(StreamStorageTest, ResettingDoesNothing) {
    open();
    append("1");
    storage->resetStorage();
    EXPECT_EQ(all(), range(1, 1));
}

TEST_F(StreamStorageTest, TheFileHoldsOneTableAndNothingElse) {
    open();
    append("1");
    storage->syncStorage();
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database, "SELECT type, name, sql FROM sqlite_master", -1, &statement, nullptr);
    ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)), "table");
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 1)), "stream01");
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 2)),
                 "CREATE TABLE stream01 (id INTEGER PRIMARY KEY, attributes BLOB)");
    EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE);
    sqlite3_finalize(statement);
    sqlite3_close(database);
}

// ---- Cursors

TEST_F(StreamCursorTest, StartIDZeroYieldsNothing) {
    open();
    append("1");
    EXPECT_EQ(rest(*cursor(StreamCursorForward, 0)), IDs());
    EXPECT_EQ(rest(*cursor(StreamCursorBackward, 0)), IDs());
}

TEST_F(StreamCursorTest, ForwardFromTheMiddleAndThenEndedForGood) {
    open();
    appendNumbered(1, 5);
    const auto reader = cursor(StreamCursorForward, 3);
    EXPECT_EQ(rest(*reader), range(3, 5));
    append("6");
    EXPECT_EQ(rest(*reader), IDs()) << "an ended cursor does not see later items";
}

TEST_F(StreamCursorTest, BackwardFromTheMiddle) {
    open();
    appendNumbered(1, 5);
    const auto reader = cursor(StreamCursorBackward, 4);
    EXPECT_EQ(rest(*reader), (IDs{4, 3, 2, 1}));
    EXPECT_EQ(rest(*reader), IDs());
}

TEST_F(StreamCursorTest, BeginsAtTheNextItemWhereTheStartIsGone) {
    open();
    appendNumbered(1, 5);
    execute("SELECT 1");
    storage->discardItemsWithIDLessThanOrEqualTo(2);
    EXPECT_EQ(rest(*cursor(StreamCursorForward, 1)), range(3, 5));
    EXPECT_EQ(rest(*cursor(StreamCursorBackward, 100)), (IDs{5, 4, 3}));
}

TEST_F(StreamCursorTest, StartIDsBeyondEveryRow) {
    open();
    appendNumbered(1, 2);
    for (const unsigned long long start : {3ull, 1ull << 63, ~0ull}) {
        EXPECT_EQ(rest(*cursor(StreamCursorForward, start)), IDs()) << start;
        EXPECT_EQ(rest(*cursor(StreamCursorBackward, start)), (IDs{2, 1})) << start;
    }
}

TEST_F(StreamCursorTest, AnyOtherKindYieldsNothing) {
    open();
    append("1");
    EXPECT_EQ(rest(*cursor(static_cast<StreamCursorKind>(0), 1)), IDs());
    EXPECT_EQ(rest(*cursor(static_cast<StreamCursorKind>(3), 1)), IDs());
}

TEST_F(StreamCursorTest, SeesAppendsThatAreNotSynced) {
    open();
    append("pending");
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
    EXPECT_EQ(textOf(item), "pending");
}

TEST_F(StreamCursorTest, AnItemThatDoesNotParseIsPassedOver) {
    open();
    append("1");
    storage->syncStorage();
    execute("INSERT INTO stream01 (attributes) VALUES (x'00ff00ff'), ('<plist><string>'), (NULL), (''), ('<plist/>')");
    append("7");
    EXPECT_EQ(all(), (IDs{1, 7}));
}

TEST_F(StreamCursorTest, TheEndLeavesTheLastItemWhereItIs) {
    open();
    append("1");
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
    EXPECT_EQ(reader->getNextItem(nullptr, item), 0u);
    EXPECT_EQ(textOf(item), "1");
}

TEST_F(StreamCursorTest, ALastItemThatDoesNotParseClearsTheItem) {
    open();
    append("1");
    storage->syncStorage();
    execute("INSERT INTO stream01 (attributes) VALUES ('<plist><string>')");
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
    EXPECT_EQ(reader->getNextItem(nullptr, item), 0u);
    EXPECT_FALSE(item);
}

TEST_F(StreamCursorTest, AttributesOfAnyTypeAndSizeAreReadOrPassedOver) {
    open();
    storage->closeStorage();
    execute(
        "INSERT INTO stream01 (attributes) VALUES (5), (-1.5), (9223372036854775807), (zeroblob(10)),"
        "(zeroblob(300000)), (zeroblob(20000000)), (CAST(zeroblob(1000) AS TEXT)), ('<plist><true/></plist>')");
    open();
    // The numbers come as their digits, and those are a property list in the old text form.
    EXPECT_EQ(all(), (IDs{1, 2, 3, 8}));
    EXPECT_EQ(rest(*cursor(StreamCursorBackward, 8)), (IDs{8, 3, 2, 1}));
}

TEST_F(StreamCursorTest, ReadsAFileWhoseTextsAreUTF16) {
    execute(
        "PRAGMA encoding='UTF-16'; CREATE TABLE stream01 (id INTEGER PRIMARY KEY, attributes BLOB);"
        "INSERT INTO stream01 (attributes) VALUES (CAST('<plist><true/></plist>' AS BLOB))");
    open();
    append("2");
    EXPECT_EQ(all(), range(1, 2));
}

TEST_F(StreamCursorTest, ReachesTheLargestID) {
    constexpr unsigned long long largest = std::numeric_limits<long long>::max();
    open();
    storage->closeStorage();
    execute(
        "INSERT INTO stream01 VALUES (9223372036854775806, '<plist><true/></plist>'),"
        "(9223372036854775807, '<plist><true/></plist>')");
    open();
    EXPECT_EQ(storage->getLastItemID(), largest);
    EXPECT_EQ(rest(*cursor(StreamCursorForward, largest - 1)), range(largest - 1, largest));
    EXPECT_EQ(rest(*cursor(StreamCursorForward, largest)), range(largest, largest));
    EXPECT_EQ(rest(*cursor(StreamCursorBackward, largest)), (IDs{largest, largest - 1}));
    storage->discardItemsWithIDLessThanOrEqualTo(largest - 1);
    EXPECT_EQ(all(), range(largest, largest));
    storage->discardItemsWithIDLessThanOrEqualTo(largest);
    EXPECT_EQ(storage->getLastItemID(), 0u);
}

TEST_F(StreamCursorTest, IDsBelowZeroOfAForeignFileAreGivenOnceAcrossBatches) {
    open();
    storage->closeStorage();
    for (int id = -1; id >= -5; --id) {
        execute("INSERT INTO stream01 VALUES (" + std::to_string(id) + ", '<plist><string>" + std::string(100000, 'x') +
                "</string></plist>')");
    }
    open();
    EXPECT_EQ(rest(*cursor(StreamCursorBackward, 1), 10), (IDs{~0ull, ~0ull - 1, ~0ull - 2, ~0ull - 3, ~0ull - 4}));
    EXPECT_EQ(rest(*cursor(StreamCursorForward, 1), 10), IDs());
}

TEST_F(StreamCursorTest, EndsWhereIDsOfAForeignTableDoNotGoFurther) {
    execute("CREATE TABLE stream01 (id REAL, attributes BLOB)");
    for (const char* const id : {"1.1", "1.2", "1.3", "1.4"}) {
        execute(std::string("INSERT INTO stream01 VALUES (") + id + ", '<plist><string>" + std::string(100000, 'x') +
                "</string></plist>')");
    }
    open();
    EXPECT_EQ(rest(*cursor(StreamCursorForward, 1), 10), (IDs{1, 1}));
    EXPECT_EQ(rest(*cursor(StreamCursorBackward, 2), 10), (IDs{1, 1}));
}

TEST_F(StreamCursorTest, TheLargestItemThatFitsABatchIsReturnedAndOneByteMoreIsNot) {
    open();
    storage->closeStorage();
    // "<plist><string>" and "</string></plist>" take 32 bytes.
    const auto item = [](std::size_t bytes) {
        return "INSERT INTO stream01 (attributes) VALUES ('<plist><string>" + std::string(bytes - 32, 'x') +
               "</string></plist>')";
    };
    execute(item(100));
    execute(item(kBudget - 16));
    execute(item(kBudget - 15));
    execute(item(100));
    open();
    EXPECT_EQ(all(), (IDs{1, 2, 4}));
    EXPECT_EQ(rest(*cursor(StreamCursorBackward, 4)), (IDs{4, 2, 1}));
}

TEST_F(StreamCursorTest, ReturnsTheRecordThatDidNotFitFirstInTheNextBatch) {
    open();
    const std::string big(100000, 'x');
    for (int i = 0; i < 7; ++i) append(big + std::to_string(i));
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    for (unsigned long long id = 1; id <= 7; ++id) {
        ASSERT_EQ(reader->getNextItem(nullptr, item), id);
        EXPECT_EQ(textOf(item), big + std::to_string(id - 1));
    }
    EXPECT_EQ(reader->getNextItem(nullptr, item), 0u);
}

TEST_F(StreamCursorTest, SeesLaterAppendsWhileMoreBatchesAreToCome) {
    open();
    const std::string big(100000, 'x');
    for (int i = 0; i < 3; ++i) append(big);
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
    append("later");
    EXPECT_EQ(rest(*reader), range(2, 4));
}

TEST_F(StreamCursorTest, ReadsManyItemsInBothDirectionsAcrossBatches) {
    open();
    constexpr int count = 5000;
    for (int i = 1; i <= count; ++i) append(std::string(static_cast<std::size_t>(i % 700), 'y') + std::to_string(i));
    EXPECT_EQ(all(), range(1, count));
    IDs backward = rest(*cursor(StreamCursorBackward, count));
    std::reverse(backward.begin(), backward.end());
    EXPECT_EQ(backward, range(1, count));
}

TEST_F(StreamCursorTest, GoesOnReadingTheOldSessionAfterClosing) {
    open();
    const std::string big(100000, 'x');
    for (int i = 0; i < 5; ++i) append(big);
    storage->syncStorage();
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
    storage->closeStorage();
    EXPECT_EQ(rest(*reader), range(2, 5));
}

TEST_F(StreamCursorTest, EndsAfterItsBatchWhenTheStorageIsDestroyed) {
    open();
    const std::string big(100000, 'x');
    for (int i = 0; i < 5; ++i) append(big);
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
    storage.reset();
    EXPECT_EQ(rest(*reader), range(2, 2)) << "only what was fetched already";
    storage = std::make_unique<StreamStorage>(path.c_str(), FileAttributes());
}

TEST_F(StreamCursorTest, MadeOnAClosedStorageYieldsNothingEvenAfterOpening) {
    const auto reader = cursor(StreamCursorForward, 1);
    open();
    append("1");
    EXPECT_EQ(rest(*reader), IDs());
}

TEST_F(StreamCursorTest, MakesItemsWithTheGivenAllocator) {
    open();
    append("text that is long enough to be an object of its own");
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(kCFAllocatorMalloc, item), 1u);
    EXPECT_EQ(CFGetAllocator(item.get()), kCFAllocatorMalloc);
}

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

TEST_F(StreamOpeningTest, ReplacesATruncatedDatabase) {
    open();
    for (int i = 0; i < 100; ++i) append(std::string(1000, 'x'));
    storage.reset();
    std::filesystem::resize_file(path, 3000);
    ::testing::internal::CaptureStderr();
    reopen();
    ::testing::internal::GetCapturedStderr();
    append("1");
    storage->syncStorage();
    EXPECT_EQ(storage->getLastItemID(), all().back());
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

// ---- Threads

TEST_F(StreamStorageTest, ThreadsAppendSyncDiscardAndReadTogether) {
    open();
    constexpr int producers = 3, perProducer = 300;
    std::atomic<int> running{producers};
    std::vector<std::thread> threads;
    for (int p = 0; p < producers; ++p) {
        threads.emplace_back([&, p] {
            for (int i = 0; i < perProducer; ++i) {
                append(std::to_string(p) + ":" + std::to_string(i));
                if (i % 50 == 0) storage->syncStorage();
            }
            --running;
        });
    }
    // One consumer sees every item once, each producer's in order, and discards what it has seen.
    unsigned long long last = 0;
    std::vector<int> next(producers, 0);
    const auto consume = [&] {
        const auto reader = cursor(StreamCursorForward, last + 1);
        PropertyListRef item;
        while (const unsigned long long id = reader->getNextItem(nullptr, item)) {
            ASSERT_EQ(id, last + 1);
            last = id;
            const std::string text = textOf(item);
            ASSERT_EQ(std::stoi(text.substr(2)), next[static_cast<std::size_t>(text[0] - '0')]++);
        }
        // All but the last: in an empty table SQLite would count from 1 again.
        if (last > 1) storage->discardItemsWithIDLessThanOrEqualTo(last - 1);
    };
    while (running > 0 && !HasFailure()) consume();
    for (std::thread& thread : threads) thread.join();
    consume();
    EXPECT_EQ(last, static_cast<unsigned long long>(producers * perProducer));
}

TEST_F(StreamStorageTest, ThreadsUseAStorageThatIsClosedAndReopenedBesideThem) {
    open();
    appendNumbered(1, 10);
    storage->syncStorage();
    ::testing::internal::CaptureStderr();
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            while (!done) {
                append("item");
                storage->syncStorage();
                all();
                storage->getLastItemID();
                append("item");
                storage->discardItemsWithIDLessThanOrEqualTo(5);
            }
        });
    }
    threads.emplace_back([&] {
        while (!done) open();
    });
    for (int i = 0; i < 100; ++i) {
        storage->closeStorage();
        open();
    }
    done = true;
    for (std::thread& thread : threads) thread.join();
    open();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << "a file in which somebody commits is not given up";
    const IDs ids = all();
    ASSERT_GE(ids.size(), 5u);
    EXPECT_EQ(ids.back(), ids.front() + ids.size() - 1) << "without gaps";
    EXPECT_LE(ids.front(), 6u);
}
