#include <gtest/gtest.h>

#include <pthread.h>

#include <cerrno>
#include <string>
#include <thread>

namespace {

/// What a thread of its own is called after it has asked for `name`.
std::string nameAfterAskingFor(const char* name, int& result) {
    std::string kept;
    std::thread([&] {
        result = pthread_setname_np(name);
        char text[64] = "";
        pthread_getname_np(pthread_self(), text, sizeof text);
        kept = text;
    }).join();
    return kept;
}

}  // namespace

TEST(ThreadName, NamesTheCallingThread) {
    int result = -1;
    EXPECT_EQ(nameAfterAskingFor("worker", result), "worker");
    EXPECT_EQ(result, 0);
}

TEST(ThreadName, CutsALongNameWhereTheSystemsLimitIs) {
    int result = -1;
    EXPECT_EQ(nameAfterAskingFor("123456789012345", result), "123456789012345");
    EXPECT_EQ(nameAfterAskingFor("1234567890123456", result), "123456789012345");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(nameAfterAskingFor(std::string(10000, 'x').c_str(), result), std::string(15, 'x'));
    EXPECT_EQ(result, 0);
}

TEST(ThreadName, TakesAnEmptyNameAndAnyBytes) {
    int result = -1;
    EXPECT_EQ(nameAfterAskingFor("", result), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(nameAfterAskingFor("\x01%s/\xff", result), "\x01%s/\xff");
    EXPECT_EQ(result, 0);
}

TEST(ThreadName, RefusesNull) { EXPECT_EQ(pthread_setname_np(nullptr), EINVAL); }

TEST(ThreadName, LeavesTheSystemsOwnCallInPlace) {
    std::thread other([] {
        EXPECT_EQ(pthread_setname_np(pthread_self(), "other"), 0);
        char text[64] = "";
        pthread_getname_np(pthread_self(), text, sizeof text);
        EXPECT_STREQ(text, "other");
    });
    other.join();
}
