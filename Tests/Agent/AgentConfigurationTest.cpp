#include "AgentPlace.h"

#include <gtest/gtest.h>

using namespace agent_test;

namespace {

struct AgentConfiguration : testing::Test {
    /// What is said of a configuration with the stream, the folder and these keys.
    std::string faultOf(const std::string& keys) const { return faultIn(place.with(keys)); }
    static std::string faultIn(const std::string& path) {
        const ProgramOutcome checked = RunProgram({KX_AGENT, "--check", path});
        EXPECT_EQ(checked.out, "");
        EXPECT_EQ(checked.status, 65);
        // Starting says the same, and does nothing else.
        EXPECT_EQ(RunProgram({KX_AGENT, path}), checked);
        const std::string start = "kxagent: " + path;
        EXPECT_TRUE(checked.err.starts_with(start)) << checked.err;
        return checked.err.substr(std::min(start.size(), checked.err.size()));
    }
    void TearDown() override { EXPECT_FALSE(std::filesystem::exists(place.stream())); }

    const Place place;
};

constexpr const char* kTrue = "<key>Unrestricted</key><true/>";

}  // namespace

TEST_F(AgentConfiguration, IsCheckedWithoutBeingRun) {
    const std::string path = place.configuration();
    EXPECT_EQ(RunProgram({KX_AGENT, "--check", path}), (ProgramOutcome{0, path + ": good\n", ""}));
}

TEST_F(AgentConfiguration, MustBeThere) {
    EXPECT_EQ(RunProgram({KX_AGENT, "/no/such/file"}),
              (ProgramOutcome{65, "", "kxagent: /no/such/file: cannot be read: No such file or directory\n"}));
    EXPECT_EQ(RunProgram({KX_AGENT, "--check", place.folder().path()}).status, 65);
}

TEST_F(AgentConfiguration, MustBeAPropertyListWithADictionary) {
    EXPECT_TRUE(faultIn(place.folder().write("text", "text")).starts_with(": "));
    EXPECT_TRUE(faultIn(place.folder().write("empty", "")).starts_with(": "));
    EXPECT_EQ(faultIn(place.folder().write("array", "<plist version=\"1.0\"><array/></plist>")),
              ": must be a dictionary\n");
}

TEST_F(AgentConfiguration, NamesWhatIsMissing) {
    EXPECT_EQ(faultIn(place.only(place.usualList())), " [/Stream]: is missing\n");
    EXPECT_EQ(faultIn(place.only(place.usualList() + Place::key("Stream", ""))), " [/Stream]: is no path\n");
}

TEST_F(AgentConfiguration, GrantsNothingByATypo) {
    EXPECT_EQ(faultOf(Place::key("ALC", "x:allow:read")), " [/ALC]: unknown key; did you mean ACL?\n");
    EXPECT_EQ(faultOf(place.usualList() + Place::key("acl", "")), " [/acl]: unknown key; did you mean ACL?\n");
    EXPECT_EQ(faultOf(place.usualList() + "<key>Unrestrictd</key><true/>"),
              " [/Unrestrictd]: unknown key; did you mean Unrestricted?\n");
    EXPECT_EQ(faultOf(place.usualList() + Place::key("Something else", "")), " [/Something else]: unknown key\n");
}

TEST_F(AgentConfiguration, GrantsNothingByAListThatIsNotThere) {
    const std::string meant = "so nobody could use anything; if everybody shall use everything, set Unrestricted\n";
    EXPECT_EQ(faultOf(""), " [/ACL]: there is no list, " + meant);
    EXPECT_EQ(faultOf(Place::list("")), " [/ACL]: the list has no entries, " + meant);
    EXPECT_EQ(faultOf(Place::list("//")), " [/ACL]: the list has no entries, " + meant);
    EXPECT_EQ(faultOf("<key>ACL</key><array/>"), " [/ACL]: the list has no entries, " + meant);
    EXPECT_EQ(faultOf("<key>Unrestricted</key><false/>"), " [/ACL]: there is no list, " + meant);
    EXPECT_EQ(faultOf(Place::key("Unrestricted", "true")), " [/Unrestricted]: must be a boolean\n");
    EXPECT_EQ(RunProgram({KX_AGENT, "--check", place.with(kTrue)}).status, 0);
    EXPECT_EQ(RunProgram({KX_AGENT, "--check", place.with(std::string(kTrue) + Place::list(""))}).status, 0);
}

TEST_F(AgentConfiguration, IsNeitherThisNorThat) {
    EXPECT_EQ(faultOf(place.usualList() + kTrue),
              " [/Unrestricted]: is true, and there is an ACL: remove one of the two\n");
}

TEST_F(AgentConfiguration, RefusesBadEntries) {
    const auto entry = [](const std::string& keys) { return "<key>ACL</key><array><dict>" + keys + "</dict></array>"; };
    const std::string good = Place::key("Type", "allow") + Place::key("UserName", "root");
    EXPECT_EQ(faultOf(entry(good + Place::key("AcessMask", "read"))),
              " [/ACL/Item_0/AcessMask]: unknown key; did you mean AccessMask?\n");
    EXPECT_EQ(faultOf(entry(good + Place::key("AccessMask", "read") +
                            Place::key("UUID", "00000000-0000-0000-0000-000000000001"))),
              " [/ACL/Item_0/UUID]: unknown key; did you mean SID?\n");
    EXPECT_EQ(faultOf("<key>ACL</key><array><string>root:allow:read</string></array>"),
              " [/ACL/Item_0]: must be a dictionary\n");
    EXPECT_EQ(faultOf(Place::number("ACL", 1)), " [/ACL]: must be a string or an array\n");
    EXPECT_EQ(faultOf(entry(good)), " [/ACL/Item_0/AccessMask]: bad access mask in ACL entry\n");
    // The library tells of a text line by line, before.
    const ProgramOutcome outcome = RunProgram({KX_AGENT, place.with(Place::list("root:alow:read"))});
    EXPECT_EQ(outcome.status, 65);
    EXPECT_TRUE(outcome.err.starts_with("kxagent: unrecognized ACE type alow\n")) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with(" [/ACL]: bad ACL\n")) << outcome.err;
}

TEST_F(AgentConfiguration, TakesNoOtherTypes) {
    const std::string list = place.usualList();
    EXPECT_EQ(faultIn(place.only(list + Place::number("Stream", 1))), " [/Stream]: must be a string\n");
    EXPECT_EQ(faultOf(list + Place::number("Mode", 1)), " [/Mode]: must be a string\n");
    EXPECT_EQ(faultOf(list + Place::key("MaximumSize", "100000")), " [/MaximumSize]: must be a number\n");
    EXPECT_EQ(faultOf(list + "<key>SyncDelay</key><real>0.5</real>"),
              " [/SyncDelay]: must be a whole number that is not too large\n");
    EXPECT_EQ(faultOf(list + Place::key("Deliver", "stdout")), " [/Deliver]: must be an array\n");
    EXPECT_EQ(faultOf(list + "<key>Deliver</key><array><true/></array>"), " [/Deliver/Item_0]: must be a string\n");
}

TEST_F(AgentConfiguration, TakesNoOtherValues) {
    const std::string list = place.usualList();
    EXPECT_EQ(faultOf(list + Place::key("Mode", "observe")),
              " [/Mode]: \"observe\" is not known; did you mean Observe?\n");
    EXPECT_EQ(faultIn(place.only(list + Place::key("Stream", place.stream()) + Place::key("Type", "USB prot"))),
              " [/Type]: \"USB prot\" is not known; did you mean USB port?\n");
    EXPECT_EQ(faultOf(list + "<key>Deliver</key><array><string>nats</string></array>"),
              " [/Deliver/Item_0]: \"nats\" is not known\n");
    EXPECT_EQ(faultOf(list + "<key>Deliver</key><array><string>stdout</string><string>stdout</string></array>"),
              " [/Deliver/Item_1]: \"stdout\" stands there twice\n");
    EXPECT_EQ(faultOf(list + Place::number("MaximumSize", 0)),
              " [/MaximumSize]: must be from 16384 to 1125899906842624\n");
    EXPECT_EQ(faultOf(list + Place::number("MemoryLimit", -1)),
              " [/MemoryLimit]: must be from 1024 to 1125899906842624\n");
    EXPECT_EQ(faultOf(list + Place::number("SyncDelay", 1001)), " [/SyncDelay]: must be from 0 to 1000\n");
}
