#pragma once

// Makes a stream file of items that have their ids already: what was saved of another stream. The rules of
// StreamInspector.h hold here too.

#include "NewFile.h"

#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace KXCore {

class StreamBuilder {
  public:
    /// Makes the file at `path`, which must not exist, with the permissions of the file at `like`. It is deleted again
    /// unless finish() succeeds.
    StreamBuilder(const std::string& path, const std::string& like);
    ~StreamBuilder();
    StreamBuilder(const StreamBuilder&) = delete;
    StreamBuilder& operator=(const StreamBuilder&) = delete;

    /// Ids may come in any order, each once.
    void add(long long id, std::string_view bytes);

    /// Makes everything durable.
    void finish();

  private:
    struct Close {
        void operator()(sqlite3* handle) const;
        void operator()(sqlite3_stmt* statement) const;
    };

    void run(const char* sql);
    [[noreturn]] void fail() const;

    NewFile file_;
    std::string path_;
    std::unique_ptr<sqlite3, Close> handle_;
    std::unique_ptr<sqlite3_stmt, Close> insert_;
};

}  // namespace KXCore
