#include "Signals.h"

#include <pthread.h>

#include <csignal>

namespace agent {
namespace {

sigset_t awaited() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    return signals;
}

}  // namespace

Signals::Signals() {
    const sigset_t signals = awaited();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

Signals::Request Signals::await(std::chrono::microseconds patience) const {
    const sigset_t signals = awaited();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(patience);
    const timespec time{seconds.count(), std::chrono::nanoseconds(patience - seconds).count()};
    switch (sigtimedwait(&signals, nullptr, &time)) {
        case SIGHUP:
            return Request::Reload;
        case SIGINT:
        case SIGTERM:
            return Request::End;
        default:
            return Request::None;
    }
}

}  // namespace agent
