#include "Log.h"

#include <pthread.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace KXCore {
namespace {

/// Characters of the time text that head a line: all of ctime's but its newline.
constexpr int kTimeLength = 24;

/// A copy of the time text, taken while no other line is asking for it: ctime has one buffer for the whole process.
struct TimeText {
    TimeText() noexcept {
        // Never destroyed, unlike a std::mutex on some systems: lines are written until the process has ended.
        static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
        pthread_mutex_lock(&mutex);
        std::snprintf(text, sizeof text, "%.*s", kTimeLength, CurrentTimeCStr());
        pthread_mutex_unlock(&mutex);
    }

    char text[kTimeLength + 1];
};

}  // namespace

const char* CurrentTimeCStr() noexcept {
    const std::time_t now = std::time(nullptr);
    if (now == static_cast<std::time_t>(-1)) return "Failure to compute the current time.";
    const char* const text = std::ctime(&now);
    return text ? text : "Failure to convert the current time.";
}

void LogLine(const char* format, ...) noexcept {
    const TimeText time;
    char message[1024];
    std::va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it is, one line up
    const int length = std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    if (static_cast<std::size_t>(length) < sizeof message) {  // a negative one, for a fault, is not
        std::fprintf(stderr, "[%.24s]%s", time.text, message);
        return;
    }
    // Too long for the buffer: in two pieces, with the stream held so that no other line comes between.
    flockfile(stderr);
    std::fprintf(stderr, "[%.24s]", time.text);
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    funlockfile(stderr);
}

void FatalExit(const char* file, int line) noexcept {
    LogLine("%s:%d: abort() called\n", file, line);
    std::abort();
}

}  // namespace KXCore
