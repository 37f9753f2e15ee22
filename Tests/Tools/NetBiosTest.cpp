#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

/// A computer of the test's own: a store, and the folder that names come from.
class NetBiosCommand : public testing::Test {
  protected:
    NetBiosCommand() {
        setenv("KXPLATFORM_DYNAMIC_STORE", (folder_ / "store").c_str(), 1);
        setenv("KXPLATFORM_ETC", folder_.path().c_str(), 1);
        std::filesystem::create_directory(folder_ / "samba");
    }
    ~NetBiosCommand() override {
        unsetenv("KXPLATFORM_DYNAMIC_STORE");
        unsetenv("KXPLATFORM_ETC");
        unsetenv("KXPLATFORM_SYSTEM_VERSION");
    }

    void setComputer(const std::string& name) { replace("machine-info", "PRETTY_HOSTNAME='" + name + "'\n"); }
    void setRegistered(const std::string& name) {
        replace("samba/smb.conf", "[global]\nnetbios name = " + name + "\n");
    }

  private:
    void replace(const std::string& name, const std::string& content) {
        folder_.write("new", content);
        std::filesystem::rename(folder_ / "new", folder_ / name);
    }

    TemporaryFolder folder_;
};

/// kxtool as it runs and prints.
class RunningTool {
  public:
    explicit RunningTool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), KXTOOL);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe");
        child_ = fork();
        if (child_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(ends[1]);
        output_ = ends[0];
    }
    ~RunningTool() {
        kill(child_, SIGTERM);
        waitpid(child_, nullptr, 0);
        close(output_);
    }
    RunningTool(const RunningTool&) = delete;
    RunningTool& operator=(const RunningTool&) = delete;

    /// The next line, for which it waits thirty seconds.
    std::string line() {
        std::string text;
        for (char c = 0; c != '\n'; text += c) {
            pollfd polled{output_, POLLIN, 0};
            if (poll(&polled, 1, 30'000) <= 0 || read(output_, &c, 1) <= 0) return text + "<no more>";
        }
        return text;
    }

  private:
    pid_t child_;
    int output_;
};

TEST_F(NetBiosCommand, PrintsTheRegisteredName) {
    setComputer("Computer");
    setRegistered("files");
    EXPECT_EQ(RunTool({"netbios"}), (ProgramOutcome{0, "FILES\n", ""}));
}

TEST_F(NetBiosCommand, PrintsTheComputersNameWhenNoneIsRegistered) {
    setComputer("A long name: with / and \\");
    EXPECT_EQ(RunTool({"netbios"}), (ProgramOutcome{0, "A LONG NAME: WITH / AND \\\n", ""}));
}

TEST_F(NetBiosCommand, PrintsTheHostsNameOtherwise) {
    char host[512] = "";
    ASSERT_EQ(gethostname(host, sizeof host), 0);
    std::string expected = std::string(host).substr(0, std::string(host).find('.'));
    for (char& c : expected) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(RunTool({"netbios"}), (ProgramOutcome{0, expected + "\n", ""}));
}

TEST_F(NetBiosCommand, PrintsJsonWithWhatTheStoreSays) {
    setComputer("Computer");
    setRegistered("files");
    EXPECT_EQ(RunTool({"netbios", "--json"}),
              (ProgramOutcome{0,
                              R"({"name":"FILES","store":{"Setup:/System":{"ComputerName":"Computer"},)"
                              R"("State:/Network/NetBIOS":{"RegisteredName":"files"}}})"
                              "\n",
                              ""}));
    setenv("KXPLATFORM_SYSTEM_VERSION", "10.6", 1);
    EXPECT_EQ(RunTool({"netbios", "--json"}).out,
              R"({"name":"FILES","store":{"Setup:/System":{"ComputerName":"Computer"},)"
              R"("State:/Network/Global/SMB":{"NetBIOSName":"files"}}})"
              "\n");
}

TEST_F(NetBiosCommand, WatchesAndPrintsEachChange) {
    setComputer("one");
    RunningTool tool({"netbios", "--watch"});
    EXPECT_EQ(tool.line(), "ONE\n");
    setComputer("two");
    EXPECT_EQ(tool.line(), "TWO\n");
    setComputer("Two");  // another text for the same name
    setRegistered("three");
    EXPECT_EQ(tool.line(), "THREE\n");
}

TEST_F(NetBiosCommand, WatchesInJson) {
    setComputer("one");
    RunningTool tool({"netbios", "--watch", "--json"});
    EXPECT_EQ(tool.line(), R"({"name":"ONE","store":{"Setup:/System":{"ComputerName":"one"}}})"
                           "\n");
    setComputer("two");
    EXPECT_EQ(tool.line(), R"({"name":"TWO","store":{"Setup:/System":{"ComputerName":"two"}}})"
                           "\n");
}

TEST_F(NetBiosCommand, TakesNoArguments) { EXPECT_EQ(RunTool({"netbios", "x"}).status, 2); }

}  // namespace
