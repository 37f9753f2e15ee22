// Run loops of a process that forks: the child shares the kernel's objects, and may not touch them.

#include "RunLoopTesting.h"

#include <mach/mach.h>

#include <cerrno>
#include <csignal>
#include <string>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace RunLoopTesting;

namespace {

/// How a child that did `work` ended, and what it wrote to its standard error stream.
struct Ending {
    int status = 0;
    std::string errors;
    bool exitedWith(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
    bool wasStopped() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT; }
};

/// Forks a child that does `work` and ends with the number that it returns.
Ending inChild(const std::function<int()>& work) {
    Ending ending;
    int pipes[2];
    EXPECT_EQ(::pipe(pipes), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(60);
        ::dup2(pipes[1], STDERR_FILENO);
        ::close(pipes[0]);
        ::close(pipes[1]);
        ::_exit(work());
    }
    ::close(pipes[1]);
    char text[256];
    for (;;) {
        const auto count = ::read(pipes[0], text, sizeof text);
        if (count <= 0) break;
        ending.errors.append(text, static_cast<std::size_t>(count));
    }
    ::close(pipes[0]);
    EXPECT_EQ(::waitpid(child, &ending.status, 0), child);
    return ending;
}

/// A descriptor object on the current loop that counts its calls.
struct Reader {
    Reader() {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        const CFFileDescriptorContext context{0, this, nullptr, nullptr, nullptr};
        object = CFFileDescriptorCreate(
            nullptr, ends[0], false,
            [](CFFileDescriptorRef f, CFOptionFlags, void* info) {
                ++static_cast<Reader*>(info)->calls;
                CFFileDescriptorEnableCallBacks(f, kCFFileDescriptorReadCallBack);
            },
            &context);
        source = CFFileDescriptorCreateRunLoopSource(nullptr, object, 0);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        CFFileDescriptorEnableCallBacks(object, kCFFileDescriptorReadCallBack);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.0001, false), kCFRunLoopRunTimedOut);
    }
    ~Reader() {
        CFFileDescriptorInvalidate(object);
        CFRelease(source);
        CFRelease(object);
        ::close(ends[0]);
        ::close(ends[1]);
    }
    /// Whether the loop still hears of what is written.
    bool hears() {
        const int before = calls;
        EXPECT_EQ(::write(ends[1], "x", 1), 1);
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true);
        char x;
        EXPECT_EQ(::read(ends[0], &x, 1), 1);
        return calls > before;
    }
    int ends[2] = {-1, -1};
    int calls = 0;
    CFFileDescriptorRef object = nullptr;
    CFRunLoopSourceRef source = nullptr;
};

}  // namespace

TEST(CFRunLoopFork, AChildThatUsesTheLoopOfItsParentIsStoppedWithOneLine) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action idle;
        Own source(newSource(idle));
        Own timer(newTimer(idle, 1000));
        Own observer(newObserver(idle, kCFRunLoopEntry));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        const std::function<void()> uses[] = {
            [] { CFRunLoopRun(); },
            [] { CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false); },
            [&] { CFRunLoopAddSource(loop, source, CFSTR("another")); },
            [&] { CFRunLoopAddTimer(loop, timer, CFSTR("another")); },
            [&] { CFRunLoopAddObserver(loop, observer, CFSTR("another")); },
            [&] { CFRunLoopAddCommonMode(loop, CFSTR("another")); },
            [&] { CFRunLoopWakeUp(loop); },
            [&] { CFRunLoopStop(loop); },
        };
        for (const auto& use : uses) {
            const Ending ending = inChild([&] {
                use();
                return 0;
            });
            EXPECT_TRUE(ending.wasStopped()) << ending.status;
            EXPECT_EQ(ending.errors,
                      "KXPlatform: a forked process cannot use a run loop of its parent; it has to call exec first.\n");
        }
    });
}

TEST(CFRunLoopFork, TheParentsTimersTickOn) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action tick;
        Own timer(newTimer(tick, 0, 0.001));
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.002, false);
        tick.run = [&] {
            if (tick.calls >= 40) CFRunLoopStop(loop);
        };
        const Ending ending = inChild([&] {
            CFRunLoopTimerSetNextFireDate(timer, CFAbsoluteTimeGetCurrent() + 1000);
            CFRunLoopTimerSetTolerance(timer, 1000);
            CFRunLoopTimerInvalidate(timer);
            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.01, false);
            return 0;
        });
        EXPECT_TRUE(ending.wasStopped());
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
    });
}

TEST(CFRunLoopFork, AnInheritedDescriptorMayBeEnabledInvalidatedAndReleased) {
    onOwnLoop([] {
        Reader reader;
        EXPECT_TRUE(reader.hears());
        EXPECT_TRUE(inChild([&] {
                        CFFileDescriptorEnableCallBacks(reader.object, kCFFileDescriptorWriteCallBack);
                        CFFileDescriptorDisableCallBacks(reader.object, kCFFileDescriptorReadCallBack);
                        CFFileDescriptorInvalidate(reader.object);
                        CFRelease(reader.source);
                        CFRelease(reader.object);
                        return 7;
                    }).exitedWith(7));
        EXPECT_TRUE(reader.hears());
        EXPECT_TRUE(inChild([&] {
                        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), reader.source, kCFRunLoopDefaultMode);
                        CFRunLoopSourceInvalidate(reader.source);
                        return 7;
                    }).exitedWith(7));
        EXPECT_TRUE(reader.hears());
    });
}

TEST(CFRunLoopFork, AnInheritedLoopHoldsNothingInTheChild) {
    onOwnLoop([] {
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        Action idle;
        Own source(newSource(idle));
        CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
        EXPECT_TRUE(inChild([&] {
                        const bool holds = CFRunLoopContainsSource(loop, source, kCFRunLoopDefaultMode) ||
                                           CFRunLoopCopyCurrentMode(loop) || CFRunLoopCopyAllModes(loop) ||
                                           CFRunLoopIsWaiting(loop) ||
                                           CFRunLoopGetNextTimerFireDate(loop, kCFRunLoopDefaultMode) != 0;
                        CFRunLoopSourceSignal(source);
                        return holds;
                    }).exitedWith(0));
        EXPECT_TRUE(CFRunLoopContainsSource(loop, source, kCFRunLoopDefaultMode));
    });
}

TEST(CFRunLoopFork, AChildsMessageToAnInheritedPortWakesNobodyInTheParent) {
    onOwnLoop([] {
        const CFMachPortRef port = CFMachPortCreate(
            nullptr, [](CFMachPortRef, void*, CFIndex, void*) { ADD_FAILURE(); }, nullptr, nullptr);
        Own source(CFMachPortCreateRunLoopSource(nullptr, port, 0));
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        Action slept;
        Own observer(newObserver(slept, kCFRunLoopAfterWaiting));
        CFRunLoopAddObserver(CFRunLoopGetCurrent(), observer, kCFRunLoopDefaultMode);
        // The child is made while the loop sleeps.
        std::thread forker([name = CFMachPortGetPort(port), loop = CFRunLoopGetCurrent()] {
            while (!CFRunLoopIsWaiting(loop)) std::this_thread::yield();
            EXPECT_TRUE(inChild([&] {
                            mach_msg_header_t message{MACH_MSG_TYPE_MAKE_SEND, 24, name, 0, 0, 0};
                            return mach_msg(&message, MACH_SEND_MSG | MACH_SEND_TIMEOUT, 24, 0, 0, 0, 0);
                        }).exitedWith(0));
            CFRunLoopStop(loop);
        });
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
        forker.join();
        EXPECT_EQ(slept.calls, 1);
        CFMachPortInvalidate(port);
        CFRelease(port);
    });
}

TEST(CFRunLoopFork, AChildMayHaveLoopsOfItsOwn) {
    onOwnLoop([] {
        Reader reader;
        Action tick;
        Own timer(newTimer(tick, 0));
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        EXPECT_TRUE(inChild([&] {
                        bool served = false;
                        std::thread([&] {
                            const CFRunLoopRef loop = CFRunLoopGetCurrent();
                            // Items that the parent's loop held are free here.
                            CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
                            CFRunLoopAddSource(loop, reader.source, kCFRunLoopDefaultMode);
                            CFFileDescriptorEnableCallBacks(reader.object, kCFFileDescriptorWriteCallBack);
                            served =
                                CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true) == kCFRunLoopRunHandledSource &&
                                reader.calls == 1;
                            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
                        }).join();
                        return served && tick.calls == 1;
                    }).exitedWith(1));
        EXPECT_TRUE(reader.hears());
        runOnce();
        runOnce();
        EXPECT_EQ(tick.calls, 1);
    });
}

TEST(CFRunLoopFork, AThreadThatForkedMayEndInTheChildWithTheLoopOfItsParent) {
    onOwnLoop([] {
        Reader reader;
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(60);
            ::pthread_exit(nullptr);  // the only thread of the child, which ends well with it
        }
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_TRUE(reader.hears());
    });
}

TEST(CFRunLoopFork, TheLoopOfAChildsOnlyThreadIsItsMainOne) {
    // In a child that inherits no loop: it is made by a program whose main thread has none.
    EXPECT_TRUE(inChild([] {
                    const CFRunLoopRef loop = CFRunLoopGetCurrent();
                    return loop && loop == CFRunLoopGetMain() &&
                           CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false) == kCFRunLoopRunFinished;
                }).exitedWith(1));
    std::thread([] {
        EXPECT_NE(CFRunLoopGetCurrent(), nullptr);
        std::thread([] {
            // A thread that has asked for its number, and has no loop.
            CFRunLoopRef other = nullptr;
            std::thread([&] {
                other = static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(CFRunLoopGetCurrent())));
            }).join();
            CFRunLoopStop(other);
            CFRelease(other);
            EXPECT_TRUE(inChild([] { return CFRunLoopGetCurrent() == CFRunLoopGetMain(); }).exitedWith(1));
        }).join();
    }).join();
}
