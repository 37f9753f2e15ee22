#include <string>

#include "NamedPeople.h"

namespace {

using ACLCommand = NamedPeople;

constexpr const char* kNames = "read=1,write=2,execute=4";
constexpr const char* kList = "bob:deny:write/%staff:allow:read|write/ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C::execute";

TEST_F(ACLCommand, GrantsAndTellsWhichEntryDecided) {
    EXPECT_EQ(run({"acl", "check", "--acl", kList, "--user", "bob", "--mask", "read|execute", "--names", kNames}),
              (ProgramOutcome{0,
                              "granted\n"
                              "  read: allowed by entry 2 (allow group HOST\\staff: read | write)\n"
                              "  execute: allowed by entry 3 (allow everybody: execute)\n",
                              ""}));
}

TEST_F(ACLCommand, RefusesAndTellsWhichEntryDecided) {
    EXPECT_EQ(run({"acl", "check", "--acl", kList, "--user", "bob", "--mask", "7|8", "--names", kNames}),
              (ProgramOutcome{1,
                              "refused\n"
                              "  read: allowed by entry 2 (allow group HOST\\staff: read | write)\n"
                              "  write: denied by entry 1 (deny user HOST\\bob: write)\n"
                              "  execute: allowed by entry 3 (allow everybody: execute)\n"
                              "  0x8: allowed by no entry\n",
                              ""}));
}

TEST_F(ACLCommand, ABitThatWasAllowedIsNotTakenBack) {
    EXPECT_EQ(run({"acl", "check", "--acl", "alice:allow:3/alice:deny:2", "--user", "alice", "--mask", "2"}),
              (ProgramOutcome{0, "granted\n  0x2: allowed by entry 1 (allow user HOST\\alice: 0x3)\n", ""}));
}

TEST_F(ACLCommand, ChecksAUserGivenByUUID) {
    // Nobody known: whether this is a member of staff cannot be found out, and the entry that denies counts.
    EXPECT_EQ(run({"acl", "check", "--acl", "%staff:deny:1/ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C::3", "--user",
                   "12345678-1234-1234-1234-123456789012", "--mask", "3"}),
              (ProgramOutcome{1,
                              "refused\n"
                              "  0x1: denied by entry 1 (deny group HOST\\staff: 0x1)\n"
                              "  0x2: allowed by entry 2 (allow everybody: 0x3)\n",
                              ""}));
}

TEST_F(ACLCommand, AnEmptyListGrantsTheRequestForNothing) {
    EXPECT_EQ(run({"acl", "check", "--acl", "", "--user", "alice", "--mask", "0"}),
              (ProgramOutcome{0, "granted\n", ""}));
    EXPECT_EQ(run({"acl", "check", "--acl", "/", "--user", "alice", "--mask", "1"}),
              (ProgramOutcome{1, "refused\n  0x1: allowed by no entry\n", ""}));
}

TEST_F(ACLCommand, ReadsAPropertyList) {
    const std::string file =
        folder.write("list.plist",
                     "<plist version=\"1.0\"><array>"
                     "<dict><key>Type</key><string>deny</string><key>UserName</key><string>DOMAIN\\carol</string>"
                     "<key>AccessMask</key><integer>4294967298</integer></dict>"
                     "<dict><key>Type</key><string>allow</string><key>GroupName</key><string>users</string>"
                     "<key>AccessMask</key><string>read|write</string></dict>"
                     "</array></plist>");
    EXPECT_EQ(run({"acl", "show", "--file", file, "--names", kNames}),
              (ProgramOutcome{0,
                              "1  deny   user DOMAIN\\carol: write\n"
                              "2  allow  group HOST\\users: read | write\n",
                              ""}));
    EXPECT_EQ(
        run({"acl", "check", "--file", file, "--user", "DOMAIN\\carol", "--mask", "write", "--names", kNames}).status,
        1);
    EXPECT_EQ(run({"acl", "check", "--file", file, "--user", "alice", "--mask", "write", "--names", kNames}).status, 0);
}

TEST_F(ACLCommand, TellsWhereAPropertyListIsWrong) {
    const auto refused = [this](const std::string& body) {
        return run({"acl", "show", "--file", "-"}, "<plist version=\"1.0\">" + body + "</plist>");
    };
    EXPECT_EQ(refused("<integer>1</integer>"), (ProgramOutcome{1, "", "kxtool acl show: standard input: bad ACL\n"}));
    EXPECT_EQ(refused("<array><dict><key>Type</key><string>permit</string></dict></array>"),
              (ProgramOutcome{1, "", "kxtool acl show: standard input [/Item_0/Type]: bad type of ACL entry\n"}));
    EXPECT_EQ(refused("<array><dict><key>Type</key><string>deny</string><key>SID</key><true/></dict></array>"),
              (ProgramOutcome{1, "", "kxtool acl show: standard input [/Item_0/SID]: the value is not a string\n"}));
    EXPECT_EQ(refused("<array>").status, 1);
    EXPECT_EQ(run({"acl", "show", "--file", ""}).status, 1) << "a file without a name";
}

TEST_F(ACLCommand, ShowsEntriesOfEveryKind) {
    EXPECT_EQ(run({"acl", "show", "--acl",
                   "alice:deny:~0/S-1-22-2-70200::0/ABCDEFAB-CDEF-ABCD-EFAB-CDEFFFFFFFFE::1/"
                   "12345678-1234-1234-1234-123456789012::read|8/FFFFEEEE-DDDD-CCCC-BBBB-AAAA0000FFFF::1",
                   "--names", kNames}),
              (ProgramOutcome{0,
                              "1  deny   user HOST\\alice: read | write | execute | 0xfffffff8\n"
                              "2  allow  group HOST\\staff: 0x0\n"
                              "3  allow  nobody: read\n"
                              "4  allow  12345678-1234-1234-1234-123456789012: read | 0x8\n"
                              "5  allow  user 65535: read\n",
                              ""}));
    EXPECT_EQ(run({"acl", "show", "--acl", "/"}), (ProgramOutcome{0, "no entries: nothing is granted\n", ""}));
}

TEST_F(ACLCommand, ReportsWhatIsWrongWithATextInOneLine) {
    const auto refused = [this](const char* text) { return run({"acl", "show", "--acl", text}); };
    EXPECT_EQ(refused("alice:allow"),
              (ProgramOutcome{1, "", "kxtool acl show: syntax error in ACL string, position 1: alice:allow\n"}));
    EXPECT_EQ(refused("alice:permit:1"), (ProgramOutcome{1, "", "kxtool acl show: unrecognized ACE type permit\n"}));
    EXPECT_EQ(refused("alice:allow:read"),
              (ProgramOutcome{1, "", "kxtool acl show: unknown ID: read; syntax error\n"}));
    const ProgramOutcome unknown = refused("mallory:allow:1");
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.out, "");
    EXPECT_TRUE(unknown.err.starts_with("kxtool acl show: user mallory unknown: ")) << unknown.err;
}

TEST_F(ACLCommand, KeepsUnknownNamesWhenAskedTo) {
    const ProgramOutcome outcome = run({"acl", "show", "--tolerant", "--acl", "mallory:deny:1/alice:allow:2"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "1  deny   (unresolved): 0x1\n2  allow  user HOST\\alice: 0x2\n");
    EXPECT_TRUE(outcome.err.starts_with("kxtool acl show: warning: user mallory unknown: ")) << outcome.err;
}

TEST_F(ACLCommand, AnUnknownUserAndABadMaskAreBadInput) {
    EXPECT_EQ(run({"acl", "check", "--acl", "", "--user", "mallory", "--mask", "1"}),
              (ProgramOutcome{3, "", "kxtool acl check: there is no user \"mallory\"\n"}));
    EXPECT_EQ(run({"acl", "check", "--acl", "", "--user", "alice", "--mask", "1|"}),
              (ProgramOutcome{3, "", "kxtool acl check: \"1|\": syntax error\n"}));
    EXPECT_EQ(run({"acl", "check", "--acl", "alice:allow", "--user", "alice", "--mask", "1"}).status, 3);
    EXPECT_EQ(run({"acl", "check", "--file", "/no/such/file", "--user", "alice", "--mask", "1"}).status, 3);
}

TEST_F(ACLCommand, RefusesToAskForAMaskThatIsTooWide) {
    const auto check = [this](const char* mask) {
        return run({"acl", "check", "--acl", "alice:allow:~0", "--user", "alice", "--mask", mask, "--names",
                    "top=0x100000000"});
    };
    EXPECT_EQ(check("0x100000001"),
              (ProgramOutcome{2, "",
                              "kxtool acl check: \"0x100000001\" is 0x100000001: a mask has 32 bits "
                              "here\nTry 'kxtool acl check --help'.\n"}));
    EXPECT_EQ(check("top").status, 2);
    EXPECT_EQ(check("0xFFFFFFFFFFFFFFFF").status, 2);
    EXPECT_EQ(check("0xFFFFFFFF").status, 0);
    EXPECT_EQ(check("~1").status, 0);
    EXPECT_EQ(check("-1").status, 0);
}

constexpr const char* kFile =
    "<plist version=\"1.0\"><dict><key>ACL</key><array>"
    "<dict><key>Type</key><string>deny</string><key>UserName</key><string>bob</string>"
    "<key>AccessMask</key><string>write</string></dict>"
    "<dict><key>Type</key><string>allow</string><key>GroupName</key><string>staff</string>"
    "<key>AccessMask</key><integer>3</integer></dict>"
    "<dict><key>Type</key><string>allow</string><key>SID</key><string>S-1-22-1-70001</string>"
    "<key>AccessMask</key><string>0x1F &amp; ~execute</string></dict>"
    "</array></dict></plist>";

TEST_F(ACLCommand, ReadsAListWithinAFile) {
    const auto check = [this](const std::string& path, const std::string& user) {
        return run(
            {"acl", "check", "--file", "-", "--path", path, "--user", user, "--mask", "write", "--names", kNames},
            kFile);
    };
    EXPECT_EQ(check("/ACL", "bob").status, 1);
    EXPECT_EQ(check("/ACL", "alice").status, 0);
    EXPECT_EQ(check("/NoACL", "alice"),
              (ProgramOutcome{3, "", "kxtool acl check: standard input [/NoACL]: there is no such value\n"}))
        << "what is not there grants nothing";
    EXPECT_EQ(check("ACL", "alice").status, 2);
    EXPECT_EQ(run({"acl", "check", "--acl", "", "--path", "/ACL", "--user", "bob", "--mask", "1"}).status, 2);
}

TEST_F(ACLCommand, ConvertsBothWaysWithoutLoss) {
    const std::string text = "bob:deny:write/%staff:allow:3/S-1-22-1-70001:allow:0x1F & ~execute";
    EXPECT_EQ(run({"acl", "convert", "--file", "-", "--path", "/ACL", "--to", "text"}, kFile),
              (ProgramOutcome{0, text + "\n", ""}));
    const ProgramOutcome list = run({"acl", "convert", "--acl", text, "--to", "plist"});
    EXPECT_EQ(list.status, 0);
    EXPECT_NE(list.out.find("<integer>3</integer>"), std::string::npos) << list.out;
    EXPECT_EQ(run({"acl", "convert", "--file", "-", "--to", "text"}, list.out), (ProgramOutcome{0, text + "\n", ""}));
    EXPECT_EQ(run({"acl", "convert", "--file", "-", "--to", "plist"}, list.out), list);
    EXPECT_EQ(run({"acl", "convert", "--acl", text, "--to", "text"}).out, text + "\n");
    EXPECT_EQ(run({"acl", "convert", "--acl", "", "--to", "text"}).out, "\n");
    EXPECT_EQ(run({"acl", "show", "--file", "-", "--names", kNames}, list.out).out,
              run({"acl", "show", "--acl", text, "--names", kNames}).out);
    EXPECT_EQ(run({"acl", "convert", "--acl", "mallory::1", "--to", "text"}).out, "mallory:allow:1\n")
        << "nobody is asked";
}

TEST_F(ACLCommand, RefusesToConvertWhatTheOtherFormCannotHold) {
    const auto convert = [this](const std::string& body) {
        return run({"acl", "convert", "--file", "-", "--to", "text"}, "<plist version=\"1.0\">" + body + "</plist>")
            .err;
    };
    const auto entry = [](const std::string& key, const std::string& name, const std::string& mask) {
        return "<array><dict><key>Type</key><string>deny</string><key>" + key + "</key><string>" + name +
               "</string><key>AccessMask</key>" + mask + "</dict></array>";
    };
    const std::string head = "kxtool acl convert: standard input [/Item_0]";
    EXPECT_EQ(convert(entry("UserName", "a:b", "<integer>1</integer>")),
              head + ": the text form cannot hold \"a:b\"\n");
    EXPECT_EQ(convert(entry("UserName", "%staff", "<integer>1</integer>")),
              head + "/UserName: the text form would take \"%staff\" for another kind of name\n");
    EXPECT_EQ(convert(entry("UserName", "bob", "<string>1/2</string>")),
              head + ": the text form cannot hold \"1/2\"\n");
    EXPECT_EQ(convert(entry("UserName", "bob", "<true/>")),
              head + "/AccessMask: the value is neither an integer nor a string\n");
    EXPECT_EQ(convert("<string>x</string>"), "kxtool acl convert: standard input: a list of entries is an array\n");
    EXPECT_EQ(run({"acl", "convert", "--acl", "bob:allow", "--to", "plist"}).err,
              "kxtool acl convert: entry 1 is not ID:TYPE:MASK: \"bob:allow\"\n");
    EXPECT_EQ(run({"acl", "convert", "--acl", "bob::1"}).status, 2);
}

TEST_F(ACLCommand, PrintsJson) {
    EXPECT_EQ(run({"acl", "check", "--acl", kList, "--user", "bob", "--mask", "7|8", "--names", kNames, "--json"}),
              (ProgramOutcome{1,
                              "{\"granted\":false,\"bits\":[{\"bit\":\"read\",\"allowed\":true,\"entry\":2},"
                              "{\"bit\":\"write\",\"allowed\":false,\"entry\":1},"
                              "{\"bit\":\"execute\",\"allowed\":true,\"entry\":3},"
                              "{\"bit\":\"0x8\",\"allowed\":false,\"entry\":null}]}\n",
                              ""}));
    EXPECT_EQ(
        run({"acl", "show", "--acl", "bob:deny:9", "--names", kNames, "--json"}).out,
        "{\"entries\":[{\"type\":\"deny\",\"who\":\"user HOST\\\\bob\",\"uuid\":"
        "\"FFFFEEEE-DDDD-CCCC-BBBB-AAAA00011172\",\"mask\":{\"value\":9,\"names\":[\"read\"],\"unnamed\":8}}]}\n");
}

TEST_F(ACLCommand, NeedsExactlyOneList) {
    EXPECT_EQ(run({"acl", "show"}).status, 2);
    EXPECT_EQ(run({"acl", "show", "--acl", "", "--file", "x"}).status, 2);
    EXPECT_EQ(run({"acl", "check", "--acl", ""}).status, 2);
    EXPECT_EQ(run({"acl"}).status, 2);
}

}  // namespace
