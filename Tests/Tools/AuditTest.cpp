#include <ctime>
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
    "\"date\":\"2026-11-15T16:02:42.123Z\",\"type\":\"afailure\","
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

/// The record ids in printed lines, one after another.
std::string IdsIn(const std::string& lines) {
    std::string ids;
    for (std::size_t at = 0; (at = lines.find("record_id=", at)) != std::string::npos;) {
        at += 10;
        ids += lines.substr(at, lines.find(' ', at) - at);
    }
    return ids;
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
    EXPECT_EQ(Print(""), (ProgramOutcome{1, "", ""})) << "nothing was found";
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
                              "process_name,device_type,action,name,information,schema_tag,reason,extra\r\n"
                              "1,1001,412,0,HOST,2026-11-15T16:02:42.123,afailure,"
                              "FFFFEEEE-DDDD-CCCC-BBBB-AAAA000001F5,S-1-22-1-501,HOST\\alice,mount,USB port,mount,"
                              "\"My \"\"Stick\"\",\nnew\",,,acl,\r\n"
                              "0,0,-1,0,,,,,,,,,,,,,,\r\n",
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
    const std::string record = Encoded("{\"name\": \"a\\r\\nb\\t\\u001b[2J\\u0085\\u2028\\u202e\\u00e9=\\\"\\\\\"}");
    EXPECT_EQ(Print(record).out,
              "- - record_id=0 event_id=0 status=0 "
              "name=\"a\\x0d\\nb\\t\\x1b[2J\\xc2\\x85\\xe2\\x80\\xa8\\xe2\\x80\\xae\xC3\xA9=\\\"\\\\\"\n");
    std::string foreign = Encoded("{\"name\": \"12345\"}");
    foreign.replace(foreign.find("12345"), 5, "\xFF\xC0\x80\xED\xA0");
    EXPECT_EQ(Print(foreign).out, "- - record_id=0 event_id=0 status=0 name=\"\\xff\\xc0\\x80\\xed\\xa0\"\n");
    EXPECT_EQ(Print(foreign, {"--format", "json"}).status, 0);
}

TEST(AuditCommand, GoesOnAtTheNextRecordThatChecksAndTellsWhatItSkipped) {
    const std::string record = Encoded("{}");
    const auto skipped = [&](const std::string& damage, const std::string& range, const std::string& why) {
        const ProgramOutcome outcome = Print(record + damage + record);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, "- - record_id=0 event_id=0 status=0\n- - record_id=0 event_id=0 status=0\n");
        EXPECT_EQ(outcome.err, "kxtool audit print: standard input: skipped " + range + ": " + why + "\n");
    };
    skipped("x", "byte 56 (1 byte)", "no record starts there");
    skipped("auditrec" + record.substr(8), "bytes 56-111 (56 bytes)", "no record starts there");
    skipped(record.substr(0, 39), "bytes 56-94 (39 bytes)", "the record's texts do not fill it");
    skipped(record.substr(0, 55), "bytes 56-110 (55 bytes)", "the record's texts do not fill it");
    std::string header = record;
    header[12] = 39;
    skipped(header, "bytes 56-111 (56 bytes)", "the record's header has 39 bytes of 40");
    header[12] = 57;
    skipped(header, "bytes 56-111 (56 bytes)", "the record has 56 bytes, its header 57");
    std::string swallows = record;
    swallows[8] = 112;
    skipped(swallows, "bytes 56-111 (56 bytes)", "the record's texts do not fill it");
    std::string huge = record;
    huge[11] = 0x7F;
    skipped(huge, "bytes 56-111 (56 bytes)", "the record has 2130706488 bytes, 112 are left");
}

TEST(AuditCommand, TellsOfARecordThatIsCutOffAtTheEnd) {
    const std::string record = Encoded("{}");
    const auto fault = [&](const std::string& rest) {
        const ProgramOutcome outcome = Print(record + rest);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, "- - record_id=0 event_id=0 status=0\n");
        return outcome.err;
    };
    const std::string head = "kxtool audit print: standard input: skipped byte";
    EXPECT_EQ(fault("x"), head + " 56 (1 byte): only 1 byte left, a record has 40 or more\n");
    EXPECT_EQ(fault(record.substr(0, 39)), head + "s 56-94 (39 bytes): only 39 bytes left, a record has 40 or more\n");
    EXPECT_EQ(fault(record.substr(0, 55)), head + "s 56-110 (55 bytes): the record has 56 bytes, 55 are left\n");
}

TEST(AuditCommand, FindsRecordsAfterMuchDamage) {
    const std::string record = Encoded("{\"record_id\": 5}");
    // A record begins across the end of a piece that is read at a time, wherever those are.
    const std::string damage(3'000'000, 'A');
    for (const std::size_t shift : {0, 1, 4, 7, 8, 39, 40}) {
        const ProgramOutcome outcome = Print(record + damage.substr(shift) + record + record.substr(0, 41));
        EXPECT_EQ(outcome.out, "- - record_id=5 event_id=0 status=0\n- - record_id=5 event_id=0 status=0\n");
        EXPECT_NE(outcome.err.find("skipped bytes 56-" + std::to_string(55 + damage.size() - shift) + " ("),
                  std::string::npos)
            << outcome.err;
    }
}

TEST(AuditCommand, AFileWithoutARecordCannotBeAsked) {
    const TemporaryFolder folder;
    EXPECT_EQ(Print("not a record at all"),
              (ProgramOutcome{3, "",
                              "kxtool audit print: standard input: no audit record in it: byte 0: no record starts "
                              "there\n"}));
    EXPECT_EQ(RunTool({"audit", "print", "/no/such/file"}),
              (ProgramOutcome{3, "", "kxtool audit print: cannot open /no/such/file: No such file or directory\n"}));
    EXPECT_EQ(RunTool({"audit", "print", folder.path()}).status, 3);
}

TEST(AuditCommand, ReadsManyRecordsForwardAndBack) {
    std::string lines, forward, back;
    for (int i = 0; i < 20'000; ++i) {
        const std::string id = std::to_string(i);
        lines +=
            "{\"record_id\":" + id + ",\"name\":\"" + std::string(static_cast<std::size_t>(i % 300), 'x') + "\"}\n";
        forward += id + "\n";
        back = id + "\n" + back;
    }
    const TemporaryFolder folder;
    const std::string path = folder.write("records", Encoded(lines));
    const auto ids = [](const ProgramOutcome& outcome) {
        std::string out;
        for (std::size_t at = 0; (at = outcome.out.find("record_id=", at)) != std::string::npos;) {
            at += 10;
            out += outcome.out.substr(at, outcome.out.find(' ', at) - at) + "\n";
        }
        return out;
    };
    EXPECT_TRUE(ids(RunTool({"audit", "print", path})) == forward);
    EXPECT_TRUE(ids(RunTool({"audit", "print", path, "--reverse"})) == back);
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_TRUE(ids(Print(bytes, {"--reverse"})) == back) << "from a pipe";
    EXPECT_EQ(ids(RunTool({"audit", "print", path, "--reverse", "--limit", "2"})), "19999\n19998\n");
    EXPECT_EQ(ids(RunTool({"audit", "print", path, "--limit", "2"})), "0\n1\n");
    EXPECT_EQ(RunTool({"audit", "print", path, "--count"}), (ProgramOutcome{0, "20000\n", ""}));
    EXPECT_EQ(RunTool({"audit", "print", path, "--count", "--limit", "7"}), (ProgramOutcome{0, "7\n", ""}));
    EXPECT_EQ(RunTool({"audit", "print", path, "--count", "--event", "1"}), (ProgramOutcome{1, "0\n", ""}));
    EXPECT_EQ(RunTool({"audit", "print", path, "--limit", "0"}), (ProgramOutcome{1, "", ""}));
}

TEST(AuditCommand, FiltersRecords) {
    const std::string records =
        Encoded(kJson +
                "{\"record_id\":2,\"type\":\"asuccess\",\"device_type\":\"WiFi\",\"user_name\":\"bob\",\"status\":-3,"
                "\"date\":\"2026-11-16T00:00:00.000\"}\n{\"record_id\":3}\n"s);
    const auto admitted = [&](const std::vector<std::string>& options) { return IdsIn(Print(records, options).out); };
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
    for (const char* const wrong : {"someday", "1 fortnight ago", "-1", "-1x", "25:00", "2026-11-15 16:02 CET",
                                    "2026-02-29", "2026-13-01", "2026-11-15T24:00", "2026-11-15T16:02:", "@"}) {
        EXPECT_EQ(Print(records, {"--since", wrong}).status, 2) << wrong;
    }
    const std::string before1970 = Encoded("{\"date\": -1.5}");
    EXPECT_NE(Print(before1970, {"--since", "@-1.5", "--until", "@-1.5"}).out, "");
    EXPECT_EQ(Print(before1970, {"--since", "@-1.4"}).out, "");
    EXPECT_EQ(admitted({"--since", "2024-02-29", "--until", "2026-11-15T16:02:42.123"}), "1");
}

TEST(AuditCommand, FiltersByEveryField) {
    const std::string records = Encoded(
        "{\"record_id\":1,\"name\":\"Stick\",\"action\":\"mount\",\"process_name\":\"/usr/bin/mount\",\"pid\":412,"
        "\"event_id\":1001,\"reason\":\"acl\",\"computer_name\":\"HOST\",\"extra\":\"serial "
        "4711\",\"type\":\"afailure\"}\n"
        "{\"record_id\":2,\"name\":\"Camera\",\"action\":\"arrive\",\"process_name\":\"udevd\",\"pid\":7,"
        "\"event_id\":1002,\"reason\":\"policy\",\"computer_name\":\"LAB\",\"status\":-3,\"type\":\"asuccess\"}\n"
        "{\"record_id\":3,\"name\":\"J\u00fcrgens Platte\"}");
    const auto admitted = [&](const std::vector<std::string>& options) { return IdsIn(Print(records, options).out); };
    EXPECT_EQ(admitted({"--name", "stick"}), "1");
    EXPECT_EQ(admitted({"--name", "stic"}), "") << "a whole name";
    EXPECT_EQ(admitted({"--name", "*tick", "--name", "cam?ra"}), "12");
    EXPECT_EQ(admitted({"--not-name", "Stick"}), "23");
    EXPECT_EQ(admitted({"--name", "j\xC3\x9CRGENS platte"}), "3");
    EXPECT_EQ(admitted({"--action", "mount"}), "1");
    EXPECT_EQ(admitted({"--not-action", "mount", "--not-action", "arrive"}), "3");
    EXPECT_EQ(admitted({"--process", "mount"}), "1");
    EXPECT_EQ(admitted({"--process", "/usr/bin/mount", "--process", "udevd"}), "12");
    EXPECT_EQ(admitted({"--not-process", "udevd"}), "13");
    EXPECT_EQ(admitted({"--pid", "412"}), "1");
    EXPECT_EQ(admitted({"--pid", "-1"}), "3");
    EXPECT_EQ(admitted({"--not-pid", "412"}), "23");
    EXPECT_EQ(admitted({"--event", "1001", "--event", "1002"}), "12");
    EXPECT_EQ(admitted({"--not-event", "0"}), "12");
    EXPECT_EQ(admitted({"--reason", "ACL"}), "1");
    EXPECT_EQ(admitted({"--not-reason", "acl"}), "23");
    EXPECT_EQ(admitted({"--computer", "lab"}), "2");
    EXPECT_EQ(admitted({"--not-computer", "lab"}), "13");
    EXPECT_EQ(admitted({"--text", "4711"}), "1");
    EXPECT_EQ(admitted({"--text", "UDEV", "--text", "Serial"}), "12");
    EXPECT_EQ(admitted({"--text", "\xC3\x9Crgen"}), "3");
    EXPECT_EQ(admitted({"--not-text", "u"}), "3");
    EXPECT_EQ(admitted({"--not-text", "4711"}), "23");
    EXPECT_EQ(admitted({"--not-status", "-3"}), "13");
    EXPECT_EQ(admitted({"--not-type", "afailure", "--not-user", "alice", "--not-device", "WiFi"}), "23");
    EXPECT_EQ(admitted({"--name", "stick", "--pid", "7"}), "") << "every field has to be right";
}

TEST(AuditCommand, RefusesAValueThatNoRecordCouldHaveAndSuggestsOne) {
    const auto refused = [](std::vector<std::string> options) {
        const ProgramOutcome outcome = Print("", std::move(options));
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        return outcome.err.substr(0, outcome.err.find('\n'));
    };
    const std::string head = "kxtool audit print: ";
    EXPECT_EQ(refused({"--type", "afailur"}), head + "\"afailur\" is no type of record; did you mean \"afailure\"?");
    EXPECT_EQ(refused({"--not-type", "succes"}), head + "\"succes\" is no type of record; did you mean \"asuccess\"?");
    EXPECT_EQ(refused({"--type", "purple"}),
              head + "\"purple\" is no type of record; possible: error, warning, info, asuccess, afailure");
    EXPECT_EQ(refused({"--device", "usb prot"}),
              head + "\"usb prot\" is no type of device; did you mean \"USB port\"?");
    EXPECT_EQ(refused({"--device", "4"}).find(head + "\"4\" is no type of device; possible: Unknown"), 0u);
    EXPECT_EQ(refused({"--pid", "mount"}), head + "\"mount\" is no process id: it is an integer of 32 bits");
    EXPECT_EQ(refused({"--status", "4294967296"}), head + "\"4294967296\" is no status: it is an integer of 32 bits");
    EXPECT_EQ(refused({"--event", ""}), head + "\"\" is no event id: it is an integer of 32 bits");
    EXPECT_EQ(refused({"--utc", "--since", "2026-11-16", "--until", "2026-11-15"}),
              head + "no time is since 2026-11-16T00:00:00.000Z and until 2026-11-15T00:00:00.000Z");
    EXPECT_EQ(RunTool({"audit", "print", "/no/such/file", "--type", "afailur"}).status, 2) << "before the file is read";
}

TEST(AuditCommand, CountsTheRecordsWhoseDateIsNotUnderstood) {
    const std::string records = Encoded(
        "{\"record_id\":1,\"date\":\"yesterday\"}\n{\"record_id\":2,\"date\":\"2026-11-15T16:02:42.123\"}\n"
        "{\"record_id\":3}\n{\"record_id\":4,\"status\":1}\n");
    EXPECT_EQ(Print(records, {"--utc", "--since", "2026-11-15", "--status", "0"}),
              (ProgramOutcome{0, "2026-11-15T16:02:42.123Z - record_id=2 event_id=0 status=0\n",
                              "kxtool audit print: 2 records left out: the date is not understood\n"}));
}

/// kxtool audit print in another time zone.
ProgramOutcome PrintIn(const std::string& zone, const std::string& records, const std::vector<std::string>& options) {
    std::vector<std::string> all{"/usr/bin/env", "TZ=" + zone, KXTOOL, "audit", "print", "-"};
    all.insert(all.end(), options.begin(), options.end());
    return RunProgram(all, records);
}

TEST(AuditCommand, ShowsAndTakesLocalTimesAndMarksThem) {
    const std::string records =
        Encoded("{\"date\":\"2026-11-15T23:30:00.123\"}\n{\"date\":\"2026-07-01T00:00:00.5\"}\n");
    const char* const kRest = " - record_id=0 event_id=0 status=0\n";
    EXPECT_EQ(PrintIn("Europe/Berlin", records, {}).out,
              "2026-11-16T00:30:00.123+01:00"s + kRest + "2026-07-01T02:00:00.5+02:00" + kRest);
    EXPECT_EQ(PrintIn("Europe/Berlin", records, {"--utc"}).out,
              "2026-11-15T23:30:00.123Z"s + kRest + "2026-07-01T00:00:00.5Z" + kRest);
    EXPECT_EQ(PrintIn("America/St_Johns", records, {"--limit", "1"}).out, "2026-11-15T20:00:00.123-03:30"s + kRest);
    const auto count = [&](std::vector<std::string> options) {
        options.push_back("--count");
        return PrintIn("Europe/Berlin", records, options).out;
    };
    EXPECT_EQ(count({"--since", "2026-11-16"}), "1\n");
    EXPECT_EQ(count({"--since", "2026-11-16", "--utc"}), "0\n");
    EXPECT_EQ(count({"--since", "2026-11-16 00:30:00.124"}), "0\n");
    EXPECT_EQ(count({"--since", "2026-11-16T00:30:00.123"}), "1\n");
    EXPECT_EQ(count({"--since", "2026-11-15T23:30:00.123Z"}), "1\n");
    EXPECT_EQ(count({"--since", "2026-11-15T18:30:00.124-0500"}), "0\n");
    EXPECT_EQ(count({"--until", "2026-07-01 02:00 "}), "0\n");
    EXPECT_EQ(count({"--until", "2026-07-01 02:00:01"}), "1\n");
    const std::string json = PrintIn("Europe/Berlin", records, {"--json", "--limit", "1"}).out;
    EXPECT_NE(json.find("\"date\":\"2026-11-15T23:30:00.123Z\""), std::string::npos) << json;
}

TEST(AuditCommand, TakesTimesAsPeopleSayThem) {
    const double now = static_cast<double>(std::time(nullptr));
    std::string lines;
    for (const double ago : {30.0, 5400.0, 3 * 86400.0, 9 * 86400.0}) {
        lines += "{\"date\":" + std::to_string(now - ago) + "}\n";
    }
    const std::string records = Encoded(lines);
    const auto since = [&](const char* time) { return Print(records, {"--count", "--since", time}).out; };
    EXPECT_EQ(since("now"), "0\n");
    EXPECT_EQ(since("-1h"), "1\n");
    EXPECT_EQ(since("-1h45m"), "2\n");
    EXPECT_EQ(since("-100min"), "2\n");
    EXPECT_EQ(since("2 hours ago"), "2\n");
    EXPECT_EQ(since("1 week ago"), "3\n");
    EXPECT_EQ(since("-10d"), "4\n");
    EXPECT_EQ(Print(records, {"--count", "--until", "-1h", "--since", "4 days ago"}).out, "2\n");
    for (const char* const word : {"today", "Yesterday", "tomorrow", "monday", "Sun", "today 00:00", "yesterday 14:00",
                                   "14:00", "00:00:00.5", "2026-11-21 14:00 UTC", "@-1.5Z"}) {
        EXPECT_NE(Print(records, {"--since", word}).status, 2) << word;
    }
    EXPECT_EQ(Print(records, {"--count", "--until", "tomorrow", "--since", "-10d"}).out, "4\n");
}

TEST(AuditCommand, ReadsDatesWithAZoneIntoUtc) {
    const auto date = [](const std::string& text) {
        const std::string out = Print(Encoded("{\"date\":\"" + text + "\"}"), {"--format", "csv"}).out;
        const std::size_t row = out.find('\n') + 1;
        return out.substr(row + 10, out.find(',', row + 10) - row - 10);
    };
    EXPECT_EQ(date("2026-11-15T16:02:42.123Z"), "2026-11-15T16:02:42.123");
    EXPECT_EQ(date("2026-11-15T16:02:42Z"), "2026-11-15T16:02:42");
    EXPECT_EQ(date("2026-11-15T16:02:42.5+00:00"), "2026-11-15T16:02:42.5");
    EXPECT_EQ(date("2026-11-15T00:02:42.123456+01:00"), "2026-11-14T23:02:42.123456");
    EXPECT_EQ(date("2026-12-31T20:00:00-0530"), "2027-01-01T01:30:00");
    for (const char* const kept :
         {"2026-11-15", "2026-11-15Z", "soon", "2026-11-15T16:02:42.123", "2026-02-30T00:00Z"}) {
        EXPECT_EQ(date(kept), kept);
    }
}

TEST(AuditCommand, MakesCellsSafeWhenAskedTo) {
    const std::string record = Encoded(
        "{\"status\":-3,\"name\":\"=1+2\",\"action\":\"+x\",\"reason\":\"-a,b\",\"extra\":\"@c\",\"sid\":\"a=b\"}");
    const auto row = [&](std::vector<std::string> options) {
        options.insert(options.end(), {"--format", "csv"});
        const std::string out = Print(record, options).out;
        return out.substr(out.find('\n') + 1);
    };
    EXPECT_EQ(row({}), "0,0,-1,-3,,,,,a=b,,,,+x,=1+2,,,\"-a,b\",@c\r\n");
    EXPECT_EQ(row({"--formula-safe"}), "0,0,-1,-3,,,,,a=b,,,,'+x,'=1+2,,,\"'-a,b\",'@c\r\n");
}

TEST(AuditCommand, WritesUtf8InCsvWhateverTheBytes) {
    std::string foreign = Encoded("{\"name\": \"12345\"}");
    foreign.replace(foreign.find("12345"), 5, "a\xFF\xC3\xA9\t");
    EXPECT_NE(Print(foreign, {"--format", "csv"}).out.find(",a\xEF\xBF\xBD\xC3\xA9\t,"), std::string::npos);
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
    const std::string lines =
        "- - item=1 record_id=7 event_id=0 status=0 name=x\n- - item=1 record_id=7 event_id=0 status=0 name=x\n"
        "- - item=3 record_id=7 event_id=0 status=0 name=x\n- - item=4 record_id=7 event_id=0 status=0 name=x\n";
    for (const char* const command : {"stream", "print"}) {
        EXPECT_EQ(RunTool({"audit", command, path}),
                  (ProgramOutcome{0, lines,
                                  "kxtool audit "s + command + ": " + path +
                                      ": item 3: skipped byte 56 (1 byte): only 1 byte left, a record has 40 or "
                                      "more\n"}));
    }
    EXPECT_EQ(RunTool({"audit", "stream", path, "--reverse", "--limit", "1"}).out, lines.substr(lines.rfind("- -")));
    EXPECT_TRUE(RunTool({"audit", "stream", path, "--format", "csv"}).out.starts_with("item,record_id,"));
    EXPECT_EQ(RunTool({"audit", "stream", path, "--status", "1"}).status, 1);
    EXPECT_EQ(RunTool({"audit", "stream", folder / "none"}),
              (ProgramOutcome{3, "", "kxtool audit stream: " + folder / "none" + ": there is no such file\n"}));
    const std::string records = folder.write("records", record);
    EXPECT_EQ(RunTool({"audit", "stream", records}).out, "- - record_id=7 event_id=0 status=0 name=x\n");
}

TEST(AuditCommand, ReportsOutputThatCannotBeWrittenInOneLine) {
    const TemporaryFolder folder;
    const std::string path = folder.write("records", Encoded(kJson + ""s + kJson));
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", "exec '" KXTOOL "' audit print '" + path + "' >/dev/full"}),
              (ProgramOutcome{3, "", "kxtool audit print: cannot write the output: No space left on device\n"}));
}

}  // namespace
