#include "FileFacts.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/sysmacros.h>

namespace KXPlatform {

std::string_view FileFacts::name() const noexcept {
    const std::string_view path = path_;
    return path.size() <= 1 ? path : path.substr(path.rfind('/') + 1);
}

const struct statx* FileFacts::status() noexcept {
    if (status_) return &*status_;
    if (error_ != 0) return nullptr;
    struct statx status;
    if (::statx(AT_FDCWD, path_.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_BASIC_STATS | STATX_BTIME,
                &status) != 0) {
        error_ = errno;
        return nullptr;
    }
    return &status_.emplace(status);
}

const struct statvfs* FileFacts::volume() noexcept {
    if (volume_) return &*volume_;
    struct statvfs volume;
    return ::statvfs(path_.c_str(), &volume) == 0 ? &volume_.emplace(volume) : nullptr;
}

const Mount* FileFacts::mount() {
    if (isMountKnown_ || !status()) return mount_;
    readMountTable(mounts_);
    isMountKnown_ = true;
    // A link lies where its folder is; what is looked for is the folder without links.
    const std::string folder = path_.substr(0, std::max<std::size_t>(path_.rfind('/'), 1));
    const bool isLink = S_ISLNK(status_->stx_mode);
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(isLink ? folder.c_str() : path_.c_str(), nullptr),
                                                           &std::free);
    const dev_t device = makedev(status_->stx_dev_major, status_->stx_dev_minor);
    mount_ = findMount(mounts_, real ? real.get() : path_.c_str(), device);
    return mount_;
}

std::string_view FileFacts::extension() const noexcept {
    const std::string_view name = this->name();
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

bool FileFacts::isPackage() noexcept {
    static constexpr std::array<std::string_view, 13> kPackages{"app",   "bundle", "plugin", "kext",     "mdimporter",
                                                                "pkg",   "mpkg",   "rtfd",   "prefPane", "qlgenerator",
                                                                "saver", "xpc",    "appex"};
    return std::ranges::find(kPackages, extension()) != kPackages.end() && isOfType(S_IFDIR);
}

}  // namespace KXPlatform
