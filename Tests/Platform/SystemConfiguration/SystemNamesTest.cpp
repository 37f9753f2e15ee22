// How names are read from the system's files.

#include "StoreTesting.h"

#include <gtest/gtest.h>

#include <random>

using namespace StoreTesting;

namespace {

class SystemNames : public testing::Test {
  protected:
    std::string prettyName(const std::string& machineInfo) {
        hostNameOfTest = "host";
        TestStore::write(store.etc() + "/machine-info", machineInfo);
        return session.read("Setup:/System", "ComputerName");
    }
    std::string netbiosName(const std::string& configuration) {
        TestStore::write(store.etc() + "/samba/smb.conf", configuration);
        return session.read("State:/Network/NetBIOS", "RegisteredName");
    }

    TestStore store;
    Session session;
};

}  // namespace

TEST_F(SystemNames, ReadsThePrettyNameAsTheShellDoes) {
    EXPECT_EQ(prettyName("PRETTY_HOSTNAME=plain\n"), "plain");
    EXPECT_EQ(prettyName("PRETTY_HOSTNAME=plain"), "plain");
    EXPECT_EQ(prettyName("PRETTY_HOSTNAME=\"a \\\"b\\\" \\\\ c\\$\"\n"), "a \"b\" \\ c$");
    EXPECT_EQ(prettyName("PRETTY_HOSTNAME='a \"b\" \\ c'\n"), "a \"b\" \\ c");
    EXPECT_EQ(prettyName("  PRETTY_HOSTNAME=\" spaced \"  \r\n"), "spaced");
    EXPECT_EQ(prettyName("PRETTY_HOSTNAME=a\\ b\n"), "a b");
    EXPECT_EQ(prettyName("# PRETTY_HOSTNAME=comment\nICON_NAME=x\nPRETTY_HOSTNAME=one\nPRETTY_HOSTNAME=two\n"), "two");
    EXPECT_EQ(prettyName("PRETTY_HOSTNAME=\"Gr\xC3\xBC\xC3\x9F\xE2\x80\x99"
                         "e\"\n"),
              "Gr\xC3\xBC\xC3\x9F\xE2\x80\x99"
              "e");
}

TEST_F(SystemNames, TakesTheHostsNameWhereThePrettyNameIsNone) {
    for (const std::string& text :
         {std::string(), std::string("PRETTY_HOSTNAME=\n"), std::string("PRETTY_HOSTNAME=\"\"\n"),
          std::string("PRETTY_HOSTNAME=\"unclosed\n"), std::string("PRETTY_HOSTNAME=\"a\tb\"\n"),
          std::string("PRETTY_HOSTNAME=\xFF\n"), std::string("XPRETTY_HOSTNAME=x\n"),
          "PRETTY_HOSTNAME=" + std::string(256, 'x'), std::string("PRETTY_HOSTNAME=a\0b\n", 20),
          "PRETTY_HOSTNAME=x\n" + std::string(2 << 20, '\n')}) {
        EXPECT_EQ(prettyName(text), "host") << text.substr(0, 100);
    }
    EXPECT_EQ(prettyName("PRETTY_HOSTNAME=" + std::string(255, 'x')), std::string(255, 'x'));
}

TEST_F(SystemNames, ReadsTheNetBiosNameAsTheServerDoes) {
    EXPECT_EQ(netbiosName("[global]\nnetbios name = FILES\n"), "FILES");
    EXPECT_EQ(netbiosName("[GLOBAL]\n  NetBios  Name=Files and more \r\n"), "Files and more");
    EXPECT_EQ(netbiosName("netbiosname = EARLY\n[share]\n path = /x\n"), "EARLY");
    EXPECT_EQ(netbiosName("[share]\nnetbios name = NO\n[ global ]\nnetbios name = YES\n[other]\nnetbios name = NO\n"),
              "YES");
    EXPECT_EQ(netbiosName("[global]\nnetbios name = A\n[x]\n[global]\nnetbios name = B\n"), "B");
    EXPECT_EQ(netbiosName("[global]\n; netbios name = NO\n#netbios name = NO\nnetbios name = \\\n  SPLIT\n"), "SPLIT");
    EXPECT_EQ(netbiosName("[global]\nnetbios name = \"QUOTED\"\n"), "QUOTED");
    EXPECT_EQ(netbiosName("[global]\nnetbios name = a=b\n"), "a=b");
    EXPECT_EQ(netbiosName("[global]\nnetbios name = %h-x\n"), "host-x");
}

TEST_F(SystemNames, PublishesNoNetBiosNameWhereTheConfigurationHasNone) {
    for (const std::string& text :
         {std::string(), std::string("[global]\n"), std::string("[global]\nnetbios name\n"),
          std::string("[global]\nnetbios name =\n"), std::string("[global]\nnetbios name = %m\n"),
          std::string("[global]\nnetbios name = x%\n"), std::string("[global]\nnetbios aliases = x\n"),
          std::string("[global\nnetbios name = \xFF\n"), std::string("[share]\nnetbios name = x\n"),
          std::string("[global]\nnetbios name = \\"), "[global]\nnetbios name = " + std::string(256, 'x')}) {
        EXPECT_EQ(netbiosName(text), "<none>") << text;
    }
}

TEST_F(SystemNames, ReadsAnyBytesWithoutHarm) {
    std::mt19937 random(1);
    const std::string pieces[] = {
        "[global]",           "netbios name", "PRETTY_HOSTNAME", "=", "\"", "'", "\\", "\n", "%h", "%", "]", "[", "x",
        std::string(1, '\0'), "\xC3"};
    for (int round = 0; round < 200; ++round) {
        std::string text;
        for (auto i = random() % 12; i > 0; --i) text += pieces[random() % std::size(pieces)];
        prettyName(text);
        netbiosName(text);
    }
}
