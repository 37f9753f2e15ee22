#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "Command.h"
#include "PropertyListText.h"
#include "Streams.h"

namespace kxtool {
namespace {

constexpr std::size_t kLongestStatus = std::size_t{1} << 20;
constexpr timeval kStatusPatience{5, 0};

/// What the agent counts, and how it is told to a person and to Prometheus.
struct AgentCounter {
    const char* key;
    const char* kind;
    const char* help;
};
constexpr std::array kAgentCounters = {
    AgentCounter{"events", "counter", "events that were seen"},
    AgentCounter{"recorded", "counter", "events that can be read back from the disk"},
    AgentCounter{"waiting", "gauge", "events in memory that are not on the disk yet"},
    AgentCounter{"delivered", "counter", "records that went out, those of earlier runs among them"},
    AgentCounter{"dropped", "counter", "events that there was no room for"},
};

class AgentConnection {
  public:
    explicit AgentConnection(const std::string& path)
        : path_(path), socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path) throw BadInput(fmt::format("{}: the path is too long", path));
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &kStatusPatience, sizeof kStatusPatience);
        if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return;
        const int reason = errno;
        close(socket_);
        fail(reason == ECONNREFUSED ? "no agent listens there" : std::generic_category().message(reason));
    }
    ~AgentConnection() { close(socket_); }
    AgentConnection(const AgentConnection&) = delete;
    AgentConnection& operator=(const AgentConnection&) = delete;

    std::string readAll() const {
        std::string text;
        std::array<char, 4096> piece;
        for (ssize_t count; (count = read(socket_, piece.data(), piece.size())) != 0;) {
            if (count < 0) fail(errno == EAGAIN ? "the agent does not answer" : std::generic_category().message(errno));
            text.append(piece.data(), static_cast<std::size_t>(count));
            if (text.size() > kLongestStatus) fail("is no agent's socket");
        }
        return text;
    }

    [[noreturn]] void fail(const std::string& why) const { throw BadInput(fmt::format("{}: {}", path_, why)); }

  private:
    std::string path_;
    int socket_;
};

nlohmann::json StatusOf(const std::string& path) {
    const AgentConnection agent(path);
    const nlohmann::json status = nlohmann::json::parse(agent.readAll(), nullptr, /*allow_exceptions=*/false);
    if (!status.is_object()) agent.fail("is no agent's socket");
    for (const AgentCounter& counter : kAgentCounters) {
        if (!status.contains(counter.key) || !status[counter.key].is_number_unsigned()) {
            agent.fail(fmt::format("does not tell \"{}\"", counter.key));
        }
    }
    return status;
}

/// A text as a label's value.
std::string PrometheusText(std::string_view text) {
    std::string value;
    for (const char c : text) {
        if (c == '\\' || c == '"') value += '\\';
        value += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return value;
}

void WriteForPrometheus(const nlohmann::json& status, const std::string& error) {
    for (const AgentCounter& counter : kAgentCounters) {
        const std::string name =
            fmt::format("kxagent_{}{}", counter.key, std::string_view(counter.kind) == "counter" ? "_total" : "");
        Write(fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n{0} {3}\n", name, counter.help, counter.kind,
                          status[counter.key].get<std::uint64_t>()));
    }
    Write(fmt::format("# HELP kxagent_last_error 1 when there was an error, with its text\n"
                      "# TYPE kxagent_last_error gauge\nkxagent_last_error{{text=\"{}\"}} {}\n",
                      PrometheusText(error), error.empty() ? 0 : 1));
}

struct AgentStatusOptions {
    std::string path;
    bool json = false;
    bool prometheus = false;
};

void RunAgentStatus(const AgentStatusOptions& options) {
    const nlohmann::json status = StatusOf(options.path);
    const std::string error = status.value("last_error", "");
    if (options.json) return Write(JsonText(status) + "\n");
    if (options.prometheus) return WriteForPrometheus(status, error);
    for (const AgentCounter& counter : kAgentCounters) {
        Write(fmt::format("{:<11} {}\n", counter.key, status[counter.key].get<std::uint64_t>()));
    }
    Write(fmt::format("last error  {}\n", error.empty() ? "none" : error));
}

}  // namespace

void AddAgent(CLI::App& tool) {
    CLI::App* const agent = tool.add_subcommand("agent", "Ask a running agent");
    agent->require_subcommand(1);

    const auto options = std::make_shared<AgentStatusOptions>();
    CLI::App* const status = agent->add_subcommand("status", "Print how the agent is doing");
    status->add_option("PATH", options->path, "The agent's socket: \"Status\" of its configuration")->required();
    CLI::Option* const json = status->add_flag("--json", options->json, "Print it as JSON");
    status->add_flag("--prometheus", options->prometheus, "Print it as Prometheus reads it")->excludes(json);
    status->footer("Example:\n  kxtool agent status /run/kxagent/status --json\n");
    status->callback([options] { RunAgentStatus(*options); });
}

}  // namespace kxtool
