#include "StoreWatch.h"

#include "Status.h"
#include "Support/NeverDestroyed.h"

#include <SystemConfiguration/SCDynamicStore.h>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

namespace KXPlatform {
namespace {

/// A name in a folder comes or goes.
constexpr std::uint32_t kComing = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF;

/// How long a thread that got no memory or descriptors waits before it tries again.
constexpr int kRetryMilliseconds = 100;

/// How often paths are looked at again when they change meanwhile.
constexpr int kTries = 8;

std::weak_ptr<StoreWatch>& current() {
    static NeverDestroyed<std::weak_ptr<StoreWatch>> watch;
    return *watch;
}

/// Whether an operation may succeed when it is tried again later: it ended with an errno value.
bool isForWantOfMeans(int status) { return status > kSCStatusOK && status < kSCStatusFailed; }

constexpr NameKind kKinds[] = {NameKind::Computer, NameKind::NetBios};

}  // namespace

// ---- Beginning and end

std::shared_ptr<StoreWatch> StoreWatch::shared(int& status) {
    const std::lock_guard lock(Store::mutex());
    auto watch = current().lock();
    if (watch) return watch;
    watch = std::shared_ptr<StoreWatch>(new StoreWatch);
    status = watch->begin();
    if (status != kSCStatusOK) return nullptr;
    current() = watch;
    return watch;
}

int StoreWatch::begin() {
    inotify_ = Descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    if (!inotify_) return statusOfErrno(errno);
    wake_ = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wake_) return statusOfErrno(errno);
    // Signals are for the program's own threads.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    int status = kSCStatusOK;
    try {
        thread_ = std::make_unique<std::thread>([this] { run(); });
    } catch (const std::system_error& error) {
        status = statusOfErrno(error.code().value());
    } catch (const std::bad_alloc&) {
        status = kSCStatusFailed;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return status;
}

StoreWatch::~StoreWatch() {
    if (!thread_) return;
    if (process_.isInherited()) {
        // The thread is the parent's. There is nothing to join here, and no telling it so.
        static_cast<void>(thread_.release());
        return;
    }
    {
        const std::lock_guard lock(Store::mutex());
        isEnding_ = true;
    }
    ::eventfd_write(wake_.get(), 1);
    thread_->join();
}

void StoreWatch::forget() noexcept { current().reset(); }

// ---- What is watched

int StoreWatch::update(Outlets& due) {
    bool wantsNames = false;
    for (const auto& store : Store::watched()) wantsNames = wantsNames || store->wantsNames();
    const bool begins = wantsNames && !followsNames_;
    if (begins && !hostName_) {
        hostName_ = Descriptor(::open("/proc/sys/kernel/hostname", O_RDONLY | O_CLOEXEC));
        ::eventfd_write(wake_.get(), 1);
    }
    followsNames_ = wantsNames;
    if (const int status = follow(due); status != kSCStatusOK) {
        followsNames_ = wantsNames && !begins;
        return status;
    }
    // After the watches are in place: what changes from here on is heard of.
    for (const NameKind kind : kKinds) {
        if (begins) names_[static_cast<std::size_t>(kind)] = readSystemName(kind);
    }
    return kSCStatusOK;
}

void StoreWatch::forgetUnwanted() noexcept {
    if (process_.isInherited()) return;
    try {
        bool wantsNames = false;
        for (const auto& store : Store::watched()) wantsNames = wantsNames || store->wantsNames();
        followsNames_ = wantsNames;
        arm();
    } catch (const std::bad_alloc&) {
        // Events of what stays watched find nobody who listens.
    }
}

/// Arms the watches and takes in what has changed; again while folders come and go.
int StoreWatch::follow(Outlets& due) {
    int status = kSCStatusOK;
    for (int tries = 0; tries < kTries; ++tries) {
        status = arm();
        if (status != kSCStatusOK) return status;
        bool hasMoved = false;
        for (const auto& store : Store::watched()) {
            const auto before = store->place().folder();
            status = store->refresh(due);
            if (status != kSCStatusOK) return status;
            hasMoved = hasMoved || store->place().folder() != before;
        }
        if (!hasMoved) break;
    }
    return status;
}

int StoreWatch::arm() {
    Wishes wishes;
    for (const auto& store : Store::watched()) {
        for (const std::string& path : store->place().paths()) {
            if (const int status = armPath(path, wishes); status != kSCStatusOK) return status;
        }
    }
    if (followsNames_) {
        if (const int status = armNames(wishes); status != kSCStatusOK) return status;
    }
    wishes_.swap(wishes);
    for (const auto& [number, wish] : wishes) {
        if (!wishes_.contains(number)) ::inotify_rm_watch(inotify_.get(), number);
    }
    return kSCStatusOK;
}

/// Watches one name in a folder. ENOENT when the folder is not there.
int StoreWatch::watch(const std::string& folder, const std::string& name, Reason reason, Wishes& wishes) {
    std::uint32_t events = kComing | IN_ONLYDIR | IN_MASK_ADD;
    if (reason == Reason::Contents) events |= IN_MODIFY;
    if (reason == Reason::Computer || reason == Reason::NetBios) events |= IN_CLOSE_WRITE;
    const int number = ::inotify_add_watch(inotify_.get(), folder.empty() ? "/" : folder.c_str(), events);
    if (number < 0) return errno == ENOTDIR ? ENOENT : errno;
    wishes.emplace(number, Wish{name, reason});
    return 0;
}

/// Watches the nearest folder above `path` that is there for the next name of the path, and the folder itself.
int StoreWatch::armPath(const std::string& path, Wishes& wishes) {
    for (int tries = 0; tries < kTries; ++tries) {
        std::string folder = path, name;
        int error = ENOENT;
        while (error == ENOENT && !folder.empty()) {
            const std::size_t slash = folder.rfind('/');
            name = folder.substr(slash + 1);
            folder.resize(slash);
            error = watch(folder, name, Reason::Path, wishes);
        }
        if (error == EACCES) return kSCStatusOK;  // what a user cannot see is not there for him
        if (error != 0) return statusOfErrno(error);
        const std::string next = folder + "/" + name;
        if (next == path) {
            error = watch(path, StoreContents::kFileName, Reason::Contents, wishes);
            return error == 0 || error == ENOENT || error == EACCES ? int{kSCStatusOK} : statusOfErrno(error);
        }
        struct stat status;
        if (::lstat(next.c_str(), &status) != 0) break;
        // It has come in the meantime.
    }
    return kSCStatusOK;
}

int StoreWatch::armNames(Wishes& wishes) {
    const std::string folder = configurationFolder();
    const std::string samba = folder + "/" + kSambaFolder;
    int error = watch(folder, kMachineInfoFile, Reason::Computer, wishes);
    if (error == 0) error = watch(folder, kSambaFolder, Reason::Path, wishes);
    if (error == 0) error = watch(folder, kSambaFolder, Reason::NetBios, wishes);
    if (error == 0) error = watch(samba, kSambaFile, Reason::NetBios, wishes);
    // A system without these folders has nothing there to follow.
    return error == 0 || error == ENOENT || error == EACCES ? int{kSCStatusOK} : statusOfErrno(error);
}

// ---- The thread

void StoreWatch::run() {
    ::pthread_setname_np(::pthread_self(), "KXStoreWatch");
    bool mustRetry = false;
    for (;;) {
        pollfd polled[] = {{wake_.get(), POLLIN, 0}, {inotify_.get(), POLLIN, 0}, {-1, POLLPRI, 0}};
        {
            const std::lock_guard lock(Store::mutex());
            if (isEnding_) return;
            polled[2].fd = hostName_.get();
        }
        if (::poll(polled, 3, mustRetry ? kRetryMilliseconds : -1) < 0) continue;  // EINTR, EAGAIN
        eventfd_t count;
        if (polled[0].revents != 0) ::eventfd_read(wake_.get(), &count);
        {
            const std::lock_guard lock(Store::mutex());
            // %h of the other file is the host's name, too.
            if (polled[2].revents != 0) work_.names = {true, true};
        }
        try {
            mustRetry = !serve();
        } catch (const std::bad_alloc&) {
            mustRetry = true;
        }
    }
}

bool StoreWatch::serve() {
    Outlets due;
    bool isDone;
    decltype(outdated_) outdated;
    {
        const std::lock_guard lock(Store::mutex());
        isDone = catchUp(due);
        outdated.swap(outdated_);
    }
    ring(due);
    for (const auto& [each, change] : outdated) {
        if (const auto store = each.lock()) store->apply({&change, 1}, Wait::No);
    }
    return isDone;
}

bool StoreWatch::catchUp(Outlets& due) {
    if (process_.isInherited()) return true;
    readEvents();
    if (!work_.isThere()) return true;
    int status = kSCStatusOK;
    if (work_.paths) {
        status = follow(due);
    } else if (work_.stores) {
        for (const auto& store : Store::watched()) status = std::max(status, store->refresh(due));
    }
    for (const NameKind kind : kKinds) {
        if (work_.names[static_cast<std::size_t>(kind)] && followsNames_) compareName(kind, due);
    }
    if (isForWantOfMeans(status)) return false;
    work_ = Work();
    return true;
}

void StoreWatch::compareName(NameKind kind, Outlets& due) {
    SystemName& known = names_[static_cast<std::size_t>(kind)];
    SystemName now = readSystemName(kind);
    if (now == known) return;
    for (const auto& store : Store::watched()) {
        std::vector<Store::Change> shown;
        store->changeName(kind, known, now, due, shown);
        for (auto& change : shown) outdated_.emplace_back(store, std::move(change));
    }
    if (!outdated_.empty()) ::eventfd_write(wake_.get(), 1);
    std::swap(known, now);
}

void StoreWatch::readEvents() {
    alignas(inotify_event) char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
    for (;;) {
        const ssize_t size = ::read(inotify_.get(), buffer, sizeof buffer);
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return;
        for (const char* at = buffer; at < buffer + size;) {
            const auto& event = *reinterpret_cast<const inotify_event*>(at);
            note(event);
            at += sizeof event + event.len;
        }
    }
}

void StoreWatch::note(const inotify_event& event) {
    // Nothing is lost with events that were dropped: the files tell all of it again.
    const bool isAny = (event.mask & IN_Q_OVERFLOW) != 0;
    if (isAny) work_ = {true, true, {true, true}};
    const std::string_view name(event.len ? event.name : "");
    const auto [first, last] = wishes_.equal_range(event.wd);
    for (auto each = first; each != last; ++each) {
        const Wish& wish = each->second;
        // An event without a name is about the folder.
        if (!name.empty() && name != wish.name) continue;
        if (name.empty()) work_.paths = true;
        switch (wish.reason) {
            case Reason::Path:
                work_.paths = true;
                break;
            case Reason::Contents:
                work_.stores = true;
                break;
            case Reason::Computer:
                work_.names[0] = true;
                break;
            case Reason::NetBios:
                work_.names[1] = true;
                break;
        }
    }
    if (event.mask & IN_IGNORED) wishes_.erase(event.wd);
}

}  // namespace KXPlatform
