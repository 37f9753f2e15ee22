#include "MountSource.h"

#include "Report.h"
#include "Seat.h"

#include <KXCoreLib/AuditRecord.h>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

namespace agent {
namespace {

constexpr const char* kTable = "/proc/self/mountinfo";

/// "\040" and the like.
std::string unescaped(const std::string& text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        unsigned byte = 0;
        if (text[at] == '\\' && std::sscanf(text.substr(at, 4).c_str(), "\\%3o", &byte) == 1) {
            plain += static_cast<char>(byte);
            at += 3;
        } else {
            plain += text[at];
        }
    }
    return plain;
}

/// The types of file system that need no device: most are the kernel's own.
std::set<std::string> typesWithoutDevice() {
    std::set<std::string> types;
    std::ifstream file("/proc/filesystems");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("nodev\t")) types.insert(line.substr(6));
    }
    return types;
}

/// Whether somebody's files are in it: on a disk, on another computer, or in a memory that is not the system's own.
bool isVolume(const std::string& type, const std::string& point, const std::set<std::string>& withoutDevice) {
    const auto is = [&point](std::string_view folder) {
        return point == folder || point.starts_with(std::string(folder) + "/");
    };
    if (type.starts_with("fuse")) return type != "fusectl" && type != "fuse.portal" && type != "fuse.lxcfs";
    if (type.starts_with("nfs") || type == "cifs" || type == "smb3") return type != "nfsd";
    if (type == "tmpfs" || type == "ramfs") {
        return is("/run/media") || !(is("/run") || is("/dev") || is("/sys") || is("/proc"));
    }
    return !withoutDevice.contains(type);
}

/// The user in the options "uid=" of a file system without owners, or "user_id=" of one that a user mounted; else the
/// owner of what is mounted. Not root, who mounts for others.
std::optional<uid_t> ownerOf(const std::string& options, const std::string& point) {
    std::istringstream each(options);
    for (std::string option; std::getline(each, option, ',');) {
        for (const std::string_view name : {"uid=", "user_id="}) {
            if (!option.starts_with(name)) continue;
            const auto owner = static_cast<uid_t>(std::strtoul(option.c_str() + name.size(), nullptr, 10));
            if (owner != 0) return owner;
        }
    }
    struct stat status {};
    if (lstat(point.c_str(), &status) == 0 && status.st_uid != 0) return status.st_uid;
    return std::nullopt;
}

}  // namespace

MountSource::MountSource()
    : table_(open(kTable, O_RDONLY | O_CLOEXEC)), changes_(epoll_create1(EPOLL_CLOEXEC)), udev_(udev_new()) {
    // The table can always be read; what is of interest is its exceptional condition, a change.
    epoll_event event{};
    event.events = EPOLLPRI | EPOLLERR;
    if (table_ < 0 || changes_ < 0 || epoll_ctl(changes_, EPOLL_CTL_ADD, table_, &event) != 0) {
        const int error = errno;
        if (table_ >= 0) close(table_);
        if (changes_ >= 0) close(changes_);
        throw std::system_error(error, std::generic_category(), kTable);
    }
}

MountSource::~MountSource() {
    close(changes_);
    close(table_);
}

/// "36 35 98:0 /root /mount/point rw,noatime master:1 - ext3 /dev/root rw,errors=continue"
std::optional<MountSource::Mount> MountSource::mountIn(const std::string& line) {
    std::istringstream fields(line);
    std::string id, parent, device, root, flags, word;
    Mount mount;
    fields >> id >> parent >> device >> root >> mount.point >> flags;
    while (fields >> word && word != "-") {
    }
    fields >> mount.type >> mount.source >> mount.options;
    unsigned major = 0, minor = 0;
    if (mount.source.empty() || std::sscanf(device.c_str(), "%u:%u", &major, &minor) != 2) return std::nullopt;
    mount.point = unescaped(mount.point);
    mount.source = unescaped(mount.source);
    mount.device = makedev(major, minor);
    // Of the file system, not of the mount: a service sees every mount as one that it may not write to.
    mount.isReadOnly = mount.options == "ro" || mount.options.starts_with("ro,");
    mount.identity = "source=" + onOneLine(mount.source.c_str(), " \\") + " type=" + mount.type + " mount=" + id;
    return mount;
}

std::vector<MountSource::Mount> MountSource::volumes() const {
    const std::set<std::string> withoutDevice = typesWithoutDevice();
    std::vector<Mount> found;
    std::ifstream file(kTable);
    for (std::string line; std::getline(file, line);) {
        auto mount = mountIn(line);
        if (mount && isVolume(mount->type, mount->point, withoutDevice)) found.push_back(std::move(*mount));
    }
    return found;
}

void MountSource::begin(Auditor& auditor, const Presence::Devices& reported) {
    for (const Mount& mount : volumes()) {
        const auto known = reported.find(mount.point);
        if (known == reported.end() || !(known->second + " ").starts_with(mount.identity + " ")) continue;
        volumes_[mount.point] = {mount.identity, ownerOf(mount.options, mount.point), 0};
    }
    compare(auditor, "present");
}

void MountSource::read(Auditor& auditor) {
    epoll_event event;
    epoll_wait(changes_, &event, 1, 0);
    compare(auditor, "arrive");
}

void MountSource::compare(Auditor& auditor, const char* action) {
    std::map<std::string, Mount> now;
    for (Mount& mount : volumes()) now[mount.point] = std::move(mount);  // the last one lies on top
    std::vector<std::string> gone;
    for (const auto& [point, volume] : volumes_) {
        const auto still = now.find(point);
        if (still == now.end() || still->second.identity != volume.identity) gone.push_back(point);
    }
    for (const std::string& point : gone) {
        const Volume& volume = volumes_[point];
        auditor.audit({.action = "remove",
                       .name = point.substr(point.rfind('/') + 1),
                       .information = point,
                       .identity = volume.identity,
                       .deviceType = volume.deviceType,
                       .user = volume.user,
                       .access = Eject});
        volumes_.erase(point);
    }
    for (const auto& [point, mount] : now) {
        if (!volumes_.contains(point)) arrive(auditor, mount, action);
    }
}

void MountSource::arrive(Auditor& auditor, const Mount& mount, const char* action) {
    const UdevPointer<udev_device> device(udev_device_new_from_devnum(udev_.get(), 'b', mount.device));
    const std::string description = device ? descriptionOf(device.get()) : "";
    DeviceEvent event{.action = action,
                      .name = mount.point.substr(mount.point.rfind('/') + 1),
                      .information = mount.point,
                      .identity = mount.identity + (description.empty() ? "" : " " + description),
                      .deviceType = device ? deviceTypeOf(device.get()) : KXCore::AuditDeviceTypeUnknown,
                      .access = mount.isReadOnly ? Read : Read | Write};
    if (event.name.empty()) event.name = "/";
    event.user = userAtSeat();
    if (!event.user) event.user = ownerOf(mount.options, mount.point);
    volumes_[mount.point] = {mount.identity, event.user, event.deviceType};
    auditor.audit(event);
}

}  // namespace agent
