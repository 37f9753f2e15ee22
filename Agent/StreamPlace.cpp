#include "StreamPlace.h"

#include "Report.h"

#include <StreamFileState.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>

namespace agent {

using namespace KXCore;
using namespace std::chrono_literals;

namespace {

constexpr auto kTryEvery = 100ms;
constexpr auto kTellEvery = 60s;

/// Calls `attempt` until it succeeds, or throws something that does not pass by itself.
template <typename Attempt>
bool await(Attempt attempt, const Signals& signals, const Service& service) {
    std::chrono::steady_clock::time_point lastTold{};
    for (;;) {
        try {
            attempt();
            return true;
        } catch (const StreamError& error) {
            const auto* const owned = dynamic_cast<const StreamOwnedError*>(&error);
            if (!error.passes() || (owned && owned->program() == "kxagent")) throw;
            const auto now = std::chrono::steady_clock::now();
            if (lastTold.time_since_epoch() == 0s || now > lastTold + kTellEvery)
                report(std::string(error.what()) + "; waiting");
            if (lastTold.time_since_epoch() == 0s || now > lastTold + kTellEvery) lastTold = now;
            service.waits(error.what());
        }
        if (signals.await(kTryEvery) == Signals::Request::End) return false;
    }
}

}  // namespace

void makeFolderOf(const std::string& stream) {
    const std::string folder = std::filesystem::path(stream).parent_path().string();
    if (folder.empty() || mkdir(folder.c_str(), 0700) == 0) return;
    if (errno == EEXIST && std::filesystem::is_directory(folder)) return;
    throw StreamError(StreamError::Kind::Missing, folder, std::generic_category().message(errno));
}

std::optional<StreamOwner> own(const std::string& stream, const Signals& signals, const Service& service) {
    std::optional<StreamOwner> owner;
    await([&] { owner.emplace(StreamOwner(stream, "kxagent")); }, signals, service);
    return owner;
}

bool open(Journal& journal, const Signals& signals, const Service& service) {
    return await([&] { journal.open(); }, signals, service);
}

}  // namespace agent
