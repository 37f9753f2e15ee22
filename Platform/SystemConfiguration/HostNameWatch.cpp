#include "HostNameWatch.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace KXPlatform {
namespace {

void ring(const Descriptor& event) noexcept {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t count = ::write(event.get(), &one, sizeof one);  // full means rung already
}

}  // namespace

/// The one thread, which runs while the object lives.
class HostNameListener::Watch {
  public:
    Watch() : name_(::open("/proc/sys/kernel/hostname", O_RDONLY | O_CLOEXEC)), end_(::eventfd(0, EFD_CLOEXEC)) {
        if (!name_ || !end_) return;
        // Signals are for the program's own threads.
        sigset_t all, before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        try {
            thread_ = std::thread([this] { run(); });
        } catch (const std::system_error&) {
            // No thread to be had: the host name is read, and not followed.
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    ~Watch() {
        if (!thread_.joinable()) return;
        ring(end_);
        thread_.join();
    }

    static std::shared_ptr<Watch> shared() {
        static std::mutex mutex;
        static std::weak_ptr<Watch> current;
        const std::lock_guard lock(mutex);
        auto watch = current.lock();
        if (!watch) current = watch = std::make_shared<Watch>();
        return watch;
    }

    void add(const Descriptor* listener) {
        const std::lock_guard lock(mutex_);
        listeners_.push_back(listener);
    }

    void remove(const Descriptor* listener) noexcept {
        const std::lock_guard lock(mutex_);
        std::erase(listeners_, listener);
    }

  private:
    void run() {
        ::pthread_setname_np(::pthread_self(), "KXHostName");
        pollfd polled[] = {{name_.get(), POLLPRI, 0}, {end_.get(), POLLIN, 0}};
        for (;;) {
            if (::poll(polled, 2, -1) < 0) {
                if (errno == EINTR || errno == EAGAIN) continue;
                return;
            }
            if (polled[1].revents != 0 || (polled[0].revents & POLLNVAL)) return;
            if (polled[0].revents == 0) continue;
            const std::lock_guard lock(mutex_);
            for (const Descriptor* const listener : listeners_) ring(*listener);
        }
    }

    const Descriptor name_;
    const Descriptor end_;
    std::mutex mutex_;
    std::vector<const Descriptor*> listeners_;
    std::thread thread_;
};

HostNameListener::HostNameListener() : news_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!news_) return;
    watch_ = Watch::shared();
    watch_->add(&news_);
}

HostNameListener::~HostNameListener() {
    if (watch_) watch_->remove(&news_);
}

}  // namespace KXPlatform
