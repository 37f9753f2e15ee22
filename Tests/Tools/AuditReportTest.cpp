#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::literals;
namespace fs = std::filesystem;

/// audit summary and audit report over the same few records.
class AuditSum : public ::testing::Test {
  protected:
    std::string make(const std::string& lines) {
        return folder.write("records", RunTool({"audit", "encode"}, lines).out);
    }

    static std::string record(const std::string& type, const std::string& user, const std::string& date,
                              const std::string& rest = "") {
        return "{\"type\":\"" + type + "\",\"user_name\":\"" + user + "\",\"date\":\"" + date +
               "\",\"computer_name\":\"HOST\",\"device_type\":\"USB port\"" + rest + "}\n";
    }

    const std::string few = record("afailure", "alice", "2026-11-15T16:02:42.123") +
                            record("asuccess", "alice", "2026-11-15T16:59:00.000") +
                            record("asuccess", "bob", "2026-11-16T08:00:00.000") + record("info", "bob", "soon") +
                            record("asuccess", "alice", "2026-11-16T08:30:00.000");

    static std::string contentOf(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    TemporaryFolder folder;
};

TEST_F(AuditSum, CountsByUserDeviceComputerTypeAndHour) {
    const ProgramOutcome outcome = RunTool({"audit", "summary", make(few), "--utc"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(
        outcome.out.starts_with("records   5\nrefused   1\ngranted   3\nothers    1\n"
                                "first     2026-11-15T16:02:42.123Z\nlast      2026-11-16T08:30:00.000Z\n"))
        << outcome.out;
    for (const char* const row :
         {"\nUser     records    refused    granted\nalice", "\nbob", "\nUSB port", "\nHOST", "\nasuccess",
          "\nHour (UTC)    records    refused    granted\n08:00               2          0          2  "
          "████████████████████████\n"
          "16:00               2          1          1  ████████████████████████\n"}) {
        EXPECT_NE(outcome.out.find(row), std::string::npos) << row << "\n" << outcome.out;
    }
}

TEST_F(AuditSum, CountsAsJson) {
    const auto json = nlohmann::json::parse(RunTool({"audit", "summary", make(few), "--utc", "--json"}).out);
    EXPECT_EQ(json.at("records"), 5);
    EXPECT_EQ(json.at("refused"), 1);
    EXPECT_EQ(json.at("granted"), 3);
    EXPECT_EQ(json.at("others"), 1);
    EXPECT_EQ(json.at("first"), "2026-11-15T16:02:42.123Z");
    EXPECT_EQ(json.at("user"), nlohmann::json::parse(R"([{"value":"alice","records":3,"refused":1,"granted":2},
                                        {"value":"bob","records":2,"refused":0,"granted":1}])"));
    EXPECT_EQ(json.at("hour"), nlohmann::json::parse(R"([{"value":"08:00","records":2,"refused":0,"granted":2},
                                        {"value":"16:00","records":2,"refused":1,"granted":1}])"));
    for (const char* const key : {"device", "computer", "type"}) EXPECT_FALSE(json.at(key).empty()) << key;
}

TEST_F(AuditSum, FiltersAndShowsTheTop) {
    const std::string path = make(few);
    const auto json =
        nlohmann::json::parse(RunTool({"audit", "summary", path, "--json", "--not-type", "info", "--top", "1"}).out);
    EXPECT_EQ(json.at("records"), 4);
    EXPECT_EQ(json.at("user").size(), 1u);
    EXPECT_NE(RunTool({"audit", "summary", path, "--top", "1"}).out.find("\n1 more\n"), std::string::npos);
    EXPECT_EQ(RunTool({"audit", "summary", path, "--user", "carol"}).status, 1);
    EXPECT_EQ(RunTool({"audit", "summary", path, "--top", "0"}).status, 2);
    EXPECT_EQ(RunTool({"audit", "summary", folder / "missing"}).status, 3);
}

TEST_F(AuditSum, EscapesNamesThatATerminalWouldObey) {
    const std::string path = make(record("info", "\\u001b[2Jeve\\u202e", "2026-11-15T16:02:42.123"));
    const std::string out = RunTool({"audit", "summary", path}).out;
    EXPECT_NE(out.find("\\x1b[2Jeve\\xe2\\x80\\xae"), std::string::npos) << out;
}

TEST_F(AuditSum, WritesAPageThatLoadsNothing) {
    const std::string page = folder / "page.html";
    const std::string path = make(few + record("info", "</script><script>alert(1)//", "2026-11-15T16:02:42.123"));
    EXPECT_EQ(RunTool({"audit", "report", path, "-o", page}), (ProgramOutcome{0, "", ""}));
    const std::string html = contentOf(page);
    EXPECT_TRUE(html.starts_with("<!doctype html>"));
    EXPECT_NE(html.find("Content-Security-Policy\" content=\"default-src 'none';"), std::string::npos);
    EXPECT_EQ(html.find("alert(1)//"), html.rfind("alert(1)//"));
    EXPECT_NE(html.find("\\u003c/script>\\u003cscript>alert(1)//"), std::string::npos);
    for (const char* const loads : {"http://", "https://", "src=\"", "@import", "url(", "fetch(", "XMLHttpRequest"}) {
        EXPECT_EQ(html.find(loads), std::string::npos) << loads;
    }
    EXPECT_EQ(html.find("@DATA@"), std::string::npos);
    const std::size_t begin = html.find("id=\"data\">") + 10;
    const auto data = nlohmann::json::parse(html.substr(begin, html.find("</script>", begin) - begin));
    EXPECT_EQ(data.at("count"), 6);
    EXPECT_EQ(data.at("columns").at("time").at(0), 1794758562123);
    EXPECT_EQ(RunTool({"audit", "report", path, "-o", "-"}).out.size(), html.size());
    EXPECT_EQ(RunTool({"audit", "report", path, "-o", page, "--user", "nobody"}).status, 1);
    EXPECT_EQ(RunTool({"audit", "report", path}).status, 2);
    EXPECT_EQ(RunTool({"audit", "report", path, "-o", folder / "no/page"}).status, 3);
}

/// The page as a browser has it when its scripts ran; what a script that is added to it says is in its title.
std::string InBrowser(const TemporaryFolder& folder, const std::string& page, const std::string& script) {
    std::string html;
    {
        std::ifstream file(page, std::ios::binary);
        html.assign(std::istreambuf_iterator<char>(file), {});
    }
    const std::string tested =
        folder.write("tested.html", html + "<script>try { document.title = JSON.stringify((() => {" + script +
                                        "})()); } catch (error) { document.title = String(error); }</script>");
    const ProgramOutcome outcome = RunProgram(
        {"/usr/bin/env", "HOME=" + folder.path().string(), "TZ=UTC", "/usr/bin/timeout", "120", "/usr/bin/chromium",
         "--headless", "--no-sandbox", "--disable-gpu", "--user-data-dir=" + std::string(folder / "browser"),
         "--virtual-time-budget=5000", "--dump-dom", "file://" + tested});
    const std::size_t begin = outcome.out.find("<title>");
    if (begin == std::string::npos) return outcome.err;
    return outcome.out.substr(begin + 7, outcome.out.find("</title>") - begin - 7);
}

TEST_F(AuditSum, ShowsSortsAndFiltersInABrowser) {
    if (!fs::exists("/usr/bin/chromium")) GTEST_SKIP() << "no browser here";
    const std::string page = folder / "page.html";
    ASSERT_EQ(RunTool({"audit", "report", make(few + record("info", "\\u202eevil<b>", "2026-11-17T00:00:00.000")), "-o",
                       page, "--utc"})
                  .status,
              0);
    const std::string script = R"(
        const shown = () => document.getElementById("shown").textContent;
        const cells = (n) => [...document.querySelectorAll("#rows .row")].map((row) => row.children[n].textContent);
        const said = [];
        said.push(shown(), cells(0)[0], cells(2)[0]);
        const bars = [...document.querySelectorAll("#timeline button")];
        bars.find((bar) => bar.title.startsWith("2026-11-16 08:00")).click();
        said.push(shown(), cells(2).join());
        document.querySelector("#chips button").click();
        said.push(shown());
        document.querySelector("#head button").click();
        said.push(cells(0)[1]);
        [...document.querySelectorAll("[data-filter=user]")].find((one) => one.textContent.startsWith("bob")).click();
        said.push(shown());
        document.getElementById("clear").click();
        const table = document.getElementById("table");
        table.focus();
        table.dispatchEvent(new KeyboardEvent("keydown", { key: "ArrowDown", bubbles: true }));
        table.dispatchEvent(new KeyboardEvent("keydown", { key: "Enter", bubbles: true }));
        said.push(document.getElementById("detail").open, document.getElementById("fields").textContent.slice(0, 28));
        return said;)";
    EXPECT_EQ(
        InBrowser(folder, page, script),
        R"(["6 records","2026-11-17 00:00:00.000Z","\\u202eevil&lt;b&gt;","2 of 6 records","alice,bob","6 records",)"
        R"("2026-11-15 16:02:42.123Z","2 of 6 records",true,"Time2026-11-15 16:02:42.123Z"])");
}

TEST_F(AuditSum, ShowsAHundredThousandRecordsInABrowser) {
    if (!fs::exists("/usr/bin/chromium")) GTEST_SKIP() << "no browser here";
    std::string lines;
    for (int i = 0; i < 100'000; ++i) {
        lines += "{\"type\":8,\"device_type\":10,\"record_id\":" + std::to_string(i) +
                 ",\"date\":" + std::to_string(1'794'758'565 + 7 * i) + ",\"name\":\"n" + std::to_string(i) + "\"}\n";
    }
    const std::string page = folder / "page.html";
    ASSERT_EQ(RunTool({"audit", "report", make(lines), "-o", page}).status, 0);
    const std::string script = R"(
        const body = document.getElementById("body");
        const rows = () => document.querySelectorAll("#rows .row").length;
        const said = [document.getElementById("shown").textContent, rows() > 5 && rows() < 200];
        body.scrollTop = body.scrollHeight;
        return said.concat(body.scrollHeight > 1000000);)";
    EXPECT_EQ(InBrowser(folder, page, script), "[\"100\u2009000 records\",true,true]");
}

}  // namespace
