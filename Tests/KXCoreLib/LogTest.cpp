#include "Log.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace KXCore;

// The clock and the calendar that the log asks, as far as a test wants them to fail. Defined here, they stand in for
// the system's; like that one, ctime has one buffer for everybody.
namespace {
std::atomic<bool> clockFails{false};
std::atomic<bool> calendarFails{false};
std::atomic<time_t> fixedTime{-1};
}  // namespace

extern "C" __attribute__((visibility("default"))) time_t time(time_t* result) noexcept {
    time_t now = -1;
    if (!clockFails) {
        timespec clock{};
        clock_gettime(CLOCK_REALTIME, &clock);
        now = fixedTime == -1 ? clock.tv_sec : fixedTime.load();
    }
    if (result) *result = now;
    return now;
}

extern "C" __attribute__((visibility("default"))) char* ctime(const time_t* when) noexcept {
    static char buffer[26];
    return calendarFails ? nullptr : ctime_r(when, buffer);
}

namespace {

/// The time is 1 January 1970, 00:00:00, and what is written to the standard error is kept.
class Log : public testing::Test {
  protected:
    static constexpr const char* kTime = "Thu Jan  1 00:00:00 1970";

    Log() {
        setenv("TZ", "UTC0", 1);
        tzset();
        fixedTime = 0;
    }
    ~Log() override {
        clockFails = calendarFails = false;
        fixedTime = -1;
    }

    template <class Action>
    static std::string StandardErrorOf(Action action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(Log, TimeTextIsThatOfCtime) {
    EXPECT_STREQ(CurrentTimeCStr(), "Thu Jan  1 00:00:00 1970\n");
    fixedTime = 1794758564;
    EXPECT_STREQ(CurrentTimeCStr(), "Sun Nov 15 16:02:44 2026\n");
}

TEST_F(Log, TimeTextIsLocalTime) {
    setenv("TZ", "EST5", 1);
    tzset();
    EXPECT_STREQ(CurrentTimeCStr(), "Wed Dec 31 19:00:00 1969\n");
}

TEST_F(Log, TimeTextSaysThatTheClockFailed) {
    clockFails = true;
    EXPECT_STREQ(CurrentTimeCStr(), "Failure to compute the current time.");
}

TEST_F(Log, TimeTextSaysThatTheConversionFailed) {
    calendarFails = true;
    EXPECT_STREQ(CurrentTimeCStr(), "Failure to convert the current time.");
}

TEST_F(Log, LineIsTheBracketedTimeAndTheMessage) {
    EXPECT_EQ(StandardErrorOf([] { LogLine("%s has %d items\n", "stream", 3); }),
              std::string("[") + kTime + "]stream has 3 items\n");
}

TEST_F(Log, LineCutsTheFailureTextsToTheLengthOfATime) {
    clockFails = true;
    EXPECT_EQ(StandardErrorOf([] { LogLine("x\n"); }), "[Failure to compute the c]x\n");
    clockFails = false;
    calendarFails = true;
    EXPECT_EQ(StandardErrorOf([] { LogLine("x\n"); }), "[Failure to convert the c]x\n");
}

TEST_F(Log, LineIsWrittenInOnePiece) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);  // keeps what each write brought apart from the next
    const int saved = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    LogLine("%s\n", std::string(1000, 'a').c_str());
    LogLine("second\n");
    dup2(saved, STDERR_FILENO);
    close(saved);

    char piece[4096];
    const std::string head = std::string("[") + kTime + "]";
    ssize_t length = recv(ends[0], piece, sizeof piece, MSG_DONTWAIT);
    ASSERT_GT(length, 0);
    EXPECT_EQ(std::string(piece, static_cast<std::size_t>(length)), head + std::string(1000, 'a') + "\n");
    length = recv(ends[0], piece, sizeof piece, MSG_DONTWAIT);
    ASSERT_GT(length, 0);
    EXPECT_EQ(std::string(piece, static_cast<std::size_t>(length)), head + "second\n");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Log, MessageMayHaveAnyLength) {
    const std::string head = std::string("[") + kTime + "]";
    for (const std::size_t length : {0u, 1u, 1021u, 1022u, 1023u, 1024u, 1025u, 8191u, 8192u, 8193u, 100000u}) {
        const std::string message(length, 'm');
        EXPECT_EQ(StandardErrorOf([&] { LogLine("%s\n", message.c_str()); }), head + message + "\n") << length;
    }
}

TEST_F(Log, LinesOfDifferentThreadsDoNotMix) {
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    const std::string written = StandardErrorOf([] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([thread] {
                for (int line = 0; line < kLines; ++line) {
                    // Every tenth line is too long to be put together in one buffer.
                    const std::string rest(line % 10 == 0 ? 2000 : 20, static_cast<char>('a' + thread));
                    LogLine("%d %d %s\n", thread, line, rest.c_str());
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
    });

    std::set<std::string> expected;
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int line = 0; line < kLines; ++line) {
            expected.insert(std::string("[") + kTime + "]" + std::to_string(thread) + " " + std::to_string(line) + " " +
                            std::string(line % 10 == 0 ? 2000 : 20, static_cast<char>('a' + thread)));
        }
    }
    std::set<std::string> found;
    std::istringstream stream(written);
    for (std::string line; std::getline(stream, line);) found.insert(line);
    EXPECT_EQ(found, expected);
}

struct ExitsWhenUnwound {
    ~ExitsWhenUnwound() { _exit(0); }
};

using LogDeathTest = Log;

TEST_F(LogDeathTest, FatalExitNamesFileAndLineAndAborts) {
    EXPECT_EXIT(FatalExit("KXCoreLib/Example", 42), testing::KilledBySignal(SIGABRT),
                "^\\[Thu Jan  1 00:00:00 1970\\]KXCoreLib/Example:42: abort\\(\\) called\n$");
}

TEST_F(LogDeathTest, FatalExitUnwindsNothing) {
    EXPECT_EXIT(
        {
            const ExitsWhenUnwound guard;
            FatalExit("KXCoreLib/Example", 1);
        },
        testing::KilledBySignal(SIGABRT), "KXCoreLib/Example:1: abort");
}

TEST_F(LogDeathTest, FatalExitWithoutAClockStillSaysWhere) {
    clockFails = true;
    EXPECT_EXIT(FatalExit("KXCoreLib/Example", 7), testing::KilledBySignal(SIGABRT),
                "^\\[Failure to compute the c\\]KXCoreLib/Example:7: abort\\(\\) called\n$");
}

}  // namespace
