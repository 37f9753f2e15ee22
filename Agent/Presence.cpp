#include "Presence.h"

#include "Report.h"

#include <KXCoreLib/AuditRecord.h>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

namespace agent {
namespace {

/// Beyond this and four times what is there, the file is written anew.
constexpr std::size_t kLines = 10'000;

/// What is left to the stream on a disk that is nearly full.
constexpr std::size_t kStreamsRoom = 64 << 10;

std::string bootID() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    std::getline(file, id);
    return id;
}

/// "PLACE TAB IDENTITY"; one without an identity says that nothing is there any more. Bytes that would end a field or
/// begin an escape are written as "\xNN".
std::string lineOf(const std::string& place, const std::string& identity) {
    return onOneLine(place.c_str(), "\\") + "\t" + onOneLine(identity.c_str(), "\\") + "\n";
}

std::string unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        unsigned byte = 0;
        if (text[at] == '\\' && std::sscanf(std::string(text.substr(at, 4)).c_str(), "\\x%2x", &byte) == 1) {
            plain += static_cast<char>(byte);
            at += 3;
        } else {
            plain += text[at];
        }
    }
    return plain;
}

bool tellsOfPresence(const KXCore::AuditRecord& record) {
    const std::string_view action = record.get_action_str();
    return action == "arrive" || action == "present" || action == "remove";
}

}  // namespace

Presence::Presence(std::string path) : path_(std::move(path)), boot_(bootID()) {
    std::ifstream file(path_, std::ios::binary);
    std::string line;
    if (!std::getline(file, line) || line != boot_) return;
    while (std::getline(file, line)) {
        const std::size_t tab = line.find('\t');
        if (tab != std::string::npos) take(unescaped(line.substr(0, tab)), unescaped(line.substr(tab + 1)));
    }
}

Presence::~Presence() {
    if (file_ >= 0) close(file_);
}

void Presence::take(const std::string& place, const std::string& identity) {
    if (identity.empty()) {
        devices_.erase(place);
    } else {
        devices_[place] = identity;
    }
}

void Presence::catchUp(const std::vector<std::vector<unsigned char>>& newestFirst) {
    for (auto bytes = newestFirst.rbegin(); bytes != newestFirst.rend(); ++bytes) {
        KXCore::AuditRecord record;
        for (unsigned long at = 0; (at = record.read_from_buffer(*bytes, at)) != KXCore::AuditRecord::kNoRecord;) {
            if (!tellsOfPresence(record)) continue;
            const bool went = std::strcmp(record.get_action_str(), "remove") == 0;
            take(record.get_information_str(), went ? "" : record.get_extra_str());
        }
    }
    rewrite();
}

void Presence::rewrite() {
    const std::string fresh = path_ + ".new";
    unlink(fresh.c_str());
    std::string text = boot_ + "\n";
    for (const auto& [place, identity] : devices_) text += lineOf(place, identity);
    int file = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600);
    isBehind_ = file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
                rename(fresh.c_str(), path_.c_str()) != 0;
    if (isBehind_) {
        // An open file takes room on the disk although it has no name any more.
        unlink(fresh.c_str());
        if (file >= 0) close(std::exchange(file, -1));
    }
    if (file_ >= 0) close(file_);
    file_ = file;
    lines_ = devices_.size();
}

bool Presence::hasRoom() const {
    struct statvfs disk {};
    const std::filesystem::path folder = std::filesystem::path(path_).parent_path();
    if (statvfs(folder.empty() ? "." : folder.c_str(), &disk) != 0) return false;
    return disk.f_bavail * disk.f_frsize > kStreamsRoom;
}

void Presence::note(std::span<const Record> records) {
    std::string lines;
    for (const Record& record : records) {
        if (record.place.empty()) continue;
        take(record.place, record.identity);
        lines += lineOf(record.place, record.identity);
        ++lines_;
    }
    if (lines.empty()) return;
    if (!hasRoom()) {
        isBehind_ = true;
        return;
    }
    if (isBehind_ || lines_ > kLines + 4 * devices_.size()) return rewrite();
    isBehind_ = write(file_, lines.data(), lines.size()) != static_cast<ssize_t>(lines.size());
}

}  // namespace agent
