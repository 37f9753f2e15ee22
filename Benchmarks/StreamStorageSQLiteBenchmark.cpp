// Items of 500 bytes through the stream: appended and synced in batches, and read back parsed. Beside it the same
// blobs, ready-made, through SQLite by hand, which is what the stream can at best be, and through stores that keep as
// much safe: every batch is on the disk when it is counted. Times are real: a sync waits for the disk.

#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/StreamStorage.h>

#include <benchmark/benchmark.h>
#include <leveldb/db.h>
#include <leveldb/write_batch.h>
#include <lmdb.h>
#include <rocksdb/db.h>
#include <rocksdb/write_batch.h>
#include <sqlite3.h>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// How often the calling thread asked for memory, whoever of those it called asked.
[[gnu::tls_model("initial-exec")]] thread_local constinit std::uint64_t allocations = 0;

}  // namespace

#ifdef __GLIBC__
// Stands before the C library's own, which go on under these names.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
    ++allocations;
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
    ++allocations;
    return __libc_realloc(memory, size);
}
}
#endif

namespace {

namespace fs = std::filesystem;
using namespace KXCore;
using namespace KXCore::CoreFoundation;

class Folder {
  public:
    Folder() {
        std::string name = (fs::temp_directory_path() / "kxbench-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    std::string file() const { return (path_ / "stream").string(); }

  private:
    fs::path path_;
};

void require(bool done, const char* what) {
    if (!done) throw std::runtime_error(what);
}

PropertyListRef read(const std::string& text) {
    const DataRef data =
        DataRef::create(nullptr, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size()));
    return PropertyListRef::createWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr);
}

/// What an agent appends, the bytes of an audit record: about 500 bytes as XML.
struct Record {
    static PropertyListRef item() {
        const std::vector<unsigned char> bytes(336, 0x5A);
        return PropertyListRef::retain(DataRef::createWithStdVector(nullptr, bytes).get());
    }
};

/// An event as a dictionary of ten entries, as long.
struct Dictionary {
    static PropertyListRef item() {
        return read(
            "<dict><key>action</key><string>mount</string><key>computer</key><string>HOST</string>"
            "<key>date</key><date>2026-11-15T16:02:42Z</date><key>device</key><string>USB port</string>"
            "<key>granted</key><false/><key>name</key><string>SanDisk Ultra, serial 4C530001230725107182</string>"
            "<key>pid</key><integer>412</integer><key>process</key><string>/usr/sbin/mount</string>"
            "<key>sid</key><string>S-1-22-1-501</string><key>user</key><string>HOST\\alice</string></dict>");
    }
};

/// The item as the stream stores it.
std::string blobOf(const PropertyListRef& item) {
    const DataRef data = PropertyListRef::createData(nullptr, item.get(), kCFPropertyListXMLFormat_v1_0, 0);
    const std::string document(reinterpret_cast<const char*>(data.getBytePtr()),
                               static_cast<std::size_t>(data.getLength()));
    return document.substr(document.find("<plist"));
}

// ---- Stores: each appends one item, and makes safe what was appended

class Stream {
  public:
    Stream(const std::string& path, const PropertyListRef& item)
        : storage_(path.c_str(), FileAttributes{}), item_(item) {
        storage_.openStorage(StreamModeReadWrite);
    }
    void append() { storage_.appendItem(item_.get(), 0); }
    void sync() { storage_.syncStorage(); }
    std::uint64_t stored() { return storage_.getLastItemID(); }

  private:
    StreamStorage storage_;
    PropertyListRef item_;
};

class SQLite {
  public:
    SQLite(const std::string& path, const PropertyListRef& item) : blob_(blobOf(item)) {
        require(sqlite3_open(path.c_str(), &db_) == SQLITE_OK, "SQLite");
        sqlite3_exec(db_, "CREATE TABLE stream01 (id INTEGER PRIMARY KEY, attributes BLOB)", nullptr, nullptr, nullptr);
        begin_ = prepared("BEGIN");
        commit_ = prepared("COMMIT");
        insert_ = prepared("INSERT INTO stream01 (attributes) VALUES (?)");
    }
    ~SQLite() {
        for (sqlite3_stmt* const statement : {begin_, commit_, insert_}) sqlite3_finalize(statement);
        sqlite3_close(db_);
    }
    void append() {
        if (sqlite3_get_autocommit(db_)) run(begin_);
        sqlite3_bind_blob(insert_, 1, blob_.data(), static_cast<int>(blob_.size()), SQLITE_STATIC);
        run(insert_);
    }
    void sync() { run(commit_); }
    std::uint64_t stored() { return static_cast<std::uint64_t>(sqlite3_last_insert_rowid(db_)); }

  private:
    sqlite3_stmt* prepared(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        require(sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr) == SQLITE_OK, sql);
        return statement;
    }
    static void run(sqlite3_stmt* statement) {
        require(sqlite3_step(statement) == SQLITE_DONE, "SQLite step");
        sqlite3_reset(statement);
    }

    std::string blob_;
    sqlite3* db_ = nullptr;
    sqlite3_stmt* begin_ = nullptr;
    sqlite3_stmt* commit_ = nullptr;
    sqlite3_stmt* insert_ = nullptr;
};

/// Big-endian, so that keys sort as numbers do.
std::string keyOf(std::uint64_t id) {
    std::string key(8, '\0');
    for (int i = 7; i >= 0; --i, id >>= 8) key[static_cast<std::size_t>(i)] = static_cast<char>(id);
    return key;
}

/// LevelDB, and RocksDB, which has the same interface.
template <class DB, class Options, class WriteOptions, class WriteBatch>
class LogStructured {
  public:
    LogStructured(const std::string& path, const PropertyListRef& item) : blob_(blobOf(item)) {
        Options options;
        options.create_if_missing = true;
        DB* db = nullptr;
        require(DB::Open(options, path, &db).ok(), "log-structured store");
        db_.reset(db);
        durable_.sync = true;
    }
    void append() { batch_.Put(keyOf(++last_), blob_); }
    void sync() {
        require(db_->Write(durable_, &batch_).ok(), "log-structured write");
        batch_.Clear();
    }
    std::uint64_t stored() const { return last_; }

  private:
    std::string blob_;
    std::unique_ptr<DB> db_;
    WriteOptions durable_;
    WriteBatch batch_;
    std::uint64_t last_ = 0;
};
using LevelDB = LogStructured<leveldb::DB, leveldb::Options, leveldb::WriteOptions, leveldb::WriteBatch>;
using RocksDB = LogStructured<rocksdb::DB, rocksdb::Options, rocksdb::WriteOptions, rocksdb::WriteBatch>;

class LMDB {
  public:
    LMDB(const std::string& path, const PropertyListRef& item) : blob_(blobOf(item)) {
        require(mdb_env_create(&environment_) == 0, "LMDB");
        mdb_env_set_mapsize(environment_, std::size_t{1} << 32);
        require(mdb_env_open(environment_, path.c_str(), MDB_NOSUBDIR, 0644) == 0, "LMDB");
    }
    ~LMDB() {
        if (transaction_) mdb_txn_abort(transaction_);
        mdb_env_close(environment_);
    }
    void append() {
        if (!transaction_) {
            require(mdb_txn_begin(environment_, nullptr, 0, &transaction_) == 0, "LMDB begin");
            require(mdb_dbi_open(transaction_, nullptr, 0, &dbi_) == 0, "LMDB open");
        }
        std::string key = keyOf(++last_);
        MDB_val keyValue{key.size(), key.data()};
        MDB_val value{blob_.size(), blob_.data()};
        require(mdb_put(transaction_, dbi_, &keyValue, &value, MDB_APPEND) == 0, "LMDB put");
    }
    void sync() {
        require(mdb_txn_commit(transaction_) == 0, "LMDB commit");
        transaction_ = nullptr;
    }
    std::uint64_t stored() const { return last_; }

  private:
    std::string blob_;
    MDB_env* environment_ = nullptr;
    MDB_txn* transaction_ = nullptr;
    MDB_dbi dbi_ = 0;
    std::uint64_t last_ = 0;
};

template <class Store, class Item>
void BM_StreamAppend(benchmark::State& state) {
    const Folder folder;
    Store store(folder.file(), Item::item());
    const auto batch = static_cast<std::uint64_t>(state.range(0));
    store.append();  // pages and buffers that the first item needs
    store.sync();
    const std::uint64_t before = allocations;
    for (auto _ : state) {
        for (std::uint64_t i = 0; i < batch; ++i) store.append();
        store.sync();
    }
    const std::uint64_t items = batch * static_cast<std::uint64_t>(state.iterations());
    if (store.stored() != items + 1) state.SkipWithError("items are missing");
    state.counters["mallocs/item"] = static_cast<double>(allocations - before) / static_cast<double>(items);
    state.SetItemsProcessed(static_cast<std::int64_t>(items));
}

// ---- Reading

constexpr std::uint64_t kReadItems = 100'000;

/// A stream that its readers share.
template <class Item>
const std::string& readStream() {
    static const Folder folder;
    static const std::string path = [] {
        Stream stream(folder.file(), Item::item());
        for (std::uint64_t i = 0; i < kReadItems; ++i) stream.append();
        stream.sync();
        return folder.file();
    }();
    return path;
}

template <class Item>
void BM_StreamRead_KXCoreLib(benchmark::State& state) {
    StreamStorage storage(readStream<Item>().c_str(), FileAttributes{});
    storage.openStorage(StreamModeReadOnly);
    std::uint64_t items = 0;
    const std::uint64_t before = allocations;
    for (auto _ : state) {
        const std::unique_ptr<StreamCursor> cursor(
            storage.createStreamCursor(StreamCursorForward, storage.getFirstItemID(), nullptr));
        PropertyListRef list;
        while (cursor->getNextItem(nullptr, list) != 0) ++items;
    }
    if (items != kReadItems * static_cast<std::uint64_t>(state.iterations())) state.SkipWithError("items are missing");
    state.counters["mallocs/item"] = static_cast<double>(allocations - before) / static_cast<double>(items);
    state.SetItemsProcessed(static_cast<std::int64_t>(items));
}

template <class Item>
void BM_StreamRead_SQLite(benchmark::State& state) {
    sqlite3* db = nullptr;
    sqlite3_stmt* select = nullptr;
    require(sqlite3_open_v2(readStream<Item>().c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK, "SQLite");
    require(sqlite3_prepare_v2(db, "SELECT id, attributes FROM stream01 WHERE id>=1 ORDER BY id", -1, &select,
                               nullptr) == SQLITE_OK,
            "SELECT");
    std::uint64_t items = 0;
    for (auto _ : state) {
        while (sqlite3_step(select) == SQLITE_ROW) {
            benchmark::DoNotOptimize(sqlite3_column_int64(select, 0));
            benchmark::DoNotOptimize(sqlite3_column_blob(select, 1));
            benchmark::DoNotOptimize(sqlite3_column_bytes(select, 1));
            ++items;
        }
        sqlite3_reset(select);
    }
    sqlite3_finalize(select);
    sqlite3_close(db);
    if (items != kReadItems * static_cast<std::uint64_t>(state.iterations())) state.SkipWithError("items are missing");
    state.SetItemsProcessed(static_cast<std::int64_t>(items));
}

/// Few rounds: each waits for the disk.
template <class Store, class Item>
void addAppend(const std::string& name) {
    benchmark::RegisterBenchmark(name.c_str(), BM_StreamAppend<Store, Item>)->Arg(1)->Iterations(20)->UseRealTime();
    benchmark::RegisterBenchmark(name.c_str(), BM_StreamAppend<Store, Item>)->Arg(100)->Iterations(20)->UseRealTime();
    benchmark::RegisterBenchmark(name.c_str(), BM_StreamAppend<Store, Item>)->Arg(10'000)->Iterations(8)->UseRealTime();
}

template <class Item>
void addRead(const std::string& what) {
    benchmark::RegisterBenchmark((what + "/KXCoreLib").c_str(), BM_StreamRead_KXCoreLib<Item>)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((what + "/SQLite").c_str(), BM_StreamRead_SQLite<Item>)->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    addAppend<Stream, Record>("BM_StreamAppend/KXCoreLib");
    addAppend<SQLite, Record>("BM_StreamAppend/SQLite");
    addAppend<LevelDB, Record>("BM_StreamAppend/LevelDB");
    addAppend<RocksDB, Record>("BM_StreamAppend/RocksDB");
    addAppend<LMDB, Record>("BM_StreamAppend/LMDB");
    addAppend<Stream, Dictionary>("BM_StreamAppendDictionary/KXCoreLib");
    addAppend<SQLite, Dictionary>("BM_StreamAppendDictionary/SQLite");
    addRead<Record>("BM_StreamRead");
    addRead<Dictionary>("BM_StreamReadDictionary");
    return true;
}();

}  // namespace
