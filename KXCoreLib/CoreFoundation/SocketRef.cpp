#include <KXCoreLib/CoreFoundation/SocketRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID SocketRef::getTypeID() { return CFSocketGetTypeID(); }
SocketRef SocketRef::create(CFAllocatorRef allocator, SInt32 protocolFamily, SInt32 socketType, SInt32 protocol,
                            CFOptionFlags callBackTypes, CFSocketCallBack callout, const CFSocketContext* context) {
    return KX_CREATE(SocketRef, CFSocketCreate)(allocator, protocolFamily, socketType, protocol, callBackTypes, callout,
                                                context);
}

SocketRef SocketRef::createWithNative(CFAllocatorRef allocator, CFSocketNativeHandle sock, CFOptionFlags callBackTypes,
                                      CFSocketCallBack callout, const CFSocketContext* context) {
    return KX_CREATE(SocketRef, CFSocketCreateWithNative)(allocator, sock, callBackTypes, callout, context);
}

SocketRef SocketRef::createWithSocketSignature(CFAllocatorRef allocator, const CFSocketSignature* signature,
                                               CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                               const CFSocketContext* context) {
    return KX_CREATE(SocketRef, CFSocketCreateWithSocketSignature)(allocator, signature, callBackTypes, callout,
                                                                   context);
}

SocketRef SocketRef::createConnectedToSocketSignature(CFAllocatorRef allocator, const CFSocketSignature* signature,
                                                      CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                                      const CFSocketContext* context, CFTimeInterval timeout) {
    return KX_CREATE(SocketRef, CFSocketCreateConnectedToSocketSignature)(allocator, signature, callBackTypes, callout,
                                                                          context, timeout);
}

RunLoopSourceRef SocketRef::createRunLoopSource(CFAllocatorRef allocator, CFSocketRef socket, CFIndex order) {
    return KX_CREATE(RunLoopSourceRef, CFSocketCreateRunLoopSource)(allocator, socket, order);
}

CFSocketError SocketRef::setAddress(CFDataRef address) const { return CFSocketSetAddress(get(), address); }
CFSocketError SocketRef::connectToAddress(CFDataRef address, CFTimeInterval timeout) const {
    return CFSocketConnectToAddress(get(), address, timeout);
}

CFSocketError SocketRef::sendData(CFDataRef address, CFDataRef data, CFTimeInterval timeout) const {
    return CFSocketSendData(get(), address, data, timeout);
}

DataRef SocketRef::copyAddress() const { return KX_CREATE(DataRef, CFSocketCopyAddress)(get()); }
DataRef SocketRef::copyPeerAddress() const { return KX_CREATE(DataRef, CFSocketCopyPeerAddress)(get()); }
void SocketRef::invalidate() const { CFSocketInvalidate(get()); }
Boolean SocketRef::isValid() const { return CFSocketIsValid(get()); }
void SocketRef::getContext(CFSocketContext* context) const { CFSocketGetContext(get(), context); }
CFSocketNativeHandle SocketRef::getNative() const { return CFSocketGetNative(get()); }
CFOptionFlags SocketRef::getSocketFlags() const { return CFSocketGetSocketFlags(get()); }
void SocketRef::setSocketFlags(CFOptionFlags flags) const { CFSocketSetSocketFlags(get(), flags); }
void SocketRef::disableCallBacks(CFOptionFlags callBackTypes) const { CFSocketDisableCallBacks(get(), callBackTypes); }

void SocketRef::enableCallBacks(CFOptionFlags callBackTypes) const { CFSocketEnableCallBacks(get(), callBackTypes); }

CFSocketError SocketRef::registerValue(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                       CFStringRef name, CFPropertyListRef value) {
    return CFSocketRegisterValue(nameServerSignature, timeout, name, value);
}

CFSocketError SocketRef::copyRegisteredValue(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                             CFStringRef name, TypeRef* value, DataRef* nameServerAddress) {
    return CFSocketCopyRegisteredValue(nameServerSignature, timeout, name, Filled(value), Filled(nameServerAddress));
}

CFSocketError SocketRef::registerSocketSignature(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                                 CFStringRef name, const CFSocketSignature* signature) {
    return CFSocketRegisterSocketSignature(nameServerSignature, timeout, name, signature);
}

CFSocketError SocketRef::copyRegisteredSocketSignature(const CFSocketSignature* nameServerSignature,
                                                       CFTimeInterval timeout, CFStringRef name,
                                                       CFSocketSignature* signature, DataRef* nameServerAddress) {
    return CFSocketCopyRegisteredSocketSignature(nameServerSignature, timeout, name, signature,
                                                 Filled(nameServerAddress));
}

CFSocketError SocketRef::unregister(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                    CFStringRef name) {
    return CFSocketUnregister(nameServerSignature, timeout, name);
}

void SocketRef::setDefaultNameRegistryPortNumber(UInt16 port) { CFSocketSetDefaultNameRegistryPortNumber(port); }

UInt16 SocketRef::getDefaultNameRegistryPortNumber() { return CFSocketGetDefaultNameRegistryPortNumber(); }

}  // namespace KXCore::CoreFoundation
