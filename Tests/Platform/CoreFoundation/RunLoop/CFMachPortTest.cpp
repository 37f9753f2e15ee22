#include "Platform/CoreFoundation/TestAllocator.h"

#include <CoreFoundation/CoreFoundation.h>
#include <mach/mach.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>

// A process that has used up its descriptors: this program's definition comes before the system's.

namespace {
std::atomic<bool> noDescriptorIsLeft{false};
std::atomic<bool> noTimerIsLeft{false};
std::atomic<bool> noEpollIsLeft{false};
std::atomic<bool> epollTakesNobody{false};
}  // namespace

extern "C" __attribute__((visibility("default"))) int eventfd(unsigned int count, int flags) noexcept {
    if (noDescriptorIsLeft) {
        errno = EMFILE;
        return -1;
    }
    return reinterpret_cast<decltype(&eventfd)>(dlsym(RTLD_NEXT, "eventfd"))(count, flags);
}

extern "C" __attribute__((visibility("default"))) int timerfd_create(__clockid_t clock, int flags) noexcept {
    if (noTimerIsLeft) {
        errno = EMFILE;
        return -1;
    }
    return reinterpret_cast<decltype(&timerfd_create)>(dlsym(RTLD_NEXT, "timerfd_create"))(clock, flags);
}

extern "C" __attribute__((visibility("default"))) int epoll_create1(int flags) noexcept {
    if (noEpollIsLeft) {
        errno = EMFILE;
        return -1;
    }
    return reinterpret_cast<decltype(&epoll_create1)>(dlsym(RTLD_NEXT, "epoll_create1"))(flags);
}

extern "C" __attribute__((visibility("default"))) int epoll_ctl(int epoll, int operation, int descriptor,
                                                                epoll_event* event) noexcept {
    if (epollTakesNobody) {
        errno = ENOSPC;
        return -1;
    }
    return reinterpret_cast<decltype(&epoll_ctl)>(dlsym(RTLD_NEXT, "epoll_ctl"))(epoll, operation, descriptor, event);
}

namespace {

constexpr double kSoon = 30;

/// Gathers what arrives, and counts the references that a context holds to it.
struct Inbox {
    std::vector<mach_msg_id_t> ids;
    std::string text;
    std::atomic<int> held{0};
    std::atomic<int> arrived{0};
    int invalidated = 0;

    static Inbox& of(const void* info) { return *static_cast<Inbox*>(const_cast<void*>(info)); }
    static const void* retain(const void* info) {
        ++of(info).held;
        return info;
    }
    static void release(const void* info) { --of(info).held; }
    static void take(CFMachPortRef, void* message, CFIndex size, void* info) {
        const auto* const header = static_cast<const mach_msg_header_t*>(message);
        EXPECT_EQ(static_cast<CFIndex>(header->msgh_size), size);
        of(info).ids.push_back(header->msgh_id);
        if (size > 24) of(info).text = reinterpret_cast<const char*>(header + 1);
        ++of(info).arrived;
    }
    static void end(CFMachPortRef, void* info) { ++of(info).invalidated; }

    CFMachPortContext context() { return {0, this, retain, release, nullptr}; }
};

mach_port_t newPort() {
    mach_port_t name = MACH_PORT_NULL;
    EXPECT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &name), KERN_SUCCESS);
    return name;
}

bool lives(mach_port_t port) { return mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, 0) == 0; }

mach_msg_return_t sendTo(mach_port_t port, mach_msg_id_t id = 0) {
    mach_msg_header_t message{MACH_MSG_TYPE_MAKE_SEND, 24, port, 0, 0, id};
    return mach_msg(&message, MACH_SEND_MSG | MACH_SEND_TIMEOUT, 24, 0, 0, 0, 0);
}

/// A port object of `port` that runs on the current loop until it goes.
struct Scheduled {
    Scheduled(mach_port_t port, Inbox& inbox, CFStringRef mode = kCFRunLoopDefaultMode) {
        CFMachPortContext context = inbox.context();
        Boolean notTaken = true;
        object = CFMachPortCreateWithPort(nullptr, port, Inbox::take, &context, &notTaken);
        EXPECT_FALSE(notTaken);
        source = CFMachPortCreateRunLoopSource(nullptr, object, 0);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, mode);
    }
    ~Scheduled() {
        CFMachPortInvalidate(object);
        CFRelease(source);
        CFRelease(object);
    }
    CFMachPortRef object = nullptr;
    CFRunLoopSourceRef source = nullptr;
};

CFRunLoopRunResult runOnce() { return CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false); }

}  // namespace

TEST(CFMachPort, OfItsOwnIsAPortThatEndsWithIt) {
    Inbox inbox;
    CFMachPortContext context = inbox.context();
    Boolean notTaken = true;
    const CFMachPortRef port = CFMachPortCreate(nullptr, Inbox::take, &context, &notTaken);
    ASSERT_NE(port, nullptr);
    EXPECT_FALSE(notTaken);
    EXPECT_EQ(inbox.held, 1);
    EXPECT_EQ(CFGetTypeID(port), CFMachPortGetTypeID());
    const mach_port_t name = CFMachPortGetPort(port);
    EXPECT_EQ(sendTo(name), MACH_MSG_SUCCESS);
    CFRelease(port);
    EXPECT_FALSE(lives(name));
    EXPECT_EQ(inbox.held, 0);
}

TEST(CFMachPort, OfItsOwnLeavesNoRightsToItsPort) {
    for (const bool invalidates : {false, true}) {
        const CFMachPortRef port = CFMachPortCreate(nullptr, nullptr, nullptr, nullptr);
        const mach_port_t name = CFMachPortGetPort(port);
        EXPECT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_SEND, 3), KERN_SUCCESS)
            << "it has a right to send to begin with";
        if (invalidates) {
            CFMachPortInvalidate(port);
        } else {
            CFRetain(port);
            CFRelease(port);
            EXPECT_TRUE(lives(name));
            CFRelease(port);
        }
        EXPECT_EQ(mach_port_deallocate(mach_task_self(), name), KERN_INVALID_NAME);
        if (invalidates) CFRelease(port);
    }
}

TEST(CFMachPort, OfACallersPortLeavesThePortAlone) {
    Inbox inbox;
    const mach_port_t name = newPort();
    {
        const Scheduled scheduled(name, inbox);
        EXPECT_TRUE(CFMachPortIsValid(scheduled.object));
        EXPECT_EQ(CFMachPortGetPort(scheduled.object), name);
    }
    EXPECT_TRUE(lives(name));
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, IsOneForAPort) {
    Inbox first, second;
    const mach_port_t name = newPort();
    {
        const Scheduled scheduled(name, first);
        CFMachPortContext context = second.context();
        Boolean notTaken = false;
        const CFMachPortRef again = CFMachPortCreateWithPort(nullptr, name, Inbox::take, &context, &notTaken);
        EXPECT_EQ(again, scheduled.object);
        EXPECT_TRUE(notTaken);
        EXPECT_EQ(second.held, 0);
        CFRelease(again);
    }
    { const Scheduled scheduled(name, second); }  // the first one has gone
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, OfANameThatStandsForNothingIsNotMade) {
    const mach_port_t stale = newPort();
    mach_port_deallocate(mach_task_self(), stale);
    Inbox inbox;
    for (const mach_port_t name : {MACH_PORT_NULL, MACH_PORT_DEAD, 12345u, stale}) {
        CFMachPortContext context = inbox.context();
        Boolean notTaken = false;
        EXPECT_EQ(CFMachPortCreateWithPort(nullptr, name, Inbox::take, &context, &notTaken), nullptr);
        EXPECT_TRUE(notTaken);
    }
    EXPECT_EQ(inbox.held, 0);
    CFMachPortContext context = inbox.context();
    context.version = 9;
    EXPECT_EQ(CFMachPortCreate(nullptr, Inbox::take, &context, nullptr), nullptr);
}

TEST(CFMachPort, DeliversEachMessageInTurn) {
    Inbox inbox;
    const mach_port_t name = newPort();
    const Scheduled scheduled(name, inbox);
    for (int i = 1; i <= 3; ++i) sendTo(name, i);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(inbox.ids, (std::vector<mach_msg_id_t>{1}));
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false), kCFRunLoopRunTimedOut);
    EXPECT_EQ(inbox.ids, (std::vector<mach_msg_id_t>{1, 2, 3}));
    struct {
        mach_msg_header_t header;
        char text[32];
    } message{{MACH_MSG_TYPE_MAKE_SEND, 0, name, 0, 0, 4}, "with a body"};
    mach_msg(&message.header, MACH_SEND_MSG, sizeof message, 0, 0, 0, 0);
    runOnce();
    EXPECT_EQ(inbox.text, "with a body");
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, DeliversWhatCameBeforeItWasScheduled) {
    Inbox inbox;
    const mach_port_t name = newPort();
    sendTo(name, 7);
    const Scheduled scheduled(name, inbox);
    runOnce();
    EXPECT_EQ(inbox.ids, (std::vector<mach_msg_id_t>{7}));
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, KeepsMessagesForItsMode) {
    Inbox inbox, idle;
    const mach_port_t name = newPort(), other = newPort();
    const Scheduled scheduled(name, inbox, CFSTR("rare")), keep(other, idle);
    sendTo(name, 7);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false), kCFRunLoopRunTimedOut);
    EXPECT_TRUE(inbox.ids.empty());
    CFRunLoopRunInMode(CFSTR("rare"), 0, false);
    EXPECT_EQ(inbox.ids.size(), 1u);
    mach_port_deallocate(mach_task_self(), name);
    mach_port_deallocate(mach_task_self(), other);
}

TEST(CFMachPort, HasOneSourceWhileItIsUsed) {
    Inbox inbox;
    const mach_port_t name = newPort();
    const Scheduled scheduled(name, inbox);
    const CFRunLoopSourceRef again = CFMachPortCreateRunLoopSource(nullptr, scheduled.object, 5);
    EXPECT_EQ(again, scheduled.source);
    CFRelease(again);
    CFRunLoopSourceInvalidate(scheduled.source);
    const CFRunLoopSourceRef next = CFMachPortCreateRunLoopSource(nullptr, scheduled.object, 5);
    ASSERT_NE(next, nullptr);
    EXPECT_NE(next, scheduled.source);
    EXPECT_EQ(CFRunLoopSourceGetOrder(next), 5);
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    CFRunLoopSourceGetContext(next, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    EXPECT_EQ(context.info, scheduled.object);
    EXPECT_EQ(context.getPort(context.info), name);
    CFRelease(next);
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, InvalidateEndsSourceContextAndDelivery) {
    Inbox inbox;
    const mach_port_t name = newPort();
    const Scheduled scheduled(name, inbox);
    CFMachPortSetInvalidationCallBack(scheduled.object, Inbox::end);
    EXPECT_EQ(CFMachPortGetInvalidationCallBack(scheduled.object), Inbox::end);
    sendTo(name);
    CFMachPortInvalidate(scheduled.object);
    CFMachPortInvalidate(scheduled.object);
    EXPECT_FALSE(CFMachPortIsValid(scheduled.object));
    EXPECT_FALSE(CFRunLoopSourceIsValid(scheduled.source));
    EXPECT_EQ(CFMachPortCreateRunLoopSource(nullptr, scheduled.object, 0), nullptr);
    EXPECT_EQ(CFMachPortGetPort(scheduled.object), name);
    EXPECT_EQ(inbox.held, 0);
    EXPECT_EQ(inbox.invalidated, 1);
    CFMachPortContext context{};
    CFMachPortGetContext(scheduled.object, &context);
    EXPECT_EQ(context.info, nullptr);
    EXPECT_EQ(runOnce(), kCFRunLoopRunFinished);
    EXPECT_TRUE(inbox.ids.empty());
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, IsInvalidOnceItsPortHasDied) {
    Inbox inbox;
    const mach_port_t name = newPort();
    const Scheduled scheduled(name, inbox);
    CFMachPortSetInvalidationCallBack(scheduled.object, Inbox::end);
    mach_port_deallocate(mach_task_self(), name);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
    EXPECT_EQ(inbox.invalidated, 1);
    EXPECT_FALSE(CFMachPortIsValid(scheduled.object));

    Inbox other;
    const mach_port_t unwatched = newPort();
    CFMachPortContext context = other.context();
    const CFMachPortRef port = CFMachPortCreateWithPort(nullptr, unwatched, Inbox::take, &context, nullptr);
    mach_port_deallocate(mach_task_self(), unwatched);
    EXPECT_FALSE(CFMachPortIsValid(port));
    EXPECT_EQ(other.held, 0);
    CFRelease(port);
}

TEST(CFMachPort, WhosePortDiedBeforeItIsScheduledIsInvalidatedByItsLoop) {
    Inbox inbox;
    const mach_port_t name = newPort();
    CFMachPortContext context = inbox.context();
    const CFMachPortRef port = CFMachPortCreateWithPort(nullptr, name, Inbox::take, &context, nullptr);
    CFMachPortSetInvalidationCallBack(port, Inbox::end);
    const CFRunLoopSourceRef source = CFMachPortCreateRunLoopSource(nullptr, port, 0);
    mach_port_deallocate(mach_task_self(), name);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
    EXPECT_EQ(inbox.invalidated, 1);
    EXPECT_EQ(inbox.held, 0);
    CFRelease(source);
    CFRelease(port);
}

TEST(CFMachPort, OfADeadNameIsNeitherMadeNorValid) {
    Inbox inbox;
    CFMachPortContext context = inbox.context();
    const mach_port_t name = newPort();
    ASSERT_EQ(mach_port_insert_right(mach_task_self(), name, name, MACH_MSG_TYPE_MAKE_SEND), KERN_SUCCESS);
    const CFMachPortRef port = CFMachPortCreateWithPort(nullptr, name, Inbox::take, &context, nullptr);
    ASSERT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_RECEIVE, -1), KERN_SUCCESS);
    EXPECT_FALSE(CFMachPortIsValid(port));
    EXPECT_EQ(CFMachPortCreateWithPort(nullptr, name, Inbox::take, &context, nullptr), nullptr);
    EXPECT_EQ(inbox.held, 0);
    CFRelease(port);
    EXPECT_EQ(mach_port_deallocate(mach_task_self(), name), KERN_SUCCESS);
}

TEST(CFMachPort, ACallBackThatThrowsLosesItsMessageOnly) {
    const mach_port_t name = newPort();
    CFMachPortContext context{};
    static int calls;
    calls = 0;
    const CFMachPortRef port = CFMachPortCreateWithPort(
        nullptr, name,
        [](CFMachPortRef, void*, CFIndex, void*) {
            if (++calls == 1) throw std::runtime_error("from a callback");
        },
        &context, nullptr);
    const CFRunLoopSourceRef source = CFMachPortCreateRunLoopSource(nullptr, port, 0);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    sendTo(name);
    sendTo(name);
    EXPECT_THROW(runOnce(), std::runtime_error);
    runOnce();
    EXPECT_EQ(calls, 2);
    CFMachPortInvalidate(port);
    CFRelease(source);
    CFRelease(port);
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, MessagesAndTimersTakeTurns) {
    Inbox inbox;
    const mach_port_t name = newPort();
    static mach_port_t flooded;
    flooded = name;
    static int ticks;
    ticks = 0;
    CFMachPortContext context{};
    const CFMachPortRef port = CFMachPortCreateWithPort(
        nullptr, name, [](CFMachPortRef, void*, CFIndex, void*) { sendTo(flooded); }, &context, nullptr);
    const CFRunLoopSourceRef source = CFMachPortCreateRunLoopSource(nullptr, port, 0);
    const CFRunLoopTimerRef timer = CFRunLoopTimerCreate(
        nullptr, 0, 1e-9, 0, 0,
        [](CFRunLoopTimerRef, void*) {
            if (++ticks == 100) CFRunLoopStop(CFRunLoopGetCurrent());
        },
        nullptr);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
    sendTo(name);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunStopped);
    CFRunLoopTimerInvalidate(timer);
    CFMachPortInvalidate(port);
    CFRelease(timer);
    CFRelease(source);
    CFRelease(port);
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, IsServedInAProcessThatHasNoDescriptorLeft) {
    std::thread([] {
        noDescriptorIsLeft = true;
        Inbox inbox;
        const mach_port_t name = newPort();
        const Scheduled scheduled(name, inbox);
        std::atomic<bool> waiting{false};
        std::thread sender([&] {
            while (!waiting) std::this_thread::yield();
            sendTo(name, 5);
        });
        CFRunLoopTimerContext context{0, &waiting, nullptr, nullptr, nullptr};
        const CFRunLoopTimerRef timer = CFRunLoopTimerCreate(
            nullptr, CFAbsoluteTimeGetCurrent() + 0.001, 0, 0, 0,
            [](CFRunLoopTimerRef, void* info) { *static_cast<std::atomic<bool>*>(info) = true; }, &context);
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(inbox.ids, (std::vector<mach_msg_id_t>{5}));
        sender.join();
        noDescriptorIsLeft = false;
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, true), kCFRunLoopRunTimedOut);
        sendTo(name, 6);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        CFRelease(timer);
        mach_port_deallocate(mach_task_self(), name);
    }).join();
}

namespace {

/// Whether a loop that is new, and refused something as long as `refused` says, serves a timer and then a message.
void serveWhile(std::atomic<bool>& refused) {
    std::thread([&] {
        refused = true;
        Inbox inbox;
        const mach_port_t name = newPort();
        const Scheduled scheduled(name, inbox);
        CFRunLoopTimerContext context{0, &inbox, nullptr, nullptr, nullptr};
        const CFRunLoopTimerRef timer = CFRunLoopTimerCreate(
            nullptr, CFAbsoluteTimeGetCurrent() + 0.001, 0, 0, 0,
            [](CFRunLoopTimerRef, void*) { CFRunLoopStop(CFRunLoopGetCurrent()); }, &context);
        CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunStopped);
        sendTo(name, 5);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        refused = false;
        sendTo(name, 6);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(inbox.ids, (std::vector<mach_msg_id_t>{5, 6}));
        CFRelease(timer);
        mach_port_deallocate(mach_task_self(), name);
    }).join();
}

}  // namespace

TEST(CFMachPort, IsServedInTimeThoughTheSystemHasNoTimerLeft) { serveWhile(noTimerIsLeft); }

TEST(CFMachPort, IsServedThoughTheSystemHasNoEpollLeft) { serveWhile(noEpollIsLeft); }

TEST(CFMachPort, IsServedThoughEpollTakesNobodyMore) { serveWhile(epollTakesNobody); }

TEST(CFMachPort, TellsAtOnceWhoAsksAfterItsEnd) {
    Inbox inbox;
    const mach_port_t name = newPort();
    CFMachPortContext context = inbox.context();
    const CFMachPortRef port = CFMachPortCreateWithPort(nullptr, name, Inbox::take, &context, nullptr);
    CFMachPortInvalidate(port);
    static int told;
    told = 0;
    CFMachPortSetInvalidationCallBack(port, nullptr);
    CFMachPortSetInvalidationCallBack(port, [](CFMachPortRef, void* info) {
        EXPECT_EQ(info, nullptr) << "the context has ended";
        ++told;
    });
    EXPECT_EQ(told, 1);
    EXPECT_EQ(inbox.held, 0);
    CFRelease(port);
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, IsNotMadeWithoutMemory) {
    TestAllocator allocator;
    allocator.failAfter(0);
    EXPECT_EQ(CFMachPortCreate(allocator, nullptr, nullptr, nullptr), nullptr);
    const mach_port_t name = newPort();
    EXPECT_EQ(CFMachPortCreateWithPort(allocator, name, nullptr, nullptr, nullptr), nullptr);
    const CFMachPortRef port = CFMachPortCreateWithPort(nullptr, name, nullptr, nullptr, nullptr);
    EXPECT_EQ(CFMachPortCreateRunLoopSource(allocator, port, 0), nullptr);
    EXPECT_TRUE(CFMachPortIsValid(port));
    CFRelease(port);
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, SurvivesNullArguments) {
    CFMachPortContext context{};
    EXPECT_EQ(CFMachPortGetPort(nullptr), mach_port_t{MACH_PORT_NULL});
    CFMachPortGetContext(nullptr, &context);
    CFMachPortInvalidate(nullptr);
    EXPECT_FALSE(CFMachPortIsValid(nullptr));
    EXPECT_EQ(CFMachPortGetInvalidationCallBack(nullptr), nullptr);
    CFMachPortSetInvalidationCallBack(nullptr, nullptr);
    EXPECT_EQ(CFMachPortCreateRunLoopSource(nullptr, nullptr, 0), nullptr);
    context.version = 1;
    EXPECT_EQ(CFMachPortCreate(nullptr, nullptr, &context, nullptr), nullptr);
    const CFMachPortRef port = CFMachPortCreate(nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(port, nullptr);
    CFMachPortGetContext(port, nullptr);
    CFMachPortSetInvalidationCallBack(port, nullptr);
    CFMachPortInvalidate(port);
    CFRelease(port);
    EXPECT_EQ(CFMachPortCreateWithPort(nullptr, MACH_PORT_NULL, nullptr, nullptr, nullptr), nullptr);
}

// ---- Version 1 sources of a caller's own

TEST(CFRunLoopSource, OfVersion1RepliesByTheMessageItReturns) {
    struct Server {
        mach_port_t port;
        static mach_port_t getPort(void* info) { return static_cast<Server*>(info)->port; }
        static void* perform(void* message, CFIndex size, CFAllocatorRef allocator, void*) {
            EXPECT_EQ(size, 24);
            const auto* const request = static_cast<const mach_msg_header_t*>(message);
            auto* const reply = static_cast<mach_msg_header_t*>(CFAllocatorAllocate(allocator, 24, 0));
            *reply = {MACH_MSG_TYPE_MOVE_SEND, 24, request->msgh_remote_port, 0, 0, request->msgh_id + 1};
            return reply;
        }
    } server{newPort()};
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    context.info = &server;
    context.getPort = Server::getPort;
    context.perform = Server::perform;
    const CFRunLoopSourceRef source =
        CFRunLoopSourceCreate(nullptr, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    const mach_port_t client = newPort();
    mach_msg_header_t message{
        MACH_MSGH_BITS(MACH_MSG_TYPE_MAKE_SEND, MACH_MSG_TYPE_MAKE_SEND), 24, server.port, client, 0, 41};
    ASSERT_EQ(mach_msg(&message, MACH_SEND_MSG, 24, 0, 0, 0, 0), MACH_MSG_SUCCESS);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
    ASSERT_EQ(mach_msg(&message, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, 24, client, 0, 0), MACH_MSG_SUCCESS);
    EXPECT_EQ(message.msgh_id, 42);
    // A reply that finds its port full is lost: the loop does not wait for who asked.
    mach_port_limits_t one{.mpl_qlimit = 1};
    ASSERT_EQ(mach_port_set_attributes(mach_task_self(), client, MACH_PORT_LIMITS_INFO,
                                       reinterpret_cast<mach_port_info_t>(&one), MACH_PORT_LIMITS_INFO_COUNT),
              KERN_SUCCESS);
    for (const mach_msg_id_t id : {1, 2}) {
        message = {MACH_MSGH_BITS(MACH_MSG_TYPE_MAKE_SEND, MACH_MSG_TYPE_MAKE_SEND), 24, server.port, client, 0, id};
        ASSERT_EQ(mach_msg(&message, MACH_SEND_MSG, 24, 0, 0, 0, 0), MACH_MSG_SUCCESS);
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
    }
    ASSERT_EQ(mach_msg(&message, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, 24, client, 0, 0), MACH_MSG_SUCCESS);
    EXPECT_EQ(message.msgh_id, 2) << "the reply to the first";
    EXPECT_EQ(mach_msg(&message, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, 24, client, 0, 0), MACH_RCV_TIMED_OUT);
    CFRunLoopSourceSignal(source);  // for sources that are signalled by hand only
    EXPECT_EQ(runOnce(), kCFRunLoopRunTimedOut);
    CFRunLoopSourceInvalidate(source);
    CFRelease(source);
    mach_port_deallocate(mach_task_self(), server.port);
    mach_port_deallocate(mach_task_self(), client);
}

// ---- Many threads

TEST(CFMachPort, SignalsFromManyThreadsReachTheirLoop) {
    Inbox inbox;
    const mach_port_t name = newPort();
    const Scheduled scheduled(name, inbox);
    constexpr int kThreads = 4, kEach = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kEach; ++i) {
                mach_msg_header_t message{MACH_MSG_TYPE_MAKE_SEND, 24, name, 0, 0, i};
                ASSERT_EQ(mach_msg(&message, MACH_SEND_MSG, 24, 0, 0, 0, 0), MACH_MSG_SUCCESS);
            }
        });
    }
    while (inbox.arrived < kThreads * kEach) {
        ASSERT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, true), kCFRunLoopRunHandledSource);
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(runOnce(), kCFRunLoopRunTimedOut);
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, PortsAreInvalidatedAndDieWhileMessagesArrive) {
    std::atomic<mach_port_t> target{MACH_PORT_NULL};
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) sendTo(target);
    });
    std::atomic<CFRunLoopRef> loop{nullptr};
    std::thread runner([&] {
        Inbox idle;
        const mach_port_t keep = newPort();
        const Scheduled alive(keep, idle);
        loop = static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(CFRunLoopGetCurrent())));
        while (!done) CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.01, false);
        mach_port_deallocate(mach_task_self(), keep);
    });
    while (!loop) std::this_thread::yield();
    struct Shared {
        std::atomic<int> held{0};
    } shared;
    for (int i = 0; i < 1000; ++i) {
        CFMachPortContext context{0, &shared,
                                  [](const void* info) {
                                      ++static_cast<Shared*>(const_cast<void*>(info))->held;
                                      return info;
                                  },
                                  [](const void* info) { --static_cast<Shared*>(const_cast<void*>(info))->held; },
                                  nullptr};
        const mach_port_t name = newPort();
        const CFMachPortRef port = CFMachPortCreateWithPort(
            nullptr, name,
            [](CFMachPortRef, void*, CFIndex, void* info) { EXPECT_GT(static_cast<Shared*>(info)->held, 0); }, &context,
            nullptr);
        const CFRunLoopSourceRef source = CFMachPortCreateRunLoopSource(nullptr, port, 0);
        CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
        target = name;
        sendTo(name);
        if (i % 2) std::this_thread::yield();
        if (i % 3 == 0) mach_port_deallocate(mach_task_self(), name);
        CFMachPortInvalidate(port);
        CFRelease(source);
        CFRelease(port);
        if (i % 3 != 0) mach_port_deallocate(mach_task_self(), name);
    }
    done = true;
    sender.join();
    runner.join();
    CFRelease(loop);
    EXPECT_EQ(shared.held, 0);
}

namespace {

/// Runs `body` many times on each of two threads at once.
void onTwoThreads(const std::function<void()>& body) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            ++ready;
            while (ready < 2) std::this_thread::yield();
            for (int i = 0; i < 100000; ++i) body();
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace

TEST(CFMachPort, IsMadeAnewWhileTheLastOneEndsOnAnotherThread) {
    const mach_port_t name = newPort();
    onTwoThreads([name] {
        const CFMachPortRef port = CFMachPortCreateWithPort(nullptr, name, Inbox::take, nullptr, nullptr);
        ASSERT_EQ(CFMachPortGetPort(port), name);
        CFRelease(port);
    });
    mach_port_deallocate(mach_task_self(), name);
}

TEST(CFMachPort, ItsSourceIsMadeAnewWhileTheLastOneEndsOnAnotherThread) {
    const mach_port_t name = newPort();
    const CFMachPortRef port = CFMachPortCreateWithPort(nullptr, name, Inbox::take, nullptr, nullptr);
    onTwoThreads([port] {
        const CFRunLoopSourceRef source = CFMachPortCreateRunLoopSource(nullptr, port, 0);
        ASSERT_TRUE(CFRunLoopSourceIsValid(source));
        CFRelease(source);
    });
    EXPECT_EQ(CFGetRetainCount(port), 1);
    CFRelease(port);
    mach_port_deallocate(mach_task_self(), name);
}
