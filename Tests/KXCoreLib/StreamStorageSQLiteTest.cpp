#include "StreamFixture.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

using namespace stream_test;

namespace {

using StreamStorageTest = Stream;

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
                const IDs seen = all();
                EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end(), std::greater_equal<>()), seen.end())
                    << "a cursor went back";
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
