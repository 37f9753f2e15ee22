#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::literals;
namespace fs = std::filesystem;

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Every file of the folder with its content: for what must not change.
std::vector<std::pair<std::string, std::string>> Everything(const TemporaryFolder& folder) {
    std::vector<std::pair<std::string, std::string>> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder.path())) {
        files.emplace_back(entry.path().string(), entry.is_regular_file() ? ContentOf(entry.path()) : "");
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// A database that the test changes as it likes.
class Database {
  public:
    explicit Database(const std::string& path) {
        EXPECT_EQ(sqlite3_open(path.c_str(), &handle_), SQLITE_OK);
        run("PRAGMA synchronous = OFF");
    }
    ~Database() { sqlite3_close(handle_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void run(const std::string& sql) const {
        EXPECT_EQ(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sql << ": " << sqlite3_errmsg(handle_);
    }

  private:
    sqlite3* handle_ = nullptr;
};

constexpr const char* kTable = "CREATE TABLE stream01 (id INTEGER PRIMARY KEY, attributes BLOB)";

/// A stream with the integers 1 to `count`.
std::string MakeStream(const TemporaryFolder& folder, int count, const std::string& name = "stream") {
    const std::string path = folder / name;
    const Database database(path);
    database.run(kTable);
    database.run(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT " + std::to_string(count) +
        ") INSERT INTO stream01 (attributes) SELECT CAST('<plist version=\"1.0\">' || char(10) || '<integer>' || i || "
        "'</integer>' || char(10) || '</plist>' || char(10) AS BLOB) FROM n WHERE i <= " +
        std::to_string(count));
    return path;
}

TEST(StreamCommand, AppendsJsonAndXmlLinesAndListsThem) {
    const TemporaryFolder folder;
    const std::string path = folder / "stream";
    EXPECT_EQ(RunTool({"stream", "append", path},
                      "{\"user\": \"alice\", \"sizes\": [1, -2, 2.5, true]}\n"
                      "\n"
                      "<plist version=\"1.0\"><string>two&#10;lines</string></plist>\r\n"
                      "18446744073709551615"),
              (ProgramOutcome{0, "appended 3 items, the last as 3\n", ""}));
    EXPECT_EQ(RunTool({"stream", "list", path}), (ProgramOutcome{0,
                                                                 "1: dictionary, 2 entries\n"
                                                                 "  sizes: array, 4 items\n"
                                                                 "    0: 1\n"
                                                                 "    1: -2\n"
                                                                 "    2: 2.5\n"
                                                                 "    3: true\n"
                                                                 "  user: \"alice\"\n"
                                                                 "2: \"two\\nlines\"\n"
                                                                 "3: 18446744073709551615\n",
                                                                 ""}));
    EXPECT_EQ(RunTool({"stream", "list", path, "--format", "json"}),
              (ProgramOutcome{0,
                              "{\"id\":1,\"item\":{\"sizes\":[1,-2,2.5,true],\"user\":\"alice\"}}\n"
                              "{\"id\":2,\"item\":\"two\\nlines\"}\n"
                              "{\"id\":3,\"item\":18446744073709551615}\n",
                              ""}));
    EXPECT_EQ(RunTool({"stream", "list", path, "--format", "xml", "--from", "2"}),
              (ProgramOutcome{0,
                              "<!-- 2 --><plist version=\"1.0\"><string>two&#10;lines</string></plist>\n"
                              "<!-- 3 --><plist version=\"1.0\"><integer>18446744073709551615</integer></plist>\n",
                              ""}));
    EXPECT_EQ(RunTool({"stream", "list", path, "--format", "yaml"}).status, 2);
}

TEST(StreamCommand, TakesBackTheXmlThatItLists) {
    const TemporaryFolder folder;
    const std::string first = folder / "first";
    const std::string second = folder / "second";
    RunTool(
        {"stream", "append", first},
        "<dict><key>a\tb</key><data>QUJD</data><key>when</key><date>2026-11-21T03:04:05Z</date></dict>\n\"a < b\"\n");
    const ProgramOutcome listed = RunTool({"stream", "list", first, "--format", "xml"});
    EXPECT_EQ(RunTool({"stream", "append", second, "-"}, listed.out).out, "appended 2 items, the last as 2\n");
    EXPECT_EQ(RunTool({"stream", "list", second, "--format", "xml"}), listed);
}

TEST(StreamCommand, AppendsFilesOrNothingWhenOneIsBad) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 1);
    const std::string good = folder.write("good.plist", "<string>x</string>");
    const std::string bad = folder.write("bad.plist", "<plist>\n<oops/></plist>");
    EXPECT_EQ(RunTool({"stream", "append", path, good}), (ProgramOutcome{0, "appended item 2\n", ""}));
    EXPECT_EQ(RunTool({"stream", "append", path, good, bad}),
              (ProgramOutcome{1, "", "kxtool stream append: " + bad + ": Unknown element \"oops\" on line 2\n"}));
    EXPECT_EQ(RunTool({"stream", "list", path}).out, "1: 1\n2: \"x\"\n");
    EXPECT_EQ(RunTool({"stream", "append", folder / "new", bad}).status, 1);
    EXPECT_FALSE(fs::exists(folder / "new"));
}

TEST(StreamCommand, NamesTheLineThatIsNoItemAndKeepsThoseBefore) {
    const TemporaryFolder folder;
    const std::string path = folder / "stream";
    const auto append = [&](const std::string& lines) { return RunTool({"stream", "append", path}, lines).err; };
    EXPECT_EQ(append("1\n2\nnull\n3\n"),
              "kxtool stream append: standard input:3: a property list has no null (2 items before it appended)\n");
    EXPECT_EQ(append("<oops/>"),
              "kxtool stream append: standard input:1: Unknown element \"oops\" on line 1 (0 items before it "
              "appended)\n");
    EXPECT_TRUE(append("[1,").starts_with("kxtool stream append: standard input:1: parse error at line 1, column 4"));
    EXPECT_EQ(append(std::string(100'000, '[') + std::string(100'000, ']')),
              "kxtool stream append: standard input:1: values nest more than 512 deep (0 items before it appended)\n");
    EXPECT_EQ(RunTool({"stream", "list", path}).out, "1: 1\n2: 2\n");
}

TEST(StreamCommand, AppendsMoreThanOneTransactionHolds) {
    const TemporaryFolder folder;
    const std::string path = folder / "stream";
    std::string lines;
    for (int i = 1; i <= 2500; ++i) lines += std::to_string(i) + "\n";
    EXPECT_EQ(RunTool({"stream", "append", path}, lines),
              (ProgramOutcome{0, "appended 2500 items, the last as 2500\n", ""}));
    EXPECT_EQ(RunTool({"stream", "list", path, "--back", "--limit", "1"}).out, "2500: 2500\n");
    EXPECT_EQ(RunTool({"stream", "verify", path}), (ProgramOutcome{0, path + ": OK, 2500 items\n", ""}));
}

TEST(StreamCommand, TellsWhenNothingWasStoredThoughTheSameStoodThereBefore) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 1);
    const auto append = [&](const std::string& lines) { return RunTool({"stream", "append", path}, lines); };
    const std::string refusal =
        "kxtool stream append: " + path + ": items were not stored: the disk is full, or another process came between";
    Database(path).run("CREATE TRIGGER never BEFORE INSERT ON stream01 BEGIN SELECT RAISE(IGNORE); END");
    EXPECT_EQ(append("1\n"), (ProgramOutcome{1, "", refusal + "\n"}));
    Database(path).run(
        "DROP TRIGGER never; CREATE TRIGGER once BEFORE INSERT ON stream01 "
        "WHEN instr(new.attributes, '>2<') BEGIN SELECT RAISE(IGNORE); END");
    EXPECT_EQ(append("3\n2\n3\n"), (ProgramOutcome{1, "", refusal + "\n"}));
    EXPECT_EQ(RunTool({"stream", "list", path}).out, "1: 1\n") << "and keeps none of those between";
    EXPECT_EQ(append("3\n3\n").out, "appended 2 items, the last as 3\n");
}

TEST(StreamCommand, ListsFromAnIdForwardAndBackUpToALimit) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 5);
    const auto list = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"stream", "list", path});
        return RunTool(options).out;
    };
    EXPECT_EQ(list({"--from", "4"}), "4: 4\n5: 5\n");
    EXPECT_EQ(list({"--from", "3", "--back", "--limit", "2"}), "3: 3\n2: 2\n");
    EXPECT_EQ(list({"--back", "--limit", "2"}), "5: 5\n4: 4\n");
    EXPECT_EQ(list({"--limit", "0"}), "");
    EXPECT_EQ(list({"--from", "6"}), "");
    EXPECT_EQ(RunTool({"stream", "list", path, "--limit", "-1"}).status, 2);
}

TEST(StreamCommand, ReadsAcrossManyBatchesInBothDirections) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 1000);
    std::string up, down;
    for (int i = 1; i <= 1000; ++i) {
        const std::string line = std::to_string(i) + ": " + std::to_string(i) + "\n";
        up += line;
        down = line + down;
    }
    EXPECT_EQ(RunTool({"stream", "list", path}).out, up);
    EXPECT_EQ(RunTool({"stream", "list", path, "--back"}).out, down);
}

TEST(StreamCommand, NamesItemsThatItCannotShow) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 1);
    Database(path).run("INSERT INTO stream01 (attributes) VALUES ('<real>nan</real>'), ('<oops/>'), (NULL)");
    EXPECT_EQ(RunTool({"stream", "list", path}),
              (ProgramOutcome{1, "1: 1\n2: nan\n",
                              "kxtool stream list: item 3: Unknown element \"oops\" on line 1\n"
                              "kxtool stream list: item 4: The document is empty\n"
                              "kxtool stream list: " +
                                  path + ": 2 items cannot be shown\n"}));
    EXPECT_EQ(RunTool({"stream", "list", path, "--format", "json", "--limit", "2"}),
              (ProgramOutcome{1, "{\"id\":1,\"item\":1}\n",
                              "kxtool stream list: item 2: JSON cannot hold nan and infinity\n"
                              "kxtool stream list: " +
                                  path + ": 1 item cannot be shown\n"}));
}

TEST(StreamCommand, VerifiesEveryItem) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 2);
    EXPECT_EQ(RunTool({"stream", "verify", path}), (ProgramOutcome{0, path + ": OK, 2 items\n", ""}));
    Database(path).run("INSERT INTO stream01 (attributes) VALUES ('<plist><dict>')");
    RunTool({"stream", "append", path}, "\"" + std::string(260'080, 'x') + "\"\n");
    EXPECT_EQ(RunTool({"stream", "verify", path}),
              (ProgramOutcome{1,
                              "item 3: The document ends within an open element on line 1\n"
                              "item 4: 260129 bytes, readers pass over more than 260080\n",
                              "kxtool stream verify: " + path + ": 2 of 4 items cannot be read\n"}));
}

TEST(StreamCommand, WarnsOfAnItemThatReadersPassOver) {
    const TemporaryFolder folder;
    const std::string path = folder / "stream";
    EXPECT_EQ(RunTool({"stream", "append", path}, "\"" + std::string(260'031, 'x') + "\"\n"),
              (ProgramOutcome{0, "appended item 1\n", ""}));
    EXPECT_EQ(RunTool({"stream", "append", path}, "\"" + std::string(260'032, 'x') + "\"\n"),
              (ProgramOutcome{0, "appended item 2\n",
                              "kxtool stream append: warning: standard input:1: readers pass over items of more than "
                              "260080 bytes\n"}));
}

TEST(StreamCommand, TellsWhatAStreamHolds) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 1000);
    EXPECT_EQ(RunTool({"stream", "discard", path, "--through", "500"}),
              (ProgramOutcome{0, "discarded 500 items\n", ""}));
    EXPECT_EQ(RunTool({"stream", "info", path}), (ProgramOutcome{0,
                                                                 "first id    501\n"
                                                                 "last id     1000\n"
                                                                 "items       500\n"
                                                                 "item bytes  27001\n"
                                                                 "file bytes  73728\n"
                                                                 "free bytes  28672\n",
                                                                 ""}));
    EXPECT_EQ(RunTool({"stream", "info", path, "--json"}),
              (ProgramOutcome{0,
                              "{\"first\":501,\"last\":1000,\"items\":500,\"itemBytes\":27001,\"fileBytes\":73728,"
                              "\"freeBytes\":28672}\n",
                              ""}));
    const std::string empty = MakeStream(folder, 0, "empty");
    EXPECT_TRUE(
        RunTool({"stream", "info", empty}).out.starts_with("first id    none\nlast id     none\nitems       0\n"));
}

TEST(StreamCommand, DiscardsUpToAnId) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 5);
    const auto discard = [&](const std::string& through) {
        return RunTool({"stream", "discard", path, "--through", through}).out;
    };
    EXPECT_EQ(discard("0"), "discarded 0 items\n");
    EXPECT_EQ(discard("1"), "discarded 1 item\n");
    EXPECT_EQ(RunTool({"stream", "list", path, "--limit", "1"}).out, "2: 2\n");
    EXPECT_EQ(discard("9223372036854775807"), "discarded 4 items\n");
    EXPECT_EQ(RunTool({"stream", "list", path}), (ProgramOutcome{0, "", ""}));
    EXPECT_EQ(RunTool({"stream", "discard", path}).status, 2);
    EXPECT_EQ(RunTool({"stream", "discard", path, "--through", "-1"}).status, 2);
}

TEST(StreamCommand, CompactsTheFileAndKeepsTheItems) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 1000);
    RunTool({"stream", "discard", path, "--through", "998"});
    const std::string listed = RunTool({"stream", "list", path}).out;
    EXPECT_EQ(RunTool({"stream", "compact", path}), (ProgramOutcome{0, "8192 bytes, 73728 before\n", ""}));
    EXPECT_EQ(fs::file_size(path), 8192u);
    EXPECT_EQ(RunTool({"stream", "list", path}).out, listed);
    EXPECT_EQ(listed, "999: 999\n1000: 1000\n");
}

/// Runs every subcommand on the path; each must fail with these words and leave everything as it was.
void ExpectRefusal(const TemporaryFolder& folder, const std::string& path, const std::string& why,
                   const std::vector<std::string>& commands = {"list", "follow", "info", "verify", "compact", "discard",
                                                               "append"}) {
    const auto before = Everything(folder);
    for (const std::string& command : commands) {
        std::vector<std::string> arguments{"stream", command, path};
        if (command == "discard") arguments.insert(arguments.end(), {"--through", "1"});
        EXPECT_EQ(RunTool(arguments, "1\n"),
                  (ProgramOutcome{1, "", "kxtool stream " + command + ": " + path + ": " + why + "\n"}));
    }
    EXPECT_EQ(Everything(folder), before) << why;
}

TEST(StreamCommand, RefusesWhatIsNoStreamAndLeavesItAsItIs) {
    const TemporaryFolder folder;
    ExpectRefusal(folder, folder.path(), "is a directory");
    ExpectRefusal(folder, folder.write("text", "no database, but somebody's text"), "not a stream: no SQLite database");
    ExpectRefusal(folder, folder.write("cut", "SQLite format 3\0..."s),
                  "not a stream: the file is cut off in its header");

    const std::string other = folder / "other";
    Database(other).run("CREATE TABLE stream02 (id INTEGER PRIMARY KEY, attributes BLOB)");
    ExpectRefusal(folder, other, "not a stream: a database without the table stream01");
    Database(other).run("CREATE VIEW stream01 AS SELECT * FROM stream02");
    ExpectRefusal(folder, other, "not a stream: a database without the table stream01");

    const std::string columns = folder / "columns";
    Database(columns).run("CREATE TABLE stream01 (id INTEGER PRIMARY KEY, blob BLOB)");
    ExpectRefusal(folder, columns, "not a stream: its table stream01 has other columns");

    const std::string logged = MakeStream(folder, 1, "logged");
    Database(logged).run("PRAGMA journal_mode = WAL");
    ExpectRefusal(folder, logged, "not a stream: a database with a write-ahead log");

    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ExpectRefusal(folder, pipe, "is not a regular file");
}

TEST(StreamCommand, MakesNoFileButByAppend) {
    const TemporaryFolder folder;
    const std::string path = folder / "stream";
    const std::vector<std::string> others{"list", "follow", "info", "verify", "compact", "discard"};
    ExpectRefusal(folder, path, "there is no such file", others);
    ExpectRefusal(folder, folder.write("empty", ""), "not a stream: the file is empty", others);
    EXPECT_EQ(RunTool({"stream", "append", path}, "1\n").out, "appended item 1\n");
    EXPECT_EQ(RunTool({"stream", "append", folder / "empty"}, "1\n").out, "appended item 1\n");
    EXPECT_EQ(RunTool({"stream", "append", path + "/below"}, "1\n").status, 1);
    EXPECT_EQ(
        RunTool({"stream", "append", folder / "no/stream"}, "1\n"),
        (ProgramOutcome{
            1, "", "kxtool stream append: cannot make " + folder / "no/stream" + ": No such file or directory\n"}));
    EXPECT_EQ(RunTool({"stream", "append", ""}, "1\n").status, 1);
}

TEST(StreamCommand, TellsWhereADamagedFileStopsToRead) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 1000);
    {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(9 * 4096);
        file << std::string(4096, '\0');
    }
    const ProgramOutcome verified = RunTool({"stream", "verify", path});
    EXPECT_EQ(verified.status, 1);
    EXPECT_EQ(verified.err, "kxtool stream verify: " + path + ": database disk image is malformed (after item 460)\n");
    EXPECT_EQ(RunTool({"stream", "list", path}).status, 1);
    fs::resize_file(path, 5 * 4096);
    EXPECT_EQ(RunTool({"stream", "verify", path}).err,
              "kxtool stream verify: " + path + ": database disk image is malformed\n");
}

/// A stream of the integers 1 to 1000, as a process leaves it that dies after part of a large change went to the disk.
std::string LeaveUnfinishedChange(const TemporaryFolder& folder, const std::string& name) {
    const std::string writing = MakeStream(folder, 1000, name + "-being-written");
    const std::string path = folder / name;
    const Database database(writing);
    database.run("PRAGMA cache_size = 1; BEGIN; UPDATE stream01 SET attributes = '<string>changed</string>'");
    fs::copy_file(writing, path);
    fs::copy_file(writing + "-journal", path + "-journal");
    return path;
}

TEST(StreamCommand, LeavesAnUnfinishedChangeToTheNextWriter) {
    const TemporaryFolder folder;
    const std::string path = LeaveUnfinishedChange(folder, "stream");
    ExpectRefusal(folder, path, "a change was left unfinished; the next opening for writing takes it back",
                  {"list", "follow", "info", "verify"});
    EXPECT_EQ(RunTool({"stream", "append", path}, "0\n").out, "appended item 1001\n");
    EXPECT_EQ(RunTool({"stream", "list", path, "--limit", "2"}).out, "1: 1\n2: 2\n");
    EXPECT_EQ(RunTool({"stream", "verify", path}).status, 0);
}

TEST(StreamCommand, WaitsForAWriterInsteadOfTakingTheFileForBroken) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 3);
    auto database = std::make_unique<Database>(path);
    database->run("BEGIN EXCLUSIVE; INSERT INTO stream01 (attributes) VALUES ('<string>theirs</string>')");
    std::vector<ProgramOutcome> outcomes(3);
    std::thread commands([&] {
        std::thread append([&] { outcomes[0] = RunTool({"stream", "append", path}, "\"ours\"\n"); });
        std::thread list([&] { outcomes[1] = RunTool({"stream", "list", path, "--limit", "1"}); });
        std::thread discard([&] { outcomes[2] = RunTool({"stream", "discard", path, "--through", "0"}); });
        append.join();
        list.join();
        discard.join();
    });
    std::this_thread::sleep_for(200ms);  // the outcome is the same, however far they are
    database->run("COMMIT");
    database.reset();
    commands.join();
    EXPECT_EQ(outcomes[0], (ProgramOutcome{0, "appended item 5\n", ""}));
    EXPECT_EQ(outcomes[1], (ProgramOutcome{0, "1: 1\n", ""}));
    EXPECT_EQ(outcomes[2], (ProgramOutcome{0, "discarded 0 items\n", ""}));
    EXPECT_EQ(RunTool({"stream", "list", path, "--from", "3"}).out, "3: 3\n4: \"theirs\"\n5: \"ours\"\n");
}

/// kxtool stream follow, running; what it prints can be waited for.
class Follower {
  public:
    explicit Follower(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {KXTOOL, "stream", "follow"});
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe");
        fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        child_ = fork();
        if (child_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[1]);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(ends[1]);
        output_ = ends[0];
    }
    ~Follower() {
        close(output_);
        if (child_ <= 0) return;
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    /// Waits until everything printed is `text`, or a bound.
    std::string awaitOutput(const std::string& text) {
        while (printed_ != text) {
            pollfd polled{output_, POLLIN, 0};
            if (poll(&polled, 1, 20'000) != 1) break;
            char piece[4096];
            const ssize_t count = read(output_, piece, sizeof piece);
            if (count <= 0) break;
            printed_.append(piece, static_cast<std::size_t>(count));
        }
        return printed_;
    }

    int end(int signal) {
        kill(child_, signal);
        int status = 0;
        waitpid(child_, &status, 0);
        child_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    pid_t child_ = 0;
    int output_ = -1;
    std::string printed_;
};

TEST(StreamCommand, FollowsWhatIsAppendedUntilInterrupted) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const TemporaryFolder folder;
        const std::string path = MakeStream(folder, 2);
        Follower follower({path, "--from", "2", "--format", "json"});
        EXPECT_EQ(follower.awaitOutput("{\"id\":2,\"item\":2}\n"), "{\"id\":2,\"item\":2}\n");
        RunTool({"stream", "append", path}, "3\n\"four\"\n");
        const std::string all = "{\"id\":2,\"item\":2}\n{\"id\":3,\"item\":3}\n{\"id\":4,\"item\":\"four\"}\n";
        EXPECT_EQ(follower.awaitOutput(all), all);
        EXPECT_EQ(follower.end(signal), 0);
    }
}

TEST(StreamCommand, FollowsAStreamThatCountsFromOneAgain) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 2);
    Follower follower({path, "--from", "2"});
    EXPECT_EQ(follower.awaitOutput("2: 2\n"), "2: 2\n");
    RunTool({"stream", "discard", path, "--through", "2"});
    RunTool({"stream", "append", path}, "\"again\"\n");
    EXPECT_EQ(follower.awaitOutput("2: 2\n1: \"again\"\n"), "2: 2\n1: \"again\"\n");
}

TEST(StreamCommand, FollowsOnWhenAChangeThatWasLeftUnfinishedIsTakenBack) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 1);
    const std::string fresh = LeaveUnfinishedChange(folder, "fresh");
    Follower follower({path, "--from", "1"});
    EXPECT_EQ(follower.awaitOutput("1: 1\n"), "1: 1\n");
    fs::rename(fresh + "-journal", path + "-journal");
    fs::rename(fresh, path);
    std::this_thread::sleep_for(300ms);  // the outcome is the same, whether it looks meanwhile or not
    RunTool({"stream", "append", path}, "1001\n");
    std::string all = "1: 1\n";
    for (int i = 1; i <= 1001; ++i) all += std::to_string(i) + ": " + std::to_string(i) + "\n";
    EXPECT_EQ(follower.awaitOutput(all), all);
}

TEST(StreamCommand, FollowsAStreamThatWasMadeAnew) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 2);
    Follower follower({path, "--from", "2"});
    EXPECT_EQ(follower.awaitOutput("2: 2\n"), "2: 2\n");
    const std::string fresh = MakeStream(folder, 3, "fresh");
    fs::rename(fresh, path);
    EXPECT_EQ(follower.awaitOutput("2: 2\n1: 1\n2: 2\n3: 3\n"), "2: 2\n1: 1\n2: 2\n3: 3\n");
}

TEST(StreamCommand, FollowsUpToTheLargestIdAndPrintsItOnce) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 0);
    Database(path).run("INSERT INTO stream01 VALUES (9223372036854775807, '<true/>')");
    Follower follower({path, "--from", "9223372036854775807"});
    EXPECT_EQ(follower.awaitOutput("9223372036854775807: true\n"), "9223372036854775807: true\n");
    Database(path).run("DELETE FROM stream01; INSERT INTO stream01 (attributes) VALUES ('<false/>')");
    EXPECT_EQ(follower.awaitOutput("9223372036854775807: true\n1: false\n"), "9223372036854775807: true\n1: false\n");
}

TEST(StreamCommand, EndsWhereIdsOfAForeignTableDoNotGoOn) {
    const TemporaryFolder folder;
    const std::string path = folder / "stream";
    Database(path).run(
        "CREATE TABLE stream01 (id REAL, attributes BLOB);"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 600)"
        "INSERT INTO stream01 SELECT 1 + i / 1000.0, '<true/>' FROM n");
    EXPECT_EQ(RunTool({"stream", "verify", path}).err,
              "kxtool stream verify: " + path + ": its ids do not go on in whole numbers (after item 1)\n");
}

TEST(StreamCommand, RefusesToWriteWhereTheFolderTakesNoJournal) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "closed");
    const std::string path = MakeStream(folder, 3, "closed/stream");
    const std::string empty = folder.write("closed/empty", "");
    fs::permissions(folder.path(), fs::perms(0755));
    for (const std::string& file : {path, empty}) fs::permissions(file, fs::perms(0666));
    fs::permissions(folder / "closed", fs::perms(0555));
    // Who is root writes anywhere.
    const std::vector<std::string> asNobody{"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    const auto run = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), KXTOOL);
        if (geteuid() == 0) arguments.insert(arguments.begin(), asNobody.begin(), asNobody.end());
        return RunProgram(arguments, "1\n");
    };
    if (run({"--version"}).status != 0) GTEST_SKIP() << "nobody cannot run the tool here";
    const auto refusal = [](const std::string& command, const std::string& file) {
        return ProgramOutcome{
            1, "", "kxtool stream " + command + ": " + file + ": its folder cannot be written to: Permission denied\n"};
    };
    EXPECT_EQ(run({"stream", "append", path}), refusal("append", path));
    EXPECT_EQ(run({"stream", "append", empty}), refusal("append", empty));
    EXPECT_EQ(run({"stream", "discard", path, "--through", "1"}), refusal("discard", path));
    EXPECT_EQ(run({"stream", "compact", path}), refusal("compact", path));
    EXPECT_EQ(run({"stream", "list", path}), (ProgramOutcome{0, "1: 1\n2: 2\n3: 3\n", ""}));
    EXPECT_EQ(fs::file_size(empty), 0u);
    fs::permissions(folder / "closed", fs::perms(0755));
}

TEST(StreamCommand, TellsThatTheDiskIsFullAndLeavesWhatWasThere) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 1000);
    const auto before = Everything(folder);
    // No file may grow any more, as on a full disk.
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
    rlimit full = limit;
    full.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    const auto run = [&](const std::string& command, const std::string& file, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"stream", command, file});
        return RunTool(options, "1\n");
    };
    const ProgramOutcome made = run("append", folder / "new");
    const ProgramOutcome appended = run("append", path);
    const ProgramOutcome discarded = run("discard", path, {"--through", "1"});
    const ProgramOutcome compacted = run("compact", path);
    const ProgramOutcome listed = run("list", path, {"--limit", "1"});
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    std::signal(SIGXFSZ, ignored);
    EXPECT_EQ(made, (ProgramOutcome{1, "", "kxtool stream append: " + folder / "new" + ": disk I/O error\n"}));
    EXPECT_EQ(appended.err, "kxtool stream append: " + path +
                                ": items were not stored: the disk is full, or another process came between\n");
    EXPECT_EQ(discarded.err, "kxtool stream discard: " + path +
                                 ": nothing was discarded: the disk is full, or another process came between\n");
    EXPECT_EQ(compacted.status, 1);
    EXPECT_EQ(listed, (ProgramOutcome{0, "1: 1\n", ""}));
    EXPECT_EQ(Everything(folder), before);
}

TEST(StreamCommand, TellsItsProgressOnATerminalOnly) {
    const TemporaryFolder folder;
    const std::string path = MakeStream(folder, 500);
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) GTEST_SKIP() << "no terminal to be had";
    const pid_t child = fork();
    if (child == 0) {
        dup2(open(ptsname(terminal), O_RDWR | O_NOCTTY), STDERR_FILENO);
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        execl(KXTOOL, "kxtool", "stream", "verify", path.c_str(), nullptr);
        _exit(127);
    }
    std::string told;
    char piece[256];
    for (ssize_t count; (count = read(terminal, piece, sizeof piece)) > 0;) {
        told.append(piece, static_cast<std::size_t>(count));
    }
    close(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(told.starts_with("\r64 of 500 items")) << told;
    EXPECT_TRUE(told.ends_with("\r\x1B[K")) << told;
    EXPECT_EQ(RunTool({"stream", "verify", path}).err, "");
}

}  // namespace
