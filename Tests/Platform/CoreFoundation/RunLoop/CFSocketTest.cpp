#include "RunLoopTesting.h"

#include "Platform/CoreFoundation/Held.h"
#include "Platform/CoreFoundation/TestAllocator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace RunLoopTesting;
using Held::hold;
using Held::Holder;

namespace {

const CFStringRef kMode = CFSTR("sockets");

Holder<CFDataRef> bytes(std::string_view bytes) {
    return hold(
        CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

std::string text(CFDataRef data) {
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<std::size_t>(CFDataGetLength(data))};
}

template <class Address>
Holder<CFDataRef> dataOf(const Address& address) {
    return hold(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(&address), sizeof address));
}

/// Port 0: any.
Holder<CFDataRef> loopback(in_port_t port = 0) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return dataOf(address);
}

in_port_t portOf(CFDataRef address) {
    sockaddr_in read{};
    std::memcpy(&read, CFDataGetBytePtr(address), sizeof read);
    return ntohs(read.sin_port);
}

/// What callbacks gave.
struct Notes {
    std::vector<CFSocketCallBackType> types;
    std::vector<std::string> read;
    std::vector<int> accepted;
    std::vector<SInt32> connected;
    std::vector<in_port_t> peers;
    std::function<void(CFSocketRef, CFSocketCallBackType)> then;

    ~Notes() {
        for (const int each : accepted) ::close(each);
    }

    static void note(CFSocketRef s, CFSocketCallBackType type, CFDataRef address, const void* given, void* info) {
        auto& notes = *static_cast<Notes*>(info);
        notes.types.push_back(type);
        if (type == kCFSocketDataCallBack) notes.read.push_back(text(static_cast<CFDataRef>(given)));
        if (type == kCFSocketAcceptCallBack) notes.accepted.push_back(*static_cast<const CFSocketNativeHandle*>(given));
        if (type == kCFSocketConnectCallBack) notes.connected.push_back(given ? *static_cast<const SInt32*>(given) : 0);
        if (address && CFDataGetLength(address) == sizeof(sockaddr_in)) notes.peers.push_back(portOf(address));
        if (notes.then) notes.then(s, type);
    }
    CFSocketContext context() { return {0, this, nullptr, nullptr, nullptr}; }
};

/// A socket object on the current loop, invalidated at its end.
class Scheduled {
  public:
    explicit Scheduled(CFSocketRef s) : socket(hold(s)), source_(hold(CFSocketCreateRunLoopSource(nullptr, s, 0))) {
        if (source_.get()) CFRunLoopAddSource(CFRunLoopGetCurrent(), source_, kMode);
    }
    ~Scheduled() { CFSocketInvalidate(socket); }
    operator CFSocketRef() const { return socket; }

    Holder<CFSocketRef> socket;

  private:
    Holder<CFRunLoopSourceRef> source_;
};

Scheduled listening(Notes& notes) {
    const auto address = loopback();
    const CFSocketSignature signature{PF_INET, SOCK_STREAM, IPPROTO_TCP, address};
    const CFSocketContext context = notes.context();
    return Scheduled(
        CFSocketCreateWithSocketSignature(nullptr, &signature, kCFSocketAcceptCallBack, Notes::note, &context));
}

Scheduled native(int socket, CFOptionFlags types, Notes& notes) {
    const CFSocketContext context = notes.context();
    return Scheduled(CFSocketCreateWithNative(nullptr, socket, types, Notes::note, &context));
}

bool runUntil(const std::function<bool()>& isDone) {
    const double end = CFAbsoluteTimeGetCurrent() + kSoon;
    while (!isDone() && CFAbsoluteTimeGetCurrent() < end) CFRunLoopRunInMode(kMode, 0.1, true);
    return isDone();
}

/// Serves everything that is ready now.
void runWhatIsReady() {
    for (int i = 0; i < 20; ++i) CFRunLoopRunInMode(kMode, 0, true);
}

struct Pair {
    Pair(int type = SOCK_STREAM) { EXPECT_EQ(::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends), 0); }
    ~Pair() { closeOther(); }
    void closeOther() {
        if (ends[1] >= 0) ::close(ends[1]);
        ends[1] = -1;
    }
    void write(std::string_view bytes) const {
        EXPECT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    int ends[2];  ///< the first goes to a socket object
};

TEST(CFSocket, AcceptsConnections) {
    Notes notes;
    const auto listener = listening(notes);
    const auto address = hold(CFSocketCopyAddress(listener));
    const CFSocketSignature signature{PF_INET, SOCK_STREAM, IPPROTO_TCP, address};
    std::vector<Holder<CFSocketRef>> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(hold(CFSocketCreateConnectedToSocketSignature(nullptr, &signature, kCFSocketNoCallBack,
                                                                        nullptr, nullptr, kSoon)));
        ASSERT_NE(clients.back().get(), nullptr);
    }
    EXPECT_TRUE(runUntil([&] { return notes.accepted.size() == 20; }));
    EXPECT_EQ(notes.peers.front(), portOf(hold(CFSocketCopyAddress(clients.front()))));
    EXPECT_EQ(portOf(hold(CFSocketCopyPeerAddress(clients.front()))), portOf(address));
    EXPECT_EQ(CFSocketCopyPeerAddress(listener), nullptr);
    for (const auto& client : clients) CFSocketInvalidate(client);
}

TEST(CFSocket, HandsOnTheDataThatItReads) {
    Pair pair;
    Notes notes;
    const auto reader = native(pair.ends[0], kCFSocketDataCallBack, notes);
    pair.write("one");
    EXPECT_TRUE(runUntil([&] { return notes.read.size() == 1; }));
    pair.write("two");
    EXPECT_TRUE(runUntil([&] { return notes.read.size() == 2; }));
    EXPECT_THAT(notes.read, testing::ElementsAre("one", "two"));
    pair.closeOther();
    EXPECT_TRUE(runUntil([&] { return notes.read.size() == 3; }));
    EXPECT_EQ(notes.read.back(), "") << "the end of the stream";
    runWhatIsReady();
    EXPECT_EQ(notes.read.size(), 3u) << "is told once";
}

TEST(CFSocket, ReadsDatagramsOneByOneWithTheirSenders) {
    Notes notes;
    const auto address = loopback();
    const CFSocketSignature signature{PF_INET, SOCK_DGRAM, 0, address};
    const CFSocketContext context = notes.context();
    const Scheduled reader(
        CFSocketCreateWithSocketSignature(nullptr, &signature, kCFSocketDataCallBack, Notes::note, &context));
    const auto sender = hold(CFSocketCreate(nullptr, PF_INET, SOCK_DGRAM, 0, 0, nullptr, nullptr));
    const auto to = hold(CFSocketCopyAddress(reader));
    ASSERT_EQ(CFSocketSetAddress(sender, loopback()), kCFSocketSuccess);
    for (const char* const each : {"a", "", "c"})
        EXPECT_EQ(CFSocketSendData(sender, to, bytes(each), 0), kCFSocketSuccess);
    EXPECT_TRUE(runUntil([&] { return notes.read.size() == 3; }));
    EXPECT_THAT(notes.read, testing::ElementsAre("a", "", "c"));
    EXPECT_THAT(notes.peers, testing::Each(portOf(hold(CFSocketCopyAddress(sender)))));
    CFSocketInvalidate(sender);
}

TEST(CFSocket, TellsThatThereIsSomethingToRead) {
    Pair pair;
    Notes notes;
    const auto reader = native(pair.ends[0], kCFSocketReadCallBack, notes);
    char byte;
    notes.then = [&](CFSocketRef s, CFSocketCallBackType) { EXPECT_EQ(::read(CFSocketGetNative(s), &byte, 1), 1); };
    pair.write("abc");
    EXPECT_TRUE(runUntil([&] { return notes.types.size() == 3; })) << "as long as there is something";
    runWhatIsReady();
    EXPECT_EQ(notes.types.size(), 3u);
}

TEST(CFSocket, WithoutReenablingCallsOnceForEachEnabling) {
    Pair pair;
    Notes notes;
    const auto reader = native(pair.ends[0], kCFSocketReadCallBack | kCFSocketWriteCallBack, notes);
    EXPECT_EQ(CFSocketGetSocketFlags(reader), kCFSocketAutomaticallyReenableDataCallBack | kCFSocketCloseOnInvalidate);
    CFSocketSetSocketFlags(reader, kCFSocketCloseOnInvalidate);
    pair.write("abc");
    runWhatIsReady();
    EXPECT_THAT(notes.types, testing::UnorderedElementsAre(kCFSocketReadCallBack, kCFSocketWriteCallBack));
    CFSocketEnableCallBacks(reader, kCFSocketReadCallBack);
    runWhatIsReady();
    EXPECT_EQ(notes.types.size(), 3u);
    EXPECT_EQ(notes.types.back(), kCFSocketReadCallBack);
    CFSocketEnableCallBacks(reader, kCFSocketWriteCallBack);
    runWhatIsReady();
    EXPECT_EQ(notes.types.size(), 4u);
    EXPECT_EQ(notes.types.back(), kCFSocketWriteCallBack);
}

TEST(CFSocket, IsWritableAgainAndAgainWhereThatIsWanted) {
    Pair pair;
    Notes notes;
    const auto writer = native(pair.ends[0], kCFSocketWriteCallBack, notes);
    CFSocketSetSocketFlags(writer, CFSocketGetSocketFlags(writer) | kCFSocketAutomaticallyReenableWriteCallBack);
    EXPECT_TRUE(runUntil([&] { return notes.types.size() >= 3; }));
    CFSocketDisableCallBacks(writer, kCFSocketWriteCallBack);
    const std::size_t count = notes.types.size();
    runWhatIsReady();
    EXPECT_EQ(notes.types.size(), count);
}

TEST(CFSocket, CallsNoKindThatItWasNotMadeWith) {
    Pair pair;
    Notes notes;
    const auto reader = native(pair.ends[0], kCFSocketReadCallBack, notes);
    CFSocketEnableCallBacks(reader, kCFSocketWriteCallBack | kCFSocketConnectCallBack);
    runWhatIsReady();
    EXPECT_THAT(notes.types, testing::IsEmpty());
    CFSocketDisableCallBacks(reader, kCFSocketReadCallBack);
    pair.write("a");
    runWhatIsReady();
    EXPECT_THAT(notes.types, testing::IsEmpty());
}

TEST(CFSocket, HoldsBackWhatItsReaderDoesNotTake) {
    Pair pair;
    Notes notes;
    const auto reader = native(pair.ends[0], kCFSocketDataCallBack, notes);
    CFSocketSetSocketFlags(reader, kCFSocketCloseOnInvalidate);
    ASSERT_EQ(::fcntl(pair.ends[1], F_SETFL, O_NONBLOCK), 0);
    const std::string block(65'536, 'x');
    ssize_t written = 0;
    for (ssize_t size; (size = ::write(pair.ends[1], block.data(), block.size())) > 0;) written += size;
    runWhatIsReady();
    EXPECT_EQ(notes.read.size(), 1u);
    std::size_t read = notes.read.front().size();
    while (read < static_cast<std::size_t>(written)) {
        CFSocketEnableCallBacks(reader, kCFSocketDataCallBack);
        runWhatIsReady();
        ASSERT_LE(notes.read.back().size(), block.size());
        read += notes.read.back().size();
    }
    EXPECT_EQ(read, static_cast<std::size_t>(written));
}

TEST(CFSocket, ConnectsInTheBackground) {
    Notes server, client;
    const auto listener = listening(server);
    const CFSocketContext context = client.context();
    const Scheduled socket(
        CFSocketCreate(nullptr, 0, 0, 0, kCFSocketConnectCallBack | kCFSocketWriteCallBack, Notes::note, &context));
    ASSERT_EQ(CFSocketConnectToAddress(socket, hold(CFSocketCopyAddress(listener)), -1), kCFSocketSuccess);
    EXPECT_TRUE(runUntil([&] { return client.types.size() == 2; }));
    EXPECT_THAT(client.types, testing::ElementsAre(kCFSocketConnectCallBack, kCFSocketWriteCallBack));
    EXPECT_THAT(client.connected, testing::ElementsAre(0));
    EXPECT_EQ(::fcntl(CFSocketGetNative(socket), F_GETFL) & O_NONBLOCK, 0) << "the socket waits as it did";
}

TEST(CFSocket, TellsThatAConnectionInTheBackgroundFails) {
    // A port that was somebody's a moment ago.
    Notes server, client;
    in_port_t port;
    {
        const auto listener = listening(server);
        port = portOf(hold(CFSocketCopyAddress(listener)));
    }
    const CFSocketContext context = client.context();
    const Scheduled socket(CFSocketCreate(nullptr, 0, 0, 0, kCFSocketConnectCallBack, Notes::note, &context));
    if (CFSocketConnectToAddress(socket, loopback(port), -1) == kCFSocketSuccess) {
        EXPECT_TRUE(runUntil([&] { return client.connected.size() == 1; }));
        EXPECT_THAT(client.connected, testing::ElementsAre(ECONNREFUSED));
    }
    const auto waiting = hold(CFSocketCreate(nullptr, 0, 0, 0, 0, nullptr, nullptr));
    EXPECT_EQ(CFSocketConnectToAddress(waiting, loopback(port), kSoon), kCFSocketError);
    CFSocketInvalidate(waiting);
    const auto address = loopback(port);
    const CFSocketSignature signature{PF_INET, SOCK_STREAM, 0, address};
    EXPECT_EQ(CFSocketCreateConnectedToSocketSignature(nullptr, &signature, 0, nullptr, nullptr, kSoon), nullptr);
}

TEST(CFSocket, IsOneObjectForANativeSocket) {
    Pair pair;
    Notes notes;
    const auto first = native(pair.ends[0], kCFSocketReadCallBack, notes);
    const auto second = hold(CFSocketCreateWithNative(nullptr, pair.ends[0], kCFSocketDataCallBack, nullptr, nullptr));
    EXPECT_EQ(second.get(), first.socket.get());
    CFSocketInvalidate(first);
    EXPECT_EQ(CFSocketCreateWithNative(nullptr, pair.ends[0], 0, nullptr, nullptr), nullptr) << "it is closed";
}

TEST(CFSocket, IsMadeAnewForANumberThatIsUsedAgain) {
    Pair pair;
    auto first = hold(CFSocketCreateWithNative(nullptr, pair.ends[0], 0, nullptr, nullptr));
    CFSocketSetSocketFlags(first, 0);
    first.reset();
    const auto second = hold(CFSocketCreateWithNative(nullptr, pair.ends[0], 0, nullptr, nullptr));
    EXPECT_TRUE(CFSocketIsValid(second)) << "the flag kept it open";
    CFSocketInvalidate(second);
}

TEST(CFSocket, IsInvalidatedWithItsSourceAndItsInfo) {
    Pair pair;
    static int held;
    held = 0;
    const CFSocketContext context{0, &held,
                                  [](const void* info) {
                                      ++held;
                                      return info;
                                  },
                                  [](const void*) { --held; }, nullptr};
    const auto s = hold(CFSocketCreateWithNative(nullptr, pair.ends[0], kCFSocketReadCallBack, Notes::note, &context));
    EXPECT_EQ(held, 1);
    CFSocketContext got{};
    CFSocketGetContext(s, &got);
    EXPECT_EQ(got.info, &held);
    const auto source = hold(CFSocketCreateRunLoopSource(nullptr, s, 0));
    const auto same = hold(CFSocketCreateRunLoopSource(nullptr, s, 0));
    EXPECT_EQ(source.get(), same.get());
    EXPECT_EQ(CFSocketGetNative(s), pair.ends[0]);
    CFSocketInvalidate(s);
    CFSocketInvalidate(s);
    EXPECT_EQ(held, 0);
    EXPECT_FALSE(CFSocketIsValid(s));
    EXPECT_FALSE(CFRunLoopSourceIsValid(source));
    EXPECT_EQ(CFSocketGetNative(s), -1);
    EXPECT_EQ(CFSocketCreateRunLoopSource(nullptr, s, 0), nullptr);
    EXPECT_EQ(CFSocketCopyAddress(s), nullptr);
    EXPECT_EQ(CFSocketSendData(s, nullptr, bytes("x"), 0), kCFSocketError);
    char byte;
    EXPECT_EQ(::read(pair.ends[1], &byte, 1), 0) << "the other end is closed";
}

TEST(CFSocket, MayBeInvalidatedInItsCallback) {
    Pair pair;
    Notes notes;
    const auto reader = native(pair.ends[0], kCFSocketReadCallBack | kCFSocketWriteCallBack, notes);
    notes.then = [](CFSocketRef s, CFSocketCallBackType) { CFSocketInvalidate(s); };
    pair.write("abc");
    runWhatIsReady();
    EXPECT_EQ(notes.types.size(), 1u);
}

TEST(CFSocket, MayBeInvalidatedByAnotherThreadWhileItIsServed) {
    for (int round = 0; round < 50; ++round) {
        Pair pair;
        Notes notes;
        const auto reader = native(pair.ends[0], kCFSocketDataCallBack, notes);
        std::atomic<bool> isDone{false};
        std::thread other([&] {
            for (int i = 0; i < round % 7; ++i) std::this_thread::yield();
            CFSocketInvalidate(reader);
            isDone = true;
        });
        for (int i = 0; i < 10; ++i) {
            [[maybe_unused]] const ssize_t ignored = ::send(pair.ends[1], "x", 1, MSG_NOSIGNAL);
            CFRunLoopRunInMode(kMode, 0, true);
        }
        other.join();
        EXPECT_TRUE(isDone);
        EXPECT_FALSE(CFSocketIsValid(reader));
    }
}

TEST(CFSocket, SendsAllWithinTheTimeOrTellsThatItIsOver) {
    Pair pair;
    const auto s = hold(CFSocketCreateWithNative(nullptr, pair.ends[0], 0, nullptr, nullptr));
    const std::string much(4'000'000, 'x');
    EXPECT_EQ(CFSocketSendData(s, nullptr, bytes(much), 0), kCFSocketTimeout) << "nobody reads";
    std::size_t read = 0;
    std::thread reader([&] {
        std::vector<char> buffer(65'536);
        for (ssize_t size; (size = ::read(pair.ends[1], buffer.data(), buffer.size())) > 0;)
            read += static_cast<std::size_t>(size);
    });
    EXPECT_EQ(CFSocketSendData(s, nullptr, bytes(much), kSoon), kCFSocketSuccess);
    CFSocketInvalidate(s);
    reader.join();
    EXPECT_GT(read, much.size());
}

TEST(CFSocket, ToAClosedPeerIsAnErrorAndNoSignal) {
    Pair pair;
    const auto s = hold(CFSocketCreateWithNative(nullptr, pair.ends[0], 0, nullptr, nullptr));
    pair.closeOther();
    EXPECT_EQ(CFSocketSendData(s, nullptr, bytes("x"), 0), kCFSocketError);
    CFSocketInvalidate(s);
}

/// As few descriptors as it may have, until its end.
struct NoDescriptors {
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        const int next = ::dup(0);
        ::close(next);
        rlimit none = before;
        none.rlim_cur = static_cast<rlim_t>(next);
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before); }
    rlimit before{};
};

TEST(CFSocket, RefusesConnectionsThatItHasNoDescriptorFor) {
    Notes notes;
    const auto listener = listening(notes);
    const auto address = hold(CFSocketCopyAddress(listener));
    const int client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    runWhatIsReady();
    ASSERT_EQ(::connect(client, reinterpret_cast<const sockaddr*>(CFDataGetBytePtr(address)), sizeof(sockaddr_in)), 0);
    pollfd waiting{CFSocketGetNative(listener), POLLIN, 0};
    ASSERT_EQ(::poll(&waiting, 1, 1000 * static_cast<int>(kSoon)), 1);
    {
        const NoDescriptors none;
        runWhatIsReady();
    }
    EXPECT_THAT(notes.accepted, testing::IsEmpty());
    char byte;
    EXPECT_LE(::read(client, &byte, 1), 0) << "closed by the listener";
    ::close(client);
    const int second = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::connect(second, reinterpret_cast<const sockaddr*>(CFDataGetBytePtr(address)), sizeof(sockaddr_in)), 0);
    EXPECT_TRUE(runUntil([&] { return notes.accepted.size() == 1; })) << "and the next one is accepted";
    ::close(second);
}

TEST(CFSocket, ServesManyConnectionsOnOneLoop) {
    constexpr int kConnections = 200;
    Notes server;
    const auto listener = listening(server);
    const auto address = hold(CFSocketCopyAddress(listener));
    std::vector<int> clients;
    for (int i = 0; i < kConnections; ++i) {
        clients.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(::connect(clients.back(), reinterpret_cast<const sockaddr*>(CFDataGetBytePtr(address)),
                            sizeof(sockaddr_in)),
                  0);
        runWhatIsReady();
    }
    ASSERT_TRUE(runUntil([&] { return server.accepted.size() == kConnections; }));
    const std::vector<int> accepted = std::exchange(server.accepted, {});
    Notes notes;
    notes.then = [&](CFSocketRef s, CFSocketCallBackType) {
        if (!notes.read.back().empty()) CFSocketSendData(s, nullptr, bytes(notes.read.back()), 0);
    };
    std::vector<std::unique_ptr<Scheduled>> sockets;
    for (const int each : accepted) {
        const CFSocketContext context = notes.context();
        sockets.push_back(std::make_unique<Scheduled>(
            CFSocketCreateWithNative(nullptr, each, kCFSocketDataCallBack, Notes::note, &context)));
    }
    for (const int each : clients) ASSERT_EQ(::send(each, "ping", 4, MSG_NOSIGNAL), 4);
    EXPECT_TRUE(runUntil([&] { return notes.read.size() == kConnections; }));
    for (const int each : clients) {
        char echo[5] = {};
        EXPECT_EQ(::recv(each, echo, 4, MSG_WAITALL), 4);
        EXPECT_STREQ(echo, "ping");
        ::close(each);
    }
}

TEST(CFSocket, IsNotMadeOfWhatIsNone) {
    EXPECT_EQ(CFSocketCreateWithNative(nullptr, -1, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFSocketCreateWithNative(nullptr, STDIN_FILENO, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFSocketCreate(nullptr, 9999, 0, 0, 0, nullptr, nullptr), nullptr);
    Pair pair;
    const CFSocketContext later{1, nullptr, nullptr, nullptr, nullptr};
    EXPECT_EQ(CFSocketCreateWithNative(nullptr, pair.ends[0], 0, nullptr, &later), nullptr);
    ::close(pair.ends[0]);
}

TEST(CFSocket, RefusesAddressesThatAreNone) {
    const auto s = hold(CFSocketCreate(nullptr, 0, 0, 0, 0, nullptr, nullptr));
    for (const std::string& bad : {std::string(), std::string("x"), std::string(1000, 'x')}) {
        EXPECT_EQ(CFSocketSetAddress(s, bytes(bad)), kCFSocketError);
        EXPECT_EQ(CFSocketConnectToAddress(s, bytes(bad), 0), kCFSocketError);
        EXPECT_EQ(CFSocketSendData(s, bytes(bad), bytes("x"), 0), kCFSocketError);
    }
    CFSocketInvalidate(s);
}

TEST(CFSocket, HasNoNameRegistry) {
    const CFSocketSignature signature{};
    CFPropertyListRef value = CFSTR("before");
    const auto before = bytes("x");
    CFDataRef address = before;
    CFSocketSignature found{1, 1, 1, nullptr};
    EXPECT_EQ(CFSocketRegisterValue(&signature, 1, CFSTR("a"), CFSTR("b")), kCFSocketError);
    EXPECT_EQ(CFSocketCopyRegisteredValue(&signature, 1, CFSTR("a"), &value, &address), kCFSocketError);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(CFSocketRegisterSocketSignature(&signature, 1, CFSTR("a"), &signature), kCFSocketError);
    EXPECT_EQ(CFSocketCopyRegisteredSocketSignature(&signature, 1, CFSTR("a"), &found, &address), kCFSocketError);
    EXPECT_EQ(found.socketType, 0);
    EXPECT_EQ(CFSocketUnregister(&signature, 1, CFSTR("a")), kCFSocketError);
    EXPECT_EQ(CFSocketGetDefaultNameRegistryPortNumber(), 2454);
    CFSocketSetDefaultNameRegistryPortNumber(5);
    EXPECT_EQ(CFSocketGetDefaultNameRegistryPortNumber(), 5);
    CFSocketSetDefaultNameRegistryPortNumber(2454);
}

TEST(CFSocket, SurvivesNullArgumentsAndForeignObjects) {
    const auto foreign = reinterpret_cast<CFSocketRef>(const_cast<__CFString*>(CFSTR("x")));
    const auto foreignData = reinterpret_cast<CFDataRef>(CFSTR("x"));
    CFSocketContext context{};
    for (const CFSocketRef bad : {CFSocketRef(), foreign}) {
        EXPECT_EQ(CFSocketSetAddress(bad, nullptr), kCFSocketError);
        EXPECT_EQ(CFSocketConnectToAddress(bad, nullptr, 0), kCFSocketError);
        CFSocketInvalidate(bad);
        EXPECT_FALSE(CFSocketIsValid(bad));
        EXPECT_EQ(CFSocketCopyAddress(bad), nullptr);
        EXPECT_EQ(CFSocketCopyPeerAddress(bad), nullptr);
        CFSocketGetContext(bad, &context);
        EXPECT_EQ(CFSocketGetNative(bad), -1);
        EXPECT_EQ(CFSocketCreateRunLoopSource(nullptr, bad, 0), nullptr);
        EXPECT_EQ(CFSocketGetSocketFlags(bad), 0u);
        CFSocketSetSocketFlags(bad, 0);
        CFSocketDisableCallBacks(bad, 1);
        CFSocketEnableCallBacks(bad, 1);
        EXPECT_EQ(CFSocketSendData(bad, nullptr, nullptr, 0), kCFSocketError);
    }
    EXPECT_EQ(CFSocketCreateWithSocketSignature(nullptr, nullptr, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFSocketCreateConnectedToSocketSignature(nullptr, nullptr, 0, nullptr, nullptr, 0), nullptr);
    const CFSocketSignature empty{};
    EXPECT_EQ(CFSocketCreateWithSocketSignature(nullptr, &empty, 0, nullptr, nullptr), nullptr);
    const auto s = hold(CFSocketCreate(nullptr, 0, 0, 0, kCFSocketReadCallBack, nullptr, nullptr));
    for (const CFDataRef bad : {CFDataRef(), foreignData}) {
        EXPECT_EQ(CFSocketSetAddress(s, bad), kCFSocketError);
        EXPECT_EQ(CFSocketConnectToAddress(s, bad, 0), kCFSocketError);
        EXPECT_EQ(CFSocketSendData(s, nullptr, bad, 0), kCFSocketError);
    }
    EXPECT_EQ(CFSocketSendData(s, foreignData, bytes("x"), 0), kCFSocketError);
    CFSocketGetContext(s, nullptr);
    CFSocketInvalidate(s);
    EXPECT_EQ(CFSocketRegisterValue(nullptr, 0, nullptr, nullptr), kCFSocketError);
    EXPECT_EQ(CFSocketCopyRegisteredValue(nullptr, 0, nullptr, nullptr, nullptr), kCFSocketError);
    EXPECT_EQ(CFSocketRegisterSocketSignature(nullptr, 0, nullptr, nullptr), kCFSocketError);
    EXPECT_EQ(CFSocketCopyRegisteredSocketSignature(nullptr, 0, nullptr, nullptr, nullptr), kCFSocketError);
    EXPECT_EQ(CFSocketUnregister(nullptr, 0, nullptr), kCFSocketError);
    EXPECT_EQ(CFSocketCreateWithNative(nullptr, -1, 0, nullptr, nullptr), nullptr);
}

TEST(CFSocket, IsNullWithoutMemoryAndClosesNothingOfTheCallers) {
    TestAllocator allocator;
    Pair pair;
    allocator.failAfter(0);
    EXPECT_EQ(CFSocketCreate(allocator, 0, 0, 0, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFSocketCreateWithNative(allocator, pair.ends[0], 0, nullptr, nullptr), nullptr);
    EXPECT_GE(::fcntl(pair.ends[0], F_GETFD), 0);
    EXPECT_EQ(allocator.blocks(), 0);
    ::close(pair.ends[0]);
}

}  // namespace
