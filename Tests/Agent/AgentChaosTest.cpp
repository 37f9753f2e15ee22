// The real agent in bad company: it is killed, its stream is locked, its disk is slow or full, its reader is gone, it
// is flooded, all at random. Every device must be reported exactly once, or be counted as dropped. KX_CHAOS_ROUNDS sets
// how long that goes on, KX_CHAOS_SEED repeats a run.

#include "AgentPlace.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <map>
#include <random>
#include <set>
#include <sstream>

using namespace agent_test;

namespace {

unsigned numberIn(const char* variable, unsigned otherwise) {
    const char* const text = std::getenv(variable);
    return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

/// The slow sync stands before the sanitizer's own library, if there is one.
const std::string kAnyOrder = [] {
    const char* const options = std::getenv("ASAN_OPTIONS");
    return std::string("ASAN_OPTIONS=") + (options ? std::string(options) + ":" : "") + "verify_asan_link_order=0";
}();

class Chaos {
  public:
    explicit Chaos(unsigned seed) : random_(seed) {
        mkdir(disk_.c_str(), 0755);
        hasDisk_ = mount("none", disk_.c_str(), "tmpfs", 0, "size=512k") == 0;
    }
    ~Chaos() {
        agent_.reset();
        if (hasDisk_) umount2(disk_.c_str(), MNT_DETACH);
    }

    void round() {
        start(below(4) == 0 ? "closed" : "file", below(3) == 0 ? below(30'000) : 0);
        for (unsigned i = 0, count = 1 + below(3); i < count; ++i) act();
        const int signal = below(2) == 0 ? SIGKILL : SIGTERM;
        EXPECT_EQ(agent_->end(signal), signal == SIGKILL ? 128 + SIGKILL : 0) << agent_->log();
    }

    /// Lets it do its work, and looks at what came of all.
    void check() {
        start("file", 0);
        EXPECT_TRUE(waitFor([&] { return place_.counter("waiting") == 0 && place_.streamInfo("items") == 0; }))
            << agent_->log();
        EXPECT_EQ(agent_->end(SIGTERM), 0);
        // A line that came twice is the same to the millisecond.
        std::set<std::string> lines;
        std::map<std::string, int> reports;
        unsigned long dropped = 0;
        std::istringstream all(contentOf(lines_));
        for (std::string line; std::getline(all, line);) {
            if (!lines.insert(line).second) continue;
            const std::size_t at = line.find(" disk-");
            if (at != std::string::npos) ++reports[line.substr(at + 1, line.find(':', at) - at - 1)];
            const std::size_t service = line.find(" dropped ");
            if (service != std::string::npos) dropped += std::stoul(line.substr(line.find("Service") + 7));
        }
        unsigned long missing = 0;
        for (unsigned device = 0; device < devices_; ++device) {
            const int count = reports["disk-" + std::to_string(device)];
            EXPECT_LE(count, 1) << "disk-" << device;
            if (count == 0) ++missing;
        }
        EXPECT_LE(missing, dropped) << "of " << devices_;
        EXPECT_GT(devices_, missing);
    }

  private:
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    void start(const std::string& output, unsigned syncMicroseconds) {
        const std::string to = output == "file" ? "exec >>'" + lines_ + "'"
                                                : "mkfifo '" + lines_ + ".pipe' 2>&-; exec 3<>'" + lines_ +
                                                      ".pipe'; exec >'" + lines_ + ".pipe'; exec 3<&-";
        const std::string slow = syncMicroseconds == 0
                                     ? ""
                                     : "export " + kAnyOrder + " LD_PRELOAD='" KX_SLOW_SYNC "' KX_SYNC_MICROSECONDS=" +
                                           std::to_string(syncMicroseconds) + "; ";
        agent_ = std::make_unique<RunningAgent>(
            place_.configuration(), std::vector<std::string>{"/bin/sh", "-c", to + "; " + slow + "exec \"$0\" \"$1\""});
        ASSERT_TRUE(agent_->watches()) << agent_->log();
    }

    void plugIn(unsigned count) {
        for (unsigned i = 0; i < count; ++i) place_.plugIn("disk-" + std::to_string(devices_++));
    }

    void act() {
        switch (below(4)) {
            case 0:
                return plugIn(1 + below(300));
            case 1: {
                const Lock lock(place_.stream(), below(2) == 0 ? "BEGIN IMMEDIATE" : "BEGIN EXCLUSIVE");
                plugIn(1 + below(20));
                usleep(below(1'500'000));
                return;
            }
            case 2: {
                if (!hasDisk_) return plugIn(1);
                {
                    std::ofstream filler(disk_ + "/filler");
                    for (int i = 0; i < 600 && filler; ++i) filler << std::string(1024, 'x') << std::flush;
                }
                plugIn(1 + below(50));
                usleep(below(300'000));
                std::filesystem::remove(disk_ + "/filler");
                return;
            }
            default:
                plugIn(1);
                usleep(below(50'000));
        }
    }

    std::mt19937 random_;
    const TemporaryFolder folder_;
    const std::string disk_ = folder_ / "disk";
    const std::string lines_ = folder_ / "lines";
    const Place place_{std::filesystem::temp_directory_path(), disk_};
    bool hasDisk_ = false;
    unsigned devices_ = 0;
    std::unique_ptr<RunningAgent> agent_;
};

}  // namespace

TEST(AgentChaos, ReportsEveryDeviceOnceOrCountsIt) {
    const unsigned seed = numberIn("KX_CHAOS_SEED", std::random_device()());
    SCOPED_TRACE("KX_CHAOS_SEED=" + std::to_string(seed));
    Chaos chaos(seed);
    for (unsigned i = 0, rounds = numberIn("KX_CHAOS_ROUNDS", 8); i < rounds; ++i) chaos.round();
    chaos.check();
}

// What comes together shares syncs, on a disk that takes its time.
TEST(AgentChaos, SharesSyncsAmongEventsThatComeTogether) {
    constexpr int kDevices = 300;
    const Place place;
    const std::string log = place.folder() / "syncs";
    RunningAgent agent(
        place.configuration("<key>Deliver</key><array/>"),
        {"/usr/bin/env", kAnyOrder, "LD_PRELOAD=" KX_SLOW_SYNC, "KX_SYNC_MICROSECONDS=20000", "KX_SYNC_LOG=" + log});
    ASSERT_TRUE(agent.watches());
    const std::size_t before = contentOf(log).size();
    for (int i = 0; i < kDevices; ++i) place.plugIn("disk-" + std::to_string(i));
    EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == kDevices; }));
    EXPECT_LT(contentOf(log).size() - before, static_cast<std::size_t>(kDevices));
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST(AgentChaos, EndsAlthoughItsDiskHangs) {
    const Place place;
    {
        RunningAgent maker(place.configuration());
        ASSERT_TRUE(maker.watches());
        EXPECT_EQ(maker.end(SIGTERM), 0);
    }
    RunningAgent hanging(place.configuration(),
                         {"/usr/bin/env", kAnyOrder, "LD_PRELOAD=" KX_SLOW_SYNC, "KX_SYNC_MICROSECONDS=60000000"});
    ASSERT_TRUE(hanging.watches());
    place.plugIn("one");
    EXPECT_TRUE(waitFor([&] { return place.counter("waiting") == 1; }));
    EXPECT_EQ(hanging.end(SIGTERM), 0);
    EXPECT_TRUE(holdsText(hanging.log(), "ended in the middle of a write; 1 events may be lost")) << hanging.log();
}
