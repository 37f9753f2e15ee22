#include "Deletions.h"
#include "StreamFixture.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>

using namespace stream_test;

namespace {

/// The largest number of bytes that a cursor keeps in memory.
constexpr std::size_t kBudget = 260096;

using StreamCursorTest = Stream;

}  // namespace

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
    for (const unsigned long long beyond : {largest + 1, largest + 2, ~0ull}) {
        EXPECT_EQ(rest(*cursor(StreamCursorForward, beyond)), IDs()) << beyond;
        EXPECT_EQ(rest(*cursor(StreamCursorBackward, beyond)), (IDs{largest, largest - 1})) << beyond;
    }
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

TEST_F(StreamCursorTest, EndsWhereManyRowsOfAForeignTableHaveOneID) {
    execute("CREATE TABLE stream01 (id REAL, attributes BLOB)");
    for (int i = 0; i < 4; ++i) {
        execute("INSERT INTO stream01 VALUES (1, '<plist><string>" + std::string(100000, 'x') + "</string></plist>')");
    }
    open();
    EXPECT_EQ(rest(*cursor(StreamCursorForward, 1), 10), (IDs{1, 1}));
    EXPECT_EQ(rest(*cursor(StreamCursorBackward, 1), 10), (IDs{1, 1}));
}

TEST_F(StreamCursorTest, TakesTheMemoryForABatchBeforeItReads) {
    open();
    appendNumbered(1, 3);
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    Deletions::largestBlock = 200000;  // more than the three items need
    EXPECT_THROW(reader->getNextItem(nullptr, item), std::bad_alloc);
    Deletions::largestBlock = SIZE_MAX;
    EXPECT_EQ(all(), range(1, 3));
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

TEST_F(StreamCursorTest, GoesOnReadingWhatWasPendingAfterOpeningAgain) {
    open();
    append("synced");
    storage->syncStorage();
    const std::string big(100000, 'x');
    for (int i = 2; i <= 7; ++i) append(big);
    auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
    open();
    EXPECT_EQ(all(), range(1, 1)) << "the new session has only what was synced";
    EXPECT_EQ(rest(*reader), range(2, 7)) << "and the old one is there for its cursor";
    reader.reset();
    append("2");
    storage->syncStorage();
    reopen();
    EXPECT_EQ(all(), range(1, 2));
}

TEST_F(StreamCursorTest, LosesPendingItemsThatWouldKeepTheFileFromBeingOpenedAgain) {
    for (const bool closedFirst : {false, true}) {
        open();
        append("synced");
        storage->syncStorage();
        const unsigned long long last = storage->getLastItemID();
        // More than SQLite keeps in memory, so that it locks the file to write some of it out.
        for (int i = 0; i < 60; ++i) append(std::string(100000, 'x'));
        const auto reader = cursor(StreamCursorForward, 1);
        PropertyListRef item;
        ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
        ::testing::internal::CaptureStderr();
        if (closedFirst) storage->closeStorage();
        open();
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << "the file was deleted";
        EXPECT_EQ(all(), range(1, last));
        EXPECT_LT(rest(*reader).size(), 10u) << "no more than it had in memory";
        append("next");
        storage->syncStorage();
        EXPECT_EQ(all(), range(1, last + 1));
    }
}

TEST_F(StreamCursorTest, OfASessionThatWasClosedOutlivesItsStorage) {
    open();
    const std::string big(100000, 'x');
    for (int i = 0; i < 5; ++i) append(big);
    const auto reader = cursor(StreamCursorForward, 1);
    PropertyListRef item;
    ASSERT_EQ(reader->getNextItem(nullptr, item), 1u);
    storage->closeStorage();
    storage.reset();
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
