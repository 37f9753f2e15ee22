#include "../Tools/RunProgram.h"
#include "TemporaryFolder.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

/// A folder with a configuration for this user, who may read what arrives in `devices`, and not write to it.
class Place {
  public:
    Place() { mkdir(devices().c_str(), 0755); }

    std::string devices() const { return folder_ / "devices"; }
    std::string stream() const { return folder_ / "stream"; }

    std::string configuration(const std::string& watch) const {
        const passwd* const user = getpwuid(getuid());
        const std::string name = user ? user->pw_name : throw std::runtime_error("this user has no name");
        return folder_.write("agent.plist", "<plist version=\"1.0\"><dict><key>Stream</key><string>" + stream() +
                                                "</string><key>Watch</key><string>" + watch +
                                                "</string><key>Type</key><string>USB port</string><key>ACL</key>" +
                                                "<string>" + name + ":deny:write/" + name +
                                                ":allow:read | eject</string></dict></plist>");
    }
    std::string configuration() const { return configuration(devices()); }

    void plugIn(const std::string& name, mode_t mode) const {
        ASSERT_EQ(mkdir((devices() + "/" + name).c_str(), mode), 0) << name;
    }

    /// The last column of what kxtool tells of the stream: first id, last id, items, ...
    long long streamInfo(const std::string& what) const {
        const std::string info = RunTool({"stream", "info", stream()}).out;
        const std::size_t at = info.find(what + " ");
        return at == std::string::npos ? -1 : std::atoll(info.c_str() + at + what.size());
    }

  private:
    TemporaryFolder folder_;
};

/// The agent, until it is stopped or the test ends.
class RunningAgent {
  public:
    explicit RunningAgent(const std::string& configuration) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        fcntl(ends[0], F_SETPIPE_SZ, 4096);  // a reader that is away is soon waited for
        child_ = fork();
        if (child_ < 0) throw std::runtime_error("no process");
        if (child_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            execl(KX_AGENT, KX_AGENT, configuration.c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        out_ = fdopen(ends[0], "r");
    }
    ~RunningAgent() {
        if (child_ > 0) end(SIGKILL);
        std::fclose(out_);
    }
    RunningAgent(const RunningAgent&) = delete;
    RunningAgent& operator=(const RunningAgent&) = delete;

    /// The next line it prints, without the time before it; "" when it has ended.
    std::string line() {
        char text[1024];
        if (!std::fgets(text, sizeof text, out_)) return "";
        const std::string line = text;
        return line.substr(line.find("  ") + 2);
    }

    int end(int signal) {
        int status = 0;
        kill(child_, signal);
        waitpid(child_, &status, 0);
        child_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    pid_t child_ = 0;
    FILE* out_ = nullptr;
};

std::string dataItem(const std::string& records) {
    const std::string base64 = RunTool({"base64", "encode"}, records).out;
    return "<data>" + base64.substr(0, base64.size() - 1) + "</data>\n";
}

/// A stream as an earlier agent leaves it: two records in one item, another one, and something else between them.
void leaveRecords(const Place& place) {
    const std::string two = RunTool({"audit", "encode"}, "{\"name\": \"one\"}\n{\"name\": \"two\"}").out;
    const std::string three = RunTool({"audit", "encode"}, "{\"name\": \"th\\nree\"}").out;
    RunTool({"stream", "append", place.stream()}, dataItem(two) + "\"no record\"\n" + dataItem(three));
    ASSERT_EQ(place.streamInfo("items"), 3);
}

constexpr const char* kCannotWatch = "agent: /no/such/folder: No such file or directory\n";

}  // namespace

TEST(Agent, DeliversWhatWasLeftAlsoWhenItCannotWatch) {
    const Place place;
    leaveRecords(place);
    const ProgramOutcome outcome = RunProgram({KX_AGENT, place.configuration("/no/such/folder")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, kCannotWatch);
    const std::size_t one = outcome.out.find("one: \n"), two = outcome.out.find("two: \n");
    const std::size_t three = outcome.out.find("th\\x0aree: \n");
    EXPECT_TRUE(one < two && two < three && three != std::string::npos) << outcome.out;
    EXPECT_EQ(place.streamInfo("items"), 0);
}

TEST(Agent, KeepsWhatItsReaderDidNotTake) {
    const Place place;
    leaveRecords(place);
    const std::string command = "exec '" KX_AGENT "' '" + place.configuration("/no/such/folder") + "' >/dev/full";
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", command}), (ProgramOutcome{1, "", kCannotWatch}));
    EXPECT_EQ(place.streamInfo("items"), 3);
}

TEST(Agent, TellsWhatIsWrongWithItsConfiguration) {
    const TemporaryFolder folder;
    const std::string path = folder.write("agent.plist", "<plist version=\"1.0\"><dict/></plist>");
    const ProgramOutcome outcome = RunProgram({KX_AGENT, path});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.err.starts_with("agent: " + path) && outcome.err.find("Stream") != std::string::npos)
        << outcome.err;
    EXPECT_EQ(RunProgram({KX_AGENT, "/no/such/file"}).err, "agent: /no/such/file: cannot be read\n");
    EXPECT_EQ(RunProgram({KX_AGENT}).status, 2);
}

TEST(Agent, DecidesAndReportsWhatComesAndGoes) {
    const Place place;
    place.plugIn("before", 0555);
    RunningAgent agent(place.configuration());
    const auto expect = [&](const char* type, const char* action, const std::string& rest) {
        const std::string line = agent.line();
        EXPECT_TRUE(line.starts_with(type) && line.find(action) != std::string::npos &&
                    line.ends_with("USB port       " + rest + "\n"))
            << line;
    };
    expect("asuccess", " present ", "before: granted by the list");
    place.plugIn("Camera", 0555);
    expect("asuccess", " arrive ", "Camera: granted by the list");
    place.plugIn("Stick", 0755);
    expect("afailure", " arrive ", "Stick: refused by the list");
    const std::string stick = place.devices() + "/Stick";
    ASSERT_EQ(rename(stick.c_str(), (place.devices() + "/../Stick").c_str()), 0);
    expect("asuccess", " remove ", "Stick: granted by the list");
    ASSERT_EQ(rmdir((place.devices() + "/Camera").c_str()), 0);
    expect("asuccess", " remove ", "Camera: granted by the list");
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(agent.line(), "");
    EXPECT_EQ(place.streamInfo("items"), 0);
}

TEST(Agent, LosesNothingWhenItIsKilledWhileItsReaderIsAway) {
    constexpr int kDevices = 200;
    const Place place;
    // In order, so this is the next one due; what was printed and not discarded comes twice. All that was left comes
    // before what the next agent finds present.
    int reported = 0;
    const auto read = [&](RunningAgent& agent) {
        for (std::string line; reported < kDevices && !(line = agent.line()).empty();) {
            const std::string device = " disk-" + std::to_string(reported) + ": refused by the list\n";
            if (line.find(" arrive ") != std::string::npos && line.ends_with(device)) ++reported;
            if (line.find(" present ") != std::string::npos && line.ends_with("disk-0: refused by the list\n")) return;
        }
    };
    {
        place.plugIn("first", 0555);
        RunningAgent agent(place.configuration());
        agent.line();  // it watches
        for (int i = 0; i < kDevices; ++i) place.plugIn("disk-" + std::to_string(i), 0755);
        const std::string last = "name=disk-" + std::to_string(kDevices - 1) + " ";
        while (RunTool({"audit", "stream", place.stream()}).out.find(last) == std::string::npos) {
        }
        EXPECT_EQ(agent.end(SIGKILL), 128 + SIGKILL);
        read(agent);
        EXPECT_LT(reported, kDevices) << "more than the pipe holds";
    }
    RunningAgent next(place.configuration());
    read(next);
    EXPECT_EQ(reported, kDevices);
}
