#include "StreamWriter.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "Errors.h"
#include "PropertyListText.h"

namespace kxtool {
namespace {

using KXCore::StreamMaintenance;
using KXCore::CoreFoundation::PropertyListRef;

/// What one transaction holds at most: well below what SQLite keeps in memory before it locks the file for good.
constexpr std::size_t kPendingItems = 1000;
constexpr std::size_t kPendingBytes = std::size_t{1} << 19;

/// Makes a stream where nothing or an empty file stands, or says why it cannot be: the library would end the process.
void MakeStream(const std::string& path) {
    constexpr int kHow = O_WRONLY | O_CREAT | O_CLOEXEC;
    int file = open(path.c_str(), kHow | O_EXCL, 0644);
    const bool missing = file >= 0;
    if (!missing && errno == EEXIST) file = open(path.c_str(), kHow, 0644);  // empty, or a link to nothing yet
    if (file < 0) throw BadInput(fmt::format("cannot make {}: {}", path, std::generic_category().message(errno)));
    close(file);
    try {
        StreamMaintenance::makeTable(path);
    } catch (const KXCore::StreamError&) {
        if (missing) unlink(path.c_str());
        throw;
    }
}

}  // namespace

std::string StoredForm(CFPropertyListRef item) {
    const std::string document = PropertyListBytes(item, kCFPropertyListXMLFormat_v1_0);
    const std::size_t start = document.find("<plist");
    return start == std::string::npos ? document : document.substr(start);
}

std::optional<KXCore::StreamOwner> OwnForAMoment(const std::string& path) {
    std::error_code unknown;                                      // then opening tells
    const auto real = std::filesystem::canonical(path, unknown);  // the agent owns what a link leads to
    return KXCore::StreamOwner::forAMoment(unknown ? path : real.string(), "kxtool");
}

StreamWriter::StreamWriter(const std::string& path, Missing missing)
    : path_(path), storage_((path.starts_with('/') ? path : "./" + path).c_str(), KXCore::FileAttributes{}) {
    if (path.empty()) throw BadInput("the stream's name is empty");
    owner_ = OwnForAMoment(path);
    if (missing == Missing::Create && StreamMaintenance::hasRoom(path)) MakeStream(path);
    file_.emplace(path);
    file_->awaitWriters();
    // A file that is locked at this moment would be taken for one that cannot be used.
    const KXCore::StreamInspector::Hold hold(file_->inspector());
    storage_.openStorage(KXCore::StreamModeReadWrite);
}

void StreamWriter::append(CFPropertyListRef item, std::size_t size) {
    if (pending_ == 0) {
        file_->awaitWriters();
        lastBefore_ = storage_.getLastItemID();
    }
    storage_.appendItem(item, 0);
    lastPending_ = PropertyListRef::retain(item);
    if (pending_ == 0) firstPending_ = lastPending_;
    ++pending_;
    pendingBytes_ += size;
    if (pending_ == kPendingItems || pendingBytes_ >= kPendingBytes) sync();
}

void StreamWriter::sync() {
    if (pending_ == 0) return;
    const unsigned long long last = storage_.getLastItemID();  // before others can append
    // The ids of one transaction have no gaps: when all are counted and both ends are there, so is all between. The
    // ends alone do not tell, as what stood there before may be the same.
    const bool counted = last - lastBefore_ >= pending_;
    if (counted) {
        storage_.syncStorage();
    } else {
        storage_.closeStorage();  // with what is pending
    }
    if (!counted || !holds(last - pending_ + 1, firstPending_) || !holds(last, lastPending_)) {
        forgetPending();
        throw BadInput(
            fmt::format("{}: items were not stored: the disk is full, or another process came between", path_));
    }
    lastID_ = last;
    stored_ += static_cast<long long>(pending_);
    forgetPending();
}

bool StreamWriter::holds(unsigned long long id, const PropertyListRef& item) const {
    return file_->inspector().item(static_cast<long long>(id)) == StoredForm(item.get());
}

void StreamWriter::forgetPending() {
    pending_ = pendingBytes_ = 0;
    firstPending_ = lastPending_ = PropertyListRef();
}

long long StreamWriter::discardThrough(long long id) {
    const long long count = file_->inspector().countThrough(id);
    file_->awaitWriters();
    storage_.discardItemsWithIDLessThanOrEqualTo(static_cast<unsigned long long>(id));
    if (id > 0 && file_->inspector().countThrough(id) != 0) {
        throw BadInput(
            fmt::format("{}: nothing was discarded: the disk is full, or another process came between", path_));
    }
    return count;
}

}  // namespace kxtool
