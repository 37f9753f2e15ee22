#include "FileWatch.h"

#include <poll.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>
#ifdef __linux__
#include <sys/inotify.h>
#endif

namespace kxtool {

#ifdef __linux__

struct FileWatch::State {
    int descriptor = -1;
    std::set<std::string> names;

    /// Takes what the system has to say, and whether any of it is about the file.
    bool drain() {
        alignas(inotify_event) char buffer[16384];
        bool changed = false;
        for (ssize_t count; (count = read(descriptor, buffer, sizeof buffer)) > 0;) {
            for (ssize_t at = 0; at < count;) {
                const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
                const std::string_view name = event->len != 0 ? event->name : "";
                changed = changed || (event->mask & IN_Q_OVERFLOW) != 0 || names.contains(std::string(name));
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
        return changed;
    }
};

FileWatch::FileWatch(const std::string& path) : state_(std::make_unique<State>()) {
    namespace fs = std::filesystem;
    state_->descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    const auto watch = [&](const fs::path& file) {
        const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
        // A commit ends with the journal's removal; the file's own changes may be its only ones otherwise.
        constexpr unsigned kEvents = IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM;
        inotify_add_watch(state_->descriptor, folder.c_str(), kEvents);
        state_->names.insert(file.filename().string());
        state_->names.insert(file.filename().string() + "-journal");
    };
    watch(path);
    std::error_code missing;
    const fs::path target = fs::canonical(path, missing);
    if (!missing) watch(target);
}

FileWatch::~FileWatch() {
    if (state_->descriptor >= 0) close(state_->descriptor);
}

FileWatch::Event FileWatch::wait(const Interruption& interruption, int milliseconds) {
    for (;;) {
        pollfd polled[] = {{interruption.descriptor(), POLLIN, 0}, {state_->descriptor, POLLIN, 0}};
        const int count = poll(polled, 2, milliseconds);
        if (interruption.wait(0)) return Event::Interrupted;
        if (count == 0) return Event::TimeOut;
        if (count > 0 && state_->drain()) return Event::Changed;
    }
}

#else

// Where there is no such notice, whoever waits looks at short intervals.

struct FileWatch::State {};

FileWatch::FileWatch(const std::string&) : state_(std::make_unique<State>()) {}
FileWatch::~FileWatch() = default;

FileWatch::Event FileWatch::wait(const Interruption& interruption, int milliseconds) {
    constexpr int kInterval = 20;
    const bool isShort = milliseconds >= 0 && milliseconds < kInterval;
    if (interruption.wait(isShort ? milliseconds : kInterval)) return Event::Interrupted;
    return isShort ? Event::TimeOut : Event::Changed;
}

#endif

}  // namespace kxtool
