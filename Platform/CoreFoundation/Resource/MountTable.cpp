#include "MountTable.h"

#include "Support/Descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>

#include <fcntl.h>
#include <sys/sysmacros.h>

namespace KXPlatform {

namespace {

/// Takes the next word off a line.
std::string_view takeWord(std::string_view& line) noexcept {
    const std::string_view word = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(word.size() + 1, line.size()));
    return word;
}

/// The kernel writes spaces and the like as three octal digits.
std::string plain(std::string_view word) {
    std::string out;
    for (std::size_t i = 0; i < word.size(); ++i) {
        unsigned value = 0;
        if (word[i] == '\\' && word.size() - i > 3 &&
            std::from_chars(&word[i + 1], &word[i + 1] + 3, value, 8).ptr == &word[i + 1] + 3) {
            out += static_cast<char>(value);
            i += 3;
        } else {
            out += word[i];
        }
    }
    return out;
}

bool parseDevice(std::string_view word, dev_t& device) noexcept {
    const std::size_t colon = word.find(':');
    if (colon == std::string_view::npos) return false;
    unsigned major = 0, minor = 0;
    const char* const end = word.data() + word.size();
    if (std::from_chars(word.data(), word.data() + colon, major).ptr != word.data() + colon) return false;
    if (std::from_chars(word.data() + colon + 1, end, minor).ptr != end) return false;
    device = makedev(major, minor);
    return true;
}

std::string readAll(const char* path) {
    std::string text;
    const Descriptor file(::open(path, O_RDONLY | O_CLOEXEC));
    if (!file) return text;
    char part[4096];
    for (;;) {
        const ssize_t size = ::read(file.get(), part, sizeof part);
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return text;
        text.append(part, static_cast<std::size_t>(size));
    }
}

bool isWithin(std::string_view path, std::string_view point) noexcept {
    if (point == "/") return path.starts_with('/');
    return path.starts_with(point) && (path.size() == point.size() || path[point.size()] == '/');
}

template <std::size_t N>
bool isOneOf(std::string_view type, const std::array<std::string_view, N>& types) noexcept {
    return std::ranges::find(types, type) != types.end();
}

}  // namespace

bool Mount::isBrowsable() const noexcept {
    static constexpr std::array<std::string_view, 25> kOwn{
        "proc",    "sysfs",       "devtmpfs",        "devpts",      "cgroup",     "cgroup2",   "securityfs",
        "debugfs", "tracefs",     "configfs",        "mqueue",      "hugetlbfs",  "pstore",    "bpf",
        "autofs",  "efivarfs",    "fusectl",         "binfmt_misc", "rpc_pipefs", "selinuxfs", "nsfs",
        "ramfs",   "fuse.portal", "fuse.gvfsd-fuse", "smackfs"};
    // What holds the run-time state of services is nobody's volume either, whatever its type.
    const auto isBelow = [&](std::string_view place) { return isWithin(point, place); };
    return !isOneOf(type, kOwn) && !isBelow("/proc") && !isBelow("/sys") && !isBelow("/dev") &&
           (!isBelow("/run") || isBelow("/run/media"));
}

bool Mount::isReadOnly() const noexcept { return options == "ro" || options.starts_with("ro,"); }

bool Mount::isNetwork() const noexcept {
    static constexpr std::array<std::string_view, 12> kNetwork{
        "nfs", "nfs4", "cifs", "smb3", "smbfs", "afs", "ceph", "9p", "ncpfs", "coda", "fuse.sshfs", "glusterfs"};
    return isOneOf(type, kNetwork);
}

// "36 35 98:0 /below /place rw,noatime shared:1 - ext4 /dev/sda1 rw": numbers of the mount and its parent, the device,
// what of the file system is mounted and where, options, any number of fields more, a dash, the type and the source.
bool parseMount(std::string_view line, Mount& mount) {
    takeWord(line);
    takeWord(line);
    if (!parseDevice(takeWord(line), mount.device)) return false;
    takeWord(line);
    mount.point = plain(takeWord(line));
    mount.options = takeWord(line);
    while (!line.empty() && takeWord(line) != "-") {
    }
    mount.type = takeWord(line);
    mount.source = plain(takeWord(line));
    return mount.point.starts_with('/') && !mount.type.empty();
}

void readMountTable(std::vector<Mount>& mounts) {
    const std::string table = readAll("/proc/self/mountinfo");
    for (std::string_view rest = table; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        Mount mount;
        if (!parseMount(line, mount)) continue;
        std::erase_if(mounts, [&](const Mount& other) { return other.point == mount.point; });
        mounts.push_back(std::move(mount));
    }
}

const Mount* findMount(const std::vector<Mount>& mounts, std::string_view path, dev_t device) noexcept {
    const Mount* found = nullptr;
    bool isOfDevice = false;
    for (const Mount& mount : mounts) {
        if (!isWithin(path, mount.point)) continue;
        // Some file systems give their files other devices than the table has: the longest place then.
        const bool isSame = mount.device == device;
        if (isOfDevice && !isSame) continue;
        if (!found || (isSame && !isOfDevice) || mount.point.size() >= found->point.size()) found = &mount;
        isOfDevice = isOfDevice || isSame;
    }
    return found;
}

}  // namespace KXPlatform
