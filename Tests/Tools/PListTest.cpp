#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "RunProgram.h"
#include "TemporaryFolder.h"

namespace {

constexpr const char* kList =
    "<plist version=\"1.0\"><dict>"
    "<key>Devices</key><array><dict><key>Name</key><string>USB &amp; "
    "co</string><key>Permissions</key><integer>3</integer>"
    "</dict><string>second</string></array>"
    "<key>Ratio</key><real>2.5</real><key>Seen</key><date>2026-11-21T03:04:05Z</date>"
    "<key>Token</key><data>QUJD</data><key>a/b~c</key><true/><key>Large</key><integer>18446744073709551615</integer>"
    "</dict></plist>";

std::string Xml(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n" +
           body + "</plist>\n";
}

TEST(PListCommand, GetsValuesByKeyAndIndex) {
    const auto get = [](const std::string& path) { return RunTool({"plist", "get", "-", path}, kList); };
    EXPECT_EQ(get("/Devices/0/Name"), (ProgramOutcome{0, "USB & co\n", ""}));
    EXPECT_EQ(get("/Devices/1"), (ProgramOutcome{0, "second\n", ""}));
    EXPECT_EQ(get("/Devices/0/Permissions"), (ProgramOutcome{0, "3\n", ""}));
    EXPECT_EQ(get("/Ratio"), (ProgramOutcome{0, "2.5\n", ""}));
    EXPECT_EQ(get("/Seen"), (ProgramOutcome{0, "2026-11-21T03:04:05Z\n", ""}));
    EXPECT_EQ(get("/Token"), (ProgramOutcome{0, "QUJD\n", ""}));
    EXPECT_EQ(get("/Large"), (ProgramOutcome{0, "18446744073709551615\n", ""}));
    EXPECT_EQ(get("/a~1b~0c"), (ProgramOutcome{0, "true\n", ""}));
    EXPECT_EQ(get("/Devices/0"),
              (ProgramOutcome{0, "dictionary, 2 entries\n  Name: \"USB & co\"\n  Permissions: 3\n", ""}));
}

TEST(PListCommand, GetsValuesOfTheTypeAskedFor) {
    const auto get = [](const std::string& path, const std::string& type) {
        return RunTool({"plist", "get", "-", path, "--type", type}, kList);
    };
    EXPECT_EQ(get("/Devices/0/Name", "string"), (ProgramOutcome{0, "USB & co\n", ""}));
    EXPECT_EQ(get("/Devices/0/Permissions", "int"), (ProgramOutcome{0, "3\n", ""}));
    EXPECT_EQ(get("/Devices/0/Permissions", "real"), (ProgramOutcome{0, "3\n", ""}));
    EXPECT_EQ(get("/a~1b~0c", "bool"), (ProgramOutcome{0, "true\n", ""}));
    EXPECT_EQ(get("/Seen", "date"), (ProgramOutcome{0, "2026-11-21T03:04:05Z\n", ""}));
    EXPECT_EQ(get("/Token", "data"), (ProgramOutcome{0, "QUJD\n", ""}));
    EXPECT_EQ(get("/Ratio", "string"),
              (ProgramOutcome{1, "", "kxtool plist get: standard input [/Ratio]: the value is not a string\n"}));
    EXPECT_EQ(get("/Ratio", "int"),
              (ProgramOutcome{1, "", "kxtool plist get: standard input [/Ratio]: the number does not fit\n"}));
    EXPECT_EQ(get("/Ratio", "colour").status, 2);
}

TEST(PListCommand, TellsWhereAPathLeadsNowhere) {
    const auto get = [](const std::string& path) { return RunTool({"plist", "get", "-", path}, kList); };
    EXPECT_EQ(
        get("/Devices/0/Colour/Red"),
        (ProgramOutcome{1, "", "kxtool plist get: standard input [/Devices/Item_0/Colour]: there is no such value\n"}));
    EXPECT_EQ(get("/\xFF"),
              (ProgramOutcome{1, "", "kxtool plist get: standard input [/\xC3\xBF]: there is no such value\n"}));
    EXPECT_EQ(get("/Devices/7"), (ProgramOutcome{1, "",
                                                 "kxtool plist get: standard input [/Devices]: \"7\" is no index of "
                                                 "an array of 2 items\n"}));
    EXPECT_EQ(get("/Ratio/x"),
              (ProgramOutcome{1, "", "kxtool plist get: standard input [/Ratio]: the value is not a dictionary\n"}));
    EXPECT_EQ(get("Ratio").status, 2);
}

TEST(PListCommand, PrintsAnOutline) {
    EXPECT_EQ(RunTool({"plist", "print", "-"}, kList), (ProgramOutcome{0,
                                                                       "dictionary, 6 entries\n"
                                                                       "  Devices: array, 2 items\n"
                                                                       "    0: dictionary, 2 entries\n"
                                                                       "      Name: \"USB & co\"\n"
                                                                       "      Permissions: 3\n"
                                                                       "    1: \"second\"\n"
                                                                       "  Large: 18446744073709551615\n"
                                                                       "  Ratio: 2.5\n"
                                                                       "  Seen: 2026-11-21T03:04:05Z\n"
                                                                       "  Token: data, 3 bytes: 41 42 43\n"
                                                                       "  a/b~c: true\n",
                                                                       ""}));
}

TEST(PListCommand, ConvertsBetweenXmlBinaryAndJson) {
    const std::string xml = Xml("<array>\n\t<string>x</string>\n\t<integer>1</integer>\n</array>\n");
    const ProgramOutcome binary = RunTool({"plist", "convert", "-", "binary"}, xml);
    EXPECT_EQ(binary.status, 0);
    EXPECT_EQ(binary.out.substr(0, 8), "bplist00");
    EXPECT_EQ(RunTool({"plist", "convert", "-", "xml"}, binary.out), (ProgramOutcome{0, xml, ""}));
    EXPECT_EQ(RunTool({"plist", "convert", "-", "xml"}, "(x, 1)").out,
              Xml("<array>\n\t<string>x</string>\n\t<string>1</string>\n</array>\n"));
    EXPECT_EQ(RunTool({"plist", "convert", "-", "json"}, kList),
              (ProgramOutcome{0,
                              "{\n"
                              "  \"Devices\": [\n"
                              "    {\n"
                              "      \"Name\": \"USB & co\",\n"
                              "      \"Permissions\": 3\n"
                              "    },\n"
                              "    \"second\"\n"
                              "  ],\n"
                              "  \"Large\": 18446744073709551615,\n"
                              "  \"Ratio\": 2.5,\n"
                              "  \"Seen\": \"2026-11-21T03:04:05Z\",\n"
                              "  \"Token\": \"QUJD\",\n"
                              "  \"a/b~c\": true\n"
                              "}\n",
                              ""}));
    EXPECT_EQ(RunTool({"plist", "convert", "-", "json"}, "<real>nan</real>").status, 1);
    EXPECT_EQ(RunTool({"plist", "convert", "-", "yaml"}, kList).status, 2);
}

TEST(PListCommand, LintsFilesAndTellsLineAndReason) {
    const TemporaryFolder folder;
    const std::string good = folder.write("good.plist", kList);
    const std::string bad = folder.write("bad.plist", "<plist>\n<dict>\n<key>a</key>\n</dict>\n</plist>\n");
    EXPECT_EQ(RunTool({"plist", "lint", good}), (ProgramOutcome{0, good + ": OK, XML\n", ""}));
    EXPECT_EQ(
        RunTool({"plist", "lint", bad, good}),
        (ProgramOutcome{1, bad + ": A <key> without a value at the end of <dict> on line 4\n" + good + ": OK, XML\n",
                        "kxtool plist lint: 1 of 2 files cannot be read as property lists\n"}));
    EXPECT_EQ(RunTool({"plist", "lint", "-"}, "{a=b;}"),
              (ProgramOutcome{0, "standard input: OK, old text style\n", ""}));
}

TEST(PListCommand, LintsTheOtherFilesWhenOneCannotBeRead) {
    const TemporaryFolder folder;
    const std::string good = folder.write("good.plist", kList);
    EXPECT_EQ(RunTool({"plist", "lint", "/no/such/file", good}),
              (ProgramOutcome{1, "cannot open /no/such/file: No such file or directory\n" + good + ": OK, XML\n",
                              "kxtool plist lint: 1 of 2 files cannot be read as property lists\n"}));
}

TEST(PListCommand, RefusesWhatIsNoPropertyList) {
    EXPECT_EQ(RunTool({"plist", "print", "-"}, "<plist>\n<oops/></plist>"),
              (ProgramOutcome{1, "", "kxtool plist print: standard input: Unknown element \"oops\" on line 2\n"}));
    EXPECT_EQ(RunTool({"plist", "print", "-"}, ""),
              (ProgramOutcome{1, "", "kxtool plist print: standard input: The document is empty\n"}));
    EXPECT_EQ(RunTool({"plist", "print", "/no/such/file"}).status, 1);
    EXPECT_EQ(RunTool({"plist"}).status, 2);
}

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(PListCommand, SetsAValueAndKeepsTheRestAndTheForm) {
    const TemporaryFolder folder;
    const std::string file = folder.write("list.plist", kList);
    const auto set = [&](const std::string& path, const std::string& value, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"plist", "set", file, path, value});
        return RunTool(options);
    };
    const auto get = [&](const std::string& path, const std::string& type) {
        return RunTool({"plist", "get", file, path, "--type", type}).out;
    };
    EXPECT_EQ(set("/Devices/0/Name", "Stick"), (ProgramOutcome{0, "", ""}));
    EXPECT_EQ(get("/Devices/0/Name", "string"), "Stick\n");
    EXPECT_EQ(get("/Devices/0/Permissions", "int"), "3\n");
    EXPECT_TRUE(ContentOf(file).starts_with("<?xml"));
    set("/Devices/0/Name", "42");
    EXPECT_EQ(get("/Devices/0/Name", "string"), "42\n") << "a text stays one";
    set("/Ratio", "3");
    EXPECT_EQ(get("/Ratio", "real"), "3\n");
    set("/Devices/0/Count", "7");
    EXPECT_EQ(get("/Devices/0/Count", "int"), "7\n") << "a new value is what it looks like";
    set("/On", "true");
    EXPECT_EQ(get("/On", "bool"), "true\n");
    set("/Devices/2", "third");
    set("/Devices/-", "fourth");
    EXPECT_EQ(get("/Devices/3", "string"), "fourth\n");
    set("/Seen", "2027-01-01T00:00:00Z", {"--type", "date"});
    EXPECT_EQ(get("/Seen", "date"), "2027-01-01T00:00:00Z\n");
    set("/Token", "eHl6", {"--type", "data"});
    EXPECT_EQ(get("/Token", "data"), "eHl6\n");
    set("/Tree", "{\"a\": [1, 2]}", {"--type", "json"});
    EXPECT_EQ(get("/Tree/a/1", "int"), "2\n");

    RunTool({"plist", "convert", file, "binary", "-o", folder / "binary"});
    EXPECT_EQ(RunTool({"plist", "set", folder / "binary", "/Ratio", "9"}).status, 0);
    EXPECT_TRUE(ContentOf(folder / "binary").starts_with("bplist00"));
    EXPECT_EQ(RunTool({"plist", "get", folder / "binary", "/Ratio"}).out, "9\n");
    EXPECT_EQ(RunTool({"plist", "set", "-", "/a", "2"}, "<dict><key>a</key><integer>1</integer></dict>").out,
              Xml("<dict>\n\t<key>a</key>\n\t<integer>2</integer>\n</dict>\n"));
}

TEST(PListCommand, RefusesToSetWhatCannotBeAndLeavesTheFile) {
    const TemporaryFolder folder;
    const std::string file = folder.write("list.plist", kList);
    const auto refused = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin() + 1, file);
        arguments.insert(arguments.begin(), "plist");
        const ProgramOutcome outcome = RunTool(arguments);
        EXPECT_EQ(ContentOf(file), kList);
        return std::to_string(outcome.status) + " " + outcome.err;
    };
    EXPECT_EQ(refused({"set", "/Devices/7", "x"}),
              "1 kxtool plist set: " + file + " [/Devices/7]: \"7\" is no index of an array of 2 items\n");
    EXPECT_EQ(refused({"set", "/No/Such", "x"}), "1 kxtool plist set: " + file + " [/No]: there is no such value\n");
    EXPECT_EQ(
        refused({"set", "/Ratio/x", "1"}),
        "1 kxtool plist set: " + file + " [/Ratio/x]: what it is to be in is neither a dictionary nor an array\n");
    EXPECT_EQ(refused({"set", "/Ratio", "x", "--type", "int"}).substr(0, 40),
              "2 kxtool plist set: \"x\" is no int\nTry 'k");
    EXPECT_EQ(refused({"set", "Ratio", "1"})[0], '2');
    EXPECT_EQ(refused({"remove", "/No"}), "1 kxtool plist remove: " + file + " [/No]: there is no such value\n");
    EXPECT_EQ(refused({"remove", "/"})[0], '2');
    EXPECT_EQ(refused({"extract", "/No"}), "1 kxtool plist extract: " + file + " [/No]: there is no such value\n");
}

TEST(PListCommand, RemovesAndExtracts) {
    const TemporaryFolder folder;
    const std::string file = folder.write("list.plist", kList);
    const std::string device =
        Xml("<dict>\n\t<key>Name</key>\n\t<string>USB &amp; co</string>\n\t<key>Permissions</key>\n"
            "\t<integer>3</integer>\n</dict>\n");
    EXPECT_EQ(RunTool({"plist", "extract", file, "/Devices/0"}), (ProgramOutcome{0, device, ""}));
    EXPECT_EQ(RunTool({"plist", "extract", file, "/Devices/0", "--xml"}).out, device);
    EXPECT_EQ(RunTool({"plist", "extract", file, "/Devices/0", "-o", folder / "device"}).status, 0);
    EXPECT_EQ(ContentOf(folder / "device"), device);
    EXPECT_EQ(RunTool({"plist", "extract", file, "/Devices/0/Name", "--json"}).out, "\"USB & co\"\n");
    EXPECT_EQ(RunTool({"plist", "remove", file, "/Devices/0"}), (ProgramOutcome{0, "", ""}));
    EXPECT_EQ(RunTool({"plist", "remove", file, "/a~1b~0c"}).status, 0);
    EXPECT_EQ(RunTool({"plist", "get", file, "/Devices/0"}).out, "second\n");
    EXPECT_EQ(RunTool({"plist", "get", file, "/a~1b~0c"}).status, 1);
}

TEST(PListCommand, ConvertsFromAndToJson) {
    const std::string json = "{\n  \"a\": [\n    1,\n    2.5,\n    true\n  ],\n  \"b\": \"x\"\n}\n";
    const ProgramOutcome xml = RunTool({"plist", "convert", "-", "xml"}, json);
    EXPECT_EQ(xml.status, 0);
    EXPECT_EQ(RunTool({"plist", "convert", "-", "json"}, xml.out), (ProgramOutcome{0, json, ""}));
    const ProgramOutcome binary = RunTool({"plist", "convert", "-", "binary"}, json);
    EXPECT_EQ(RunTool({"plist", "convert", "-", "json"}, binary.out).out, json);
    EXPECT_EQ(RunTool({"plist", "convert", "-", "xml"}, "{\"a\": null}").status, 1);
    EXPECT_EQ(RunTool({"plist", "convert", "-", "xml"}, "{\"a\": }").status, 1);
    EXPECT_EQ(RunTool({"plist", "print", "-", "--json"}, xml.out).out, json);
    EXPECT_EQ(RunTool({"plist", "get", "-", "/a", "--json"}, json).out, "[1,2.5,true]\n");
    const TemporaryFolder folder;
    const std::string file = folder.write("list.json", json);
    EXPECT_EQ(RunTool({"plist", "set", file, "/b", "y"}).status, 0);
    EXPECT_EQ(ContentOf(file), "{\n  \"a\": [\n    1,\n    2.5,\n    true\n  ],\n  \"b\": \"y\"\n}\n");
}

TEST(PListCommand, LintsAsJson) {
    const TemporaryFolder folder;
    const std::string bad = folder.write("bad.plist", "<plist>\n<oops/></plist>");
    EXPECT_EQ(RunTool({"plist", "lint", "-", bad, "--json"}, kList).out,
              "{\"file\":\"standard input\",\"ok\":true,\"form\":\"XML\"}\n{\"file\":\"" + bad +
                  "\",\"ok\":false,\"fault\":\"Unknown element \\\"oops\\\" on line 2\"}\n");
}

}  // namespace
