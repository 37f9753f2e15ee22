#include "StreamSnapshot.h"

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

namespace KXCore {
namespace {

namespace fs = std::filesystem;

/// Tells one state of a file from another, as far as the file system does; no value when there is none.
using FileState = std::optional<std::pair<std::uintmax_t, fs::file_time_type>>;

FileState stateOf(const std::string& path) {
    std::error_code missing;
    const std::uintmax_t size = fs::file_size(path, missing);
    if (missing) return std::nullopt;
    const fs::file_time_type time = fs::last_write_time(path, missing);
    if (missing) return std::nullopt;
    return std::pair(size, time);
}

std::string makeFolder(const std::string& path) {
    std::error_code unknown;
    const fs::path parent = fs::temp_directory_path(unknown);
    std::string folder = ((unknown ? fs::path("/tmp") : parent) / "stream-XXXXXX").string();
    if (!mkdtemp(folder.data())) {
        throw StreamError(StreamError::Kind::Failed, path, "cannot be copied: no folder for temporary files");
    }
    return folder;
}

void copy(const std::string& from, const std::string& to, const std::string& path) {
    std::error_code failure;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, failure);
    if (failure) throw StreamError(StreamError::Kind::Failed, path, "cannot be copied: " + failure.message());
    fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write, failure);
}

/// Copies file and journal until neither changed meanwhile.
void copyUnchanged(const std::string& path, const std::string& to) {
    constexpr int kTries = 20;
    const std::string journal = path + "-journal";
    for (int i = 0; i < kTries; ++i) {
        const auto states = [&] { return std::pair(stateOf(path), stateOf(journal)); };
        const auto before = states();
        std::error_code ignored;
        fs::remove(to + "-journal", ignored);
        copy(path, to, path);
        if (before.second) {
            try {
                copy(journal, to + "-journal", path);
            } catch (const StreamError&) {
                if (stateOf(journal)) throw;
                continue;  // it was there a moment ago
            }
        }
        if (states() == before) return;
    }
    throw StreamError(StreamError::Kind::Locked, path, "another process holds it locked and changes it");
}

}  // namespace

StreamSnapshot::StreamSnapshot(const std::string& path) : folder_(makeFolder(path)) {
    try {
        const std::string to = folder_ + "/stream";
        copyUnchanged(path, to);
        copy_.emplace(to);
    } catch (...) {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
        throw;
    }
}

StreamSnapshot::~StreamSnapshot() {
    copy_.reset();
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

}  // namespace KXCore
