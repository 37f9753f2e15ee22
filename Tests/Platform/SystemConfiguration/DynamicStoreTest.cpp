#include "StoreTesting.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <limits>
#include <thread>

using namespace StoreTesting;

namespace {

class DynamicStore : public testing::Test {
  protected:
    TestStore store;
    Session session;
};

struct Counted {
    int retained = 0;
    int released = 0;
};

const void* retainCounted(const void* info) {
    ++static_cast<Counted*>(const_cast<void*>(info))->retained;
    return info;
}
void releaseCounted(const void* info) { ++static_cast<Counted*>(const_cast<void*>(info))->released; }
CFStringRef describeCounted(const void*) { return CFStringCreateCopy(nullptr, CFSTR("counted")); }

}  // namespace

// ---- Sessions

TEST(DynamicStoreInterface, HasTheValuesOfThePlatform) {
    EXPECT_EQ(kSCStatusOK, 0);
    EXPECT_EQ(kSCStatusFailed, 1001);
    EXPECT_EQ(kSCStatusInvalidArgument, 1002);
    EXPECT_EQ(kSCStatusNoKey, 1004);
    EXPECT_EQ(kSCStatusKeyExists, 1005);
    EXPECT_EQ(sizeof(SCDynamicStoreContext), 5 * sizeof(void*));
}

TEST_F(DynamicStore, IsAnObjectOfItsOwnType) {
    EXPECT_EQ(CFGetTypeID(session), SCDynamicStoreGetTypeID());
    EXPECT_EQ(Held::utf8(hold(CFCopyTypeIDDescription(SCDynamicStoreGetTypeID()))), "SCDynamicStore");
    EXPECT_NE(Held::utf8(hold(CFCopyDescription(session))).find("name = test"), std::string::npos);
}

TEST_F(DynamicStore, KeepsTheInfoOfItsContextUntilItEnds) {
    Counted counted;
    SCDynamicStoreContext context{0, &counted, retainCounted, releaseCounted, describeCounted};
    const SCDynamicStoreRef made = SCDynamicStoreCreate(nullptr, CFSTR(""), nullptr, &context);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(SCError(), kSCStatusOK);
    EXPECT_EQ(counted.retained, 1);
    EXPECT_NE(Held::utf8(hold(CFCopyDescription(made))).find("info = counted"), std::string::npos);
    const CFRunLoopSourceRef source = SCDynamicStoreCreateRunLoopSource(nullptr, made, 0);
    CFRelease(made);
    EXPECT_EQ(counted.released, 0) << "the source keeps the session";
    CFRelease(source);
    EXPECT_EQ(counted.released, 1);
    EXPECT_EQ(counted.retained, 1);
}

TEST_F(DynamicStore, RefusesAContextOfAnotherVersion) {
    Counted counted;
    SCDynamicStoreContext context{1, &counted, retainCounted, releaseCounted, nullptr};
    EXPECT_EQ(SCDynamicStoreCreate(nullptr, CFSTR(""), nullptr, &context), nullptr);
    EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    EXPECT_EQ(counted.retained, 0);
}

TEST_F(DynamicStore, CannotBeWhereAFileStands) {
    const std::string file = store.path() + "-file";
    TestStore::write(file, "");
    setenv("KXPLATFORM_DYNAMIC_STORE", file.c_str(), 1);
    EXPECT_EQ(SCDynamicStoreCreate(nullptr, CFSTR(""), nullptr, nullptr), nullptr);
    EXPECT_EQ(SCError(), kSCStatusFailed);
}

TEST_F(DynamicStore, IsRefusedWhereOthersMayWrite) {
    std::filesystem::permissions(store.path(), std::filesystem::perms::all);
    EXPECT_EQ(SCDynamicStoreCreate(nullptr, CFSTR(""), nullptr, nullptr), nullptr);
    EXPECT_NE(SCError(), kSCStatusOK);
}

TEST_F(DynamicStore, AnswersNothingForWhatIsNoSession) {
    for (const void* const other : {static_cast<const void*>(nullptr), static_cast<const void*>(kCFNull)}) {
        const auto wrong = static_cast<SCDynamicStoreRef>(other);
        EXPECT_EQ(SCDynamicStoreCreateRunLoopSource(nullptr, wrong, 0), nullptr);
        EXPECT_FALSE(SCDynamicStoreSetNotificationKeys(wrong, nullptr, nullptr));
        EXPECT_EQ(SCDynamicStoreCopyMultiple(wrong, nullptr, nullptr), nullptr);
        EXPECT_EQ(SCDynamicStoreCopyValue(wrong, CFSTR("a")), nullptr);
        EXPECT_EQ(SCDynamicStoreCopyKeyList(wrong, CFSTR(".*")), nullptr);
        EXPECT_FALSE(SCDynamicStoreAddValue(wrong, CFSTR("a"), CFSTR("b")));
        EXPECT_FALSE(SCDynamicStoreSetValue(wrong, CFSTR("a"), CFSTR("b")));
        EXPECT_FALSE(SCDynamicStoreSetMultiple(wrong, nullptr, nullptr, nullptr));
        EXPECT_FALSE(SCDynamicStoreRemoveValue(wrong, CFSTR("a")));
        EXPECT_FALSE(SCDynamicStoreNotifyValue(wrong, CFSTR("a")));
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    }
}

TEST_F(DynamicStore, SurvivesNullArguments) {
    const auto made = hold(SCDynamicStoreCreate(nullptr, nullptr, nullptr, nullptr));
    const CFStringRef key = CFSTR("a");
    for (const SCDynamicStoreRef given : {SCDynamicStoreRef{}, made.get(), session.get()}) {
        const auto source = hold(SCDynamicStoreCreateRunLoopSource(nullptr, given, 0));
        EXPECT_EQ(source.get() != nullptr, given != nullptr);
        EXPECT_EQ(SCDynamicStoreSetNotificationKeys(given, nullptr, nullptr), given != nullptr);
        const auto none = hold(SCDynamicStoreCopyMultiple(given, nullptr, nullptr));
        EXPECT_EQ(none.get() != nullptr, given != nullptr);
        EXPECT_EQ(SCDynamicStoreCopyValue(given, nullptr), nullptr);
        EXPECT_EQ(SCDynamicStoreCopyKeyList(given, nullptr), nullptr);
        for (const CFStringRef named : {CFStringRef{}, key}) {
            EXPECT_FALSE(SCDynamicStoreAddValue(given, named, nullptr));
            EXPECT_FALSE(SCDynamicStoreSetValue(given, named, nullptr));
        }
        EXPECT_FALSE(SCDynamicStoreAddValue(given, nullptr, key));
        EXPECT_FALSE(SCDynamicStoreSetValue(given, nullptr, key));
        EXPECT_EQ(SCDynamicStoreSetMultiple(given, nullptr, nullptr, nullptr), given != nullptr);
        EXPECT_FALSE(SCDynamicStoreRemoveValue(given, nullptr));
        EXPECT_FALSE(SCDynamicStoreNotifyValue(given, nullptr));
    }
    EXPECT_EQ(session.get("a"), nullptr);
}

// ---- Values

TEST_F(DynamicStore, GivesBackWhatWasSet) {
    EXPECT_TRUE(session.setText("key", "first"));
    EXPECT_EQ(session.read("key"), "first");
    EXPECT_TRUE(session.setText("key", "second"));
    EXPECT_EQ(session.read("key"), "second");
    EXPECT_EQ(SCError(), kSCStatusOK);
}

TEST_F(DynamicStore, KeepsValuesOfEveryPropertyListType) {
    const UInt8 bytes[] = {0, 255, 10};
    const double real = 0.1, infinite = std::numeric_limits<double>::infinity();
    const long long integer = std::numeric_limits<long long>::min();
    const auto data = hold(CFDataCreate(nullptr, bytes, sizeof bytes));
    const auto date = hold(CFDateCreate(nullptr, 123.456));
    const auto fraction = hold(CFNumberCreate(nullptr, kCFNumberDoubleType, &real));
    const auto endless = hold(CFNumberCreate(nullptr, kCFNumberDoubleType, &infinite));
    const auto least = hold(CFNumberCreate(nullptr, kCFNumberLongLongType, &integer));
    const auto list = array({"a", "", "\xC3\xA4"});
    const auto nested = dictionary({{"list", list.get()}, {"", kCFBooleanFalse}});
    const auto wide = text("gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80");
    const CFTypeRef values[] = {CFSTR(""),   wide.get(),     data.get(), date.get(),   fraction.get(), endless.get(),
                                least.get(), kCFBooleanTrue, list.get(), nested.get(), kCFBooleanFalse};
    for (const CFTypeRef value : values) {
        ASSERT_TRUE(session.set("key", value));
        const auto found = session.get("key");
        EXPECT_TRUE(CFEqual(found, value)) << Held::utf8(hold(CFCopyDescription(value)));
    }
}

TEST_F(DynamicStore, RefusesWhatIsNoPropertyList) {
    for (const CFTypeRef value : {static_cast<CFTypeRef>(nullptr), static_cast<CFTypeRef>(session.get())}) {
        EXPECT_FALSE(session.set("key", value));
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
        EXPECT_FALSE(SCDynamicStoreAddValue(session, CFSTR("key"), value));
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    }
    EXPECT_TRUE(session.list("key").empty());
}

TEST_F(DynamicStore, TakesValuesOfUpToAMegabyte) {
    constexpr CFIndex kMegabyte = 1 << 20;
    const std::vector<UInt8> zeros(kMegabyte);
    const auto fits = hold(CFDataCreate(nullptr, zeros.data(), kMegabyte - 64));
    const auto exceeds = hold(CFDataCreate(nullptr, zeros.data(), kMegabyte));
    EXPECT_TRUE(session.set("key", fits.get()));
    EXPECT_FALSE(session.set("key", exceeds.get()));
    EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    EXPECT_TRUE(CFEqual(session.get("key"), fits));
}

TEST_F(DynamicStore, AnswersNoKeyForWhatIsNotThere) {
    EXPECT_EQ(session.get("key"), nullptr);
    EXPECT_EQ(SCError(), kSCStatusNoKey);
    EXPECT_FALSE(session.remove("key"));
    EXPECT_EQ(SCError(), kSCStatusNoKey);
}

TEST_F(DynamicStore, RemovesAValue) {
    ASSERT_TRUE(session.setText("key", "value"));
    EXPECT_TRUE(session.remove("key"));
    EXPECT_EQ(SCError(), kSCStatusOK);
    EXPECT_EQ(session.get("key"), nullptr);
    EXPECT_TRUE(session.list(".*key.*").empty());
}

TEST_F(DynamicStore, AddsOnlyWhatIsNotThere) {
    EXPECT_TRUE(SCDynamicStoreAddValue(session, CFSTR("key"), CFSTR("first")));
    EXPECT_FALSE(SCDynamicStoreAddValue(session, CFSTR("key"), CFSTR("second")));
    EXPECT_EQ(SCError(), kSCStatusKeyExists);
    EXPECT_EQ(session.read("key"), "first");
}

TEST_F(DynamicStore, IsOneForAllSessionsAndProcesses) {
    ASSERT_TRUE(session.setText("key", "mine"));
    const int ended = inChild([] {
        Session other;
        return other.read("key") == "mine" && other.setText("key", "theirs") ? 0 : 1;
    });
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(session.read("key"), "theirs");
}

// ---- Keys

TEST_F(DynamicStore, KeepsKeysOfAnyText) {
    const std::vector<std::string> keys = {"",
                                           ".",
                                           "..",
                                           "/",
                                           "../../escape",
                                           "State:/Network/Interface/en0/IPv4",
                                           "%",
                                           "%2F",
                                           "a%00b",
                                           std::string("a\0b", 3),
                                           ".batch",
                                           "a\nb\\c:d",
                                           "\xC3\xBC\xF0\x9F\x98\x80",
                                           "u\xCC\x88",
                                           " "};
    for (const std::string& key : keys) ASSERT_TRUE(session.setText(key, "is " + key)) << key;
    for (const std::string& key : keys) EXPECT_EQ(session.read(key), "is " + key);
    const auto listed = session.list(".*");
    for (const std::string& key : keys) EXPECT_EQ(listed.count(key), 1u) << key;
    for (const std::string& key : keys) EXPECT_TRUE(session.remove(key)) << key;
    for (const std::string& key : keys) EXPECT_EQ(session.get(key), nullptr) << key;
}

TEST_F(DynamicStore, KeepsAByteOrderMarkAtTheBeginningOfAKey) {
    const UniChar units[] = {0xFEFF, 'k'};
    const auto marked = hold(CFStringCreateWithCharacters(nullptr, units, 2));
    ASSERT_TRUE(SCDynamicStoreSetValue(session, marked, CFSTR("value")));
    EXPECT_EQ(session.get("k"), nullptr);
    const auto keys = hold(SCDynamicStoreCopyKeyList(session, CFSTR(".*k")));
    ASSERT_EQ(CFArrayGetCount(keys), 1);
    EXPECT_TRUE(CFEqual(CFArrayGetValueAtIndex(keys, 0), marked));
}

TEST_F(DynamicStore, RefusesKeysThatAreNoText) {
    const UniChar half[] = {'a', 0xD800};
    const auto broken = hold(CFStringCreateWithCharacters(nullptr, half, 2));
    for (const CFStringRef key :
         {static_cast<CFStringRef>(nullptr), broken.get(), reinterpret_cast<CFStringRef>(kCFNull)}) {
        EXPECT_FALSE(SCDynamicStoreSetValue(session, key, CFSTR("value")));
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
        EXPECT_EQ(SCDynamicStoreCopyValue(session, key), nullptr);
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
        EXPECT_FALSE(SCDynamicStoreRemoveValue(session, key));
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
        EXPECT_FALSE(SCDynamicStoreNotifyValue(session, key));
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    }
}

TEST_F(DynamicStore, TakesKeysOfUpTo255Bytes) {
    EXPECT_TRUE(session.setText(std::string(255, 'k'), "value"));
    EXPECT_EQ(session.read(std::string(255, 'k')), "value");
    EXPECT_FALSE(session.setText(std::string(256, 'k'), "value"));
    EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    EXPECT_EQ(session.get(std::string(256, 'k')), nullptr);
    EXPECT_TRUE(session.setText(std::string(255, '/'), "value"));
    EXPECT_FALSE(session.notify(std::string(256, 'k')));
    EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
}

TEST_F(DynamicStore, ListsTheKeysThatAPatternMatchesAsAWhole) {
    for (const char* const key :
         {"State:/a/IPv4", "State:/b/IPv4", "State:/b/IPv4/more", "Prefix State:/a/IPv4", "State:/a/b/IPv4"})
        ASSERT_TRUE(session.setText(key, "value"));
    EXPECT_EQ(session.list("State:/[^/]+/IPv4"), (std::multiset<std::string>{"State:/a/IPv4", "State:/b/IPv4"}));
    EXPECT_EQ(session.list("^State:/a/IPv4$"), (std::multiset<std::string>{"State:/a/IPv4"}));
    EXPECT_EQ(session.list("State:/a/IPv4|State:/b/IPv4/more"),
              (std::multiset<std::string>{"State:/a/IPv4", "State:/b/IPv4/more"}));
    EXPECT_TRUE(session.list("State").empty());
    EXPECT_TRUE(session.list("").empty());
    EXPECT_EQ(SCError(), kSCStatusOK);
}

TEST_F(DynamicStore, MatchesNamesOfAnyTextByCharacters) {
    for (const char* const key : {"gr\xC3\xBC\xC3\x9F", "a\nb", "a.b", "x"}) ASSERT_TRUE(session.setText(key, "value"));
    EXPECT_EQ(session.list("gr[^a][\xC3\x9Fs]"), (std::multiset<std::string>{"gr\xC3\xBC\xC3\x9F"}));
    EXPECT_EQ(session.list("gr.."), (std::multiset<std::string>{"gr\xC3\xBC\xC3\x9F"}));
    EXPECT_EQ(session.list("a.b"), (std::multiset<std::string>{"a\nb", "a.b"}));
    EXPECT_EQ(session.list("a$.^b"), std::multiset<std::string>{}) << "the ends of the key, not of a line in it";
    EXPECT_EQ(session.list("a\\.b|[[:alpha:]]"), (std::multiset<std::string>{"a.b", "x"}));
}

// A matcher that goes back would be at this until the end of days.
TEST_F(DynamicStore, MatchesEveryPatternInLinearTime) {
    const std::string key = std::string(254, 'a') + "c";
    ASSERT_TRUE(session.setText(key, "value"));
    for (const char* const pattern :
         {"(a*)*b", "((a|aa)+)+b", "(a?){250}a{250}b", "((a{0,30}){0,30})b", "(.*)(.*)(.*)(.*)b"})
        EXPECT_TRUE(session.list(pattern).empty()) << pattern;
    EXPECT_EQ(session.list("((a{1,30}){1,30})c").size(), 1u);
}

TEST_F(DynamicStore, RefusesPatternsThatAreNone) {
    for (const std::string& pattern :
         {std::string("("), std::string("[a"), std::string("a{2,1}"), std::string(1025, 'a'), std::string("a\0b", 3),
          std::string("(a)\\1"), std::string("((a{1,30}){1,30}){1,30}")}) {
        EXPECT_EQ(SCDynamicStoreCopyKeyList(session, text(pattern)), nullptr) << pattern;
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
        EXPECT_EQ(SCDynamicStoreCopyMultiple(session, nullptr, array({pattern})), nullptr);
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
        EXPECT_FALSE(SCDynamicStoreSetNotificationKeys(session, nullptr, array({pattern})));
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    }
    EXPECT_EQ(SCDynamicStoreCopyKeyList(session, nullptr), nullptr);
    EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
}

// ---- Several keys

TEST_F(DynamicStore, CopiesTheValuesOfKeysAndPatternsThatAreThere) {
    for (const char* const key : {"a", "b", "c1", "c2"}) ASSERT_TRUE(session.setText(key, key));
    const auto found =
        hold(SCDynamicStoreCopyMultiple(session, array({"a", "absent", "a", "c1"}), array({"c.", "z.*"})));
    ASSERT_NE(found.get(), nullptr);
    EXPECT_TRUE(CFEqual(found, dictionary({{"a", CFSTR("a")}, {"c1", CFSTR("c1")}, {"c2", CFSTR("c2")}})));
}

TEST_F(DynamicStore, CopiesAnEmptyDictionaryWhenNothingIsThere) {
    const auto ofNothing = hold(SCDynamicStoreCopyMultiple(session, nullptr, nullptr));
    ASSERT_NE(ofNothing.get(), nullptr);
    EXPECT_EQ(CFDictionaryGetCount(ofNothing), 0);
    const auto ofAbsent = hold(SCDynamicStoreCopyMultiple(session, array({"absent"}), array({"absent.*"})));
    ASSERT_NE(ofAbsent.get(), nullptr);
    EXPECT_EQ(CFDictionaryGetCount(ofAbsent), 0);
}

TEST_F(DynamicStore, RefusesArraysThatHoldOtherThanText) {
    const void* values[] = {CFSTR("key"), kCFNull};
    const auto mixed = hold(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
    for (const CFArrayRef wrong : {mixed.get(), reinterpret_cast<CFArrayRef>(CFSTR("key"))}) {
        EXPECT_EQ(SCDynamicStoreCopyMultiple(session, wrong, nullptr), nullptr);
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
        EXPECT_EQ(SCDynamicStoreCopyMultiple(session, nullptr, wrong), nullptr);
        EXPECT_FALSE(SCDynamicStoreSetNotificationKeys(session, wrong, nullptr));
        EXPECT_FALSE(SCDynamicStoreSetMultiple(session, nullptr, wrong, nullptr));
        EXPECT_FALSE(SCDynamicStoreSetMultiple(session, nullptr, nullptr, wrong));
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    }
}

TEST_F(DynamicStore, SetsAndRemovesSeveralAtOnce) {
    ASSERT_TRUE(session.setText("old", "value"));
    EXPECT_TRUE(SCDynamicStoreSetMultiple(session,
                                          dictionary({{"a", CFSTR("1")}, {"b", CFSTR("2")}, {"both", CFSTR("3")}}),
                                          array({"old", "absent", "both"}), array({"told"})));
    EXPECT_EQ(session.list("[a-z]*"), (std::multiset<std::string>{"a", "b"}));
    EXPECT_TRUE(SCDynamicStoreSetMultiple(session, nullptr, nullptr, nullptr));
    EXPECT_EQ(SCError(), kSCStatusOK);
}

TEST_F(DynamicStore, ChangesNothingWhenOneOfSeveralCannotBeSet) {
    ASSERT_TRUE(session.setText("a", "old"));
    const auto tooLong = std::string(300, 'k');
    EXPECT_FALSE(
        SCDynamicStoreSetMultiple(session, dictionary({{"a", CFSTR("new")}, {tooLong, CFSTR("x")}}), nullptr, nullptr));
    EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    EXPECT_FALSE(
        SCDynamicStoreSetMultiple(session, dictionary({{"a", CFSTR("new")}, {"b", session.get()}}), nullptr, nullptr));
    EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    EXPECT_EQ(session.read("a"), "old");
}

// ---- Status

TEST_F(DynamicStore, KeepsTheStatusOfEachThreadApart) {
    EXPECT_EQ(session.get("absent"), nullptr);
    std::thread([&] {
        EXPECT_EQ(SCError(), kSCStatusOK);
        EXPECT_FALSE(SCDynamicStoreSetValue(session, nullptr, nullptr));
        EXPECT_EQ(SCError(), kSCStatusInvalidArgument);
    }).join();
    EXPECT_EQ(SCError(), kSCStatusNoKey);
}

TEST(DynamicStoreStatus, HasAWordForEveryStatus) {
    EXPECT_STREQ(SCErrorString(kSCStatusOK), "Success!");
    EXPECT_STREQ(SCErrorString(kSCStatusFailed), "Failed!");
    EXPECT_STREQ(SCErrorString(kSCStatusInvalidArgument), "Invalid argument");
    EXPECT_STREQ(SCErrorString(kSCStatusAccessError), "Permission denied");
    EXPECT_STREQ(SCErrorString(kSCStatusNoKey), "No such key");
    EXPECT_STREQ(SCErrorString(kSCStatusKeyExists), "Key already defined");
    EXPECT_STREQ(SCErrorString(2), "No such file or directory");
    EXPECT_NE(SCErrorString(-7), nullptr);
    EXPECT_NE(SCErrorString(424242), nullptr);
}

// ---- The folder

TEST_F(DynamicStore, BeginsAnewWhenItsFolderWasRemoved) {
    ASSERT_TRUE(session.setText("key", "value"));
    std::filesystem::remove_all(store.path());
    EXPECT_EQ(session.get("key"), nullptr);
    EXPECT_TRUE(session.setText("key", "again"));
    EXPECT_EQ(session.read("key"), "again");
    std::filesystem::remove(store.contents());
    EXPECT_EQ(session.get("key"), nullptr);
    EXPECT_TRUE(session.setText("key", "once more"));
    EXPECT_EQ(session.read("key"), "once more");
    std::filesystem::remove(store.lock());
    EXPECT_TRUE(session.notify("key"));
    EXPECT_EQ(session.read("key"), "once more");
}

TEST_F(DynamicStore, ShowsItsValuesToOtherUsersWhateverTheUmask) {
    const mode_t before = umask(077);
    std::filesystem::remove_all(store.path());
    Session other;
    EXPECT_TRUE(other.setText("key", "value"));
    umask(before);
    struct stat status;
    ASSERT_EQ(stat(store.contents().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644u);
    ASSERT_EQ(stat(store.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0755u);
    ASSERT_EQ(stat(store.lock().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u) << "who can open the lock can keep it";
}

TEST_F(DynamicStore, MayBeReadAndNotChangedByOtherUsers) {
    if (geteuid() != 0) GTEST_SKIP() << "needs another user";
    if (!kForkedMayStartThreads) GTEST_SKIP() << "listens in a forked process";
    ASSERT_TRUE(session.setText("key", "value"));
    std::filesystem::permissions(std::filesystem::path(store.path()).parent_path(), std::filesystem::perms(0755));
    const int ended = inChild([] {
        if (setgid(65534) != 0 || setuid(65534) != 0) return 2;
        return onOwnThread([] {
            Session other;
            if (other.read("key") != "value" || !other.watch({"key"})) return 3;
            if (other.setText("key", "x") || SCError() != kSCStatusAccessError) return 4;
            if (other.remove("key") || SCError() != kSCStatusAccessError) return 5;
            return 0;
        });
    });
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(session.read("key"), "value");
}
