#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::literals;
namespace fs = std::filesystem;

constexpr int kPage = 4096;

/// stream recover, backup and compact, and how the readers take what they are for.
class RescueCommand : public ::testing::Test {
  protected:
    /// A stream of the texts "item 1...", each of about a hundred bytes, from `first` to `last`.
    std::string make(int last, const std::string& name = "stream", int padding = 60) {
        const std::string path = folder / name;
        std::string lines;
        for (int i = 1; i <= last; ++i) {
            lines += "\"item " + std::to_string(i) + std::string(static_cast<std::size_t>(padding), 'x') + "\"\n";
        }
        EXPECT_EQ(RunTool({"stream", "append", path}, lines).status, 0);
        return path;
    }

    void damage(const std::string& path, long at, const std::string& bytes) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(at);
        file << bytes;
    }

    /// Runs a statement on the file, as another process would; keeps the connection.
    sqlite3* open(const std::string& path, const std::string& sql) {
        sqlite3* handle = nullptr;
        EXPECT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
        return handle;
    }

    ProgramOutcome recover(const std::string& path) {
        fs::remove(folder / "saved");
        return RunTool({"stream", "recover", path, folder / "saved"});
    }

    std::string listed(const std::string& path) { return RunTool({"stream", "list", path}).out; }

    static std::string contentOf(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    TemporaryFolder folder;
};

TEST_F(RescueCommand, SavesEveryItemOfASoundStream) {
    const std::string path = make(1000);
    RunTool({"stream", "discard", path, "--through", "500"});
    const std::string before = contentOf(path);
    EXPECT_EQ(recover(path), (ProgramOutcome{0, "saved 500 items\n", ""}));
    EXPECT_EQ(listed(folder / "saved"), listed(path))
        << "the same items with the same ids, and none that was discarded";
    EXPECT_EQ(RunTool({"stream", "verify", folder / "saved"}).status, 0);
    EXPECT_EQ(contentOf(path), before);
    EXPECT_EQ(RunTool({"stream", "append", folder / "saved"}, "1\n").out, "appended item 1001\n");
}

TEST_F(RescueCommand, SavesWhatStandsBesideADamagedPageAndTellsHowManyItemsItHeld) {
    const std::string path = make(1000);
    const std::string all = listed(path);
    damage(path, 9 * kPage, std::string(kPage, '\0'));
    const ProgramOutcome outcome = recover(path);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "saved 968 items\n");
    EXPECT_EQ(outcome.err, "kxtool stream recover: " + path + ": 32 items were not saved\n");
    // Each line that is left stood in the list of all.
    std::istringstream lines(listed(folder / "saved"));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) EXPECT_NE(all.find(line + "\n"), std::string::npos);
    EXPECT_EQ(count, 968);
    EXPECT_EQ(RunTool({"stream", "verify", folder / "saved"}).status, 0);
}

TEST_F(RescueCommand, SavesItemsWhoseWayFromTheTopIsDamaged) {
    const std::string path = make(1000);
    const std::string all = listed(path);
    const std::string root = folder / "root";
    fs::copy_file(path, root);
    damage(root, kPage, std::string(kPage, '\xAA'));
    EXPECT_EQ(recover(root), (ProgramOutcome{0, "saved 1000 items\n", ""}));
    EXPECT_EQ(listed(folder / "saved"), all);
    const std::string header = folder / "header";
    fs::copy_file(path, header);
    damage(header, 0, std::string(kPage, '\xFF'));
    EXPECT_EQ(recover(header), (ProgramOutcome{0, "saved 1000 items\n", ""}));
    EXPECT_EQ(listed(folder / "saved"), all);
}

TEST_F(RescueCommand, SavesWhatIsLeftOfAFileThatIsCutOff) {
    const std::string path = make(1000);
    fs::resize_file(path, 20 * kPage + 100);
    const ProgramOutcome outcome = recover(path);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "saved 577 items\n");
    EXPECT_NE(outcome.err.find(" items were not saved\n"), std::string::npos) << outcome.err;
}

TEST_F(RescueCommand, NamesItemsWhoseBytesAreDamaged) {
    const std::string path = make(1000);
    damage(path, 12 * kPage + 2000, std::string(30, '\x01'));
    const ProgramOutcome outcome = recover(path);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("kxtool stream recover: " + path + ": item 3"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("not saved\n"), std::string::npos) << outcome.err;
}

TEST_F(RescueCommand, SavesItemsThatTakeManyPages) {
    const std::string path = make(20, "stream", 20'000);
    const std::string all = listed(path);
    EXPECT_EQ(recover(path), (ProgramOutcome{0, "saved 20 items\n", ""}));
    EXPECT_EQ(listed(folder / "saved"), all);
    damage(path, static_cast<long>(fs::file_size(path)) - 3 * kPage, std::string(kPage, '\0'));  // of the last item
    EXPECT_EQ(recover(path),
              (ProgramOutcome{1, "saved 19 items\n",
                              "kxtool stream recover: " + path + ": item 20: a page that it goes on in is damaged\n" +
                                  "kxtool stream recover: " + path + ": 1 item was not saved\n"}));
}

TEST_F(RescueCommand, EndsOnPagesThatLeadBackToThemselves) {
    const std::string path = make(1000);
    std::string self("\x05\0\0\0\x01\0\0\0\0\0\0\2\x0F\xF0"s);
    self.resize(kPage, '\0');
    self.replace(0x0FF0, 5, "\0\0\0\2\x7F"s);
    damage(path, kPage, self);  // the root is its own child
    EXPECT_EQ(recover(path).out, "saved 1000 items\n");
}

TEST_F(RescueCommand, ReadsAnyBytesWithoutHarm) {
    const std::string path = make(200);
    const std::string sound = contentOf(path);
    unsigned seed = 1;
    for (int round = 0; round < 40; ++round) {
        std::string bytes = sound;
        for (int i = 0; i < 30; ++i) {
            seed = seed * 1664525 + 1013904223;
            bytes[(seed >> 8) % bytes.size()] = static_cast<char>(seed >> 24);
        }
        const ProgramOutcome outcome = recover(folder.write("random", bytes));
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1) << outcome.err;
        EXPECT_FALSE(outcome.out.empty() && outcome.err.empty());
    }
    EXPECT_EQ(recover(folder.write("text", "no database")).status, 1);
    EXPECT_EQ(recover(folder.write("empty", "")).status, 1);
    EXPECT_FALSE(fs::exists(folder / "saved")) << "nothing is left behind";
    EXPECT_EQ(recover(folder / "missing").status, 1);
}

TEST_F(RescueCommand, WritesOverNothing) {
    const std::string path = make(3);
    const std::string other = folder.write("other", "somebody's");
    for (const char* const command : {"recover", "backup"}) {
        EXPECT_EQ(RunTool({"stream", command, path, other}),
                  (ProgramOutcome{1, "", "kxtool stream "s + command + ": " + other + " is there already\n"}));
        EXPECT_EQ(RunTool({"stream", command, path, folder / "no/such"}).status, 1);
    }
    EXPECT_EQ(contentOf(other), "somebody's");
}

TEST_F(RescueCommand, TellsWhatItSavedAsJson) {
    const std::string path = make(3);
    EXPECT_EQ(RunTool({"stream", "recover", path, folder / "saved", "--json"}).out,
              "{\"saved\":3,\"lost\":0,\"exact\":true}\n");
    EXPECT_EQ(RunTool({"stream", "backup", path, folder / "backup", "--json"}).out,
              "{\"items\":3,\"fileBytes\":8192}\n");
    EXPECT_EQ(RunTool({"stream", "compact", path, "--json"}).out, "{\"fileBytes\":8192,\"before\":8192}\n");
}

TEST_F(RescueCommand, PrintsTheRecordsBesideADamagedPage) {
    std::string record = RunTool({"audit", "encode"}, "{\"type\":\"afailure\",\"name\":\"Stick\"}").out;
    std::string item = RunTool({"base64", "encode"}, record).out;
    item = "<data>" + item.substr(0, item.size() - 1) + "</data>\n";
    std::string items;
    for (int i = 0; i < 500; ++i) items += item;
    const std::string path = folder / "records";
    RunTool({"stream", "append", path}, items);
    damage(path, 6 * kPage, std::string(kPage, '\0'));
    const ProgramOutcome all = RunTool({"audit", "print", path, "--count"});
    EXPECT_EQ(all.status, 0);
    EXPECT_GT(std::stoi(all.out), 400);
    EXPECT_LT(std::stoi(all.out), 500);
    EXPECT_NE(all.err.find("is read page by page"), std::string::npos) << all.err;
    EXPECT_NE(all.err.find(" cannot be read\n"), std::string::npos) << all.err;
    EXPECT_EQ(RunTool({"audit", "print", path, "--count", "--reverse"}).out, all.out);
}

TEST_F(RescueCommand, CopiesAStreamWhileItIsWritten) {
    const std::string path = make(2000);
    std::atomic<bool> ends{false};
    std::thread writer([&] {
        while (!ends) RunTool({"stream", "append", path}, "1\n2\n3\n");
    });
    for (int i = 0; i < 3; ++i) {
        const std::string copy = folder / ("copy" + std::to_string(i));
        EXPECT_EQ(RunTool({"stream", "backup", path, copy}).status, 0);
        EXPECT_EQ(RunTool({"stream", "verify", copy}).status, 0);
    }
    ends = true;
    writer.join();
}

TEST_F(RescueCommand, LeavesALargeStreamAloneUnlessNothingUsesIt) {
    const std::string path = make(300, "stream", 100'000);
    RunTool({"stream", "discard", path, "--through", "298"});
    const std::string before = contentOf(path);
    const ProgramOutcome refused = RunTool({"stream", "compact", path});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("add --stopped"), std::string::npos) << refused.err;
    EXPECT_TRUE(contentOf(path) == before);
    if (fs::exists("/proc/self/fd")) {
        sqlite3* const agent = open(path, "SELECT count(*) FROM stream01");
        EXPECT_EQ(RunTool({"stream", "compact", path, "--stopped"}).err,
                  "kxtool stream compact: " + path + ": process " + std::to_string(getpid()) + " has it open\n");
        sqlite3_close(agent);
    }
    EXPECT_EQ(RunTool({"stream", "compact", path, "--stopped"}).status, 0);
    EXPECT_LT(fs::file_size(path), 300'000u);
    EXPECT_EQ(RunTool({"stream", "info", path}).out.substr(0, 15), "first id    299");
}

TEST_F(RescueCommand, ReadsAStreamThatStaysLockedWithoutTheLock) {
    const std::string path = make(3);
    const std::string all = listed(path);
    sqlite3* const holder =
        open(path, "BEGIN EXCLUSIVE; INSERT INTO stream01 (attributes) VALUES ('<string>theirs</string>')");
    const auto run = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin() + 2, path);
        return RunTool(arguments);
    };
    const std::string why = path + ": another process holds it locked; read without the lock\n";
    EXPECT_EQ(run({"stream", "list"}), (ProgramOutcome{0, all, "kxtool stream list: " + why}));
    EXPECT_EQ(run({"stream", "verify"}), (ProgramOutcome{0, path + ": OK, 3 items\n", "kxtool stream verify: " + why}));
    EXPECT_EQ(run({"stream", "info"}).out.substr(0, 13), "first id    1");
    EXPECT_EQ(run({"audit", "print"}), (ProgramOutcome{1, "", "kxtool audit print: " + why}));
    sqlite3_close(holder);
    EXPECT_EQ(listed(path), all) << "and leaves it to its owner";
}

}  // namespace
