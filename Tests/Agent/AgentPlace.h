#pragma once

// What the tests of the agent share: a folder with a configuration and a stream, and the real program running on it.

#include "../Tools/RunProgram.h"
#include "TemporaryFolder.h"

#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace agent_test {

inline std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Waits until the condition holds, a minute at most; whether it does.
inline bool waitFor(const std::function<bool()>& condition) {
    for (const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
         std::chrono::steady_clock::now() < end;) {
        if (condition()) return true;
        usleep(10'000);
    }
    return false;
}

inline std::string nameOfThisUser() {
    const passwd* const user = getpwuid(getuid());
    return user ? user->pw_name : throw std::runtime_error("this user has no name");
}

/// A folder with a configuration for this user, who may read what arrives in `devices`, and not write to it.
class Place {
  public:
    Place() : Place(std::filesystem::temp_directory_path()) {}
    /// With the stream in the folder `state`, which is somebody else's to remove.
    explicit Place(const std::filesystem::path& parent, std::string state = "")
        : folder_(parent), state_(state.empty() ? folder_.path().string() : std::move(state)) {
        mkdir(devices().c_str(), 0755);
    }

    const TemporaryFolder& folder() const { return folder_; }
    std::string devices() const { return folder_ / "devices"; }
    std::string stream() const { return state_ + "/stream"; }
    std::string status() const { return folder_ / "status"; }

    static std::string key(const std::string& name, const std::string& value) {
        return "<key>" + name + "</key><string>" + value + "</string>";
    }
    static std::string number(const std::string& name, long long value) {
        return "<key>" + name + "</key><integer>" + std::to_string(value) + "</integer>";
    }
    static std::string list(const std::string& text) { return key("ACL", text); }
    std::string usualList() const {
        const std::string name = nameOfThisUser();
        return list(name + ":deny:write/" + name + ":allow:read | eject");
    }

    /// Writes a configuration with these keys and no others.
    std::string only(const std::string& keys) const {
        return folder_.write("agent.plist", "<plist version=\"1.0\"><dict>" + keys + "</dict></plist>");
    }
    /// With the stream, the folder and its type, and these keys.
    std::string with(const std::string& keys) const {
        return only(key("Stream", stream()) + key("Watch", devices()) + key("Type", "USB port") +
                    key("Status", status()) + keys);
    }
    std::string configuration(const std::string& more = "") const { return with(usualList() + more); }

    void plugIn(const std::string& name, mode_t mode = 0555) const {
        ASSERT_EQ(mkdir((devices() + "/" + name).c_str(), mode), 0) << name;
    }

    /// A figure of what kxtool tells of the stream; -1 when it cannot.
    long long streamInfo(const std::string& what) const {
        return figureIn(RunTool({"stream", "info", stream()}).out, what);
    }
    /// A counter of the running agent; -1 when none runs.
    long long counter(const std::string& what) const {
        return figureIn(RunTool({"agent", "status", status()}).out, what);
    }

  private:
    static long long figureIn(const std::string& text, const std::string& what) {
        const std::size_t at = text.find(what + " ");
        return at == std::string::npos ? -1 : std::atoll(text.c_str() + at + what.size());
    }

    TemporaryFolder folder_;
    std::string state_;
};

/// The agent, until it is stopped or the test ends. Its standard output is a small pipe.
class RunningAgent {
  public:
    explicit RunningAgent(const std::string& configuration, std::vector<std::string> before = {})
        : log_(configuration + "." + std::to_string(++count()) + ".log") {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        fcntl(ends[0], F_SETPIPE_SZ, 4096);  // a reader that is away is soon waited for
        before.insert(before.end(), {KX_AGENT, configuration});
        std::vector<char*> argv;
        for (std::string& argument : before) argv.push_back(argument.data());
        argv.push_back(nullptr);
        child_ = fork();
        if (child_ < 0) throw std::runtime_error("no process");
        if (child_ == 0) {
            signal(SIGPIPE, SIG_DFL);
            dup2(ends[1], STDOUT_FILENO);
            const int log = open(log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(log, STDERR_FILENO);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        close(ends[1]);
        out_ = fdopen(ends[0], "r");
    }
    ~RunningAgent() {
        if (child_ > 0) end(SIGKILL);
        closeReader();
    }
    RunningAgent(const RunningAgent&) = delete;
    RunningAgent& operator=(const RunningAgent&) = delete;

    pid_t pid() const { return child_; }

    /// The next line it prints, without the time before it; "" when it has ended.
    std::string line() {
        char text[4096];
        if (!std::fgets(text, sizeof text, out_)) return "";
        const std::string line = text;
        return line.substr(std::min(line.find("  ") + 2, line.size()));
    }
    /// Reads until a line holds `text`, and returns it; "" when none does.
    std::string lineWith(const std::string& text) {
        for (std::string next; !(next = line()).empty();) {
            if (next.find(text) != std::string::npos) return next;
        }
        return "";
    }

    void closeReader() {
        if (out_) std::fclose(out_);
        out_ = nullptr;
    }

    /// What it has said on the standard error stream.
    std::string log() const { return contentOf(log_); }
    bool says(const std::string& text) const {
        return waitFor([&] { return log().find(text) != std::string::npos; });
    }
    bool watches() const { return says("kxagent: watching"); }

    void signal(int number) const { kill(child_, number); }
    static void signal(int number, sighandler_t handler) { ::signal(number, handler); }

    /// Waits for its end.
    int wait() {
        int status = 0;
        while (waitpid(child_, &status, 0) < 0 && errno == EINTR) {
        }
        child_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    int end(int number) {
        kill(child_, number);
        return wait();
    }

  private:
    static int& count() {
        static int agents = 0;
        return agents;
    }

    std::string log_;
    pid_t child_ = 0;
    FILE* out_ = nullptr;
};

/// Another process's lock on a stream, as long as it lives: "BEGIN IMMEDIATE" keeps writers out, "BEGIN EXCLUSIVE"
/// readers too. (A process of its own, since the locks of one process are no locks to itself.)
class Lock {
  public:
    Lock(const std::string& path, const std::string& sql) {
        int told[2];
        if (pipe2(told, O_CLOEXEC) != 0 || pipe2(asked_, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        child_ = fork();
        if (child_ == 0) {
            close(asked_[1]);
            sqlite3* database = nullptr;
            sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
            sqlite3_busy_timeout(database, 10'000);
            const int code = sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
            char result = code == SQLITE_OK ? '1' : '0';
            if (write(told[1], &result, 1) == 1) read(asked_[0], &result, 1);  // until the other end is closed
            _exit(0);
        }
        close(told[1]);
        char result = '0';
        const ssize_t count = read(told[0], &result, 1);
        close(told[0]);
        close(asked_[0]);
        if (count != 1 || result != '1') throw std::runtime_error("no lock on " + path);
    }
    ~Lock() {
        close(asked_[1]);
        waitpid(child_, nullptr, 0);
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    pid_t pid() const { return child_; }

  private:
    int asked_[2] = {-1, -1};
    pid_t child_ = -1;
};

inline bool holdsText(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace agent_test
