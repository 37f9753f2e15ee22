#include "DescriptorCalls.h"
#include "RunLoop.h"
#include "SocketCalls.h"

#include "CoreFoundation/String/CFStringObject.h"
#include "Support/NeverDestroyed.h"

#include <CoreFoundation/CFSocket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>

using namespace KXPlatform;

namespace {

void finalizeSocket(Object* object) noexcept;

constexpr Class kSocketClass{TypeID::Socket, finalizeSocket, nullptr, nullptr, nullptr};

constexpr CFOptionFlags kReading = 3;  ///< the bits that say how is read
constexpr CFOptionFlags kAllTypes = kReading | kCFSocketConnectCallBack | kCFSocketWriteCallBack;
constexpr CFOptionFlags kFirstFlags = kCFSocketAutomaticallyReenableDataCallBack | kCFSocketCloseOnInvalidate;

constexpr int kBacklog = 256;
constexpr int kAcceptedAtOnce = 16;          ///< before other sources have their turn
constexpr std::size_t kReadAtOnce = 65'536;  ///< of a stream; the longest datagram fits too

}  // namespace

struct __CFSocket : Object {
    __CFSocket(int n, CFOptionFlags t, CFSocketCallBack c) noexcept
        : Object(kSocketClass), native(n), types(t & kAllTypes), callout(c), enabled(types) {
        flags |= kFound;
    }

    CFOptionFlags reading() const noexcept { return types & kReading; }

    const int native;
    const CFOptionFlags types;
    const CFSocketCallBack callout;
    CFSocketContext context{};

    std::mutex mutex;  // taken after a loop's and after the table's; nothing is locked or called out under it
    bool valid = true;
    bool isConnecting = false;  ///< in the background
    bool waitedBefore = false;  ///< the native socket did, before it connected in the background
    CFOptionFlags enabled;      ///< bits of `types`
    CFOptionFlags behaviour = kFirstFlags;
    std::uint32_t serial = 0;  ///< of the last wish
    Info info;
    DescriptorCalls calls;
    Descriptor spare;                     ///< given up to accept, and refuse, a connection when there is no other left
    __CFRunLoopSource* source = nullptr;  ///< not retained: it retains the object, and takes itself back when it goes
};

namespace {

// ---- One object for a native socket

struct Table {
    std::mutex mutex;
    std::unordered_map<int, __CFSocket*> sockets;  ///< not retained
};

Table& table() noexcept {
    static NeverDestroyed<Table> sockets;
    return *sockets;
}

void leaveTable(__CFSocket& s) noexcept {
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    const auto found = all.sockets.find(s.native);
    if (found != all.sockets.end() && found->second == &s) all.sockets.erase(found);
}

/// The object of a native socket; empty where there is none.
Retained<__CFSocket> findSocket(int native) noexcept {
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    const auto found = all.sockets.find(native);
    return found == all.sockets.end() ? Retained<__CFSocket>() : Retained<__CFSocket>::trying(found->second);
}

void finalizeSocket(Object* object) noexcept {
    auto* const s = static_cast<__CFSocket*>(object);
    leaveTable(*s);
    if (s->valid && (s->behaviour & kCFSocketCloseOnInvalidate)) Descriptor(s->native).close();
    s->~__CFSocket();
}

__CFSocket* checked(CFSocketRef s) noexcept { return s && s->cls == &kSocketClass ? s : nullptr; }

// ---- What the run loop asks

void forgetSource(void* owner, __CFRunLoopSource* source) noexcept {
    auto* const s = static_cast<__CFSocket*>(owner);
    const std::lock_guard lock(s->mutex);
    if (s->source == source) s->source = nullptr;
}

int descriptorOf(void* owner) noexcept { return static_cast<__CFSocket*>(owner)->native; }

Interest interestOf(void* owner) noexcept {
    auto* const s = static_cast<__CFSocket*>(owner);
    const std::lock_guard lock(s->mutex);
    if (!s->valid) return {};
    std::uint32_t events = 0;
    if ((s->enabled & kReading) && !s->isConnecting) events |= EPOLLIN;
    if ((s->enabled & kCFSocketWriteCallBack) || s->isConnecting) events |= EPOLLOUT;
    return {events, s->serial};
}

CFOptionFlags take(void* owner, std::uint32_t events, std::uint32_t serial) noexcept {
    auto* const s = static_cast<__CFSocket*>(owner);
    const std::lock_guard lock(s->mutex);
    // An event that answers an earlier wish was served on another loop, and says nothing about the socket now.
    if (!s->valid || s->serial != serial) return 0;
    CFOptionFlags taken = 0;
    if (s->isConnecting) {
        if (events & EPOLLOUT) taken = kCFSocketConnectCallBack;
        s->isConnecting = taken == 0;
        ++s->serial;
        return taken;
    }
    if (events & EPOLLIN) taken |= s->enabled & kReading;
    if (events & EPOLLOUT) taken |= s->enabled & kCFSocketWriteCallBack;
    // Until its callback has returned, no other loop serves it.
    s->enabled &= ~taken;
    return taken;
}

using Data = Retained<const __CFData>;

/// What one round of callbacks works on.
struct Round {
    __CFSocket& s;
    void* info;

    bool isValid() const noexcept {
        const std::lock_guard lock(s.mutex);
        return s.valid;
    }
    bool leavesErrors() const noexcept {
        const std::lock_guard lock(s.mutex);
        return (s.behaviour & kCFSocketLeaveErrors) != 0;
    }
    void call(CFSocketCallBackType type, CFDataRef address, const void* data) const {
        if (s.callout) s.callout(&s, type, address, data, info);
    }
};

/// The socket that was connecting has done so, or failed.
void finishConnecting(const Round& round) {
    SInt32 error = 0;
    if (round.leavesErrors()) {
        sockaddr_storage peer;
        socklen_t length = sizeof peer;
        if (::getpeername(round.s.native, reinterpret_cast<sockaddr*>(&peer), &length) != 0) error = errno;
    } else {
        error = takeError(round.s.native);
    }
    if (round.s.waitedBefore) setWaiting(round.s.native, true);
    bool isWanted;
    {
        const std::lock_guard lock(round.s.mutex);
        isWanted = (round.s.enabled & kCFSocketConnectCallBack) != 0;
        round.s.enabled &= ~kCFSocketConnectCallBack;
    }
    if (isWanted) round.call(kCFSocketConnectCallBack, nullptr, error ? &error : nullptr);
}

Descriptor openSpare() noexcept { return Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)); }

/// The process has no descriptor left for the next connection: it is taken by the spare one and closed, or it would
/// wake the loop for ever.
bool refuseConnection(__CFSocket& s) noexcept {
    const std::lock_guard lock(s.mutex);
    if (!s.spare) return false;
    s.spare.close();
    Descriptor refused(::accept4(s.native, nullptr, nullptr, SOCK_CLOEXEC));
    const bool isDone = static_cast<bool>(refused);
    if (isDone) refused.close();
    s.spare = openSpare();
    return isDone;
}

void acceptConnections(const Round& round) {
    for (int i = 0; i < kAcceptedAtOnce && round.isValid(); ++i) {
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        const CFSocketNativeHandle handle =
            ::accept4(round.s.native, reinterpret_cast<sockaddr*>(&address), &length, SOCK_CLOEXEC);
        if (handle < 0) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            if ((errno == EMFILE || errno == ENFILE) && refuseConnection(round.s)) continue;
            return;
        }
        const Data peer =
            Data::adopting(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(&address),
                                        static_cast<CFIndex>(std::min<socklen_t>(length, sizeof address))));
        if (!round.s.callout) {
            Descriptor(handle).close();
            continue;
        }
        round.call(kCFSocketAcceptCallBack, peer.get(), &handle);
    }
}

/// Reads once and hands on what was read; whether there may be more.
bool readData(const Round& round) {
    const std::unique_ptr<UInt8[]> buffer(new (std::nothrow) UInt8[kReadAtOnce]);
    if (!buffer) return true;
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    ssize_t size;
    do {
        length = sizeof address;
        size = ::recvfrom(round.s.native, buffer.get(), kReadAtOnce, MSG_DONTWAIT,
                          reinterpret_cast<sockaddr*>(&address), &length);
    } while (size < 0 && errno == EINTR);
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
    int type = 0;
    socklen_t typeSize = sizeof type;
    ::getsockopt(round.s.native, SOL_SOCKET, SO_TYPE, &type, &typeSize);
    const bool isStream = type == SOCK_STREAM;
    const Data peer =
        length > 0 && !isStream
            ? Data::adopting(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(&address),
                                          static_cast<CFIndex>(std::min<socklen_t>(length, sizeof address))))
            : Data::adopting(copyPeerAddress(round.s.native));
    const Data data =
        Data::adopting(CFDataCreate(nullptr, buffer.get(), static_cast<CFIndex>(std::max<ssize_t>(size, 0))));
    if (data) round.call(kCFSocketDataCallBack, peer.get(), data.get());
    // A datagram may be empty, and a failed one says nothing of the next; a stream has ended.
    return size > 0 || !isStream;
}

/// Whether a kind comes again by itself.
bool isReenabled(const __CFSocket& s, CFOptionFlags type) noexcept {
    return type == kCFSocketWriteCallBack ? (s.behaviour & kCFSocketAutomaticallyReenableWriteCallBack) != 0
                                          : (s.behaviour & type) == type;
}

/// Applies `change` to what the socket waits for and tells the loops.
template <class Change>
void changeInterest(__CFSocket& s, Change change) {
    Retained<__CFRunLoopSource> source;
    {
        const std::lock_guard lock(s.mutex);
        if (!s.valid) return;
        change();
        ++s.serial;
        source = Retained<__CFRunLoopSource>::trying(s.source);
    }
    if (source) interestChanged(*source);
}

void callOut(void* owner, CFOptionFlags types) {
    auto& s = *static_cast<__CFSocket*>(owner);
    const auto held = Retained<__CFSocket>::retaining(&s);
    DescriptorCalls::Call call;
    Info info;
    {
        const std::lock_guard lock(s.mutex);
        if (!s.valid) return;
        info = s.info;
        s.calls.begin(call);
    }
    struct Finish {
        __CFSocket& s;
        const DescriptorCalls::Call& call;
        ~Finish() { s.calls.end(s.mutex, call, s.native); }
    } const finish{s, call};

    const Round round{s, info.get()};
    if (types == kCFSocketConnectCallBack) {
        finishConnecting(round);
        changeInterest(s, [] {});
        return;
    }
    CFOptionFlags again = 0;
    const CFOptionFlags reading = types & kReading;
    if (reading) {
        bool mayHaveMore = true;
        if (reading == kCFSocketAcceptCallBack)
            acceptConnections(round);
        else if (reading == kCFSocketDataCallBack)
            mayHaveMore = readData(round);
        else
            round.call(kCFSocketReadCallBack, nullptr, nullptr);
        if (mayHaveMore) again |= reading;
    }
    if ((types & kCFSocketWriteCallBack) && round.isValid()) {
        if (!round.leavesErrors()) takeError(s.native);
        round.call(kCFSocketWriteCallBack, nullptr, nullptr);
        again |= kCFSocketWriteCallBack;
    }
    changeInterest(s, [&] {
        if ((again & kReading) && isReenabled(s, reading)) s.enabled |= reading;
        if ((again & kCFSocketWriteCallBack) && isReenabled(s, kCFSocketWriteCallBack))
            s.enabled |= kCFSocketWriteCallBack;
    });
}

constexpr SourceOwner kSocketOwner{forgetSource, nullptr, descriptorOf, interestOf, take, callOut};

/// The bits of the socket's own kinds that `callBackTypes` names. Of the ways to read it has one.
CFOptionFlags namedTypes(const __CFSocket& s, CFOptionFlags callBackTypes) noexcept {
    const CFOptionFlags reading = (callBackTypes & s.reading()) ? s.reading() : 0;
    return reading | (callBackTypes & s.types & ~kReading);
}

int typeOf(int native) noexcept {
    int type = 0;
    socklen_t size = sizeof type;
    return ::getsockopt(native, SOL_SOCKET, SO_TYPE, &type, &size) == 0 ? type : -1;
}

CFSocketError errorOf(int error) noexcept {
    return error == 0 ? kCFSocketSuccess : error == EAGAIN || error == EINPROGRESS ? kCFSocketTimeout : kCFSocketError;
}

}  // namespace

CFTypeID CFSocketGetTypeID() { return number(TypeID::Socket); }

// ---- Creating

CFSocketRef CFSocketCreateWithNative(CFAllocatorRef allocator, CFSocketNativeHandle sock, CFOptionFlags callBackTypes,
                                     CFSocketCallBack callout, const CFSocketContext* context) try {
    if (typeOf(sock) < 0 || (context && context->version != 0)) return nullptr;
    if (auto there = findSocket(sock)) return there.release();
    auto made = Retained<__CFSocket>::adopting(make<__CFSocket>(allocator, 0, sock, callBackTypes, callout));
    if (!made) return nullptr;
    // Until it stands in the table the native socket stays the caller's, whatever ends here.
    made->behaviour &= ~kCFSocketCloseOnInvalidate;
    made = Retained<__CFSocket>::adopting(withContext(std::move(made), context));
    if (!made) return nullptr;
    if (made->reading() == kCFSocketAcceptCallBack) {
        // A connection that goes away before it is accepted must not hold the loop up.
        setWaiting(sock, false);
        made->spare = openSpare();
    }
    Table& all = table();
    const std::lock_guard lock(all.mutex);
    __CFSocket*& place = all.sockets[sock];
    if (auto there = Retained<__CFSocket>::trying(place)) return there.release();  // another thread's
    place = made.get();
    made->behaviour |= kCFSocketCloseOnInvalidate;
    return made.release();
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFSocketRef CFSocketCreate(CFAllocatorRef allocator, SInt32 protocolFamily, SInt32 socketType, SInt32 protocol,
                           CFOptionFlags callBackTypes, CFSocketCallBack callout, const CFSocketContext* context) {
    const int family = protocolFamily > 0 ? protocolFamily : PF_INET;
    const int type = socketType > 0 ? socketType : SOCK_STREAM;
    int chosen = protocol > 0 ? protocol : 0;
    if (chosen == 0 && (family == PF_INET || family == PF_INET6)) {
        if (type == SOCK_STREAM) chosen = IPPROTO_TCP;
        if (type == SOCK_DGRAM) chosen = IPPROTO_UDP;
    }
    Descriptor native(::socket(family, type | SOCK_CLOEXEC, chosen));
    if (!native) return nullptr;
    const CFSocketRef made = CFSocketCreateWithNative(allocator, native.get(), callBackTypes, callout, context);
    if (made) native.release();
    return made;
}

CFSocketRef CFSocketCreateWithSocketSignature(CFAllocatorRef allocator, const CFSocketSignature* signature,
                                              CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                              const CFSocketContext* context) {
    if (!signature) return nullptr;
    auto made =
        Retained<__CFSocket>::adopting(CFSocketCreate(allocator, signature->protocolFamily, signature->socketType,
                                                      signature->protocol, callBackTypes, callout, context));
    if (!made) return nullptr;
    if (CFSocketSetAddress(made.get(), signature->address) == kCFSocketSuccess) return made.release();
    CFSocketInvalidate(made.get());
    return nullptr;
}

CFSocketRef CFSocketCreateConnectedToSocketSignature(CFAllocatorRef allocator, const CFSocketSignature* signature,
                                                     CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                                     const CFSocketContext* context, CFTimeInterval timeout) {
    if (!signature) return nullptr;
    auto made =
        Retained<__CFSocket>::adopting(CFSocketCreate(allocator, signature->protocolFamily, signature->socketType,
                                                      signature->protocol, callBackTypes, callout, context));
    if (!made) return nullptr;
    if (CFSocketConnectToAddress(made.get(), signature->address, timeout) == kCFSocketSuccess) return made.release();
    CFSocketInvalidate(made.get());
    return nullptr;
}

// ---- Addresses and data

CFSocketError CFSocketSetAddress(CFSocketRef s, CFDataRef address) {
    SocketAddress to;
    if (!CFSocketIsValid(s) || !isOfType(address, TypeID::Data) || !readAddress(address, to)) return kCFSocketError;
    if (::bind(s->native, to.get(), to.length) != 0) return kCFSocketError;
    const int type = typeOf(s->native);
    if ((type == SOCK_STREAM || type == SOCK_SEQPACKET) && ::listen(s->native, kBacklog) != 0) return kCFSocketError;
    changeInterest(*s, [] {});  // a socket that has begun to listen is another one to epoll
    return kCFSocketSuccess;
}

CFSocketError CFSocketConnectToAddress(CFSocketRef s, CFDataRef address, CFTimeInterval timeout) {
    SocketAddress to;
    if (!CFSocketIsValid(s) || !isOfType(address, TypeID::Data) || !readAddress(address, to)) return kCFSocketError;
    const bool isInBackground = timeout < 0;
    const bool waited = (::fcntl(s->native, F_GETFL) & O_NONBLOCK) == 0;
    const int error = connectWithin(s->native, to, timeout);
    if (error != 0 && error != EINPROGRESS) return kCFSocketError;
    if (error == 0 && !isInBackground) {
        changeInterest(*s, [&] { s->enabled &= ~kCFSocketConnectCallBack; });
        return kCFSocketSuccess;
    }
    // The callback tells of the connection also when it was made at once.
    changeInterest(*s, [&] {
        s->isConnecting = true;
        s->waitedBefore = waited;
    });
    return isInBackground ? kCFSocketSuccess : kCFSocketTimeout;
}

CFSocketError CFSocketSendData(CFSocketRef s, CFDataRef address, CFDataRef data, CFTimeInterval timeout) {
    SocketAddress to;
    if (!CFSocketIsValid(s) || !isOfType(data, TypeID::Data)) return kCFSocketError;
    if (address && (!isOfType(address, TypeID::Data) || !readAddress(address, to))) return kCFSocketError;
    return errorOf(sendWithin(s->native, address ? &to : nullptr, CFDataGetBytePtr(data),
                              static_cast<std::size_t>(CFDataGetLength(data)), timeout));
}

CFDataRef CFSocketCopyAddress(CFSocketRef s) { return CFSocketIsValid(s) ? copyOwnAddress(s->native) : nullptr; }

CFDataRef CFSocketCopyPeerAddress(CFSocketRef s) { return CFSocketIsValid(s) ? copyPeerAddress(s->native) : nullptr; }

// ---- The object

void CFSocketInvalidate(CFSocketRef s) {
    if (!checked(s)) return;
    const auto self = Retained<__CFSocket>::retaining(s);
    Info released;
    Retained<__CFRunLoopSource> source;
    bool closes;
    {
        const std::lock_guard lock(s->mutex);
        if (!s->valid) return;
        s->valid = false;
        closes = (s->behaviour & kCFSocketCloseOnInvalidate) != 0;
        source = Retained<__CFRunLoopSource>::trying(s->source);
        released.swap(s->info);
    }
    leaveTable(*s);
    if (source) CFRunLoopSourceInvalidate(source.get());
    // No loop watches the socket any more: its number may go to another file.
    if (closes) s->calls.close(s->mutex, s->native);
}

Boolean CFSocketIsValid(CFSocketRef s) {
    if (!checked(s)) return false;
    const std::lock_guard lock(s->mutex);
    return s->valid;
}

void CFSocketGetContext(CFSocketRef s, CFSocketContext* context) {
    if (!checked(s)) return;
    const std::lock_guard lock(s->mutex);
    giveContext(context, s->context, s->info);
}

CFSocketNativeHandle CFSocketGetNative(CFSocketRef s) { return CFSocketIsValid(s) ? s->native : -1; }

CFRunLoopSourceRef CFSocketCreateRunLoopSource(CFAllocatorRef allocator, CFSocketRef s, CFIndex order) {
    if (!CFSocketIsValid(s)) return nullptr;
    const auto made =
        Retained<__CFRunLoopSource>::adopting(makeOwnedSource(allocator, order, kSocketOwner, s, nullptr, nullptr));
    const std::lock_guard lock(s->mutex);
    if (!s->valid || !made) return nullptr;
    if (auto there = Retained<__CFRunLoopSource>::trying(s->source)) return there.release();
    s->source = made.get();
    return Retained<__CFRunLoopSource>(made).release();
}

CFOptionFlags CFSocketGetSocketFlags(CFSocketRef s) {
    if (!checked(s)) return 0;
    const std::lock_guard lock(s->mutex);
    return s->behaviour;
}

void CFSocketSetSocketFlags(CFSocketRef s, CFOptionFlags flags) {
    if (!checked(s)) return;
    const std::lock_guard lock(s->mutex);
    s->behaviour = flags;
}

void CFSocketDisableCallBacks(CFSocketRef s, CFOptionFlags callBackTypes) {
    if (checked(s)) changeInterest(*s, [&] { s->enabled &= ~namedTypes(*s, callBackTypes); });
}

void CFSocketEnableCallBacks(CFSocketRef s, CFOptionFlags callBackTypes) {
    if (checked(s))
        changeInterest(*s, [&] { s->enabled |= namedTypes(*s, callBackTypes) & ~kCFSocketConnectCallBack; });
}

// ---- The name registry

#define KX_KEY(name, text)                           \
    namespace {                                      \
    constinit const StringConstant name##Text(text); \
    }                                                \
    const CFStringRef name = &name##Text;
KX_KEY(kCFSocketCommandKey, "Command")
KX_KEY(kCFSocketNameKey, "Name")
KX_KEY(kCFSocketValueKey, "Value")
KX_KEY(kCFSocketResultKey, "Result")
KX_KEY(kCFSocketErrorKey, "Error")
KX_KEY(kCFSocketRegisterCommand, "Register")
KX_KEY(kCFSocketRetrieveCommand, "Retrieve")
#undef KX_KEY

namespace {

std::atomic<UInt16> registryPort{2454};

}  // namespace

CFSocketError CFSocketRegisterValue(const CFSocketSignature*, CFTimeInterval, CFStringRef, CFPropertyListRef) {
    return kCFSocketError;
}

CFSocketError CFSocketCopyRegisteredValue(const CFSocketSignature*, CFTimeInterval, CFStringRef,
                                          CFPropertyListRef* value, CFDataRef* nameServerAddress) {
    if (value) *value = nullptr;
    if (nameServerAddress) *nameServerAddress = nullptr;
    return kCFSocketError;
}

CFSocketError CFSocketRegisterSocketSignature(const CFSocketSignature*, CFTimeInterval, CFStringRef,
                                              const CFSocketSignature*) {
    return kCFSocketError;
}

CFSocketError CFSocketCopyRegisteredSocketSignature(const CFSocketSignature*, CFTimeInterval, CFStringRef,
                                                    CFSocketSignature* signature, CFDataRef* nameServerAddress) {
    if (signature) *signature = {};
    if (nameServerAddress) *nameServerAddress = nullptr;
    return kCFSocketError;
}

CFSocketError CFSocketUnregister(const CFSocketSignature*, CFTimeInterval, CFStringRef) { return kCFSocketError; }

void CFSocketSetDefaultNameRegistryPortNumber(UInt16 port) { registryPort.store(port); }

UInt16 CFSocketGetDefaultNameRegistryPortNumber() { return registryPort.load(); }
