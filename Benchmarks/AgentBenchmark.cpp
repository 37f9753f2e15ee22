// The agent as it runs: the real program watches a folder in which devices come and go, its stream on the disk of the
// folder for temporary files, its lines read by this process. What is counted is on the disk, was read back from there,
// and has come out.

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

/// A running agent. The folder that it watches is in memory: it is not what is measured.
class Agent {
  public:
    Agent() {
        std::filesystem::create_directories(devices_);
        std::filesystem::create_directories(state_);
        const std::string configuration = state_ + "/agent.plist";
        std::ofstream(configuration) << "<plist version=\"1.0\"><dict><key>Stream</key><string>" << state_
                                     << "/stream</string><key>Watch</key><string>" << devices_
                                     << "</string><key>ACL</key><string>root:deny:write/root:allow:read | eject"
                                        "</string></dict></plist>";
        int out[2], err[2];
        if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        fcntl(out[0], F_SETPIPE_SZ, 1 << 20);
        child_ = fork();
        if (child_ == 0) {
            dup2(out[1], STDOUT_FILENO);
            dup2(err[1], STDERR_FILENO);
            execl(KX_AGENT, KX_AGENT, configuration.c_str(), nullptr);
            _exit(127);
        }
        close(out[1]);
        close(err[1]);
        out_ = out[0];
        std::array<char, 256> said;
        const ssize_t count = read(err[0], said.data(), said.size());
        close(err[0]);
        if (count <= 0 ||
            std::string(said.data(), static_cast<std::size_t>(count)).find("watching") == std::string::npos) {
            throw std::runtime_error("the agent does not run");
        }
    }
    ~Agent() {
        kill(child_, SIGTERM);
        waitpid(child_, nullptr, 0);
        close(out_);
        std::filesystem::remove_all(devices_);
        std::filesystem::remove_all(state_);
    }
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;

    /// `count` devices come and go at once: twice as many events.
    void plugInAndOut(std::size_t count) const {
        for (std::size_t i = 0; i < count; ++i) {
            const std::string device = devices_ + "/disk-" + std::to_string(i);
            mkdir(device.c_str(), 0555);
            rmdir(device.c_str());
        }
    }

    /// Waits until that many lines have come.
    void awaitLines(std::size_t count) {
        std::array<char, 65536> piece;
        while (lines_ < count) {
            const ssize_t size = read(out_, piece.data(), piece.size());
            if (size <= 0) throw std::runtime_error("the agent has ended");
            lines_ += static_cast<std::size_t>(std::count(piece.data(), piece.data() + size, '\n'));
        }
        lines_ -= count;
    }

  private:
    static std::string inFolder(const char* folder, const char* name) {
        return std::string(folder) + "/KXAgentBenchmark." + std::to_string(getpid()) + "." + name;
    }

    const std::string devices_ = inFolder("/dev/shm", "devices");
    const std::string state_ = inFolder(std::filesystem::temp_directory_path().c_str(), "state");
    pid_t child_ = -1;
    int out_ = -1;
    std::size_t lines_ = 0;  ///< that came and were not waited for
};

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

/// A flood of events, to the last line.
void Flood(benchmark::State& state) {
    const auto devices = static_cast<std::size_t>(state.range(0));
    Agent agent;
    for (auto _ : state) {
        const auto start = Clock::now();
        std::thread source([&] { agent.plugInAndOut(devices); });
        agent.awaitLines(2 * devices);
        source.join();
        state.SetIterationTime(secondsSince(start));
    }
    state.SetItemsProcessed(state.iterations() * 2 * state.range(0));
}
BENCHMARK(Flood)->Arg(50'000)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);

/// One event that comes alone, from the device to its line. What a commit of SQLite takes on this disk is part of it.
void OneAlone(benchmark::State& state) {
    Agent agent;
    const timespec pause{0, 100'000'000};  // what follows on the one before is over
    for (auto _ : state) {
        nanosleep(&pause, nullptr);
        const auto start = Clock::now();
        agent.plugInAndOut(1);
        agent.awaitLines(1);
        state.SetIterationTime(secondsSince(start));
        agent.awaitLines(1);
    }
}
BENCHMARK(OneAlone)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace
