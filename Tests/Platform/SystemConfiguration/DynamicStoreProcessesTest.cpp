// Several processes at one store: whole batches, writers that die, locks, forks.

#include "CallsOfTest.h"
#include "StoreTesting.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <thread>

using namespace StoreTesting;

namespace {

/// Which keys a batch sets; large enough, all together, to be written page by page.
constexpr int kKeys = 8;
constexpr std::size_t kSize = 3000;

class DynamicStoreProcesses : public testing::Test {
  protected:
    static std::string key(int i) { return "key" + std::to_string(i); }

    /// Sets all keys to a long text of one letter.
    static bool setAll(SCDynamicStoreRef session, char letter) {
        const auto value = text(std::string(kSize, letter));
        std::vector<std::pair<std::string, CFTypeRef>> entries;
        for (int i = 0; i < kKeys; ++i) entries.emplace_back(key(i), value.get());
        return SCDynamicStoreSetMultiple(session, dictionary(entries), nullptr, nullptr);
    }

    /// The letter that all keys have; "torn" when they differ, "none" when there are none.
    static std::string letterOfAll(SCDynamicStoreRef session) {
        const auto found = hold(SCDynamicStoreCopyMultiple(session, nullptr, array({"key."})));
        if (!found) return "failed";
        const CFIndex count = CFDictionaryGetCount(found);
        if (count == 0) return "none";
        if (count != kKeys) return "torn";
        std::set<std::string> values;
        for (int i = 0; i < kKeys; ++i)
            values.insert(Held::utf8(static_cast<CFStringRef>(CFDictionaryGetValue(found, text(key(i))))));
        if (values.size() != 1 || values.begin()->size() != kSize) return "torn";
        return values.begin()->substr(0, 1);
    }

    TestStore store;
    Session session;
};

/// Tells another process something, or waits until it is told.
class Signal {
  public:
    Signal() {
        if (pipe(ends_) != 0) std::abort();
    }
    ~Signal() {
        for (const int each : ends_) close(each);
    }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    void give() const {
        if (write(ends_[1], "+", 1) != 1) _exit(99);
    }
    /// False when it has not come in ten seconds.
    bool wait() const {
        pollfd polled{ends_[0], POLLIN, 0};
        char byte;
        return poll(&polled, 1, 10'000) == 1 && read(ends_[0], &byte, 1) == 1;
    }

  private:
    int ends_[2];
};

}  // namespace

// ---- Batches

TEST_F(DynamicStoreProcesses, ShowWholeBatchesToEachOther) {
    const pid_t writer = fork();
    if (writer == 0) {
        Session own;
        for (int i = 0; i < 200; ++i) setAll(own, static_cast<char>('a' + i % 26));
        _exit(setAll(own, '!') ? 0 : 1);
    }
    std::string seen;
    int torn = 0, empty = 0;
    while (seen != "!") {
        const bool wasThere = !seen.empty() && seen != "none";
        seen = letterOfAll(session);
        if (seen == "torn" || seen == "failed") ++torn;
        if (wasThere && seen == "none") ++empty;
        int status;
        if (waitpid(writer, &status, WNOHANG) == writer) {
            EXPECT_EQ(status, 0);
            break;
        }
    }
    EXPECT_EQ(letterOfAll(session), "!");
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(empty, 0);
    waitpid(writer, nullptr, 0);
}

TEST_F(DynamicStoreProcesses, ShowWholeBatchesToTheirThreads) {
    ASSERT_TRUE(setAll(session, 'a'));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        Session own;
        for (int i = 0; i < 100; ++i) setAll(own, static_cast<char>('a' + i % 26));
        done = true;
    });
    int torn = 0;
    while (!done) {
        if (letterOfAll(session).size() != 1) ++torn;
    }
    writer.join();
    EXPECT_EQ(torn, 0);
}

// ---- Writers that die

/// A batch by a process that kills itself in its first, second, ... call; before and after, others see it whole or not.
class WriterThatDies : public DynamicStoreProcesses, public testing::WithParamInterface<const char*> {
  protected:
    /// Brings the store into the state that the parameter names.
    void prepare() {
        const std::string state = GetParam();
        if (state != "new") {
            ASSERT_TRUE(setAll(session, 'a'));
        }
        if (state == "replaced") {  // so much of the past that the next batch begins a new file
            struct stat status;
            do {
                ASSERT_TRUE(session.setText("filler", std::string(20000, 'x')));
                ASSERT_EQ(stat(store.contents().c_str(), &status), 0);
            } while (status.st_size < (64 << 10) + 2 * (20000 + kKeys * 3100));
        }
    }
};

TEST_P(WriterThatDies, LeavesABatchWholeOrNotThere) {
    int call = 0;
    for (bool survived = false; !survived; ++call) {
        ASSERT_LT(call, 100);
        std::filesystem::remove_all(store.path());
        prepare();
        const std::string before = letterOfAll(session);
        const int ended = inChild([&] {
            CallsOfTest::made = 0;
            CallsOfTest::deadly = call + 1;
            const bool done = setAll(session, 'b');
            CallsOfTest::deadly = 0;
            return done ? 0 : 1;
        });
        survived = ended == 0;
        ASSERT_TRUE(survived || ended == 128 + SIGKILL) << ended;
        const std::string after = letterOfAll(session);
        EXPECT_TRUE(after == before || after == "b") << "call " << call << ": " << after;
        EXPECT_TRUE(!survived || after == "b");
        Session fresh;
        EXPECT_EQ(letterOfAll(fresh), after) << "call " << call;
        EXPECT_TRUE(session.setText("later", "value")) << "call " << call;
        EXPECT_EQ(letterOfAll(fresh), after) << "call " << call;
        EXPECT_TRUE(setAll(session, 'c')) << "call " << call;
        EXPECT_EQ(letterOfAll(fresh), "c") << "call " << call;
        EXPECT_FALSE(std::filesystem::exists(store.contents() + ".new") && survived);
    }
    EXPECT_GT(call, 4) << "each call in turn";
}

INSTANTIATE_TEST_SUITE_P(DynamicStoreProcesses, WriterThatDies, testing::Values("new", "there", "replaced"),
                         [](const auto& each) { return std::string("InAStoreThatIs") + each.param; });

TEST_F(DynamicStoreProcesses, TellOfABatchOnlyWhenItIsThere) {
    ASSERT_TRUE(setAll(session, 'a'));
    ASSERT_TRUE(session.watch({}, {"key.", "sentinel"}));
    // In the fourth call (the folder is there, the lock had, the file open) half a batch is written.
    for (int call = 1; call < 6; ++call) {
        inChild([&] {
            CallsOfTest::made = 0;
            CallsOfTest::deadly = call;
            return setAll(session, 'b') ? 0 : 1;
        });
        const std::string seen = letterOfAll(session);
        ASSERT_TRUE(session.notify("sentinel"));
        ASSERT_TRUE(session.hears("sentinel"));
        Session::Told all;
        for (const auto& told : session.told) all.insert(told.begin(), told.end());
        EXPECT_EQ(all.size(), seen == "a" ? 1u : kKeys + 1u) << call << seen;
        session.told.clear();
        ASSERT_TRUE(setAll(session, 'a'));
        ASSERT_TRUE(session.hears("key1"));
        session.told.clear();
    }
}

TEST_F(DynamicStoreProcesses, GoOnAfterAWriterWasKilledAnywhere) {
    for (int round = 0; round < 20; ++round) {
        Signal begun;
        const pid_t writer = fork();
        if (writer == 0) {
            Session own;
            for (int i = 0;; ++i) {
                setAll(own, static_cast<char>('a' + i % 26));
                if (i == round) begun.give();
            }
        }
        EXPECT_TRUE(begun.wait());
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        EXPECT_EQ(letterOfAll(session).size(), 1u) << letterOfAll(session);
        EXPECT_TRUE(setAll(session, '!'));
        EXPECT_EQ(letterOfAll(session), "!");
    }
}

// ---- The lock

// A child that was forked while its parent held the lock lives on, and the parent dies: nobody holds the lock.
TEST_F(DynamicStoreProcesses, LeaveNoLockToTheirChildren) {
    ASSERT_TRUE(session.setText("key", "value"));
    static Signal* end;
    Signal made;
    end = &made;
    const int ended = inChild([&] {
        CallsOfTest::last = [] {
            if (fork() == 0) {
                CallsOfTest::deadly = 0;
                end->wait();
                _exit(0);
            }
        };
        CallsOfTest::made = 0;
        CallsOfTest::deadly = 4;
        return session.setText("key", "half") ? 0 : 1;
    });
    EXPECT_EQ(ended, 128 + SIGKILL);
    EXPECT_EQ(inChild([&] {
                  alarm(20);  // a lock that is held would be waited for without end
                  return session.setText("key", "other") ? 0 : 1;
              }),
              0);
    EXPECT_EQ(session.read("key"), "other");
    made.give();
}

TEST_F(DynamicStoreProcesses, ReadWhileAnotherHoldsTheLock) {
    ASSERT_TRUE(session.setText("key", "value"));
    Signal held, release;
    const pid_t holder = fork();
    if (holder == 0) {
        const int file = open(store.lock().c_str(), O_RDWR);
        struct flock lock {};
        lock.l_type = F_WRLCK;
        if (fcntl(file, F_SETLKW, &lock) != 0) _exit(1);
        held.give();
        _exit(release.wait() ? 0 : 1);
    }
    ASSERT_TRUE(held.wait());
    std::atomic<bool> written{false};
    std::thread writer([&] {
        EXPECT_TRUE(session.setText("key", "later"));
        written = true;
    });
    Session reader;
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(reader.read("key"), "value");
        EXPECT_TRUE(reader.watch({"key"}));
        EXPECT_EQ(reader.list("k.*").size(), 1u);
        EXPECT_FALSE(written);
    }
    release.give();
    writer.join();
    EXPECT_TRUE(reader.hears("key"));
    EXPECT_EQ(reader.read("key"), "later");
    waitpid(holder, nullptr, 0);
}

// ---- Forks

TEST_F(DynamicStoreProcesses, UseSessionsThatTheyInherit) {
    ASSERT_TRUE(session.setText("key", "parent"));
    ASSERT_TRUE(session.watch({"key"}));
    EXPECT_EQ(inChild([&] {
                  if (session.read("key") != "parent" || !session.setText("key", "child")) return 1;
                  Session own;
                  return own.read("key") == "child" && own.remove("key") ? 0 : 2;
              }),
              0);
    EXPECT_TRUE(session.hears("key")) << "and take no news from their parents";
    EXPECT_EQ(session.get("key"), nullptr);
}

TEST_F(DynamicStoreProcesses, ListenInAChildToo) {
    if (!kForkedMayStartThreads) GTEST_SKIP() << "listens in a forked process";
    ASSERT_TRUE(session.watch({"key"}));
    EXPECT_EQ(inChild([] {
                  return onOwnThread([] {
                      Session own;
                      if (!own.watch({"key"})) return 1;
                      std::thread([&] { own.setText("key", "child"); }).join();
                      return own.hears("key") ? 0 : 2;
                  });
              }),
              0);
    EXPECT_TRUE(session.hears("key"));
}

TEST_F(DynamicStoreProcesses, MayForkWhileTheirThreadsWrite) {
    if (!kForkedMayAllocate) GTEST_SKIP() << "allocates in a process forked from one of several threads";
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&, i] {
            Session own;
            while (!done) {
                setAll(own, static_cast<char>('a' + i));
                letterOfAll(own);
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(inChild([&] {
                      alarm(20);
                      Session own;
                      return setAll(own, 'x') && letterOfAll(session).size() == 1 ? 0 : 1;
                  }),
                  0);
    }
    done = true;
    for (std::thread& thread : threads) thread.join();
}

// ---- No room

TEST_F(DynamicStoreProcesses, ChangeNothingOnAFullDisk) {
    ASSERT_TRUE(setAll(session, 'a'));
    ASSERT_TRUE(session.watch({}, {"key."}));
    for (const int error : {ENOSPC, EDQUOT, EIO}) {
        CallsOfTest::writeError = error;
        EXPECT_FALSE(setAll(session, 'b'));
        EXPECT_EQ(SCError(), error == EIO ? int{kSCStatusFailed} : error);
        EXPECT_EQ(letterOfAll(session), "a");
        CallsOfTest::writeError = 0;
        Session fresh;
        EXPECT_EQ(letterOfAll(fresh), "a");
    }
    EXPECT_STREQ(SCErrorString(ENOSPC), "No space left on device");
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
    EXPECT_TRUE(session.told.empty());
    EXPECT_TRUE(setAll(session, 'c'));
    EXPECT_EQ(letterOfAll(session), "c");
    EXPECT_TRUE(session.hears("key0"));
}

TEST_F(DynamicStoreProcesses, BeginNoFileOnAFullDisk) {
    CallsOfTest::writeError = ENOSPC;
    EXPECT_FALSE(setAll(session, 'a'));
    CallsOfTest::writeError = 0;
    EXPECT_EQ(letterOfAll(session), "none");
    EXPECT_FALSE(std::filesystem::exists(store.contents()));
    EXPECT_FALSE(std::filesystem::exists(store.contents() + ".new"));
    EXPECT_TRUE(setAll(session, 'a'));
}

// A limit of the process, which the system checks as it writes.
TEST_F(DynamicStoreProcesses, ChangeNothingBeyondTheirLimit) {
    ASSERT_TRUE(setAll(session, 'a'));
    EXPECT_EQ(inChild([&] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit{40000, 40000};
                  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 3;
                  if (setAll(session, 'b') || SCError() != EFBIG) return 1;
                  return letterOfAll(session) == "a" ? 0 : 2;
              }),
              0);
    EXPECT_EQ(letterOfAll(session), "a");
    EXPECT_TRUE(setAll(session, 'c'));
}
