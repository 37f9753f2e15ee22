#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::literals;

constexpr const char* kJson =
    "{\"record_id\":1,\"event_id\":1001,\"pid\":412,\"status\":0,\"computer_name\":\"HOST\","
    "\"date\":\"2026-11-15T16:02:42.123\",\"type\":\"afailure\","
    "\"user_uuid\":\"FFFFEEEE-DDDD-CCCC-BBBB-AAAA000001F5\",\"sid\":\"S-1-22-1-501\","
    "\"user_name\":\"HOST\\\\alice\",\"process_name\":\"mount\",\"device_type\":\"USB port\",\"action\":\"mount\","
    "\"name\":\"My "
    "\\\"Stick\\\",\\nnew\",\"information\":\"\",\"schema_tag\":\"\",\"reason\":\"acl\",\"extra\":\"\"}\n";

constexpr const char* kLine =
    "2026-11-15T16:02:42.123Z afailure record_id=1 event_id=1001 pid=412 status=0 computer_name=HOST "
    "user_uuid=FFFFEEEE-DDDD-CCCC-BBBB-AAAA000001F5 sid=S-1-22-1-501 user_name=\"HOST\\\\alice\" process_name=mount "
    "device_type=\"USB port\" action=mount name=\"My \\\"Stick\\\",\\nnew\" reason=acl\n";

/// The records that these lines describe.
std::string Encoded(const std::string& lines) {
    const ProgramOutcome outcome = RunTool({"audit", "encode"}, lines);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
}

ProgramOutcome Print(const std::string& records, std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"audit", "print", "-"});
    return RunTool(options, records);
}

TEST(AuditCommand, EncodesTheBytesOfARecord) {
    EXPECT_EQ(Encoded("{\"record_id\": 2, \"pid\": 5, \"name\": \"x\"}"),
              "AUDITREC\x38\0\0\0\x28\0\0\0"s + "\2\0\0\0\0\0\0\0\0\0\0\0\5\0\0\0"s + std::string(8, '\0') +
                  std::string(9, '\0') + "x" + std::string(6, '\0'));
    EXPECT_EQ(Encoded("\n{}\n \n{}").size(), 2 * 56u);
    EXPECT_EQ(Encoded(""), "");
}

TEST(AuditCommand, WritesRecordsToAFile) {
    const TemporaryFolder folder;
    const std::string in = folder.write("records.jsonl", kJson);
    const std::string out = folder / "records";
    EXPECT_EQ(RunTool({"audit", "encode", in, out}), (ProgramOutcome{0, "", ""}));
    std::ifstream file(out, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), Encoded(kJson));
    EXPECT_EQ(RunTool({"audit", "encode", in, folder / "no/records"}).status, 1);
}

TEST(AuditCommand, DoesNotWriteOverItsOwnInput) {
    const TemporaryFolder folder;
    const std::string path = folder.write("records", kJson);
    const std::string again = folder / "./records";
    EXPECT_EQ(RunTool({"audit", "encode", path, again}),
              (ProgramOutcome{1, "", "kxtool audit encode: " + again + " is the input too\n"}));
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), kJson);
}

TEST(AuditCommand, PrintsALineARecord) {
    EXPECT_EQ(Print(Encoded(kJson + "{}\n"s)),
              (ProgramOutcome{0, kLine + "- - record_id=0 event_id=0 status=0\n"s, ""}));
    EXPECT_EQ(Print(""), (ProgramOutcome{0, "", ""}));
}

TEST(AuditCommand, PrintsJsonThatItEncodesToTheSameBytes) {
    const std::string records = Encoded(kJson);
    EXPECT_EQ(Print(records, {"--format", "json"}), (ProgramOutcome{0, kJson, ""}));
    EXPECT_EQ(Encoded(Print(records, {"--format", "json"}).out), records);
}

TEST(AuditCommand, PrintsCsv) {
    EXPECT_EQ(Print(Encoded(kJson + "{}\n"s), {"--format", "csv"}),
              (ProgramOutcome{0,
                              "record_id,event_id,pid,status,computer_name,date,type,user_uuid,sid,user_name,"
                              "process_name,device_type,action,name,information,schema_tag,reason,extra\n"
                              "1,1001,412,0,HOST,2026-11-15T16:02:42.123,afailure,"
                              "FFFFEEEE-DDDD-CCCC-BBBB-AAAA000001F5,S-1-22-1-501,HOST\\\\alice,mount,USB port,mount,"
                              "\"My \"\"Stick\"\",\\nnew\",,,acl,\n"
                              "0,0,-1,0,,,,,,,,,,,,,,\n",
                              ""}));
}

TEST(AuditCommand, PrintsALineAFieldThatIsSet) {
    EXPECT_EQ(Print(Encoded("{\"pid\": 7, \"date\": \"2026-11-15T16:02:42.123\", \"reason\": \"a\\nb\"}\n{}"),
                    {"--format", "long"}),
              (ProgramOutcome{0,
                              "byte 0\n"
                              "  record_id     0\n"
                              "  event_id      0\n"
                              "  pid           7\n"
                              "  status        0\n"
                              "  date          2026-11-15T16:02:42.123Z\n"
                              "  reason        a\\nb\n"
                              "\n"
                              "byte 80\n"
                              "  record_id     0\n"
                              "  event_id      0\n"
                              "  status        0\n"
                              "\n",
                              ""}));
}

TEST(AuditCommand, TakesNumbersForDatesAndKinds) {
    EXPECT_EQ(Print(Encoded("{\"date\": 1794758565.25, \"type\": 8, \"device_type\": 255, \"status\": -3}")).out,
              "2026-11-15T16:02:45.250Z asuccess record_id=0 event_id=0 status=-3 device_type=Service\n");
    EXPECT_TRUE(Print(Encoded("{\"date\": 1794758562.123}")).out.starts_with("2026-11-15T16:02:42.123Z"));
    EXPECT_TRUE(Print(Encoded("{\"date\": 1.9999999}")).out.starts_with("1970-01-01T00:00:02.000Z"));
    EXPECT_TRUE(Print(Encoded("{\"date\": -1.5}")).out.starts_with("1969-12-31T23:59:58.500Z"));
    EXPECT_EQ(Print(Encoded("{\"date\": -1, \"type\": 77}")).out,
              "1969-12-31T23:59:59.000Z 77 record_id=0 event_id=0 status=0\n");
}

TEST(AuditCommand, KeepsARecordOnItsLineWhateverItsTextsHold) {
    const std::string record = Encoded("{\"name\": \"a\\r\\nb\\t\\u001b[2J\\u0085\\u2028\\u00e9=\\\"\\\\\"}");
    EXPECT_EQ(Print(record).out,
              "- - record_id=0 event_id=0 status=0 "
              "name=\"a\\x0d\\nb\\t\\x1b[2J\\xc2\\x85\\xe2\\x80\\xa8\xC3\xA9=\\\"\\\\\"\n");
    std::string foreign = Encoded("{\"name\": \"12345\"}");
    foreign.replace(foreign.find("12345"), 5, "\xFF\xC0\x80\xED\xA0");
    EXPECT_EQ(Print(foreign).out, "- - record_id=0 event_id=0 status=0 name=\"\\xff\\xc0\\x80\\xed\\xa0\"\n");
    EXPECT_EQ(Print(foreign, {"--format", "json"}).status, 0);
}

TEST(AuditCommand, TellsWhereAndWhyItStops) {
    const std::string record = Encoded("{}");
    const auto fault = [](const std::string& records) {
        const ProgramOutcome outcome = Print(records, {"--status", "77"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        return outcome.err;
    };
    const std::string stopped = "kxtool audit print: standard input: stopped at byte 56 after 1 record: ";
    EXPECT_EQ(fault(record + "x"), stopped + "only 1 byte left, a record has 40 or more\n");
    EXPECT_EQ(fault(record + record.substr(0, 39)), stopped + "only 39 bytes left, a record has 40 or more\n");
    EXPECT_EQ(fault(record + record.substr(0, 55)), stopped + "the record has 56 bytes, 55 are left\n");
    EXPECT_EQ(fault(record + "auditrec" + record.substr(8)), stopped + "no record starts there\n");
    std::string header = record;
    header[12] = 39;
    EXPECT_EQ(fault(record + header), stopped + "the record's header has 39 bytes of 40\n");
    header[12] = 57;
    EXPECT_EQ(fault(record + header), stopped + "the record has 56 bytes, its header 57\n");
    EXPECT_EQ(RunTool({"audit", "print", "/no/such/file"}).status, 1);
}

TEST(AuditCommand, FiltersRecords) {
    const std::string records =
        Encoded(kJson +
                "{\"record_id\":2,\"type\":\"asuccess\",\"device_type\":\"WiFi\",\"user_name\":\"bob\",\"status\":-3,"
                "\"date\":\"2026-11-16T00:00:00.000\"}\n{\"record_id\":3}\n"s);
    // The ids of what is let through, by the beginning of each line of CSV.
    const auto admitted = [&](std::vector<std::string> options) {
        options.insert(options.end(), {"--format", "csv"});
        const std::string out = Print(records, options).out;
        std::string ids;
        for (std::size_t end = out.find('\n'); end + 1 < out.size(); end = out.find('\n', end + 1)) ids += out[end + 1];
        return ids;
    };
    EXPECT_EQ(admitted({}), "123");
    EXPECT_EQ(admitted({"--type", "AFAILURE"}), "1");
    EXPECT_EQ(admitted({"--type", "16"}), "1");
    EXPECT_EQ(admitted({"--type", "afailure", "--type", "8"}), "12");
    EXPECT_EQ(admitted({"--user", "alice"}), "1");
    EXPECT_EQ(admitted({"--user", "host\\ALICE"}), "1");
    EXPECT_EQ(admitted({"--user", "s-1-22-1-501"}), "1");
    EXPECT_EQ(admitted({"--user", "ffffeeee-dddd-cccc-bbbb-aaaa000001f5"}), "1");
    EXPECT_EQ(admitted({"--user", "bob", "--type", "error"}), "");
    EXPECT_EQ(admitted({"--device", "usb port", "--device", "14"}), "12");
    EXPECT_EQ(admitted({"--status", "-3"}), "2");
    EXPECT_EQ(admitted({"--since", "2026-11-15T16:02:42.123"}), "12");
    EXPECT_EQ(admitted({"--since", "2026-11-15T16:02:42.124Z"}), "2");
    EXPECT_EQ(admitted({"--until", "2026-11-16"}), "12");
    EXPECT_EQ(admitted({"--since", "2026-11-15 16:03", "--until", "@1794787200"}), "2");
    for (const char* const wrong :
         {"today", "2026-02-29", "2026-13-01", "2026-11-15T24:00", "2026-11-15T16:02:", "@"}) {
        EXPECT_EQ(Print(records, {"--since", wrong}).status, 2) << wrong;
    }
    const std::string before1970 = Encoded("{\"date\": -1.5}");
    EXPECT_NE(Print(before1970, {"--since", "@-1.5", "--until", "@-1.5"}).out, "");
    EXPECT_EQ(Print(before1970, {"--since", "@-1.4"}).out, "");
    EXPECT_EQ(admitted({"--since", "2024-02-29", "--until", "2026-11-15T16:02:42.123"}), "1");
}

TEST(AuditCommand, NamesTheLineThatIsNoRecord) {
    const auto fault = [](const std::string& line) { return RunTool({"audit", "encode"}, "{}\n" + line).err; };
    const std::string where = "kxtool audit encode: standard input:2: ";
    EXPECT_EQ(fault("{\"colour\": \"red\"}"), where + "a record has no \"colour\"\n");
    EXPECT_EQ(fault("{\"name\": 5}"), where + "\"name\" is no text\n");
    EXPECT_EQ(fault("{\"name\": \"a\\u0000b\"}"), where + "\"name\" holds a zero character\n");
    EXPECT_EQ(fault("{\"pid\": 2147483648}"), where + "\"pid\" is no integer of 32 bits\n");
    EXPECT_EQ(fault("{\"status\": \"0\"}"), where + "\"status\" is no integer of 32 bits\n");
    EXPECT_EQ(fault("{\"record_id\": 9223372036854775808}"), where + "\"record_id\" is no integer of 64 bits\n");
    EXPECT_EQ(fault("[]"), where + "a record is an object\n");
    EXPECT_TRUE(fault("{").starts_with(where + "parse error at line 1, column 2"));
}

TEST(AuditCommand, PrintsTheRecordsInAStream) {
    const TemporaryFolder folder;
    const std::string path = folder / "stream";
    const auto item = [](const std::string& bytes) {
        const std::string text = RunTool({"base64", "encode"}, bytes).out;
        return "<data>" + text.substr(0, text.size() - 1) + "</data>\n";
    };
    const std::string record = Encoded("{\"record_id\": 7, \"name\": \"x\"}");
    RunTool({"stream", "append", path}, item(record + record) + "\"no record\"\n" + item(record + "x") + item(record));
    const ProgramOutcome outcome = RunTool({"audit", "stream", path});
    EXPECT_EQ(outcome, (ProgramOutcome{1,
                                       "- - item=1 record_id=7 event_id=0 status=0 name=x\n"
                                       "- - item=1 record_id=7 event_id=0 status=0 name=x\n"
                                       "- - item=3 record_id=7 event_id=0 status=0 name=x\n"
                                       "- - item=4 record_id=7 event_id=0 status=0 name=x\n",
                                       "kxtool audit stream: item 3: stopped at byte 56 after 1 record: only 1 byte "
                                       "left, a record has 40 or more\n"
                                       "kxtool audit stream: " +
                                           path + ": 1 item damaged\n"}));
    EXPECT_TRUE(RunTool({"audit", "stream", path, "--format", "csv"}).out.starts_with("item,record_id,"));
    EXPECT_EQ(RunTool({"audit", "stream", path, "--status", "1"}).out, "");
    EXPECT_EQ(RunTool({"audit", "stream", folder / "none"}),
              (ProgramOutcome{1, "", "kxtool audit stream: " + folder / "none" + ": there is no such file\n"}));
}

}  // namespace
