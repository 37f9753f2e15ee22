#include "StreamMaintenance.h"

#include <memory>
#include <optional>

namespace KXCore {

StreamMaintenance::StreamMaintenance(const std::string& path, std::chrono::milliseconds patience)
    : inspector_(std::make_unique<StreamConnection>(path, StreamConnection::Access::Writing, patience)) {}

bool StreamMaintenance::hasRoom(const std::string& path) {
    const std::optional<std::string> header = streamHeader(path);
    if (!header) return true;
    if (!header->empty()) return false;
    requireWritable(path);
    return true;
}

void StreamMaintenance::makeTable(const std::string& path) {
    StreamConnection::makeTable(path, StreamInspector::kPatience);
}

void StreamMaintenance::awaitWriters() const {
    inspector_.connection_->run("BEGIN IMMEDIATE");
    inspector_.connection_->run("ROLLBACK");
}

void StreamMaintenance::compact() const { inspector_.connection_->run("VACUUM"); }

}  // namespace KXCore
