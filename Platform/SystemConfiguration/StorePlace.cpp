#include "StorePlace.h"

#include "Status.h"

#include <SystemConfiguration/SCDynamicStore.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace KXPlatform {
namespace {

constexpr const char* kSystemStore = "/run/kxplatform/dynamic-store";
constexpr const char* kBelow = "/kxplatform/dynamic-store";

/// Whether nobody but this user and root can put files into the folder.
bool isTrusted(const struct stat& status) noexcept {
    return (status.st_uid == 0 || status.st_uid == ::geteuid()) && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// A folder that can be trusted; otherwise none, with errno set.
Descriptor openTrusted(int parent, const char* name) noexcept {
    Descriptor folder(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status;
    if (!folder || ::fstat(folder.get(), &status) != 0) return Descriptor();
    if (isTrusted(status)) return folder;
    errno = EPERM;
    return Descriptor();
}

/// The same, and makes it with exactly this mode where it is missing.
Descriptor makeTrusted(int parent, const char* name, mode_t mode) noexcept {
    const bool isNew = ::mkdirat(parent, name, mode) == 0;
    if (!isNew && errno != EEXIST) {
        const int error = errno;
        Descriptor folder = openTrusted(parent, name);  // a file system that may not be written to has it perhaps
        if (!folder) errno = error;
        return folder;
    }
    Descriptor folder = openTrusted(parent, name);
    // Whatever the umask left of the mode.
    if (folder && isNew && ::fchmod(folder.get(), mode) != 0) return Descriptor();
    return folder;
}

/// Opens the folder at the end of `path`, whose last `trusted` names are opened one by one.
template <class Open>
Descriptor openPath(const std::string& path, int trusted, Open open) {
    std::vector<std::string> names;
    std::string_view rest = path;
    for (; trusted > 0; --trusted) {
        const std::size_t slash = rest.rfind('/');
        names.emplace(names.begin(), rest.substr(slash + 1));
        rest = rest.substr(0, slash);
    }
    Descriptor folder(::open(rest.empty() ? "/" : std::string(rest).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (std::size_t i = 0; folder && i < names.size(); ++i) {
        folder = open(folder.get(), names[i].c_str(), i + 1 == names.size());
    }
    return folder;
}

std::string withoutSlashes(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    return path;
}

/// A folder for this user's own store.
std::string ownStore() {
    const char* const runtime = secure_getenv("XDG_RUNTIME_DIR");
    struct stat status;
    if (runtime && *runtime == '/' && ::lstat(runtime, &status) == 0 && S_ISDIR(status.st_mode) && isTrusted(status))
        return withoutSlashes(runtime) + kBelow;
    return "/tmp/kxplatform-" + std::to_string(::geteuid()) + "/dynamic-store";
}

}  // namespace

StorePlace StorePlace::ofProcess() {
    StorePlace place;
    const char* const set = secure_getenv("KXPLATFORM_DYNAMIC_STORE");
    place.isChosen_ = set && *set;
    if (place.isChosen_) {
        std::error_code error;
        const std::string path = std::filesystem::absolute(set, error).string();
        place.preferred_ = {withoutSlashes(error ? set : path), 1};
    } else {
        place.preferred_ = {kSystemStore, 2};
        // Root has no store of its own: what it says is so for the whole computer.
        if (::geteuid() != 0) place.own_ = {ownStore(), 2};
    }
    return place;
}

std::string StorePlace::name() const { return std::to_string(::geteuid()) + ":" + preferred_.path + ":" + own_.path; }

bool StorePlace::mayBeMissing() const noexcept { return !isChosen_ && own_.path.empty(); }

std::vector<std::string> StorePlace::paths() const {
    if (own_.path.empty()) return {preferred_.path};
    return {preferred_.path, own_.path};
}

int StorePlace::locate() {
    bool isThere = false;
    int status = locate(preferred_, isThere);
    if (status == kSCStatusOK && !isThere && !own_.path.empty()) status = locate(own_, isThere);
    if (!isThere) folder_.reset();
    return status;
}

int StorePlace::locate(const Candidate& candidate, bool& isThere) {
    struct stat status;
    if (::lstat(candidate.path.c_str(), &status) != 0) {
        isThere = false;
        return errno == ENOENT ? kSCStatusOK : statusOfErrno(errno);
    }
    const auto isOpen = [&] { return folder_ && status.st_dev == device_ && status.st_ino == inode_; };
    if (isOpen() && isTrusted(status)) {
        isThere = true;
        return kSCStatusOK;
    }
    Descriptor folder = openPath(candidate.path, candidate.trusted,
                                 [](int parent, const char* name, bool) { return openTrusted(parent, name); });
    if (!folder || ::fstat(folder.get(), &status) != 0) return statusOfErrno(errno);
    folder_ = std::make_shared<const Descriptor>(std::move(folder));
    device_ = status.st_dev;
    inode_ = status.st_ino;
    isThere = true;
    return kSCStatusOK;
}

int StorePlace::make() {
    int status = locate();
    if (status != kSCStatusOK || folder_) return status;
    status = make(preferred_);
    if (status != kSCStatusOK && !own_.path.empty()) status = make(own_);
    return status == kSCStatusOK ? locate() : status;
}

int StorePlace::make(const Candidate& candidate) {
    // The store is for everybody to see; what stands above a user's own is the user's.
    const mode_t above = &candidate == &own_ ? 0700 : 0755;
    const Descriptor folder = openPath(
        candidate.path, candidate.trusted,
        [&](int parent, const char* name, bool isLast) { return makeTrusted(parent, name, isLast ? 0755 : above); });
    return folder ? int{kSCStatusOK} : statusOfErrno(errno);
}

}  // namespace KXPlatform
