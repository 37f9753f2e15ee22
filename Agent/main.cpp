// The agent: watches devices come and go, decides each by an access-control list, and reports it without loss.
//
//     DeviceSource --event--> Auditor --record--> Recorder --> stream file --> Delivery --> standard output
//     '---- thread "watcher" ----'           thread "recorder"              thread "delivery"
//
// Three threads, started by name and stopped by a signal, which the first thread waits for.

#include "Auditor.h"
#include "Delivery.h"
#include "ExitStatus.h"
#include "FolderSource.h"
#include "MountSource.h"
#include "Recorder.h"
#include "Report.h"
#include "StreamPlace.h"
#include "UdevSource.h"
#include "Watcher.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

using namespace agent;
using namespace KXCore;
using namespace std::chrono_literals;

namespace {

constexpr char kUsage[] =
    "usage: kxagent CONFIGURATION\n"
    "       kxagent --check CONFIGURATION\n"
    "       kxagent --version | --help\n";

constexpr char kHelp[] =
    "\n"
    "Watches devices come and go, decides each by an access-control list, and reports it\n"
    "on the standard output. What is not delivered yet waits in a stream file.\n"
    "\n"
    "  --check     read the configuration, say what is wrong with it, and end\n"
    "\n"
    "Signals: SIGTERM ends the agent; SIGHUP reads the configuration anew and opens\n"
    "the output again.\n"
    "Exit status: 0 ended by a signal, 64 bad usage, 65 bad configuration, 66 the stream\n"
    "cannot be used, 75 another agent owns the stream or the system lacks something.\n";

/// How many records one transaction may have left without a note of their devices.
constexpr std::size_t kRecordsWithoutNote = 1000;

/// Longer than the threads need when all goes well; shorter than an administrator's patience.
constexpr auto kLongestEnd = 1800ms;

struct Failure : std::runtime_error {
    Failure(ExitStatus status, const std::string& what) : std::runtime_error(what), exitStatus(status) {}
    ExitStatus exitStatus;
};

Configuration configurationAt(const char* path) {
    try {
        return readConfiguration(path);
    } catch (const std::exception& error) {
        throw Failure(BadConfiguration, error.what());
    }
}

Watcher::Sources sourcesOf(const Settings& settings) {
    Watcher::Sources sources;
    const auto configuration = settings.get();
    try {
        if (configuration->watch) {
            sources.push_back(std::make_unique<FolderSource>(*configuration->watch, settings));
        } else {
            sources.push_back(std::make_unique<UdevSource>());
            sources.push_back(std::make_unique<MountSource>());
        }
    } catch (const std::system_error& error) {
        throw Failure(configuration->watch ? BadConfiguration : TryAgain, error.what());
    }
    return sources;
}

std::unique_ptr<StatusSocket> statusSocketOf(const Configuration& configuration, const Counters& counters) {
    try {
        return configuration.status ? std::make_unique<StatusSocket>(*configuration.status, counters) : nullptr;
    } catch (const std::system_error& error) {
        throw Failure(BadConfiguration, error.what());
    }
}

/// What the running agent can take over of a new configuration: all but what it holds open.
void requireSamePlaces(const Configuration& now, const Configuration& next) {
    const auto require = [](const char* key, bool isSame) {
        if (!isSame) throw Failure(BadConfiguration, std::string(key) + " has changed, which takes a restart");
    };
    require("Stream", next.stream == now.stream);
    require("Watch", next.watch == now.watch);
    require("Status", next.status == now.status);
}

void reload(const char* path, Settings& settings, Journal& journal) {
    try {
        Configuration next = configurationAt(path);
        requireSamePlaces(*settings.get(), next);
        journal.setMaximumSize(next.maximumSize);
        settings.set(std::move(next));
        report("the configuration was read anew");
    } catch (const Failure& failure) {
        report(std::string(failure.what()) + "; the old configuration stays");
    }
}

/// Ends the process, should a disk or a name service that hangs keep a thread from ending. What is not on the disk yet
/// is counted, for the next agent to report.
void endByForceLater(const StreamOwner& owner, const Counters& counters) {
    std::thread([&owner, &counters] {
        std::this_thread::sleep_for(kLongestEnd);
        owner.setLost(counters.waiting);
        report("ended in the middle of a write; " + std::to_string(counters.waiting) + " events may be lost");
        _exit(Ended);
    }).detach();
}

int run(const char* path) {
    const Signals signals;
    const Service service;
    Settings settings(configurationAt(path));
    const auto configuration = settings.get();
    Watcher::Sources sources = sourcesOf(settings);  // from here on nothing is missed

    makeFolderOf(configuration->stream);
    const auto owner = own(configuration->stream, signals, service);
    if (!owner) return Ended;
    Counters counters;
    std::unique_ptr<StatusSocket> status = statusSocketOf(*configuration, counters);
    Journal journal(configuration->stream);
    journal.setMaximumSize(configuration->maximumSize);
    if (!open(journal, signals, service)) return Ended;

    Presence presence(configuration->stream + ".present");
    presence.catchUp(journal.lastOnes(kRecordsWithoutNote));

    Delivery delivery(journal, counters, settings);
    Recorder recorder(journal, counters, settings,
                      {.stored = [&presence](std::span<const Record> records) { presence.note(records); },
                       .readable = [&delivery] { delivery.wake(); }},
                      owner->lost());
    delivery.onRoom([&recorder] { recorder.tryAgain(); });
    Auditor auditor(settings, recorder);
    Watcher watcher(std::move(sources), presence.devices(), auditor, std::move(status), [&] {
        report("watching " + configuration->watch.value_or("the system's devices and volumes"));
        service.isReady();
    });

    StartBackgroundThread("delivery", &delivery);
    StartBackgroundThread("recorder", &recorder);
    StartBackgroundThread("watcher", &watcher);

    const auto watchdog = service.watchdog();
    const auto isWell = [&] {
        const auto longAgo = std::chrono::steady_clock::now() - *watchdog;
        return watcher.lastSeen() > longAgo && recorder.lastSeen() > longAgo;
    };
    for (Signals::Request request{}; request != Signals::Request::End;) {
        if (watchdog && isWell()) service.lives();
        request = signals.await(watchdog ? *watchdog / 3 : std::chrono::hours(1));
        if (request != Signals::Request::Reload) continue;
        service.reloads();
        reload(path, settings, journal);
        delivery.reopenOutput();
        service.isReady();
    }

    service.ends();
    endByForceLater(*owner, counters);
    // The producers first, so that each consumer takes all there is.
    StopBackgroundThread("watcher");
    StopBackgroundThread("recorder");
    StopBackgroundThread("delivery");
    owner->setLost(recorder.lost());
    if (recorder.lost() != 0) report(std::to_string(recorder.lost()) + " events could not be written, and are lost");
    return Ended;
}

int failWith(ExitStatus status, const char* what) {
    report(what);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    umask(0077);
    const auto is = [&](int at, const char* text) { return at < argc && std::strcmp(argv[at], text) == 0; };
    if (argc == 2 && is(1, "--version")) return std::printf("kxagent %s\n", KXAGENT_VERSION) < 0;
    if (argc == 2 && (is(1, "--help") || is(1, "-h"))) return std::printf("%s%s", kUsage, kHelp) < 0;
    const bool checks = argc == 3 && is(1, "--check");
    if (!checks && (argc != 2 || argv[1][0] == '-')) {
        std::fputs(kUsage, stderr);
        return BadUsage;
    }
    try {
        if (!checks) return run(argv[1]);
        configurationAt(argv[2]);
        return std::printf("%s: good\n", argv[2]) < 0;
    } catch (const Failure& failure) {
        return failWith(failure.exitStatus, failure.what());
    } catch (const StreamOwnedError& error) {
        return failWith(TryAgain, error.what());
    } catch (const StreamError& error) {
        return failWith(error.kind() == StreamError::Kind::Failed ? TryAgain : BadStream, error.what());
    } catch (const std::exception& error) {
        return failWith(TryAgain, error.what());
    }
}
