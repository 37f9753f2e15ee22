#include "StreamOwner.h"
#include "TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

using namespace KXCore;

namespace {

struct StreamOwnerTest : testing::Test {
    const TemporaryFolder folder;
    const std::string path = folder / "stream";
};

}  // namespace

TEST_F(StreamOwnerTest, IsOneAtATimeAndIsNamed) {
    {
        const StreamOwner owner(path, "agent");
        try {
            const StreamOwner second(path, "agent");
            ADD_FAILURE() << "there were two";
        } catch (const StreamOwnedError& error) {
            EXPECT_EQ(error.what(), path + ": agent (process " + std::to_string(getpid()) + ") owns it");
            EXPECT_EQ(error.program(), "agent");
            EXPECT_EQ(error.pid(), getpid());
            EXPECT_TRUE(error.passes());
        }
        EXPECT_THROW(StreamOwner::forAMoment(path, "tool"), StreamOwnedError);
    }
    const StreamOwner again(path, "agent");
}

TEST_F(StreamOwnerTest, LeavesNoFileWhereNoAgentWas) {
    EXPECT_FALSE(StreamOwner::forAMoment(path, "tool"));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(StreamOwnerTest, MakesAFileForItsOwnerAloneAndKeepsIt) {
    { const StreamOwner owner(path, "agent"); }
    struct stat status;
    ASSERT_EQ(stat((path + ".lock").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_TRUE(StreamOwner::forAMoment(path, "tool"));
}

TEST_F(StreamOwnerTest, NamesNobodyWhenTheFileTellsNothing) {
    const StreamOwner owner(path, "agent");
    std::filesystem::resize_file(path + ".lock", 0);
    try {
        const StreamOwner second(path, "agent");
        ADD_FAILURE() << "there were two";
    } catch (const StreamOwnedError& error) {
        EXPECT_STREQ(error.reason().c_str(), "another program owns it");
    }
}

TEST_F(StreamOwnerTest, KeepsTheNumberOfLostEventsForTheNextOwner) {
    {
        const StreamOwner owner(path, "agent");
        EXPECT_EQ(owner.lost(), 0u);
        owner.setLost(18446744073709551615u);
    }
    { const auto tool = StreamOwner::forAMoment(path, "a-program-with-a-long-name"); }
    const StreamOwner next(path, "agent");
    EXPECT_EQ(next.lost(), 18446744073709551615u);
    next.setLost(0);
    EXPECT_EQ(next.lost(), 0u);
    EXPECT_EQ(std::filesystem::file_size(path + ".lock"), 64u);
}

TEST_F(StreamOwnerTest, FollowsNoLinkAndTakesNoFolder) {
    folder.write("victim", "text");
    std::filesystem::create_symlink(folder / "victim", path + ".lock");
    EXPECT_THROW(StreamOwner(path, "agent"), StreamError);
    EXPECT_EQ(std::filesystem::file_size(folder / "victim"), 4u);
    std::filesystem::create_directory(folder / "other.lock");
    EXPECT_THROW(StreamOwner(folder / "other", "agent"), StreamError);
}

TEST_F(StreamOwnerTest, RefusesAFileOfSomebodyElse) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
    { const StreamOwner owner(path, "agent"); }
    ASSERT_EQ(chown((path + ".lock").c_str(), 65534, 65534), 0);
    EXPECT_THROW(StreamOwner(path, "agent"), StreamError);
    EXPECT_TRUE(StreamOwner::forAMoment(path, "tool"));
}
