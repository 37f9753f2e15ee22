#include "Watcher.h"

#include <linux/netlink.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <string_view>
#include <system_error>

namespace agent {

using namespace KXCore;

namespace {

/// Runs a function when a descriptor can be read, again and again.
class OnReadable final : public RunLoopSourceFileDescriptor {
  public:
    OnReadable(int descriptor, std::function<void()> function)
        : RunLoopSourceFileDescriptor(descriptor), function_(std::move(function)) {}
    void enable() { fileDescriptor_.enableCallBacks(kCFFileDescriptorReadCallBack); }
    void callback() override {
        function_();
        enable();
    }

  private:
    std::function<void()> function_;
};

[[noreturn]] void fail(int fd, const std::string& what) {
    const int error = errno;
    if (fd >= 0) close(fd);
    throw std::system_error(error, std::generic_category(), what);
}

int watchFolder(const std::string& folder) {
    constexpr std::uint32_t events = IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_ONLYDIR;
    const int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd < 0 || inotify_add_watch(fd, folder.c_str(), events) < 0) fail(fd, folder);
    return fd;
}

int watchKernel() {
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1;
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail(fd, "the kernel's device events");
    }
    return fd;
}

/// "add@/devices/...", NUL, "KEY=VALUE", NUL, ...
std::map<std::string_view, std::string_view> fieldsOf(std::string_view message) {
    std::map<std::string_view, std::string_view> fields;
    while (!message.empty()) {
        const std::string_view field = message.substr(0, message.find('\0'));
        message.remove_prefix(std::min(field.size() + 1, message.size()));
        if (const std::size_t equals = field.find('='); equals != std::string_view::npos) {
            fields[field.substr(0, equals)] = field.substr(equals + 1);
        }
    }
    return fields;
}

/// What AuditRecord calls a device of a kernel subsystem; 0 where it has no word for it.
int deviceTypeOf(std::string_view subsystem) {
    static const std::map<std::string_view, int> types = {{"block", 2},     {"tty", 7},        {"usb", 10},
                                                          {"firewire", 12}, {"bluetooth", 13}, {"ieee80211", 14}};
    const auto found = types.find(subsystem);
    return found == types.end() ? 0 : found->second;
}

}  // namespace

Watcher::Watcher(const Configuration& configuration, Auditor& auditor)
    : configuration_(configuration),
      auditor_(auditor),
      fd_(configuration.watch ? watchFolder(*configuration.watch) : watchKernel()) {}

Watcher::~Watcher() { close(fd_); }

void Watcher::run() {
    const auto source = boost::make_shared<OnReadable>(fd_, [this] { readEvents(); });
    OnReadable::initialize(source);
    source->enable();
    source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopCommonModes, 0);

    auditWhatIsThere();
    CFRunLoopRun();
}

/// Devices that came while nobody watched.
void Watcher::auditWhatIsThere() {
    if (!configuration_.watch) return;
    std::error_code error;  // the folder may have gone by now, and holds nothing then
    for (const auto& entry : std::filesystem::directory_iterator(*configuration_.watch, error)) {
        auditFile("present", entry.path().filename());
    }
}

void Watcher::readEvents() { configuration_.watch ? readFolder() : readKernel(); }

void Watcher::readFolder() {
    alignas(inotify_event) std::array<char, 16384> buffer;
    for (ssize_t length; (length = read(fd_, buffer.data(), buffer.size())) > 0;) {
        for (const char* at = buffer.data(); at < buffer.data() + length;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(at);
            at += sizeof *event + event->len;
            if (event->mask & IN_Q_OVERFLOW) auditWhatIsThere();  // more came at once than the kernel keeps
            if (event->len == 0) continue;
            if (event->mask & (IN_DELETE | IN_MOVED_FROM)) {
                auditFile("remove", event->name);
            } else if (!(event->mask & IN_CREATE) || (event->mask & IN_ISDIR)) {
                // A file has arrived when it is written; a volume, when it is there.
                auditFile("arrive", event->name);
            }
        }
    }
}

void Watcher::auditFile(const char* action, const std::string& name) {
    const std::string path = *configuration_.watch + "/" + name;
    DeviceEvent event{.action = action, .name = name, .information = path, .deviceType = configuration_.deviceType};
    struct stat status {};
    event.user = lstat(path.c_str(), &status) == 0 ? status.st_uid : getuid();
    event.access = event.action == "remove" ? Eject : status.st_mode & S_IWUSR ? Read | Write : Read;
    auditor_.audit(event);
}

void Watcher::readKernel() {
    std::array<char, 16384> buffer;
    sockaddr_nl from{};
    const auto receive = [&] {
        socklen_t size = sizeof from;
        return recvfrom(fd_, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
    };
    for (ssize_t length; (length = receive()) > 0 || errno == ENOBUFS;) {
        if (length < 0) std::fprintf(stderr, "agent: the kernel had more events than could be kept\n");
        if (length < 0 || from.nl_pid != 0) continue;  // not from the kernel
        const auto fields = fieldsOf({buffer.data(), static_cast<std::size_t>(length)});
        const auto field = [&](std::string_view key) {
            const auto found = fields.find(key);
            return std::string(found == fields.end() ? std::string_view() : found->second);
        };
        const int type = deviceTypeOf(field("SUBSYSTEM"));
        const std::string action = field("ACTION");
        if (type == 0 || (action != "add" && action != "remove")) continue;
        // Whoever sits at the computer owns its console.
        struct stat console {};
        stat("/dev/console", &console);
        const std::string path = field("DEVPATH");
        auditor_.audit({.action = action == "add" ? "arrive" : "remove",
                        .name = field("DEVNAME").empty() ? path.substr(path.rfind('/') + 1) : field("DEVNAME"),
                        .information = path,
                        .deviceType = type,
                        .user = console.st_uid,
                        .access = action == "add" ? Read | Write : Eject});
    }
}

}  // namespace agent
