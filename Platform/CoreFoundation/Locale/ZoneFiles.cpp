#include "ZoneFiles.h"

#include "Support/Descriptor.h"
#include "ZoneData.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KXPlatform {
namespace {

constexpr std::string_view kUsualFolder = "/usr/share/zoneinfo";
constexpr const char* kLocalTime = "/etc/localtime";
constexpr const char* kTimeZone = "/etc/timezone";
constexpr std::size_t kLongestName = 255;

std::string folderOfEnvironment() {
    const char* const folder = ::secure_getenv("TZDIR");
    return folder && folder[0] == '/' ? folder : std::string(kUsualFolder);
}

struct Folder {
    std::mutex mutex;
    std::string path = folderOfEnvironment();
};

Folder& folder() {
    static Folder& only = *new Folder;
    return only;
}

/// The bytes of a plain file no larger than a zone's may be. A pipe or a device is not waited for.
std::optional<std::string> readFile(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    std::string bytes(ZoneData::kLargest + 1 < static_cast<std::size_t>(status.st_size)
                          ? 0
                          : static_cast<std::size_t>(status.st_size),
                      '\0');
    std::size_t size = 0;
    while (size < bytes.size()) {
        const ssize_t got = ::read(file.get(), bytes.data() + size, bytes.size() - size);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        size += static_cast<std::size_t>(got);
    }
    if (size == 0) return {};
    bytes.resize(size);
    return bytes;
}

bool beginsAsZone(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    char magic[4];
    return file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           ::read(file.get(), magic, sizeof magic) == sizeof magic && std::string_view(magic, sizeof magic) == "TZif";
}

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};
using OpenFolder = std::unique_ptr<DIR, CloseFolder>;

/// The copies of all zones with and without leap seconds, and other names of the computer's zone and of a rule's.
bool isNoZoneOfItsOwn(std::string_view name) noexcept {
    return name == "posix" || name == "right" || name == "localtime" || name == "posixrules";
}

/// The name of the zone whose file is `path`; empty when that lies elsewhere.
std::string nameOfPath(std::string_view path) {
    for (const std::string& base : {zoneFolder(), std::string(kUsualFolder)}) {
        if (!path.starts_with(base + "/")) continue;
        std::string_view name = path.substr(base.size() + 1);
        for (const std::string_view copy : {"posix/", "right/"})
            if (name.starts_with(copy)) name.remove_prefix(copy.size());
        if (isZoneName(name)) return std::string(name);
    }
    return {};
}

std::optional<SystemZone> named(std::string name) {
    std::optional<std::string> file = readZoneFile(name);
    if (!file || !ZoneData::read({reinterpret_cast<const std::uint8_t*>(file->data()), file->size()})) return {};
    return SystemZone{std::move(name), std::move(*file)};
}

/// What /etc/timezone says.
std::string writtenName() {
    const std::optional<std::string> text = readFile(kTimeZone);
    return text ? text->substr(0, text->find_first_of(" \t\r\n")) : std::string();
}

std::optional<SystemZone> zoneOfComputer() {
    const std::optional<std::string> file = readFile(kLocalTime);
    if (!file) return named(writtenName());
    // As the link is written first: the file that it leads to may in turn be a link to another zone.
    char path[PATH_MAX];
    const ssize_t size = ::readlink(kLocalTime, path, sizeof path);
    if (size > 0) {
        std::string_view written(path, static_cast<std::size_t>(size));
        if (written.starts_with("..")) written.remove_prefix(2);  // from /etc
        if (auto zone = named(nameOfPath(written))) return zone;
    }
    if (::realpath(kLocalTime, path))
        if (auto zone = named(nameOfPath(path))) return zone;
    // A copy, then: of which zone tells the other file, unless the two have gone apart.
    if (auto zone = named(writtenName()); zone && zone->file == *file) return zone;
    if (!ZoneData::read({reinterpret_cast<const std::uint8_t*>(file->data()), file->size()})) return {};
    return SystemZone{"localtime", *file};
}

std::optional<SystemZone> zoneOfEnvironment(std::string_view tz) {
    if (tz.starts_with(':')) tz.remove_prefix(1);
    if (tz.empty()) return named("UTC");
    if (tz == kLocalTime) return zoneOfComputer();
    if (tz.starts_with('/')) return named(nameOfPath(tz));
    if (auto zone = named(std::string(tz))) return zone;
    if (const auto rule = ZoneRule::read(tz))
        return SystemZone{std::string(tz), makeZoneFile(tz, rule->standard().abbreviation, rule->standard().offset)};
    return {};
}

}  // namespace

std::string zoneFolder() {
    const std::lock_guard lock(folder().mutex);
    return folder().path;
}

void refreshZoneFolder() {
    std::string path = folderOfEnvironment();
    const std::lock_guard lock(folder().mutex);
    folder().path.swap(path);
}

bool isZoneName(std::string_view name) noexcept {
    if (name.empty() || name.size() > kLongestName || name.front() == '/' || name.back() == '/') return false;
    for (const char c : name) {
        const bool isPlain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
                             c == '-' || c == '_' || c == '.' || c == '/';
        if (!isPlain) return false;
    }
    while (!name.empty()) {
        const std::string_view part = name.substr(0, name.find('/'));
        if (part.empty() || part == "." || part == "..") return false;
        name.remove_prefix(std::min(part.size() + 1, name.size()));
    }
    return true;
}

std::optional<std::string> readZoneFile(std::string_view name) {
    if (!isZoneName(name)) return {};
    return readFile(zoneFolder() + "/" + std::string(name));
}

std::vector<std::string> zoneNames() {
    std::vector<std::string> names;
    std::vector<std::string> folders{""};
    // Links to folders are not followed, so there is an end to it.
    while (!folders.empty()) {
        const std::string below = std::move(folders.back());
        folders.pop_back();
        const OpenFolder open(::opendir((zoneFolder() + "/" + below).c_str()));
        if (!open) continue;
        while (const dirent* const entry = ::readdir(open.get())) {
            const std::string name = below + entry->d_name;
            if (!isZoneName(name) || isNoZoneOfItsOwn(name)) continue;
            const std::string path = zoneFolder() + "/" + name;
            struct stat status {};
            if (::lstat(path.c_str(), &status) != 0) continue;
            if (S_ISDIR(status.st_mode))
                folders.push_back(name + "/");
            else if (beginsAsZone(path))
                names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

SystemZone findSystemZone() {
    std::optional<SystemZone> zone;
    // A TZ that nothing is known of stands for UTC, as in the C library.
    if (const char* const tz = ::secure_getenv("TZ"))
        zone = zoneOfEnvironment(tz);
    else
        zone = zoneOfComputer();
    return zone ? std::move(*zone) : SystemZone{"GMT", makeZoneFile("", "GMT", 0)};
}

}  // namespace KXPlatform
