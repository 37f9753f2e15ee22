#include <CoreFoundation/CoreFoundation.h>
#include <mach/mach.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr double kSoon = 30;

bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) != -1; }

struct Pair {
    Pair() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0); }
    ~Pair() {
        closeEnd(0);
        closeEnd(1);
    }
    void closeEnd(int i) {
        if (ends[i] >= 0) ::close(ends[i]);
        ends[i] = -1;
    }
    void write(const char* text) const { EXPECT_GT(::write(ends[1], text, std::string(text).size()), 0); }
    std::string read() const {
        char text[64];
        const auto count = ::recv(ends[0], text, sizeof text, MSG_DONTWAIT);
        return count > 0 ? std::string(text, static_cast<std::size_t>(count)) : "";
    }
    int ends[2] = {-1, -1};
};

/// A descriptor object on the current loop; notes the types of its calls.
struct Watched {
    explicit Watched(int descriptor, CFStringRef mode = kCFRunLoopDefaultMode, bool closes = false) {
        const CFFileDescriptorContext context{0, this, retain, release, nullptr};
        object = CFFileDescriptorCreate(nullptr, descriptor, closes, call, &context);
        if (!object) return;
        source = CFFileDescriptorCreateRunLoopSource(nullptr, object, 0);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, mode);
    }
    ~Watched() {
        if (!object) return;
        CFFileDescriptorInvalidate(object);
        CFRelease(source);
        CFRelease(object);
        EXPECT_EQ(held, 0);
    }
    void enable(CFOptionFlags types) { CFFileDescriptorEnableCallBacks(object, types); }

    static void* retain(void* info) {
        ++static_cast<Watched*>(info)->held;
        return info;
    }
    static void release(void* info) { --static_cast<Watched*>(info)->held; }
    static void call(CFFileDescriptorRef f, CFOptionFlags types, void* info) {
        auto& self = *static_cast<Watched*>(info);
        EXPECT_EQ(f, self.object);
        self.calls.push_back(types);
        if (self.again) self.enable(self.again);
    }

    std::vector<CFOptionFlags> calls;
    CFOptionFlags again = 0;  ///< enabled anew in every call
    int held = 0;
    CFFileDescriptorRef object = nullptr;
    CFRunLoopSourceRef source = nullptr;
};

constexpr CFOptionFlags kRead = kCFFileDescriptorReadCallBack;
constexpr CFOptionFlags kWrite = kCFFileDescriptorWriteCallBack;
using Calls = std::vector<CFOptionFlags>;

CFRunLoopRunResult run(double seconds = 0, CFStringRef mode = kCFRunLoopDefaultMode) {
    return CFRunLoopRunInMode(mode, seconds, true);
}

}  // namespace

TEST(CFFileDescriptor, CallsOnceForEachTimeItIsEnabled) {
    const Pair pair;
    Watched watched(pair.ends[0]);
    pair.write("x");
    EXPECT_EQ(run(), kCFRunLoopRunTimedOut);
    EXPECT_TRUE(watched.calls.empty());  // nothing is enabled to begin with
    watched.enable(kRead);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(watched.calls, Calls{kRead});
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    watched.enable(kRead);
    EXPECT_EQ(run(), kCFRunLoopRunHandledSource);
    EXPECT_EQ(watched.calls.size(), 2u);
    EXPECT_EQ(pair.read(), "x");
    watched.enable(kRead);
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    pair.write("y");
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
}

TEST(CFFileDescriptor, TellsReadingFromWriting) {
    const Pair pair;
    Watched watched(pair.ends[0]);
    watched.enable(kRead | kWrite);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(watched.calls, Calls{kWrite});
    pair.write("x");  // reading has stayed enabled
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(watched.calls, (Calls{kWrite, kRead}));
    watched.enable(kRead | kWrite);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(watched.calls.back(), kRead | kWrite);
}

TEST(CFFileDescriptor, MayBeEnabledAgainInItsCall) {
    const Pair pair;
    Watched watched(pair.ends[0]);
    watched.again = kRead;
    watched.enable(kRead);
    pair.write("x");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(pair.read(), "x");
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
}

TEST(CFFileDescriptor, DisabledIsNotCalled) {
    const Pair pair;
    Watched watched(pair.ends[0]);
    watched.enable(kRead | kWrite);
    CFFileDescriptorDisableCallBacks(watched.object, kWrite);
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    CFFileDescriptorDisableCallBacks(watched.object, kRead);
    pair.write("x");
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    watched.enable(~CFOptionFlags{3});  // no type that exists
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    EXPECT_TRUE(watched.calls.empty());
}

TEST(CFFileDescriptor, SeesTheOtherEndClose) {
    Pair pair;
    Watched watched(pair.ends[0]);
    watched.enable(kRead);
    pair.closeEnd(1);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(watched.calls, Calls{kRead});
}

TEST(CFFileDescriptor, OfAPlainFileIsAlwaysReady) {
    std::FILE* const file = std::tmpfile();
    {
        Watched watched(::fileno(file));
        watched.enable(kRead | kWrite);
        EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
        EXPECT_EQ(watched.calls, Calls{kRead | kWrite});
        watched.enable(kRead);
        EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    }
    std::fclose(file);
}

TEST(CFFileDescriptor, OfNoOpenDescriptorIsNotMade) {
    for (const int descriptor : {-1, -1000, 1000000}) {
        EXPECT_EQ(CFFileDescriptorCreate(nullptr, descriptor, false, Watched::call, nullptr), nullptr);
    }
    Pair pair;
    const int closed = pair.ends[0];
    pair.closeEnd(0);
    EXPECT_EQ(CFFileDescriptorCreate(nullptr, closed, false, Watched::call, nullptr), nullptr);
    const CFFileDescriptorContext unknown{1, nullptr, nullptr, nullptr, nullptr};
    EXPECT_EQ(CFFileDescriptorCreate(nullptr, pair.ends[1], false, Watched::call, &unknown), nullptr);
}

TEST(CFFileDescriptor, SurvivesNullArguments) {
    CFFileDescriptorContext context{};
    EXPECT_EQ(CFFileDescriptorGetNativeDescriptor(nullptr), -1);
    CFFileDescriptorGetContext(nullptr, &context);
    CFFileDescriptorEnableCallBacks(nullptr, kRead);
    CFFileDescriptorDisableCallBacks(nullptr, kRead);
    CFFileDescriptorInvalidate(nullptr);
    EXPECT_FALSE(CFFileDescriptorIsValid(nullptr));
    EXPECT_EQ(CFFileDescriptorCreateRunLoopSource(nullptr, nullptr, 0), nullptr);
    Pair pair;
    pair.write("x");
    const CFFileDescriptorRef object = CFFileDescriptorCreate(nullptr, pair.ends[0], false, nullptr, nullptr);
    ASSERT_NE(object, nullptr);
    CFFileDescriptorGetContext(object, nullptr);
    CFFileDescriptorEnableCallBacks(object, ~0UL);
    const CFRunLoopSourceRef source = CFFileDescriptorCreateRunLoopSource(nullptr, object, 0);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
    CFFileDescriptorInvalidate(object);
    CFRelease(source);
    CFRelease(object);
}

TEST(CFFileDescriptor, MayBeClosedByItsOwnerWhileWatched) {
    Pair pair;
    Watched watched(pair.ends[0]);
    watched.enable(kRead);
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    pair.closeEnd(0);
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    watched.enable(kRead);
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
}

TEST(CFFileDescriptor, ItsNumberMayGoToAnotherFile) {
    Pair first;
    const int number = first.ends[0];
    const Pair second;
    Watched old(number);
    old.enable(kRead);
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    ASSERT_EQ(::dup2(second.ends[0], number), number);
    Watched young(number);
    young.enable(kRead);
    CFFileDescriptorInvalidate(old.object);
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    young.enable(kRead);
    second.write("x");
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(young.calls, Calls{kRead});
    EXPECT_TRUE(old.calls.empty());
}

TEST(CFFileDescriptor, OfOneNumberTwiceServesBoth) {
    const Pair pair;
    Watched reader(pair.ends[0]), writer(pair.ends[0]);
    reader.enable(kRead);
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    writer.enable(kWrite);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(writer.calls, Calls{kWrite});
    EXPECT_TRUE(reader.calls.empty());
    pair.write("x");
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(reader.calls, Calls{kRead});
    CFFileDescriptorInvalidate(writer.object);
    reader.enable(kRead);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(reader.calls.size(), 2u);
}

TEST(CFFileDescriptor, IsServedInItsModeOnly) {
    const Pair pair, other;
    Watched rare(pair.ends[0], CFSTR("rare")), usual(other.ends[0]);
    rare.enable(kRead);
    usual.enable(kRead);
    pair.write("x");
    EXPECT_EQ(run(0.002), kCFRunLoopRunTimedOut);
    EXPECT_EQ(run(kSoon, CFSTR("rare")), kCFRunLoopRunHandledSource);
    EXPECT_EQ(rare.calls, Calls{kRead});
    EXPECT_TRUE(usual.calls.empty());
}

TEST(CFFileDescriptor, ClosesItsDescriptorOnlyWhenAskedTo) {
    Pair pair;
    { const Watched watched(pair.ends[0]); }
    EXPECT_TRUE(isOpen(pair.ends[0]));
    {
        const Watched watched(pair.ends[0], kCFRunLoopDefaultMode, true);
        EXPECT_EQ(CFFileDescriptorGetNativeDescriptor(watched.object), pair.ends[0]);
        CFFileDescriptorInvalidate(watched.object);
        EXPECT_FALSE(isOpen(pair.ends[0]));
    }
    const CFFileDescriptorRef released = CFFileDescriptorCreate(nullptr, pair.ends[1], true, Watched::call, nullptr);
    CFRelease(released);
    EXPECT_FALSE(isOpen(pair.ends[1]));
    pair.ends[0] = pair.ends[1] = -1;
}

TEST(CFFileDescriptor, InvalidatedOnAnotherThreadIsClosedOnceItsCallbackHasReturned) {
    Pair pair;
    struct Reader {
        std::atomic<bool> invalidated{false};
        std::atomic<bool> running{false};
        bool wasOpen = false;
        static void call(CFFileDescriptorRef f, CFOptionFlags, void* info) {
            auto& self = *static_cast<Reader*>(info);
            self.running = true;
            while (!self.invalidated) std::this_thread::yield();
            self.wasOpen = isOpen(CFFileDescriptorGetNativeDescriptor(f));
        }
    } reader;
    const CFFileDescriptorContext context{0, &reader, nullptr, nullptr, nullptr};
    const CFFileDescriptorRef object = CFFileDescriptorCreate(nullptr, pair.ends[0], true, Reader::call, &context);
    const CFRunLoopSourceRef source = CFFileDescriptorCreateRunLoopSource(nullptr, object, 0);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    CFFileDescriptorEnableCallBacks(object, kRead);
    pair.write("x");
    std::thread other([&] {
        while (!reader.running) std::this_thread::yield();
        CFFileDescriptorInvalidate(object);
        reader.invalidated = true;
    });
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    other.join();
    EXPECT_TRUE(reader.wasOpen);
    EXPECT_FALSE(isOpen(pair.ends[0]));
    pair.ends[0] = -1;
    CFRelease(source);
    CFRelease(object);
}

TEST(CFFileDescriptor, InvalidatedInItsOwnCallbackIsClosedAtOnce) {
    Pair pair;
    struct Reader {
        int calls = 0;
        static void call(CFFileDescriptorRef f, CFOptionFlags, void* info) {
            ++static_cast<Reader*>(info)->calls;
            const int descriptor = CFFileDescriptorGetNativeDescriptor(f);
            CFFileDescriptorInvalidate(f);
            EXPECT_FALSE(isOpen(descriptor));
        }
    } reader;
    const CFFileDescriptorContext context{0, &reader, nullptr, nullptr, nullptr};
    const CFFileDescriptorRef object = CFFileDescriptorCreate(nullptr, pair.ends[0], true, Reader::call, &context);
    const CFRunLoopSourceRef source = CFFileDescriptorCreateRunLoopSource(nullptr, object, 0);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    CFFileDescriptorEnableCallBacks(object, kRead);
    pair.write("x");
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(reader.calls, 1);
    pair.ends[0] = -1;
    CFRelease(source);
    CFRelease(object);
}

TEST(CFFileDescriptor, InvalidateEndsEverything) {
    const Pair pair;
    Watched watched(pair.ends[0]);
    EXPECT_EQ(CFGetTypeID(watched.object), CFFileDescriptorGetTypeID());
    CFFileDescriptorContext context{};
    CFFileDescriptorGetContext(watched.object, &context);
    EXPECT_EQ(context.info, &watched);
    watched.enable(kRead);
    pair.write("x");
    CFFileDescriptorInvalidate(watched.object);
    EXPECT_EQ(watched.held, 0);
    EXPECT_FALSE(CFFileDescriptorIsValid(watched.object));
    EXPECT_FALSE(CFRunLoopSourceIsValid(watched.source));
    EXPECT_EQ(CFFileDescriptorCreateRunLoopSource(nullptr, watched.object, 0), nullptr);
    watched.enable(kRead);
    EXPECT_EQ(run(), kCFRunLoopRunFinished);
    EXPECT_TRUE(watched.calls.empty());
}

TEST(CFFileDescriptor, EnabledByAnotherThreadWakesItsLoop) {
    const Pair pair;
    Watched watched(pair.ends[0]);
    pair.write("x");
    std::thread other([&, loop = CFRunLoopGetCurrent()] {
        while (!CFRunLoopIsWaiting(loop)) std::this_thread::yield();
        watched.enable(kRead);
    });
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    other.join();
}

TEST(CFFileDescriptor, DescriptorsAreServedWhileAPortKeepsTheLoopBusy) {
    static mach_port_t port;
    mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port);
    static const auto signal = [] {
        mach_msg_header_t message{MACH_MSG_TYPE_MAKE_SEND, 24, port, 0, 0, 0};
        mach_msg(&message, MACH_SEND_MSG | MACH_SEND_TIMEOUT, 24, 0, 0, 0, 0);
    };
    CFMachPortContext context{};
    const CFMachPortRef busy = CFMachPortCreateWithPort(
        nullptr, port, [](CFMachPortRef, void*, CFIndex, void*) { signal(); }, &context, nullptr);
    const CFRunLoopSourceRef source = CFMachPortCreateRunLoopSource(nullptr, busy, 0);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    const Pair pair;
    Watched watched(pair.ends[0]);
    watched.enable(kRead);
    pair.write("x");
    signal();
    for (int i = 0; i < 1000 && watched.calls.empty(); ++i) run();
    EXPECT_EQ(watched.calls, Calls{kRead});
    CFMachPortInvalidate(busy);
    CFRelease(source);
    CFRelease(busy);
    mach_port_deallocate(mach_task_self(), port);
}

TEST(CFFileDescriptor, ALoopWithNothingToDoSleeps) {
    const Pair silent, readable, served;
    Watched waiting(silent.ends[0]), elsewhere(readable.ends[0], CFSTR("rare")), done(served.ends[0]);
    waiting.enable(kRead);
    elsewhere.enable(kRead);
    done.enable(kRead);
    readable.write("ready in a mode that does not run");
    served.write("ready, and not asked for again");
    int passes = 0;
    CFRunLoopObserverContext context{0, &passes, nullptr, nullptr, nullptr};
    const CFRunLoopObserverRef observer = CFRunLoopObserverCreate(
        nullptr, kCFRunLoopBeforeTimers, true, 0,
        [](CFRunLoopObserverRef, CFRunLoopActivity, void* count) { ++*static_cast<int*>(count); }, &context);
    CFRunLoopAddObserver(CFRunLoopGetCurrent(), observer, kCFRunLoopDefaultMode);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.03, false), kCFRunLoopRunTimedOut);
    EXPECT_EQ(done.calls.size(), 1u);
    EXPECT_LE(passes, 3);
    CFRunLoopObserverInvalidate(observer);
    CFRelease(observer);
}

TEST(CFFileDescriptor, IsInvalidatedWhileThreadsWhoseLoopsHoldItEnd) {
    for (int round = 0; round < 200; ++round) {
        const Pair pair;
        std::atomic<int> held{0};
        const CFFileDescriptorContext context{0, &held,
                                              [](void* info) {
                                                  ++*static_cast<std::atomic<int>*>(info);
                                                  return info;
                                              },
                                              [](void* info) { --*static_cast<std::atomic<int>*>(info); }, nullptr};
        const CFFileDescriptorRef object =
            CFFileDescriptorCreate(nullptr, pair.ends[0], false, Watched::call, &context);
        const CFRunLoopSourceRef source = CFFileDescriptorCreateRunLoopSource(nullptr, object, 0);
        std::atomic<bool> scheduled{false};
        std::thread ending([&] {
            const CFRunLoopRef loop = CFRunLoopGetCurrent();
            // In many modes: as the thread ends, the source leaves one after the other.
            for (int i = 0; i < 20; ++i) {
                const CFStringRef mode = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("mode %d"), i);
                CFRunLoopAddCommonMode(loop, mode);
                CFRelease(mode);
            }
            CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
            scheduled = true;
        });
        while (!scheduled) std::this_thread::yield();
        // At another moment of the thread's end in every round.
        const auto start = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() - start < std::chrono::microseconds(round)) {
        }
        CFFileDescriptorInvalidate(object);
        CFRelease(source);
        CFRelease(object);
        ending.join();
        EXPECT_EQ(held, 0);
    }
}

TEST(CFFileDescriptor, SharedByTwoLoopsIsServedOncePerWish) {
    const Pair pair;
    struct Shared {
        std::atomic<int> calls{0};
        static void call(CFFileDescriptorRef, CFOptionFlags, void* info) { ++static_cast<Shared*>(info)->calls; }
    } shared;
    const CFFileDescriptorContext context{0, &shared, nullptr, nullptr, nullptr};
    const CFFileDescriptorRef object = CFFileDescriptorCreate(nullptr, pair.ends[0], false, Shared::call, &context);
    const CFRunLoopSourceRef source = CFFileDescriptorCreateRunLoopSource(nullptr, object, 0);
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
            while (!done) CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.01, false);
        });
    }
    pair.write("x");
    for (int i = 1; i <= 200; ++i) {
        CFFileDescriptorEnableCallBacks(object, kRead);
        while (shared.calls < i) std::this_thread::yield();
    }
    done = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(shared.calls, 200);
    CFFileDescriptorInvalidate(object);
    CFRelease(source);
    CFRelease(object);
}
