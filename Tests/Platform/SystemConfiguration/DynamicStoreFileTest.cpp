// The store's file, damaged in every way.

#include "StoreTesting.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace StoreTesting;

namespace {

class DynamicStoreFile : public testing::Test {
  protected:
    /// Three batches: a; b and c; a removed and d noticed.
    std::string writeAll() {
        EXPECT_TRUE(session.setText("a", "1"));
        EXPECT_TRUE(
            SCDynamicStoreSetMultiple(session, dictionary({{"b", CFSTR("2")}, {"c", CFSTR("3")}}), nullptr, nullptr));
        EXPECT_TRUE(SCDynamicStoreSetMultiple(session, nullptr, array({"a"}), array({"d"})));
        return TestStore::read(store.contents());
    }

    /// Puts a file with these bytes in place, as somebody else's editor would.
    void replace(const std::string& bytes) const {
        TestStore::write(store.path() + "/other", bytes);
        std::filesystem::rename(store.path() + "/other", store.contents());
    }

    std::string all() const { return session.read("a") + session.read("b") + session.read("c"); }

    TestStore store;
    Session session;
};

const std::string kNone = "<none>";

/// What the store may show: as it was after each of the batches.
bool isAState(const std::string& seen) {
    return seen == kNone + kNone + kNone || seen == "1" + kNone + kNone || seen == "123" || seen == kNone + "23";
}

}  // namespace

TEST_F(DynamicStoreFile, BeginsWithAMarkAndIsAsDocumented) {
    ASSERT_TRUE(session.setText("k", "v"));
    const std::string bytes = TestStore::read(store.contents());
    EXPECT_EQ(bytes.substr(0, 8), "KXStore1");
    EXPECT_EQ(bytes.substr(16, 16), std::string(16, '\0')) << "the first of all files goes on from nothing";
    constexpr std::size_t kHeader = 36, kHead = 8, kChange = 6;
    const std::string change = bytes.substr(kHeader + kHead);
    EXPECT_EQ(bytes.substr(kHeader, 4), std::string("\x32\0\0\0", 4));
    EXPECT_EQ(change.size(), 0x32u);
    EXPECT_EQ(change.substr(0, kChange), std::string("\1\1\x2b\0\0\0", kChange));
    EXPECT_EQ(change.substr(kChange, 9), "kbplist00");
}

TEST_F(DynamicStoreFile, ShowsWholeBatchesWhereverItIsCutShort) {
    const std::string whole = writeAll();
    ASSERT_EQ(all(), kNone + "23");
    std::set<std::string> seen;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        replace(whole.substr(0, size));
        EXPECT_TRUE(isAState(all())) << size << " " << all();
        seen.insert(all());
        EXPECT_EQ(Session().list("[abc]").size(), session.list("[abc]").size());
        if (size % 7 != 0) continue;
        const std::string before = session.read("b");
        ASSERT_TRUE(session.setText("a", "new")) << size << ": it can be written again";
        EXPECT_EQ(all(), "new" + before + (before == kNone ? kNone : "3"));
        EXPECT_EQ(Session().read("a"), "new");
    }
    EXPECT_EQ(seen.size(), 3u);
    replace(whole);
    EXPECT_EQ(all(), kNone + "23");
}

TEST_F(DynamicStoreFile, ShowsWholeBatchesWhateverByteIsWrong) {
    const std::string whole = writeAll();
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 1 << at % 8);
        replace(damaged);
        EXPECT_TRUE(isAState(all())) << at << " " << all();
        if (at % 11 != 0) continue;
        ASSERT_TRUE(session.setText("a", "new")) << at;
        EXPECT_EQ(session.read("a"), "new");
        EXPECT_EQ(Session().read("a"), "new");
    }
}

TEST_F(DynamicStoreFile, ShowsWholeBatchesWhateverByteOfItsStateIsWrong) {
    writeAll();
    struct stat first, now;
    ASSERT_EQ(stat(store.contents().c_str(), &first), 0);
    do {  // until a new file begins with the state
        ASSERT_TRUE(session.setText("filler", std::string(30000, 'x')));
        ASSERT_TRUE(session.setText("filler", ""));
        ASSERT_EQ(stat(store.contents().c_str(), &now), 0);
    } while (now.st_ino == first.st_ino);
    const std::string whole = TestStore::read(store.contents());
    for (std::size_t at = 0; at < std::min<std::size_t>(whole.size(), 200); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 1);
        replace(damaged);
        EXPECT_TRUE(isAState(all())) << at << " " << all();
        ASSERT_TRUE(session.setText("a", "new")) << at;
        EXPECT_EQ(Session().read("a"), "new") << at;
        EXPECT_EQ(session.read("a"), "new") << at;
    }
}

TEST_F(DynamicStoreFile, IsBegunAnewWhenItIsNone) {
    for (const std::string& bytes : {std::string(), std::string("text"), std::string(100000, '\0'),
                                     "KXStore2" + std::string(100, '\0'), "KXStore1" + std::string(100, '\xFF')}) {
        replace(bytes);
        EXPECT_EQ(all(), kNone + kNone + kNone);
        EXPECT_TRUE(session.setText("a", "1"));
        EXPECT_EQ(session.read("a"), "1");
    }
}

TEST_F(DynamicStoreFile, IsTruncatedByNobodyUnnoticed) {
    const std::string whole = writeAll();
    ASSERT_EQ(truncate(store.contents().c_str(), 100), 0);
    EXPECT_TRUE(isAState(all())) << all();
    EXPECT_TRUE(session.setText("a", "new"));
    EXPECT_EQ(Session().read("a"), "new");
    EXPECT_EQ(session.read("a"), "new");
}

TEST_F(DynamicStoreFile, TellsWhoeverListensOfAnotherInItsPlace) {
    const std::string whole = writeAll();
    ASSERT_TRUE(session.watch({"a", "b", "x"}));
    std::filesystem::remove(store.contents());
    EXPECT_TRUE(session.hears("b"));
    session.told.clear();
    replace(whole);
    EXPECT_TRUE(session.hears("b"));
    EXPECT_EQ(session.read("b"), "2");
}

TEST_F(DynamicStoreFile, KeepsNoMoreOfThePastThanOfThePresent) {
    struct stat status;
    for (int i = 0; i < 3000; ++i) ASSERT_TRUE(session.setText("key" + std::to_string(i % 10), std::string(100, 'x')));
    ASSERT_EQ(stat(store.contents().c_str(), &status), 0);
    EXPECT_LT(status.st_size, 80000);
    EXPECT_EQ(session.list("key.").size(), 10u);
}
