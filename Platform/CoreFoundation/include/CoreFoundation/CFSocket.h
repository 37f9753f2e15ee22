#pragma once

/// Sockets on run loops.
///
/// A socket object stands for one native socket, and for each native socket there is at most one object. It tells of
/// what happens on the socket by its callback, on the thread of a run loop that holds its source. One of three ways of
/// reading may be chosen (to be told that there is something to read; to be given accepted connections; to be given the
/// data), and beside it to be told that a connection is made or that the socket takes data.
///
/// A callback of a kind that is re-enabled by itself comes again as long as there is reason; of any other kind it comes
/// once for each CFSocketEnableCallBacks.
///
/// Any thread may call these functions; invalidating a socket on one thread ends its callbacks on all others, but for
/// those that are under way. A socket that is null or none gives null, -1 or kCFSocketError. An address is a CFData
/// that holds a struct sockaddr.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFRunLoop.h>

CF_EXTERN_C_BEGIN

typedef struct __CFSocket* CFSocketRef;
typedef int CFSocketNativeHandle;

/// What a new socket is made of, and where it stands or connects to.
typedef struct CFSocketSignature {
    SInt32 protocolFamily;
    SInt32 socketType;
    SInt32 protocol;
    CFDataRef address;
} CFSocketSignature;

typedef CFOptionFlags CFSocketCallBackType;

CF_ANONYMOUS_ENUM(CFSocketCallBackType){
    kCFSocketNoCallBack = 0,
    kCFSocketReadCallBack = 1,    ///< there is something to read
    kCFSocketAcceptCallBack = 2,  ///< `data` points to the CFSocketNativeHandle of a new connection, now the callback's
    kCFSocketDataCallBack = 3,    ///< `data` is a CFData of what was read; empty at the end of the stream
    kCFSocketConnectCallBack = 4,  ///< of a connection in the background: null, or `data` points to the SInt32 errno
    kCFSocketWriteCallBack = 8,    ///< data can be sent
};

CF_ANONYMOUS_ENUM(CFOptionFlags){
    kCFSocketAutomaticallyReenableReadCallBack = 1,    ///< at first set
    kCFSocketAutomaticallyReenableAcceptCallBack = 2,  ///< at first set
    kCFSocketAutomaticallyReenableDataCallBack = 3,    ///< at first set
    kCFSocketAutomaticallyReenableWriteCallBack = 8,
    kCFSocketLeaveErrors = 64,        ///< the socket's own error (SO_ERROR) is not taken before a callback
    kCFSocketCloseOnInvalidate = 128  ///< at first set
};

CF_ENUM_TYPE(CFIndex, CFSocketError){
    kCFSocketSuccess = 0,
    kCFSocketError = -1L,
    kCFSocketTimeout = -2L,
};

/// `address` is the peer's where something is accepted or read, null otherwise. What `data` is, the kind says.
typedef void (*CFSocketCallBack)(CFSocketRef s, CFSocketCallBackType type, CFDataRef address, const void* data,
                                 void* info);
/// `version` is 0.
typedef struct CFSocketContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
} CFSocketContext;

CF_EXPORT CFTypeID CFSocketGetTypeID(void);

// ---- Creating

/// A new socket. A family of 0 or less stands for PF_INET, a type for SOCK_STREAM, a protocol for TCP or UDP.
CF_EXPORT CFSocketRef CFSocketCreate(CFAllocatorRef allocator, SInt32 protocolFamily, SInt32 socketType,
                                     SInt32 protocol, CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                     const CFSocketContext* context);
/// The object of a native socket: the one that there is, retained and as it was made, or a new one. Null when the
/// descriptor is no socket.
CF_EXPORT CFSocketRef CFSocketCreateWithNative(CFAllocatorRef allocator, CFSocketNativeHandle sock,
                                               CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                               const CFSocketContext* context);
/// A new socket with its address set, or connected to it. Null when that fails.
CF_EXPORT CFSocketRef CFSocketCreateWithSocketSignature(CFAllocatorRef allocator, const CFSocketSignature* signature,
                                                        CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                                        const CFSocketContext* context);
CF_EXPORT CFSocketRef CFSocketCreateConnectedToSocketSignature(CFAllocatorRef allocator,
                                                               const CFSocketSignature* signature,
                                                               CFOptionFlags callBackTypes, CFSocketCallBack callout,
                                                               const CFSocketContext* context, CFTimeInterval timeout);

// ---- Addresses and data

/// Binds the socket, and lets it listen where its kind has connections.
CF_EXPORT CFSocketError CFSocketSetAddress(CFSocketRef s, CFDataRef address);
/// Waits for the connection `timeout` seconds at most. A negative `timeout` lets it be made in the background: the
/// callback for connections tells its end.
CF_EXPORT CFSocketError CFSocketConnectToAddress(CFSocketRef s, CFDataRef address, CFTimeInterval timeout);
/// Sends all of the data, to `address` or, where that is null, to the peer. After kCFSocketTimeout a part of it may
/// have been sent on a stream. `timeout` 0 or less does not wait.
CF_EXPORT CFSocketError CFSocketSendData(CFSocketRef s, CFDataRef address, CFDataRef data, CFTimeInterval timeout);
/// Null where there is none.
CF_EXPORT CFDataRef CFSocketCopyAddress(CFSocketRef s);
CF_EXPORT CFDataRef CFSocketCopyPeerAddress(CFSocketRef s);

// ---- The object

/// Ends the callbacks and the source, releases the info, and closes the native socket unless the flag was taken away.
CF_EXPORT void CFSocketInvalidate(CFSocketRef s);
CF_EXPORT Boolean CFSocketIsValid(CFSocketRef s);
CF_EXPORT void CFSocketGetContext(CFSocketRef s, CFSocketContext* context);
/// -1 of an invalid socket.
CF_EXPORT CFSocketNativeHandle CFSocketGetNative(CFSocketRef s);
/// The source that a run loop needs; the same one as long as there is one.
CF_EXPORT CFRunLoopSourceRef CFSocketCreateRunLoopSource(CFAllocatorRef allocator, CFSocketRef s, CFIndex order);
CF_EXPORT CFOptionFlags CFSocketGetSocketFlags(CFSocketRef s);
CF_EXPORT void CFSocketSetSocketFlags(CFSocketRef s, CFOptionFlags flags);
/// Of the kinds that the socket was made with; that of connections cannot be enabled again.
CF_EXPORT void CFSocketDisableCallBacks(CFSocketRef s, CFOptionFlags callBackTypes);
CF_EXPORT void CFSocketEnableCallBacks(CFSocketRef s, CFOptionFlags callBackTypes);

// ---- The name registry, a server that systems no longer have: each of these fails at once with kCFSocketError, and
// what is to be filled becomes null.

CF_EXPORT const CFStringRef kCFSocketCommandKey;
CF_EXPORT const CFStringRef kCFSocketNameKey;
CF_EXPORT const CFStringRef kCFSocketValueKey;
CF_EXPORT const CFStringRef kCFSocketResultKey;
CF_EXPORT const CFStringRef kCFSocketErrorKey;
CF_EXPORT const CFStringRef kCFSocketRegisterCommand;
CF_EXPORT const CFStringRef kCFSocketRetrieveCommand;

CF_EXPORT CFSocketError CFSocketRegisterValue(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                              CFStringRef name, CFPropertyListRef value);
CF_EXPORT CFSocketError CFSocketCopyRegisteredValue(const CFSocketSignature* nameServerSignature,
                                                    CFTimeInterval timeout, CFStringRef name, CFPropertyListRef* value,
                                                    CFDataRef* nameServerAddress);
CF_EXPORT CFSocketError CFSocketRegisterSocketSignature(const CFSocketSignature* nameServerSignature,
                                                        CFTimeInterval timeout, CFStringRef name,
                                                        const CFSocketSignature* signature);
CF_EXPORT CFSocketError CFSocketCopyRegisteredSocketSignature(const CFSocketSignature* nameServerSignature,
                                                              CFTimeInterval timeout, CFStringRef name,
                                                              CFSocketSignature* signature,
                                                              CFDataRef* nameServerAddress);
CF_EXPORT CFSocketError CFSocketUnregister(const CFSocketSignature* nameServerSignature, CFTimeInterval timeout,
                                           CFStringRef name);
/// The number is kept; 2454 at first.
CF_EXPORT void CFSocketSetDefaultNameRegistryPortNumber(UInt16 port);
CF_EXPORT UInt16 CFSocketGetDefaultNameRegistryPortNumber(void);

CF_EXTERN_C_END
