#include <KXCoreLib/SystemInfo.h>

#include "Deletions.h"
#include "Platform/SystemConfiguration/StoreTesting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <locale>
#include <stdexcept>
#include <thread>

using namespace KXCore;
using namespace StoreTesting;

namespace {

constexpr const char* kSystem = "Setup:/System";
constexpr const char* kNetBios = "State:/Network/NetBIOS";
constexpr const char* kSMB = "State:/Network/Global/SMB";

std::string name() { return GetSystemNetBiosName()->getName(); }

/// A tracker, and what it reads.
struct Tracker {
    const char* version;
    const char* key;
    const char* entry;
    const char* otherKey;
    const char* otherEntry;
    void (*call)(CFDictionaryRef);
};

void PrintTo(const Tracker& tracker, std::ostream* stream) { *stream << "version " << tracker.version; }

const Tracker k106{"10.15.7",        kSMB,
                   "NetBIOSName",    kNetBios,
                   "RegisteredName", [](CFDictionaryRef values) { NetBIOSNameTracker106().callback(values); }};
const Tracker k107{"11.0", kNetBios,      "RegisteredName",
                   kSMB,   "NetBIOSName", [](CFDictionaryRef values) { NetBIOSNameTracker107().callback(values); }};

/// A computer with a host name, and a store that says nothing yet. The process's name begins as something else.
class SystemName : public testing::TestWithParam<Tracker> {
  protected:
    SystemName() {
        setenv("KXPLATFORM_SYSTEM_VERSION", GetParam().version, 1);
        SetSystemNetBiosName_internal(CFSTR("BEFORE"));
    }
    ~SystemName() override { unsetenv("KXPLATFORM_SYSTEM_VERSION"); }

    /// The updater of a SystemInfo of this test, on this thread's run loop.
    void follow() {
        updater = info.getUpdater();
        updater->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    }
    bool becomes(const std::string& expected) {
        return Session::runUntil([&] { return name() == expected; });
    }

    TestStore store;
    Session session;
    SystemInfo info;
    boost::shared_ptr<RunLoopSourceSCDynamicStore> updater;
};

/// Every kind of property list.
std::vector<Holder<CFTypeRef>> everyKind() {
    const double real = 1.5;
    const UInt8 byte = 'x';
    std::vector<Holder<CFTypeRef>> values;
    values.push_back(hold<CFTypeRef>(CFNumberCreate(nullptr, kCFNumberDoubleType, &real)));
    values.push_back(hold<CFTypeRef>(CFDataCreate(nullptr, &byte, 1)));
    values.push_back(hold<CFTypeRef>(CFDateCreate(nullptr, 0)));
    values.push_back(hold<CFTypeRef>(CFRetain(kCFBooleanTrue)));
    values.push_back(hold<CFTypeRef>(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks)));
    values.push_back(hold<CFTypeRef>(CFDictionaryCreate(nullptr, nullptr, nullptr, 0, nullptr, nullptr)));
    return values;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Trackers, SystemName, testing::Values(k106, k107));

// ---- The name

TEST(NetBiosName, IsInUpperCaseAndKeptWhole) {
    EXPECT_STREQ(NetBiosName::create("a-Long_name.with more than 15 characters")->getName(),
                 "A-LONG_NAME.WITH MORE THAN 15 CHARACTERS");
    EXPECT_STREQ(NetBiosName::create("")->getName(), "");
    EXPECT_STREQ(NetBiosName::create("a:/\\*?\"<>|")->getName(), "A:/\\*?\"<>|");
}

TEST(NetBiosName, IsRaisedByTheGlobalLocaleCharacterByCharacter) {
    struct Swapping : std::ctype<char> {
        char do_toupper(char c) const override { return c == 'a' ? '4' : c; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale(), new Swapping));
    const std::string raised = NetBiosName::create("abc\xC3\xBC")->getName();
    std::locale::global(before);
    EXPECT_EQ(raised, "4bc\xC3\xBC");
    EXPECT_STREQ(NetBiosName::create("h\xC3\xB6st")->getName(), "H\xC3\xB6ST") << "bytes of other characters are kept";
}

TEST(NetBiosName, LivesAsLongAsItIsHeld) {
    boost::intrusive_ptr<NetBiosName> first = NetBiosName::create("a");
    boost::intrusive_ptr<NetBiosName> second = first;
    Deletions::await(first.get());
    first.reset();
    EXPECT_FALSE(Deletions::came());
    EXPECT_STREQ(second->getName(), "A");
    second.reset();
    EXPECT_TRUE(Deletions::came());
}

TEST(SystemInfo, HasAnEmptyNameUntilOneIsSet) {
    SystemInfo info;
    const boost::intrusive_ptr<NetBiosName> empty = info.getNetBiosName();
    ASSERT_TRUE(empty);
    EXPECT_STREQ(empty->getName(), "");
    EXPECT_EQ(info.getNetBiosName(), empty);
    const boost::intrusive_ptr<NetBiosName> other = NetBiosName::create("x");
    info.setNetBiosName(other);
    EXPECT_EQ(info.getNetBiosName(), other);
    EXPECT_STREQ(empty->getName(), "") << "who holds the old name keeps it";
}

TEST(SystemInfo, KnowsTheObjectOfItsNameByItsAddress) {
    SystemInfo info;
    EXPECT_TRUE(info.netBiosNameIs(nullptr)) << "before it has one";
    const auto empty = info.getNetBiosName();
    EXPECT_TRUE(info.netBiosNameIs(empty.get()));
    const auto first = NetBiosName::create("x"), second = NetBiosName::create("x");
    info.setNetBiosName(first);
    EXPECT_TRUE(info.netBiosNameIs(first.get()));
    EXPECT_FALSE(info.netBiosNameIs(second.get()));
    EXPECT_FALSE(info.netBiosNameIs(empty.get()));
    EXPECT_FALSE(info.netBiosNameIs(nullptr));
}

TEST(SystemNetBiosNameIs, IsTrueOfTheObjectThatIsGivenOut) {
    SetSystemNetBiosName_internal(CFSTR("ONE"));
    const auto one = GetSystemNetBiosName();
    EXPECT_TRUE(SystemNetBiosNameIs(one.get()));
    SetSystemNetBiosName_internal(CFSTR("TWO"));
    EXPECT_FALSE(SystemNetBiosNameIs(one.get()));
    EXPECT_TRUE(SystemNetBiosNameIs(GetSystemNetBiosName().get()));
}

TEST(SystemInfo, HasAnEmptyNameBeforeAnyUpdater) {
    // The process's own, which only a process of its own has not set yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const auto first = GetSystemNetBiosName();
            _exit(first && *first->getName() == '\0' ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

// ---- Setting it

TEST(SetSystemNetBiosName, SetsTheTextInUpperCase) {
    SetSystemNetBiosName_internal(CFSTR("Some.Name"));
    EXPECT_EQ(name(), "SOME.NAME") << "a name that is given is not cut";
    SetSystemNetBiosName_internal(CFSTR(""));
    EXPECT_EQ(name(), "");
}

TEST(SetSystemNetBiosName, KeepsTheObjectWhenTheTextIsTheName) {
    SetSystemNetBiosName_internal(CFSTR("NAME"));
    const auto first = GetSystemNetBiosName();
    SetSystemNetBiosName_internal(CFSTR("NAME"));
    EXPECT_EQ(GetSystemNetBiosName(), first);
    SetSystemNetBiosName_internal(CFSTR("name"));
    EXPECT_NE(GetSystemNetBiosName(), first) << "a text in lower case never equals it";
    EXPECT_EQ(name(), "NAME");
}

TEST(SetSystemNetBiosName, TakesOtherThanASCIIOfFewerThan512Bytes) {
    std::string longest;
    while (longest.size() < 510) longest += "\xC3\x84";
    SetSystemNetBiosName_internal(text(longest));
    EXPECT_EQ(name(), longest);
    SetSystemNetBiosName_internal(text(longest + "\xC3\x84"));
    EXPECT_EQ(name(), longest) << "a longer one changes nothing";
    longest += "X";
    SetSystemNetBiosName_internal(text(longest));
    EXPECT_EQ(name(), longest);
    SetSystemNetBiosName_internal(text(std::string(1000, 'A')));
    EXPECT_EQ(name(), std::string(1000, 'A')) << "ASCII is not copied";
}

TEST(SetSystemNetBiosName, ChangesNothingForTextThatIsNotUnicode) {
    SetSystemNetBiosName_internal(CFSTR("NAME"));
    const UniChar half[] = {'a', 0xD800};
    SetSystemNetBiosName_internal(hold(CFStringCreateWithCharacters(nullptr, half, 2)));
    EXPECT_EQ(name(), "NAME");
}

TEST(SetSystemNetBiosName, TakesTheHostsNameUpToItsFirstDot) {
    for (const auto& [host, expected] : std::vector<std::pair<const char*, const char*>>{
             {"alpha.beta.example", "ALPHA"},
             {"plain", "PLAIN"},
             {".x", ""},
             {"a:b/c\\d", "A:B/C\\D"},
             {"h\xC3\xB6st.x", "H\xC3\xB6ST"},
             {"a-name-of-more-than-15-characters.x", "A-NAME-OF-MORE-THAN-15-CHARACTERS"}}) {
        hostNameOfTest = host;
        SetSystemNetBiosName_internal(nullptr);
        EXPECT_EQ(name(), expected);
    }
    hostNameOfTest = nullptr;
}

TEST(SetSystemNetBiosName, TakesAHostNameOfFewerThan512Bytes) {
    const std::string longest(511, 'X'), tooLong(512, 'X');
    hostNameOfTest = longest.c_str();
    SetSystemNetBiosName_internal(nullptr);
    EXPECT_EQ(name(), longest);
    // Some systems cut a longer one and end it with no NUL.
    SetSystemNetBiosName_internal(CFSTR("NAME"));
    hostNameOfTest = tooLong.c_str();
    cutsHostNameOfTest = true;
    SetSystemNetBiosName_internal(nullptr);
    EXPECT_EQ(name(), longest);
    cutsHostNameOfTest = false;
    hostNameOfTest = nullptr;
}

TEST(SetSystemNetBiosName, ChangesNothingWhenThereIsNoHostName) {
    SetSystemNetBiosName_internal(CFSTR("NAME"));
    const std::string tooLong(512, 'x');
    for (const char* const failing : {"", tooLong.c_str()}) {
        hostNameOfTest = failing;
        SetSystemNetBiosName_internal(nullptr);
        EXPECT_EQ(name(), "NAME");
    }
    hostNameOfTest = nullptr;
}

// ---- The updater

TEST_P(SystemName, IsSetWhenTheUpdaterIsMade) {
    ASSERT_TRUE(session.setEntry(GetParam().key, GetParam().entry, "registered"));
    info.getUpdater();
    EXPECT_EQ(name(), "REGISTERED");
}

TEST_P(SystemName, IsTheComputersWhenNoneIsRegistered) {
    store.setPrettyName("The Computer");
    info.getUpdater();
    EXPECT_EQ(name(), "THE COMPUTER");
}

TEST_P(SystemName, IsTheHostsUpToItsFirstDotWhenTheStoreHasNone) {
    hostNameOfTest = "alpha.beta";
    ASSERT_TRUE(session.remove(kSystem));
    info.getUpdater();
    EXPECT_EQ(name(), "ALPHA");
}

TEST_P(SystemName, IsThatOfTheServersConfiguration) {
    store.setNetBiosName("files");
    info.getUpdater();
    EXPECT_EQ(name(), "FILES");
}

TEST_P(SystemName, IsNotTakenFromTheKeyOfOtherVersions) {
    ASSERT_TRUE(session.setEntry(GetParam().otherKey, GetParam().otherEntry, "other"));
    follow();
    EXPECT_EQ(name(), "HOST");
    EXPECT_EQ(updater->copyCache().getCount(), 1) << "nor is that key watched";
}

TEST_P(SystemName, FollowsTheStoreWhileTheUpdaterIsScheduled) {
    follow();
    EXPECT_EQ(name(), "HOST");
    ASSERT_TRUE(session.setEntry(kSystem, "ComputerName", "computer"));
    EXPECT_TRUE(becomes("COMPUTER"));
    ASSERT_TRUE(session.setEntry(GetParam().key, GetParam().entry, "registered"));
    EXPECT_TRUE(becomes("REGISTERED"));
    ASSERT_TRUE(session.setEntry(GetParam().key, GetParam().entry, "a name of more than 15 characters"));
    EXPECT_TRUE(becomes("A NAME OF MORE THAN 15 CHARACTERS"));
    ASSERT_TRUE(session.remove(GetParam().key));
    EXPECT_TRUE(becomes("COMPUTER")) << "falls back when the key is removed";
    ASSERT_TRUE(session.remove(kSystem));
    EXPECT_TRUE(becomes("HOST"));
}

TEST_P(SystemName, FollowsAnotherProcess) {
    follow();
    const Tracker& tracker = GetParam();
    EXPECT_EQ(inChild([&] {
                  Session other;
                  return other.setEntry(tracker.key, tracker.entry, "theirs") ? 0 : 1;
              }),
              0);
    EXPECT_TRUE(becomes("THEIRS"));
}

TEST_P(SystemName, StaysAsItWasWhileTheUpdaterIsNotScheduled) {
    updater = info.getUpdater();
    ASSERT_TRUE(session.watch({kSystem}));
    ASSERT_TRUE(session.setEntry(kSystem, "ComputerName", "computer"));
    ASSERT_TRUE(session.hears(kSystem));
    EXPECT_EQ(name(), "HOST");
}

TEST_P(SystemName, IgnoresValuesOfEveryOtherKindUnderEveryKey) {
    follow();
    std::vector<Holder<CFTypeRef>> kinds = everyKind();
    kinds.push_back(hold<CFTypeRef>(CFRetain(CFSTR("a text in place of a dictionary"))));
    for (const auto& kind : kinds) {
        ASSERT_TRUE(session.set(GetParam().key, kind.get()));
        ASSERT_TRUE(session.setEntry(kSystem, "ComputerName", "fallback"));
        EXPECT_TRUE(becomes("FALLBACK"));
        ASSERT_TRUE(session.set(kSystem, kind.get()));
        EXPECT_TRUE(becomes("HOST"));
    }
    for (const auto& kind : everyKind()) {
        ASSERT_TRUE(session.set(GetParam().key, dictionary({{GetParam().entry, kind.get()}}).get()));
        ASSERT_TRUE(session.setEntry(kSystem, "ComputerName", "fallback"));
        EXPECT_TRUE(becomes("FALLBACK"));
        ASSERT_TRUE(session.set(kSystem, dictionary({{"ComputerName", kind.get()}}).get()));
        EXPECT_TRUE(becomes("HOST"));
    }
    for (const char* const damaged : {"", "bplist00", "<plist>", "text"}) {
        ASSERT_TRUE(session.setEntry(GetParam().key, GetParam().entry, "good"));
        EXPECT_TRUE(becomes("GOOD"));
        ASSERT_TRUE(std::filesystem::exists(store.contents()));
        TestStore::write(store.contents(), damaged);
        EXPECT_TRUE(becomes("HOST"));
    }
}

TEST_P(SystemName, TakesARegisteredNameThatIsEmpty) {
    ASSERT_TRUE(session.setEntry(GetParam().key, GetParam().entry, ""));
    info.getUpdater();
    EXPECT_EQ(name(), "");
}

TEST_P(SystemName, IsSetByTheTrackerFromAnyDictionary) {
    const auto registered = entry(GetParam().entry, "r"), computer = entry("ComputerName", "c");
    GetParam().call(dictionary({{GetParam().key, registered.get()}, {kSystem, computer.get()}}));
    EXPECT_EQ(name(), "R");
    GetParam().call(dictionary({{kSystem, computer.get()}}));
    EXPECT_EQ(name(), "C");
    GetParam().call(dictionary({}));
    EXPECT_EQ(name(), "HOST");
}

TEST_P(SystemName, HasOneUpdaterThatWorksForThreadsThatAskAtOnce) {
    std::vector<boost::shared_ptr<RunLoopSourceSCDynamicStore>> given(4);
    std::atomic<int> waiting{0};
    std::vector<std::thread> threads;
    for (auto& each : given) {
        threads.emplace_back([&] {
            ++waiting;
            while (waiting < static_cast<int>(given.size())) std::this_thread::yield();
            each = info.getUpdater();
        });
    }
    for (std::thread& thread : threads) thread.join();
    updater = info.getUpdater();
    EXPECT_NE(std::find(given.begin(), given.end(), updater), given.end());
    EXPECT_EQ(info.getUpdater(), updater);
    for (std::size_t i = 0; i < given.size(); ++i) {
        given[i]->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
        ASSERT_TRUE(session.setEntry(GetParam().key, GetParam().entry, "N" + std::to_string(i)));
        EXPECT_TRUE(becomes("N" + std::to_string(i)));
        given[i]->unscheduleFromRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    }
}

TEST_P(SystemName, IsReadByManyThreadsWhileItChanges) {
    follow();
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!done) {
                const std::string seen = name();
                if (seen != "HOST" && seen != "ONE" && seen != "TWO") ++wrong;
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(session.setEntry(GetParam().key, GetParam().entry, i % 2 ? "one" : "two"));
        EXPECT_TRUE(becomes(i % 2 ? "ONE" : "TWO"));
    }
    done = true;
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(wrong, 0);
}

TEST(SystemInfoUpdater, ReadsTheNameByTheMajorVersionAlone) {
    const TestStore store;
    Session session;
    ASSERT_TRUE(session.setEntry(kSMB, "NetBIOSName", "smb"));
    ASSERT_TRUE(session.setEntry(kNetBios, "RegisteredName", "netbios"));
    for (const auto& [version, expected] : std::vector<std::pair<const char*, const char*>>{{"9.9.9", "SMB"},
                                                                                            {"10.0", "SMB"},
                                                                                            {"10.6.8", "SMB"},
                                                                                            {"10.7", "SMB"},
                                                                                            {"10.16", "SMB"},
                                                                                            {"11", "NETBIOS"},
                                                                                            {"11.0", "NETBIOS"},
                                                                                            {"12.0.1", "NETBIOS"},
                                                                                            {"26.1", "NETBIOS"}}) {
        setenv("KXPLATFORM_SYSTEM_VERSION", version, 1);
        SystemInfo info;
        info.getUpdater();
        EXPECT_EQ(name(), expected) << version;
    }
    unsetenv("KXPLATFORM_SYSTEM_VERSION");
    SystemInfo info;
    info.getUpdater();
    EXPECT_EQ(name(), "NETBIOS") << "as the platform is unless it is told otherwise";
}

TEST(SystemInfoUpdater, IsOneForTheProcess) {
    const TestStore store;
    const auto updater = GetSystemInfoUpdater();
    ASSERT_TRUE(updater);
    EXPECT_EQ(GetSystemInfoUpdater(), updater);
    EXPECT_EQ((GetSingletonInstance<SystemInfo, int>().getUpdater()), updater);
}
