#include "StreamBuilder.h"

#include "StreamSchema.h"

#include <sqlite3.h>

namespace KXCore {

void StreamBuilder::Close::operator()(sqlite3* handle) const { sqlite3_close(handle); }
void StreamBuilder::Close::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

StreamBuilder::StreamBuilder(const std::string& path, const std::string& like)
    : file_(path, modeOfCopy(like)), path_(path.starts_with('/') ? path : "./" + path) {
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(path_.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
    handle_.reset(handle);
    if (code != SQLITE_OK) fail();
    run(StreamSchema::kCreateTable);
    run(StreamSchema::kBegin);
    sqlite3_stmt* insert = nullptr;
    if (sqlite3_prepare_v2(handle, StreamSchema::kInsertWithID, -1, &insert, nullptr) != SQLITE_OK) fail();
    insert_.reset(insert);
}

StreamBuilder::~StreamBuilder() = default;

void StreamBuilder::add(long long id, std::string_view bytes) {
    sqlite3_reset(insert_.get());
    sqlite3_bind_int64(insert_.get(), 1, id);
    sqlite3_bind_blob64(insert_.get(), 2, bytes.data(), bytes.size(), SQLITE_STATIC);
    if (sqlite3_step(insert_.get()) != SQLITE_DONE) fail();
}

void StreamBuilder::finish() {
    insert_.reset();
    run(StreamSchema::kCommit);
    if (sqlite3_close(handle_.release()) != SQLITE_OK) {
        throw StreamError(StreamError::Kind::Failed, path_, "cannot be closed");
    }
    file_.keep();
}

void StreamBuilder::run(const char* sql) {
    if (sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

void StreamBuilder::fail() const { throw StreamError(StreamError::Kind::Failed, path_, sqlite3_errmsg(handle_.get())); }

}  // namespace KXCore
