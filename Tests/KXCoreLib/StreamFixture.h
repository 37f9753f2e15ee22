#pragma once

// What the tests of the stream share: a stream in a folder of its own, texts as items, and what to expect of ids.

#include "TemporaryFolder.h"

#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/StreamStorage.h>

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace stream_test {

using namespace KXCore;
using namespace KXCore::CoreFoundation;

using IDs = std::vector<unsigned long long>;

inline StringRef stringOf(const std::string& text) {
    return StringRef::createWithStdString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

inline std::string textOf(const PropertyListRef& item) {
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

inline IDs range(unsigned long long first, unsigned long long last) {
    IDs ids(last - first + 1);
    std::iota(ids.begin(), ids.end(), first);
    return ids;
}

}  // namespace stream_test
