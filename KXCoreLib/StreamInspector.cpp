#include "StreamInspector.h"

#include "NewFile.h"
#include "StreamSchema.h"

#include <sqlite3.h>

#include <exception>
#include <utility>
#include <vector>

namespace KXCore {
namespace {

/// What is read under one lock.
constexpr std::size_t kBatchItems = 256;
constexpr std::size_t kBatchBytes = 1 << 20;

using Statement = StreamConnection::Statement;

}  // namespace

StreamInspector::StreamInspector(const std::string& path, std::chrono::milliseconds patience)
    : StreamInspector(std::make_unique<StreamConnection>(path, StreamConnection::Access::Reading, patience)) {}

StreamInspector::StreamInspector(std::unique_ptr<StreamConnection> connection) : connection_(std::move(connection)) {}

StreamInspector::~StreamInspector() = default;

const std::string& StreamInspector::path() const noexcept { return connection_->path(); }

void StreamInspector::visit(Order order, std::optional<long long> from, const Visitor& visitor) const {
    const bool up = order == Order::Ascending;
    if (!from) from = up ? firstID() : lastID();
    std::vector<StreamItem> batch;
    // Fills the batch, and returns where the next one begins, if there is one.
    const auto fill = [&](long long start) -> std::optional<long long> {
        Statement rows(*connection_, up ? StreamSchema::kSelectForward : StreamSchema::kSelectBackward);
        rows.bind(1, start);
        for (std::size_t bytes = 0; rows.step();) {
            if (batch.size() == kBatchItems || bytes >= kBatchBytes) {
                const long long next = rows.number(0);
                // Only in a table that somebody else made, whose ids are no whole numbers.
                if (up ? next <= start : next >= start) {
                    throw StreamError(StreamError::Kind::Damaged, path(), "its ids do not go on in whole numbers");
                }
                return next;
            }
            batch.push_back({.id = rows.number(0), .bytes = rows.bytes(1)});
            bytes += batch.back().bytes.size();
        }
        return std::nullopt;
    };
    while (from) {
        batch.clear();
        std::exception_ptr failure;
        try {
            from = fill(*from);
        } catch (...) {
            failure = std::current_exception();  // after what could be read
        }
        for (StreamItem& item : batch) {
            if (!visitor(std::move(item))) return;
        }
        if (failure) std::rethrow_exception(failure);
    }
}

std::optional<long long> StreamInspector::firstID() const { return connection_->number(StreamSchema::kSelectMinimum); }

std::optional<long long> StreamInspector::lastID() const { return connection_->number(StreamSchema::kSelectMaximum); }

long long StreamInspector::count(long long first, long long last) const {
    Statement statement(*connection_, StreamSchema::kCount);
    statement.bind(1, first);
    statement.bind(2, last);
    statement.step();
    return statement.number(0);
}

std::optional<std::string> StreamInspector::item(long long id) const {
    Statement statement(*connection_, StreamSchema::kSelectItem);
    statement.bind(1, id);
    if (!statement.step()) return std::nullopt;
    return statement.bytes(0);
}

StreamInspector::Summary StreamInspector::summary() const {
    const Hold hold(*this);
    const auto number = [this](const char* sql) { return connection_->number(sql).value_or(0); };
    const long long pageBytes = number("PRAGMA page_size");
    return {
        .first = firstID(),
        .last = lastID(),
        .count = number(StreamSchema::kCountAll),
        .bytes = number(StreamSchema::kSumBytes),
        .fileBytes = pageBytes * number("PRAGMA page_count"),
        .freeBytes = pageBytes * number("PRAGMA freelist_count"),
    };
}

StreamInspector::Space StreamInspector::space() const {
    const Hold hold(*this);
    const auto number = [this](const char* sql) { return connection_->number(sql).value_or(0); };
    const long long pageBytes = number("PRAGMA page_size");
    const long long freeBytes = pageBytes * number("PRAGMA freelist_count");
    return {.usedBytes = pageBytes * number("PRAGMA page_count") - freeBytes, .freeBytes = freeBytes};
}

// ---- StreamInspector::Hold

StreamInspector::Hold::Hold(const StreamInspector& inspector) : connection_(*inspector.connection_) {
    connection_.run("BEGIN");
    try {
        connection_.run("SELECT count(*) FROM sqlite_master");
    } catch (...) {
        connection_.run("ROLLBACK");
        throw;
    }
}

StreamInspector::Hold::~Hold() { sqlite3_exec(connection_.handle(), "ROLLBACK", nullptr, nullptr, nullptr); }

// ---- Copying

void StreamInspector::copyTo(const std::string& to) const {
    NewFile file(to, modeOfCopy(path()));
    connection_->copyTo(to);
    file.keep();
}

}  // namespace KXCore
