// What sessions and their calls take of the system.

#include "CallsOfTest.h"
#include "StoreTesting.h"

#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

using namespace StoreTesting;
namespace fs = std::filesystem;

namespace {

class DynamicStoreCost : public testing::Test {
  protected:
    TestStore store;
    Session session;
};

struct Descriptors {
    int all = 0;
    int watches = 0;  ///< inotify's
};

Descriptors countDescriptors() {
    Descriptors count;
    for (const auto& each : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        ++count.all;
        if (fs::read_symlink(each.path(), gone).string().find("inotify") != std::string::npos) ++count.watches;
    }
    return count;
}

int countThreads() {
    return static_cast<int>(std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator()));
}

}  // namespace

TEST_F(DynamicStoreCost, IsOneWatchForAllSessionsOfAProcess) {
    ASSERT_TRUE(session.watch({"first", "Setup:/System"}));
    const Descriptors before = countDescriptors();
    const int threads = countThreads();
    EXPECT_EQ(before.watches, 1);
    std::vector<std::unique_ptr<Session>> many;
    for (int i = 0; i < 600; ++i) {
        many.push_back(std::make_unique<Session>());
        ASSERT_TRUE(many.back()->watch({"key" + std::to_string(i), "Setup:/System"})) << i;
    }
    const Descriptors after = countDescriptors();
    EXPECT_EQ(after.watches, 1);
    EXPECT_EQ(after.all, before.all);
    EXPECT_EQ(countThreads(), threads);
    ASSERT_TRUE(session.setText("key599", "1"));
    EXPECT_TRUE(many.back()->hears("key599"));
    EXPECT_TRUE(many.front()->told.empty());
}

TEST_F(DynamicStoreCost, IsNothingOnceNobodyListens) {
    const Descriptors before = countDescriptors();
    const int threads = countThreads();
    {
        Session other;
        ASSERT_TRUE(other.watch({"key"}));
        EXPECT_EQ(countDescriptors().watches, 1);
    }
    EXPECT_EQ(countDescriptors().watches, 0);
    EXPECT_EQ(countDescriptors().all, before.all);
    EXPECT_EQ(countThreads(), threads);
}

TEST_F(DynamicStoreCost, IsNoValueReadToListKeys) {
    for (int i = 0; i < 50; ++i) ASSERT_TRUE(session.setText("key" + std::to_string(i), std::string(1000, 'x')));
    ASSERT_EQ(session.list("key.*").size(), 50u);
    CallsOfTest::reads = 0;
    EXPECT_EQ(session.list("key.*").size(), 50u);
    EXPECT_EQ(CallsOfTest::reads, 0);
    EXPECT_EQ(session.read("key7"), std::string(1000, 'x'));
    EXPECT_EQ(CallsOfTest::reads, 1) << "the one value";
}

TEST_F(DynamicStoreCost, IsNoFileOfTheSystemsForKeysThatNeedNone) {
    store.setPrettyName("name");
    store.setNetBiosName("NAME");
    ASSERT_TRUE(session.setText("key", "value"));
    const int watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    ASSERT_GE(inotify_add_watch(watch, store.etc().c_str(), IN_OPEN), 0);
    ASSERT_GE(inotify_add_watch(watch, (store.etc() + "/samba").c_str(), IN_OPEN), 0);
    char buffer[4096];
    const auto opened = [&] { return read(watch, buffer, sizeof buffer) > 0; };

    EXPECT_EQ(session.read("key"), "value");
    EXPECT_EQ(session.get("other"), nullptr);
    EXPECT_TRUE(session.remove("key"));
    EXPECT_FALSE(session.remove("key"));
    EXPECT_TRUE(SCDynamicStoreAddValue(session, CFSTR("key"), CFSTR("value")));
    EXPECT_EQ(session.list("k.*").size(), 1u);
    EXPECT_TRUE(session.setText("Setup:/System", "set"));
    EXPECT_EQ(session.read("Setup:/System"), "set");
    EXPECT_TRUE(session.remove("Setup:/System"));
    EXPECT_FALSE(opened());
    EXPECT_EQ(session.read("State:/Network/NetBIOS", "RegisteredName"), "NAME");
    EXPECT_TRUE(opened());
    close(watch);
}

TEST_F(DynamicStoreCost, IsSaidWhenItCannotBePaid) {
    EXPECT_EQ(inChild([] {
                  Session other;
                  const rlim_t used = static_cast<rlim_t>(countDescriptors().all);
                  const rlimit limit{used, used};
                  if (setrlimit(RLIMIT_NOFILE, &limit) != 0) return 3;
                  while (dup(0) >= 0) {
                  }
                  if (SCDynamicStoreCreateRunLoopSource(nullptr, other, 0)) return 1;
                  return SCError() == EMFILE ? 0 : 2;
              }),
              0);
    EXPECT_STREQ(SCErrorString(EMFILE), "Too many open files");
}
