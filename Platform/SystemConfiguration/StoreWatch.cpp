#include "StoreWatch.h"

#include "StoreKey.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

namespace KXPlatform {
namespace {

/// How a file comes into being, changes and goes.
constexpr std::uint32_t kAnyChange = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;

/// Of these the files of values make use.
constexpr std::uint32_t kValueChange = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;

/// A write into the batch mark begins a batch. Its end is the closing of the mark, which the kernel sees to for a
/// writer that dies.
constexpr std::uint32_t kSignal = IN_MODIFY | IN_CLOSE_WRITE;

bool addTo(const Descriptor& epoll, int descriptor) noexcept {
    epoll_event event{};
    event.events = EPOLLIN;
    return ::epoll_ctl(epoll.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

}  // namespace

StoreWatch::StoreWatch(const StoreDirectory& directory)
    : directory_(directory), epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
    inotify_ = Descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    if (!epoll_ || !inotify_ || !addTo(epoll_, inotify_.get())) inotify_ = Descriptor();
}

bool StoreWatch::watch(Folder folder, const std::string& path, std::uint32_t events) {
    const int descriptor = ::inotify_add_watch(inotify_.get(), path.c_str(), events | IN_ONLYDIR);
    if (descriptor < 0) return false;
    folders_[descriptor] = folder;
    return true;
}

bool StoreWatch::isWatching(Folder folder) const noexcept {
    return std::any_of(folders_.begin(), folders_.end(), [&](const auto& entry) { return entry.second == folder; });
}

bool StoreWatch::watchStore() {
    return watch(Folder::Values, directory_.valuesFolder(), kValueChange) &&
           watch(Folder::Signals, directory_.signalsFolder(), kSignal);
}

bool StoreWatch::watchConfiguration() {
    const std::string folder = configurationFolder();
    const bool done = watch(Folder::Configuration, folder, kAnyChange);
    watch(Folder::Samba, folder + "/" + kSambaFolder, kAnyChange);  // need not be there
    return done;
}

bool StoreWatch::start() {
    started_ = started_ || watchStore();
    return started_;
}

bool StoreWatch::startNames() {
    if (hostName_) return true;
    hostName_ = std::make_unique<HostNameListener>();
    if (hostName_->descriptor() >= 0 && !addTo(epoll_, hostName_->descriptor())) {
        hostName_.reset();
        return false;
    }
    watchConfiguration();  // a system without that folder has nothing there to follow
    return true;
}

void StoreWatch::stop() noexcept {
    for (const auto& [descriptor, folder] : folders_) ::inotify_rm_watch(inotify_.get(), descriptor);
    folders_.clear();
    hostName_.reset();
    started_ = inBatch_ = false;
    batch_.clear();
}

void StoreWatch::note(const inotify_event& event, News& news) {
    if (event.mask & IN_Q_OVERFLOW) {
        news.lost = true;
        inBatch_ = false;
        return;
    }
    const auto found = folders_.find(event.wd);
    if (found == folders_.end()) return;
    const Folder folder = found->second;
    if (event.mask & IN_IGNORED) {
        folders_.erase(found);
        if (folder == Folder::Values || folder == Folder::Signals) {
            news.lost = true;
        } else {
            news.names = true;
        }
        return;
    }
    const std::string_view name(event.len ? event.name : "");
    switch (folder) {
        case Folder::Configuration:
            if (name == kSambaFolder || name == kMachineInfoFile) news.names = true;
            break;
        case Folder::Samba:
            if (name == kSambaFile) news.names = true;
            break;
        case Folder::Signals:
            if (name == StoreDirectory::kBatchMark) {
                inBatch_ = (event.mask & IN_MODIFY) != 0;
                break;
            }
            if (!(event.mask & IN_CLOSE_WRITE)) break;
            [[fallthrough]];
        case Folder::Values:
            if (auto key = keyOfFileName(name)) batch_.push_back(std::move(*key));
            break;
    }
    if (!inBatch_ && !batch_.empty()) {
        std::move(batch_.begin(), batch_.end(), std::back_inserter(news.keys));
        batch_.clear();
    }
}

StoreWatch::News StoreWatch::take() {
    News news;
    if (hostName_ && hostName_->descriptor() >= 0) {
        std::uint64_t count = 0;
        if (::read(hostName_->descriptor(), &count, sizeof count) > 0) news.names = true;
    }
    alignas(inotify_event) char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
    for (ssize_t size; (size = ::read(inotify_.get(), buffer, sizeof buffer)) != 0;) {
        if (size < 0 && errno == EINTR) continue;
        if (size < 0) break;
        for (const char* at = buffer; at < buffer + size;) {
            inotify_event event;
            std::memcpy(&event, at, sizeof event);
            note(*reinterpret_cast<const inotify_event*>(at), news);
            at += sizeof event + event.len;
        }
    }
    // The folders may have been removed, and may have come back.
    if (news.lost && started_ && !(isWatching(Folder::Values) && isWatching(Folder::Signals))) {
        directory_.prepare();
        watchStore();
    }
    if (news.names && hostName_) watchConfiguration();
    if (news.lost) {
        news.names = true;
        std::move(batch_.begin(), batch_.end(), std::back_inserter(news.keys));
        batch_.clear();
    }
    return news;
}

}  // namespace KXPlatform
