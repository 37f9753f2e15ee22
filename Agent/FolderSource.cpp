#include "FolderSource.h"

#include "Report.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>

namespace agent {
namespace {

constexpr std::uint32_t kEvents =
    IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr std::uint32_t kParentEvents = IN_CREATE | IN_MOVED_TO | IN_ONLYDIR;

std::string parentOf(const std::string& folder) {
    const std::string parent = std::filesystem::path(folder + "/..").lexically_normal().string();
    return parent.empty() ? "." : parent;
}

std::optional<struct statx> statusOf(const std::string& path) {
    struct statx status {};
    const int result = statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &status);
    return result == 0 ? std::optional(status) : std::nullopt;
}

/// Number and time of birth: the number alone is soon given again.
std::string identityOf(const struct statx& status) {
    char text[128];
    const bool hasBirth = (status.stx_mask & STATX_BTIME) != 0;
    std::snprintf(text, sizeof text, "owner=%u inode=%llu born=%lld.%09u", status.stx_uid,
                  static_cast<unsigned long long>(status.stx_ino),
                  hasBirth ? static_cast<long long>(status.stx_btime.tv_sec) : 0LL,
                  hasBirth ? status.stx_btime.tv_nsec : 0u);
    return text;
}

std::optional<uid_t> ownerIn(const std::string& identity) {
    unsigned owner = 0;
    return std::sscanf(identity.c_str(), "owner=%u", &owner) == 1 ? std::optional<uid_t>(owner) : std::nullopt;
}

}  // namespace

FolderSource::FolderSource(std::string folder, const Settings& settings)
    : folder_(std::move(folder)), settings_(settings), fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (fd_ < 0 || !watch()) {
        const int error = errno;
        if (fd_ >= 0) close(fd_);
        throw std::system_error(error, std::generic_category(), folder_);
    }
}

FolderSource::~FolderSource() { close(fd_); }

bool FolderSource::watch() {
    watch_ = inotify_add_watch(fd_, folder_.c_str(), kEvents);
    if (watch_ < 0) return false;
    struct stat status {};
    stat(folder_.c_str(), &status);
    watched_ = {status.st_dev, status.st_ino};
    return true;
}

void FolderSource::begin(Auditor& auditor, const Presence::Devices& reported) {
    const std::string prefix = folder_ + "/";
    for (auto at = reported.lower_bound(prefix); at != reported.end() && at->first.starts_with(prefix); ++at) {
        entries_[at->first.substr(prefix.size())] = {at->second, ownerIn(at->second)};
    }
    // What went while nobody watched is forgotten.
    std::erase_if(entries_, [this](const auto& entry) { return !statusOf(pathOf(entry.first)); });
    compare(auditor, "present");
}

/// Reports the differences between the folder and what was reported of it.
void FolderSource::compare(Auditor& auditor, const char* action) {
    std::set<std::string> names;
    std::error_code error;  // the folder may have gone by now, and holds nothing then
    for (const auto& entry : std::filesystem::directory_iterator(folder_, error)) names.insert(entry.path().filename());
    std::set<std::string> gone;
    for (const auto& [name, entry] : entries_) {
        if (!names.contains(name)) gone.insert(name);
    }
    for (const std::string& name : gone) remove(auditor, name);
    for (const std::string& name : names) arrive(auditor, name, action);
}

void FolderSource::arrive(Auditor& auditor, const std::string& name, const char* action) {
    DeviceEvent event{.action = action, .name = name, .information = pathOf(name)};
    if (const auto status = statusOf(event.information)) {
        event.identity = identityOf(*status);
        event.user = status->stx_uid;
        event.access = (status->stx_mode & S_IWUSR) != 0 ? Read | Write : Read;
    } else {
        event.identity = "gone";  // before it could be looked at
        event.access = Read;
    }
    // It may have been seen in the folder before the kernel told of it.
    const auto known = entries_.find(name);
    if (known != entries_.end() && known->second.identity == event.identity) return;
    entries_[name] = {event.identity, event.user};
    event.deviceType = settings_.get()->deviceType;
    auditor.audit(event);
}

void FolderSource::remove(Auditor& auditor, const std::string& name) {
    DeviceEvent event{.action = "remove", .name = name, .information = pathOf(name), .access = Eject};
    if (const auto known = entries_.find(name); known != entries_.end()) {
        event.user = known->second.owner;
        event.identity = known->second.identity;
        entries_.erase(known);
    }
    event.deviceType = settings_.get()->deviceType;
    auditor.audit(event);
}

void FolderSource::read(Auditor& auditor) {
    alignas(inotify_event) std::array<char, 65536> buffer;
    bool overflow = false, again = false;
    for (ssize_t length; (length = ::read(fd_, buffer.data(), buffer.size())) > 0;) {
        for (const char* at = buffer.data(); at < buffer.data() + length;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(at);
            at += sizeof *event + event->len;
            overflow |= (event->mask & IN_Q_OVERFLOW) != 0;
            again |= event->wd == parent_;
            if (event->wd != watch_) continue;
            again |= (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0;
            if (event->len == 0) continue;
            if ((event->mask & (IN_DELETE | IN_MOVED_FROM)) != 0) {
                remove(auditor, event->name);
                continue;
            }
            // A file has arrived when it is written; anything else, when it is there.
            if ((event->mask & IN_CREATE) != 0 && (event->mask & IN_ISDIR) == 0) {
                const auto status = statusOf(pathOf(event->name));
                if (!status || (S_ISREG(status->stx_mode) && status->stx_nlink == 1)) continue;
            }
            arrive(auditor, event->name, "arrive");
        }
    }
    if (overflow) {
        report(folder_ + ": more happened at once than the kernel keeps");
        auditor.auditOverflow(folder_);
        compare(auditor, "arrive");
    }
    if (again) watchAgain(auditor);
}

/// The path may lead to another folder than the one that is watched.
void FolderSource::look(Auditor& auditor) {
    struct stat status {};
    const bool isThere = stat(folder_.c_str(), &status) == 0;
    const bool isSame = isThere && watch_ >= 0 && watched_ == std::pair(status.st_dev, status.st_ino);
    if (isSame || (!isThere && watch_ < 0)) return;
    watchAgain(auditor);
}

void FolderSource::watchAgain(Auditor& auditor) {
    const bool was = watch_ >= 0;
    if (was) inotify_rm_watch(fd_, watch_);
    if (!watch()) {
        if (was) report(folder_ + " is not there; waiting for it");
        // Before it is looked for once more, so that it is not missed. Where this one is gone too, look() finds it.
        if (parent_ < 0) parent_ = inotify_add_watch(fd_, parentOf(folder_).c_str(), kParentEvents);
        watch();
    }
    if (watch_ >= 0) {
        if (parent_ >= 0) inotify_rm_watch(fd_, std::exchange(parent_, -1));
        report(folder_ + (was ? " is another folder now; watching it" : " is there again"));
    }
    compare(auditor, "arrive");
}

}  // namespace agent
