#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::literals;
namespace fs = std::filesystem;

/// kxtool audit stream, running; what it prints can be waited for.
class Running {
  public:
    Running(std::vector<std::string> arguments, std::string errors) : errors_(std::move(errors)) {
        arguments.insert(arguments.begin(), {KXTOOL, "audit", "stream"});
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe");
        fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        const int err = open(errors_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        child_ = fork();
        if (child_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(err, STDERR_FILENO);
            close(ends[1]);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(err);
        close(ends[1]);
        output_ = ends[0];
    }
    ~Running() {
        close(output_);
        if (child_ <= 0) return;
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    /// Reads until `text` was printed, or a bound.
    bool awaits(const std::string& text) {
        while (printed_.find(text) == std::string::npos) {
            pollfd polled{output_, POLLIN, 0};
            if (poll(&polled, 1, 20'000) != 1) return false;
            char piece[4096];
            const ssize_t count = read(output_, piece, sizeof piece);
            if (count <= 0) return false;
            printed_.append(piece, static_cast<std::size_t>(count));
        }
        return true;
    }
    const std::string& printed() const { return printed_; }

    std::string errors() const {
        std::ifstream file(errors_);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    int end(int signal) {
        if (signal != 0) kill(child_, signal);
        int status = 0;
        waitpid(child_, &status, 0);
        child_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    std::string errors_;
    pid_t child_ = 0;
    int output_ = -1;
    std::string printed_;
};

/// A stream to which the test appends records, each by a commit of its own.
class AuditFollow : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(sqlite3_open(path.c_str(), &handle_), SQLITE_OK);
        sqlite3_busy_timeout(handle_, 20'000);
        run("PRAGMA synchronous = OFF");
        run("CREATE TABLE stream01 (id INTEGER PRIMARY KEY, attributes BLOB)");
    }
    void TearDown() override { sqlite3_close(handle_); }

    void run(const std::string& sql) {
        EXPECT_EQ(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle_);
    }

    /// An SQL value: the item of a record with this id.
    std::string item(int id) {
        const std::string record =
            RunTool({"audit", "encode"}, "{\"record_id\":" + std::to_string(id) + ",\"name\":\"Stick\"}").out;
        const std::string text = RunTool({"base64", "encode"}, record).out;
        return "'<plist version=\"1.0\"><data>" + text.substr(0, text.size() - 1) + "</data></plist>'";
    }
    void append(const std::string& value) { run("INSERT INTO stream01 (attributes) VALUES (" + value + ")"); }
    void append(int id) { append(item(id)); }

    static int count(const std::string& text, const std::string& part) {
        int found = 0;
        for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++found;
        return found;
    }
    static int missed(const std::string& errors) {
        const std::regex pattern("kxtool audit stream: missed ([0-9]+) items\n");
        int total = 0;
        for (std::sregex_iterator at(errors.begin(), errors.end(), pattern), end; at != end; ++at) {
            total += std::stoi((*at)[1]);
        }
        return total;
    }

    TemporaryFolder folder;
    const std::string path = folder / "stream";
    const std::string errors = folder / "errors";

  private:
    sqlite3* handle_ = nullptr;
};

TEST_F(AuditFollow, PrintsWhatIsThereAndWhatIsAppendedUntilInterrupted) {
    for (const int signal : {SIGINT, SIGTERM}) {
        append(1);
        append(2);
        Running tool({path, "--follow"}, errors);
        EXPECT_TRUE(tool.awaits("item=2 record_id=2 "));
        append(3);
        EXPECT_TRUE(tool.awaits("item=3 record_id=3 "));
        EXPECT_EQ(tool.end(signal), 0);
        EXPECT_EQ(tool.errors(), "");
        EXPECT_EQ(count(tool.printed(), "\n"), 3);
        run("DELETE FROM stream01");
    }
}

TEST_F(AuditFollow, FiltersAndEndsAtTheLimit) {
    append(1);
    Running tool({path, "--follow", "--not-name", "Camera", "--limit", "2", "--json"}, errors);
    EXPECT_TRUE(tool.awaits("\"record_id\":1,"));
    append(2);
    EXPECT_TRUE(tool.awaits("\"record_id\":2,"));
    EXPECT_EQ(tool.end(0), 0);
}

TEST_F(AuditFollow, SeesOrCountsEveryItemThatIsDiscardedAtOnce) {
    append(0);
    Running tool({path, "--follow"}, errors);
    EXPECT_TRUE(tool.awaits("record_id=0 "));
    constexpr int kItems = 300;
    const std::string value = item(5);
    for (int i = 0; i < kItems; ++i) {
        append(value);
        run("DELETE FROM stream01");
    }
    append(9);
    EXPECT_TRUE(tool.awaits("record_id=9 "));
    EXPECT_EQ(tool.end(SIGINT), 0);
    EXPECT_EQ(count(tool.printed(), "record_id=5 ") + missed(tool.errors()), kItems) << tool.errors();
}

TEST_F(AuditFollow, SeesOrCountsEveryItemWhileTheReaderIsBehind) {
    append(0);
    Running tool({path, "--follow"}, errors);
    EXPECT_TRUE(tool.awaits("record_id=0 "));
    constexpr int kItems = 300;
    const std::string value = item(5);
    for (int i = 2; i < kItems + 2; ++i) {
        append(value);
        if (i % 3 == 0) run("DELETE FROM stream01 WHERE id <= " + std::to_string(i - 1));
    }
    append(9);
    EXPECT_TRUE(tool.awaits("record_id=9 "));
    EXPECT_EQ(tool.end(SIGINT), 0);
    EXPECT_EQ(count(tool.printed(), "record_id=5 ") + missed(tool.errors()), kItems) << tool.errors();
}

TEST_F(AuditFollow, GoesOnAfterTheCheckpointAndTellsWhatItMissedMeanwhile) {
    const std::string checkpoint = folder / "checkpoint";
    append(1);
    append(2);
    {
        Running tool({path, "--follow", "--checkpoint", checkpoint}, errors);
        EXPECT_TRUE(tool.awaits("record_id=2 "));
        append(3);
        EXPECT_TRUE(tool.awaits("record_id=3 "));
        EXPECT_EQ(tool.end(SIGINT), 0);
    }
    append(4);
    append(5);
    append(6);
    run("DELETE FROM stream01 WHERE id <= 5");
    const auto goOn = [&] { return RunTool({"audit", "stream", path, "--checkpoint", checkpoint}); };
    EXPECT_EQ(goOn(), (ProgramOutcome{0, "- - item=6 record_id=6 event_id=0 status=0 name=Stick\n",
                                      "kxtool audit stream: missed 2 items\n"}));
    EXPECT_EQ(goOn(), (ProgramOutcome{1, "", ""}));
    // Another item of the same id: the stream was emptied, and counts from 1 again.
    run("DELETE FROM stream01");
    for (int id = 11; id <= 16; ++id) append(id);
    EXPECT_EQ(count(goOn().out, "\n"), 6);
    EXPECT_EQ(goOn().out, "");
    EXPECT_EQ(RunTool({"audit", "stream", path, "--checkpoint", folder.write("other", "x")}).status, 3);
}

TEST_F(AuditFollow, FollowsAStreamOnly) {
    EXPECT_EQ(RunTool({"audit", "stream", folder.write("records", "AUDITREC"), "--follow"}).status, 3);
    EXPECT_EQ(RunTool({"audit", "stream", folder / "missing", "--follow"}).status, 3);
    EXPECT_EQ(RunTool({"audit", "stream", path, "--follow", "--count"}).status, 2);
    EXPECT_EQ(RunTool({"audit", "stream", path, "--follow", "--reverse"}).status, 2);
}

}  // namespace
