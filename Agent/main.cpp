// A small agent: watches devices arrive, decides each by an access-control list, and reports it without loss.
//
//     Watcher --event--> Auditor --record--> stream file --> Delivery --> standard output
//
// Two threads with run loops of their own, started by name, and stopped by a signal.

#include "Auditor.h"
#include "Delivery.h"
#include "Watcher.h"

#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <exception>

using namespace agent;
using namespace KXCore;

namespace {

/// Stops the threads before what they use goes, however that comes about.
struct Threads {
    Threads() = default;
    Threads(const Threads&) = delete;
    ~Threads() {
        // The producer first, so that the consumer delivers all there is.
        StopBackgroundThread("watcher");
        StopBackgroundThread("delivery");
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: agent CONFIGURATION.plist\n");
        return 2;
    }
    // Blocked here, and so in every thread: main waits for them below.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    try {
        const Configuration configuration = readConfiguration(argv[1]);
        StreamStorage stream(configuration.stream.c_str(), FileAttributes());
        stream.openStorage(StreamModeReadWrite);

        const EventPort arrivals(0);
        Auditor auditor(configuration, stream, arrivals);
        const Threads threads;
        StartBackgroundThread("delivery", new Delivery(stream, arrivals));
        StartBackgroundThread("watcher", new Watcher(configuration, auditor));

        std::fprintf(stderr, "agent: watching %s\n", configuration.watch ? configuration.watch->c_str() : "the kernel");

        int signal;
        sigwait(&signals, &signal);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "agent: %s\n", error.what());
        return 1;
    }
}
