#include "AgentPlace.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <map>
#include <set>

using namespace agent_test;

namespace {

/// What the records in the stream are about, in order; "dropped N" for a record of loss.
std::vector<std::string> recordsIn(const std::string& stream) {
    std::vector<std::string> names;
    const std::string text = RunTool({"audit", "stream", stream}).out;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        const std::string line = text.substr(at, end - at) + " ";
        const auto field = [&line](const std::string& name) {
            const std::size_t start = line.find(" " + name + "=");
            if (start == std::string::npos) return std::string();
            const std::size_t value = start + name.size() + 2;
            return line.substr(value, line.find(' ', value) - value);
        };
        names.push_back(field("action") == "dropped" ? "dropped " + field("information") : field("name"));
        at = end + 1;
    }
    return names;
}

std::vector<std::string> disks(int first, int last) {
    std::vector<std::string> names;
    for (int i = first; i <= last; ++i) names.push_back("disk-" + std::to_string(i));
    return names;
}

void plugInDisks(const Place& place, int first, int last) {
    for (const std::string& name : disks(first, last)) place.plugIn(name);
}

std::string inodeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? std::to_string(status.st_ino) : "none";
}

/// A file system of its own, in memory; for root.
class SmallDisk {
  public:
    SmallDisk(std::string path, const std::string& size) : path_(std::move(path)) {
        mkdir(path_.c_str(), 0755);
        mounted_ = mount("none", path_.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
    }
    ~SmallDisk() {
        if (mounted_) umount2(path_.c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    bool mounted() const { return mounted_; }

  private:
    std::string path_;
    bool mounted_;
};

std::string undelivered() { return "<key>Deliver</key><array/>"; }

}  // namespace

// ---- One owner

TEST(AgentStream, HasOneOwner) {
    const Place place;
    RunningAgent agent(place.configuration());
    ASSERT_TRUE(agent.watches());
    const std::string owned = place.stream() + ": kxagent (process " + std::to_string(agent.pid()) + ") owns it\n";
    EXPECT_EQ(RunProgram({KX_AGENT, place.configuration()}), (ProgramOutcome{75, "", "kxagent: " + owned}));
    EXPECT_EQ(RunTool({"stream", "append", place.stream()}, "1\n"),
              (ProgramOutcome{1, "", "kxtool stream append: " + owned}));
    EXPECT_EQ(RunTool({"stream", "discard", place.stream(), "--through", "1"}),
              (ProgramOutcome{1, "", "kxtool stream discard: " + owned}));
    EXPECT_EQ(RunTool({"stream", "compact", place.stream()}),
              (ProgramOutcome{1, "", "kxtool stream compact: " + owned}));
    EXPECT_EQ(RunTool({"stream", "info", place.stream()}).status, 0);
    EXPECT_EQ(agent.end(SIGKILL), 128 + SIGKILL);
    EXPECT_EQ(RunTool({"stream", "append", place.stream()}, "1\n").status, 0);
}

TEST(AgentStream, IsWaitedForWhileAToolWorksOnIt) {
    const Place place;
    {
        RunningAgent agent(place.configuration());
        ASSERT_TRUE(agent.watches());
        EXPECT_EQ(agent.end(SIGTERM), 0);
    }
    // Reads the items from a pipe that stays open.
    const std::string pipe = place.folder() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const pid_t tool = fork();
    if (tool == 0) {
        const int in = open(pipe.c_str(), O_RDWR);
        dup2(in, STDIN_FILENO);
        execl(KXTOOL, KXTOOL, "stream", "append", place.stream().c_str(), nullptr);
        _exit(127);
    }
    EXPECT_TRUE(waitFor([&] { return holdsText(contentOf(place.stream() + ".lock"), "owner kxtool"); }));
    RunningAgent agent(place.configuration());
    EXPECT_TRUE(agent.says("kxtool (process " + std::to_string(tool) + ") owns it; waiting"));
    kill(tool, SIGKILL);
    waitpid(tool, nullptr, 0);
    EXPECT_TRUE(agent.watches());
}

TEST(AgentStream, OfSomebodyElseIsLeftAlone) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    const Place place;
    ASSERT_EQ(chmod(place.folder().path().c_str(), 0777), 0);
    {
        RunningAgent agent(place.configuration(undelivered()));
        ASSERT_TRUE(agent.watches());
        place.plugIn("one");
        EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == 1; }));
        EXPECT_EQ(agent.end(SIGTERM), 0);
    }
    const std::string before = contentOf(place.stream());
    const auto runAsNobody = [&] {
        return RunProgram(
            {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", KX_AGENT, place.configuration()});
    };
    EXPECT_EQ(runAsNobody().status, 66);  // the lock file is root's too
    std::filesystem::remove(place.stream() + ".lock");
    const ProgramOutcome outcome = runAsNobody();
    EXPECT_EQ(outcome.status, 66);
    EXPECT_EQ(outcome.err, "kxagent: " + place.stream() + ": belongs to root, and this is nobody\n");
    EXPECT_EQ(contentOf(place.stream()), before);
}

TEST(AgentStream, IsNotMadeOfSomethingElse) {
    const Place place;
    std::ofstream(place.stream()) << "not a stream, and longer than the header of one: " << std::string(200, 'x');
    const std::string before = contentOf(place.stream());
    const auto faultOf = [&] {
        const ProgramOutcome outcome = RunProgram({KX_AGENT, place.configuration()});
        EXPECT_EQ(outcome.status, 66);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        return outcome.err;
    };
    chmod(place.stream().c_str(), 0600);
    EXPECT_EQ(faultOf(), "kxagent: " + place.stream() + ": not a stream: no SQLite database\n");
    EXPECT_EQ(contentOf(place.stream()), before);
    std::filesystem::rename(place.stream(), place.folder() / "victim");
    std::filesystem::create_symlink(place.folder() / "victim", place.stream());
    EXPECT_EQ(faultOf(), "kxagent: " + place.stream() + ": is a symbolic link\n");
    std::filesystem::remove(place.stream());
    mkdir(place.stream().c_str(), 0700);
    EXPECT_EQ(faultOf(), "kxagent: " + place.stream() + ": is not a regular file\n");
    EXPECT_EQ(contentOf(place.folder() / "victim"), before);
}

TEST(AgentStream, GetsItsFolderWhereOnlyThatIsMissing) {
    const TemporaryFolder folder;
    const Place place(std::filesystem::temp_directory_path(), folder / "state");
    {
        RunningAgent agent(place.configuration());
        ASSERT_TRUE(agent.watches());
        struct stat status;
        ASSERT_EQ(stat((folder / "state").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0700u);
        EXPECT_EQ(agent.end(SIGTERM), 0);
    }
    const Place far(std::filesystem::temp_directory_path(), folder / "no" + "/such/folder");
    EXPECT_EQ(RunProgram({KX_AGENT, far.configuration()}),
              (ProgramOutcome{66, "", "kxagent: " + (folder / "no/such/folder") + ": No such file or directory\n"}));
}

// ---- Locks

TEST(AgentStream, IsNotDestroyedWhenItIsLockedAtTheStart) {
    const Place place;
    {
        RunningAgent agent(place.configuration(undelivered()));
        ASSERT_TRUE(agent.watches());
        plugInDisks(place, 1, 3);
        EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == 3; }));
        EXPECT_EQ(agent.end(SIGTERM), 0);
    }
    const std::string inode = inodeOf(place.stream());
    std::unique_ptr<RunningAgent> agent;
    {
        const Lock lock(place.stream(), "BEGIN EXCLUSIVE");
        agent = std::make_unique<RunningAgent>(place.configuration(undelivered()));
        ASSERT_TRUE(agent->says(place.stream() + ": another process holds it locked; waiting"));
        plugInDisks(place, 4, 4);
        sleep(2);  // longer than the library waits
        EXPECT_EQ(inodeOf(place.stream()), inode);
        EXPECT_FALSE(holdsText(agent->log(), "kxagent: watching"));
    }
    ASSERT_TRUE(agent->watches());
    EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == 1; }));
    EXPECT_EQ(inodeOf(place.stream()), inode);
    EXPECT_EQ(recordsIn(place.stream()), disks(1, 4));
    // Asked to end, it does not wait.
    EXPECT_EQ(agent->end(SIGTERM), 0);
    const Lock lock(place.stream(), "BEGIN EXCLUSIVE");
    RunningAgent waiting(place.configuration());
    ASSERT_TRUE(waiting.says("; waiting"));
    EXPECT_EQ(waiting.end(SIGTERM), 0);
}

class AgentStreamUnderLock : public testing::TestWithParam<const char*> {};

TEST_P(AgentStreamUnderLock, LosesNothing) {
    const Place place;
    RunningAgent agent(place.configuration(undelivered()));
    ASSERT_TRUE(agent.watches());
    plugInDisks(place, 1, 1);
    EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == 1; }));
    {
        const Lock lock(place.stream(), GetParam());
        plugInDisks(place, 2, 50);
        EXPECT_TRUE(waitFor([&] { return place.counter("events") == 50; }));
        ASSERT_TRUE(agent.says("the stream cannot be written: "));
        sleep(3);
        EXPECT_EQ(place.counter("waiting"), 49);
        EXPECT_EQ(place.counter("recorded"), 1);
    }
    EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == 50; }));
    EXPECT_EQ(place.counter("waiting"), 0);
    EXPECT_TRUE(agent.says("the stream can be written again"));
    EXPECT_EQ(recordsIn(place.stream()), disks(1, 50));
    EXPECT_TRUE(agent.end(SIGTERM) == 0);
}

INSTANTIATE_TEST_SUITE_P(
    Of, AgentStreamUnderLock, testing::Values("BEGIN IMMEDIATE", "BEGIN EXCLUSIVE", "BEGIN; SELECT * FROM stream01"),
    [](const auto& which) {
        return std::string(which.index == 0 ? "AWriter" : which.index == 1 ? "AnOwner" : "AReader");
    });

TEST(AgentStream, TellsWhoHoldsItLocked) {
    const Place place;
    RunningAgent agent(place.configuration());
    ASSERT_TRUE(agent.watches());
    const Lock lock(place.stream(), "BEGIN IMMEDIATE");
    plugInDisks(place, 1, 1);
    EXPECT_TRUE(agent.says("another process holds it locked (process " + std::to_string(lock.pid()) + ")"))
        << agent.log();
}

TEST(AgentStream, CountsWhatMemoryDidNotHold) {
    const Place place;
    RunningAgent agent(place.configuration(undelivered() + Place::number("MemoryLimit", 20'000)));
    ASSERT_TRUE(agent.watches());
    long long dropped = 0;
    {
        const Lock lock(place.stream(), "BEGIN IMMEDIATE");
        plugInDisks(place, 1, 100);
        EXPECT_TRUE(waitFor([&] { return place.counter("events") == 100; }));
        // What is being tried is given up only between two tries.
        EXPECT_TRUE(waitFor([&] {
            dropped = place.counter("dropped");
            return dropped > 0 && dropped + place.counter("waiting") == 100;
        }));
    }
    EXPECT_TRUE(waitFor([&] { return place.counter("waiting") == 0; }));
    dropped = place.counter("dropped");
    EXPECT_LT(dropped, 100);
    EXPECT_EQ(place.counter("recorded") + dropped, 100);
    const std::vector<std::string> records = recordsIn(place.stream());
    long long counted = 0;
    std::vector<std::string> names;
    for (const std::string& record : records) {
        if (record.starts_with("dropped ")) {
            counted += std::stoll(record.substr(8));
        } else {
            names.push_back(record);
        }
    }
    EXPECT_EQ(counted, dropped);
    // The oldest are dropped, but for what was just being tried.
    ASSERT_EQ(names.size(), static_cast<std::size_t>(100 - dropped));
    ASSERT_GT(names.size(), 5u);
    EXPECT_EQ(std::vector<std::string>(names.end() - 5, names.end()), disks(96, 100));
}

TEST(AgentStream, CountsForTheNextAgentWhatCouldNotBeWritten) {
    const Place place;
    {
        RunningAgent agent(place.configuration(undelivered()));
        ASSERT_TRUE(agent.watches());
        const Lock lock(place.stream(), "BEGIN IMMEDIATE");
        plugInDisks(place, 1, 5);
        for (const std::string& name : disks(1, 5)) ASSERT_EQ(rmdir((place.devices() + "/" + name).c_str()), 0);
        EXPECT_TRUE(waitFor([&] { return place.counter("events") == 10; }));
        EXPECT_EQ(agent.end(SIGTERM), 0);
        EXPECT_TRUE(holdsText(agent.log(), "10 events could not be written, and are lost")) << agent.log();
    }
    for (int i = 0; i < 2; ++i) {
        RunningAgent agent(place.configuration(undelivered()));
        ASSERT_TRUE(agent.watches());
        EXPECT_TRUE(waitFor([&] { return place.streamInfo("items") == 1; }));
        EXPECT_EQ(agent.end(SIGTERM), 0);
        EXPECT_EQ(recordsIn(place.stream()), std::vector<std::string>{"dropped 10"});
    }
}

TEST(AgentStream, IsMadeAgainWhenItsFileIsRemoved) {
    const Place place;
    RunningAgent agent(place.configuration(undelivered()));
    ASSERT_TRUE(agent.watches());
    plugInDisks(place, 1, 3);
    EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == 3; }));
    std::filesystem::remove(place.stream());
    plugInDisks(place, 4, 5);
    EXPECT_TRUE(waitFor([&] { return place.streamInfo("items") >= 3; }));
    std::vector<std::string> records = recordsIn(place.stream());
    std::sort(records.begin(), records.end());
    EXPECT_EQ(records, (std::vector<std::string>{"disk-4", "disk-5", "dropped 3"}));
}

// ---- Room

TEST(AgentStream, StaysWithinItsMaximumSize) {
    constexpr int kDisks = 400;
    const Place place;
    RunningAgent agent(place.configuration(Place::number("MaximumSize", 65536)));
    ASSERT_TRUE(agent.watches());
    plugInDisks(place, 1, kDisks);
    EXPECT_TRUE(agent.says("the stream has reached its size limit of 65536 bytes"));
    EXPECT_TRUE(waitFor([&] { return place.counter("events") == kDisks; }));
    EXPECT_GT(place.counter("waiting"), 0);
    EXPECT_LE(std::filesystem::file_size(place.stream()), 65536u);
    // What is read makes room for what waits.
    for (const std::string& name : disks(1, kDisks)) {
        const std::string line = agent.line();
        ASSERT_TRUE(holdsText(line, " " + name + ": ")) << name << " is not what came: " << line << agent.log();
    }
    EXPECT_TRUE(waitFor([&] { return place.counter("waiting") == 0; }));
    EXPECT_EQ(place.counter("dropped"), 0);
    EXPECT_LE(std::filesystem::file_size(place.stream()), 65536u);
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(place.streamInfo("items"), 0);
}

TEST(AgentStream, LosesNothingOnAFullDisk) {
    constexpr int kDisks = 1200;
    const TemporaryFolder folder;
    const SmallDisk disk(folder / "disk", "128k");
    if (!disk.mounted()) GTEST_SKIP() << "no file system can be mounted";
    const Place place(std::filesystem::temp_directory_path(), folder / "disk");
    RunningAgent agent(place.configuration());
    ASSERT_TRUE(agent.watches());
    plugInDisks(place, 1, kDisks);
    EXPECT_TRUE(agent.says("the stream cannot be written: the disk is full"));
    EXPECT_TRUE(waitFor([&] { return place.counter("events") == kDisks; }));
    EXPECT_GT(place.counter("waiting"), 0);
    for (const std::string& name : disks(1, kDisks)) {
        const std::string line = agent.line();
        ASSERT_TRUE(holdsText(line, " " + name + ": ")) << name << " is not what came: " << line << agent.log();
    }
    EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == kDisks; }));
    EXPECT_EQ(place.counter("dropped"), 0);
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST(AgentStream, CountsWhatAFullDiskAndMemoryDidNotHold) {
    constexpr int kDisks = 1200;
    const TemporaryFolder folder;
    const SmallDisk disk(folder / "disk", "128k");
    if (!disk.mounted()) GTEST_SKIP() << "no file system can be mounted";
    const Place place(std::filesystem::temp_directory_path(), folder / "disk");
    RunningAgent agent(place.configuration(Place::number("MemoryLimit", 100'000)));
    ASSERT_TRUE(agent.watches());
    plugInDisks(place, 1, kDisks);
    EXPECT_TRUE(waitFor([&] { return place.counter("events") == kDisks && place.counter("dropped") > 0; }));
    // The reader comes, and all is delivered or counted.
    std::set<std::string> seen;
    while (!seen.contains("disk-" + std::to_string(kDisks))) {
        const std::string line = agent.line();
        ASSERT_NE(line, "");
        if (const std::size_t at = line.find("disk-"); at != std::string::npos) {
            EXPECT_TRUE(seen.insert(line.substr(at, line.find(':', at) - at)).second) << line;
        }
    }
    EXPECT_TRUE(waitFor([&] { return place.counter("waiting") == 0; }));
    EXPECT_EQ(place.counter("recorded") + place.counter("dropped"), kDisks);
    EXPECT_EQ(place.counter("recorded"), static_cast<long long>(seen.size()));
}
