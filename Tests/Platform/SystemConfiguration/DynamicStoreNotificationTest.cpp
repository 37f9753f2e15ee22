// What sessions are told, and when.

#include "StoreTesting.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <latch>
#include <string>
#include <thread>

using namespace StoreTesting;

namespace {

using Told = Session::Told;

class DynamicStoreNotification : public testing::Test {
  protected:
    /// What `session` was told, after all that happened so far has been told.
    std::vector<Told> allTold() {
        EXPECT_TRUE(session.notify("sentinel"));
        EXPECT_TRUE(session.hears("sentinel"));
        std::vector<Told> told = session.told;
        told.back().erase("sentinel");
        if (told.back().empty()) told.pop_back();
        session.told.clear();
        return told;
    }

    bool watch(std::vector<std::string> keys, const std::vector<std::string>& patterns = {}) {
        keys.push_back("sentinel");
        return session.watch(keys, patterns);
    }

    TestStore store;
    Session session;
};

constexpr const char* kSystem = "Setup:/System";
constexpr const char* kNetBios = "State:/Network/NetBIOS";
constexpr const char* kSMB = "State:/Network/Global/SMB";

}  // namespace

// ---- Keys and patterns

TEST_F(DynamicStoreNotification, TellsOfKeysThatAreSetAddedAndRemoved) {
    ASSERT_TRUE(watch({"key"}));
    ASSERT_TRUE(session.setText("key", "1"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"key"}}));
    ASSERT_TRUE(session.remove("key"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"key"}}));
    ASSERT_TRUE(SCDynamicStoreAddValue(session, CFSTR("key"), CFSTR("2")));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"key"}}));
}

TEST_F(DynamicStoreNotification, TellsOfKeysThatSomebodyGivesNoticeOf) {
    ASSERT_TRUE(watch({"key", ""}));
    ASSERT_TRUE(session.notify("key"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"key"}}));
    ASSERT_TRUE(session.notify(""));
    EXPECT_EQ(allTold(), (std::vector<Told>{{""}}));
    EXPECT_EQ(session.get("key"), nullptr) << "notice makes no value";
}

TEST_F(DynamicStoreNotification, TellsOfNothingElse) {
    ASSERT_TRUE(watch({"key"}));
    ASSERT_TRUE(session.setText("other", "1"));
    ASSERT_TRUE(session.remove("other"));
    EXPECT_FALSE(session.remove("key"));
    EXPECT_EQ(session.get("key"), nullptr);
    EXPECT_EQ(allTold(), std::vector<Told>{});
}

TEST_F(DynamicStoreNotification, TellsOfKeysThatAPatternMatches) {
    ASSERT_TRUE(watch({}, {"State:/[^/]+/IPv4", "x+"}));
    for (const char* const key : {"State:/en0/IPv4", "State:/en0/IPv6", "State:/en0/IPv4/x", "xx"})
        ASSERT_TRUE(session.setText(key, "1"));
    Told all;
    for (const Told& told : allTold()) all.insert(told.begin(), told.end());
    EXPECT_EQ(all, (Told{"State:/en0/IPv4", "xx"}));
}

TEST_F(DynamicStoreNotification, TellsOfAKeyOnceThoughKeyAndPatternsMatch) {
    ASSERT_TRUE(watch({"key", "key"}, {"key", "k.*"}));
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(session.setText("key", "1"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"key"}})) << "and once for all that happened before it was told";
}

TEST_F(DynamicStoreNotification, FollowsTheKeysThatWereNamedLast) {
    ASSERT_TRUE(watch({"first"}));
    ASSERT_TRUE(watch({"second"}));
    ASSERT_TRUE(session.setText("first", "1"));
    ASSERT_TRUE(session.setText("second", "1"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"second"}}));
    ASSERT_TRUE(SCDynamicStoreSetNotificationKeys(session, nullptr, nullptr));
    ASSERT_TRUE(session.setText("second", "2"));
    ASSERT_TRUE(watch({"third"}));
    ASSERT_TRUE(session.setText("third", "1"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"third"}}));
}

TEST_F(DynamicStoreNotification, KeepsItsKeysWhenNewOnesAreRefused) {
    ASSERT_TRUE(watch({"key"}));
    EXPECT_FALSE(SCDynamicStoreSetNotificationKeys(session, nullptr, array({"("})));
    ASSERT_TRUE(session.setText("key", "1"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"key"}}));
}

// ---- Several changes as one

TEST_F(DynamicStoreNotification, TellsOfChangesMadeTogetherAtOnce) {
    ASSERT_TRUE(watch({"a", "b", "c", "d"}));
    ASSERT_TRUE(session.setText("c", "old"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"c"}}));
    // Told from another thread, as fast as it can be: a part of the changes would show.
    for (int round = 0; round < 50; ++round) {
        std::thread([&] {
            SCDynamicStoreSetMultiple(session, dictionary({{"a", CFSTR("1")}, {"b", CFSTR("2")}}), array({"c"}),
                                      array({"d"}));
            SCDynamicStoreSetValue(session, CFSTR("c"), CFSTR("again"));
        }).detach();
        ASSERT_TRUE(session.hears("a"));
        EXPECT_GE(session.told.front().size(), 4u);
        ASSERT_TRUE(Session::runUntil([&] { return session.read("c") == "again"; }));
        allTold();
    }
}

// The callout reads what it is told of: all of one batch, whatever the writer does by then.
TEST_F(DynamicStoreNotification, ReadsWholeBatchesWhenItIsTold) {
    struct Reader {
        int told = 0, torn = 0;
        std::string last;
    } reader;
    SCDynamicStoreContext context{0, &reader, nullptr, nullptr, nullptr};
    const auto callout = [](SCDynamicStoreRef told, CFArrayRef, void* info) {
        auto& r = *static_cast<Reader*>(info);
        const auto values = hold(SCDynamicStoreCopyMultiple(told, array({"a", "b"}), nullptr));
        const auto value = [&](CFStringRef key) {
            const auto* const found = static_cast<CFStringRef>(CFDictionaryGetValue(values, key));
            return found ? Held::utf8(found) : "<none>";
        };
        ++r.told;
        if (value(CFSTR("a")) != value(CFSTR("b"))) ++r.torn;
        r.last = value(CFSTR("a"));
    };
    const auto other = hold(SCDynamicStoreCreate(nullptr, CFSTR(""), callout, &context));
    ASSERT_TRUE(SCDynamicStoreSetNotificationKeys(other, array({"a", "b"}), nullptr));
    const auto source = hold(SCDynamicStoreCreateRunLoopSource(nullptr, other, 0));
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    constexpr int kBatches = 2000;
    const pid_t writer = fork();
    if (writer == 0) {
        Session own;
        for (int i = 1; i <= kBatches; ++i) {
            const auto value = text(std::to_string(i));
            SCDynamicStoreSetMultiple(own, dictionary({{"a", value.get()}, {"b", value.get()}}), nullptr, nullptr);
        }
        _exit(0);
    }
    EXPECT_TRUE(Session::runUntil([&] { return reader.last == std::to_string(kBatches); }));
    waitpid(writer, nullptr, 0);
    EXPECT_EQ(reader.torn, 0);
    CFRunLoopSourceInvalidate(source);
}

// ---- Processes, threads, run loops

TEST_F(DynamicStoreNotification, TellsOfChangesByAnotherProcess) {
    ASSERT_TRUE(watch({"key"}));
    EXPECT_EQ(inChild([] {
                  Session other;
                  return other.setText("key", "theirs") ? 0 : 1;
              }),
              0);
    EXPECT_TRUE(session.hears("key"));
    EXPECT_EQ(session.read("key"), "theirs");
}

TEST_F(DynamicStoreNotification, TellsOfWhatHappenedBeforeItsSourceWasScheduled) {
    ASSERT_TRUE(SCDynamicStoreSetNotificationKeys(session, array({"key"}), nullptr));
    ASSERT_TRUE(session.setText("key", "1"));
    ASSERT_TRUE(session.start());
    EXPECT_TRUE(session.hears("key"));
}

TEST_F(DynamicStoreNotification, TellsOfEachChangeOnTheThreadOfItsRunLoop) {
    std::thread::id toldOn;
    struct Note {
        std::thread::id* on;
        std::atomic<bool> told{false};
    } note{&toldOn};
    SCDynamicStoreContext context{0, &note, nullptr, nullptr, nullptr};
    const auto callout = [](SCDynamicStoreRef, CFArrayRef, void* info) {
        *static_cast<Note*>(info)->on = std::this_thread::get_id();
        static_cast<Note*>(info)->told = true;
    };
    const auto other = hold(SCDynamicStoreCreate(nullptr, CFSTR(""), callout, &context));
    ASSERT_TRUE(SCDynamicStoreSetNotificationKeys(other, array({"key"}), nullptr));
    std::thread::id runner;
    std::thread loop([&] {
        runner = std::this_thread::get_id();
        const auto source = hold(SCDynamicStoreCreateRunLoopSource(nullptr, other, 0));
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        Session::runUntil([&] { return note.told.load(); });
        CFRunLoopSourceInvalidate(source);
    });
    ASSERT_TRUE(session.setText("key", "1"));
    loop.join();
    EXPECT_TRUE(note.told);
    EXPECT_EQ(toldOn, runner);
}

TEST_F(DynamicStoreNotification, TellsNothingOnceItsSourceIsInvalid) {
    ASSERT_TRUE(watch({"key"}));
    session.stop();
    Session other;
    ASSERT_TRUE(other.watch({"key"}));
    ASSERT_TRUE(session.setText("key", "1"));
    EXPECT_TRUE(other.hears("key"));
    EXPECT_TRUE(session.told.empty());
    ASSERT_TRUE(session.start()) << "another source goes on where the last one ended";
    EXPECT_TRUE(session.hears("key"));
}

TEST_F(DynamicStoreNotification, MayRunTheLoopWhileItIsTold) {
    struct Nesting {
        Session& session;
        int depth = 0, deepest = 0;
        std::multiset<std::string> told;
    } nesting{session, 0, 0, {}};
    SCDynamicStoreContext context{0, &nesting, nullptr, nullptr, nullptr};
    const auto callout = [](SCDynamicStoreRef, CFArrayRef keys, void* info) {
        auto& n = *static_cast<Nesting*>(info);
        n.told.merge(texts(keys));
        n.deepest = std::max(n.deepest, ++n.depth);
        if (n.depth == 1) {
            n.session.setText("b", "1");
            Session::runUntil([&] { return n.told.contains("b"); });
        }
        --n.depth;
    };
    const auto other = hold(SCDynamicStoreCreate(nullptr, CFSTR(""), callout, &context));
    ASSERT_TRUE(SCDynamicStoreSetNotificationKeys(other, array({"a", "b"}), nullptr));
    const auto source = hold(SCDynamicStoreCreateRunLoopSource(nullptr, other, 0));
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    ASSERT_TRUE(session.setText("a", "1"));
    EXPECT_TRUE(Session::runUntil([&] { return nesting.told.contains("a"); }));
    EXPECT_EQ(nesting.told, (std::multiset<std::string>{"a", "b"}));
    EXPECT_EQ(nesting.deepest, 2);
    CFRunLoopSourceInvalidate(source);
}

TEST_F(DynamicStoreNotification, MayEndItsSessionWhileItIsTold) {
    struct Ending {
        SCDynamicStoreRef store = nullptr;
        CFRunLoopSourceRef source = nullptr;
        int told = 0;
    } ending;
    SCDynamicStoreContext context{0, &ending, nullptr, nullptr, nullptr};
    const auto callout = [](SCDynamicStoreRef, CFArrayRef, void* info) {
        auto& e = *static_cast<Ending*>(info);
        ++e.told;
        CFRunLoopSourceInvalidate(e.source);
        CFRelease(e.source);
        CFRelease(e.store);
    };
    ending.store = SCDynamicStoreCreate(nullptr, CFSTR(""), callout, &context);
    ASSERT_TRUE(SCDynamicStoreSetNotificationKeys(ending.store, array({"key"}), nullptr));
    ending.source = SCDynamicStoreCreateRunLoopSource(nullptr, ending.store, 0);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), ending.source, kCFRunLoopDefaultMode);
    ASSERT_TRUE(session.setText("key", "1"));
    ASSERT_TRUE(Session::runUntil([&] { return ending.told > 0; }));
    ASSERT_TRUE(watch({"key"}));
    ASSERT_TRUE(session.setText("key", "2"));
    EXPECT_TRUE(session.hears("key"));
    EXPECT_EQ(ending.told, 1);
}

TEST_F(DynamicStoreNotification, SurvivesChangesAndSessionsOfManyThreads) {
    ASSERT_TRUE(watch({}, {"key[0-9]"}));
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    std::latch listening(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i, &failures, &listening] {
            Session own;
            const std::string key = "key" + std::to_string(i), next = "key" + std::to_string((i + 1) % 4);
            if (!own.watch({next})) ++failures;
            listening.arrive_and_wait();
            for (int round = 0; round < 50; ++round) {
                if (!own.setText(key, std::to_string(round))) ++failures;
                if (own.read(key) != std::to_string(round)) ++failures;
                if (round % 8 == 0) own.watch({next}, {"key.*"});
                if (round % 10 == 9) own.remove(key);
                CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
            }
            if (!own.setText(key, "done") || !own.hears(next)) ++failures;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(session.read("key" + std::to_string(i)), "done");
    Told all;
    for (const Told& told : allTold()) all.insert(told.begin(), told.end());
    EXPECT_EQ(all, (Told{"key0", "key1", "key2", "key3"}));
}

TEST_F(DynamicStoreNotification, NeverShowsAPartOfAValue) {
    const std::string first(100000, 'a'), second(50000, 'b');
    ASSERT_TRUE(session.setText("key", first));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 0; i < 60; ++i) session.setText("key", i % 2 ? first : second);
        done = true;
    });
    int torn = 0;
    while (!done) {
        const std::string seen = session.read("key");
        if (seen != first && seen != second) ++torn;
    }
    writer.join();
    EXPECT_EQ(torn, 0);
}

// ---- News that is lost

TEST_F(DynamicStoreNotification, MissesNothingWhenTheSystemDropsEvents) {
    std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
    long events = 0;
    ASSERT_TRUE(limit >> events);
    if (events > 100000) GTEST_SKIP() << "the queue is too long to be filled here";
    ASSERT_TRUE(session.setText("there", "1"));
    ASSERT_TRUE(session.setText("gone", "1"));
    ASSERT_TRUE(watch({"there", "gone", "never"}, {"new.*"}));
    for (long i = 0; i <= events / 2 + 1; ++i) {  // two events each, not one: equal ones in a row are joined
        for (const char* const name : {"x", "y"}) {
            const std::string path = store.path() + "/" + name;
            close(open(path.c_str(), O_WRONLY | O_CREAT, 0600));
        }
    }
    ASSERT_EQ(inChild([] {
                  Session other;
                  return other.remove("gone") && other.setText("new1", "1") ? 0 : 1;
              }),
              0);
    EXPECT_TRUE(Session::runUntil([&] {
        Told all;
        for (const Told& told : session.told) all.insert(told.begin(), told.end());
        return all == Told{"gone", "new1"};
    })) << "no more and no less";
    session.told.clear();
    ASSERT_TRUE(session.setText("there", "2"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{"there"}})) << "and of single changes afterwards";
}

// The file is replaced now and then by a shorter one.
TEST_F(DynamicStoreNotification, MissesNothingWhenTheFileIsReplaced) {
    ASSERT_TRUE(watch({"key", "other"}));
    const std::string large(100000, 'x');
    struct stat before, after;
    ASSERT_TRUE(session.setText("filler", large));
    ASSERT_EQ(stat(store.contents().c_str(), &before), 0);
    const ino_t first = before.st_ino;
    bool wasReplaced = false;
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(session.setText("filler", large));
        ASSERT_TRUE(session.setText(i % 2 ? "key" : "other", std::to_string(i)));
        EXPECT_EQ(allTold(), (std::vector<Told>{{i % 2 ? "key" : "other"}}));
        ASSERT_EQ(stat(store.contents().c_str(), &after), 0);
        wasReplaced = wasReplaced || after.st_ino != first;
        EXPECT_LT(after.st_size, 600000);
    }
    EXPECT_TRUE(wasReplaced);
    EXPECT_EQ(session.read("key"), "19");
    EXPECT_EQ(session.read("other"), "18");
}

TEST_F(DynamicStoreNotification, GoesOnWhenTheFoldersWereRemoved) {
    ASSERT_TRUE(session.setText("key", "1"));
    ASSERT_TRUE(watch({"key"}));
    std::filesystem::remove_all(store.path());
    EXPECT_TRUE(session.hears("key"));
    session.told.clear();
    ASSERT_TRUE(session.setText("key", "2"));
    EXPECT_TRUE(session.hears("key"));
    session.told.clear();
    ASSERT_TRUE(session.notify("key"));
    EXPECT_TRUE(session.hears("key"));
}

// ---- The names of the computer

TEST_F(DynamicStoreNotification, PublishesTheHostsNameUpToItsFirstDot) {
    hostNameOfTest = "alpha.beta.example";
    EXPECT_EQ(session.read(kSystem, "ComputerName"), "alpha");
    EXPECT_EQ(session.list("Setup:.*"), (std::multiset<std::string>{kSystem}));
    const auto copied = hold(SCDynamicStoreCopyMultiple(session, array({kSystem}), array({"Setup:/S.*"})));
    EXPECT_TRUE(CFEqual(copied, dictionary({{kSystem, entry("ComputerName", "alpha").get()}})));
}

TEST_F(DynamicStoreNotification, PublishesHostNamesOfAnyText) {
    for (const char* const name : {"a:b/c\\d", "h\xC3\xB6st", "a b", "-", "%h"}) {
        hostNameOfTest = name;
        EXPECT_EQ(session.read(kSystem, "ComputerName"), name);
    }
    const std::string longest(64, 'x');
    hostNameOfTest = longest.c_str();
    EXPECT_EQ(session.read(kSystem, "ComputerName"), longest);
}

TEST_F(DynamicStoreNotification, PublishesNoNameWhereTheHostHasNone) {
    for (const char* const name : {"", ".", ".domain", "(none)", "\xFF\xFE", "a\nb"}) {
        hostNameOfTest = name;
        EXPECT_EQ(session.get(kSystem), nullptr) << name;
        EXPECT_EQ(SCError(), kSCStatusNoKey);
        EXPECT_TRUE(session.list("Setup:.*").empty());
    }
}

TEST_F(DynamicStoreNotification, PublishesThePrettyNameWhenThereIsOne) {
    store.setPrettyName("\"Ann's Computer. Really\"");
    EXPECT_EQ(session.read(kSystem, "ComputerName"), "Ann's Computer. Really");
    store.setPrettyName("");
    EXPECT_EQ(session.read(kSystem, "ComputerName"), "host");
}

TEST_F(DynamicStoreNotification, PublishesTheNetBiosNameOfTheServersConfiguration) {
    EXPECT_EQ(session.get(kNetBios), nullptr);
    EXPECT_EQ(session.get(kSMB), nullptr);
    store.setNetBiosName("FILES");
    EXPECT_EQ(session.read(kNetBios, "RegisteredName"), "FILES");
    EXPECT_EQ(session.read(kSMB, "NetBIOSName"), "FILES");
}

TEST_F(DynamicStoreNotification, FollowsTheFilesThatNamesComeFrom) {
    ASSERT_TRUE(watch({kSystem, kNetBios, kSMB}));
    store.setPrettyName("Pretty");
    EXPECT_EQ(allTold(), (std::vector<Told>{{kSystem}}));
    store.setPrettyName("Pretty");
    EXPECT_EQ(allTold(), std::vector<Told>{}) << "the same name is no news";
    store.setNetBiosName("ONE");
    EXPECT_EQ(allTold(), (std::vector<Told>{{kNetBios, kSMB}}));
    std::filesystem::remove_all(store.etc() + "/samba");
    EXPECT_EQ(allTold(), (std::vector<Told>{{kNetBios, kSMB}}));
    // The folder comes back: its file is seen when it is there in time, or when it changes.
    std::filesystem::create_directory(store.etc() + "/samba");
    EXPECT_EQ(allTold(), std::vector<Told>{});
    TestStore::write(store.etc() + "/samba/new", "[global]\nnetbios name = TWO\n");
    std::filesystem::rename(store.etc() + "/samba/new", store.etc() + "/samba/smb.conf");
    EXPECT_EQ(allTold(), (std::vector<Told>{{kNetBios, kSMB}}));
    EXPECT_EQ(session.read(kSMB, "NetBIOSName"), "TWO");
    std::filesystem::remove(store.etc() + "/machine-info");
    EXPECT_EQ(allTold(), (std::vector<Told>{{kSystem}}));
}

TEST_F(DynamicStoreNotification, LetsWhatAClientHasSetWin) {
    ASSERT_TRUE(watch({kSystem, kNetBios}));
    store.setNetBiosName("CONFIGURED");
    EXPECT_EQ(allTold(), (std::vector<Told>{{kNetBios}}));
    ASSERT_TRUE(session.setEntry(kNetBios, "RegisteredName", "SET"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{kNetBios}}));
    store.setNetBiosName("OTHER");
    EXPECT_EQ(allTold(), std::vector<Told>{}) << "what is hidden changes nothing";
    EXPECT_EQ(session.read(kNetBios, "RegisteredName"), "SET");
    EXPECT_EQ(session.read(kSMB, "NetBIOSName"), "OTHER") << "the other key has not been set";
    EXPECT_FALSE(SCDynamicStoreAddValue(session, text(kSMB), CFSTR("x")));
    EXPECT_EQ(SCError(), kSCStatusKeyExists);
}

TEST_F(DynamicStoreNotification, ShowsWhatIsPublishedAgainWhenWhatAClientHasSetIsRemoved) {
    ASSERT_TRUE(watch({kSystem}));
    ASSERT_TRUE(session.setEntry(kSystem, "ComputerName", "set"));
    EXPECT_EQ(allTold(), (std::vector<Told>{{kSystem}}));
    ASSERT_TRUE(session.remove(kSystem));
    EXPECT_EQ(allTold(), (std::vector<Told>{{kSystem}}));
    EXPECT_EQ(session.read(kSystem, "ComputerName"), "host");
}

TEST_F(DynamicStoreNotification, HidesWhatWasPublishedForARemovedKeyUntilThatChanges) {
    ASSERT_TRUE(watch({kSystem}));
    for (const char* const later : {"one", "two"}) {
        ASSERT_TRUE(session.remove(kSystem));
        EXPECT_EQ(allTold(), (std::vector<Told>{{kSystem}}));
        EXPECT_EQ(session.get(kSystem), nullptr);
        EXPECT_TRUE(session.list("Setup:.*").empty());
        EXPECT_FALSE(session.remove(kSystem));
        EXPECT_EQ(SCError(), kSCStatusNoKey);
        store.setPrettyName(later);
        EXPECT_EQ(allTold(), (std::vector<Told>{{kSystem}}));
        EXPECT_EQ(session.read(kSystem, "ComputerName"), later);
    }
    ASSERT_TRUE(session.remove(kSystem));
    EXPECT_TRUE(SCDynamicStoreAddValue(session, text(kSystem), CFSTR("added")));
    EXPECT_EQ(session.read(kSystem), "added");
}

TEST_F(DynamicStoreNotification, ShowsARemovedKeyAgainThoughItsOriginIsAsItWas) {
    store.setPrettyName("first");
    store.setNetBiosName("FIRST");
    ASSERT_TRUE(session.remove(kSystem));
    ASSERT_TRUE(session.remove(kNetBios));
    EXPECT_EQ(session.get(kSystem), nullptr);
    EXPECT_EQ(session.get(kNetBios), nullptr);
    for (const char* const name : {"second", "first"}) store.setPrettyName(name);
    EXPECT_EQ(session.read(kSystem, "ComputerName"), "first") << "though nobody saw the other name";
    EXPECT_EQ(session.list("Setup:.*"), (std::multiset<std::string>{kSystem}));
    EXPECT_EQ(session.get(kNetBios), nullptr) << "whose origin is another file";
}

TEST_F(DynamicStoreNotification, ShowsARemovedKeyAgainOnceAnybodySawAnotherHostName) {
    ASSERT_TRUE(session.remove(kSystem));
    EXPECT_EQ(session.get(kSystem), nullptr);
    hostNameOfTest = "other";
    EXPECT_EQ(inChild([] {
                  Session seer;
                  return seer.read(kSystem, "ComputerName") == "other" ? 0 : 1;
              }),
              0);
    hostNameOfTest = "host";
    EXPECT_EQ(session.read(kSystem, "ComputerName"), "host");
    ASSERT_TRUE(session.remove(kSystem)) << "and may be removed again";
    EXPECT_EQ(session.get(kSystem), nullptr);
}

TEST_F(DynamicStoreNotification, TellsOfARemovedKeyThatComesBackWithItsOldName) {
    store.setPrettyName("first");
    ASSERT_TRUE(watch({kSystem}));
    ASSERT_TRUE(session.remove(kSystem));
    EXPECT_EQ(allTold(), (std::vector<Told>{{kSystem}}));
    store.setPrettyName("first");
    EXPECT_TRUE(session.hears(kSystem));
    EXPECT_EQ(session.read(kSystem, "ComputerName"), "first");
}

TEST_F(DynamicStoreNotification, FollowsTheKernelsHostName) {
    // A thread with a host name of its own, so that the computer keeps its name.
    bool mayTry = true;
    std::vector<Told> told;
    std::string before, after;
    std::thread([&] {
        if (unshare(CLONE_NEWUTS) != 0 || sethostname("before", 6) != 0) {
            mayTry = false;
            return;
        }
        hostNameOfTest = nullptr;
        Session own;
        EXPECT_TRUE(own.watch({kSystem, "sentinel"}));
        before = own.read(kSystem, "ComputerName");
        const auto drain = [&] {
            EXPECT_TRUE(own.notify("sentinel"));
            EXPECT_TRUE(own.hears("sentinel"));
            own.told.clear();
        };
        for (const char* const name : {"one", "two.domain", "three"}) {
            EXPECT_EQ(sethostname(name, std::string(name).size()), 0);
            EXPECT_TRUE(own.hears(kSystem)) << name;
            drain();
        }
        after = own.read(kSystem, "ComputerName");
        EXPECT_EQ(sethostname("three", 5), 0);  // rings, and is no news
        EXPECT_EQ(sethostname("four", 4), 0);
        EXPECT_TRUE(own.hears(kSystem));
        told = own.told;
        // In the time between two looks, before the source is scheduled: nothing of it may be lost.
        own.stop();
        EXPECT_EQ(sethostname("five", 4), 0);
        own.told.clear();
        EXPECT_TRUE(own.start());
        EXPECT_TRUE(own.hears(kSystem));
    }).join();
    if (!mayTry) GTEST_SKIP() << "may not have a host name of its own";
    EXPECT_EQ(before, "before");
    EXPECT_EQ(after, "three");
    EXPECT_EQ(told.size(), 1u);
}
