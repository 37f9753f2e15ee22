#pragma once

#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFSocket.h>

namespace KXCore::CoreFoundation {

/// A socket that tells a run loop of what happens on it. Any thread.
class KX_EXPORT SocketRef : public TypedRef<SocketRef, CFSocketRef> {
  public:
    static constexpr const char* typeName = "CFSocketRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    static SocketRef create(CFAllocatorRef allocator, SInt32 protocolFamily, SInt32 socketType, SInt32 protocol,
                            CFOptionFlags callBackTypes, CFSocketCallBack callout, const CFSocketContext* context);
    /// The object that there is for the native socket, or a new one, which closes it when it is invalidated.
    static SocketRef createWithNative(CFAllocatorRef allocator, CFSocketNativeHandle sock, CFOptionFlags callBackTypes,
                                      CFSocketCallBack callout, const CFSocketContext* context);
    static SocketRef createWithSocketSignature(CFAllocatorRef allocator, const CFSocketSignature* signature,
                                               CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                               const CFSocketContext* context);
    /// `timeout` in seconds; negative: connects in the background.
    static SocketRef createConnectedToSocketSignature(CFAllocatorRef allocator, const CFSocketSignature* signature,
                                                      CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                                      const CFSocketContext* context, CFTimeInterval timeout);
    static RunLoopSourceRef createRunLoopSource(CFAllocatorRef allocator, CFSocketRef socket, CFIndex order);

    /// Binds, and listens where the socket's kind has connections.
    CFSocketError setAddress(CFDataRef address) const;
    CFSocketError connectToAddress(CFDataRef address, CFTimeInterval timeout) const;
    /// To the peer for a null address.
    CFSocketError sendData(CFDataRef address, CFDataRef data, CFTimeInterval timeout) const;
    DataRef copyAddress() const;
    DataRef copyPeerAddress() const;

    void invalidate() const;
    Boolean isValid() const;
    void getContext(CFSocketContext* context) const;
    /// -1 of an invalid socket.
    CFSocketNativeHandle getNative() const;
    CFOptionFlags getSocketFlags() const;
    void setSocketFlags(CFOptionFlags flags) const;
    void disableCallBacks(CFOptionFlags callBackTypes) const;
    void enableCallBacks(CFOptionFlags callBackTypes) const;

    // ---- The name registry, which systems no longer have: these fail

    static CFSocketError registerValue(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                       CFStringRef name, CFPropertyListRef value);
    static CFSocketError copyRegisteredValue(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                             CFStringRef name, TypeRef* value, DataRef* nameServerAddress);
    template <Wrapper Ref>
    static CFSocketError copyRegisteredValue(const CFSocketSignature*, CFTimeInterval, CFStringRef, Ref*,
                                             DataRef*) = delete;
    static CFSocketError registerSocketSignature(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                                 CFStringRef name, const CFSocketSignature* signature);
    static CFSocketError copyRegisteredSocketSignature(const CFSocketSignature* nameServerSignature,
                                                       CFTimeInterval timeout, CFStringRef name,
                                                       CFSocketSignature* signature, DataRef* nameServerAddress);
    static CFSocketError unregister(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                    CFStringRef name);
    static void setDefaultNameRegistryPortNumber(UInt16 port);
    static UInt16 getDefaultNameRegistryPortNumber();
};
static_assert(isPlainRef<SocketRef>);

}  // namespace KXCore::CoreFoundation
