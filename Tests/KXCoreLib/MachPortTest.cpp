#include <KXCoreLib/MachPort.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <thread>
#include <type_traits>
#include <vector>

#include <dlfcn.h>

extern "C" kern_return_t SignalTwiceFromC(mach_port_t* port);

// The system's calls that cannot be made to fail otherwise, and the one whose arguments leave no trace. This program's
// definitions come before the platform's.

namespace {

kern_return_t allocateAnswer = KERN_SUCCESS;
kern_return_t setAttributesAnswer = KERN_SUCCESS;
mach_port_t lastAllocated = MACH_PORT_NULL;
bool addsRightToSend = false;  // when the attributes of a port are to be set

struct Sent {
    mach_msg_header_t header;
    mach_msg_option_t option;
    mach_msg_size_t sendSize, receiveSize;
    mach_port_name_t receivePort;
    mach_msg_timeout_t timeout;
    mach_port_name_t notify;
};
thread_local Sent lastSent;

template <class Function>
Function* systems(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" kern_return_t mach_port_allocate(ipc_space_t task, mach_port_right_t right, mach_port_name_t* name) {
    if (allocateAnswer != KERN_SUCCESS) return allocateAnswer;
    const kern_return_t result = systems<decltype(mach_port_allocate)>("mach_port_allocate")(task, right, name);
    lastAllocated = *name;
    return result;
}

extern "C" kern_return_t mach_port_set_attributes(ipc_space_t task, mach_port_name_t name, mach_port_flavor_t flavor,
                                                  mach_port_info_t info, mach_msg_type_number_t count) {
    if (addsRightToSend) mach_port_insert_right(task, name, name, MACH_MSG_TYPE_MAKE_SEND);
    if (setAttributesAnswer != KERN_SUCCESS) return setAttributesAnswer;
    return systems<decltype(mach_port_set_attributes)>("mach_port_set_attributes")(task, name, flavor, info, count);
}

extern "C" mach_msg_return_t mach_msg(mach_msg_header_t* message, mach_msg_option_t option, mach_msg_size_t sendSize,
                                      mach_msg_size_t receiveSize, mach_port_name_t receivePort,
                                      mach_msg_timeout_t timeout, mach_port_name_t notify) {
    if (option & MACH_SEND_MSG) {
        lastSent = {*message, option, sendSize, receiveSize, receivePort, timeout, notify};
    }
    return systems<decltype(mach_msg)>("mach_msg")(message, option, sendSize, receiveSize, receivePort, timeout,
                                                   notify);
}

namespace {

using namespace KXCore;

static_assert(!std::is_copy_constructible_v<MachPort> && !std::is_copy_assignable_v<EventPort>);
static_assert(sizeof(MachPort) == 4 && !std::is_polymorphic_v<EventPort>);

struct PortStatus {
    kern_return_t result;
    mach_port_msgcount_t limit;
    mach_port_msgcount_t messages;
};

PortStatus statusOf(mach_port_t port) {
    mach_port_status_t status{};
    mach_msg_type_number_t count = MACH_PORT_RECEIVE_STATUS_COUNT;
    const kern_return_t result = mach_port_get_attributes(mach_task_self(), port, MACH_PORT_RECEIVE_STATUS,
                                                          reinterpret_cast<mach_port_info_t>(&status), &count);
    return {result, status.mps_qlimit, status.mps_msgcount};
}

bool lives(mach_port_t port) { return statusOf(port).result == KERN_SUCCESS; }

mach_msg_return_t receive(mach_port_t port, mach_msg_header_t& message) {
    return mach_msg(&message, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, sizeof message, port, 0, MACH_PORT_NULL);
}

}  // namespace

TEST(MachPort, OfNameZeroIsANewPortThatEndsWithIt) {
    mach_port_t name;
    {
        const MachPort port(0);
        name = port.getPort();
        EXPECT_EQ(name, lastAllocated);
        EXPECT_EQ(statusOf(name).limit, MACH_PORT_QLIMIT_DEFAULT);
    }
    EXPECT_FALSE(lives(name));
}

TEST(MachPort, TakesOverANameAndDeallocatesIt) {
    mach_port_t name = MACH_PORT_NULL;
    ASSERT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &name), KERN_SUCCESS);
    lastAllocated = MACH_PORT_NULL;
    {
        const MachPort port(name);
        EXPECT_EQ(port.getPort(), name);
        EXPECT_EQ(lastAllocated, MACH_PORT_NULL);
    }
    EXPECT_FALSE(lives(name));
}

TEST(MachPort, GivesUpOneRightAndDoesNotDestroyTheOthers) {
    mach_port_t name = MACH_PORT_NULL;
    ASSERT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &name), KERN_SUCCESS);
    ASSERT_EQ(mach_port_insert_right(mach_task_self(), name, name, MACH_MSG_TYPE_MAKE_SEND), KERN_SUCCESS);
    { const MachPort port(name); }
    EXPECT_TRUE(lives(name));
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_SEND, 0), KERN_INVALID_RIGHT);
    { const EventPort port(name); }
    EXPECT_FALSE(lives(name));
}

TEST(MachPort, MayHoldANameThatStandsForNothing) {
    const MachPort port(12345);
    EXPECT_EQ(port.getPort(), 12345u);
}

TEST(MachPortDeathTest, EndsTheProcessWhenNoPortIsLeft) {
    EXPECT_DEATH(
        {
            allocateAnswer = KERN_NO_SPACE;
            const MachPort port(0);
        },
        R"(\]KXCoreLib/MachPort:15: abort\(\) called)");
}

TEST(EventPort, HoldsOneMessage) {
    const EventPort port(0);
    EXPECT_EQ(statusOf(port.getPort()).limit, 1u);
    EXPECT_EQ(port.signal(), KERN_SUCCESS);
    EXPECT_EQ(port.signal(), MACH_SEND_TIMED_OUT);
    EXPECT_EQ(port.signal(), MACH_SEND_TIMED_OUT);
    EXPECT_EQ(statusOf(port.getPort()).messages, 1u);
    mach_msg_header_t message{};
    EXPECT_EQ(receive(port.getPort(), message), MACH_MSG_SUCCESS);
    EXPECT_EQ(port.signal(), KERN_SUCCESS);
}

TEST(EventPort, MakesTheQueueOfAPortItIsGivenHoldOneMessage) {
    mach_port_t name = MACH_PORT_NULL;
    ASSERT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &name), KERN_SUCCESS);
    const EventPort port(name);
    EXPECT_EQ(statusOf(name).limit, 1u);
}

namespace {

/// The last message was a bare header to `port`, as bytes and as the system was asked to send it.
void expectNotificationTo(mach_port_t port) {
    const std::uint32_t words[6] = {0x14, 24, port, 0, 0, 0};
    static_assert(sizeof words == sizeof lastSent.header);
    EXPECT_EQ(std::memcmp(&lastSent.header, words, sizeof words), 0);
    EXPECT_EQ(lastSent.option, MACH_SEND_MSG | MACH_SEND_TIMEOUT);
    EXPECT_EQ(lastSent.sendSize, 24u);
    EXPECT_EQ(lastSent.receiveSize, 0u);
    EXPECT_EQ(lastSent.receivePort, MACH_PORT_NULL);
    EXPECT_EQ(lastSent.timeout, 0u);
    EXPECT_EQ(lastSent.notify, MACH_PORT_NULL);
}

}  // namespace

TEST(EventPort, SendsABareHeaderWithoutWaiting) {
    const EventPort port(0);
    for (int i = 0; i < 2; ++i) {  // into the empty queue, and when it is full
        std::memset(&lastSent, 0xFF, sizeof lastSent);
        port.signal();
        expectNotificationTo(port.getPort());
    }
    mach_msg_header_t message{};
    ASSERT_EQ(receive(port.getPort(), message), MACH_MSG_SUCCESS);
    EXPECT_EQ(message.msgh_size, 24u);
    EXPECT_EQ(message.msgh_id, 0);
    EXPECT_EQ(message.msgh_local_port, port.getPort());
    EXPECT_EQ(message.msgh_remote_port, MACH_PORT_NULL);
    EXPECT_EQ(message.msgh_voucher_port, 0u);
}

TEST(EventPortDeathTest, EndsTheProcessWhenItsLimitCannotBeSet) {
    EXPECT_DEATH(EventPort(12345), R"(\]KXCoreLib/MachPort:42: abort\(\) called)");
    EXPECT_DEATH(
        {
            setAttributesAnswer = KERN_FAILURE;
            const EventPort port(0);
        },
        R"(\]KXCoreLib/MachPort:42: abort\(\) called)");
}

TEST(EventPortDeathTest, EndsTheProcessWhenASignalCannotBeSent) {
    const EventPort port(0);
    EXPECT_DEATH(
        {
            mach_port_destroy(mach_task_self(), port.getPort());
            port.signal();
        },
        R"(\]KXCoreLib/MachPort:74: abort\(\) called)");
}

TEST(NotificationPort, IsAllocatedSignalledAndReceivedFrom) {
    mach_port_t port = MACH_PORT_NULL;
    ASSERT_EQ(kx_allocate_notification_port(&port), KERN_SUCCESS);
    EXPECT_EQ(statusOf(port).limit, 1u);
    EXPECT_EQ(kx_send_notification_msg(port), KERN_SUCCESS);
    EXPECT_EQ(kx_send_notification_msg(port), KERN_SUCCESS);  // one is waiting already
    EXPECT_EQ(statusOf(port).messages, 1u);
    mach_msg_header_t message{};
    EXPECT_EQ(receive(port, message), MACH_MSG_SUCCESS);
    EXPECT_EQ(receive(port, message), MACH_RCV_TIMED_OUT);
    EXPECT_EQ(mach_port_deallocate(mach_task_self(), port), KERN_SUCCESS);
}

TEST(NotificationPort, IsSentTheSameMessage) {
    const EventPort port(0);
    for (int i = 0; i < 2; ++i) {
        std::memset(&lastSent, 0xFF, sizeof lastSent);
        EXPECT_EQ(kx_send_notification_msg(port.getPort()), KERN_SUCCESS);
        expectNotificationTo(port.getPort());
    }
}

TEST(NotificationPort, ThatCannotBeMadeLeavesTheCallersNameAlone) {
    mach_port_t port = 77;
    allocateAnswer = KERN_RESOURCE_SHORTAGE;
    EXPECT_EQ(kx_allocate_notification_port(&port), KERN_RESOURCE_SHORTAGE);
    allocateAnswer = KERN_SUCCESS;
    setAttributesAnswer = KERN_INVALID_VALUE;
    EXPECT_EQ(kx_allocate_notification_port(&port), KERN_INVALID_VALUE);
    setAttributesAnswer = KERN_SUCCESS;
    EXPECT_EQ(port, 77u);
    EXPECT_FALSE(lives(lastAllocated));  // what was allocated for it has been given back
}

TEST(NotificationPort, ThatCannotBeMadeIsDeallocatedAndNotDestroyed) {
    mach_port_t port = 77;
    addsRightToSend = true;
    setAttributesAnswer = KERN_INVALID_VALUE;
    EXPECT_EQ(kx_allocate_notification_port(&port), KERN_INVALID_VALUE);
    setAttributesAnswer = KERN_SUCCESS;
    addsRightToSend = false;
    EXPECT_EQ(port, 77u);
    EXPECT_TRUE(lives(lastAllocated));  // the right to send has been given up, the one to receive has not
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), lastAllocated, MACH_PORT_RIGHT_SEND, 0), KERN_INVALID_RIGHT);
    mach_port_deallocate(mach_task_self(), lastAllocated);
}

TEST(NotificationPort, ThatDoesNotLiveIsReportedAndNothingEnds) {
    mach_port_t stale = MACH_PORT_NULL;
    ASSERT_EQ(kx_allocate_notification_port(&stale), KERN_SUCCESS);
    ASSERT_EQ(mach_port_deallocate(mach_task_self(), stale), KERN_SUCCESS);
    for (const mach_port_t port : {MACH_PORT_NULL, MACH_PORT_DEAD, 12345u, 0xDEADBEEFu, stale}) {
        EXPECT_EQ(kx_send_notification_msg(port), MACH_SEND_INVALID_DEST) << port;
    }
}

TEST(NotificationPort, ServesCPrograms) {
    mach_port_t port = MACH_PORT_NULL;
    EXPECT_EQ(SignalTwiceFromC(&port), KERN_SUCCESS);
    EXPECT_EQ(statusOf(port).messages, 1u);
    mach_port_deallocate(mach_task_self(), port);
}

TEST(NotificationPort, KeepsItsPlainSymbolNames) {
    EXPECT_NE(dlsym(RTLD_DEFAULT, "kx_allocate_notification_port"), nullptr);
    EXPECT_NE(dlsym(RTLD_DEFAULT, "kx_send_notification_msg"), nullptr);
}

TEST(EventPort, SignalsFromManyThreadsNeverWaitAndAreNeverLost) {
    const EventPort port(0);
    constexpr int kThreads = 4, kEach = 2000;
    std::atomic<int> queued{0}, running{kThreads};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kEach; ++i) queued += port.signal() == KERN_SUCCESS;
            --running;
        });
    }
    int received = 0;
    mach_msg_header_t message{};
    while (running > 0) received += receive(port.getPort(), message) == MACH_MSG_SUCCESS;
    for (std::thread& thread : threads) thread.join();
    received += receive(port.getPort(), message) == MACH_MSG_SUCCESS;
    EXPECT_EQ(received, queued);
    EXPECT_GE(received, 1);
}
