#include <KXCoreLib/CoreFoundation/SocketRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <concepts>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace KXCore::CoreFoundation;

namespace {

DataRef loopback() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return DataRef::create(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(&address), sizeof address);
}

SocketRef socketOf(int type, CFOptionFlags callBackTypes = kCFSocketNoCallBack) {
    return SocketRef::create(kCFAllocatorDefault, PF_INET, type, 0, callBackTypes, nullptr, nullptr);
}

}  // namespace

template <>
SocketRef KXCore::CoreFoundation::sample() {
    return socketOf(SOCK_DGRAM);
}
INSTANTIATE_TYPED_TEST_SUITE_P(SocketRef, TypedWrapper, SocketRef);

FORWARDS(SocketRef, getTypeID, CFSocketGetTypeID);
FORWARDS(SocketRef, create, CFSocketCreate);
FORWARDS(SocketRef, createWithNative, CFSocketCreateWithNative);
FORWARDS(SocketRef, createWithSocketSignature, CFSocketCreateWithSocketSignature);
FORWARDS(SocketRef, createConnectedToSocketSignature, CFSocketCreateConnectedToSocketSignature);
FORWARDS(SocketRef, createRunLoopSource, CFSocketCreateRunLoopSource);
FORWARDS(SocketRef, setAddress, CFSocketSetAddress);
FORWARDS(SocketRef, connectToAddress, CFSocketConnectToAddress);
FORWARDS(SocketRef, sendData, CFSocketSendData);
FORWARDS(SocketRef, copyAddress, CFSocketCopyAddress);
FORWARDS(SocketRef, copyPeerAddress, CFSocketCopyPeerAddress);
FORWARDS(SocketRef, invalidate, CFSocketInvalidate);
FORWARDS(SocketRef, isValid, CFSocketIsValid);
FORWARDS(SocketRef, getContext, CFSocketGetContext);
FORWARDS(SocketRef, getNative, CFSocketGetNative);
FORWARDS(SocketRef, getSocketFlags, CFSocketGetSocketFlags);
FORWARDS(SocketRef, setSocketFlags, CFSocketSetSocketFlags);
FORWARDS(SocketRef, disableCallBacks, CFSocketDisableCallBacks);
FORWARDS(SocketRef, enableCallBacks, CFSocketEnableCallBacks);
FORWARDS(SocketRef, registerValue, CFSocketRegisterValue);
template <class Value>
concept RegisteredAs = requires(Value* value, DataRef* address) {
    { SocketRef::copyRegisteredValue(nullptr, 0, nullptr, value, address) } -> std::same_as<CFSocketError>;
};
OFFERS(CFSocketCopyRegisteredValue, RegisteredAs<TypeRef> && !RegisteredAs<StringRef>);
FORWARDS(SocketRef, registerSocketSignature, CFSocketRegisterSocketSignature);
FORWARDS(SocketRef, copyRegisteredSocketSignature, CFSocketCopyRegisteredSocketSignature);
FORWARDS(SocketRef, unregister, CFSocketUnregister);
FORWARDS(SocketRef, setDefaultNameRegistryPortNumber, CFSocketSetDefaultNameRegistryPortNumber);
FORWARDS(SocketRef, getDefaultNameRegistryPortNumber, CFSocketGetDefaultNameRegistryPortNumber);

TEST(SocketRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFSocketCreate", [](CFAllocatorRef a) { SocketRef::create(a, 0, 0, 0, 0, nullptr, nullptr); }},
        {"CFSocketCreateRunLoopSource",
         [](CFAllocatorRef a) { SocketRef::createRunLoopSource(a, sample<SocketRef>().get(), 0); }},
    });
    expectFailsToCreate("CFSocketCreateWithNative",
                        [] { SocketRef::createWithNative(nullptr, -1, 0, nullptr, nullptr); });
    expectFailsToCreate("CFSocketCreateWithSocketSignature",
                        [] { SocketRef::createWithSocketSignature(nullptr, nullptr, 0, nullptr, nullptr); });
    expectFailsToCreate("CFSocketCreateConnectedToSocketSignature",
                        [] { SocketRef::createConnectedToSocketSignature(nullptr, nullptr, 0, nullptr, nullptr, 0); });
    expectFailsToCreate("CFSocketCopyPeerAddress", [] { sample<SocketRef>().copyPeerAddress(); });
    expectFailsToCreate("CFSocketCopyAddress", [] { SocketRef().copyAddress(); });
}

TEST(SocketRef, ListensConnectsAndSends) {
    const DataRef address = loopback();
    const CFSocketSignature signature{PF_INET, SOCK_STREAM, 0, address.get()};
    const SocketRef listener = SocketRef::createWithSocketSignature(nullptr, &signature, 0, nullptr, nullptr);
    const DataRef place = listener.copyAddress();
    const CFSocketSignature there{PF_INET, SOCK_STREAM, 0, place.get()};
    const SocketRef client = SocketRef::createConnectedToSocketSignature(nullptr, &there, 0, nullptr, nullptr, 30);
    EXPECT_EQ(client.copyPeerAddress(), place);
    const SocketRef other = socketOf(SOCK_STREAM);
    EXPECT_EQ(other.connectToAddress(place.get(), 30), kCFSocketSuccess);
    const int accepted = ::accept(listener.getNative(), nullptr, nullptr);
    const SocketRef server = SocketRef::createWithNative(nullptr, accepted, 0, nullptr, nullptr);
    EXPECT_EQ(server.getNative(), accepted);
    EXPECT_EQ(client.sendData(nullptr, bytesOf("ping").get(), 30), kCFSocketSuccess);
    char read[4];
    EXPECT_EQ(::recv(accepted, read, 4, MSG_WAITALL), 4);
    for (const SocketRef& each : {listener, client, other, server}) each.invalidate();
    EXPECT_FALSE(server.isValid());
    EXPECT_EQ(server.getNative(), -1);
}

TEST(SocketRef, TellsWhatItIs) {
    const SocketRef socket = socketOf(SOCK_DGRAM, kCFSocketReadCallBack);
    EXPECT_EQ(socket.setAddress(loopback().get()), kCFSocketSuccess);
    EXPECT_TRUE(socket.isValid());
    EXPECT_EQ(socket.getSocketFlags(), kCFSocketAutomaticallyReenableDataCallBack | kCFSocketCloseOnInvalidate);
    socket.setSocketFlags(kCFSocketCloseOnInvalidate);
    EXPECT_EQ(socket.getSocketFlags(), CFOptionFlags{kCFSocketCloseOnInvalidate});
    CFSocketContext context{};
    context.info = &context;
    socket.getContext(&context);
    EXPECT_EQ(context.info, nullptr);
    socket.disableCallBacks(kCFSocketReadCallBack);
    socket.enableCallBacks(kCFSocketReadCallBack);
    const RunLoopSourceRef source = SocketRef::createRunLoopSource(nullptr, socket.get(), 3);
    EXPECT_EQ(source.getOrder(), 3);
    socket.invalidate();
    EXPECT_FALSE(source.isValid());
}

TEST(SocketRef, HasNoNameRegistry) {
    const CFSocketSignature signature{};
    TypeRef value = TypeRef::retain(CFSTR("before"));
    DataRef address = bytesOf("before");
    CFSocketSignature found{};
    const StringRef name = text("name");
    EXPECT_EQ(SocketRef::registerValue(&signature, 0, name.get(), name.get()), kCFSocketError);
    EXPECT_EQ(SocketRef::copyRegisteredValue(&signature, 0, name.get(), &value, &address), kCFSocketError);
    EXPECT_FALSE(value);
    EXPECT_FALSE(address);
    EXPECT_EQ(SocketRef::registerSocketSignature(&signature, 0, name.get(), &signature), kCFSocketError);
    EXPECT_EQ(SocketRef::copyRegisteredSocketSignature(&signature, 0, name.get(), &found, &address), kCFSocketError);
    EXPECT_EQ(SocketRef::unregister(&signature, 0, name.get()), kCFSocketError);
    const UInt16 port = SocketRef::getDefaultNameRegistryPortNumber();
    SocketRef::setDefaultNameRegistryPortNumber(77);
    EXPECT_EQ(SocketRef::getDefaultNameRegistryPortNumber(), 77);
    SocketRef::setDefaultNameRegistryPortNumber(port);
}
