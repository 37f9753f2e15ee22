#include "RunLoop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

#include <sys/epoll.h>
#include <sys/timerfd.h>

namespace KXPlatform {
namespace {

using namespace std::chrono_literals;

// What an event of the epoll is about. A descriptor's holds its number and, so that events of an entry that has gone
// are known, the entry's serial, which is never 0.
constexpr std::uint64_t kWakerEvent = 0;
constexpr std::uint64_t kTimerEvent = 1;
std::uint64_t eventOf(int descriptor, std::uint32_t serial) noexcept {
    return std::uint64_t{serial} << 32 | static_cast<std::uint32_t>(descriptor);
}

/// How long a loop sleeps before it asks again, in a process that has no descriptor left to wait with.
constexpr std::int64_t kNap = std::chrono::nanoseconds(10ms).count();

bool control(int epoll, int operation, int descriptor, std::uint32_t events, std::uint64_t data) noexcept {
    epoll_event event{};
    event.events = events;
    event.data.u64 = data;
    return ::epoll_ctl(epoll, operation, descriptor, &event) == 0;
}

std::uint32_t wantedOf(const WatchedDescriptor& entry) noexcept {
    std::uint32_t wanted = 0;
    for (const Watch* const watch : entry.watches) {
        // What has been reported and not been served yet is not asked for again.
        wanted |= watch->source.owner->interest(watch->source.ownerObject).events & ~watch->events;
    }
    return wanted;
}

/// Notes events for every watch that wants them. They are an answer to the wish as it is now.
void spread(WatchedDescriptor& entry, std::uint32_t events) noexcept {
    for (Watch* const watch : entry.watches) {
        const Interest interest = watch->source.owner->interest(watch->source.ownerObject);
        const std::uint32_t wanted = events & interest.events;
        if (!wanted) continue;
        watch->events |= wanted;
        watch->serial = interest.serial;
        watch->makeReady();
    }
}

/// Brings what epoll reports of a descriptor in line with what its watches want.
void arm(Mode& mode, int descriptor, WatchedDescriptor& entry) noexcept {
    const std::uint32_t wanted = wantedOf(entry);
    if (wanted == entry.armed || !mode.epoll) return;
    if (wanted == 0) {
        control(mode.epoll.get(), EPOLL_CTL_DEL, descriptor, 0, 0);
        entry.registered = false;
        entry.armed = 0;
        return;
    }
    const std::uint32_t events = wanted | EPOLLONESHOT;
    const std::uint64_t data = eventOf(descriptor, entry.serial);
    bool done = control(mode.epoll.get(), entry.registered ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, descriptor, events, data);
    // The other file that has the number now may be unknown to epoll, or known by way of another entry.
    if (!done && errno == ENOENT) done = control(mode.epoll.get(), EPOLL_CTL_ADD, descriptor, events, data);
    if (!done && errno == EEXIST) done = control(mode.epoll.get(), EPOLL_CTL_MOD, descriptor, events, data);
    if (done) {
        entry.registered = true;
        entry.armed = wanted;
    } else if (errno == EPERM) {
        spread(entry, wanted);  // a plain file: always ready
        mode.waker->wake();
    }
}

/// arm() for a wish that is new: the number may belong to another file by now, of which epoll knows nothing yet.
void armAnew(Mode& mode, int descriptor, WatchedDescriptor& entry) noexcept {
    if (wantedOf(entry) != 0) entry.armed = 0;
    arm(mode, descriptor, entry);
}

/// Makes the mode's epoll when it has none. False when the process has no descriptor left.
bool openEpoll(__CFRunLoop& loop, Mode& mode) noexcept {
    if (mode.epoll) return true;
    if (!loop.waker->open()) return false;
    Descriptor made(::epoll_create1(EPOLL_CLOEXEC));
    if (!made) return false;
    if (!control(made.get(), EPOLL_CTL_ADD, loop.waker->descriptor(), EPOLLIN | EPOLLET, kWakerEvent)) return false;
    const std::lock_guard lock(loop.mutex);
    mode.epoll = std::move(made);
    for (auto& [descriptor, entry] : mode.descriptors) arm(mode, descriptor, entry);
    return true;
}

/// Sets the loop's timer so that the mode's epoll reports it at `until`. False when there is no descriptor for it.
bool setTimer(__CFRunLoop& loop, Mode& mode, std::int64_t until) noexcept {
    if (!loop.timer) loop.timer = Descriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    if (!loop.timer) return false;
    if (!mode.hasTimer) {
        mode.hasTimer = control(mode.epoll.get(), EPOLL_CTL_ADD, loop.timer.get(), EPOLLIN | EPOLLET, kTimerEvent);
        if (!mode.hasTimer) return false;
    }
    if (loop.timerSetTo == until) return true;
    constexpr std::int64_t kSecond = std::chrono::nanoseconds(1s).count();
    itimerspec setting{};
    setting.it_value.tv_sec = static_cast<time_t>(until / kSecond);
    setting.it_value.tv_nsec = static_cast<long>(until % kSecond);
    if (::timerfd_settime(loop.timer.get(), TFD_TIMER_ABSTIME, &setting, nullptr) != 0) return false;
    loop.timerSetTo = until;
    return true;
}

int millisecondsUntil(std::int64_t until, std::int64_t from) noexcept {
    constexpr std::int64_t kMillisecond = std::chrono::nanoseconds(1ms).count();
    return static_cast<int>(std::min<std::int64_t>((until - from) / kMillisecond + 1, INT32_MAX));
}

void take(__CFRunLoop& loop, Mode& mode, const epoll_event* events, int count) noexcept {
    for (int i = 0; i < count; ++i) {
        const std::uint64_t about = events[i].data.u64;
        if (about == kWakerEvent || about == kTimerEvent) continue;
        const int descriptor = static_cast<int>(about & UINT32_MAX);
        const std::lock_guard lock(loop.mutex);
        const auto found = mode.descriptors.find(descriptor);
        if (found == mode.descriptors.end() || found->second.serial != about >> 32) continue;
        WatchedDescriptor& entry = found->second;
        entry.armed = 0;
        std::uint32_t reported = events[i].events;
        // Whoever waits on a descriptor that has failed finds out by using it.
        if (reported & (EPOLLERR | EPOLLHUP)) reported |= EPOLLIN | EPOLLOUT;
        spread(entry, reported);
        arm(mode, descriptor, entry);
    }
}

constexpr int kEvents = 64;

}  // namespace

void waitForEvents(__CFRunLoop& loop, Mode& mode, std::int64_t until) noexcept {
    const std::int64_t start = until == kForever ? 0 : now();
    if (until <= start) return pollDescriptors(loop, mode);
    if (!openEpoll(loop, mode)) {
        if (loop.waker->takeWakeUp()) return;
        const std::int64_t nap = until == kForever ? kNap : std::min(kNap, until - start);
        std::this_thread::sleep_for(std::chrono::nanoseconds(nap));
        return;
    }
    int timeout = -1;
    if (until != kForever && !setTimer(loop, mode, until)) timeout = millisecondsUntil(until, start);
    std::array<epoll_event, kEvents> events;
    if (!loop.waker->prepareSleep()) return pollDescriptors(loop, mode);
    const int count = ::epoll_wait(mode.epoll.get(), events.data(), kEvents, timeout);
    loop.waker->finishSleep();
    take(loop, mode, events.data(), count);
}

void pollDescriptors(__CFRunLoop& loop, Mode& mode) noexcept {
    {
        const std::lock_guard lock(loop.mutex);
        if (mode.descriptors.empty()) return;
    }
    if (!openEpoll(loop, mode)) return;
    std::array<epoll_event, kEvents> events;
    take(loop, mode, events.data(), ::epoll_wait(mode.epoll.get(), events.data(), kEvents, 0));
}

void beginWatch(Mode& mode, Watch& watch) {
    const int descriptor = watch.source.owner->descriptor(watch.source.ownerObject);
    const auto [place, isNew] = mode.descriptors.try_emplace(descriptor);
    WatchedDescriptor& entry = place->second;
    try {
        entry.watches.push_back(&watch);
    } catch (...) {
        if (isNew) mode.descriptors.erase(place);
        throw;
    }
    if (isNew) {
        entry.serial = mode.nextSerial;
        mode.nextSerial = mode.nextSerial % UINT32_MAX + 1;
    }
    armAnew(mode, descriptor, entry);
}

void endWatch(Mode& mode, Watch& watch) noexcept {
    const int descriptor = watch.source.owner->descriptor(watch.source.ownerObject);
    const auto found = mode.descriptors.find(descriptor);
    if (found == mode.descriptors.end()) return;
    WatchedDescriptor& entry = found->second;
    std::erase(entry.watches, &watch);
    if (!entry.watches.empty()) return arm(mode, descriptor, entry);
    if (entry.registered) control(mode.epoll.get(), EPOLL_CTL_DEL, descriptor, 0, 0);
    mode.descriptors.erase(found);
}

void rearm(Mode& mode, Watch& watch) noexcept {
    const int descriptor = watch.source.owner->descriptor(watch.source.ownerObject);
    const auto found = mode.descriptors.find(descriptor);
    if (found != mode.descriptors.end()) arm(mode, descriptor, found->second);
}

void interestChanged(__CFRunLoopSource& source) noexcept {
    const int descriptor = source.owner->descriptor(source.ownerObject);
    Retained<__CFRunLoop> loop;
    while ((loop = nextLoopOf(source, loop.get()))) {
        const std::lock_guard lock(loop->mutex);
        const Holding* const holding = loop->find(source);
        if (!holding) continue;
        for (Mode* const mode : holding->modes) {
            const auto found = mode->descriptors.find(descriptor);
            if (found != mode->descriptors.end()) armAnew(*mode, descriptor, found->second);
        }
    }
}

}  // namespace KXPlatform
