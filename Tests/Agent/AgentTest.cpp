#include "AgentPlace.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <set>

using namespace agent_test;

namespace {

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

constexpr const char* kGranted = ": granted by entry 2 (";
constexpr const char* kRefused = ": refused by entry 1 (";

}  // namespace

// ---- The way of an event

TEST(Agent, DecidesAndReportsWhatComesAndGoes) {
    const Place place;
    place.plugIn("before");
    RunningAgent agent(place.configuration());
    const auto expect = [&](const char* type, const char* action, const std::string& name, const char* reason) {
        const std::string line = agent.line();
        EXPECT_TRUE(line.starts_with(type) && holdsText(line, action) &&
                    holdsText(line, "USB port       " + name + reason))
            << line;
    };
    expect("asuccess", " present ", "before", kGranted);
    place.plugIn("Camera");
    expect("asuccess", " arrive ", "Camera", kGranted);
    place.plugIn("Stick", 0755);
    expect("afailure", " arrive ", "Stick", kRefused);
    const std::string stick = place.devices() + "/Stick";
    ASSERT_EQ(rename(stick.c_str(), (place.devices() + "/../Stick").c_str()), 0);
    expect("asuccess", " remove ", "Stick", kGranted);
    ASSERT_EQ(rmdir((place.devices() + "/Camera").c_str()), 0);
    expect("asuccess", " remove ", "Camera", kGranted);
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(agent.line(), "");
    EXPECT_EQ(place.streamInfo("items"), 0);
}

TEST(Agent, ReportsAFileOnceItIsWritten) {
    const Place place;
    RunningAgent agent(place.configuration());
    ASSERT_TRUE(agent.watches());
    const std::string file = place.devices() + "/image";
    FILE* const image = std::fopen(file.c_str(), "w");
    place.plugIn("between");
    EXPECT_TRUE(holdsText(agent.line(), "between: "));
    std::fclose(image);
    EXPECT_TRUE(holdsText(agent.line(), "image: "));
    ASSERT_EQ(link(file.c_str(), (place.devices() + "/hard").c_str()), 0);
    EXPECT_TRUE(holdsText(agent.line(), "hard: "));
    ASSERT_EQ(symlink("nowhere", (place.devices() + "/soft").c_str()), 0);
    EXPECT_TRUE(holdsText(agent.line(), "soft: "));
}

TEST(Agent, TakesTheOwnerOfTheEntryForTheUserAlsoWhenItIsGone) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
    const Place place;
    place.plugIn("theirs");
    const std::string path = place.devices() + "/theirs";
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    RunningAgent agent(place.with(Place::list("nobody:allow:read | eject")));
    const std::string nobody = "nobody ";
    std::string line = agent.line();
    EXPECT_TRUE(line.starts_with("asuccess") && holdsText(line, nobody)) << line;
    ASSERT_EQ(rmdir(path.c_str()), 0);
    line = agent.line();
    EXPECT_TRUE(line.starts_with("asuccess") && holdsText(line, nobody) && holdsText(line, " remove ")) << line;
}

TEST(Agent, SaysThatNoEntryMatched) {
    const Place place;
    RunningAgent agent(place.with(Place::list("nobody:allow:read/" + nameOfThisUser() + ":allow:read")));
    ASSERT_TRUE(agent.watches());
    place.plugIn("both", 0755);
    std::string line = agent.line();
    EXPECT_TRUE(line.starts_with("afailure") && holdsText(line, "both: refused, no entry matched write\n")) << line;
    place.plugIn("one");
    line = agent.line();
    EXPECT_TRUE(holdsText(line, "one: granted by entry 2 (" + nameOfThisUser() + " allow read)")) << line;
}

TEST(Agent, ObservesWithoutRefusing) {
    const Place place;
    RunningAgent agent(place.configuration(Place::key("Mode", "Observe")));
    ASSERT_TRUE(agent.watches());
    place.plugIn("Stick", 0755);
    std::string line = agent.line();
    EXPECT_TRUE(line.starts_with("asuccess") && holdsText(line, "Stick: would have been refused by entry 1 (")) << line;
    place.plugIn("Camera");
    line = agent.line();
    EXPECT_TRUE(line.starts_with("asuccess") && holdsText(line, std::string("Camera") + kGranted)) << line;
}

TEST(Agent, GrantsEverythingOnlyWhenItIsToldTo) {
    const Place place;
    RunningAgent agent(place.with("<key>Unrestricted</key><true/>"));
    ASSERT_TRUE(agent.watches());
    place.plugIn("Stick", 0755);
    const std::string line = agent.line();
    EXPECT_TRUE(line.starts_with("asuccess") && holdsText(line, "Stick: granted, the policy is unrestricted")) << line;
}

TEST(Agent, KeepsLinesWholeWhateverTheNamesHold) {
    const Place place;
    RunningAgent agent(place.configuration());
    ASSERT_TRUE(agent.watches());
    const std::string name = std::string(100, 'x') + "\n\x1b[31m";
    place.plugIn(name);
    EXPECT_TRUE(holdsText(agent.line(), std::string(100, 'x') + "\\x0a\\x1b[31m: granted"));
}

// ---- What is present

TEST(Agent, ReportsPresenceOncePerBoot) {
    const Place place;
    place.plugIn("one");
    {
        RunningAgent agent(place.configuration());
        EXPECT_TRUE(holdsText(agent.lineWith(" present "), "one: "));
        EXPECT_EQ(agent.end(SIGTERM), 0);
    }
    place.plugIn("two");
    {
        RunningAgent agent(place.configuration());
        EXPECT_TRUE(holdsText(agent.lineWith(" present "), "two: ")) << "the first one was reported again";
        place.plugIn("three");
        EXPECT_TRUE(holdsText(agent.lineWith(" arrive "), "three: "));
        EXPECT_EQ(agent.end(SIGKILL), 128 + SIGKILL);
    }
    // Another one of the same name is another device.
    ASSERT_EQ(rmdir((place.devices() + "/one").c_str()), 0);
    place.plugIn("one");
    RunningAgent agent(place.configuration());
    EXPECT_TRUE(holdsText(agent.lineWith(" present "), "one: "));
    place.plugIn("four");
    EXPECT_TRUE(holdsText(agent.lineWith(": "), "four: "));
}

TEST(Agent, ReportsPresenceAgainAfterTheComputerWasStartedAgain) {
    const Place place;
    place.plugIn("one");
    {
        RunningAgent agent(place.configuration());
        EXPECT_TRUE(holdsText(agent.lineWith(" present "), "one: "));
        EXPECT_EQ(agent.end(SIGTERM), 0);
    }
    std::string notes = contentOf(place.stream() + ".present");
    ASSERT_NE(notes.find('\n'), std::string::npos);
    std::ofstream(place.stream() + ".present") << "another-boot" << notes.substr(notes.find('\n'));
    RunningAgent agent(place.configuration());
    EXPECT_TRUE(holdsText(agent.lineWith(" present "), "one: "));
}

TEST(Agent, WatchesAFolderThatIsMadeAgain) {
    const Place place;
    RunningAgent agent(place.configuration());
    ASSERT_TRUE(agent.watches());
    place.plugIn("one");
    EXPECT_TRUE(holdsText(agent.line(), "one: "));
    std::filesystem::remove_all(place.devices());
    EXPECT_TRUE(holdsText(agent.lineWith(" remove "), "one: "));
    ASSERT_TRUE(agent.says("waiting for it"));
    mkdir(place.devices().c_str(), 0755);
    place.plugIn("two");
    EXPECT_TRUE(holdsText(agent.lineWith(" arrive "), "two: "));
    // Moved away, and another one put in its place.
    const std::string other = place.folder() / "other";
    mkdir(other.c_str(), 0755);
    mkdir((other + "/three").c_str(), 0755);
    ASSERT_EQ(rename(place.devices().c_str(), (place.folder() / "away").c_str()), 0);
    ASSERT_EQ(rename(other.c_str(), place.devices().c_str()), 0);
    EXPECT_TRUE(holdsText(agent.lineWith(" arrive "), "three: "));
    place.plugIn("four");
    EXPECT_TRUE(holdsText(agent.lineWith(" arrive "), "four: "));
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

// ---- Delivery

TEST(Agent, DeliversWhatWasLeft) {
    const Place place;
    leaveRecords(place);
    chmod(place.stream().c_str(), 0644);
    RunningAgent agent(place.configuration());
    EXPECT_TRUE(agent.line().ends_with(" one: \n"));
    EXPECT_TRUE(agent.line().ends_with(" two: \n"));
    EXPECT_TRUE(agent.line().ends_with(" th\\x0aree: \n"));
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(place.streamInfo("items"), 0);
    EXPECT_TRUE(holdsText(agent.log(), "its mode was 0644 and is 0600 now")) << agent.log();
    struct stat status;
    ASSERT_EQ(stat(place.stream().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST(Agent, LeavesTheBacklogAloneWhenItCannotWatch) {
    const Place place;
    leaveRecords(place);
    const std::string configuration =
        place.only(Place::key("Stream", place.stream()) + Place::key("Watch", "/no/such/folder") + place.usualList());
    EXPECT_EQ(RunProgram({KX_AGENT, configuration}),
              (ProgramOutcome{65, "", "kxagent: /no/such/folder: No such file or directory\n"}));
    EXPECT_EQ(place.streamInfo("items"), 3);
}

TEST(Agent, KeepsWhatItsReaderDidNotTake) {
    const Place place;
    leaveRecords(place);
    const std::string configuration = place.configuration();
    RunningAgent agent(configuration, {"/bin/sh", "-c", "exec \"$0\" \"$1\" >/dev/full"});
    ASSERT_TRUE(agent.says("standard output: No space left on device"));
    place.plugIn("one");
    EXPECT_TRUE(waitFor([&] { return place.streamInfo("items") == 4; }));
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(place.streamInfo("items"), 4);
}

TEST(Agent, GoesOnWithoutAReader) {
    const Place place;
    RunningAgent agent(place.configuration());
    ASSERT_TRUE(agent.watches());
    agent.closeReader();
    place.plugIn("one");
    ASSERT_TRUE(agent.says("standard output: Broken pipe"));
    place.plugIn("two");
    EXPECT_TRUE(waitFor([&] { return place.streamInfo("items") == 2; }));
    EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == 2; }));
    EXPECT_EQ(place.counter("delivered"), 0);
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST(Agent, EndsAlthoughItsReaderIsStuck) {
    const Place place;
    RunningAgent agent(place.configuration());
    ASSERT_TRUE(agent.watches());
    for (int i = 0; i < 100; ++i) place.plugIn("disk-" + std::to_string(i));  // more than the pipe holds
    EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == 100; }));
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_GT(place.streamInfo("items"), 0);
    // What was not taken comes from the next one, and nothing twice.
    std::set<std::string> names;
    int lines = 0;
    const auto take = [&](RunningAgent& from) {
        for (std::string line; names.size() < 100 && !(line = from.line()).empty(); ++lines) {
            names.insert(line.substr(line.find("disk-"), line.find(": ") - line.find("disk-")));
        }
    };
    take(agent);
    RunningAgent next(place.configuration());
    take(next);
    EXPECT_EQ(names.size(), 100u);
    EXPECT_EQ(lines, 100);
}

TEST(Agent, LosesNothingWhenItIsKilledWhileItsReaderIsAway) {
    constexpr int kDevices = 200;
    const Place place;
    int reported = 0;  // in order, so this is the next one due; what was printed and not discarded comes twice
    const auto read = [&](RunningAgent& agent) {
        for (std::string line; reported < kDevices && !(line = agent.line()).empty();) {
            if (holdsText(line, " disk-" + std::to_string(reported) + ": refused by")) ++reported;
        }
    };
    {
        RunningAgent agent(place.configuration());
        ASSERT_TRUE(agent.watches());
        for (int i = 0; i < kDevices; ++i) place.plugIn("disk-" + std::to_string(i), 0755);
        EXPECT_TRUE(waitFor([&] { return place.counter("recorded") == kDevices; }));
        EXPECT_EQ(agent.end(SIGKILL), 128 + SIGKILL);
        read(agent);
        EXPECT_LT(reported, kDevices) << "more than the pipe holds";
    }
    RunningAgent next(place.configuration());
    read(next);
    EXPECT_EQ(reported, kDevices);
}

TEST(Agent, OpensItsOutputAgainWhenItIsAskedTo) {
    const Place place;
    const std::string log = place.folder() / "records";
    RunningAgent agent(place.configuration(), {"/bin/sh", "-c", "exec \"$0\" \"$1\" >>'" + log + "'"});
    ASSERT_TRUE(agent.watches());
    place.plugIn("one");
    EXPECT_TRUE(waitFor([&] { return holdsText(contentOf(log), "one: "); }));
    ASSERT_EQ(rename(log.c_str(), (log + ".1").c_str()), 0);
    agent.signal(SIGHUP);
    ASSERT_TRUE(agent.says("the configuration was read anew"));
    EXPECT_TRUE(waitFor([&] { return std::filesystem::exists(log); }));
    place.plugIn("two");
    EXPECT_TRUE(waitFor([&] { return holdsText(contentOf(log), "two: "); }));
    EXPECT_FALSE(holdsText(contentOf(log + ".1"), "two: "));
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST(Agent, KeepsRecordsInTheStreamWhenItDeliversNowhere) {
    const Place place;
    RunningAgent agent(place.configuration("<key>Deliver</key><array/>"));
    ASSERT_TRUE(agent.watches());
    place.plugIn("one");
    EXPECT_TRUE(waitFor([&] { return place.streamInfo("items") == 1; }));
    // Until it is told otherwise.
    place.configuration("<key>Deliver</key><array><string>stdout</string></array>");
    agent.signal(SIGHUP);
    EXPECT_TRUE(holdsText(agent.line(), "one: "));
}

// ---- Signals and the command line

TEST(Agent, ReadsItsConfigurationAnewWhenItIsAskedTo) {
    const Place place;
    RunningAgent agent(place.configuration());
    ASSERT_TRUE(agent.watches());
    place.plugIn("one", 0755);
    EXPECT_TRUE(agent.line().starts_with("afailure"));
    place.with(Place::list(nameOfThisUser() + ":allow:read | write"));
    agent.signal(SIGHUP);
    ASSERT_TRUE(agent.says("the configuration was read anew"));
    place.plugIn("two", 0755);
    EXPECT_TRUE(agent.line().starts_with("asuccess"));
    // A bad one changes nothing.
    place.with(Place::key("ACLs", "x"));
    agent.signal(SIGHUP);
    ASSERT_TRUE(agent.says("the old configuration stays"));
    place.plugIn("three", 0755);
    EXPECT_TRUE(agent.line().starts_with("asuccess"));
    // Neither does one with another stream.
    place.only(Place::key("Stream", place.stream() + "2") + Place::key("Watch", place.devices()) + place.usualList());
    agent.signal(SIGHUP);
    ASSERT_TRUE(agent.says("Stream has changed, which takes a restart; the old configuration stays"));
    EXPECT_EQ(agent.end(SIGINT), 0);
}

TEST(Agent, TellsItsVersionAndItsUse) {
    EXPECT_TRUE(RunProgram({KX_AGENT, "--version"}).out.starts_with("kxagent 1."));
    EXPECT_EQ(RunProgram({KX_AGENT, "--version"}).status, 0);
    const ProgramOutcome help = RunProgram({KX_AGENT, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.out.starts_with("usage: kxagent CONFIGURATION\n")) << help.out;
    EXPECT_EQ(help.err, "");
    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{KX_AGENT}, {KX_AGENT, "--nonsense"}, {KX_AGENT, "--check"}, {KX_AGENT, "a", "b"}}) {
        const ProgramOutcome outcome = RunProgram(bad);
        EXPECT_EQ(outcome.status, 64);
        EXPECT_EQ(outcome.out, "");
        EXPECT_TRUE(outcome.err.starts_with("usage: kxagent CONFIGURATION\n")) << outcome.err;
    }
}

// ---- Status

TEST(Agent, TellsHowItIsDoing) {
    const Place place;
    {
        RunningAgent agent(place.configuration());
        ASSERT_TRUE(agent.watches());
        place.plugIn("one");
        agent.line();
        EXPECT_TRUE(waitFor([&] { return place.counter("delivered") == 1; }));
        EXPECT_EQ(RunTool({"agent", "status", place.status()}),
                  (ProgramOutcome{0,
                                  "events      1\nrecorded    1\nwaiting     0\ndelivered   1\ndropped     0\n"
                                  "last error  none\n",
                                  ""}));
        EXPECT_EQ(RunTool({"agent", "status", place.status(), "--json"}).out,
                  "{\"delivered\":1,\"dropped\":0,\"events\":1,\"last_error\":\"\",\"recorded\":1,\"waiting\":0}\n");
        const std::string prometheus = RunTool({"agent", "status", place.status(), "--prometheus"}).out;
        EXPECT_TRUE(holdsText(prometheus, "# TYPE kxagent_events_total counter\nkxagent_events_total 1\n"));
        EXPECT_TRUE(holdsText(prometheus, "\nkxagent_last_error{text=\"\"} 0\n"));
        EXPECT_EQ(agent.end(SIGKILL), 128 + SIGKILL);
    }
    EXPECT_EQ(RunTool({"agent", "status", place.status()}),
              (ProgramOutcome{1, "", "kxtool agent status: " + place.status() + ": no agent listens there\n"}));
    // A socket that a dead agent left is taken over; anything else is not.
    {
        RunningAgent agent(place.configuration());
        ASSERT_TRUE(agent.watches());
        EXPECT_EQ(agent.end(SIGTERM), 0);
    }
    EXPECT_FALSE(std::filesystem::exists(place.status()));
    std::ofstream(place.status()) << "precious";
    const ProgramOutcome outcome = RunProgram({KX_AGENT, place.configuration()});
    EXPECT_EQ(outcome.status, 65);
    EXPECT_EQ(outcome.err, "kxagent: " + place.status() + ": Address already in use\n");
    EXPECT_EQ(contentOf(place.status()), "precious");
    EXPECT_EQ(RunTool({"agent", "status", place.status()}).status, 1);
    EXPECT_EQ(RunTool({"agent", "status", std::string(200, 'x')}).status, 1);
}
