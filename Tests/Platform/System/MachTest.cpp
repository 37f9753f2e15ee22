#include <mach/mach.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

static_assert(std::is_same_v<mach_port_t, unsigned int> && std::is_same_v<kern_return_t, int>);
static_assert(sizeof(mach_msg_header_t) == 24);
static_assert(offsetof(mach_msg_header_t, msgh_remote_port) == 8 && offsetof(mach_msg_header_t, msgh_id) == 20);
static_assert(MACH_PORT_LIMITS_INFO_COUNT == 1 && MACH_PORT_RECEIVE_STATUS_COUNT == 10);

constexpr mach_port_name_t kNeverAPort = 0x12345;

mach_port_t newPort() {
    mach_port_t name = MACH_PORT_NULL;
    EXPECT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &name), KERN_SUCCESS);
    return name;
}

/// A port that lives as long as the test.
struct Port {
    Port() : name(newPort()) {}
    ~Port() { mach_port_destroy(mach_task_self(), name); }
    Port(const Port&) = delete;
    operator mach_port_t() const { return name; }
    mach_port_t name;
};

mach_msg_return_t sendTo(mach_port_t port, mach_msg_id_t id = 0, mach_msg_option_t option = MACH_SEND_TIMEOUT,
                         mach_msg_timeout_t timeout = 0, unsigned kind = MACH_MSG_TYPE_MAKE_SEND) {
    mach_msg_header_t message{MACH_MSGH_BITS(kind, 0u), sizeof message, port, MACH_PORT_NULL, 0, id};
    return mach_msg(&message, MACH_SEND_MSG | option, sizeof message, 0, MACH_PORT_NULL, timeout, MACH_PORT_NULL);
}

mach_msg_return_t receiveFrom(mach_port_t port, mach_msg_header_t& message, mach_msg_timeout_t timeout = 0) {
    return mach_msg(&message, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, sizeof message, port, timeout, MACH_PORT_NULL);
}

mach_msg_id_t nextId(mach_port_t port) {
    mach_msg_header_t message{};
    return receiveFrom(port, message) == MACH_MSG_SUCCESS ? message.msgh_id : -1;
}

kern_return_t setLimit(mach_port_t port, mach_port_msgcount_t limit) {
    mach_port_limits_t limits{limit};
    return mach_port_set_attributes(mach_task_self(), port, MACH_PORT_LIMITS_INFO,
                                    reinterpret_cast<mach_port_info_t>(&limits), MACH_PORT_LIMITS_INFO_COUNT);
}

mach_port_status_t statusOf(mach_port_t port) {
    mach_port_status_t status{};
    mach_msg_type_number_t count = MACH_PORT_RECEIVE_STATUS_COUNT;
    EXPECT_EQ(mach_port_get_attributes(mach_task_self(), port, MACH_PORT_RECEIVE_STATUS,
                                       reinterpret_cast<mach_port_info_t>(&status), &count),
              KERN_SUCCESS);
    EXPECT_EQ(count, MACH_PORT_RECEIVE_STATUS_COUNT);
    return status;
}

kern_return_t deallocate(mach_port_t port) { return mach_port_deallocate(mach_task_self(), port); }

struct Text {
    mach_msg_header_t header{};
    char text[64]{};
};

}  // namespace

TEST(MachPort, GivesNamesThatAreNeitherNullNorDeadNorTheTask) {
    const Port first, second;
    for (const mach_port_t name : {first.name, second.name}) {
        EXPECT_TRUE(MACH_PORT_VALID(name));
        EXPECT_NE(name, mach_task_self());
    }
    EXPECT_NE(first.name, second.name);
}

TEST(MachPort, RefusesToAllocateWhatItDoesNotHave) {
    mach_port_t name = 77;
    EXPECT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_SEND, &name), KERN_INVALID_VALUE);
    EXPECT_EQ(mach_port_allocate(mach_task_self(), 99, &name), KERN_INVALID_VALUE);
    EXPECT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, nullptr), KERN_INVALID_ARGUMENT);
    EXPECT_EQ(mach_port_allocate(MACH_PORT_NULL, MACH_PORT_RIGHT_RECEIVE, &name), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(name, 77u);
}

TEST(MachPort, EveryCallOnAnotherTaskIsRefused) {
    const Port port;
    const mach_port_t other = port;
    mach_port_limits_t limits{1};
    const auto info = reinterpret_cast<mach_port_info_t>(&limits);
    mach_msg_type_number_t count = 1;
    EXPECT_EQ(mach_port_deallocate(other, port), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(mach_port_destroy(other, port), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(mach_port_mod_refs(other, port, MACH_PORT_RIGHT_RECEIVE, -1), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(mach_port_insert_right(other, port, port, MACH_MSG_TYPE_MAKE_SEND), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(mach_port_get_attributes(other, port, MACH_PORT_LIMITS_INFO, info, &count), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(mach_port_set_attributes(other, port, MACH_PORT_LIMITS_INFO, info, 1), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(sendTo(port), MACH_MSG_SUCCESS);
}

TEST(MachPort, DeallocateFreesThePort) {
    const mach_port_t name = newPort();
    EXPECT_EQ(deallocate(name), KERN_SUCCESS);
    EXPECT_EQ(deallocate(name), KERN_INVALID_NAME);
    EXPECT_EQ(sendTo(name), MACH_SEND_INVALID_DEST);
}

TEST(MachPort, DeallocateGivesUpRightsToSendFirst) {
    const mach_port_t name = newPort();
    ASSERT_EQ(mach_port_insert_right(mach_task_self(), name, name, MACH_MSG_TYPE_MAKE_SEND), KERN_SUCCESS);
    EXPECT_EQ(deallocate(name), KERN_SUCCESS);
    EXPECT_EQ(sendTo(name), MACH_MSG_SUCCESS);
    EXPECT_EQ(deallocate(name), KERN_SUCCESS);
    EXPECT_EQ(sendTo(name), MACH_SEND_INVALID_DEST);
}

TEST(MachPort, NamesOfNothingAreRefusedEverywhere) {
    const mach_port_t stale = newPort();
    ASSERT_EQ(deallocate(stale), KERN_SUCCESS);
    for (const mach_port_t name :
         {MACH_PORT_NULL, MACH_PORT_DEAD, kNeverAPort, 0xDEADBEEFu, 0x7FFFFFFFu, stale, mach_task_self()}) {
        mach_port_limits_t limits{1};
        const auto info = reinterpret_cast<mach_port_info_t>(&limits);
        mach_msg_type_number_t count = 1;
        mach_msg_header_t message{};
        EXPECT_EQ(deallocate(name), KERN_INVALID_NAME) << name;
        EXPECT_EQ(mach_port_destroy(mach_task_self(), name), KERN_INVALID_NAME) << name;
        EXPECT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_SEND, 1), KERN_INVALID_NAME) << name;
        EXPECT_EQ(mach_port_insert_right(mach_task_self(), name, name, MACH_MSG_TYPE_MAKE_SEND), KERN_INVALID_NAME);
        EXPECT_EQ(mach_port_get_attributes(mach_task_self(), name, MACH_PORT_LIMITS_INFO, info, &count),
                  KERN_INVALID_NAME);
        EXPECT_EQ(setLimit(name, 1), KERN_INVALID_NAME) << name;
        EXPECT_EQ(sendTo(name), MACH_SEND_INVALID_DEST) << name;
        EXPECT_EQ(receiveFrom(name, message), MACH_RCV_INVALID_NAME) << name;
    }
}

TEST(MachPort, AStaleNameNeverReachesTheNextPort) {
    std::set<mach_port_t> stale;
    for (int i = 0; i < 20000; ++i) {
        const mach_port_t name = newPort();
        ASSERT_TRUE(stale.insert(name).second) << "name given out twice after " << i;
        ASSERT_EQ(deallocate(name), KERN_SUCCESS);
    }
    const Port live;
    int reached = 0;
    for (const mach_port_t name : stale) reached += sendTo(name) != MACH_SEND_INVALID_DEST;
    EXPECT_EQ(reached, 0);
}

TEST(MachPort, ManyPortsLiveAtOnce) {
    std::vector<mach_port_t> names;
    for (int i = 0; i < 3000; ++i) names.push_back(newPort());
    EXPECT_EQ(std::set(names.begin(), names.end()).size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) ASSERT_EQ(sendTo(names[i], static_cast<int>(i)), MACH_MSG_SUCCESS);
    for (std::size_t i = 0; i < names.size(); ++i) ASSERT_EQ(nextId(names[i]), static_cast<int>(i));
    for (const mach_port_t name : names) ASSERT_EQ(deallocate(name), KERN_SUCCESS);
}

TEST(MachPort, DestroyGivesUpEveryRight) {
    const mach_port_t name = newPort();
    ASSERT_EQ(mach_port_insert_right(mach_task_self(), name, name, MACH_MSG_TYPE_MAKE_SEND), KERN_SUCCESS);
    ASSERT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_SEND, 5), KERN_SUCCESS);
    EXPECT_EQ(mach_port_destroy(mach_task_self(), name), KERN_SUCCESS);
    EXPECT_EQ(deallocate(name), KERN_INVALID_NAME);
}

TEST(MachPort, ANameWithRightsToSendIsDeadOnceThePortHasGone) {
    const mach_port_t name = newPort();
    ASSERT_EQ(mach_port_insert_right(mach_task_self(), name, name, MACH_MSG_TYPE_MAKE_SEND), KERN_SUCCESS);
    ASSERT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_SEND, 1), KERN_SUCCESS);
    ASSERT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_RECEIVE, -1), KERN_SUCCESS);
    EXPECT_EQ(sendTo(name, 0, MACH_SEND_TIMEOUT, 0, MACH_MSG_TYPE_COPY_SEND), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(setLimit(name, 1), KERN_INVALID_RIGHT);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_RECEIVE, -1), KERN_INVALID_RIGHT);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_SEND, -1), KERN_INVALID_RIGHT);
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), name, name, MACH_MSG_TYPE_MAKE_SEND), KERN_INVALID_RIGHT);
    mach_msg_header_t message{};
    EXPECT_EQ(receiveFrom(name, message), MACH_RCV_INVALID_NAME);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_DEAD_NAME, -1), KERN_SUCCESS);
    EXPECT_EQ(deallocate(name), KERN_SUCCESS);
    EXPECT_EQ(deallocate(name), KERN_INVALID_NAME);
}

TEST(MachPort, DestroyEndsADeadNameToo) {
    const mach_port_t name = newPort();
    ASSERT_EQ(mach_port_insert_right(mach_task_self(), name, name, MACH_MSG_TYPE_MAKE_SEND), KERN_SUCCESS);
    ASSERT_EQ(mach_port_mod_refs(mach_task_self(), name, MACH_PORT_RIGHT_RECEIVE, -1), KERN_SUCCESS);
    EXPECT_EQ(mach_port_destroy(mach_task_self(), name), KERN_SUCCESS);
    EXPECT_EQ(mach_port_destroy(mach_task_self(), name), KERN_INVALID_NAME);
}

TEST(MachPort, CountsRightsToSend) {
    const Port port;
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_SEND, 1), KERN_INVALID_RIGHT);
    EXPECT_EQ(sendTo(port, 0, MACH_SEND_TIMEOUT, 0, MACH_MSG_TYPE_COPY_SEND), MACH_SEND_INVALID_DEST);
    ASSERT_EQ(mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND), KERN_SUCCESS);
    EXPECT_TRUE(statusOf(port).mps_srights);
    EXPECT_EQ(statusOf(port).mps_mscount, 1u);
    EXPECT_EQ(sendTo(port, 0, MACH_SEND_TIMEOUT, 0, MACH_MSG_TYPE_COPY_SEND), MACH_MSG_SUCCESS);
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_COPY_SEND), KERN_SUCCESS);
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MOVE_SEND), KERN_SUCCESS);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_SEND, -3), KERN_INVALID_VALUE);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_SEND, 65534), KERN_UREFS_OVERFLOW);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_SEND, 65533), KERN_SUCCESS);
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND), KERN_UREFS_OVERFLOW);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_SEND, -65534), KERN_SUCCESS);
    EXPECT_EQ(sendTo(port, 0, MACH_SEND_TIMEOUT, 0, MACH_MSG_TYPE_MOVE_SEND), MACH_MSG_SUCCESS);
    EXPECT_EQ(sendTo(port, 0, MACH_SEND_TIMEOUT, 0, MACH_MSG_TYPE_MOVE_SEND), MACH_SEND_INVALID_DEST);
    EXPECT_FALSE(statusOf(port).mps_srights);
}

TEST(MachPort, ModRefsKnowsItsRights) {
    const Port port;
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, 0), KERN_SUCCESS);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, 1), KERN_INVALID_VALUE);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, -2), KERN_INVALID_VALUE);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_SEND_ONCE, -1), KERN_INVALID_RIGHT);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_DEAD_NAME, -1), KERN_INVALID_RIGHT);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, 77, -1), KERN_INVALID_VALUE);
    EXPECT_EQ(mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, -1), KERN_SUCCESS);
    EXPECT_EQ(deallocate(port), KERN_INVALID_NAME);
}

TEST(MachPort, RightsToOnePortGoByOneName) {
    const Port port, other;
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), other, port, MACH_MSG_TYPE_MAKE_SEND), KERN_NAME_EXISTS);
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), kNeverAPort, port, MACH_MSG_TYPE_MAKE_SEND), KERN_RIGHT_EXISTS);
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), port, kNeverAPort, MACH_MSG_TYPE_MAKE_SEND), KERN_INVALID_NAME);
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_COPY_SEND), KERN_INVALID_RIGHT);
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND_ONCE), KERN_INVALID_VALUE);
    EXPECT_EQ(mach_port_insert_right(mach_task_self(), port, port, 0), KERN_INVALID_VALUE);
}

TEST(MachPort, HoldsFiveMessagesUnlessToldOtherwise) {
    const Port port;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(sendTo(port, i), MACH_MSG_SUCCESS);
    EXPECT_EQ(sendTo(port, 5), MACH_SEND_TIMED_OUT);
    EXPECT_EQ(statusOf(port).mps_msgcount, 5u);
    EXPECT_EQ(statusOf(port).mps_qlimit, MACH_PORT_QLIMIT_DEFAULT);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(nextId(port), i);
    EXPECT_EQ(nextId(port), -1);
    EXPECT_EQ(statusOf(port).mps_seqno, 5u);
}

TEST(MachPort, LimitsItsQueueAsToldUpToTheMaximum) {
    const Port port;
    EXPECT_EQ(setLimit(port, MACH_PORT_QLIMIT_MAX + 1), KERN_INVALID_VALUE);
    EXPECT_EQ(setLimit(port, MACH_PORT_QLIMIT_MAX), KERN_SUCCESS);
    for (int i = 0; i < 1024; ++i) ASSERT_EQ(sendTo(port, i), MACH_MSG_SUCCESS);
    EXPECT_EQ(sendTo(port), MACH_SEND_TIMED_OUT);
    EXPECT_EQ(setLimit(port, 1), KERN_SUCCESS);
    for (int i = 0; i < 1024; ++i) ASSERT_EQ(nextId(port), i);
    EXPECT_EQ(sendTo(port), MACH_MSG_SUCCESS);
    EXPECT_EQ(sendTo(port), MACH_SEND_TIMED_OUT);
    EXPECT_EQ(setLimit(port, 0), KERN_SUCCESS);
    EXPECT_EQ(nextId(port), 0);
    EXPECT_EQ(sendTo(port), MACH_SEND_TIMED_OUT);
}

TEST(MachPort, AttributesCheckTheirRecords) {
    const Port port;
    mach_port_limits_t limits{3};
    const auto info = reinterpret_cast<mach_port_info_t>(&limits);
    mach_msg_type_number_t count = 0;
    EXPECT_EQ(mach_port_get_attributes(mach_task_self(), port, MACH_PORT_LIMITS_INFO, info, &count), KERN_FAILURE);
    count = 1;
    EXPECT_EQ(mach_port_get_attributes(mach_task_self(), port, MACH_PORT_RECEIVE_STATUS, info, &count), KERN_FAILURE);
    EXPECT_EQ(mach_port_get_attributes(mach_task_self(), port, 77, info, &count), KERN_INVALID_VALUE);
    EXPECT_EQ(mach_port_get_attributes(mach_task_self(), port, 1, nullptr, &count), KERN_INVALID_ARGUMENT);
    EXPECT_EQ(mach_port_get_attributes(mach_task_self(), port, 1, info, nullptr), KERN_INVALID_ARGUMENT);
    EXPECT_EQ(mach_port_set_attributes(mach_task_self(), port, 1, info, 0), KERN_FAILURE);
    EXPECT_EQ(mach_port_set_attributes(mach_task_self(), port, 2, info, 1), KERN_INVALID_VALUE);
    EXPECT_EQ(mach_port_set_attributes(mach_task_self(), port, 1, nullptr, 1), KERN_INVALID_ARGUMENT);
    EXPECT_EQ(mach_port_get_attributes(mach_task_self(), port, MACH_PORT_LIMITS_INFO, info, &count), KERN_SUCCESS);
    EXPECT_EQ(limits.mpl_qlimit, MACH_PORT_QLIMIT_DEFAULT);
}

TEST(MachMessage, ArrivesAsSentWithItsPortsExchanged) {
    const Port port, reply;
    Text sent;
    sent.header = {MACH_MSGH_BITS(MACH_MSG_TYPE_MAKE_SEND, MACH_MSG_TYPE_MAKE_SEND), 0, port, reply, 99, 1234};
    std::strcpy(sent.text, "the body of the message");
    ASSERT_EQ(mach_msg(&sent.header, MACH_SEND_MSG, sizeof sent, 0, 0, 0, 0), MACH_MSG_SUCCESS);
    Text got;
    ASSERT_EQ(mach_msg(&got.header, MACH_RCV_MSG, 0, sizeof got, port, 0, 0), MACH_MSG_SUCCESS);
    EXPECT_STREQ(got.text, "the body of the message");
    EXPECT_EQ(got.header.msgh_size, sizeof got);
    EXPECT_EQ(got.header.msgh_id, 1234);
    EXPECT_EQ(got.header.msgh_local_port, port.name);
    EXPECT_EQ(got.header.msgh_remote_port, reply.name);
    EXPECT_EQ(got.header.msgh_voucher_port, 0u);
    EXPECT_EQ(got.header.msgh_bits, MACH_MSGH_BITS(MACH_MSG_TYPE_MOVE_SEND, MACH_MSG_TYPE_MOVE_SEND));
    EXPECT_TRUE(statusOf(reply).mps_srights);  // the receiver's, to answer by

    Text answer;
    answer.header = {MACH_MSGH_BITS(MACH_MSG_TYPE_MOVE_SEND, 0u), 0, got.header.msgh_remote_port, 0, 0, 1};
    EXPECT_EQ(mach_msg(&answer.header, MACH_SEND_MSG, 28, 0, 0, 0, 0), MACH_MSG_SUCCESS);
    EXPECT_FALSE(statusOf(reply).mps_srights);
}

TEST(MachMessage, SaysByWhichRightItCame) {
    const Port port;
    const auto bitsOf = [&](mach_msg_type_name_t kind) {
        mach_msg_header_t message{kind, 0, port, 0, 0, 0};
        EXPECT_EQ(mach_msg(&message, MACH_SEND_MSG | MACH_SEND_TIMEOUT, 24, 0, 0, 0, 0), MACH_MSG_SUCCESS);
        message = {};
        EXPECT_EQ(receiveFrom(port, message), MACH_MSG_SUCCESS);
        EXPECT_EQ(message.msgh_size, 24u) << "the sender's field says nothing";
        EXPECT_EQ(message.msgh_remote_port, 0u);
        return message.msgh_bits;
    };
    ASSERT_EQ(mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND), KERN_SUCCESS);
    const mach_port_mscount_t made = statusOf(port).mps_mscount;
    EXPECT_EQ(bitsOf(MACH_MSG_TYPE_MAKE_SEND_ONCE), MACH_MSGH_BITS(0u, unsigned{MACH_MSG_TYPE_MOVE_SEND_ONCE}));
    EXPECT_EQ(bitsOf(MACH_MSG_TYPE_COPY_SEND), MACH_MSGH_BITS(0u, unsigned{MACH_MSG_TYPE_MOVE_SEND}));
    EXPECT_EQ(statusOf(port).mps_mscount, made) << "neither makes a right to send";
    EXPECT_TRUE(statusOf(port).mps_srights) << "neither uses one up";
    EXPECT_EQ(bitsOf(MACH_MSG_TYPE_MAKE_SEND), MACH_MSGH_BITS(0u, unsigned{MACH_MSG_TYPE_MOVE_SEND}));
    EXPECT_EQ(statusOf(port).mps_mscount, made + 1);
    EXPECT_EQ(bitsOf(MACH_MSG_TYPE_MOVE_SEND), MACH_MSGH_BITS(0u, unsigned{MACH_MSG_TYPE_MOVE_SEND}));
    EXPECT_FALSE(statusOf(port).mps_srights) << "the sender gave it away";
}

TEST(MachMessage, ATimeOutOfZeroDoesNotWait) {
    const Port port;
    mach_port_limits_t one{.mpl_qlimit = 1};
    ASSERT_EQ(mach_port_set_attributes(mach_task_self(), port, MACH_PORT_LIMITS_INFO,
                                       reinterpret_cast<mach_port_info_t>(&one), MACH_PORT_LIMITS_INFO_COUNT),
              KERN_SUCCESS);
    mach_msg_header_t message{MACH_MSG_TYPE_MAKE_SEND, 24, port, 0, 0, 1};
    EXPECT_EQ(mach_msg(&message, MACH_SEND_MSG | MACH_SEND_TIMEOUT, 24, 0, 0, 0, 0), MACH_MSG_SUCCESS);
    EXPECT_EQ(mach_msg(&message, MACH_SEND_MSG | MACH_SEND_TIMEOUT, 24, 0, 0, 0, 0), MACH_SEND_TIMED_OUT);
    EXPECT_EQ(statusOf(port).mps_msgcount, 1u);
    EXPECT_EQ(receiveFrom(port, message), MACH_MSG_SUCCESS);
    EXPECT_EQ(mach_msg(&message, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, 24, port, 0, 0), MACH_RCV_TIMED_OUT);
}

TEST(MachMessage, OneCallSendsAndReceives) {
    const Port port;
    Text both;
    both.header = {MACH_MSGH_BITS(MACH_MSG_TYPE_MAKE_SEND, 0u), 0, port, 0, 0, 5};
    ASSERT_EQ(mach_msg(&both.header, MACH_SEND_MSG | MACH_RCV_MSG, 24, sizeof both, port, 0, 0), MACH_MSG_SUCCESS);
    EXPECT_EQ(both.header.msgh_local_port, port.name);
    EXPECT_EQ(mach_msg(nullptr, MACH_MSG_OPTION_NONE, 0, 0, 0, 0, 0), MACH_MSG_SUCCESS);
}

TEST(MachMessage, TheReplyPortMayHaveDiedOnTheWay) {
    const Port port;
    const mach_port_t reply = newPort();
    mach_msg_header_t message{MACH_MSGH_BITS(MACH_MSG_TYPE_MAKE_SEND, MACH_MSG_TYPE_MAKE_SEND), 24, port, reply, 0, 0};
    ASSERT_EQ(mach_msg(&message, MACH_SEND_MSG, 24, 0, 0, 0, 0), MACH_MSG_SUCCESS);
    ASSERT_EQ(deallocate(reply), KERN_SUCCESS);
    ASSERT_EQ(receiveFrom(port, message), MACH_MSG_SUCCESS);
    EXPECT_EQ(message.msgh_remote_port, MACH_PORT_DEAD);
}

TEST(MachMessage, RefusesMalformedMessages) {
    const Port port;
    const auto send = [&](unsigned bits, mach_port_t local, mach_msg_size_t size) {
        Text text;
        text.header = {bits, sizeof text, port, local, 0, 0};
        return mach_msg(&text.header, MACH_SEND_MSG | MACH_SEND_TIMEOUT, size, 0, 0, 0, 0);
    };
    const unsigned make = MACH_MSG_TYPE_MAKE_SEND;
    EXPECT_EQ(mach_msg(nullptr, MACH_SEND_MSG, 24, 0, 0, 0, 0), MACH_SEND_INVALID_DATA);
    EXPECT_EQ(send(make, 0, 0), MACH_SEND_MSG_TOO_SMALL);
    EXPECT_EQ(send(make, 0, 20), MACH_SEND_MSG_TOO_SMALL);
    EXPECT_EQ(send(make, 0, 26), MACH_SEND_MSG_TOO_SMALL);
    EXPECT_EQ(send(make, 0, 0xFFFFFFFC), MACH_SEND_TOO_LARGE);
    EXPECT_EQ(send(make | MACH_MSGH_BITS_COMPLEX, 0, 24), MACH_SEND_INVALID_TYPE);
    EXPECT_EQ(send(0, 0, 24), MACH_SEND_INVALID_HEADER);
    EXPECT_EQ(send(5, 0, 24), MACH_SEND_INVALID_HEADER);
    EXPECT_EQ(send(make, port, 24), MACH_SEND_INVALID_HEADER);
    EXPECT_EQ(send(MACH_MSGH_BITS(make, 3u), port, 24), MACH_SEND_INVALID_HEADER);
    EXPECT_EQ(send(MACH_MSGH_BITS(make, make), 0, 24), MACH_SEND_INVALID_REPLY);
    EXPECT_EQ(send(MACH_MSGH_BITS(make, make), kNeverAPort, 24), MACH_SEND_INVALID_REPLY);
    EXPECT_EQ(send(MACH_MSGH_BITS(make, unsigned{MACH_MSG_TYPE_MAKE_SEND_ONCE}), port, 24), MACH_SEND_INVALID_REPLY);
    EXPECT_EQ(send(MACH_MSG_TYPE_MOVE_SEND_ONCE, 0, 24), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(statusOf(port).mps_msgcount, 0u);
    EXPECT_EQ(send(MACH_MSG_TYPE_MAKE_SEND_ONCE, 0, 24), MACH_MSG_SUCCESS);
}

TEST(MachMessage, ThatDoesNotFitIsLostOrKept) {
    const Port port;
    Text text;
    text.header = {MACH_MSGH_BITS(MACH_MSG_TYPE_MAKE_SEND, 0u), 0, port, 0, 0, 7};
    ASSERT_EQ(mach_msg(&text.header, MACH_SEND_MSG, sizeof text, 0, 0, 0, 0), MACH_MSG_SUCCESS);
    mach_msg_header_t header{};
    const mach_msg_option_t option = MACH_RCV_MSG | MACH_RCV_TIMEOUT;
    EXPECT_EQ(mach_msg(&header, option | MACH_RCV_LARGE, 0, 24, port, 0, 0), MACH_RCV_TOO_LARGE);
    EXPECT_EQ(header.msgh_size, sizeof text);
    EXPECT_EQ(mach_msg(&header, option | MACH_RCV_LARGE, 0, 0, port, 0, 0), MACH_RCV_TOO_LARGE);
    EXPECT_EQ(mach_msg(&header, option, 0, 24, port, 0, 0), MACH_RCV_TOO_LARGE);
    EXPECT_EQ(header.msgh_id, 7);
    EXPECT_EQ(mach_msg(&header, option, 0, 24, port, 0, 0), MACH_RCV_TIMED_OUT);
    EXPECT_EQ(mach_msg(nullptr, option, 0, 24, port, 0, 0), MACH_RCV_INVALID_DATA);
}

TEST(MachMessage, ReceiveWaitsForAMessage) {
    const Port port;
    std::thread sender([&] { EXPECT_EQ(sendTo(port, 3), MACH_MSG_SUCCESS); });
    mach_msg_header_t message{};
    EXPECT_EQ(mach_msg(&message, MACH_RCV_MSG, 0, 24, port, 0, 0), MACH_MSG_SUCCESS);
    EXPECT_EQ(message.msgh_id, 3);
    sender.join();
    EXPECT_EQ(receiveFrom(port, message, 1), MACH_RCV_TIMED_OUT);
}

TEST(MachMessage, SendWaitsForRoom) {
    const Port port;
    ASSERT_EQ(setLimit(port, 1), KERN_SUCCESS);
    ASSERT_EQ(sendTo(port, 1), MACH_MSG_SUCCESS);
    EXPECT_EQ(sendTo(port, 2, MACH_SEND_TIMEOUT, 1), MACH_SEND_TIMED_OUT);
    std::thread sender([&] { EXPECT_EQ(sendTo(port, 2, 0), MACH_MSG_SUCCESS); });
    EXPECT_EQ(nextId(port), 1);
    mach_msg_header_t message{};
    EXPECT_EQ(receiveFrom(port, message, 10000), MACH_MSG_SUCCESS);
    EXPECT_EQ(message.msgh_id, 2);
    sender.join();
}

TEST(MachMessage, ARaisedLimitLetsWaitingSendersGoOn) {
    const Port port;
    ASSERT_EQ(setLimit(port, 0), KERN_SUCCESS);
    std::thread sender([&] { EXPECT_EQ(sendTo(port, 2, MACH_SEND_TIMEOUT, 60000), MACH_MSG_SUCCESS); });
    ASSERT_EQ(setLimit(port, 1), KERN_SUCCESS);
    sender.join();
}

TEST(MachMessage, TheEndOfAPortEndsEveryWait) {
    for (int round = 0; round < 20; ++round) {
        const mach_port_t full = newPort(), empty = newPort();
        ASSERT_EQ(setLimit(full, 0), KERN_SUCCESS);
        std::vector<std::thread> waiting;
        for (int i = 0; i < 2; ++i) {
            waiting.emplace_back([=] { EXPECT_EQ(sendTo(full, 0, 0), MACH_SEND_INVALID_DEST); });
            waiting.emplace_back([=] {
                mach_msg_header_t message{};
                const auto result = mach_msg(&message, MACH_RCV_MSG, 0, 24, empty, 0, 0);
                EXPECT_TRUE(result == MACH_RCV_PORT_DIED || result == MACH_RCV_INVALID_NAME) << result;
            });
        }
        if (round % 2) std::this_thread::yield();
        ASSERT_EQ(deallocate(full), KERN_SUCCESS);
        ASSERT_EQ(deallocate(empty), KERN_SUCCESS);
        for (std::thread& thread : waiting) thread.join();
    }
}

TEST(MachMessage, ManySendersAndReceiversLoseNothing) {
    const Port port;
    constexpr int kThreads = 4, kEach = 500;
    std::atomic<long> sum{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kEach; ++i) ASSERT_EQ(sendTo(port, t * kEach + i, 0), MACH_MSG_SUCCESS);
        });
        threads.emplace_back([&] {
            for (int i = 0; i < kEach; ++i) {
                mach_msg_header_t message{};
                ASSERT_EQ(mach_msg(&message, MACH_RCV_MSG, 0, 24, port, 0, 0), MACH_MSG_SUCCESS);
                sum += message.msgh_id;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const long count = kThreads * kEach;
    EXPECT_EQ(sum, count * (count - 1) / 2);
}

TEST(MachPort, PortsComeAndGoUnderSendersThatHoldTheirNames) {
    std::atomic<mach_port_t> current{newPort()};
    std::atomic<bool> done{false};
    std::atomic<int> bad{0};
    std::vector<std::thread> senders;
    for (int t = 0; t < 3; ++t) {
        senders.emplace_back([&] {
            while (!done) {
                const auto result = sendTo(current);
                bad += result != MACH_MSG_SUCCESS && result != MACH_SEND_TIMED_OUT && result != MACH_SEND_INVALID_DEST;
            }
        });
    }
    for (int i = 0; i < 3000; ++i) {
        const mach_port_t next = newPort();
        EXPECT_EQ(deallocate(current.exchange(next)), KERN_SUCCESS);
    }
    done = true;
    for (std::thread& thread : senders) thread.join();
    EXPECT_EQ(bad, 0);
    deallocate(current);
}
