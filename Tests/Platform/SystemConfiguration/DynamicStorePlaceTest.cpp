// Where the store is, and whom its folder may belong to.

#include "StoreTesting.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

using namespace StoreTesting;
namespace fs = std::filesystem;

namespace {

constexpr uid_t kNobody = 65534;
constexpr const char* kSystemStore = "/run/kxplatform/dynamic-store";

/// What a process exits with that may not do what the test needs.
constexpr int kMayNot = 77;

/// Runs `body` in a process that has a /run of its own, which begins empty.
template <class Body>
int withOwnRun(Body body) {
    return inChild([&] {
        unsetenv("KXPLATFORM_DYNAMIC_STORE");
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", "/run", "tmpfs", 0, "mode=755") != 0)
            return kMayNot;
        return body();
    });
}

bool makeRunReadOnly() { return mount("none", "/run", nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0; }
bool makeRunWritable() { return mount("none", "/run", nullptr, MS_REMOUNT, nullptr) == 0; }

/// Runs `body` as a user who is nobody in particular, with a run-time folder of his own.
template <class Body>
int asUser(const std::string& runtime, Body body) {
    return inChild([&] {
        // Root stays kept: what a build with counters writes as the process ends is root's.
        if (setresgid(kNobody, kNobody, 0) != 0 || setresuid(kNobody, kNobody, 0) != 0) return kMayNot;
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        const int result = body();
        return seteuid(0) == 0 ? result : 98;
    });
}

/// A run-time folder of that user.
std::string runtimeIn(const TemporaryFolder& folder) {
    fs::permissions(folder.path(), fs::perms(0755));
    const std::string runtime = folder / "runtime";
    if (mkdir(runtime.c_str(), 0700) != 0 || chown(runtime.c_str(), kNobody, kNobody) != 0) return {};
    return runtime;
}

}  // namespace

#define SKIP_WHERE_THIS_MAY_NOT(ended) \
    if ((ended) == kMayNot) GTEST_SKIP() << "may not have folders and users of its own"

// ---- Links and other people's folders

/// A store of the test's own, and a folder with a file that nothing may happen to.
class DynamicStoreLinks : public testing::Test {
  protected:
    DynamicStoreLinks() {
        fs::create_directory(victim());
        TestStore::write(victim() + "/file", "precious");
        fs::create_directory(store.path());
    }
    std::string victim() const { return store.etc() + "/victim"; }
    void expectUntouched() const {
        EXPECT_EQ(TestStore::read(victim() + "/file"), "precious");
        EXPECT_EQ(std::distance(fs::directory_iterator(victim()), fs::directory_iterator()), 1);
    }

    TestStore store;
};

TEST_F(DynamicStoreLinks, AreNotFollowedFromFoldersOfTheStore) {
    for (const char* const name : {"staging", "values", "signals", "contents.new", "."}) {
        if (std::string(name) != ".") fs::create_directory_symlink(victim(), store.path() + "/" + name);
    }
    Session session;
    EXPECT_TRUE(session.setText("key", "value"));
    EXPECT_EQ(session.read("key"), "value");
    EXPECT_TRUE(session.remove("key"));
    expectUntouched();
}

TEST_F(DynamicStoreLinks, AreNotFollowedFromFilesOfTheStore) {
    for (const char* const name : {"contents", "lock"}) {
        fs::create_symlink(victim() + "/file", store.path() + "/" + name);
        Session session;
        if (session.get()) {
            EXPECT_FALSE(session.setText("key", "value")) << name;
            EXPECT_NE(SCError(), kSCStatusOK);
        }
        expectUntouched();
        fs::remove(store.path() + "/" + name);
    }
    Session session;
    EXPECT_TRUE(session.setText("key", "value"));
}

TEST_F(DynamicStoreLinks, AreNoStores) {
    fs::remove_all(store.path());
    fs::create_directory_symlink(victim(), store.path());
    EXPECT_EQ(SCDynamicStoreCreate(nullptr, CFSTR(""), nullptr, nullptr), nullptr);
    EXPECT_EQ(SCError(), kSCStatusFailed);
    expectUntouched();
}

TEST_F(DynamicStoreLinks, TakeTheStoreFromNobodyWhoHasItOpen) {
    Session session;
    ASSERT_TRUE(session.setText("key", "value"));
    fs::rename(store.path(), store.path() + ".moved");
    fs::create_directory_symlink(victim(), store.path());
    EXPECT_FALSE(session.setText("key", "other"));
    EXPECT_EQ(session.get("key"), nullptr);
    expectUntouched();
    fs::remove(store.path());
    fs::rename(store.path() + ".moved", store.path());
    EXPECT_EQ(session.read("key"), "value");
    EXPECT_TRUE(session.setText("key", "other"));
}

TEST_F(DynamicStoreLinks, AreNotFollowedFromPipesEither) {
    ASSERT_EQ(mkfifo((store.path() + "/contents").c_str(), 0600), 0);
    Session session;
    EXPECT_EQ(session.get(), nullptr) << "and nobody waits for a writer";
}

TEST_F(DynamicStoreLinks, FoldersOfOtherUsersAreRefused) {
    if (chown(store.path().c_str(), kNobody, kNobody) != 0) GTEST_SKIP() << "may give nothing away";
    EXPECT_EQ(SCDynamicStoreCreate(nullptr, CFSTR(""), nullptr, nullptr), nullptr);
    EXPECT_EQ(SCError(), kSCStatusAccessError);
    EXPECT_TRUE(fs::is_empty(store.path()));
}

TEST_F(DynamicStoreLinks, FoldersThatOthersMayWriteToLaterAreRefusedThen) {
    Session session;
    ASSERT_TRUE(session.setText("key", "value"));
    fs::permissions(store.path(), fs::perms(0777));
    EXPECT_FALSE(session.setText("key", "other"));
    EXPECT_EQ(SCError(), kSCStatusAccessError);
    EXPECT_EQ(session.get("key"), nullptr);
    fs::permissions(store.path(), fs::perms(0755));
    EXPECT_EQ(session.read("key"), "value");
}

// ---- The computer's one store

TEST(DynamicStorePlace, IsMadeByTheFirstProcessOfRoot) {
    const int ended = withOwnRun([] {
        Session session;
        if (!session.setText("key", "value")) return 1;
        struct stat status;
        if (stat(kSystemStore, &status) != 0 || (status.st_mode & 0777) != 0755) return 2;
        return asUser("", [] { return Session().read("key") == "value" ? 0 : 3; });
    });
    SKIP_WHERE_THIS_MAY_NOT(ended);
    EXPECT_EQ(ended, 0);
}

TEST(DynamicStorePlace, IsNeverRootsOwn) {
    const TemporaryFolder folder;
    const int ended = withOwnRun([&] {
        setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
        const bool hasTemporary = fs::exists("/tmp/kxplatform-0");
        if (!makeRunReadOnly()) return kMayNot;
        hostNameOfTest = "host";
        Session session;
        if (!session.get()) return 1;
        if (session.setText("key", "value") || SCError() != kSCStatusAccessError) return 2;
        if (session.get("key") || SCError() != kSCStatusNoKey) return 3;
        if (session.read("Setup:/System", "ComputerName") == "<none>") return 4;
        if (!fs::is_empty(folder.path()) || fs::exists("/tmp/kxplatform-0") != hasTemporary) return 5;
        // Somebody makes it: the same session goes on with it.
        if (!kForkedMayStartThreads) return 0;
        return onOwnThread([&] {
            if (!session.watch({"key"}) || !makeRunWritable()) return 6;
            if (inChild([] { return Session().setText("key", "value") ? 0 : 1; }) != 0) return 7;
            if (!session.hears("key") || session.read("key") != "value") return 8;
            return session.setText("key", "other") ? 0 : 9;
        });
    });
    SKIP_WHERE_THIS_MAY_NOT(ended);
    EXPECT_EQ(ended, 0);
}

TEST(DynamicStorePlace, IsTheUsersOwnWhileThereIsNoOther) {
    if (!kForkedMayStartThreads) GTEST_SKIP() << "listens in a forked process";
    const TemporaryFolder folder;
    const std::string runtime = runtimeIn(folder);
    if (runtime.empty()) GTEST_SKIP() << "may give nothing away";
    const int ended = withOwnRun([&] {
        return asUser(runtime, [&] {
            return onOwnThread([&] {
                Session session;
                if (!session.setText("key", "own") || !session.watch({"key", "never"})) return 1;
                if (!fs::exists(runtime + "/kxplatform/dynamic-store/contents")) return 2;
                session.told.clear();
                // Root makes the computer's store.
                const int made = inChild([] {
                    if (seteuid(0) != 0) return kMayNot;
                    return Session().setText("key", "system") ? 0 : 1;
                });
                if (made != 0) return made;
                if (!session.hears("key")) return 4;
                if (session.read("key") != "system") return 5;
                if (session.setText("key", "x") || SCError() != kSCStatusAccessError) return 6;
                return Session().read("key") == "system" ? 0 : 7;
            });
        });
    });
    SKIP_WHERE_THIS_MAY_NOT(ended);
    EXPECT_EQ(ended, 0);
}

TEST(DynamicStorePlace, IsTheUsersOwnInTheTemporaryFolderWithoutARunTimeFolder) {
    const int ended = withOwnRun([&] {
        if (mount("none", "/tmp", "tmpfs", 0, "mode=1777") != 0) return kMayNot;
        return asUser("", [&] {
            {
                Session session;
                if (!session.setText("key", "own")) return 1;
            }
            const std::string own = "/tmp/kxplatform-" + std::to_string(kNobody);
            struct stat status;
            if (stat(own.c_str(), &status) != 0 || (status.st_mode & 0777) != 0700) return 2;
            // Somebody else has made the folder: it is not used.
            fs::remove_all(own);
            if (inChild([&] {
                    return seteuid(0) == 0 && mkdir(own.c_str(), 0755) == 0 && chown(own.c_str(), 1, 1) == 0 ? 0 : 1;
                }) != 0)
                return kMayNot;
            return SCDynamicStoreCreate(nullptr, CFSTR(""), nullptr, nullptr) ? 3 : 0;
        });
    });
    SKIP_WHERE_THIS_MAY_NOT(ended);
    EXPECT_EQ(ended, 0);
}

TEST(DynamicStorePlace, IsNoFolderOfSomebodyElsesInItsPlace) {
    const TemporaryFolder folder;
    const std::string runtime = runtimeIn(folder);
    if (runtime.empty()) GTEST_SKIP() << "may give nothing away";
    const int ended = withOwnRun([&] {
        fs::create_directories(kSystemStore);
        fs::permissions("/run/kxplatform", fs::perms(0777));
        if (SCDynamicStoreCreate(nullptr, CFSTR(""), nullptr, nullptr)) return 1;
        if (SCError() != kSCStatusAccessError) return 2;
        return asUser(runtime, [] { return SCDynamicStoreCreate(nullptr, CFSTR(""), nullptr, nullptr) ? 3 : 0; });
    });
    SKIP_WHERE_THIS_MAY_NOT(ended);
    EXPECT_EQ(ended, 0);
}

TEST(DynamicStorePlace, ComesAndGoes) {
    TestStore store;
    Session session;
    ASSERT_TRUE(session.watch({"key"}));
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(inChild([] { return Session().setText("key", "value") ? 0 : 1; }), 0);
        EXPECT_TRUE(session.hears("key"));
        EXPECT_EQ(session.read("key"), "value");
        session.told.clear();
        fs::remove_all(store.path());
        EXPECT_TRUE(session.hears("key"));
        EXPECT_EQ(session.get("key"), nullptr);
        session.told.clear();
    }
}
