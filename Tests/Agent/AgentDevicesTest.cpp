// The system's own devices and volumes, and who sits before them. Each test has mounts of its own, which only root may
// have.

#include "AgentPlace.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

using namespace agent_test;

namespace {

struct AgentDevices : testing::Test {
    void SetUp() override {
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            GTEST_SKIP() << "no mounts of its own";
        }
        mkdir("/run/systemd", 0755);
        mkdir("/run/systemd/seats", 0755);
        hasSeats_ = mount("none", "/run/systemd/seats", "tmpfs", 0, nullptr) == 0;
    }
    void TearDown() override {
        if (hasSeats_) umount("/run/systemd/seats");
    }

    std::string configuration(const std::string& more = "") const {
        return place.only(Place::key("Stream", place.stream()) + Place::key("Status", place.status()) +
                          Place::list("nobody:allow:read | write | eject") + more);
    }

    void sitDown(unsigned user) const {
        std::ofstream("/run/systemd/seats/seat0") << "IS_SEAT0=1\nACTIVE=c1\nACTIVE_UID=" << user << "\n";
    }

    const Place place;
    bool hasSeats_ = false;
};

/// A volume as Debian's desktops mount it: at "/media/USER/NAME", two levels deep.
class Volume {
  public:
    Volume(std::string path, const char* options, unsigned long flags = 0) : path_(std::move(path)) {
        std::filesystem::create_directories(path_);
        mounted_ = mount("none", path_.c_str(), "tmpfs", flags, options) == 0;
    }
    ~Volume() {
        if (mounted_) umount(path_.c_str());
    }
    bool mounted() const { return mounted_; }

  private:
    std::string path_;
    bool mounted_;
};

}  // namespace

TEST_F(AgentDevices, VolumesAreSeenWhereverTheyAreMounted) {
    const std::string media = place.folder() / "media/user";
    RunningAgent agent(configuration());
    ASSERT_TRUE(agent.watches());
    {
        const Volume stick(media + "/My Stick", "uid=65534");
        ASSERT_TRUE(stick.mounted());
        const std::string line = agent.lineWith(" My Stick: ");
        EXPECT_TRUE(holdsText(line, " arrive ") && holdsText(line, "nobody ") && line.starts_with("asuccess")) << line;
    }
    const std::string line = agent.lineWith(" My Stick: ");
    EXPECT_TRUE(holdsText(line, " remove ") && holdsText(line, "nobody ") && line.starts_with("asuccess")) << line;
}

TEST_F(AgentDevices, VolumesThatAreThereAreReportedOnce) {
    const Volume stick(place.folder() / "Present", "uid=65534");
    ASSERT_TRUE(stick.mounted());
    {
        RunningAgent agent(configuration());
        EXPECT_TRUE(holdsText(agent.lineWith(" Present: "), " present "));
        EXPECT_EQ(agent.end(SIGTERM), 0);
    }
    RunningAgent agent(configuration());
    ASSERT_TRUE(agent.watches());
    const Volume next(place.folder() / "Next", "uid=65534");
    for (std::string line; !holdsText(line = agent.line(), " Next: ");) {
        ASSERT_FALSE(line.empty() || holdsText(line, " Present: ")) << line;
    }
}

TEST_F(AgentDevices, TheUserIsTheOneAtTheSeat) {
    ASSERT_TRUE(hasSeats_);
    sitDown(65534);
    RunningAgent agent(configuration());
    ASSERT_TRUE(agent.watches());
    const Volume stick(place.folder() / "Stick", nullptr);
    const std::string line = agent.lineWith(" Stick: ");
    EXPECT_TRUE(holdsText(line, "nobody ") && line.starts_with("asuccess")) << line;
}

TEST_F(AgentDevices, NobodyIsNotTakenForRoot) {
    RunningAgent agent(configuration());
    ASSERT_TRUE(agent.watches());
    const Volume stick(place.folder() / "Stick", nullptr);  // root's own
    const std::string line = agent.lineWith(" Stick: ");
    EXPECT_TRUE(holdsText(line, "  unknown  ") && line.starts_with("afailure")) << line;
}
