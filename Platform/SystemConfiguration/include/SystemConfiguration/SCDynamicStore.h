#pragma once

/// The dynamic store: what is currently so on this computer, a property list under each key, for all processes.
///
/// A session (SCDynamicStoreRef) reads and changes the store, and hears of changes that any process makes to the keys
/// it names. Sessions and their operations may be used from any thread. Functions named Create or Copy give their
/// caller a reference to release. A function that fails returns null or false and leaves why with SCError().
///
/// Each call sees the store as it was at one time. Changes made together by one SCDynamicStoreSetMultiple are seen all
/// or not at all, and told of at once, also when their writer is killed in the middle of them.
///
/// Reading waits for nobody. A change waits while another process changes the store.
///
/// Keys are any text of up to 255 bytes in UTF-8. A value is a property list of up to 1 MiB in binary form; one change
/// takes up to 64 MiB. Patterns are extended POSIX regular expressions of up to 1024 bytes that match a key as a whole,
/// always in linear time; back references are refused.
///
/// Some keys have a value although nobody has set one: the names of the computer, as the system knows them.
///
///     "Setup:/System"              ComputerName      the pretty name of /etc/machine-info, else the host's name
///     "State:/Network/NetBIOS"     RegisteredName    `netbios name` of /etc/samba/smb.conf, when it is there
///     "State:/Network/Global/SMB"  NetBIOSName       the same
///
/// They follow their origin. A value that a client sets for such a key wins until it is removed; removing the key when
/// no client has set it leaves it without a value until its origin changes, be it to the same name.
///
/// Where the store is: the folder that the environment variable KXPLATFORM_DYNAMIC_STORE names; without it the
/// computer's one store, /run/kxplatform/dynamic-store, which root may change and everybody may read. A user other than
/// root has a store of the user's own, below $XDG_RUNTIME_DIR or /tmp, while the computer's is missing; sessions move
/// over when it appears. For root a store that is missing and cannot be made is empty, and changes of it fail with
/// kSCStatusAccessError. Folders that others can put files into are refused. How it is kept: docs/dynamic-store.md.
///
/// A process that was forked may use the sessions of its parent to read and to change the store, and sessions of its own
/// for everything; their parent's run-loop sources are of no use to it.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFRunLoop.h>

CF_EXTERN_C_BEGIN

typedef const struct __SCDynamicStore* SCDynamicStoreRef;

/// What `info` of a session is, and how the session keeps it: `retain` is called when the session is made and `release`
/// when it ends; each of the three functions may be null.
typedef struct SCDynamicStoreContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
} SCDynamicStoreContext;

/// Tells that the values of `changedKeys`, each there once, were set or removed, or that somebody called for notice of
/// them. What was changed by one SCDynamicStoreSetMultiple is told at once.
typedef void (*SCDynamicStoreCallBack)(SCDynamicStoreRef store, CFArrayRef changedKeys, void* info);

CF_ANONYMOUS_ENUM(int){
    kSCStatusOK = 0,       kSCStatusFailed = 1001,    kSCStatusInvalidArgument = 1002, kSCStatusAccessError = 1003,
    kSCStatusNoKey = 1004, kSCStatusKeyExists = 1005,
};

CF_EXPORT CFTypeID SCDynamicStoreGetTypeID(void);

/// A session. `name` tells who has it (it shows in the session's description), `callout` is told of changes and may be
/// null, as may `context`. Fails with kSCStatusInvalidArgument for a context of another version than 0, with
/// kSCStatusAccessError where the store's folder cannot be trusted.
CF_EXPORT SCDynamicStoreRef SCDynamicStoreCreate(CFAllocatorRef allocator, CFStringRef name,
                                                 SCDynamicStoreCallBack callout, SCDynamicStoreContext* context);

/// A source that calls the session's callout on the run loops and in the modes it is added to; each change is told
/// once. The source keeps the session. The callout may use the session, end it, and run the loop: what changes meanwhile
/// is told in there. All sources of a process share one watch, a thread and up to three descriptors; where it cannot be
/// had, SCError() is the errno value.
CF_EXPORT CFRunLoopSourceRef SCDynamicStoreCreateRunLoopSource(CFAllocatorRef allocator, SCDynamicStoreRef store,
                                                               CFIndex order);

/// What the session hears of from now on: these keys, whether or not they are in the store, and every key that one of
/// the patterns matches. Either array may be null.
CF_EXPORT Boolean SCDynamicStoreSetNotificationKeys(SCDynamicStoreRef store, CFArrayRef keys, CFArrayRef patterns);

/// The values of those of the keys that are in the store, and of all keys that one of the patterns matches. Either
/// array may be null. Null only for a failure.
CF_EXPORT CFDictionaryRef SCDynamicStoreCopyMultiple(SCDynamicStoreRef store, CFArrayRef keys, CFArrayRef patterns);

/// The value of a key; kSCStatusNoKey when it has none.
CF_EXPORT CFPropertyListRef SCDynamicStoreCopyValue(SCDynamicStoreRef store, CFStringRef key);

/// The keys in the store that the pattern matches, in no particular order. Reads no values.
CF_EXPORT CFArrayRef SCDynamicStoreCopyKeyList(SCDynamicStoreRef store, CFStringRef pattern);

/// Sets the value of a key that has none; kSCStatusKeyExists when it has one.
CF_EXPORT Boolean SCDynamicStoreAddValue(SCDynamicStoreRef store, CFStringRef key, CFPropertyListRef value);

/// Sets the value of a key.
CF_EXPORT Boolean SCDynamicStoreSetValue(SCDynamicStoreRef store, CFStringRef key, CFPropertyListRef value);

/// Sets, removes and gives notice of any number of keys as one change, which others see whole or not at all. Each
/// argument may be null; keys to remove that are not there are left out, and a key that is both set and removed is
/// removed. When it fails, nothing has been changed; on a full disk SCError() is ENOSPC.
CF_EXPORT Boolean SCDynamicStoreSetMultiple(SCDynamicStoreRef store, CFDictionaryRef keysToSet, CFArrayRef keysToRemove,
                                            CFArrayRef keysToNotify);

/// Takes the value of a key out of the store; kSCStatusNoKey when it has none. Where a client had set the value of a key
/// that has one of the system's, the latter is seen again.
CF_EXPORT Boolean SCDynamicStoreRemoveValue(SCDynamicStoreRef store, CFStringRef key);

/// Has the sessions that watch the key told, as if its value had been set. The key need not be in the store.
CF_EXPORT Boolean SCDynamicStoreNotifyValue(SCDynamicStoreRef store, CFStringRef key);

/// How the calling thread's last call of a function above ended.
CF_EXPORT int SCError(void);

/// A status in words: one of the above, or an errno value. Never null; valid until the thread asks for another.
CF_EXPORT const char* SCErrorString(int status);

CF_EXTERN_C_END
